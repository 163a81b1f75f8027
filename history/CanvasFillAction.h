#pragma once
// Fills the current layer with one opaque colour: the grey of a new canvas,
// or a fill command. Records only the colour.
#include "history/HistoryAction.h"

class Canvas;

class CanvasFillAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 2;

    CanvasFillAction(Canvas& canvas, float r, float g, float b) : canvas_(canvas), color_{r, g, b} {}
    explicit CanvasFillAction(Canvas& canvas) : CanvasFillAction(canvas, 0, 0, 0) {}

    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool execute() override;
    // Body: r, g, b as three floats.
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;

    const float* color() const { return color_; }

private:
    Canvas& canvas_;
    float color_[3];
};
