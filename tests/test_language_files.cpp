// The language files that ship with the program: each covers every text of the
// built-in table, names no key the program doesn't have, keeps the %s and %d
// places of the English text in order, and is Latin-1 as the fonts draw it.
//
// The failure messages list what is missing with its English text, so a text
// added to the table is quick to translate.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "TestPaths.h"
#include "core/Localisation.h"

namespace fs = std::filesystem;

namespace {

const char* const kShippedLanguages[] = {"DEU", "FRA"};

std::string readBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string sourceFile(const std::string& code) {
    return std::string(KW_SOURCE_DIR) + "/languages/localization_" + code + ".txt";
}

// The file read by hand, independently of the program's loader: key -> raw
// value bytes, for every line that is neither blank nor a comment.
struct RawEntry {
    int line = 0;
    std::string value;
};

std::string trimmed(const std::string& s) {
    const char* blanks = " \t\r\n";
    const auto first = s.find_first_not_of(blanks);
    if (first == std::string::npos) return {};
    return s.substr(first, s.find_last_not_of(blanks) - first + 1);
}

std::map<std::string, RawEntry> readByHand(const std::string& bytes, std::vector<std::string>& badLines) {
    std::map<std::string, RawEntry> entries;
    std::istringstream in(bytes);
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        const std::string t = trimmed(line);
        if (t.empty() || t[0] == '#') continue;
        const auto eq = t.find('=');
        if (eq == std::string::npos || t.find('=', eq + 1) != std::string::npos || trimmed(t.substr(eq + 1)).empty()) {
            badLines.push_back(std::to_string(number) + ": " + t);
            continue;
        }
        const std::string key = trimmed(t.substr(0, eq));
        if (entries.count(key)) badLines.push_back(std::to_string(number) + ": repeated key " + key);
        entries[key] = {number, trimmed(t.substr(eq + 1))};
    }
    return entries;
}

// The text as the program holds it: "\n" (backslash, n) is a line feed.
std::string unescaped(std::string value) {
    for (std::size_t at = value.find("\\n"); at != std::string::npos; at = value.find("\\n", at + 1))
        value.replace(at, 2, "\n");
    return value;
}

// The places a format fills, in order: "%s", "%d", and "%%" (a percent sign).
std::vector<std::string> formatPlaces(const std::string& text) {
    std::vector<std::string> places;
    for (std::size_t i = 0; i + 1 < text.size(); ++i)
        if (text[i] == '%' && (text[i + 1] == 's' || text[i + 1] == 'd' || text[i + 1] == '%')) {
            places.push_back(text.substr(i, 2));
            ++i;
        }
    return places;
}

std::string joined(const std::vector<std::string>& v) {
    std::string out;
    for (const auto& s : v) out += (out.empty() ? "" : " ") + s;
    return "[" + out + "]";
}

bool endsBlank(const std::string& s) {
    // A no-break space (0xA0) stands in for a space the file format would trim.
    return !s.empty() && (s.back() == ' ' || s.back() == '\xA0');
}

struct Problems {
    std::vector<std::string> missing, unknown, formats, edges, bytes, lines;
};

Problems check(const std::string& bytes) {
    Problems p;
    const auto entries = readByHand(bytes, p.lines);
    std::set<std::string> known;
    for (const loc::DefaultText& d : loc::defaultTexts()) {
        known.insert(d.name);
        const auto at = entries.find(d.name);
        // A line with a second "=" is ignored by the loader, so a text that
        // holds one can only stay in English.
        if (at == entries.end() && std::string(d.text).find('=') != std::string::npos) continue;
        if (at == entries.end()) {
            std::string english = d.text;
            for (std::size_t i = english.find('\n'); i != std::string::npos; i = english.find('\n', i + 2))
                english.replace(i, 1, "\\n");
            p.missing.push_back(std::string(d.name) + "=" + english);
            continue;
        }
        const std::string text = unescaped(at->second.value);
        if (formatPlaces(text) != formatPlaces(d.text))
            p.formats.push_back(std::string(d.name) + ": " + joined(formatPlaces(text)) + " but English has " +
                                joined(formatPlaces(d.text)));
        const std::string english = d.text;
        if (endsBlank(english) != endsBlank(text) || (english.front() == '\n') != (text.front() == '\n'))
            p.edges.push_back(std::string(d.name) + " starts or ends unlike the English text");
    }
    for (const auto& [key, entry] : entries)
        if (!known.count(key)) p.unknown.push_back(key + " (line " + std::to_string(entry.line) + ")");
    int number = 1;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto c = static_cast<unsigned char>(bytes[i]);
        if (c == '\n') ++number;
        // Latin-1 text: no control bytes but line ends and tabs, nothing in 0x7F..0x9F.
        const bool ok = c == '\n' || c == '\r' || c == '\t' || (c >= 0x20 && c < 0x7F) || c >= 0xA0;
        if (!ok) p.bytes.push_back("line " + std::to_string(number) + ": byte " + std::to_string(c));
    }
    return p;
}

