// Key names, the key hash, the Command record and stored bindings.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/Command.h"
#include "core/CommandList.h"
#include "core/KeyNames.h"
#include "platform/Settings.h"
#include "test_command_support.h"

using keys::keyHash;
using keys::keyText;

TEST(KeyHash, GivesTheKnownExamples) {
    EXPECT_EQ(static_cast<uint32_t>(keyHash("NEW_IMAGE")), 0xd7b29d0du);
    EXPECT_EQ(static_cast<uint32_t>(keyHash("NEW_LAYER")), 0x96375c25u);
    EXPECT_EQ(static_cast<uint32_t>(keyHash("BUCKET_FILL")), 0x0e281b6bu);
    EXPECT_EQ(static_cast<uint32_t>(keyHash("UNNAMED_IMAGE_STR")), 0x305f64abu);
    EXPECT_EQ(static_cast<uint32_t>(keyHash("UNDEFINED_STR")), 0x1d0c8359u);
    EXPECT_EQ(static_cast<uint32_t>(keyHash("OK_BTN_STR")), 0x52521070u);
    EXPECT_EQ(static_cast<uint32_t>(keyHash("DELETE_LAYER")), 0x05e48b80u);
}

TEST(KeyHash, EmptyAndOverlongNamesGiveZero) {
    EXPECT_EQ(keyHash(""), 0);
    const std::string forty(40, 'A');
    EXPECT_NE(keyHash(forty), 0);
    EXPECT_EQ(keyHash(forty + "A"), 0);
}

TEST(KeyHash, BytesAboveSevenBitsAreSignExtended) {
    // One byte 0xE9: h = (basis ^ 0xFFFFFFE9) * prime, then the zero round.
    uint32_t h = (2166136261u ^ 0xFFFFFFE9u) * 16777619u;
    h *= 16777619u;
    EXPECT_EQ(static_cast<uint32_t>(keyHash("\xE9")), h);
}

TEST(KeyHash, CommandIdsAreTheFixedOnes) {
    using namespace commands;
    const std::vector<std::pair<int32_t, uint32_t>> ids = {
        {kNewImage, 0xD7B29D0D},  {kShowHelp, 0x2BE0369A},   {kShowSettings, 0x9F63322C},
        {kToggleReferenceView, 0xF7DB747E}, {kNewLayer, 0x96375C25}, {kLayerMerge, 0x80F5BD7B},
        {kFlipCanvas, 0xCC692E15}, {kFitToWindow, 0x8FC5F77F}, {kZoom100, 0x0CC5DE8B},
        {kFill, 0xEF2D3075},      {kBucketFill, 0x0E281B6B}, {kGradient, 0xACC6D1F9},
        {kMirror, 0x0DFEF566},    {kZoomIn, 0x69197414},     {kZoomOut, 0x1DBFDBAB},
        {kDecrBrushSize, 0xF2EF8680}, {kIncrBrushSize, 0xF56A26DC}, {kPanning, 0xEEB7BC7E},
        {kPicking, 0x9188A8D0},   {kRotation, 0xEE12D88D},   {kLockInteraction, 0x38E3517F},
    };
    for (auto [id, expected] : ids) EXPECT_EQ(static_cast<uint32_t>(id), expected);
}

TEST(KeyText, NamedKeysCharactersAndFunctionKeys) {
    EXPECT_EQ(keyText(8), "BACKSPACE");
    EXPECT_EQ(keyText(27), "ESC");
    EXPECT_EQ(keyText(32), "SPACE");
    EXPECT_EQ(keyText(0x164), "LEFT ARROW");
    EXPECT_EQ(keyText(0x167), "DOWN ARROW");
    EXPECT_EQ(keyText(0x16C), "INSERT");
    EXPECT_EQ(keyText(0x201), "WHEEL DOWN");
    EXPECT_EQ(keyText(0x207), "MOUSE MIDDLE DOWN");
    EXPECT_EQ(keyText('+'), "+");
    EXPECT_EQ(keyText('c'), "c");
    EXPECT_EQ(keyText(0x101), "F1");
    EXPECT_EQ(keyText(0x10C), "F12");
    // No name and no character: nothing.
    EXPECT_EQ(keyText(0), "");
    EXPECT_EQ(keyText(0x100), "");
    EXPECT_EQ(keyText(0x10D), "");
    EXPECT_EQ(keyText(0x170), "");
}

