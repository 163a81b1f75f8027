#pragma once
namespace bench {
// The video export of a process of `actions` actions at 720p (AVI, MPEG-4)
// against the physical baseline: the same number of raw 720p frames
// through the same writer and encoder settings, without the replay.
void runVideoExport(int actions);
} // namespace bench
