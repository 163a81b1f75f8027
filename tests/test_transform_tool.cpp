// The transform tool's geometry against numbers worked by hand: corners of a
// turned image, the hit test, corner drags (the opposite corner stays put,
// no side below 10, Shift keeps the ratio), arrow keys and the handles.
#include <gtest/gtest.h>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "tools/TransformTool.h"

namespace {

TransformTool& tool() { return static_cast<TransformTool&>(*gPainter.tools[7]); }

// A 40 x 20 image centred on (100, 50), turned by `rotation` degrees.
void place(float rotation) {
    TransformTool& t = tool();
    t.centre = {100, 50};
    t.size = {40, 20};
    t.aspect = 2;
    t.rotation = rotation;
    t.resetDrag();
}

void expectNear(math::Vec2 got, math::Vec2 want, const char* what) {
    EXPECT_NEAR(got.x, want.x, 1e-3) << what;
    EXPECT_NEAR(got.y, want.y, 1e-3) << what;
}

} // namespace

TEST(TransformTool, CornersOfATurnedImage) {
    place(0);
    auto c = tool().corners();
    expectNear(c[0], {80, 40}, "bit 1");
    expectNear(c[1], {120, 40}, "bit 2");
    expectNear(c[2], {120, 60}, "bit 4");
    expectNear(c[3], {80, 60}, "bit 8");
    // A quarter turn anticlockwise: (x, y) becomes (-y, x) about the centre.
    place(90);
    c = tool().corners();
    expectNear(c[0], {110, 30}, "bit 1");
    expectNear(c[1], {110, 70}, "bit 2");
    expectNear(c[2], {90, 70}, "bit 4");
    expectNear(c[3], {90, 30}, "bit 8");
}

TEST(TransformTool, HitTestIncludesTheEdges) {
    place(0);
    EXPECT_TRUE(tool().contains({80, 40}));
    EXPECT_TRUE(tool().contains({120, 60}));
    EXPECT_FALSE(tool().contains({120.01f, 50}));
    EXPECT_FALSE(tool().contains({100, 60.01f}));
    place(90); // now 20 wide and 40 tall on the canvas
    EXPECT_TRUE(tool().contains({100, 69}));
    EXPECT_FALSE(tool().contains({111, 50}));
    EXPECT_FALSE(tool().contains({119, 50}));
}

TEST(TransformTool, CornerDragKeepsTheOppositeCorner) {
    place(0);
    tool().dragCorner(TransformTool::kCornerUpperRight, {10, 6}, false);
    expectNear(tool().size, {50, 26}, "size");
    expectNear(tool().centre, {105, 53}, "centre");
    expectNear(tool().corners()[0], {80, 40}, "lower left stays");

    // Turned a quarter: the canvas drag (-6, 10) is (10, 6) in the image's frame.
    place(90);
    tool().dragCorner(TransformTool::kCornerUpperRight, {-6, 10}, false);
    expectNear(tool().size, {50, 26}, "size");
    expectNear(tool().centre, {97, 55}, "centre");
    expectNear(tool().corners()[0], {110, 30}, "lower left stays");
}

TEST(TransformTool, NoSideShorterThanTen) {
    place(0);
    // The lower-left corner dragged far past the right side.
    tool().dragCorner(TransformTool::kCornerLowerLeft, {100, 0}, false);
    expectNear(tool().size, {10, 20}, "size");
    expectNear(tool().centre, {115, 50}, "centre: right side stays at 120");
    tool().dragCorner(TransformTool::kCornerUpperLeft, {0, -50}, false);
    expectNear(tool().size, {10, 10}, "size");
    expectNear(tool().centre, {115, 45}, "bottom stays at 40");
}

TEST(TransformTool, ShiftMakesTheWidthFollowTheHeight) {
    place(0);
    // A pure horizontal drag changes nothing with Shift.
    tool().dragCorner(TransformTool::kCornerLowerRight, {30, 0}, true);
    expectNear(tool().size, {40, 20}, "size");
    expectNear(tool().centre, {100, 50}, "centre");
    // Down by 10: height 30, width 2 x 30.
    tool().dragCorner(TransformTool::kCornerLowerRight, {0, -10}, true);
    expectNear(tool().size, {60, 30}, "size");
    expectNear(tool().centre, {110, 45}, "centre");
    expectNear(tool().corners()[3], {80, 60}, "upper left stays");
}

