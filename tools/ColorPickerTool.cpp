#include "tools/ColorPickerTool.h"

#include <GL/glew.h>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Application.h"
#include "core/InputState.h"
#include "core/InteractionMode.h"
#include "core/PaintingApplication.h"
#include "tools/ToolMessages.h"
#include "core/Localisation.h"

namespace {
void requestPick(Painter& painter, int x, int y) {
    painter.pickX = x;
    painter.pickY = y;
    painter.pickRequested = true;
}
} // namespace

int ColorPickerTool::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    (void)fromPen;
    if (button != 0 || state != 0) return 0;
    requestPick(*painter, x, y);
    return 1;
}

int ColorPickerTool::onMouseDrag(int x, int y, bool fromPen) {
    (void)fromPen;
    // One sample a frame, at the pointer's last position.
    if (painter->application->interactionMode == kModePicking || gInputState.leftButton) requestPick(*painter, x, y);
    return 0;
}

bool ColorPickerTool::isActive() const {
    const auto* app = static_cast<const PaintingApplication*>(painter->application);
    return painter->application->interactionMode == kModePicking || app->currentToolIndex_ == 12;
}

void ColorPickerTool::activate() {
    // No options: the strip stays empty.
    Tool::activate();
    announce(tr(tk::COLOR_PICKING_MODE_STR));
}

bool ColorPickerTool::deactivate() {
    hidePanel();
    return false;
}

// A kite with its tip at the pointer, wide end to the upper right: the
// current colour inside a border of its inverse, visible on any background.
void ColorPickerTool::drawCursor(int x, int y) {
    const float* c = painter->canvas->color;
    auto fan = [x, y](int a, int b, int c2, int d, int e, int f, int g, int h) {
        glBegin(GL_TRIANGLE_FAN);
        glVertex2i(x + a, y + b);
        glVertex2i(x + c2, y + d);
        glVertex2i(x + e, y + f);
        glVertex2i(x + g, y + h);
        glEnd();
    };
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_BLEND);
    glColor4f(c[0], c[1], c[2], 1);
    fan(0, 0, 60, 25, 35, 35, 25, 60);
    glEnable(GL_COLOR_LOGIC_OP);
    glLogicOp(GL_INVERT);
    fan(0, 0, 60, 25, 35, 35, 25, 60);
    glDisable(GL_COLOR_LOGIC_OP);
    fan(2, 2, 50, 25, 33, 33, 25, 50);
    glPopAttrib();
}
