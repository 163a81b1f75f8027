#include "widgets/Widget.h"

#include <GL/glew.h>

#include <algorithm>

#include "core/Globals.h"
#include "widgets/DrawHelpers.h"

namespace {
int scaled(int units) { return static_cast<int>(static_cast<float>(units) * GuiScale); }
} // namespace

Widget::Widget(int x, int y, int width_, int height_, int32_t id_)
    : id(id_), width(static_cast<float>(width_) * GuiScale), height(static_cast<float>(height_) * GuiScale),
      relX(static_cast<float>(x) * GuiScale), relY(static_cast<float>(y) * GuiScale) {}

bool Widget::hitTest(int x, int y) const {
    return x >= static_cast<int>(absX) && y >= static_cast<int>(absY) && x < static_cast<int>(width + absX) &&
           y < static_cast<int>(height + absY);
}

int Widget::pressAndFocus(int state, int x, int y) {
    pointerInside = hitTest(x, y);
    if (state == 0 && acceptsFocus() && focused != pointerInside) {
        if (focused) onFocusLost();
        if (pointerInside) onFocusGained();
        focused = pointerInside;
    }
    return pointerInside ? 1 : 0;
}

int Widget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    (void)button, (void)fromPen;
    return pressAndFocus(state, x, y);
}

int Widget::onMouseMove(int x, int y, bool fromPen) {
    (void)fromPen;
    pointerInside = hitTest(x, y);
    return pointerInside ? 1 : 0;
}

int Widget::onMouseDrag(int x, int y, bool fromPen) {
    (void)fromPen;
    pointerInside = hitTest(x, y);
    return focused ? 1 : 0;
}

bool Widget::update(int elapsedMs, int originX, int originY) {
    (void)elapsedMs;
    parentOriginX = static_cast<float>(originX);
    parentOriginY = static_cast<float>(originY);
    absX = relX + parentOriginX;
    absY = relY + parentOriginY;
    return true;
}

void Widget::setVisible(bool value) {
    if (visible == value) return;
    visible = value;
    onVisibilityChanged();
}

void Widget::setFocused(bool value) {
    if (!acceptsFocus() || focused == value) return;
    if (focused) onFocusLost();
    if (value) onFocusGained();
    focused = value;
}

void Widget::alignChild(Widget& c, int elapsedMs, int baseX, int baseY, int innerW, int innerH) {
    int x = baseX, y = baseY;
    switch (c.hAlign) {
    case HAlign::Left: break;
    case HAlign::Centre: x = static_cast<int>((innerW - static_cast<int>(c.width)) * 0.5f + baseX); break;
    case HAlign::Right: x = baseX + innerW - static_cast<int>(c.width); break;
    case HAlign::Stretch:
        c.width = static_cast<float>(std::max(0, innerW - c.marginRight - c.marginLeft));
        c.onSizeChanged();
        x = baseX + c.marginLeft;
        break;
    }
    switch (c.vAlign) {
    case VAlign::Top: y = baseY + innerH - static_cast<int>(c.height); break;
    case VAlign::Centre: y = static_cast<int>((innerH - static_cast<int>(c.height)) * 0.5f + baseY); break;
    case VAlign::Bottom: break;
    case VAlign::Stretch:
        c.height = static_cast<float>(std::max(0, innerH - c.marginTop - c.marginBottom));
        c.onSizeChanged();
        y = baseY + c.marginBottom;
        break;
    }
    c.update(elapsedMs, x, y);
}

void Widget::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    const int x = static_cast<int>(absX), y = static_cast<int>(absY);
    const int w = static_cast<int>(width), h = static_cast<int>(height);
    const float white[3] = {1, 1, 1};
    if (enabled && focused) drawSoftFrame(x, y, w, h, scaled(5), white, 0.2f * a);
    if (enabled && pointerInside) glColor4f(0, 1, 1, a);
    else glColor4f(0.3f, 0.3f, 0.3f, a);
    drawFrame(x, y, w, h, 1);
    if (enabled && pointerInside) {
        glColor4f(1, 1, 1, 0.25f * a);
        drawRect(x + 1, y + 1, w - 2, h - 2);
    }
}

// ---- CompositeWidget ------------------------------------------------------------

std::shared_ptr<Widget> CompositeWidget::add(std::shared_ptr<Widget> widget, bool skipInTabOrder) {
    const int32_t key = widget->id != 0 ? widget->id : -nextAutoKey++;
    children[key] = widget;
    tabOrder.push_back(key);
    tabSkip.push_back(skipInTabOrder);
    widget->parent = this;
    return widget;
}

std::vector<std::shared_ptr<Widget>> CompositeWidget::liveChildren() const {
    std::vector<std::shared_ptr<Widget>> out;
    out.reserve(children.size());
    for (const auto& [key, child] : children)
        if (child->visible && child->enabled) out.push_back(child);
    return out;
}

int CompositeWidget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    pressAndFocus(state, x, y);
    if (!focused) return 0;
    const auto live = liveChildren();
    // Focused children first, then the rest; the flag is read on arrival.
    for (int pass = 0; pass < 2; ++pass)
        for (const auto& child : live)
            if (child->focused == (pass == 0) && child->onMouseButton(button, state, x, y, fromPen) == 1)
                return 1;
    return 0;
}

int CompositeWidget::onMouseMove(int x, int y, bool fromPen) {
    int sum = 0;
    for (const auto& child : liveChildren()) sum += child->onMouseMove(x, y, fromPen);
    pointerInside = hitTest(x, y);
    return pointerInside ? 1 : sum;
}

int CompositeWidget::onMouseDrag(int x, int y, bool fromPen) {
    if (!focused) return 0;
    for (const auto& child : liveChildren())
        if (child->onMouseDrag(x, y, fromPen) != 0) return 1;
    return 0;
}

