#include <gtest/gtest.h>

#include <memory>

#include "platform/Clock.h"
#include "widgets/Animator.h"
#include "widgets/Widget.h"

namespace {
class AnimatorClock : public ::testing::Test {
protected:
    void SetUp() override {
        now = 1000;
        platform::setClockOverride([this] { return now; });
        AnimatorRegistry::instance().clear();
    }
    void TearDown() override {
        AnimatorRegistry::instance().clear();
        platform::setClockOverride({});
    }
    // Ticks every 20 ms until the registry is empty; returns the ticks taken.
    int runOut(int limit = 1000) {
        int ticks = 0;
        while (AnimatorRegistry::instance().size() > 0 && ticks < limit) {
            now += 20;
            AnimatorRegistry::instance().tick();
            ++ticks;
        }
        return ticks;
    }
    int32_t now = 0;
};
} // namespace

TEST(EasingCurves, EveryCurveStartsAtZeroAndEndsAtOne) {
    for (int easing = 0; easing <= 11; ++easing)
        for (bool out : {false, true}) {
            EXPECT_NEAR(easingCurve(easing, out, 0.0f, 0.0f, 100.0f), 0.0f, 1e-3f) << easing << out;
            EXPECT_NEAR(easingCurve(easing, out, 1.0f, 100.0f, 100.0f), 1.0f, 1e-3f) << easing << out;
        }
}

TEST(EasingCurves, KnownMidpoints) {
    EXPECT_FLOAT_EQ(easingCurve(7, true, 0.5f, 50, 100), 0.75f);  // quadratic out
    EXPECT_FLOAT_EQ(easingCurve(7, false, 0.5f, 50, 100), 0.25f); // quadratic in
    EXPECT_FLOAT_EQ(easingCurve(3, false, 0.5f, 50, 100), 0.125f);
    EXPECT_NEAR(easingCurve(10, true, 0.5f, 50, 100), 0.70710677f, 1e-6f);
    EXPECT_NEAR(easingCurve(1, true, 0.5f, 50, 100), 7.5625f * (0.5f - 6.0f / 11) * (0.5f - 6.0f / 11) + 0.75f, 1e-6f);
    EXPECT_LT(easingCurve(0, false, 0.2f, 20, 100), 0.0f) << "back overshoots below the start";
    EXPECT_FLOAT_EQ(easingCurve(42, true, 0.3f, 30, 100), 0.3f) << "unknown numbers are linear";
}

TEST_F(AnimatorClock, RampReachesExactTargetAndStops) {
    float field = -1.0f;
    auto a = std::make_shared<FieldLinearInterpolatorWithRamp<float>>(&field);
    a->start(0, 300, 2.0f, 7.0f);
    EXPECT_EQ(field, 2.0f) << "from is written at once";
    EXPECT_EQ(a->rampTime, 100);
    int ends = 0;
    a->onEnd = [&] { ++ends; };
    AnimatorRegistry::instance().add(0, a);
    now += 150;
    AnimatorRegistry::instance().tick();
    // Half way through a symmetric trapezoid is half the distance.
    EXPECT_NEAR(field, 4.5f, 1e-4f);
    runOut();
    EXPECT_EQ(field, 7.0f);
    EXPECT_EQ(ends, 1);
    now += 1000;
    AnimatorRegistry::instance().tick();
    EXPECT_EQ(ends, 1);
}

TEST_F(AnimatorClock, DelayedStartWritesNothingUntilItsTime) {
    float field = 0;
    auto a = std::make_shared<FieldLinearInterpolatorWithRamp<float>>(&field);
    a->start(100, 400, 1.0f, 0.0f);
    AnimatorRegistry::instance().add(0, a);
    field = 0.5f;
    now += 60;
    AnimatorRegistry::instance().tick();
    EXPECT_EQ(field, 0.5f);
    runOut();
    EXPECT_EQ(field, 0.0f);
}

TEST_F(AnimatorClock, EqualFromAndToEndsAtOnceButRunsOnEnd) {
    math::Vec2 p{3, 4};
    auto a = std::make_shared<FieldEasingInterpolator<math::Vec2, 1>>(&p, 5);
    a->start(0, 500, {3, 4}, {3, 4});
    bool ended = false;
    a->onEnd = [&] { ended = true; };
    AnimatorRegistry::instance().add(0, a);
    EXPECT_EQ(runOut(), 1);
    EXPECT_TRUE(ended);
    EXPECT_EQ(p, (math::Vec2{3, 4}));
}