void report(const std::string& code, const Problems& p) {
    auto list = [&](const char* what, const std::vector<std::string>& items) {
        if (items.empty()) return;
        std::string text;
        for (const auto& s : items) text += "\n  " + s;
        ADD_FAILURE() << "localization_" << code << ".txt: " << items.size() << " " << what << ":" << text;
    };
    list("key(s) missing (English text given)", p.missing);
    list("key(s) the program doesn't have", p.unknown);
    list("format(s) unlike the English text", p.formats);
    list("text(s) that lose a leading line feed or a trailing space", p.edges);
    list("byte(s) that aren't Latin-1 text", p.bytes);
    list("line(s) the loader would skip", p.lines);
}

} // namespace

TEST(LanguageFiles, CheckerFindsEachKindOfProblem) {
    // A file built by hand with one problem of each kind, over a full copy of
    // the table so that only the planted problems remain.
    std::string bytes;
    for (const loc::DefaultText& d : loc::defaultTexts()) {
        std::string text = d.text;
        if (text.empty() || text.find('=') != std::string::npos) continue;
        for (std::size_t i = text.find('\n'); i != std::string::npos; i = text.find('\n', i + 2)) text.replace(i, 1, "\\n");
        if (std::string(d.name) == "ZOOM_NPERCENT_STR") text = "Zoom: %s";            // %d became %s
        if (std::string(d.name) == "BRUSH_SIZE_N_STR") continue;                      // missing
        if (std::string(d.name) == "DEVELOPED_BY_STR") text = "von:";                 // trailing space lost
        if (std::string(d.name) == "OK_BTN_STR") text = "O\x85K";                     // a C1 control byte
        if (!text.empty() && (text.back() == ' ')) text.back() = '\xA0';
        bytes += std::string(d.name) + "=" + text + "\n";
    }
    bytes += "NOT_A_KEY_OF_OURS=x\n";
    bytes += "CANCEL_BTN_STR=a=b\n";
    const Problems p = check(bytes);
    ASSERT_EQ(p.missing.size(), 1u);
    EXPECT_EQ(p.missing[0], "BRUSH_SIZE_N_STR=brush size: %d");
    ASSERT_EQ(p.unknown.size(), 1u);
    EXPECT_EQ(p.unknown[0].rfind("NOT_A_KEY_OF_OURS", 0), 0u);
    ASSERT_EQ(p.formats.size(), 1u);
    EXPECT_EQ(p.formats[0], "ZOOM_NPERCENT_STR: [%s] but English has [%d %%]");
    ASSERT_EQ(p.edges.size(), 1u);
    EXPECT_EQ(p.edges[0].rfind("DEVELOPED_BY_STR", 0), 0u);
    EXPECT_EQ(p.bytes.size(), 1u);
    ASSERT_EQ(p.lines.size(), 1u);
    EXPECT_NE(p.lines[0].find("CANCEL_BTN_STR=a=b"), std::string::npos);
}

TEST(LanguageFiles, ShippedFilesCoverTheTableAndKeepTheFormats) {
    for (const char* code : kShippedLanguages) {
        const std::string bytes = readBytes(sourceFile(code));
        ASSERT_FALSE(bytes.empty()) << sourceFile(code);
        report(code, check(bytes));
    }
}

