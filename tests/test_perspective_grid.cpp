// The perspective grid's lines against coordinates worked out by hand for a
// canvas of 200 by 100 at zoom 1: half height 50 window pixels, so the
// minimum step is 5 (50 / 50 is 1, below 5).
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "core/PerspectiveGrid.h"

using perspective::GridInput;
using perspective::GridLine;

namespace {
GridInput canvas200x100() {
    GridInput in;
    in.width = 200;
    in.height = 100;
    in.zoom = 1;
    in.steps = 10;
    in.vp = {math::Vec2{0, 0}, math::Vec2{100, 0}, math::Vec2{0, -100}};
    in.vpFlags = 1;
    in.parallelFlags = 0;
    return in;
}

// Ends of the rays beyond the corners along the side x (the edges' own
// division points at the corners, y = +-50, are left out).
std::vector<float> endYsAtX(const std::vector<GridLine>& lines, float x) {
    std::vector<float> ys;
    for (const GridLine& l : lines)
        if (l.b.x == x && l.b.y != 50 && l.b.y != -50) ys.push_back(l.b.y);
    return ys;
}

int countEndsOnY(const std::vector<GridLine>& lines, float y) {
    return static_cast<int>(std::count_if(lines.begin(), lines.end(), [y](const GridLine& l) { return l.b.y == y; }));
}
} // namespace

TEST(PerspectiveGrid, ShortestStepFollowsTheZoom) {
    GridInput in = canvas200x100();
    EXPECT_EQ(perspective::halfHeightPixels(in), 50);
    EXPECT_EQ(perspective::minimumStep(in), 5);
    in.zoom = 8; // half height 400 pixels: 400 / 50 = 8
    EXPECT_EQ(perspective::minimumStep(in), 8);
}

// One point in the centre. Top edge: distance 50, step 5 * 50 / 50 = 5. On
// the left the rays through (-120, 50), (-140, 50), (-160, 50) meet x = -100 at
// 50 * 100 / 120, 50 * 100 / 140, 50 * 100 / 160; the gaps from 50 are
// 8.33, 5.95, 4.46, so the third is the last; then every 5 down to the point.
TEST(PerspectiveGrid, OnePointFanOverTheTopEdge) {
    const GridInput in = canvas200x100();
    const std::vector<GridLine> lines = perspective::fanLines(in, 0);
    const std::vector<float> left = endYsAtX(lines, -100);
    // Top edge's rays end above the point, the bottom edge's below it.
    std::vector<float> upper;
    for (float y : left)
        if (y > 0) upper.push_back(y);
    const std::vector<float> expected = {50.0f * 100 / 120, 50.0f * 100 / 140, 50.0f * 100 / 160,
                                         31.25f - 5,        31.25f - 10,       31.25f - 15,
                                         31.25f - 20,       31.25f - 25,       31.25f - 30};
    ASSERT_EQ(upper.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(upper[i], expected[i], 1e-3f) << i;
    // The edge itself in ten even parts, corners included: x = -100 + 20 k
    // (the corner x = -100 is the edge's first division point).
    std::vector<float> edgeXs;
    for (const GridLine& l : lines)
        if (l.b.y == 50) edgeXs.push_back(l.b.x);
    ASSERT_EQ(edgeXs.size(), 11u);
    for (int k = 0; k <= 10; ++k) EXPECT_NEAR(edgeXs[static_cast<size_t>(k)], -100.0f + 20 * k, 1e-3f);
    // Left and right side 9 each, edge 11, for both edges.
    EXPECT_EQ(lines.size(), 2u * (9 + 9 + 11));
    for (const GridLine& l : lines) {
        EXPECT_EQ(l.a, in.vp[0]) << "every ray starts at the point";
        EXPECT_EQ(l.alphaA, 0.0f);
        EXPECT_EQ(l.alphaB, 1.0f);
    }
}

TEST(PerspectiveGrid, StepsOfFiveDivideEachEdgeInFive) {
    GridInput in = canvas200x100();
    in.steps = 5;
    const std::vector<GridLine> lines = perspective::fanLines(in, 0);
    EXPECT_EQ(countEndsOnY(lines, 50), 6);
    EXPECT_EQ(countEndsOnY(lines, -50), 6);
    for (int k = 0; k <= 5; ++k) {
        const float x = -100.0f + 40 * k;
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                                [x](const GridLine& l) { return l.b.y == 50 && std::abs(l.b.x - x) < 1e-3f; }),
                  1)
            << x;
    }
}

