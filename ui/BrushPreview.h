#pragma once
// One dab of a brush at the widget's place, stamped by the canvas's own dab
// renderer: the size HUD shows the active brush under the pointer at the
// canvas's zoom, so the user sees the size, hardness, tip and opacity the
// stroke will have; the brush dialog's tip grid shows one per tip.
#include "widgets/Widget.h"

struct Brush;
class BrushTipTable;

class BrushPreviewWidget : public Widget {
public:
    // brush and color: not owning; the HUD's point at the active brush and
    // colour. A null colour means a white one of the widget's own.
    BrushPreviewWidget(int x, int y, const Brush* brush, const float* color, bool scaleByZoom, bool showOutline);

    // Never takes the pointer: the HUD and the tip grid handle it.
    int onMouseMove(int x, int y, bool fromPen) override;
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
    float ownColor[3] = {1.0f, 1.0f, 1.0f};
    const BrushTipTable* tips = nullptr; // gBrushTips unless a test gives its own
};
