#include "canvas/MultiLayeredImage.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/Projection.h"
#include "canvas/Shaders.h"
#include "io/Pixels.h"
#include "io/ProcessFormat.h"

// ---- Layer -----------------------------------------------------------------

uint64_t nextContentRevision() {
    static uint64_t last = 0;
    return ++last;
}

Layer::Layer(Layer&& other) noexcept
    : textureId(std::exchange(other.textureId, 0u)), opacity(other.opacity), blendMode(other.blendMode),
      id(other.id), visible(other.visible), changedSinceSnapshot(other.changedSinceSnapshot),
      cachedPixels(other.cachedPixels), width(other.width), height(other.height), revision(other.revision) {}

Layer& Layer::operator=(Layer&& other) noexcept {
    if (this != &other) {
        deleteTexture();
        textureId = std::exchange(other.textureId, 0u);
        opacity = other.opacity;
        blendMode = other.blendMode;
        id = other.id;
        visible = other.visible;
        changedSinceSnapshot = other.changedSinceSnapshot;
        cachedPixels = other.cachedPixels;
        width = other.width;
        height = other.height;
        revision = other.revision;
    }
    return *this;
}

void Layer::deleteTexture() {
    if (textureId != 0 && glIsTexture(textureId)) glDeleteTextures(1, &textureId);
    textureId = 0;
}

void Layer::ensureTexture(int w, int h) {
    if (textureId != 0 && (w != width || h != height)) deleteTexture();
    if (textureId == 0) {
        glGenTextures(1, &textureId);
        glBindTexture(GL_TEXTURE_2D, textureId);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, w, h, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
        glBindTexture(GL_TEXTURE_2D, 0);
        revision = 0;
    }
    width = w;
    height = h;
}

void Layer::setPixels(int w, int h, const unsigned char* pixels) {
    ensureTexture(w, h);
    glBindTexture(GL_TEXTURE_2D, textureId);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    glPopClientAttrib();
    glBindTexture(GL_TEXTURE_2D, 0);
    revision = nextContentRevision();
}

// ---- MultiLayeredImage -----------------------------------------------------

void MultiLayeredImage::reset(int count) {
    layers.clear();
    nextId = 0;
    modificationCount = 0;
    for (int i = 0; i < std::max(count, 1); ++i) appendLayer();
    current = 0;
}

void MultiLayeredImage::reset(int newWidth, int newHeight) {
    width = newWidth;
    height = newHeight;
    reset(1);
}

Layer& MultiLayeredImage::appendLayer() {
    Layer& layer = layers.emplace_back();
    layer.id = nextId++;
    layer.width = width;
    layer.height = height;
    return layer;
}

void MultiLayeredImage::markAllChanged() {
    for (Layer& l : layers) l.markChanged();
}

void MultiLayeredImage::copyFrom(const MultiLayeredImage& other) {
    layers.clear();
    width = other.width;
    height = other.height;
    for (const Layer& source : other.layers) {
        Layer& copy = layers.emplace_back();
        copy.id = source.id;
        copy.visible = source.visible;
        copy.opacity = source.opacity;
        copy.blendMode = source.blendMode;
        std::vector<uint8_t> pixels;
        if (source.textureId != 0) pixels = readTexture(source.textureId, width, height);
        // A layer never stored is transparent.
        if (pixels.empty()) pixels.assign(static_cast<size_t>(width) * static_cast<size_t>(height) * 4, 0);
        copy.setPixels(width, height, pixels.data());
    }
    nextId = other.nextId;
    current = std::clamp(other.current, 0, count() - 1);
}

// ---- operations ------------------------------------------------------------

