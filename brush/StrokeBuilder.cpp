#include "brush/StrokeBuilder.h"

#include <cmath>

#include "brush/StrokePoint.h"
#include "history/BrushStrokeAction.h"
#include "platform/Random.h"

namespace brush {

namespace {

// Below this a sample is no motion at all and is dropped.
constexpr float kMinSampleLength = 0.00001f;
// Cosine of the turn (about 162 degrees) that breaks a curve in two.
constexpr float kSharpTurnDot = -0.95f;
// Steps shorter than this are drawn as straight pieces at once.
constexpr float kCurveMinLength = 5.0f;

PointEnvironment pointEnvironment(const StrokeInput& in) { return {in.colorHsv, in.mirror}; }

} // namespace

TipFactors StrokeBuilder::tipFactors(int32_t tipIndex) const {
    return tipFactors_ ? tipFactors_(tipIndex) : TipFactors{};
}

float StrokeBuilder::baseStep() const {
    float step = static_cast<float>(brush_.size);
    if (brush_.isTextured()) step *= tipFactors(brush_.tipIndex).widthFactor;
    return step;
}

std::unique_ptr<BrushStrokeAction> StrokeBuilder::beginStroke(math::Vec2 position, const Brush& brush,
                                                              const StrokeInput& in) {
    if (strokeEnded_) return nullptr;  // the last stroke is not merged yet
    brush_ = brush;
    color_ = in.color;
    StrokeSample s;
    s.position = position;
    s.pressure = in.pressure;
    if (!brush.isTextured()) {
        // The first spaced dab of a round brush falls a full step from the start.
        float size = static_cast<float>(brush.size);
        if (brush.SizeFollowsPressure) size *= in.pressure;
        s.carry = brush.spacing * size;
    }
    lastSample_ = sampleBefore_ = s;
    openSegments_ = 0;
    // Dabs left from an earlier stroke would land in this stroke's buffer.
    pendingDabs_.clear();
    firstDabPending_ = true;
    auto action = std::make_unique<BrushStrokeAction>(brush, in.color);
    currentAction_ = action.get();
    addPoint(position, in.pressure, brush.angle, in);
    return action;
}

void StrokeBuilder::continueStroke(math::Vec2 position, const StrokeInput& in) {
    if (!currentAction_) return;
    StrokeSample s;
    s.position = position;
    s.pressure = in.pressure;
    const math::Vec2 delta = position - lastSample_.position;
    s.length = delta.length();
    if (s.length < kMinSampleLength) return;
    s.direction = delta / s.length;

    lastSample_.tangent = normalizedOrZero(lastSample_.direction + s.direction);
    lastSample_.sharpTurn = s.direction.dot(lastSample_.direction) < kSharpTurnDot;
    ++openSegments_;
    if (openSegments_ == 2 && lastSample_.sharpTurn) {
        strokeStraight(sampleBefore_, lastSample_, in);
        strokeStraight(lastSample_, s, in);
        openSegments_ = 0;
    } else if (openSegments_ == 2) {
        // The curve runs one sample behind: s is its look-ahead.
        strokeCurve(sampleBefore_, lastSample_, s, in);
        openSegments_ = 1;
    }
    if (openSegments_ == 1 && s.length < kCurveMinLength) {
        strokeStraight(lastSample_, s, in);
        openSegments_ = 0;
    }
    sampleBefore_ = lastSample_;
    lastSample_ = s;
}

void StrokeBuilder::holdStroke(math::Vec2 position, const StrokeInput& in) {
    if (!currentAction_) return;
    // A curve still waiting for its look-ahead would be lost when the window
    // shifts: draw it now, ending the way the motion went.
    if (openSegments_ == 1) closeOpenCurve(in);
    StrokeSample s;
    s.position = position;
    s.pressure = in.pressure;
    const math::Vec2 delta = position - lastSample_.position;
    s.length = delta.length();
    s.direction = normalizedOrZero(delta);
    sampleBefore_ = lastSample_;
    lastSample_ = s;
    const double angle = directionDegrees(s.direction) + brush_.angle;
    addPoint(position, in.pressure, static_cast<float>(angle), in);
}

void StrokeBuilder::endStroke(const StrokeInput& in) {
    if (!currentAction_) return;
    if (brush_.isTextured() && currentAction_->pointCount() == 1) {
        // Twice in the list, so the flush that skips the first dab draws one.
        pendingDabs_.push_back(currentAction_->point(0));
    } else if (openSegments_ == 1) {
        // Close the open curve towards sampleBefore's direction mirrored
        // about the last one.
        const math::Vec2 d = lastSample_.direction;
        const math::Vec2 e = sampleBefore_.direction;
        const math::Vec2 reflected = d * (2.0f * d.dot(e)) - e;
        continueStroke(lastSample_.position + reflected * lastSample_.length, in);
    }
    strokeEnded_ = true;
    currentAction_ = nullptr;
}

void StrokeBuilder::closeOpenCurve(const StrokeInput& in) {
    // The look-ahead mirrors the sample before about the last direction, as
    // the end of a stroke does; the last sample's tangent follows from it.
    const math::Vec2 d = lastSample_.direction;
    const math::Vec2 e = sampleBefore_.direction;
    StrokeSample ahead;
    ahead.direction = d * (2.0f * d.dot(e)) - e;
    ahead.length = lastSample_.length;
    ahead.position = lastSample_.position + ahead.direction * ahead.length;
    lastSample_.tangent = normalizedOrZero(lastSample_.direction + ahead.direction);
    strokeCurve(sampleBefore_, lastSample_, ahead, in);
    openSegments_ = 0;
}

void StrokeBuilder::strokeStraight(StrokeSample& a, StrokeSample& b, const StrokeInput& in) {
    const SegmentStep step = segmentStep(brush_, baseStep(), a.pressure, b.pressure);
    std::vector<math::Vec2> positions;
    b.carry = straightPositions(a, b, step.step, positions);
    if (positions.empty()) return;
    const math::Vec2 facing = in.penActive ? b.direction : in.meanDirection;
    const std::vector<float> angles(1, static_cast<float>(directionDegrees(facing)));
    placeDabs(positions, angles, a.pressure, b.pressure, step.scatterSize, in);
}

void StrokeBuilder::strokeCurve(StrokeSample& a, StrokeSample& b, const StrokeSample& d,
                                const StrokeInput& in) {
    const SegmentStep step = segmentStep(brush_, baseStep(), a.pressure, b.pressure);
    std::vector<math::Vec2> positions;
    std::vector<float> angles;
    b.carry = curvePositions(a, b, d, step.step, positions, angles);
    if (positions.empty()) return;
    placeDabs(positions, angles, a.pressure, b.pressure, step.scatterSize, in);
}

// One angle for all positions (a straight piece) or one each (a curve).
void StrokeBuilder::placeDabs(const std::vector<math::Vec2>& positions, const std::vector<float>& angles,
                              float p0, float p1, float scatterSize, const StrokeInput& in) {
    const float dp = (p1 - p0) / static_cast<float>(positions.size() + 1);
    float pressure = p0;
    for (std::size_t i = 0; i < positions.size(); ++i) {
        pressure += dp;
        const float a = angles.size() == 1 ? angles[0] : angles[i];
        float dabAngle = a + brush_.angle;
        math::Vec2 position = positions[i];
        const double scattering = brush_.scattering;
        if (scattering > 0.001) {
            // Across the direction of travel, within +-scattering dab sizes.
            const int r = kwRand();
            const double offset = scatterSize * (r * 2.0 * scattering / 32767.0 - scattering);
            const double radians = a / math::kDegreesPerRadianExact;
            position.x = static_cast<float>(position.x + -std::sin(radians) * offset);
            position.y = static_cast<float>(position.y + std::cos(radians) * offset);
        }
        if (brush_.angle_randomness > 0.001f) {
            const int r = kwRand();
            const double j = brush_.angle_randomness;
            dabAngle = static_cast<float>(dabAngle + (r * j / 32767.0 - j * 0.5));
            if (dabAngle < 0.0f) dabAngle += 360.0f;
            if (dabAngle > 360.0f) dabAngle -= 360.0f;
        }
        addPoint(position, pressure, dabAngle, in);
    }
}

void StrokeBuilder::addPoint(math::Vec2 position, float pressure, float angle, const StrokeInput& in) {
    currentAction_->addPoint(position, pressure, angle, pointEnvironment(in), &pendingDabs_);
}

std::vector<Dab> StrokeBuilder::takeDabsToFlush() {
    std::vector<Dab> dabs;
    const bool textured = brush_.isTextured();
    // Only the stroke's first textured dab waits for a second one; after it,
    // a lone pending dab is drawn at once, as the replay draws it.
    if (pendingDabs_.size() <= (textured && firstDabPending_ ? 1u : 0u)) return dabs;
    std::size_t first = 0;
    if (textured && firstDabPending_) first = 1;  // no direction yet
    const TipFactors tip = textured ? tipFactors(brush_.tipIndex) : TipFactors{};
    for (std::size_t i = first; i < pendingDabs_.size(); ++i)
        dabs.push_back(makeDab(pendingDabs_[i], brush_, tip));
    pendingDabs_.clear();
    firstDabPending_ = false;
    strokeDirty_ = true;
    return dabs;
}

bool StrokeBuilder::compositeDue(bool replayPending, int32_t activeMode) const {
    return (strokeDirty_ || replayPending) && (activeMode == kBrushModeErase || strokeEnded_);
}

void StrokeBuilder::frameDone(bool composited) {
    if (composited) {
        strokeEnded_ = false;
        strokeDirty_ = false;
    } else if (strokeEnded_ && !strokeDirty_) {
        strokeEnded_ = false;
    }
}

void StrokeBuilder::resetWindow(math::Vec2 position, float pressure) {
    StrokeSample s;
    s.position = position;
    s.pressure = pressure;
    lastSample_ = sampleBefore_ = s;
    openSegments_ = 0;
}

} // namespace brush
