#include "io/LayeredFile.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <span>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "core/Application.h"
#include "history/History.h"
#include "history/ImageActions.h"
#include "io/BinaryStream.h"
#include "io/ImageLoad.h"
#include "io/ProcessFormat.h"
#include "core/Localisation.h"

namespace {

// Layer indices that gate the older bodies.
constexpr int32_t kCountSinceLayerIndex = 1;
constexpr int32_t kRecordsSinceLayerIndex = 2;
constexpr int32_t kBlendModeSinceLayerIndex = 3;
constexpr int32_t kPremultipliedSinceLayerIndex = 4;

std::size_t pixelBytes(int32_t width, int32_t height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
}

// The body with the layers' pixels asked for one at a time; an empty span
// is a layer without pixels, stored transparent so the body keeps its length.
template <class Pixels>
void writeBody(io::BinaryWriter& out, const std::vector<LayerPixels>& records, int32_t current,
               std::size_t bytes, Pixels pixelsOf) {
    out.i32(static_cast<int32_t>(records.size()));
    for (const LayerPixels& layer : records) {
        out.boolean(layer.visible);
        out.i32(layer.opacity);
        out.i32(layer.blendMode);
    }
    out.i32(current);
    for (std::size_t i = 0; i < records.size(); ++i) {
        const std::span<const uint8_t> pixels = pixelsOf(i);
        if (pixels.size() == bytes) out.raw(pixels);
        else out.zeros(bytes);
    }
}

// Layer i of the canvas as it stands (see captureLayers); scratch holds
// pixels read back from the card. Empty for a layer never stored.
std::span<const uint8_t> layerPixels(Canvas& canvas, const MultiLayeredImage& layers, int i,
                                     std::vector<uint8_t>& scratch) {
    const std::size_t bytes = pixelBytes(canvas.width, canvas.height);
    const Layer& layer = layers.layers[static_cast<std::size_t>(i)];
    scratch.clear();
    if (i == layers.current)
        scratch = readTexture(canvas.currentLayerSurface().textureId, canvas.width, canvas.height);
    else if (!layer.changedSinceSnapshot && layer.cachedPixels)
        return std::span(layer.cachedPixels, bytes);
    else if (layer.textureId != 0)
        scratch = readTexture(layer.textureId, canvas.width, canvas.height);
    return scratch;
}

} // namespace

void writeLayeredBody(io::BinaryWriter& out, const LayeredPicture& picture) {
    const std::size_t bytes = pixelBytes(picture.width, picture.height);
    out.reserve(8 + picture.layers.size() * (9 + bytes));
    writeBody(out, picture.layers, picture.current, bytes,
              [&](std::size_t i) { return std::span<const uint8_t>(picture.layers[i].pixels); });
}

void writeLayeredBody(io::BinaryWriter& out, const std::vector<LayerPixels>& records, int32_t current,
                      int32_t width, int32_t height,
                      const std::function<std::span<const uint8_t>(std::size_t)>& pixelsOf) {
    writeBody(out, records, current, pixelBytes(width, height), pixelsOf);
}

void writeLayeredBody(io::BinaryWriter& out, Canvas& canvas, const MultiLayeredImage& layers) {
    std::vector<LayerPixels> records;
    for (const Layer& layer : layers.layers)
        records.push_back({layer.visible, layer.opacity, layer.blendMode, {}});
    std::vector<uint8_t> scratch;
    writeBody(out, records, layers.current, pixelBytes(canvas.width, canvas.height),
              [&](std::size_t i) { return layerPixels(canvas, layers, static_cast<int>(i), scratch); });
}

bool readLayeredBody(io::BinaryReader& in, int32_t width, int32_t height, LayeredPicture& picture) {
    picture = LayeredPicture{};
    if (width < 1 || height < 1 || width > kwformat::kMaxSide || height > kwformat::kMaxSide) {
        in.fail("layer size " + std::to_string(width) + " x " + std::to_string(height) + " out of range");
        return false;
    }
    const int32_t form = in.layerFormatIndex;
    int32_t count = 1;
    if (form >= kCountSinceLayerIndex && !in.i32(count)) return false;
    const std::size_t recordBytes = form >= kBlendModeSinceLayerIndex ? 9 : form >= kRecordsSinceLayerIndex ? 5 : 0;
    const std::size_t bytes = pixelBytes(width, height);
    if (!in.checkCount(count, recordBytes + bytes)) return false;
    if (count < 1) {
        in.fail("a layered picture without layers");
        return false;
    }
    if (count > kwformat::kMaxLayers) {
        in.fail(std::to_string(count) + " layers, more than the " + std::to_string(kwformat::kMaxLayers) +
                " a picture may hold");
        return false;
    }
    picture.width = width;
    picture.height = height;
    picture.layers.resize(static_cast<std::size_t>(count));
    if (form >= kRecordsSinceLayerIndex) {
        for (LayerPixels& layer : picture.layers) {
            in.boolean(layer.visible);
            in.i32(layer.opacity);
            if (form >= kBlendModeSinceLayerIndex) in.i32(layer.blendMode);
            layer.opacity = std::clamp(layer.opacity, 0, 100);
        }
        in.i32(picture.current);
        if (!in.failed() && (picture.current < 0 || picture.current >= count)) {
            in.fail("current layer " + std::to_string(picture.current) + " of " + std::to_string(count));
            return false;
        }
    }
    for (LayerPixels& layer : picture.layers) {
        layer.pixels.resize(bytes);
        if (!in.raw(layer.pixels)) break;
        // Older bodies held straight alpha.
        if (form < kPremultipliedSinceLayerIndex) premultiply(layer.pixels.data(), layer.pixels.size());
    }
    if (in.failed()) {
        picture = LayeredPicture{};
        return false;
    }
    return true;
}

