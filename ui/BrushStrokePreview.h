#pragma once
// The sample stroke of a brush: the brush dialog shows its private brush
// through one of these, and each row of its preset list is one. The points
// come from brush::sampleStrokePoints (the generator reseeded, so the picture
// is the same every time) and are stamped by the canvas's own dab renderer
// into a surface of the widget's size, which draw() shows. It never touches
// the canvas.
#include <cstdint>
#include <vector>

#include "brush/Brush.h"
#include "brush/StrokePoint.h"
#include "canvas/Framebuffer.h"
#include "widgets/Widget.h"

class BrushTipTable;

class BrushStrokePreviewWidget : public Widget {
public:
    // x, y, width, height in units. lastHeight is the height in pixels the
    // brush's size was made for: while the widget keeps that height, a
    // rebuild leaves `size` alone; another height sets it to a quarter of it.
    BrushStrokePreviewWidget(int x, int y, int width, int height, int32_t id, const Brush& brush,
                             int32_t lastHeight);
    ~BrushStrokePreviewWidget() override;

    bool acceptsFocus() const override { return false; }
    // Rebuilds the points when asked to (rebuild), once the widget shows.
    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;

    // The points from the brush at the widget's size; sets pixelsStale.
    void rebuildPoints();
    // Stamps the points into the surface (made or remade at the widget's
    // size first). Needs a current GL context; draw() calls it when stale.
    void renderPixels();

    Brush brush;                              // the brush shown; the dialog edits this one
    std::vector<BrushStrokePoint> points;     // the sample stroke, in surface pixels
    Framebuffer surface;                      // widget size; made on first use
    bool rebuild = true;                      // points to be made again at the next update
    bool pixelsStale = true;                  // surface to be stamped again at the next draw
    int32_t lastHeight = 0;                   // pixels
    const BrushTipTable* tips = nullptr;      // gBrushTips unless a test gives its own
};
