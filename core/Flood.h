#pragma once
// The bucket fill's search, on a copy of the pixels in memory: no GL.
// Pixels are premultiplied RGBA bytes, index y * width + x. The region is
// everything connected to the seed whose every channel lies within the
// tolerance of the seed's own colour (never of the neighbour it came from,
// so the region cannot creep along a slow ramp).
//
// Plain: four neighbours (up, down, left, right), the region takes the fill
// colour, its edge is hard.
// Lineart: eight neighbours, so the region crosses a one-pixel diagonal
// line; the pixels that touch the region and failed the test (its rim) are
// taken in too and recoloured in proportion between the line colour and the
// fill, so that the fill meets an anti-aliased line without a halo.
#include <array>
#include <cstdint>
#include <vector>

#include "brush/ColorSpace.h"

namespace flood {

struct Params {
    int32_t seedX = 0, seedY = 0;
    std::array<int32_t, 4> fill{}; // 0..255, already scaled by the opacity
    float tolerance = 0.1f;
    bool lineart = false;
};

// A box that holds every pixel a fill wrote, and perhaps the rim around
// them (one pixel more each way); empty when nothing was written.
struct Bounds {
    int32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0; // x1, y1 one past the last
    bool empty() const { return x1 <= x0 || y1 <= y0; }
};

// Working memory that a caller may keep between fills: one byte a pixel and
// the stack of pixels still to visit (grown by doubling, never per pixel).
struct Workspace {
    std::vector<uint8_t> mask;   // 0 untouched, 1 region, 2 rim, 3 fails but not reached
    std::vector<int32_t> stack;
};

// The fill colour of a tool: each of R, G, B is int(colour * 255 * opacity),
// A is int(opacity * 255); truncated, so an opacity of 0.5 gives alpha 127.
std::array<int32_t, 4> fillColour(const brush::Rgb& colour, float opacity);

// Searches `source` (width * height * 4 bytes) from the seed and writes the
// image to merge into `result` (the same size; zeroed here first). A seed
// off the image writes nothing. Returns the box of the written pixels.
Bounds fill(const uint8_t* source, int32_t width, int32_t height, const Params& params, uint8_t* result,
            Workspace& work);

} // namespace flood
