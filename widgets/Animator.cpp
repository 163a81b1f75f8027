#include "widgets/Animator.h"

#include <vector>

#include "core/Globals.h"
#include "core/RenderArea.h"
#include "platform/Clock.h"
#include "widgets/Widget.h"

namespace {
constexpr float kPi = 3.14159265358979f;

float bounce(float t) {
    const float k = 7.5625f;
    if (t < 4.0f / 11.0f) return k * t * t;
    if (t < 8.0f / 11.0f) { t -= 6.0f / 11.0f; return k * t * t + 0.75f; }
    if (t < 10.0f / 11.0f) { t -= 9.0f / 11.0f; return k * t * t + 0.9375f; }
    t -= 21.0f / 22.0f;
    return k * t * t + 0.984375f;
}

float easeOutCurve(int easing, float t, float e, float d) {
    switch (easing) {
    case 0: { const float u = t - 1.0f; return u * u * (2.70158f * u + 1.70158f) + 1.0f; }
    case 1: return bounce(t);
    case 2: return std::sqrt(1.0f - (t - 1.0f) * (t - 1.0f));
    case 3: { const float u = t - 1.0f; return u * u * u + 1.0f; }
    case 4: {
        if (e <= 0.0f) return 0.0f;
        if (t >= 1.0f) return 1.0f;
        const float p = 0.3f * d;
        return std::pow(2.0f, -10.0f * t) * std::sin((e - p / 4.0f) * 2.0f * kPi / p) + 1.0f;
    }
    case 5: return e == d ? 1.0f : 1.0f - std::pow(2.0f, -10.0f * t);
    case 7: return -t * (t - 2.0f);
    case 8: { const float u = t - 1.0f; return 1.0f - u * u * u * u; }
    case 9: { const float u = t - 1.0f; return u * u * u * u * u + 1.0f; }
    case 10: return std::sin(t * kPi / 2.0f);
    default: return t;
    }
}

float easeInCurve(int easing, float t, float e, float d) {
    switch (easing) {
    case 0: return t * t * (2.70158f * t - 1.70158f);
    case 1: return 1.0f - bounce(1.0f - t);
    case 2: return 1.0f - std::sqrt(1.0f - t * t);
    case 3: return t * t * t;
    case 4: {
        if (e <= 0.0f) return 0.0f;
        if (t >= 1.0f) return 1.0f;
        const float p = 0.3f * d;
        return -std::pow(2.0f, 10.0f * (t - 1.0f)) * std::sin(((t - 1.0f) * d - p / 4.0f) * 2.0f * kPi / p);
    }
    case 5: return e == 0.0f ? 0.0f : std::pow(2.0f, 10.0f * (t - 1.0f));
    case 7: return t * t;
    case 8: return t * t * t * t;
    case 9: return t * t * t * t * t;
    case 10: return 1.0f - std::cos(t * kPi / 2.0f);
    default: return t;
    }
}
} // namespace

float easingCurve(int easing, bool easeOut, float t, float e, float d) {
    return easeOut ? easeOutCurve(easing, t, e, d) : easeInCurve(easing, t, e, d);
}

// ---- ramp -----------------------------------------------------------------------

template <typename T>
void FieldLinearInterpolatorWithRamp<T>::start(int32_t delayMs, int32_t endMs, const T& from_, const T& to_) {
    const int32_t now = platform::nowMs();
    this->startTime = now + delayMs;
    this->endTime = now + endMs;
    this->from = from_;
    this->to = to_;
    this->write(from_);
    rampTime = (endMs - delayMs) / 3;
    acceleration = 0.0f;
    if (rampTime > 0) {
        const float total = static_cast<float>(this->endTime - this->startTime);
        acceleration = valueDistance(from_, to_) / ((total - rampTime) * rampTime);
    }
}

template <typename T> bool FieldLinearInterpolatorWithRamp<T>::update(int32_t now) {
    if (now < this->startTime) return true;
    if (now > this->endTime) {
        this->write(this->to);
        return false;
    }
    const float distance = valueDistance(this->from, this->to);
    if (distance < 1e-06f) return false;
    const float t = static_cast<float>(now - this->startTime);
    const float r = static_cast<float>(rampTime), a = acceleration;
    const float f = static_cast<float>(this->endTime - this->startTime) - 2.0f * r;
    float s;
    if (t < r) {
        s = a / 2.0f * t * t;
    } else {
        const float u = t - r, v = r * a, s0 = v / 2.0f * r;
        if (u < f) {
            s = u * v + s0;
        } else {
            const float w = u - f;
            s = (v - a / 2.0f * w) * w + f * v + s0;
        }
    }
    this->write(this->from + (this->to - this->from) * (s / distance));
    return true;
}

// ---- easing ---------------------------------------------------------------------

template <typename T, int Out>
void FieldEasingInterpolator<T, Out>::start(int32_t delayMs, int32_t durationMs, const T& from_, const T& to_) {
    const int32_t now = platform::nowMs();
    this->startTime = now + delayMs;
    this->endTime = now + durationMs;
    this->from = from_;
    this->to = to_;
    this->write(from_);
    distance = valueDistance(from_, to_);
    duration = static_cast<float>(durationMs - delayMs);
}

