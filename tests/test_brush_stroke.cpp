// The stroke in progress: spacing along straight and curved pieces, the
// begin/continue/hold/end rules, jitter at input time only, the mirror and
// the dabs derived from stored points.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "brush/Dab.h"
#include "brush/PointMaker.h"
#include "brush/StrokeBuilder.h"
#include "history/BrushStrokeAction.h"
#include "platform/Random.h"

using brush::StrokeBuilder;
using brush::StrokeInput;
using math::Vec2;

namespace {

Brush roundBrush(int size, float spacing) {
    Brush b;
    b.size = size;
    b.spacing = spacing;
    return b;
}

std::vector<Vec2> positions(const BrushStrokeAction& a) {
    std::vector<Vec2> out;
    for (std::size_t i = 0; i < a.pointCount(); ++i) out.push_back({a.point(i).x, a.point(i).y});
    return out;
}

void expectPositions(const BrushStrokeAction& a, const std::vector<Vec2>& expected) {
    const std::vector<Vec2> got = positions(a);
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        EXPECT_NEAR(got[i].x, expected[i].x, 1e-5) << "dab " << i;
        EXPECT_NEAR(got[i].y, expected[i].y, 1e-5) << "dab " << i;
    }
}

} // namespace

TEST(StrokeSpacing, StraightPiecesStepByTheSpacing) {
    // size 10, spacing 0.25: step 2.5; the round brush's first spaced dab
    // falls one step from the press.
    StrokeBuilder sb;
    StrokeInput in;
    auto action = sb.beginStroke({0, 0}, roundBrush(10, 0.25f), in);
    ASSERT_TRUE(action);
    EXPECT_FLOAT_EQ(sb.lastSample().carry, 2.5f);
    sb.continueStroke({4, 0}, in);  // short: straight at once, dab at 2.5, carry 1
    EXPECT_EQ(sb.openSegments(), 0);
    EXPECT_FLOAT_EQ(sb.lastSample().carry, 1.0f);
    sb.continueStroke({8, 0}, in);  // dabs at 5 and 7.5, carry 2
    EXPECT_FLOAT_EQ(sb.lastSample().carry, 2.0f);
    expectPositions(*action, {{0, 0}, {2.5f, 0}, {5, 0}, {7.5f, 0}});
    for (std::size_t i = 0; i < action->pointCount(); ++i) {
        EXPECT_FLOAT_EQ(action->point(i).angle, 0.0f);  // mean direction (1, 0)
        EXPECT_FLOAT_EQ(action->point(i).sizeFactor, 1.0f);
    }
}

TEST(StrokeSpacing, StepNeverBelowHalfAPixelAndShortPiecesCarry) {
    StrokeBuilder sb;
    StrokeInput in;
    // size 1 * spacing 0.0625 is far below half a pixel.
    auto action = sb.beginStroke({0, 0}, roundBrush(1, 0.0625f), in);
    sb.continueStroke({2, 0}, in);
    // carry 0.0625, then every 0.5: 0.0625, 0.5625, 1.0625, 1.5625
    expectPositions(*action, {{0, 0}, {0.0625f, 0}, {0.5625f, 0}, {1.0625f, 0}, {1.5625f, 0}});

    StrokeBuilder sb2;
    auto a2 = sb2.beginStroke({0, 0}, roundBrush(10, 0.25f), in);
    sb2.continueStroke({1, 0}, in);  // shorter than the carry of 2.5
    EXPECT_EQ(a2->pointCount(), 1u);
    EXPECT_FLOAT_EQ(sb2.lastSample().carry, 1.5f);
}

