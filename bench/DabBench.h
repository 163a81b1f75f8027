#pragma once
#include <utility>
#include <vector>

namespace bench {
// Dabs per second into the stroke buffer, for round and textured tips at the
// given sizes, with and without jitter, and libmypaint on the same dabs.
void runDabBenchmarks(const std::vector<int>& sizes);
// continueStroke to dabs in the buffer, per frame, for a fast 64 px stroke.
void runStrokeLatency();
// The merge of stroke buffer and layer at the end of a stroke.
void runCompositeTimes(const std::vector<std::pair<int, int>>& sizes);
} // namespace bench
