#include "platform/X11Window.h"

#include "platform/Clock.h"
#include "platform/X11Drop.h"
#include "platform/X11Parse.h"

#include <GL/glx.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xproto.h>
#include <X11/Xutil.h>

#include <atomic>
#include <cstdlib>
#include <deque>
#include <memory>
#include <mutex>

// Declared in Xlibint.h, which is not meant for C++ consumers.
extern "C" Bool (*XESetWireToEvent(Display*, int, Bool (*)(Display*, XEvent*, xEvent*)))(Display*, XEvent*,
                                                                                           xEvent*);

namespace platform {
namespace {

using WireProc = Bool (*)(Display*, XEvent*, xEvent*);

constexpr long kXdndVersion = 5;
constexpr int kMinWidth = 500, kMinHeight = 400;

struct DroppedFile {
    std::string path;
    int x, y;
};

// State shared by the hook (any thread reading the connection) and the pump
// (main thread). The hook touches only `display`, `window`, `atoms` (interned
// before the hook is installed), the atomics and, under `mutex`, `pending`.
struct WindowLayer {
    std::mutex mutex;
    std::atomic<Display*> display{nullptr};
    std::atomic<Window> window{0};
    x11::Atoms atoms;
    WireProc previousClient = nullptr, previousSelection = nullptr, previousFocus = nullptr;
    std::deque<XEvent> pending;          // copied by the hook, handled by the pump
    std::atomic<int> focusLosses{0};

    // Main thread only.
    x11::DropTarget drop;
    std::deque<DroppedFile> drops;       // finished drops waiting for their callback
    std::function<void(int*)> onClose;
    std::function<void(const std::string&, int, int)> onDrop;
    std::function<void()> onFocusLost;
};

WindowLayer& layer() {
    static WindowLayer instance;
    return instance;
}

// ---- the hooks: run inside Xlib under the display lock; no Xlib calls -------

bool ours(Display* display, Window window) {
    WindowLayer& l = layer();
    return display == l.display && window != 0 && window == l.window;
}

void enqueue(const XEvent& ev) {
    WindowLayer& l = layer();
    std::lock_guard<std::mutex> lock(l.mutex);
    l.pending.push_back(ev);
}

Bool clientMessageHook(Display* display, XEvent* ev, xEvent* wire) {
    WindowLayer& l = layer();
    Bool keep = l.previousClient(display, ev, wire);
    if (!keep || ev->type != ClientMessage || !ours(display, ev->xclient.window)) return keep;
    const XClientMessageEvent& cm = ev->xclient;
    // freeglut destroys the window on this data alone, whatever the message type.
    bool close = cm.format == 32 && static_cast<Atom>(cm.data.l[0]) == l.atoms.wmDeleteWindow;
    if (!close && !l.atoms.isXdndMessage(cm.message_type)) return keep;
    enqueue(*ev);
    return False; // freeglut never sees it
}

Bool selectionNotifyHook(Display* display, XEvent* ev, xEvent* wire) {
    WindowLayer& l = layer();
    Bool keep = l.previousSelection(display, ev, wire);
    if (!keep || ev->type != SelectionNotify || !ours(display, ev->xselection.requestor) ||
        ev->xselection.selection != l.atoms.xdndSelection)
        return keep;
    enqueue(*ev);
    return False;
}

Bool focusOutHook(Display* display, XEvent* ev, xEvent* wire) {
    WindowLayer& l = layer();
    Bool keep = l.previousFocus(display, ev, wire);
    // Focus moving inside our window or following the pointer is no loss.
    if (keep && ev->type == FocusOut && ours(display, ev->xfocus.window) &&
        ev->xfocus.detail != NotifyInferior && ev->xfocus.detail != NotifyPointer)
        ++l.focusLosses;
    return keep; // freeglut may see it too
}

// ---- main-thread work --------------------------------------------------------

void setMinimumSize(Display* display, Window window) {
    std::unique_ptr<XSizeHints, int (*)(void*)> hints(XAllocSizeHints(), XFree);
    if (!hints) return;
    long supplied = 0;
    if (!XGetWMNormalHints(display, window, hints.get(), &supplied)) hints->flags = 0;
    hints->flags |= PMinSize;
    hints->min_width = kMinWidth;
    hints->min_height = kMinHeight;
    XSetWMNormalHints(display, window, hints.get());
}

// freeglut names no class: without one, a desktop cannot match the window to
// the program's menu entry (StartupWMClass) for its icon and grouping.
void setWindowClass(Display* display, Window window) {
    char name[] = "kestrelwing";
    char windowClass[] = "Kestrelwing";
    XClassHint hint{name, windowClass};
    XSetClassHint(display, window, &hint);
}

void selectFocusEvents(Display* display, Window window) {
    XWindowAttributes attrs;
    if (XGetWindowAttributes(display, window, &attrs))
        XSelectInput(display, window, attrs.your_event_mask | FocusChangeMask);
}

bool popPending(XEvent& ev) {
    WindowLayer& l = layer();
    std::lock_guard<std::mutex> lock(l.mutex);
    if (l.pending.empty()) return false;
    ev = l.pending.front();
    l.pending.pop_front();
    return true;
}

void handleClose(XEvent& ev) {
    WindowLayer& l = layer();
    int allowClose = 1;
    if (l.onClose) l.onClose(&allowClose);
    if (allowClose != 1 || ev.xclient.window != l.window) return;
    // Not vetoed: let freeglut close the window its own way. The event comes
    // back as a ready XEvent, which does not pass the hook again.
    XPutBackEvent(l.display, &ev);
    std::lock_guard<std::mutex> lock(l.mutex);
    l.window = 0; // the window is about to go; stop acting on it
}

void handleEvent(XEvent& ev) {
    WindowLayer& l = layer();
    if (ev.type == ClientMessage) {
        if (ev.xclient.format == 32 && static_cast<Atom>(ev.xclient.data.l[0]) == l.atoms.wmDeleteWindow)
            handleClose(ev);
        else if (l.window)
            l.drop.onClientMessage(ev.xclient);
    } else if (ev.type == SelectionNotify && l.window) {
        l.drop.onSelectionNotify(ev.xselection);
    }
}

// A window property as a list of 32-bit items (longs in Xlib's form).
std::vector<long> windowProperty(Atom property, Atom type) {
    WindowLayer& l = layer();
    std::vector<long> values;
    if (!l.display || !l.window) return values;
    Atom actualType = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(l.display, l.window, property, 0, 64, False, type, &actualType, &format, &count,
                           &after, &data) == Success &&
        data && format == 32) {
        const long* items = reinterpret_cast<const long*>(data);
        values.assign(items, items + count);
    }
    if (data) XFree(data);
    return values;
}

bool hasNetState(Atom state) {
    for (long v : windowProperty(layer().atoms.netWmState, XA_ATOM))
        if (static_cast<Atom>(v) == state) return true;
    return false;
}

} // namespace

