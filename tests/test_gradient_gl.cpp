// The gradient on the graphics card: the stroke buffer and the merged layer
// read back against the ramp worked out here on the CPU (the colour at a
// pixel centre's place along the ramp, stops interpolated premultiplied,
// stored as bytes, then premultiplied over the layer), for two and three
// stops, a start beyond the canvas, no length, a selection; undo, a saved
// process replayed, and the stored form against bytes built by hand.
#include <gtest/gtest.h>


#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <vector>

#include "canvas/BlendReference.h"
#include "canvas/GlPixels.h"
#include "history/Replay.h"
#include "io/BinaryStream.h"
#include "support/GlTestContext.h"
#include "test_process_document.h"
#include "test_process_support.h"
#include "test_gradient_reference.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Color = std::array<float, 4>;
using gradtest::Ramp;
constexpr int kW = 120, kH = 90;

std::size_t at(int x, int y) { return (static_cast<std::size_t>(y) * kW + static_cast<std::size_t>(x)) * 4; }
Bytes expectedStrip(const Ramp& r) { return gradtest::expectedStrip(r, kW, kH); }
using gradtest::expectedMerge;
using gradtest::largestDifference;

std::unique_ptr<GradientFillAction> gradientAction(Canvas& canvas, const Ramp& r) {
    auto g = std::make_unique<GradientFillAction>(canvas);
    g->startX = r.start.x, g->startY = r.start.y, g->endX = r.end.x, g->endY = r.end.y;
    g->colors = r.colors;
    g->positions = r.positions;
    return g;
}

class GradientGl : public GlTest {
protected:
    void TearDown() override {
        setDabSink(nullptr);
        GlTest::TearDown();
    }
};

// Valid premultiplied pixels (colour <= alpha), clear, half and fully covered.
Bytes pattern() {
    Bytes px(static_cast<std::size_t>(kW) * kH * 4);
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            uint8_t* p = &px[at(x, y)];
            const int a = ((x / 7 + y / 5) % 3) * 127 + (x * 3 + y) % 2; // 0..255
            p[3] = static_cast<uint8_t>(a);
            p[0] = static_cast<uint8_t>(a * ((x * 13) % 10) / 9);
            p[1] = static_cast<uint8_t>(a * ((y * 7) % 10) / 9);
            p[2] = static_cast<uint8_t>(a / 2);
        }
    return px;
}

// A layer of varied premultiplied pixels.
struct PatternDoc : processtest::GlDocument {
    explicit PatternDoc(bool limited) : GlDocument(kW, kH) {
        canvas.limitPassesToChanges = limited;
        setDabSink(&canvas);
        perform(std::make_unique<ImageLoadAction>(canvas, kW, kH, pattern()));
    }
    Bytes layer() { return readTexture(canvas.currentLayerSurface().textureId, kW, kH); }
    Bytes strokeBuffer() { return readTexture(canvas.strokeBuffer.textureId, kW, kH); }
};

const Ramp kTwoStops{{20, 15}, {100, 70}, {{1.0f, 0.5f, 0.0f, 1.0f}, {0.0f, 0.25f, 1.0f, 0.2f}}, {0.0f, 1.0f}};
const Ramp kThreeStops{{110, 10},
                       {15, 60},
                       {{1.0f, 0.0f, 0.0f, 1.0f}, {0.2f, 1.0f, 0.4f, 0.6f}, {0.0f, 0.0f, 1.0f, 0.0f}},
                       {0.0f, 0.3f, 1.0f}};

} // namespace

