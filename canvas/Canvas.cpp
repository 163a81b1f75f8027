#include "canvas/Canvas.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "brush/BrushTips.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/PolygonTessellator.h"
#include "canvas/Projection.h"
#include "canvas/ShaderProgram.h"
#include "canvas/Shaders.h"
#include "canvas/StrokeRenderer.h"
#include "core/Globals.h"
#include "core/GradientRamp.h"
#include "core/InputState.h"
#include "history/History.h"

namespace {
// The merge draws in finer tiles than the copies and clears work in: a copy
// or clear is a memory fill, a merge runs a program per pixel.
constexpr int32_t kFineTileSide = 16;

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
    if (copyFramebuffer_ != 0) glDeleteFramebuffers(1, &copyFramebuffer_);
    copyFramebuffer_ = 0;
    surfacesMade = false;
}

bool Canvas::blitTexture(GLuint texture, Framebuffer& surface, bool intoSurface) {
    if (texture == 0 || !surface.complete) return false;
    GLint w = 0, h = 0;
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &w);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &h);
    glBindTexture(GL_TEXTURE_2D, 0);
    if (w != width || h != height) return false;
    if (copyFramebuffer_ == 0) glGenFramebuffers(1, &copyFramebuffer_);
    const GLenum textureSide = intoSurface ? GL_READ_FRAMEBUFFER : GL_DRAW_FRAMEBUFFER;
    const GLenum surfaceSide = intoSurface ? GL_DRAW_FRAMEBUFFER : GL_READ_FRAMEBUFFER;
    glBindFramebuffer(textureSide, copyFramebuffer_);
    glFramebufferTexture2D(textureSide, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    const bool ready = glCheckFramebufferStatus(textureSide) == GL_FRAMEBUFFER_COMPLETE;
    if (ready) {
        glBindFramebuffer(surfaceSide, surface.framebufferId);
        glPushAttrib(GL_ENABLE_BIT);
        glDisable(GL_SCISSOR_TEST);
        glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
        glPopAttrib();
    }
    glBindFramebuffer(textureSide, copyFramebuffer_);
    glFramebufferTexture2D(textureSide, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    if (ready && intoSurface) surface.updated = true;
    return ready;
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
    // New textures hold anything: every region is as bad as it can be.
    for (PixelRegion* r : {&staleRegion_, &strokeUsed_, &rawStrokeUsed_, &eraseBackupValid_, &straightColour_})
        r->reset(width, height);
    strokeFine_.reset(width, height, kFineTileSide);
    surfaceChanges_.reset(width, height);
    surfaceChanges_.addAll();
    thumbnailChanges_.reset(width, height);
    thumbnailChanges_.addAll();
    staleRegion_.addAll();
    straightColour_.addAll();
    strokeUsed_.addAll();
    rawStrokeUsed_.addAll();
    surfaceRevision_ = nextContentRevision();
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
    if (sizeChanged) sizeChanged(width, height);
}

namespace {
void clearSurface(Framebuffer& fb, float r, float g, float b, float a, float depth = 1.0f) {
    fb.bind(GL_DRAW_FRAMEBUFFER);
    glPushAttrib(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glClearColor(r, g, b, a);
    glClearDepth(depth);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glPopAttrib();
    fb.unbind();
}
} // namespace

// ---- regions -------------------------------------------------------------------

PixelRegion Canvas::wholeCanvas() const {
    PixelRegion all(width, height);
    all.addAll();
    return all;
}

PixelRegion Canvas::passRegion(const PixelRegion& region) const {
    if (limitPassesToChanges && region.width() == width && region.height() == height) return region;
    return wholeCanvas();
}

void Canvas::copyRegion(Framebuffer& target, Framebuffer& source, const PixelRegion& region) {
    if (region.empty()) return;
    if (target.complete && source.complete) {
        // Blits of the same size with nearest filtering copy bytes exactly,
        // at the speed of a memory copy.
        target.bind(GL_DRAW_FRAMEBUFFER);
        glBindFramebuffer(GL_READ_FRAMEBUFFER, source.framebufferId);
        glPushAttrib(GL_ENABLE_BIT);
        glDisable(GL_SCISSOR_TEST);
        for (const PixelRect& r : region.rects())
            glBlitFramebuffer(r.x, r.y, r.right(), r.top(), r.x, r.y, r.right(), r.top(), GL_COLOR_BUFFER_BIT,
                              GL_NEAREST);
        glPopAttrib();
        glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
        target.unbind();
        return;
    }
    // Without framebuffer objects: one draw of the region's quads, texel for pixel.
    drawTextureInto(target, source.textureId, region, true);
}

Framebuffer& Canvas::beginSurfacePass(const PixelRegion& change, bool drawsWholeChange) {
    const PixelRegion pass = passRegion(change);
    // Outside what is drawn the other surface must equal the current one.
    PixelRegion copy = staleRegion_;
    if (drawsWholeChange) copy.subtract(pass);
    copyRegion(otherLayerSurface(), currentLayerSurface(), copy);
    return otherLayerSurface();
}

void Canvas::endSurfacePass(const PixelRegion& change) {
    currentSurface = 1 - currentSurface;
    staleRegion_ = passRegion(change);
    straightColour_.add(staleRegion_);  // unknown content: assume the worst
    surfaceChanges_.addCovering(staleRegion_);
    thumbnailChanges_.addCovering(staleRegion_);
    surfaceRevision_ = nextContentRevision();
}

void Canvas::currentSurfaceChanged(const PixelRegion& where) {
    staleRegion_.add(passRegion(where));
    straightColour_.add(passRegion(where));
    surfaceChanges_.addCovering(passRegion(where));
    thumbnailChanges_.addCovering(passRegion(where));
    surfaceRevision_ = nextContentRevision();
}

PixelRegion Canvas::takeThumbnailChanges() {
    PixelRegion changes = thumbnailChanges_;
    thumbnailChanges_.clear();
    return changes;
}

PixelRegion Canvas::takeSurfaceChanges() {
    PixelRegion changes = surfaceChanges_;
    surfaceChanges_.clear();
    return changes;
}

void Canvas::currentSurfaceChangedEverywhere() { currentSurfaceChanged(wholeCanvas()); }

void Canvas::clearBufferRegion(Framebuffer& buffer, PixelRegion& used, float depth) {
    const PixelRegion region = passRegion(used);
    used.clear();
    if (region.empty()) return;
    if (region.full()) {
        clearSurface(buffer, 0, 0, 0, 0, depth);
        return;
    }
    if (GLEW_ARB_clear_texture && buffer.textureId != 0) {
        // A clear is a fill of memory: the colour texture is filled directly,
        // rectangle by rectangle. A scissored clear is drawn instead, pixel
        // by pixel, which made it the largest part of an undo on a software
        // renderer. The depth buffer is never tested, so it is left alone.
        static constexpr uint8_t kTransparent[4] = {0, 0, 0, 0};
        for (const PixelRect& r : region.rects())
            glClearTexSubImage(buffer.textureId, 0, r.x, r.y, 0, r.width, r.height, 1, GL_RGBA, GL_UNSIGNED_BYTE,
                               kTransparent);
        return;
    }
    // Without direct fills: the clear cut by the scissor, rectangle by rectangle.
    buffer.bind(GL_DRAW_FRAMEBUFFER);
    glPushAttrib(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_SCISSOR_BIT | GL_ENABLE_BIT);
    glClearColor(0, 0, 0, 0);
    glClearDepth(depth);
    glEnable(GL_SCISSOR_TEST);
    for (const PixelRect& r : region.rects()) {
        glScissor(r.x, r.y, r.width, r.height);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    }
    glPopAttrib();
    buffer.unbind();
}

void Canvas::markStrokeBufferUsed(std::span<const brush::Dab> dabs) {
    PixelRegion& used = selectionActive ? rawStrokeUsed_ : strokeUsed_;
    // Two pixels more: the smoothed merge reads one pixel around the stroke.
    for (const brush::Dab& d : dabs) {
        const PixelRect bounds = brush::dabBounds(d, 2);
        used.add(bounds);
        // The masked copy of a selection lands in the stroke buffer within the raw one's tiles.
        strokeFine_.add(bounds);
    }
}

void Canvas::clearStrokeBuffer() {
    // With a selection the masked copy of the raw buffer lands in strokeBuffer
    // only where the raw one was used: the rest of it must be clear too.
    if (selectionActive) clearBufferRegion(rawStrokeBuffer, rawStrokeUsed_, 1.0f);
    clearBufferRegion(strokeBuffer, strokeUsed_, 1.0f);
    strokeFine_.clear();
}

void Canvas::clearCurrentSurface(float r, float g, float b, float a) {
    clearSurface(currentLayerSurface(), r, g, b, a);
    currentSurfaceChangedEverywhere();
    if (r <= a && g <= a && b <= a) straightColour_.clear();
}

void Canvas::saveCurrentLayer(MultiLayeredImage& layers) {
    Layer& layer = layers.currentLayer();
    // The texture already holds what the surface holds.
    if (layer.textureId != 0 && layer.revision == surfaceRevision_ && layer.width == width &&
        layer.height == height)
        return;
    Framebuffer& surface = currentLayerSurface();
    layer.ensureTexture(width, height);
    if (!blitTexture(layer.textureId, surface, false)) {
        std::vector<uint8_t> pixels = readTexture(surface.textureId, width, height);
        if (pixels.empty()) return;
        layer.setPixels(width, height, pixels.data());
    }
    layer.revision = surfaceRevision_;
}

void Canvas::drawTextureInto(Framebuffer& target, GLuint texture, const PixelRegion& region, bool nearest) {
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT | GL_CURRENT_BIT);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_BLEND);
        glEnable(GL_TEXTURE_2D);
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, texture);
        if (nearest) {
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        }
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
        glColor4f(1, 1, 1, 1);
        drawRegion(region);
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
    // A texture of the canvas size is copied byte for byte at memory speed;
    // another size is drawn stretched over the surface.
    if (!blitTexture(texture, currentLayerSurface(), true)) drawTextureInto(currentLayerSurface(), texture, wholeCanvas(), false);
    currentSurfaceChangedEverywhere();
}

