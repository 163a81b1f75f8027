#pragma once
// The clipboard's image block: a 40-byte BITMAPINFOHEADER followed by the
// pixels, as Windows programs exchange it. Our own copies write 32-bit BGRA,
// premultiplied, rows bottom-up (the order GL reads them back in), with a
// positive height. Reading accepts what other writers put there too: 24-bit
// rows padded to 4 bytes, BI_BITFIELDS masks and a colour table before the
// pixels. No GL here.
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace dib {

constexpr uint32_t kHeaderBytes = 40;
constexpr uint32_t kBiRgb = 0;
constexpr uint32_t kBiBitfields = 3;
constexpr uint32_t kFileHeaderBytes = 14; // "BM" file header of image/bmp

// An image as the floating paste takes it: rows bottom-up, BGR or BGRA
// (bytesPerPixel 3 or 4), no row padding.
struct Image {
    int32_t width = 0, height = 0;
    int32_t bytesPerPixel = 4;
    std::vector<uint8_t> pixels;
};

// The block for 32-bit BGRA rows bottom-up: header (size 40, width, height,
// planes 1, bits 32, compression 0, image size, the rest zero) and the
// pixels as they are. Empty when pixels is not width * height * 4 bytes.
std::vector<uint8_t> makeBlock(int32_t width, int32_t height, std::span<const uint8_t> bgra);

// Reads a block: bytes a pixel = bit count / 8 (3 or 4 taken), pixels from
// (10 + colours used) 32-bit words, or (13 + colours used) with BI_BITFIELDS;
// 24-bit rows lose their padding. False, with `why`, for a block that is cut
// short, names another depth, a size of zero or below, or more than `maxSide`.
bool parseBlock(std::span<const uint8_t> block, Image& out, std::string& why, int32_t maxSide = 16384);

// image/bmp: the 14-byte file header ("BM", file size, 0, pixel offset) and the block.
std::vector<uint8_t> blockToBmpFile(std::span<const uint8_t> block);

// Straight RGBA rows top-down (what the PNG encoder takes) from an image of
// premultiplied BGR(A) rows bottom-up.
std::vector<uint8_t> toStraightRgbaTopDown(const Image& image);
// Premultiplied BGRA rows bottom-up from canvas-form RGBA (premultiplied,
// rows bottom-up): only the red and blue bytes trade places.
std::vector<uint8_t> swapRedBlue(std::vector<uint8_t> pixels);

} // namespace dib
