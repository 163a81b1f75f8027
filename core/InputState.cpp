#include "core/InputState.h"

#include <algorithm>
#include <cmath>

#include "platform/XInputKeys.h"

InputState gInputState;

float gCurrentPressure = 1.0f;
bool gPenActive = false;
bool gPointerMessageActive = false;
bool gTabletSeen = false;
bool gFirstPacket = false;
float gPenX = 0, gPenY = 0;
int32_t gLastPenTime = 0;
int32_t gLastPointerTime = 0;
int32_t gWantedMode = 1;
bool gMouseSettling = true;
int32_t gSettlingAccumulator = 0;
int32_t gSettlingMark = 0;
std::map<int, math::Vec2> gTouchPoints;
float gPreviousRawPressure = 0;

void InputState::reset() {
    key = 0;
    penProximity = rightButton = barrelPressed = false;
    alt = ctrl = shift = space = false;
    leftButton = middleButton = false;
    mouseX = mouseY = previousX = previousY = pressX = pressY = 0;
    axisLock = 2;
    directions.fill(math::Vec2(1, 0));
    directionIndex = 0;
}

void InputState::updatePointer(int x, int y) {
    math::Vec2 d(static_cast<float>(x - mouseX), static_cast<float>(y - mouseY));
    float l = d.length();
    // Moves of half a pixel or less carry no direction worth keeping.
    directions[directionIndex] = l <= 0.5f ? math::Vec2(1, 0) : d / l;
    directionIndex = (directionIndex + 1) % kDirectionCount;
    if (l > 0.001f) {
        previousX = mouseX;
        previousY = mouseY;
        mouseX = x;
        mouseY = y;
    }
}

math::Vec2 InputState::meanDirection() const {
    math::Vec2 sum;
    for (const auto& d : directions) sum += d;
    math::Vec2 mean = sum / static_cast<float>(kDirectionCount);
    return mean.length() < 0.001f ? math::Vec2(1, 0) : mean;
}

int32_t InputState::modifierMask(bool withShift) const {
    int32_t mask = 0;
    if (alt) mask |= kMaskAlt;
    if (withShift && shift) mask |= kMaskShift;
    if (ctrl) mask |= kMaskCtrl;
    if (space) mask |= kMaskSpace;
    if (leftButton) mask |= kMaskLeftButton;
    if (rightButton) mask |= kMaskRightButton;
    if (middleButton) mask |= kMaskMiddleButton;
    if (penProximity) mask |= kMaskPenProximity;
    return mask;
}

void InputState::applyHeld(const HeldInputs& held) {
    alt = held.alt;
    ctrl = held.ctrl;
    shift = held.shift;
    space = held.space;
    leftButton = held.leftButton;
    middleButton = held.middleButton;
    rightButton = held.rightButton || barrelPressed;
}

void resetPenState() {
    gCurrentPressure = 1.0f;
    gPenActive = gPointerMessageActive = gTabletSeen = gFirstPacket = false;
    gPenX = gPenY = 0;
    gLastPenTime = gLastPointerTime = 0;
    gWantedMode = 1;
    gMouseSettling = true;
    gSettlingAccumulator = gSettlingMark = 0;
    gTouchPoints.clear();
    gPreviousRawPressure = 0;
}

void refreshInputFlags() { gInputState.applyHeld(platform::heldInputs()); }

float tabletPressureCurve(float raw) {
    float p = std::max(0.00001f, raw);
    if (p >= 1.0f) return 1.0f;
    return ((6 * p - 15) * p + 10) * p * p * p;
}

float pointerPressureCurve(float raw, float& previousRaw) {
    float filtered = 0.6f * previousRaw + 0.4f * raw;
    previousRaw = raw;
    float p = std::max(0.00001f, filtered);
    if (p >= 1.0f) return 1.0f;
    return (3 - 2 * p) * p * p;
}

namespace {

math::Vec2 centreOf(const std::map<int, math::Vec2>& points) {
    math::Vec2 sum;
    for (const auto& [id, p] : points) sum += p;
    return points.empty() ? sum : sum / static_cast<float>(points.size());
}

// Distance from the finger with the lowest id (the map's first) to the centre.
float spreadOf(const std::map<int, math::Vec2>& points, math::Vec2 centre) {
    return points.empty() ? 0.0f : (points.begin()->second - centre).length();
}

} // namespace

TouchGestureStep touchGestureStep(const std::map<int, math::Vec2>& points, int id, math::Vec2 position) {
    TouchGestureStep s;
    s.oldCentre = centreOf(points);
    s.oldDistance = spreadOf(points, s.oldCentre);
    std::map<int, math::Vec2> moved = points;
    moved[id] = position;
    s.newCentre = centreOf(moved);
    s.newDistance = spreadOf(moved, s.newCentre);
    math::Vec2 mid = (s.oldCentre + s.newCentre) / 2.0f;
    s.midX = static_cast<int>(mid.x);
    s.midY = static_cast<int>(mid.y);
    if (s.newDistance > s.oldDistance) {
        s.zoom = 1;
        s.factor = s.oldDistance == 0 ? 1.0f : s.newDistance / s.oldDistance;
    } else if (s.newDistance < s.oldDistance) {
        s.zoom = -1;
        s.factor = s.newDistance == 0 ? 1.0f : s.oldDistance / s.newDistance;
    }
    return s;
}

math::Vec2 touchPanOffset(math::Vec2 oldCentre, math::Vec2 newCentre, float scale,
                          const std::array<float, 4>& m) {
    if (!(scale > 0) || !std::isfinite(scale)) return {}; // no view to pan
    math::Vec2 d = (oldCentre - newCentre) / scale;
    d = math::Vec2(std::trunc(d.x), std::trunc(d.y));
    // Same rule as a pan drag: position -= (m01 dy + m00 dx, m11 dy + m10 dx).
    return {m[1] * d.y + m[0] * d.x, m[3] * d.y + m[2] * d.x};
}