void Canvas::resetStrokeState() {
    builder = brush::StrokeBuilder{};
    builder.setTipFactorLookup([this](int32_t i) { return tipFactors(i); });
    clearSelection();
}

// ---- the stroke in progress ----------------------------------------------------

brush::StrokeInput Canvas::strokeInput() const {
    brush::StrokeInput in;
    in.pressure = gCurrentPressure;
    in.penActive = gPenActive;
    in.meanDirection = gInputState.meanDirection();
    in.color = {color[0], color[1], color[2]};
    in.colorHsv = {colorHsv[0], colorHsv[1], colorHsv[2]};
    // The copies become ordinary points of the stroke, so a replay never
    // asks the mirror again.
    if (mirrorSource) in.mirror = mirrorSource();
    return in;
}

void Canvas::selectBrushSlot(int wantedMode) {
    if (wantedMode == brush.mode || (wantedMode != 1 && wantedMode != 2)) return;
    toolBrushes[static_cast<size_t>(wantedMode - 1)] = brush;
    brush = toolBrushes[static_cast<size_t>(2 - wantedMode)];
    brush.mode = wantedMode;
}

void Canvas::setColor(brush::Rgb rgb) {
    color[0] = rgb.r, color[1] = rgb.g, color[2] = rgb.b;
    const brush::Hsv hsv = brush::rgbToHsv(rgb);
    colorHsv[0] = hsv.h, colorHsv[1] = hsv.s, colorHsv[2] = hsv.v;
}

