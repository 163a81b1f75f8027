#include "io/FlatImage.h"

#include <GL/glew.h>

#include <algorithm>

#include "canvas/Canvas.h"
#include "canvas/Framebuffer.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Projection.h"
#include "canvas/ShaderProgram.h"
#include "canvas/Shaders.h"
#include "io/ImageFormat.h"

bool flatImageKeepsAlpha(const std::string& path) {
    const int format = saveFormatForPath(path);
    return format != kSaveJpeg && format != kSaveBmp;
}

namespace {

// A scratch surface of canvas size, freed with the scope.
struct ScratchSurface {
    Framebuffer surface;
    ScratchSurface(int width, int height) : surface(width, height) { surface.create(false, false); }
    ~ScratchSurface() { surface.destroy(); }
    ScratchSurface(const ScratchSurface&) = delete;
    ScratchSurface& operator=(const ScratchSurface&) = delete;
};

GLuint layerTexture(Canvas& canvas, const MultiLayeredImage& layers, int index) {
    // The current layer's pixels live in its surface; its texture may be stale.
    return index == layers.current ? canvas.currentLayerSurface().textureId
                                   : layers.layers[static_cast<size_t>(index)].textureId;
}

float layerOpacity(const Layer& layer) { return layer.visible ? layer.opacity / 100.0f : 0.0f; }

// One merge step: top over bottom with the layer-merge program, blending off.
void mergeInto(Framebuffer& target, GLuint top, float topOpacity, GLuint bottom, float bottomOpacity, int width,
               int height) {
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(width, height);
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_BLEND);
        glClearColor(1, 1, 1, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        glUseProgram(layerMergeProgram.program);
        glUniform1i(glGetUniformLocation(layerMergeProgram.program, "strokeTex"), 0);
        glUniform1i(glGetUniformLocation(layerMergeProgram.program, "canvasTex"), 1);
        bindTwoTextures(top, bottom);
        glColor4f(topOpacity, bottomOpacity, 1, 1);
        drawQuad(0.0f, 0.0f, static_cast<float>(width), static_cast<float>(height));
        unbindTwoTextures();
        glUseProgram(0);
        glPopAttrib();
    }
    target.unbind();
}

std::vector<uint8_t> mergedDown(Canvas& canvas, const MultiLayeredImage& layers) {
    const int w = canvas.width, h = canvas.height;
    ScratchSurface a(w, h), b(w, h);
    Framebuffer* result = nullptr;
    GLuint top = layerTexture(canvas, layers, layers.count() - 1);
    float topOpacity = layerOpacity(layers.layers.back());
    for (int i = layers.count() - 2; i >= 0; --i) {
        Framebuffer& target = (result == &a.surface) ? b.surface : a.surface;
        mergeInto(target, top, topOpacity, layerTexture(canvas, layers, i),
                  layerOpacity(layers.layers[static_cast<size_t>(i)]), w, h);
        // The merged layer is visible at full opacity.
        result = &target;
        top = target.textureId;
        topOpacity = 1.0f;
    }
    return readTexture(result->textureId, w, h);
}

void setBlendForMode(int blendMode) {
    if (blendMode == 0) glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    else if (blendMode == 1) glBlendFunc(GL_DST_COLOR, GL_ONE_MINUS_SRC_ALPHA);
}

std::vector<uint8_t> flattenedOverBlack(Canvas& canvas, const MultiLayeredImage& layers) {
    ScratchSurface flat(canvas.width, canvas.height);
    composeLayersOver(canvas, layers, flat.surface, 0, 0, 0);
    return readTexture(flat.surface.textureId, canvas.width, canvas.height);
}

} // namespace

void composeLayersOver(Canvas& canvas, const MultiLayeredImage& layers, Framebuffer& target, float red, float green,
                       float blue, int first, int last, GLuint base, float alpha) {
    const int w = canvas.width, h = canvas.height;
    if (last < 0 || last > layers.count()) last = layers.count();
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(w, h);
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_CULL_FACE);
        glEnable(GL_TEXTURE_2D);
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
        if (base != 0) {
            // The layers below, composed before: copied texel for pixel.
            glDisable(GL_BLEND);
            glColor4f(1, 1, 1, 1);
            glBindTexture(GL_TEXTURE_2D, base);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
            drawQuad(0.0f, 0.0f, static_cast<float>(w), static_cast<float>(h));
            glBindTexture(GL_TEXTURE_2D, 0);
        } else {
            glClearColor(red, green, blue, alpha);
            glClear(GL_COLOR_BUFFER_BIT);
        }
        glEnable(GL_BLEND);
        // The frame's layer pass at zoom 1: blend by mode, opacity in all four channels.
        for (int i = std::max(0, first); i < last; ++i) {
            const Layer& layer = layers.layers[static_cast<size_t>(i)];
            if (!layer.visible) continue;
            setBlendForMode(layer.blendMode);
            const float o = layer.opacity / 100.0f;
            glColor4f(o, o, o, o);
            glBindTexture(GL_TEXTURE_2D, layerTexture(canvas, layers, i));
            // Texel for pixel, every sample lands on a texel centre: nearest
            // gives what linear gives, without the three extra reads that
            // make linear several times slower on a software rasteriser.
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
            drawQuad(0.0f, 0.0f, static_cast<float>(w), static_cast<float>(h));
            // The filters the frame's pass leaves on the layer textures.
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
            glBindTexture(GL_TEXTURE_2D, 0);
            glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
        }
        glPopAttrib();
    }
    target.unbind();
}

std::vector<uint8_t> flatImagePixels(Canvas& canvas, const MultiLayeredImage& layers, bool keepAlpha) {
    if (!canvas.hasSurfaces() || layers.count() < 1) return {};
    if (!keepAlpha) return flattenedOverBlack(canvas, layers);
    if (layers.count() == 1) return readTexture(canvas.currentLayerSurface().textureId, canvas.width, canvas.height);
    return mergedDown(canvas, layers);
}
