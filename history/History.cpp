#include "history/History.h"

#include <algorithm>
#include <cstdio>

#include "canvas/Canvas.h"
#include "canvas/GlInfo.h"
#include "canvas/MultiLayeredImage.h"
#include "history/CanvasFillAction.h"

namespace {
// The largest side a canvas may have: half the renderbuffer limit where
// framebuffer objects exist; 0 (no limit known) without them.
int32_t maximumCanvasSide() {
    return gFramebufferCapability.framebufferSupported ? gFramebufferCapability.maxRenderbufferSize / 2 : 0;
}
} // namespace

bool History::hasPixels() const { return canvas_ != nullptr && canvas_->hasSurfaces(); }

void History::add(std::unique_ptr<HistoryAction> action, bool keepRedo) {
    if (!action) return;
    if (action->countsAsStep()) {
        layers_.modificationCount += 1;
        if (action->affectsAllLayers()) layers_.markAllChanged();
        else layers_.markCurrentChanged();
        if (!keepRedo) redoList.clear();
        undoDepth = std::min(undoDepth + 1, kMaxUndoDepth);
        // The snapshot comes before the append: it holds the picture
        // without the new action, and stepsSinceSnapshot restarts at 0.
        if (++stepsSinceSnapshot > kMaxUndoDepth) takeSnapshot(false);
    }
    actions_.push_back(std::move(action));
}

void History::addOrReplaceLast(std::unique_ptr<HistoryAction> action) {
    if (!action) return;
    const HistorySnapshot& active = snapshots_[static_cast<std::size_t>(activeSnapshot)];
    const bool replaceable = !actions_.empty() && actions_.back()->type() == action->type() &&
                             static_cast<int32_t>(actions_.size()) > std::max(active.actionIndex, baseCount);
    if (!replaceable) {
        add(std::move(action), false);
        return;
    }
    redoList.clear();
    unchangedPrefix_ = std::min(unchangedPrefix_, actions_.size() - 1);
    actions_.back() = std::move(action);
}

bool History::undo() {
    if (static_cast<int32_t>(actions_.size()) <= baseCount || undoDepth < 1) return false;
    if (stepsSinceSnapshot > 0) return rollBack(snapshots_[static_cast<std::size_t>(activeSnapshot)].actionIndex);
    // The step lies behind the active snapshot: cross to the older slot.
    HistorySnapshot& older = snapshots_[static_cast<std::size_t>(1 - activeSnapshot)];
    if (older.actionIndex == -1) return false;
    stepsSinceSnapshot = kMaxUndoDepth;
    snapshots_[static_cast<std::size_t>(activeSnapshot)].actionIndex = -1;
    activeSnapshot = static_cast<int16_t>(1 - activeSnapshot);
    return rollBack(older.actionIndex);
}

// Moves actions to the redo list until one step went; the target is a floor.
bool History::rollBack(int32_t target) {
    while (static_cast<int32_t>(actions_.size()) > std::max(target, 0)) {
        std::unique_ptr<HistoryAction> last = std::move(actions_.back());
        actions_.pop_back();
        unchangedPrefix_ = std::min(unchangedPrefix_, actions_.size());
        const bool counts = last->countsAsStep();
        last->undo();
        redoList.push_back(std::move(last));
        if (counts) {
            layers_.modificationCount -= 1;
            stepsSinceSnapshot -= 1;
            undoDepth -= 1;
            replayPending = true;
            return true;
        }
    }
    return false;
}

bool History::redo() {
    if (redoList.empty()) return false;
    std::unique_ptr<HistoryAction> action = std::move(redoList.back());
    redoList.pop_back();
    HistoryAction* raw = action.get();
    add(std::move(action), true);
    raw->execute();
    return true;
}

void History::replayIfPending() {
    if (!replayPending) return;
    replayPending = false;
    // The undo hook of a canvas flip already toggled pictureMirrored; the
    // re-execution must not count again.
    const bool mirrored = canvas_ ? canvas_->pictureMirrored : false;
    restoreSnapshot();
    const int32_t from = std::max(snapshots_[static_cast<std::size_t>(activeSnapshot)].actionIndex, 0);
    for (std::size_t i = static_cast<std::size_t>(from); i < actions_.size(); ++i) actions_[i]->execute();
    if (canvas_) canvas_->pictureMirrored = mirrored;
}

void History::runQueuedActions() {
    std::vector<std::unique_ptr<HistoryAction>> queue = std::move(queuedActions);
    queuedActions.clear();
    for (std::unique_ptr<HistoryAction>& action : queue) {
        HistoryAction* raw = action.get();
        add(std::move(action), false);
        raw->execute();
    }
}

