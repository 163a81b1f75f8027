#pragma once
// How tangled a closed outline is. The tessellator's time grows steeply with
// the crossings of an outline (a thousand random points take seconds), so an
// outline from a file that crosses itself more than any hand-drawn lasso does
// is refused before it gets there. GL-free.
#include <cstdint>
#include <vector>

#include "core/Math.h"

namespace outline {

// More crossings than this, and the outline selects nothing.
inline constexpr int kMaxCrossings = 2000;
// Pairs of edges compared at most (about a tenth of a second): an outline
// whose edges overlap so much that the count would take longer is refused too.
inline constexpr int64_t kMaxPairTests = 50'000'000;

struct CrossingCount {
    int crossings = 0;   // proper crossings of non-neighbouring edges found
    bool stopped = false; // the count stopped at a limit: too tangled
};

// Counts the crossings between the edges of the closed outline (the last
// point joins the first), stopping once `maxCrossings` is passed or
// `maxPairTests` pairs of edges were compared. Neighbouring edges, which meet
// at their shared point, do not count; nor do touching or overlapping edges.
// Points that are not finite numbers are left out, as the tessellator does.
CrossingCount countCrossings(const std::vector<math::Vec2>& points, int maxCrossings = kMaxCrossings,
                             int64_t maxPairTests = kMaxPairTests);

// True when the outline is too tangled to tessellate.
bool tooTangled(const std::vector<math::Vec2>& points);

} // namespace outline