TEST(StrokeSpacing, LongStepsMakeACubicOneSampleBehind) {
    StrokeBuilder sb;
    StrokeInput in;
    auto action = sb.beginStroke({0, 0}, roundBrush(10, 0.25f), in);
    sb.continueStroke({10, 0}, in);  // long: waits for the look-ahead
    EXPECT_EQ(sb.openSegments(), 1);
    EXPECT_EQ(action->pointCount(), 1u);
    sb.continueStroke({20, 0}, in);
    // Curve (0,0)->(10,0): h0 = 0 (the press has length 0), h1 = 8.5, so
    // P = (0,0) (0,0) (1.5,0) (10,0): x(t) = 5.5 t^3 + 4.5 t^2 at t = .25 .. 1.
    EXPECT_EQ(sb.openSegments(), 1);
    expectPositions(*action, {{0, 0}, {0.3671875f, 0}, {1.8125f, 0}, {4.8515625f, 0}, {10, 0}});
    EXPECT_FLOAT_EQ(sb.sampleBefore().carry, 2.5f);  // d reached 12.5 on a chord of 10

    // The release closes the open curve towards a reflected sample (30, 0).
    sb.endStroke(in);
    EXPECT_TRUE(sb.strokeEnded());
    EXPECT_FALSE(sb.strokeInProgress());
    EXPECT_GT(action->pointCount(), 5u);
    EXPECT_NEAR(action->point(5).x, 12.5f, 1.0f);
}

TEST(StrokeSpacing, CurveAnglesFollowTheDerivative) {
    StrokeBuilder sb;
    StrokeInput in;
    // Step 2.5 on a chord of 10: t = 0.25, 0.5, 0.75, 1 exactly.
    auto action = sb.beginStroke({0, 0}, roundBrush(8, 0.3125f), in);
    sb.continueStroke({10, 0}, in);
    sb.continueStroke({20, 10}, in);  // curve (0,0)->(10,0) bends up at its end
    ASSERT_EQ(action->pointCount(), 5u);
    // The end tangent at (10,0) is the unit of (1,0) + (1,1)/sqrt2: 22.5 degrees.
    const BrushStrokePoint& last = action->point(action->pointCount() - 1);
    EXPECT_NEAR(last.x, 10.0f, 1e-4);
    EXPECT_NEAR(last.angle, 22.5f, 1e-3);
    for (std::size_t i = 1; i + 1 < action->pointCount(); ++i)
        EXPECT_LE(action->point(i).angle, action->point(i + 1).angle + 1e-4f);
}

TEST(StrokeSpacing, SharpTurnBreaksIntoTwoStraightPieces) {
    StrokeBuilder sb;
    StrokeInput in;
    auto action = sb.beginStroke({0, 0}, roundBrush(10, 0.25f), in);
    sb.continueStroke({10, 0}, in);
    sb.continueStroke({0, 0}, in);  // straight back: dot -1
    EXPECT_EQ(sb.openSegments(), 0);
    expectPositions(*action, {{0, 0}, {2.5f, 0}, {5, 0}, {7.5f, 0}, {10, 0}, {7.5f, 0}, {5, 0}, {2.5f, 0}});
}

TEST(StrokeSpacing, PressureScalesStepAndFactors) {
    StrokeBuilder sb;
    StrokeInput in;
    in.pressure = 0.5f;
    Brush b = roundBrush(10, 0.25f);
    b.SizeFollowsPressure = true;
    b.FlowFollowsPressure = true;
    auto action = sb.beginStroke({0, 0}, b, in);
    EXPECT_FLOAT_EQ(sb.lastSample().carry, 1.25f);
    EXPECT_FLOAT_EQ(action->point(0).sizeFactor, 0.5f);
    in.pressure = 1.0f;
    sb.continueStroke({4, 0}, in);
    // mean pressure 0.75: step 10 * 0.75 * 0.25 = 1.875; dabs at 1.25, 3.125;
    // pressures rise by (1 - 0.5) / 3 per dab.
    expectPositions(*action, {{0, 0}, {1.25f, 0}, {3.125f, 0}});
    EXPECT_NEAR(action->point(1).sizeFactor, 0.5f + 0.5f / 3, 1e-6);
    EXPECT_NEAR(action->point(2).flowFactor, 0.5f + 1.0f / 3, 1e-6);
}

TEST(StrokeSpacing, TexturedStepUsesTheTipWidth) {
    StrokeBuilder sb;
    sb.setTipFactorLookup([](int32_t) { return brush::TipFactors{0.5f, 1.0f}; });
    StrokeInput in;
    Brush b = roundBrush(20, 0.5f);
    b.tipIndex = 3;
    auto action = sb.beginStroke({0, 0}, b, in);
    EXPECT_FLOAT_EQ(sb.lastSample().carry, 0.0f);  // textured: no initial carry
    sb.continueStroke({0, 4}, in);
    in.penActive = true;  // straight pieces now face the sample direction
    sb.continueStroke({0, 8}, in);
    // step 20 * 0.5 * 0.5 = 5: dabs at 0 and 5.
    expectPositions(*action, {{0, 0}, {0, 0}, {0, 5}});
    EXPECT_FLOAT_EQ(action->point(1).angle, 0.0f);  // mean direction (1, 0)
    EXPECT_FLOAT_EQ(action->point(2).angle, 90.0f);
}

