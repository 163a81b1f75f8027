#include "io/DdsFile.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

uint32_t le32(std::span<const uint8_t> d, size_t at) {
    return d[at] | (d[at + 1] << 8) | (d[at + 2] << 16) | (static_cast<uint32_t>(d[at + 3]) << 24);
}

constexpr uint32_t fourCc(const char (&s)[5]) {
    return static_cast<uint32_t>(s[0]) | static_cast<uint32_t>(s[1]) << 8 | static_cast<uint32_t>(s[2]) << 16 |
           static_cast<uint32_t>(s[3]) << 24;
}

constexpr size_t kHeaderBytes = 128; // "DDS " and the 124-byte header
constexpr uint32_t kMipCountFlag = 0x20000, kAlphaPixels = 0x1, kFourCcFlag = 0x4, kRgbFlag = 0x40;
constexpr uint32_t kCubeMap = 0x200, kVolume = 0x200000;

size_t levelBytes(const DdsFile& dds, int64_t w, int64_t h) {
    if (dds.format == DdsFormat::Uncompressed) return static_cast<size_t>(w * h * (dds.bitCount / 8));
    return static_cast<size_t>(((w + 3) / 4) * ((h + 3) / 4)) * dxtBlockBytes(dds.format);
}

DecodeStatus readPixelFormat(std::span<const uint8_t> d, DdsFile& dds, std::string& detail) {
    const uint32_t flags = le32(d, 80), code = le32(d, 84);
    dds.hasAlpha = (flags & kAlphaPixels) != 0;
    if (flags & kFourCcFlag) {
        if (code == fourCc("DXT1")) dds.format = DdsFormat::Dxt1;
        else if (code == fourCc("DXT3")) dds.format = DdsFormat::Dxt3;
        else if (code == fourCc("DXT5")) dds.format = DdsFormat::Dxt5;
        else {
            detail = "DDS of an unsupported compression";
            return DecodeStatus::Unsupported;
        }
        if (dds.format != DdsFormat::Dxt1) dds.hasAlpha = true;
        return DecodeStatus::Ok;
    }
    dds.bitCount = le32(d, 88);
    for (size_t i = 0; i < 4; ++i) dds.masks[i] = le32(d, 92 + 4 * i);
    if (!dds.hasAlpha) dds.masks[3] = 0;
    if (!(flags & kRgbFlag) || (dds.bitCount != 24 && dds.bitCount != 32)) {
        detail = "DDS of an unsupported pixel layout";
        return DecodeStatus::Unsupported;
    }
    for (size_t i = 0; i < 4; ++i)
        if (dds.masks[i] != 0 && std::popcount(dds.masks[i]) != 8) {
            detail = "DDS channel masks other than 8 bits";
            return DecodeStatus::Unsupported;
        }
    dds.format = DdsFormat::Uncompressed;
    return DecodeStatus::Ok;
}

} // namespace

DecodeStatus parseDds(std::span<const uint8_t> d, const DecodeLimits& limits, DdsFile& dds, std::string& detail) {
    if (d.size() < kHeaderBytes || std::memcmp(d.data(), "DDS ", 4) != 0 || le32(d, 4) != 124 ||
        le32(d, 76) != 32) {
        detail = "not a DDS header";
        return DecodeStatus::Damaged;
    }
    const int64_t height = le32(d, 12), width = le32(d, 16);
    if (!limits.accepts(width, height)) {
        detail = "DDS header claims " + std::to_string(width) + " x " + std::to_string(height);
        return DecodeStatus::TooLarge;
    }
    if (le32(d, 112) & (kCubeMap | kVolume)) {
        detail = "DDS cube maps and volumes are not read";
        return DecodeStatus::Unsupported;
    }
    if (const DecodeStatus s = readPixelFormat(d, dds, detail); s != DecodeStatus::Ok) return s;
    dds.width = static_cast<int32_t>(width);
    dds.height = static_cast<int32_t>(height);
    const uint32_t maxLevels = static_cast<uint32_t>(std::bit_width(static_cast<uint64_t>(std::max(width, height))));
    uint32_t count = (le32(d, 8) & kMipCountFlag) ? le32(d, 28) : 1;
    count = std::clamp<uint32_t>(count, 1, maxLevels);
    size_t at = kHeaderBytes;
    int64_t w = width, h = height;
    dds.levels.clear();
    for (uint32_t i = 0; i < count; ++i) {
        const size_t size = levelBytes(dds, w, h);
        if (size > d.size() - at) {
            detail = "DDS data ends early";
            return DecodeStatus::Damaged;
        }
        dds.levels.push_back({static_cast<int32_t>(w), static_cast<int32_t>(h), at, size});
        at += size;
        w = std::max<int64_t>(1, w / 2);
        h = std::max<int64_t>(1, h / 2);
    }
    return DecodeStatus::Ok;
}

