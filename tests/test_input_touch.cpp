#include <cmath>

#include "test_input_fakes.h"

using math::Vec2;

TEST(InputTouchArithmetic, PinchRatioAndAnchor) {
    std::map<int, Vec2> fingers{{3, Vec2(100, 100)}, {5, Vec2(200, 100)}};
    // Finger 5 moves 100 px further out: centre (150,100) -> (200,100), spread 50 -> 100.
    TouchGestureStep s = touchGestureStep(fingers, 5, Vec2(300, 100));
    EXPECT_EQ(s.oldCentre, Vec2(150, 100));
    EXPECT_EQ(s.newCentre, Vec2(200, 100));
    EXPECT_FLOAT_EQ(s.oldDistance, 50);
    EXPECT_FLOAT_EQ(s.newDistance, 100);
    EXPECT_EQ(s.zoom, 1);
    EXPECT_FLOAT_EQ(s.factor, 2.0f);
    EXPECT_EQ(s.midX, 175);
    EXPECT_EQ(s.midY, 100);

    TouchGestureStep in = touchGestureStep(fingers, 3, Vec2(175, 100)); // pinch: spread 50 -> 12.5
    EXPECT_EQ(in.zoom, -1);
    EXPECT_FLOAT_EQ(in.factor, 4.0f);

    TouchGestureStep same = touchGestureStep(fingers, 5, Vec2(200, 100));
    EXPECT_EQ(same.zoom, 0);
}

TEST(InputTouchArithmetic, ZeroSpreadGivesFactorOne) {
    std::map<int, Vec2> together{{1, Vec2(10, 10)}, {2, Vec2(10, 10)}};
    TouchGestureStep s = touchGestureStep(together, 2, Vec2(30, 10));
    EXPECT_EQ(s.zoom, 1);
    EXPECT_FLOAT_EQ(s.factor, 1.0f);
}

TEST(InputTouchArithmetic, PanDeltaIsScaledTruncatedAndRotated) {
    std::array<float, 4> identity{1, 0, 0, 1};
    // Centre moved by (-30, +20) window px at 2 window px per canvas px: d = (15, -10).
    Vec2 p = touchPanOffset(Vec2(100, 100), Vec2(70, 120), 2.0f, identity);
    EXPECT_EQ(p, Vec2(15, -10));
    // Truncation per component: 7 / 2 = 3.5 -> 3, -7 / 2 -> -3.
    EXPECT_EQ(touchPanOffset(Vec2(7, 0), Vec2(0, 7), 2.0f, identity), Vec2(3, -3));

    // Canvas turned 90 degrees: m = (cos, sin, -sin, cos) = (0, 1, -1, 0).
    std::array<float, 4> quarter{0, 1, -1, 0};
    Vec2 r = touchPanOffset(Vec2(100, 100), Vec2(70, 120), 2.0f, quarter);
    // (m01 dy + m00 dx, m11 dy + m10 dx) with d = (15, -10).
    EXPECT_EQ(r, Vec2(-10, -15));
    float c = std::cos(0.5f), s = std::sin(0.5f);
    Vec2 t = touchPanOffset(Vec2(100, 100), Vec2(70, 120), 2.0f, {c, s, -s, c});
    EXPECT_NEAR(t.length(), Vec2(15, -10).length(), 1e-4) << "a rotation keeps the length";

    EXPECT_EQ(touchPanOffset(Vec2(100, 100), Vec2(0, 0), 0.0f, identity), Vec2(0, 0)) << "no scale, no pan";
}

class InputTouchTest : public InputTest {
protected:
    void touch(platform::InputEvent::Kind kind, int id, float x, float yDown) {
        platform::InputEvent e;
        e.kind = kind;
        e.touchId = id;
        e.x = x;
        e.y = yDown;
        processInputEvents({e});
    }
};

TEST_F(InputTouchTest, TwoFingersZoomAndPanAndCloseTheMouse) {
    using K = platform::InputEvent::Kind;
    host.scale = 1;
    touch(K::TouchBegin, 1, 100, 500);
    touch(K::TouchBegin, 2, 200, 500);
    EXPECT_EQ(host.mode, kModeSetAside) << "two fingers set the pointer input aside";
    touch(K::TouchUpdate, 1, 100, 500);
    touch(K::TouchUpdate, 2, 200, 500);
    EXPECT_TRUE(host.zooms.empty()) << "the first updates only record the fingers";
    EXPECT_FALSE(gPointerMessageActive);

    touch(K::TouchUpdate, 2, 300, 500); // spread 50 -> 100, centre moves 50 px right
    ASSERT_EQ(host.zooms.size(), 1u);
    EXPECT_TRUE(host.zooms[0].in);
    EXPECT_FLOAT_EQ(host.zooms[0].factor, 2.0f);
    EXPECT_EQ(host.zooms[0].x, 175);
    EXPECT_EQ(host.zooms[0].y, 100) << "y turned around: 600 - 500";
    EXPECT_EQ(host.panned, Vec2(-50, 0));
    EXPECT_TRUE(gPointerMessageActive);
    EXPECT_TRUE(gMouseSettling);

    auto painter = addListener("painter", 1);
    settleMouse();
    gMouseSettling = true;
    onGlutMotion(5, 5);
    EXPECT_TRUE(painter->own.empty()) << "mouse events stay closed during the gesture";

    touch(K::TouchEnd, 2, 300, 500);
    EXPECT_TRUE(gTouchPoints.empty());
}

TEST_F(InputTouchTest, FingersAreIgnoredWhileThePenIsActive) {
    using K = platform::InputEvent::Kind;
    gPenActive = true;
    touch(K::TouchUpdate, 1, 100, 500);
    EXPECT_TRUE(gTouchPoints.empty());
}
