#pragma once
namespace bench {
// Replay speed of `--render --replay` on a generated process of `actions`
// mixed actions at side x side, then save and load of that process;
// without `replay` only the save and load.
void runReplayAndProcessFiles(int side, int actions, bool replay = true);
// Save and load of a layered file of `layers` layers at side x side.
void runLayeredFile(int side, int layers);
} // namespace bench