TEST(KeyText, HighCharactersShowAsThemselves) {
    EXPECT_EQ(keyText(0xE0), std::string(1, '\xE0'));
    EXPECT_EQ(keyText(0xF9), std::string(1, '\xF9'));
}

TEST(KeyText, ModifiersInTableOrderEachFollowedByPlus) {
    EXPECT_EQ(keyText(0x85A), "CTRL+Z");
    EXPECT_EQ(keyText(0x830), "CTRL+0");
    EXPECT_EQ(keyText(0x1800 | 0x101), "CTRL+SHIFT+F1");
    EXPECT_EQ(keyText(0x2000 | 0x800 | 0x400 | 0x164), "SPACE+CTRL+ALT+LEFT ARROW");
    EXPECT_EQ(keyText(0x4400), "SPACE+MOUSE LEFT PRESSED+");
    EXPECT_EQ(keyText(0x28000), "MOUSE RIGHT PRESSED+PEN PROXIMITY+");
    EXPECT_EQ(keyText(0x10000), "MOUSE MIDDLE PRESSED+");
    EXPECT_EQ(keyText(0x3FC00 | 'a'),
              "SPACE+CTRL+SHIFT+ALT+MOUSE LEFT PRESSED+MOUSE RIGHT PRESSED+MOUSE MIDDLE PRESSED+PEN PROXIMITY+a");
}

TEST(KeyText, TablesHaveTheListedEntries) {
    EXPECT_EQ(keys::modifierNames().size(), 8u);
    EXPECT_EQ(keys::keyNames().size(), 22u);
    EXPECT_EQ(keys::modifierNames().begin()->second, "SPACE");
    EXPECT_EQ(keys::modifierNames().rbegin()->second, "PEN PROXIMITY");
}

TEST(Command, KeysFillBothListsAndNegativeKeysBecomeBytes) {
    Command c(1, "x", 0x5B, -0x20, nullptr);
    EXPECT_EQ(c.bindings, (std::vector<int32_t>{0x5B, 0xE0}));
    EXPECT_EQ(c.defaultBindings, c.bindings);
    Command d(2, "y", 0x5D, -7, nullptr);
    EXPECT_EQ(d.bindings, (std::vector<int32_t>{0x5D, 0xF9}));
    Command single(3, "z", 0x84E, 0, nullptr);
    EXPECT_EQ(single.bindings, (std::vector<int32_t>{0x84E}));
}

TEST(Command, MatchesAnyBindingAndExecutesItsAction) {
    int runs = 0;
    Command c(1, "x", 0x60, 0x3C, [&] { return ++runs; });
    EXPECT_TRUE(c.matches(0x60));
    EXPECT_TRUE(c.matches(0x3C));
    EXPECT_FALSE(c.matches(0x460)); // with Space held it is another code
    EXPECT_EQ(c.execute(), 1);
    EXPECT_EQ(c.execute(), 2);
    Command none(2, "y", 1, 0, nullptr);
    EXPECT_EQ(none.execute(), 0);
}

TEST(Command, BindingsTextJoinsKeyTexts) {
    EXPECT_EQ(Command(1, "fit", 0x830, 0x63, nullptr).bindingsText(), "CTRL+0|c");
    EXPECT_EQ(Command(1, "decr", 0x5B, -0x20, nullptr).bindingsText(), "[|\xE0");
    Command empty(1, "e", 0x101, 0, nullptr);
    empty.bindings.clear();
    EXPECT_EQ(empty.bindingsText(), "");
}

