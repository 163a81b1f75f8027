#pragma once
// Replaying a drawing process from a blank canvas of its initial size: what
// the Player does one step per tick, what the video export does one step per
// frame, and what `--render --replay` does all at once. GL thread.
#include <cstddef>
#include <functional>

class History;
class HistoryAction;

// The blank start: one transparent layer of the history's initial size.
void beginReplay(History& history);

// Executes the action at `position` and, while they do not count as steps,
// the ones after it; returns the position after the last one executed.
std::size_t replayStep(History& history, std::size_t position);

// The whole list: beginReplay, then every step, calling afterStep (may be
// empty) with the position reached and the last action executed. Ends with
// both snapshots holding the end picture and nothing to undo.
void replayProcess(History& history,
                   const std::function<void(std::size_t position, const HistoryAction& action)>& afterStep = {});
