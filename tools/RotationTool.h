#pragma once
// Turns the view about the centre of the render area by dragging around it.
// Only the view changes: nothing is recorded. Current as tool 3, or used
// while a held key keeps the interaction mode at 2.
#include <memory>

#include "tools/Tool.h"

class EditControl;

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
    // As tool 3 it shows its options: the angle (typed in the numbers the
    // status line shows), a reset to upright and the canvas flip.
    void activate() override;
    bool deactivate() override {
        hidePanel();
        return false;
    }
    // The view's rotation from the number shown to the user (its negative),
    // folded into (-180, 180).
    void setShownAngle(int degrees);
    // Shows the picture mirrored on screen, or not: a view state only, unlike
    // the recorded canvas flip.
    void setViewMirrored(bool mirrored);

    // The stored angle after a drag: snapped to 45° with Shift (4° early),
    // folded into the open interval (-180, 180).
    static float foldRotation(float r, bool snap);

    bool dragging = false;
    float grabAngle = 0;     // degrees, pointer about the render-area centre at the press
    float startRotation = 0; // the view's rotation at the press

private:
    float pointerAngle() const;
    std::weak_ptr<EditControl> angleField; // in the panel while tool 3 is current
};
