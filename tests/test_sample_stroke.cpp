// The brush dialog's sample stroke, without GL: where its dabs fall, how the
// pressure runs, which random numbers each dab takes, and that the same
// brush gives the same points whatever ran the generator before.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "brush/Brush.h"
#include "brush/SampleStroke.h"
#include "platform/Random.h"

namespace {

// The generator's numbers after a reseed to 0: the reference the sample's
// jitter is checked against (the generator is another module).
std::vector<int> numbersAfterSeed0(int count) {
    kwSrand(0);
    std::vector<int> out;
    for (int i = 0; i < count; ++i) out.push_back(kwRand());
    return out;
}

Brush roundBrush(int size, float spacing) {
    Brush b;
    b.size = size;
    b.spacing = spacing;
    return b;
}

} // namespace

TEST(SampleStroke, DabsWalkTwoHalvesFromAnEighthInToAnEighthFromTheRight) {
    // 350 x 100: the halves run 43.75 -> 175 -> 306.25, each a chord of
    // 131.25. Size 20 x spacing 0.25 = a step of 5, that is 5 / 131.25 in the
    // parameter: t = 0, 5/131.25, ... up to 26 x 5 = 130 <= 131.25, so 27 dabs
    // in the first half. The second half starts at the carry 135 - 131.25 =
    // 3.75, so its last t is (3.75 + 25 x 5) / 131.25 <= 1: 26 dabs.
    const auto points = brush::sampleStrokePoints(roundBrush(20, 0.25f), 350, 100, {});
    ASSERT_EQ(points.size(), 27u + 26u);
    EXPECT_FLOAT_EQ(points.front().x, 43.75f);
    EXPECT_FLOAT_EQ(points.front().y, 50.0f);
    // Dab 27 is the first of the second half: t = 3.75 / 131.25 past the middle.
    EXPECT_NEAR(points[27].x, 175.0f + 3.75f * 0.95f, 3.0f);
    EXPECT_NEAR(points[27].y, 50.0f, 3.0f);
    for (const auto& p : points) {
        EXPECT_GE(p.x, 43.75f);
        EXPECT_LE(p.x, 306.25f);
        // The wave rises and falls by about a quarter of the height.
        EXPECT_GT(p.y, 50.0f - 30.0f);
        EXPECT_LT(p.y, 50.0f + 30.0f);
    }
}

TEST(SampleStroke, PressureRisesToOneAndFallsInEachHalf) {
    const auto points = brush::sampleStrokePoints(roundBrush(20, 0.25f), 350, 100, {});
    ASSERT_EQ(points.size(), 53u);
    // Flow follows pressure by default, size does not.
    for (std::size_t i = 0; i < 27; ++i) {
        float p = 2.0f * static_cast<float>(i + 1) / 27.0f;
        if (p > 1.0f) p = 2.0f - p;
        EXPECT_FLOAT_EQ(points[i].flowFactor, p) << i;
        EXPECT_FLOAT_EQ(points[i].sizeFactor, 1.0f) << i;
    }
    for (std::size_t i = 0; i < 26; ++i) {
        float p = 2.0f * static_cast<float>(i + 1) / 26.0f;
        if (p > 1.0f) p = 2.0f - p;
        EXPECT_FLOAT_EQ(points[27 + i].flowFactor, p) << i;
    }
    EXPECT_FLOAT_EQ(points[25].flowFactor, 2.0f - 52.0f / 27.0f);
    EXPECT_FLOAT_EQ(points[12].flowFactor, 26.0f / 27.0f);
}

TEST(SampleStroke, EachDabTakesSevenNumbersInAFixedOrder) {
    Brush b = roundBrush(20, 0.25f);
    b.size_jitter = 100.0f;    // first number
    b.opacity_jitter = 50.0f;  // second
    b.FlowFollowsPressure = false;
    const std::vector<int> r = numbersAfterSeed0(14);
    const auto points = brush::sampleStrokePoints(b, 350, 100, {});
    ASSERT_GE(points.size(), 2u);
    EXPECT_FLOAT_EQ(points[0].sizeFactor, static_cast<float>(1.0 - (r[0] * 100.0 / 32767.0) / 100.0));
    EXPECT_FLOAT_EQ(points[0].flowFactor, static_cast<float>(1.0 - (r[1] * 50.0 / 32767.0) / 100.0));
    // Numbers 3 to 7 went to scatter, angle and colour, unused here.
    EXPECT_FLOAT_EQ(points[1].sizeFactor, static_cast<float>(1.0 - (r[7] * 100.0 / 32767.0) / 100.0));
    EXPECT_FLOAT_EQ(points[1].flowFactor, static_cast<float>(1.0 - (r[8] * 50.0 / 32767.0) / 100.0));
    // The second half starts again from the seed.
    EXPECT_FLOAT_EQ(points[27].sizeFactor, points[0].sizeFactor);
}

