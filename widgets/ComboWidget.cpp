#include "widgets/ComboWidget.h"

#include <GL/glew.h>

#include <cmath>

#include "core/Globals.h"
#include "widgets/DrawHelpers.h"
#include "widgets/GlFont.h"

namespace {
constexpr int kUp = 357, kDown = 359, kEnter = 13;
} // namespace

ComboWidget::ComboWidget(int x, int y, int width_, int32_t id_, std::function<void(int)> onChange_)
    : Widget(x, y, width_, 20, id_), onChange(std::move(onChange_)) {
    const int underscore = gFontGui ? gFontGui->advances[0x5F] : 0;
    visibleChars = underscore > 0 ? static_cast<int>(width) / underscore : 0;
}

bool ComboWidget::hitTest(int x, int y) const {
    if (closed) return Widget::hitTest(x, y);
    const float n = static_cast<float>(items.size());
    const float bottom = absY + height - (n + 1) * height;
    return x >= static_cast<int>(absX) && x < static_cast<int>(absX + width) && y >= bottom && y < absY + height;
}

void ComboWidget::trackHover(int x, int y) {
    pointerInside = hitTest(x, y);
    hovered = -1;
    if (closed || !pointerInside) return;
    // Row 0 lies just below the field.
    const int row = static_cast<int>(std::floor((absY - static_cast<float>(y)) / height));
    if (row >= 0 && row < static_cast<int>(items.size())) hovered = row;
}

int ComboWidget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    if (closed) {
        Widget::onMouseButton(button, state, x, y, fromPen);
        if (pointerInside && button == 0 && state == 0) {
            closed = false;
            hovered = selected;
        }
        return pointerInside ? 1 : 0;
    }
    if (button != 0 || !focused) return 0;
    if (state == 0) {
        if (hitTest(x, y) && hovered != -1 && hovered != selected) {
            selected = hovered;
            if (onChange) onChange(selected);
        }
        closed = true;
    }
    return 1;
}

int ComboWidget::onMouseMove(int x, int y, bool fromPen) {
    (void)fromPen;
    trackHover(x, y);
    return pointerInside ? 1 : 0;
}

int ComboWidget::onMouseDrag(int x, int y, bool fromPen) {
    if (!focused) return 0;
    return onMouseMove(x, y, fromPen);
}

int ComboWidget::onKey(int key, int x, int y) {
    (void)x, (void)y;
    if (!focused) return 0;
    const int n = static_cast<int>(items.size());
    if (key == kEnter) {
        closed = !closed;
        if (!closed) hovered = selected;
        else selected = hovered;
        return 1;
    }
    if (key != kUp && key != kDown) return 0;
    if (n > 0) {
        const int step = key == kDown ? 1 : -1;
        selected = ((selected + step) % n + n) % n;
        hovered = selected;
        if (onChange) onChange(selected);
    }
    return 1;
}

void ComboWidget::draw(float opacity_) {
    Widget::draw(opacity_);
    const float a = effectiveAlpha(opacity_);
    const int x = static_cast<int>(absX), y = static_cast<int>(absY);
    const int w = static_cast<int>(width), h = static_cast<int>(height);
    glColor4f(1, 1, 1, 0.2f * a);
    drawRect(x, y, w, h);
    if (gFontGui && selected >= 0 && selected < static_cast<int>(items.size())) {
        glColor4f(0, 0, 0, a);
        const int ty = y + 1 + (h - static_cast<int>(gFontGui->height)) / 2;
        printRaw(*gFontGui, static_cast<float>(x + 5), static_cast<float>(ty), items[selected].c_str());
    }
    // Down-pointing triangle 10 units from the right edge.
    const float s = 8 * GuiScale, right = static_cast<float>(x + w) - 10 * GuiScale;
    const float cy = static_cast<float>(y) + static_cast<float>(h) / 2;
    if (closed) glColor4f(1, 1, 1, a);
    else glColor4f(0.1f, 0.1f, 0.1f, a);
    drawTriangleList({{math::Vec2{right - s, cy + s / 2}, math::Vec2{right - s / 2, cy - s / 2},
                       math::Vec2{right, cy + s / 2}}});
}

void ComboWidget::drawOverlay(float opacity_) {
    if (closed) return;
    const float a = effectiveAlpha(opacity_);
    const int x = static_cast<int>(absX), w = static_cast<int>(width), h = static_cast<int>(height);
    const int n = static_cast<int>(items.size());
    const int top = static_cast<int>(absY), bottom = top - n * h;
    glColor4f(0.75f, 0.8f, 0.85f, a);
    drawRect(x, bottom, w, n * h);
    if (hovered >= 0 && hovered < n) {
        glColor4f(1, 1, 1, 0.5f * a);
        drawRect(x, top - (hovered + 1) * h, w, h);
    }
    glColor4f(0, 0, 0, a);
    drawFrame(x, bottom, w, n * h, 1);
    if (!gFontGui) return;
    for (int i = 0; i < n; ++i) {
        const int ty = top - (i + 1) * h + 1 + (h - static_cast<int>(gFontGui->height)) / 2;
        printRaw(*gFontGui, static_cast<float>(x + 5), static_cast<float>(ty), items[i].c_str());
    }
}
