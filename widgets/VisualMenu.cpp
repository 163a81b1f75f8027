#include "widgets/VisualMenu.h"

#include <GL/glew.h>

#include "core/Globals.h"
#include "core/PaintingApplication.h"
#include "widgets/Dialog.h"
#include "widgets/DrawHelpers.h"

bool interfaceShadowsOn() { return gApp && gApp->options && gApp->options->guiShadow; }

VisualMenu::VisualMenu(int width_, int height_) : CompositeWidget(0, 0, width_, height_) {
    corners = {math::Vec2{0, 0}, math::Vec2{width, 0}, math::Vec2{width, height}, math::Vec2{0, height}};
}

void VisualMenu::show(float x, float y) {
    // The stack places by 96-dpi units from the window's lower left.
    const float s = GuiScale > 0 ? GuiScale : 1.0f;
    std::shared_ptr<Widget> self = shared_from_this();
    pushAt(self, static_cast<int>(x / s), static_cast<int>(y / s));
    showTop();
    setFocused(true);
}

void VisualMenu::close() {
    if (topDialog() != this) return;
    popTop();
    // The dialog below, if any, takes the input back.
    if (dialogStackSize() > 0) showTop();
}

int VisualMenu::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    const int result = CompositeWidget::onMouseButton(button, state, x, y, fromPen);
    // Anything but a button taking the event dismisses the menu.
    if (result != 1) close();
    return result;
}

int VisualMenu::onKey(int key, int x, int y) {
    if (!focused) return 0;
    int sum = 0;
    for (const auto& [k, child] : children)
        if (child->visible && child->enabled) sum += child->onKey(key, x, y);
    if (sum == 0 && key == 27) {
        close();
        return 1;
    }
    return sum;
}

void VisualMenu::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    const float p = gGuiColor[3] * a * 0.8f;
    glDisable(GL_TEXTURE_2D);
    if (interfaceShadowsOn()) drawShadow({absX, absY}, {width, height}, 4 * GuiScale, 15 * GuiScale, 0.35f * p * p);
    glColor4f(gGuiColor[0], gGuiColor[1], gGuiColor[2], p);
    drawCorners({absX + corners[0].x, absY + corners[0].y}, {absX + corners[1].x, absY + corners[1].y},
                {absX + corners[2].x, absY + corners[2].y}, {absX + corners[3].x, absY + corners[3].y});
    CompositeWidget::draw(1.0f);
    if (interfaceShadowsOn()) drawPanelGloss({absX, absY}, {width, height}, a);
}
