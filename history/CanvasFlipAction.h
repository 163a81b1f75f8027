#pragma once
// Mirrors the whole picture left to right: every layer, and the canvas's
// pictureMirrored marker. No snapshot holds that marker, so the undo hook
// toggles it back when the action leaves the list.
#include "history/HistoryAction.h"

class Canvas;
class MultiLayeredImage;

class CanvasFlipAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 3;

    CanvasFlipAction(Canvas& canvas, MultiLayeredImage& layers) : canvas_(canvas), layers_(layers) {}

    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool affectsAllLayers() const override { return true; }
    bool execute() override;
    void undo() override;

private:
    Canvas& canvas_;
    MultiLayeredImage& layers_;
};
