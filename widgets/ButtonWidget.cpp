#include "widgets/ButtonWidget.h"

#include <GL/glew.h>

#include "core/Globals.h"
#include "widgets/DrawHelpers.h"
#include "widgets/GlFont.h"
#include "widgets/InterfaceImages.h"

ButtonWidget::ButtonWidget(int x, int y, int width_, int height_, const std::string& label_, int32_t id_,
                           std::function<void(Widget*)> onClick_)
    : Widget(x, y, width_, height_, id_), onClick(std::move(onClick_)) {
    setLabel(label_);
}

void ButtonWidget::setLabel(const std::string& text) {
    label = text;
    labelWidth = textWidth(gFontGui.get(), label);
    const float needed = static_cast<float>(labelWidth) + 10.0f * GuiScale;
    if (width < needed) {
        width = needed;
        onSizeChanged();
    }
}

int ButtonWidget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    Widget::onMouseButton(button, state, x, y, fromPen);
    if (!pointerInside) {
        pressed = false;
        return 0;
    }
    if (button == 0) {
        if (state == 0) {
            pressed = true;
            return 1;
        }
        if (pressed) {
            pressed = false;
            if (onClick) onClick(this);
            return 1;
        }
    }
    pressed = false;
    return 0;
}

int ButtonWidget::onKey(int key, int x, int y) {
    (void)x, (void)y;
    if (!focused || key != 13) return 0;
    if (onClick) onClick(this);
    return 1;
}

void ButtonWidget::draw(float opacity_) {
    Widget::draw(opacity_);
    if (!gFontGui) return;
    const float a = effectiveAlpha(opacity_);
    const int x = static_cast<int>(absX) + (static_cast<int>(width) - labelWidth) / 2;
    const int y = static_cast<int>(absY) + 1 + (static_cast<int>(height) - static_cast<int>(gFontGui->height)) / 2;
    glColor4f(textColor[0], textColor[1], textColor[2], textColor[3] * a);
    printRaw(*gFontGui, static_cast<float>(x), static_cast<float>(y), label.c_str());
}

// ---- CheckBoxWidget -------------------------------------------------------------

CheckBoxWidget::CheckBoxWidget(int x, int y, bool checked_, int32_t id_)
    : Widget(x, y, 15, 15, id_), checked(checked_) {}

CheckBoxWidget::CheckBoxWidget(int x, int y, int size, bool checked_, std::function<void()> onCheck_,
                               std::function<void()> onUncheck_, int32_t id_)
    : Widget(x, y, size, size, id_), checked(checked_), onCheck(std::move(onCheck_)),
      onUncheck(std::move(onUncheck_)) {}

void CheckBoxWidget::toggle() {
    checked = !checked;
    const auto& callback = checked ? onCheck : onUncheck;
    if (callback) callback();
}

int CheckBoxWidget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    Widget::onMouseButton(button, state, x, y, fromPen);
    if (!pointerInside) return 0;
    if (button == 0 && state == 0) toggle();
    return 1;
}

int CheckBoxWidget::onKey(int key, int x, int y) {
    (void)x, (void)y;
    if (!focused || (key != 13 && key != 32)) return 0;
    toggle();
    return 1;
}

void CheckBoxWidget::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    const char* image = checked                          ? "checkbox_on.png"
                        : (enabled && pointerInside)     ? "checkbox_hover.png"
                                                         : "checkbox_off.png";
    const float tint = enabled && focused ? 1.0f : 0.9f;
    const int x = static_cast<int>(absX), y = static_cast<int>(absY);
    const int w = static_cast<int>(width), h = static_cast<int>(height);
    if (const GLuint texture = interfaceTexture(image)) {
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glColor4f(tint, tint, tint, a);
        drawTexturedQuad(x, y, w, h);
        glBindTexture(GL_TEXTURE_2D, 0);
        glDisable(GL_TEXTURE_2D);
    } else {
        // Without its images the box still shows its state.
        glColor4f(tint, tint, tint, a);
        drawFrame(x, y, w, h, 1);
        if (checked) drawRect(x + 3, y + 3, w - 6, h - 6);
    }
    if (!label.empty() && gFontGui) {
        glColor4f(textColor[0], textColor[1], textColor[2], textColor[3] * a);
        printRaw(*gFontGui, static_cast<float>(x + w + static_cast<int>(10 * GuiScale)), static_cast<float>(y + h / 5),
                 label.c_str());
    }
}
