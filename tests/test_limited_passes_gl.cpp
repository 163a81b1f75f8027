// Passes limited to what changed must give the very bytes that whole-surface
// passes give, for every kind of action, through undo and redo; and a stroke
// painted live must equal its own replay on a fresh canvas.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/TipTextures.h"
#include "core/InputState.h"
#include "history/BrushStrokeAction.h"
#include "history/CanvasFillAction.h"
#include "history/CanvasFlipAction.h"
#include "history/History.h"
#include "history/LayerListAction.h"
#include "history/LayerPropertyAction.h"
#include "history/SelectionActions.h"
#include "platform/Random.h"
#include "support/GlTestContext.h"
#include "TestPaths.h"

namespace {

// One painting session: its own canvas, layers and history on the shared context.
struct Session {
    Session(BrushTipTable& tips, int w, int h, bool limited) : canvas(w, h) {
        canvas.limitPassesToChanges = limited;
        canvas.attach(&history, &tips);
        canvas.resize(w, h, layers);
        canvas.clearCurrentSurface(0, 0, 0, 0);
        history.initialWidth = w;
        history.initialHeight = h;
        setDabSink(&canvas);
    }
    ~Session() {
        setDabSink(nullptr);
        history.freeSnapshots();
        canvas.freeSurfaces();
    }
    void perform(std::unique_ptr<HistoryAction> action) {
        HistoryAction& a = *action;
        history.add(std::move(action), false);
        a.execute();
    }
    // Every layer's bytes: the current one from its surface.
    std::vector<std::vector<uint8_t>> layerBytes() {
        std::vector<std::vector<uint8_t>> out;
        for (int i = 0; i < layers.count(); ++i) {
            const GLuint t = i == layers.current ? canvas.currentLayerSurface().textureId : layers.at(i).textureId;
            std::vector<uint8_t> px = t ? readTexture(t, canvas.width, canvas.height) : std::vector<uint8_t>{};
            if (px.empty()) px.assign(static_cast<size_t>(canvas.width) * canvas.height * 4, 0);
            out.push_back(std::move(px));
        }
        return out;
    }

