// The bucket fill on the graphics card: the merged pixels against the CPU
// search laid over the layer by the blend formula, the selection's cut,
// "sample all layers", undo, and stored processes (written by us and built
// byte by byte in the older forms) replayed.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <vector>

#include "canvas/BlendReference.h"
#include "canvas/GlPixels.h"
#include "core/Flood.h"
#include "history/Replay.h"
#include "support/GlTestContext.h"
#include "test_process_document.h"
#include "test_process_support.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr int kW = 96, kH = 80;
constexpr float kCx = 48, kCy = 40, kRadius = 24;

std::size_t at(int x, int y) { return (static_cast<std::size_t>(y) * kW + static_cast<std::size_t>(x)) * 4; }

// A closed black ring with a soft edge, drawn as a stored stroke.
std::unique_ptr<BrushStrokeAction> ring() {
    Brush b;
    b.size = 6;
    b.hardness = 0.3f;
    auto s = std::make_unique<BrushStrokeAction>(b, brush::Rgb{0, 0, 0});
    for (int k = 0; k <= 120; ++k) {
        const float a = 6.2831853f * static_cast<float>(k) / 120.0f;
        s->appendPoint(std::make_unique<BrushStrokePoint>(
            BrushStrokePoint({kCx + kRadius * std::cos(a), kCy + kRadius * std::sin(a)}, 1.0f, 1.0f, false, 0.0f)));
    }
    return s;
}

std::unique_ptr<BucketFillAction> bucket(processtest::GlDocument& d, int x, int y, std::array<int32_t, 4> colour,
                                         float tolerance, bool lineart, bool sampleAll) {
    auto f = std::make_unique<BucketFillAction>(d.canvas, d.layers);
    f->seedX = x;
    f->seedY = y;
    f->color = colour;
    f->tolerance = tolerance;
    f->optimizeForLineart = lineart;
    f->sampleAllLayers = sampleAll;
    return f;
}

// What the fill must leave: the CPU search on `source`, laid over `layer`
// with premultiplied over (top + bottom * (1 - top alpha)).
Bytes expectedFill(const Bytes& source, const Bytes& layer, int x, int y, std::array<int32_t, 4> colour,
                   float tolerance, bool lineart) {
    flood::Params p;
    p.seedX = x, p.seedY = y, p.fill = colour, p.tolerance = tolerance, p.lineart = lineart;
    Bytes result(source.size());
    flood::Workspace work;
    flood::fill(source.data(), kW, kH, p, result.data(), work);
    Bytes out(layer.size());
    for (std::size_t i = 0; i < out.size(); i += 4) {
        const blendref::Rgba c = blendref::premultipliedOver(blendref::fromBytes(&result[i]), blendref::fromBytes(&layer[i]));
        out[i] = blendref::toByte(c.r), out[i + 1] = blendref::toByte(c.g);
        out[i + 2] = blendref::toByte(c.b), out[i + 3] = blendref::toByte(c.a);
    }
    return out;
}

// Largest difference of any channel; the card may round a step differently.
int largestDifference(const Bytes& a, const Bytes& b) {
    int worst = 0;
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) worst = std::max(worst, std::abs(a[i] - b[i]));
    return a.size() == b.size() ? worst : 999;
}

class BucketFillGl : public GlTest {
protected:
    void TearDown() override {
        setDabSink(nullptr);
        GlTest::TearDown();
    }
};

// White canvas with the ring on it.
struct RingDoc : processtest::GlDocument {
    explicit RingDoc(bool limited) : GlDocument(kW, kH) {
        canvas.limitPassesToChanges = limited;
        setDabSink(&canvas);
        perform(std::make_unique<CanvasFillAction>(canvas, 1.0f, 1.0f, 1.0f));
        perform(ring());
    }
    Bytes layer() { return readTexture(canvas.currentLayerSurface().textureId, kW, kH); }
};

constexpr std::array<int32_t, 4> kOrange{200, 100, 50, 255};

} // namespace

