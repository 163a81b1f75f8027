#pragma once
// Polygon selection that confines painting. Clicks add corners, drags add
// free-hand runs (smoothed on release); a press on the first point closes the
// outline into an EnableSelectionAction. The closed outline and its mask live
// on the canvas; this tool holds only the outline being drawn.
#include <vector>

#include "core/Math.h"
#include "tools/Tool.h"

class Canvas;
class History;

class SelectionTool : public Tool {
public:
    using Tool::Tool;

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    bool isActive() const override;
    void drawToolOverlay() override;
    void drawCursor(int x, int y) override;
    void drawHints(int& line) override;
    void activate() override;
    void reset() override { clearOutline(); }
    void onCanvasCreated(int, int) override { clearOutline(); }

    // Turns the outline drawn so far into the selection (recorded, so a
    // replay selects the same pixels).
    void closeSelection();
    // Records and executes a DisableSelectionAction when a selection is in force.
    static void dropSelection(Canvas& canvas, History& history);
    // Smooths the free-hand run from runStart to the last point in place:
    // a running mean of up to five points whose window shrinks towards both
    // ends; later means use already smoothed points. A run of at most two
    // segments (clicks) is left as it is. Returns the new run start.
    static int smoothRun(std::vector<math::Vec2>& points, int runStart);
    // The dash pattern of the outline for the n-th frame; n wraps at 40.
    static unsigned short antsPattern(int& frameCounter);

    std::vector<math::Vec2> points; // the open outline, canvas pixels
    bool closeHover = false;        // a press now would close the outline
    int runStart = 0;               // first point of the current free-hand run

private:
    void clearOutline();
    bool buttonHeld = false;
};
