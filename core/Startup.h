#pragma once
#include "core/CommandLine.h"

// Opens the window, prepares GL and enters the main loop. Does not return in
// normal use: the process ends through the exit routine.
int runProgram(const CommandLine& commandLine);

// Makes a blank picture of the given size, fitted to the window.
void makeBlankImage(int width, int height);
