#pragma once
// Which pixels of a surface a pass has to touch. Surfaces are cut into square
// tiles; a region is the set of tiles that may hold a change. Passes then run
// once per rectangle of rects(), each a full-surface draw cut by the scissor,
// so a pixel inside the region gets exactly the value a full pass gives it.
// No GL here: the bookkeeping is tested on the CPU.
#include <cstdint>
#include <vector>

struct PixelRect {
    int32_t x = 0, y = 0, width = 0, height = 0;

    bool empty() const { return width <= 0 || height <= 0; }
    int32_t right() const { return x + width; }
    int32_t top() const { return y + height; }
    // The smallest rectangle of whole pixels that holds the box
    // [left, right] x [bottom, top], grown by `margin` pixels on every side.
    static PixelRect around(float left, float bottom, float right, float top, int32_t margin);
    bool operator==(const PixelRect&) const = default;
};

class PixelRegion {
public:
    static constexpr int32_t kTileSide = 64;  // the usual tile side

    PixelRegion() = default;
    // An empty region over a surface of this size, in tiles of `tileSide`.
    PixelRegion(int32_t width, int32_t height, int32_t tileSide = kTileSide) { reset(width, height, tileSide); }
    void reset(int32_t width, int32_t height, int32_t tileSide = kTileSide);

    void clear();
    void addAll();
    // Marks every tile the rectangle overlaps; the part outside the surface is dropped.
    void add(const PixelRect& rect);
    void add(const PixelRegion& other);
    // Removes the tiles of `other` (same surface size and tiles).
    void subtract(const PixelRegion& other);
    // Marks every tile that overlaps a tile of `other`, whatever its tile side.
    void addCovering(const PixelRegion& other);

    bool empty() const { return count_ == 0; }
    bool full() const { return count_ == static_cast<int32_t>(tiles_.size()) && count_ > 0; }
    bool containsTile(int32_t column, int32_t row) const;
    int32_t tileCount() const { return count_; }
    int32_t tileSide() const { return tileSide_; }
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }

    // The region as few rectangles: runs of tiles along each tile row, with
    // equal runs of neighbouring rows joined. Cut to the surface size.
    std::vector<PixelRect> rects() const;
    // Pixels covered by rects(): what a pass over the region costs.
    int64_t pixelCount() const;

private:
    int32_t tileSide_ = kTileSide;
    int32_t width_ = 0, height_ = 0, columns_ = 0, rows_ = 0;
    int32_t count_ = 0;
    std::vector<uint8_t> tiles_;  // row by row from the bottom, 1 where marked
};
