// Brush sets: files of each version built byte by byte with known masks,
// hostile files, and sets found by the tip table's folder scan.
#include <gtest/gtest.h>

#include <png.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "brush/BrushTips.h"
#include "io/AbrFile.h"
#include "tests/fuzz/AbrBytes.h"
#include "TestPaths.h"
#include "support/TestFiles.h"

namespace fs = std::filesystem;
using abrbytes::Bytes;
using abrbytes::Sample;

namespace {

using TempDir = testfiles::TempFolder;

using testfiles::writeFile;

void expectBrush(const abr::Brush& b, const std::string& name, const Sample& s) {
    EXPECT_EQ(b.name, name);
    EXPECT_EQ(b.width, s.right - s.left);
    EXPECT_EQ(b.height, s.bottom - s.top);
    EXPECT_TRUE(b.mask == s.image) << name << ": mask differs";
}

// Patches the big-endian 32-bit number at offset.
void poke32(Bytes& b, std::size_t offset, uint32_t v) {
    b[offset] = static_cast<uint8_t>(v >> 24);
    b[offset + 1] = static_cast<uint8_t>(v >> 16);
    b[offset + 2] = static_cast<uint8_t>(v >> 8);
    b[offset + 3] = static_cast<uint8_t>(v);
}

// Offset of the bounds of the only brush of a version 1 file.
constexpr std::size_t kV1Bounds = 2 + 2 + 2 + 4 + 6 + 9;

} // namespace

TEST(AbrFile, PackerMakesBothRunKinds) {
    // The writer's rows must hold literal and repeat runs, or the RLE cases
    // below would not test the repeat branch of the reader.
    const Bytes row = {1, 2, 3, 9, 9, 9, 9, 9, 4};
    const Bytes packed = abrbytes::packRow(row.data(), row.size());
    const Bytes expected = {2, 1, 2, 3, static_cast<uint8_t>(-4), 9, 0, 4};
    EXPECT_EQ(packed, expected);
}

TEST(AbrFile, Version1RawAndPackedMasksComputedBrushSkipped) {
    const Sample raw = abrbytes::sampled(13, 7, 1, false);
    Sample computed;
    computed.computed = true;
    const Sample packed = abrbytes::sampled(40, 9, 2, true);
    const abr::Decoded d = abr::decode(abrbytes::oldForm(1, {raw, computed, packed}), "set");
    EXPECT_TRUE(d.supported);
    EXPECT_TRUE(d.complete) << d.problem;
    ASSERT_EQ(d.brushes.size(), 2u);
    expectBrush(d.brushes[0], "set_000", raw);
    expectBrush(d.brushes[1], "set_002", packed);
}

TEST(AbrFile, Version2NamesAreShown) {
    Sample a = abrbytes::sampled(5, 5, 3, true);
    a.name = u"Soft round";
    Sample b = abrbytes::sampled(6, 3, 4, false);
    Sample c = abrbytes::sampled(3, 6, 5, true);
    c.name = u"Kr\u00e4he \u6587"; // non-ASCII: UTF-8 in the tip list
    const abr::Decoded d = abr::decode(abrbytes::oldForm(2, {a, b, c}), "named");
    EXPECT_TRUE(d.complete) << d.problem;
    ASSERT_EQ(d.brushes.size(), 3u);
    expectBrush(d.brushes[0], "Soft round", a);
    expectBrush(d.brushes[1], "named_001", b); // no name: from the stem
    expectBrush(d.brushes[2], "Kr\xC3\xA4he \xE6\x96\x87", c);
}

