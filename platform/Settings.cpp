#include "platform/Settings.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <unistd.h>

namespace platform {
namespace {

const char* const kSectionHeader = "[Software\\Kestrelwing]";
constexpr std::size_t kMaxFileBytes = 16u << 20; // anything larger is not ours

std::mutex gSettingsMutex; // one read-modify-write at a time within the process

std::string trim(const std::string& s) {
    const char* ws = " \t\r";
    std::size_t b = s.find_first_not_of(ws);
    if (b == std::string::npos) return {};
    std::size_t e = s.find_last_not_of(ws);
    return s.substr(b, e - b + 1);
}

bool equalsNoCase(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        unsigned char x = a[i], y = b[i];
        if (x >= 'a' && x <= 'z') x -= 32;
        if (y >= 'a' && y <= 'z') y -= 32;
        if (x != y) return false;
    }
    return true;
}

bool isHeader(const std::string& line) {
    std::string t = trim(line);
    return t.size() >= 2 && t.front() == '[' && t.back() == ']';
}

bool isOurHeader(const std::string& line) { return equalsNoCase(trim(line), kSectionHeader); }

// Name part of a NAME=value line, or "" when the line has no usable name.
std::string lineName(const std::string& line) {
    std::size_t eq = line.find('=');
    if (eq == std::string::npos) return {};
    std::string name = trim(line.substr(0, eq));
    if (!name.empty() && (name[0] == '#' || name[0] == ';')) return {};
    return name;
}

// A name must survive the line format unchanged.
bool isStorableName(const std::string& name) {
    if (name.empty() || name != trim(name)) return false;
    if (name[0] == '[' || name[0] == '#' || name[0] == ';') return false;
    return name.find_first_of("=\n\r") == std::string::npos && name.find('\0') == std::string::npos;
}

bool readWholeFile(const std::string& path, std::string& out) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream ss;
    ss << in.rdbuf();
    if (in.bad()) return false;
    out = ss.str();
    return out.size() <= kMaxFileBytes;
}

std::string configHome() {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg && xdg[0] == '/') return xdg; // relative values are invalid and ignored
    const char* home = std::getenv("HOME");
    return std::string(home && home[0] ? home : "/tmp") + "/.config";
}

// Writes text to path through a temporary file in the same folder and rename().
bool replaceFileAtomically(const std::string& path, const std::string& text) {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec);
    std::string tmp = path + ".tmp" + std::to_string(::getpid());
    std::FILE* f = std::fopen(tmp.c_str(), "wb");
    if (!f) return false;
    bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    ok = (std::fflush(f) == 0) && ok;
    ok = (::fsync(::fileno(f)) == 0) && ok;
    ok = (std::fclose(f) == 0) && ok;
    if (ok && std::rename(tmp.c_str(), path.c_str()) == 0) return true;
    std::remove(tmp.c_str());
    return false;
}

// Like scanf's "%d": optional white space, sign and digits; advances p. Values
// outside int fail instead of wrapping.
bool scanInt(const char*& p, int& out) {
    while (std::isspace(static_cast<unsigned char>(*p))) ++p;
    bool negative = (*p == '-');
    if (*p == '-' || *p == '+') ++p;
    if (!std::isdigit(static_cast<unsigned char>(*p))) return false;
    long long v = 0;
    while (std::isdigit(static_cast<unsigned char>(*p))) {
        v = v * 10 + (*p++ - '0');
        if (v > static_cast<long long>(INT_MAX) + 1) return false;
    }
    if (negative) v = -v;
    if (v > INT_MAX || v < INT_MIN) return false;
    out = static_cast<int>(v);
    return true;
}

} // namespace

std::string escapeSettingValue(const std::string& value) {
    std::string out;
    out.reserve(value.size());
    for (char c : value) {
        if (c == '\\') out += "\\\\";
        else if (c == '\n') out += "\\n";
        else if (c == '\r') out += "\\r";
        else out += c;
    }
    return out;
}