TEST(StrokeLife, PressAndReleaseMakesOneDab) {
    for (int tip : {0, 2}) {
        StrokeBuilder sb;
        StrokeInput in;
        Brush b = roundBrush(8, 0.1f);
        b.tipIndex = tip;
        b.angle = 33.0f;
        auto action = sb.beginStroke({5, 6}, b, in);
        sb.continueStroke({5, 6}, in);  // no motion: dropped
        sb.endStroke(in);
        ASSERT_EQ(action->pointCount(), 1u);
        EXPECT_FLOAT_EQ(action->point(0).angle, 33.0f);
        const std::vector<brush::Dab> dabs = sb.takeDabsToFlush();
        ASSERT_EQ(dabs.size(), 1u) << "tip " << tip;
        EXPECT_EQ(dabs[0].center, (Vec2{5, 6}));
        EXPECT_TRUE(sb.pendingDabs().empty());
        EXPECT_TRUE(sb.strokeDirty());
    }
}

TEST(StrokeLife, StateMachine) {
    StrokeBuilder sb;
    StrokeInput in;
    sb.continueStroke({3, 3}, in);  // nothing in progress
    sb.holdStroke({3, 3}, in);
    sb.endStroke(in);
    EXPECT_FALSE(sb.strokeEnded());

    auto action = sb.beginStroke({0, 0}, roundBrush(10, 0.25f), in);
    EXPECT_TRUE(sb.firstDabPending());
    sb.holdStroke({0, 0}, in);  // a resting pen adds a dab in place
    EXPECT_EQ(action->pointCount(), 2u);
    sb.endStroke(in);
    EXPECT_TRUE(sb.strokeEnded());
    // No stroke begins before the last one is merged.
    EXPECT_EQ(sb.beginStroke({1, 1}, roundBrush(10, 0.25f), in), nullptr);
    EXPECT_FALSE(sb.compositeDue(false, kBrushModePaint));  // nothing flushed yet
    EXPECT_EQ(sb.takeDabsToFlush().size(), 2u);
    EXPECT_TRUE(sb.compositeDue(false, kBrushModePaint));
    sb.frameDone(true);
    EXPECT_FALSE(sb.strokeEnded());
    EXPECT_NE(sb.beginStroke({1, 1}, roundBrush(10, 0.25f), in), nullptr);
}

TEST(StrokeLife, TexturedFlushSkipsTheFirstDab) {
    StrokeBuilder sb;
    StrokeInput in;
    Brush b = roundBrush(10, 0.25f);
    b.tipIndex = 1;
    auto action = sb.beginStroke({0, 0}, b, in);
    EXPECT_TRUE(sb.takeDabsToFlush().empty());  // one textured dab waits
    sb.continueStroke({3, 0}, in);
    const std::vector<brush::Dab> dabs = sb.takeDabsToFlush();
    ASSERT_EQ(action->pointCount(), 3u);  // 0, 2.5 with step 2.5... and the press
    ASSERT_EQ(dabs.size(), 2u);
    EXPECT_FLOAT_EQ(dabs[0].center.x, action->point(1).x);
    EXPECT_FALSE(sb.firstDabPending());
}

