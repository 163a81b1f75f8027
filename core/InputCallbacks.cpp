#include "core/InputCallbacks.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <GL/freeglut.h>

#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "platform/Clock.h"
#include "platform/XInputKeys.h"

namespace {

InputHost* gHost = nullptr;
int32_t gLastClickTime = 0;
int gLastClickX = 0, gLastClickY = 0;
int gActiveTouches = 0;
int32_t gLastTabletPacketTime = 0; // last XInput2 packet, for the barrel flag
std::array<int, 3> gTabletExtras{};
std::unique_ptr<platform::XInputPen> gPen;

int flipY(int y) { return static_cast<int>(gHost->renderAreaHeight()) - y; }

void enterMode(int mode) {
    if (gHost->interactionMode() != mode) gHost->setInteractionMode(mode);
}

// Whether Ctrl was down for the key event being delivered. With the X hooks
// this is the event's own state, the same test that queued the Ctrl key.
bool ctrlHeldForKeyEvent() {
    if (platform::keyHooksInstalled()) return (glutGetModifiers() & GLUT_ACTIVE_CTRL) != 0;
    return platform::heldInputs().ctrl;
}

// Pen packets and mouse events come on two connections; reading the pen first
// keeps penX, penY no older than the mouse event that follows.
void drainPen() {
    if (gPen && gPen->isOpen()) processInputEvents(gPen->drain());
}

void handleTouch(platform::InputEvent::Kind kind, int id, float x, float yDown) {
    using Kind = platform::InputEvent::Kind;
    if (kind == Kind::TouchBegin) ++gActiveTouches;
    if (kind == Kind::TouchEnd && gActiveTouches > 0) --gActiveTouches;
    if (gActiveTouches == 2) enterMode(kModeSetAside);
    if (kind != Kind::TouchUpdate) {
        gTouchPoints.clear(); // a finger came or went: start the pair again
        return;
    }
    if (gPenActive) return;
    math::Vec2 pos(static_cast<float>(static_cast<int>(x)), static_cast<float>(flipY(static_cast<int>(yDown))));
    if (gTouchPoints.size() != 2) {
        gTouchPoints[id] = pos;
        return;
    }
    gLastPointerTime = platform::nowMs();
    gPointerMessageActive = true;
    gMouseSettling = true;
    enterMode(kModeSetAside);
    TouchGestureStep step = touchGestureStep(gTouchPoints, id, pos);
    gTouchPoints[id] = pos;
    if (step.zoom != 0) gHost->zoomAt(step.zoom > 0, step.midX, step.midY, step.factor);
    math::Vec2 pan = touchPanOffset(step.oldCentre, step.newCentre, gHost->viewScale(), gHost->viewRotation());
    if (pan.x != 0 || pan.y != 0) gHost->panView(pan.x, pan.y);
}

} // namespace

void setInputHost(InputHost* host) { gHost = host; }
InputHost* inputHost() { return gHost; }

void resetInputCallbacks() {
    gLastClickTime = 0;
    gLastClickX = gLastClickY = 0;
    gActiveTouches = 0;
    gLastTabletPacketTime = 0;
    gTabletExtras = {};
}

std::array<int, 3> lastTabletExtras() { return gTabletExtras; }

// ---- the gate -------------------------------------------------------------------
//
// open ──pen without tablet callback, or pointer messages──> closed
// closed ──channels expire (pollInput)──> settling: the first mouse event marks
// the time, later ones add up; after 500 ms of mouse events ──> open.
bool mouseGateOpen() {
    if (gPointerMessageActive || (gPenActive && !gTabletSeen)) return false;
    int32_t now = platform::nowMs();
    if (gMouseSettling) {
        gMouseSettling = false;
        gSettlingMark = now;
        gSettlingAccumulator = 0;
        return false;
    }
    // Capped so that an open gate never overflows; only ">= 500" matters.
    gSettlingAccumulator = std::min(gSettlingAccumulator + (now - gSettlingMark), 1 << 30);
    gSettlingMark = now;
    return gSettlingAccumulator >= kSettlingMs;
}

// ---- dispatch -------------------------------------------------------------------