TEST(SampleStroke, AngleJitterUsesTheFourthNumberAndColourDynamicsTheLastThree) {
    Brush b = roundBrush(20, 0.25f);
    b.angle_randomness = 90.0f;
    b.setFlag(kBrushFlagColorDynamics, true);
    b.colorJitterH = 0.0f; // hue stays at red's 0 ...
    b.colorJitterS = 1.0f; // ... saturation is jittered by number 6
    b.colorJitterV = 0.0f;
    const std::vector<int> r = numbersAfterSeed0(7);
    const auto points = brush::sampleStrokePoints(b, 350, 100, {});
    ASSERT_FALSE(points.empty());
    // The first dab faces along the start tangent, which leans upward.
    const auto straight = brush::sampleStrokePoints(roundBrush(20, 0.25f), 350, 100, {});
    float expected = static_cast<float>(straight[0].angle + (r[3] * 90.0 / 32767.0 - 45.0));
    if (expected < 0.0f) expected += 360.0f;
    EXPECT_NEAR(points[0].angle, expected, 1e-3);
    ASSERT_TRUE(points[0].colored);
    const float s = std::clamp(static_cast<float>(1.0 + (r[5] * 1.0 / 32767.0 - 0.5)), 0.0f, 1.0f);
    // Hue 0, value 1, saturation s: red stays 1, green and blue are 1 - s.
    EXPECT_FLOAT_EQ(points[0].r, 1.0f);
    EXPECT_NEAR(points[0].g, 1.0f - s, 1e-5);
    EXPECT_NEAR(points[0].b, 1.0f - s, 1e-5);
}

TEST(SampleStroke, ScatterMovesDabsAcrossTheirWay) {
    Brush b = roundBrush(20, 0.25f);
    b.scattering = 2.0f;
    const std::vector<int> r = numbersAfterSeed0(3);
    const auto plain = brush::sampleStrokePoints(roundBrush(20, 0.25f), 350, 100, {});
    const auto scattered = brush::sampleStrokePoints(b, 350, 100, {});
    ASSERT_EQ(plain.size(), scattered.size());
    // The third number: offset = size x (r x 2 x 2 / 32767 - 2), across the direction.
    const double offset = 20.0 * (r[2] * 4.0 / 32767.0 - 2.0);
    const double a = plain[0].angle / 57.29577951308232;
    EXPECT_NEAR(scattered[0].x, plain[0].x - std::sin(a) * offset, 1e-3);
    EXPECT_NEAR(scattered[0].y, plain[0].y + std::cos(a) * offset, 1e-3);
}

TEST(SampleStroke, SameBrushSamePointsWhateverRanBefore) {
    Brush b = roundBrush(30, 0.1f);
    b.size_jitter = 40.0f;
    b.scattering = 1.0f;
    b.angle_randomness = 30.0f;
    const auto first = brush::sampleStrokePoints(b, 250, 60, {});
    kwSrand(12345);
    for (int i = 0; i < 17; ++i) kwRand();
    const auto second = brush::sampleStrokePoints(b, 250, 60, {});
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i].x, second[i].x);
        EXPECT_EQ(first[i].y, second[i].y);
        EXPECT_EQ(first[i].sizeFactor, second[i].sizeFactor);
        EXPECT_EQ(first[i].angle, second[i].angle);
    }
}

TEST(SampleStroke, TexturedTipsStepByTheirWidthAndTinyStepsStopAtHalfAPixel) {
    Brush textured = roundBrush(20, 0.25f);
    textured.tipIndex = 1;
    // A tip half as wide as high: step 20 x 0.5 x 0.25 = 2.5, so t = k x 2.5 / 131.25 up to k = 52.
    const auto narrow = brush::sampleStrokePoints(textured, 350, 100, {0.5f, 1.0f});
    EXPECT_EQ(std::count_if(narrow.begin(), narrow.end(), [](const auto& p) { return p.x <= 175.0f; }), 53);
    // 1 x 0.015625 is below half a pixel: steps of 0.5, 263 in the first half.
    const auto tiny = brush::sampleStrokePoints(roundBrush(1, 0.015625f), 350, 100, {});
    EXPECT_EQ(std::count_if(tiny.begin(), tiny.end(), [](const auto& p) { return p.x <= 175.0f; }), 263);
}