void Canvas::setColorHsv(brush::Hsv hsv) {
    const brush::Rgb rgb = brush::hsvToRgb(hsv);
    color[0] = rgb.r, color[1] = rgb.g, color[2] = rgb.b;
    colorHsv[0] = hsv.h, colorHsv[1] = hsv.s, colorHsv[2] = hsv.v;
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
    markStrokeBufferUsed(dabs);
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        // The stroke's own brush: the canvas's may have changed since it began.
        stampDabs(builder.strokeBrush(), dabs, tipsOrNone(tips));
    }
    target.unbind();
    if (selectionActive) {
        // The raw buffer changed only under these dabs: mask just their tiles.
        PixelRegion fresh(width, height);
        for (const brush::Dab& d : dabs) fresh.add(brush::dabBounds(d, 2));
        applyMask(fresh);
    }
    return true;
}

void Canvas::strokeFrame(bool replayPending) {
    flushPendingDabs();
    glFinish();
    glFlush();
    // The stroke merges with its own brush and colour: switching to the
    // eraser or another colour right after a release changes nothing.
    const Brush& strokeBrush = builder.strokeBrush();
    const bool composite = builder.compositeDue(replayPending, strokeBrush.mode);
    if (composite) compositeStroke(strokeBrush, builder.strokeColor());
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
    // The backup is taken where the stroke reaches, just before each merge.
    if (strokeBrush.mode == kBrushModeErase) eraseBackupValid_.clear();
    builder.resetWindow(firstPoint, gCurrentPressure);
}