// Above the top edge, at (0, 100): the top edge adds nothing, the bottom one
// draws the whole fan (distance 150, step 5 * 150 / 50 = 15). Left: rays
// through (-120, -50), (-140, -50), (-160, -50) meet x = -100 at
// 100 - 150 * 100 / 120 = -25, -7.14 and 6.25; gaps 25, 17.86, then 13.39
// ends the run; then every 15 up to the point.
TEST(PerspectiveGrid, PointAboveTheCanvasFansFromTheBottomEdgeOnly) {
    GridInput in = canvas200x100();
    in.vp[0] = {0, 50 + 0.5f * 100}; // y = 100
    const std::vector<GridLine> lines = perspective::fanLines(in, 0);
    EXPECT_EQ(countEndsOnY(lines, 50), 0);
    EXPECT_EQ(countEndsOnY(lines, -50), 11);
    const std::vector<float> left = endYsAtX(lines, -100);
    ASSERT_GE(left.size(), 5u);
    EXPECT_NEAR(left[0], 100 - 150.0f * 100 / 120, 1e-3f);
    EXPECT_NEAR(left[1], 100 - 150.0f * 100 / 140, 1e-3f);
    EXPECT_NEAR(left[2], 100 - 150.0f * 100 / 160, 1e-3f);
    EXPECT_NEAR(left[3], 100 - 150.0f * 100 / 160 + 15, 1e-3f);
    EXPECT_NEAR(left.back(), 100 - 150.0f * 100 / 160 + 15 * 6, 1e-3f); // 96.25; the next, 111.25, passes the point
    EXPECT_EQ(left.size(), 3u + 6u);
}

// The second point on the right edge's extension, (150, 0): only the left side
// gets rays beyond the corner. The ray through (-120, 50) meets x = -100 at
// 50 * 250 / 270 = 46.30, a gap of 3.70 below the step, so the run stops
// there and the side goes on every 5: 41.30 down to 1.30.
TEST(PerspectiveGrid, SecondPointOutsideOnTheRight) {
    GridInput in = canvas200x100();
    in.vp[1] = {150, 0};
    in.vpFlags = 2;
    EXPECT_TRUE(perspective::fanLines(in, 0).empty()) << "the first point is hidden";
    const std::vector<GridLine> lines = perspective::fanLines(in, 1);
    EXPECT_TRUE(endYsAtX(lines, 100).empty()) << "the point is right of the right side";
    std::vector<float> upper;
    for (float y : endYsAtX(lines, -100))
        if (y > 0) upper.push_back(y);
    ASSERT_EQ(upper.size(), 10u);
    const float first = 50.0f * 250 / 270;
    EXPECT_NEAR(upper[0], first, 1e-3f);
    for (size_t i = 1; i < upper.size(); ++i) EXPECT_NEAR(upper[i], first - 5.0f * static_cast<float>(i), 1e-3f);
    EXPECT_EQ(lines.size(), 2u * (10 + 11));
}

