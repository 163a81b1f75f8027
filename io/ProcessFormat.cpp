#include "io/ProcessFormat.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "io/BinaryStream.h"

namespace kwformat {

namespace {

constexpr std::array<Version, 23> kProcessTable = {{
    {0, 0, 0}, {1, 2, 0}, {1, 3, 0}, {1, 4, 0}, {2, 6, 0}, {2, 7, 0}, {3, 0, 0}, {3, 1, 0},
    {3, 1, 3}, {3, 1, 6}, {3, 2, 0}, {3, 2, 8}, {3, 2, 9}, {3, 3, 0}, {3, 4, 5}, {3, 4, 10},
    {3, 4, 11}, {3, 4, 16}, {3, 5, 0}, {3, 5, 2}, {3, 5, 12}, {3, 5, 15}, {3, 6, 3},
}};

constexpr std::array<Version, 5> kLayerTable = {{{0, 0, 0}, {1, 4, 0}, {2, 6, 0}, {3, 3, 0}, {3, 4, 5}}};

int32_t lastRowNotAbove(std::span<const Version> table, Version v) {
    int32_t index = 0;
    for (std::size_t i = 0; i < table.size(); ++i)
        if (table[i] <= v) index = static_cast<int32_t>(i);
    return index;
}

// Little-endian int32 at an offset of the raw header bytes.
int32_t fieldAt(const uint8_t* bytes, std::size_t offset) {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v |= static_cast<uint32_t>(bytes[offset + i]) << (8 * i);
    return static_cast<int32_t>(v);
}

} // namespace

std::span<const Version> processFormatTable() { return kProcessTable; }
std::span<const Version> layerFormatTable() { return kLayerTable; }
int32_t processIndexFor(Version v) { return lastRowNotAbove(kProcessTable, v); }
int32_t layerIndexFor(Version v) { return lastRowNotAbove(kLayerTable, v); }

std::string versionText(Version v) {
    return std::to_string(v.major) + "." + std::to_string(v.minor) + "." + std::to_string(v.patch);
}

bool readHeader(io::BinaryReader& in, FileHeader& h) {
    h = FileHeader{};
    in.formatIndex = 0;
    in.layerFormatIndex = 0;
    uint8_t raw[kHeaderSize] = {};
    const std::size_t available = std::min<std::size_t>(in.remaining(), kHeaderSize);
    const std::size_t start = in.position();
    in.raw(std::span(raw, available));
    // The magic is compared as a NUL-terminated string.
    h.hasMagic = available >= 7 && std::memcmp(raw, "KWFILE", 7) == 0;
    if (!h.hasMagic) {
        // The old form: no header at all.
        h.width = h.height = kOldFormSide;
        return in.seek(start);
    }
    // Magic, header size, width and height at least; the rest only when
    // the header size says it is there.
    if (available < 20) {
        in.fail("file header cut short (" + std::to_string(available) + " bytes)");
        return false;
    }
    h.headerSize = fieldAt(raw, 8);
    if (h.headerSize > 27 && available < static_cast<std::size_t>(kHeaderSize)) {
        in.fail("file header cut short (" + std::to_string(available) + " of 40 bytes)");
        return false;
    }
    h.width = fieldAt(raw, 12);
    h.height = fieldAt(raw, 16);
    h.storedLayerIndex = fieldAt(raw, 28);
    h.storedProcessIndex = fieldAt(raw, 32);
    if (h.headerSize < 0) {
        in.fail("negative header size " + std::to_string(h.headerSize));
        return false;
    }
    if (h.headerSize != kHeaderSize && !in.seek(start + static_cast<std::size_t>(h.headerSize))) return false;
    if (h.headerSize <= 27) return true;

    char text[7] = {};
    std::memcpy(text, raw + 20, 6);
    int major = 0, minor = 0;
    if (std::sscanf(text, "%d.%d", &major, &minor) != 2) major = minor = 0;
    h.version = {major, minor, 0};
    if (h.version < Version{3, 1, 0}) {
        h.processIndex = processIndexFor(h.version);
        h.layerIndex = layerIndexFor(h.version);
    } else {
        h.layerIndex = h.storedLayerIndex;
        h.version.patch = fieldAt(raw, 36);
        h.processIndex = h.version < Version{3, 6, 5} ? processIndexFor(h.version) : h.storedProcessIndex;
    }
    in.formatIndex = h.processIndex;
    in.layerFormatIndex = h.layerIndex;
    return true;
}

void writeHeader(io::BinaryWriter& out, int32_t width, int32_t height) {
    static constexpr uint8_t magic[8] = {'K', 'W', 'F', 'I', 'L', 'E', 0, 0};
    out.raw(magic);
    out.i32(kHeaderSize);
    out.i32(width);
    out.i32(height);
    // "3.6", its terminator, then blanks and a closing NUL; two reserved bytes.
    static constexpr uint8_t version[8] = {'3', '.', '6', 0, ' ', 0, 0, 0};
    out.raw(version);
    out.i32(kLayerFormatIndex);
    out.i32(kProcessFormatIndex);
    out.i32(kVersionPatch);
}

} // namespace kwformat
