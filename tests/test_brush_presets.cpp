// Brush presets: the file's exact text, reading it back, the factory merge,
// presets whose tip is gone, and damaged or hostile files.
#include <gtest/gtest.h>

#include <png.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "brush/BrushPresets.h"
#include "brush/BrushTips.h"
#include "TestPaths.h"
#include "support/TestFiles.h"

namespace fs = std::filesystem;

namespace {

using TempDir = testfiles::TempFolder;

void writeTipPng(const fs::path& file) {
    std::vector<uint8_t> px(4 * 4 * 4, 200);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = 4;
    image.height = 4;
    image.format = PNG_FORMAT_RGBA;
    ASSERT_TRUE(png_image_write_to_file(&image, file.c_str(), 0, px.data(), 16, nullptr));
}

void writeText(const fs::path& file, const std::string& text) {
    std::ofstream out(file, std::ios::binary);
    out << text;
}

std::string readText(const fs::path& file) { return testfiles::fileText(file); }

// A tip table of "no texture", "chalk" (1) and "leaf" (2).
struct Tips {
    TempDir dir;
    BrushTipTable table;
    Tips(std::vector<std::string> names = {"chalk", "leaf"}) {
        fs::create_directories(dir.path() / "tips");
        for (const std::string& n : names) writeTipPng(dir.path() / "tips" / (n + ".png"));
        table.build(dir.path() / "tips", {});
    }
};

const char* const kHead = "<?xml version=\"1.0\" standalone=\"no\" ?>\n"
                          "<!-- list of brush presets -->\n";

// Two factory presets: "Pencil" (round) and "Chalk" (the chalk tip).
std::string factoryText() {
    return std::string(kHead) +
           "<BRUSH_PRESETS version=\"1.0\">\n"
           "    <PRESET name=\"Pencil\" brush_name=\"no texture\" size=\"3\" SizeFollowsPressure=\"0\" "
           "FlowFollowsPressure=\"1\" opacity=\"0.75\" hardness=\"1\" spacing=\"0.125\" flags=\"1\" />\n"
           "    <PRESET name=\"Chalk\" brush_name=\"chalk\" size=\"40\" SizeFollowsPressure=\"1\" "
           "FlowFollowsPressure=\"1\" opacity=\"1\" spacing=\"0.25\" flags=\"9\" />\n"
           "</BRUSH_PRESETS>\n";
}

Brush factoryPencil() {
    Brush b;
    b.size = 3;
    b.opacity = 0.75f;
    b.spacing = 0.125f;
    return b;
}

Brush factoryChalk() {
    Brush b;
    b.tipIndex = 1;
    b.size = 40;
    b.SizeFollowsPressure = true;
    b.spacing = 0.25f;
    b.flags = kBrushFlagNone | kBrushFlagDryBrush;
    return b;
}

} // namespace

TEST(BrushPresets, WrittenTextIsExactlyTheFileForm) {
    Tips tips;
    Brush round;
    round.size = 12;
    round.opacity = 0.5f;
    round.hardness = 0.75f;
    round.spacing = 0.125f;
    round.SizeFollowsPressure = true;
    round.FlowFollowsPressure = false;
    Brush chalk;
    chalk.tipIndex = 1;
    chalk.size = 250;
    chalk.hardness = 0.25f; // not written for a textured brush
    chalk.spacing = 2.5f;
    chalk.scattering = 0.5f;
    chalk.size_jitter = 20.0f;
    chalk.opacity_jitter = 0.0005f; // below the threshold: not written
    chalk.angle_randomness = 90.0f;
    chalk.angle = -45.0f;
    chalk.flags = kBrushFlagNone | kBrushFlagColorDynamics;
    chalk.colorJitterH = 30.0f;
    chalk.colorJitterS = 0.5f;
    chalk.colorJitterV = 0.25f;
    BrushPresetManager manager;
    manager.presets = {{"Soft <round> & \"quoted\"", round}, {"Chalk", chalk}};

    const std::string expected =
        std::string(kHead) +
        "<BRUSH_PRESETS version=\"1.0\">\n"
        "    <PRESET name='Soft &lt;round&gt; &amp; &quot;quoted&quot;' brush_name=\"no texture\" size=\"12\" "
        "SizeFollowsPressure=\"1\" FlowFollowsPressure=\"0\" opacity=\"0.5\" hardness=\"0.75\" spacing=\"0.125\" "
        "flags=\"1\" />\n"
        "    <PRESET name=\"Chalk\" brush_name=\"chalk\" size=\"250\" SizeFollowsPressure=\"0\" "
        "FlowFollowsPressure=\"1\" opacity=\"1\" spacing=\"2.5\" scattering=\"0.5\" size_jitter=\"20\" "
        "angle_randomness=\"90\" angle=\"-45\" colorJitterH=\"30\" colorJitterS=\"0.5\" colorJitterV=\"0.25\" "
        "flags=\"5\" />\n"
        "</BRUSH_PRESETS>\n";
    TempDir dir;
    const fs::path file = dir.path() / "brush_presets.xml";
    ASSERT_TRUE(manager.save(file, tips.table));
    EXPECT_EQ(readText(file), expected);
    // Nothing but the file is left in the folder: the temporary one was renamed.
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);

    // Read back: what was written, with the textured hardness at its default
    // and the jitter below the threshold gone.
    const presets::FileContent back = presets::readFile(file, tips.table);
    ASSERT_TRUE(back.intact) << back.problem;
    EXPECT_EQ(back.versionMajor, 1);
    EXPECT_EQ(back.versionMinor, 0);
    ASSERT_EQ(back.presets.size(), 2u);
    EXPECT_EQ(back.presets[0].name, "Soft <round> & \"quoted\"");
    EXPECT_EQ(back.presets[0].brush, round);
    Brush chalkBack = chalk;
    chalkBack.hardness = 1.0f;
    chalkBack.opacity_jitter = 0.0f;
    EXPECT_EQ(back.presets[1].name, "Chalk");
    EXPECT_EQ(back.presets[1].brush, chalkBack);
}

