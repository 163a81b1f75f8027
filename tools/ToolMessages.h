#pragma once
// The status line, for tools that announce themselves on activation.
void announce(const char* text);
