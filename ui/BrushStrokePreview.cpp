#include "ui/BrushStrokePreview.h"

#include <GL/glew.h>

#include <algorithm>

#include "brush/BrushTips.h"
#include "brush/Dab.h"
#include "brush/SampleStroke.h"
#include "canvas/GlPixels.h"
#include "canvas/Projection.h"
#include "canvas/StrokeRenderer.h"
#include "core/Globals.h"

BrushStrokePreviewWidget::BrushStrokePreviewWidget(int x, int y, int width_, int height_, int32_t id_,
                                                   const Brush& brush_, int32_t lastHeight_)
    : Widget(x, y, width_, height_, id_), brush(brush_), lastHeight(lastHeight_), tips(&gBrushTips) {}

BrushStrokePreviewWidget::~BrushStrokePreviewWidget() {
    // The dialog goes while the program runs, with its context current.
    if (surface.textureId != 0 || surface.framebufferId != 0) surface.destroy();
}

bool BrushStrokePreviewWidget::update(int elapsedMs, int originX, int originY) {
    Widget::update(elapsedMs, originX, originY);
    if (visible && rebuild) rebuildPoints();
    return true;
}

void BrushStrokePreviewWidget::rebuildPoints() {
    rebuild = false;
    points.clear();
    const int32_t h = static_cast<int32_t>(height);
    if (h != lastHeight) {
        // A row of the preset list: the sample fits the row, whatever the preset's size.
        brush.size = std::max(1, h / 4);
        lastHeight = h;
    }
    const brush::TipFactors tip = brush.isTextured() && tips ? tips->factors(brush.tipIndex) : brush::TipFactors{};
    points = brush::sampleStrokePoints(brush, static_cast<float>(static_cast<int>(width)), static_cast<float>(h), tip);
    pixelsStale = true;
}

void BrushStrokePreviewWidget::renderPixels() {
    const int w = static_cast<int>(width), h = static_cast<int>(height);
    if (w <= 0 || h <= 0) return;
    // Making the surface binds the window's framebuffer: note the target first.
    GLint previousDraw = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &previousDraw);
    if (surface.width != w || surface.height != h || surface.textureId == 0) {
        surface.destroy();
        if (!surface.create(w, h, false, false)) {
            glBindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(previousDraw));
            return;
        }
    }
    glPushAttrib(GL_VIEWPORT_BIT | GL_COLOR_BUFFER_BIT | GL_SCISSOR_BIT);
    glDisable(GL_SCISSOR_TEST);
    surface.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(w, h);
        glClearColor(1.0f, 1.0f, 1.0f, 0.0f);
        glClear(GL_COLOR_BUFFER_BIT);
        // Dabs combine as in the stroke buffer, except that the additive rule
        // of old files is left out.
        Brush shown = brush;
        shown.setFlag(kBrushFlagAdditiveStroke, false);
        const brush::TipFactors tip =
            shown.isTextured() && tips ? tips->factors(shown.tipIndex) : brush::TipFactors{};
        std::vector<brush::Dab> dabs;
        dabs.reserve(points.size());
        for (const BrushStrokePoint& p : brush::replayedPoints(shown, points))
            dabs.push_back(brush::makeDab(p, shown, tip));
        static const BrushTipTable kNoTips;
        stampDabs(shown, dabs, tips ? *tips : kNoTips);
    }
    surface.unbind();
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(previousDraw));
    glPopAttrib();
    pixelsStale = false;
}

void BrushStrokePreviewWidget::draw(float opacity_) {
    if (pixelsStale) renderPixels();
    if (surface.textureId == 0) return;
    const float a = effectiveAlpha(opacity_);
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT);
    glEnable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    // The surface was cleared to white without alpha: its alpha is the stroke,
    // which the brush's opacity caps as the merge into a layer does.
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glBindTexture(GL_TEXTURE_2D, surface.textureId);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    glColor4f(1.0f, 1.0f, 1.0f, a * brush.opacity);
    drawQuad(static_cast<float>(static_cast<int>(absX)), static_cast<float>(static_cast<int>(absY)),
             static_cast<float>(surface.width), static_cast<float>(surface.height));
    glBindTexture(GL_TEXTURE_2D, 0);
    glPopAttrib();
}
