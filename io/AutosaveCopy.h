#pragma once
// What the autosave writes, copied on the main thread so that the writer
// thread reads nothing the program may change meanwhile: the pixel blocks of
// snapshot slot 1 (shared, so they live until the write ends), the stored
// records of the actions up to that slot and the tips those actions use.
//
// The action records are encoded once: ActionRecordCache keeps the bytes of
// the actions already encoded in immutable pieces and, at each autosave,
// encodes only the actions added since, so a long process costs the main
// thread the new actions, not the whole list. No GL.
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "brush/BrushTips.h"
#include "history/HistorySnapshot.h"

class History;
class HistoryAction;

class ActionRecordCache {
public:
    // Brings the cache to the first `count` actions of the list. Entries at
    // and above `unchangedPrefix` (see History::takeUnchangedPrefix) are
    // encoded again. Main thread.
    void update(const std::vector<std::unique_ptr<HistoryAction>>& actions, std::size_t count,
                std::size_t unchangedPrefix);
    // The records of the cached actions as immutable pieces, to be written one
    // after the other. The pieces stay valid for whoever holds them.
    std::vector<std::shared_ptr<const std::vector<uint8_t>>> pieces() const;
    std::size_t count() const { return entries_.size(); }
    // The tip index each cached action stamps (0: none), in list order.
    std::vector<int32_t> tipsUsed() const;
    // Actions encoded by the last update (for tests and measurements).
    std::size_t lastEncoded() const { return lastEncoded_; }

private:
    struct Entry {
        int32_t tip = 0;
        std::size_t piece = 0; // index into pieces_
        std::size_t end = 0;   // end of this record in its piece
    };
    void truncate(std::size_t keep);

    std::vector<Entry> entries_;
    std::vector<std::shared_ptr<const std::vector<uint8_t>>> pieces_;
    std::size_t lastEncoded_ = 0;
};

struct AutosaveJob {
    std::string path;
    int32_t initialWidth = 0, initialHeight = 0;
    // Slot 1's picture: size, current layer, and each layer's flags with its
    // shared pixel block.
    int32_t width = 0, height = 0, currentLayer = 0;
    std::vector<SnapshotLayer> layers;
    int32_t actionCount = 0;
    std::vector<std::shared_ptr<const std::vector<uint8_t>>> actionRecords;
    std::vector<BrushTip> usedTips; // id = table index, ascending; no GL names
};

// Main thread: the job for the slot just filled and its action count.
AutosaveJob makeAutosaveJob(const std::string& path, const History& history, const HistorySnapshot& slot,
                            std::size_t actionCount, const BrushTipTable* tips, ActionRecordCache& cache,
                            std::size_t unchangedPrefix);

// Any thread: writes the job as a drawing process, through a temporary file
// renamed into place. False with the reason in *error.
bool writeAutosave(const AutosaveJob& job, std::string* error = nullptr);
