#pragma once
// The brush and the eraser: pointer events become the canvas's stroke calls.
// The eraser is the same tool in brush mode 2; each keeps its own brush
// settings (the canvas swaps them on activation).
#include "tools/Tool.h"

class BrushTool : public Tool {
public:
    explicit BrushTool(Painter* painter, int mode = 1) : Tool(painter), mode(mode) {}

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void drawCursor(int x, int y) override;
    // Shows the brush sliders and the tool's pressure options in the strip.
    void activate() override;
    bool deactivate() override;

    // A resting pen keeps stamping: one dab after this many quiet milliseconds.
    static constexpr int kHoldMs = 101;

protected:
    bool isEraser() const { return mode == 2; }
    void drawOutline(int x, int y, float angle);
    void addPanel();

    int mode;         // 1 brush, 2 eraser
    int restTime = 0; // ms since the last pointer move in a stroke
};

class EraserTool : public BrushTool {
public:
    explicit EraserTool(Painter* painter) : BrushTool(painter, 2) {}
};
