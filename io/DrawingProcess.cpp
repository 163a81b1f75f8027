// Parsing and encoding of drawing-process files: bytes only, no GL.
#include "io/DrawingProcess.h"

#include <cmath>

#include "brush/BrushTips.h"
#include "io/BinaryStream.h"

namespace {

constexpr int32_t kLayersSinceFormat = 1;
constexpr int32_t kInitialSizeSinceFormat = 5;
constexpr int32_t kTipsSinceFormat = 6;
// Up to this index a file may name the six classic tips by number.
constexpr int32_t kClassicTipsUntilFormat = 20;
constexpr const char* kClassicTips[] = {"round", "flat", "rake", "plaster", "grass", "leaf"};
// Tip names longer than this are damage, not names.
constexpr int32_t kMaxTipName = 4096;
// Every so many actions the loader looks at the abort flag and moves the ring.
constexpr int32_t kProgressStride = 200;

bool sideInRange(int32_t side) { return side >= 1 && side <= kwformat::kMaxSide; }

bool readTip(io::BinaryReader& in, ProcessTip& tip) {
    int32_t nameLength = 0;
    in.i32(tip.storedId);
    if (!in.i32(nameLength)) return false;
    if (nameLength < 0 || nameLength > kMaxTipName) {
        in.fail("tip name length " + std::to_string(nameLength));
        return false;
    }
    if (!in.text(nameLength, tip.name)) return false;
    in.i32(tip.width);
    in.i32(tip.height);
    if (in.failed()) return false;
    if (tip.width < 0 || tip.height < 0 || tip.width > kMaxTipSide || tip.height > kMaxTipSide) {
        in.fail("tip size " + std::to_string(tip.width) + " x " + std::to_string(tip.height));
        return false;
    }
    const std::size_t bytes = static_cast<std::size_t>(tip.width) * static_cast<std::size_t>(tip.height) * 4;
    if (bytes > in.remaining()) {
        in.fail("tip pixels cut short");
        return false;
    }
    tip.pixels.resize(bytes);
    return in.raw(tip.pixels);
}

LoadResult readTips(io::BinaryReader& in, const ProcessParseOptions& options, ProcessContent& out) {
    int32_t count = 0;
    // A record is at least id, name length, width and height.
    if (!in.i32(count) || !in.checkCount(count, 16)) return LoadResult::Failed;
    for (int32_t i = 0; i < count; ++i) {
        if (options.progress && options.progress->cancelRequested.load()) return LoadResult::Aborted;
        ProcessTip tip;
        if (!readTip(in, tip)) return LoadResult::Failed;
        out.tipMap[tip.storedId] = options.firstTipIndex + i;
        out.tips.push_back(std::move(tip));
    }
    if (in.formatIndex <= kClassicTipsUntilFormat && options.folderTips) {
        for (int32_t n = 1; n <= 6; ++n) {
            const int32_t index = options.folderTips->findFolderTip(kClassicTips[n - 1]);
            if (index >= 0) out.tipMap[n] = index;
        }
    }
    return LoadResult::Loaded;
}

// From here the ring shows the share of actions read, going on from where
// the free-running tip phase left it.
void startActionProgress(ProcessLoadProgress* p, int32_t count) {
    if (!p) return;
    const int period = std::max(p->spinnerPeriod.load(), 1);
    const double f = static_cast<double>(p->spinnerFrame.load() % period) / period;
    const int newPeriod = f >= 1.0 ? count : static_cast<int>(std::trunc(count / (1.0 - f)));
    p->spinnerPeriod = std::max(newPeriod, 1);
    p->spinnerFrame = newPeriod - count;
    p->spinnerActive = false;
    p->cancelRequested = false;
}

// One record of the action list. False (reason in the reader) on damage.
bool readRecord(io::BinaryReader& in, int32_t type, const ActionContext& context, Brush& currentBrush,
                ProcessContent& out) {
    if (type < 0) {
        in.fail("negative action type " + std::to_string(type));
        return false;
    }
    out.recordCounts[type] += 1;
    if (type == 0) {
        std::unique_ptr<BrushStrokeAction> stroke = readOldStroke(in, currentBrush);
        if (in.failed()) return false;
        if (stroke) out.actions.push_back(std::move(stroke));
        return true;
    }
    if (type == 1) return currentBrush.read(in);
    if (type == BrushStrokeAction::kTypeCode) {
        auto stroke = std::make_unique<BrushStrokeAction>();
        if (!stroke->read(out.tipMap, in)) return false;
        out.actions.push_back(std::move(stroke));
        return true;
    }
    std::unique_ptr<HistoryAction> action = makeAction(type, context);
    if (!action) return true; // 22 and codes above 23: no body, nothing to do
    action->read(in);
    if (in.failed()) return false;
    out.actions.push_back(std::move(action));
    return true;
}

LoadResult readActions(io::BinaryReader& in, ActionContext context, ProcessLoadProgress* progress,
                       ProcessContent& out) {
    int32_t count = 0;
    // Every record holds at least its type code.
    if (!in.i32(count) || !in.checkCount(count, 4)) return LoadResult::Failed;
    out.storedActionCount = count;
    startActionProgress(progress, count);
    context.initialWidth = out.initialWidth;
    context.initialHeight = out.initialHeight;
    Brush currentBrush; // what old stroke records draw with until a brush record
    out.actions.reserve(static_cast<std::size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        if (progress && i > 0 && i % kProgressStride == 0) {
            if (progress->cancelRequested.load()) {
                out.actions.clear();
                return LoadResult::Aborted;
            }
            progress->spinnerFrame += kProgressStride;
        }
        int32_t type = 0;
        if (!in.i32(type) || !readRecord(in, type, context, currentBrush, out)) {
            if (!in.failed()) in.fail("damaged action " + std::to_string(i));
            out.actions.clear();
            return LoadResult::Failed;
        }
    }
    return LoadResult::Loaded;
}

} // namespace

