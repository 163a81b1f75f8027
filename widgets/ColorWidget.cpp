#include "widgets/ColorWidget.h"

#include <GL/glew.h>

#include <cstdio>

#include "core/Localisation.h"
#include "core/TextKeys.h"
#include "widgets/DrawHelpers.h"
#include "widgets/GlFont.h"

namespace {
std::string line(int32_t letterKey, const char* format, double value) {
    char number[32];
    std::snprintf(number, sizeof number, format, value);
    return tr(letterKey) + number;
}
std::string line(int32_t letterKey, const char* format, int value) {
    char number[32];
    std::snprintf(number, sizeof number, format, value);
    return tr(letterKey) + number;
}
} // namespace

ColorWidget::ColorWidget(int x, int y, int width_, int height_, ColorRecordRef record)
    : Widget(x, y, width_, height_), colorRecord(std::move(record)) {}

int ColorWidget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    (void)fromPen;
    const bool inside = pressAndFocus(state, x, y) != 0;
    if (!inside || button != 0 || state != 0) return 0;
    showRGB = !showRGB;
    return 1;
}

std::array<std::string, 3> ColorWidget::lines() const {
    if (showRGB) {
        const brush::Rgb c = colorRecord.rgbValue();
        return {line(tk::COLOR_RED_LETTER, " %3d", static_cast<int>(c.r * 255.0f)),
                line(tk::COLOR_GREEN_LETTER, " %3d", static_cast<int>(c.g * 255.0f)),
                line(tk::COLOR_BLUE_LETTER, " %3d", static_cast<int>(c.b * 255.0f))};
    }
    const brush::Hsv c = colorRecord.hsvValue();
    return {line(tk::COLOR_HUE_LETTER, " %4d", static_cast<int>(c.h)),
            line(tk::COLOR_SATURATION_LETTER, " %4.2f", static_cast<double>(c.s)),
            line(tk::COLOR_VALUE_LETTER, " %4.2f", static_cast<double>(c.v))};
}

void ColorWidget::draw(float opacity_) {
    if (!colorRecord.valid()) return;
    const float a = effectiveAlpha(opacity_);
    const int x = static_cast<int>(absX), y = static_cast<int>(absY);
    const int w = static_cast<int>(width), h = static_cast<int>(height);
    const brush::Rgb c = colorRecord.rgbValue();
    glColor4f(c.r, c.g, c.b, a);
    drawRect(x, y, w, h);
    glColor4f(1, 1, 1, a);
    drawFrame(x, y, w, h, 1);
    if (!gFontMono) return;
    const int pitch = static_cast<int>(gFontMono->height) + 2;
    const std::array<std::string, 3> text = lines();
    for (int k = 1; k <= 3; ++k)
        printRaw(*gFontMono, static_cast<float>(x), static_cast<float>(y - 5 - k * pitch),
                 text[static_cast<std::size_t>(k - 1)].c_str());
}
