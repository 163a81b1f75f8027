#pragma once
// The tip table: the textures a textured brush can stamp, shared by the
// whole program. Entry 0 is "no texture" (the round brush); then the PNG
// tips of the factory folder and of the user's folder, each folder sorted
// case-insensitively so that ids never depend on the directory order; after
// those, tips that came with a loaded drawing process.
//
// The table holds CPU pixels only. The canvas side uploads them and stores
// the GL name in `texture`, and deletes it through textureDeleter.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "brush/Dab.h"

struct BrushTip {
    int32_t id = 0;
    std::string name;           // file stem, or the name from a brush set
    uint32_t texture = 0;       // GL texture name, 0 until uploaded
    int32_t width = 0, height = 0;
    float widthFactor = 1.0f;   // 1.0 for the longer side
    float heightFactor = 1.0f;
    // RGBA, width * height * 4, rows bottom-up, RGB inverted (255 - c) as the
    // texture holds them; only alpha shapes the dab. Empty when the file did
    // not load.
    std::vector<uint8_t> pixels;
    bool linearFilter = false;  // process tips: linear filters, repeat wrap

    bool hasPixels() const { return !pixels.empty(); }
};

// 1.0 for the longer side, shorter / longer for the other; 1.0 each for an
// empty image.
brush::TipFactors tipFactorsForSize(int32_t width, int32_t height);

// Sides above this are refused; such tip files are left without pixels.
inline constexpr int32_t kMaxTipSide = 4096;

// Decodes a PNG into tip pixels (bottom-up rows, RGB inverted, alpha kept).
// False with a reason for a missing, damaged or oversized file.
bool loadTipPng(const std::filesystem::path& file, BrushTip& tip, std::string& error);

class BrushTipTable {
public:
    // Brush sets: appends the tips of one ".abr" file to the table.
    using SetImporter = std::function<void(const std::filesystem::path& file, BrushTipTable& table)>;

    // Rebuilds from empty: "no texture", then factoryDir, then userDir.
    // Missing folders add nothing. Returns the number of entries.
    std::size_t build(const std::filesystem::path& factoryDir, const std::filesystem::path& userDir);
    // All "*.png" (sorted, case-insensitive), each one tip; then all "*.abr".
    void scanFolder(const std::filesystem::path& dir);

    // Appends a tip, giving it the next id; returns that id.
    int32_t append(BrushTip tip);
    // A tip read from a drawing process (stored RGBA, linear filters).
    int32_t appendProcessTip(std::string name, int32_t width, int32_t height, std::vector<uint8_t> rgba);
    // Drops the tips of the last loaded process.
    void dropProcessTips();

    std::size_t size() const { return tips_.size(); }
    // Entries loaded from the folders; later ones came with a process.
    std::size_t folderCount() const { return folderCount_; }
    const BrushTip* find(int32_t index) const;
    BrushTip* find(int32_t index);
    const std::vector<BrushTip>& tips() const { return tips_; }
    // Index of the folder tip of that name (exact match), or -1.
    int32_t findFolderTip(std::string_view name) const;
    // Factors of an entry; 1.0 each for an unknown index.
    brush::TipFactors factors(int32_t index) const;

    void setSetImporter(SetImporter importer) { setImporter_ = std::move(importer); }
    std::function<void(uint32_t texture)> textureDeleter;

private:
    void clear();

    std::vector<BrushTip> tips_;
    std::size_t folderCount_ = 0;
    SetImporter setImporter_;
};

// Files of dir whose extension matches ext case-insensitively (ext with the
// dot, e.g. ".png"), sorted case-insensitively, then by bytes.
std::vector<std::filesystem::path> listFilesSorted(const std::filesystem::path& dir, std::string_view ext);
