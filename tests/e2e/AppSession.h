#pragma once
// Drives the real kestrelwing binary in a real window on the X server of the
// test run (xvfb-run gives each run a private one): start it, find its
// window, move the pointer with xdotool, take screenshots, close it.
#include <X11/Xlib.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/TestFiles.h"

struct Screenshot {
    int width = 0, height = 0;
    std::vector<uint8_t> rgb; // top row first, 3 bytes a pixel

    const uint8_t* at(int x, int y) const { return &rgb[(static_cast<size_t>(y) * width + x) * 3]; }
    bool savePng(const std::string& path) const;
};

class AppSession {
public:
    AppSession();
    ~AppSession();

    // Starts the binary with a private settings folder. False if it does not
    // show a window within the time limit.
    bool start(const std::vector<std::string>& args = {}, int timeoutMs = 15000);
    // Window geometry on the root window, y down (X conventions).
    int windowX() const { return winX; }
    int windowY() const { return winY; }
    int windowWidth() const { return winW; }
    int windowHeight() const { return winH; }

    // xdotool in window coordinates (y down).
    void moveMouse(int x, int y);
    // Presses the left button at the first point, moves through the others
    // (window coordinates, y down) and releases at the last one.
    void drag(const std::vector<std::pair<int, int>>& points, int stepDelayMs = 15);
    // Runs xdotool with these arguments (key names, clicks...).
    void xdotool(const std::string& args);
    // Waits until the program has drawn this many more frames (it publishes
    // its count on the window while tests drive it).
    void waitFrames(int frames = 10);
    // The count of frames the program has drawn; -1 when it publishes none.
    long framesDrawn();
    Screenshot screenshot();
    // Screenshots every few frames until `ready` accepts one or the time is
    // up (scaled like every wait); returns the last one taken. For changes
    // that a loaded machine may show a few frames late.
    Screenshot screenshotWhen(const std::function<bool(const Screenshot&)>& ready, int timeoutMs = 5000);
    // Resizes the window (as a user dragging its border would) and waits for
    // the new size; false if it did not arrive.
    bool resizeWindow(int width, int height);
    // Asks the window to close the way a window manager would.
    void sendCloseRequest();
    // Waits for the process to end; returns its exit code, or -1 on time-out.
    int waitForExit(int timeoutMs);
    bool running();
    std::string output() const; // standard output and error so far
    std::string settingsFolder() const { return configDir; }
    // The session's private folder (HOME); removed with the session.
    std::string workFolder() const { return workDir; }
    // Set in the program's environment at the next start (e.g. TMPDIR).
    void setEnv(const std::string& name, const std::string& value) { extraEnv.emplace_back(name, value); }
    // Scripts the program's file dialogs with these answers, one a line
    // ("" = Cancel, "#N " the filter, "@MS " a delay), from the next start.
    void answerFileDialogs(const std::vector<std::string>& lines);
    // Moves there, lets a few frames pass, clicks the left button and lets the
    // program take it in.
    void clickAt(int x, int y);
    // The window's title (WM_NAME: the program's Latin-1 bytes).
    std::string title();
    Window windowId() const { return window; }
    Display* xDisplay() const { return display; }
    // The program's TMPDIR unless setEnv gives another (where its autosave goes).
    std::string tempFolder() const { return workDir + "/tmp"; }
    // Ends the program at once (SIGKILL), as a crash would: nothing of it runs.
    void killNow() { kill(); }

private:
    bool findWindow();
    bool firstFrameShown();
    void kill();

    Display* display = nullptr;
    Window window = 0;
    std::vector<Window> existingWindows;
    pid_t pid = -1;
    int exitCode = -1;
    int winX = 0, winY = 0, winW = 0, winH = 0;
    std::string workDir, configDir, logPath;
    std::vector<std::pair<std::string, std::string>> extraEnv;
};

// Where screenshots are kept for people to look at.
std::string artefactPath(const std::string& name);

// Pixels whose colour differs between two screenshots inside a rectangle (y down).
int differingPixels(const Screenshot& a, const Screenshot& b, int x0, int y0, int x1, int y1);
using testfiles::fileBytes;

// A pure red square that a test put into its picture, as it shows on screen,
// found at or below fromY (above, the colour selector's ring holds red too).
// Its right part may lie under the layers panel, so the side is measured
// down its left column.
struct SquareOnScreen {
    int left = -1, top = -1, side = 0;
    bool found() const { return side > 0; }
};
SquareOnScreen findRedSquare(const Screenshot& s, int fromY = 260);
// Waits until the program's output holds `text`; false after the time-out.
bool waitForOutput(AppSession& app, const std::string& text, int timeoutMs);
