// The selection's geometry on the CPU: the outline's triangles against an
// even-odd point-in-polygon test, the smoothing of free-hand runs worked by
// hand, and the dash pattern of the outline.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "canvas/PolygonTessellator.h"
#include "tools/SelectionTool.h"

namespace {

using Outline = std::vector<math::Vec2>;

// Crossing count of a ray to +x: the even-odd rule, independent of GLU.
bool insideEvenOdd(const Outline& poly, float x, float y) {
    bool inside = false;
    for (std::size_t i = 0, j = poly.size() - 1; i < poly.size(); j = i++) {
        const math::Vec2 a = poly[i], b = poly[j];
        if ((a.y > y) != (b.y > y) && x < (b.x - a.x) * (y - a.y) / (b.y - a.y) + a.x) inside = !inside;
    }
    return inside;
}

float distanceToSegment(math::Vec2 p, math::Vec2 a, math::Vec2 b) {
    const math::Vec2 ab = b - a;
    const float len2 = ab.dot(ab);
    float t = len2 > 0 ? (p - a).dot(ab) / len2 : 0.0f;
    t = std::fmax(0.0f, std::fmin(1.0f, t));
    return (p - (a + ab * t)).length();
}

float distanceToOutline(const Outline& poly, math::Vec2 p) {
    float d = 1e9f;
    for (std::size_t i = 0, j = poly.size() - 1; i < poly.size(); j = i++)
        d = std::fmin(d, distanceToSegment(p, poly[j], poly[i]));
    return d;
}

bool inTriangle(math::Vec2 p, math::Vec2 a, math::Vec2 b, math::Vec2 c) {
    auto side = [](math::Vec2 o, math::Vec2 u, math::Vec2 v) {
        return (u.x - o.x) * (v.y - o.y) - (u.y - o.y) * (v.x - o.x);
    };
    const float d1 = side(a, b, p), d2 = side(b, c, p), d3 = side(c, a, p);
    const bool negative = d1 < 0 || d2 < 0 || d3 < 0, positive = d1 > 0 || d2 > 0 || d3 > 0;
    return !(negative && positive);
}

// Every grid point further than a pixel from the outline lies in exactly one
// triangle when the even-odd rule calls it inside, and in none otherwise.
void expectTrianglesMatchEvenOdd(const Outline& poly, float extent, int& insideSeen, int& outsideSeen) {
    const std::vector<math::Vec2> tri = tessellatePolygon(poly);
    ASSERT_EQ(tri.size() % 3, 0u);
    insideSeen = outsideSeen = 0;
    // An irrational-looking step, so no point lies on an edge shared by two triangles.
    for (float y = -5.137f; y < extent + 5; y += 1.4913f)
        for (float x = -5.291f; x < extent + 5; x += 1.5377f) {
            const math::Vec2 p{x, y};
            if (distanceToOutline(poly, p) < 1.0f) continue;
            int covering = 0;
            for (std::size_t i = 0; i < tri.size(); i += 3) covering += inTriangle(p, tri[i], tri[i + 1], tri[i + 2]);
            const bool inside = insideEvenOdd(poly, x, y);
            EXPECT_EQ(covering, inside ? 1 : 0) << "at " << x << ", " << y;
            (inside ? insideSeen : outsideSeen) += 1;
        }
}

} // namespace

TEST(SelectionTessellation, ConvexOutline) {
    const Outline poly{{10, 10}, {90, 15}, {95, 80}, {40, 95}, {5, 60}};
    int in = 0, out = 0;
    expectTrianglesMatchEvenOdd(poly, 100, in, out);
    EXPECT_GT(in, 1000);
    EXPECT_GT(out, 500);
}

TEST(SelectionTessellation, ConcaveOutlineInEitherDirection) {
    // A star: every second corner points inwards.
    Outline star;
    for (int i = 0; i < 10; ++i) {
        const float r = i % 2 ? 18.0f : 48.0f, a = 6.2831853f * i / 10;
        star.push_back({50 + r * std::cos(a), 50 + r * std::sin(a)});
    }
    int in = 0, out = 0;
    expectTrianglesMatchEvenOdd(star, 100, in, out);
    EXPECT_GT(in, 500);
    Outline backwards(star.rbegin(), star.rend());
    expectTrianglesMatchEvenOdd(backwards, 100, in, out);
    EXPECT_GT(in, 500);
}

TEST(SelectionTessellation, FigureEightSelectsBothLobes) {
    // The edges cross at (50, 50): the combine callback adds that vertex.
    const Outline bowtie{{0, 0}, {100, 100}, {100, 0}, {0, 100}};
    int in = 0, out = 0;
    expectTrianglesMatchEvenOdd(bowtie, 100, in, out);
    EXPECT_GT(in, 1500);
    // Both lobes, left and right.
    const std::vector<math::Vec2> tri = tessellatePolygon(bowtie);
    bool left = false, right = false;
    for (std::size_t i = 0; i < tri.size(); i += 3) {
        left |= inTriangle({10, 50}, tri[i], tri[i + 1], tri[i + 2]);
        right |= inTriangle({90, 50}, tri[i], tri[i + 1], tri[i + 2]);
    }
    EXPECT_TRUE(left);
    EXPECT_TRUE(right);
}

TEST(SelectionTessellation, SelfTouchingOutline) {
    // Two squares that meet in one corner, drawn as one outline.
    const Outline touching{{0, 0}, {50, 0}, {50, 50}, {100, 50}, {100, 100}, {50, 100}, {50, 50}, {0, 50}};
    int in = 0, out = 0;
    expectTrianglesMatchEvenOdd(touching, 100, in, out);
    EXPECT_GT(in, 1500);
    EXPECT_GT(out, 1500);
}

