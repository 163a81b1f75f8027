#pragma once
// The options strip across the top of the window. The current tool fills it
// with its own widgets when it becomes current and loses them when it stops
// being current; nothing about a panel outlives the tool's turn.
#include <memory>

class GroupWidget;

// Null until createToolOptionsBar (tests and batch runs have no strip).
extern std::shared_ptr<GroupWidget> gToolOptionsBar;

// Strip height in 96-dpi units, its widget id and the key of its fades.
constexpr int kToolOptionsBarHeight = 50;
constexpr int kToolOptionsBarId = 0x7da9afb4;

// Makes the hidden, empty strip; GuiScale must be known.
void createToolOptionsBar();
// Stretches the strip over the top of a window of this size.
void placeToolOptionsBar(int windowWidth, int windowHeight);
// Any running fade of the strip is cancelled; the strip fades in over 250 ms.
void showToolPanel();
// The same cancel, a fade out over 500 ms, and the strip's widgets go at once.
void hideToolPanel();