bool installWindowHooks() {
    Display* display = glXGetCurrentDisplay();
    Window window = static_cast<Window>(glXGetCurrentDrawable());
    if (!display || !window) return false;
    WindowLayer& l = layer();
    bool firstTime = (l.display != display);
    if (firstTime) l.atoms.intern(display);
    {
        std::lock_guard<std::mutex> lock(l.mutex);
        l.display = display;
        l.window = window;
        l.pending.clear();
    }
    l.drop.attach(display, window, &l.atoms);
    l.drop.deliver = [](const std::string& path, int x, int y) { layer().drops.push_back({path, x, y}); };

    if (firstTime) {
        // The previous procs are the defaults (or another library's hooks);
        // each hook calls its own first.
        l.previousClient = XESetWireToEvent(display, ClientMessage, clientMessageHook);
        l.previousSelection = XESetWireToEvent(display, SelectionNotify, selectionNotifyHook);
        l.previousFocus = XESetWireToEvent(display, FocusOut, focusOutHook);
    }
    setMinimumSize(display, window);
    setWindowClass(display, window);
    selectFocusEvents(display, window);
    XChangeProperty(display, window, l.atoms.xdndAware, XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&kXdndVersion), 1);
    XFlush(display);
    return true;
}

bool windowHooksInstalled() { return layer().display && layer().window; }

void setCloseButtonCallback(std::function<void(int*)> callback) { layer().onClose = std::move(callback); }

void setDropFileCallback(std::function<void(const std::string&, int, int)> callback) {
    layer().onDrop = std::move(callback);
}

void setFocusLostCallback(std::function<void()> callback) { layer().onFocusLost = std::move(callback); }

void pumpWindowEvents() {
    WindowLayer& l = layer();
    if (!l.display) return;
    XEvent ev;
    // One event at a time, so a callback's nested loop continues in order.
    while (popPending(ev)) handleEvent(ev);
    if (l.window) l.drop.checkTimeout(nowMs());
    while (!l.drops.empty()) {
        DroppedFile file = std::move(l.drops.front());
        l.drops.pop_front();
        if (l.onDrop) l.onDrop(file.path, file.x, file.y);
    }
    for (int n = l.focusLosses.exchange(0); n > 0; --n)
        if (l.onFocusLost) l.onFocusLost();
}