TEST(Command, SettingNameIsTheSignedDecimalId) {
    Command c(commands::kNewImage, "new image", 0x84E, 0, nullptr);
    EXPECT_EQ(c.settingName(), "-676160243");
    Command z(commands::kZoom100, "zoom 100%", 0x831, 0, nullptr);
    EXPECT_EQ(z.settingName(), "214294155");
}

TEST(StoredBindings, ParseLikeAtoi) {
    EXPECT_EQ(parseStoredBindings("2126"), (std::vector<int32_t>{2126}));
    EXPECT_EQ(parseStoredBindings("2096|99"), (std::vector<int32_t>{2096, 99}));
    EXPECT_EQ(parseStoredBindings(" 43|-5"), (std::vector<int32_t>{43, -5}));
    EXPECT_EQ(parseStoredBindings("abc|45x"), (std::vector<int32_t>{0, 45}));
    EXPECT_EQ(parseStoredBindings("1||2|"), (std::vector<int32_t>{1, 2}));
    EXPECT_TRUE(parseStoredBindings("").empty());
    // Far beyond int32: no crash, some value.
    EXPECT_EQ(parseStoredBindings("99999999999999999999999").size(), 1u);
}

class StoredBindingsTest : public ::testing::Test {
protected:
    TempSettingsFolder folder;
};

TEST_F(StoredBindingsTest, WrittenBindingsAreReadBack) {
    Command written(commands::kNewImage, "new image", 0x84E, 0, nullptr);
    written.setBindings({0x84F, 0, 0x101});
    EXPECT_EQ(written.bindings, (std::vector<int32_t>{0x84F, 0x101}));
    std::string raw;
    ASSERT_TRUE(platform::readValue("-676160243", raw));
    EXPECT_EQ(raw, "2127|257");

    Command fresh(commands::kNewImage, "new image", 0x84E, 0, nullptr);
    fresh.load();
    EXPECT_EQ(fresh.bindings, (std::vector<int32_t>{0x84F, 0x101}));
    EXPECT_EQ(fresh.defaultBindings, (std::vector<int32_t>{0x84E}));
    EXPECT_TRUE(fresh.matches(0x84F));
    EXPECT_FALSE(fresh.matches(0x84E));
}

TEST_F(StoredBindingsTest, NoStoredValueKeepsTheDefaults) {
    Command c(commands::kMirror, "mirror", 0x84D, 0, nullptr);
    c.load();
    EXPECT_EQ(c.bindings, (std::vector<int32_t>{0x84D}));
}

TEST_F(StoredBindingsTest, UnreadableValueKeepsTheDefaults) {
    // Larger than the store will hand out: counts as no value.
    platform::writeValue(std::to_string(commands::kMirror), std::string(platform::kMaxValueBytes + 10, '7'));
    Command c(commands::kMirror, "mirror", 0x84D, 0, nullptr);
    c.load();
    EXPECT_EQ(c.bindings, (std::vector<int32_t>{0x84D}));
}

TEST_F(StoredBindingsTest, GarbledPiecesBecomeZeroAndMatchNoRealKey) {
    platform::writeValue(std::to_string(commands::kMirror), "junk|2125");
    Command c(commands::kMirror, "mirror", 0x84D, 0, nullptr);
    c.load();
    EXPECT_EQ(c.bindings, (std::vector<int32_t>{0, 0x84D}));
    for (int32_t code : {1, 0x20, 0x41, 0x101, 0x85A}) EXPECT_FALSE(c.matches(code)) << code;
    EXPECT_TRUE(c.matches(0x84D));
}

TEST_F(StoredBindingsTest, EmptyValueLeavesACommandUnbound) {
    platform::writeValue(std::to_string(commands::kMirror), "");
    Command c(commands::kMirror, "mirror", 0x84D, 0, nullptr);
    c.load();
    EXPECT_TRUE(c.bindings.empty());
    EXPECT_FALSE(c.matches(0x84D));
}
