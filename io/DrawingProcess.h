#pragma once
// The drawing-process file (".dpf", and the old headerless ".dat"): header,
// initial size, the tips its strokes use, the actions, the final layers.
//
// Reading is split in two. parseProcess turns bytes into new objects (tips,
// actions, layers) without GL and without touching the program: it is what
// the fuzzer and --info run. loadDrawingProcess parses on a loader thread and,
// only on success, swaps the result into the document; a failed or aborted
// load leaves the open picture, its history and the tip table untouched.
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "history/ActionFactory.h"
#include "history/BrushStrokeAction.h"
#include "io/ImageCodec.h"
#include "io/LayeredFile.h"
#include "io/ProcessFormat.h"

class BrushTipTable;
struct BrushTip;
class History;
namespace platform {
class SharedGlContext;
}

// Progress shared between the loader thread and the main thread.
struct ProcessLoadProgress {
    std::atomic<bool> cancelRequested{false};
    // True while the ring turns by itself (tip phase); then frame/period
    // show the share of actions read.
    std::atomic<bool> spinnerActive{true};
    std::atomic<int> spinnerFrame{0};
    std::atomic<int> spinnerPeriod{1000};
};

// One tip as stored in a process: RGBA rows as the texture holds them.
struct ProcessTip {
    int32_t storedId = 0;
    std::string name;
    int32_t width = 0, height = 0;
    std::vector<uint8_t> pixels;
    uint32_t texture = 0; // made by the loader thread in the shared context, else 0
};

struct ProcessContent {
    kwformat::FileHeader header;
    int32_t initialWidth = 0, initialHeight = 0;
    std::vector<ProcessTip> tips;
    TipMap tipMap;                     // stored tip number -> table index
    int32_t storedActionCount = 0;     // records in the file, brush changes included
    std::map<int32_t, int32_t> recordCounts; // type code -> records read
    std::vector<std::unique_ptr<HistoryAction>> actions;
    bool hasLayers = false;            // from format index 1
    LayeredPicture picture;
};

struct ProcessParseOptions {
    // Folder tips, for the classic tip numbers of older files; may be null.
    const BrushTipTable* folderTips = nullptr;
    // The table index the first tip of the file will get (the folder count).
    int32_t firstTipIndex = 0;
    ProcessLoadProgress* progress = nullptr; // may be null
};

// Bytes to objects. The actions are bound to context.canvas and
// context.layers but nothing is executed. Result Loaded, Failed (reason
// filled), TooNew (header filled) or Aborted.
LoadResult parseProcess(std::span<const uint8_t> bytes, ActionContext context, const ProcessParseOptions& options,
                        ProcessContent& out, std::string& reason);
// The same from a reader, e.g. one streaming the file.
LoadResult parseProcess(io::BinaryReader& in, ActionContext context, const ProcessParseOptions& options,
                        ProcessContent& out, std::string& reason);

// What a save writes.
struct ProcessSaveInput {
    const std::vector<std::unique_ptr<HistoryAction>>* actions = nullptr;
    std::size_t actionCount = 0;        // the first actionCount actions
    const LayeredPicture* layers = nullptr;
    int32_t initialWidth = 0, initialHeight = 0;
    const BrushTipTable* tips = nullptr; // may be null: no tip section entries
    // When set, writes the layered body in place of `layers` (the program
    // streams it from the canvas one layer at a time); the header then takes
    // layersWidth x layersHeight.
    std::function<void(io::BinaryWriter&)> writeLayeredBody;
    int32_t layersWidth = 0, layersHeight = 0;
    // When set, the actions come already encoded, in place of `actions` and
    // `tips`: the stored records (type code and body) of the first
    // actionCount actions, in pieces written one after the other, and the
    // tips they use, each with its table index as id. The autosave writes
    // from such copies, away from the live list and table.
    const std::vector<std::span<const uint8_t>>* actionRecords = nullptr;
    const std::vector<BrushTip>* usedTips = nullptr;
};

// The tip a stroke stamps (its table index); 0 for any other action.
int32_t tipUsedBy(const HistoryAction& action);
// Which table entries (below tipCount) the strokes of the first count actions use.
std::vector<bool> tipsUsedBy(const std::vector<std::unique_ptr<HistoryAction>>& actions, std::size_t count,
                             std::size_t tipCount);
// One stored action: its type code, then its body.
void writeActionRecord(io::BinaryWriter& out, const HistoryAction& action);

// The whole file in memory: header with the layers' size, initial size, the
// tips used by the strokes (from index 1), the actions, the layered body.
std::vector<uint8_t> encodeProcess(const ProcessSaveInput& input);
// The same bytes into a writer (streaming to a file).
void writeProcess(io::BinaryWriter& out, const ProcessSaveInput& input);

namespace DrawingProcess {

// Streams the file into a temporary file renamed into place. False, with
// the reason in *error, when it cannot be written whole; the file that was
// there is then untouched.
bool save(const std::string& path, const ProcessSaveInput& input, std::string* error = nullptr);

struct LoadOptions {
    BrushTipTable* tips = nullptr;                 // process tips are replaced on success
    // Made current on the loader thread for the tip textures; null: no GL there.
    // One that cannot be made current sends the parse back to the calling thread.
    platform::SharedGlContext* sharedContext = nullptr;
    // Keeps the program alive while the loader thread works; empty: the
    // whole load runs on the calling thread.
    WaitFunction wait;
    // The caller's own progress, to follow the load or abort it from
    // elsewhere; null: the load keeps one of its own.
    ProcessLoadProgress* progress = nullptr;
};

// The reader. outVersion gets the file's release (for "requires ..."). On
// success the document holds the file's size, layers (from format index 1,
// else a transparent picture), actions (not executed) and initial size, and
// both snapshots hold the loaded picture.
LoadResult load(const std::string& path, DocumentTarget& doc, const LoadOptions& options, int32_t outVersion[3]);

} // namespace DrawingProcess

// The flow around the reader: the message of the result, and on success
// modificationCount 0. True on success.
bool openDrawingProcess(const std::string& path, DocumentTarget& doc, const DrawingProcess::LoadOptions& options);

// The "save drawing process" flow: stores the current surface, writes the
// history's actions, the layers and the initial size, sets modificationCount
// to 0 and shows the message. True when the file was written.
bool saveDrawingProcessFlow(const std::string& path, DocumentTarget& doc, const BrushTipTable* tips);

// Makes the textures of process tips that have none yet (GL thread).
void uploadProcessTipTextures(BrushTipTable& tips);
