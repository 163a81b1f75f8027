#include "history/History.h"

#include <algorithm>

void History::add(std::unique_ptr<HistoryAction> action, bool keepRedo) {
    if (!action) return;
    if (action->countsAsStep()) {
        if (onStepAdded) onStepAdded(action->affectsAllLayers());
        if (!keepRedo) redoList.clear();
        undoDepth = std::min(undoDepth + 1, kMaxUndoDepth);
        // The snapshot comes before the append: it holds the picture
        // without the new action, and stepsSinceSnapshot restarts at 0.
        if (++stepsSinceSnapshot > kMaxUndoDepth) {
            stepsSinceSnapshot = 0;
            if (takeSnapshotHook) takeSnapshotHook(false);
        }
    }
    actions_.push_back(std::move(action));
}

void History::clear() {
    actions_.clear();
    baseCount = 0;
    stepsSinceSnapshot = 0;
    undoDepth = 0;
    activeSnapshot = 0;
}
