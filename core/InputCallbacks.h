#pragma once
// From freeglut's callbacks to the InputDispatcher: the y flip, the gate that
// keeps mouse and pen from speaking at once, double clicks, key codes, the
// pen (tablet callback fed from XInput2) and the two-finger touch gesture.
//
// Coordinates handed to listeners are window pixels, origin bottom left, y up.
// Register the on* functions with freeglut in this order: entry, keyboard,
// keyboard up, special, special up, mouse, motion, passive motion, wheel;
// then call installInputHooks() once after glutCreateWindow, and pollInput()
// from every tick before the key flags are used.
#include <array>
#include <vector>

#include "core/InteractionMode.h"
#include "core/Math.h"
#include "platform/XInputPen.h"

// What the input code needs from the application. Implemented by the
// application object; tests use a fake. All calls come on the main thread.
class InputHost {
public:
    virtual ~InputHost() = default;

    virtual float renderAreaHeight() const = 0;
    virtual int interactionMode() const = 0;
    // Only called with a value different from the current one; the
    // application runs leaveMode before storing it.
    virtual void setInteractionMode(int mode) = 0;
    virtual bool busy() const = 0; // a load, save or video export is running
    virtual int currentToolIndex() const = 0;
    // Top left of the window's client area in root pixels, y down.
    virtual math::Vec2 windowOrigin() const = 0;
    // Bounding box of all monitors in root pixels (on X: the root window).
    virtual platform::VirtualScreen virtualScreen() const = 0;

    // Hides the tool tip until a widget places it again (position -1, -1).
    virtual void resetToolTip() = 0;
    // Right press: place the colour and size HUD at (x, y), make its group the
    // exclusive listener, enable it and fade it in. The mode change to 3 is done here.
    virtual void openColourHud(int x, int y) = 0;
    // Right release: clear the exclusive slot if the HUD holds it, hide the
    // group at once, return widgets to their places, clear the slider's hold.
    virtual void closeColourHud() = 0;
    // Shift held during a drag with the brush or the eraser.
    virtual void engageAxisLock(int x, int y) = 0;
    // A key no listener consumed: built-in keys, then the matching commands.
    virtual void unconsumedKey(int code) = 0;

    // Two-finger gesture: zoom at a window point, and the view for the pan.
    virtual void zoomAt(bool zoomIn, int x, int y, float factor) = 0;
    virtual float viewScale() const = 0;                   // window pixels per canvas pixel
    virtual std::array<float, 4> viewRotation() const = 0; // m00, m01, m10, m11
    virtual void panView(float dx, float dy) = 0;          // camera position -= (dx, dy)
};

// Non-owning; the callbacks do nothing while no host is set.
void setInputHost(InputHost* host);
InputHost* inputHost();

inline constexpr int kDoubleClickMs = 500;
inline constexpr int kDoubleClickDistance = 8;
inline constexpr int kSettlingMs = 500;
inline constexpr int kPenTimeoutMs = 500;

// freeglut callbacks, with freeglut's signatures (y down as freeglut gives it).
void onGlutMouse(int button, int state, int x, int y);
void onGlutMotion(int x, int y);
void onGlutPassiveMotion(int x, int y);
void onGlutMouseWheel(int wheel, int direction, int x, int y);
void onGlutKeyboard(unsigned char key, int x, int y);
void onGlutKeyboardUp(unsigned char key, int x, int y);
void onGlutSpecial(int key, int x, int y);
void onGlutSpecialUp(int key, int x, int y);
void onGlutEntry(int state);
// The pen: x, y 0..1 over the virtual screen (y from the bottom), pressure
// 0..1, cursor 1 tip or 2 eraser; the three ints are stored only.
void onTablet(float x, float y, float pressure, int cursor, int extra1, int extra2, int extra3);
void onTabletProximity(int state);

// Hooks freeglut's X connection and opens the XInput2 connection. Call once
// after glutCreateWindow. False when there is no X display (then the mouse
// alone works, with pressure 1).
bool installInputHooks();
// Once per tick: reads pen, touch and focus, delivers Ctrl keys, closes the
// pen channels after 500 ms of silence and refreshes the key flags.
void pollInput();

// The steps of pollInput and of the callbacks, for the tick and for tests.
bool mouseGateOpen();
void dispatchButton(int button, int state, int x, int y, bool fromPen);
void dispatchPassiveMotion(int x, int y, bool fromPen);
void dispatchDrag(int x, int y, bool fromPen);
void dispatchWheel(int wheel, int direction, int x, int y);
void dispatchKey(int code, int x, int y);
void dispatchControlKeys();
void processInputEvents(const std::vector<platform::InputEvent>& events);
void expirePenFlags();
// Program key code of a GLUT special key, or -1 for the modifier keys themselves.
int specialKeyCode(int glutKey);
// Start values of the click memory, touch count and tablet extras (tests).
void resetInputCallbacks();
// The three free ints of the last tablet packet.
std::array<int, 3> lastTabletExtras();
