#include "platform/Clipboard.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <cstring>
#include <vector>

#include "platform/Clock.h"
#include "platform/ErrorBox.h"

namespace platform {
namespace {

// One connection for the life of the program, opened on first use.
struct ClipboardConnection {
    Display* display = nullptr;
    Window window = 0;
    Atom clipboard = None, targets = None, utf8 = None, text = None, incr = None, property = None;
    std::string owned;    // UTF-8 text we serve while we own the selection
    std::string ownedLatin1; // the same as the program's bytes, for STRING
    bool owning = false;
    bool tried = false;

    bool open() {
        if (display) return true;
        if (tried) return false;
        tried = true;
        display = XOpenDisplay(nullptr);
        if (!display) return false;
        window = XCreateSimpleWindow(display, DefaultRootWindow(display), -10, -10, 1, 1, 0, 0, 0);
        XSelectInput(display, window, PropertyChangeMask);
        clipboard = XInternAtom(display, "CLIPBOARD", False);
        targets = XInternAtom(display, "TARGETS", False);
        utf8 = XInternAtom(display, "UTF8_STRING", False);
        text = XInternAtom(display, "TEXT", False);
        incr = XInternAtom(display, "INCR", False);
        property = XInternAtom(display, "KESTRELWING_CLIPBOARD", False);
        return true;
    }
};

ClipboardConnection& conn() {
    static ClipboardConnection c;
    return c;
}

void answerRequest(const XSelectionRequestEvent& req) {
    ClipboardConnection& c = conn();
    XSelectionEvent reply{};
    reply.type = SelectionNotify;
    reply.display = req.display;
    reply.requestor = req.requestor;
    reply.selection = req.selection;
    reply.target = req.target;
    reply.time = req.time;
    // Old clients name no property: the target's name serves.
    const Atom property = req.property != None ? req.property : req.target;
    reply.property = None;
    if (c.owning && req.selection == c.clipboard) {
        if (req.target == c.targets) {
            const Atom offered[] = {c.targets, c.utf8, XA_STRING, c.text};
            XChangeProperty(c.display, req.requestor, property, XA_ATOM, 32, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(offered), 4);
            reply.property = property;
        } else if (req.target == c.utf8 || req.target == c.text) {
            XChangeProperty(c.display, req.requestor, property, c.utf8, 8, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(c.owned.data()), static_cast<int>(c.owned.size()));
            reply.property = property;
        } else if (req.target == XA_STRING) {
            XChangeProperty(c.display, req.requestor, property, XA_STRING, 8, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(c.ownedLatin1.data()),
                            static_cast<int>(c.ownedLatin1.size()));
            reply.property = property;
        }
    }
    XSendEvent(c.display, req.requestor, False, NoEventMask, reinterpret_cast<XEvent*>(&reply));
}

// Handles one event of our connection; SelectionNotify for our request is
// returned through `notify` instead.
void handle(XEvent& ev, XSelectionEvent* notify, bool* gotNotify) {
    ClipboardConnection& c = conn();
    if (ev.type == SelectionRequest) answerRequest(ev.xselectionrequest);
    else if (ev.type == SelectionClear && ev.xselectionclear.selection == c.clipboard) {
        c.owning = false;
        c.owned.clear();
        c.ownedLatin1.clear();
    } else if (ev.type == SelectionNotify && notify && ev.xselection.requestor == c.window) {
        *notify = ev.xselection;
        *gotNotify = true;
    }
}

// Waits for the answer to one conversion request; false on time-out.
bool convert(Atom target, int deadline, XSelectionEvent& out) {
    ClipboardConnection& c = conn();
    XDeleteProperty(c.display, c.window, c.property);
    XConvertSelection(c.display, c.clipboard, target, c.property, c.window, CurrentTime);
    XFlush(c.display);
    bool got = false;
    while (!got) {
        while (!got && XPending(c.display)) {
            XEvent ev;
            XNextEvent(c.display, &ev);
            handle(ev, &out, &got);
        }
        if (got) break;
        if (nowMs() - deadline >= 0) return false;
        sleepMs(5);
    }
    return true;
}

} // namespace

bool setClipboardText(const std::string& latin1) {
    ClipboardConnection& c = conn();
    if (!c.open()) return false;
    c.ownedLatin1 = latin1;
    c.owned = latin1ToUtf8(latin1);
    XSetSelectionOwner(c.display, c.clipboard, c.window, CurrentTime);
    c.owning = XGetSelectionOwner(c.display, c.clipboard) == c.window;
    XFlush(c.display);
    return c.owning;
}

ClipboardStatus clipboardText(std::string& utf8, int timeoutMs) {
    ClipboardConnection& c = conn();
    if (!c.open()) return ClipboardStatus::NoDisplay;
    pumpClipboard(); // a SelectionClear may be waiting
    if (c.owning) {
        utf8 = c.owned;
        return ClipboardStatus::Ok;
    }
    if (XGetSelectionOwner(c.display, c.clipboard) == None) return ClipboardStatus::Empty;
    const int deadline = nowMs() + timeoutMs;
    for (Atom target : {c.utf8, static_cast<Atom>(XA_STRING)}) {
        XSelectionEvent notify{};
        if (!convert(target, deadline, notify)) return ClipboardStatus::TimedOut;
        if (notify.property == None) continue; // the owner refused this target
        Atom type = None;
        int format = 0;
        unsigned long count = 0, after = 0;
        unsigned char* data = nullptr;
        // Up to 4 MB of text in one read.
        const int status = XGetWindowProperty(c.display, c.window, c.property, 0, 1L << 20, True, AnyPropertyType,
                                              &type, &format, &count, &after, &data);
        std::string bytes;
        if (status == Success && data && format == 8) bytes.assign(reinterpret_cast<const char*>(data), count);
        if (data) XFree(data);
        if (status != Success) continue;
        if (type == c.incr) {
            XDeleteProperty(c.display, c.window, c.property);
            XFlush(c.display);
            return ClipboardStatus::TooLarge;
        }
        if (format != 8) continue;
        utf8 = type == XA_STRING ? latin1ToUtf8(bytes) : bytes;
        return ClipboardStatus::Ok;
    }
    return ClipboardStatus::Empty;
}

void pumpClipboard() {
    ClipboardConnection& c = conn();
    if (!c.display) return;
    while (XPending(c.display)) {
        XEvent ev;
        XNextEvent(c.display, &ev);
        handle(ev, nullptr, nullptr);
    }
}

void beep() {
    ClipboardConnection& c = conn();
    if (!c.open()) return;
    XBell(c.display, 0);
    XFlush(c.display);
}

} // namespace platform
