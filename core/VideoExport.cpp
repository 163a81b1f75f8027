#include "core/VideoExport.h"

#include <GL/glew.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "canvas/Canvas.h"
#include "canvas/Framebuffer.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "core/PixelRegion.h"
#include "history/CanvasFlipAction.h"
#include "history/History.h"
#include "io/FlatImage.h"
#include "io/VideoFrame.h"
#include "platform/Clock.h"
#include "widgets/GlFont.h"

bool videoContainerForPath(const std::string& path, io::VideoContainer& container) {
    const std::size_t dot = path.find_last_of('.');
    const std::size_t slash = path.find_last_of('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return false;
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    if (ext == "avi") container = io::VideoContainer::Avi;
    else if (ext == "mp4") container = io::VideoContainer::Mp4;
    else return false;
    return true;
}

VideoExport::VideoExport(History& history_, Canvas& canvas_, MultiLayeredImage& layers_)
    : history(history_), canvas(canvas_), layers(layers_), stepper(history_.actions()) {}

VideoExport::~VideoExport() {
    abort();
    if (surface) surface->destroy();
    if (below) below->destroy();
}

bool VideoExport::start(const std::string& path, int formatIndex, io::VideoContainer container) {
    if (started) return false;
    if (formatIndex < 0 || formatIndex >= static_cast<int>(io::kVideoFormats.size())) {
        reason = "no such video format: " + std::to_string(formatIndex);
        return false;
    }
    if (stepper.count() == 0) {
        reason = "the drawing process holds no actions";
        return false;
    }
    format = io::kVideoFormats[static_cast<std::size_t>(formatIndex)];
    if (!writer.open(path)) {
        reason = writer.error();
        return false;
    }
    if (writer.setUp(container, format.width, format.height, format.fps) != io::kVideoOk) {
        reason = writer.error();
        writer.abort();
        return false;
    }
    frame.assign(io::VideoWriter::imageSize(format.width, format.height), 0);
    started = true;
    // Both slots hold the present picture: the end of the list comes back from them.
    history.stepsSinceSnapshot = 0;
    history.undoDepth = 0;
    history.takeSnapshot(true);
    history.takeSnapshot(true);
    // The list's flips, replayed from the blank start, must end on the present marker.
    savedMirrored = canvas.pictureMirrored;
    bool odd = false;
    for (const auto& action : history.actions()) odd ^= action->type() == CanvasFlipAction::kTypeCode;
    canvas.pictureMirrored = savedMirrored != odd;
    history.resetToBlank();
    return true;
}

int32_t VideoExport::elapsedMs() const { return timing ? platform::nowMs() - startTime : 0; }

namespace {
// A canvas-sized surface, made anew when the canvas size changed.
bool ensureSurface(std::unique_ptr<Framebuffer>& surface, int w, int h) {
    if (surface && surface->width == w && surface->height == h) return true;
    if (surface) surface->destroy();
    surface = std::make_unique<Framebuffer>(w, h);
    return surface->create(false, false);
}
} // namespace

void VideoExport::composeFrame() {
    // Most steps change only the current layer: the layers below it are
    // composed once into `below` and copied in, until one of them changes
    // (its texture, revision, visibility, opacity or blend mode) or the
    // current layer moves. Intermediate results are 8-bit either way, so the
    // frame holds the same bytes as a composition of every layer.
    const int w = canvas.width, h = canvas.height;
    const int current = std::clamp(layers.current, 0, std::max(0, layers.count() - 1));
    std::vector<uint64_t> key{static_cast<uint64_t>(w), static_cast<uint64_t>(h), static_cast<uint64_t>(current)};
    for (int i = 0; i < current; ++i) {
        const Layer& l = layers.layers[static_cast<std::size_t>(i)];
        key.insert(key.end(), {l.textureId, l.revision, static_cast<uint64_t>(l.visible),
                               static_cast<uint64_t>(l.opacity), static_cast<uint64_t>(l.blendMode)});
    }
    belowUsed = false;
    if (current == 0 || !ensureSurface(below, w, h)) {
        composeLayersOver(canvas, layers, *surface, kVideoBackgroundGrey, kVideoBackgroundGrey, kVideoBackgroundGrey);
        return;
    }
    if (key != belowKey) {
        composeLayersOver(canvas, layers, *below, kVideoBackgroundGrey, kVideoBackgroundGrey, kVideoBackgroundGrey, 0,
                          current);
        belowKey = std::move(key);
    }
    belowUsed = true;
    composeLayersOver(canvas, layers, *surface, kVideoBackgroundGrey, kVideoBackgroundGrey, kVideoBackgroundGrey,
                      current, -1, below->textureId);
}

void VideoExport::setWatermark(const std::string& author, const GlFont* font) {
    watermarkFont = font;
    watermark.clear();
    if (author.empty() || !font) return;
    char line[256] = "";
    std::snprintf(line, sizeof line, "created by %s with Kestrelwing", author.c_str());
    watermark = line;
}

void VideoExport::drawWatermark() {
    // The same size on every canvas: a projection 720 units high, as wide as
    // the canvas's aspect asks. A black line and a white one a unit up and
    // right, so that it reads over dark and light pictures alike.
    const int w = canvas.width, h = canvas.height;
    surface->bind();
    glPushAttrib(GL_VIEWPORT_BIT | GL_ENABLE_BIT | GL_CURRENT_BIT | GL_TRANSFORM_BIT | GL_COLOR_BUFFER_BIT);
    glViewport(0, 0, w, h);
    glDisable(GL_CULL_FACE);
    GLint program = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &program);
    glUseProgram(0);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(0, 720.0 * w / h, 0, 720, -1, 1);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
    const float y = watermarkFont->height / 2;
    glColor4f(0, 0, 0, 1);
    printRaw(*watermarkFont, 0, y, watermark.c_str());
    glColor4f(1, 1, 1, 1);
    printRaw(*watermarkFont, 1, y + 1, watermark.c_str());
    glPopMatrix();
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glUseProgram(static_cast<GLuint>(program));
    glPopAttrib();
    surface->unbind();
}

