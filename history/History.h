#pragma once
// The list of actions: undo history, drawing process and the Player's
// script at once. The History owns every action from the moment it is added.
//
// Undo never reverses pixels: it restores one of two snapshots of all
// layers and executes the later actions again, inside the next frame
// (replayIfPending). Snapshots lie 31 actions apart and undo reaches back at
// most 30 steps, so a rebuild executes at most 31 actions and pixel memory
// stays at two slots however long the process grows.
//
// Without a canvas (or before the canvas has surfaces) only the bookkeeping
// runs: counters, lists and snapshot indices, no pixels. Main thread only.
#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "history/HistoryAction.h"
#include "history/HistorySnapshot.h"

class Canvas;
class MultiLayeredImage;

class History {
public:
    static constexpr int32_t kMaxUndoDepth = 30;

    History(Canvas* canvas, MultiLayeredImage& layers) : canvas_(canvas), layers_(layers) {}
    History(const History&) = delete;
    History& operator=(const History&) = delete;

    // Appends the action without executing it; the caller executes it next.
    // A step may first take a snapshot, which then does not hold the action.
    // Unless keepRedo, the redo list is deleted.
    void add(std::unique_ptr<HistoryAction> action, bool keepRedo);
    // One step back: moves the last action to the redo list and sets
    // replayPending. False when nothing may be undone.
    bool undo();
    // Adds the last undone action again (keeping the rest of the redo list)
    // and executes it. False when the redo list is empty.
    bool redo();
    // The frame's rebuild after an undo: restore the active snapshot,
    // execute the actions after it, keep the canvas's pictureMirrored.
    void replayIfPending();
    // The frame's queued-action step: add and execute each, then empty the queue.
    void runQueuedActions();

    // Copies all layers into the slot that is not active and makes it active.
    // Unless force, taking slot 1 starts the autosave (startAutosave).
    void takeSnapshot(bool force);
    // Puts the active slot's picture on the canvas (blank for actionIndex 0).
    void restoreSnapshot();
    // One transparent layer of the initial size; tools reset.
    void resetToBlank();
    // Deletes all actions; baseCount, counters and the active slot go to 0.
    // The redo list stays, so a redo may bring in an action of the picture before.
    void clear();
    // A new canvas: refused (false, nothing changed) above the size limit.
    // Queues the grey fill that starts every picture and that undo never removes.
    bool reinitialize(int32_t width, int32_t height);
    // After a process was loaded or replayed: nothing to undo until a new
    // step, both slots hold the loaded picture.
    void settleAfterLoad();
    // Frees both slots' pixels; both become empty (actionIndex 0).
    void freeSnapshots();
    // Before a new picture replaces the open one (load, blank image): no
    // actions, no redo list, no snapshots, and the given initial size.
    void resetForNewPicture(int32_t width, int32_t height);

    const std::vector<std::unique_ptr<HistoryAction>>& actions() const { return actions_; }
    HistoryAction* lastAction() { return actions_.empty() ? nullptr : actions_.back().get(); }
    std::size_t actionCount() const { return actions_.size(); }
    // Appends directly, as a process load does: no step, no snapshot.
    void appendLoaded(std::unique_ptr<HistoryAction> action) { actions_.push_back(std::move(action)); }
    // Replaces the last action when it has the same type and lies after the
    // active snapshot (cycling through layers leaves one entry); else add().
    void addOrReplaceLast(std::unique_ptr<HistoryAction> action);
    // How many leading actions are the same objects, unchanged, as at the
    // last call (the list's shortest length since then); starts a new count.
    // Lets a copy of encoded actions (the autosave's) renew only the tail.
    std::size_t takeUnchangedPrefix() {
        const std::size_t prefix = std::min(unchangedPrefix_, actions_.size());
        unchangedPrefix_ = actions_.size();
        return prefix;
    }
    const HistorySnapshot& snapshot(int slot) const { return snapshots_[static_cast<std::size_t>(slot & 1)]; }

    bool replayPending = false;
    int32_t initialWidth = 0, initialHeight = 0;
    int32_t stepsSinceSnapshot = 0;
    int32_t undoDepth = 0; // at most kMaxUndoDepth
    int16_t activeSnapshot = 0;
    int32_t baseCount = 0; // actions at the start that undo leaves alone
    std::vector<std::unique_ptr<HistoryAction>> redoList;   // latest undone last
    std::vector<std::unique_ptr<HistoryAction>> queuedActions;

    // Set by the subsystems that own the state; each may stay empty.
    // Called as slot 1 is filled by a non-forced snapshot, with the slot and
    // the action count. An autosave copies slot.layers: its shared_ptr
    // copies keep the pixel blocks alive while it writes.
    std::function<void(const HistorySnapshot& slot, std::size_t actionCount)> startAutosave;
    std::function<void()> resetTools;
    // Copy the selection's outline and points into the slot, and back (the
    // restore also rebuilds the mask).
    std::function<void(HistorySnapshot& slot)> captureSelection;
    std::function<void(const HistorySnapshot& slot)> restoreSelection;

private:
    bool rollBack(int32_t target);
    bool hasPixels() const;

    Canvas* canvas_;
    MultiLayeredImage& layers_;
    std::vector<std::unique_ptr<HistoryAction>> actions_;
    std::array<HistorySnapshot, 2> snapshots_;
    std::size_t unchangedPrefix_ = 0;
};