TEST(AbrFile, Version6BothSubversionsRawAndPacked) {
    for (int sub : {1, 2}) {
        SCOPED_TRACE(sub);
        const Sample a = abrbytes::sampled(17, 11, 6, false);
        const Sample b = abrbytes::sampled(31, 5, 7, true);
        const Sample c = abrbytes::sampled(2, 2, 8, true);
        const abr::Decoded d = abr::decode(abrbytes::newForm(sub, {a, b, c}), "six");
        EXPECT_TRUE(d.supported);
        EXPECT_TRUE(d.complete) << d.problem;
        EXPECT_EQ(d.version, 6);
        EXPECT_EQ(d.subversion, sub);
        ASSERT_EQ(d.brushes.size(), 3u);
        expectBrush(d.brushes[0], "six_000", a);
        expectBrush(d.brushes[1], "six_001", b);
        expectBrush(d.brushes[2], "six_002", c);
    }
}

TEST(AbrFile, Subversion2IsNotReadAsSubversion1) {
    // The same samples under the other subversion's skip read other bounds.
    Bytes bytes = abrbytes::newForm(2, {abrbytes::sampled(8, 8, 1, false)});
    bytes[3] = 1;
    const abr::Decoded d = abr::decode(bytes, "x");
    EXPECT_TRUE(d.brushes.empty() || d.brushes[0].width != 8);
}

TEST(AbrFile, SixteenBitDepthTakesTheHighByte) {
    Sample s = abrbytes::sampled(4, 3, 0, false);
    s.depth = 16;
    Bytes wide, high;
    for (std::size_t i = 0; i < s.image.size(); ++i) {
        wide.push_back(static_cast<uint8_t>(i * 19));
        wide.push_back(static_cast<uint8_t>(0xA5));
        high.push_back(static_cast<uint8_t>(i * 19));
    }
    for (bool rle : {false, true}) {
        s.rle = rle;
        s.image = wide;
        const abr::Decoded d = abr::decode(abrbytes::oldForm(1, {s}), "deep");
        ASSERT_EQ(d.brushes.size(), 1u);
        EXPECT_EQ(d.brushes[0].mask, high);
    }
}

TEST(AbrFile, OtherVersionsAreRejected) {
    Bytes ten = abrbytes::oldForm(2, {abrbytes::sampled(4, 4, 0, false)});
    ten[1] = 10;
    abr::Decoded d = abr::decode(ten, "x");
    EXPECT_FALSE(d.supported);
    EXPECT_TRUE(d.brushes.empty());
    Bytes sixThree = abrbytes::newForm(1, {abrbytes::sampled(4, 4, 0, false)});
    sixThree[3] = 3;
    d = abr::decode(sixThree, "x");
    EXPECT_FALSE(d.supported);
    EXPECT_TRUE(d.brushes.empty());
    EXPECT_FALSE(abr::decode(Bytes{0}, "x").supported);
    EXPECT_FALSE(abr::decode(Bytes{}, "x").supported);
}

TEST(AbrFile, EmptySampleBlockIsACompleteSetOfNoBrushes) {
    // Found by the fuzzer: an empty "samp" block was taken for a missing one.
    const abr::Decoded d = abr::decode(abrbytes::newForm(1, {}), "e");
    EXPECT_TRUE(d.supported);
    EXPECT_TRUE(d.complete) << d.problem;
    EXPECT_TRUE(d.brushes.empty());
    // A missing one is damage, with a reason.
    Bytes none = abrbytes::newForm(1, {});
    none[4] = 'X';
    const abr::Decoded m = abr::decode(none, "e");
    EXPECT_FALSE(m.complete);
    EXPECT_FALSE(m.problem.empty());
}

TEST(AbrFile, BrushesTooTallOrEmptyAreSkipped) {
    Sample tall;
    tall.top = 0;
    tall.bottom = 16385;
    tall.left = 0;
    tall.right = 1;
    tall.image.assign(16385, 7);
    Sample flat = abrbytes::sampled(4, 4, 0, false);
    flat.bottom = flat.top; // no rows
    flat.image.clear();
    const Sample ok = abrbytes::sampled(3, 3, 9, false);
    const abr::Decoded d = abr::decode(abrbytes::oldForm(1, {tall, flat, ok}), "s");
    EXPECT_TRUE(d.complete) << d.problem;
    ASSERT_EQ(d.brushes.size(), 1u);
    expectBrush(d.brushes[0], "s_002", ok);
}

