// Pixel truth of undo and redo: after any undo or redo the composed picture
// must equal, byte for byte, the picture that executing the surviving action
// list from a blank canvas gives. Also the memory bound of the snapshots.
#include <GL/glew.h>

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Projection.h"
#include "history/BrushStrokeAction.h"
#include "history/CanvasFillAction.h"
#include "history/CanvasFlipAction.h"
#include "history/History.h"
#include "history/LayerListAction.h"
#include "history/LayerPropertyAction.h"
#include "io/BinaryStream.h"
#include "support/GlTestContext.h"

namespace {

// A pixel-changing action of the tests: one premultiplied rectangle blended
// over the current surface. Type code 22 belongs to no class of the program.
class RectAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 22;
    explicit RectAction(Canvas& canvas) : canvas_(canvas) {}
    RectAction(Canvas& canvas, std::array<int32_t, 4> rect, std::array<uint8_t, 4> rgba)
        : canvas_(canvas), rect_(rect), rgba_(rgba) {}
    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool execute() override {
        Framebuffer& target = canvas_.currentLayerSurface();
        target.bind(GL_DRAW_FRAMEBUFFER);
        {
            glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_VIEWPORT_BIT);
            CanvasProjection projection(canvas_.width, canvas_.height);
            glDisable(GL_DEPTH_TEST);
            glDisable(GL_TEXTURE_2D);
            glEnable(GL_BLEND);
            glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
            glColor4ub(rgba_[0], rgba_[1], rgba_[2], rgba_[3]);
            drawQuad(rect_[0], rect_[1], rect_[2], rect_[3]);
            glPopAttrib();
        }
        target.unbind();
        return true;
    }
    void write(io::BinaryWriter& out) const override {
        for (int32_t v : rect_) out.i32(v);
        for (uint8_t v : rgba_) out.u8(v);
    }
    void read(io::BinaryReader& in) override {
        for (int32_t& v : rect_) in.i32(v);
        for (uint8_t& v : rgba_) in.u8(v);
    }

private:
    Canvas& canvas_;
    std::array<int32_t, 4> rect_{};
    std::array<uint8_t, 4> rgba_{};
};

// Draws the layers as the frame does (visible ones bottom to top, blend by
// mode, opacity in the vertex colour) into a fresh target and reads it back.
std::vector<uint8_t> compose(Canvas& canvas, MultiLayeredImage& layers) {
    Framebuffer out(canvas.width, canvas.height);
    out.create(false, false);
    out.bind(GL_DRAW_FRAMEBUFFER);
    {
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT | GL_VIEWPORT_BIT);
        CanvasProjection projection(canvas.width, canvas.height);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        glDisable(GL_DEPTH_TEST);
        glEnable(GL_BLEND);
        glEnable(GL_TEXTURE_2D);
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
        for (int i = 0; i < layers.count(); ++i) {
            const Layer& layer = layers.at(i);
            if (!layer.visible) continue;
            if (layer.blendMode == 1) glBlendFunc(GL_DST_COLOR, GL_ONE_MINUS_SRC_ALPHA);
            else glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
            const float o = layer.opacity / 100.0f;
            glColor4f(o, o, o, o);
            glBindTexture(GL_TEXTURE_2D,
                          i == layers.current ? canvas.currentLayerSurface().textureId : layer.textureId);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
            drawQuad(0, 0, canvas.width, canvas.height);
        }
        glBindTexture(GL_TEXTURE_2D, 0);
        glPopAttrib();
    }
    out.unbind();
    std::vector<uint8_t> pixels = readTexture(out.textureId, canvas.width, canvas.height);
    out.destroy();
    return pixels;
}

std::string describe(const MultiLayeredImage& layers, bool mirrored) {
    std::ostringstream s;
    s << layers.count() << " layers, current " << layers.current << ", mirrored " << mirrored << ":";
    for (const Layer& l : layers.layers) s << " [" << (l.visible ? "v" : "h") << l.opacity << "]";
    return s.str();
}

struct Picture {
    std::vector<uint8_t> pixels;
    bool mirrored = false;
    std::string state;
};

