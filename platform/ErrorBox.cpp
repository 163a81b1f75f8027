#include "platform/ErrorBox.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace platform {

std::string latin1ToUtf8(const std::string& latin1) {
    std::string out;
    out.reserve(latin1.size());
    for (unsigned char c : latin1) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::string findOnPath(const std::string& name) {
    const char* path = std::getenv("PATH");
    if (!path || name.empty() || name.find('/') != std::string::npos) return {};
    std::string dirs = path;
    std::size_t start = 0;
    while (start <= dirs.size()) {
        std::size_t end = dirs.find(':', start);
        if (end == std::string::npos) end = dirs.size();
        std::string dir = dirs.substr(start, end - start);
        if (dir.empty()) dir = "."; // an empty PATH entry means the current folder
        std::string candidate = dir + "/" + name;
        if (::access(candidate.c_str(), X_OK) == 0) return candidate;
        start = end + 1;
    }
    return {};
}

std::vector<std::string> zenityErrorArgs(const std::string& caption, const std::string& text) {
    // --no-markup: the text is shown as it is, whatever '<' or '&' it holds.
    return {"zenity", "--error", "--no-markup", "--title=" + latin1ToUtf8(caption),
            "--text=" + latin1ToUtf8(text)};
}

void showFatalError(const std::string& caption, const std::string& text) {
    std::fprintf(stderr, "%s: %s\n", caption.c_str(), text.c_str());
    std::fflush(stderr);
    // Without a display zenity could only fail, so don't start it.
    const char* display = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    if (!(display && display[0]) && !(wayland && wayland[0])) return;
    std::string zenity = findOnPath("zenity");
    if (zenity.empty()) return;
    std::vector<std::string> args = zenityErrorArgs(caption, text);
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawn(&pid, zenity.c_str(), nullptr, nullptr, argv.data(), environ) != 0) return;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {}
}

} // namespace platform