TEST(StrokeJitter, SameSeedSameStrokeAndReplayDrawsNoRandom) {
    Brush b = roundBrush(16, 0.2f);
    b.size_jitter = 60;
    b.opacity_jitter = 40;
    b.scattering = 1.5f;
    b.angle_randomness = 90;
    b.setFlag(kBrushFlagColorDynamics, true);
    auto build = [&] {
        kwSrand(1234);
        StrokeBuilder sb;
        StrokeInput in;
        in.color = {0.2f, 0.4f, 0.6f};
        in.colorHsv = brush::rgbToHsv(in.color);
        auto a = sb.beginStroke({10, 10}, b, in);
        for (int i = 1; i <= 12; ++i) sb.continueStroke({10.0f + i * 7.0f, 10.0f + (i % 3) * 4.0f}, in);
        sb.endStroke(in);
        return a;
    };
    auto a1 = build();
    auto a2 = build();
    ASSERT_EQ(a1->pointCount(), a2->pointCount());
    ASSERT_GT(a1->pointCount(), 10u);
    bool jittered = false;
    for (std::size_t i = 0; i < a1->pointCount(); ++i) {
        const auto& p = a1->point(i);
        const auto& q = a2->point(i);
        ASSERT_TRUE(p.hasColor());
        EXPECT_EQ(p.x, q.x);
        EXPECT_EQ(p.y, q.y);
        EXPECT_EQ(p.angle, q.angle);
        EXPECT_EQ(p.sizeFactor, q.sizeFactor);
        EXPECT_EQ(p.flowFactor, q.flowFactor);
        EXPECT_EQ(p.vertexColor(1), q.vertexColor(1));
        EXPECT_LE(p.sizeFactor, 1.0f);
        EXPECT_GE(p.sizeFactor, 0.4f - 1e-6f);
        if (p.sizeFactor < 0.99f) jittered = true;
    }
    EXPECT_TRUE(jittered);

    // Deriving dabs consumes no random numbers and gives the same dabs.
    kwSrand(99);
    const int expectedNext = kwRand();
    kwSrand(99);
    const auto d1 = a1->replayDabs({});
    const auto d2 = a1->replayDabs({});
    EXPECT_EQ(kwRand(), expectedNext);
    ASSERT_EQ(d1.size(), a1->pointCount());
    for (std::size_t i = 0; i < d1.size(); ++i) {
        EXPECT_EQ(d1[i].center, d2[i].center);
        EXPECT_EQ(d1[i].radius, d2[i].radius);
        EXPECT_EQ(d1[i].color, d2[i].color);
    }
}