// A canvas, its layers and its history, with the new-picture fill executed.
struct Document {
    Canvas canvas;
    MultiLayeredImage layers;
    History history{&canvas, layers};

    Document(int width, int height) : canvas(width, height) {
        EXPECT_TRUE(history.reinitialize(width, height));
        history.runQueuedActions();
    }
    ~Document() { canvas.freeSurfaces(); }

    // What a tool does: add, then execute.
    bool perform(std::unique_ptr<HistoryAction> action) {
        HistoryAction* raw = action.get();
        history.add(std::move(action), false);
        return raw->execute();
    }
    Picture picture() { return {compose(canvas, layers), canvas.pictureMirrored, describe(layers, canvas.pictureMirrored)}; }
};

// Executes a copy of every action (written and read back) on a blank canvas.
Picture replayFromBlank(const History& history, int width, int height) {
    Canvas canvas(width, height);
    MultiLayeredImage layers;
    canvas.resize(width, height, layers);
    canvas.clearCurrentSurface(0, 0, 0, 0);
    // Strokes stamp through the canvas they are replayed on.
    DabSink* liveSink = dabSink();
    setDabSink(&canvas);
    for (const auto& action : history.actions()) {
        io::BinaryWriter out;
        action->write(out);
        io::BinaryReader in(out.bytes());
        std::unique_ptr<HistoryAction> copy;
        if (action->type() == BrushStrokeAction::kTypeCode) {
            auto stroke = std::make_unique<BrushStrokeAction>();
            in.formatIndex = kBrushCurrentFormat;
            stroke->read(TipMap{}, in);
            copy = std::move(stroke);
        } else {
            copy = action->type() == RectAction::kTypeCode ? std::make_unique<RectAction>(canvas)
                                                            : makeCanvasLayerAction(action->type(), canvas, layers);
            EXPECT_TRUE(copy) << "type " << action->type();
            if (!copy) continue;
            copy->read(in);
        }
        EXPECT_TRUE(!in.failed() && in.atEnd()) << "type " << action->type();
        copy->execute();
    }
    Picture p{compose(canvas, layers), canvas.pictureMirrored, describe(layers, canvas.pictureMirrored)};
    canvas.freeSurfaces();
    setDabSink(liveSink);
    return p;
}

// Resident set size after handing free heap pages back, so that only memory
// in use counts, not what the allocator keeps from earlier peaks.
size_t residentBytes() {
    malloc_trim(0);
    long pages = 0, resident = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(f);
    }
    return static_cast<size_t>(resident) * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

