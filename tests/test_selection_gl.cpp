// The selection on the graphics card: the mask against the outline, paint of
// every kind confined by it, the selection actions against pixels worked out
// on the CPU, and undo and redo across them.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "core/InputState.h"
#include "history/BrushStrokeAction.h"
#include "history/CanvasFillAction.h"
#include "history/History.h"
#include "history/SelectionActions.h"
#include "platform/Random.h"
#include "support/GlTestContext.h"

namespace {

using Outline = std::vector<math::Vec2>;
using Bytes = std::vector<uint8_t>;

constexpr int kW = 200, kH = 150;

// Even-odd crossing test, on the CPU.
bool insideEvenOdd(const Outline& poly, float x, float y) {
    bool inside = false;
    for (std::size_t i = 0, j = poly.size() - 1; i < poly.size(); j = i++) {
        const math::Vec2 a = poly[i], b = poly[j];
        if ((a.y > y) != (b.y > y) && x < (b.x - a.x) * (y - a.y) / (b.y - a.y) + a.x) inside = !inside;
    }
    return inside;
}

float distanceToOutline(const Outline& poly, math::Vec2 p) {
    float d = 1e9f;
    for (std::size_t i = 0, j = poly.size() - 1; i < poly.size(); j = i++) {
        const math::Vec2 a = poly[j], ab = poly[i] - poly[j];
        float t = (p - a).dot(ab) / ab.dot(ab);
        t = std::fmax(0.0f, std::fmin(1.0f, t));
        d = std::fmin(d, (p - (a + ab * t)).length());
    }
    return d;
}

// Where the CPU is sure of a pixel: 1 inside, 0 outside, -1 near the edge.
int cpuCoverage(const Outline& poly, int x, int y) {
    const math::Vec2 centre{x + 0.5f, y + 0.5f};
    if (distanceToOutline(poly, centre) < 1.5f) return -1;
    return insideEvenOdd(poly, centre.x, centre.y) ? 1 : 0;
}

// A concave star across the middle, its tips well inside the canvas.
Outline star() {
    Outline s;
    for (int i = 0; i < 10; ++i) {
        const float r = i % 2 ? 25.0f : 65.0f, a = 6.2831853f * i / 10 + 0.1f;
        s.push_back({100 + r * std::cos(a), 75 + r * std::sin(a)});
    }
    return s;
}

std::size_t at(int x, int y) { return (static_cast<std::size_t>(y) * kW + static_cast<std::size_t>(x)) * 4; }

struct Doc {
    explicit Doc(bool limited) : canvas(kW, kH) {
        canvas.limitPassesToChanges = limited;
        canvas.attach(&history, &tips);
        canvas.resize(kW, kH, layers);
        canvas.clearCurrentSurface(0, 0, 0, 0);
        history.initialWidth = kW;
        history.initialHeight = kH;
        setDabSink(&canvas);
    }
    ~Doc() {
        setDabSink(nullptr);
        history.freeSnapshots();
        canvas.freeSurfaces();
    }
    void perform(std::unique_ptr<HistoryAction> action) {
        HistoryAction& a = *action;
        history.add(std::move(action), false);
        a.execute();
    }
    void select(const Outline& o) { perform(std::make_unique<EnableSelectionAction>(canvas, o)); }
    Bytes layer() { return readTexture(canvas.currentLayerSurface().textureId, kW, kH); }
    Bytes mask() { return readTexture(canvas.selectionMask.textureId, kW, kH); }
    void undoOne() {
        ASSERT_TRUE(history.undo());
        history.replayIfPending();
    }

    BrushTipTable tips;
    Canvas canvas;
    MultiLayeredImage layers;
    History history{&canvas, layers};
};

// A wide stroke right across the canvas, painted as the program paints it.
void paintAcross(Doc& d, const Brush& b, bool endIt = true) {
    d.canvas.brush = b;
    gWantedMode = b.mode;
    gCurrentPressure = 1.0f;
    d.canvas.color[0] = 0.9f, d.canvas.color[1] = 0.2f, d.canvas.color[2] = 0.1f;
    d.canvas.beginStroke(5, 70);
    for (int i = 1; i <= 24; ++i) {
        const float x = 5.0f + i * 8, y = 70.0f + 10 * std::sin(i * 0.4f);
        gInputState.updatePointer(static_cast<int>(x), static_cast<int>(y));
        d.canvas.continueStroke(x, y);
        if (i % 3 == 0) d.canvas.strokeFrame(false);
    }
    if (!endIt) return;
    d.canvas.endStroke();
    d.canvas.strokeFrame(false);
    d.canvas.strokeFrame(false);
}

std::unique_ptr<BrushStrokeAction> storedStroke(const Brush& b) {
    auto s = std::make_unique<BrushStrokeAction>(b, brush::Rgb{0.1f, 0.6f, 0.9f});
    for (int k = 0; k < 30; ++k)
        s->appendPoint(std::make_unique<BrushStrokePoint>(
            BrushStrokePoint({4.0f + k * 6.5f, 60.0f + (k % 7) * 3.0f}, 1.0f, 1.0f, false, 0.0f)));
    return s;
}

class SelectionGl : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        resetPenState();
        gInputState.reset();
        gWantedMode = 1;
        kwSrand(5);
    }
    void TearDown() override {
        gWantedMode = 1;
        GlTest::TearDown();
    }
};

