#pragma once
// A colour swatch that belongs to a group with one selected member. The group
// is a single pointer slot shared by its swatches: a swatch is selected while
// the slot points at its own value.
#include <functional>

#include "widgets/Widget.h"

class ColorSelectionSquare : public Widget {
public:
    // value: r, g, b, a (only r, g, b read when ignoreAlpha); selectedSlot names
    // the selected swatch of the group. Neither is owned.
    ColorSelectionSquare(int x, int y, int width, int height, float* value, float** selectedSlot,
                         bool ignoreAlpha = false, std::function<void(float*)> onSelect = {});

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    void draw(float opacity) override;

    bool selected() const { return selectedSlot && *selectedSlot == value; }
    // Alpha the fill is drawn with for a widget opacity (the colour's own
    // alpha counts unless ignoreAlpha).
    float fillAlpha(float opacity) const;

    float* value = nullptr;
    float** selectedSlot = nullptr;
    bool ignoreAlpha = false;
    std::function<void(float*)> onSelect;
};