namespace layerops {

namespace {

void writeTexture(GLuint texture, int width, int height, const std::vector<uint8_t>& pixels) {
    glBindTexture(GL_TEXTURE_2D, texture);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    glPopClientAttrib();
    glBindTexture(GL_TEXTURE_2D, 0);
}

// Reads a texture of the canvas size, mirrors it and writes it back.
void flipTexture(GLuint texture, int width, int height) {
    if (texture == 0) return; // a layer never stored is transparent: nothing to mirror
    std::vector<uint8_t> pixels = readTexture(texture, width, height);
    if (pixels.empty()) return;
    mirrorRows(pixels, width, height); // io/Pixels: threaded, GL-free
    writeTexture(texture, width, height, pixels);
}

// The surface takes the layer's texture, and with it the texture's revision.
void loadLayerIntoSurface(Canvas& canvas, const Layer& layer) {
    canvas.loadSurface(layer.textureId, true);
    if (layer.textureId != 0 && layer.revision != 0) canvas.setSurfaceRevision(layer.revision);
}

float effectiveOpacity(const Layer& layer) { return layer.visible ? layer.opacity / 100.0f : 0.0f; }

} // namespace

bool newLayer(Canvas& canvas, MultiLayeredImage& layers) {
    if (layers.count() >= kwformat::kMaxLayers) {
        std::fprintf(stderr, "New layer ignored: a picture holds at most %d layers.\n", kwformat::kMaxLayers);
        return false;
    }
    canvas.clearPendingDabs();
    canvas.saveCurrentLayer(layers);
    layers.appendLayer();
    layers.current = layers.count() - 1;
    canvas.clearCurrentSurface(0, 0, 0, 0);
    canvas.clearStrokeBuffer();
    return true;
}

bool changeLayer(Canvas& canvas, MultiLayeredImage& layers, int index) {
    if (index < 0 || index >= layers.count()) {
        std::fprintf(stderr, "Layer change to %d ignored: there are %d layers.\n", index, layers.count());
        return false;
    }
    canvas.saveCurrentLayer(layers);
    loadLayerIntoSurface(canvas, layers.at(index));
    layers.current = index;
    return true;
}

bool deleteCurrentLayer(Canvas& canvas, MultiLayeredImage& layers) {
    if (layers.count() <= 1) return false;
    const int old = layers.current;
    layers.layers.erase(layers.layers.begin() + old); // the record deletes its texture
    layers.current = old > 0 ? old - 1 : 0;
    loadLayerIntoSurface(canvas, layers.currentLayer());
    return true;
}

bool mergeDown(Canvas& canvas, MultiLayeredImage& layers) {
    const int upper = layers.current;
    if (upper <= 0 || upper >= layers.count()) return false;
    Layer& below = layers.at(upper - 1);
    const int w = canvas.width, h = canvas.height;
    if (below.textureId == 0) {
        const std::vector<uint8_t> clear(static_cast<size_t>(w) * static_cast<size_t>(h) * 4, 0);
        below.setPixels(w, h, clear.data());
    }
    const float o0 = effectiveOpacity(layers.at(upper));
    const float o1 = effectiveOpacity(below);
    const PixelRegion all = canvas.wholeCanvas();
    Framebuffer& target = canvas.beginSurfacePass(all);
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT | GL_CURRENT_BIT | GL_VIEWPORT_BIT);
        CanvasProjection projection(w, h);
        glClearColor(1, 1, 1, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        glDisable(GL_DEPTH_TEST);
        glEnable(GL_BLEND);
        glBlendFunc(GL_ONE, GL_ZERO);
        glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_2D, below.textureId);
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, canvas.currentLayerSurface().textureId);
        glUseProgram(layerMergeProgram.program);
        // Opacities travel in red (this layer) and green (the one below).
        glColor4f(o0, o1, 1.0f, 1.0f);
        drawQuad(0.0f, 0.0f, static_cast<float>(w), static_cast<float>(h));
        glUseProgram(0);
        glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_2D, 0);
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, 0);
        glPopAttrib();
    }
    target.unbind();
    canvas.endSurfacePass(all);
    layers.layers.erase(layers.layers.begin() + (upper - 1));
    layers.current = upper - 1;
    Layer& merged = layers.currentLayer();
    merged.visible = true;
    merged.opacity = 100;
    return true;
}

void moveCurrentLayer(MultiLayeredImage& layers, int position) {
    const int old = layers.current;
    position = std::clamp(position, 0, layers.count());
    Layer moving = std::move(layers.at(old));
    layers.layers.erase(layers.layers.begin() + old);
    const int insertAt = std::min(position > old ? position - 1 : position, layers.count());
    layers.layers.insert(layers.layers.begin() + insertAt, std::move(moving));
    layers.current = insertAt;
}

void flipCurrentLayer(Canvas& canvas) {
    flipTexture(canvas.currentLayerSurface().textureId, canvas.width, canvas.height);
    canvas.currentSurfaceChangedEverywhere();
}

