#pragma once
// The linear gradient worked out on the CPU for the tests: the colour at a
// pixel centre's place along the ramp, stops interpolated premultiplied,
// stored as bytes, then laid premultiplied over a layer.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "canvas/BlendReference.h"
#include "core/Math.h"

namespace gradtest {

using Bytes = std::vector<uint8_t>;
using Color = std::array<float, 4>;

struct Ramp {
    math::Vec2 start, end;
    std::vector<Color> colors;    // straight RGBA
    std::vector<float> positions; // increasing
};

// The ramp's premultiplied colour at the centre of pixel (x, y): its place s
// along the ramp (0 at start, 1 at end), the first colour before the first
// stop, the last after the last, linear in between.
inline blendref::Rgba rampAt(const Ramp& r, int x, int y) {
    const float vx = r.end.x - r.start.x, vy = r.end.y - r.start.y;
    const float len2 = vx * vx + vy * vy;
    const float s = ((x + 0.5f - r.start.x) * vx + (y + 0.5f - r.start.y) * vy) / len2;
    auto pre = [](const Color& c) { return blendref::Rgba{c[0] * c[3], c[1] * c[3], c[2] * c[3], c[3]}; };
    if (s <= r.positions.front()) return pre(r.colors.front());
    if (s >= r.positions.back()) return pre(r.colors.back());
    std::size_t i = 0;
    while (s > r.positions[i + 1]) ++i;
    const float t = (s - r.positions[i]) / (r.positions[i + 1] - r.positions[i]);
    const blendref::Rgba a = pre(r.colors[i]), b = pre(r.colors[i + 1]);
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t, a.a + (b.a - a.a) * t};
}

// The strip as an 8-bit surface of width x height stores it, rows bottom-up.
inline Bytes expectedStrip(const Ramp& r, int width, int height) {
    Bytes out(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const blendref::Rgba c = rampAt(r, x, y);
            uint8_t* p = &out[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) * 4];
            p[0] = blendref::toByte(c.r), p[1] = blendref::toByte(c.g), p[2] = blendref::toByte(c.b);
            p[3] = blendref::toByte(c.a);
        }
    return out;
}

// The stored strip premultiplied over the layer.
inline Bytes expectedMerge(const Bytes& strip, const Bytes& layer) {
    Bytes out(layer.size());
    for (std::size_t i = 0; i < out.size(); i += 4) {
        const blendref::Rgba c =
            blendref::premultipliedOver(blendref::fromBytes(&strip[i]), blendref::fromBytes(&layer[i]));
        out[i] = blendref::toByte(c.r), out[i + 1] = blendref::toByte(c.g);
        out[i + 2] = blendref::toByte(c.b), out[i + 3] = blendref::toByte(c.a);
    }
    return out;
}

inline int largestDifference(const Bytes& a, const Bytes& b) {
    int worst = 0;
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) worst = std::max(worst, std::abs(a[i] - b[i]));
    return a.size() == b.size() ? worst : 999;
}

} // namespace gradtest