std::unique_ptr<HistoryAction> randomRect(Canvas& canvas, std::mt19937& rng) {
    auto pick = [&rng](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    const int x = pick(0, canvas.width - 2), y = pick(0, canvas.height - 2);
    const int w = pick(1, canvas.width - x), h = pick(1, canvas.height - y);
    const int a = pick(0, 255);
    const std::array<uint8_t, 4> rgba{static_cast<uint8_t>(pick(0, a)), static_cast<uint8_t>(pick(0, a)),
                                      static_cast<uint8_t>(pick(0, a)), static_cast<uint8_t>(a)};
    return std::make_unique<RectAction>(canvas, std::array<int32_t, 4>{x, y, w, h}, rgba);
}

// A finished stroke as the brush engine stores it: round dabs along a line,
// paint or erase, with per-dab size and flow.
std::unique_ptr<HistoryAction> randomStroke(Canvas& canvas, std::mt19937& rng) {
    auto pick = [&rng](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    auto unit = [&rng] { return std::uniform_real_distribution<float>(0.0f, 1.0f)(rng); };
    Brush brush;
    brush.size = pick(2, 24);
    brush.hardness = pick(0, 1) ? 1.0f : 0.2f + 0.7f * unit();
    brush.opacity = 0.3f + 0.7f * unit();
    brush.mode = pick(0, 3) == 0 ? kBrushModeErase : kBrushModePaint;
    brush.setFlag(kBrushFlagAdditiveStroke, pick(0, 4) == 0);
    brush.antialias = pick(0, 5) == 0 ? 1 : 0;
    auto stroke = std::make_unique<BrushStrokeAction>(brush, brush::Rgb{unit(), unit(), unit()});
    const math::Vec2 from{unit() * canvas.width, unit() * canvas.height};
    const math::Vec2 to{unit() * canvas.width, unit() * canvas.height};
    const int n = pick(1, 25);
    for (int i = 0; i < n; ++i) {
        const float t = n == 1 ? 0.0f : static_cast<float>(i) / (n - 1);
        stroke->appendPoint(std::make_unique<BrushStrokePoint>(from + (to - from) * t, 0.2f + 0.8f * unit(),
                                                               0.2f + 0.8f * unit(), false, 0.0f));
    }
    return stroke;
}

class HistoryPixels : public GlTest {
protected:
    void TearDown() override {
        setDabSink(nullptr);
        GlTest::TearDown();
    }
};

} // namespace

TEST_F(HistoryPixels, RandomActionsUndoRedoMatchReplayFromBlank) {
    constexpr int kWidth = 64, kHeight = 48;
    for (const uint32_t seed : {20240611u, 7u, 99173u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 rng(seed);
        auto pick = [&rng](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
        Document doc(kWidth, kHeight);
        Canvas& c = doc.canvas;
        MultiLayeredImage& L = doc.layers;
        setDabSink(&c);
        int checks = 0, crossings = 0;
        for (int step = 0; step < 400; ++step) {
            const int op = pick(0, 99);
            bool check = false;
            if (op < 15) {
                doc.perform(randomRect(c, rng));
            } else if (op < 30) {
                ASSERT_TRUE(doc.perform(randomStroke(c, rng)));
            } else if (op < 37) {
                doc.perform(std::make_unique<NewLayerAction>(c, L));
            } else if (op < 45 && L.count() > 1) {
                int target = pick(0, L.count() - 2);
                if (target >= L.current) ++target;
                doc.perform(std::make_unique<LayerChangeAction>(c, L, target));
            } else if (op < 49) {
                doc.perform(std::make_unique<DeleteLayerAction>(c, L)); // refused with one layer
            } else if (op < 53 && L.count() > 1) {
                doc.perform(std::make_unique<LayerMoveAction>(c, L, pick(0, L.count())));
            } else if (op < 57) {
                doc.perform(std::make_unique<LayerMergeDownAction>(c, L)); // refused at the bottom
            } else if (op < 61) {
                doc.perform(std::make_unique<LayerFlipAction>(c, L));
            } else if (op < 64) {
                doc.perform(std::make_unique<CanvasFlipAction>(c, L));
            } else if (op < 68) {
                doc.perform(std::make_unique<LayerVisibilityToggleAction>(c, L));
            } else if (op < 72) {
                doc.perform(std::make_unique<LayerOpacityChangeAction>(c, L, pick(0, 100)));
            } else if (op < 90) {
                const int before = doc.history.activeSnapshot;
                check = doc.history.undo();
                if (doc.history.activeSnapshot != before) ++crossings;
            } else {
                check = doc.history.redo();
            }
            if (!check && step % 50 != 49) continue;
            doc.history.replayIfPending(); // the frame's rebuild
            ++checks;
            const Picture live = doc.picture();
            const Picture expected = replayFromBlank(doc.history, kWidth, kHeight);
            ASSERT_EQ(live.mirrored, expected.mirrored) << "step " << step;
            ASSERT_EQ(live.state, expected.state) << "step " << step;
            ASSERT_EQ(live.pixels, expected.pixels)
                << "step " << step << ", " << doc.history.actionCount() << " actions, " << live.state;
        }
        EXPECT_GT(checks, 60);
        EXPECT_GT(crossings, 0); // some undos went back to the older slot
    }
}

TEST_F(HistoryPixels, UndoAfterNewCanvasLeavesTheFill) {
    Document doc(32, 32);
    const Picture grey = doc.picture();
    EXPECT_EQ(grey.pixels[0], 204);
    EXPECT_EQ(grey.pixels[3], 255);
    EXPECT_EQ(doc.layers.modificationCount, 0);
    doc.perform(std::make_unique<RectAction>(doc.canvas, std::array<int32_t, 4>{0, 0, 10, 10},
                                             std::array<uint8_t, 4>{255, 0, 0, 255}));
    EXPECT_EQ(doc.layers.modificationCount, 1);
    EXPECT_NE(doc.picture().pixels, grey.pixels);
    ASSERT_TRUE(doc.history.undo());
    doc.history.replayIfPending();
    EXPECT_EQ(doc.picture().pixels, grey.pixels);
    EXPECT_EQ(doc.history.actionCount(), 1u);
    EXPECT_EQ(doc.layers.modificationCount, 0);
    EXPECT_FALSE(doc.history.undo());
}

TEST_F(HistoryPixels, TwoCanvasFlipsGiveTheFirstPicture) {
    Document doc(40, 30);
    doc.perform(std::make_unique<RectAction>(doc.canvas, std::array<int32_t, 4>{2, 3, 9, 20},
                                             std::array<uint8_t, 4>{0, 0, 200, 200}));
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    doc.perform(std::make_unique<RectAction>(doc.canvas, std::array<int32_t, 4>{5, 1, 4, 4},
                                             std::array<uint8_t, 4>{100, 0, 0, 100}));
    const Picture first = doc.picture();
    doc.perform(std::make_unique<CanvasFlipAction>(doc.canvas, doc.layers));
    const Picture flipped = doc.picture();
    EXPECT_TRUE(flipped.mirrored);
    EXPECT_NE(flipped.pixels, first.pixels);
    doc.perform(std::make_unique<CanvasFlipAction>(doc.canvas, doc.layers));
    EXPECT_FALSE(doc.canvas.pictureMirrored);
    EXPECT_EQ(doc.picture().pixels, first.pixels);
    // Undo of the second flip: mirrored again, and the rebuild must not toggle twice.
    ASSERT_TRUE(doc.history.undo());
    doc.history.replayIfPending();
    EXPECT_TRUE(doc.canvas.pictureMirrored);
    EXPECT_EQ(doc.picture().pixels, flipped.pixels);
}

// No action records a blend mode: a multiply layer comes with a loaded
// picture, whose snapshots hold it. An undo must give each layer back the mode
// it had at that step, also when the layers were moved or deleted after the
// snapshot (a restore then rebuilds records in the snapshot's order), and
// across both snapshot slots.
TEST_F(HistoryPixels, UndoNeverChangesHowALayerBlends) {
    Document doc(64, 48);
    setDabSink(&doc.canvas);
    doc.perform(std::make_unique<RectAction>(doc.canvas, std::array<int32_t, 4>{0, 0, 64, 48},
                                             std::array<uint8_t, 4>{40, 200, 120, 255}));
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    doc.perform(std::make_unique<RectAction>(doc.canvas, std::array<int32_t, 4>{8, 4, 40, 30},
                                             std::array<uint8_t, 4>{150, 60, 30, 200}));
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    doc.perform(std::make_unique<RectAction>(doc.canvas, std::array<int32_t, 4>{20, 10, 30, 30},
                                             std::array<uint8_t, 4>{0, 0, 90, 120}));
    doc.layers.at(1).blendMode = 1; // as a loaded multiply layer
    doc.history.settleAfterLoad();

    auto modes = [&doc] {
        std::vector<int> out;
        for (const Layer& l : doc.layers.layers) out.push_back(l.blendMode);
        return out;
    };
    std::vector<std::vector<uint8_t>> pictures{doc.picture().pixels};
    std::vector<std::vector<int>> blendModes{modes()};
    std::mt19937 rng(11);
    // Strokes on the multiply layer, a move of it to the bottom and back up,
    // a delete: more than one snapshot interval.
    for (int step = 0; step < 40; ++step) {
        if (step == 0) doc.perform(std::make_unique<LayerChangeAction>(doc.canvas, doc.layers, 1));
        else if (step == 8) doc.perform(std::make_unique<LayerMoveAction>(doc.canvas, doc.layers, 0));
        else if (step == 20) doc.perform(std::make_unique<LayerMoveAction>(doc.canvas, doc.layers, 2));
        else if (step == 33) doc.perform(std::make_unique<LayerChangeAction>(doc.canvas, doc.layers, 2));
        else if (step == 34) doc.perform(std::make_unique<DeleteLayerAction>(doc.canvas, doc.layers));
        else doc.perform(randomStroke(doc.canvas, rng));
        pictures.push_back(doc.picture().pixels);
        blendModes.push_back(modes());
    }
    ASSERT_EQ(std::count(blendModes.back().begin(), blendModes.back().end(), 1), 1);
    for (int k = 1; k <= History::kMaxUndoDepth; ++k) {
        ASSERT_TRUE(doc.history.undo()) << k;
        doc.history.replayIfPending();
        const size_t at = pictures.size() - 1 - static_cast<size_t>(k);
        EXPECT_EQ(modes(), blendModes[at]) << "after " << k << " undos";
        EXPECT_TRUE(doc.picture().pixels == pictures[at]) << "after " << k << " undos";
    }
}

TEST_F(HistoryPixels, SnapshotMemoryStaysAtTwoSlotsAndAutosaveCopiesSurvive) {
    constexpr int kSide = 2048;
    constexpr size_t kLayerBytes = size_t(kSide) * kSide * 4;
    const size_t blocksBefore = PixelBlock::liveBytes();
    Document doc(kSide, kSide);
    std::vector<SnapshotLayer> autosaveCopy; // what a running autosave holds
    int autosaves = 0;
    doc.history.startAutosave = [&](const HistorySnapshot& slot, size_t) {
        // Only the first autosave is still running when the next one would start.
        if (++autosaves == 1) autosaveCopy = slot.layers;
    };
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    std::mt19937 rng(5);
    size_t residentAfterWarmUp = 0;
    uint64_t heldSum = 0;
    auto checksum = [](const SnapshotLayer& l) {
        uint64_t s = 0;
        for (size_t i = 0; i < l.pixels->size(); i += 4093) s = s * 31 + l.pixels->data()[i];
        return s;
    };
    for (int step = 0; step < 400; ++step) {
        if (step % 10 == 9) doc.perform(std::make_unique<LayerChangeAction>(doc.canvas, doc.layers, step % 3));
        else doc.perform(randomRect(doc.canvas, rng));
        if (step == 70) {
            // Both slots are full: 3 layers each, slot 1 also held by the autosave.
            ASSERT_EQ(autosaves, 1);
            EXPECT_EQ(PixelBlock::liveBytes() - blocksBefore, 2 * 3 * kLayerBytes);
            heldSum = checksum(autosaveCopy[0]);
        }
        if (step == 140) residentAfterWarmUp = residentBytes();
        if (step == 130) {
            // Slot 1 was taken again while the autosave held it: fresh blocks,
            // the held ones keep their pixels.
            ASSERT_GE(autosaves, 2);
            EXPECT_EQ(PixelBlock::liveBytes() - blocksBefore, 3 * 3 * kLayerBytes);
            EXPECT_EQ(checksum(autosaveCopy[0]), heldSum);
            autosaveCopy.clear(); // the autosave ends
            EXPECT_EQ(PixelBlock::liveBytes() - blocksBefore, 2 * 3 * kLayerBytes);
        }
    }
    EXPECT_EQ(PixelBlock::liveBytes() - blocksBefore, 2 * 3 * kLayerBytes);
    const size_t residentAtEnd = residentBytes();
    ASSERT_GT(residentAfterWarmUp, 0u);
    // 260 more actions (over four more snapshots) may add records, but not
    // one more layer of pixels.
    EXPECT_LT(residentAtEnd, residentAfterWarmUp + kLayerBytes)
        << "resident " << residentAfterWarmUp / 1048576 << " MiB -> " << residentAtEnd / 1048576 << " MiB";
    EXPECT_EQ(doc.history.actionCount(), 403u);
}