// Pixels outside the mask are the `before` bytes; fully selected pixels are
// the `free` bytes (the same paint without a selection). Returns how many
// selected pixels the paint changed, so a test can see that it painted at all.
int expectConfined(const Bytes& result, const Bytes& before, const Bytes& free, const Bytes& mask) {
    int outsideDiffer = 0, insideDiffer = 0, changedInside = 0;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const std::size_t i = at(x, y);
            const uint8_t m = mask[i + 3];
            for (int c = 0; c < 4; ++c) {
                if (m == 0) outsideDiffer += result[i + c] != before[i + c];
                if (m == 255) insideDiffer += result[i + c] != free[i + c];
            }
            if (m == 255 && result[i + 3] != before[i + 3]) ++changedInside;
        }
    EXPECT_EQ(outsideDiffer, 0) << "paint leaked outside the selection";
    EXPECT_EQ(insideDiffer, 0) << "inside the selection the paint differs from the same paint without one";
    return changedInside;
}

} // namespace

TEST_F(SelectionGl, MaskIsTheOutlineWithAnAntiAliasedEdge) {
    Doc d(true);
    const Outline poly = star();
    d.select(poly);
    ASSERT_TRUE(d.canvas.selectionActive);
    const Bytes mask = d.mask();
    int inside = 0, outside = 0, partial = 0, wrong = 0;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const uint8_t a = mask[at(x, y) + 3];
            const int cpu = cpuCoverage(poly, x, y);
            if (cpu == 1) wrong += a != 255, ++inside;
            else if (cpu == 0) wrong += a != 0, ++outside;
            if (a != 0 && a != 255) ++partial;
        }
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(inside, 3000);
    EXPECT_GT(outside, 15000);
    // Four samples a pixel: the edge has steps between 0 and 255.
    EXPECT_GT(partial, 50);
}

TEST_F(SelectionGl, LiveStrokeIsConfinedAndThePreviewShowsItConfined) {
    for (bool limited : {true, false}) {
        Brush b;
        b.size = 30;
        Doc free(limited);
        paintAcross(free, b);
        Doc d(limited);
        d.select(star());
        const Bytes before = d.layer();
        // Mid-stroke the preview reads the stroke buffer: it holds the stroke cut by the mask.
        paintAcross(d, b, false);
        const Bytes mask = d.mask();
        const Bytes preview = readTexture(d.canvas.strokeBuffer.textureId, kW, kH);
        int previewOutside = 0, previewInside = 0;
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) {
                if (mask[at(x, y) + 3] == 0) previewOutside += preview[at(x, y) + 3] != 0;
                else previewInside += preview[at(x, y) + 3] != 0;
            }
        EXPECT_EQ(previewOutside, 0) << "limited " << limited;
        EXPECT_GT(previewInside, 1000) << "limited " << limited;
        d.canvas.endStroke();
        d.canvas.strokeFrame(false);
        d.canvas.strokeFrame(false);
        EXPECT_GT(expectConfined(d.layer(), before, free.layer(), mask), 1000) << "limited " << limited;
    }
}

TEST_F(SelectionGl, EraseStrokeIsConfined) {
    for (bool limited : {true, false}) {
        Brush b;
        b.size = 26;
        b.hardness = 0.5f;
        b.mode = kBrushModeErase;
        Doc free(limited);
        free.perform(std::make_unique<CanvasFillAction>(free.canvas, 0.3f, 0.5f, 0.7f));
        paintAcross(free, b);
        Doc d(limited);
        d.perform(std::make_unique<CanvasFillAction>(d.canvas, 0.3f, 0.5f, 0.7f));
        d.select(star());
        const Bytes before = d.layer();
        paintAcross(d, b);
        EXPECT_GT(expectConfined(d.layer(), before, free.layer(), d.mask()), 1000) << "limited " << limited;
    }
}