brush::TipFactors Canvas::tipFactors(int32_t tipIndex) const {
    if (!tips || tipIndex < 1) return {};
    return tips->factors(tipIndex);
}

void Canvas::renderDabs(const Brush& strokeBrush, std::span<const brush::Dab> dabs) {
    Framebuffer& target = selectionActive ? rawStrokeBuffer : strokeBuffer;
    if (selectionActive) clearBufferRegion(rawStrokeBuffer, rawStrokeUsed_, 0.0f);
    clearBufferRegion(strokeBuffer, strokeUsed_, 0.0f);
    strokeFine_.clear();
    markStrokeBufferUsed(dabs);
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        stampDabs(strokeBrush, dabs, tipsOrNone(tips));
    }
    target.unbind();
    if (selectionActive) applyMask();
}

bool Canvas::compositeStroke(const Brush& strokeBrush, brush::Rgb strokeColor) {
    const brush::CompositeProgram program = brush::chooseCompositeProgram(strokeBrush);
    const bool erase = program == brush::CompositeProgram::Erase;
    // These two rewrite straight-colour pixels wherever they run, stroke or not.
    const bool rewritesStraightColour = erase || program == brush::CompositeProgram::StrokeSmooth;
    PixelRegion change = strokeUsed_;
    if (rewritesStraightColour) change.add(straightColour_);
    change = passRegion(change);
    // What the merge draws: the stroke's fine tiles (and the straight-colour
    // tiles the program rewrites); the rest of the change is copied.
    PixelRegion drawn = strokeFine_;
    if (rewritesStraightColour) drawn.addCovering(straightColour_);
    if (!limitPassesToChanges) drawn = change;
    const PixelRegion straightBefore = straightColour_;
    if (erase) {
        // Where the stroke reaches for the first time the current surface
        // still holds the layer as it was before the stroke.
        PixelRegion missing = change;
        missing.subtract(eraseBackupValid_);
        copyRegion(eraseBackup, currentLayerSurface(), missing);
        eraseBackupValid_.add(missing);
    }
    const GLuint canvasTexture = erase ? eraseBackup.textureId : currentLayerSurface().textureId;
    Framebuffer& target = beginSurfacePass(change, drawn.full());
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        if (history && history->replayPending) builder.clearPendingDabs();
        // Blending is off: the merge replaces every pixel it draws, so the
        // target needs no clear first.
        drawStrokeComposite(strokeBrush, strokeColor, strokeBuffer.textureId, canvasTexture, drawn);
    }
    target.unbind();
    endSurfacePass(change);
    // The plain merges keep every pixel premultiplied; the erase leaves none
    // with straight colour where it ran; the smoothed one may leave some.
    straightColour_ = straightBefore;
    if (erase) straightColour_.subtract(change);
    else if (rewritesStraightColour) straightColour_.add(change);
    return true;
}

// ---- the selection ---------------------------------------------------------------

