#include "core/Batch.h"

#include <GL/glew.h>

#include <cstdio>
#include <exception>
#include <memory>

#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/GlInfo.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Shaders.h"
#include "canvas/TipTextures.h"
#include "core/Globals.h"
#include "core/VideoExport.h"
#include "history/ActionFactory.h"
#include "history/ImageActions.h"
#include "history/History.h"
#include "history/Replay.h"
#include "io/BinaryStream.h"
#include "io/DrawingProcess.h"
#include "io/FileOpen.h"
#include "io/FlatImage.h"
#include "io/ImageLoad.h"
#include "io/OpenRaster.h"
#include "platform/Clock.h"
#include "platform/HeadlessGl.h"
#include "widgets/GlFont.h"

namespace {

int badInput(const std::string& path, const std::string& reason) {
    std::fprintf(stderr, "%s: %s\n", path.c_str(), reason.c_str());
    return kBatchBadInput;
}

void printLayers(const LayeredPicture& picture, std::FILE* out) {
    std::fprintf(out, "layers: %zu, current %d\n", picture.layers.size(), picture.current);
    for (std::size_t i = 0; i < picture.layers.size(); ++i) {
        const LayerPixels& l = picture.layers[i];
        std::fprintf(out, "  layer %zu: %s, opacity %d, blend mode %d\n", i, l.visible ? "visible" : "hidden",
                     l.opacity, l.blendMode);
    }
}

void printHeader(const kwformat::FileHeader& h, std::FILE* out) {
    if (!h.hasMagic) {
        std::fprintf(out, "header: none (old form)\n");
    } else {
        std::fprintf(out, "header: %d bytes\n", h.headerSize);
        std::fprintf(out, "version: %s\n", kwformat::versionText(h.version).c_str());
    }
    std::fprintf(out, "format index: %d\n", h.processIndex);
    std::fprintf(out, "layer index: %d\n", h.layerIndex);
    std::fprintf(out, "size: %d x %d\n", h.width, h.height);
}

int printLayeredInfo(const std::string& path, const std::vector<uint8_t>& bytes, std::FILE* out) {
    LayeredFileContent content;
    std::string reason;
    const LoadResult result = parseLayeredFile(bytes, content, reason);
    if (result == LoadResult::TooNew) return badInput(path, "needs a newer Kestrelwing (" + reason + ")");
    if (result != LoadResult::Loaded) return badInput(path, reason);
    std::fprintf(out, "file: %s\nkind: layered picture\n", path.c_str());
    std::fprintf(out, "version: %d.%d.%d\nlayer index: %d\nsize: %d x %d\n", content.major, content.minor,
                 content.patch, content.layerIndex, content.width, content.height);
    printLayers(content.picture, out);
    return kBatchOk;
}

int printOpenRasterInfo(const std::string& path, const std::vector<uint8_t>& bytes, std::FILE* out) {
    ora::Content content;
    std::string reason;
    if (ora::parse(bytes, DecodeLimits{}, content, reason) != LoadResult::Loaded) return badInput(path, reason);
    std::fprintf(out, "file: %s\nkind: OpenRaster picture\nsize: %d x %d\n", path.c_str(), content.picture.width,
                 content.picture.height);
    printLayers(content.picture, out);
    for (std::size_t i = 0; i < content.names.size(); ++i)
        std::fprintf(out, "  layer %zu name: \"%s\"\n", i, content.names[i].c_str());
    for (const std::string& note : content.notes) std::fprintf(out, "note: %s\n", note.c_str());
    return kBatchOk;
}

bool setUpHeadlessGl(platform::HeadlessGlContext& context) {
    gGlDiagnosticsToStderr = true; // standard output is the command's alone
    std::string error;
    if (!context.create(&error)) {
        std::fprintf(stderr, "kestrelwing: no OpenGL context without a window: %s\n", error.c_str());
        return false;
    }
    gGlInfo = GlInfo::readFromCurrentContext();
    ensureFramebufferTested();
    buildAllShaderPrograms(gGlInfo);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glEnable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    loadBrushTips(gBrushTips);
    setDabSink(&gCanvas);
    return true;
}

// The file into the program's document, by its extension. 0 or an exit code.
int loadForRender(const std::string& path, bool replay) {
    DocumentTarget doc{gCanvas, gLayers, gHistory, &gFramebufferCapability, nullptr};
    const FileKind kind = fileKindFromPath(path);
    if (kind == FileKind::Process) {
        DrawingProcess::LoadOptions options;
        options.tips = &gBrushTips;
        int32_t version[3] = {0, 0, 0};
        const LoadResult result = DrawingProcess::load(path, doc, options, version);
        if (result == LoadResult::TooNew)
            return badInput(path, "needs Kestrelwing v" + std::to_string(version[0]) + "." +
                                      std::to_string(version[1]) + "." + std::to_string(version[2]));
        if (result != LoadResult::Loaded) return kBatchBadInput; // the reader said why
        if (replay && gHistory.actionCount() == 0) return badInput(path, "the process holds no actions to replay");
        return kBatchOk;
    }
    if (kind == FileKind::Layered) {
        int32_t version[3] = {0, 0, 0};
        const LoadResult result = loadLayeredImage(path, doc, version);
        if (result == LoadResult::TooNew)
            return badInput(path, "needs Kestrelwing v" + std::to_string(version[0]) + "." +
                                      std::to_string(version[1]) + "." + std::to_string(version[2]));
        if (result != LoadResult::Loaded) return kBatchBadInput;
        // As the program's layered load does: the picture enters the history.
        gHistory.add(std::make_unique<MultiLayeredImageLoadAction>(gCanvas, gLayers,
                                                                   captureLayers(gCanvas, gLayers)),
                     false);
        gHistory.settleAfterLoad();
        return kBatchOk;
    }
    if (kind == FileKind::OpenRaster) {
        if (ora::loadImage(path, doc) != LoadResult::Loaded) return kBatchBadInput; // the reader said why
        recordLoadedPicture(doc);
        return kBatchOk;
    }
    ImageLoadTarget target{gCanvas, gLayers, gFramebufferCapability,
                           [](const std::function<bool()>& done) {
                               while (!done()) platform::sleepMs(5);
                           },
                           programImageLoadHooks(), nullptr};
    const ImageLoadResult result = loadImageAsCanvas(path, target);
    // The load has written its one line on why.
    if (result != ImageLoadResult::Loaded) return kBatchBadInput;
    return kBatchOk;
}

} // namespace

