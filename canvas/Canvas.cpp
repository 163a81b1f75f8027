#include "canvas/Canvas.h"

#include <GL/glew.h>

#include <algorithm>
#include <vector>

#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Projection.h"
#include "canvas/Shaders.h"
#include "core/Globals.h"

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
    // The smoothing pass samples one canvas pixel away.
    if (smoothOverProgram.program) {
        glUseProgram(smoothOverProgram.program);
        glUniform2f(glGetUniformLocation(smoothOverProgram.program, "sampleOffset"), 1.0f / width,
                    1.0f / height);
        glUseProgram(0);
    }
}

namespace {
void clearSurface(Framebuffer& fb, float r, float g, float b, float a) {
    fb.bind(GL_DRAW_FRAMEBUFFER);
    glPushAttrib(GL_COLOR_BUFFER_BIT);
    glClearColor(r, g, b, a);
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
    Layer& layer = layers.currentLayer();
    layer.setPixels(width, height, pixels.data());
}

void Canvas::loadSurface(GLuint texture, bool keepFilter) {
    Framebuffer& target = currentLayerSurface();
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT | GL_CURRENT_BIT);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_BLEND);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        if (!keepFilter) {
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        }
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
        glColor4f(1, 1, 1, 1);
        drawQuad(0.0f, 0.0f, static_cast<float>(width), static_cast<float>(height));
        glBindTexture(GL_TEXTURE_2D, 0);
        glPopAttrib();
    }
    target.unbind();
}

void Canvas::resetStrokeState() {
    firstDabPending = false;
    strokeEnded = false;
    strokeDirty = false;
    selectionActive = false;
}