    Canvas canvas;
    MultiLayeredImage layers;
    History history{&canvas, layers};
};

class LimitedPassesTest : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        buildTips(tips, std::string(KW_TEST_DATA_DIR) + "/brushes");
        resetPenState();
        gInputState.reset();
        gWantedMode = 1;
    }
    void TearDown() override {
        gWantedMode = 1;
        GlTest::TearDown();
    }

    // Paints through the canvas as the program does: samples between frames,
    // a frame every `perFrame` samples, the merge after the release.
    static void paintLive(Session& s, const Brush& b, const std::vector<math::Vec2>& path, int perFrame) {
        s.canvas.brush = b;
        gWantedMode = b.mode;
        gCurrentPressure = 0.8f;
        s.canvas.beginStroke(path[0].x, path[0].y);
        for (size_t i = 1; i < path.size(); ++i) {
            gInputState.updatePointer(static_cast<int>(path[i].x), static_cast<int>(path[i].y));
            s.canvas.continueStroke(path[i].x, path[i].y);
            if (i % static_cast<size_t>(perFrame) == 0) s.canvas.strokeFrame(false);
        }
        s.canvas.endStroke();
        s.canvas.strokeFrame(false);
        s.canvas.strokeFrame(false);
    }

    Brush randomBrush(std::mt19937& rng) {
        auto unit = [&rng] { return std::uniform_real_distribution<float>(0.0f, 1.0f)(rng); };
        Brush b;
        b.size = 3 + static_cast<int>(unit() * 40);
        b.opacity = 0.3f + 0.7f * unit();
        switch (rng() % 8) {
        case 0: break;  // hard round, maximum blend
        case 1: b.hardness = 0.2f + 0.6f * unit(); break;  // soft round, additive alpha
        case 2: b.setFlag(kBrushFlagAdditiveStroke, true); break;
        case 3: b.setFlag(kBrushFlagColorDynamics, true); break;
        case 4: b.antialias = 1; break;  // the smoothed merge reads around the stroke
        case 5: b.tipIndex = tips.findFolderTip("leaf"); b.angle_randomness = 60; break;
        case 6: b.tipIndex = tips.findFolderTip("rake"); b.setFlag(kBrushFlagDryBrush, true); break;
        case 7: b.mode = kBrushModeErase; b.hardness = unit(); break;
        }
        b.spacing = 0.1f + 0.3f * unit();
        b.size_jitter = unit() < 0.3f ? 50.0f : 0.0f;
        b.scattering = unit() < 0.3f ? 0.5f : 0.0f;
        return b;
    }

    // A reproducible session of every action that changes pixels or layers,
    // with undo and redo among them.
    std::vector<std::vector<uint8_t>> runSession(uint32_t seed, bool limited, std::string& trace, int steps = 90,
                                                 bool withSelections = false) {
        Session s(tips, kW, kH, limited);
        std::mt19937 rng(seed);
        kwSrand(seed);
        gInputState.reset();
        auto unit = [&rng] { return std::uniform_real_distribution<float>(0.0f, 1.0f)(rng); };
        for (int step = 0; step < steps; ++step) {
            const uint32_t pick = rng() % 100;
            trace += std::to_string(pick) + " ";
            if (pick < 45) {
                const Brush b = randomBrush(rng);
                s.canvas.color[0] = unit(), s.canvas.color[1] = unit(), s.canvas.color[2] = unit();
                s.canvas.colorHsv[0] = 360 * unit(), s.canvas.colorHsv[1] = unit(), s.canvas.colorHsv[2] = unit();
                std::vector<math::Vec2> path;
                const math::Vec2 from{unit() * kW, unit() * kH};
                const float a = unit() * 6.28f, len = 10 + unit() * 200;
                for (int i = 0; i < 12; ++i)
                    path.push_back(from + math::Vec2{std::cos(a + 0.2f * i), std::sin(a + 0.2f * i)} * (len * i / 12));
                paintLive(s, b, path, 1 + static_cast<int>(rng() % 4));
            } else if (pick < 60) {
                // A stored stroke executed directly, as a replay or a redo does.
                const Brush b = randomBrush(rng);
                auto stroke = std::make_unique<BrushStrokeAction>(b, brush::Rgb{unit(), unit(), unit()});
                const math::Vec2 from{unit() * kW, unit() * kH};
                for (int k = 0; k < 15; ++k) {
                    BrushStrokePoint p(from + math::Vec2{k * 3.0f, k * 1.5f}, 0.5f + 0.5f * unit(), unit(),
                                       k % 5 == 4, unit() * 360);
                    if (b.hasFlag(kBrushFlagColorDynamics))
                        stroke->appendPoint(std::make_unique<BrushStrokeColorPoint>(p, brush::Rgb{unit(), unit(), unit()}));
                    else
                        stroke->appendPoint(std::make_unique<BrushStrokePoint>(p));
                }
                s.perform(std::move(stroke));
            } else if (pick < 65) {
                if (s.layers.count() < 5) s.perform(std::make_unique<NewLayerAction>(s.canvas, s.layers));
            } else if (pick < 71) {
                s.perform(std::make_unique<LayerChangeAction>(s.canvas, s.layers,
                                                              static_cast<int>(rng() % s.layers.count())));
            } else if (pick < 73) {
                s.perform(std::make_unique<DeleteLayerAction>(s.canvas, s.layers));
            } else if (pick < 75) {
                s.perform(std::make_unique<LayerMergeDownAction>(s.canvas, s.layers));
            } else if (pick < 77) {
                s.perform(std::make_unique<LayerMoveAction>(s.canvas, s.layers, static_cast<int>(rng() % 4)));
            } else if (pick < 79) {
                s.perform(std::make_unique<LayerOpacityChangeAction>(s.canvas, s.layers, 20 + rng() % 80));
            } else if (pick < 80) {
                s.perform(std::make_unique<LayerVisibilityToggleAction>(s.canvas, s.layers));
            } else if (pick < 82) {
                s.perform(std::make_unique<LayerFlipAction>(s.canvas, s.layers));
            } else if (pick < 84) {
                s.perform(std::make_unique<CanvasFlipAction>(s.canvas, s.layers));
            } else if (pick < 86) {
                s.perform(std::make_unique<CanvasFillAction>(s.canvas, unit(), unit(), unit()));
            } else if (withSelections && pick < 90) {
                // A random outline, often self-crossing, sometimes partly off the canvas.
                std::vector<math::Vec2> outline;
                const int corners = 3 + static_cast<int>(rng() % 8);
                for (int i = 0; i < corners; ++i) outline.push_back({unit() * kW * 1.2f - 20, unit() * kH * 1.2f - 20});
                s.perform(std::make_unique<EnableSelectionAction>(s.canvas, outline));
            } else if (withSelections && pick < 92) {
                s.perform(std::make_unique<ImageCutAction>(s.canvas));
            } else if (withSelections && pick < 93) {
                s.perform(std::make_unique<DisableSelectionAction>(s.canvas));
            } else if (pick < 96) {
                const int n = 1 + static_cast<int>(rng() % 4);
                for (int i = 0; i < n; ++i)
                    if (s.history.undo()) s.history.replayIfPending();
            } else {
                s.history.redo();
            }
        }
        trace += "| " + std::to_string(s.layers.count()) + " layers";
        return s.layerBytes();
    }

    static constexpr int kW = 333, kH = 222;  // partial tiles on both edges
    BrushTipTable tips;
};

