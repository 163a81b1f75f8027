#pragma once
// Hover-and-drag handles on the canvas. An index names which part of the
// owner is hovered or dragged (-1: none).
#include "core/InputListener.h"
#include "core/Math.h"

class Painter;

class Draggable {
public:
    virtual ~Draggable() = default;
    virtual void resetDrag() {
        dragIndex = -1;
        hoverIndex = -1;
    }
    virtual void resetHover() { hoverIndex = -1; }

    int hoverIndex = -1;
    int dragIndex = -1;
    math::Vec2 lastPosition; // window pixels
};

// One round handle that moves a point. The owning tool forwards pointer
// events to it in window pixels; it is never entered in a dispatcher.
//
//   event          | test                          | effect
//   press, left    | within 10 px (x GuiScale)     | dragIndex 1, result 1
//   any button     | otherwise                     | drag reset, result 0
//   move           | within reach                  | hoverIndex 1, result 1
//   drag           | dragIndex 1 and a button held | target follows, result 1
class DraggablePoint : public Draggable, public InputListener {
public:
    // target: two floats the handle moves, window pixels when windowSpace,
    // else canvas pixels (mapped through the painter's camera).
    DraggablePoint(Painter* painter, float* target, bool windowSpace)
        : painter(painter), target(target), windowSpace(windowSpace) {}

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    virtual void draw(float opacity);

    // Where the handle stands in the window.
    math::Vec2 screenPosition() const;

    Painter* painter;
    float* target;
    bool windowSpace;

private:
    bool withinReach(int x, int y) const;
};
