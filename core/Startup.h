#pragma once
#include <string>

#include "core/CommandLine.h"
#include "io/ImageCodec.h"

// Opens the window, prepares GL and enters the main loop. Does not return in
// normal use: the process ends through the exit routine.
int runProgram(const CommandLine& commandLine);

// Makes a blank picture of the given size, fitted to the window.
void makeBlankImage(int width, int height);

// Opens an image, layered picture or drawing process by its extension, with
// the flow's message; on success the view fits the new picture. `wait` keeps
// the program alive during the load. On failure the open picture stays.
bool openFile(const std::string& path, const WaitFunction& wait);
