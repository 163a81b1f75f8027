#pragma once
// Held keys and buttons, tracked from the X events of the window in the
// order they arrive, and the keys typed with Ctrl held, as virtual-key codes.
//
// The X part observes freeglut's own connection through wire-to-event hooks:
// the hook runs inside Xlib's event reader, under the display lock, possibly on
// any thread that reads that connection. It therefore only records into
// KeyTracker (a mutex, no Xlib call); the Xlib work happens in
// serviceKeyHooks() on the main thread.
#include <array>
#include <bitset>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

struct HeldInputs {
    bool alt = false, ctrl = false, shift = false, space = false;
    bool leftButton = false, middleButton = false, rightButton = false;
};

namespace platform {

// A key pressed with Ctrl held. x, y: pointer in window pixels, y down.
// held: the keys and buttons at that moment, in event order.
struct ControlKeyPress {
    int virtualKey = 0;
    int x = 0, y = 0;
    HeldInputs held;
};

// Windows virtual-key code of an X keysym (letters as capitals), 0 for none.
int keysymToVirtualKey(unsigned long keysym);
// The program's key code for a virtual key: navigation and function keys to
// 0x100 + GLUT code, Delete to 0x7F, the side-specific modifiers to 0x170..0x175.
int translateVirtualKey(int virtualKey);

// Key and button state of one display. Thread-safe; no Xlib inside.
class KeyTracker {
public:
    static constexpr int kKeycodes = 256;
    static constexpr std::size_t kMaxQueued = 64; // Ctrl keys nobody collected are dropped
    // X modifier and button bits of an event's state field.
    static constexpr unsigned kControlMask = 1u << 2;
    static constexpr unsigned kButton1Mask = 1u << 8, kButton2Mask = 1u << 9, kButton3Mask = 1u << 10;

    // keysyms[keycode] = {level 0, level 1}; unknown codes hold 0.
    void setKeymap(const std::array<std::array<unsigned long, 2>, kKeycodes>& keysyms);
    // state: the event's modifier state (before the event); x, y: pointer, y down.
    void keyEvent(unsigned keycode, bool pressed, unsigned state, int x, int y);
    // X button numbers: 1 left, 2 middle, 3 right; others ignored (wheel, side buttons).
    void buttonEvent(unsigned button, bool pressed);
    // Focus went elsewhere: key releases will not be seen, so forget every key.
    void releaseKeys();
    // Focus came back: the server's key bitmap (32 bytes) and pointer button state.
    void resync(const char keys[32], unsigned pointerState);

    HeldInputs held() const;
    std::vector<ControlKeyPress> takeControlKeys();
    void clear();

private:
    HeldInputs heldLocked() const;
    int virtualKeyOf(unsigned keycode) const;

    mutable std::mutex mutex;
    std::bitset<kKeycodes> keys;
    bool left = false, middle = false, right = false;
    std::array<std::array<unsigned long, 2>, kKeycodes> keysyms{};
    std::vector<ControlKeyPress> queue;
};

// The tracker of freeglut's connection.
KeyTracker& keyTracker();
// Held keys and buttons of that tracker.
HeldInputs heldInputs();

// Hooks freeglut's connection (the current GLX display); call after
// glutCreateWindow on the main thread. False when there is no display.
bool installKeyHooks();
// Main thread, outside any hook: reloads the keymap after a MappingNotify.
void serviceKeyHooks();
// True once installKeyHooks succeeded.
bool keyHooksInstalled();

} // namespace platform

namespace platform {
// Display name and window of the current GLX context (freeglut's window).
// False before glutCreateWindow or without X.
bool currentGlxWindow(std::string& displayName, unsigned long& window);
} // namespace platform