TEST_F(BucketFillGl, FillInsideARingMatchesTheCpuSearch) {
    for (bool limited : {true, false})
        for (bool lineart : {false, true}) {
            SCOPED_TRACE(std::string(limited ? "limited" : "whole") + (lineart ? " lineart" : " plain"));
            RingDoc d(limited);
            const Bytes before = d.layer();
            // The ring is drawn: black in its core, white well inside and outside.
            ASSERT_LT(before[at(static_cast<int>(kCx + kRadius), static_cast<int>(kCy))], 40);
            ASSERT_EQ(before[at(static_cast<int>(kCx), static_cast<int>(kCy))], 255);
            d.perform(bucket(d, 48, 40, kOrange, 0.1f, lineart, false));
            const Bytes after = d.layer();
            EXPECT_LE(largestDifference(after, expectedFill(before, before, 48, 40, kOrange, 0.1f, lineart)), 1);
            // Inside: the fill; outside the ring: still white.
            EXPECT_EQ(after[at(48, 40)], 200);
            EXPECT_EQ(after[at(48, 40) + 1], 100);
            EXPECT_EQ(after[at(kW / 2 + 10, kH / 2 - 10) + 2], 50);
            EXPECT_EQ(after[at(2, 2)], 255);
            EXPECT_EQ(after[at(2, 2) + 2], 255);
            EXPECT_EQ(after[at(kW - 3, kH - 3) + 1], 255);
        }
}

TEST_F(BucketFillGl, LineartLeavesNoLightRimAgainstTheLine) {
    // Along a row through the ring's right edge: in plain mode the
    // anti-aliased inner edge keeps pixels lighter than both the fill and
    // the line (the halo); in lineart mode none is left.
    auto haloPixels = [](const Bytes& px) {
        int halo = 0;
        for (int x = 48; x < kW; ++x) {
            const uint8_t g = px[at(x, 40) + 1], b = px[at(x, 40) + 2];
            // Brighter than the fill's green and blue: white shows through.
            if (g > 110 && b > 60) ++halo;
            if (g < 20) break; // the line's core
        }
        return halo;
    };
    RingDoc plain(true);
    plain.perform(bucket(plain, 48, 40, kOrange, 0.1f, false, false));
    RingDoc lineart(true);
    lineart.perform(bucket(lineart, 48, 40, kOrange, 0.1f, true, false));
    EXPECT_GT(haloPixels(plain.layer()), 0) << "the ring's edge should show a halo in plain mode";
    EXPECT_EQ(haloPixels(lineart.layer()), 0);
}

TEST_F(BucketFillGl, UndoRestoresThePixels) {
    RingDoc d(true);
    const Bytes before = d.layer();
    d.perform(bucket(d, 48, 40, kOrange, 0.1f, true, false));
    ASSERT_NE(d.layer(), before);
    ASSERT_TRUE(d.history.undo());
    d.history.replayIfPending();
    EXPECT_EQ(d.layer(), before);
    ASSERT_TRUE(d.history.redo());
    EXPECT_LE(largestDifference(d.layer(), expectedFill(before, before, 48, 40, kOrange, 0.1f, true)), 1);
}