namespace {

void rgb565(uint32_t v, uint8_t* out) {
    const uint32_t r = (v >> 11) & 31, g = (v >> 5) & 63, b = v & 31;
    out[0] = static_cast<uint8_t>(r << 3 | r >> 2);
    out[1] = static_cast<uint8_t>(g << 2 | g >> 4);
    out[2] = static_cast<uint8_t>(b << 3 | b >> 2);
    out[3] = 255;
}

// The four colours of a colour block; DXT3/5 always use the four-colour form.
void colourBlock(const uint8_t* block, bool dxt1, uint8_t (&palette)[4][4]) {
    const uint32_t c0 = block[0] | block[1] << 8, c1 = block[2] | block[3] << 8;
    rgb565(c0, palette[0]);
    rgb565(c1, palette[1]);
    const bool fourColours = !dxt1 || c0 > c1;
    for (int c = 0; c < 3; ++c) {
        const int a = palette[0][c], b = palette[1][c];
        palette[2][c] = static_cast<uint8_t>(fourColours ? (2 * a + b) / 3 : (a + b) / 2);
        palette[3][c] = static_cast<uint8_t>(fourColours ? (a + 2 * b) / 3 : 0);
    }
    palette[2][3] = 255;
    palette[3][3] = fourColours ? 255 : 0;
}

void dxt5Alphas(const uint8_t* block, uint8_t (&alphas)[8]) {
    const int a0 = block[0], a1 = block[1];
    alphas[0] = static_cast<uint8_t>(a0);
    alphas[1] = static_cast<uint8_t>(a1);
    if (a0 > a1) {
        for (int i = 1; i < 7; ++i) alphas[i + 1] = static_cast<uint8_t>(((7 - i) * a0 + i * a1) / 7);
    } else {
        for (int i = 1; i < 5; ++i) alphas[i + 1] = static_cast<uint8_t>(((5 - i) * a0 + i * a1) / 5);
        alphas[6] = 0;
        alphas[7] = 255;
    }
}

uint64_t bits48(const uint8_t* p) {
    uint64_t v = 0;
    for (int i = 5; i >= 0; --i) v = v << 8 | p[i];
    return v;
}

void decodeBlock(const uint8_t* block, DdsFormat format, bool keepAlpha, uint8_t (&texels)[16][4]) {
    const uint8_t* colour = format == DdsFormat::Dxt1 ? block : block + 8;
    uint8_t palette[4][4];
    colourBlock(colour, format == DdsFormat::Dxt1, palette);
    uint8_t alphas[8];
    if (format == DdsFormat::Dxt5) dxt5Alphas(block, alphas);
    for (int i = 0; i < 16; ++i) {
        const int index = (colour[4 + i / 4] >> (2 * (i % 4))) & 3;
        std::memcpy(texels[i], palette[index], 4);
        if (format == DdsFormat::Dxt3) texels[i][3] = static_cast<uint8_t>(((block[i / 2] >> (4 * (i % 2))) & 15) * 17);
        if (format == DdsFormat::Dxt5) texels[i][3] = alphas[(bits48(block + 2) >> (3 * i)) & 7];
        if (format == DdsFormat::Dxt1 && !keepAlpha) texels[i][3] = 255;
    }
}

uint8_t maskedChannel(uint32_t pixel, uint32_t mask) {
    return mask == 0 ? 255 : static_cast<uint8_t>((pixel & mask) >> std::countr_zero(mask));
}

} // namespace

