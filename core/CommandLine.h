#pragma once
// What the command line asks for. Pure parsing, no side effects.
#include <string>

struct CommandLine {
    enum class Mode { Run, Version, Help, Error };
    Mode mode = Mode::Run;
    std::string file;  // Run: the file to open, empty for a blank image
    std::string error; // Error: one line saying what is wrong
};

CommandLine parseCommandLine(int argc, const char* const* argv);

// The text printed by --help.
const char* usageText();
