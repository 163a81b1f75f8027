#include "history/ReplayStepper.h"

#include "history/History.h"

ReplayStepResult ReplayStepper::step() {
    ReplayStepResult result;
    while (position_ < count()) {
        HistoryAction& action = *actions_[static_cast<std::size_t>(position_)];
        action.execute();
        ++position_;
        ++result.executed;
        const int type = action.type();
        if (type == kImageCropActionType || type == kImageResizeActionType) result.canvasResized = true;
        if (action.countsAsStep()) break;
    }
    return result;
}

int32_t replayAllFromBlank(History& history, const std::function<void()>& onCanvasResized) {
    history.resetToBlank();
    ReplayStepper stepper(history.actions());
    int32_t executed = 0;
    while (!stepper.atEnd()) {
        const ReplayStepResult r = stepper.step();
        executed += r.executed;
        if (r.canvasResized && onCanvasResized) onCanvasResized();
    }
    return executed;
}