TEST_F(BucketFillGl, SelectionCutsTheFillEvenFromASeedOutsideIt) {
    // The selection: a square over the left part of the ring's inside.
    const std::vector<math::Vec2> square{{20, 20}, {44, 20}, {44, 60}, {20, 60}};
    for (int seedX : {40, 60}) { // inside the selection, outside it (both inside the ring)
        SCOPED_TRACE(seedX);
        RingDoc d(true);
        d.perform(std::make_unique<EnableSelectionAction>(d.canvas, square));
        const Bytes before = d.layer();
        const Bytes mask = readTexture(d.canvas.selectionMask.textureId, kW, kH);
        d.perform(bucket(d, seedX, 40, kOrange, 0.1f, false, false));
        const Bytes after = d.layer();
        const Bytes free = expectedFill(before, before, seedX, 40, kOrange, 0.1f, false);
        int outsideChanged = 0, insideWrong = 0, filledInside = 0;
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) {
                const uint8_t m = mask[at(x, y) + 3];
                for (int c = 0; c < 4; ++c) {
                    const std::size_t i = at(x, y) + static_cast<std::size_t>(c);
                    if (m == 0) outsideChanged += after[i] != before[i];
                    if (m == 255) insideWrong += std::abs(after[i] - free[i]) > 1;
                }
                if (m == 255 && after[at(x, y)] == 200 && after[at(x, y) + 1] == 100) ++filledInside;
            }
        EXPECT_EQ(outsideChanged, 0);
        EXPECT_EQ(insideWrong, 0);
        EXPECT_GT(filledInside, 400); // about 20 x 38 pixels of the square lie inside the ring
        // The seed's own pixel lies outside the selection in the second run: untouched.
        if (seedX == 60) {
            EXPECT_EQ(after[at(60, 40) + 1], 255);
        }
    }
}

TEST_F(BucketFillGl, SampleAllLayersSearchesTheComposedPictureAndPaintsTheCurrentLayer) {
    RingDoc d(true);
    d.perform(std::make_unique<NewLayerAction>(d.canvas, d.layers));
    ASSERT_EQ(d.layers.current, 1);
    d.canvas.saveCurrentLayer(d.layers);
    const LayeredPicture before = captureLayers(d.canvas, d.layers);
    const Bytes& bottom = before.layers[0].pixels;
    const Bytes& top = before.layers[1].pixels;
    d.perform(bucket(d, 48, 40, kOrange, 0.1f, false, true));
    d.canvas.saveCurrentLayer(d.layers);
    const LayeredPicture after = captureLayers(d.canvas, d.layers);
    EXPECT_TRUE(after.layers[0].pixels == bottom) << "the layer below changed";
    // The top layer is clear, so what the window shows is the bottom layer.
    EXPECT_LE(largestDifference(after.layers[1].pixels, expectedFill(bottom, top, 48, 40, kOrange, 0.1f, false)), 1);
    EXPECT_EQ(after.layers[1].pixels[at(2, 2) + 3], 0) << "outside the ring stays clear";
    EXPECT_EQ(after.layers[1].pixels[at(48, 40) + 3], 255);
    // Without sampling all layers the clear layer is one region: all of it fills.
    d.perform(bucket(d, 2, 2, {0, 0, 255, 255}, 0.1f, false, false));
    EXPECT_EQ(d.layer()[at(2, 2) + 2], 255);
    EXPECT_EQ(d.layer()[at(48, 40)], 200);
}

TEST_F(BucketFillGl, SavedProcessWithFillsReplaysIdentically) {
    RingDoc d(true);
    d.perform(bucket(d, 48, 40, kOrange, 0.1f, false, false));   // plain, inside the ring
    d.perform(bucket(d, 3, 3, {20, 60, 120, 200}, 0.2f, true, false)); // lineart, outside it
    d.perform(std::make_unique<NewLayerAction>(d.canvas, d.layers));
    d.perform(bucket(d, 48, 40, {0, 128, 0, 128}, 0.1f, false, true)); // sample all, on the new layer
    d.canvas.saveCurrentLayer(d.layers);
    const LayeredPicture expected = captureLayers(d.canvas, d.layers);

    // Independently: the same steps on the CPU from the ring alone.
    RingDoc ringOnly(true);
    Bytes l0 = ringOnly.layer();
    l0 = expectedFill(l0, l0, 48, 40, kOrange, 0.1f, false);
    l0 = expectedFill(l0, l0, 3, 3, {20, 60, 120, 200}, 0.2f, true);
    const Bytes clear(l0.size(), 0);
    const Bytes l1 = expectedFill(l0, clear, 48, 40, {0, 128, 0, 128}, 0.1f, false);
    ASSERT_EQ(expected.layers.size(), 2u);
    EXPECT_LE(largestDifference(expected.layers[0].pixels, l0), 1);
    EXPECT_LE(largestDifference(expected.layers[1].pixels, l1), 1);

    const std::vector<uint8_t> saved = d.save();
    processtest::GlDocument loaded(3, 3);
    setDabSink(&loaded.canvas);
    ASSERT_EQ(loaded.load(saved), LoadResult::Loaded);
    replayProcess(loaded.history);
    const LayeredPicture replayed = captureLayers(loaded.canvas, loaded.layers);
    ASSERT_EQ(replayed.layers.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i)
        EXPECT_TRUE(replayed.layers[i].pixels == expected.layers[i].pixels) << "layer " << i;
    EXPECT_EQ(loaded.save(), saved);
}

