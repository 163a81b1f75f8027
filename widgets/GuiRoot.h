#pragma once
// The program's interface root and the hidden widget demo screen.
#include <memory>

#include "core/RenderArea.h"

class GUI;

// The root of the widget tree, registered with the input dispatcher before
// the painter. Null until createGuiRoot.
extern std::shared_ptr<GUI> gGui;

// Builds the four fonts (fatal error message and exit when even the fallback
// font fails), makes the root over `windowRect` and registers it for input.
// Call once, with the window's context current, before the painter registers.
void createGuiRoot(RenderArea* windowRect);

// KESTRELWING_WIDGET_DEMO=1 asks for the demo screen.
bool widgetDemoRequested();
// One of each basic widget on a panel over the canvas.
void buildWidgetDemo(GUI& root);
// The edit control, grid, dialogs and tabs on a second panel, top right.
void buildDialogDemo(GUI& root);