int CompositeWidget::onKey(int key, int x, int y) {
    if (!focused) return 0;
    int sum = 0;
    for (const auto& child : liveChildren()) sum += child->onKey(key, x, y);
    return sum;
}

int CompositeWidget::onMouseWheel(int wheel, int direction, int x, int y) {
    if (!pointerInside) return 0;
    int sum = 0;
    for (const auto& child : liveChildren()) sum += child->onMouseWheel(wheel, direction, x, y);
    return sum;
}

int CompositeWidget::onDoubleClick(int x, int y) {
    if (!focused) return 0;
    int sum = 0;
    for (const auto& child : liveChildren()) sum += child->onDoubleClick(x, y);
    return sum;
}

bool CompositeWidget::update(int elapsedMs, int originX, int originY) {
    Widget::update(elapsedMs, originX, originY);
    const int innerW = static_cast<int>(width) - insetRight - insetLeft;
    const int innerH = static_cast<int>(height) - insetTop - insetBottom;
    const int baseX = static_cast<int>(relX) + insetLeft + originX;
    const int baseY = static_cast<int>(relY) + insetBottom + originY;
    for (const auto& [key, child] : children) {
        std::shared_ptr<Widget> keep = child;
        alignChild(*keep, elapsedMs, baseX, baseY, innerW, innerH);
    }
    return true;
}

void CompositeWidget::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    for (const auto& [key, child] : children)
        if (child->visible) child->draw(a);
}

void CompositeWidget::drawOverlay(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    for (const auto& [key, child] : children)
        if (child->visible) child->drawOverlay(a);
}

bool CompositeWidget::hitTest(int x, int y) const {
    for (const auto& [key, child] : children)
        if (child->visible && child->enabled && child->focused && child->hitTest(x, y)) return true;
    return Widget::hitTest(x, y);
}

Widget* CompositeWidget::findChild(int32_t childId) {
    auto it = children.find(childId);
    if (childId != 0 && it != children.end()) return it->second.get();
    for (const auto& [key, child] : children)
        if (Widget* w = child->findChild(childId)) return w;
    return nullptr;
}

// ---- GroupWidget ----------------------------------------------------------------

std::shared_ptr<Widget> GroupWidget::add(std::shared_ptr<Widget> widget) {
    children.push_back(widget);
    return widget;
}

std::vector<std::shared_ptr<Widget>> GroupWidget::liveChildren() const {
    std::vector<std::shared_ptr<Widget>> out;
    out.reserve(children.size());
    for (const auto& child : children)
        if (child->visible && child->enabled) out.push_back(child);
    return out;
}

template <typename Call> int GroupWidget::sumChildren(Call call) const {
    int sum = 0;
    for (const auto& child : liveChildren()) sum += call(*child);
    return sum;
}

int GroupWidget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    const int sum = sumChildren([&](Widget& c) { return c.onMouseButton(button, state, x, y, fromPen); });
    if (sum != 0 || !drawBackground) return sum;
    return Widget::onMouseButton(button, state, x, y, fromPen);
}

int GroupWidget::onMouseMove(int x, int y, bool fromPen) {
    const int sum = sumChildren([&](Widget& c) { return c.onMouseMove(x, y, fromPen); });
    if (sum != 0 || !drawBackground) return sum;
    return Widget::onMouseMove(x, y, fromPen);
}

int GroupWidget::onMouseDrag(int x, int y, bool fromPen) {
    const int sum = sumChildren([&](Widget& c) { return c.onMouseDrag(x, y, fromPen); });
    if (sum != 0 || !drawBackground) return sum;
    return Widget::onMouseDrag(x, y, fromPen);
}

int GroupWidget::onKey(int key, int x, int y) {
    return sumChildren([&](Widget& c) { return c.onKey(key, x, y); });
}

int GroupWidget::onMouseWheel(int wheel, int direction, int x, int y) {
    return sumChildren([&](Widget& c) { return c.onMouseWheel(wheel, direction, x, y); });
}

int GroupWidget::onDoubleClick(int x, int y) {
    return sumChildren([&](Widget& c) { return c.onDoubleClick(x, y); });
}

bool GroupWidget::update(int elapsedMs, int originX, int originY) {
    Widget::update(elapsedMs, originX, originY);
    const int innerW = static_cast<int>(width) - insetRight - insetLeft;
    const int innerH = static_cast<int>(height) - insetTop - insetBottom;
    // Without a background the children count from the group's origin argument.
    const int ownX = drawBackground ? static_cast<int>(relX) : 0;
    const int ownY = drawBackground ? static_cast<int>(relY) : 0;
    const int baseX = ownX + insetLeft + originX, baseY = ownY + insetBottom + originY;
    for (std::size_t i = 0; i < children.size(); ++i) {
        std::shared_ptr<Widget> keep = children[i];
        alignChild(*keep, elapsedMs, baseX, baseY, innerW, innerH);
    }
    return true;
}

void GroupWidget::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    if (drawBackground) {
        glColor4f(backgroundColor[0], backgroundColor[1], backgroundColor[2], backgroundColor[3] * a);
        drawRect(absX, absY, width, height);
    }
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glScalef(scale, scale, scale);
    for (const auto& child : children)
        if (child->visible) child->draw(a);
    glPopMatrix();
}

void GroupWidget::drawOverlay(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glScalef(scale, scale, scale);
    for (const auto& child : children)
        if (child->visible) child->drawOverlay(a);
    glPopMatrix();
}

Widget* GroupWidget::findChild(int32_t childId) {
    for (const auto& child : children) {
        if (childId != 0 && child->id == childId) return child.get();
        if (Widget* w = child->findChild(childId)) return w;
    }
    return nullptr;
}
