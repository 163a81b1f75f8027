#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "canvas/ViewMath.h"
#include "core/Camera.h"

namespace {
Camera cameraAt(float height, float rotation, float panX, float panY) {
    Camera c;
    c.lookFrom(height);
    c.rotation = rotation;
    c.setRotation();
    c.position.x = panX;
    c.position.y = panY;
    return c;
}
} // namespace

// The two mappings are inverses of each other at every zoom, rotation and pan.
TEST(ViewMath, WindowCanvasRoundTrip) {
    const float heights[] = {20.0f, 175.0f, 384.0f, 1000.0f, 9000.0f};
    const float rotations[] = {0.0f, 17.5f, 90.0f, -135.0f, 359.0f};
    const math::Vec2 pans[] = {{0, 0}, {120.5f, -40.25f}, {-900, 700}};
    for (float hgt : heights)
        for (float rot : rotations)
            for (math::Vec2 pan : pans) {
                const Camera cam = cameraAt(hgt, rot, pan.x, pan.y);
                const ViewGeometry g{cam, 1024.7f, 700.2f, 1024, 768};
                for (math::Vec2 v : {math::Vec2{0, 0}, math::Vec2{511.5f, 349.0f}, math::Vec2{1023, 699},
                                     math::Vec2{-30.25f, 812.75f}}) {
                    // Window -> canvas -> window. The canvas point is a float, so at
                    // high zoom its last bit alone spans a share of a window pixel.
                    const math::Vec2 c = windowToCanvas(g, v);
                    const math::Vec2 back = canvasToWindow(g, c);
                    const float ulp = std::max(std::nextafter(std::fabs(c.x), 1e9f) - std::fabs(c.x),
                                               std::nextafter(std::fabs(c.y), 1e9f) - std::fabs(c.y));
                    const float tolerance = std::max(1e-3f, ulp * cam.scale(700.2f));
                    EXPECT_NEAR(back.x, v.x, tolerance) << "height " << hgt << " rotation " << rot;
                    EXPECT_NEAR(back.y, v.y, tolerance) << "height " << hgt << " rotation " << rot;
                    // Canvas -> window -> canvas.
                    const math::Vec2 w = canvasToWindow(g, v);
                    const math::Vec2 again = windowToCanvas(g, w);
                    EXPECT_NEAR(again.x, v.x, 1e-3f) << "height " << hgt << " rotation " << rot;
                    EXPECT_NEAR(again.y, v.y, 1e-3f) << "height " << hgt << " rotation " << rot;
                }
            }
}

// Known values: unrotated, unpanned, scale 1 puts the canvas centre at the
// render-area centre and canvas pixels map 1:1.
TEST(ViewMath, KnownPlacements) {
    Camera cam = cameraAt(350.0f, 0, 0, 0); // h = 700 -> scale 1
    const ViewGeometry g{cam, 1024, 700, 1024, 768};
    EXPECT_FLOAT_EQ(cam.scale(700), 1.0f);
    math::Vec2 centre = canvasToWindow(g, {512, 384});
    EXPECT_FLOAT_EQ(centre.x, 512);
    EXPECT_FLOAT_EQ(centre.y, 350);
    math::Vec2 corner = canvasToWindow(g, {0, 0});
    EXPECT_FLOAT_EQ(corner.x, 0);
    EXPECT_FLOAT_EQ(corner.y, -34);

    // A quarter turn: canvas +x points up the window.
    cam.rotation = 90;
    cam.setRotation();
    const ViewGeometry r{cam, 1024, 700, 1024, 768};
    math::Vec2 right = canvasToWindow(r, {612, 384});
    EXPECT_NEAR(right.x, 512, 1e-3);
    EXPECT_NEAR(right.y, 450, 1e-3);

    // Scale doubles when the eye comes down to half the height.
    Camera near = cameraAt(175.0f, 0, 0, 0);
    const ViewGeometry n{near, 1024, 700, 1024, 768};
    math::Vec2 p = canvasToWindow(n, {562, 384});
    EXPECT_FLOAT_EQ(p.x, 612);
}

// The scale uses the truncated render height; a negative distance means nothing is visible.
TEST(ViewMath, ScaleRules) {
    Camera cam = cameraAt(100.0f, 0, 0, 0);
    EXPECT_FLOAT_EQ(cam.scale(700.9f), 3.5f);
    cam.distance = -1;
    EXPECT_FLOAT_EQ(cam.scale(700), 0.0f);
}

TEST(ViewMath, FitHeight) {
    // Height-limited: the canvas height fills the window.
    EXPECT_FLOAT_EQ(fitHeight(1024, 768, 1024, 700), 384.0f);
    // Width-limited: z = int(h / w * W).
    EXPECT_FLOAT_EQ(fitHeight(2000, 500, 1000, 700), static_cast<float>(static_cast<int>(0.7f * 2000)) / 2);
    // At the fitted height the canvas spans exactly the render height or width.
    Camera cam = cameraAt(fitHeight(2000, 500, 1000, 700), 0, 0, 0);
    const ViewGeometry g{cam, 1000, 700, 2000, 500};
    EXPECT_NEAR(canvasToWindow(g, {2000, 250}).x - canvasToWindow(g, {0, 250}).x, 1000, 1.0);
}

// Zooming about a point keeps the canvas point under it fixed.
TEST(ViewMath, ZoomKeepsAnchorPoint) {
    const float rw = 1024, rh = 700;
    for (math::Vec2 cursor : {math::Vec2{300, 200}, math::Vec2{900, 650}, math::Vec2{512, 350}}) {
        Camera cam = cameraAt(384.0f, 0.0f, 40.0f, -25.0f);
        const ViewGeometry before{cam, rw, rh, 1024, 768};
        const math::Vec2 under = windowToCanvas(before, cursor);
        const float s = cam.scale(rh);
        const math::Vec2 v =
            (cursor - math::Vec2(rw / 2, rh / 2)) / s + math::Vec2(cam.position.x, cam.position.y);
        cam.zoomInAt(v, 1.3f);
        EXPECT_NEAR(cam.scale(rh), s * 1.3f, 0.01f);
        const ViewGeometry after{cam, rw, rh, 1024, 768};
        const math::Vec2 stays = canvasToWindow(after, under);
        EXPECT_NEAR(stays.x, cursor.x, 0.5f);
        EXPECT_NEAR(stays.y, cursor.y, 0.5f);
    }
}