TEST(BrushPresets, ReadsAFileWithAByteOrderMark) {
    Tips tips;
    const presets::FileContent c = presets::parseText("\xEF\xBB\xBF" + factoryText(), tips.table);
    ASSERT_TRUE(c.intact) << c.problem;
    ASSERT_EQ(c.presets.size(), 2u);
    EXPECT_EQ(c.presets[0].brush, factoryPencil());
    EXPECT_EQ(c.presets[1].brush, factoryChalk());
}

TEST(BrushPresets, TexturedPresetKeepsTheDefaultHardness) {
    Tips tips;
    const std::string text = std::string(kHead) +
                             "<BRUSH_PRESETS version=\"1.0\">\n"
                             "<PRESET name=\"a\" brush_name=\"leaf\" size=\"9\" hardness=\"0.5\" />\n"
                             "<PRESET name=\"b\" brush_name=\"no texture\" size=\"9\" hardness=\"0.5\" />\n"
                             "</BRUSH_PRESETS>\n";
    const presets::FileContent c = presets::parseText(text, tips.table);
    ASSERT_TRUE(c.intact) << c.problem;
    ASSERT_EQ(c.presets.size(), 2u);
    EXPECT_EQ(c.presets[0].brush.tipIndex, 2);
    EXPECT_EQ(c.presets[0].brush.hardness, 1.0f);
    EXPECT_EQ(c.presets[1].brush.tipIndex, 0);
    EXPECT_EQ(c.presets[1].brush.hardness, 0.5f);
}

TEST(BrushPresets, MissingAttributesTakeTheirReadingDefaults) {
    Tips tips;
    const std::string text = std::string(kHead) +
                             "<BRUSH_PRESETS version=\"1.0\">\n"
                             "<PRESET name=\"bare\" brush_name=\"no texture\" />\n"
                             "</BRUSH_PRESETS>\n";
    const presets::FileContent c = presets::parseText(text, tips.table);
    ASSERT_TRUE(c.intact) << c.problem;
    ASSERT_EQ(c.presets.size(), 1u);
    Brush expected;
    expected.size = 1; // missing reads as 0, raised to the smallest size
    EXPECT_EQ(c.presets[0].brush, expected);
}

