#pragma once
// What the command line asks for. Pure parsing, no side effects.
#include <string>

struct CommandLine {
    // Run: the window. Info and Render are batch modes without a window.
    enum class Mode { Run, Version, Help, Error, Info, Render, ExportVideo };
    Mode mode = Mode::Run;
    std::string file;   // Run: the file to open, empty for a blank image; Info/Render: the input
    std::string output; // Render: the image to write; ExportVideo: the film
    bool replay = false; // Render: execute the actions from a blank canvas
    int videoFormat = 1; // ExportVideo: index of 480p, 720p, 1080p
    std::string author;  // ExportVideo: the watermark's name, empty for none
    std::string error;  // Error: one line saying what is wrong
};

CommandLine parseCommandLine(int argc, const char* const* argv);

// The text printed by --help.
const char* usageText();
