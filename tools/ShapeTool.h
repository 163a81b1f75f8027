#pragma once
// Paints a filled and bordered figure (triangle, rectangle, ellipse, rounded
// rectangle) onto the current layer. Two corners are placed by a press and a
// drag (or two presses); the figure shows as a preview until [ENTER] or
// "Apply" paints it, or [ESC] or "Discard" drops it.
//
// The one tool that paints directly: it records no history action. What it
// paints is in the layer until the canvas is next rebuilt from the history
// (an undo restores a snapshot and executes the actions after it, and none
// of them is the figure), and a saved drawing process replays without it.
#include <vector>

#include "core/Math.h"
#include "core/ShapeOutline.h"
#include "tools/Draggable.h"
#include "tools/Tool.h"

class ShapeTool : public Tool, public Draggable {
public:
    static constexpr int kIndex = 10;
    static constexpr int kMaxBorderWidth = 50;

    explicit ShapeTool(Painter* painter = nullptr);

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    // The current colour of the canvas goes into whichever colour is the
    // target, so the colour selector edits it.
    bool update(int elapsedMs, int originX, int originY) override;
    void reset() override;
    bool isActive() const override { return state > 0; }
    void drawOnCanvas() override;
    void drawToolOverlay() override;
    void drawHints(int& line) override;
    void activate() override;
    bool deactivate() override;

    // The figure's polygon and border strip at the box between the corners.
    void rebuild();
    // Paints the figure onto the current layer (nothing without one) and
    // leaves state 0.
    void apply();
    // The passes the figure takes at the current corners and settings.
    std::vector<shape::Pass> passes() const;

    float* currentColorTarget;
    int state = 0; // 0 nothing, 1 first corner placed, 2 figure placed
    int shapeIndex = 0;
    int borderWidth = 2;
    bool fillEnabled = false;
    float fillColor[4] = {1, 1, 1, 1};
    float borderColor[4] = {0, 0, 0, 1};
    math::Vec2 firstCorner, secondCorner; // canvas pixels
    std::vector<shape::Outline> shapes;
    std::vector<shape::Point> fillVertices;   // polygon, relative to firstCorner
    std::vector<shape::Point> borderVertices; // triangle strip, relative to firstCorner

private:
    void buildPanel();
    // The vertices and the colour of one pass.
    const std::vector<shape::Point>& passVertices(shape::Pass pass) const;
    const float* passColor(shape::Pass pass) const;
};
