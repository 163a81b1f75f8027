// Files and replay: our encoders and decoders against writing and reading
// the same bytes plainly, and the batch replay of a long process.
#include "bench/FileBench.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

// Written and flushed to the disk, as every save of the program is before it
// takes the file's name: the speed of the disk includes the flush.
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
    ::fsync(fd);
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

// Best of kRounds, ours and the plain baseline taking turns: on a shared
// machine page cache and writeback make single runs vary several-fold, and
// neither side should get the quiet moments alone.
constexpr int kRounds = 3;

struct FileTimes {
    double save = 1e30, load = 1e30, plainSave = 1e30, plainLoad = 1e30;
};

// The physical baseline: the same bytes copied in memory and written, then read.
void plainRound(const std::string& name, const std::vector<uint8_t>& bytes, FileTimes& times) {
    const fs::path path = scratch(name + ".plain");
    {
        std::vector<uint8_t> copy(bytes.size());
        const Clock::time_point start = Clock::now();
        std::memcpy(copy.data(), bytes.data(), bytes.size());
        times.plainSave = std::min(times.plainSave, secondsSince(start) + writeSeconds(path, copy));
    }
    std::vector<uint8_t> back;
    times.plainLoad = std::min(times.plainLoad, readSeconds(path, back));
    fs::remove(path);
}

void fileFigures(const std::string& name, std::size_t bytes, const FileTimes& t) {
    const double mb = bytes / kMiB;
    figure(name + ".save", mb / t.save, "MiB/s");
    figure(name + ".save.baseline", mb / t.plainSave, "MiB/s");
    figure(name + ".save.ratio", t.plainSave / t.save, "x");
    figure(name + ".load", mb / t.load, "MiB/s");
    figure(name + ".load.baseline", mb / t.plainLoad, "MiB/s");
    figure(name + ".load.ratio", t.plainLoad / t.load, "x");
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

namespace {

// The program's save: streamed into a temporary file renamed into place.
// Unless overExisting, to a new file, as the plain baseline writes one.
double timedProcessSave(const fs::path& path, const ProcessSaveInput& input, bool overExisting = false) {
    if (!overExisting) fs::remove(path);
    const Clock::time_point start = Clock::now();
    std::string reason;
    if (!DrawingProcess::save(path.string(), input, &reason)) {
        std::fprintf(stderr, "kestrelwing-bench: process save failed: %s\n", reason.c_str());
        return -1;
    }
    return secondsSince(start);
}

// The loader thread's work: parse into new objects, streamed from the file.
double timedProcessLoad(const fs::path& path, int side) {
    const Clock::time_point start = Clock::now();
    MultiLayeredImage loadedLayers;
    Canvas loadedCanvas(side, side);
    ProcessContent content;
    std::string reason;
    LoadResult result = LoadResult::Failed;
    io::FileSource source;
    if (source.open(path.string(), reason)) {
        io::BinaryReader in(source);
        result = parseProcess(in, ActionContext{loadedCanvas, loadedLayers, side, side},
                              ProcessParseOptions{}, content, reason);
    }
    const double seconds = secondsSince(start);
    if (result != LoadResult::Loaded) {
        std::fprintf(stderr, "kestrelwing-bench: generated process does not load: %s\n", reason.c_str());
        return -1;
    }
    return seconds;
}

} // namespace

void runReplayAndProcessFiles(int side, int count, bool replay) {
    Canvas canvas(side, side);
    MultiLayeredImage layers;
    const std::vector<std::unique_ptr<HistoryAction>> actions = mixedActions(canvas, layers, side, count);
    const LayeredPicture picture = blankPicture(side, 1);
    const ProcessSaveInput input{&actions, actions.size(), &picture, side, side, nullptr, {}, 0, 0};

    const fs::path path = scratch("process.dpf");
    if (timedProcessSave(path, input) < 0 || timedProcessLoad(path, side) < 0) return;
    std::vector<uint8_t> bytes;
    readSeconds(path, bytes);
    FileTimes times;
    for (int round = 0; round < kRounds; ++round) {
        times.save = std::min(times.save, timedProcessSave(path, input));
        plainRound("process", bytes, times);
        times.load = std::min(times.load, timedProcessLoad(path, side));
    }
    fileFigures("process." + std::to_string(count) + "actions", bytes.size(), times);
    // Saving over the file that is there: the file system may write the new
    // one out before the rename replaces the old (ext4 does).
    double over = 1e30;
    for (int round = 0; round < kRounds; ++round) over = std::min(over, timedProcessSave(path, input, true));
    figure("process." + std::to_string(count) + "actions.save_over_existing", bytes.size() / kMiB / over,
           "MiB/s");

    // Replay: the batch command with and without re-executing the actions;
    // the difference is the execution alone.
    const std::string out = scratch("replay.png").string();
    const double render = replay ? runBatch({"--render", path.string(), out}) : 0;
    const double replayed = replay ? runBatch({"--render", "--replay", path.string(), out}) : 0;
    if (render > 0 && replayed > 0) {
        figure("replay." + std::to_string(count) + "actions.total", replayed, "s");
        figure("replay." + std::to_string(count) + "actions", count / std::max(1e-6, replayed - render),
               "actions/s");
    } else if (replay) {
        std::fprintf(stderr, "kestrelwing-bench: the batch replay failed\n");
    }
    fs::remove(path);
    fs::remove(out);
    figure("memory.peak.replay_and_process_files", peakResidentMiB(), "MiB");
}

void runLayeredFile(int side, int count) {
    const fs::path path = scratch("layers.kwf");
    auto save = [&](bool overExisting) {
        const LayeredPicture picture = blankPicture(side, count);
        if (!overExisting) fs::remove(path);
        const Clock::time_point start = Clock::now();
        std::string reason;
        if (!saveLayeredFile(path.string(), picture, reason)) {
            std::fprintf(stderr, "kestrelwing-bench: layered save failed: %s\n", reason.c_str());
            return -1.0;
        }
        return secondsSince(start);
    };
    auto load = [&] {
        const Clock::time_point start = Clock::now();
        LayeredFileContent content;
        std::string reason;
        const LoadResult result = readLayeredFile(path.string(), content, reason);
        const double seconds = secondsSince(start);
        if (result != LoadResult::Loaded) {
            std::fprintf(stderr, "kestrelwing-bench: generated layered file does not load: %s\n",
                         reason.c_str());
            return -1.0;
        }
        return seconds;
    };
    // A save of the picture in memory, then a load into new memory: the peak
    // is the picture plus what the file code holds on top of it.
    if (save(false) < 0 || load() < 0) {
        fs::remove(path);
        return;
    }
    figure("memory.peak.kwf", peakResidentMiB(), "MiB");
    // Then the speeds, with the plain baseline (which holds copies of its own).
    std::vector<uint8_t> bytes;
    readSeconds(path, bytes);
    FileTimes times;
    for (int round = 0; round < kRounds; ++round) {
        times.save = std::min(times.save, save(false));
        plainRound("kwf", bytes, times);
        times.load = std::min(times.load, load());
    }
    double over = 1e30;
    for (int round = 0; round < kRounds; ++round) over = std::min(over, save(true));
    fs::remove(path);
    fileFigures("kwf." + std::to_string(count) + "x" + std::to_string(side), bytes.size(), times);
    figure("kwf." + std::to_string(count) + "x" + std::to_string(side) + ".save_over_existing",
           bytes.size() / kMiB / over, "MiB/s");
}

} // namespace bench