int printProcessInfo(const std::string& path, std::FILE* out) {
    std::vector<uint8_t> bytes;
    std::string reason;
    if (!io::readWholeFile(path, bytes, reason)) return badInput(path, reason);
    if (fileKindFromPath(path) == FileKind::Layered) return printLayeredInfo(path, bytes, out);
    if (fileKindFromPath(path) == FileKind::OpenRaster) return printOpenRasterInfo(path, bytes, out);
    // Actions are bound to objects that never get GL resources: nothing executes.
    Canvas canvas(1, 1);
    MultiLayeredImage layers;
    ProcessContent content;
    const LoadResult result = parseProcess(bytes, ActionContext{canvas, layers}, ProcessParseOptions{}, content, reason);
    if (result == LoadResult::TooNew)
        return badInput(path, "needs Kestrelwing v" + kwformat::versionText(content.header.version) +
                                  " (format index " + std::to_string(content.header.processIndex) + ")");
    if (result != LoadResult::Loaded) return badInput(path, reason);
    std::fprintf(out, "file: %s\nkind: drawing process\n", path.c_str());
    printHeader(content.header, out);
    std::fprintf(out, "initial size: %d x %d\n", content.initialWidth, content.initialHeight);
    std::fprintf(out, "tips: %zu\n", content.tips.size());
    for (const ProcessTip& tip : content.tips)
        std::fprintf(out, "  tip %d: \"%s\" %d x %d\n", tip.storedId, tip.name.c_str(), tip.width, tip.height);
    std::fprintf(out, "records: %d\nactions: %zu\n", content.storedActionCount, content.actions.size());
    for (const auto& [code, count] : content.recordCounts) {
        const char* name = actionTypeName(code);
        std::fprintf(out, "  type %d%s%s: %d\n", code, *name ? " " : "", name, count);
    }
    if (content.hasLayers) printLayers(content.picture, out);
    else std::fprintf(out, "layers: none stored\n");
    return kBatchOk;
}

