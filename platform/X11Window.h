#pragma once
// Window-system services that stock freeglut lacks, added on freeglut's own
// X connection: the close-button veto, file drops (XDND), minimum size, focus
// loss, window state and geometry, and the display's DPI.
//
// Requirements on the program:
//  - call XInitThreads() first thing in main(), before glutInit (the process
//    loader uses a second GL context on another thread);
//  - call installWindowHooks() right after glutCreateWindow(), with the new
//    window's context current;
//  - call pumpWindowEvents() from the 20 ms tick. Close and drop callbacks
//    run from there, on the main thread, never inside freeglut's event read.
//
// How it works: a wire-to-event hook (XESetWireToEvent) sees every
// ClientMessage, SelectionNotify and FocusOut that freeglut's connection
// reads. It only copies the events we want into a queue and drops them (so
// freeglut never destroys the window on WM_DELETE_WINDOW); the hook runs under
// the display lock, so all Xlib work is done later by pumpWindowEvents().
#include <functional>
#include <string>

namespace platform {

// Installs the hooks for the window of the current GLX context (freeglut's
// top-level window), sets its minimum size to 500x400 and announces it as an
// XDND v5 target. False when no GLX context is current. A second call for a
// new window moves the hooks to that window.
bool installWindowHooks();
bool windowHooksInstalled();

// Called on a close request (WM_DELETE_WINDOW) with *allowClose preset to 1.
// When the callback leaves it at 1 (or there is no callback) the request goes
// back to freeglut, which closes the window as it normally does; setting it to
// 0 keeps the window open.
void setCloseButtonCallback(std::function<void(int* allowClose)> callback);

// Called after a file was dropped on the window: the first local file of the
// drop (file-system bytes), and the drop position in window pixels, origin
// top-left, y down. The drag source has already been told the drop finished.
void setDropFileCallback(std::function<void(const std::string& path, int x, int y)> callback);

// Called once for each loss of keyboard focus to another window.
void setFocusLostCallback(std::function<void()> callback);

// Does the queued X work (close veto, XDND replies, selection transfer) and
// fires the queued callbacks. Re-entrant: a callback may run a nested loop
// that calls this again.
void pumpWindowEvents();

// GuiScale: KESTRELWING_GUI_SCALE when set, else Xft.dpi / 96, else from
// the screen's physical size (whole and half steps, at least 1).
float guiScaleFromDisplay();

// Whether a window manager that speaks the EWMH hints runs (a full-screen
// request needs one; without it the program places the window itself).
bool windowManagerRunning();

struct ScreenRect {
    int x = 0, y = 0, width = 0, height = 0;
};

// Top-left of the window's client area in root-window pixels.
bool windowOrigin(int& x, int& y);
// The bounding box of all monitors: the root window.
bool virtualScreen(ScreenRect& out);
// Iconic WM_STATE or _NET_WM_STATE_HIDDEN; false without a window manager.
bool isWindowMinimised();
// _NET_WM_STATE_MAXIMIZED_VERT and _HORZ both set.
bool isWindowMaximised();
// The window manager's frame around the client area (_NET_FRAME_EXTENTS:
// left, right, top, bottom); all 0 without a window manager or a frame.
bool frameExtents(int& left, int& right, int& top, int& bottom);
// Asks the window manager to maximise the window: the _NET_WM_STATE property
// (read when the manager takes the window) and the request to the root window
// (for a window it already manages). Nothing happens without a manager.
void requestWindowMaximised();

// When KESTRELWING_FRAME_PROPERTY is set in the environment (tests that drive
// the program set it), each call writes `frames` to the window's
// _KESTRELWING_FRAMES property, so a test can wait for frames the program
// really drew instead of guessing with sleeps. Otherwise it does nothing.
void publishFrameCount(unsigned long frames);

} // namespace platform
