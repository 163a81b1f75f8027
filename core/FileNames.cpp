#include "core/FileNames.h"

#include <cstdio>
#include <filesystem>

namespace {
// The n-th name of the series: the base with "_n" before the extension.
std::string numbered(const std::string& path, int n) {
    const std::filesystem::path p(path);
    const std::string extension = p.extension().string();
    const std::string base = path.substr(0, path.size() - extension.size());
    char name[4096];
    std::snprintf(name, sizeof name, "%s_%d%s", base.c_str(), n, extension.c_str());
    return name;
}

bool existsOnDisk(const std::string& path) {
    std::error_code ec;
    return std::filesystem::exists(path, ec);
}
} // namespace

std::string nextFreeName(const std::string& path, const FileExists& exists) {
    if (!exists(path)) return path;
    for (int n = 1;; ++n) {
        std::string candidate = numbered(path, n);
        if (!exists(candidate)) return candidate;
    }
}

std::string lastExistingName(const std::string& path, const FileExists& exists) {
    if (!exists(path)) return path;
    std::string last = path;
    for (int n = 1;; ++n) {
        std::string candidate = numbered(path, n);
        if (!exists(candidate)) return last;
        last = std::move(candidate);
    }
}

std::string nextFreeName(const std::string& path) { return nextFreeName(path, existsOnDisk); }

std::string lastExistingName(const std::string& path) { return lastExistingName(path, existsOnDisk); }

std::string autosaveTarget(const std::string& tempDir, bool lastRunClean, const FileExists& exists) {
    const std::string path = tempDir + "/KW_AUTOSAVE.dpf";
    return lastRunClean ? lastExistingName(path, exists) : nextFreeName(path, exists);
}