TEST_F(GradientGl, StripAndMergeFollowTheRampForTwoAndThreeStops) {
    for (const Ramp* r : {&kTwoStops, &kThreeStops})
        for (bool limited : {true, false}) {
            SCOPED_TRACE(std::to_string(r->colors.size()) + " stops, " + (limited ? "limited" : "whole"));
            PatternDoc d(limited);
            const Bytes before = d.layer();
            d.canvas.renderGradient(r->start, r->end, r->colors, r->positions);
            const Bytes strip = d.strokeBuffer();
            const Bytes wanted = expectedStrip(*r);
            EXPECT_LE(largestDifference(strip, wanted), 1);
            // Along the ramp itself, from before start to beyond end.
            for (int k = -2; k <= 12; ++k) {
                const float s = static_cast<float>(k) / 10.0f;
                const int x = static_cast<int>(r->start.x + (r->end.x - r->start.x) * s);
                const int y = static_cast<int>(r->start.y + (r->end.y - r->start.y) * s);
                if (x < 0 || y < 0 || x >= kW || y >= kH) continue;
                for (int c = 0; c < 4; ++c)
                    EXPECT_LE(std::abs(strip[at(x, y) + c] - wanted[at(x, y) + c]), 1) << "k " << k << " c " << c;
            }
            d.canvas.mergeGradient();
            EXPECT_LE(largestDifference(d.layer(), expectedMerge(strip, before)), 1);
            EXPECT_LE(largestDifference(d.layer(), expectedMerge(wanted, before)), 2);
        }
}

TEST_F(GradientGl, TheActionRendersAndMergesAndRecords) {
    PatternDoc d(true);
    const Bytes before = d.layer();
    const std::size_t actions = d.history.actionCount();
    d.perform(gradientAction(d.canvas, kThreeStops));
    EXPECT_EQ(d.history.actionCount(), actions + 1);
    EXPECT_LE(largestDifference(d.layer(), expectedMerge(expectedStrip(kThreeStops), before)), 2);
    // Nothing of the ramp is left to show as a stroke preview.
    const Bytes buffer = d.strokeBuffer();
    EXPECT_EQ(buffer, Bytes(buffer.size(), 0));
}

// Start 100 pixels left of the canvas, beyond the diagonal's circle (half
// diagonal 75): its strip has no pair before start; the pixels still follow
// the ramp.
TEST_F(GradientGl, StartBeyondTheDiagonalCircle) {
    const Ramp far{{-100, 45}, {80, 45}, {{0, 0, 0, 1}, {1, 1, 1, 1}}, {0, 1}};
    PatternDoc d(true);
    const Bytes before = d.layer();
    d.perform(gradientAction(d.canvas, far));
    EXPECT_LE(largestDifference(d.layer(), expectedMerge(expectedStrip(far), before)), 2);
    // Opaque stops hide the layer: grey levels rise along x.
    EXPECT_LT(d.layer()[at(0, 45)], d.layer()[at(70, 45)]);
    EXPECT_EQ(d.layer()[at(100, 45)], 255);
}

TEST_F(GradientGl, ZeroLengthPaintsNothingButIsRecorded) {
    const Ramp none{{40, 40}, {40, 40}, {{1, 0, 0, 1}, {0, 1, 0, 1}}, {0, 1}};
    PatternDoc d(true);
    const Bytes before = d.layer();
    const std::size_t actions = d.history.actionCount();
    d.perform(gradientAction(d.canvas, none));
    EXPECT_EQ(d.history.actionCount(), actions + 1);
    EXPECT_EQ(d.layer(), before);
}

TEST_F(GradientGl, ASelectionConfinesTheRamp) {
    const std::vector<math::Vec2> triangle{{10, 10}, {100, 20}, {40, 80}};
    for (bool limited : {true, false}) {
        SCOPED_TRACE(limited ? "limited" : "whole");
        PatternDoc d(limited);
        d.perform(std::make_unique<EnableSelectionAction>(d.canvas, triangle));
        const Bytes before = d.layer();
        const Bytes mask = readTexture(d.canvas.selectionMask.textureId, kW, kH);
        d.perform(gradientAction(d.canvas, kTwoStops));
        const Bytes after = d.layer();
        const Bytes free = expectedMerge(expectedStrip(kTwoStops), before);
        int outsideChanged = 0, insideWrong = 0, inside = 0;
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) {
                const uint8_t m = mask[at(x, y) + 3];
                inside += m == 255;
                for (int c = 0; c < 4; ++c) {
                    const std::size_t i = at(x, y) + static_cast<std::size_t>(c);
                    if (m == 0) outsideChanged += after[i] != before[i];
                    if (m == 255) insideWrong += std::abs(after[i] - free[i]) > 2;
                }
            }
        EXPECT_GT(inside, 1500); // the triangle's area is about 2400 pixels
        EXPECT_EQ(outsideChanged, 0);
        EXPECT_EQ(insideWrong, 0);
    }
}