LayeredPicture captureLayers(Canvas& canvas, const MultiLayeredImage& layers) {
    LayeredPicture picture;
    picture.width = canvas.width;
    picture.height = canvas.height;
    picture.current = layers.current;
    const std::size_t bytes = pixelBytes(canvas.width, canvas.height);
    std::vector<uint8_t> scratch;
    for (int i = 0; i < layers.count(); ++i) {
        const Layer& layer = layers.layers[static_cast<std::size_t>(i)];
        LayerPixels out{layer.visible, layer.opacity, layer.blendMode, {}};
        const std::span<const uint8_t> pixels = layerPixels(canvas, layers, i, scratch);
        if (pixels.data() == scratch.data() && pixels.size() == bytes) out.pixels = std::move(scratch);
        else if (pixels.size() == bytes) out.pixels.assign(pixels.begin(), pixels.end());
        else out.pixels.assign(bytes, 0);
        picture.layers.push_back(std::move(out));
    }
    return picture;
}

void applyLayers(const LayeredPicture& picture, Canvas& canvas, MultiLayeredImage& layers) {
    if (picture.layers.empty()) return;
    // Replacing the list is no step of its own: the caller's counters stay.
    const int32_t modifications = layers.modificationCount;
    if (!canvas.hasSurfaces() || canvas.width != picture.width || canvas.height != picture.height)
        canvas.resize(picture.width, picture.height, layers);
    canvas.clearPendingDabs();
    layers.reset(static_cast<int>(picture.layers.size()));
    const std::size_t bytes = pixelBytes(picture.width, picture.height);
    for (std::size_t i = 0; i < picture.layers.size(); ++i) {
        const LayerPixels& source = picture.layers[i];
        Layer& layer = layers.layers[i];
        layer.visible = source.visible;
        layer.opacity = source.opacity;
        layer.blendMode = source.blendMode;
        layer.markChanged();
        if (source.pixels.size() == bytes) {
            layer.setPixels(picture.width, picture.height, source.pixels.data());
        } else {
            const std::vector<uint8_t> clear(bytes, 0);
            layer.setPixels(picture.width, picture.height, clear.data());
        }
    }
    layers.current = std::clamp(picture.current, 0, layers.count() - 1);
    canvas.loadSurface(layers.currentLayer().textureId, true);
    layers.modificationCount = modifications;
}

namespace {

LoadResult parseLayered(io::BinaryReader& in, LayeredFileContent& out, std::string& reason,
                        const std::function<bool(int32_t, int32_t)>& acceptSize = {}) {
    out = LayeredFileContent{};
    kwformat::FileHeader header;
    if (!kwformat::readHeader(in, header)) {
        reason = in.error();
        return LoadResult::Failed;
    }
    if (!header.hasMagic) {
        reason = "no KWFILE header";
        return LoadResult::Failed;
    }
    out.width = header.width;
    out.height = header.height;
    out.major = header.version.major;
    out.minor = header.version.minor;
    out.patch = header.version.patch;
    out.layerIndex = header.layerIndex;
    if (header.layerIndex > kwformat::kLayerFormatIndex) {
        reason = "layer format " + std::to_string(header.layerIndex) + " is newer than this program's";
        return LoadResult::TooNew;
    }
    if (header.layerIndex < 0) {
        reason = "negative layer format " + std::to_string(header.layerIndex);
        return LoadResult::Failed;
    }
    // Before any layer is read: a size the caller cannot take costs nothing.
    if (acceptSize && !acceptSize(header.width, header.height)) {
        reason = "canvas size " + std::to_string(header.width) + " x " + std::to_string(header.height) +
                 " is above what this graphics card supports";
        return LoadResult::Failed;
    }
    if (!readLayeredBody(in, header.width, header.height, out.picture)) {
        reason = in.error();
        return LoadResult::Failed;
    }
    return LoadResult::Loaded;
}

// Header and body through a writer; false with the reason on a failed write.
bool writeLayeredFile(const std::string& path, std::string& error,
                      const std::function<void(io::BinaryWriter&)>& writeContent) {
    io::AtomicFileSink sink;
    if (!sink.open(path)) {
        error = sink.error();
        return false;
    }
    io::BinaryWriter out(sink);
    writeContent(out);
    out.flush();
    if (!sink.commit()) {
        error = sink.error();
        return false;
    }
    return true;
}

} // namespace

