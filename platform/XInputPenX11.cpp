// The Xlib side of XInputPen: a second connection that selects XInput2 pen
// motion, device hot-plugging, touch and focus on freeglut's window.
#include "platform/XInputPen.h"

#include <cstdio>
#include <cstring>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>

namespace platform {

namespace {

struct DisplayCloser {
    void operator()(Display* d) const { XCloseDisplay(d); }
};

// Catches X errors of one connection while a request that may fail is in
// flight (a device unplugged between two calls, a touch selection already
// taken). Errors of other connections go to the previous handler.
class ErrorTrap {
public:
    explicit ErrorTrap(Display* d) : display(d) {
        XSync(display, False);
        gTrapped = display;
        gFailed = false;
        previous = XSetErrorHandler(&ErrorTrap::handle);
        gPrevious = previous;
    }
    ~ErrorTrap() {
        XSync(display, False);
        XSetErrorHandler(previous);
        gTrapped = nullptr;
    }
    bool failed() {
        XSync(display, False);
        return gFailed;
    }

private:
    static int handle(Display* d, XErrorEvent* e) {
        if (d == gTrapped) {
            gFailed = true;
            return 0;
        }
        return gPrevious ? gPrevious(d, e) : 0;
    }
    Display* display;
    XErrorHandler previous = nullptr;
    static inline Display* gTrapped = nullptr;
    static inline bool gFailed = false;
    // Xlib handlers take no user data, hence the statics.
    static inline XErrorHandler gPrevious = nullptr;
};

std::string atomName(Display* d, Atom a) {
    if (a == None) return {};
    char* n = XGetAtomName(d, a);
    std::string s = n ? n : "";
    if (n) XFree(n);
    return s;
}

std::string wacomToolType(Display* d, int deviceId) {
    Atom prop = XInternAtom(d, "Wacom Tool Type", True);
    if (prop == None) return {}; // no wacom driver loaded
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    std::string result;
    if (XIGetProperty(d, deviceId, prop, 0, 1, False, XA_ATOM, &type, &format, &count, &after, &data) == Success &&
        data) {
        // Format-32 property data is an array of long whatever the platform's width.
        if (type == XA_ATOM && format == 32 && count >= 1) result = atomName(d, static_cast<Atom>(*reinterpret_cast<long*>(data)));
    }
    if (data) XFree(data);
    return result;
}

PenDeviceInfo describeDevice(Display* d, const XIDeviceInfo& x) {
    PenDeviceInfo info;
    info.id = x.deviceid;
    info.name = x.name ? x.name : "";
    info.use = x.use;
    info.enabled = x.enabled;
    for (int i = 0; i < x.num_classes; ++i) {
        if (x.classes[i]->type != XIValuatorClass) continue;
        const auto* v = reinterpret_cast<const XIValuatorClassInfo*>(x.classes[i]);
        info.valuators.push_back({v->number, atomName(d, v->label), v->min, v->max});
    }
    return info;
}

std::vector<PenDeviceInfo> queryDevices(Display* d, int which) {
    std::vector<PenDeviceInfo> out;
    ErrorTrap trap(d);
    int n = 0;
    XIDeviceInfo* devices = XIQueryDevice(d, which, &n);
    for (int i = 0; devices && i < n; ++i) {
        PenDeviceInfo info = describeDevice(d, devices[i]);
        if (info.use == kXISlavePointer || info.use == kXIFloatingSlave) info.toolType = wacomToolType(d, info.id);
        out.push_back(std::move(info));
    }
    if (devices) XIFreeDeviceInfo(devices);
    if (trap.failed()) std::fprintf(stderr, "Input: a device vanished while being queried.\n");
    return out;
}

// On X the root window spans every monitor, with its origin at (0, 0).
VirtualScreen rootScreen(Display* d) {
    int s = DefaultScreen(d);
    return {0, 0, static_cast<float>(DisplayWidth(d, s)), static_cast<float>(DisplayHeight(d, s))};
}

PenMotion motionOf(const XIDeviceEvent& e) {
    PenMotion m;
    m.deviceId = e.deviceid;
    m.rootX = e.root_x;
    m.rootY = e.root_y;
    const double* values = e.valuators.values;
    for (int i = 0; i < e.valuators.mask_len * 8; ++i)
        if (XIMaskIsSet(e.valuators.mask, i)) m.valuators.emplace_back(i, *values++);
    for (int b = 1; b <= 3 && b < e.buttons.mask_len * 8; ++b)
        if (XIMaskIsSet(e.buttons.mask, b)) m.buttons |= 1u << (b - 1);
    return m;
}

} // namespace

struct XInputPen::Impl {
    std::unique_ptr<Display, DisplayCloser> display;
    Window window = 0;
    int xiOpcode = -1;
    bool touch = false;
    PenRegistry pens;

