#pragma once
// The program's persistent settings: string values by name, kept between runs
// in one text file, $XDG_CONFIG_HOME/Kestrelwing/settings.ini (default
// ~/.config/Kestrelwing/settings.ini), section [Software\Kestrelwing], one
// NAME=value line each.
//
// Semantics follow a simple key/value store:
//  - names match case-insensitively; a written name keeps the spelling already
//    in the file;
//  - reading a missing value, or any value of an unreadable file, fails and the
//    caller keeps its default;
//  - every write reads the whole file, changes one line and replaces the file
//    atomically (temporary file + rename), so a crash never leaves half a file;
//    write failures are ignored;
//  - "\n", "\r" and "\\" in values are stored escaped, so paths and multi-line
//    texts survive.
// The 255-byte read limit of the original store is lifted: Linux paths are
// often longer. Values above kMaxValueBytes count as unreadable instead.
// XDG_CONFIG_HOME is read at every call (tests point it at a temporary folder).
// All functions are thread-safe (the saving thread stores the current folder).
#include <cstddef>
#include <string>
#include <vector>

namespace platform {

constexpr std::size_t kMaxValueBytes = 65536;

// Full path of the settings file for the current environment.
std::string settingsFilePath();

bool readValue(const std::string& name, std::string& out);
void writeValue(const std::string& name, const std::string& value);

// "%d"; false (out untouched) when missing or not a number.
bool readInt(const std::string& name, int& out);
// True exactly when the text is "1"; false (out untouched) when missing.
bool readBool(const std::string& name, bool& out);
// "%d,%d"; false (a, b untouched) unless both numbers parse.
bool readIntPair(const std::string& name, int& a, int& b);

// ---- pure helpers, exposed for tests ----------------------------------------

std::string escapeSettingValue(const std::string& value);
std::string unescapeSettingValue(const std::string& stored);

// The file's text as lines; lookup and replacement inside our section. Lines
// of other sections, comments and garbled lines are kept as they are.
class SettingsText {
public:
    explicit SettingsText(const std::string& text);
    bool get(const std::string& name, std::string& out) const;
    void set(const std::string& name, const std::string& value);
    std::string str() const;

private:
    // Index of the line holding name in our section, or -1.
    long find(const std::string& name) const;
    std::vector<std::string> lines;
};

} // namespace platform
