#pragma once
// Brush presets: named brushes kept in "brush_presets.xml". The program's
// data folder holds the factory list; the user's data folder holds the
// user's own, which the factory list is merged into at every start.
//
// A preset names its tip, not its number, so a list survives a change in
// the order of the tips; a preset whose tip is gone is dropped on reading.
// Values read are clamped to the ranges the brush dialog offers. A user's
// file that is damaged (does not parse, wrong root, a preset without name or
// tip, a number that is not one) is not trusted at all: the list is the
// factory one and the file is left as it is, for the user to mend.
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "brush/Brush.h"
#include "brush/BrushTips.h"

struct BrushPreset {
    std::string name;
    Brush brush;
};

class BrushPresetManager {
public:
    std::vector<BrushPreset> presets;
    int32_t versionMajor = 0, versionMinor = 0;

    // Reads the user's file, then merges the factory file (and writes the
    // user's file when a factory preset was appended).
    void load(const std::filesystem::path& userFile, const std::filesystem::path& factoryFile,
              const BrushTipTable& tips);
    // Writes the user's file through a temporary file renamed into place; false when it could not.
    bool save(const std::filesystem::path& userFile, const BrushTipTable& tips) const;
};

std::filesystem::path userPresetsFile();    // "brush_presets.xml" in the user's data folder
std::filesystem::path factoryPresetsFile(); // "brush_presets.xml" in the program's data/brushes

namespace presets {

// Files larger than this are not read: a list of ten thousand presets takes
// about 3 MiB.
inline constexpr std::size_t kMaxFileBytes = std::size_t(8) << 20;

// What reading one file gave.
struct FileContent {
    bool exists = false;  // the file could be opened
    bool intact = false;  // it parsed and every preset in it was readable
    int32_t versionMajor = 0, versionMinor = 0;
    std::vector<BrushPreset> presets; // only those whose tip exists
    std::string problem;              // why it is not intact
};

// Reads one presets file; never throws, never writes.
FileContent readFile(const std::filesystem::path& file, const BrushTipTable& tips);
// Parses presets text as the file holds it (an optional UTF-8 BOM first).
FileContent parseText(const std::string& text, const BrushTipTable& tips);
// The file's text for a list, as save() writes it.
std::string formatText(const std::vector<BrushPreset>& list, const BrushTipTable& tips);

} // namespace presets