TEST(LanguageFiles, ShippedFilesAreLatin1AndTheProgramReadsThemAsWritten) {
    for (const char* code : kShippedLanguages) {
        const std::string bytes = readBytes(sourceFile(code));
        std::vector<std::string> bad;
        const auto byHand = readByHand(bytes, bad);
        std::map<int32_t, std::string> table;
        const int stored = loc::applyLanguageText(bytes, table);
        EXPECT_EQ(stored, static_cast<int>(byHand.size())) << code;
        // The loader keeps the bytes: no UTF-8 decoding took place, which it
        // would if the file were (by mistake) UTF-8.
        for (const auto& [key, entry] : byHand)
            EXPECT_EQ(table[keys::keyHash(key)], unescaped(entry.value)) << code << " " << key;
    }
    // Words decoded by hand from their Latin-1 bytes.
    std::map<int32_t, std::string> deu, fra;
    loc::applyLanguageText(readBytes(sourceFile("DEU")), deu);
    loc::applyLanguageText(readBytes(sourceFile("FRA")), fra);
    EXPECT_EQ(deu[tk::HARDNESS_STR], "H\xE4rte");
    EXPECT_EQ(deu[tk::CLOSE_BTN_STR], "Schlie\xDF" "en");
    EXPECT_EQ(deu[tk::OPACITY_STR], "Deckkraft");
    EXPECT_EQ(deu[tk::NEW_LAYER], "Neue Ebene");
    EXPECT_EQ(deu[tk::TB_UNDO_STR], "R\xFC" "ckg\xE4ngig");
    EXPECT_EQ(fra[tk::OPACITY_STR], "Opacit\xE9");
    EXPECT_EQ(fra[tk::NEW_LAYER], "nouveau calque");
    EXPECT_EQ(fra[tk::TB_UNDO_STR], "annuler");
    EXPECT_EQ(fra[tk::TB_REDO_STR], "r\xE9tablir");
}

TEST(LanguageFiles, BuildTreeOffersTheShippedLanguages) {
    // The build copies the files beside the program; the settings dialog offers
    // what the scan of that folder finds.
    const std::string folder = std::string(KW_TEST_DATA_DIR) + "/../languages";
    loc::scanLanguages(folder);
    for (const char* code : kShippedLanguages) {
        EXPECT_NE(std::find(loc::gLanguages.begin(), loc::gLanguages.end(), code), loc::gLanguages.end()) << code;
        EXPECT_EQ(readBytes(folder + "/localization_" + code + ".txt"), readBytes(sourceFile(code))) << code;
    }
    loc::loadDefaultStrings("DEU", folder);
    EXPECT_EQ(tr(tk::SETTINGS_TITLE_STR), "Einstellungen");
    loc::loadDefaultStrings("FRA", folder);
    EXPECT_EQ(tr(tk::SETTINGS_TITLE_STR), "Pr\xE9" "f\xE9rences");
    loc::loadDefaultStrings(loc::kDefaultLanguage, folder);
    EXPECT_EQ(tr(tk::SETTINGS_TITLE_STR), "Settings");
}

TEST(LanguageFiles, TableKeysTheCodeDoesNotReadAreListed) {
    // For whoever sweeps the remaining files: table entries no source file
    // names yet. Listed, not failed:
    // the tool bar's texts wait for the sweep of the interface assembly.
    std::string sources;
    for (const char* folder : {"core", "canvas", "tools", "widgets", "ui", "io", "history", "brush"})
        for (const auto& entry : fs::recursive_directory_iterator(std::string(KW_SOURCE_DIR) + "/" + folder)) {
            const std::string name = entry.path().filename().string();
            if (name == "TextKeys.h" || name == "DefaultStrings.cpp") continue;
            const auto ext = entry.path().extension();
            if (ext == ".cpp" || ext == ".h") sources += readBytes(entry.path());
        }
    ASSERT_FALSE(sources.empty());
    int unread = 0;
    for (const loc::DefaultText& d : loc::defaultTexts()) {
        const std::string name = d.name;
        // The name as a whole identifier (tk::NAME, NAME under "using namespace tk", or "NAME").
        bool named = false;
        auto identifierChar = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; };
        for (auto at = sources.find(name); at != std::string::npos && !named; at = sources.find(name, at + 1))
            named = (at == 0 || !identifierChar(sources[at - 1])) &&
                    (at + name.size() == sources.size() || !identifierChar(sources[at + name.size()]));
        if (named) continue;
        if (unread++ == 0) std::printf("Table entries no code reads yet:\n");
        std::printf("  %s (%s)\n", name.c_str(), d.text);
    }
    std::printf("%d of %zu table entries unread\n", unread, loc::defaultTexts().size());
    EXPECT_LT(unread, static_cast<int>(loc::defaultTexts().size()));
}
