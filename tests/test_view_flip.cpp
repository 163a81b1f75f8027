// The mirrored view: a view state only. The window shows every canvas point
// at the mirror image (about the render area's middle) of where the plain
// view shows it, at any rotation, and the way back stays exact.
#include <gtest/gtest.h>

#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "tools/RotationTool.h"

namespace {
class ViewFlip : public ::testing::Test {
protected:
    void SetUp() override {
        gPainter.renderArea = {0, 0, 800, 600};
        gCamera.lookFrom(300);
        gCamera.position.x = 13; // some pan
        gCamera.position.y = -7;
    }
    void TearDown() override {
        gCamera.viewMirrored = false;
        gCamera.lookFrom(300);
    }
};
} // namespace

TEST_F(ViewFlip, MirroredViewShowsEachPointAtTheMirrorImage) {
    for (float rotation : {0.0f, 30.0f, -90.0f, 147.0f}) {
        gCamera.rotation = rotation;
        gCamera.viewMirrored = false;
        gCamera.setRotation();
        const math::Vec2 points[] = {{0, 0}, {100, 50}, {517.5f, 301.25f}};
        math::Vec2 plain[3];
        for (int i = 0; i < 3; ++i) plain[i] = gPainter.canvasToWindow(points[i]);
        gCamera.viewMirrored = true;
        gCamera.setRotation();
        for (int i = 0; i < 3; ++i) {
            const math::Vec2 mirrored = gPainter.canvasToWindow(points[i]);
            EXPECT_NEAR(mirrored.x, 800.0f - plain[i].x, 1e-3f) << rotation;
            EXPECT_NEAR(mirrored.y, plain[i].y, 1e-3f) << rotation;
            const math::Vec2 back = gPainter.windowToCanvas(mirrored);
            EXPECT_NEAR(back.x, points[i].x, 1e-3f) << rotation;
            EXPECT_NEAR(back.y, points[i].y, 1e-3f) << rotation;
        }
    }
}

TEST_F(ViewFlip, RotationPanelAngleIsTheNegativeOfTheStoredRotation) {
    auto& rotation = static_cast<RotationTool&>(*gPainter.tools[3]);
    rotation.setShownAngle(30);
    EXPECT_FLOAT_EQ(gCamera.rotation, -30.0f);
    rotation.setShownAngle(190); // folded into (-180, 180)
    EXPECT_FLOAT_EQ(gCamera.rotation, 170.0f);
    rotation.setViewMirrored(true);
    EXPECT_TRUE(gCamera.viewMirrored);
    EXPECT_FLOAT_EQ(gCamera.rotation, 170.0f); // the angle stays
    rotation.setViewMirrored(false);
    EXPECT_FALSE(gCamera.viewMirrored);
}
