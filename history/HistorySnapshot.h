#pragma once
// A full copy of the layers at one point of the action list. The history
// keeps two of them, 31 actions apart; undo restores one and executes the
// actions after it again.
//
// Pixel ownership: each layer's pixels are a PixelBlock held by
// shared_ptr. The snapshot slot holds one reference; an autosave that
// writes slot 1 in the background copies the layer records and so holds a
// second one. When the slot is taken again while such a copy exists, the
// slot lets go of the shared block and allocates a fresh one, and the old
// block dies with the autosave's last reference. A slot's own blocks are
// reused in place. So pixel memory stays at two slots of all layers, plus at
// most the one slot an autosave is still writing.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "core/Math.h"

class Canvas;
class MultiLayeredImage;

// RGBA bytes of one layer, rows bottom-up. Counts its bytes process-wide so
// tests and diagnostics can measure snapshot memory.
class PixelBlock {
public:
    explicit PixelBlock(std::size_t bytes);
    ~PixelBlock();
    PixelBlock(const PixelBlock&) = delete;
    PixelBlock& operator=(const PixelBlock&) = delete;

    uint8_t* data() { return bytes_.data(); }
    const uint8_t* data() const { return bytes_.data(); }
    std::size_t size() const { return bytes_.size(); }

    // Bytes of all blocks alive now, in any thread.
    static std::size_t liveBytes() { return live_.load(); }

private:
    std::vector<uint8_t> bytes_;
    static std::atomic<std::size_t> live_;
};

using PixelBlockPtr = std::shared_ptr<PixelBlock>;

struct SnapshotLayer {
    bool visible = true;
    int32_t opacity = 100;
    // The record's third number: this program keeps the blend mode in it,
    // so a restore gives back multiply layers as they were.
    int32_t blendMode = 0;
    PixelBlockPtr pixels; // null until first captured
    // Which content the pixels are (see nextContentRevision): a restore
    // uploads nothing for a layer that still holds it.
    uint64_t revision = 0;
};

struct HistorySnapshot {
    int32_t currentLayer = 0;
    int32_t actionIndex = 0; // actions in the list when taken; -1: invalid
    int32_t width = 0, height = 0;
    std::vector<SnapshotLayer> layers;
    bool selectionEnabled = false;
    std::vector<math::Vec2> selectionOutline; // the selection's triangles, three points each
    std::vector<math::Vec2> selectionPoints;  // its outline as drawn

    // Lets go of every block that someone else (an autosave) still holds;
    // blocks owned by this slot alone stay for reuse.
    void releaseSharedPixels();
    // Frees all pixels and records; the slot becomes empty (actionIndex 0).
    void clear();
};

// GL side, main thread with the context current.
// Reads every layer into the slot's blocks (the current layer from the
// current surface, the others from their textures) and points each layer's
// cachedPixels at its block.
void captureSnapshotPixels(HistorySnapshot& slot, Canvas& canvas, MultiLayeredImage& layers);
// Sets the layer list from the slot (count, flags, textures), then puts the
// current layer into the other surface of the pair and flips to it.
void restoreSnapshotPixels(const HistorySnapshot& slot, Canvas& canvas, MultiLayeredImage& layers);
