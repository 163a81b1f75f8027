// The crop tool's rectangle without GL: snapping to whole pixels and to the
// canvas edges, the typed sizes, the corners placed by the pointer and the
// size measured along the view's axes.
#include <gtest/gtest.h>

#include <cmath>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "tools/CropTool.h"

namespace {

CropTool& tool() { return static_cast<CropTool&>(*gPainter.tools[CropTool::kIndex]); }

class CropToolTest : public ::testing::Test {
protected:
    void SetUp() override {
        gPainter.renderArea = {0, 0, 800, 600};
        gCamera.lookFrom(384); // a scale of 600 / 768 window pixels per canvas pixel
        W = static_cast<float>(gCanvas.width);
        H = static_cast<float>(gCanvas.height);
        gInputState.reset();
        tool().clearArea();
    }
    void TearDown() override {
        gCamera.rotation = 0;
        gCamera.setRotation();
        tool().clearArea();
    }
    // The pointer at a window position, as Painter::refreshPointer leaves it.
    static void pointAt(math::Vec2 window) {
        gPainter.windowPosition = window;
        gPainter.canvasPosition = gPainter.windowToCanvas(window);
    }
    float W = 0, H = 0; // the canvas size
};

} // namespace

TEST_F(CropToolTest, SnapsToWholePixelsAndNearbyEdgesOnlyWhileUpright) {
    const float s = 600.0f / 768.0f;
    const math::Vec2 leftEdge = gPainter.canvasToWindow({0, 0});
    // 15 window pixels right of and above the lower left corner: both snap to the edge.
    const math::Vec2 near = gPainter.windowToCanvas(tool().snappedWindowPosition(leftEdge + math::Vec2(15, 15)));
    EXPECT_NEAR(near.x, 0.0f, 1e-3f);
    EXPECT_NEAR(near.y, 0.0f, 1e-3f);
    // 25 window pixels away: no edge, but whole canvas pixels.
    const math::Vec2 off = gPainter.windowToCanvas(tool().snappedWindowPosition(leftEdge + math::Vec2(25, 40)));
    EXPECT_NEAR(off.x, std::floor(25 / s + 0.5f), 1e-3f);
    EXPECT_NEAR(off.y, std::floor(40 / s + 0.5f), 1e-3f);
    // The upper right corner snaps to the canvas size.
    const math::Vec2 far = gPainter.windowToCanvas(
        tool().snappedWindowPosition(gPainter.canvasToWindow({W, H}) - math::Vec2(19, 19)));
    EXPECT_NEAR(far.x, W, 1e-3f);
    EXPECT_NEAR(far.y, H, 1e-3f);
    // With the view turned nothing snaps at all.
    gCamera.rotation = 30;
    gCamera.setRotation();
    const math::Vec2 raw = gPainter.canvasToWindow({0, 0}) + math::Vec2(15.3f, 7.7f);
    const math::Vec2 kept = tool().snappedWindowPosition(raw);
    EXPECT_FLOAT_EQ(kept.x, raw.x);
    EXPECT_FLOAT_EQ(kept.y, raw.y);
}

TEST_F(CropToolTest, ADragPlacesBothCornersAndTheSizeFollows) {
    EXPECT_FLOAT_EQ(tool().cropSize.x, W);
    EXPECT_FLOAT_EQ(tool().cropSize.y, H);
    // Pressing "crop" with no corner does nothing.
    EXPECT_FALSE(tool().applyCrop());
    pointAt(gPainter.canvasToWindow({100.2f, 200.4f}));
    gInputState.leftButton = true;
    EXPECT_EQ(tool().onMouseButton(0, 0, 0, 0, false), 1);
    EXPECT_EQ(tool().state, 1);
    EXPECT_NEAR(tool().firstCorner.x, 100.0f, 1e-4f);
    EXPECT_NEAR(tool().firstCorner.y, 200.0f, 1e-4f);
    // Only the first corner: "crop" still does nothing.
    EXPECT_FALSE(tool().applyCrop());
    pointAt(gPainter.canvasToWindow({400.0f, 350.0f}));
    EXPECT_EQ(tool().onMouseDrag(0, 0, false), 1);
    EXPECT_EQ(tool().state, 2);
    gInputState.leftButton = false;
    EXPECT_EQ(tool().onMouseButton(0, 1, 0, 0, false), 1);
    EXPECT_EQ(tool().state, 3);
    tool().update(20, 0, 0);
    EXPECT_NEAR(tool().cropSize.x, 300.0f, 1e-3f);
    EXPECT_NEAR(tool().cropSize.y, 150.0f, 1e-3f);
    // Typing a width moves the second corner, not the first.
    tool().setWidthPixels(120);
    EXPECT_NEAR(tool().firstCorner.x, 100.0f, 1e-4f);
    EXPECT_NEAR(tool().secondCorner.x, 220.0f, 1e-4f);
    // 100 percent is exactly the canvas side, 50 percent half of it.
    tool().setWidthPercent(100);
    EXPECT_FLOAT_EQ(tool().cropSize.x, W);
    tool().setHeightPercent(50);
    EXPECT_FLOAT_EQ(tool().cropSize.y, std::floor(H / 2 + 0.5f));
    EXPECT_NEAR(tool().secondCorner.y, 200.0f + std::floor(H / 2 + 0.5f), 1e-4f);
    // ESC drops the rectangle; the key goes on to the painter.
    EXPECT_EQ(tool().onKey(27, 0, 0), 0);
    EXPECT_EQ(tool().state, 0);
    EXPECT_FLOAT_EQ(tool().cropSize.x, W);
}

TEST_F(CropToolTest, SizeIsMeasuredAlongTheTurnedView) {
    gCamera.rotation = 90;
    gCamera.setRotation();
    tool().state = 3;
    tool().firstCorner = {10, 10};
    tool().secondCorner = {40, 110}; // 30 wide and 100 high on the canvas
    tool().update(20, 0, 0);
    // Turned a quarter, the canvas's height runs along the screen's x.
    EXPECT_NEAR(tool().cropSize.x, 100.0f, 1e-3f);
    EXPECT_NEAR(tool().cropSize.y, 30.0f, 1e-3f);
}

TEST_F(CropToolTest, ANewCanvasDropsTheRectangle) {
    tool().state = 3;
    tool().cropSize = {5, 5};
    gPainter.canvasCreated(gCanvas.width, gCanvas.height);
    EXPECT_EQ(tool().state, 0);
    EXPECT_FLOAT_EQ(tool().cropSize.x, W);
    EXPECT_EQ(tool().onRenderAreaResized(10, 10), false);
}
