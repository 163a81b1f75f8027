#include <gtest/gtest.h>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "tools/Draggable.h"

// A handle is taken within 10 pixels, follows the drag in its own space
// (window or canvas), and lets go on any press elsewhere or on release.
TEST(DraggablePoint, ReachHoverAndDrag) {
    gInputState.reset();
    float win[2] = {100, 100};
    DraggablePoint handle(&gPainter, win, true);
    EXPECT_EQ(handle.onMouseMove(109, 100, false), 1);
    EXPECT_EQ(handle.hoverIndex, 1);
    EXPECT_EQ(handle.onMouseMove(108, 108, false), 0); // 11.3 px away
    EXPECT_EQ(handle.hoverIndex, -1);
    EXPECT_EQ(handle.onMouseButton(0, 0, 120, 100, false), 0);
    EXPECT_EQ(handle.dragIndex, -1);
    EXPECT_EQ(handle.onMouseButton(0, 0, 95, 97, false), 1);
    EXPECT_EQ(handle.dragIndex, 1);
    EXPECT_EQ(handle.onMouseDrag(150, 60, false), 0) << "no button held";
    gInputState.leftButton = true;
    EXPECT_EQ(handle.onMouseDrag(150, 60, false), 1);
    EXPECT_FLOAT_EQ(win[0], 150);
    EXPECT_FLOAT_EQ(win[1], 60);
    EXPECT_EQ(handle.onMouseButton(0, 1, 150, 60, false), 0); // release resets
    EXPECT_EQ(handle.dragIndex, -1);
    EXPECT_EQ(handle.onMouseButton(2, 0, 150, 60, false), 0) << "only the left button grabs";

    // In canvas space the handle maps through the camera both ways.
    gPainter.renderArea = {0, 0, 800, 600};
    gCamera.lookFrom(150); // scale 2
    float onCanvas[2] = {gCanvas.width / 2.0f, gCanvas.height / 2.0f};
    DraggablePoint canvasHandle(&gPainter, onCanvas, false);
    EXPECT_NEAR(canvasHandle.screenPosition().x, 400, 1e-3);
    EXPECT_EQ(canvasHandle.onMouseButton(0, 0, 405, 300, false), 1);
    EXPECT_EQ(canvasHandle.onMouseDrag(420, 310, false), 1);
    EXPECT_NEAR(onCanvas[0], gCanvas.width / 2.0f + 10, 1e-3); // 20 window px = 10 canvas px
    EXPECT_NEAR(onCanvas[1], gCanvas.height / 2.0f + 5, 1e-3);
    gInputState.reset();
}
