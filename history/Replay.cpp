#include "history/Replay.h"

#include "history/History.h"
#include "history/ReplayStepper.h"

// One execution path for every replay: the on-screen player, the video
// export and `--render --replay` all step through ReplayStepper.

void beginReplay(History& history) { history.resetToBlank(); }

std::size_t replayStep(History& history, std::size_t position) {
    ReplayStepper stepper(history.actions(), static_cast<int32_t>(position));
    stepper.step();
    return static_cast<std::size_t>(stepper.position());
}

void replayProcess(History& history,
                   const std::function<void(std::size_t position, const HistoryAction& action)>& afterStep) {
    beginReplay(history);
    ReplayStepper stepper(history.actions());
    while (!stepper.atEnd()) {
        stepper.step();
        const std::size_t position = static_cast<std::size_t>(stepper.position());
        if (afterStep) afterStep(position, *history.actions()[position - 1]);
    }
    history.settleAfterLoad();
}
