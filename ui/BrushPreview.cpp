#include "ui/BrushPreview.h"

#include <GL/glew.h>

#include <cmath>

#include "brush/Brush.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"

BrushPreviewWidget::BrushPreviewWidget(int x, int y, const Brush* brush_, const float* color_, bool scaleByZoom_,
                                       bool showOutline_)
    : Widget(x, y, 10, 10), brush(brush_), color(color_), scaleByZoom(scaleByZoom_), showOutline(showOutline_) {}

float BrushPreviewWidget::zoom() const {
    if (!scaleByZoom) return 1.0f;
    return gCamera.scale(static_cast<float>(static_cast<int>(gPainter.renderArea.height)));
}

float BrushPreviewWidget::radius() const { return brush ? static_cast<float>(brush->size) * zoom() * 0.5f : 0.0f; }

void BrushPreviewWidget::draw(float opacity_) {
    if (!brush) return;
    const float a = effectiveAlpha(opacity_);
    const float r = radius();
    const float x = absX, y = centered ? absY : absY - r;
    glPushAttrib(GL_COLOR_BUFFER_BIT | GL_ENABLE_BIT | GL_CURRENT_BIT);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_CULL_FACE);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    // The round dab: solid to the hardness radius, fading to nothing at the rim.
    const float rgb[3] = {color ? color[0] : 0.0f, color ? color[1] : 0.0f, color ? color[2] : 0.0f};
    const float alpha = brush->opacity * a;
    const float inner = r * std::fmax(0.0f, std::fmin(1.0f, brush->hardness));
    constexpr int kSegments = 60;
    glBegin(GL_TRIANGLE_FAN);
    glColor4f(rgb[0], rgb[1], rgb[2], alpha);
    glVertex2f(x, y);
    for (int i = 0; i <= kSegments; ++i) {
        const float t = 6.2831855f * static_cast<float>(i) / kSegments;
        glVertex2f(x + inner * std::cos(t), y + inner * std::sin(t));
    }
    glEnd();
    glBegin(GL_QUAD_STRIP);
    for (int i = 0; i <= kSegments; ++i) {
        const float t = 6.2831855f * static_cast<float>(i) / kSegments;
        glColor4f(rgb[0], rgb[1], rgb[2], alpha);
        glVertex2f(x + inner * std::cos(t), y + inner * std::sin(t));
        glColor4f(rgb[0], rgb[1], rgb[2], 0.0f);
        glVertex2f(x + r * std::cos(t), y + r * std::sin(t));
    }
    glEnd();
    if (showOutline) {
        glColor4f(1, 1, 1, a);
        glBegin(GL_LINE_LOOP);
        for (int i = 0; i < 61; ++i) {
            const float t = 6.2831855f - 0.10471976f * static_cast<float>(i);
            glVertex2f(x + r * std::cos(t), y + r * std::sin(t));
        }
        glEnd();
    }
    glPopAttrib();
}
