#include "platform/Clipboard.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <memory>
#include <vector>

#include "platform/Clock.h"
#include "platform/ErrorBox.h"
#include "platform/X11Drop.h"

namespace platform {
namespace {

// A block going out in pieces (INCR): the requestor deletes the property
// after each piece, and the next one follows.
struct OutgoingTransfer {
    Window requestor = 0;
    Atom property = None, type = None;
    std::shared_ptr<const std::vector<uint8_t>> data;
    size_t offset = 0;
    bool done = false; // the empty piece that ends the transfer was written
    int lastActivity = 0;
};

struct Offer {
    Atom target = None;
    std::function<std::vector<uint8_t>()> make;
    std::shared_ptr<const std::vector<uint8_t>> bytes; // made on the first request
};

// One connection for the life of the program, opened on first use.
struct ClipboardConnection {
    Display* display = nullptr;
    Window window = 0;
    Atom clipboard = None, targets = None, utf8 = None, text = None, incr = None, property = None;
    std::string owned;    // UTF-8 text we serve while we own the selection
    std::string ownedLatin1; // the same as the program's bytes, for STRING
    std::vector<Offer> offers; // data we serve instead of text, when not empty
    std::list<OutgoingTransfer> outgoing;
    bool owning = false;
    bool tried = false;
    // A wait for an answer is reading this connection's events (its idle
    // function pumps the window, whose tick must not take them away).
    int waiting = 0;

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