std::vector<uint64_t> VideoExport::frameKey() const {
    // Everything a frame is composed from but the current surface's pixels,
    // whose changes the canvas keeps as a region.
    const int current = layers.current;
    std::vector<uint64_t> key{static_cast<uint64_t>(canvas.width), static_cast<uint64_t>(canvas.height),
                              static_cast<uint64_t>(current), static_cast<uint64_t>(layers.count())};
    for (int i = 0; i < layers.count(); ++i) {
        const Layer& l = layers.layers[static_cast<std::size_t>(i)];
        key.insert(key.end(), {i == current ? 0 : static_cast<uint64_t>(l.textureId), i == current ? 0 : l.revision,
                               static_cast<uint64_t>(l.visible), static_cast<uint64_t>(l.opacity),
                               static_cast<uint64_t>(l.blendMode)});
    }
    return key;
}

void VideoExport::composeRegion(const PixelRegion& changes) {
    // The whole composition, cut by the scissor to the changed rectangles:
    // each pixel there gets the value a whole pass gives it, and the rest of
    // the surface still holds the last frame, which is this one there.
    const int current = std::clamp(layers.current, 0, std::max(0, layers.count() - 1));
    glPushAttrib(GL_SCISSOR_BIT | GL_ENABLE_BIT);
    glEnable(GL_SCISSOR_TEST);
    for (const PixelRect& r : changes.rects()) {
        glScissor(r.x, r.y, r.width, r.height);
        if (belowUsed)
            composeLayersOver(canvas, layers, *surface, kVideoBackgroundGrey, kVideoBackgroundGrey,
                              kVideoBackgroundGrey, current, -1, below->textureId);
        else
            composeLayersOver(canvas, layers, *surface, kVideoBackgroundGrey, kVideoBackgroundGrey,
                              kVideoBackgroundGrey);
        if (!watermark.empty()) drawWatermark();
    }
    glPopAttrib();
}

bool VideoExport::writeCurrentFrame() {
    const int w = canvas.width, h = canvas.height;
    const bool fresh = !surface || surface->width != w || surface->height != h;
    if (!ensureSurface(surface, w, h)) {
        reason = "no surface of " + std::to_string(w) + " x " + std::to_string(h) + " for the frames";
        return false;
    }
    // Most steps change a few tiles of the current layer: the frame before
    // is this one everywhere else.
    const PixelRegion changes = canvas.takeSurfaceChanges();
    std::vector<uint64_t> key = frameKey();
    const bool partial = !wholeFrames && !fresh && surface->complete && key == lastKey && changes.width() == w &&
                         changes.height() == h && !changes.full();
    lastKey = std::move(key);
    // A canvas of the frame's size: the card hands out BGR rows, bottom
    // first, padded to 4 bytes, which is the frame's own layout.
    const bool direct = w == format.width && h == format.height;
    bool read = true;
    if (!partial) {
        composeFrame();
        if (!watermark.empty()) drawWatermark();
        if (direct) {
            read = readTextureInto(surface->textureId, w, h, GL_BGR, frame.data(), frame.size());
        } else {
            canvasPixels.resize(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4);
            read = readTextureInto(surface->textureId, w, h, GL_RGBA, canvasPixels.data(), canvasPixels.size());
        }
    } else if (!changes.empty()) {
        composeRegion(changes);
        if (direct)
            read = readFramebufferRegionInto(surface->framebufferId, w, h, changes, GL_BGR, frame.data(), frame.size());
        else
            read = readFramebufferRegionInto(surface->framebufferId, w, h, changes, GL_RGBA, canvasPixels.data(),
                                             canvasPixels.size());
    }
    if (!read) {
        lastKey.clear();
        reason = "the picture could not be read back";
        return false;
    }
    if (!direct && (!partial || !changes.empty()))
        io::fillVideoFrame(canvasPixels.data(), w, h, frame.data(), format.width, format.height);
    if (writer.writeFrame(writer.framesWritten(), frame.data(), frame.size()) != io::kVideoOk) {
        reason = writer.error();
        return false;
    }
    return true;
}

bool VideoExport::update(int budgetMs) {
    if (!started || ended || failure) return false;
    const int32_t begin = platform::nowMs();
    if (!timing) {
        timing = true;
        startTime = begin;
    }
    do {
        stepper.step();
        if (!writeCurrentFrame()) {
            failure = true;
            return false;
        }
    } while (!stepper.atEnd() && platform::nowMs() - begin < budgetMs);
    return !stepper.atEnd();
}

bool VideoExport::finish() {
    if (!started || ended) return false;
    ended = true;
    if (failure || !stepper.atEnd()) {
        if (reason.empty()) reason = "the export stopped before the last action";
        writer.abort();
        restorePicture();
        return false;
    }
    const bool ok = writer.finish() == io::kVideoOk;
    if (!ok) reason = writer.error();
    restorePicture();
    return ok;
}

void VideoExport::abort() {
    if (!started || ended) return;
    ended = true;
    writer.abort();
    restorePicture();
}

void VideoExport::restorePicture() {
    // The slots hold the end state: the end picture is back at once.
    if (stepper.position() < stepper.count()) history.restoreSnapshot();
    history.stepsSinceSnapshot = 0;
    history.undoDepth = 0;
    history.takeSnapshot(true);
    history.takeSnapshot(true);
    canvas.pictureMirrored = savedMirrored;
}