void dispatchButton(int button, int state, int x, int y, bool fromPen) {
    if (!gHost || gHost->busy()) return;
    bool doubleClick = false;
    if (button == 0 && state == 0) {
        int32_t now = platform::nowMs();
        doubleClick = now - gLastClickTime < kDoubleClickMs && std::abs(gLastClickX - x) <= kDoubleClickDistance &&
                      std::abs(gLastClickY - y) <= kDoubleClickDistance;
        gLastClickX = x;
        gLastClickY = y;
        gLastClickTime = doubleClick ? 0 : now; // a third click starts afresh
    }
    gInputState.updatePointer(x, y);
    if (state == 0) {
        gInputState.pressX = x;
        gInputState.pressY = y;
    }
    InputDispatcher& d = InputDispatcher::instance();
    d.mouseButton(button, state, x, y, fromPen);
    if (doubleClick) {
        d.doubleClick(x, y);
        return;
    }
    // The HUD opens whether or not a listener took the press.
    if (button == 2 && state == 0) {
        gHost->openColourHud(x, y);
        enterMode(kModeInterface);
    } else if (button == 2 && state == 1) {
        gInputState.rightButton = false;
        gHost->closeColourHud();
    }
}

void dispatchPassiveMotion(int x, int y, bool fromPen) {
    if (!gHost) return;
    gHost->resetToolTip();
    DispatchResult r = InputDispatcher::instance().mouseMove(x, y, fromPen);
    // The GUI decides between interface and canvas by taking the motion or not.
    if (r.exclusive || r.consumed) enterMode(kModeInterface);
    else if (gHost->interactionMode() == kModeInterface) enterMode(kModeTool);
    gInputState.updatePointer(x, y);
}

void dispatchDrag(int x, int y, bool fromPen) {
    if (!gHost) return;
    gHost->resetToolTip();
    InputDispatcher::instance().mouseDrag(x, y, fromPen);
    gInputState.updatePointer(x, y);
    int tool = gHost->currentToolIndex();
    if ((tool == 1 || tool == 2) && gInputState.shift) gHost->engageAxisLock(x, y);
}

void dispatchWheel(int wheel, int direction, int x, int y) {
    if (!gHost) return;
    InputDispatcher::instance().mouseWheel(wheel, direction, x, y);
}

void dispatchKey(int code, int x, int y) {
    if (!gHost) return;
    DispatchResult r = InputDispatcher::instance().key(code, x, y);
    if (!r.exclusive && !r.consumed) gHost->unconsumedKey(code);
}

void dispatchControlKeys() {
    for (const platform::ControlKeyPress& k : platform::keyTracker().takeControlKeys()) {
        if (!gHost) continue;
        int key = platform::translateVirtualKey(k.virtualKey);
        // The flags as they were when the key went down, like a queued key message.
        gInputState.applyHeld(k.held);
        gInputState.key = key;
        dispatchKey(key + gInputState.modifierMask(true), k.x, flipY(k.y));
    }
}

int specialKeyCode(int glutKey) {
    // The Shift, Ctrl, Alt and Super keys themselves.
    if (glutKey >= GLUT_KEY_SHIFT_L && glutKey <= GLUT_KEY_SUPER_R) return -1;
    // X delivers Delete through the keyboard callback as 127; a keypad Delete
    // without a character arrives here and must give the same code.
    if (glutKey == GLUT_KEY_DELETE) return 0x7F;
    return 0x100 + glutKey;
}

// ---- freeglut callbacks ---------------------------------------------------------

void onGlutMouse(int button, int state, int x, int y) {
    // freeglut built with XInput2 takes its buttons from XI2 events, which the
    // core-event hook never sees: the callback itself is the ordered source.
    if (button >= 0 && button <= 2) platform::keyTracker().buttonEvent(static_cast<unsigned>(button + 1), state == 0);
    if (!gHost) return;
    drainPen();
    if (!mouseGateOpen()) return;
    dispatchButton(button, state, x, flipY(y), false);
}

void onGlutMotion(int x, int y) {
    if (!gHost) return;
    drainPen();
    refreshInputFlags();
    if (!mouseGateOpen()) return;
    dispatchDrag(x, flipY(y), false);
}

void onGlutPassiveMotion(int x, int y) {
    if (!gHost) return;
    drainPen();
    refreshInputFlags();
    if (!mouseGateOpen()) return;
    dispatchPassiveMotion(x, flipY(y), false);
}

void onGlutMouseWheel(int wheel, int direction, int x, int y) {
    if (!gHost) return;
    dispatchWheel(wheel, direction, x, flipY(y));
}

