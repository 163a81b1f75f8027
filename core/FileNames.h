#pragma once
// Numbered file names: "picture.png", "picture_1.png", "picture_2.png", ...
#include <functional>
#include <string>

using FileExists = std::function<bool(const std::string&)>;

// `path` when no such file exists, else the first numbered variant that doesn't.
std::string nextFreeName(const std::string& path, const FileExists& exists);
// The last existing file of the series, or `path` when `path` itself is free.
std::string lastExistingName(const std::string& path, const FileExists& exists);
// The same on the real file system.
std::string nextFreeName(const std::string& path);
std::string lastExistingName(const std::string& path);

// Where the autosave goes this run: after a clean exit the last file of the
// series is overwritten; after a crash a new one is begun so the old survives.
std::string autosaveTarget(const std::string& tempDir, bool lastRunClean, const FileExists& exists);
