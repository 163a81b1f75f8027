#pragma once
// The arithmetic of a stroke in progress: step length, dab positions along a
// straight piece or a cubic curve. Canvas pixels; angles in degrees.
#include <vector>

#include "core/Math.h"

struct Brush;

namespace brush {

// One input sample in the window of the stroke in progress; never stored.
struct StrokeSample {
    math::Vec2 position;
    math::Vec2 direction;  // unit vector from the sample before
    math::Vec2 tangent;    // unit sum of this and the next direction; zero until then
    float length = 0.0f;   // distance from the sample before
    float pressure = 1.0f;
    float carry = 0.0f;    // how far past this sample the next dab falls
    bool sharpTurn = false;
};

struct SegmentStep {
    float step = 0.5f;         // distance between dabs, at least half a pixel
    float scatterSize = 0.0f;  // unit of the scatter offset
};
// baseStep is the brush size, times the tip's width factor when textured.
SegmentStep segmentStep(const Brush& brush, float baseStep, float pressureA, float pressureB);

// Dab positions from A to B along B's direction, starting at A.carry; the
// comparison is strict, so a dab exactly at B waits for the next piece.
// Returns the carry for B.
float straightPositions(const StrokeSample& a, const StrokeSample& b, float step,
                        std::vector<math::Vec2>& positions);

// The cubic A -> B with A.tangent and B.tangent as the end directions and
// handle lengths weighted by the neighbours' lengths (D is the sample after
// B). Walked by parameter in steps of step / chord. Returns the carry for B.
float curvePositions(const StrokeSample& a, const StrokeSample& b, const StrokeSample& d, float step,
                     std::vector<math::Vec2>& positions, std::vector<float>& anglesDegrees);

// The cubic P0..P3 walked from distance `start` by `step`, with chord the
// length the parameter is measured against; returns the distance reached.
float walkCubic(math::Vec2 p0, math::Vec2 p1, math::Vec2 p2, math::Vec2 p3, float chord, float start,
                float step, std::vector<math::Vec2>& positions, std::vector<float>& anglesDegrees);

// atan2(y, x) in degrees, as a double.
double directionDegrees(math::Vec2 direction);
// Unit vector, or zero for a zero vector.
math::Vec2 normalizedOrZero(math::Vec2 v);

} // namespace brush
