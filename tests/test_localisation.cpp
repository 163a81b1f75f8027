// The text table: key hashes, the built-in English texts, language files and
// the scan of the languages folder.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "core/KeyNames.h"
#include "core/Localisation.h"

namespace fs = std::filesystem;

namespace {

class LanguageFolder : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/kw_lang_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
    }
    void TearDown() override {
        fs::remove_all(dir);
        // Other tests expect the English table.
        loc::loadDefaultStrings(loc::kDefaultLanguage, dir);
    }
    void write(const std::string& name, const std::string& bytes) {
        std::ofstream(dir + "/" + name, std::ios::binary) << bytes;
    }
    std::string dir;
};

// The key of a name, worked by hand: FNV-1a over the bytes (sign-extended)
// and the terminating zero.
uint32_t handHash(const std::string& name) {
    uint32_t h = 2166136261u;
    for (unsigned char c : name) h = (h ^ static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(c)))) * 16777619u;
    return h * 16777619u;
}

std::map<int32_t, std::string> parse(const std::string& bytes) {
    std::map<int32_t, std::string> table;
    loc::applyLanguageText(bytes, table);
    return table;
}

} // namespace

TEST(Localisation, KeysAreTheHashesOfTheirNames) {
    EXPECT_EQ(static_cast<uint32_t>(tk::NEW_IMAGE), 0xd7b29d0du);
    EXPECT_EQ(static_cast<uint32_t>(tk::NEW_LAYER), 0x96375c25u);
    EXPECT_EQ(static_cast<uint32_t>(tk::BUCKET_FILL), 0x0e281b6bu);
    EXPECT_EQ(handHash("SETTINGS_TITLE_STR"), static_cast<uint32_t>(tk::SETTINGS_TITLE_STR));
    EXPECT_EQ(handHash("\xE9t\xE9"), static_cast<uint32_t>(keys::keyHash("\xE9t\xE9")));
}

TEST(Localisation, BuiltInTableHoldsTheKnownTextsUnderTheirKeys) {
    loc::loadDefaultStrings(loc::kDefaultLanguage, "/nonexistent");
    const std::pair<uint32_t, const char*> known[] = {
        {0x305f64ab, "unnamed_image"}, {0x1d0c8359, "undefined"},   {0x52521070, "OK"},
        {0x19bdf24c, "Cancel"},        {0x5c267208, "Yes"},         {0xab131d32, "No"},
        {0xd7b29d0d, "new image"},     {0x96375c25, "new layer"},   {0x80f5bd7b, "layer merge"},
        {0x05e48b80, "delete layer"},  {0xcc692e15, "flip canvas"}, {0x69197414, "zoom in"},
        {0x1dbfdbab, "zoom out"},      {0xeeb7bc7e, "panning"},     {0x9188a8d0, "picking"},
        {0xee12d88d, "rotation"},      {0x38e3517f, "lock interaction"}, {0x0e281b6b, "bucket fill"},
        {0x0dfef566, "mirror"},        {0x9f63322c, "show settings"},
    };
    for (auto [key, text] : known) EXPECT_EQ(tr(static_cast<int32_t>(key)), text) << std::hex << key;
    // 245 fixed entries, then our own; every name hashes to a key of its own.
    ASSERT_GE(loc::defaultTexts().size(), 245u);
    EXPECT_STREQ(loc::defaultTexts()[0].text, "unnamed_image");
    EXPECT_STREQ(loc::defaultTexts()[244].text, "open brush properties dialog");
    EXPECT_EQ(loc::localizedStrings().size(), loc::defaultTexts().size());
    for (const auto& d : loc::defaultTexts()) EXPECT_LE(std::string(d.name).size(), 40u) << d.name;
}

TEST(Localisation, BrushButtonTipQuotesTheEnglishPropertiesText) {
    loc::loadDefaultStrings(loc::kDefaultLanguage, "/nonexistent");
    EXPECT_EQ(tr(tk::BRUSH_BUTTON_TIP_STR),
              "[press button]: select brush\n[CTRL+press button]: open brush properties dialog");
    EXPECT_EQ(tr(tk::BRUSH_PROPERTIES_TIP_STR), "open brush properties dialog");
}

TEST(Localisation, MissingKeyShowsAsNothingAndIsCreated) {
    loc::loadDefaultStrings(loc::kDefaultLanguage, "/nonexistent");
    const int32_t unknown = keys::keyHash("NO_SUCH_TEXT_ANYWHERE");
    EXPECT_EQ(loc::localizedStrings().count(unknown), 0u);
    EXPECT_EQ(tr(unknown), "");
    EXPECT_EQ(loc::localizedStrings().count(unknown), 1u);
}

TEST(LanguageText, EntriesCommentsBlanksAndLineEnds) {
    const auto t = parse("# a comment = with an equals sign\r\n"
                         "\r\n"
                         "   \t \n"
                         "NEW_LAYER = neue Ebene\r\n"
                         "\tZOOM_IN\t=\tvergr\xf6\xdf" "ern \t\r\n"
                         "   # indented comment=x\n"
                         "SAVE_AS_STR=zwei\\nZeilen\n"
                         "UNUSED_BY_THE_PROGRAM=whatever\n");
    EXPECT_EQ(t.size(), 4u);
    EXPECT_EQ(t.at(keys::keyHash("NEW_LAYER")), "neue Ebene");
    EXPECT_EQ(t.at(keys::keyHash("ZOOM_IN")), "vergr\xf6\xdf" "ern");
    EXPECT_EQ(t.at(keys::keyHash("SAVE_AS_STR")), "zwei\nZeilen");
    EXPECT_EQ(t.at(keys::keyHash("UNUSED_BY_THE_PROGRAM")), "whatever");
    EXPECT_EQ(t.count(keys::keyHash("# a comment")), 0u);
}

