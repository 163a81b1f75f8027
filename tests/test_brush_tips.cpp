// The tip table: scan order and ids, size factors, PNG decoding, bad files,
// and the factory tips made by the build.
#include <gtest/gtest.h>

#include <png.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "brush/BrushTips.h"
#include "TestPaths.h"
#include "support/TestFiles.h"

namespace fs = std::filesystem;

namespace {

using TempDir = testfiles::TempFolder;

// Writes an RGBA PNG, rows top-down; pixel (x, y) from the function.
void writePng(const fs::path& file, int w, int h, uint8_t r, uint8_t g, uint8_t b,
              uint8_t (*alphaAt)(int x, int y)) {
    std::vector<uint8_t> px(static_cast<size_t>(w) * h * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t* p = &px[(static_cast<size_t>(y) * w + x) * 4];
            p[0] = r;
            p[1] = g;
            p[2] = b;
            p[3] = alphaAt(x, y);
        }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(w);
    image.height = static_cast<png_uint_32>(h);
    image.format = PNG_FORMAT_RGBA;
    ASSERT_TRUE(png_image_write_to_file(&image, file.c_str(), 0, px.data(), w * 4, nullptr));
}

uint8_t opaque(int, int) { return 255; }
uint8_t topRowOnly(int, int y) { return y == 0 ? 200 : 0; }

uint32_t crc32(const uint8_t* data, size_t n) {
    uint32_t c = 0xFFFFFFFFu;
    for (size_t i = 0; i < n; ++i) {
        c ^= data[i];
        for (int k = 0; k < 8; ++k) c = (c >> 1) ^ (0xEDB88320u & (0u - (c & 1u)));
    }
    return ~c;
}

// A valid PNG whose header claims the given size (the data does not match).
void writeClaimedSize(const fs::path& file, uint32_t w, uint32_t h) {
    writePng(file, 1, 1, 0, 0, 0, opaque);
    std::vector<uint8_t> bytes;
    {
        std::ifstream in(file, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), {});
    }
    ASSERT_GT(bytes.size(), 33u);
    for (int i = 0; i < 4; ++i) {
        bytes[16 + i] = static_cast<uint8_t>(w >> (24 - 8 * i));
        bytes[20 + i] = static_cast<uint8_t>(h >> (24 - 8 * i));
    }
    const uint32_t crc = crc32(&bytes[12], 17);  // chunk type and IHDR data
    for (int i = 0; i < 4; ++i) bytes[29 + i] = static_cast<uint8_t>(crc >> (24 - 8 * i));
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

} // namespace

TEST(BrushTipTable, FactorsFromTheAspect) {
    const brush::TipFactors wide = tipFactorsForSize(64, 32);
    EXPECT_FLOAT_EQ(wide.widthFactor, 1.0f);
    EXPECT_FLOAT_EQ(wide.heightFactor, 0.5f);
    const brush::TipFactors tall = tipFactorsForSize(16, 64);
    EXPECT_FLOAT_EQ(tall.widthFactor, 0.25f);
    EXPECT_FLOAT_EQ(tall.heightFactor, 1.0f);
    EXPECT_FLOAT_EQ(tipFactorsForSize(0, 5).heightFactor, 1.0f);
}

TEST(BrushTipTable, SortedIdsAndBrokenFilesKeepTheirPlace) {
    TempDir factory, user;
    writePng(factory.path() / "b.png", 64, 32, 0, 0, 0, opaque);
    writePng(factory.path() / "A.png", 16, 16, 0, 0, 0, opaque);
    writePng(factory.path() / "c.PNG", 32, 64, 0, 0, 0, opaque);
    { std::ofstream(factory.path() / "broken.png") << "this is not a picture"; }
    { std::ofstream(factory.path() / "notes.txt") << "ignored"; }
    writePng(user.path() / "aa.png", 8, 8, 0, 0, 0, opaque);

    BrushTipTable table;
    EXPECT_EQ(table.build(factory.path(), user.path()), 6u);
    EXPECT_EQ(table.folderCount(), 6u);
    const char* names[] = {"no texture", "A", "b", "broken", "c", "aa"};
    for (int32_t i = 0; i < 6; ++i) {
        ASSERT_NE(table.find(i), nullptr);
        EXPECT_EQ(table.find(i)->id, i);
        EXPECT_EQ(table.find(i)->name, names[i]);
    }
    EXPECT_FALSE(table.find(0)->hasPixels());
    EXPECT_EQ(table.find(6), nullptr);
    EXPECT_EQ(table.find(-1), nullptr);
    // "b" is 64 x 32.
    EXPECT_FLOAT_EQ(table.factors(2).widthFactor, 1.0f);
    EXPECT_FLOAT_EQ(table.factors(2).heightFactor, 0.5f);
    EXPECT_FLOAT_EQ(table.factors(4).widthFactor, 0.5f);
    // The broken file is an entry without pixels and with factors 1.
    EXPECT_FALSE(table.find(3)->hasPixels());
    EXPECT_FLOAT_EQ(table.factors(3).heightFactor, 1.0f);
    EXPECT_TRUE(table.find(5)->hasPixels());
    EXPECT_EQ(table.findFolderTip("c"), 4);
    EXPECT_EQ(table.findFolderTip("missing"), -1);
}