void History::takeSnapshot(bool force) {
    // An undo earlier in this frame interval has not been rebuilt yet: the
    // snapshot must read the picture of the list, not the one before the undo.
    if (replayPending && hasPixels()) replayIfPending();
    const int target = 1 - activeSnapshot;
    HistorySnapshot& slot = snapshots_[static_cast<std::size_t>(target)];
    slot.releaseSharedPixels();
    slot.selectionOutline.clear();
    slot.selectionPoints.clear();
    stepsSinceSnapshot = 0;
    slot.width = canvas_ ? canvas_->width : layers_.width;
    slot.height = canvas_ ? canvas_->height : layers_.height;
    slot.currentLayer = layers_.current;
    slot.actionIndex = static_cast<int32_t>(actions_.size());
    slot.layers.resize(static_cast<std::size_t>(layers_.count()));
    for (int i = 0; i < layers_.count(); ++i) {
        SnapshotLayer& record = slot.layers[static_cast<std::size_t>(i)];
        const Layer& layer = layers_.at(i);
        record.visible = layer.visible;
        record.opacity = layer.opacity;
        record.blendMode = layer.blendMode;
    }
    if (hasPixels()) captureSnapshotPixels(slot, *canvas_, layers_);
    if (!force && target == 1 && startAutosave) startAutosave(slot, actions_.size());
    slot.selectionEnabled = canvas_ ? canvas_->selectionActive : false;
    if (slot.selectionEnabled) {
        // The triangles too, so a restore rebuilds the mask without tessellating.
        slot.selectionPoints = canvas_->selectionOutline();
        slot.selectionOutline = canvas_->selectionTriangles();
        if (captureSelection) captureSelection(slot);
    }
    activeSnapshot = static_cast<int16_t>(target);
}

void History::restoreSnapshot() {
    const HistorySnapshot& slot = snapshots_[static_cast<std::size_t>(activeSnapshot)];
    if (canvas_) canvas_->clearSelection();
    if (slot.actionIndex == 0) {
        resetToBlank();
        return;
    }
    // The layer list's reset zeroes modificationCount; an undo must not.
    const int32_t modifications = layers_.modificationCount;
    if (hasPixels()) {
        if (slot.width != canvas_->width || slot.height != canvas_->height)
            canvas_->resize(slot.width, slot.height, layers_);
        restoreSnapshotPixels(slot, *canvas_, layers_);
    } else {
        layers_.current = std::clamp(slot.currentLayer, 0, layers_.count() - 1);
    }
    layers_.modificationCount = modifications;
    if (canvas_ && slot.selectionEnabled) canvas_->restoreSelection(slot.selectionPoints, slot.selectionOutline);
    if (restoreSelection) restoreSelection(slot);
}

void History::resetToBlank() {
    const int32_t modifications = layers_.modificationCount;
    if (hasPixels()) {
        const int32_t w = initialWidth > 0 ? initialWidth : canvas_->width;
        const int32_t h = initialHeight > 0 ? initialHeight : canvas_->height;
        if (canvas_->width == w && canvas_->height == h) layers_.reset(1);
        else canvas_->resize(w, h, layers_);
        if (resetTools) resetTools();
        canvas_->clearPendingDabs();
        canvas_->clearCurrentSurface(0, 0, 0, 0);
    } else {
        layers_.reset(1);
        if (resetTools) resetTools();
    }
    layers_.modificationCount = modifications;
}

void History::clear() {
    actions_.clear();
    unchangedPrefix_ = 0;
    baseCount = 0;
    stepsSinceSnapshot = 0;
    undoDepth = 0;
    activeSnapshot = 0;
}

void History::freeSnapshots() {
    for (HistorySnapshot& slot : snapshots_) slot.clear();
    for (Layer& layer : layers_.layers) layer.markChanged();
}

void History::resetForNewPicture(int32_t width, int32_t height) {
    clear();
    redoList.clear();
    freeSnapshots();
    initialWidth = width;
    initialHeight = height;
}

bool History::reinitialize(int32_t width, int32_t height) {
    if (!canvas_) return false;
    const int32_t maxSide = maximumCanvasSide();
    if (width < 1 || height < 1 || (maxSide > 0 && (width > maxSide || height > maxSide))) {
        std::fprintf(stderr, "maximum size supported:\n[%d x %d]\n", maxSide, maxSide);
        return false;
    }
    layers_.reset(1);
    freeSnapshots();
    if (resetTools) resetTools();
    canvas_->resize(width, height, layers_);
    initialWidth = width;
    initialHeight = height;
    clear();
    queuedActions.push_back(std::make_unique<CanvasFillAction>(*canvas_, 0.8f, 0.8f, 0.8f));
    baseCount += 1;
    // The coming add() of the fill nets out: a new picture has nothing unsaved.
    layers_.modificationCount -= 1;
    return true;
}

void History::settleAfterLoad() {
    stepsSinceSnapshot = 0;
    undoDepth = 0;
    takeSnapshot(true);
    takeSnapshot(true);
}
