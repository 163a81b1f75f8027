#include "widgets/GUI.h"

#include <GL/glew.h>

#include <algorithm>

GUI::GUI(RenderArea* windowRect_) : Widget(0, 0, 0, 0, 0), windowRect(windowRect_) {
    if (windowRect) {
        width = windowRect->width;
        height = windowRect->height;
    }
}

std::shared_ptr<Widget> GUI::add(std::shared_ptr<Widget> widget) {
    pendingAdd.push_back(widget);
    return widget;
}

void GUI::remove(const std::shared_ptr<Widget>& widget) { pendingRemove.push_back(widget); }

template <typename Call> int GUI::deliver(Call call) {
    const int32_t startRevision = revision;
    int sum = 0;
    for (std::size_t i = 0; i < children.size() && revision == startRevision; ++i) {
        std::shared_ptr<Widget> child = children[i]; // alive across a nested loop
        if (child->visible && child->enabled) sum += call(*child);
    }
    if (sum != 0 && onPointerOverInterface) onPointerOverInterface();
    return sum;
}

int GUI::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    return deliver([&](Widget& c) { return c.onMouseButton(button, state, x, y, fromPen); });
}
int GUI::onMouseMove(int x, int y, bool fromPen) {
    return deliver([&](Widget& c) { return c.onMouseMove(x, y, fromPen); });
}
int GUI::onMouseDrag(int x, int y, bool fromPen) {
    return deliver([&](Widget& c) { return c.onMouseDrag(x, y, fromPen); });
}
int GUI::onKey(int key, int x, int y) {
    if (!enabled) return 0;
    return deliver([&](Widget& c) { return c.onKey(key, x, y); });
}
int GUI::onMouseWheel(int wheel, int direction, int x, int y) {
    return deliver([&](Widget& c) { return c.onMouseWheel(wheel, direction, x, y); });
}
int GUI::onDoubleClick(int x, int y) {
    return deliver([&](Widget& c) { return c.onDoubleClick(x, y); });
}

bool GUI::update(int elapsedMs, int originX, int originY) {
    Widget::update(elapsedMs, originX, originY);
    if (windowRect) {
        width = windowRect->width;
        height = windowRect->height;
    }
    const int innerW = static_cast<int>(width) - insetRight - insetLeft;
    const int innerH = static_cast<int>(height) - insetTop - insetBottom;
    const int baseX = static_cast<int>(relX) + insetLeft + originX;
    const int baseY = static_cast<int>(relY) + insetBottom + originY;
    for (std::size_t i = 0; i < children.size(); ++i) {
        std::shared_ptr<Widget> keep = children[i];
        alignChild(*keep, elapsedMs, baseX, baseY, innerW, innerH);
    }
    for (auto& w : pendingAdd) {
        children.push_back(std::move(w));
        ++revision;
    }
    pendingAdd.clear();
    for (const auto& w : pendingRemove) {
        auto it = std::find(children.begin(), children.end(), w);
        if (it == children.end()) continue;
        children.erase(it);
        ++revision;
    }
    pendingRemove.clear();
    return true;
}

void GUI::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    const float w = windowRect ? windowRect->width : width, h = windowRect ? windowRect->height : height;
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT | GL_LINE_BIT);
    glDisable(GL_LIGHTING);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_CULL_FACE);
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(0, w, 0, h, -1, 1);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
    glTranslatef(static_cast<float>(static_cast<int>(relX)), static_cast<float>(static_cast<int>(relY)), 0);
    if (zoom != 1.0f) {
        // The whole interface zooms about the window centre; events are not zoomed.
        glTranslatef(w / 2, h / 2, 0);
        glScalef(zoom, zoom, zoom);
        glTranslatef(-w / 2, -h / 2, 0);
    }
    const int32_t startRevision = revision;
    for (std::size_t i = 0; i < children.size() && revision == startRevision; ++i)
        if (children[i]->visible) children[i]->draw(a);
    for (std::size_t i = 0; i < children.size() && revision == startRevision; ++i)
        if (children[i]->visible) children[i]->drawOverlay(a);
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glPopAttrib();
}

Widget* GUI::findChild(int32_t childId) {
    for (const auto& child : children) {
        if (childId != 0 && child->id == childId) return child.get();
        if (Widget* w = child->findChild(childId)) return w;
    }
    return nullptr;
}
