#include "canvas/Canvas.h"

#include <GL/glew.h>

#include <algorithm>
#include <vector>

#include "brush/BrushTips.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Projection.h"
#include "canvas/Shaders.h"
#include "canvas/StrokeRenderer.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "history/History.h"

namespace {
// Round brushes need no tips; a canvas without a table stamps only those.
const BrushTipTable& tipsOrNone(const BrushTipTable* tips) {
    static const BrushTipTable none;
    return tips ? *tips : none;
}
} // namespace

void Canvas::attach(History* h, BrushTipTable* t) {
    history = h;
    tips = t;
    builder.setTipFactorLookup([this](int32_t i) { return tipFactors(i); });
}

// ---- surfaces ----------------------------------------------------------------

void Canvas::freeSurfaces() {
    if (!surfacesMade) return;
    strokeBuffer.destroy();
    rawStrokeBuffer.destroy();
    layerSurface[0].destroy();
    layerSurface[1].destroy();
    selectionMask.destroy();
    eraseBackup.destroy();
    surfacesMade = false;
}

void Canvas::resize(int newWidth, int newHeight, MultiLayeredImage& layers) {
    resetStrokeState();
    freeSurfaces();
    width = newWidth;
    height = newHeight;
    for (Framebuffer* fb : {&strokeBuffer, &rawStrokeBuffer, &layerSurface[0], &layerSurface[1], &selectionMask,
                            &eraseBackup})
        fb->create(width, height, true, false);
    surfacesMade = true;
    currentSurface = 0;
    layers.reset(width, height);
    gMaxBrushSize = 2 * std::max(width, height);
    // The smoothing passes sample one canvas pixel away. Done here, so every
    // path that makes a canvas (new, load, crop) sets it, not only the brush tool's.
    for (ShaderProgram* p : {&smoothOverProgram, &strokeSmoothProgram, &strokeSmoothPreviewProgram}) {
        if (!p->program) continue;
        glUseProgram(p->program);
        glUniform2f(glGetUniformLocation(p->program, "sampleOffset"), 1.0f / width, 1.0f / height);
        glUseProgram(0);
    }
}

namespace {
void clearSurface(Framebuffer& fb, float r, float g, float b, float a) {
    fb.bind(GL_DRAW_FRAMEBUFFER);
    glPushAttrib(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glClearColor(r, g, b, a);
    glClearDepth(1.0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glPopAttrib();
    fb.unbind();
}
} // namespace

void Canvas::clearStrokeBuffer() {
    clearSurface(selectionActive ? rawStrokeBuffer : strokeBuffer, 0, 0, 0, 0);
}

void Canvas::clearCurrentSurface(float r, float g, float b, float a) {
    clearSurface(currentLayerSurface(), r, g, b, a);
}

void Canvas::saveCurrentLayer(MultiLayeredImage& layers) {
    std::vector<uint8_t> pixels = readTexture(currentLayerSurface().textureId, width, height);
    if (pixels.empty()) return;
    layers.currentLayer().setPixels(width, height, pixels.data());
}

void Canvas::copyInto(Framebuffer& target, GLuint texture) {
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT | GL_CURRENT_BIT);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_BLEND);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
        glColor4f(1, 1, 1, 1);
        drawQuad(0.0f, 0.0f, static_cast<float>(width), static_cast<float>(height));
        glBindTexture(GL_TEXTURE_2D, 0);
        glPopAttrib();
    }
    target.unbind();
}

