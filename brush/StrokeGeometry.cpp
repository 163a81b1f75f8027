#include "brush/StrokeGeometry.h"

#include <algorithm>
#include <cmath>

#include "brush/Brush.h"

namespace brush {

SegmentStep segmentStep(const Brush& brush, float baseStep, float pressureA, float pressureB) {
    const float p = (pressureA + pressureB) * 0.5f;
    SegmentStep s;
    s.scatterSize = static_cast<float>(brush.size);
    if (brush.SizeFollowsPressure) {
        baseStep *= p;
        s.scatterSize *= p;
    }
    s.step = std::max(0.5f, baseStep * brush.spacing);
    return s;
}

float straightPositions(const StrokeSample& a, const StrokeSample& b, float step,
                        std::vector<math::Vec2>& positions) {
    float d = a.carry;
    math::Vec2 pos = a.position + b.direction * d;
    const math::Vec2 advance = b.direction * step;
    while (d < b.length) {
        positions.push_back(pos);
        pos += advance;
        d += step;
    }
    return d - b.length;
}

float walkCubic(math::Vec2 p0, math::Vec2 p1, math::Vec2 p2, math::Vec2 p3, float chord, float start,
                float step, std::vector<math::Vec2>& positions, std::vector<float>& anglesDegrees) {
    // Power form: position(t) = k3 t^3 + k2 t^2 + k1 t + p0.
    const math::Vec2 k1 = (p1 - p0) * 3.0f;
    const math::Vec2 k2 = (p2 - p1) * 3.0f - k1;
    const math::Vec2 k3 = p3 - p0 - k1 - k2;
    float t = start / chord;
    const float dt = step / chord;
    float d = start;
    while (t <= 1.0f) {
        const float t2 = t * t;
        const float t3 = t2 * t;
        positions.push_back(k3 * t3 + k2 * t2 + k1 * t + p0);
        const math::Vec2 derivative = k3 * (3.0f * t2) + k2 * (2.0f * t) + k1;
        anglesDegrees.push_back(static_cast<float>(directionDegrees(derivative)));
        t += dt;
        d += step;
    }
    return d;
}

float curvePositions(const StrokeSample& a, const StrokeSample& b, const StrokeSample& d, float step,
                     std::vector<math::Vec2>& positions, std::vector<float>& anglesDegrees) {
    const float chord = b.length;
    const float s = a.length + d.length;
    // A long neighbour on one side gives that end the longer handle.
    const float h0 = 0.85f * chord * a.length / s;
    const float h1 = 0.85f * chord * d.length / s;
    const math::Vec2 p0 = a.position;
    const math::Vec2 p1 = p0 + a.tangent * h0;
    const math::Vec2 p2 = b.position - b.tangent * h1;
    const math::Vec2 p3 = b.position;
    const float reached = walkCubic(p0, p1, p2, p3, chord, a.carry, step, positions, anglesDegrees);
    return reached - chord;
}

double directionDegrees(math::Vec2 direction) {
    return std::atan2(static_cast<double>(direction.y), static_cast<double>(direction.x)) *
           math::kDegreesPerRadianExact;
}

math::Vec2 normalizedOrZero(math::Vec2 v) {
    const float len = v.length();
    if (len == 0.0f) return {};
    return v / len;
}

} // namespace brush
