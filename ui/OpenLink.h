#pragma once
// Opens a web page, a file or a folder with the desktop's opener; a missing
// opener, or one that finds no application, is told in the status line.
#include <string>

void openLink(const std::string& target);
