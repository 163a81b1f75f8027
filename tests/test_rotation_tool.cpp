#include <gtest/gtest.h>

#include "canvas/Painter.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "tools/RotationTool.h"

TEST(RotationTool, FoldAndSnap) {
    EXPECT_FLOAT_EQ(RotationTool::foldRotation(41, true), 45);   // the snap comes 4 degrees early
    EXPECT_FLOAT_EQ(RotationTool::foldRotation(40.9f, true), 0);
    EXPECT_FLOAT_EQ(RotationTool::foldRotation(-46, true), -45);
    EXPECT_FLOAT_EQ(RotationTool::foldRotation(180, false), -180);
    EXPECT_FLOAT_EQ(RotationTool::foldRotation(179, true), -180); // snapped to 180, kept below it
    EXPECT_FLOAT_EQ(RotationTool::foldRotation(181, false), -179);
    EXPECT_FLOAT_EQ(RotationTool::foldRotation(-180, false), -180);
    EXPECT_FLOAT_EQ(RotationTool::foldRotation(-181, false), 179);
    EXPECT_FLOAT_EQ(RotationTool::foldRotation(725, false), 5);
}

// Dragging around the centre of the render area turns the view by the swept
// angle; a tiny drag changes nothing.
TEST(RotationTool, DragTurnsTheViewAboutTheCentre) {
    Painter& p = gPainter;
    p.renderArea = {0, 0, 800, 600};
    gCamera.lookFrom(300);
    auto& tool = static_cast<RotationTool&>(*p.tools[3]);
    gInputState.reset();
    gInputState.leftButton = true;
    gInputState.shift = false;
    p.windowPosition = {600, 300}; // right of the centre: 0 degrees
    tool.onMouseButton(0, 0, 600, 300, false);
    p.windowPosition = {600.0f, 300.1f}; // 0.03 degrees: below the threshold
    tool.onMouseDrag(600, 300, false);
    EXPECT_FLOAT_EQ(gCamera.rotation, 0);
    p.windowPosition = {400, 500}; // straight above the centre: 90 degrees
    tool.onMouseDrag(400, 500, false);
    EXPECT_NEAR(gCamera.rotation, 90, 1e-3);
    EXPECT_NEAR(gCamera.m01, 1, 1e-5); // the axes follow
    gInputState.shift = true;
    p.windowPosition = {400 + 100 * 0.998f, 300 + 100 * 0.0698f}; // 4 degrees: 4 + 4 is short of the 45 snap
    tool.onMouseDrag(0, 0, false);
    EXPECT_FLOAT_EQ(gCamera.rotation, 0);
    tool.onMouseButton(0, 1, 0, 0, false);
    EXPECT_FALSE(tool.dragging);
    gCamera.lookFrom(300);
    gInputState.reset();
}
