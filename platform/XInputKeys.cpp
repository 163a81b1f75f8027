#include "platform/XInputKeys.h"

#include <atomic>

#include <GL/glx.h>
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xlibint.h>
#include <X11/keysym.h>

namespace platform {

int keysymToVirtualKey(unsigned long ks) {
    if (ks >= XK_a && ks <= XK_z) return static_cast<int>('A' + (ks - XK_a));
    if (ks >= XK_A && ks <= XK_Z) return static_cast<int>(ks);
    if (ks >= XK_0 && ks <= XK_9) return static_cast<int>(ks);
    if (ks >= XK_F1 && ks <= XK_F24) return static_cast<int>(0x70 + (ks - XK_F1));
    if (ks >= XK_KP_0 && ks <= XK_KP_9) return static_cast<int>(0x60 + (ks - XK_KP_0));
    switch (ks) {
    case XK_BackSpace: return 0x08;
    case XK_Tab: case XK_ISO_Left_Tab: case XK_KP_Tab: return 0x09;
    case XK_Return: case XK_KP_Enter: return 0x0D;
    case XK_Escape: return 0x1B;
    case XK_space: case XK_KP_Space: return 0x20;
    case XK_Shift_L: case XK_Shift_R: return 0x10;
    case XK_Control_L: case XK_Control_R: return 0x11;
    case XK_Alt_L: case XK_Alt_R: case XK_Meta_L: case XK_Meta_R: return 0x12;
    case XK_Pause: return 0x13;
    case XK_Caps_Lock: return 0x14;
    case XK_Prior: case XK_KP_Prior: return 0x21;
    case XK_Next: case XK_KP_Next: return 0x22;
    case XK_End: case XK_KP_End: return 0x23;
    case XK_Home: case XK_KP_Home: return 0x24;
    case XK_Left: case XK_KP_Left: return 0x25;
    case XK_Up: case XK_KP_Up: return 0x26;
    case XK_Right: case XK_KP_Right: return 0x27;
    case XK_Down: case XK_KP_Down: return 0x28;
    case XK_Print: return 0x2C;
    case XK_Insert: case XK_KP_Insert: return 0x2D;
    case XK_Delete: case XK_KP_Delete: return 0x2E;
    case XK_Super_L: return 0x5B;
    case XK_Super_R: return 0x5C;
    case XK_Menu: return 0x5D;
    case XK_KP_Multiply: return 0x6A;
    case XK_KP_Add: return 0x6B;
    case XK_KP_Separator: return 0x6C;
    case XK_KP_Subtract: return 0x6D;
    case XK_KP_Decimal: return 0x6E;
    case XK_KP_Divide: return 0x6F;
    case XK_Num_Lock: return 0x90;
    case XK_Scroll_Lock: return 0x91;
    // Punctuation: the US-layout "OEM" codes.
    case XK_semicolon: case XK_colon: return 0xBA;
    case XK_equal: case XK_plus: return 0xBB;
    case XK_comma: return 0xBC;
    case XK_minus: case XK_underscore: return 0xBD;
    case XK_period: case XK_greater: return 0xBE;
    case XK_slash: case XK_question: return 0xBF;
    case XK_grave: case XK_asciitilde: return 0xC0;
    case XK_bracketleft: case XK_braceleft: return 0xDB;
    case XK_backslash: case XK_bar: return 0xDC;
    case XK_bracketright: case XK_braceright: return 0xDD;
    case XK_apostrophe: case XK_quotedbl: return 0xDE;
    case XK_less: return 0xE2; // the extra key of ISO keyboards
    default: return 0;
    }
}

int translateVirtualKey(int vk) {
    switch (vk) {
    case 0x21: return 0x168; // page up
    case 0x22: return 0x169; // page down
    case 0x23: return 0x16B; // end
    case 0x24: return 0x16A; // home
    case 0x2D: return 0x16C; // insert
    case 0x2E: return 0x7F;  // delete, as the keyboard callback gives it
    default: break;
    }
    if (vk >= 0x25 && vk <= 0x28) return 0x164 + (vk - 0x25); // arrows
    if (vk >= 0x70 && vk <= 0x7B) return 0x101 + (vk - 0x70); // F1..F12
    if (vk >= 0xA0 && vk <= 0xA5) return 0x170 + (vk - 0xA0); // left/right Shift, Ctrl, Alt
    return vk;
}

void KeyTracker::setKeymap(const std::array<std::array<unsigned long, 2>, kKeycodes>& table) {
    std::lock_guard lock(mutex);
    keysyms = table;
}

int KeyTracker::virtualKeyOf(unsigned keycode) const {
    if (keycode >= kKeycodes) return 0;
    // Level 0 names the key; level 1 helps layouts whose digits need Shift.
    int vk = keysymToVirtualKey(keysyms[keycode][0]);
    return vk != 0 ? vk : keysymToVirtualKey(keysyms[keycode][1]);
}

void KeyTracker::keyEvent(unsigned keycode, bool pressed, unsigned state, int x, int y) {
    std::lock_guard lock(mutex);
    if (keycode >= kKeycodes) return;
    keys[keycode] = pressed;
    if (!pressed || !(state & kControlMask)) return;
    int vk = virtualKeyOf(keycode);
    // Ctrl+Space, Ctrl+Tab, Ctrl+Enter and the modifiers alone give nothing.
    if (vk <= 0x20 || queue.size() >= kMaxQueued) return;
    queue.push_back({vk, x, y, heldLocked()});
}

void KeyTracker::buttonEvent(unsigned button, bool pressed) {
    std::lock_guard lock(mutex);
    if (button == 1) left = pressed;
    else if (button == 2) middle = pressed;
    else if (button == 3) right = pressed;
}

void KeyTracker::releaseKeys() {
    std::lock_guard lock(mutex);
    keys.reset();
}

void KeyTracker::resync(const char bits[32], unsigned pointerState) {
    std::lock_guard lock(mutex);
    for (int k = 0; k < kKeycodes; ++k) keys[k] = (static_cast<unsigned char>(bits[k / 8]) >> (k % 8)) & 1;
    left = pointerState & kButton1Mask;
    middle = pointerState & kButton2Mask;
    right = pointerState & kButton3Mask;
}

HeldInputs KeyTracker::held() const {
    std::lock_guard lock(mutex);
    return heldLocked();
}

HeldInputs KeyTracker::heldLocked() const {
    HeldInputs h;
    h.leftButton = left;
    h.middleButton = middle;
    h.rightButton = right;
    for (int k = 0; k < kKeycodes; ++k) {
        if (!keys[k]) continue;
        switch (keysymToVirtualKey(keysyms[k][0])) {
        case 0x10: h.shift = true; break;
        case 0x11: h.ctrl = true; break;
        case 0x12: h.alt = true; break;
        case 0x20: h.space = true; break;
        default: break;
        }
    }
    return h;
}

std::vector<ControlKeyPress> KeyTracker::takeControlKeys() {
    std::lock_guard lock(mutex);
    std::vector<ControlKeyPress> out;
    out.swap(queue);
    return out;
}

void KeyTracker::clear() {
    std::lock_guard lock(mutex);
    keys.reset();
    left = middle = right = false;
    queue.clear();
}

KeyTracker& keyTracker() {
    static KeyTracker tracker;
    return tracker;
}

HeldInputs heldInputs() { return keyTracker().held(); }

// ---- the hooks on freeglut's connection ----------------------------------------

namespace {

using WireProc = Bool (*)(Display*, XEvent*, xEvent*);
WireProc gPrevious[LASTEvent] = {};
Display* gHookedDisplay = nullptr;
std::atomic<bool> gKeymapStale{false};

// Runs inside Xlib's reader with the display locked: record only, no Xlib call.
Bool observeWireEvent(Display* display, XEvent* event, xEvent* wire) {
    int type = wire->u.u.type & 0x7F;
    WireProc previous = type < LASTEvent ? gPrevious[type] : nullptr;
    Bool keep = previous ? previous(display, event, wire) : True;
    if (!keep || display != gHookedDisplay) return keep;
    switch (type) {
    case KeyPress:
    case KeyRelease:
        keyTracker().keyEvent(event->xkey.keycode, type == KeyPress, event->xkey.state, event->xkey.x,
                              event->xkey.y);
        break;
    case ButtonPress:
    case ButtonRelease: // only seen when freeglut doesn't take its buttons from XI2
        keyTracker().buttonEvent(event->xbutton.button, type == ButtonPress);
        break;
    case MappingNotify:
        gKeymapStale = true;
        break;
    default:
        break;
    }
    return keep;
}

void loadKeymap(Display* display) {
    int minCode = 0, maxCode = 0, perCode = 0;
    XDisplayKeycodes(display, &minCode, &maxCode);
    if (minCode < 0 || maxCode >= KeyTracker::kKeycodes || maxCode < minCode) return;
    KeySym* map = XGetKeyboardMapping(display, static_cast<KeyCode>(minCode), maxCode - minCode + 1, &perCode);
    if (!map) return;
    std::array<std::array<unsigned long, 2>, KeyTracker::kKeycodes> table{};
    for (int k = minCode; k <= maxCode && perCode > 0; ++k) {
        const KeySym* row = map + (k - minCode) * perCode;
        table[k] = {row[0], perCode > 1 ? row[1] : 0};
    }
    XFree(map);
    keyTracker().setKeymap(table);
}

} // namespace

bool installKeyHooks() {
    if (gHookedDisplay) return true;
    Display* display = glXGetCurrentDisplay();
    if (!display) return false;
    loadKeymap(display);
    // Without this, a held key sends release/press pairs and Space would flicker.
    Bool supported = False;
    XkbSetDetectableAutoRepeat(display, True, &supported);
    gHookedDisplay = display;
    for (int type : {KeyPress, KeyRelease, ButtonPress, ButtonRelease, MappingNotify})
        gPrevious[type] = XESetWireToEvent(display, type, observeWireEvent);
    return true;
}

void serviceKeyHooks() {
    if (gHookedDisplay && gKeymapStale.exchange(false)) loadKeymap(gHookedDisplay);
}

bool keyHooksInstalled() { return gHookedDisplay != nullptr; }

} // namespace platform

namespace platform {

bool currentGlxWindow(std::string& displayName, unsigned long& window) {
    Display* display = glXGetCurrentDisplay();
    GLXDrawable drawable = glXGetCurrentDrawable();
    if (!display || !drawable) return false;
    const char* name = DisplayString(display);
    displayName = name ? name : "";
    window = drawable; // freeglut draws straight into its X window
    return true;
}

} // namespace platform
