// Video export: frames per second of a whole export (replay, composition,
// read-back, placement, swscale, encoding, muxing) against encoding the same
// number of ready-made raw frames of the same kind with the same writer and
// settings, and against the ffmpeg program fed those frames through a pipe.
#include "bench/VideoBench.h"

#include <GL/glew.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/Framebuffer.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/TipTextures.h"
#include "core/VideoExport.h"
#include "history/BrushStrokeAction.h"
#include "history/CanvasFillAction.h"
#include "history/History.h"
#include "history/LayerListAction.h"
#include "history/ReplayStepper.h"
#include "io/FlatImage.h"
#include "io/VideoWriter.h"

namespace bench {
namespace {
namespace fs = std::filesystem;

fs::path scratch(const std::string& name) { return fs::temp_directory_path() / ("kw_bench_" + name); }

// A canvas of the frame's size with `count` actions, executed as the tools
// would: mostly strokes, a fill at the start, a few new layers.
struct Document {
    Canvas canvas;
    MultiLayeredImage layers;
    History history{&canvas, layers};
    BrushTipTable tips;

    Document(int width, int height, int count) : canvas(width, height) {
        tips.build(fs::path("/nonexistent-kw-tips"), {});
        canvas.attach(&history, &tips);
        setDabSink(&canvas);
        history.reinitialize(width, height);
        history.runQueuedActions();
        std::mt19937 rng(77);
        auto unit = [&rng] { return std::uniform_real_distribution<float>(0.0f, 1.0f)(rng); };
        for (int i = static_cast<int>(history.actionCount()); i < count; ++i) {
            std::unique_ptr<HistoryAction> action;
            if (i % 200 == 100) {
                action = std::make_unique<NewLayerAction>(canvas, layers);
            } else {
                Brush b;
                b.size = 4 + static_cast<int>(unit() * 30);
                auto stroke = std::make_unique<BrushStrokeAction>(b, brush::Rgb{unit(), unit(), unit()});
                const math::Vec2 from{unit() * width, unit() * height};
                const float angle = unit() * 6.2831855f;
                const int dabs = 10 + static_cast<int>(unit() * 40);
                for (int k = 0; k < dabs; ++k)
                    stroke->appendPoint(std::make_unique<BrushStrokePoint>(
                        from + math::Vec2{std::cos(angle), std::sin(angle)} * (k * b.size * 0.25f), 1.0f, 1.0f,
                        false, 0.0f));
                action = std::move(stroke);
            }
            HistoryAction* raw = action.get();
            history.add(std::move(action), false);
            raw->execute();
        }
        history.settleAfterLoad();
    }
    ~Document() {
        setDabSink(nullptr);
        history.freeSnapshots();
        canvas.freeSurfaces();
    }
};

// The first `count` frames of the export, made as the export makes them
// (replay step, composition over the grey surround, BGR read-back), kept in
// memory: the baseline encodes pictures of the same kind, so that the
// encoder's cost per frame is comparable.
std::vector<std::vector<uint8_t>> exportFrames(Document& doc, const io::VideoFormat& f, int count) {
    std::vector<std::vector<uint8_t>> frames;
    Framebuffer surface(f.width, f.height);
    if (!surface.create(false, false)) return frames;
    doc.history.resetToBlank();
    ReplayStepper stepper(doc.history.actions());
    while (!stepper.atEnd() && static_cast<int>(frames.size()) < count) {
        stepper.step();
        composeLayersOver(doc.canvas, doc.layers, surface, kVideoBackgroundGrey, kVideoBackgroundGrey,
                          kVideoBackgroundGrey);
        std::vector<uint8_t> frame(io::VideoWriter::imageSize(f.width, f.height));
        readTextureInto(surface.textureId, f.width, f.height, GL_BGR, frame.data(), frame.size());
        frames.push_back(std::move(frame));
    }
    surface.destroy();
    // Back to the end picture for the export that follows.
    replayAllFromBlank(doc.history);
    return frames;
}

// Frames per second of the writer alone on ready frames, cycled.
double writerOnly(const io::VideoFormat& f, const std::vector<std::vector<uint8_t>>& pool, int frames) {
    const fs::path path = scratch("raw.avi");
    const Clock::time_point start = Clock::now();
    io::VideoWriter writer;
    if (pool.empty() || !writer.open(path.string()) ||
        writer.setUp(io::VideoContainer::Avi, f.width, f.height, f.fps) != 0)
        return 0;
    for (int i = 0; i < frames; ++i) {
        const std::vector<uint8_t>& frame = pool[static_cast<std::size_t>(i) % pool.size()];
        if (writer.writeFrame(i, frame.data(), frame.size()) != 0) return 0;
    }
    if (writer.finish() != 0) return 0;
    const double seconds = secondsSince(start);
    fs::remove(path);
    return frames / seconds;
}

// The ffmpeg program on the same raw frames through a pipe, same encoder settings.
double ffmpegProgram(const io::VideoFormat& f, const std::vector<std::vector<uint8_t>>& pool, int frames) {
    if (pool.empty() || std::system("ffmpeg -version >/dev/null 2>&1") != 0) return 0;
    const fs::path path = scratch("ffmpeg.avi");
    const std::string command = "ffmpeg -v error -y -f rawvideo -pix_fmt bgr24 -s " + std::to_string(f.width) + "x" +
                                std::to_string(f.height) + " -r " + std::to_string(f.fps) +
                                " -i - -c:v mpeg4 -q:v 2 -g " + std::to_string(f.fps) +
                                " -bf 0 -vtag DIVX -threads 2 '" + path.string() + "'";
    const Clock::time_point start = Clock::now();
    FILE* pipe = ::popen(command.c_str(), "w");
    if (!pipe) return 0;
    for (int i = 0; i < frames; ++i) {
        const std::vector<uint8_t>& frame = pool[static_cast<std::size_t>(i) % pool.size()];
        if (std::fwrite(frame.data(), 1, frame.size(), pipe) != frame.size()) break;
    }
    const int status = ::pclose(pipe);
    const double seconds = secondsSince(start);
    fs::remove(path);
    return status == 0 ? frames / seconds : 0;
}

} // namespace

void runVideoExport(int actions) {
    const io::VideoFormat& f = io::kVideoFormats[1];
    const std::string name = "video." + std::to_string(actions) + "actions.720p";
    double exportFps = 0;
    std::vector<std::vector<uint8_t>> pool;
    {
        Document doc(f.width, f.height, actions);
        pool = exportFrames(doc, f, 50);
        const fs::path path = scratch("export.avi");
        const Clock::time_point start = Clock::now();
        VideoExport job(doc.history, doc.canvas, doc.layers);
        if (!job.start(path.string(), 1, io::VideoContainer::Avi)) {
            std::fprintf(stderr, "kestrelwing-bench: the export did not start: %s\n", job.error().c_str());
            return;
        }
        while (job.update(1000)) {
        }
        if (!job.finish()) {
            std::fprintf(stderr, "kestrelwing-bench: the export failed: %s\n", job.error().c_str());
            return;
        }
        exportFps = job.framesWritten() / secondsSince(start);
        fs::remove(path);
    }
    // Cycled, the 50 frames jump back once every 50: as in a painting, most
    // frames differ from the one before by one action.
    const double baseline = writerOnly(f, pool, actions);
    const double program = ffmpegProgram(f, pool, actions);
    figure(name + ".export", exportFps, "frames/s");
    figure(name + ".raw_frames_same_encoder", baseline, "frames/s");
    if (baseline > 0) figure(name + ".export_vs_raw", exportFps / baseline, "x");
    if (program > 0) {
        figure(name + ".ffmpeg_program_raw_frames", program, "frames/s");
        figure(name + ".export_vs_ffmpeg_program", exportFps / program, "x");
    }
    figure("memory.peak.video", peakResidentMiB(), "MiB");
}

} // namespace bench
