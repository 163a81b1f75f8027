#include "widgets/ColorSelectionSquare.h"

#include <GL/glew.h>

#include "widgets/DrawHelpers.h"

ColorSelectionSquare::ColorSelectionSquare(int x, int y, int width_, int height_, float* value_, float** selectedSlot_,
                                           bool ignoreAlpha_, std::function<void(float*)> onSelect_)
    : Widget(x, y, width_, height_), value(value_), selectedSlot(selectedSlot_), ignoreAlpha(ignoreAlpha_),
      onSelect(std::move(onSelect_)) {}

int ColorSelectionSquare::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    (void)fromPen;
    const bool inside = pressAndFocus(state, x, y) != 0;
    if (!inside || button != 0 || state != 0) return 0;
    if (selectedSlot) *selectedSlot = value;
    if (onSelect) onSelect(value);
    return 1;
}

float ColorSelectionSquare::fillAlpha(float opacity_) const {
    const float a = effectiveAlpha(opacity_);
    return ignoreAlpha || !value ? a : a * value[3];
}

void ColorSelectionSquare::draw(float opacity_) {
    if (!value) return;
    const float a = fillAlpha(opacity_);
    const int x = static_cast<int>(absX), y = static_cast<int>(absY);
    const int w = static_cast<int>(width), h = static_cast<int>(height);
    glColor4f(value[0], value[1], value[2], a);
    drawRect(x, y, w, h);
    if (selected()) {
        glColor4f(0.0f, 1.0f, 1.0f, a);
        drawFrame(x, y, w, h, 3);
    } else {
        glColor4f(0.0f, 0.0f, 0.0f, a);
        drawFrame(x, y, w, h, 1);
    }
}