namespace {
// Draws `program` over the region of the bound target with blending off, two
// textures read texel for pixel, vertex colour white.
void drawTwoTexturePass(const ShaderProgram& program, const char* sampler0, GLuint texture0, const char* sampler1,
                        GLuint texture1, const PixelRegion& region) {
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_BLEND);
    glUseProgram(program.program);
    glUniform1i(glGetUniformLocation(program.program, sampler0), 0);
    glUniform1i(glGetUniformLocation(program.program, sampler1), 1);
    bindTwoTextures(texture0, texture1);
    for (GLenum unit : {GL_TEXTURE1, GL_TEXTURE0}) {
        glActiveTexture(unit);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    }
    glColor4f(1, 1, 1, 1);
    drawRegion(region);
    unbindTwoTextures();
    glUseProgram(0);
    glPopAttrib();
}

void drawTriangles(const std::vector<math::Vec2>& triangles) {
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_LIGHTING);
    glDisable(GL_CULL_FACE);
    glDisable(GL_BLEND);
    glDisable(GL_TEXTURE_2D);
    glUseProgram(0);
    glColor4f(1, 1, 1, 1);
    glBegin(GL_TRIANGLES);
    for (const math::Vec2& p : triangles) glVertex2f(p.x, p.y);
    glEnd();
    glPopAttrib();
}
} // namespace

void Canvas::setSelection(std::vector<math::Vec2> outline) {
    // A damaged file may hold points that are not numbers: they are left out.
    std::erase_if(outline, [](math::Vec2 p) { return !std::isfinite(p.x) || !std::isfinite(p.y); });
    selectionTriangles_ = tessellatePolygon(outline);
    selectionOutline_ = std::move(outline);
    buildSelectionMask();
    selectionActive = true;
}

void Canvas::restoreSelection(std::vector<math::Vec2> outline, std::vector<math::Vec2> triangles) {
    selectionOutline_ = std::move(outline);
    selectionTriangles_ = std::move(triangles);
    buildSelectionMask();
    selectionActive = true;
}

void Canvas::clearSelection() {
    selectionActive = false;
    selectionOutline_.clear();
    selectionTriangles_.clear();
}

void Canvas::buildSelectionMask() {
    if (!surfacesMade) return;
    clearSurface(selectionMask, 0, 0, 0, 0);
    // Only the outline's box is drawn: outside it the mask stays clear.
    const PixelRect outline = selectionBox();
    if (outline.empty()) return;
    const int bw = outline.width, bh = outline.height;
    // Four samples a pixel give the edge its anti-aliasing; the resolve blit
    // averages them into the mask.
    GLuint samples = 0, framebuffer = 0, renderbuffer = 0;
    const bool multisampleTexture = GLEW_VERSION_3_2 || GLEW_ARB_texture_multisample;
    const bool multisampleStorage = GLEW_VERSION_3_0 || GLEW_EXT_framebuffer_multisample;
    bool resolved = false;
    if (selectionMask.complete && (multisampleTexture || multisampleStorage)) {
        glGenFramebuffers(1, &framebuffer);
        glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        if (multisampleTexture) {
            glGenTextures(1, &samples);
            glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, samples);
            glTexImage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, 4, GL_RGBA8, bw, bh, GL_TRUE);
            glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, 0);
            glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D_MULTISAMPLE, samples, 0);
        } else {
            glGenRenderbuffers(1, &renderbuffer);
            glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
            glRenderbufferStorageMultisample(GL_RENDERBUFFER, 4, GL_RGBA8, bw, bh);
            glBindRenderbuffer(GL_RENDERBUFFER, 0);
            glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffer);
        }
        if (glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE) {
            glPushAttrib(GL_COLOR_BUFFER_BIT | GL_ENABLE_BIT | GL_VIEWPORT_BIT);
            glEnable(GL_MULTISAMPLE);
            glDisable(GL_SCISSOR_TEST);
            glClearColor(0, 0, 0, 0);
            glClear(GL_COLOR_BUFFER_BIT);
            {
                CanvasProjection projection(bw, bh);
                glTranslatef(static_cast<float>(-outline.x), static_cast<float>(-outline.y), 0.0f);
                drawTriangles(selectionTriangles_);
            }
            glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
            glBindFramebuffer(GL_DRAW_FRAMEBUFFER, selectionMask.framebufferId);
            glBlitFramebuffer(0, 0, bw, bh, outline.x, outline.y, outline.right(), outline.top(), GL_COLOR_BUFFER_BIT,
                              GL_NEAREST);
            glPopAttrib();
            selectionMask.updated = true;
            resolved = true;
        }
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glDeleteFramebuffers(1, &framebuffer);
        if (samples) glDeleteTextures(1, &samples);
        if (renderbuffer) glDeleteRenderbuffers(1, &renderbuffer);
    }
    if (resolved) return;
    // No multisampling: a hard-edged mask still confines the paint.
    selectionMask.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        drawTriangles(selectionTriangles_);
    }
    selectionMask.unbind();
}

