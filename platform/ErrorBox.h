#pragma once
// The last-resort message for a failure that ends the program before any of
// its own interface exists (e.g. an unusable GL driver).
#include <string>
#include <vector>

namespace platform {

// Writes "caption: text" to stderr, then, when a display is set and zenity is
// on the PATH, shows `zenity --error` and waits for it to close. Texts are the
// program's Latin-1 bytes; zenity gets them as UTF-8.
void showFatalError(const std::string& caption, const std::string& text);

// ---- helpers, exposed for tests ----------------------------------------------

std::string latin1ToUtf8(const std::string& latin1);
// Full path of an executable `name` on $PATH, or "".
std::string findOnPath(const std::string& name);
// zenity's arguments for the message (argv[0] included).
std::vector<std::string> zenityErrorArgs(const std::string& caption, const std::string& text);

} // namespace platform
