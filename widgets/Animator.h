#pragma once
// Animators write one interpolated value per tick into a field of some widget
// (opacity, a position). Times are platform::nowMs() milliseconds. The
// registry owns every running animator; widgets know nothing of them.
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "core/Math.h"

class Widget;

class Animator {
public:
    virtual ~Animator() = default;
    // True while the animator goes on, false once it has ended.
    virtual bool update(int32_t now) = 0;

    int32_t startTime = 0;
    int32_t endTime = 0;
    std::function<void()> onEnd; // run once by the registry after the last update
};

// Euclidean distance of two values (absolute difference for float).
inline float valueDistance(float a, float b) { return std::fabs(b - a); }
template <std::size_t n> float valueDistance(const math::Vecnt<n, float>& a, const math::Vecnt<n, float>& b) {
    return (b - a).length();
}

// The value goes through `target` when set, otherwise to `setter`.
template <typename T> class FieldInterpolator : public Animator {
public:
    explicit FieldInterpolator(T* target_) : target(target_) {}
    explicit FieldInterpolator(std::function<void(const T&)> setter_) : setter(std::move(setter_)) {}

    T from{};
    T to{};
    std::function<void(const T&)> setter;
    T* target = nullptr;

protected:
    void write(const T& value) {
        if (target) *target = value;
        else if (setter) setter(value);
    }
};

// Trapezoid speed profile: accelerate for a third, glide, brake for a third.
template <typename T> class FieldLinearInterpolatorWithRamp : public FieldInterpolator<T> {
public:
    using FieldInterpolator<T>::FieldInterpolator;

    // Writes `from` at once; the value starts moving after delayMs and arrives at endMs.
    void start(int32_t delayMs, int32_t endMs, const T& from_, const T& to_);
    bool update(int32_t now) override;

    int32_t rampTime = 0;
    float acceleration = 0.0f;
};

// Penner easing curve number (0 back .. 10 sine, anything else linear) at
// t = e / d, with e the elapsed and d the whole duration in ms. easeOut false
// is the ease-in family. Starts at 0 and ends at 1.
float easingCurve(int easing, bool easeOut, float t, float e, float d);

// Out = 1: ease-out curves, Out = 0: ease-in curves.
template <typename T, int Out> class FieldEasingInterpolator : public FieldInterpolator<T> {
public:
    FieldEasingInterpolator(T* target_, int easing_) : FieldInterpolator<T>(target_), easing(easing_) {}
    FieldEasingInterpolator(std::function<void(const T&)> setter_, int easing_)
        : FieldInterpolator<T>(std::move(setter_)), easing(easing_) {}

    void start(int32_t delayMs, int32_t durationMs, const T& from_, const T& to_);
    bool update(int32_t now) override;

    int32_t easing = 6;
    float distance = 0.0f;
    float duration = 0.0f; // ms
};

// The running animators, keyed by int32; negative keys are automatic.
class AnimatorRegistry {
public:
    static AnimatorRegistry& instance();

    // Key 0 takes the next automatic key. A used key is overwritten without
    // running the old animator's onEnd. Returns the key.
    int32_t add(int32_t key, std::shared_ptr<Animator> animator);
    void remove(int32_t key);
    bool contains(int32_t key) const { return animators.count(key) != 0; }
    std::size_t size() const { return animators.size(); }
    // Steps every animator once; ended ones run onEnd and leave the map.
    void tick();
    // Drops everything and restarts the automatic keys (tests, shutdown).
    void clear();

    std::map<int32_t, std::shared_ptr<Animator>> animators;
    int32_t nextAutoKey = 1;
};

// Opacity fades and position slides for widgets. `side`: 0 above the window,
// 1 right, 2 below, 3 left of the window (gRenderArea).
void fadeIn(int32_t ms, int32_t key, const std::shared_ptr<Widget>& widget);
void fadeOut(int32_t ms, int32_t key, const std::shared_ptr<Widget>& widget);
void slideIn(int32_t ms, int32_t key, int side, math::Vec2 target, const std::shared_ptr<Widget>& widget);
void slideOut(int32_t ms, int32_t key, int side, const std::shared_ptr<Widget>& widget);
// Off-screen position for a widget at `current` of size `size` in a window
// of `window` pixels.
math::Vec2 offScreenPosition(int side, math::Vec2 current, math::Vec2 size, math::Vec2 window);