TEST(LanguageText, BadLinesAreSkipped) {
    const auto t = parse("KEY_A=a=b\n"
                         "KEY_B=\n"
                         "KEY_C=   \n"
                         "=value only\n"
                         "no equals sign at all\n"
                         "KEY_D==d\n" // empty pieces are dropped: a key and a value
                         "KEY_E=e\n");
    EXPECT_EQ(t.size(), 2u);
    EXPECT_EQ(t.at(keys::keyHash("KEY_D")), "d");
    EXPECT_EQ(t.at(keys::keyHash("KEY_E")), "e");
}

TEST(LanguageText, OverlongKeyLandsUnderZeroAndOverlongLineIsSkipped) {
    const std::string key41(41, 'K');
    const auto t = parse(key41 + "=x\nLONG=" + std::string(600, 'v') + "\nAFTER=y\n");
    EXPECT_EQ(t.at(0), "x");
    EXPECT_EQ(t.count(keys::keyHash("LONG")), 0u);
    EXPECT_EQ(t.at(keys::keyHash("AFTER")), "y");
    // 511 bytes is the longest line read.
    const auto u = parse("L=" + std::string(509, 'w') + "\n");
    EXPECT_EQ(u.at(keys::keyHash("L")).size(), 509u);
    EXPECT_EQ(parse("L=" + std::string(510, 'w') + "\n").size(), 0u);
}

TEST(LanguageText, Utf8FilesBecomeLatin1AndLatin1FilesStay) {
    // "\xEF\xBB\xBF" a byte order mark; U+00E9 and U+0152 (beyond Latin-1).
    const auto utf8 = parse("\xEF\xBB\xBFK=caf\xC3\xA9 \xC5\x92uvre\n");
    EXPECT_EQ(utf8.at(keys::keyHash("K")), "caf\xE9 ?uvre");
    const auto latin1 = parse("K=caf\xE9\n");
    EXPECT_EQ(latin1.at(keys::keyHash("K")), "caf\xE9");
    // A key with a byte above 127 is hashed sign-extended.
    const auto high = parse("\xC4_KEY=x\n");
    EXPECT_EQ(high.count(static_cast<int32_t>(handHash("\xC4_KEY"))), 1u);
}

TEST_F(LanguageFolder, LanguageFileOverwritesByKeyAndFallsBackToEnglish) {
    write("localization_DEU.txt", "NEW_LAYER=neue Ebene\nCANCEL_BTN_STR=Abbrechen\nOK_BTN_STR=\n");
    loc::loadDefaultStrings("DEU", dir);
    EXPECT_EQ(tr(tk::NEW_LAYER), "neue Ebene");
    EXPECT_EQ(tr(tk::CANCEL_BTN_STR), "Abbrechen");
    EXPECT_EQ(tr(tk::OK_BTN_STR), "OK");            // "KEY=" leaves English
    EXPECT_EQ(tr(tk::ZOOM_IN), "zoom in");          // not translated
}

TEST_F(LanguageFolder, MissingFileLeavesTheDefaults) {
    loc::loadDefaultStrings("XYZ", dir);
    EXPECT_EQ(tr(tk::NEW_LAYER), "new layer");
    EXPECT_EQ(loc::localizedStrings().size(), loc::defaultTexts().size());
}

TEST_F(LanguageFolder, EnglishNeverReadsAFile) {
    write("localization_ENG.txt", "NEW_LAYER=changed\n");
    loc::initLocalization("ENG", dir);
    EXPECT_EQ(tr(tk::NEW_LAYER), "new layer");
    ASSERT_EQ(loc::gLanguages.size(), 1u); // although the scan lists it
    EXPECT_EQ(loc::gLanguages[0], "ENG");
}

TEST_F(LanguageFolder, ScanListsExactlyTheLanguageFiles) {
    write("localization_FRA.txt", "");
    write("localization_DEU.txt", "");
    write("localization_ENGLISH.txt", "");
    write("localization_IT.txt", "");
    write("notes.txt", "");
    write("localization_ESP.txt.bak", "");
    loc::scanLanguages(dir);
    EXPECT_EQ(loc::gLanguages, (std::vector<std::string>{"DEU", "FRA"}));
    loc::scanLanguages(dir + "/missing");
    EXPECT_TRUE(loc::gLanguages.empty());
}

TEST(Localisation, FillTextPutsValuesInOrderWhateverTheText) {
    EXPECT_EQ(loc::fillText("\ncurrent canvas size: [%dx%d]", {"800", "600"}), "\ncurrent canvas size: [800x600]");
    EXPECT_EQ(loc::fillText("zoom: %d%%", {"50"}), "zoom: 50%");
    EXPECT_EQ(loc::fillText("%s %s %s", {"a"}), "a  ");
    EXPECT_EQ(loc::fillText("%n %x", {"a"}), "%n %x");
}