namespace {
// A process of the given release: a white canvas fill and one bucket fill
// at (5, 5) of (10, 20, 30, 128), tolerance 0.1; the flag bytes as that
// release wrote them. Then the stored picture (one layer, any bytes).
std::vector<uint8_t> oldProcess(const std::string& version, int32_t patch, int flagBytes) {
    processtest::Bytes b = processtest::header(version, kW, kH, 4, 0, patch);
    b.i32(kW).i32(kH).i32(0); // initial size, no tips
    b.i32(2);
    b.i32(2).f32(1).f32(1).f32(1);
    b.i32(21).i32(5).i32(5).i32(10).i32(20).i32(30).i32(128).f32(0.1f);
    for (int i = 0; i < flagBytes; ++i) b.u8(1);
    b.i32(1).u8(1).i32(100).i32(0).i32(0).fill(static_cast<std::size_t>(kW * kH * 4), 7);
    return b.b;
}
} // namespace

TEST_F(BucketFillGl, OlderStoredFormsLoadAndReplay) {
    struct Case {
        const char* version;
        int32_t patch;
        int flagBytes;
        int32_t index;
        bool lineart;
    };
    // 3.5.2 (index 19): no flags; 3.5.15 (index 21): the lineart flag only.
    for (const Case& c : {Case{"3.5", 2, 0, 19, false}, Case{"3.5", 15, 1, 21, true}}) {
        SCOPED_TRACE(c.index);
        const std::vector<uint8_t> bytes = oldProcess(c.version, c.patch, c.flagBytes);
        processtest::Parsed parsed(bytes);
        ASSERT_EQ(parsed.result, LoadResult::Loaded) << parsed.reason;
        EXPECT_EQ(parsed.content.header.processIndex, c.index);
        ASSERT_EQ(parsed.content.actions.size(), 2u);
        const auto* fill = dynamic_cast<const BucketFillAction*>(parsed.content.actions[1].get());
        ASSERT_NE(fill, nullptr);
        EXPECT_EQ(fill->seedX, 5);
        EXPECT_EQ(fill->color, (std::array<int32_t, 4>{10, 20, 30, 128}));
        EXPECT_EQ(fill->optimizeForLineart, c.lineart);
        EXPECT_FALSE(fill->sampleAllLayers);

        processtest::GlDocument loaded(3, 3);
        setDabSink(&loaded.canvas);
        ASSERT_EQ(loaded.load(bytes), LoadResult::Loaded);
        replayProcess(loaded.history);
        // The white canvas is one region; (10,20,30,128) over white:
        // 10 + 255 * (1 - 128/255) = 10 + 127 = 137, then 147, 157; alpha 255.
        const Bytes px = readTexture(loaded.canvas.currentLayerSurface().textureId, kW, kH);
        int wrong = 0;
        for (std::size_t i = 0; i < px.size(); i += 4)
            wrong += std::abs(px[i] - 137) > 1 || std::abs(px[i + 1] - 147) > 1 || std::abs(px[i + 2] - 157) > 1 ||
                     px[i + 3] != 255;
        EXPECT_EQ(wrong, 0);
    }
}
