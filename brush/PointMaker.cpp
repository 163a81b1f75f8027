#include "brush/PointMaker.h"

#include <algorithm>
#include <cmath>

#include "brush/Brush.h"
#include "brush/StrokePoint.h"
#include "core/Math.h"
#include "platform/Random.h"

namespace brush {

namespace {

// r * width / 32767 - width / 2: a value spread evenly over the width.
double spread(int r, double width) { return r * width / 32767.0 - width * 0.5; }

} // namespace

PointJitter drawPointJitter(const Brush& brush, float pressure, const Hsv& current) {
    PointJitter j;
    j.sizeFactor = brush.SizeFollowsPressure ? pressure : 1.0f;
    j.flowFactor = brush.FlowFollowsPressure ? pressure : 1.0f;
    // Jitter only ever lowers a factor.
    if (brush.size_jitter > 0.001f) {
        const int r = kwRand();
        j.sizeFactor = static_cast<float>(j.sizeFactor * (1.0 - (r * brush.size_jitter / 32767.0) / 100.0));
    }
    if (brush.opacity_jitter > 0.001f) {
        const int r = kwRand();
        j.flowFactor =
            static_cast<float>(j.flowFactor * (1.0 - (r * brush.opacity_jitter / 32767.0) / 100.0));
    }
    if (brush.hasFlag(kBrushFlagColorDynamics)) {
        Hsv c = current;
        const int rh = kwRand();
        c.h = static_cast<float>(c.h + spread(rh, brush.colorJitterH));
        if (c.h < 0.0f) c.h += 360.0f;
        if (c.h > 360.0f) c.h -= 360.0f;
        const int rs = kwRand();
        c.s = std::clamp(static_cast<float>(c.s + spread(rs, brush.colorJitterS)), 0.0f, 1.0f);
        const int rv = kwRand();
        c.v = std::clamp(static_cast<float>(c.v + spread(rv, brush.colorJitterV)), 0.0f, 1.0f);
        j.hasColor = true;
        j.color = hsvToRgb(c);
    }
    return j;
}

void mirrorCopies(const BrushStrokePoint& source, const MirrorSettings& mirror,
                  std::vector<BrushStrokePoint>& out) {
    const float dx = source.x - mirror.origin.x;
    const float dy = source.y - mirror.origin.y;
    if (dx == 0.0f && dy == 0.0f) return;  // no angle: no point at all
    const int32_t n = std::max<int32_t>(1, mirror.repetitions);
    const float radius = std::sqrt(dx * dx + dy * dy);
    const float stepAngle = 6.2831855f / static_cast<float>(n);
    const double stepDegrees = stepAngle * math::kDegreesPerRadianExact;
    const float a0 = std::atan2(dy, dx);
    for (int32_t k = 1; k <= n; ++k) {
        BrushStrokePoint p = source;
        const float a = a0 + static_cast<float>(k) * stepAngle;
        p.x = mirror.origin.x + radius * std::cos(a);
        p.y = mirror.origin.y + radius * std::sin(a);
        p.angle = static_cast<float>(source.angle + k * stepDegrees);
        p.mirrored = false;
        out.push_back(p);
    }
    if (!mirror.mirrored) return;
    for (int32_t k = 0; k < n; ++k) {
        BrushStrokePoint p = source;
        const float a = a0 + static_cast<float>(k) * stepAngle;
        p.x = mirror.origin.x - radius * std::cos(a);
        p.y = mirror.origin.y + radius * std::sin(a);
        p.angle = static_cast<float>(-(source.angle + k * stepDegrees));
        p.mirrored = true;
        out.push_back(p);
    }
}

void makeStrokePoints(const Brush& brush, math::Vec2 position, float pressure, float angle,
                      const PointEnvironment& env,
                      std::vector<BrushStrokePoint>& out) {
    const PointJitter j = drawPointJitter(brush, pressure, env.colorHsv);
    BrushStrokePoint plain(position, j.sizeFactor, j.flowFactor, false, angle);
    const BrushStrokePoint point = j.hasColor ? plain.withColor(j.color) : plain;
    if (env.mirror.active) {
        mirrorCopies(point, env.mirror, out);  // the copies replace the point
        return;
    }
    out.push_back(point);
}

} // namespace brush