int differingBytes(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    if (a.size() != b.size()) return -1;
    int n = 0;
    for (size_t i = 0; i < a.size(); ++i) n += a[i] != b[i];
    return n;
}

} // namespace

TEST_F(LimitedPassesTest, RandomSessionsGiveTheBytesOfWholeSurfacePasses) {
    ASSERT_GT(tips.findFolderTip("leaf"), 0);
    ASSERT_GT(tips.findFolderTip("rake"), 0);
    for (uint32_t seed : {11u, 23u, 57u, 91u}) {
        std::string limitedTrace, fullTrace;
        const auto limited = runSession(seed, true, limitedTrace);
        const auto full = runSession(seed, false, fullTrace);
        ASSERT_EQ(limitedTrace, fullTrace);
        ASSERT_EQ(limited.size(), full.size()) << "seed " << seed;
        size_t painted = 0;
        for (size_t i = 0; i < full.size(); ++i) {
            EXPECT_EQ(differingBytes(limited[i], full[i]), 0) << "seed " << seed << " layer " << i;
            for (size_t p = 3; p < full[i].size(); p += 4) painted += full[i][p] != 0;
        }
        EXPECT_GT(painted, 2000u) << "seed " << seed << ": the session left the picture blank";
    }
}

// The mask pass, the confined fill and the cut follow the same rule: with a
// selection in force, limited passes give the bytes of whole ones.
TEST_F(LimitedPassesTest, RandomSessionsWithSelectionsGiveTheBytesOfWholeSurfacePasses) {
    int selects = 0, cuts = 0;
    for (uint32_t seed : {5u, 31u, 77u}) {
        std::string limitedTrace, fullTrace;
        const auto limited = runSession(seed, true, limitedTrace, 90, true);
        const auto full = runSession(seed, false, fullTrace, 90, true);
        ASSERT_EQ(limitedTrace, fullTrace);
        ASSERT_EQ(limited.size(), full.size()) << "seed " << seed;
        for (size_t i = 0; i < full.size(); ++i)
            EXPECT_EQ(differingBytes(limited[i], full[i]), 0) << "seed " << seed << " layer " << i;
        // Picks 86 to 89 select, 90 and 91 cut.
        std::istringstream picks(limitedTrace);
        for (int pick = 0; picks >> pick;) {
            selects += pick >= 86 && pick < 90;
            cuts += pick >= 90 && pick < 92;
        }
    }
    EXPECT_GT(selects, 3);
    EXPECT_GT(cuts, 2);
}

// The limited passes really are limited: a small stroke leaves the pair
// differing in a few tiles, and clears and merges nothing else.
TEST_F(LimitedPassesTest, ASmallStrokeTouchesOnlyItsTiles) {
    Session s(tips, 1000, 700, true);  // 16 x 11 tiles
    Brush b;
    b.size = 10;
    paintLive(s, b, {{500, 300}, {505, 302}, {510, 304}}, 1);
    EXPECT_GE(s.canvas.staleRegion().tileCount(), 1);
    EXPECT_LE(s.canvas.staleRegion().tileCount(), 4);
    EXPECT_LE(s.canvas.strokeBufferRegion().tileCount(), 4);
    // The untouched surface outside those tiles still matches: the layer is
    // transparent everywhere but around the stroke.
    const auto px = s.layerBytes()[0];
    size_t outside = 0;
    for (int y = 0; y < 700; ++y)
        for (int x = 0; x < 1000; ++x)
            if ((x < 440 || x > 580 || y < 240 || y > 370) && px[(static_cast<size_t>(y) * 1000 + x) * 4 + 3])
                ++outside;
    EXPECT_EQ(outside, 0u);
}

