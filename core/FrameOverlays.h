#pragma once
// What the frame draws over everything else, in window pixels: the status
// lines of the current mode or tool, the held-key badges, the pointer's
// canvas position, and the progress ring while the program is busy.
#include <string>

void drawStatusLines();
void drawProgressOverlay();

// Prints one status line (which may hold line feeds) at the left edge and
// advances `line` by the number of lines printed. Tools call it from drawHints.
void printStatusLine(int& line, const std::string& text);