LoadResult parseLayeredFile(const std::vector<uint8_t>& bytes, LayeredFileContent& out, std::string& reason) {
    io::BinaryReader in(bytes);
    return parseLayered(in, out, reason);
}

LoadResult readLayeredFile(const std::string& path, LayeredFileContent& out, std::string& reason,
                           const std::function<bool(int32_t, int32_t)>& acceptSize) {
    out = LayeredFileContent{};
    io::FileSource source;
    if (!source.open(path, reason)) return LoadResult::Failed;
    io::BinaryReader in(source);
    return parseLayered(in, out, reason, acceptSize);
}

std::vector<uint8_t> encodeLayeredFile(const LayeredPicture& picture) {
    io::BinaryWriter out;
    kwformat::writeHeader(out, picture.width, picture.height);
    writeLayeredBody(out, picture);
    return out.take();
}

bool saveLayeredFile(const std::string& path, const LayeredPicture& picture, std::string& error) {
    return writeLayeredFile(path, error, [&](io::BinaryWriter& out) {
        kwformat::writeHeader(out, picture.width, picture.height);
        writeLayeredBody(out, picture);
    });
}

bool saveLayeredImage(const std::string& path, DocumentTarget& doc) {
    doc.canvas.saveCurrentLayer(doc.layers);
    std::string error;
    // Layer by layer from the canvas: one layer's pixels in memory at a time.
    const bool written = writeLayeredFile(path, error, [&](io::BinaryWriter& out) {
        kwformat::writeHeader(out, doc.canvas.width, doc.canvas.height);
        writeLayeredBody(out, doc.canvas, doc.layers);
    });
    if (!written) {
        std::fprintf(stderr, "%s\n", error.c_str());
        if (doc.app) doc.app->showMessage("%s", tr(tk::UNABLE_TO_SAVE_IMAGE_STR).c_str());
        return false;
    }
    doc.layers.modificationCount = 0;
    if (doc.app) doc.app->showMessage("%s", loc::fillText(tr(tk::IMAGE_SAVED_AT_LOCATION_S_STR), {path}).c_str());
    return true;
}

LoadResult loadLayeredImage(const std::string& path, DocumentTarget& doc, int32_t outVersion[3]) {
    std::string reason;
    LayeredFileContent content;
    auto cardTakes = [&doc](int32_t width, int32_t height) {
        return !doc.capability || checkCanvasSize(width, height, *doc.capability, doc.app);
    };
    const LoadResult result = readLayeredFile(path, content, reason, cardTakes);
    if (outVersion) {
        outVersion[0] = content.major;
        outVersion[1] = content.minor;
        outVersion[2] = content.patch;
    }
    if (result != LoadResult::Loaded) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(), reason.c_str());
        return result;
    }
    // The file is whole and valid: only now the open picture goes.
    doc.history.resetForNewPicture(content.width, content.height);
    doc.canvas.resize(content.width, content.height, doc.layers);
    applyLayers(content.picture, doc.canvas, doc.layers);
    doc.history.settleAfterLoad();
    return LoadResult::Loaded;
}

bool openLayeredImage(const std::string& path, DocumentTarget& doc) {
    int32_t version[3] = {0, 0, 0};
    const LoadResult result = loadLayeredImage(path, doc, version);
    if (result == LoadResult::Loaded) {
        recordLoadedPicture(doc);
        if (doc.app) doc.app->showMessage("%s", tr(tk::IMAGE_LOADED_STR).c_str());
        return true;
    }
    reportFailedLoad(doc.app, result, version, tr(tk::UNABLE_TO_LOAD_FILE_STR).c_str());
    return false;
}

void recordLoadedPicture(DocumentTarget& doc) {
    // A process saved later must hold the picture it started from.
    doc.history.add(std::make_unique<MultiLayeredImageLoadAction>(doc.canvas, doc.layers,
                                                                  captureLayers(doc.canvas, doc.layers)),
                    false);
    doc.layers.modificationCount = 0;
    doc.history.settleAfterLoad();
}

void reportFailedLoad(Application* app, LoadResult result, const int32_t version[3], const char* failureText) {
    if (!app) return;
    if (result == LoadResult::TooNew)
        app->showMessage("%s v%d.%d.%d", tr(tk::REQUIRES_KESTRELWING_STR).c_str(), version[0], version[1], version[2]);
    else if (result == LoadResult::Aborted)
        app->showMessage("%s", tr(tk::LOADING_ABORTED_STR).c_str());
    else
        app->showMessage("%s", failureText);
}