TEST(StrokeJitter, ScatterAngleAndFactorsFollowTheirFormulas) {
    // The same stroke with and without jitter: the plain one gives each dab's
    // place and angle on the path; the jittered one must move and turn each
    // dab by the amounts worked out here from the generator's own numbers.
    Brush jittered = roundBrush(16, 0.2f);
    jittered.angle = 30;
    jittered.size_jitter = 60;
    jittered.opacity_jitter = 40;
    jittered.scattering = 1.5f;
    jittered.angle_randomness = 90;
    jittered.setFlag(kBrushFlagColorDynamics, true);
    Brush plain = jittered;
    plain.size_jitter = plain.opacity_jitter = plain.scattering = plain.angle_randomness = 0;
    plain.setFlag(kBrushFlagColorDynamics, false);
    StrokeInput in;
    in.color = {0.2f, 0.4f, 0.6f};
    in.colorHsv = brush::rgbToHsv(in.color);
    auto build = [&](const Brush& b) {
        kwSrand(777);
        StrokeBuilder sb;
        auto a = sb.beginStroke({10, 10}, b, in);
        // A straight run, then a bend that the builder draws as curves.
        for (int i = 1; i <= 6; ++i) sb.continueStroke({10.0f + i * 9.0f, 10.0f}, in);
        for (int i = 1; i <= 6; ++i) sb.continueStroke({64.0f + i * 5.0f, 10.0f + i * i * 2.0f}, in);
        sb.endStroke(in);
        return a;
    };
    const auto base = build(plain);
    const auto got = build(jittered);
    ASSERT_EQ(got->pointCount(), base->pointCount());
    ASSERT_GT(got->pointCount(), 20u);

    // The MSVC generator, written out: state * 214013 + 2531011, bits 16..30.
    uint32_t state = 777;
    auto next = [&state] {
        state = state * 214013u + 2531011u;
        return static_cast<int>((state >> 16) & 0x7FFF);
    };
    bool curved = false;
    for (std::size_t i = 0; i < got->pointCount(); ++i) {
        const BrushStrokePoint& q = base->point(i);
        const BrushStrokePoint& p = got->point(i);
        double x = q.x, y = q.y, angle = q.angle;
        if (i > 0) {
            // Scatter: across the direction of travel, the brush's own angle left out.
            const double offset = 16.0 * (next() * 2.0 * 1.5 / 32767.0 - 1.5);
            const double travel = (q.angle - 30.0) / 57.29577951308232;
            if (std::abs(std::fmod(q.angle - 30.0, 180.0)) > 1.0) curved = true;
            x += -std::sin(travel) * offset;
            y += std::cos(travel) * offset;
            // Angle jitter: 90 degrees wide around the angle, folded into 0..360.
            angle += next() * 90.0 / 32767.0 - 45.0;
            if (angle < 0) angle += 360.0;
            if (angle > 360) angle -= 360.0;
        } else {
            EXPECT_EQ(q.angle, 30.0f) << "the first dab: the brush angle, no scatter";
        }
        const double sizeFactor = 1.0 - (next() * 60.0 / 32767.0) / 100.0;
        const double flowFactor = 1.0 - (next() * 40.0 / 32767.0) / 100.0;
        brush::Hsv hsv = in.colorHsv;
        hsv.h = static_cast<float>(hsv.h + next() * 80.0 / 32767.0 - 40.0);
        if (hsv.h < 0) hsv.h += 360.0f;
        if (hsv.h > 360) hsv.h -= 360.0f;
        hsv.s = std::clamp(static_cast<float>(hsv.s + next() * 0.2 / 32767.0 - 0.1), 0.0f, 1.0f);
        hsv.v = std::clamp(static_cast<float>(hsv.v + next() * 0.2 / 32767.0 - 0.1), 0.0f, 1.0f);
        const brush::Rgb rgb = brush::hsvToRgb(hsv);
        EXPECT_NEAR(p.x, x, 1e-3) << "dab " << i;
        EXPECT_NEAR(p.y, y, 1e-3) << "dab " << i;
        EXPECT_NEAR(p.angle, angle, 1e-3) << "dab " << i;
        EXPECT_NEAR(p.sizeFactor, sizeFactor, 1e-6) << "dab " << i;
        EXPECT_NEAR(p.flowFactor, flowFactor, 1e-6) << "dab " << i;
        const std::array<float, 4> c = p.vertexColor(1.0f);
        EXPECT_NEAR(c[0], rgb.r, 1e-5) << "dab " << i;
        EXPECT_NEAR(c[1], rgb.g, 1e-5) << "dab " << i;
        EXPECT_NEAR(c[2], rgb.b, 1e-5) << "dab " << i;
    }
    EXPECT_TRUE(curved) << "some dabs travel at an angle, so a swapped sine and cosine shows";
    // Nothing else was drawn from the generator.
    EXPECT_EQ(kwRand(), next());
}

TEST(StrokeJitter, DrawOrderSizeOpacityHueSaturationValue) {
    Brush b;
    b.size_jitter = 50;
    b.opacity_jitter = 30;
    b.colorJitterH = 80;
    b.colorJitterS = 0.2f;
    b.colorJitterV = 0.2f;
    b.setFlag(kBrushFlagColorDynamics, true);
    const brush::Hsv start{100.0f, 0.5f, 0.5f};
    kwSrand(1);  // 41, 18467, 6334, 26500, 19169
    const brush::PointJitter j = brush::drawPointJitter(b, 1.0f, start);
    EXPECT_FLOAT_EQ(j.sizeFactor, static_cast<float>(1.0 - (41 * 50.0 / 32767.0) / 100.0));
    EXPECT_FLOAT_EQ(j.flowFactor, static_cast<float>(1.0 - (18467 * 30.0 / 32767.0) / 100.0));
    const brush::Hsv expected{static_cast<float>(100.0 + 6334 * 80.0 / 32767.0 - 40.0),
                              static_cast<float>(0.5 + 26500 * 0.2 / 32767.0 - 0.1),
                              static_cast<float>(0.5 + 19169 * 0.2 / 32767.0 - 0.1)};
    const brush::Rgb rgb = brush::hsvToRgb(expected);
    EXPECT_FLOAT_EQ(j.color.r, rgb.r);
    EXPECT_FLOAT_EQ(j.color.g, rgb.g);
    EXPECT_FLOAT_EQ(j.color.b, rgb.b);
    EXPECT_EQ(kwRand(), 15724);  // exactly five numbers were drawn

    // Without jitter and colour dynamics nothing is drawn at all.
    kwSrand(1);
    brush::drawPointJitter(Brush{}, 0.3f, start);
    EXPECT_EQ(kwRand(), 41);
}