TEST(TransformTool, ArrowKeysMoveByOneCanvasPixelAtAnyZoom) {
    gPainter.renderArea = {0, 0, 800, 600};
    gCamera.lookFrom(37); // a zoom of about 8
    place(30);
    EXPECT_EQ(tool().onKey(356, 0, 0), 1);
    expectNear(tool().centre, {99, 50}, "left");
    EXPECT_EQ(tool().onKey(358, 0, 0), 1);
    EXPECT_EQ(tool().onKey(358, 0, 0), 1);
    expectNear(tool().centre, {101, 50}, "right twice");
    EXPECT_EQ(tool().onKey(357, 0, 0), 1);
    expectNear(tool().centre, {101, 51}, "up");
    EXPECT_EQ(tool().onKey(359, 0, 0), 1);
    EXPECT_EQ(tool().onKey(359, 0, 0), 1);
    expectNear(tool().centre, {101, 49}, "down twice");
    EXPECT_EQ(tool().onKey('a', 0, 0), 0);
    gCamera.lookFrom(300);
}

// Pointer input in window pixels: scale 2, so 20 window pixels are 10 canvas pixels.
TEST(TransformTool, PressesGrabCornersTheWholeImageOrTheRing) {
    Painter& p = gPainter;
    p.renderArea = {0, 0, 800, 600};
    gCamera.lookFrom(150);
    gInputState.reset();
    place(0);
    auto pointAt = [&](math::Vec2 canvasPoint, math::Vec2 windowOffset = {0, 0}) {
        p.windowPosition = p.canvasToWindow(canvasPoint) + windowOffset;
        p.canvasPosition = p.windowToCanvas(p.windowPosition);
    };
    // 9 window pixels inside from the upper-right corner: within reach.
    pointAt({120, 60}, {-9, -1});
    tool().onMouseMove(0, 0, false);
    EXPECT_EQ(tool().zone, TransformTool::kInside);
    EXPECT_EQ(tool().hoverIndex, TransformTool::kCornerUpperRight);
    tool().onMouseButton(0, 0, 0, 0, false);
    EXPECT_EQ(tool().dragIndex, TransformTool::kCornerUpperRight);
    gInputState.leftButton = true;
    pointAt({120, 60}, {11, 5}); // 20 and 6 window pixels on from the press
    tool().onMouseDrag(0, 0, false);
    expectNear(tool().size, {50, 23}, "size");
    expectNear(tool().corners()[0], {80, 40}, "lower left stays");
    tool().onMouseButton(0, 1, 0, 0, false);
    EXPECT_EQ(tool().dragIndex, -1);

    // Inside but 11 window pixels from every corner: the whole image moves.
    place(0);
    pointAt({80, 40}, {11, 1});
    tool().onMouseButton(0, 0, 0, 0, false);
    EXPECT_EQ(tool().dragIndex, TransformTool::kWholeImage);
    pointAt({80, 40}, {31, -9});
    tool().onMouseDrag(0, 0, false);
    expectNear(tool().centre, {110, 45}, "moved by (10, -5)");
    tool().onMouseButton(0, 1, 0, 0, false);

    // Outside: the drag turns the image about its centre.
    place(0);
    pointAt({160, 50}); // at 0 degrees from the centre
    tool().onMouseMove(0, 0, false);
    EXPECT_EQ(tool().zone, TransformTool::kOutside);
    tool().onMouseButton(0, 0, 0, 0, false);
    EXPECT_EQ(tool().zone, TransformTool::kRotating);
    pointAt({100, 90}); // straight above: 90 degrees
    tool().onMouseDrag(0, 0, false);
    EXPECT_NEAR(tool().rotation, 90, 1e-3);
    EXPECT_EQ(tool().dragIndex, -1);
    tool().onMouseButton(0, 1, 0, 0, false);
    gInputState.reset();
    gCamera.lookFrom(300);
}