PixelRect Canvas::selectionBox() const {
    if (selectionOutline_.empty()) return {};
    float minX = selectionOutline_[0].x, maxX = minX, minY = selectionOutline_[0].y, maxY = minY;
    for (const math::Vec2& p : selectionOutline_) {
        minX = std::min(minX, p.x), maxX = std::max(maxX, p.x);
        minY = std::min(minY, p.y), maxY = std::max(maxY, p.y);
    }
    const PixelRect around = PixelRect::around(minX, minY, maxX, maxY, 1);
    const int32_t x0 = std::max(around.x, 0), y0 = std::max(around.y, 0);
    const int32_t x1 = std::min(around.right(), width), y1 = std::min(around.top(), height);
    if (x1 <= x0 || y1 <= y0) return {};
    return {x0, y0, x1 - x0, y1 - y0};
}

PixelRegion Canvas::selectionRegion() const {
    PixelRegion region(width, height);
    region.add(selectionBox());
    return region;
}

void Canvas::applyMask() { applyMask(rawStrokeUsed_); }

void Canvas::applyMask(const PixelRegion& changed) {
    if (!surfacesMade) return;
    const PixelRegion region = passRegion(changed);
    strokeBuffer.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        drawTwoTexturePass(selectionMaskProgram, "strokeTex", rawStrokeBuffer.textureId, "maskTex",
                           selectionMask.textureId, region);
    }
    strokeBuffer.unbind();
    // The merge reads these tiles of the stroke buffer now.
    strokeUsed_.add(region);
}

bool Canvas::extractSelection(int& outWidth, int& outHeight, std::vector<uint8_t>& bgraPixels, math::Vec2& centre) {
    outWidth = outHeight = 0;
    bgraPixels.clear();
    if (!surfacesMade || selectionOutline_.empty()) return false;
    float minX = selectionOutline_[0].x, maxX = minX, minY = selectionOutline_[0].y, maxY = minY;
    for (const math::Vec2& p : selectionOutline_) {
        minX = std::min(minX, p.x), maxX = std::max(maxX, p.x);
        minY = std::min(minY, p.y), maxY = std::max(maxY, p.y);
    }
    minX = std::max(std::floor(minX), 0.0f);
    minY = std::max(std::floor(minY), 0.0f);
    maxX = std::min(std::ceil(maxX), static_cast<float>(width));
    maxY = std::min(std::ceil(maxY), static_cast<float>(height));
    centre = {(maxX - minX) * 0.5f + minX, (maxY - minY) * 0.5f + minY};
    // A box off the canvas (or of coordinates beyond any int) has no pixels.
    if (!(maxX > minX) || !(maxY > minY)) return false;
    const int w = static_cast<int>(maxX - minX), h = static_cast<int>(maxY - minY);
    Framebuffer box;
    if (!box.create(w, h, false, false)) return false;
    box.bind(GL_DRAW_FRAMEBUFFER);
    bgraPixels.resize(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4);
    {
        glPushAttrib(GL_COLOR_BUFFER_BIT);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        glPopAttrib();
        CanvasProjection projection(w, h);
        glTranslatef(-minX, -minY, 0.0f);
        PixelRegion all = wholeCanvas();
        drawTwoTexturePass(selectionMaskProgram, "strokeTex", currentLayerSurface().textureId, "maskTex",
                           selectionMask.textureId, all);
        glFinish();
        if (box.complete) glBindFramebuffer(GL_READ_FRAMEBUFFER, box.framebufferId);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glReadPixels(0, 0, w, h, GL_BGRA, GL_UNSIGNED_BYTE, bgraPixels.data());
        if (box.complete) glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
    }
    box.unbind();
    box.destroy();
    outWidth = w;
    outHeight = h;
    return true;
}

