#pragma once
namespace bench {
// The slowest of 30 undos (each restores a snapshot and executes the later
// actions again) and the time of a forced snapshot.
void runUndoBenchmark(int side, int layerCount);
} // namespace bench