TEST_F(AnimatorClock, EasingVectorArrivesExactly) {
    math::Vec2 p;
    auto a = std::make_shared<FieldEasingInterpolator<math::Vec2, 0>>(
        std::function<void(const math::Vec2&)>([&](const math::Vec2& v) { p = v; }), 0);
    a->start(0, 250, {0, 0}, {-120, 40});
    AnimatorRegistry::instance().add(0, a);
    runOut();
    EXPECT_EQ(p, (math::Vec2{-120, 40}));
}

TEST_F(AnimatorClock, SameKeyReplacesWithoutOnEnd) {
    float field = 0;
    int firstEnds = 0, secondEnds = 0;
    auto first = std::make_shared<FieldLinearInterpolatorWithRamp<float>>(&field);
    first->start(0, 200, 0.0f, 1.0f);
    first->onEnd = [&] { ++firstEnds; };
    auto second = std::make_shared<FieldLinearInterpolatorWithRamp<float>>(&field);
    second->start(0, 200, 1.0f, 0.0f);
    second->onEnd = [&] { ++secondEnds; };
    EXPECT_EQ(AnimatorRegistry::instance().add(77, first), 77);
    AnimatorRegistry::instance().add(77, second);
    EXPECT_EQ(AnimatorRegistry::instance().size(), 1u);
    runOut();
    EXPECT_EQ(firstEnds, 0);
    EXPECT_EQ(secondEnds, 1);
    EXPECT_EQ(field, 0.0f);
}

TEST_F(AnimatorClock, AutoKeysCountDownAndRemoveSkipsOnEnd) {
    float f = 0;
    auto make = [&] {
        auto a = std::make_shared<FieldLinearInterpolatorWithRamp<float>>(&f);
        a->start(0, 100, 0.0f, 1.0f);
        return a;
    };
    EXPECT_EQ(AnimatorRegistry::instance().add(0, make()), -1);
    EXPECT_EQ(AnimatorRegistry::instance().add(0, make()), -2);
    auto removed = make();
    bool ran = false;
    removed->onEnd = [&] { ran = true; };
    AnimatorRegistry::instance().add(5, removed);
    AnimatorRegistry::instance().remove(5);
    runOut();
    EXPECT_FALSE(ran);
}

TEST_F(AnimatorClock, OnEndRemovingAnotherEndedKeyIsHarmless) {
    float a = 0, b = 0;
    auto first = std::make_shared<FieldLinearInterpolatorWithRamp<float>>(&a);
    first->start(0, 40, 0.0f, 1.0f);
    auto second = std::make_shared<FieldLinearInterpolatorWithRamp<float>>(&b);
    second->start(0, 40, 0.0f, 1.0f);
    bool secondRan = false;
    first->onEnd = [] { AnimatorRegistry::instance().remove(2); };
    second->onEnd = [&] { secondRan = true; };
    AnimatorRegistry::instance().add(1, first);
    AnimatorRegistry::instance().add(2, second);
    runOut();
    EXPECT_FALSE(secondRan);
    EXPECT_EQ(b, 1.0f) << "its last update still wrote the target";
}

TEST_F(AnimatorClock, FadeOutHidesTheWidgetAndFadeInOverTheSameKeyCancels) {
    auto w = std::make_shared<Widget>(0, 0, 10, 10);
    fadeIn(200, 9, w);
    EXPECT_EQ(w->opacity, 0.0f);
    now += 100;
    AnimatorRegistry::instance().tick();
    fadeOut(200, 9, w);
    EXPECT_EQ(w->opacity, 1.0f) << "fade-out starts from full opacity";
    runOut();
    EXPECT_EQ(w->opacity, 0.0f);
    EXPECT_FALSE(w->visible);
}

TEST_F(AnimatorClock, SlideInArrivesAndSlideOutDisablesAndHides) {
    auto w = std::make_shared<Widget>(0, 0, 40, 30);
    w->relX = 100;
    w->relY = 50;
    slideIn(150, 0x49a93190, 3, {100, 50}, w);
    EXPECT_EQ(w->relX, -40.0f) << "starts off the left edge";
    EXPECT_EQ(runOut(), 38) << "five times the given time";
    EXPECT_EQ(w->relX, 100.0f);
    EXPECT_EQ(w->relY, 50.0f);
    slideOut(250, 0x49a93190, 3, w);
    EXPECT_FALSE(w->enabled);
    runOut();
    EXPECT_EQ(w->relX, -40.0f);
    EXPECT_FALSE(w->visible);
}