std::string unescapeSettingValue(const std::string& stored) {
    std::string out;
    out.reserve(stored.size());
    for (std::size_t i = 0; i < stored.size(); ++i) {
        char c = stored[i];
        if (c != '\\' || i + 1 == stored.size()) {
            out += c;
            continue;
        }
        char n = stored[i + 1];
        if (n == '\\') out += '\\';
        else if (n == 'n') out += '\n';
        else if (n == 'r') out += '\r';
        else {
            out += c; // unknown escape from a hand edit: keep both bytes
            out += n;
        }
        ++i;
    }
    return out;
}

SettingsText::SettingsText(const std::string& text) {
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(std::move(line));
        start = end + 1;
    }
}

// Lines before any section header count as ours too, so a hand-written file
// without the header still works.
long SettingsText::find(const std::string& name) const {
    bool inOurs = true;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (isHeader(lines[i])) {
            inOurs = isOurHeader(lines[i]);
            continue;
        }
        if (inOurs && equalsNoCase(lineName(lines[i]), name)) return static_cast<long>(i);
    }
    return -1;
}

bool SettingsText::get(const std::string& name, std::string& out) const {
    if (name.empty()) return false;
    long i = find(name);
    if (i < 0) return false;
    const std::string& line = lines[static_cast<std::size_t>(i)];
    out = unescapeSettingValue(line.substr(line.find('=') + 1));
    return true;
}

void SettingsText::set(const std::string& name, const std::string& value) {
    long i = find(name);
    if (i >= 0) {
        std::string& line = lines[static_cast<std::size_t>(i)];
        line = trim(line.substr(0, line.find('='))) + "=" + escapeSettingValue(value);
        return;
    }
    std::string entry = name + "=" + escapeSettingValue(value);
    for (std::size_t h = 0; h < lines.size(); ++h) {
        if (!isOurHeader(lines[h])) continue;
        // After the last non-empty line of our section.
        std::size_t at = h + 1;
        for (std::size_t k = h + 1; k < lines.size() && !isHeader(lines[k]); ++k)
            if (!trim(lines[k]).empty()) at = k + 1;
        lines.insert(lines.begin() + static_cast<long>(at), entry);
        return;
    }
    lines.insert(lines.begin(), {kSectionHeader, entry});
}

std::string SettingsText::str() const {
    std::string out;
    for (const std::string& line : lines) out += line + "\n";
    return out;
}

std::string settingsFilePath() { return configHome() + "/Kestrelwing/settings.ini"; }

bool readValue(const std::string& name, std::string& out) {
    std::lock_guard<std::mutex> lock(gSettingsMutex);
    std::string text;
    if (!readWholeFile(settingsFilePath(), text)) return false;
    std::string value;
    if (!SettingsText(text).get(name, value) || value.size() > kMaxValueBytes) return false;
    out = value;
    return true;
}

void writeValue(const std::string& name, const std::string& value) {
    if (!isStorableName(name)) return;
    // Like a C string: the text ends at the first NUL.
    std::string stored = value.substr(0, value.find('\0'));
    std::lock_guard<std::mutex> lock(gSettingsMutex);
    std::string path = settingsFilePath();
    std::string text;
    if (!readWholeFile(path, text)) {
        std::error_code ec;
        // An existing but unreadable file is left alone rather than replaced.
        if (std::filesystem::exists(path, ec) || ec) return;
        text.clear();
    }
    SettingsText doc(text);
    doc.set(name, stored);
    replaceFileAtomically(path, doc.str());
}

bool readInt(const std::string& name, int& out) {
    std::string text;
    if (!readValue(name, text)) return false;
    const char* p = text.c_str();
    return scanInt(p, out);
}

bool readBool(const std::string& name, bool& out) {
    std::string text;
    if (!readValue(name, text)) return false;
    out = (text == "1");
    return true;
}

bool readIntPair(const std::string& name, int& a, int& b) {
    std::string text;
    if (!readValue(name, text)) return false;
    const char* p = text.c_str();
    int x = 0, y = 0;
    if (!scanInt(p, x) || *p++ != ',' || !scanInt(p, y)) return false;
    a = x;
    b = y;
    return true;
}

} // namespace platform
