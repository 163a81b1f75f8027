#pragma once
// The geometry of a linear gradient, without GL: one triangle strip whose
// vertex colours, interpolated by the rasteriser, give the ramp. Pairs of
// vertices stand across the ramp's direction, half a canvas diagonal each way
// from its axis, so the strip covers the canvas at any angle; before the
// first stop the first colour holds, after the last one the last colour.
#include <array>
#include <span>
#include <vector>

#include "core/Math.h"

namespace gradient {

using Color = std::array<float, 4>; // straight r, g, b, a

struct StripVertex {
    math::Vec2 position;  // canvas pixels
    Color color;          // premultiplied by its alpha
};

// The strip for a ramp from `start` to `end` (canvas pixels) through the
// stops (colour and position 0..1 along the ramp; the shorter list counts)
// on a canvas of width x height. Draw it as GL_TRIANGLE_STRIP. No stops: no
// vertices. start == end: every vertex of a pair coincides, so nothing is
// covered.
std::vector<StripVertex> rampStrip(math::Vec2 start, math::Vec2 end, std::span<const Color> colors,
                                   std::span<const float> positions, int width, int height);

// Colour r, g, b premultiplied by a.
Color premultiplied(const Color& straight);

} // namespace gradient
