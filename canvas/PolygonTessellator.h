#pragma once
// A closed outline into triangles, through GLU's tessellator with the odd
// winding rule: a figure-eight selects both lobes, a loop inside a loop leaves
// the inner part out. GLU tessellates on the CPU and needs no GL context.
#include <vector>

#include "core/Math.h"

// Three points a triangle, in no particular orientation. Fewer than three
// points, or an outline GLU rejects, give what GLU produced (often nothing).
// Points that are not finite numbers are left out. An outline that crosses
// itself more than outline::kMaxCrossings times gives nothing (a file could
// otherwise keep the tessellator busy for minutes).
std::vector<math::Vec2> tessellatePolygon(const std::vector<math::Vec2>& outline);
