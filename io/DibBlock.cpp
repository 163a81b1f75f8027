#include "io/DibBlock.h"

#include <algorithm>

#include "io/Pixels.h"

namespace dib {
namespace {

void put32(std::vector<uint8_t>& out, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) out[at + static_cast<size_t>(i)] = static_cast<uint8_t>(v >> (8 * i));
}
void put16(std::vector<uint8_t>& out, size_t at, uint16_t v) {
    out[at] = static_cast<uint8_t>(v);
    out[at + 1] = static_cast<uint8_t>(v >> 8);
}
uint32_t get32(std::span<const uint8_t> in, size_t at) {
    return uint32_t{in[at]} | uint32_t{in[at + 1]} << 8 | uint32_t{in[at + 2]} << 16 | uint32_t{in[at + 3]} << 24;
}
uint16_t get16(std::span<const uint8_t> in, size_t at) {
    return static_cast<uint16_t>(in[at] | in[at + 1] << 8);
}

} // namespace

std::vector<uint8_t> makeBlock(int32_t width, int32_t height, std::span<const uint8_t> bgra) {
    if (width <= 0 || height <= 0) return {};
    const uint64_t bytes = uint64_t(width) * uint64_t(height) * 4;
    if (bgra.size() != bytes || bytes > 0xFFFFFFFFull - kHeaderBytes) return {};
    std::vector<uint8_t> block(kHeaderBytes + bytes, 0);
    put32(block, 0, kHeaderBytes);
    put32(block, 4, static_cast<uint32_t>(width));
    put32(block, 8, static_cast<uint32_t>(height)); // positive: rows bottom-up
    put16(block, 12, 1);                            // planes
    put16(block, 14, 32);                           // bits a pixel
    put32(block, 16, kBiRgb);
    put32(block, 20, static_cast<uint32_t>(bytes));
    std::copy(bgra.begin(), bgra.end(), block.begin() + kHeaderBytes);
    return block;
}

bool parseBlock(std::span<const uint8_t> block, Image& out, std::string& why, int32_t maxSide) {
    if (block.size() < kHeaderBytes) {
        why = "image block shorter than its header";
        return false;
    }
    const int32_t width = static_cast<int32_t>(get32(block, 4));
    const int32_t height = static_cast<int32_t>(get32(block, 8));
    const uint16_t bits = get16(block, 14);
    const uint32_t compression = get32(block, 16);
    const uint32_t coloursUsed = get32(block, 32);
    if (width <= 0 || height <= 0 || width > maxSide || height > maxSide) {
        why = "image block of size " + std::to_string(width) + " x " + std::to_string(height);
        return false;
    }
    if (bits != 24 && bits != 32) {
        why = "image block of " + std::to_string(bits) + " bits a pixel";
        return false;
    }
    if (compression != kBiRgb && compression != kBiBitfields) {
        why = "compressed image block";
        return false;
    }
    if (coloursUsed > 256) {
        why = "image block with a colour table of " + std::to_string(coloursUsed);
        return false;
    }
    const uint64_t offset = (uint64_t(compression == kBiBitfields ? 13 : 10) + coloursUsed) * 4;
    const uint64_t bytesPerPixel = bits / 8;
    const uint64_t rowBytes = uint64_t(width) * bytesPerPixel;
    const uint64_t stride = (rowBytes + 3) / 4 * 4; // rows padded to 32 bits (no-op at 32 bits)
    const uint64_t need = offset + stride * uint64_t(height - 1) + rowBytes;
    if (need > block.size()) {
        why = "image block cut short";
        return false;
    }
    out.width = width;
    out.height = height;
    out.bytesPerPixel = static_cast<int32_t>(bytesPerPixel);
    out.pixels.resize(rowBytes * uint64_t(height));
    for (int32_t y = 0; y < height; ++y) {
        const uint8_t* src = block.data() + offset + stride * uint64_t(y);
        std::copy(src, src + rowBytes, out.pixels.begin() + static_cast<std::ptrdiff_t>(rowBytes * uint64_t(y)));
    }
    return true;
}

std::vector<uint8_t> blockToBmpFile(std::span<const uint8_t> block) {
    if (block.size() < kHeaderBytes) return {};
    std::vector<uint8_t> file(kFileHeaderBytes + block.size(), 0);
    file[0] = 'B';
    file[1] = 'M';
    put32(file, 2, static_cast<uint32_t>(file.size()));
    uint32_t offset = kFileHeaderBytes + kHeaderBytes + get32(block, 32) * 4;
    if (get32(block, 16) == kBiBitfields) offset += 12;
    put32(file, 10, offset);
    std::copy(block.begin(), block.end(), file.begin() + kFileHeaderBytes);
    return file;
}

std::vector<uint8_t> toStraightRgbaTopDown(const Image& image) {
    const size_t n = size_t(image.width) * size_t(image.height);
    const size_t bpp = static_cast<size_t>(image.bytesPerPixel);
    if (image.width <= 0 || image.height <= 0 || (bpp != 3 && bpp != 4) || image.pixels.size() != n * bpp) return {};
    std::vector<uint8_t> rgba(n * 4);
    for (size_t i = 0; i < n; ++i) {
        const uint8_t* p = &image.pixels[i * bpp];
        rgba[i * 4 + 0] = p[2];
        rgba[i * 4 + 1] = p[1];
        rgba[i * 4 + 2] = p[0];
        rgba[i * 4 + 3] = bpp == 4 ? p[3] : 255;
    }
    unpremultiply(rgba.data(), rgba.size());
    flipRowsInPlace(rgba, image.width, image.height);
    return rgba;
}

std::vector<uint8_t> swapRedBlue(std::vector<uint8_t> pixels) {
    for (size_t i = 0; i + 3 < pixels.size(); i += 4) std::swap(pixels[i], pixels[i + 2]);
    return pixels;
}

} // namespace dib