void Canvas::eraseSelectedPixels() {
    if (!surfacesMade || !selectionActive) return;
    // The erase program rewrites straight-colour pixels wherever it runs, so a
    // limited pass covers those tiles as well as the selection's.
    PixelRegion change = selectionRegion();
    change.add(straightColour_);
    change = passRegion(change);
    const PixelRegion straightBefore = straightColour_;
    const GLuint layerTexture = currentLayerSurface().textureId;
    Framebuffer& target = beginSurfacePass(change);
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        drawTwoTexturePass(eraseProgram, "strokeTex", selectionMask.textureId, "canvasTex", layerTexture, change);
    }
    target.unbind();
    endSurfacePass(change);
    straightColour_ = straightBefore;
}

void Canvas::fillSelection(brush::Rgb fillColor) {
    if (!surfacesMade || !selectionActive) return;
    // The fill is a stroke that covers the whole raw buffer: the mask cuts it
    // and the plain merge lays it on the layer.
    clearSurface(rawStrokeBuffer, 1, 1, 1, 1);
    rawStrokeUsed_.addAll();
    clearBufferRegion(strokeBuffer, strokeUsed_, 1.0f);
    strokeFine_.clear();
    // The merge draws where the mask may be non-zero and copies the rest.
    strokeFine_.addCovering(selectionRegion());
    applyMask();
    Brush plain;
    plain.mode = kBrushModePaint;
    plain.antialias = 0;
    plain.flags = kBrushFlagNone;
    plain.opacity = 1.0f;
    compositeStroke(plain, fillColor);
    // Nothing of the fill may show as a stroke preview afterwards.
    clearBufferRegion(strokeBuffer, strokeUsed_, 1.0f);
    strokeFine_.clear();
}

void Canvas::mergeImage(const uint8_t* rgba, const PixelRect& box) {
    if (!surfacesMade) return;
    const int32_t x0 = std::max(box.x, 0), y0 = std::max(box.y, 0);
    const int32_t x1 = std::min(box.right(), width), y1 = std::min(box.top(), height);
    if (x1 <= x0 || y1 <= y0) return;
    const PixelRect cut{x0, y0, x1 - x0, y1 - y0};
    // Whatever an earlier stroke left in the buffers goes first: outside the
    // box the image is clear, and so must the buffer be.
    if (selectionActive) clearBufferRegion(rawStrokeBuffer, rawStrokeUsed_, 0.0f);
    clearBufferRegion(strokeBuffer, strokeUsed_, 0.0f);
    strokeFine_.clear();
    Framebuffer& target = selectionActive ? rawStrokeBuffer : strokeBuffer;
    // One upload of the box, read out of the whole-canvas image.
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, width);
    glBindTexture(GL_TEXTURE_2D, target.textureId);
    glTexSubImage2D(GL_TEXTURE_2D, 0, cut.x, cut.y, cut.width, cut.height, GL_RGBA, GL_UNSIGNED_BYTE,
                    rgba + (static_cast<std::size_t>(cut.y) * static_cast<std::size_t>(width) +
                            static_cast<std::size_t>(cut.x)) * 4);
    glBindTexture(GL_TEXTURE_2D, 0);
    glPopClientAttrib();
    target.updated = true;
    (selectionActive ? rawStrokeUsed_ : strokeUsed_).add(cut);
    strokeFine_.add(cut);
    if (selectionActive) applyMask();
    mergeStrokeBufferOver();
}

void Canvas::mergeStrokeBufferOver() {
    const PixelRegion change = passRegion(strokeUsed_);
    PixelRegion drawn = strokeFine_;
    if (!limitPassesToChanges) drawn = change;
    const GLuint layerTexture = currentLayerSurface().textureId;
    Framebuffer& surface = beginSurfacePass(change, drawn.full());
    surface.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        drawTwoTexturePass(premultipliedOverProgram, "strokeTex", strokeBuffer.textureId, "canvasTex", layerTexture,
                           drawn);
    }
    surface.unbind();
    endSurfacePass(change);
    // Nothing of the fill may show as a stroke preview afterwards.
    clearBufferRegion(strokeBuffer, strokeUsed_, 0.0f);
    strokeFine_.clear();
}