LoadResult parseProcess(std::span<const uint8_t> bytes, ActionContext context,
                        const ProcessParseOptions& options, ProcessContent& out, std::string& reason) {
    io::BinaryReader in(bytes);
    return parseProcess(in, context, options, out, reason);
}

LoadResult parseProcess(io::BinaryReader& in, ActionContext context, const ProcessParseOptions& options,
                        ProcessContent& out, std::string& reason) {
    out = ProcessContent{};
    auto failed = [&](LoadResult r) {
        reason = in.error();
        out.actions.clear();
        return r;
    };
    if (!kwformat::readHeader(in, out.header)) return failed(LoadResult::Failed);
    const kwformat::FileHeader& h = out.header;
    if (h.processIndex > kwformat::kProcessFormatIndex || h.layerIndex > kwformat::kLayerFormatIndex) {
        reason = "written by Kestrelwing " + kwformat::versionText(h.version) + ", a newer release";
        return LoadResult::TooNew;
    }
    if (h.processIndex < 0 || h.layerIndex < 0) {
        reason = "negative format index";
        return LoadResult::Failed;
    }
    if (!sideInRange(h.width) || !sideInRange(h.height)) {
        reason = "canvas size " + std::to_string(h.width) + " x " + std::to_string(h.height) + " out of range";
        return LoadResult::Failed;
    }
    out.initialWidth = h.width;
    out.initialHeight = h.height;
    if (in.formatIndex >= kInitialSizeSinceFormat) {
        in.i32(out.initialWidth);
        in.i32(out.initialHeight);
        if (in.failed()) return failed(LoadResult::Failed);
        if (!sideInRange(out.initialWidth) || !sideInRange(out.initialHeight)) {
            reason = "initial size " + std::to_string(out.initialWidth) + " x " +
                     std::to_string(out.initialHeight) + " out of range";
            return LoadResult::Failed;
        }
    }
    if (in.formatIndex >= kTipsSinceFormat) {
        const LoadResult tips = readTips(in, options, out);
        if (tips != LoadResult::Loaded) return failed(tips);
    }
    const LoadResult actions = readActions(in, context, options.progress, out);
    if (actions != LoadResult::Loaded) return failed(actions);
    if (in.formatIndex >= kLayersSinceFormat) {
        if (!readLayeredBody(in, h.width, h.height, out.picture)) return failed(LoadResult::Failed);
        out.hasLayers = true;
    }
    return LoadResult::Loaded;
}