TEST(BrushPresets, ValuesOutsideTheRangesAreClamped) {
    Tips tips;
    const std::string text =
        std::string(kHead) +
        "<BRUSH_PRESETS version=\"1.0\">\n"
        "<PRESET name=\"big\" brush_name=\"no texture\" size=\"1e300\" opacity=\"7\" hardness=\"-3\" "
        "spacing=\"1e30\" scattering=\"-1\" size_jitter=\"500\" angle=\"720\" angle_randomness=\"1000\" "
        "colorJitterH=\"9999\" colorJitterS=\"2\" colorJitterV=\"-2\" flags=\"-1\" />\n"
        "<PRESET name=\"small\" brush_name=\"no texture\" size=\"-5\" spacing=\"0\" />\n"
        "</BRUSH_PRESETS>\n";
    const presets::FileContent c = presets::parseText(text, tips.table);
    ASSERT_TRUE(c.intact) << c.problem;
    ASSERT_EQ(c.presets.size(), 2u);
    const Brush& b = c.presets[0].brush;
    EXPECT_EQ(b.size, 500);
    EXPECT_EQ(b.opacity, 1.0f);
    EXPECT_EQ(b.hardness, 0.0f);
    EXPECT_EQ(b.spacing, 5.0f);
    EXPECT_EQ(b.scattering, 0.0f);
    EXPECT_EQ(b.size_jitter, 100.0f);
    EXPECT_EQ(b.angle, 180.0f);
    EXPECT_EQ(b.angle_randomness, 360.0f);
    EXPECT_EQ(b.colorJitterH, 360.0f);
    EXPECT_EQ(b.colorJitterS, 1.0f);
    EXPECT_EQ(b.colorJitterV, 0.0f);
    EXPECT_EQ(b.flags, 15u); // the known bits only
    EXPECT_EQ(c.presets[1].brush.size, 1);
    EXPECT_EQ(c.presets[1].brush.spacing, 0.015625f);
}

TEST(BrushPresets, OldListTakesTheFactoryBrushesNewListKeepsItsOwn) {
    Tips tips;
    TempDir dir;
    const fs::path factory = dir.path() / "factory.xml";
    writeText(factory, factoryText());
    for (const char* version : {"0.9", "1.0", "1.3"}) {
        SCOPED_TRACE(version);
        const fs::path user = dir.path() / "user.xml";
        const std::string userText =
            std::string(kHead) + "<BRUSH_PRESETS version=\"" + version +
            "\">\n"
            "<PRESET name=\"Chalk\" brush_name=\"leaf\" size=\"7\" opacity=\"0.5\" spacing=\"1\" flags=\"1\" />\n"
            "<PRESET name=\"Pencil\" brush_name=\"no texture\" size=\"77\" opacity=\"0.25\" hardness=\"0.5\" "
            "spacing=\"1\" flags=\"1\" />\n"
            "</BRUSH_PRESETS>\n";
        writeText(user, userText);
        BrushPresetManager m;
        m.load(user, factory, tips.table);
        ASSERT_EQ(m.presets.size(), 2u);
        EXPECT_EQ(m.presets[0].name, "Chalk");
        EXPECT_EQ(m.presets[1].name, "Pencil");
        if (std::string(version) == "0.9") {
            EXPECT_EQ(m.versionMajor, 0);
            EXPECT_EQ(m.versionMinor, 9);
            EXPECT_EQ(m.presets[0].brush, factoryChalk());
            EXPECT_EQ(m.presets[1].brush, factoryPencil());
        } else {
            EXPECT_EQ(m.presets[0].brush.tipIndex, 2);
            EXPECT_EQ(m.presets[0].brush.size, 7);
            EXPECT_EQ(m.presets[1].brush.size, 77);
            EXPECT_EQ(m.presets[1].brush.hardness, 0.5f);
        }
        // Nothing was appended, so the user's file stays as it was.
        EXPECT_EQ(readText(user), userText);
    }
}

TEST(BrushPresets, DeletedFactoryPresetsComeBackAndAreWritten) {
    Tips tips;
    TempDir dir;
    const fs::path factory = dir.path() / "factory.xml";
    writeText(factory, factoryText());
    const fs::path user = dir.path() / "user.xml";
    writeText(user, std::string(kHead) +
                        "<BRUSH_PRESETS version=\"1.0\">\n"
                        "<PRESET name=\"Mine\" brush_name=\"leaf\" size=\"33\" spacing=\"1\" flags=\"1\" />\n"
                        "<PRESET name=\"Pencil\" brush_name=\"no texture\" size=\"5\" spacing=\"1\" flags=\"1\" />\n"
                        "</BRUSH_PRESETS>\n");
    BrushPresetManager m;
    m.load(user, factory, tips.table);
    ASSERT_EQ(m.presets.size(), 3u);
    EXPECT_EQ(m.presets[0].name, "Mine");
    EXPECT_EQ(m.presets[1].name, "Pencil");
    EXPECT_EQ(m.presets[1].brush.size, 5);
    EXPECT_EQ(m.presets[2].name, "Chalk");
    EXPECT_EQ(m.presets[2].brush, factoryChalk());
    // The file now holds all three, in the program's own form.
    const presets::FileContent back = presets::readFile(user, tips.table);
    ASSERT_TRUE(back.intact) << back.problem;
    ASSERT_EQ(back.presets.size(), 3u);
    EXPECT_EQ(back.presets[2].name, "Chalk");
    EXPECT_EQ(back.versionMajor, 1);
}

