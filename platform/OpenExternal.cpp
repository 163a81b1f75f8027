#include "platform/OpenExternal.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <thread>

#include "platform/ErrorBox.h"

extern char** environ;

namespace platform {

std::string externalOpener() {
    const char* override_ = std::getenv("KESTRELWING_OPEN_CMD");
    return override_ && *override_ ? override_ : "xdg-open";
}

bool openExternal(const std::string& target, std::function<void(int status)> onFailure) {
    const std::string command = externalOpener();
    const std::string arg = latin1ToUtf8(target);
    char* argv[] = {const_cast<char*>(command.c_str()), const_cast<char*>(arg.c_str()), nullptr};
    pid_t pid = 0;
    if (posix_spawnp(&pid, command.c_str(), nullptr, nullptr, argv, environ) != 0) return false;
    // Reap the child in the background so it never lingers as a zombie.
    std::thread([pid, onFailure = std::move(onFailure)] {
        int status = 0;
        if (waitpid(pid, &status, 0) == pid && onFailure) {
            const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            if (code != 0) onFailure(code);
        }
    }).detach();
    return true;
}

} // namespace platform
