#include "platform/Paths.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <pwd.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace platform {
namespace fs = std::filesystem;
namespace {

unsigned char foldCase(unsigned char c) { return (c >= 'a' && c <= 'z') ? c - 32 : c; }

std::string normalised(const fs::path& p) {
    std::string s = p.lexically_normal().string();
    while (s.size() > 1 && s.back() == '/') s.pop_back();
    return s;
}

std::string homeDir() {
    const char* home = std::getenv("HOME");
    if (home && home[0] == '/') return normalised(home);
    if (const passwd* pw = ::getpwuid(::getuid()); pw && pw->pw_dir) return normalised(pw->pw_dir);
    return "/tmp";
}

// $name when it holds an absolute path (XDG says relative ones are invalid).
std::string xdgDir(const char* name, const char* fallbackUnderHome) {
    const char* v = std::getenv(name);
    if (v && v[0] == '/') return normalised(v);
    return homeDir() + fallbackUnderHome;
}

// Runs a program and returns its standard output (first line, no newline).
std::string firstLineOfOutput(const char* program, const char* arg) {
    int fds[2];
    if (::pipe(fds) != 0) return {};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    char* argv[] = {const_cast<char*>(program), const_cast<char*>(arg), nullptr};
    pid_t pid = 0;
    int rc = posix_spawnp(&pid, program, &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    std::string out;
    if (rc == 0) {
        char buf[512];
        ssize_t n;
        while ((n = ::read(fds[0], buf, sizeof buf)) > 0 && out.size() < 65536) out.append(buf, n);
        int status = 0;
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {}
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) out.clear();
    }
    ::close(fds[0]);
    return out.substr(0, out.find('\n'));
}

bool isDirectory(const std::string& p) {
    std::error_code ec;
    return !p.empty() && fs::is_directory(p, ec);
}

std::string extensionPattern(std::string ext) {
    if (ext.empty()) return "*";
    if (ext[0] != '.') ext.insert(0, ".");
    return "*" + ext;
}

} // namespace

std::string exeDir() {
    static const std::string dir = [] {
        std::error_code ec;
        fs::path exe = fs::read_symlink("/proc/self/exe", ec);
        if (ec || !exe.is_absolute()) exe = fs::current_path(ec) / "kestrelwing";
        return normalised(exe.parent_path());
    }();
    return dir;
}

std::string resourceDirFor(const std::string& exeDir) {
    const std::string installed = normalised(fs::path(exeDir) / ".." / "share" / "kestrelwing");
    if (isDirectory(installed + "/data")) return installed;
    return normalised(fs::path(exeDir) / "..");
}

std::string resourceDir() {
    static const std::string dir = resourceDirFor(exeDir());
    return dir;
}

std::string dataDir() { return normalised(fs::path(resourceDir()) / "data"); }

std::string languagesDir() { return normalised(fs::path(resourceDir()) / "languages"); }

std::string userDataDir() { return xdgDir("XDG_DATA_HOME", "/.local/share") + "/Kestrelwing"; }

std::string documentsDir() {
    std::string home = homeDir();
    std::string dir = firstLineOfOutput("xdg-user-dir", "DOCUMENTS");
    if (dir.empty() || dir[0] != '/' || !isDirectory(dir)) {
        std::ifstream in(xdgDir("XDG_CONFIG_HOME", "/.config") + "/user-dirs.dirs");
        std::stringstream text;
        text << in.rdbuf();
        dir = parseUserDirs(text.str(), "XDG_DOCUMENTS_DIR", home);
    }
    return isDirectory(dir) ? normalised(dir) : home;
}

std::string tempDir() {
    std::error_code ec;
    fs::path p = fs::temp_directory_path(ec);
    if (ec || !p.is_absolute()) return "/tmp";
    return normalised(p);
}

std::string parseUserDirs(const std::string& text, const std::string& key, const std::string& home) {
    std::istringstream in(text);
    std::string line;
    std::string result;
    while (std::getline(in, line)) {
        std::size_t b = line.find_first_not_of(" \t");
        if (b == std::string::npos || line[b] == '#') continue;
        if (line.compare(b, key.size() + 1, key + "=") != 0) continue;
        std::string v = line.substr(b + key.size() + 1);
        while (!v.empty() && (v.back() == '\r' || v.back() == ' ' || v.back() == '\t')) v.pop_back();
        if (v.size() >= 2 && v.front() == '"' && v.back() == '"') v = v.substr(1, v.size() - 2);
        if (v.rfind("$HOME", 0) == 0) v = home + v.substr(5);
        else if (v.empty() || v[0] != '/') continue; // only $HOME/... or absolute paths are valid
        result = v; // the last definition wins, as when the shell sources the file
    }
    return result;
}

bool wildcardMatch(const std::string& pattern, const std::string& name) {
    // Iterative match with one back-track point for the last '*'.
    std::size_t p = 0, n = 0, star = std::string::npos, mark = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            mark = n;
        } else if (p < pattern.size() &&
                   (pattern[p] == '?' || foldCase(pattern[p]) == foldCase(name[n]))) {
            ++p;
            ++n;
        } else if (star != std::string::npos) {
            p = star + 1;
            n = ++mark;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') ++p;
    return p == pattern.size();
}

bool lessNoCase(const std::string& a, const std::string& b) {
    std::size_t n = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < n; ++i) {
        unsigned char x = foldCase(a[i]), y = foldCase(b[i]);
        if (x != y) return x < y;
    }
    if (a.size() != b.size()) return a.size() < b.size();
    return a < b;
}

std::vector<std::string> listFilesMatching(const std::string& dir, const std::string& pattern) {
    std::vector<std::string> names;
    std::error_code ec;
    fs::directory_iterator it(dir, ec), end;
    for (; !ec && it != end; it.increment(ec)) {
        std::error_code typeEc;
        if (!it->is_regular_file(typeEc)) continue; // follows symlinks
        std::string name = it->path().filename().string();
        if (wildcardMatch(pattern, name)) names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end(), lessNoCase);
    return names;
}

std::vector<std::string> listFiles(const std::string& dir, const std::string& extension) {
    return listFilesMatching(dir, extensionPattern(extension));
}

bool installUserData(const std::string& factoryBrushes, const std::string& userDir) {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::create_directories(userDir, ec);
    if (!fs::is_directory(userDir, ec)) return false;
    const fs::path presets = fs::path(userDir) / "brush_presets.xml";
    if (!fs::exists(presets, ec)) fs::copy_file(fs::path(factoryBrushes) / "brush_presets.xml", presets, ec);
    const fs::path brushes = fs::path(userDir) / "brushes";
    if (!fs::exists(brushes, ec)) {
        fs::create_directories(brushes, ec);
        if (ec) return false;
        fs::copy_file(fs::path(factoryBrushes) / "README.txt", brushes / "README.txt", ec);
    }
    return fs::is_directory(brushes, ec);
}

} // namespace platform
