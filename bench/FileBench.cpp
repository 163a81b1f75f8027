// Files and replay: our encoders and decoders against writing and reading
// the same bytes plainly, and the batch replay of a long process.
#include "bench/FileBench.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "history/ActionFactory.h"
#include "history/BrushStrokeAction.h"
#include "history/CanvasFillAction.h"
#include "history/LayerListAction.h"
#include "history/LayerPropertyAction.h"
#include "io/BinaryStream.h"
#include "io/DrawingProcess.h"
#include "io/LayeredFile.h"
#include "platform/Paths.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr double kMiB = 1024.0 * 1024.0;

fs::path scratch(const std::string& name) { return fs::temp_directory_path() / ("kw_bench_" + name); }

double writeSeconds(const fs::path& path, const std::vector<uint8_t>& bytes) {
    const Clock::time_point start = Clock::now();
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) return 0;
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    ::close(fd);
    return secondsSince(start);
}

double readSeconds(const fs::path& path, std::vector<uint8_t>& out) {
    const Clock::time_point start = Clock::now();
    out.resize(fs::file_size(path));
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0) return 0;
    size_t done = 0;
    while (done < out.size()) {
        const ssize_t n = ::read(fd, out.data() + done, out.size() - done);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    ::close(fd);
    return secondsSince(start);
}

// The physical baseline: the same bytes copied in memory and written, then read.
void baselineFigures(const std::string& name, const std::vector<uint8_t>& bytes, double ourSave, double ourLoad) {
    std::vector<uint8_t> copy(bytes.size());
    const fs::path path = scratch(name + ".plain");
    const Clock::time_point start = Clock::now();
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    const double plainSave = secondsSince(start) + writeSeconds(path, copy);
    std::vector<uint8_t> back;
    const double plainLoad = readSeconds(path, back);
    fs::remove(path);
    const double mb = bytes.size() / kMiB;
    figure(name + ".save", mb / ourSave, "MiB/s");
    figure(name + ".save.baseline", mb / plainSave, "MiB/s");
    figure(name + ".save.ratio", plainSave / ourSave, "x");
    figure(name + ".load", mb / ourLoad, "MiB/s");
    figure(name + ".load.baseline", mb / plainLoad, "MiB/s");
    figure(name + ".load.ratio", plainLoad / ourLoad, "x");
    figure(name + ".bytes", mb, "MiB");
}

// Runs the program's batch command; returns its wall time, or -1 on failure.
double runBatch(const std::vector<std::string>& args) {
    const std::string binary = platform::exeDir() + "/kestrelwing";
    const Clock::time_point start = Clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        std::vector<char*> argv{const_cast<char*>(binary.c_str())};
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        const int devnull = ::open("/dev/null", O_WRONLY);
        dup2(devnull, 1);
        execv(binary.c_str(), argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
    return secondsSince(start);
}

// A long drawing session: mostly strokes, with layer work, fills and
// property changes among them, as the actions a painter makes.
std::vector<std::unique_ptr<HistoryAction>> mixedActions(Canvas& canvas, MultiLayeredImage& layers, int side,
                                                         int count) {
    std::mt19937 rng(2024);
    auto unit = [&rng] { return std::uniform_real_distribution<float>(0.0f, 1.0f)(rng); };
    std::vector<std::unique_ptr<HistoryAction>> actions;
    int layerCount = 1;
    for (int i = 0; i < count; ++i) {
        const float pick = unit();
        if (pick < 0.90f) {
            Brush b;
            b.size = 4 + static_cast<int>(unit() * 40);
            b.hardness = unit() < 0.5f ? 1.0f : 0.5f;
            auto stroke = std::make_unique<BrushStrokeAction>(b, brush::Rgb{unit(), unit(), unit()});
            const math::Vec2 from{unit() * side, unit() * side};
            const float angle = unit() * 6.2831855f;
            const int dabs = 10 + static_cast<int>(unit() * 60);
            for (int k = 0; k < dabs; ++k)
                stroke->appendPoint(std::make_unique<BrushStrokePoint>(
                    from + math::Vec2{std::cos(angle), std::sin(angle)} * (k * b.size * 0.25f), 1.0f, 1.0f, false,
                    0.0f));
            actions.push_back(std::move(stroke));
        } else if (pick < 0.92f && layerCount < 6) {
            actions.push_back(std::make_unique<NewLayerAction>(canvas, layers));
            ++layerCount;
        } else if (pick < 0.96f) {
            actions.push_back(std::make_unique<LayerChangeAction>(
                canvas, layers, static_cast<int>(unit() * layerCount) % layerCount));
        } else if (pick < 0.98f) {
            actions.push_back(std::make_unique<LayerOpacityChangeAction>(canvas, layers, 40 + static_cast<int>(unit() * 60)));
        } else if (pick < 0.99f) {
            actions.push_back(std::make_unique<LayerVisibilityToggleAction>(canvas, layers));
        } else {
            actions.push_back(std::make_unique<CanvasFillAction>(canvas, unit(), unit(), unit()));
        }
    }
    return actions;
}

LayeredPicture blankPicture(int side, int count) {
    LayeredPicture picture;
    picture.width = picture.height = side;
    picture.current = count - 1;
    for (int i = 0; i < count; ++i) {
        LayerPixels layer;
        layer.opacity = 100 - 5 * i;
        layer.pixels.assign(static_cast<size_t>(side) * side * 4, 0);
        // Some content so that nothing compresses away in a future format.
        for (size_t p = static_cast<size_t>(i) * 4; p < layer.pixels.size(); p += 4 * 97) {
            layer.pixels[p + 3] = static_cast<uint8_t>(p * 31);
            layer.pixels[p] = layer.pixels[p + 3] / 2;
        }
        picture.layers.push_back(std::move(layer));
    }
    return picture;
}

} // namespace

