#pragma once
// What every tool polls about the pointer, the keys and the pen.
// Positions are window pixels, origin bottom left, y up. Times are
// platform::nowMs() values.
#include <array>
#include <cstdint>
#include <map>

#include "core/Math.h"
#include "platform/XInputKeys.h" // HeldInputs

// Bits of the modifier mask added to key codes (and matched by state commands).
inline constexpr int32_t kMaskSpace = 0x400;
inline constexpr int32_t kMaskCtrl = 0x800;
inline constexpr int32_t kMaskShift = 0x1000;
inline constexpr int32_t kMaskAlt = 0x2000;
inline constexpr int32_t kMaskLeftButton = 0x4000;
inline constexpr int32_t kMaskRightButton = 0x8000;
inline constexpr int32_t kMaskMiddleButton = 0x10000;
inline constexpr int32_t kMaskPenProximity = 0x20000;

struct InputState {
    static constexpr int kDirectionCount = 5;

    int32_t key = 0; // last key code, before the modifier mask was added
    bool penProximity = false;
    bool rightButton = false; // right mouse button or the pen's barrel button
    bool barrelPressed = false;
    bool alt = false, ctrl = false, shift = false, space = false;
    bool leftButton = false, middleButton = false;
    int32_t mouseX = 0, mouseY = 0;
    int32_t previousX = 0, previousY = 0;
    int32_t pressX = 0, pressY = 0;
    int8_t axisLock = 2; // 0 x held, 1 y held, 2 none, 3 waiting (size and zoom drag)
    std::array<math::Vec2, kDirectionCount> directions{};
    int directionIndex = 0;

    InputState() { reset(); }
    // Everything back to start values; the direction ring holds (1, 0) five times.
    void reset();

    // Records a move to (x, y): a unit direction into the ring, and the new position.
    void updatePointer(int x, int y);
    // Mean of the ring; (1, 0) when the mean is too short to have a direction.
    math::Vec2 meanDirection() const;
    // Modifier mask from the flags; Shift only if asked for.
    int32_t modifierMask(bool withShift) const;
    // Copies held keys and buttons into the flags; rightButton also follows the barrel.
    void applyHeld(const HeldInputs& held);
};

extern InputState gInputState;

// Global pen state. Times are nowMs() values.
extern float gCurrentPressure;     // pressure in use, 0..1, read by the stroke code
extern bool gPenActive;            // pen coordinates replace the event's
extern bool gPointerMessageActive; // a pointer-message channel speaks: mouse closed
extern bool gTabletSeen;           // the tablet callback has run at least once
extern bool gFirstPacket;          // a pen packet that refreshPointer hasn't seen yet
extern float gPenX, gPenY;         // pen position in window pixels, with fractions
extern int32_t gLastPenTime;       // last packet consumed by refreshPointer
extern int32_t gLastPointerTime;   // last pointer (pen or gesture) message
extern int32_t gWantedMode;        // 1 paint, 2 erase
extern bool gMouseSettling;        // next mouse event restarts the settling time
extern int32_t gSettlingAccumulator;
extern int32_t gSettlingMark;
extern std::map<int, math::Vec2> gTouchPoints; // finger id -> window position
extern float gPreviousRawPressure;

// Start values of every pen global above (also used by tests).
void resetPenState();

// Polls the tracked key and button state into gInputState. Called by the
// tick and at the head of the motion callbacks.
void refreshInputFlags();

// Pressure curves of the two pen channels. raw is 0..1; the result is 1
// exactly for raw >= 1, and raw is never taken below 0.00001.
float tabletPressureCurve(float raw);                          // quintic smoothstep
float pointerPressureCurve(float raw, float& previousRaw);     // two-tap filter, cubic smoothstep

// One step of the two-finger gesture: `points` as they were, finger `id` moved to `position`.
struct TouchGestureStep {
    math::Vec2 oldCentre, newCentre;
    float oldDistance = 0, newDistance = 0; // from the lowest finger id to the centre
    int midX = 0, midY = 0;                 // zoom anchor, truncated
    int zoom = 0;                           // 1 zoom in, -1 zoom out, 0 none
    float factor = 1;                       // zoom factor, >= 1
};
TouchGestureStep touchGestureStep(const std::map<int, math::Vec2>& points, int id, math::Vec2 position);

// Camera pan of a gesture: the amount to subtract from the camera position.
// scale: window pixels per canvas pixel; m: rotation matrix m00, m01, m10, m11.
math::Vec2 touchPanOffset(math::Vec2 oldCentre, math::Vec2 newCentre, float scale,
                          const std::array<float, 4>& m);
