#pragma once
// Actions of the polygon selection: enable (with its outline), disable, and
// cut (clear the selected pixels). The outline and its mask live on the
// canvas, so a replay needs no tool.
#include <vector>

#include "core/Math.h"
#include "history/HistoryAction.h"

class Canvas;

class EnableSelectionAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 6;

    explicit EnableSelectionAction(Canvas& canvas, std::vector<math::Vec2> points = {})
        : canvas_(canvas), points_(std::move(points)) {}

    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool execute() override;
    // Leaving the list drops the selection.
    void undo() override;
    // Body: count, then count points of x, y (floats), canvas pixels.
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;

    const std::vector<math::Vec2>& points() const { return points_; }

private:
    Canvas& canvas_;
    std::vector<math::Vec2> points_;
};

class DisableSelectionAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 7;
    explicit DisableSelectionAction(Canvas& canvas) : canvas_(canvas) {}
    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool execute() override;

private:
    Canvas& canvas_;
};

class ImageCutAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 23;
    explicit ImageCutAction(Canvas& canvas) : canvas_(canvas) {}
    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool execute() override;

private:
    Canvas& canvas_;
};
