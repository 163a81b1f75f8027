#pragma once
// The program's interface, assembled from the widget toolkit: the tool bar on
// the left, the brush sliders at the bottom, the right column, the colour and
// size HUD of the right button, the navigator, notifications, the interface
// toggle and the tool options strip. Built once at start-up and again from
// nothing by rebuildInterface (the key texts of the tool tips may change).
#include <cstdint>
#include <memory>
#include <string>

class CustomViewWidget;
class GroupWidget;
class ImageButton;
class Painter;
class PaintingApplication;
class ToolBar;
class VisualMenu;
class BrushPreviewWidget;
class ColorSelector;
template <typename T> class Slider;

extern std::shared_ptr<ToolBar> gToolBar;
extern std::shared_ptr<GroupWidget> gBottomGroup; // size, opacity, hardness
extern std::shared_ptr<GroupWidget> gHudGroup;    // the right button's pop-up
extern std::shared_ptr<GroupWidget> gRightGroup;  // colour and layers column
extern std::shared_ptr<CustomViewWidget> gNavigator;
extern std::shared_ptr<BrushPreviewWidget> gBrushPreview;
extern std::shared_ptr<Slider<int>> gSizeSlider;
extern std::shared_ptr<ImageButton> gToggleGuiButton;
// The colour ring and square: a child of both the right group and the HUD.
extern std::shared_ptr<ColorSelector> gColorSelector;

// The size slider's range: the largest brush the slider offers.
inline constexpr int kSizeSliderMax = 500;

// Makes the empty tool bar at its home place (GuiScale must be known).
void createToolBar();
// Assembles the interface into gGui over the window (gRenderArea). The
// reference view's half of the window is not built here yet.
void buildInterface(bool withReferenceView);
// Drops the whole interface and builds it again; an open dialog stays open,
// centred.
void rebuildInterface();

// "text [keys]", or the text alone when no key is bound.
std::string toolTipText(const std::string& text, const std::string& keys);
// The tool bar's three panels and their buttons, wired to the commands, the
// tool switch and the file flows of this application and painter.
void fillToolBar(ToolBar& bar, PaintingApplication& app, Painter& painter);
// The mirror and perspective buttons: a second press leaves the tool (its
// flag cleared) for the tool that was current before it.
void toggleToolButton(PaintingApplication& app, Painter& painter, int toolIndex);
// The load (true) or save menu of the tool bar; entries run the file flows.
std::shared_ptr<VisualMenu> makeFileMenu(bool load);

// Hide or show the panels (TAB and the toggle button); shown while the tool
// bar is enabled.
bool interfaceShown();
void toggleInterface();

// The right button's HUD: opens at the pointer and takes all input while the
// button is held; the release puts everything back.
void openColourHud(int x, int y);
void closeColourHud();

// Prints a line for each tool switch and size slider change when the
// environment asks for it (KESTRELWING_TRACE_INTERFACE=1); for tests.
bool interfaceTraceOn();