TEST(BrushTipTable, PixelsBottomUpWithInvertedColour) {
    TempDir dir;
    writePng(dir.path() / "t.png", 2, 3, 10, 20, 30, topRowOnly);
    BrushTip tip;
    std::string error;
    ASSERT_TRUE(loadTipPng(dir.path() / "t.png", tip, error)) << error;
    ASSERT_EQ(tip.pixels.size(), 2u * 3u * 4u);
    // Row 0 of the texture is the bottom row of the picture.
    EXPECT_EQ(tip.pixels[3], 0);
    const size_t topRow = 2 * 2 * 4;
    EXPECT_EQ(tip.pixels[topRow + 3], 200);
    EXPECT_EQ(tip.pixels[topRow + 0], 245);
    EXPECT_EQ(tip.pixels[topRow + 1], 235);
    EXPECT_EQ(tip.pixels[topRow + 2], 225);
}

TEST(BrushTipTable, MissingEmptyAndHugeFiles) {
    BrushTipTable table;
    EXPECT_EQ(table.build("/nonexistent/kw/brushes", "/nonexistent/kw/user"), 1u);
    EXPECT_EQ(table.find(0)->name, "no texture");

    TempDir dir;
    { std::ofstream(dir.path() / "empty.png"); }
    writeClaimedSize(dir.path() / "huge.png", 100000, 100000);
    writeClaimedSize(dir.path() / "wide.png", kMaxTipSide + 1, 1);
    BrushTip tip;
    std::string error;
    EXPECT_FALSE(loadTipPng(dir.path() / "empty.png", tip, error));
    EXPECT_FALSE(loadTipPng(dir.path() / "huge.png", tip, error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(loadTipPng(dir.path() / "wide.png", tip, error));
    EXPECT_NE(error.find("outside"), std::string::npos) << error;
    EXPECT_FALSE(loadTipPng(dir.path() / "absent.png", tip, error));
    EXPECT_EQ(table.build(dir.path(), {}), 4u);
    for (int32_t i = 1; i < 4; ++i) EXPECT_FALSE(table.find(i)->hasPixels());
}

TEST(BrushTipTable, ProcessTipsComeAndGo) {
    std::vector<uint32_t> deleted;
    BrushTipTable table;
    table.textureDeleter = [&](uint32_t t) { deleted.push_back(t); };
    table.build("/nonexistent", {});
    const int32_t id = table.appendProcessTip("stamp", 10, 40, std::vector<uint8_t>(10 * 40 * 4, 7));
    EXPECT_EQ(id, 1);
    EXPECT_TRUE(table.find(1)->linearFilter);
    EXPECT_FLOAT_EQ(table.factors(1).widthFactor, 0.25f);
    table.find(1)->texture = 42;
    EXPECT_EQ(table.findFolderTip("stamp"), -1);
    table.dropProcessTips();
    EXPECT_EQ(table.size(), 1u);
    EXPECT_EQ(deleted, (std::vector<uint32_t>{42}));
}

TEST(BrushTipTable, SetImporterSeesBrushSets) {
    TempDir dir;
    writePng(dir.path() / "z.png", 4, 4, 0, 0, 0, opaque);
    { std::ofstream(dir.path() / "set.ABR") << "x"; }
    BrushTipTable table;
    std::vector<std::string> seen;
    table.setSetImporter([&](const fs::path& file, BrushTipTable& t) {
        seen.push_back(file.filename().string());
        BrushTip tip;
        tip.name = "from set";
        t.append(std::move(tip));
    });
    EXPECT_EQ(table.build(dir.path(), {}), 3u);
    EXPECT_EQ(seen, (std::vector<std::string>{"set.ABR"}));
    EXPECT_EQ(table.find(1)->name, "z");  // PNG tips first, then sets
    EXPECT_EQ(table.find(2)->name, "from set");
}

TEST(BrushTipTable, FactoryTipsAreBuilt) {
    BrushTipTable table;
    table.build(fs::path(KW_TEST_DATA_DIR) / "brushes", {});
    for (const char* classic : {"round", "flat", "rake", "plaster", "grass", "leaf"}) {
        const int32_t i = table.findFolderTip(classic);
        ASSERT_GT(i, 0) << classic;
        const BrushTip& tip = *table.find(i);
        EXPECT_TRUE(tip.hasPixels()) << classic;
        // Some of the tip is dense and some is clear.
        int solid = 0, clear = 0;
        for (size_t p = 3; p < tip.pixels.size(); p += 4) {
            solid += tip.pixels[p] >= 160;
            clear += tip.pixels[p] == 0;
        }
        EXPECT_GT(solid, 0) << classic;
        EXPECT_GT(clear, 0) << classic;
    }
    // Ids follow the names, not the directory order.
    for (size_t i = 2; i < table.size(); ++i) {
        std::string a = table.tips()[i - 1].name, b = table.tips()[i].name;
        for (auto* s : {&a, &b})
            for (char& c : *s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        EXPECT_LT(a, b);
    }
}
