#pragma once
// Where the program finds its files. Every folder is an absolute, normalised
// path without a trailing '/'. Nothing here depends on the working directory,
// which the program changes after start-up.
#include <string>
#include <vector>

namespace platform {

// Folder of the running executable (/proc/self/exe), resolved on first call.
std::string exeDir();
// The folder holding data/ and languages/, found once from the executable's
// own location (resourceDirFor(exeDir())).
std::string resourceDir();
// <resource dir>/data and <resource dir>/languages.
std::string dataDir();
std::string languagesDir();
// The user's data folder: $XDG_DATA_HOME/Kestrelwing, else
// ~/.local/share/Kestrelwing. Not created here.
std::string userDataDir();
// The user's documents folder: `xdg-user-dir DOCUMENTS`, else the
// XDG_DOCUMENTS_DIR line of user-dirs.dirs, else $HOME. Only an existing
// folder is returned, so a chdir() to it can succeed.
std::string documentsDir();
// The system's temporary folder (TMPDIR or /tmp).
std::string tempDir();

// The user's data folder on first start: makes userDir, copies
// "brush_presets.xml" from factoryBrushes when userDir has none, and makes
// "brushes/" (the folder scanned for the user's tips) with a copy of
// factoryBrushes/README.txt when it does not exist. A factory file that is
// missing is skipped. False when a folder cannot be made.
bool installUserData(const std::string& factoryBrushes, const std::string& userDir);

// Names (not paths) of the regular files in dir whose extension matches
// `extension` case-insensitively ("png" or ".png"; empty = every file),
// sorted case-insensitively so scan order never depends on the file system.
// A missing or unreadable folder gives an empty list.
std::vector<std::string> listFiles(const std::string& dir, const std::string& extension);
// The same with a case-insensitive wildcard pattern ('*' and '?').
std::vector<std::string> listFilesMatching(const std::string& dir, const std::string& pattern);

// ---- pure helpers, exposed for tests ----------------------------------------

// Where the run-time files lie for an executable in exeDir: an installed tree
// keeps them in <prefix>/share/kestrelwing beside <prefix>/bin, the build tree
// beside bin/ (<exe dir>/..). The installed form is taken when its data/
// folder exists; otherwise the build-tree form, so a message about a missing
// file names the folder the build would have made.
std::string resourceDirFor(const std::string& exeDir);

// Case-insensitive (ASCII) wildcard match of a whole name.
bool wildcardMatch(const std::string& pattern, const std::string& name);
// Strict weak order: ASCII case folded first, then bytes, so equal-looking
// names still sort deterministically.
bool lessNoCase(const std::string& a, const std::string& b);
// The value of `key` (e.g. "XDG_DOCUMENTS_DIR") in a user-dirs.dirs text, with
// "$HOME" expanded; "" when absent.
std::string parseUserDirs(const std::string& text, const std::string& key, const std::string& home);

} // namespace platform
