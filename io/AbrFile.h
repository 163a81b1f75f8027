#pragma once
// Brush sets in ".abr" files: the sampled brushes of a set become tips of
// the tip table. Only name, size and mask are read. The file's numbers are
// big endian. Versions 1 and 2 list brush records one after the other;
// version 6 (subversions 1 and 2) keeps its samples in the "samp" resource
// block. Computed brushes carry no mask and are skipped.
//
// Every count, size and length is checked against the bytes that remain
// before anything is allocated; a damaged file stops at the failing read
// with the brushes decoded before it.
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

class BrushTipTable;

namespace abr {

// Sets larger than this are not read.
inline constexpr std::size_t kMaxFileBytes = std::size_t(256) << 20;
// Brushes of more rows than this are skipped.
inline constexpr int64_t kMaxRows = 16384;

struct Brush {
    std::string name;
    int32_t width = 0, height = 0;
    std::vector<uint8_t> mask; // width * height bytes, rows as the file has them
};

struct Decoded {
    // False for a version that is not read (nothing is decoded then).
    bool supported = false;
    // False when a read failed; brushes holds what came before it.
    bool complete = false;
    int32_t version = 0, subversion = 0;
    std::vector<Brush> brushes;
    std::string problem; // why it is not complete or not supported
};

// Decodes a whole file held in memory. stem names brushes without a name:
// "<stem>_<index, three digits>".
Decoded decode(std::span<const uint8_t> bytes, const std::string& stem);

// Appends the set's brushes to the table, one tip each: RGBA (255, 255, 255,
// mask byte), rows as they come. 0 when the file was read (even partly), -1
// when it does not open or its version is not read.
int importAbr(const std::filesystem::path& file, BrushTipTable& table);

// Makes the table read ".abr" files when it scans a folder.
void installSetImporter(BrushTipTable& table);

} // namespace abr
