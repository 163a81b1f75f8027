#include "core/Localisation.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/Paths.h"

// Defined with the fonts (widgets/GlFont.cpp); the conversion itself uses no GL.
std::string utf8ToLatin1(const std::string& utf8);

namespace loc {

std::vector<std::string> gLanguages;

std::map<int32_t, std::string>& localizedStrings() {
    static std::map<int32_t, std::string> table;
    return table;
}

namespace {
constexpr std::size_t kLineLimit = 512; // bytes, the terminating zero included

std::string folderOrDefault(const std::string& folder) { return folder.empty() ? platform::languagesDir() : folder; }

std::string trimmed(const std::string& s) {
    const char* blanks = " \t\r\n";
    const auto first = s.find_first_not_of(blanks);
    if (first == std::string::npos) return {};
    const auto last = s.find_last_not_of(blanks);
    return s.substr(first, last - first + 1);
}

bool validUtf8(const std::string& s) {
    for (std::size_t i = 0; i < s.size();) {
        const auto c = static_cast<unsigned char>(s[i]);
        const int len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (len == 0 || i + len > s.size()) return false;
        for (int k = 1; k < len; ++k)
            if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
        i += len;
    }
    return true;
}

// One line of a language file into the table; false when it is not an entry.
bool applyLine(const std::string& line, std::map<int32_t, std::string>& table) {
    const std::string t = trimmed(line);
    if (t.empty() || t[0] == '#') return false;
    // Split at '=' dropping empty pieces: exactly a key and a value are wanted.
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= line.size()) {
        std::size_t end = line.find('=', start);
        if (end == std::string::npos) end = line.size();
        if (end > start) parts.push_back(line.substr(start, end - start));
        start = end + 1;
    }
    if (parts.size() != 2) return false;
    const std::string key = trimmed(parts[0]);
    std::string value = trimmed(parts[1]);
    if (key.empty() || value.empty()) return false;
    for (std::size_t at = value.find("\\n"); at != std::string::npos; at = value.find("\\n", at + 1))
        value.replace(at, 2, "\n");
    table[keys::keyHash(key)] = value;
    return true;
}
} // namespace

int applyLanguageText(const std::string& bytes, std::map<int32_t, std::string>& table) {
    std::string text = bytes;
    if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.erase(0, 3);
    if (validUtf8(text)) text = utf8ToLatin1(text);
    int stored = 0;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        // A line beyond the limit is skipped whole rather than cut into a wrong text.
        if (end - start < kLineLimit && applyLine(text.substr(start, end - start), table)) ++stored;
        start = end + 1;
    }
    return stored;
}

bool loadLanguageFile(const std::string& path, std::map<int32_t, std::string>& table) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) return false;
    applyLanguageText(bytes, table);
    return true;
}

std::string languageCodeOf(const std::string& fileName) {
    static const std::string prefix = "localization_", suffix = ".txt";
    if (fileName.size() != prefix.size() + 3 + suffix.size()) return {};
    if (fileName.compare(0, prefix.size(), prefix) != 0) return {};
    if (fileName.compare(prefix.size() + 3, suffix.size(), suffix) != 0) return {};
    return fileName.substr(prefix.size(), 3);
}

void scanLanguages(const std::string& folder) {
    gLanguages.clear();
    for (const std::string& name : platform::listFiles(folderOrDefault(folder), "txt")) {
        const std::string code = languageCodeOf(name);
        if (!code.empty() && std::find(gLanguages.begin(), gLanguages.end(), code) == gLanguages.end())
            gLanguages.push_back(code);
    }
}

void loadDefaultStrings(const std::string& language, const std::string& folder) {
    auto& table = localizedStrings();
    table.clear();
    for (const DefaultText& d : defaultTexts()) table[keys::keyHash(d.name)] = d.text;
    // The brush button's tip quotes the properties dialog's text as it stands
    // before any language file, as the English table has it.
    table[tk::BRUSH_BUTTON_TIP_STR] =
        std::string("[press button]: select brush\n[CTRL+press button]: ") + table[tk::TB_OPEN_BRUSH_PROPERTIES_DIALOG_STR];
    table[tk::BRUSH_PROPERTIES_TIP_STR] = table[tk::TB_OPEN_BRUSH_PROPERTIES_DIALOG_STR];
    if (language == kDefaultLanguage) return;
    loadLanguageFile(folderOrDefault(folder) + "/localization_" + language + ".txt", table);
}

void initLocalization(const std::string& language, const std::string& folder) {
    scanLanguages(folder);
    loadDefaultStrings(language, folder);
}

std::string fillText(const std::string& text, std::initializer_list<std::string> values) {
    std::string out;
    auto next = values.begin();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 1 < text.size()) {
            const char c = text[i + 1];
            if (c == '%') {
                out += '%';
                ++i;
                continue;
            }
            if (c == 's' || c == 'd') {
                if (next != values.end()) out += *next++;
                ++i;
                continue;
            }
        }
        out += text[i];
    }
    return out;
}

} // namespace loc

const std::string& tr(int32_t key) {
    auto& table = loc::localizedStrings();
    // Before any load (tests, early errors) the English texts stand.
    if (table.empty()) loc::loadDefaultStrings(loc::kDefaultLanguage);
    return table[key];
}
