// Outlines of the shape tool without GL: segment lengths and sweeps, arcs and
// the four figures flattened at known sizes, and the border strip of a square
// and of a circle. Expected points were worked by hand (a calculator on the
// circle's equation), not by the code under test.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "core/ShapeOutline.h"

using shape::Point;

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

void expectPoint(const Point& p, float x, float y, float tolerance = 1e-4f) {
    EXPECT_NEAR(p.x, x, tolerance);
    EXPECT_NEAR(p.y, y, tolerance);
    EXPECT_FLOAT_EQ(p.z, 0.0f);
}

// Distance of p from the line through a and b.
float lineDistance(Point p, Point a, Point b) {
    const float dx = b.x - a.x, dy = b.y - a.y;
    return std::fabs((p.x - a.x) * dy - (p.y - a.y) * dx) / std::hypot(dx, dy);
}

} // namespace

TEST(ShapeSegments, LineLengthIsTheDistanceFromTheSegmentBefore) {
    shape::Outline o;
    o.addLine({1, 2, 0});
    o.addLine({4, 6, 0});
    ASSERT_EQ(o.segments().size(), 2u);
    EXPECT_EQ(o.segments()[0]->kind(), 0);
    EXPECT_EQ(o.segments()[0]->previous, nullptr);
    EXPECT_FLOAT_EQ(o.segments()[0]->length(), 0.0f);  // nothing before it
    EXPECT_EQ(o.segments()[1]->previous, o.segments()[0].get());
    EXPECT_FLOAT_EQ(o.segments()[1]->length(), 5.0f);  // a 3-4-5 triangle
}

TEST(ShapeSegments, ArcSweepFollowsTheDirection) {
    shape::Outline o;
    o.addLine({0.5f, 1, 0});
    o.addArc({0.5f, 0.5f, 0}, {1, 0.5f, 0});         // from the top to the right, clockwise: a quarter
    o.addArc({0.5f, 0.5f, 0}, {0.5f, 1, 0});         // from the right back to the top, clockwise: three quarters
    o.addArc({0.5f, 0.5f, 0}, {0.5f, 0, 0});         // from the top to the bottom: a half
    o.addArc({0.5f, 0.5f, 0}, {0.5f, 0, 0});         // start and end at one point: a full turn
    o.addArc({0.5f, 0.5f, 0}, {1, 0.5f, 0}, false);  // from the bottom to the right, counter-clockwise: a quarter
    o.addArc({0.5f, 0.5f, 0}, {0.5f, 1, 0}, false);  // from the right to the top, counter-clockwise: a quarter
    const auto& s = o.segments();
    EXPECT_EQ(s[1]->kind(), 1);
    EXPECT_NEAR(s[1]->length(), kPi / 2, 1e-6f);
    EXPECT_NEAR(s[2]->length(), 3 * kPi / 2, 1e-6f);
    EXPECT_NEAR(s[3]->length(), kPi, 1e-6f);
    EXPECT_NEAR(s[4]->length(), 2 * kPi, 1e-6f);
    EXPECT_NEAR(s[5]->length(), kPi / 2, 1e-6f);
    EXPECT_NEAR(s[6]->length(), kPi / 2, 1e-6f);
}

TEST(ShapeSegments, CopiesFollowTheirOwnOutline) {
    const std::vector<shape::Outline> figures = shape::standardOutlines();
    shape::Outline copy = figures[shape::kRoundedRectangle];
    ASSERT_EQ(copy.segments().size(), figures[shape::kRoundedRectangle].segments().size());
    for (std::size_t i = 1; i < copy.segments().size(); ++i) {
        EXPECT_EQ(copy.segments()[i]->previous, copy.segments()[i - 1].get());
        EXPECT_NE(copy.segments()[i].get(), figures[shape::kRoundedRectangle].segments()[i].get());
    }
    std::vector<Point> a, b;
    copy.flatten({50, 40}, a);
    figures[shape::kRoundedRectangle].flatten({50, 40}, b);
    EXPECT_EQ(a, b);
}

TEST(ShapeFlatten, LineScalesItsEnd) {
    shape::Outline o;
    o.addLine({0.25f, 0.5f, 0});
    o.addLine({1, 0.75f, 0});
    std::vector<Point> out{{9, 9, 9}}; // emptied first
    o.flatten({40, -20}, out);
    ASSERT_EQ(out.size(), 2u);
    expectPoint(out[0], 10, -10);
    expectPoint(out[1], 40, -15);
}

TEST(ShapeFlatten, QuarterArcClockwiseAtTenPixels) {
    // Size 10 x 10: tolerance 0.25 / sqrt(200) = 0.0176777 of the unit box,
    // radius 0.5 (not above 1, so kept), step 2 acos(1 - 0.0176777) = 0.376617:
    // four steps fit in a quarter turn (1.50647 < 1.570796), the fifth does not.
    // Points 5 + 5 sin(k step), 5 + 5 cos(k step), clockwise from the top.
    shape::Outline o;
    o.addLine({0.5f, 1, 0});
    o.addArc({0.5f, 0.5f, 0}, {1, 0.5f, 0});
    std::vector<Point> out;
    o.flatten({10, 10}, out);
    ASSERT_EQ(out.size(), 6u);
    expectPoint(out[0], 5, 10);
    expectPoint(out[1], 6.838881f, 9.649572f);
    expectPoint(out[2], 8.420004f, 8.647406f);
    expectPoint(out[3], 9.521740f, 7.133979f);
    expectPoint(out[4], 9.989658f, 5.321430f);
    expectPoint(out[5], 10, 5);
}

