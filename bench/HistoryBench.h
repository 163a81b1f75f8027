#pragma once
namespace bench {
// The slowest undo (it falls back to the older snapshot and executes the
// later actions again) and the time of a forced snapshot.
void runUndoBenchmark(int side, int layerCount);
} // namespace bench