void Canvas::loadSurface(GLuint texture, bool keepFilter) {
    if (!keepFilter) {
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    copyInto(currentLayerSurface(), texture);
}

void Canvas::resetStrokeState() {
    builder = brush::StrokeBuilder{};
    builder.setTipFactorLookup([this](int32_t i) { return tipFactors(i); });
    selectionActive = false;
}

// ---- the stroke in progress ----------------------------------------------------

brush::StrokeInput Canvas::strokeInput() const {
    brush::StrokeInput in;
    in.pressure = gCurrentPressure;
    in.penActive = gPenActive;
    in.meanDirection = gInputState.meanDirection();
    in.color = {color[0], color[1], color[2]};
    in.colorHsv = {colorHsv[0], colorHsv[1], colorHsv[2]};
    return in;
}

void Canvas::selectBrushSlot(int wantedMode) {
    if (wantedMode == brush.mode || (wantedMode != 1 && wantedMode != 2)) return;
    toolBrushes[static_cast<size_t>(wantedMode - 1)] = brush;
    brush = toolBrushes[static_cast<size_t>(2 - wantedMode)];
    brush.mode = wantedMode;
}

void Canvas::beginStroke(float x, float y) {
    if (builder.strokeEnded() || !history || !surfacesMade) return;
    selectBrushSlot(gWantedMode);
    prepareStroke(brush, {x, y});
    std::unique_ptr<BrushStrokeAction> action = builder.beginStroke({x, y}, brush, strokeInput());
    if (!action) return;
    // The stroke is in the history from its first dab on.
    history->add(std::move(action), false);
}

void Canvas::continueStroke(float x, float y) { builder.continueStroke({x, y}, strokeInput()); }

void Canvas::holdStroke(float x, float y) { builder.holdStroke({x, y}, strokeInput()); }

void Canvas::endStroke() { builder.endStroke(strokeInput()); }

bool Canvas::flushPendingDabs() {
    const std::vector<brush::Dab> dabs = builder.takeDabsToFlush();
    if (dabs.empty()) return false;
    Framebuffer& target = selectionActive ? rawStrokeBuffer : strokeBuffer;
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        stampDabs(brush, dabs, tipsOrNone(tips));
    }
    target.unbind();
    return true;
}

void Canvas::strokeFrame(bool replayPending) {
    flushPendingDabs();
    glFinish();
    glFlush();
    const bool composite = builder.compositeDue(replayPending, brush.mode);
    if (composite) compositeStroke(brush, {color[0], color[1], color[2]});
    glFinish();
    glFlush();
    // An ended stroke with nothing left to merge goes back to idle.
    builder.frameDone(composite);
}

void Canvas::renderStrokePoints(const BrushStrokeAction& action) {
    const std::vector<brush::Dab> dabs = action.replayDabs(tipFactors(action.brush().tipIndex));
    renderDabs(action.brush(), dabs);
}

// ---- DabSink: replay of finished strokes --------------------------------------------

void Canvas::prepareStroke(const Brush& strokeBrush, math::Vec2 firstPoint) {
    clearStrokeBuffer();
    // An erase stroke subtracts the whole buffer from the layer as it was
    // before the stroke, so repeated merges during the stroke do not add up.
    if (strokeBrush.mode == kBrushModeErase) copyInto(eraseBackup, currentLayerSurface().textureId);
    builder.resetWindow(firstPoint, gCurrentPressure);
}

brush::TipFactors Canvas::tipFactors(int32_t tipIndex) const {
    if (!tips || tipIndex < 1) return {};
    return tips->factors(tipIndex);
}

void Canvas::renderDabs(const Brush& strokeBrush, std::span<const brush::Dab> dabs) {
    Framebuffer& target = selectionActive ? rawStrokeBuffer : strokeBuffer;
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        glPushAttrib(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glClearColor(0, 0, 0, 0);
        glClearDepth(0);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glPopAttrib();
        stampDabs(strokeBrush, dabs, tipsOrNone(tips));
    }
    target.unbind();
}

bool Canvas::compositeStroke(const Brush& strokeBrush, brush::Rgb strokeColor) {
    Framebuffer& target = otherLayerSurface();
    const GLuint canvasTexture = strokeBrush.mode == kBrushModeErase ? eraseBackup.textureId
                                                                      : currentLayerSurface().textureId;
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        glPushAttrib(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
        glClearColor(0, 0, 0, 0);
        GLbitfield mask = GL_COLOR_BUFFER_BIT;
        if (history && history->replayPending) {
            mask |= GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT;
            builder.clearPendingDabs();
        }
        glClear(mask);
        glPopAttrib();
        drawStrokeComposite(strokeBrush, strokeColor, strokeBuffer.textureId, canvasTexture, width, height);
    }
    target.unbind();
    currentSurface = 1 - currentSurface;
    return true;
}
