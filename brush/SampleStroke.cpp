#include "brush/SampleStroke.h"

#include <algorithm>
#include <cmath>

#include "brush/Brush.h"
#include "brush/StrokeGeometry.h"
#include "core/Math.h"
#include "platform/Random.h"

namespace brush {

namespace {

// r * width / 32767 - width / 2: a value spread evenly over the width.
double spread(int r, double width) { return r * width / 32767.0 - width * 0.5; }

struct Half {
    math::Vec2 from, to;
    math::Vec2 fromTangent, toTangent;  // unit vectors
};

// One dab of the sample: the seven numbers first, then what the brush makes of them.
void addSampleDab(const Brush& brush, math::Vec2 position, float travelDegrees, float pressure,
                  std::vector<BrushStrokePoint>& out) {
    const int rSize = kwRand(), rOpacity = kwRand(), rScatter = kwRand(), rAngle = kwRand();
    const int rHue = kwRand(), rSaturation = kwRand(), rValue = kwRand();

    float sizeFactor = brush.SizeFollowsPressure ? pressure : 1.0f;
    float flowFactor = brush.FlowFollowsPressure ? pressure : 1.0f;
    if (brush.size_jitter > 0.001f)
        sizeFactor = static_cast<float>(sizeFactor * (1.0 - (rSize * brush.size_jitter / 32767.0) / 100.0));
    if (brush.opacity_jitter > 0.001f)
        flowFactor = static_cast<float>(flowFactor * (1.0 - (rOpacity * brush.opacity_jitter / 32767.0) / 100.0));

    const double scattering = brush.scattering;
    if (scattering > 0.001) {
        // Across the direction of travel, by the size this dab ends up with.
        const double scatterSize = static_cast<double>(brush.size) * sizeFactor;
        const double offset = scatterSize * (rScatter * 2.0 * scattering / 32767.0 - scattering);
        const double radians = travelDegrees / math::kDegreesPerRadianExact;
        position.x = static_cast<float>(position.x + -std::sin(radians) * offset);
        position.y = static_cast<float>(position.y + std::cos(radians) * offset);
    }
    float angle = travelDegrees + brush.angle;
    if (brush.angle_randomness > 0.001f) {
        angle = static_cast<float>(angle + spread(rAngle, brush.angle_randomness));
        if (angle < 0.0f) angle += 360.0f;
        if (angle > 360.0f) angle -= 360.0f;
    }
    BrushStrokePoint point(position, sizeFactor, flowFactor, false, angle);
    if (brush.hasFlag(kBrushFlagColorDynamics)) {
        Hsv c = kSampleStrokeColor;
        c.h = static_cast<float>(c.h + spread(rHue, brush.colorJitterH));
        if (c.h < 0.0f) c.h += 360.0f;
        if (c.h > 360.0f) c.h -= 360.0f;
        c.s = std::clamp(static_cast<float>(c.s + spread(rSaturation, brush.colorJitterS)), 0.0f, 1.0f);
        c.v = std::clamp(static_cast<float>(c.v + spread(rValue, brush.colorJitterV)), 0.0f, 1.0f);
        point = point.withColor(hsvToRgb(c));
    }
    out.push_back(point);
}

} // namespace

std::vector<BrushStrokePoint> sampleStrokePoints(const Brush& brush, float width, float height, TipFactors tip) {
    std::vector<BrushStrokePoint> points;
    if (width <= 0.0f || height <= 0.0f) return points;
    float base = static_cast<float>(brush.size);
    if (brush.isTextured()) base *= tip.widthFactor;
    const float step = std::max(0.5f, base * brush.spacing);

    const float margin = width / 8.0f;
    const math::Vec2 start{margin, height * 0.5f}, middle{width * 0.5f, height * 0.5f},
        end{width - margin, height * 0.5f};
    const float chord = middle.x - start.x;
    if (chord <= 0.0f) return points;
    // Handles as a curve of three equal samples gets them (0.85 x chord / 2),
    // leaning so that the wave rises and falls by about a quarter of the height.
    const float handle = 0.425f * chord;
    const float lean = std::min(0.9f, height / (3.0f * handle));
    const math::Vec2 up{std::sqrt(1.0f - lean * lean), lean}, down{up.x, -lean};
    const Half halves[2] = {{start, middle, up, down}, {middle, end, down, up}};

    float carry = 0.0f;
    for (const Half& h : halves) {
        kwSrand(0);
        std::vector<math::Vec2> positions;
        std::vector<float> angles;
        const math::Vec2 p1 = h.from + h.fromTangent * handle;
        const math::Vec2 p2 = h.to - h.toTangent * handle;
        carry = walkCubic(h.from, p1, p2, h.to, chord, carry, step, positions, angles) - chord;
        const std::size_t n = positions.size();
        for (std::size_t i = 0; i < n; ++i) {
            float pressure = 2.0f * static_cast<float>(i + 1) / static_cast<float>(n);
            if (pressure > 1.0f) pressure = 2.0f - pressure;
            addSampleDab(brush, positions[i], angles[i], pressure, points);
        }
    }
    return points;
}

} // namespace brush