    bool selectEvents();
    void handleXI(XGenericEventCookie& cookie, std::vector<InputEvent>& out);
};

XInputPen::XInputPen() : impl(std::make_unique<Impl>()) {}
XInputPen::~XInputPen() = default;

bool XInputPen::open(const char* displayName, unsigned long window) {
    close();
    Display* d = XOpenDisplay(displayName);
    if (!d) return false;
    impl->display.reset(d);
    impl->window = window;
    // Focus on our own connection: key releases while away are lost, so the
    // key tracker must hear when focus leaves and comes back.
    XSelectInput(d, window, FocusChangeMask);
    int event = 0, error = 0;
    if (XQueryExtension(d, "XInputExtension", &impl->xiOpcode, &event, &error)) {
        int major = 2, minor = 2;
        if (XIQueryVersion(d, &major, &minor) != Success || major < 2) impl->xiOpcode = -1;
        else impl->touch = major > 2 || minor >= 2;
    } else {
        impl->xiOpcode = -1;
    }
    if (impl->xiOpcode >= 0) {
        impl->pens.reset(queryDevices(d, XIAllDevices));
        if (!impl->selectEvents()) impl->xiOpcode = -1;
    }
    XFlush(d);
    return true;
}

bool XInputPen::Impl::selectEvents() {
    Display* d = display.get();
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    XIEventMask mask{XIAllDevices, sizeof bits, bits};
    {
        ErrorTrap trap(d);
        XISetMask(bits, XI_HierarchyChanged);
        XISelectEvents(d, DefaultRootWindow(d), &mask, 1);
        std::memset(bits, 0, sizeof bits);
        // Slave devices carry the valuators; master events are ignored below.
        XISetMask(bits, XI_Motion);
        XISelectEvents(d, window, &mask, 1);
        if (trap.failed()) return false;
    }
    if (touch) {
        ErrorTrap trap(d);
        std::memset(bits, 0, sizeof bits);
        XISetMask(bits, XI_TouchBegin);
        XISetMask(bits, XI_TouchUpdate);
        XISetMask(bits, XI_TouchEnd);
        mask.deviceid = XIAllMasterDevices;
        XISelectEvents(d, window, &mask, 1);
        // Only one client may take touches on a window; without them, no gesture.
        if (trap.failed()) touch = false;
    }
    return true;
}

void XInputPen::close() {
    impl->display.reset();
    impl->xiOpcode = -1;
    impl->touch = false;
    impl->pens.reset({});
}

bool XInputPen::isOpen() const { return impl->display != nullptr; }
bool XInputPen::hasXInput2() const { return impl->display && impl->xiOpcode >= 0; }
bool XInputPen::hasTouch() const { return hasXInput2() && impl->touch; }
std::size_t XInputPen::penCount() const { return impl->pens.size(); }

VirtualScreen XInputPen::virtualScreen() const {
    return impl->display ? rootScreen(impl->display.get()) : VirtualScreen{};
}

void XInputPen::Impl::handleXI(XGenericEventCookie& cookie, std::vector<InputEvent>& out) {
    Display* d = display.get();
    if (cookie.evtype == XI_HierarchyChanged) {
        const auto* h = static_cast<const XIHierarchyEvent*>(cookie.data);
        std::vector<HierarchyChange> changes;
        for (int i = 0; i < h->num_info; ++i) changes.push_back({h->info[i].deviceid, h->info[i].flags});
        pens.apply(changes, [d](int id) -> std::optional<PenDeviceInfo> {
            std::vector<PenDeviceInfo> found = queryDevices(d, id);
            if (found.empty()) return std::nullopt;
            return found.front();
        });
        return;
    }
    const auto* e = static_cast<const XIDeviceEvent*>(cookie.data);
    if (cookie.evtype == XI_Motion) {
        if (auto p = pens.packet(motionOf(*e), rootScreen(d))) {
            InputEvent ev;
            ev.kind = InputEvent::Kind::Tablet;
            ev.tablet = *p;
            out.push_back(ev);
        }
        return;
    }
    InputEvent ev;
    switch (cookie.evtype) {
    case XI_TouchBegin: ev.kind = InputEvent::Kind::TouchBegin; break;
    case XI_TouchUpdate: ev.kind = InputEvent::Kind::TouchUpdate; break;
    case XI_TouchEnd: ev.kind = InputEvent::Kind::TouchEnd; break;
    default: return;
    }
    ev.touchId = e->detail;
    ev.x = static_cast<float>(e->event_x);
    ev.y = static_cast<float>(e->event_y);
    out.push_back(ev);
}

std::vector<InputEvent> XInputPen::drain() {
    std::vector<InputEvent> out;
    Display* d = impl->display.get();
    if (!d) return out;
    while (XPending(d) > 0) {
        XEvent ev;
        XNextEvent(d, &ev);
        if ((ev.type == FocusIn || ev.type == FocusOut) && ev.xfocus.window == impl->window) {
            if (ev.xfocus.detail == NotifyPointer) continue; // focus did not move to or from us
            InputEvent f;
            f.kind = ev.type == FocusIn ? InputEvent::Kind::FocusGained : InputEvent::Kind::FocusLost;
            if (ev.type == FocusIn) {
                XQueryKeymap(d, f.keys);
                Window root = 0, child = 0;
                int rx = 0, ry = 0, wx = 0, wy = 0;
                XQueryPointer(d, impl->window, &root, &child, &rx, &ry, &wx, &wy, &f.pointerState);
            }
            out.push_back(f);
            continue;
        }
        if (ev.type != GenericEvent || ev.xcookie.extension != impl->xiOpcode) continue;
        if (!XGetEventData(d, &ev.xcookie)) continue;
        impl->handleXI(ev.xcookie, out);
        XFreeEventData(d, &ev.xcookie);
    }
    return out;
}

} // namespace platform