TEST(AbrFile, HostileFilesAreRefusedWithTheBrushesBefore) {
    const Sample good = abrbytes::sampled(6, 6, 1, false);
    const Sample packed = abrbytes::sampled(6, 6, 2, true);
    struct Case {
        const char* what;
        Bytes bytes;
        std::size_t kept;  // brushes decoded before the damage
        bool complete;     // damage that only skips a brush
    };
    std::vector<Case> cases;
    const Bytes two = abrbytes::oldForm(1, {good, packed});
    const Bytes oneGood = abrbytes::oldForm(1, {good});
    // Where the second brush's record starts in a version 1 file, and its bounds.
    const std::size_t second = oneGood.size();
    const std::size_t bounds = second + 2 + 4 + 6 + 9;
    {
        Bytes b = two;
        poke32(b, second + 2, 0x80000000u); // its size: 2^31
        cases.push_back({"size 2^31", b, 1, false});
        b = two;
        poke32(b, second + 2, 0xFFFFFFFFu);
        cases.push_back({"size 2^32 - 1", b, 1, false});
    }
    {
        Bytes b = two;
        b[2] = 0xFF; // count 65535 with two brushes present
        b[3] = 0xFF;
        cases.push_back({"count beyond the brushes", b, 2, false});
    }
    {
        Sample named = packed;
        named.name = u"n";
        Bytes b = abrbytes::oldForm(2, {good, named});
        // The first brush has an empty name field (4 bytes) in version 2.
        const std::size_t at = second + 4 + 2 + 4 + 6;
        poke32(b, at, 0x7FFFFFFFu);
        cases.push_back({"name length 2^31", b, 1, false});
        poke32(b, at, 0xFFFFFFFFu);
        cases.push_back({"negative name length", b, 1, false});
    }
    {
        Bytes b = two;
        poke32(b, bounds, 0x80000000u);     // top = -2^31
        poke32(b, bounds + 8, 0x7FFFFFFFu); // bottom = 2^31 - 1
        cases.push_back({"height 2^32", b, 1, true});
        b = two;
        poke32(b, bounds + 4, 0x7FFFFFFFu); // left beyond right
        cases.push_back({"negative width", b, 1, true});
        b = two;
        poke32(b, bounds + 12, 0x80000000u); // right = -2^31
        cases.push_back({"width below -2^31", b, 1, true});
    }
    {
        // The first row length points past the brush's bytes.
        Bytes b = two;
        b[bounds + 16 + 3] = 0x7F;
        cases.push_back({"row length beyond the file", b, 1, false});
        // The record ends in the middle of the packed rows.
        Bytes cut(two.begin(), two.end() - 5);
        poke32(cut, second + 2, static_cast<uint32_t>(cut.size() - second - 6));
        cases.push_back({"truncated RLE", cut, 1, false});
    }
    {
        // Rows packed for six columns in an image of four.
        Bytes b = two;
        poke32(b, bounds + 12, static_cast<uint32_t>(packed.right - 2));
        cases.push_back({"rows wider than the image", b, 1, false});
        // And for eight: the rows end short.
        poke32(b, bounds + 12, static_cast<uint32_t>(packed.right + 2));
        cases.push_back({"rows narrower than the image", b, 1, false});
    }
    {
        Bytes b = abrbytes::oldForm(1, {good, good});
        poke32(b, bounds + 8, 3000); // bottom: a raw image larger than the file
        cases.push_back({"raw image beyond the file", b, 1, false});
    }
    {
        // A packed image of 4000 x 4000 whose row table fits: 4000 rows of
        // one byte each cannot fill it, so it is refused before the pixels
        // are allocated.
        Bytes b = two;
        b.resize(bounds + 16 + 3);
        for (int y = 0; y < 4000; ++y) abrbytes::put16(b, 1);
        for (int y = 0; y < 4000; ++y) abrbytes::put8(b, 0x80); // the no-op code
        poke32(b, bounds, 0);
        poke32(b, bounds + 4, 0);
        poke32(b, bounds + 8, 4000);
        poke32(b, bounds + 12, 4000);
        poke32(b, second + 2, static_cast<uint32_t>(b.size() - second - 6));
        cases.push_back({"a few bytes for a huge image", b, 1, false});
    }
    {
        const Bytes six = abrbytes::newForm(2, {good, packed});
        // The samp block's length: after version, the desc block and "8BIM samp".
        const std::size_t sampLength = 4 + 12 + 22 + 8;
        Bytes b = six;
        poke32(b, sampLength, 0xFFFFFFF0u);
        cases.push_back({"samp block beyond the file", b, 0, false});
        b = six;
        const uint32_t first = static_cast<uint32_t>(six[sampLength + 4]) << 24 |
                               static_cast<uint32_t>(six[sampLength + 5]) << 16 |
                               static_cast<uint32_t>(six[sampLength + 6]) << 8 | six[sampLength + 7];
        poke32(b, sampLength + 8 + ((first + 3) & ~3u), 0xFFFFFFFFu);
        cases.push_back({"sample length 2^32 - 1", b, 1, false});
        b = six;
        b[4] = 'X'; // the first block's signature
        cases.push_back({"no 8BIM signature", b, 0, false});
    }
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const abr::Decoded d = abr::decode(c.bytes, "h");
        EXPECT_TRUE(d.supported);
        EXPECT_EQ(d.complete, c.complete) << d.problem;
        if (!c.complete) {
            EXPECT_FALSE(d.problem.empty());
        }
        // The brushes before the damage are kept, and are the ones written.
        ASSERT_EQ(d.brushes.size(), c.kept);
        const Bytes* written[] = {&good.image, &packed.image};
        for (std::size_t i = 0; i < d.brushes.size(); ++i) EXPECT_EQ(d.brushes[i].mask, *written[i]) << i;
    }
}