TEST(BrushPresets, NoUserFileGivesTheFactoryListAndWritesIt) {
    Tips tips;
    TempDir dir;
    const fs::path factory = dir.path() / "factory.xml";
    writeText(factory, factoryText());
    const fs::path user = dir.path() / "user.xml";
    BrushPresetManager m;
    m.load(user, factory, tips.table);
    ASSERT_EQ(m.presets.size(), 2u);
    // The file written holds the factory brushes as they were read.
    const presets::FileContent back = presets::readFile(user, tips.table);
    ASSERT_TRUE(back.intact) << back.problem;
    ASSERT_EQ(back.presets.size(), 2u);
    EXPECT_EQ(back.presets[0].brush, factoryPencil());
    EXPECT_EQ(back.presets[1].brush, factoryChalk());
}

TEST(BrushPresets, NamesThatAreNotUtf8AreWrittenSoTheFileStaysReadable) {
    Tips tips;
    TempDir dir;
    const fs::path user = dir.path() / "brush_presets.xml";
    BrushPresetManager m;
    m.presets = {{"caf\xC3 \x01tab", factoryPencil()}};
    ASSERT_TRUE(m.save(user, tips.table));
    const presets::FileContent back = presets::readFile(user, tips.table);
    ASSERT_TRUE(back.intact) << back.problem;
    ASSERT_EQ(back.presets.size(), 1u);
    EXPECT_EQ(back.presets[0].name, "caf?  tab"); // the lone byte as "?", the control character as a space
}

TEST(BrushPresets, PresetWhoseTipIsGoneDisappears) {
    TempDir dir;
    const fs::path factory = dir.path() / "factory.xml";
    writeText(factory, std::string(kHead) + "<BRUSH_PRESETS version=\"1.0\">\n</BRUSH_PRESETS>\n");
    const fs::path user = dir.path() / "user.xml";
    {
        Tips tips({"chalk", "leaf"});
        BrushPresetManager m;
        m.presets = {{"on leaf", factoryChalk()}, {"round", factoryPencil()}};
        m.presets[0].brush.tipIndex = 2;
        ASSERT_TRUE(m.save(user, tips.table));
    }
    Tips fewer({"chalk"}); // the leaf tip was removed
    BrushPresetManager m;
    m.load(user, factory, fewer.table);
    ASSERT_EQ(m.presets.size(), 1u);
    EXPECT_EQ(m.presets[0].name, "round");
}

TEST(BrushPresets, PresetWithoutATipIsLeftOutOfTheFile) {
    Tips tips;
    BrushPresetManager m;
    Brush gone;
    gone.tipIndex = 99;
    m.presets = {{"gone", gone}, {"round", factoryPencil()}};
    const std::string text = presets::formatText(m.presets, tips.table);
    EXPECT_EQ(text.find("gone"), std::string::npos);
    EXPECT_NE(text.find("name=\"round\""), std::string::npos);
    EXPECT_EQ(m.presets.size(), 2u);
}

