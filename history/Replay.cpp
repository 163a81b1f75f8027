#include "history/Replay.h"

#include "history/History.h"

void beginReplay(History& history) { history.resetToBlank(); }

std::size_t replayStep(History& history, std::size_t position) {
    const auto& actions = history.actions();
    while (position < actions.size()) {
        HistoryAction& action = *actions[position];
        action.execute();
        ++position;
        if (action.countsAsStep()) break;
    }
    return position;
}

void replayProcess(History& history,
                   const std::function<void(std::size_t position, const HistoryAction& action)>& afterStep) {
    beginReplay(history);
    std::size_t position = 0;
    while (position < history.actionCount()) {
        position = replayStep(history, position);
        if (afterStep) afterStep(position, *history.actions()[position - 1]);
    }
    history.settleAfterLoad();
}