void runReplayAndProcessFiles(int side, int count) {
    Canvas canvas(side, side);
    MultiLayeredImage layers;
    const std::vector<std::unique_ptr<HistoryAction>> actions = mixedActions(canvas, layers, side, count);
    const LayeredPicture picture = blankPicture(side, 1);
    const ProcessSaveInput input{&actions, actions.size(), &picture, side, side, nullptr, {}, 0, 0};

    // Save: the program's save, streamed into a temporary file renamed into place.
    const fs::path path = scratch("process.dpf");
    Clock::time_point start = Clock::now();
    std::string reason;
    if (!DrawingProcess::save(path.string(), input, &reason)) {
        std::fprintf(stderr, "kestrelwing-bench: process save failed: %s\n", reason.c_str());
        return;
    }
    const double save = secondsSince(start);
    // Load: read and parse into new objects (the loader thread's work), streamed from the file.
    start = Clock::now();
    MultiLayeredImage loadedLayers;
    Canvas loadedCanvas(side, side);
    ProcessContent content;
    LoadResult result = LoadResult::Failed;
    io::FileSource source;
    if (source.open(path.string(), reason)) {
        io::BinaryReader in(source);
        result = parseProcess(in, ActionContext{loadedCanvas, loadedLayers, side, side}, ProcessParseOptions{},
                              content, reason);
    }
    const double load = secondsSince(start);
    if (result != LoadResult::Loaded) {
        std::fprintf(stderr, "kestrelwing-bench: generated process does not load: %s\n", reason.c_str());
        return;
    }
    content = ProcessContent{};
    std::vector<uint8_t> bytes;
    readSeconds(path, bytes);
    baselineFigures("process." + std::to_string(count) + "actions", bytes, save, load);

    // Replay: the batch command with and without re-executing the actions;
    // the difference is the execution alone.
    const std::string out = scratch("replay.png").string();
    const double render = runBatch({"--render", path.string(), out});
    const double replay = runBatch({"--render", "--replay", path.string(), out});
    if (render > 0 && replay > 0) {
        figure("replay." + std::to_string(count) + "actions.total", replay, "s");
        figure("replay." + std::to_string(count) + "actions", count / std::max(1e-6, replay - render), "actions/s");
    } else {
        std::fprintf(stderr, "kestrelwing-bench: the batch replay failed\n");
    }
    fs::remove(path);
    fs::remove(out);
    figure("memory.peak.replay_and_process_files", peakResidentMiB(), "MiB");
}

void runLayeredFile(int side, int count) {
    LayeredPicture picture = blankPicture(side, count);
    const fs::path path = scratch("layers.kwf");
    Clock::time_point start = Clock::now();
    std::string reason;
    if (!saveLayeredFile(path.string(), picture, reason)) {
        std::fprintf(stderr, "kestrelwing-bench: layered save failed: %s\n", reason.c_str());
        return;
    }
    const double save = secondsSince(start);
    picture = {};
    start = Clock::now();
    LayeredFileContent content;
    const LoadResult result = readLayeredFile(path.string(), content, reason);
    const double load = secondsSince(start);
    if (result != LoadResult::Loaded) {
        std::fprintf(stderr, "kestrelwing-bench: generated layered file does not load: %s\n", reason.c_str());
        fs::remove(path);
        return;
    }
    // Our save and load only: the plain baseline below holds copies of its own.
    figure("memory.peak.kwf", peakResidentMiB(), "MiB");
    content = {};
    std::vector<uint8_t> bytes;
    readSeconds(path, bytes);
    fs::remove(path);
    baselineFigures("kwf." + std::to_string(count) + "x" + std::to_string(side), bytes, save, load);
}

} // namespace bench
