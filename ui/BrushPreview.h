#pragma once
// One dab of a brush at the widget's place: the size HUD shows the active
// brush under the pointer at the canvas's zoom, so the user sees the size the
// stroke will have.
#include "widgets/Widget.h"

struct Brush;

class BrushPreviewWidget : public Widget {
public:
    // brush and color: not owning; the HUD's point at the active brush and colour.
    BrushPreviewWidget(int x, int y, const Brush* brush, const float* color, bool scaleByZoom, bool showOutline);

    // Window pixels per brush pixel (the canvas zoom, or 1).
    float zoom() const;
    // Radius in window pixels of the dab drawn.
    float radius() const;
    void draw(float opacity) override;

    const Brush* brush;
    const float* color;
    bool centered = false; // false: the dab's centre lies one radius below absY
    bool scaleByZoom;
    bool showOutline;
};
