#include "widgets/TextWidget.h"

#include <GL/glew.h>

#include "core/Globals.h"
#include "platform/OpenExternal.h"
#include "widgets/GlFont.h"

TextWidget::TextWidget(int x, int y, const std::string& text_, int32_t id_, const float color[4])
    : Widget(x, y, 10, 10, id_), text(text_) {
    if (color)
        for (int i = 0; i < 4; ++i) textColor[i] = color[i];
}

void TextWidget::draw(float opacity_) {
    if (!gFontGui) return;
    const float a = effectiveAlpha(opacity_);
    glColor4f(textColor[0], textColor[1], textColor[2], textColor[3] * a);
    printRaw(*gFontGui, static_cast<float>(static_cast<int>(absX)), static_cast<float>(static_cast<int>(absY)),
             text.c_str());
}

HyperLinkWidget::HyperLinkWidget(int x, int y, const std::string& label_, const std::string& target_)
    : Widget(x, y, 0, 0, 0), label(label_), target(target_) {
    width = static_cast<float>(textWidth(gFontGui.get(), label));
    height = gFontGui ? static_cast<float>(static_cast<int>(gFontGui->height)) : 0.0f;
}

int HyperLinkWidget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    Widget::onMouseButton(button, state, x, y, fromPen);
    if (!pointerInside) return 0;
    if (button == 0 && state == 1) {
        if (onOpen) onOpen(target);
        else openWithShell(target);
    }
    return 1;
}

void HyperLinkWidget::draw(float opacity_) {
    if (!gFontGui) return;
    const float a = effectiveAlpha(opacity_);
    if (enabled && pointerInside) glColor4f(0, 1, 1, a);
    else glColor4f(0, 0.8f, 0.8f, a);
    printRaw(*gFontGui, static_cast<float>(static_cast<int>(absX)), static_cast<float>(static_cast<int>(absY)),
             label.c_str());
}

bool openWithShell(const std::string& target) { return platform::openExternal(target); }
