#include "platform/X11Drop.h"

#include "platform/Clock.h"
#include "platform/X11Parse.h"

#include <X11/Xatom.h>

#include <atomic>
#include <unistd.h>

namespace platform::x11 {
namespace {

constexpr int32_t kTransferTimeoutMs = 3000;
constexpr long kMaxUriListLongs = 1 << 20; // 4 MiB of uri-list is plenty

std::atomic<bool> gTrapHit{false};

int trapHandler(Display*, XErrorEvent*) {
    gTrapHit = true;
    return 0;
}

std::string hostName() {
    char buf[256] = {};
    if (::gethostname(buf, sizeof buf - 1) != 0) return {};
    return buf;
}

} // namespace

void Atoms::intern(Display* d) {
    // Names and destinations in one list, so one round trip interns them all.
    struct Entry {
        const char* name;
        Atom* atom;
    } entries[] = {
        {"WM_PROTOCOLS", &wmProtocols},       {"WM_DELETE_WINDOW", &wmDeleteWindow},
        {"WM_STATE", &wmState},               {"_NET_WM_STATE", &netWmState},
        {"_NET_WM_STATE_HIDDEN", &netHidden}, {"_NET_WM_STATE_MAXIMIZED_VERT", &netMaxVert},
        {"_NET_WM_STATE_MAXIMIZED_HORZ", &netMaxHorz}, {"_NET_FRAME_EXTENTS", &netFrameExtents},
        {"XdndAware", &xdndAware},            {"XdndEnter", &xdndEnter},
        {"XdndPosition", &xdndPosition},      {"XdndStatus", &xdndStatus},
        {"XdndLeave", &xdndLeave},            {"XdndDrop", &xdndDrop},
        {"XdndFinished", &xdndFinished},      {"XdndSelection", &xdndSelection},
        {"XdndTypeList", &xdndTypeList},      {"XdndActionCopy", &xdndActionCopy},
        {"text/uri-list", &uriList},          {"KESTRELWING_DROP", &dropProperty},
        {"INCR", &incr},
    };
    constexpr int n = sizeof entries / sizeof entries[0];
    char* names[n];
    Atom result[n];
    for (int i = 0; i < n; ++i) names[i] = const_cast<char*>(entries[i].name);
    if (!XInternAtoms(d, names, n, False, result)) return;
    for (int i = 0; i < n; ++i) *entries[i].atom = result[i];
}

ErrorTrap::ErrorTrap(Display* d) : display(d) {
    XSync(display, False); // errors of earlier requests are not ours
    gTrapHit = false;
    previous = XSetErrorHandler(trapHandler);
    serialAtStart = NextRequest(display);
}

ErrorTrap::~ErrorTrap() {
    XSync(display, False);
    XSetErrorHandler(previous);
}

bool ErrorTrap::failed() const {
    XSync(display, False);
    return gTrapHit;
}

void DropTarget::attach(Display* d, Window w, const Atoms* a) {
    display = d;
    window = w;
    atoms = a;
    reset();
}

void DropTarget::reset() {
    source = 0;
    acceptable = false;
    transferPending = false;
}

void DropTarget::onClientMessage(const XClientMessageEvent& ev) {
    if (!display || ev.format != 32) return;
    if (ev.message_type == atoms->xdndEnter) onEnter(ev);
    else if (ev.message_type == atoms->xdndPosition) onPosition(ev);
    else if (ev.message_type == atoms->xdndDrop) onDrop(ev);
    else if (ev.message_type == atoms->xdndLeave && static_cast<Window>(ev.data.l[0]) == source) reset();
}

void DropTarget::onEnter(const XClientMessageEvent& ev) {
    reset(); // a new drag replaces whatever was left of an older one
    source = static_cast<Window>(ev.data.l[0]);
    acceptable = sourceOffersUriList(ev);
}

// Up to three types travel in the message; more are in XdndTypeList.
bool DropTarget::sourceOffersUriList(const XClientMessageEvent& ev) {
    if (!(ev.data.l[1] & 1)) {
        for (int i = 2; i <= 4; ++i)
            if (static_cast<Atom>(ev.data.l[i]) == atoms->uriList) return true;
        return false;
    }
    ErrorTrap trap(display);
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    bool found = false;
    if (XGetWindowProperty(display, source, atoms->xdndTypeList, 0, 1024, False, XA_ATOM, &type,
                           &format, &count, &after, &data) == Success &&
        data && format == 32) {
        const Atom* list = reinterpret_cast<const Atom*>(data);
        for (unsigned long i = 0; i < count && !found; ++i) found = (list[i] == atoms->uriList);
    }
    if (data) XFree(data);
    return found && !trap.failed();
}

void DropTarget::onPosition(const XClientMessageEvent& ev) {
    if (static_cast<Window>(ev.data.l[0]) != source || source == 0) return;
    rootX = static_cast<int>((ev.data.l[2] >> 16) & 0xFFFF);
    rootY = static_cast<int>(ev.data.l[2] & 0xFFFF);
    // Accept, and ask for a position message on every move (empty rectangle).
    sendToSource(atoms->xdndStatus, acceptable ? 3 : 2, 0, 0, acceptable ? atoms->xdndActionCopy : None);
}

void DropTarget::onDrop(const XClientMessageEvent& ev) {
    if (static_cast<Window>(ev.data.l[0]) != source || source == 0) return;
    if (!acceptable) {
        finish(false);
        return;
    }
    Time time = static_cast<Time>(ev.data.l[2]);
    XDeleteProperty(display, window, atoms->dropProperty);
    XConvertSelection(display, atoms->xdndSelection, atoms->uriList, atoms->dropProperty, window,
                      time ? time : CurrentTime);
    XFlush(display);
    transferPending = true;
    transferStartMs = nowMs();
}

void DropTarget::onSelectionNotify(const XSelectionEvent& ev) {
    if (!transferPending || ev.requestor != window || ev.selection != atoms->xdndSelection) return;
    std::string body = (ev.property == None) ? std::string() : readDropProperty();
    std::string path = firstDroppedPath(body, hostName());
    int x = 0, y = 0;
    Window child = 0;
    XTranslateCoordinates(display, DefaultRootWindow(display), window, rootX, rootY, &x, &y, &child);
    finish(!path.empty());
    if (!path.empty() && deliver) deliver(path, x, y);
}

std::string DropTarget::readDropProperty() {
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    std::string body;
    if (XGetWindowProperty(display, window, atoms->dropProperty, 0, kMaxUriListLongs, True,
                           AnyPropertyType, &type, &format, &count, &after, &data) == Success &&
        data && format == 8 && type != atoms->incr) {
        // Incremental (INCR) transfers are not supported: such a drop is refused.
        body.assign(reinterpret_cast<const char*>(data), count);
    }
    if (data) XFree(data);
    return body;
}

void DropTarget::checkTimeout(int32_t now) {
    if (transferPending && now - transferStartMs > kTransferTimeoutMs) finish(false);
}

void DropTarget::finish(bool accepted) {
    sendToSource(atoms->xdndFinished, accepted ? 1 : 0, accepted ? atoms->xdndActionCopy : None, 0, 0);
    reset();
}

void DropTarget::sendToSource(Atom type, long l1, long l2, long l3, long l4) {
    if (!source) return;
    XEvent ev{};
    ev.xclient.type = ClientMessage;
    ev.xclient.display = display;
    ev.xclient.window = source;
    ev.xclient.message_type = type;
    ev.xclient.format = 32;
    ev.xclient.data.l[0] = static_cast<long>(window);
    ev.xclient.data.l[1] = l1;
    ev.xclient.data.l[2] = l2;
    ev.xclient.data.l[3] = l3;
    ev.xclient.data.l[4] = l4;
    ErrorTrap trap(display); // the source may be gone already
    XSendEvent(display, source, False, NoEventMask, &ev);
}

} // namespace platform::x11