void Canvas::paintFigure(const float rgba[4], const PixelRect& bounds, const std::function<void()>& drawFigure) {
    if (!surfacesMade) return;
    // The viewport goes back to the caller's at the end, set by hand: a
    // pushed viewport bit was seen not to bring it back on Mesa here.
    GLint viewport[4] = {0, 0, 0, 0};
    glGetIntegerv(GL_VIEWPORT, viewport);
    // The buffer's colour outside the figure is the figure's own, so the
    // smoothed merge's soft rim takes no other colour in.
    strokeBuffer.bind(GL_DRAW_FRAMEBUFFER);
    glPushAttrib(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT | GL_ENABLE_BIT | GL_CURRENT_BIT |
                 GL_SCISSOR_BIT | GL_POLYGON_BIT);
    glDisable(GL_SCISSOR_TEST);
    glClearColor(rgba[0], rgba[1], rgba[2], 0.0f);
    glClearDepth(1.0);
    glClearStencil(0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    {
        CanvasProjection projection(width, height);
        glDisable(GL_BLEND);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_TEXTURE_2D);
        glDisable(GL_CULL_FACE);
        glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
        glUseProgram(0);
        glColor4f(rgba[0], rgba[1], rgba[2], rgba[3]);
        drawFigure();
    }
    glPopAttrib();
    strokeBuffer.unbind();
    // All of the buffer holds colour now: the next user clears all of it.
    strokeUsed_.addAll();
    strokeFine_.clear();
    // The merge reads one pixel round the figure.
    PixelRegion change(width, height);
    change.add(PixelRect{bounds.x - 2, bounds.y - 2, bounds.width + 4, bounds.height + 4});
    change = passRegion(change);
    if (!change.empty()) {
        const GLuint layerTexture = currentLayerSurface().textureId;
        Framebuffer& target = beginSurfacePass(change);
        target.bind(GL_DRAW_FRAMEBUFFER);
        {
            CanvasProjection projection(width, height);
            drawTwoTexturePass(smoothOverProgram, "strokeTex", strokeBuffer.textureId, "canvasTex", layerTexture,
                               change);
        }
        target.unbind();
        endSurfacePass(change);
    }
    // Nothing of the figure may show as a stroke preview afterwards.
    clearBufferRegion(strokeBuffer, strokeUsed_, 1.0f);
    strokeFine_.clear();
    glViewport(viewport[0], viewport[1], viewport[2], viewport[3]);
}

// ---- the gradient ----------------------------------------------------------------

void Canvas::renderGradient(math::Vec2 start, math::Vec2 end, std::span<const std::array<float, 4>> colors,
                            std::span<const float> positions) {
    if (!surfacesMade) return;
    const std::vector<gradient::StripVertex> strip = gradient::rampStrip(start, end, colors, positions, width, height);
    // The strip may reach every pixel: the whole buffer is replaced.
    Framebuffer& target = selectionActive ? rawStrokeBuffer : strokeBuffer;
    clearSurface(target, 0, 0, 0, 0);
    (selectionActive ? rawStrokeUsed_ : strokeUsed_).addAll();
    strokeFine_.addAll();
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_LIGHTING_BIT | GL_POLYGON_BIT);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_TEXTURE_2D);
        glDisable(GL_CULL_FACE);
        glDisable(GL_BLEND);  // the strip's premultiplied colours replace the clear
        glShadeModel(GL_SMOOTH);
        glUseProgram(0);
        glBegin(GL_TRIANGLE_STRIP);
        for (const gradient::StripVertex& v : strip) {
            glColor4f(v.color[0], v.color[1], v.color[2], v.color[3]);
            glVertex2f(v.position.x, v.position.y);
        }
        glEnd();
        glPopAttrib();
    }
    target.unbind();
    if (selectionActive) applyMask();
}

void Canvas::mergeGradient() {
    if (!surfacesMade) return;
    mergeStrokeBufferOver();
}
