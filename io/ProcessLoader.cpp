// The process load of the program: parse on the loader thread (with the
// shared GL context for the tip textures when there is one), keep the
// window alive and the ring turning, then swap the result in.
#include <GL/glew.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "core/Application.h"
#include "history/History.h"
#include "io/BinaryStream.h"
#include "canvas/TipTextures.h"
#include "io/DrawingProcess.h"
#include "io/ImageLoad.h"
#include "platform/SharedGlContext.h"
#include "core/Localisation.h"

namespace {

// The busy state of a process load, left on every path out.
class ProcessBusyScope {
public:
    explicit ProcessBusyScope(Application* app) : app(app) {
        if (!app) return;
        app->busy = true;
        app->spinnerActive = true;
        app->spinnerFrame = 0;
        app->spinnerPeriod = 1000;
        app->cancelRequested = false;
        app->busyRemainingMs = 0;
    }
    ~ProcessBusyScope() {
        if (!app) return;
        app->busy = false;
        app->spinnerActive = false;
    }
    ProcessBusyScope(const ProcessBusyScope&) = delete;
    ProcessBusyScope& operator=(const ProcessBusyScope&) = delete;

private:
    Application* app;
};

// Tip textures as process tips have them: linear filters, repeat wrap.
void makeTipTextures(std::vector<ProcessTip>& tips) {
    for (ProcessTip& tip : tips) {
        if (tip.pixels.empty() || tip.texture != 0) continue;
        tip.texture = makeTipTexture(tip.width, tip.height, tip.pixels.data(), true);
    }
}

void deleteTipTextures(std::vector<ProcessTip>& tips) {
    for (ProcessTip& tip : tips) {
        if (tip.texture == 0) continue;
        GLuint name = tip.texture;
        glDeleteTextures(1, &name);
        tip.texture = 0;
    }
}

// Main thread, inside the wait: the ring and the abort flag go both ways.
void syncProgress(Application* app, ProcessLoadProgress& progress, bool& spinnerHandedOver) {
    if (!app) return;
    if (app->cancelRequested) progress.cancelRequested = true;
    if (progress.spinnerActive.load()) {
        progress.spinnerFrame = app->spinnerFrame;
        progress.spinnerPeriod = std::max(app->spinnerPeriod, 1);
        return;
    }
    if (!spinnerHandedOver) {
        // The reader has reached the actions; an abort asked for before that is dropped.
        spinnerHandedOver = true;
        app->cancelRequested = false;
        app->spinnerActive = false;
    }
    app->spinnerFrame = progress.spinnerFrame;
    app->spinnerPeriod = progress.spinnerPeriod;
}

struct ParseJob {
    io::ByteSource* source = nullptr; // read with pread: safe from the loader thread
    ActionContext context;
    ProcessParseOptions options;
    ProcessContent content;
    std::string reason;
    LoadResult result = LoadResult::Failed;
};

// The loader thread's work. With a shared context the tip textures are made
// here and finished before the flag is set; without one they come later,
// on the main thread.
LoadResult parse(ParseJob& job) {
    io::BinaryReader in(*job.source);
    return parseProcess(in, job.context, job.options, job.content, job.reason);
}

void runOnLoaderThread(ParseJob& job, platform::SharedGlContext* shared) {
    if (shared) {
        if (!shared->makeCurrent()) {
            job.result = LoadResult::RetryOnMainThread;
            return;
        }
    }
    job.result = parse(job);
    if (shared) {
        if (job.result == LoadResult::Loaded) makeTipTextures(job.content.tips);
        glFinish();
        shared->release();
    }
}

void parseWithThread(ParseJob& job, const DrawingProcess::LoadOptions& options, Application* app,
                     ProcessLoadProgress& progress) {
    if (!options.wait) {
        job.result = parse(job);
        return;
    }
    std::atomic<bool> finished{false};
    // A context that was given but cannot be bound sends the work back here (result 5).
    platform::SharedGlContext* shared = options.sharedContext;
    std::thread worker([&] {
        runOnLoaderThread(job, shared);
        finished.store(true);
    });
    bool handedOver = false;
    options.wait([&] {
        syncProgress(app, progress, handedOver);
        if (progress.cancelRequested.load()) {
            // After an abort the loop stops turning: only wait for the reader.
            while (!finished.load()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return finished.load();
    });
    worker.join();
    syncProgress(app, progress, handedOver);
    if (job.result == LoadResult::RetryOnMainThread) {
        std::fprintf(stderr, "process loader: shared GL context unavailable, loading on the main thread\n");
        job.content = ProcessContent{};
        job.result = parse(job);
    }
}

// Only now the open picture goes: tips, history, canvas and layers.
void swapIn(ProcessContent& content, DocumentTarget& doc, BrushTipTable* tips) {
    if (tips) {
        tips->dropProcessTips();
        for (ProcessTip& tip : content.tips) {
            const int32_t index = tips->appendProcessTip(tip.name, tip.width, tip.height, std::move(tip.pixels));
            tips->find(index)->texture = tip.texture;
            tip.texture = 0;
        }
        uploadProcessTipTextures(*tips);
    } else {
        deleteTipTextures(content.tips);
    }
    History& history = doc.history;
    history.resetForNewPicture(content.initialWidth, content.initialHeight);
    for (auto& action : content.actions) history.appendLoaded(std::move(action));
    doc.canvas.resize(content.header.width, content.header.height, doc.layers);
    if (content.hasLayers) {
        applyLayers(content.picture, doc.canvas, doc.layers);
    } else {
        // Older files hold no layers: the picture comes with a replay.
        doc.canvas.clearCurrentSurface(0, 0, 0, 0);
    }
    doc.canvas.clearStrokeBuffer();
    history.settleAfterLoad();
}

} // namespace

void uploadProcessTipTextures(BrushTipTable& tips) {
    for (std::size_t i = tips.folderCount(); i < tips.size(); ++i) {
        BrushTip* tip = tips.find(static_cast<int32_t>(i));
        if (!tip || tip->texture != 0 || !tip->hasPixels()) continue;
        tip->texture = makeTipTexture(tip->width, tip->height, tip->pixels.data(), true);
    }
}

namespace DrawingProcess {

LoadResult load(const std::string& path, DocumentTarget& doc, const LoadOptions& options, int32_t outVersion[3]) {
    // The file is read as the parse goes, not copied whole into memory.
    io::FileSource source;
    std::string reason;
    if (!source.open(path, reason)) {
        std::fprintf(stderr, "%s\n", reason.c_str());
        return LoadResult::Failed;
    }
    // The header alone first: a file too new or too large goes no further.
    {
        io::BinaryReader in(source, kwformat::kHeaderSize);
        kwformat::FileHeader header;
        const bool ok = kwformat::readHeader(in, header);
        if (outVersion) {
            outVersion[0] = header.version.major;
            outVersion[1] = header.version.minor;
            outVersion[2] = header.version.patch;
        }
        if (!ok) {
            std::fprintf(stderr, "%s: %s\n", path.c_str(), in.error().c_str());
            return LoadResult::Failed;
        }
        if (header.processIndex > kwformat::kProcessFormatIndex || header.layerIndex > kwformat::kLayerFormatIndex)
            return LoadResult::TooNew;
        if (doc.capability && !checkCanvasSize(header.width, header.height, *doc.capability, doc.app)) {
            std::fprintf(stderr, "%s: canvas size %d x %d is above what this graphics card supports\n",
                         path.c_str(), header.width, header.height);
            return LoadResult::Failed;
        }
    }
    ProcessBusyScope busy(doc.app);
    ProcessLoadProgress ownProgress;
    ProcessLoadProgress& progress = options.progress ? *options.progress : ownProgress;
    ParseJob job{&source, ActionContext{doc.canvas, doc.layers}, {}, {}, {}, LoadResult::Failed};
    job.options.folderTips = options.tips;
    job.options.firstTipIndex = options.tips ? static_cast<int32_t>(options.tips->folderCount()) : 0;
    job.options.progress = &progress;
    parseWithThread(job, options, doc.app, progress);
    if (job.result != LoadResult::Loaded) {
        deleteTipTextures(job.content.tips);
        if (job.result != LoadResult::Aborted)
            std::fprintf(stderr, "%s: %s\n", path.c_str(), job.reason.c_str());
        return job.result;
    }
    swapIn(job.content, doc, options.tips);
    return LoadResult::Loaded;
}

} // namespace DrawingProcess

bool openDrawingProcess(const std::string& path, DocumentTarget& doc, const DrawingProcess::LoadOptions& options) {
    int32_t version[3] = {0, 0, 0};
    const LoadResult result = DrawingProcess::load(path, doc, options, version);
    if (result == LoadResult::Loaded) {
        doc.layers.modificationCount = 0;
        if (doc.app) doc.app->showMessage("%s", tr(tk::DRAWING_PROCESS_LOADED_PRESS_P_STR).c_str());
        return true;
    }
    reportFailedLoad(doc.app, result, version, tr(tk::UNABLE_TO_LOAD_DRAWING_PROCESS_STR).c_str());
    return false;
}

bool saveDrawingProcessFlow(const std::string& path, DocumentTarget& doc, const BrushTipTable* tips) {
    doc.canvas.saveCurrentLayer(doc.layers);
    ProcessSaveInput input;
    input.actions = &doc.history.actions();
    input.actionCount = doc.history.actionCount();
    // The layers stream from the canvas one at a time.
    input.writeLayeredBody = [&doc](io::BinaryWriter& out) { writeLayeredBody(out, doc.canvas, doc.layers); };
    input.layersWidth = doc.canvas.width;
    input.layersHeight = doc.canvas.height;
    input.initialWidth = doc.history.initialWidth;
    input.initialHeight = doc.history.initialHeight;
    input.tips = tips;
    std::string error;
    const bool saved = DrawingProcess::save(path, input, &error);
    if (!saved) std::fprintf(stderr, "%s\n", error.c_str());
    else doc.layers.modificationCount = 0;
    if (doc.app) {
        if (saved) doc.app->showMessage("%s", loc::fillText(tr(tk::DRAWING_PROCESS_SAVED_AT_LOCAT_STR), {path}).c_str());
        else doc.app->showMessage("%s", tr(tk::UNABLE_TO_SAVE_DRAWING_PROCESS_STR).c_str());
    }
    return saved;
}