namespace {

void writeTip(io::BinaryWriter& out, int32_t index, const BrushTip& tip) {
    out.i32(index);
    out.i32(static_cast<int32_t>(tip.name.size()));
    out.text(tip.name);
    // A tip whose file did not load is stored empty.
    const bool whole =
        tip.hasPixels() && tip.pixels.size() == static_cast<std::size_t>(tip.width) * tip.height * 4;
    out.i32(whole ? tip.width : 0);
    out.i32(whole ? tip.height : 0);
    if (whole) out.raw(tip.pixels);
}

} // namespace

int32_t tipUsedBy(const HistoryAction& action) {
    const auto* stroke = dynamic_cast<const BrushStrokeAction*>(&action);
    return stroke ? stroke->brush().tipIndex : 0;
}

std::vector<bool> tipsUsedBy(const std::vector<std::unique_ptr<HistoryAction>>& actions, std::size_t count,
                             std::size_t tipCount) {
    std::vector<bool> used(tipCount, false);
    for (std::size_t i = 0; i < std::min(count, actions.size()); ++i) {
        const int32_t tip = tipUsedBy(*actions[i]);
        if (tip >= 1 && static_cast<std::size_t>(tip) < tipCount) used[static_cast<std::size_t>(tip)] = true;
    }
    return used;
}

void writeActionRecord(io::BinaryWriter& out, const HistoryAction& action) {
    out.i32(action.type());
    action.write(out);
}

void writeProcess(io::BinaryWriter& out, const ProcessSaveInput& input) {
    static const std::vector<std::unique_ptr<HistoryAction>> kNone;
    const auto& actions = input.actions ? *input.actions : kNone;
    const std::size_t count = std::min(input.actionCount, actions.size());
    static const LayeredPicture kEmpty;
    const LayeredPicture& layers = input.layers ? *input.layers : kEmpty;

    const bool bodyWriter = static_cast<bool>(input.writeLayeredBody);
    kwformat::writeHeader(out, bodyWriter ? input.layersWidth : layers.width,
                          bodyWriter ? input.layersHeight : layers.height);
    out.i32(input.initialWidth);
    out.i32(input.initialHeight);

    if (input.actionRecords) {
        const std::vector<BrushTip> kNoTips;
        const std::vector<BrushTip>& tips = input.usedTips ? *input.usedTips : kNoTips;
        out.i32(static_cast<int32_t>(tips.size()));
        for (const BrushTip& tip : tips) writeTip(out, tip.id, tip);
        out.i32(static_cast<int32_t>(input.actionCount));
        for (std::span<const uint8_t> piece : *input.actionRecords) out.raw(piece);
    } else {
        // Only the tips that a stroke of the process uses, from index 1 on.
        const std::vector<bool> used = tipsUsedBy(actions, count, input.tips ? input.tips->size() : 0);
        out.i32(static_cast<int32_t>(std::count(used.begin(), used.end(), true)));
        for (std::size_t index = 1; index < used.size(); ++index)
            if (used[index]) writeTip(out, static_cast<int32_t>(index), *input.tips->find(static_cast<int32_t>(index)));
        out.i32(static_cast<int32_t>(count));
        for (std::size_t i = 0; i < count; ++i) writeActionRecord(out, *actions[i]);
    }
    if (bodyWriter) input.writeLayeredBody(out);
    else writeLayeredBody(out, layers);
}

std::vector<uint8_t> encodeProcess(const ProcessSaveInput& input) {
    io::BinaryWriter out;
    writeProcess(out, input);
    return out.take();
}

namespace DrawingProcess {

bool save(const std::string& path, const ProcessSaveInput& input, std::string* error) {
    io::AtomicFileSink sink;
    bool ok = sink.open(path);
    if (ok) {
        io::BinaryWriter out(sink);
        writeProcess(out, input);
        out.flush();
        ok = sink.commit();
    }
    if (!ok && error) *error = sink.error();
    return ok;
}

} // namespace DrawingProcess
