#pragma once
// The lines of the perspective grid, worked out without GL: fans from the
// vanishing points, families of foreshortened parallels. All points are in
// centred canvas coordinates (canvas position minus half the canvas size), the
// space in which the grid is drawn through the camera.
#include <array>
#include <cstdint>
#include <vector>

#include "core/Math.h"

namespace perspective {

// What the grid depends on. zoom: window pixels per canvas pixel.
struct GridInput {
    float width = 0, height = 0; // canvas size, W and H
    float zoom = 1;
    int steps = 10;
    std::array<math::Vec2, 3> vp{};
    uint8_t vpFlags = 1;       // bit i: vanishing point i is shown
    uint8_t parallelFlags = 0; // bit k: canvas side k (top, right, bottom, left) gets parallels
};

// One line; `alphaA`, `alphaB` multiply the grid opacity at each end.
struct GridLine {
    math::Vec2 a, b;
    float alphaA = 1, alphaB = 1;
};

// The fan's colour of each point, and of the parallels by the axis they move along.
inline constexpr float kFanColors[3][3] = {{0, 0, 0.4f}, {0.4f, 0, 0}, {0, 0.4f, 0}};
inline constexpr float kParallelYColor[3] = {0.4f, 0, 0};
inline constexpr float kParallelXColor[3] = {0, 0.4f, 0};

// Half the canvas height in window pixels, truncated.
int halfHeightPixels(const GridInput& in);
// The smallest spacing of fan rays along a side, in window pixels: Hp / 50, at least 5.
int minimumStep(const GridInput& in);

// The fan of point i over the top and bottom edges (empty when the point is
// hidden). Every line starts at the point with alpha 0 and ends at alpha 1:
// the rays fade towards the point. Each edge that has the point on its canvas
// side is split in `steps` even parts; beyond the corners the rays go on along
// the sides with the same spacing on the extended edge until they crowd to
// within the minimum step, after which they go on evenly.
std::vector<GridLine> fanLines(const GridInput& in, int i);

// The family of lines parallel to canvas side k (0 top, 1 right, 2 bottom,
// 3 left), moving towards vp[0] at equal steps in depth, seen from the camera
// distance of a 90 degree view (H/2). Empty unless bit k of parallelFlags is set
// and the point that would give these lines otherwise is hidden (the second
// horizontal point for top and bottom, the vertical point for the sides); all
// parallels are left out when both of those points are shown. Lines fade with
// depth (alphaA == alphaB).
std::vector<GridLine> parallelLines(const GridInput& in, int k);

// Whether side k's lines move along x (the sides left and right) rather than y.
inline bool sideMovesAlongX(int k) { return k == 1 || k == 3; }

} // namespace perspective
