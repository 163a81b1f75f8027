#include "canvas/LayerThumbnails.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/ShaderProgram.h"

LayerThumbnails gLayerThumbnails;

namespace {

// Each thumbnail pixel p covers the canvas rectangle [p, p + 1) * footprint;
// every texel in it counts by the area it shares with that rectangle, so the
// result is the exact mean whatever the ratio of the sizes. Texels are read at
// their centres with nearest filtering.
const char* const kBoxFilterFragment = R"(#version 120
uniform sampler2D source;
uniform vec2 sourceSize;
uniform vec2 footprint;
void main() {
    vec2 lo = floor(gl_FragCoord.xy) * footprint;
    vec2 hi = min(lo + footprint, sourceSize);
    vec2 first = floor(lo);
    vec2 last = ceil(hi) - 1.0;
    vec4 sum = vec4(0.0);
    for (float y = first.y; y <= last.y; y += 1.0) {
        float wy = min(y + 1.0, hi.y) - max(y, lo.y);
        vec4 row = vec4(0.0);
        for (float x = first.x; x <= last.x; x += 1.0) {
            float wx = min(x + 1.0, hi.x) - max(x, lo.x);
            row += wx * texture2D(source, (vec2(x, y) + 0.5) / sourceSize);
        }
        sum += wy * row;
    }
    gl_FragColor = sum / ((hi.x - lo.x) * (hi.y - lo.y));
}
)";

const char* const kVertex = R"(#version 120
void main() {
    gl_Position = ftransform();
}
)";

ShaderProgram& boxFilterProgram() {
    static ShaderProgram program("thumbnailBoxFilterProgram");
    if (!program.compiled) program.build(kVertex, kBoxFilterFragment);
    return program;
}

} // namespace

bool LayerThumbnails::render(Entry& entry, GLuint source, int sourceWidth, int sourceHeight,
                             const PixelRegion* changes) {
    ShaderProgram& program = boxFilterProgram();
    if (!program.compiled || !entry.target.complete) return false;
    const int w = entry.target.width, h = entry.target.height;

    GLint previousDraw = 0, previousRead = 0, previousProgram = 0, previousTexture = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &previousDraw);
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &previousRead);
    glGetIntegerv(GL_CURRENT_PROGRAM, &previousProgram);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previousTexture);
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_VIEWPORT_BIT | GL_SCISSOR_BIT | GL_TEXTURE_BIT);

    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, entry.target.framebufferId);
    glViewport(0, 0, w, h);
    glDisable(GL_BLEND);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_SCISSOR_TEST);
    glDisable(GL_STENCIL_TEST);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, source);
    // The layer's own filters stay as its users set them.
    GLint minFilter = 0, magFilter = 0;
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &minFilter);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, &magFilter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);

    program.use();
    program.setInt("source", 0);
    program.setVec2("sourceSize", static_cast<float>(sourceWidth), static_cast<float>(sourceHeight));
    program.setVec2("footprint", static_cast<float>(sourceWidth) / static_cast<float>(w),
                    static_cast<float>(sourceHeight) / static_cast<float>(h));
    pushOrtho(static_cast<float>(w), static_cast<float>(h));
    if (!changes) {
        drawQuad(0.0f, 0.0f, static_cast<float>(w), static_cast<float>(h));
        pixelsDrawn += static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
    } else {
        // Each changed rectangle of the canvas, widened to the thumbnail
        // pixels that cover any part of it.
        const double fx = static_cast<double>(sourceWidth) / w, fy = static_cast<double>(sourceHeight) / h;
        glEnable(GL_SCISSOR_TEST);
        for (const PixelRect& r : changes->rects()) {
            const int x0 = std::clamp(static_cast<int>(std::floor(r.x / fx)), 0, w);
            const int x1 = std::clamp(static_cast<int>(std::ceil(r.right() / fx)), 0, w);
            const int y0 = std::clamp(static_cast<int>(std::floor(r.y / fy)), 0, h);
            const int y1 = std::clamp(static_cast<int>(std::ceil(r.top() / fy)), 0, h);
            if (x1 <= x0 || y1 <= y0) continue;
            glScissor(x0, y0, x1 - x0, y1 - y0);
            drawQuad(0.0f, 0.0f, static_cast<float>(w), static_cast<float>(h));
            pixelsDrawn += static_cast<uint64_t>(x1 - x0) * static_cast<uint64_t>(y1 - y0);
        }
    }
    popOrtho();

    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minFilter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magFilter);
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previousTexture));
    glUseProgram(static_cast<GLuint>(previousProgram));
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(previousDraw));
    glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(previousRead));
    glPopAttrib();
    ++renders;
    return true;
}

GLuint LayerThumbnails::texture(Canvas& canvas, const MultiLayeredImage& layers, int index, int width, int height) {
    if (index < 0 || index >= layers.count() || width < 1 || height < 1 || !canvas.hasSurfaces()) return 0;
    const Layer& layer = layers.layers[static_cast<std::size_t>(index)];
    const bool current = index == layers.current;
    const GLuint source = current ? canvas.currentLayerSurface().textureId : layer.textureId;
    const uint64_t revision = current ? canvas.surfaceRevision() : layer.revision;
    if (source == 0) return 0; // never stored: transparent
    Entry& entry = entries_[layer.id];
    if (entry.target.width != width || entry.target.height != height || entry.target.textureId == 0) {
        // Made in the middle of a frame: the frame's target and texture stay bound.
        GLint previousDraw = 0, previousRead = 0, previousTexture = 0;
        glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &previousDraw);
        glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &previousRead);
        glGetIntegerv(GL_TEXTURE_BINDING_2D, &previousTexture);
        entry.target.destroy();
        entry.made = false;
        entry.target.create(width, height, false, false);
        glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previousTexture));
        glBindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(previousDraw));
        glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(previousRead));
    }
    if (!entry.target.complete) return 0;
    // Where the current surface changed since the last look (taken at every
    // look, so it always counts from the thumbnail's last update).
    PixelRegion changes;
    if (current) changes = canvas.takeThumbnailChanges();
    // Equal revisions mean equal pixels, whichever texture holds them: a layer
    // that stops being current keeps the thumbnail made from the surface.
    if (!entry.made || entry.revision != revision || revision == 0) {
        const bool partial = current && entry.made && entry.fromSurface && revision != 0 && !changes.empty() &&
                             !changes.full() && changes.width() == canvas.width && changes.height() == canvas.height;
        entry.made = render(entry, source, canvas.width, canvas.height, partial ? &changes : nullptr);
        entry.revision = revision;
    }
    entry.fromSurface = current && entry.made;
    return entry.made ? entry.target.textureId : 0;
}

void LayerThumbnails::prune(const MultiLayeredImage& layers) {
    std::set<int32_t> alive;
    for (const Layer& layer : layers.layers) alive.insert(layer.id);
    for (auto it = entries_.begin(); it != entries_.end();) {
        if (alive.count(it->first)) {
            ++it;
            continue;
        }
        it->second.target.destroy();
        it = entries_.erase(it);
    }
}

void LayerThumbnails::canvasCreated() { clear(); }

void LayerThumbnails::clear() {
    for (auto& [id, entry] : entries_) entry.target.destroy();
    entries_.clear();
}