// Three points: each fan is its own; the vertical point below the canvas
// (0, -150) fans from the top edge alone with distance 200 and step 20.
TEST(PerspectiveGrid, ThreePointsEachWithItsFan) {
    GridInput in = canvas200x100();
    in.vp = {math::Vec2{-50, 10}, math::Vec2{150, 10}, math::Vec2{0, -150}};
    in.vpFlags = 7;
    const std::vector<GridLine> vertical = perspective::fanLines(in, 2);
    EXPECT_EQ(countEndsOnY(vertical, -50), 0);
    EXPECT_EQ(countEndsOnY(vertical, 50), 11);
    const std::vector<float> left = endYsAtX(vertical, -100);
    const std::vector<float> expected = {-150 + 200.0f * 100 / 120, -150 + 200.0f * 100 / 140,
                                         -150 + 200.0f * 100 / 160, -25 - 20, -25 - 40, -25 - 60, -25 - 80, -25 - 100,
                                         -25 - 120};
    ASSERT_EQ(left.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(left[i], expected[i], 1e-3f) << i;
    for (const GridLine& l : vertical) EXPECT_EQ(l.a, in.vp[2]);
    // The first point, off-centre at (-50, 10): top distance 40, step 4;
    // left ray through (-120, 50) meets x = -100 at 10 + 40 * 50 / 70.
    const std::vector<GridLine> first = perspective::fanLines(in, 0);
    ASSERT_FALSE(first.empty());
    EXPECT_NEAR(endYsAtX(first, -100).front(), 10 + 40.0f * 50 / 70, 1e-3f);
    EXPECT_FALSE(perspective::fanLines(in, 1).empty());
}

// Horizontal parallels of the top side converge on the horizon of the first
// point at (0, 0): depth grows by W / steps = 20 from H / 2 = 50, so the n-th
// line stands at 50 - 50 * 50 / (50 + 20 n) ... while the step in window
// pixels stays above 5; then every 5 to the horizon. Alpha 1 - 0.001 n².
TEST(PerspectiveGrid, TopParallelsForeshortenTowardsTheHorizon) {
    GridInput in = canvas200x100();
    in.parallelFlags = 1;
    const std::vector<GridLine> lines = perspective::parallelLines(in, 0);
    const float depthYs[] = {50.0f * 50 / 70, 50.0f * 50 / 90, 50.0f * 50 / 110, 50.0f * 50 / 130};
    const float tail = 50.0f * 50 / 130;
    const std::vector<float> expectedY = {depthYs[0], depthYs[1], depthYs[2], depthYs[3],
                                          tail - 5,   tail - 10,  tail - 15};
    const std::vector<float> expectedAlpha = {0.999f, 0.996f, 0.991f, 0.984f, 0.975f, 0.964f, 0.951f};
    ASSERT_EQ(lines.size(), expectedY.size());
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_NEAR(lines[i].a.y, expectedY[i], 1e-3f) << i;
        EXPECT_NEAR(lines[i].b.y, expectedY[i], 1e-3f) << i;
        EXPECT_EQ(lines[i].a.x, 100.0f);
        EXPECT_EQ(lines[i].b.x, -100.0f);
        EXPECT_NEAR(lines[i].alphaA, expectedAlpha[i], 1e-4f) << i;
    }
}

// The left side's verticals move right towards x = 0, and their lower end
// climbs towards the horizon in proportion: at offset o of d = 100 the lower
// end stands at -50 + 50 * o / 100.
TEST(PerspectiveGrid, SideParallelsConvergeOnTheHorizon) {
    GridInput in = canvas200x100();
    in.parallelFlags = 8;
    const std::vector<GridLine> lines = perspective::parallelLines(in, 3);
    // Offsets 100 - 100 * 50 / depth for depth 70 .. 170 (window steps 28.6,
    // 15.9, 10.1, 7.0, 5.1, then 3.9 ends the first run), then every 5.
    std::vector<float> offsets;
    for (float depth = 70; depth <= 150; depth += 20) offsets.push_back(100 - 100 * 50 / depth);
    const float last = 100 - 100.0f * 50 / 170;
    for (int k = 0; k < 6; ++k) offsets.push_back(last + 5.0f * static_cast<float>(k));
    ASSERT_EQ(lines.size(), offsets.size());
    for (size_t i = 0; i < lines.size(); ++i) {
        const float x = -100 + offsets[i];
        EXPECT_NEAR(lines[i].a.x, x, 1e-3f) << i;
        EXPECT_NEAR(lines[i].b.x, x, 1e-3f) << i;
        EXPECT_EQ(lines[i].a.y, 50.0f) << "the upper end stays on the top edge";
        EXPECT_NEAR(lines[i].b.y, -50 + 50 * offsets[i] / 100, 1e-3f) << i;
    }
}

TEST(PerspectiveGrid, ParallelsGiveWayToTheirVanishingPoints) {
    GridInput in = canvas200x100();
    in.parallelFlags = 0xF;
    for (int k = 0; k < 4; ++k) EXPECT_FALSE(perspective::parallelLines(in, k).empty()) << k;
    in.vpFlags = 1 | 2; // the second horizontal point replaces top and bottom
    EXPECT_TRUE(perspective::parallelLines(in, 0).empty());
    EXPECT_TRUE(perspective::parallelLines(in, 2).empty());
    EXPECT_FALSE(perspective::parallelLines(in, 1).empty());
    in.vpFlags = 1 | 4; // the vertical point replaces left and right
    EXPECT_TRUE(perspective::parallelLines(in, 1).empty());
    EXPECT_TRUE(perspective::parallelLines(in, 3).empty());
    EXPECT_FALSE(perspective::parallelLines(in, 0).empty());
    in.vpFlags = 2 | 4; // both: no parallels at all
    for (int k = 0; k < 4; ++k) EXPECT_TRUE(perspective::parallelLines(in, k).empty()) << k;
    in.vpFlags = 1;
    in.parallelFlags = 0;
    for (int k = 0; k < 4; ++k) EXPECT_TRUE(perspective::parallelLines(in, k).empty()) << k;
}
