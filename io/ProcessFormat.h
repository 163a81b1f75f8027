#pragma once
// The 40-byte header shared by drawing-process (".dpf") and layered (".kwf")
// files, the table of program releases that changed a stored format, and the
// mapping from a release to a format index. No GL, no files: bytes only.
#include <cstdint>
#include <span>
#include <string>

namespace io {
class BinaryReader;
class BinaryWriter;
}

namespace kwformat {

// This program writes format index 22 and layer index 4, as release 3.6.4.
inline constexpr int32_t kProcessFormatIndex = 22;
inline constexpr int32_t kLayerFormatIndex = 4;
inline constexpr int32_t kVersionMajor = 3;
inline constexpr int32_t kVersionMinor = 6;
inline constexpr int32_t kVersionPatch = 4;
inline constexpr int32_t kHeaderSize = 40;
// Files without the magic (".dat") hold a picture of this size.
inline constexpr int32_t kOldFormSide = 2048;

// The sides the readers accept before anything is allocated; the card's own
// limit is tested later, by the caller, on the GL side.
inline constexpr int32_t kMaxSide = 16384;

// The most layers a picture may hold, whether read from a file or added by
// actions (a replay of thousands of new-layer records stops here). Each layer
// is a canvas-size texture and a copy in each undo snapshot: 100 layers of a
// 4096 x 4096 canvas are already 6.4 GiB per copy, far beyond what a
// painter's machine holds, so no picture an artist makes comes near it.
inline constexpr int32_t kMaxLayers = 100;

// The largest brush the program makes: the size limit is twice the larger
// side of the canvas, and a canvas side is at most kMaxSide.
inline constexpr int32_t kMaxBrushSize = 2 * kMaxSide;

struct Version {
    int32_t major = 0, minor = 0, patch = 0;
    auto operator<=>(const Version&) const = default;
};

// Release of each process format index (0..22) and each layer index (0..4).
std::span<const Version> processFormatTable();
std::span<const Version> layerFormatTable();
// Index of the last row whose release is not above v.
int32_t processIndexFor(Version v);
int32_t layerIndexFor(Version v);

struct FileHeader {
    bool hasMagic = false;     // false: the old headerless form
    int32_t headerSize = 0;    // as stored; 0 for the old form
    int32_t width = 0, height = 0;
    Version version;           // patch from the header only from 3.1 on
    int32_t processIndex = 0;  // into processFormatTable
    int32_t layerIndex = 0;    // into layerFormatTable
    int32_t storedProcessIndex = 0, storedLayerIndex = 0; // raw offsets 32 and 28
};

// Reads the header at the start of `in` and leaves the reader at the body
// (offset 0 for the old form, else the stored header size). Sets
// in.formatIndex and in.layerFormatIndex. A short header with the magic, or a
// header size that points outside the file, fails the reader.
bool readHeader(io::BinaryReader& in, FileHeader& header);

// The header of this program's release with the given canvas size.
void writeHeader(io::BinaryWriter& out, int32_t width, int32_t height);

// "3.6.4"
std::string versionText(Version v);

} // namespace kwformat
