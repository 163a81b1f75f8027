#include "widgets/HueSelector.h"

#include <GL/glew.h>

#include "brush/ColorSpace.h"
#include "widgets/DrawHelpers.h"

HueSelector::HueSelector(int x, int y, int width_, int height_, int32_t id_, std::function<void(float)> onChange_)
    : Slider<float>(x, y, width_, height_, "", id_, true, std::move(onChange_)) {
    minValue = 0.0f;
    maxValue = 1.0f;
}

void HueSelector::drawTrack(float a) {
    // 61 columns, 4 pixels high, across the middle of the widget; the step is
    // 360 / 61 degrees, so the last column stops short of a full turn.
    const int x = static_cast<int>(absX), w = static_cast<int>(width);
    const int y0 = static_cast<int>(absY) + static_cast<int>(height) / 2 - 2;
    glBegin(GL_TRIANGLE_STRIP);
    for (int i = 0; i <= 60; ++i) {
        const brush::Rgb c = brush::hsvToRgb({i * 5.9016395f, 1.0f, 1.0f});
        glColor4f(c.r, c.g, c.b, a);
        const float cx = static_cast<float>(x + i * w / 60);
        glVertex2f(cx, static_cast<float>(y0));
        glVertex2f(cx, static_cast<float>(y0 + 4));
    }
    glEnd();
    glColor4f(0.2f, 0.2f, 0.2f, a);
    drawFrame(x, y0, w, 4, 1);
}
