#pragma once
// Every text the user sees is looked up here by a 32-bit key: the hash of a
// key name (keys::keyHash), computed by the compiler at each use through the
// constants of core/TextKeys.h. The table starts with the built-in English
// texts; a language file "localization_XXX.txt" in the languages folder then
// overwrites entries by key name, so a partial translation falls back to
// English key by key. Main thread only.
//
// Language file: lines of at most 511 bytes (longer lines are skipped).
//   - blank lines and lines whose first non-blank byte is '#' are ignored;
//   - KEY=VALUE, both trimmed of spaces, tabs, CR and LF; a line with no
//     value, no key or a second '=' is ignored;
//   - "\n" (backslash, n) in a value becomes a line feed;
//   - keys are not checked: unknown keys are stored and never read.
// Texts are Latin-1 inside the program (the fonts draw bytes as Latin-1). A
// file that is valid UTF-8 is converted to Latin-1 (characters beyond it
// become '?'); any other file is taken as Latin-1 bytes. A UTF-8 byte order
// mark is dropped.
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "core/TextKeys.h"

namespace loc {

struct DefaultText {
    const char* name; // key name, as language files write it
    const char* text;
};

// The built-in English table, in its fixed order (core/DefaultStrings.cpp).
const std::vector<DefaultText>& defaultTexts();

// The current table: key hash -> text.
std::map<int32_t, std::string>& localizedStrings();

// Three-letter codes of the language files found by the last scan.
extern std::vector<std::string> gLanguages;

inline constexpr const char* kDefaultLanguage = "ENG";

// Refills gLanguages from "localization_XXX.txt" files in `folder` (default:
// the languages folder beside the program), sorted, without repeats.
void scanLanguages(const std::string& folder = {});
// The built-in table, then, unless language is "ENG", that language's file
// over it. A missing or unreadable file leaves the English texts.
void loadDefaultStrings(const std::string& language, const std::string& folder = {});
// scanLanguages, then loadDefaultStrings.
void initLocalization(const std::string& language, const std::string& folder = {});

// Parses a language file's bytes and stores each entry under its key's hash.
// Returns the number of entries stored.
int applyLanguageText(const std::string& bytes, std::map<int32_t, std::string>& table);
// Reads one language file into the table; false when it can't be opened.
bool loadLanguageFile(const std::string& path, std::map<int32_t, std::string>& table);

// The code of a language file name ("localization_DEU.txt" -> "DEU"), or ""
// when the name does not have that exact form.
std::string languageCodeOf(const std::string& fileName);

// Fills the "%s" and "%d" places of a text, in order, with the given values,
// and turns "%%" into "%". Safe whatever a language file puts in the text:
// a place without a value stays empty and a surplus value is dropped.
std::string fillText(const std::string& text, std::initializer_list<std::string> values);

} // namespace loc

// The text under `key`. A key that has no entry gets an empty one, so it shows
// as nothing. The reference stays valid until the table is reloaded.
const std::string& tr(int32_t key);