TEST_F(SelectionGl, ReplayedStrokeIsConfined) {
    for (bool limited : {true, false}) {
        Brush b;
        b.size = 22;
        b.hardness = 0.7f;
        Doc free(limited);
        free.perform(storedStroke(b));
        Doc d(limited);
        d.select(star());
        const Bytes before = d.layer();
        d.perform(storedStroke(b));
        EXPECT_GT(expectConfined(d.layer(), before, free.layer(), d.mask()), 1000) << "limited " << limited;
    }
}

TEST_F(SelectionGl, FillTakesOnlyTheSelectedPixels) {
    for (bool limited : {true, false}) {
        Doc d(limited);
        const Outline poly = star();
        d.select(poly);
        d.perform(std::make_unique<CanvasFillAction>(d.canvas, 1.0f, 0.0f, 0.4f));
        const Bytes px = d.layer(), mask = d.mask();
        int wrong = 0, checked = 0, edgeWrong = 0;
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) {
                const std::size_t i = at(x, y);
                const int cpu = cpuCoverage(poly, x, y);
                if (cpu == 1) wrong += px[i] != 255 || px[i + 1] != 0 || px[i + 2] != 102 || px[i + 3] != 255, ++checked;
                if (cpu == 0) wrong += px[i] != 0 || px[i + 1] != 0 || px[i + 2] != 0 || px[i + 3] != 0, ++checked;
                // At the edge: the colour over transparency, by the mask's share.
                edgeWrong += std::abs(px[i + 3] - mask[i + 3]) > 1;
            }
        EXPECT_EQ(wrong, 0) << "limited " << limited;
        EXPECT_EQ(edgeWrong, 0) << "limited " << limited;
        EXPECT_GT(checked, 15000);
    }
}

TEST_F(SelectionGl, CutClearsTheSelectedPixelsAndKeepsTheSelection) {
    for (bool limited : {true, false}) {
        Doc d(limited);
        d.perform(std::make_unique<CanvasFillAction>(d.canvas, 0.2f, 0.8f, 0.4f));
        const Outline poly = star();
        d.select(poly);
        d.perform(std::make_unique<ImageCutAction>(d.canvas));
        EXPECT_TRUE(d.canvas.selectionActive);
        const Bytes px = d.layer(), mask = d.mask();
        int wrong = 0, edgeWrong = 0;
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) {
                const std::size_t i = at(x, y);
                const int cpu = cpuCoverage(poly, x, y);
                if (cpu == 1) wrong += px[i] != 0 || px[i + 1] != 0 || px[i + 2] != 0 || px[i + 3] != 0;
                if (cpu == 0) wrong += px[i] != 51 || px[i + 1] != 204 || px[i + 2] != 102 || px[i + 3] != 255;
                edgeWrong += std::abs(px[i + 3] - (255 - mask[i + 3])) > 1;
            }
        EXPECT_EQ(wrong, 0) << "limited " << limited;
        EXPECT_EQ(edgeWrong, 0) << "limited " << limited;
    }
}

TEST_F(SelectionGl, ExtractSelectionGivesTheMaskedPixelsOfTheBox) {
    Doc d(true);
    const Bytes pattern = premultipliedPattern(kW, kH, 7);
    GlTexture source = GlTexture::createRgba(kW, kH, pattern.data());
    d.canvas.loadSurface(source.id(), true);
    // Box by hand: x from floor(30.5) = 30 to ceil(120.2) = 121, y from 20 to ceil(99.9) = 100.
    const Outline poly{{30.5f, 20.0f}, {120.2f, 40.0f}, {70.0f, 99.9f}, {60.0f, 50.0f}};
    d.select(poly);
    int w = 0, h = 0;
    Bytes bgra;
    math::Vec2 centre;
    ASSERT_TRUE(d.canvas.extractSelection(w, h, bgra, centre));
    EXPECT_EQ(w, 91);
    EXPECT_EQ(h, 80);
    EXPECT_FLOAT_EQ(centre.x, 75.5f);
    EXPECT_FLOAT_EQ(centre.y, 60.0f);
    ASSERT_EQ(bgra.size(), static_cast<std::size_t>(w * h * 4));
    int wrong = 0, inside = 0;
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            const int x = 30 + i, y = 20 + j;
            const int cpu = cpuCoverage(poly, x, y);
            const uint8_t* got = &bgra[(static_cast<std::size_t>(j) * w + i) * 4];
            const uint8_t* src = &pattern[at(x, y)];
            if (cpu == 1) {
                ++inside;
                wrong += got[0] != src[2] || got[1] != src[1] || got[2] != src[0] || got[3] != src[3];
            } else if (cpu == 0) {
                wrong += got[0] != 0 || got[1] != 0 || got[2] != 0 || got[3] != 0;
            }
        }
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(inside, 1500);
}

