#pragma once
// Hands a web address, a file or a folder to the desktop's opener
// (xdg-open, or the program named by KESTRELWING_OPEN_CMD) without waiting.
#include <functional>
#include <string>

namespace platform {

// The opener that openExternal runs.
std::string externalOpener();

// Starts the opener on `target` (Latin-1 inside the program; passed as UTF-8).
// False when it could not be started (not installed): the caller says so.
// onFailure, when given, runs on a reaper thread if the opener ends with a
// non-zero status (no application for that kind of target).
bool openExternal(const std::string& target, std::function<void(int status)> onFailure = {});

} // namespace platform