std::vector<uint8_t> ddsLevelToRgba(std::span<const uint8_t> data, const DdsFile& dds, size_t levelIndex) {
    const DdsLevel& level = dds.levels.at(levelIndex);
    const size_t w = static_cast<size_t>(level.width), h = static_cast<size_t>(level.height);
    std::vector<uint8_t> rgba(w * h * 4);
    const uint8_t* src = data.data() + level.offset;
    if (dds.format == DdsFormat::Uncompressed) {
        const size_t step = dds.bitCount / 8;
        for (size_t i = 0; i < w * h; ++i) {
            uint32_t pixel = 0;
            for (size_t b = 0; b < step; ++b) pixel |= static_cast<uint32_t>(src[i * step + b]) << (8 * b);
            for (size_t c = 0; c < 4; ++c) rgba[i * 4 + c] = maskedChannel(pixel, dds.masks[c]);
        }
        return rgba;
    }
    const size_t blocksX = (w + 3) / 4, blocksY = (h + 3) / 4, bytes = dxtBlockBytes(dds.format);
    uint8_t texels[16][4];
    for (size_t by = 0; by < blocksY; ++by)
        for (size_t bx = 0; bx < blocksX; ++bx) {
            decodeBlock(src + (by * blocksX + bx) * bytes, dds.format, dds.hasAlpha, texels);
            for (size_t i = 0; i < 16; ++i) {
                const size_t x = bx * 4 + i % 4, y = by * 4 + i / 4;
                if (x < w && y < h) std::memcpy(&rgba[(y * w + x) * 4], texels[i], 4);
            }
        }
    return rgba;
}

namespace {

// New row r of a block takes old row rows[r].
void permuteBlockRows(uint8_t* block, DdsFormat format, const int (&rows)[4]) {
    uint8_t* colour = format == DdsFormat::Dxt1 ? block : block + 8;
    uint8_t indices[4];
    std::memcpy(indices, colour + 4, 4);
    for (int r = 0; r < 4; ++r) colour[4 + r] = indices[rows[r]];
    if (format == DdsFormat::Dxt3) {
        uint8_t alpha[8];
        std::memcpy(alpha, block, 8);
        for (int r = 0; r < 4; ++r) std::memcpy(block + 2 * r, alpha + 2 * rows[r], 2);
    } else if (format == DdsFormat::Dxt5) {
        const uint64_t old = bits48(block + 2);
        uint64_t v = 0;
        for (int r = 0; r < 4; ++r) v |= ((old >> (12 * rows[r])) & 0xfff) << (12 * r);
        for (int i = 0; i < 6; ++i) block[2 + i] = static_cast<uint8_t>(v >> (8 * i));
    }
}

} // namespace

bool flipDxtLevel(uint8_t* blocks, int32_t width, int32_t height, DdsFormat format) {
    if (format == DdsFormat::Uncompressed || (height % 4 != 0 && height > 4)) return false;
    const size_t bytes = dxtBlockBytes(format);
    const size_t blocksX = static_cast<size_t>(width + 3) / 4, blocksY = static_cast<size_t>(height + 3) / 4;
    const size_t rowBytes = blocksX * bytes;
    std::vector<uint8_t> swap(rowBytes);
    for (size_t y = 0; y < blocksY / 2; ++y) {
        uint8_t* a = blocks + y * rowBytes;
        uint8_t* b = blocks + (blocksY - 1 - y) * rowBytes;
        std::memcpy(swap.data(), a, rowBytes);
        std::memcpy(a, b, rowBytes);
        std::memcpy(b, swap.data(), rowBytes);
    }
    int rows[4] = {3, 2, 1, 0};
    if (height < 4)
        for (int r = 0; r < 4; ++r) rows[r] = r < height ? height - 1 - r : r;
    for (size_t i = 0; i < blocksX * blocksY; ++i) permuteBlockRows(blocks + i * bytes, format, rows);
    return true;
}
