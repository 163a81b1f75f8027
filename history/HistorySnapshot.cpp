#include "history/HistorySnapshot.h"

#include <GL/glew.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"

std::atomic<std::size_t> PixelBlock::live_{0};

PixelBlock::PixelBlock(std::size_t bytes) : bytes_(bytes, 0) { live_ += bytes; }

PixelBlock::~PixelBlock() { live_ -= bytes_.size(); }

void HistorySnapshot::releaseSharedPixels() {
    for (SnapshotLayer& layer : layers)
        if (layer.pixels && layer.pixels.use_count() > 1) layer.pixels.reset();
}

void HistorySnapshot::clear() {
    layers.clear();
    selectionOutline.clear();
    selectionPoints.clear();
    selectionEnabled = false;
    actionIndex = 0;
    currentLayer = 0;
}

namespace {

std::size_t layerBytes(int width, int height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
}

// Reads level 0 of a texture of the given size into the block; a missing or
// mis-sized texture reads as transparent.
void readInto(GLuint texture, int width, int height, PixelBlock& block) {
    GLint realWidth = 0, realHeight = 0;
    if (texture != 0) {
        glBindTexture(GL_TEXTURE_2D, texture);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &realWidth);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &realHeight);
    }
    if (realWidth != width || realHeight != height) {
        if (texture != 0)
            std::fprintf(stderr, "Snapshot: texture %u is %d x %d, not %d x %d; stored as transparent.\n",
                         texture, realWidth, realHeight, width, height);
        std::memset(block.data(), 0, block.size());
    } else {
        glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
        glPixelStorei(GL_PACK_ALIGNMENT, 4);
        glPixelStorei(GL_PACK_ROW_LENGTH, 0);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, block.data());
        glPopClientAttrib();
    }
    glBindTexture(GL_TEXTURE_2D, 0);
}

} // namespace

void captureSnapshotPixels(HistorySnapshot& slot, Canvas& canvas, MultiLayeredImage& layers) {
    const std::size_t bytes = layerBytes(canvas.width, canvas.height);
    slot.layers.resize(static_cast<std::size_t>(layers.count()));
    for (int i = 0; i < layers.count(); ++i) {
        SnapshotLayer& record = slot.layers[static_cast<std::size_t>(i)];
        // Allocated on first use, reused while this slot alone holds it.
        if (!record.pixels || record.pixels->size() != bytes || record.pixels.use_count() > 1)
            record.pixels = std::make_shared<PixelBlock>(bytes);
        Layer& layer = layers.at(i);
        const bool current = i == layers.current;
        const GLuint texture = current ? canvas.currentLayerSurface().textureId : layer.textureId;
        readInto(texture, canvas.width, canvas.height, *record.pixels);
        record.revision = current ? canvas.surfaceRevision() : layer.revision;
        layer.cachedPixels = record.pixels->data();
        layer.changedSinceSnapshot = false;
    }
}

void restoreSnapshotPixels(const HistorySnapshot& slot, Canvas& canvas, MultiLayeredImage& layers) {
    const int count = std::max<int>(1, static_cast<int>(slot.layers.size()));
    // What the surface holds now.
    const uint64_t surfaceRevision = canvas.surfaceRevision();
    while (layers.count() > count) layers.layers.pop_back();
    while (layers.count() < count) layers.appendLayer();
    layers.current = std::clamp(slot.currentLayer, 0, count - 1);
    const std::size_t bytes = layerBytes(canvas.width, canvas.height);
    std::vector<uint8_t> transparent; // made only for a record without pixels
    auto pixelsOf = [&](int i) -> const uint8_t* {
        if (static_cast<std::size_t>(i) < slot.layers.size()) {
            const SnapshotLayer& record = slot.layers[static_cast<std::size_t>(i)];
            if (record.pixels && record.pixels->size() == bytes) return record.pixels->data();
        }
        transparent.resize(bytes, 0);
        return transparent.data();
    };
    auto revisionOf = [&](int i) -> uint64_t {
        if (static_cast<std::size_t>(i) >= slot.layers.size()) return 0;
        const SnapshotLayer& record = slot.layers[static_cast<std::size_t>(i)];
        return record.pixels && record.pixels->size() == bytes ? record.revision : 0;
    };
    for (int i = 0; i < count; ++i) {
        Layer& layer = layers.at(i);
        if (static_cast<std::size_t>(i) < slot.layers.size()) {
            const SnapshotLayer& record = slot.layers[static_cast<std::size_t>(i)];
            layer.visible = record.visible;
            layer.opacity = record.opacity;
            layer.blendMode = record.blendMode;
        }
        // The replay that follows changes layers without marking them.
        layer.markChanged();
        // The current layer lives in the surface; its texture may stay behind.
        if (i == layers.current) continue;
        const uint64_t revision = revisionOf(i);
        const bool holdsIt = canvas.limitPassesToChanges && revision != 0 && layer.textureId != 0 && layer.revision == revision &&
                             layer.width == canvas.width && layer.height == canvas.height;
        if (holdsIt) continue;
        layer.setPixels(canvas.width, canvas.height, pixelsOf(i));
        if (revision != 0) layer.revision = revision;
    }
    Layer& current = layers.currentLayer();
    const uint64_t revision = revisionOf(layers.current);
    const bool shortcuts = canvas.limitPassesToChanges;
    if (shortcuts && revision != 0 && surfaceRevision == revision) return;  // the surface holds it already
    if (shortcuts && revision != 0 && current.textureId != 0 && current.revision == revision && current.width == canvas.width &&
        current.height == canvas.height) {
        // The texture holds it: a copy on the card, no upload.
        canvas.loadSurface(current.textureId, true);
        canvas.setSurfaceRevision(revision);
        return;
    }
    // The current layer goes into the other surface, which then becomes current.
    const PixelRegion all = canvas.wholeCanvas();
    Framebuffer& target = canvas.beginSurfacePass(all);
    glBindTexture(GL_TEXTURE_2D, target.textureId);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, canvas.width, canvas.height, GL_RGBA, GL_UNSIGNED_BYTE,
                    pixelsOf(layers.current));
    glPopClientAttrib();
    glBindTexture(GL_TEXTURE_2D, 0);
    canvas.endSurfacePass(all);
    if (revision != 0) canvas.setSurfaceRevision(revision);
}