TEST(ShapeFlatten, CounterClockwiseArcTurnsTheOtherWay) {
    shape::Outline o;
    o.addLine({0.5f, 1, 0});
    o.addArc({0.5f, 0.5f, 0}, {1, 0.5f, 0}, false); // three quarters, by the left
    std::vector<Point> out;
    o.flatten({10, 10}, out);
    // Same step as the clockwise quarter: 12 steps fit in 4.712389 (12 x 0.376617 = 4.51940).
    ASSERT_EQ(out.size(), 1u + 12u + 1u);
    expectPoint(out[1], 3.161119f, 9.649572f); // mirrored about x = 5
    expectPoint(out.back(), 10, 5);
}

TEST(ShapeFlatten, TriangleAndRectangle) {
    const std::vector<shape::Outline> figures = shape::standardOutlines();
    ASSERT_EQ(figures.size(), 4u);
    std::vector<Point> out;
    figures[shape::kTriangle].flatten({30, 20}, out);
    // The closing line back to the start repeats the first point and goes.
    ASSERT_EQ(out.size(), 3u);
    expectPoint(out[0], 0, 0);
    expectPoint(out[1], 30, 0);
    expectPoint(out[2], 15, 20);
    figures[shape::kRectangle].flatten({30, 20}, out);
    ASSERT_EQ(out.size(), 4u);
    expectPoint(out[0], 0, 0);
    expectPoint(out[1], 30, 0);
    expectPoint(out[2], 30, 20);
    expectPoint(out[3], 0, 20);
    // Dragged down and to the left: the figure mirrors.
    figures[shape::kTriangle].flatten({-30, -20}, out);
    ASSERT_EQ(out.size(), 3u);
    expectPoint(out[1], -30, 0);
    expectPoint(out[2], -15, -20);
}

TEST(ShapeFlatten, EllipseIsOneFullTurn) {
    const std::vector<shape::Outline> figures = shape::standardOutlines();
    std::vector<Point> out;
    // 200 x 100: tolerance 0.25 / 223.6068, step 2 acos(1 - 0.00111803) = 0.0945830;
    // 66 steps stay below 2 pi. The start and the 66 points; the end repeats the start.
    figures[shape::kEllipse].flatten({200, 100}, out);
    ASSERT_EQ(out.size(), 67u);
    expectPoint(out[0], 200, 50);
    // Clockwise: the first step goes down.
    expectPoint(out[1], 199.553036f, 45.277899f, 2e-3f);
    for (const Point& p : out) {
        const float ex = (p.x - 100) / 100, ey = (p.y - 50) / 50;
        EXPECT_NEAR(ex * ex + ey * ey, 1.0f, 1e-5f);
    }
    // The angle falls all the way round.
    for (std::size_t i = 1; i < out.size(); ++i) {
        const float before = std::atan2((out[i - 1].y - 50) / 50, (out[i - 1].x - 100) / 100);
        const float now = std::atan2((out[i].y - 50) / 50, (out[i].x - 100) / 100);
        float d = now - before;
        if (d > kPi) d -= 2 * kPi;
        EXPECT_LT(d, 0.0f) << i;
    }
}

TEST(ShapeFlatten, RoundedRectangle) {
    const std::vector<shape::Outline> figures = shape::standardOutlines();
    std::vector<Point> out;
    // 100 x 100: corner radius 0.1, tolerance 0.25 / 141.4214, step 2 acos(1 - 0.00176777)
    // = 0.118937; 13 steps fit in a quarter turn. Four corners of 13 points
    // and their ends, four line ends; the last line's end repeats the first.
    figures[shape::kRoundedRectangle].flatten({100, 100}, out);
    ASSERT_EQ(out.size(), 60u);
    expectPoint(out[0], 90, 100);
    expectPoint(out[14], 100, 90);
    expectPoint(out[15], 100, 10);
    expectPoint(out[29], 90, 0);
    expectPoint(out[30], 10, 0);
    expectPoint(out[44], 0, 10);
    expectPoint(out[45], 0, 90);
    expectPoint(out[59], 10, 100);
    // Corner points lie on their circles, 10 from the centre.
    for (int i = 1; i < 14; ++i) EXPECT_NEAR(std::hypot(out[i].x - 90, out[i].y - 90), 10.0f, 1e-3f) << i;
    for (int i = 46; i < 59; ++i) EXPECT_NEAR(std::hypot(out[i].x - 10, out[i].y - 90), 10.0f, 1e-3f) << i;
}