// A restore leaves alone a layer whose content is what the snapshot holds.
// Marked pixels written behind the history's back survive the undo: had the
// restore uploaded that layer again, they would be gone.
TEST_F(LimitedPassesTest, RestoreUploadsOnlyLayersThatChanged) {
    Session s(tips, 200, 150, true);
    s.perform(std::make_unique<CanvasFillAction>(s.canvas, 0.2f, 0.4f, 0.6f));
    s.perform(std::make_unique<NewLayerAction>(s.canvas, s.layers));
    s.history.takeSnapshot(true);
    Brush b;
    b.size = 20;
    paintLive(s, b, {{50, 50}, {80, 60}, {110, 70}}, 1);
    const GLuint bottom = s.layers.at(0).textureId;
    ASSERT_NE(bottom, 0u);
    const std::vector<uint8_t> marked(4 * 4 * 4, 255);
    glBindTexture(GL_TEXTURE_2D, bottom);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 4, 4, GL_RGBA, GL_UNSIGNED_BYTE, marked.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    ASSERT_TRUE(s.history.undo());
    s.history.replayIfPending();
    const auto layers = s.layerBytes();
    ASSERT_EQ(layers.size(), 2u);
    EXPECT_EQ(layers[0][0], 255) << "the unchanged bottom layer was uploaded again";
    // The top layer, which the stroke changed, is back to transparent.
    size_t left = 0;
    for (size_t p = 3; p < layers[1].size(); p += 4) left += layers[1][p] != 0;
    EXPECT_EQ(left, 0u);
    // With shortcuts off the restore uploads every layer: the mark is gone.
    Session full(tips, 200, 150, false);
    full.perform(std::make_unique<CanvasFillAction>(full.canvas, 0.2f, 0.4f, 0.6f));
    full.perform(std::make_unique<NewLayerAction>(full.canvas, full.layers));
    full.history.takeSnapshot(true);
    paintLive(full, b, {{50, 50}, {80, 60}, {110, 70}}, 1);
    glBindTexture(GL_TEXTURE_2D, full.layers.at(0).textureId);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 4, 4, GL_RGBA, GL_UNSIGNED_BYTE, marked.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    ASSERT_TRUE(full.history.undo());
    full.history.replayIfPending();
    EXPECT_EQ(full.layerBytes()[0][0], 51);  // 0.2 of the fill, as the snapshot holds it
}

// ---- live equals replay ----------------------------------------------------------

// Each frame sees one new textured dab. After the first frame a lone pending
// dab must be drawn at once, or the end of the stroke differs from its replay.
TEST_F(LimitedPassesTest, TexturedStrokeWithOneDabPerFrameEqualsItsReplay) {
    const int leaf = tips.findFolderTip("leaf");
    ASSERT_GT(leaf, 0);
    Brush b;
    b.size = 16;
    b.tipIndex = leaf;
    b.spacing = 1.0f;  // about one dab per sample below
    // Two lengths, so that one of them ends with a single dab pending.
    for (int samples : {20, 21}) {
        std::vector<math::Vec2> path;
        for (int i = 0; i < samples; ++i) path.push_back({20.0f + i * 9.0f, 60.0f});
        Session s(tips, 240, 120, true);
        paintLive(s, b, path, 1);
        EXPECT_TRUE(s.canvas.strokeBuilder().pendingDabs().empty()) << samples << " samples";
        const std::vector<uint8_t> live = s.layerBytes()[0];
        ASSERT_EQ(s.history.actionCount(), 1u);
        s.canvas.clearCurrentSurface(0, 0, 0, 0);
        ASSERT_TRUE(s.history.actions()[0]->execute());
        EXPECT_EQ(differingBytes(live, s.layerBytes()[0]), 0) << samples << " samples";
    }
}

// The merge after the release uses the stroke's brush and colour, even when
// the artist switches to the eraser and another colour before the next frame.
TEST_F(LimitedPassesTest, SwitchingBrushRightAfterAReleaseDoesNotChangeTheStroke) {
    Brush b;
    b.size = 14;
    b.opacity = 0.7f;
    Session s(tips, 200, 120, true);
    s.perform(std::make_unique<CanvasFillAction>(s.canvas, 0.9f, 0.9f, 0.2f));
    s.canvas.brush = b;
    s.canvas.color[0] = 0.1f, s.canvas.color[1] = 0.3f, s.canvas.color[2] = 0.8f;
    gCurrentPressure = 1.0f;
    s.canvas.beginStroke(30, 60);
    for (int i = 1; i < 10; ++i) s.canvas.continueStroke(30.0f + i * 12, 60);
    s.canvas.strokeFrame(false);
    s.canvas.endStroke();
    // Before the frame that merges: eraser, and red.
    s.canvas.selectBrushSlot(kBrushModeErase);
    s.canvas.color[0] = 1, s.canvas.color[1] = 0, s.canvas.color[2] = 0;
    s.canvas.strokeFrame(false);
    s.canvas.strokeFrame(false);
    const auto live = s.layerBytes()[0];
    // Pixel truth on the path: opaque fill under 0.7 of blue, by the merge formula.
    const size_t mid = (static_cast<size_t>(60) * 200 + 90) * 4;
    EXPECT_NEAR(live[mid + 2], std::lround(255 * (0.8f * 0.7f + 0.2f * 0.3f)), 1);
    EXPECT_EQ(live[mid + 3], 255);

    // The actions hold this canvas: start it over and execute them again.
    s.canvas.clearCurrentSurface(0, 0, 0, 0);
    for (const auto& action : s.history.actions()) ASSERT_TRUE(action->execute());
    EXPECT_EQ(differingBytes(live, s.layerBytes()[0]), 0);
}