    // Bytes in one property write: the largest plain request less room for
    // the request's own header. Anything larger goes by INCR.
    size_t pieceBytes() const {
        const long bytes = XMaxRequestSize(display) * 4L - 1024;
        return static_cast<size_t>(std::max(4096L, bytes));
    }
};

ClipboardConnection& conn() {
    static ClipboardConnection c;
    return c;
}

// Writes one piece of an outgoing block; the last call writes the empty
// piece that ends it.
void writeNextPiece(OutgoingTransfer& t) {
    ClipboardConnection& c = conn();
    const size_t left = t.data->size() - t.offset;
    const size_t n = std::min(left, c.pieceBytes());
    XChangeProperty(c.display, t.requestor, t.property, t.type, 8, PropModeReplace,
                    t.data->data() + t.offset, static_cast<int>(n));
    t.offset += n;
    if (n == 0) t.done = true;
    t.lastActivity = nowMs();
}

// Serves `bytes` as `type` into the requestor's property: at once when it
// fits one request, else by INCR. False when the requestor went away.
bool serveBytes(const XSelectionRequestEvent& req, Atom property, Atom type,
                const std::shared_ptr<const std::vector<uint8_t>>& bytes) {
    ClipboardConnection& c = conn();
    x11::ErrorTrap trap(c.display); // the requestor may vanish at any moment
    if (bytes->size() <= c.pieceBytes()) {
        XChangeProperty(c.display, req.requestor, property, type, 8, PropModeReplace, bytes->data(),
                        static_cast<int>(bytes->size()));
        return !trap.failed();
    }
    XSelectInput(c.display, req.requestor, PropertyChangeMask);
    const long size = static_cast<long>(bytes->size());
    XChangeProperty(c.display, req.requestor, property, c.incr, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&size), 1);
    if (trap.failed()) return false;
    OutgoingTransfer t;
    t.requestor = req.requestor;
    t.property = property;
    t.type = type;
    t.data = bytes;
    t.lastActivity = nowMs();
    c.outgoing.push_back(std::move(t));
    return true;
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
    x11::ErrorTrap trap(c.display);
    if (c.owning && req.selection == c.clipboard && !c.offers.empty()) {
        if (req.target == c.targets) {
            std::vector<Atom> offered{c.targets};
            for (const Offer& o : c.offers) offered.push_back(o.target);
            XChangeProperty(c.display, req.requestor, property, XA_ATOM, 32, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(offered.data()), static_cast<int>(offered.size()));
            reply.property = property;
        } else {
            for (Offer& o : c.offers) {
                if (o.target != req.target) continue;
                if (!o.bytes) o.bytes = std::make_shared<const std::vector<uint8_t>>(o.make ? o.make() : std::vector<uint8_t>{});
                if (!o.bytes->empty() && serveBytes(req, property, o.target, o.bytes)) reply.property = property;
                break;
            }
        }
    } else if (c.owning && req.selection == c.clipboard) {
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
    XFlush(c.display);
}

// A requestor deleted the property of a transfer in pieces: the next piece.
void continueTransfer(const XPropertyEvent& ev) {
    ClipboardConnection& c = conn();
    if (ev.state != PropertyDelete) return;
    for (auto it = c.outgoing.begin(); it != c.outgoing.end(); ++it) {
        if (it->requestor != ev.window || it->property != ev.atom) continue;
        x11::ErrorTrap trap(c.display);
        if (it->done) {
            XSelectInput(c.display, it->requestor, NoEventMask);
            c.outgoing.erase(it);
        } else {
            writeNextPiece(*it);
            if (trap.failed()) c.outgoing.erase(it);
        }
        XFlush(c.display);
        return;
    }
}

// Transfers whose requestor stopped asking for 5 s are dropped.
void dropStaleTransfers() {
    ClipboardConnection& c = conn();
    const int now = nowMs();
    c.outgoing.remove_if([&](const OutgoingTransfer& t) { return now - t.lastActivity > 5000; });
}

// Handles one event of our connection; SelectionNotify for our request is
// returned through `notify` instead.
void handle(XEvent& ev, XSelectionEvent* notify, bool* gotNotify) {
    ClipboardConnection& c = conn();
    if (ev.type == SelectionRequest) answerRequest(ev.xselectionrequest);
    else if (ev.type == PropertyNotify && ev.xproperty.window != c.window) continueTransfer(ev.xproperty);
    else if (ev.type == SelectionClear && ev.xselectionclear.selection == c.clipboard) {
        c.owning = false;
        c.owned.clear();
        c.ownedLatin1.clear();
        c.offers.clear();
    } else if (ev.type == SelectionNotify && notify && ev.xselection.requestor == c.window) {
        *notify = ev.xselection;
        *gotNotify = true;
    }
}

// Pumps our connection until `got` is set or the deadline passes; `idle`
// runs between looks. False on time-out.
bool pumpFor(bool& got, int deadline, XSelectionEvent* notify, const std::function<void()>& idle,
             const std::function<void(const XEvent&)>& own = {}) {
    ClipboardConnection& c = conn();
    struct Waiting {
        int& depth;
        explicit Waiting(int& d) : depth(d) { ++depth; }
        ~Waiting() { --depth; }
    } waiting(c.waiting);
    while (!got) {
        while (!got && XPending(c.display)) {
            XEvent ev;
            XNextEvent(c.display, &ev);
            if (own && ev.type == PropertyNotify && ev.xproperty.window == c.window) own(ev);
            else handle(ev, notify, &got);
        }
        if (got) break;
        if (nowMs() - deadline >= 0) return false;
        if (idle) idle();
        else sleepMs(5);
    }
    return true;
}

// Waits for the answer to one conversion request; false on time-out.
bool convert(Atom target, int deadline, XSelectionEvent& out, const std::function<void()>& idle = {}) {
    ClipboardConnection& c = conn();
    XDeleteProperty(c.display, c.window, c.property);
    XConvertSelection(c.display, c.clipboard, target, c.property, c.window, CurrentTime);
    XFlush(c.display);
    bool got = false;
    return pumpFor(got, deadline, &out, idle);
}

// Reads our property whole and deletes it. False when it is not there.
bool readProperty(std::vector<uint8_t>& bytes, Atom& type, int& format) {
    ClipboardConnection& c = conn();
    bytes.clear();
    long offset = 0; // in 32-bit units, as the protocol counts
    for (;;) {
        unsigned long count = 0, after = 0;
        unsigned char* data = nullptr;
        const int status = XGetWindowProperty(c.display, c.window, c.property, offset, 1L << 22, False,
                                              AnyPropertyType, &type, &format, &count, &after, &data);
        if (status != Success || type == None) {
            if (data) XFree(data);
            return false;
        }
        const size_t unit = format == 32 ? sizeof(long) : static_cast<size_t>(format / 8);
        if (data) bytes.insert(bytes.end(), data, data + count * unit);
        if (data) XFree(data);
        if (after == 0) break;
        offset += static_cast<long>(count * static_cast<size_t>(format) / 32);
    }
    XDeleteProperty(c.display, c.window, c.property);
    XFlush(c.display);
    return true;
}

// The pieces of an INCR transfer after its announcement was read (and so
// deleted): each new value is appended until the empty one. False when the
// owner falls silent for timeoutMs.
bool receivePieces(std::vector<uint8_t>& bytes, int timeoutMs, const std::function<void()>& idle) {
    bytes.clear();
    for (;;) {
        bool got = false;
        auto onProperty = [&](const XEvent& ev) {
            if (ev.xproperty.atom == conn().property && ev.xproperty.state == PropertyNewValue) got = true;
        };
        if (!pumpFor(got, nowMs() + timeoutMs, nullptr, idle, onProperty)) return false;
        std::vector<uint8_t> piece;
        Atom type = None;
        int format = 0;
        if (!readProperty(piece, type, format)) continue;
        if (piece.empty()) return true;
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
}

} // namespace

bool setClipboardText(const std::string& latin1) {
    ClipboardConnection& c = conn();
    if (!c.open()) return false;
    c.offers.clear();
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
        if (!c.offers.empty()) return ClipboardStatus::Empty; // we hold an image
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

bool setClipboardOffers(std::vector<ClipboardOffer> offers) {
    ClipboardConnection& c = conn();
    if (!c.open()) return false;
    c.owned.clear();
    c.ownedLatin1.clear();
    c.offers.clear();
    for (ClipboardOffer& o : offers) {
        Offer mine;
        mine.target = XInternAtom(c.display, o.target.c_str(), False);
        mine.make = std::move(o.make);
        c.offers.push_back(std::move(mine));
    }
    XSetSelectionOwner(c.display, c.clipboard, c.window, CurrentTime);
    c.owning = XGetSelectionOwner(c.display, c.clipboard) == c.window;
    if (!c.owning) c.offers.clear();
    XFlush(c.display);
    return c.owning;
}

ClipboardStatus clipboardData(const std::vector<std::string>& targets, std::string& chosen,
                              std::vector<uint8_t>& bytes, int timeoutMs, const std::function<void()>& idle) {
    ClipboardConnection& c = conn();
    if (!c.open()) return ClipboardStatus::NoDisplay;
    pumpClipboard(); // a SelectionClear may be waiting
    std::vector<Atom> wanted;
    for (const std::string& t : targets) wanted.push_back(XInternAtom(c.display, t.c_str(), False));
    if (c.owning) {
        // Our own data: no round trip through the server.
        for (size_t i = 0; i < wanted.size(); ++i)
            for (Offer& o : c.offers)
                if (o.target == wanted[i]) {
                    if (!o.bytes) o.bytes = std::make_shared<const std::vector<uint8_t>>(o.make ? o.make() : std::vector<uint8_t>{});
                    if (o.bytes->empty()) continue;
                    bytes = *o.bytes;
                    chosen = targets[i];
                    return ClipboardStatus::Ok;
                }
        return ClipboardStatus::Empty;
    }
    if (XGetSelectionOwner(c.display, c.clipboard) == None) return ClipboardStatus::Empty;
    // What the owner offers, to ask only for a target it has.
    std::vector<Atom> order = wanted;
    {
        XSelectionEvent notify{};
        if (!convert(c.targets, nowMs() + timeoutMs, notify, idle)) return ClipboardStatus::TimedOut;
        std::vector<uint8_t> list;
        Atom type = None;
        int format = 0;
        if (notify.property != None && readProperty(list, type, format) && type == XA_ATOM && format == 32) {
            std::vector<Atom> offered(list.size() / sizeof(long));
            for (size_t i = 0; i < offered.size(); ++i) {
                long v = 0;
                std::memcpy(&v, list.data() + i * sizeof(long), sizeof v);
                offered[i] = static_cast<Atom>(v);
            }
            order.clear();
            for (Atom w : wanted)
                if (std::find(offered.begin(), offered.end(), w) != offered.end()) order.push_back(w);
            if (order.empty()) return ClipboardStatus::Empty;
        }
    }
    for (Atom target : order) {
        XSelectionEvent notify{};
        if (!convert(target, nowMs() + timeoutMs, notify, idle)) return ClipboardStatus::TimedOut;
        if (notify.property == None) continue; // the owner refused this target
        Atom type = None;
        int format = 0;
        if (!readProperty(bytes, type, format)) continue;
        if (type == c.incr) {
            // The property was deleted by the read: that asks for the first piece.
            if (!receivePieces(bytes, timeoutMs, idle)) return ClipboardStatus::TimedOut;
        } else if (format != 8) {
            continue;
        }
        if (bytes.empty()) continue;
        const size_t at = static_cast<size_t>(std::find(wanted.begin(), wanted.end(), target) - wanted.begin());
        chosen = targets[at];
        return ClipboardStatus::Ok;
    }
    return ClipboardStatus::Empty;
}

void pumpClipboard() {
    ClipboardConnection& c = conn();
    // Inside a wait the waiting loop reads the events (and serves requests):
    // taking them here would lose the answer it waits for.
    if (!c.display || c.waiting > 0) return;
    if (!c.outgoing.empty()) dropStaleTransfers();
    // While a block goes out in pieces, stay a few ms for the requestor's
    // next turn: one piece a tick would make a large image take seconds.
    const int until = nowMs() + (c.outgoing.empty() ? 0 : 15);
    do {
        while (XPending(c.display)) {
            XEvent ev;
            XNextEvent(c.display, &ev);
            handle(ev, nullptr, nullptr);
        }
        if (c.outgoing.empty() || nowMs() - until >= 0) break;
        sleepMs(1);
    } while (true);
}

void beep() {
    ClipboardConnection& c = conn();
    if (!c.open()) return;
    XBell(c.display, 0);
    XFlush(c.display);
}

} // namespace platform