TEST(BrushPresets, DamagedUserFileLeavesFactoryPresetsAndTheFileUntouched) {
    Tips tips;
    TempDir dir;
    const fs::path factory = dir.path() / "factory.xml";
    writeText(factory, factoryText());
    const std::string good = std::string(kHead) +
                             "<BRUSH_PRESETS version=\"1.0\">\n"
                             "<PRESET name=\"Mine\" brush_name=\"leaf\" size=\"33\" spacing=\"1\" flags=\"1\" />\n"
                             "</BRUSH_PRESETS>\n";
    const std::string preset = "<PRESET name=\"Mine\" brush_name=\"leaf\" size=\"33\" flags=\"1\" ";
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += "<a>";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"truncated", good.substr(0, good.size() / 2 + 7)},
        {"empty", ""},
        {"wrong root", std::string(kHead) + "<PRESETS version=\"1.0\">" + preset + "/></PRESETS>\n"},
        {"no version", std::string(kHead) + "<BRUSH_PRESETS>" + preset + "/></BRUSH_PRESETS>\n"},
        {"version not a number", std::string(kHead) + "<BRUSH_PRESETS version=\"x.y\">" + preset +
                                     "/></BRUSH_PRESETS>\n"},
        {"no name", std::string(kHead) +
                        "<BRUSH_PRESETS version=\"1.0\"><PRESET brush_name=\"leaf\" size=\"3\" /></BRUSH_PRESETS>\n"},
        {"no tip name", std::string(kHead) +
                            "<BRUSH_PRESETS version=\"1.0\"><PRESET name=\"x\" size=\"3\" /></BRUSH_PRESETS>\n"},
        {"huge number", std::string(kHead) + "<BRUSH_PRESETS version=\"1.0\">" + preset +
                            "opacity=\"1e999\" /></BRUSH_PRESETS>\n"},
        {"huge version", std::string(kHead) + "<BRUSH_PRESETS version=\"99999999999.0\">" + preset +
                             "/></BRUSH_PRESETS>\n"},
        {"not a number", std::string(kHead) + "<BRUSH_PRESETS version=\"1.0\">" + preset +
                             "spacing=\"nan\" /></BRUSH_PRESETS>\n"},
        {"text size", std::string(kHead) + "<BRUSH_PRESETS version=\"1.0\"><PRESET name=\"x\" brush_name=\"leaf\" "
                                           "size=\"big\" /></BRUSH_PRESETS>\n"},
        {"not UTF-8", std::string(kHead) + "<BRUSH_PRESETS version=\"1.0\"><PRESET name=\"\xC3\" "
                                           "brush_name=\"leaf\" /></BRUSH_PRESETS>\n"},
        {"nested deep", std::string(kHead) + "<BRUSH_PRESETS version=\"1.0\">" + deep},
        {"enormous", std::string(kHead) + "<BRUSH_PRESETS version=\"1.0\"><!--" +
                         std::string(presets::kMaxFileBytes, 'x') + "--></BRUSH_PRESETS>\n"},
    };
    // The good file itself is read, so each case fails for its damage alone.
    {
        const fs::path user = dir.path() / "good.xml";
        writeText(user, good);
        BrushPresetManager m;
        m.load(user, factory, tips.table);
        ASSERT_EQ(m.presets.size(), 3u);
        EXPECT_EQ(m.presets[0].name, "Mine");
    }
    for (const auto& [what, text] : cases) {
        SCOPED_TRACE(what);
        const fs::path user = dir.path() / "user.xml";
        writeText(user, text);
        BrushPresetManager m;
        m.load(user, factory, tips.table);
        ASSERT_EQ(m.presets.size(), 2u);
        EXPECT_EQ(m.presets[0].name, "Pencil");
        EXPECT_EQ(m.presets[0].brush, factoryPencil());
        EXPECT_EQ(m.presets[1].name, "Chalk");
        EXPECT_EQ(m.versionMajor, 0);
        EXPECT_EQ(m.versionMinor, 0);
        EXPECT_TRUE(readText(user) == text) << "the damaged file was changed";
    }
}

TEST(BrushPresets, SaveIntoAMissingFolderFailsAndWritesNothing) {
    Tips tips;
    TempDir dir;
    BrushPresetManager m;
    m.presets = {{"round", factoryPencil()}};
    EXPECT_FALSE(m.save(dir.path() / "no such folder" / "brush_presets.xml", tips.table));
    EXPECT_FALSE(fs::exists(dir.path() / "no such folder"));
}

TEST(BrushPresets, SaveReplacesTheOldFile) {
    Tips tips;
    TempDir dir;
    const fs::path user = dir.path() / "brush_presets.xml";
    writeText(user, "old contents");
    BrushPresetManager m;
    m.presets = {{"round", factoryPencil()}};
    ASSERT_TRUE(m.save(user, tips.table));
    const presets::FileContent back = presets::readFile(user, tips.table);
    ASSERT_TRUE(back.intact) << back.problem;
    ASSERT_EQ(back.presets.size(), 1u);
    EXPECT_EQ(back.presets[0].brush, factoryPencil());
}

TEST(BrushPresets, FuzzSeedsReadIntact) {
    Tips tips;
    std::size_t seeds = 0;
    for (const fs::directory_entry& e : fs::directory_iterator(fs::path(KW_SOURCE_DIR) / "tests/fuzz/corpus/presets")) {
        if (e.path().extension() != ".xml") continue;
        const presets::FileContent c = presets::parseText(readText(e.path()), tips.table);
        EXPECT_TRUE(c.intact) << e.path() << ": " << c.problem;
        ++seeds;
    }
    EXPECT_GE(seeds, 2u);
}
