#pragma once
// CPU pixel helpers shared by the codecs, the layered file and the canvas:
// no GL here. Pixels are 8-bit RGBA unless a function says else.
#include <cstddef>
#include <cstdint>
#include <vector>

// In place over `length` bytes of RGBA (a trailing partial pixel is left alone).
// premultiply: r, g, b become floor(value * alpha / 255), computed exactly in integers.
void premultiply(uint8_t* bytes, size_t length);

// unpremultiply: each colour becomes the straight value nearest the middle of
// those that premultiply back to it, so premultiply(unpremultiply(p)) == p for
// valid data and a load-save cycle is stable after the first pass; 0 stays 0
// and a colour equal to its alpha becomes 255. Pixels with
// alpha 0 are left as they are; a colour above its alpha (not valid
// premultiplied data) saturates at 255.
void unpremultiply(uint8_t* bytes, size_t length);

// One straight colour value for premultiplied `value` at alpha `alpha` (1..255).
uint8_t unpremultipliedValue(unsigned value, unsigned alpha);

// Swaps rows top to bottom in place: row y and row height - 1 - y trade places.
// rowBytes is the length of one row. Libraries count rows from the top, the
// canvas from the bottom.
void flipRowsInPlace(uint8_t* pixels, size_t rowBytes, int32_t height);
inline void flipRowsInPlace(std::vector<uint8_t>& pixels, int32_t width, int32_t height) {
    flipRowsInPlace(pixels.data(), static_cast<size_t>(width) * 4, height);
}

// Mirrors each row of RGBA pixels left to right in place (pixel k trades
// places with pixel width - 1 - k; an odd width keeps its middle column).
// The rows are shared out in runs of ceil(height / n) among n threads, n the
// processor count (or `threadCount` when not 0), joined before the return;
// late threads may get no rows. A thread that cannot be started leaves its
// rows to the caller, so every row is mirrored once in any case.
void mirrorRows(uint8_t* pixels, int32_t width, int32_t height, unsigned threadCount = 0);
inline void mirrorRows(std::vector<uint8_t>& pixels, int32_t width, int32_t height, unsigned threadCount = 0) {
    if (width <= 0 || height <= 0 || pixels.size() < static_cast<size_t>(width) * static_cast<size_t>(height) * 4)
        return;
    mirrorRows(pixels.data(), width, height, threadCount);
}

// Turns top-down RGBA rows as stored into the picture as shown, by the
// orientation values of EXIF and TIFF: 1 as stored, 2 mirrored left-right,
// 3 turned half round, 4 mirrored top-bottom, 5 transposed, 6 turned a
// quarter clockwise, 7 transversed, 8 turned a quarter anticlockwise.
// 5 to 8 swap width and height. Other values change nothing.
void orientRgba(std::vector<uint8_t>& pixels, int32_t& width, int32_t& height, int orientation);