TEST(ShapeBorder, SquareStripByHand) {
    // Corners of 90 degrees: the bisector point lies width in along both axes.
    const std::vector<Point> square{{0, 0, 0}, {100, 0, 0}, {100, 100, 0}, {0, 100, 0}};
    std::vector<Point> strip{{1, 1, 1}};
    shape::borderStrip(square, strip, 10);
    ASSERT_EQ(strip.size(), 10u);
    const float expected[10][2] = {{0, 0},     {10, 10}, {100, 0}, {90, 10}, {100, 100},
                                   {90, 90},   {0, 100}, {10, 90}, {0, 0},   {10, 10}};
    for (int i = 0; i < 10; ++i) expectPoint(strip[static_cast<std::size_t>(i)], expected[i][0], expected[i][1]);
}

TEST(ShapeBorder, TriangleEdgesLieTheWidthAway) {
    const std::vector<Point> triangle{{0, 0, 0}, {30, 0, 0}, {15, 20, 0}};
    std::vector<Point> strip;
    shape::borderStrip(triangle, strip, 3);
    ASSERT_EQ(strip.size(), 8u);
    // Corner (0, 0): edges along y = 0 and along (15, 20); the inner point
    // is 3 from both: (x, 3) with 20x - 15 * 3 = 3 * 25, so x = 6.
    expectPoint(strip[1], 6, 3);
    // Apex (15, 20): on the axis x = 15, 3 / sin(half the apex angle) down;
    // sin = 15 / 25, so 5 down.
    expectPoint(strip[5], 15, 15);
}

TEST(ShapeBorder, CircleStripByHand) {
    const std::vector<shape::Outline> figures = shape::standardOutlines();
    std::vector<Point> circle, strip;
    // 200 x 200: a circle of radius 100 about (100, 100). Tolerance
    // t = 0.25 / 282.8427 = 8.838835e-4 and step 2 acos(1 - t), so each inner
    // corner sits 10 / cos(step / 2) = 10 / (1 - t) = 10.008843 in from its
    // vertex along the radius: at 89.991153 from the centre.
    figures[shape::kEllipse].flatten({200, 200}, circle);
    ASSERT_EQ(circle.size(), 75u);
    shape::borderStrip(circle, strip, 10);
    ASSERT_EQ(strip.size(), 2 * circle.size() + 2);
    // Vertices away from the seam have both neighbours one step away.
    for (std::size_t i = 2; i + 2 < circle.size(); ++i) {
        const Point v = strip[2 * i], inner = strip[2 * i + 1];
        EXPECT_EQ(v, circle[i]);
        EXPECT_NEAR(std::hypot(inner.x - 100, inner.y - 100), 89.991153f, 2e-3f) << i;
        // On the radius through the vertex.
        EXPECT_NEAR(lineDistance(inner, {100, 100, 0}, v), 0.0f, 2e-3f) << i;
    }
    // Everywhere, seam included: both edges of the corner lie 10 away.
    for (std::size_t i = 0; i < circle.size(); ++i) {
        const Point prev = circle[(i + circle.size() - 1) % circle.size()], next = circle[(i + 1) % circle.size()];
        const Point inner = strip[2 * i + 1];
        EXPECT_NEAR(lineDistance(inner, prev, circle[i]), 10.0f, 2e-3f) << i;
        EXPECT_NEAR(lineDistance(inner, circle[i], next), 10.0f, 2e-3f) << i;
        EXPECT_LT(std::hypot(inner.x - 100, inner.y - 100), 91.0f) << i; // inside
    }
    EXPECT_EQ(strip[strip.size() - 2], strip[0]);
    EXPECT_EQ(strip.back(), strip[1]);
}

TEST(ShapeBorder, TooFewPointsGiveNoStrip) {
    std::vector<Point> strip{{1, 2, 3}};
    shape::borderStrip({{5, 5, 0}}, strip, 2);
    EXPECT_TRUE(strip.empty());
    shape::borderStrip({}, strip, 2);
    EXPECT_TRUE(strip.empty());
}

TEST(ShapePasses, BorderWidthAgainstHalfTheShorterSide) {
    using P = shape::Pass;
    // No border: the fill alone, or nothing.
    EXPECT_EQ(shape::figurePasses(0, 40, true), std::vector<P>{P::Fill});
    EXPECT_TRUE(shape::figurePasses(0, 40, false).empty());
    // A border up to half the shorter side: fill (when on), then the strip.
    EXPECT_EQ(shape::figurePasses(5, 40, true), (std::vector<P>{P::Fill, P::Border}));
    EXPECT_EQ(shape::figurePasses(5, 40, false), std::vector<P>{P::Border});
    EXPECT_EQ(shape::figurePasses(20, 40, true), (std::vector<P>{P::Fill, P::Border}));
    // Wider: the whole figure in the border colour, fill or not.
    EXPECT_EQ(shape::figurePasses(21, 40, true), std::vector<P>{P::Solid});
    EXPECT_EQ(shape::figurePasses(21, 40, false), std::vector<P>{P::Solid});
    EXPECT_EQ(shape::figurePasses(1, 1.5f, false), std::vector<P>{P::Solid});
}
