// The pen path end to end inside the program: tablet packets with rising
// pressure, presses and drags through the dispatcher, the painter, the brush
// tool and the canvas. Dabs must grow with pressure.
#include <gtest/gtest.h>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "support/GlTestContext.h"
#include "test_input_fakes.h"

namespace {
constexpr int kW = 400, kH = 300;

// The window fills the screen at the origin; y up in the window, y up on the tablet.
struct PenHost : FakeHost {
    PenHost() {
        height = kH;
        origin = {0, 0};
        screen = {0, 0, static_cast<float>(kW), static_cast<float>(kH)};
    }
};

class PenStrokeGlTest : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        gCanvas.resize(kW, kH, gLayers);
        gCanvas.clearCurrentSurface(0, 0, 0, 0);
        gHistory.freeSnapshots(); // indexes of earlier tests' snapshots must not linger
        gHistory.clear();
        gPainter.renderArea = {0, 0, kW, kH};
        gCamera.lookFrom(kH / 2.0f); // one canvas pixel per window pixel, canvas = window
        static_cast<Application*>(gApp)->interactionMode = kModeTool;
        resetPenState();
        resetInputCallbacks();
        gInputState.reset();
        setInputHost(&host);
        dispatcher.listeners.clear();
        dispatcher.exclusive = nullptr;
        dispatcher.add(gApp->painter);
        setDabSink(&gCanvas);
    }
    void TearDown() override {
        dispatcher.listeners.clear();
        dispatcher.exclusive = nullptr;
        setInputHost(nullptr);
        setDabSink(nullptr);
        gCanvas.freeSurfaces();
        GlTest::TearDown();
    }
    // One pen packet at window (x, y), then the drag the window system makes of it.
    void penAt(float x, float y, float pressure) {
        onTablet(x / kW, y / kH, pressure, 1, 0, 0, 0);
        dispatchDrag(static_cast<int>(x), static_cast<int>(y), false);
    }

    PenHost host;
    InputDispatcher& dispatcher = InputDispatcher::instance();
};
} // namespace

TEST_F(PenStrokeGlTest, DabsGrowWithPressure) {
    gCanvas.brush = Brush{};
    gCanvas.brush.size = 40;
    gCanvas.brush.SizeFollowsPressure = true;
    gCanvas.brush.FlowFollowsPressure = false;
    gCanvas.color[0] = gCanvas.color[1] = gCanvas.color[2] = 0;

    onTablet(40.0f / kW, 150.0f / kH, 0.05f, 1, 0, 0, 0);
    gInputState.leftButton = true;
    dispatchButton(0, 0, 40, 150, false);
    for (int i = 1; i <= 64; ++i) {
        penAt(40.0f + 5 * i, 150.0f, 0.05f + i * 0.0148f);
        if (i % 4 == 0) gCanvas.strokeFrame(false);
    }
    gInputState.leftButton = false;
    dispatchButton(0, 1, 360, 150, false);
    gCanvas.strokeFrame(false);
    gCanvas.strokeFrame(false);

    ASSERT_EQ(gHistory.actionCount(), 1u);
    auto* stroke = static_cast<BrushStrokeAction*>(gHistory.lastAction());
    ASSERT_GT(stroke->pointCount(), 50u);
    // The pen's sub-pixel position was used, and size follows the pressure.
    float previous = 0;
    int rises = 0;
    for (size_t i = 1; i < stroke->pointCount(); ++i) {
        const float f = stroke->point(i).sizeFactor;
        EXPECT_GE(f, previous - 1e-6f) << "dab " << i;
        rises += f > previous;
        previous = f;
    }
    EXPECT_GT(rises, 20);
    EXPECT_LT(stroke->point(1).sizeFactor, 0.2f);
    EXPECT_GT(stroke->point(stroke->pointCount() - 1).sizeFactor, 0.9f);

    // On the layer: the painted band gets thicker from left to right.
    const std::vector<uint8_t> px = readFramebuffer(gCanvas.currentLayerSurface());
    auto thickness = [&](int x) {
        int n = 0;
        for (int y = 0; y < kH; ++y) n += px[(static_cast<size_t>(y) * kW + x) * 4 + 3] > 128;
        return n;
    };
    const int t1 = thickness(80), t2 = thickness(200), t3 = thickness(330);
    EXPECT_LT(t1, t2);
    EXPECT_LT(t2, t3);
    EXPECT_GT(t3, 30);
    EXPECT_LT(t1, 12);
}

// With no pen the mouse paints at full pressure.
TEST_F(PenStrokeGlTest, MouseAloneIsFullPressure) {
    gCanvas.brush = Brush{};
    gCanvas.brush.size = 20;
    gCanvas.brush.SizeFollowsPressure = true;
    gInputState.leftButton = true;
    dispatchButton(0, 0, 50, 100, false);
    for (int i = 1; i <= 20; ++i) dispatchDrag(50 + 10 * i, 100, false);
    gInputState.leftButton = false;
    dispatchButton(0, 1, 250, 100, false);
    gCanvas.strokeFrame(false);
    ASSERT_EQ(gHistory.actionCount(), 1u);
    auto* stroke = static_cast<BrushStrokeAction*>(gHistory.lastAction());
    for (size_t i = 0; i < stroke->pointCount(); ++i) EXPECT_FLOAT_EQ(stroke->point(i).sizeFactor, 1.0f);
    EXPECT_FLOAT_EQ(gCurrentPressure, 1.0f);
}