TEST(AbrFile, EveryCutOfAFileGivesAPrefixOfItsBrushes) {
    const Sample a = abrbytes::sampled(9, 4, 1, true), b = abrbytes::sampled(3, 8, 2, false);
    // Each file, and where its last brush ends (the new form ends with an
    // empty 12-byte block after the samples).
    const std::pair<Bytes, std::size_t> files[] = {
        {abrbytes::oldForm(2, {a, b}), 0}, {abrbytes::newForm(1, {a, b}), 12}, {abrbytes::newForm(2, {b, a}), 12}};
    for (const auto& [full, tail] : files) {
        const abr::Decoded whole = abr::decode(full, "c");
        ASSERT_TRUE(whole.complete) << whole.problem;
        ASSERT_EQ(whole.brushes.size(), 2u);
        for (std::size_t n = 0; n + tail < full.size(); ++n) {
            const abr::Decoded d = abr::decode(std::span<const uint8_t>(full.data(), n), "c");
            EXPECT_FALSE(d.complete) << n;
            ASSERT_LT(d.brushes.size(), 2u) << n;
            for (std::size_t i = 0; i < d.brushes.size(); ++i)
                EXPECT_EQ(d.brushes[i].mask, whole.brushes[i].mask) << n;
        }
    }
}

TEST(AbrFile, ImportAppendsTipsAndRejectsWhatItCannotRead) {
    TempDir dir;
    const Sample a = abrbytes::sampled(8, 4, 1, true);
    const Sample b = abrbytes::sampled(3, 6, 2, false);
    writeFile(dir.path() / "set.abr", abrbytes::newForm(2, {a, b}));
    Bytes ten = abrbytes::oldForm(1, {a});
    ten[1] = 10;
    writeFile(dir.path() / "ten.abr", ten);
    BrushTipTable table;
    table.build({}, {});
    EXPECT_EQ(abr::importAbr(dir.path() / "set.abr", table), 0);
    EXPECT_EQ(abr::importAbr(dir.path() / "ten.abr", table), -1);
    EXPECT_EQ(abr::importAbr(dir.path() / "missing.abr", table), -1);
    ASSERT_EQ(table.size(), 3u);
    const BrushTip* t = table.find(1);
    EXPECT_EQ(t->id, 1);
    EXPECT_EQ(t->name, "set_000");
    EXPECT_EQ(t->width, 8);
    EXPECT_EQ(t->height, 4);
    EXPECT_EQ(t->widthFactor, 1.0f);
    EXPECT_EQ(t->heightFactor, 0.5f);
    ASSERT_EQ(t->pixels.size(), 8u * 4 * 4);
    for (std::size_t i = 0; i < a.image.size(); ++i) {
        ASSERT_EQ(t->pixels[4 * i], 255);
        ASSERT_EQ(t->pixels[4 * i + 1], 255);
        ASSERT_EQ(t->pixels[4 * i + 2], 255);
        ASSERT_EQ(t->pixels[4 * i + 3], a.image[i]) << i;
    }
    EXPECT_EQ(table.find(2)->name, "set_001");
    EXPECT_EQ(table.find(2)->widthFactor, 0.5f);
}