void onGlutKeyboard(unsigned char key, int x, int y) {
    if (!gHost) return;
    dispatchControlKeys(); // earlier Ctrl keys first, in order
    if (ctrlHeldForKeyEvent()) return; // delivered from the X hook instead
    gInputState.key = key & 0xFF;
    // Shift already chose the character, so it is left out of the mask.
    dispatchKey(gInputState.key + gInputState.modifierMask(false), x, flipY(y));
}

// Releases carry no key event; they only make a released Space or Alt show
// in the flags before the next tick.
void onGlutKeyboardUp(unsigned char, int, int) { refreshInputFlags(); }
void onGlutSpecialUp(int, int, int) { refreshInputFlags(); }

void onGlutSpecial(int key, int x, int y) {
    if (!gHost) return;
    dispatchControlKeys();
    if (ctrlHeldForKeyEvent()) return;
    int code = specialKeyCode(key);
    if (code < 0) return;
    gInputState.key = code;
    dispatchKey(code + gInputState.modifierMask(true), x, flipY(y));
}

void onGlutEntry(int) { gPenActive = false; }

void onTablet(float x, float y, float pressure, int cursor, int extra1, int extra2, int extra3) {
    gTabletExtras = {extra1, extra2, extra3};
    gCurrentPressure = tabletPressureCurve(pressure);
    gFirstPacket = gPenActive = gTabletSeen = true;
    if (!gHost) return;
    platform::VirtualScreen vs = gHost->virtualScreen();
    math::Vec2 origin = gHost->windowOrigin();
    float renderH = gHost->renderAreaHeight();
    // x, y count from the left and the bottom of the virtual screen; the pen
    // position is window pixels, y up, with the fractions kept.
    gPenX = vs.width * x - origin.x - vs.x;
    gPenY = vs.height * y - (vs.height - (origin.y + renderH)) - vs.y;
    // Turning the pen over switches the brush between paint and erase.
    if (gHost->currentToolIndex() == 1) gWantedMode = cursor;
}

void onTabletProximity(int state) { gPenActive = state == 1; }

// ---- the X side -----------------------------------------------------------------

void processInputEvents(const std::vector<platform::InputEvent>& events) {
    using Kind = platform::InputEvent::Kind;
    for (const platform::InputEvent& e : events) {
        switch (e.kind) {
        case Kind::Tablet:
            gLastTabletPacketTime = platform::nowMs();
            gInputState.barrelPressed = (e.tablet.buttons & 6) != 0;
            onTablet(e.tablet.x, e.tablet.y, e.tablet.pressure, e.tablet.cursor, e.tablet.buttons, e.tablet.deviceId, 0);
            break;
        case Kind::FocusLost: platform::keyTracker().releaseKeys(); break;
        case Kind::FocusGained: platform::keyTracker().resync(e.keys, e.pointerState); break;
        default:
            if (gHost) handleTouch(e.kind, e.touchId, e.x, e.y);
            break;
        }
    }
}

void expirePenFlags() {
    int32_t now = platform::nowMs();
    if (gPenActive && now - gLastPenTime > kPenTimeoutMs) gPenActive = false;
    if (gPointerMessageActive && now - gLastPointerTime > kPenTimeoutMs) gPointerMessageActive = false;
    // A pen that left with its barrel button down must not keep the right button held.
    if (gInputState.barrelPressed && now - gLastTabletPacketTime > kPenTimeoutMs) gInputState.barrelPressed = false;
}

bool installInputHooks() {
    std::string displayName;
    unsigned long window = 0;
    if (!platform::installKeyHooks() || !platform::currentGlxWindow(displayName, window)) {
        std::puts("Pen input: no X display, mouse only.");
        return false;
    }
    gPen = std::make_unique<platform::XInputPen>();
    if (!gPen->open(displayName.c_str(), window)) {
        std::puts("Pen input: no second X connection, mouse only.");
        gPen.reset();
        return true;
    }
    if (!gPen->hasXInput2()) std::puts("Pen input: no XInput2, mouse only.");
    else std::printf("Pen input: XInput2, %zu pen device(s)%s.\n", gPen->penCount(), gPen->hasTouch() ? ", touch" : "");
    return true;
}

void pollInput() {
    drainPen();
    platform::serviceKeyHooks();
    dispatchControlKeys();
    expirePenFlags();
    refreshInputFlags();
}
