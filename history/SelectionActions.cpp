#include "history/SelectionActions.h"

#include "canvas/Canvas.h"
#include "io/BinaryStream.h"

bool EnableSelectionAction::execute() {
    // The selection tool completes this: copy the points into the tool,
    // tessellate, build the mask, raise selectionActive. Until the mask
    // exists the flag stays down, so painting is not confined to nothing.
    return true;
}

void EnableSelectionAction::undo() { canvas_.selectionActive = false; }

void EnableSelectionAction::write(io::BinaryWriter& out) const {
    out.i32(static_cast<int32_t>(points_.size()));
    for (const math::Vec2& p : points_) {
        out.f32(p.x);
        out.f32(p.y);
    }
}

void EnableSelectionAction::read(io::BinaryReader& in) {
    points_.clear();
    int32_t count = 0;
    if (!in.i32(count) || !in.checkCount(count, 8)) return;
    points_.resize(static_cast<std::size_t>(count));
    for (math::Vec2& p : points_) {
        in.f32(p.x);
        in.f32(p.y);
    }
}

bool DisableSelectionAction::execute() {
    // The selection tool also empties its outline and resets its state.
    canvas_.selectionActive = false;
    return true;
}

bool ImageCutAction::execute() {
    // The selection tool completes this: clear the pixels under the mask.
    (void)canvas_;
    return true;
}
