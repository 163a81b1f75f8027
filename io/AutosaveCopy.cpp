#include "io/AutosaveCopy.h"

#include <algorithm>

#include "history/History.h"
#include "io/BinaryStream.h"
#include "io/DrawingProcess.h"

void ActionRecordCache::truncate(std::size_t keep) {
    if (keep >= entries_.size()) return;
    entries_.resize(keep);
    if (keep == 0) {
        pieces_.clear();
        return;
    }
    const Entry& last = entries_.back();
    pieces_.resize(last.piece + 1);
    const auto& piece = pieces_[last.piece];
    // Pieces are shared with running writers: a shorter one is a new copy.
    if (last.end < piece->size())
        pieces_[last.piece] = std::make_shared<const std::vector<uint8_t>>(piece->begin(), piece->begin() +
                                                                               static_cast<std::ptrdiff_t>(last.end));
}

void ActionRecordCache::update(const std::vector<std::unique_ptr<HistoryAction>>& actions, std::size_t count,
                               std::size_t unchangedPrefix) {
    count = std::min(count, actions.size());
    truncate(std::min({unchangedPrefix, count, entries_.size()}));
    lastEncoded_ = count - entries_.size();
    if (lastEncoded_ == 0) return;
    io::BinaryWriter out;
    const std::size_t piece = pieces_.size();
    for (std::size_t i = entries_.size(); i < count; ++i) {
        writeActionRecord(out, *actions[i]);
        entries_.push_back({tipUsedBy(*actions[i]), piece, out.size()});
    }
    pieces_.push_back(std::make_shared<const std::vector<uint8_t>>(out.take()));
}

std::vector<std::shared_ptr<const std::vector<uint8_t>>> ActionRecordCache::pieces() const { return pieces_; }

std::vector<int32_t> ActionRecordCache::tipsUsed() const {
    std::vector<int32_t> tips;
    tips.reserve(entries_.size());
    for (const Entry& e : entries_) tips.push_back(e.tip);
    return tips;
}

AutosaveJob makeAutosaveJob(const std::string& path, const History& history, const HistorySnapshot& slot,
                            std::size_t actionCount, const BrushTipTable* tips, ActionRecordCache& cache,
                            std::size_t unchangedPrefix) {
    AutosaveJob job;
    job.path = path;
    job.initialWidth = history.initialWidth;
    job.initialHeight = history.initialHeight;
    job.width = slot.width;
    job.height = slot.height;
    job.currentLayer = slot.currentLayer;
    job.layers = slot.layers; // shares the blocks: they outlive a new snapshot
    cache.update(history.actions(), actionCount, unchangedPrefix);
    job.actionCount = static_cast<int32_t>(cache.count());
    job.actionRecords = cache.pieces();
    if (tips) {
        std::vector<bool> used(tips->size(), false);
        for (int32_t t : cache.tipsUsed())
            if (t >= 1 && static_cast<std::size_t>(t) < used.size()) used[static_cast<std::size_t>(t)] = true;
        for (std::size_t i = 1; i < used.size(); ++i) {
            if (!used[i]) continue;
            BrushTip copy = *tips->find(static_cast<int32_t>(i));
            copy.id = static_cast<int32_t>(i);
            copy.texture = 0; // the writer has no GL
            job.usedTips.push_back(std::move(copy));
        }
    }
    return job;
}

bool writeAutosave(const AutosaveJob& job, std::string* error) {
    std::vector<std::span<const uint8_t>> records;
    for (const auto& piece : job.actionRecords) records.emplace_back(*piece);
    std::vector<LayerPixels> flags;
    for (const SnapshotLayer& layer : job.layers) flags.push_back({layer.visible, layer.opacity, layer.blendMode, {}});
    ProcessSaveInput input;
    input.actionCount = static_cast<std::size_t>(job.actionCount);
    input.initialWidth = job.initialWidth;
    input.initialHeight = job.initialHeight;
    input.actionRecords = &records;
    input.usedTips = &job.usedTips;
    input.layersWidth = job.width;
    input.layersHeight = job.height;
    input.writeLayeredBody = [&](io::BinaryWriter& out) {
        writeLayeredBody(out, flags, job.currentLayer, job.width, job.height, [&](std::size_t i) {
            const PixelBlockPtr& block = job.layers[i].pixels;
            return block ? std::span<const uint8_t>(block->data(), block->size()) : std::span<const uint8_t>();
        });
    };
    return DrawingProcess::save(job.path, input, error);
}