int renderFile(const std::string& path, const std::string& output, bool replay) {
    platform::HeadlessGlContext context;
    if (!setUpHeadlessGl(context)) return kBatchFailed;
    const int loaded = loadForRender(path, replay);
    if (loaded != kBatchOk) {
        gCanvas.freeSurfaces();
        return loaded;
    }
    if (replay) replayProcess(gHistory);
    if (fileKindFromPath(output) == FileKind::OpenRaster) {
        // The layers themselves, not one flat picture.
        std::string error;
        const bool written = ora::writeFromCanvas(output, gCanvas, gLayers, error);
        gCanvas.freeSurfaces();
        if (written) return kBatchOk;
        std::fprintf(stderr, "%s: cannot be written: %s\n", output.c_str(), error.c_str());
        return kBatchFailed;
    }
    std::vector<uint8_t> pixels = flatImagePixels(gCanvas, gLayers, flatImageKeepsAlpha(output));
    const int width = gCanvas.width, height = gCanvas.height;
    gCanvas.freeSurfaces();
    if (pixels.empty()) {
        std::fprintf(stderr, "kestrelwing: the picture could not be read back\n");
        return kBatchFailed;
    }
    if (!saveCanvasImage(output, std::move(pixels), width, height)) {
        std::fprintf(stderr, "%s: cannot be written\n", output.c_str());
        return kBatchFailed;
    }
    return kBatchOk;
}

int exportVideo(const std::string& path, const std::string& output, int format, const std::string& author) {
    io::VideoContainer container = io::VideoContainer::Avi;
    if (!videoContainerForPath(output, container))
        return badInput(output, "the film's name must end in .avi or .mp4");
    if (fileKindFromPath(path) != FileKind::Process) return badInput(path, "not a drawing process (.dpf)");
    if (!io::VideoWriter::encoderAvailable(container)) {
        std::fprintf(stderr, "kestrelwing: this FFmpeg has no %s encoder\n",
                     container == io::VideoContainer::Avi ? "MPEG-4" : "H.264 (libx264)");
        return kBatchFailed;
    }
    platform::HeadlessGlContext context;
    if (!setUpHeadlessGl(context)) return kBatchFailed;
    const int loaded = loadForRender(path, true);
    if (loaded != kBatchOk) {
        gCanvas.freeSurfaces();
        return loaded;
    }
    int result = kBatchOk;
    std::unique_ptr<GlFont> font;
    if (!author.empty()) {
        try {
            font = makeInterfaceFont();
        } catch (const std::exception& e) {
            std::fprintf(stderr, "kestrelwing: no font for the author's name: %s\n", e.what());
            gCanvas.freeSurfaces();
            return kBatchFailed;
        }
    }
    {
        VideoExport job(gHistory, gCanvas, gLayers);
        job.setWatermark(utf8ToLatin1(author), font.get());
        const io::VideoFormat& f = io::kVideoFormats[static_cast<std::size_t>(format)];
        if (!job.start(output, format, container)) {
            std::fprintf(stderr, "%s: %s\n", output.c_str(), job.error().c_str());
            result = kBatchFailed;
        } else {
            std::fprintf(stderr, "exporting %d actions to %s, %s (%d x %d, %d fps)\n", job.count(), output.c_str(),
                         f.label, f.width, f.height, f.fps);
            int32_t lastReport = platform::nowMs();
            // Slices of half a second between the progress lines.
            while (job.update(500)) {
                const int32_t now = platform::nowMs();
                if (now - lastReport < 1000) continue;
                lastReport = now;
                const int32_t done = job.position(), total = job.count();
                const int64_t remainingMs =
                    done > 0 ? static_cast<int64_t>(job.elapsedMs()) * (total - done) / done : 0;
                std::fprintf(stderr, "exporting video: %d of %d actions (%d%%), est. time remaining: %lld s\n", done,
                             total, static_cast<int>(100LL * done / total),
                             static_cast<long long>((remainingMs + 999) / 1000));
            }
            if (!job.finish()) {
                std::fprintf(stderr, "%s: %s\n", output.c_str(), job.error().c_str());
                result = kBatchFailed;
            } else {
                std::fprintf(stderr, "video export done: %d frames in %.1f s\n", job.framesWritten(),
                             job.elapsedMs() / 1000.0);
            }
        }
    }
    gCanvas.freeSurfaces();
    return result;
}

int runBatch(const CommandLine& cl) {
    if (cl.mode == CommandLine::Mode::ExportVideo) return exportVideo(cl.file, cl.output, cl.videoFormat, cl.author);
    if (cl.mode == CommandLine::Mode::Info) return printProcessInfo(cl.file, stdout);
    if (cl.mode == CommandLine::Mode::Render) return renderFile(cl.file, cl.output, cl.replay);
    return kBatchFailed;
}
