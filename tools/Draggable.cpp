#include "tools/Draggable.h"

#include <GL/glew.h>

#include <cmath>

#include "canvas/Painter.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "widgets/DrawHelpers.h"

math::Vec2 DraggablePoint::screenPosition() const {
    const math::Vec2 t{target[0], target[1]};
    return windowSpace ? t : painter->canvasToWindow(t);
}

bool DraggablePoint::withinReach(int x, int y) const {
    const math::Vec2 d = screenPosition() - math::Vec2(static_cast<float>(x), static_cast<float>(y));
    return d.dot(d) < GuiScale * GuiScale * 100.0f;
}

int DraggablePoint::onMouseButton(int button, int state, int x, int y, bool) {
    resetDrag();
    if (button == 0 && state == 0 && withinReach(x, y)) {
        dragIndex = 1;
        lastPosition = {static_cast<float>(x), static_cast<float>(y)};
        return 1;
    }
    return 0;
}

int DraggablePoint::onMouseMove(int x, int y, bool) {
    resetHover();
    if (!withinReach(x, y)) return 0;
    hoverIndex = 1;
    return 1;
}

int DraggablePoint::onMouseDrag(int x, int y, bool) {
    const bool held = gInputState.leftButton || gInputState.rightButton || gInputState.middleButton;
    if (!held || dragIndex == -1) return 0;
    lastPosition = {static_cast<float>(x), static_cast<float>(y)};
    const math::Vec2 p = windowSpace ? lastPosition : painter->windowToCanvas(lastPosition);
    target[0] = p.x;
    target[1] = p.y;
    return 1;
}


void DraggablePoint::draw(float opacity) {
    const math::Vec2 c = screenPosition();
    const bool active = hoverIndex != -1 || dragIndex != -1;
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_CULL_FACE);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    if (active) glColor4f(1, 1, 1, opacity);
    else glColor4f(0.8f, 1, 1, opacity);
    drawRing(60, c.x, c.y, 10, active ? 20.0f : 15.0f);
    if (dragIndex != -1) glColor4f(0, 1, 1, opacity);
    else if (hoverIndex != -1) glColor4f(0.5f, 0.8f, 0.8f, opacity);
    else glColor4f(1, 1, 1, opacity);
    drawRing(60, c.x, c.y, 0, 3);
    glPopAttrib();
}
