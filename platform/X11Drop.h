#pragma once
// XDND v5 drop target for one window; internal to the X11 window layer.
// Every member runs on the main thread from pumpWindowEvents(), never from the
// wire-to-event hook, so Xlib calls are allowed here.
#include <X11/Xlib.h>

#include <cstdint>
#include <functional>
#include <string>

namespace platform::x11 {

struct Atoms {
    Atom wmProtocols = None, wmDeleteWindow = None, wmState = None;
    Atom netWmState = None, netHidden = None, netMaxVert = None, netMaxHorz = None, netFrameExtents = None;
    Atom xdndAware = None, xdndEnter = None, xdndPosition = None, xdndStatus = None;
    Atom xdndLeave = None, xdndDrop = None, xdndFinished = None, xdndSelection = None;
    Atom xdndTypeList = None, xdndActionCopy = None, uriList = None, dropProperty = None;
    Atom incr = None;

    void intern(Display* display);
    bool isXdndMessage(Atom type) const {
        return type == xdndEnter || type == xdndPosition || type == xdndLeave || type == xdndDrop;
    }
};

// Makes X protocol errors of the calls in its scope harmless (a drag source
// may vanish at any moment; the default handler would end the process).
class ErrorTrap {
public:
    explicit ErrorTrap(Display* display);
    ~ErrorTrap();
    ErrorTrap(const ErrorTrap&) = delete;
    ErrorTrap& operator=(const ErrorTrap&) = delete;
    bool failed() const; // an error arrived since construction

private:
    Display* display;
    int (*previous)(Display*, XErrorEvent*);
    unsigned long serialAtStart;
};

class DropTarget {
public:
    using Deliver = std::function<void(const std::string& path, int x, int y)>;

    void attach(Display* display, Window window, const Atoms* atoms);
    void onClientMessage(const XClientMessageEvent& ev);
    void onSelectionNotify(const XSelectionEvent& ev);
    // Gives up a transfer the source never answered.
    void checkTimeout(int32_t now);
    // Where finished drops go (queued by the caller for the main loop).
    Deliver deliver;

private:
    void onEnter(const XClientMessageEvent& ev);
    void onPosition(const XClientMessageEvent& ev);
    void onDrop(const XClientMessageEvent& ev);
    bool sourceOffersUriList(const XClientMessageEvent& ev);
    void sendToSource(Atom type, long l1, long l2, long l3, long l4);
    void finish(bool accepted);
    void reset();
    std::string readDropProperty();

    Display* display = nullptr;
    Window window = 0;
    const Atoms* atoms = nullptr;

    Window source = 0;      // 0 while no drag is over the window
    bool acceptable = false; // the source offers text/uri-list
    int rootX = 0, rootY = 0; // last XdndPosition, root-window pixels
    bool transferPending = false;
    int32_t transferStartMs = 0;
};

} // namespace platform::x11
