#include "core/GradientRamp.h"

#include <algorithm>
#include <cmath>

namespace gradient {

Color premultiplied(const Color& c) { return {c[0] * c[3], c[1] * c[3], c[2] * c[3], c[3]}; }

std::vector<StripVertex> rampStrip(math::Vec2 start, math::Vec2 end, std::span<const Color> colors,
                                   std::span<const float> positions, int width, int height) {
    std::vector<StripVertex> strip;
    const std::size_t count = std::min(colors.size(), positions.size());
    if (count == 0) return strip;
    const float w = static_cast<float>(width), h = static_cast<float>(height);
    const float halfDiagonal = std::sqrt(w * w + h * h) / 2.0f;
    const math::Vec2 v = end - start;
    const float length = v.length();
    // A ramp of no length has no direction: the zero vector makes every pair
    // collapse onto one point.
    const math::Vec2 n = length < 2.2e-16f ? v : v / length;
    const math::Vec2 centre{w / 2.0f, h / 2.0f};
    // start's and end's coordinates on the axis through the centre along n.
    const float k = (start - centre).dot(n);
    const float e = k + length;
    const math::Vec2 across = math::Vec2{n.y, -n.x} * halfDiagonal;
    const math::Vec2 level = centre + n * k;  // the axis point level with start
    auto pair = [&](math::Vec2 q, const Color& straight) {
        const Color c = premultiplied(straight);
        strip.push_back({q - across, c});
        strip.push_back({q + across, c});
    };
    strip.reserve(2 * count + 4);
    // Before start the first colour holds, out to the far side of the
    // diagonal's circle, unless start already lies beyond it.
    if (k > -halfDiagonal) pair(centre - n * halfDiagonal, colors[0]);
    for (std::size_t i = 0; i < count; ++i) pair(level + v * positions[i], colors[i]);
    if (halfDiagonal > e) pair(centre + n * halfDiagonal, colors[count - 1]);
    return strip;
}

} // namespace gradient
