#pragma once
#include <string>

// The status line, for tools that announce themselves on activation.
void announce(const std::string& text);