TEST(SelectionTessellation, LoopInsideALoopLeavesTheInnerPartOut) {
    // Around the outside, over to the inner square, around it the same way
    // and back: the inner part is wound twice, which the odd rule leaves out.
    const Outline loops{{0, 0},   {100, 0},  {100, 100}, {0, 100}, {0, 0},
                        {30, 30}, {70, 30},  {70, 70},   {30, 70}, {30, 30}};
    int in = 0, out = 0;
    expectTrianglesMatchEvenOdd(loops, 100, in, out);
    EXPECT_GT(in, 2000);
    EXPECT_FALSE(insideEvenOdd(loops, 50, 50));
    const std::vector<math::Vec2> tri = tessellatePolygon(loops);
    for (std::size_t i = 0; i < tri.size(); i += 3) EXPECT_FALSE(inTriangle({50, 50}, tri[i], tri[i + 1], tri[i + 2]));
}

TEST(SelectionTessellation, TooFewPointsGiveNothing) {
    EXPECT_TRUE(tessellatePolygon({}).empty());
    EXPECT_TRUE(tessellatePolygon({{1, 1}, {20, 5}}).empty());
}

TEST(SelectionSmoothing, ClicksKeepTheirCorners) {
    std::vector<math::Vec2> pts{{0, 0}, {10, 0}, {10, 10}};
    const std::vector<math::Vec2> before = pts;
    EXPECT_EQ(SelectionTool::smoothRun(pts, 0), 2);
    EXPECT_EQ(pts, before);
    // A run of two segments after earlier corners: also kept.
    pts.push_back({20, 10});
    pts.push_back({30, 0});
    EXPECT_EQ(SelectionTool::smoothRun(pts, 2), 4);
    EXPECT_EQ(pts[3], math::Vec2(20, 10));
}

TEST(SelectionSmoothing, RunningMeanWorkedByHand) {
    // n = 6, widest window 5. In order, in place:
    // p0 alone; p1 = mean(p0..p2) = 10/3; p2 = mean(p0..p4) = (0 + 10/3 + 0 + 10 + 0) / 5 = 8/3;
    // p3 = mean(p1..p5) = (10/3 + 8/3 + 10 + 0 + 10) / 5 = 5.2;
    // p4: the window shrinks to 3, mean(p3..p5) = (5.2 + 0 + 10) / 3; p5 alone; p6 untouched.
    std::vector<math::Vec2> pts;
    for (int i = 0; i < 7; ++i) pts.push_back({i % 2 ? 10.0f : 0.0f, static_cast<float>(i)});
    EXPECT_EQ(SelectionTool::smoothRun(pts, 0), 0);
    const float expectedX[] = {0, 10.0f / 3, 8.0f / 3, 5.2f, 15.2f / 3, 10, 0};
    for (int i = 0; i < 7; ++i) EXPECT_NEAR(pts[static_cast<std::size_t>(i)].x, expectedX[i], 1e-4f) << i;
    // y rises by one a point: the same means of a straight line keep it.
    for (int i = 0; i < 7; ++i) EXPECT_NEAR(pts[static_cast<std::size_t>(i)].y, static_cast<float>(i), 1e-4f) << i;
}

TEST(SelectionSmoothing, OnlyTheRunMoves) {
    std::vector<math::Vec2> pts{{-50, -50}, {-40, 70}};
    for (int i = 0; i < 8; ++i) pts.push_back({static_cast<float>(i * 3), i % 2 ? 5.0f : -5.0f});
    const std::vector<math::Vec2> before = pts;
    SelectionTool::smoothRun(pts, 2);
    EXPECT_EQ(pts[0], before[0]);
    EXPECT_EQ(pts[1], before[1]);
    EXPECT_EQ(pts[2], before[2]);   // first point of the run: a window of one
    EXPECT_EQ(pts.back(), before.back());
    EXPECT_LT(std::fabs(pts[5].y), 5.0f);  // the zigzag is flattened inside
}

TEST(SelectionOutline, AntsPatternRunsByFrames) {
    int frame = 0;
    std::vector<unsigned short> seen;
    for (int i = 0; i < 41; ++i) seen.push_back(SelectionTool::antsPattern(frame));
    EXPECT_EQ(seen[0], 0x3333);   // counter 1
    EXPECT_EQ(seen[8], 0x3333);   // 9
    EXPECT_EQ(seen[9], 0x6666);   // 10
    EXPECT_EQ(seen[19], 0xCCCC);  // 20
    EXPECT_EQ(seen[29], 0x9999);  // 30
    EXPECT_EQ(seen[38], 0x9999);  // 39
    EXPECT_EQ(seen[39], 0x3333);  // 40: back to the start
    EXPECT_EQ(frame, 1);          // after 41 calls
}

TEST(SelectionTessellation, PointsThatAreNotNumbersAreLeftOut) {
    const float nan = std::nanf(""), inf = INFINITY;
    const Outline damaged{{10, 10}, {nan, 5}, {90, 15}, {95, 80}, {inf, 3}, {40, 95}, {5, -inf}, {5, 60}};
    const Outline clean{{10, 10}, {90, 15}, {95, 80}, {40, 95}, {5, 60}};
    EXPECT_EQ(tessellatePolygon(damaged), tessellatePolygon(clean));
    EXPECT_FALSE(tessellatePolygon(clean).empty());
}