template <typename T, int Out> bool FieldEasingInterpolator<T, Out>::update(int32_t now) {
    if (now < this->startTime) return true;
    if (now > this->endTime) {
        this->write(this->to);
        return false;
    }
    if (distance < 1e-06f) return false;
    const float e = static_cast<float>(now - this->startTime);
    const float f = easingCurve(easing, Out == 1, e / duration, e, duration);
    this->write(this->from + (this->to - this->from) * f);
    return true;
}

template class FieldInterpolator<float>;
template class FieldInterpolator<math::Vec2>;
template class FieldInterpolator<math::Vec3>;
template class FieldLinearInterpolatorWithRamp<float>;
template class FieldLinearInterpolatorWithRamp<math::Vec2>;
template class FieldEasingInterpolator<float, 1>;
template class FieldEasingInterpolator<math::Vec2, 0>;
template class FieldEasingInterpolator<math::Vec2, 1>;
template class FieldEasingInterpolator<math::Vec3, 1>;

// ---- registry -------------------------------------------------------------------

AnimatorRegistry& AnimatorRegistry::instance() {
    static AnimatorRegistry registry;
    return registry;
}

int32_t AnimatorRegistry::add(int32_t key, std::shared_ptr<Animator> animator) {
    if (key == 0) key = -nextAutoKey++;
    animators[key] = std::move(animator);
    return key;
}

void AnimatorRegistry::remove(int32_t key) { animators.erase(key); }

void AnimatorRegistry::clear() {
    animators.clear();
    nextAutoKey = 1;
}

void AnimatorRegistry::tick() {
    if (animators.empty()) return;
    const int32_t now = platform::nowMs();
    std::vector<int32_t> ended;
    for (auto& [key, animator] : animators)
        if (!animator->update(now)) ended.push_back(key);
    for (int32_t key : ended) {
        auto it = animators.find(key);
        if (it == animators.end()) continue; // an earlier onEnd removed it
        // Keep the animator alive while its onEnd runs, then drop the entry.
        std::shared_ptr<Animator> keep = it->second;
        if (keep->onEnd) keep->onEnd();
        animators.erase(key);
    }
}

// ---- fades and slides -----------------------------------------------------------

void fadeIn(int32_t ms, int32_t key, const std::shared_ptr<Widget>& widget) {
    widget->setVisible(true);
    auto a = std::make_shared<FieldLinearInterpolatorWithRamp<float>>(
        std::function<void(const float&)>([widget](const float& v) { widget->opacity = v; }));
    a->start(0, ms, 0.0f, 1.0f);
    AnimatorRegistry::instance().add(key, a);
}

void fadeOut(int32_t ms, int32_t key, const std::shared_ptr<Widget>& widget) {
    auto a = std::make_shared<FieldLinearInterpolatorWithRamp<float>>(
        std::function<void(const float&)>([widget](const float& v) { widget->opacity = v; }));
    a->start(0, ms, 1.0f, 0.0f);
    a->onEnd = [widget] { widget->setVisible(false); };
    AnimatorRegistry::instance().add(key, a);
}

math::Vec2 offScreenPosition(int side, math::Vec2 current, math::Vec2 size, math::Vec2 window) {
    switch (side) {
    case 0: return {current.x, window.y};
    case 1: return {window.x, current.y};
    case 2: return {current.x, -size.y};
    default: return {-size.x, current.y};
    }
}

namespace {
std::function<void(const math::Vec2&)> positionSetter(const std::shared_ptr<Widget>& widget) {
    return [widget](const math::Vec2& p) {
        widget->relX = p.x;
        widget->relY = p.y;
    };
}
math::Vec2 windowSize() { return {gRenderArea.width, gRenderArea.height}; }
} // namespace

void slideIn(int32_t ms, int32_t key, int side, math::Vec2 target, const std::shared_ptr<Widget>& widget) {
    AnimatorRegistry::instance().remove(key);
    const math::Vec2 off = offScreenPosition(side, {widget->relX, widget->relY},
                                             {widget->width, widget->height}, windowSize());
    widget->relX = off.x;
    widget->relY = off.y;
    widget->setVisible(true);
    widget->enabled = true;
    auto a = std::make_shared<FieldEasingInterpolator<math::Vec2, 1>>(positionSetter(widget), 5);
    a->start(0, 5 * ms, off, target);
    AnimatorRegistry::instance().add(key, a);
}

void slideOut(int32_t ms, int32_t key, int side, const std::shared_ptr<Widget>& widget) {
    AnimatorRegistry::instance().remove(key);
    widget->enabled = false;
    const math::Vec2 here{widget->relX, widget->relY};
    const math::Vec2 off = offScreenPosition(side, here, {widget->width, widget->height}, windowSize());
    auto a = std::make_shared<FieldEasingInterpolator<math::Vec2, 0>>(positionSetter(widget), 0);
    a->start(0, ms, here, off);
    a->onEnd = [widget] { widget->setVisible(false); };
    AnimatorRegistry::instance().add(key, a);
}
