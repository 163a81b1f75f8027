// The gradient's strip against vertices worked out by hand. A 200 x 100
// canvas has half a diagonal of sqrt(200^2 + 100^2) / 2 = 111.80340 pixels
// and its centre at (100, 50).
#include <gtest/gtest.h>

#include <vector>

#include "core/GradientRamp.h"

using gradient::Color;
using gradient::StripVertex;

namespace {
constexpr float kHalfDiagonal = 111.80340f;
constexpr float kTol = 1e-3f;

void expectVertex(const StripVertex& v, float x, float y, Color c) {
    EXPECT_NEAR(v.position.x, x, kTol);
    EXPECT_NEAR(v.position.y, y, kTol);
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(v.color[static_cast<size_t>(i)], c[static_cast<size_t>(i)], 1e-6f) << i;
}
} // namespace

// Left to right through the middle: the axis is the row y = 50, start lies
// 50 before the centre and end 50 after it, both inside the circle, so the
// strip has its first pair at x = 100 - 111.8 and its last at 100 + 111.8.
TEST(GradientRamp, TwoStopsAcrossTheMiddle) {
    const std::vector<Color> colors{{1, 0.5f, 0, 1}, {0, 0, 1, 0.5f}};
    const std::vector<float> positions{0, 1};
    const auto s = gradient::rampStrip({50, 50}, {150, 50}, colors, positions, 200, 100);
    ASSERT_EQ(s.size(), 8u);
    const float top = 50 + kHalfDiagonal, bottom = 50 - kHalfDiagonal;
    const Color first{1, 0.5f, 0, 1}, last{0, 0, 0.5f, 0.5f}; // premultiplied
    expectVertex(s[0], 100 - kHalfDiagonal, top, first);
    expectVertex(s[1], 100 - kHalfDiagonal, bottom, first);
    expectVertex(s[2], 50, top, first);
    expectVertex(s[3], 50, bottom, first);
    expectVertex(s[4], 150, top, last);
    expectVertex(s[5], 150, bottom, last);
    expectVertex(s[6], 100 + kHalfDiagonal, top, last);
    expectVertex(s[7], 100 + kHalfDiagonal, bottom, last);
}

// Upwards on a slant, with a third stop at a quarter: n = (0.6, 0.8) for
// v = (30, 40) (length 50). Start (85, 30): k = (-15, -20) . n = -25, so the
// axis point level with start is B = (100, 50) - 25 n = (85, 30). The pairs
// stand P = D (n.y, -n.x) = D (0.8, -0.6) either side.
TEST(GradientRamp, ThreeStopsOnASlant) {
    const std::vector<Color> colors{{1, 0, 0, 1}, {0, 1, 0, 0.25f}, {0, 0, 1, 1}};
    const std::vector<float> positions{0, 0.25f, 1};
    const auto s = gradient::rampStrip({85, 30}, {115, 70}, colors, positions, 200, 100);
    ASSERT_EQ(s.size(), 10u);
    const float px = kHalfDiagonal * 0.8f, py = -kHalfDiagonal * 0.6f;
    auto pair = [&](size_t i, float qx, float qy, Color c) {
        expectVertex(s[i], qx - px, qy - py, c);
        expectVertex(s[i + 1], qx + px, qy + py, c);
    };
    pair(0, 100 - kHalfDiagonal * 0.6f, 50 - kHalfDiagonal * 0.8f, {1, 0, 0, 1});
    pair(2, 85, 30, {1, 0, 0, 1});
    pair(4, 85 + 7.5f, 30 + 10, {0, 0.25f, 0, 0.25f});
    pair(6, 115, 70, {0, 0, 1, 1});
    pair(8, 100 + kHalfDiagonal * 0.6f, 50 + kHalfDiagonal * 0.8f, {0, 0, 1, 1});
}

// Start 150 before the centre on a 100 x 100 canvas (half diagonal 70.71):
// beyond the circle, so the first pair is dropped; end 150 after it, so the
// last one goes too. Only the stops' pairs remain.
TEST(GradientRamp, EndsBeyondTheDiagonalCircleDropTheOuterPairs) {
    const std::vector<Color> colors{{1, 1, 1, 1}, {0, 0, 0, 1}};
    const std::vector<float> positions{0, 1};
    const auto s = gradient::rampStrip({-100, 50}, {200, 50}, colors, positions, 100, 100);
    ASSERT_EQ(s.size(), 4u);
    const float d = 70.710678f;
    expectVertex(s[0], -100, 50 + d, {1, 1, 1, 1});
    expectVertex(s[1], -100, 50 - d, {1, 1, 1, 1});
    expectVertex(s[2], 200, 50 + d, {0, 0, 0, 1});
    expectVertex(s[3], 200, 50 - d, {0, 0, 0, 1});
    // Only the start beyond it: the last pair comes back.
    const auto t = gradient::rampStrip({-100, 50}, {60, 50}, colors, positions, 100, 100);
    ASSERT_EQ(t.size(), 6u);
    expectVertex(t[0], -100, 50 + d, {1, 1, 1, 1});
    expectVertex(t[4], 50 + d, 50 + d, {0, 0, 0, 1});
    // Only the end beyond it (pointing left): the first pair comes back.
    const auto u = gradient::rampStrip({60, 50}, {-100, 50}, colors, positions, 100, 100);
    ASSERT_EQ(u.size(), 6u);
    expectVertex(u[0], 50 + d, 50 - d, {1, 1, 1, 1});
    expectVertex(u[2], 60, 50 - d, {1, 1, 1, 1});
}

// Two clicks on one point: every vertex falls on the centre, so the strip
// covers nothing.
TEST(GradientRamp, ZeroLengthCoversNothing) {
    const std::vector<Color> colors{{1, 0, 0, 1}, {0, 1, 0, 1}};
    const std::vector<float> positions{0, 1};
    const auto s = gradient::rampStrip({30, 40}, {30, 40}, colors, positions, 200, 100);
    ASSERT_FALSE(s.empty());
    for (const StripVertex& v : s) {
        EXPECT_FLOAT_EQ(v.position.x, 100);
        EXPECT_FLOAT_EQ(v.position.y, 50);
    }
}

TEST(GradientRamp, NoStopsNoStripAndTheShorterListCounts) {
    const std::vector<Color> colors{{1, 0, 0, 1}, {0, 1, 0, 1}, {0, 0, 1, 1}};
    const std::vector<float> one{0.5f};
    EXPECT_TRUE(gradient::rampStrip({0, 0}, {10, 0}, {}, one, 20, 20).empty());
    // One stop: its pair plus both outer pairs, all in its colour.
    const auto s = gradient::rampStrip({5, 10}, {15, 10}, colors, one, 20, 20);
    ASSERT_EQ(s.size(), 6u);
    expectVertex(s[2], 10, 10 + 14.142136f, {1, 0, 0, 1});
    expectVertex(s[5], 10 + 14.142136f, 10 - 14.142136f, {1, 0, 0, 1});
}