TEST(AbrFile, SetInTheUsersFolderGivesTipsAfterATableBuild) {
    TempDir dir;
    fs::create_directories(dir.path() / "factory");
    fs::create_directories(dir.path() / "user");
    {
        // One PNG tip in each folder, so the set's tips come after both.
        std::vector<uint8_t> px(4 * 4 * 4, 128);
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        image.width = image.height = 4;
        image.format = PNG_FORMAT_RGBA;
        ASSERT_TRUE(png_image_write_to_file(&image, (dir.path() / "factory" / "f.png").c_str(), 0, px.data(), 16, nullptr));
        ASSERT_TRUE(png_image_write_to_file(&image, (dir.path() / "user" / "u.png").c_str(), 0, px.data(), 16, nullptr));
    }
    Sample named = abrbytes::sampled(5, 5, 1, true);
    named.name = u"Grainy";
    writeFile(dir.path() / "user" / "mine.abr", abrbytes::oldForm(2, {named, abrbytes::sampled(2, 3, 2, false)}));
    BrushTipTable table;
    abr::installSetImporter(table);
    EXPECT_EQ(table.build(dir.path() / "factory", dir.path() / "user"), 5u);
    ASSERT_EQ(table.size(), 5u);
    EXPECT_EQ(table.find(1)->name, "f");
    EXPECT_EQ(table.find(2)->name, "u");
    EXPECT_EQ(table.find(3)->name, "Grainy");
    EXPECT_EQ(table.find(4)->name, "mine_001");
    EXPECT_EQ(table.folderCount(), 5u);
    // Presets and processes find set tips by name like any other.
    EXPECT_EQ(table.findFolderTip("Grainy"), 3);
}

TEST(AbrFile, FuzzSeedsDecodeWhole) {
    const fs::path folder = fs::path(KW_SOURCE_DIR) / "tests/fuzz/corpus/abr";
    std::size_t seeds = 0;
    for (const fs::directory_entry& e : fs::directory_iterator(folder)) {
        // Inputs a fuzzing run adds beside the seeds are not sets to be read whole.
        if (e.path().extension() != ".abr") continue;
        std::ifstream in(e.path(), std::ios::binary);
        const Bytes bytes((std::istreambuf_iterator<char>(in)), {});
        const abr::Decoded d = abr::decode(bytes, "seed");
        EXPECT_TRUE(d.supported && d.complete) << e.path() << ": " << d.problem;
        EXPECT_FALSE(d.brushes.empty()) << e.path();
        ++seeds;
    }
    EXPECT_GE(seeds, 4u);
}