TEST(StrokeMirror, CopiesRotateAndReflect) {
    brush::MirrorSettings m;
    m.active = true;
    m.origin = {0, 0};
    m.repetitions = 1;
    m.mirrored = true;
    std::vector<BrushStrokePoint> out;
    brush::makeStrokePoints(Brush{}, {3, 4}, 1.0f, 10.0f, {{}, m}, out);
    ASSERT_EQ(out.size(), 2u);
    EXPECT_NEAR(out[0].x, 3.0f, 1e-4);
    EXPECT_NEAR(out[0].y, 4.0f, 1e-4);
    EXPECT_NEAR(out[0].angle, 370.0f, 1e-3);
    EXPECT_FALSE(out[0].mirrored);
    EXPECT_NEAR(out[1].x, -3.0f, 1e-5);
    EXPECT_NEAR(out[1].y, 4.0f, 1e-5);
    EXPECT_FLOAT_EQ(out[1].angle, -10.0f);
    EXPECT_TRUE(out[1].mirrored);

    out.clear();
    brush::makeStrokePoints(Brush{}, {0, 0}, 1.0f, 0.0f, {{}, m}, out);
    EXPECT_TRUE(out.empty()) << "a dab on the centre has no angle and no copy";

    out.clear();
    m.repetitions = 4;
    m.mirrored = false;
    brush::makeStrokePoints(Brush{}, {1, 0}, 1.0f, 0.0f, {{}, m}, out);
    ASSERT_EQ(out.size(), 4u);
    const Vec2 expected[] = {{0, 1}, {-1, 0}, {0, -1}, {1, 0}};
    for (int k = 0; k < 4; ++k) {
        EXPECT_NEAR(out[k].x, expected[k].x, 1e-5) << k;
        EXPECT_NEAR(out[k].y, expected[k].y, 1e-5) << k;
        EXPECT_NEAR(out[k].angle, 90.0f * (k + 1), 1e-3) << k;
    }
}

TEST(StrokeDabs, RoundAndTexturedDescriptions) {
    Brush b = roundBrush(9, 0.1f);
    b.hardness = 0.5f;
    BrushStrokePoint p({10.7f, 20.2f}, 1.0f, 0.8f, false, 30.0f);
    brush::Dab d = brush::makeDab(p, b, {});
    EXPECT_EQ(d.kind, brush::DabKind::SoftRound);
    EXPECT_FLOAT_EQ(d.radius, 4.5f);
    EXPECT_EQ(d.quadLeft, 10 - 6);
    EXPECT_EQ(d.quadRight, 10 + 6);
    EXPECT_EQ(d.quadBottom, 20 - 6);
    EXPECT_EQ(d.quadTop, 20 + 6);
    EXPECT_EQ(d.color, (std::array<float, 4>{1, 1, 1, 0.8f}));
    p.sizeFactor = 0.2f;  // radius 0.9: always the hard program
    EXPECT_EQ(brush::makeDab(p, b, {}).kind, brush::DabKind::HardRound);

    b.tipIndex = 2;
    b.setFlag(kBrushFlagDryBrush, true);
    BrushStrokeColorPoint cp(BrushStrokePoint({0, 0}, 0.5f, 0.25f, true, 45.0f), {0.1f, 0.2f, 0.3f});
    d = brush::makeDab(cp, b, {1.0f, 0.5f});
    EXPECT_EQ(d.kind, brush::DabKind::TexturedDry);
    EXPECT_FLOAT_EQ(d.halfWidth, 2.25f);
    EXPECT_FLOAT_EQ(d.halfHeight, 1.125f);
    EXPECT_TRUE(d.mirrored);
    EXPECT_EQ(d.tipIndex, 2);
    EXPECT_EQ(d.color, (std::array<float, 4>{0.1f, 0.2f, 0.3f, 0.25f}));
}

