#pragma once
// Turns the view about the centre of the render area by dragging around it.
// Only the view changes: nothing is recorded. Current as tool 3, or used
// while a held key keeps the interaction mode at 2.
#include "tools/Tool.h"

class RotationTool : public Tool {
public:
    using Tool::Tool;

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    bool update(int, int, int) override { return false; }
    bool isActive() const override;
    void drawToolOverlay() override;
    void drawCursor(int x, int y) override;
    void drawHints(int& line) override;
    void activate() override;
    bool deactivate() override {
        hidePanel();
        return false;
    }

    // The stored angle after a drag: snapped to 45° with Shift (4° early),
    // folded into the open interval (-180, 180).
    static float foldRotation(float r, bool snap);

    bool dragging = false;
    float grabAngle = 0;     // degrees, pointer about the render-area centre at the press
    float startRotation = 0; // the view's rotation at the press

private:
    float pointerAngle() const;
};
