#pragma once
// Actions that change the list of layers: new, change, delete, move, merge
// down. Each acts on the layer current at its point in the list, which is why
// a change of the current layer is a step of its own. None reverses itself:
// undo comes from the history's snapshots.
#include <cstdint>
#include <memory>

#include "history/HistoryAction.h"

class Canvas;
class MultiLayeredImage;

// Shared by every layer action: the canvas and the layer list it works on
// (not owned, not stored; a reader gives them again).
class LayerActionBase : public HistoryAction {
public:
    LayerActionBase(Canvas& canvas, MultiLayeredImage& layers) : canvas_(canvas), layers_(layers) {}
    bool countsAsStep() const override { return true; }

protected:
    Canvas& canvas_;
    MultiLayeredImage& layers_;
};

class NewLayerAction : public LayerActionBase {
public:
    static constexpr int kTypeCode = 4;
    using LayerActionBase::LayerActionBase;
    int type() const override { return kTypeCode; }
    bool execute() override;
};

class LayerChangeAction : public LayerActionBase {
public:
    static constexpr int kTypeCode = 5;
    LayerChangeAction(Canvas& canvas, MultiLayeredImage& layers, int32_t target = 0)
        : LayerActionBase(canvas, layers), target_(target) {}
    int type() const override { return kTypeCode; }
    bool execute() override;
    // Body: target layer index, int32.
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;
    int32_t target() const { return target_; }

private:
    int32_t target_;
};

// Refuses (false) when only one layer is left.
class DeleteLayerAction : public LayerActionBase {
public:
    static constexpr int kTypeCode = 8;
    using LayerActionBase::LayerActionBase;
    int type() const override { return kTypeCode; }
    bool execute() override;
};

class LayerMoveAction : public LayerActionBase {
public:
    static constexpr int kTypeCode = 9;
    LayerMoveAction(Canvas& canvas, MultiLayeredImage& layers, int32_t position = 0)
        : LayerActionBase(canvas, layers), position_(position) {}
    int type() const override { return kTypeCode; }
    bool execute() override;
    // Body: target position, int32 (counted before the removal).
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;

private:
    int32_t position_;
};

// Refuses (false) at the bottom layer. Visibility is not tested here: a
// hidden layer enters the merge with opacity 0.
class LayerMergeDownAction : public LayerActionBase {
public:
    static constexpr int kTypeCode = 11;
    using LayerActionBase::LayerActionBase;
    int type() const override { return kTypeCode; }
    bool execute() override;
};

// The action of a canvas or layer type code (2, 3, 4, 5, 8, 9, 10, 11, 12,
// 14) with an empty body, ready for read(); null for any other code.
std::unique_ptr<HistoryAction> makeCanvasLayerAction(int32_t type, Canvas& canvas, MultiLayeredImage& layers);