TEST(StrokeDabs, BlendAndCompositeChoices) {
    Brush b;
    EXPECT_EQ(brush::chooseDabBlend(b), brush::DabBlend::Maximum);
    b.hardness = 0.5f;
    EXPECT_EQ(brush::chooseDabBlend(b), brush::DabBlend::AdditiveAlpha);
    b.setFlag(kBrushFlagColorDynamics, true);
    EXPECT_EQ(brush::chooseDabBlend(b), brush::DabBlend::PremultipliedOver);
    EXPECT_EQ(brush::chooseCompositeProgram(b), brush::CompositeProgram::StrokeOverColors);
    b.setFlag(kBrushFlagAdditiveStroke, true);
    EXPECT_EQ(brush::chooseDabBlend(b), brush::DabBlend::AdditiveAlpha);
    EXPECT_EQ(brush::chooseDabBlend(b, false), brush::DabBlend::PremultipliedOver);
    b.antialias = 1;
    EXPECT_EQ(brush::chooseCompositeProgram(b), brush::CompositeProgram::StrokeSmooth);
    b.mode = kBrushModeErase;
    EXPECT_EQ(brush::chooseCompositeProgram(b), brush::CompositeProgram::Erase);
    EXPECT_EQ(brush::chooseCompositeProgram(Brush{}), brush::CompositeProgram::StrokeOver);
}

// A pause after a fast move: the piece still waiting for its look-ahead is
// drawn before the window shifts, so the stored dabs leave no gap.
TEST(StrokeLife, HoldAfterAFastMoveLeavesNoGap) {
    StrokeBuilder sb;
    StrokeInput in;
    auto action = sb.beginStroke({0, 0}, roundBrush(8, 0.25f), in);  // step 2
    sb.continueStroke({40, 0}, in);
    sb.continueStroke({80, 0}, in);
    ASSERT_EQ(sb.openSegments(), 1);  // 40..80 waits for the next sample
    sb.holdStroke({80, 0}, in);
    sb.continueStroke({120, 0}, in);
    sb.continueStroke({160, 0}, in);
    sb.endStroke(in);
    std::vector<Vec2> got = positions(*action);
    ASSERT_GT(got.size(), 40u);
    std::sort(got.begin(), got.end(), [](Vec2 a, Vec2 b) { return a.x < b.x; });
    float widest = 0;
    for (std::size_t i = 1; i < got.size(); ++i) {
        EXPECT_NEAR(got[i].y, 0.0f, 1e-3f);
        widest = std::max(widest, got[i].x - got[i - 1].x);
    }
    // Curves are walked by parameter, so dabs bunch up and spread out within
    // a piece (up to about 2.5 steps here); the lost piece was 40 px wide.
    EXPECT_LE(widest, 6.0f);
    EXPECT_GE(got.back().x, 150.0f);
}

// Points recorded between two frames wait in the pending list while the
// stroke's own list keeps growing: the frame must stamp exactly the stored
// points, whatever the growth did to the stroke's storage.
TEST(StrokePending, FlushedDabsAreTheStoredPointsAfterGrowth) {
    Brush b = roundBrush(6, 0.1f);
    b.size_jitter = 50;
    b.setFlag(kBrushFlagColorDynamics, true);
    StrokeInput in;
    in.color = {0.3f, 0.6f, 0.9f};
    in.colorHsv = brush::rgbToHsv(in.color);
    kwSrand(5);
    StrokeBuilder sb;
    auto action = sb.beginStroke({10, 10}, b, in);
    ASSERT_TRUE(action);
    std::vector<brush::Dab> live = sb.takeDabsToFlush();
    for (int i = 1; i <= 400; ++i) sb.continueStroke({10.0f + 3.0f * i, 10.0f + 40.0f * std::sin(i * 0.05f)}, in);
    ASSERT_GT(action->pointCount(), 1000u);
    ASSERT_EQ(sb.pendingDabs().size() + live.size(), action->pointCount());
    const std::vector<brush::Dab> rest = sb.takeDabsToFlush();
    live.insert(live.end(), rest.begin(), rest.end());
    const std::vector<brush::Dab> replay = action->replayDabs({});
    ASSERT_EQ(live.size(), replay.size());
    for (std::size_t i = 0; i < live.size(); ++i) {
        EXPECT_EQ(live[i].center, replay[i].center) << i;
        EXPECT_EQ(live[i].radius, replay[i].radius) << i;
        EXPECT_EQ(live[i].color, replay[i].color) << i;
        if (HasFailure()) return;
    }
}
