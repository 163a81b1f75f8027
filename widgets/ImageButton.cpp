#include "widgets/ImageButton.h"

#include <GL/glew.h>

#include "core/Globals.h"
#include "core/InputState.h"
#include "widgets/DrawHelpers.h"
#include "widgets/GlFont.h"
#include "widgets/InterfaceImages.h"

ToolTipRecord gToolTip;

namespace {
std::function<void(int&, int&)> gPointerSource;

void lastPointer(int& x, int& y) {
    if (gPointerSource) return gPointerSource(x, y);
    x = gInputState.mouseX;
    y = gInputState.mouseY;
}
} // namespace

void setToolTipPointerSource(std::function<void(int& x, int& y)> source) { gPointerSource = std::move(source); }

ImageButton::ImageButton(int x, int y, int iconColumn_, int iconRow_, const std::string& tooltip_,
                         std::function<void(Widget*)> onClick_, std::function<bool(const Widget*)> isActive_)
    : ButtonWidget(x, y, 32, 32, "", 0, std::move(onClick_)), iconColumn(iconColumn_), iconRow(iconRow_),
      isActive(std::move(isActive_)), tooltip(tooltip_) {}

ImageButton::ImageButton(int x, int y, int width_, int height_, const std::string& label_,
                         std::function<void(Widget*)> onClick_)
    : ButtonWidget(x, y, width_, height_, label_, 0, std::move(onClick_)) {
    textColor[0] = textColor[1] = textColor[2] = 1;
}

ImageButton::ImageButton(const std::string& tooltip_, std::function<void(Widget*)> onClick_)
    : ImageButton(0, 0, 2, 5, tooltip_, std::move(onClick_), std::function<bool(const Widget*)>{}) {}

int ImageButton::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    hoverMs = 0;
    return ButtonWidget::onMouseButton(button, state, x, y, fromPen);
}

int ImageButton::onMouseMove(int x, int y, bool fromPen) {
    hoverMs = 0;
    ButtonWidget::onMouseMove(x, y, fromPen);
    return pointerInside ? 1 : 0;
}

int ImageButton::onMouseDrag(int x, int y, bool fromPen) {
    hoverMs = 0;
    ButtonWidget::onMouseDrag(x, y, fromPen);
    return focused ? 1 : 0;
}

bool ImageButton::update(int elapsedMs, int originX, int originY) {
    Widget::update(elapsedMs, originX, originY);
    if (!enabled) return true;
    int px = 0, py = 0;
    lastPointer(px, py);
    if (!hitTest(px, py)) {
        hoverMs = 0;
        return true;
    }
    if (hoverMs <= kToolTipDelayMs) {
        hoverMs += elapsedMs;
        return true;
    }
    if (tooltip.empty()) return true;
    gToolTip.x = static_cast<int>(absX + static_cast<int>(width));
    gToolTip.y = static_cast<int>(absY);
    gToolTip.text = tooltip;
    int lines = 1;
    gToolTip.textWidth = gFontGui ? measureText(*gFontGui, tooltip.c_str(), lines) : 0;
    gToolTip.lineCount = lines;
    const int lineHeight = gFontGui ? static_cast<int>(1.5f * gFontGui->height) : 0;
    gToolTip.boxWidth = static_cast<float>(gToolTip.textWidth + 10);
    gToolTip.boxHeight = static_cast<float>(lineHeight * lines + 4);
    return true;
}

void ImageButton::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    const bool on = active();
    const int x = static_cast<int>(absX), y = static_cast<int>(absY);
    const int w = static_cast<int>(width), h = static_cast<int>(height);
    glDisable(GL_TEXTURE_2D);
    if (!(enabled && pointerInside) && !on) glColor4f(0, 0, 0, 0.5f * a);
    else glColor4f(0.55f, 0.55f, 0.55f, 0.5f * a);
    drawRect(x, y, w, h);
    if (on) glColor4f(0.5f, 1, 1, a);
    else glColor4f(1, 1, 1, a);
    if (hasIcon()) {
        const GLuint texture = toolbarTexture();
        if (!texture) return;
        const AtlasRect r = toolbarCell(iconColumn, iconRow);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glBegin(GL_QUADS);
        glTexCoord2f(r.u0, r.v0);
        glVertex2f(absX, absY);
        glTexCoord2f(r.u1, r.v0);
        glVertex2f(absX + width, absY);
        glTexCoord2f(r.u1, r.v1);
        glVertex2f(absX + width, absY + height);
        glTexCoord2f(r.u0, r.v1);
        glVertex2f(absX, absY + height);
        glEnd();
        glBindTexture(GL_TEXTURE_2D, 0);
        glDisable(GL_TEXTURE_2D);
        return;
    }
    if (!gFontGui || label.empty()) return;
    const int tx = x + (w - labelWidth) / 2;
    const int ty = y + 1 + (h - static_cast<int>(gFontGui->height)) / 2;
    printRaw(*gFontGui, static_cast<float>(tx), static_cast<float>(ty), label.c_str());
}

void drawToolTip() {
    if (gToolTip.x < 0 || gToolTip.text.empty() || !gFontGui) return;
    const float x = static_cast<float>(gToolTip.x), y = static_cast<float>(gToolTip.y);
    const float top = y + gToolTip.boxHeight;
    glDisable(GL_TEXTURE_2D);
    glColor4f(0, 0, 0, 0.8f);
    drawRect(x, y, gToolTip.boxWidth, gToolTip.boxHeight);
    glColor4f(1, 1, 1, 0.5f);
    drawFrame(x, y, gToolTip.boxWidth, gToolTip.boxHeight, 1.0f);
    glColor4f(1, 1, 1, 1);
    // printRaw puts the first line's baseline at y and later lines below it.
    const float lineHeight = static_cast<float>(static_cast<int>(1.5f * gFontGui->height));
    printRaw(*gFontGui, x + 5, top - lineHeight + 2, gToolTip.text.c_str());
}