void flipAllLayers(Canvas& canvas, MultiLayeredImage& layers) {
    for (int i = 0; i < layers.count(); ++i) {
        if (i == layers.current) {
            flipCurrentLayer(canvas);
        } else if (layers.at(i).textureId != 0) {
            flipTexture(layers.at(i).textureId, canvas.width, canvas.height);
            layers.at(i).revision = nextContentRevision();
        }
    }
}

namespace {

struct Placement {
    bool stretch = true;
    float centreX = 0, centreY = 0, angle = 0;
};

// Draws a layer texture of the old canvas size into the current surface,
// replacing everything there.
void drawPlaced(Canvas& canvas, GLuint texture, int oldWidth, int oldHeight, const Placement& placement) {
    Framebuffer& target = canvas.currentLayerSurface();
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT | GL_CURRENT_BIT | GL_VIEWPORT_BIT);
        CanvasProjection projection(canvas.width, canvas.height);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        if (texture != 0) {
            glDisable(GL_DEPTH_TEST);
            glDisable(GL_BLEND);
            glEnable(GL_TEXTURE_2D);
            glActiveTexture(GL_TEXTURE0);
            glBindTexture(GL_TEXTURE_2D, texture);
            glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
            glColor4f(1, 1, 1, 1);
            if (placement.stretch) {
                // The copy is ours alone: clamp, so the edges do not take colour from the opposite side.
                glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
                glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
                glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
                glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
                drawQuad(0.0f, 0.0f, static_cast<float>(canvas.width), static_cast<float>(canvas.height));
            } else {
                glMatrixMode(GL_MODELVIEW);
                glTranslatef(canvas.width * 0.5f, canvas.height * 0.5f, 0.0f);
                glRotatef(placement.angle, 0.0f, 0.0f, 1.0f);
                drawQuad(-placement.centreX, -placement.centreY, static_cast<float>(oldWidth),
                         static_cast<float>(oldHeight));
            }
            glBindTexture(GL_TEXTURE_2D, 0);
        }
        glPopAttrib();
    }
    target.unbind();
}

void resizeLayers(Canvas& canvas, MultiLayeredImage& layers, int newWidth, int newHeight, const Placement& placement) {
    canvas.clearPendingDabs();
    canvas.saveCurrentLayer(layers);
    MultiLayeredImage old; // deep copy: the resize below deletes the list's textures
    old.copyFrom(layers);
    const int oldWidth = canvas.width, oldHeight = canvas.height;
    const int32_t modifications = layers.modificationCount;
    canvas.resize(newWidth, newHeight, layers);
    layers.layers.clear();
    for (const Layer& source : old.layers) {
        Layer& layer = layers.layers.emplace_back();
        layer.id = source.id;
        layer.visible = source.visible;
        layer.opacity = source.opacity;
        layer.blendMode = source.blendMode;
        layer.width = newWidth;
        layer.height = newHeight;
    }
    layers.nextId = old.nextId;
    layers.current = old.current;
    layers.modificationCount = modifications;
    // The current layer goes last, so it stays in the surface.
    for (int i = 0; i < layers.count(); ++i) {
        if (i == layers.current) continue;
        drawPlaced(canvas, old.at(i).textureId, oldWidth, oldHeight, placement);
        const std::vector<uint8_t> pixels = readTexture(canvas.currentLayerSurface().textureId, newWidth, newHeight);
        if (!pixels.empty()) layers.at(i).setPixels(newWidth, newHeight, pixels.data());
    }
    drawPlaced(canvas, old.currentLayer().textureId, oldWidth, oldHeight, placement);
    canvas.currentSurfaceChangedEverywhere();
    canvas.setSurfaceRevision(nextContentRevision());
    layers.markAllChanged();
}

} // namespace

void resizeLayersScaled(Canvas& canvas, MultiLayeredImage& layers, int newWidth, int newHeight) {
    resizeLayers(canvas, layers, newWidth, newHeight, Placement{});
}

void resizeLayersTransformed(Canvas& canvas, MultiLayeredImage& layers, float centreX, float centreY, int newWidth,
                             int newHeight, float angleDegrees) {
    resizeLayers(canvas, layers, newWidth, newHeight, Placement{false, centreX, centreY, angleDegrees});
}

} // namespace layerops
