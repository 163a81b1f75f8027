#include "canvas/Painter.h"

#include <GL/glew.h>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Shaders.h"
#include "canvas/ViewMath.h"
#include "core/Application.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/InteractionMode.h"
#include "platform/Clock.h"
#include "history/History.h"

Painter::Painter(float renderWidth, float renderHeight, Camera* camera, Canvas* canvas, MultiLayeredImage* layers,
                 Application* application)
    : camera(camera), canvas(canvas), layers(layers), application(application),
      renderArea{0, 0, renderWidth, renderHeight} {}

Painter::~Painter() = default;

// ---- pointer ---------------------------------------------------------------

void Painter::refreshPointer(math::Vec2 position) {
    // The pen, when it speaks, replaces the event's position with its sub-pixel one.
    if (!gPenActive) {
        gCurrentPressure = 1.0f;
    } else {
        position = {gPenX, gPenY};
        if (gFirstPacket) {
            gFirstPacket = false;
            gLastPenTime = platform::nowMs();
        }
    }
    const math::Vec2 previous = windowPosition;
    windowPosition = position - math::Vec2(renderArea.x, renderArea.y);
    // The axis lock holds one coordinate still (0: x, 1: y).
    if (gInputState.axisLock == 0) windowPosition.x = previous.x;
    else if (gInputState.axisLock == 1) windowPosition.y = previous.y;
    canvasPosition = windowToCanvas(windowPosition);
}

void Painter::zoomAt(bool zoomIn, int x, int y, float factor) {
    const float s = viewScale();
    const float w = static_cast<float>(static_cast<int>(renderArea.width));
    const float h = static_cast<float>(static_cast<int>(renderArea.height));
    const math::Vec2 v{((x - renderArea.x) - renderArea.width / 2) / s + camera->position.x,
                       ((y - renderArea.y) - renderArea.height / 2) / s + camera->position.y};
    (void)w;
    if (!zoomIn) {
        // The canvas never shrinks below about 50 window pixels.
        if (2 * camera->distance < canvas->height * (h / 50.0f)) camera->zoomOutAt(v, factor);
    } else if (2 * camera->distance >= 4.0f) {
        camera->zoomInAt(v, factor);
    }
    application->showMessage("zoom: %d%%", static_cast<int>(viewScale() * 100));
}

void Painter::pan(int x, int y) {
    const float dx = static_cast<float>(gInputState.previousX - x);
    const float dy = static_cast<float>(gInputState.previousY - y);
    if (dx == 0 && dy == 0) return;
    const float s = viewScale();
    const math::Vec2 d{dx / s, dy / s};
    camera->position.x -= camera->m01 * d.y + camera->m00 * d.x;
    camera->position.y -= camera->m11 * d.y + camera->m10 * d.x;
}

math::Vec2 Painter::canvasToWindow(math::Vec2 point) const {
    return ::canvasToWindow({*camera, renderArea.width, renderArea.height, canvas->width, canvas->height}, point);
}

math::Vec2 Painter::windowToCanvas(math::Vec2 point) const {
    return ::windowToCanvas({*camera, renderArea.width, renderArea.height, canvas->width, canvas->height}, point);
}

math::Vec2 Painter::canvasCentreToWindow() const {
    return canvasToWindow({canvas->width / 2.0f, canvas->height / 2.0f});
}

float Painter::viewScale() const { return camera->scale(renderArea.height); }

int Painter::onMouseButton(int, int, int x, int y, bool) {
    refreshPointer({static_cast<float>(x), static_cast<float>(y)});
    return 0;
}

int Painter::onMouseMove(int x, int y, bool) {
    refreshPointer({static_cast<float>(x), static_cast<float>(y)});
    return 0;
}

int Painter::onMouseDrag(int x, int y, bool) {
    refreshPointer({static_cast<float>(x), static_cast<float>(y)});
    if (application->interactionMode == kModePanning) {
        pan(x, y);
        return 1;
    }
    return 0;
}