TEST_F(SelectionGl, ExtractSelectionClampsToTheCanvas) {
    Doc d(true);
    d.select({{-40, -10}, {50, -10}, {50, 30}, {-40, 30}});
    int w = 0, h = 0;
    Bytes bgra;
    math::Vec2 centre;
    ASSERT_TRUE(d.canvas.extractSelection(w, h, bgra, centre));
    EXPECT_EQ(w, 50);
    EXPECT_EQ(h, 30);
    EXPECT_FLOAT_EQ(centre.x, 25.0f);
    EXPECT_FLOAT_EQ(centre.y, 15.0f);
    // Wholly outside: no pixels.
    d.select({{300, 10}, {350, 10}, {320, 60}});
    EXPECT_FALSE(d.canvas.extractSelection(w, h, bgra, centre));
    EXPECT_TRUE(bgra.empty());
    d.select({{-90, 10}, {-50, 10}, {-70, 60}});
    EXPECT_FALSE(d.canvas.extractSelection(w, h, bgra, centre));
    // Coordinates far beyond any int (a damaged file): still no pixels, no overflow.
    d.select({{1e30f, 10}, {3e30f, 10}, {2e30f, 1e30f}});
    EXPECT_FALSE(d.canvas.extractSelection(w, h, bgra, centre));
    EXPECT_EQ(w, 0);
    EXPECT_EQ(h, 0);
}

TEST_F(SelectionGl, TwoPointsSelectNothingAndPaintNothing) {
    Doc d(true);
    d.select({{10, 10}, {150, 120}});
    EXPECT_TRUE(d.canvas.selectionActive);
    d.perform(std::make_unique<CanvasFillAction>(d.canvas, 1.0f, 1.0f, 1.0f));
    const Bytes px = d.layer();
    int painted = 0;
    for (std::size_t i = 3; i < px.size(); i += 4) painted += px[i] != 0;
    EXPECT_EQ(painted, 0);
}

TEST_F(SelectionGl, UndoAndRedoRestorePixelsAndOutline) {
    Doc d(true);
    Brush b;
    b.size = 18;
    struct State {
        Bytes pixels;
        bool active;
        Outline outline;
    };
    std::vector<State> states;
    auto record = [&] { states.push_back({d.layer(), d.canvas.selectionActive, d.canvas.selectionOutline()}); };
    Outline second;
    for (const math::Vec2& p : star()) second.push_back({p.x * 0.5f + 20, p.y * 0.5f + 10});
    d.perform(std::make_unique<CanvasFillAction>(d.canvas, 0.6f, 0.6f, 0.6f));
    record();
    d.select(star());
    record();
    // A snapshot holding the selection: the rebuild from it must restore it.
    d.history.takeSnapshot(true);
    d.perform(storedStroke(b));
    record();
    d.perform(std::make_unique<ImageCutAction>(d.canvas));
    record();
    d.perform(std::make_unique<DisableSelectionAction>(d.canvas));
    record();
    d.select(second);
    record();
    d.perform(std::make_unique<ImageCutAction>(d.canvas));
    record();
    auto expectState = [&](std::size_t k, const char* when) {
        const State& s = states[k];
        EXPECT_EQ(d.canvas.selectionActive, s.active) << when << " state " << k;
        EXPECT_EQ(d.canvas.selectionOutline(), s.outline) << when << " state " << k;
        EXPECT_TRUE(d.layer() == s.pixels) << when << " state " << k;
    };
    for (std::size_t k = states.size() - 1; k-- > 0;) {
        d.undoOne();
        expectState(k, "undo");
    }
    // The mask came back with the outline: a cut now removes the star again.
    d.history.redo();
    d.history.redo();
    d.history.redo();
    expectState(3, "redo");
    for (std::size_t k = 4; k < states.size(); ++k) {
        ASSERT_TRUE(d.history.redo());
        expectState(k, "redo");
    }
    // The states differ from each other, so the comparisons above could fail.
    EXPECT_FALSE(states[2].pixels == states[3].pixels);
    EXPECT_FALSE(states[5].pixels == states[6].pixels);
}
