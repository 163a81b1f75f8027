#include "ui/NotificationWidget.h"

#include <GL/glew.h>

#include <cstdio>

#include "core/Globals.h"
#include "core/RenderArea.h"
#include "widgets/Animator.h"
#include "widgets/GUI.h"
#include "widgets/GlFont.h"

NotificationWidget::NotificationWidget(const GlFont* font_) : Widget(0, 0, 200, 50, 0), font(font_) {
    visible = false;
}

void NotificationWidget::show(const char* format, ...) {
    va_list args;
    va_start(args, format);
    showV(format, args);
    va_end(args);
}

void NotificationWidget::showV(const char* format, va_list args) {
    char buffer[kMaxTextBytes + 1] = "";
    if (format) std::vsnprintf(buffer, sizeof buffer, format, args);
    text = buffer;

    AnimatorRegistry& registry = AnimatorRegistry::instance();
    // The closures keep the widget alive while they run; a widget that is not
    // shared-owned (tests) is written through its field.
    const std::shared_ptr<NotificationWidget> self = weak_from_this().lock();
    auto makeFade = [this, &self] {
        if (!self) return std::make_shared<FieldLinearInterpolatorWithRamp<float>>(&opacity);
        return std::make_shared<FieldLinearInterpolatorWithRamp<float>>(
            std::function<void(const float&)>([self](const float& v) { self->opacity = v; }));
    };
    const bool fadingOut = registry.contains(kFadeOutKey);
    if (fadingOut) registry.remove(kFadeOutKey); // without its onEnd
    if (!registry.contains(kFadeInKey)) {
        // From the present opacity when interrupting a fade-out: no flash to 0.
        auto fadeIn = makeFade();
        fadeIn->start(0, 400, fadingOut ? opacity : 0.0f, 1.0f);
        registry.add(kFadeInKey, fadeIn);
    }
    // Holds for 800 ms from now and reaches 0 at 1500 ms. Its start writes
    // 1.0 at once; the fade-in's own value takes over at the next tick.
    auto fadeOut = makeFade();
    fadeOut->start(800, 1500, 1.0f, 0.0f);
    if (self) fadeOut->onEnd = [self] { self->setVisible(false); };
    else fadeOut->onEnd = [this] { setVisible(false); };
    registry.add(kFadeOutKey, fadeOut);
    setVisible(true);
}

void NotificationWidget::draw(float alpha) {
    if (!visible || !font) return;
    const float a = opacity * alpha * (enabled ? 1.0f : 0.5f);
    const float x = static_cast<float>(static_cast<int>(absX)), y = static_cast<float>(static_cast<int>(absY));
    const float window[4] = {0, 0, gRenderArea.width, gRenderArea.height};
    glPushAttrib(GL_CURRENT_BIT | GL_TRANSFORM_BIT);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
    // A grey shadow down and to the right, then the white text.
    glColor4f(0.5f, 0.5f, 0.5f, a);
    printInWindow(*font, x + 2, y - 2, window, text.c_str());
    glColor4f(1, 1, 1, a);
    printInWindow(*font, x, y, window, text.c_str());
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glPopAttrib();
}

std::shared_ptr<NotificationWidget> createNotificationWidget(GUI& root) {
    auto widget = std::make_shared<NotificationWidget>(gFontNotification.get());
    widget->hAlign = HAlign::Left;
    widget->vAlign = VAlign::Top;
    // Offsets from the top left corner, in units.
    widget->relX = 10 * GuiScale;
    widget->relY = -20 * GuiScale;
    root.add(widget);
    return widget;
}
