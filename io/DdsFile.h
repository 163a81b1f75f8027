#pragma once
// A small reader of DirectDraw Surface files: DXT1, DXT3, DXT5 and
// uncompressed 24/32-bit RGB(A) with bit masks, with their mip levels.
// Cube maps, volumes and the DX10 header are refused. Pure CPU; the GL
// upload lives with the texture loader.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "io/ImageTypes.h"

enum class DdsFormat { Dxt1, Dxt3, Dxt5, Uncompressed };

struct DdsLevel {
    int32_t width = 0, height = 0;
    size_t offset = 0, size = 0; // bytes within the file
};

struct DdsFile {
    DdsFormat format = DdsFormat::Uncompressed;
    int32_t width = 0, height = 0;
    bool hasAlpha = false;
    uint32_t bitCount = 0; // uncompressed only
    uint32_t masks[4] = {}; // red, green, blue, alpha; uncompressed only
    std::vector<DdsLevel> levels;
};

// Checks the header and that every level lies inside the data.
DecodeStatus parseDds(std::span<const uint8_t> data, const DecodeLimits& limits, DdsFile& dds, std::string& detail);

// One level as straight RGBA, rows as stored (top-down).
std::vector<uint8_t> ddsLevelToRgba(std::span<const uint8_t> data, const DdsFile& dds, size_t level);

// Turns a level of DXT blocks upside down in place, so that row 0 becomes
// the bottom. Exact when the height is a multiple of 4 or below 4; false
// (nothing changed) otherwise.
bool flipDxtLevel(uint8_t* blocks, int32_t width, int32_t height, DdsFormat format);

// Bytes of one 4 x 4 block.
inline size_t dxtBlockBytes(DdsFormat format) { return format == DdsFormat::Dxt1 ? 8 : 16; }
