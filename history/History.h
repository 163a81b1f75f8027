#pragma once
// The list of actions: undo history, drawing process and the Player's
// script at once. The History owns every action from the moment it is added.
//
// This is the bookkeeping part only: add() and the counters. Snapshots,
// undo, redo and the rebuild come with the canvas side; add() reaches them
// through the hooks below so its order of work is already the final one.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "history/HistoryAction.h"

class History {
public:
    static constexpr int32_t kMaxUndoDepth = 30;

    // Appends the action without executing it. A step may first take a
    // snapshot (through takeSnapshotHook) that does not count the action.
    // Unless keepRedo, the redo list is deleted.
    void add(std::unique_ptr<HistoryAction> action, bool keepRedo);

    const std::vector<std::unique_ptr<HistoryAction>>& actions() const { return actions_; }
    HistoryAction* lastAction() { return actions_.empty() ? nullptr : actions_.back().get(); }
    std::size_t actionCount() const { return actions_.size(); }
    // Appends directly, as a process load does: no step, no snapshot.
    void appendLoaded(std::unique_ptr<HistoryAction> action) { actions_.push_back(std::move(action)); }

    // Deletes all actions; counters and the active slot go to 0. The redo
    // list stays.
    void clear();

    bool replayPending = false;
    int32_t initialWidth = 0, initialHeight = 0;
    int32_t stepsSinceSnapshot = 0;
    int32_t undoDepth = 0;
    int16_t activeSnapshot = 0;
    int32_t baseCount = 0;
    std::vector<std::unique_ptr<HistoryAction>> redoList;
    std::vector<std::unique_ptr<HistoryAction>> queuedActions;

    // Set by the owner of the layers: counts the modification and marks the
    // changed layers (all, or only the current one).
    std::function<void(bool affectsAllLayers)> onStepAdded;
    // Set by the owner of the snapshots: takeSnapshot(force).
    std::function<void(bool force)> takeSnapshotHook;

private:
    std::vector<std::unique_ptr<HistoryAction>> actions_;
};
