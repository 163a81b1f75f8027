// Strokes on GL: live painting and re-execution of the stored actions must
// give byte-identical layers; dabs cover what their size says.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/TipTextures.h"
#include "core/InputState.h"
#include "history/History.h"
#include "platform/Random.h"
#include "support/GlTestContext.h"
#include "TestPaths.h"

namespace {

class StrokeGlTest : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        buildTips(tips, std::string(KW_TEST_DATA_DIR) + "/brushes");
        canvas.attach(&history, &tips);
        canvas.resize(kW, kH, layers);
        canvas.clearCurrentSurface(0, 0, 0, 0);
        setDabSink(&canvas);
        resetPenState();
        gInputState.reset();
    }
    void TearDown() override {
        setDabSink(nullptr);
        canvas.freeSurfaces();
        GlTest::TearDown();
    }

    std::vector<uint8_t> layerPixels() { return readFramebuffer(canvas.currentLayerSurface()); }

    // Paints a stroke the way the program does: samples arrive between
    // frames, each frame stamps what arrived and merges when due.
    void paint(const std::vector<math::Vec2>& path, const std::vector<float>& pressure, int samplesPerFrame = 3) {
        gCurrentPressure = pressure.empty() ? 1.0f : pressure[0];
        canvas.beginStroke(path[0].x, path[0].y);
        for (size_t i = 1; i < path.size(); ++i) {
            if (!pressure.empty()) gCurrentPressure = pressure[i % pressure.size()];
            gInputState.updatePointer(static_cast<int>(path[i].x), static_cast<int>(path[i].y));
            canvas.continueStroke(path[i].x, path[i].y);
            if (i % samplesPerFrame == 0) canvas.strokeFrame(false);
        }
        canvas.endStroke();
        canvas.strokeFrame(false);
        canvas.strokeFrame(false);
    }

    static std::vector<math::Vec2> wave(float y0, float amplitude, int n, float x0 = 20, float step = 7) {
        std::vector<math::Vec2> path;
        for (int i = 0; i < n; ++i)
            path.push_back({x0 + i * step, y0 + amplitude * std::sin(i * 0.21f)});
        return path;
    }

    static constexpr int kW = 320, kH = 240;
    Canvas canvas{kW, kH};
    MultiLayeredImage layers;
    History history{&canvas, layers};
    BrushTipTable tips;
};

int differingBytes(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    int n = 0;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) n += a[i] != b[i];
    return n;
}

} // namespace

// Undo, replay and video all rest on this: executing the stored actions
// again, with no randomness, reproduces the live picture exactly.
TEST_F(StrokeGlTest, ReExecutionIsByteIdenticalToLivePainting) {
    kwSrand(12345);
    const int leaf = tips.findFolderTip("leaf");
    const int rake = tips.findFolderTip("rake");
    ASSERT_GT(leaf, 0);
    ASSERT_GT(rake, 0);

    auto setColor = [&](float r, float g, float b) {
        canvas.color[0] = r, canvas.color[1] = g, canvas.color[2] = b;
        canvas.colorHsv[0] = 200, canvas.colorHsv[1] = 0.7f, canvas.colorHsv[2] = 0.8f;
    };
    std::vector<float> rising;
    for (int i = 0; i < 40; ++i) rising.push_back(0.1f + i * 0.02f);

    // A soft round brush with every kind of jitter, pressure on size.
    canvas.brush = Brush{};
    canvas.brush.size = 24;
    canvas.brush.hardness = 0.4f;
    canvas.brush.size_jitter = 40;
    canvas.brush.opacity_jitter = 50;
    canvas.brush.scattering = 0.5f;
    canvas.brush.SizeFollowsPressure = true;
    setColor(0.9f, 0.2f, 0.1f);
    paint(wave(60, 25, 40), rising);

    // A textured, rotating tip with colour dynamics and smoothing.
    canvas.brush = Brush{};
    canvas.brush.size = 30;
    canvas.brush.tipIndex = leaf;
    canvas.brush.angle_randomness = 90;
    canvas.brush.setFlag(kBrushFlagColorDynamics, true);
    canvas.brush.antialias = 1;
    canvas.brush.spacing = 0.3f;
    setColor(0.1f, 0.5f, 0.9f);
    paint(wave(120, 40, 40), {});

    // A dry rake with additive build-up at half opacity.
    canvas.brush = Brush{};
    canvas.brush.size = 20;
    canvas.brush.tipIndex = rake;
    canvas.brush.setFlag(kBrushFlagDryBrush, true);
    canvas.brush.setFlag(kBrushFlagAdditiveStroke, true);
    canvas.brush.opacity = 0.5f;
    setColor(0.2f, 0.8f, 0.3f);
    paint(wave(180, 20, 40), rising);

    // The eraser across all three (the eraser end of a pen asks for mode 2).
    gWantedMode = 2;
    canvas.toolBrushes[0] = Brush{};
    canvas.toolBrushes[0].size = 18;
    canvas.toolBrushes[0].hardness = 0.6f;
    std::vector<math::Vec2> down;
    for (int i = 0; i < 40; ++i) down.push_back({160 + 3 * std::sin(i * 0.3f), 230 - i * 5.5f});
    paint(down, {});

    ASSERT_EQ(history.actionCount(), 4u);
    const std::vector<uint8_t> live = layerPixels();

    // Start over from blank with a different random state; execute the list.
    kwSrand(999);
    canvas.clearCurrentSurface(0, 0, 0, 0);
    for (const auto& action : history.actions()) ASSERT_TRUE(action->execute());
    const std::vector<uint8_t> replayed = layerPixels();

    ASSERT_EQ(live.size(), replayed.size());
    EXPECT_EQ(differingBytes(live, replayed), 0);
    // The picture is not trivially empty, and the eraser removed paint.
    int painted = 0;
    for (size_t i = 3; i < live.size(); i += 4) painted += live[i] > 0;
    EXPECT_GT(painted, 3000);
    const size_t erased = (static_cast<size_t>(120) * kW + 160) * 4; // on the eraser's path, in the middle stroke
    EXPECT_EQ(live[erased + 3], 0);
}