int Painter::onKey(int, int, int) { return 0; }

int Painter::onMouseWheel(int, int, int, int) { return 1; }

int Painter::onDoubleClick(int, int) { return 0; }

bool Painter::update(int, int, int) { return true; }

// ---- frame -----------------------------------------------------------------

void Painter::draw() {
    glFinish();
    glFlush();
    // After an undo: restore the snapshot and execute the later actions again.
    gHistory.replayIfPending();
    glViewport(static_cast<GLint>(renderArea.x), static_cast<GLint>(renderArea.y),
               static_cast<GLsizei>(renderArea.width), static_cast<GLsizei>(renderArea.height));
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    camera->apply();
    drawCanvas(-canvas->width / 2.0f, -canvas->height / 2.0f, static_cast<float>(canvas->width),
               static_cast<float>(canvas->height), true);
    glPopMatrix();
    glFinish();
    glFlush();
    if (pickRequested) {
        float rgba[4] = {0, 0, 0, 0};
        glReadPixels(pickX, pickY, 1, 1, GL_RGBA, GL_FLOAT, rgba);
        canvas->color[0] = rgba[0];
        canvas->color[1] = rgba[1];
        canvas->color[2] = rgba[2];
    }
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}

void Painter::drawCanvas(float x, float y, float width, float height, bool withTools) {
    glPushAttrib(GL_CURRENT_BIT | GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT);
    glDisable(GL_DEPTH_TEST);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    glEnable(GL_BLEND);
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    // The checkerboard is fixed to window pixels: it does not move with the canvas.
    glUseProgram(checkerboardProgram.program);
    glDisable(GL_TEXTURE_2D);
    drawQuad(x, y, width, height);
    glEnable(GL_TEXTURE_2D);
    glUseProgram(0);
    drawLayers(x, y, width, height, withTools);
    glPopAttrib();
}

namespace {
void setBlendForMode(int blendMode) {
    if (blendMode == 0) glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    else if (blendMode == 1) glBlendFunc(GL_DST_COLOR, GL_ONE_MINUS_SRC_ALPHA);
}

// Magnification is hard from a zoom of 5 up, smooth below; minification always smooth.
void setZoomFilters(float zoom) {
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, zoom >= 5.0f ? GL_NEAREST : GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
}
} // namespace

void Painter::drawLayers(float x, float y, float width, float height, bool withTools) {
    (void)withTools; // tools draw on the canvas once they exist
    const float s = viewScale();
    const int current = layers->current;
    for (int i = 0; i < current; ++i) {
        const Layer& l = layers->layers[static_cast<size_t>(i)];
        if (l.visible) drawLayer(l, x, y, width, height, s);
    }
    const Layer& cur = layers->layers[static_cast<size_t>(current)];
    if (cur.visible) {
        setBlendForMode(cur.blendMode);
        const float o = cur.opacity / 100.0f;
        glBindTexture(GL_TEXTURE_2D, canvas->currentLayerSurface().textureId);
        setZoomFilters(s);
        glColor4f(o, o, o, o);
        drawQuad(x, y, width, height);
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    for (int i = current + 1; i < layers->count(); ++i) {
        const Layer& l = layers->layers[static_cast<size_t>(i)];
        if (l.visible) drawLayer(l, x, y, width, height, s);
    }
    glColor4f(1, 1, 1, 1);
}

void Painter::drawLayer(const Layer& layer, float x, float y, float width, float height, float zoom) {
    setBlendForMode(layer.blendMode);
    const float o = layer.opacity / 100.0f;
    glColor4f(o, o, o, o);
    glBindTexture(GL_TEXTURE_2D, layer.textureId);
    setZoomFilters(zoom);
    drawQuad(x, y, width, height);
    glBindTexture(GL_TEXTURE_2D, 0);
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
}