float guiScaleFromDisplay() {
    Display* display = layer().display.load();
    if (!display) display = glXGetCurrentDisplay();
    const char* resources = display ? XResourceManagerString(display) : nullptr;
    int pixels = 0, millimetres = 0;
    if (display) {
        const int screen = DefaultScreen(display);
        pixels = DisplayWidth(display, screen);
        millimetres = DisplayWidthMM(display, screen);
    }
    return guiScaleFor(resources, std::getenv("KESTRELWING_GUI_SCALE"), pixels, millimetres);
}

bool windowOrigin(int& x, int& y) {
    WindowLayer& l = layer();
    if (!l.display || !l.window) return false;
    Display* display = l.display;
    Window child = 0;
    return XTranslateCoordinates(display, l.window, DefaultRootWindow(display), 0, 0, &x, &y, &child);
}

bool virtualScreen(ScreenRect& out) {
    Display* display = layer().display;
    if (!display) return false;
    int screen = DefaultScreen(display);
    out = {0, 0, DisplayWidth(display, screen), DisplayHeight(display, screen)};
    return true;
}

void publishFrameCount(unsigned long frames) {
    static const bool wanted = std::getenv("KESTRELWING_FRAME_PROPERTY") != nullptr;
    WindowLayer& l = layer();
    Display* display = l.display;
    if (!wanted || !display || !l.window) return;
    static const Atom property = XInternAtom(display, "_KESTRELWING_FRAMES", False);
    const long value = static_cast<long>(frames);
    XChangeProperty(display, l.window, property, XA_CARDINAL, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&value), 1);
    XFlush(display);
}

bool isWindowMinimised() {
    WindowLayer& l = layer();
    std::vector<long> state = windowProperty(l.atoms.wmState, l.atoms.wmState);
    if (!state.empty() && state[0] == IconicState) return true;
    return hasNetState(l.atoms.netHidden);
}

bool isWindowMaximised() {
    WindowLayer& l = layer();
    return hasNetState(l.atoms.netMaxVert) && hasNetState(l.atoms.netMaxHorz);
}

bool frameExtents(int& left, int& right, int& top, int& bottom) {
    WindowLayer& l = layer();
    left = right = top = bottom = 0;
    if (!l.display || !l.window) return false;
    const std::vector<long> e = windowProperty(l.atoms.netFrameExtents, XA_CARDINAL);
    if (e.size() < 4) return true;
    left = static_cast<int>(e[0]);
    right = static_cast<int>(e[1]);
    top = static_cast<int>(e[2]);
    bottom = static_cast<int>(e[3]);
    return true;
}

bool windowManagerRunning() {
    Display* display = layer().display;
    if (!display) return false;
    const Atom check = XInternAtom(display, "_NET_SUPPORTING_WM_CHECK", True);
    if (check == None) return false;
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    const int status = XGetWindowProperty(display, DefaultRootWindow(display), check, 0, 1, False, XA_WINDOW, &type,
                                          &format, &count, &after, &data);
    const bool found = status == Success && data && count == 1;
    if (data) XFree(data);
    return found;
}

void requestWindowMaximised() {
    WindowLayer& l = layer();
    if (!l.display || !l.window) return;
    Display* display = l.display;
    const Atom states[2] = {l.atoms.netMaxVert, l.atoms.netMaxHorz};
    XChangeProperty(display, l.window, l.atoms.netWmState, XA_ATOM, 32, PropModeAppend,
                    reinterpret_cast<const unsigned char*>(states), 2);
    XEvent ev{};
    ev.xclient.type = ClientMessage;
    ev.xclient.window = l.window;
    ev.xclient.message_type = l.atoms.netWmState;
    ev.xclient.format = 32;
    ev.xclient.data.l[0] = 1; // _NET_WM_STATE_ADD
    ev.xclient.data.l[1] = static_cast<long>(l.atoms.netMaxVert);
    ev.xclient.data.l[2] = static_cast<long>(l.atoms.netMaxHorz);
    ev.xclient.data.l[3] = 1; // a normal application
    XSendEvent(display, DefaultRootWindow(display), False, SubstructureRedirectMask | SubstructureNotifyMask, &ev);
    XFlush(display);
}

} // namespace platform
