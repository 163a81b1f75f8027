#pragma once
// Sets the current colour from what the window shows under the pointer
// (all visible layers, the checkerboard where they are transparent). The
// tool only asks; the painter reads the pixel after the canvas is drawn.
// Also the quick switch of interaction mode 5 (Alt, right button with the
// pen near), which routes the pointer here without changing the tool.
#include "tools/Tool.h"

class ColorPickerTool : public Tool {
public:
    using Tool::Tool;

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    bool isActive() const override;
    void drawCursor(int x, int y) override;
    void activate() override;
    bool deactivate() override;
};
