#include "history/SelectionActions.h"

#include "canvas/Canvas.h"
#include "io/BinaryStream.h"

bool EnableSelectionAction::execute() {
    canvas_.setSelection(points_);
    return true;
}

void EnableSelectionAction::undo() { canvas_.clearSelection(); }

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
    canvas_.clearSelection();
    return true;
}

bool ImageCutAction::execute() {
    canvas_.eraseSelectedPixels();
    return true;
}
