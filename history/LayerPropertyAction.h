#pragma once
// Actions that change the current layer without changing the list: flip,
// visibility, opacity.
#include <cstdint>

#include "history/LayerListAction.h"

// Mirrors the current layer left to right.
class LayerFlipAction : public LayerActionBase {
public:
    static constexpr int kTypeCode = 10;
    using LayerActionBase::LayerActionBase;
    int type() const override { return kTypeCode; }
    bool execute() override;
};

class LayerVisibilityToggleAction : public LayerActionBase {
public:
    static constexpr int kTypeCode = 12;
    using LayerActionBase::LayerActionBase;
    int type() const override { return kTypeCode; }
    bool execute() override;
};

class LayerOpacityChangeAction : public LayerActionBase {
public:
    static constexpr int kTypeCode = 14;
    LayerOpacityChangeAction(Canvas& canvas, MultiLayeredImage& layers, int32_t opacity = 100)
        : LayerActionBase(canvas, layers), opacity_(opacity) {}
    int type() const override { return kTypeCode; }
    // Values outside 0..100 (a damaged file) are clamped.
    bool execute() override;
    // Body: opacity in percent, int32.
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;

private:
    int32_t opacity_;
};
