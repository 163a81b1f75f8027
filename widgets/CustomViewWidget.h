#pragma once
// The second view of the canvas: a small, movable and resizable picture of
// the whole canvas with the main view's rectangle marked on it. Handles:
// 1 bottom left, 2 bottom right, 4 top right, 8 top left corner, 15 the
// body. A corner drag resizes (keeping the aspect when asked), a body drag
// moves, and a body drag released in motion throws the view a little further.
#include <memory>

#include "widgets/Draggable.h"
#include "widgets/Widget.h"

class Painter;

class CustomViewWidget : public Widget, public DragHandles, public std::enable_shared_from_this<CustomViewWidget> {
public:
    // painter: whose canvas and camera are shown (not owning). Made with
    // make_shared, so that a throw's animation can outlive it safely.
    CustomViewWidget(int x, int y, int width, int height, Painter* painter, int32_t id = 0);

    // The handle near window (x, y): a corner within 10 units, else 15.
    int handleAt(int x, int y) const;

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    void draw(float opacity) override;

    bool keepAspect = true;
    Painter* owner;
    // Where the pointer was before its last event; the throw uses the difference.
    float previousX = 0, previousY = 0;

private:
    void dragCorner(float dx, float dy);
};
