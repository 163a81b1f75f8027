#pragma once
// Executes an action list one step at a time on the live canvas: the shared
// core of the on-screen replay (Player) and of batch replays without a
// window. No GL of its own, no widgets: each action's execute() does the work
// on whatever canvas it was made for.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "history/HistoryAction.h"

class History;

// Type codes of the actions that change the canvas size: the view has to be
// fitted anew after them.
inline constexpr int kImageCropActionType = 15;
inline constexpr int kImageResizeActionType = 19;

struct ReplayStepResult {
    int32_t executed = 0;       // actions executed by this step
    bool canvasResized = false; // a crop or resize was among them
};

class ReplayStepper {
public:
    using ActionList = std::vector<std::unique_ptr<HistoryAction>>;

    // The list is not owned and must outlive the stepper; its length is read
    // at each call, so actions appended meanwhile are played too.
    explicit ReplayStepper(const ActionList& actions, int32_t position = 0)
        : actions_(actions), position_(position) {}

    // Executes the action at the position, then the following ones as long
    // as the one just done does not count as a step. Nothing at the end.
    ReplayStepResult step();
    bool atEnd() const { return position_ >= count(); }
    int32_t position() const { return position_; }
    int32_t count() const { return static_cast<int32_t>(actions_.size()); }

private:
    const ActionList& actions_;
    int32_t position_ = 0;
};

// The whole list of the history from a blank canvas (resetToBlank), in the
// steps the Player takes; onCanvasResized runs after each crop or resize.
// Leaves the snapshots and counters alone. Returns the actions executed.
int32_t replayAllFromBlank(History& history, const std::function<void()>& onCanvasResized = {});