// Painting keeps the layer premultiplied: no colour channel above its alpha,
// for plain, soft, additive, colour-dynamic and textured strokes over each other.
// (The smoothed composite divides by the result alpha, so it is left out.)
TEST_F(StrokeGlTest, PaintingStaysPremultiplied) {
    kwSrand(7);
    const float colors[][3] = {{1, 0.5f, 0.2f}, {0.3f, 1, 0.9f}, {0.8f, 0.8f, 0.1f}, {0.2f, 0.1f, 1}};
    for (int k = 0; k < 4; ++k) {
        canvas.brush = Brush{};
        canvas.brush.size = 20 + 6 * k;
        canvas.brush.opacity = 0.35f + 0.2f * k;
        canvas.brush.hardness = k % 2 ? 0.3f : 1.0f;
        canvas.brush.setFlag(kBrushFlagAdditiveStroke, k == 2);
        canvas.brush.setFlag(kBrushFlagColorDynamics, k == 3);
        if (k == 1) canvas.brush.tipIndex = tips.findFolderTip("plaster");
        canvas.color[0] = colors[k][0], canvas.color[1] = colors[k][1], canvas.color[2] = colors[k][2];
        paint(wave(60.0f + 30 * k, 40, 40), {0.3f, 0.6f, 0.9f});
    }
    const std::vector<uint8_t> px = layerPixels();
    int painted = 0;
    for (size_t i = 0; i < px.size(); i += 4) {
        painted += px[i + 3] > 0;
        ASSERT_TRUE(px[i] <= px[i + 3] && px[i + 1] <= px[i + 3] && px[i + 2] <= px[i + 3]) << "pixel " << i / 4;
    }
    EXPECT_GT(painted, 5000);
}

// A single dab of a hard round brush covers its radius and no more; flow and
// opacity limit the alpha.
TEST_F(StrokeGlTest, DabCoverageFlowAndOpacity) {
    canvas.brush = Brush{};
    canvas.brush.size = 40; // radius 20
    canvas.color[0] = 1, canvas.color[1] = 1, canvas.color[2] = 1;
    gCurrentPressure = 1.0f;
    canvas.beginStroke(100.5f, 100.5f);
    canvas.endStroke();
    canvas.strokeFrame(false);
    std::vector<uint8_t> px = layerPixels();
    auto alphaAt = [&](int x, int y) { return px[(static_cast<size_t>(y) * kW + x) * 4 + 3]; };
    EXPECT_EQ(alphaAt(100, 100), 255);
    EXPECT_EQ(alphaAt(100 + 17, 100), 255);
    EXPECT_EQ(alphaAt(100 + 23, 100), 0);
    EXPECT_EQ(alphaAt(100, 100 - 23), 0);
    EXPECT_EQ(alphaAt(100 + 12, 100 + 12), 255); // 17.0 from the centre: solid
    const int edge = alphaAt(100 + 14, 100 + 14); // 19.8: the antialiased rim
    EXPECT_GT(edge, 100);
    EXPECT_LT(edge, 255);
    EXPECT_NEAR(alphaAt(100 + 20, 100), 128, 4);  // exactly on the radius: half covered
    EXPECT_EQ(alphaAt(100 + 16, 100 + 16), 0);    // 22.6: outside

    // Pressure 0.5 with flow following pressure: half alpha. Opacity 0.5 on top: a quarter.
    canvas.clearCurrentSurface(0, 0, 0, 0);
    canvas.brush.opacity = 0.5f;
    gCurrentPressure = 0.5f;
    canvas.beginStroke(200.5f, 100.5f);
    canvas.endStroke();
    canvas.strokeFrame(false);
    px = layerPixels();
    EXPECT_NEAR(alphaAt(200, 100), 64, 2);
    EXPECT_NEAR(px[(static_cast<size_t>(100) * kW + 200) * 4], 64, 2); // white, premultiplied
}

// Thousands of points at the largest size: memory grows by the points alone,
// and re-executing still matches.
TEST_F(StrokeGlTest, LongStrokeAtMaximumSize) {
    canvas.brush = Brush{};
    canvas.brush.size = 2 * kW; // the largest brush for this canvas
    canvas.brush.spacing = 0.001f; // the step floors at half a pixel
    std::vector<math::Vec2> path;
    for (int i = 0; i < 3000; ++i) path.push_back({10 + (i % 300) * 1.0f, 20 + (i / 300) * 20.0f});
    paint(path, {}, 50);
    ASSERT_EQ(history.actionCount(), 1u);
    auto* action = static_cast<BrushStrokeAction*>(history.lastAction());
    // Every point is a stored dab, nothing else grows with the stroke.
    EXPECT_GT(action->pointCount(), 3000u);
    EXPECT_LT(action->pointCount(), 40000u);
    const std::vector<uint8_t> live = layerPixels();
    canvas.clearCurrentSurface(0, 0, 0, 0);
    ASSERT_TRUE(action->execute());
    EXPECT_EQ(differingBytes(live, layerPixels()), 0);
}
