#include "ui/BrushPreview.h"

#include <GL/glew.h>

#include <cmath>

#include "brush/Brush.h"
#include "brush/BrushTips.h"
#include "brush/Dab.h"
#include "brush/StrokePoint.h"
#include "canvas/Painter.h"
#include "canvas/StrokeRenderer.h"
#include "core/Camera.h"
#include "core/Globals.h"

BrushPreviewWidget::BrushPreviewWidget(int x, int y, const Brush* brush_, const float* color_, bool scaleByZoom_,
                                       bool showOutline_)
    : Widget(x, y, 10, 10), brush(brush_), color(color_ ? color_ : ownColor), scaleByZoom(scaleByZoom_),
      showOutline(showOutline_), tips(&gBrushTips) {}

int BrushPreviewWidget::onMouseMove(int x, int y, bool fromPen) {
    (void)x, (void)y, (void)fromPen;
    return 0;
}

float BrushPreviewWidget::zoom() const {
    if (!scaleByZoom) return 1.0f;
    return gCamera.scale(static_cast<float>(static_cast<int>(gPainter.renderArea.height)));
}

float BrushPreviewWidget::radius() const { return brush ? static_cast<float>(brush->size) * zoom() * 0.5f : 0.0f; }

void BrushPreviewWidget::draw(float opacity_) {
    if (!brush) return;
    const float a = effectiveAlpha(opacity_);
    const float s = zoom();
    const float r = static_cast<float>(brush->size) * s * 0.5f;
    const float x = absX, y = centered ? absY : absY - r;
    if (showOutline) {
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT);
        glDisable(GL_TEXTURE_2D);
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        glColor4f(1, 1, 1, a);
        glBegin(GL_LINE_LOOP);
        for (int i = 0; i < 61; ++i) {
            const float t = 6.2831855f - 0.10471976f * static_cast<float>(i);
            glVertex2f(x + r * std::cos(t), y + r * std::sin(t));
        }
        glEnd();
        glPopAttrib();
    }
    // The dab of the brush at full pressure, in the given colour, faded with
    // the widget and carrying the brush's opacity. Over the interface it
    // blends as premultiplied colour (one, one minus source alpha), which is
    // the rule of colour dynamics in the stroke buffer.
    Brush shown = *brush;
    shown.flags = (shown.flags & ~uint32_t(kBrushFlagAdditiveStroke)) | kBrushFlagColorDynamics;
    BrushStrokePoint point({x, y}, s, brush->opacity * a, false, brush->angle);
    point = point.withColor({color[0], color[1], color[2]});
    const brush::TipFactors tip =
        shown.isTextured() && tips ? tips->factors(shown.tipIndex) : brush::TipFactors{};
    const brush::Dab dab = brush::makeDab(point, shown, tip);
    static const BrushTipTable kNoTips;
    stampDabs(shown, {&dab, 1}, tips ? *tips : kNoTips);
}