TEST_F(GradientGl, UndoAndASavedProcessReplayToTheLiveBytes) {
    PatternDoc d(true);
    d.perform(gradientAction(d.canvas, kTwoStops));
    Brush round;
    round.size = 7;
    d.perform(processtest::stroke(round, {0.1f, 0.2f, 0.9f}, 10, 10, 6, 4, 12));
    d.perform(std::make_unique<EnableSelectionAction>(d.canvas, std::vector<math::Vec2>{{5, 5}, {90, 8}, {60, 85}}));
    d.perform(gradientAction(d.canvas, kThreeStops));
    d.perform(std::make_unique<DisableSelectionAction>(d.canvas));
    const Bytes live = d.layer();

    // Undo back past the last gradient, then redo.
    ASSERT_TRUE(d.history.undo());
    d.history.replayIfPending();
    ASSERT_TRUE(d.history.undo());
    d.history.replayIfPending();
    EXPECT_NE(d.layer(), live);
    ASSERT_TRUE(d.history.redo());
    ASSERT_TRUE(d.history.redo());
    EXPECT_EQ(d.layer(), live);

    const std::vector<uint8_t> saved = d.save();
    processtest::GlDocument loaded(3, 3);
    setDabSink(&loaded.canvas);
    ASSERT_EQ(loaded.load(saved), LoadResult::Loaded);
    replayProcess(loaded.history);
    EXPECT_EQ(readTexture(loaded.canvas.currentLayerSurface().textureId, kW, kH), live);
    EXPECT_EQ(loaded.save(), saved);
}

// Body: start x, y, end x, y (floats), count (int32), count RGBA float
// colours, count float positions, all little endian.
TEST_F(GradientGl, StoredFormIsTheDocumentedBytes) {
    processtest::Bytes expected;
    expected.f32(1.5f).f32(-2.0f).f32(300.25f).f32(4.0f).i32(3);
    expected.f32(1).f32(0).f32(0.5f).f32(1);
    expected.f32(0).f32(0.25f).f32(1).f32(0);
    expected.f32(0.125f).f32(0.5f).f32(0.75f).f32(0.5f);
    expected.f32(0).f32(0.4f).f32(1);
    // The same bytes spelt out for the first fields, so the builder is not
    // the only witness: 1.5f is 0x3FC00000.
    ASSERT_GE(expected.b.size(), 4u);
    EXPECT_EQ(expected.b[0], 0x00);
    EXPECT_EQ(expected.b[2], 0xC0);
    EXPECT_EQ(expected.b[3], 0x3F);
    ASSERT_EQ(expected.b.size(), 8u + 8u + 4u + 3u * 16u + 3u * 4u);

    Canvas canvas(4, 4);
    GradientFillAction action(canvas);
    action.startX = 1.5f, action.startY = -2.0f, action.endX = 300.25f, action.endY = 4.0f;
    action.colors = {{1, 0, 0.5f, 1}, {0, 0.25f, 1, 0}, {0.125f, 0.5f, 0.75f, 0.5f}};
    action.positions = {0, 0.4f, 1};
    io::BinaryWriter out;
    action.write(out);
    EXPECT_EQ(out.bytes(), expected.b);

    GradientFillAction back(canvas);
    io::BinaryReader in(expected.b);
    back.read(in);
    EXPECT_FLOAT_EQ(back.startX, 1.5f);
    EXPECT_FLOAT_EQ(back.startY, -2.0f);
    EXPECT_FLOAT_EQ(back.endX, 300.25f);
    EXPECT_FLOAT_EQ(back.endY, 4.0f);
    ASSERT_EQ(back.colors.size(), 3u);
    EXPECT_EQ(back.colors[1], (Color{0, 0.25f, 1, 0}));
    EXPECT_EQ(back.colors[2], (Color{0.125f, 0.5f, 0.75f, 0.5f}));
    EXPECT_EQ(back.positions, (std::vector<float>{0, 0.4f, 1}));
    io::BinaryWriter again;
    back.write(again);
    EXPECT_EQ(again.bytes(), expected.b);
}
