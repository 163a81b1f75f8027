#include "widgets/Slider.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <type_traits>

#include "core/Globals.h"
#include "core/InputState.h"
#include "widgets/DrawHelpers.h"
#include "widgets/GlFont.h"

bool anyPointerButtonDown() { return gInputState.leftButton || gInputState.middleButton || gInputState.rightButton; }

template <typename T> T sliderValueAt(int knobPos, int length, T minValue, T maxValue, bool linear) {
    // The ends give the ends exactly: exp(log(max)) may fall a hair short,
    // which an int slider would truncate to max - 1.
    if (length > 0 && knobPos >= length) return maxValue;
    double v;
    const double pos = knobPos, len = length;
    if (linear) {
        v = minValue + (pos / len) * (static_cast<double>(maxValue) - minValue);
    } else {
        const double lo = std::log(static_cast<double>(minValue)), hi = std::log(static_cast<double>(maxValue));
        v = std::exp(lo + (hi - lo) / len * pos);
    }
    if constexpr (std::is_same_v<T, int>) return static_cast<int>(v);
    else return static_cast<T>(v);
}

template <typename T> int sliderKnobFor(T value, int length, T minValue, T maxValue, bool linear) {
    const double len = length;
    if (linear) {
        const double range = static_cast<double>(maxValue) - minValue;
        return range == 0 ? 0 : static_cast<int>((value - static_cast<double>(minValue)) / range * len);
    }
    const double lo = std::log(static_cast<double>(minValue)), hi = std::log(static_cast<double>(maxValue));
    return hi == lo ? 0 : static_cast<int>((std::log(static_cast<double>(value)) - lo) / ((hi - lo) / len));
}

template <typename T>
Slider<T>::Slider(int x, int y, int width_, int height_, const std::string& label_, int32_t id_, bool linear_,
                  std::function<void(T)> onChange_)
    : Widget(x, y, width_, height_, id_), label(label_), linear(linear_), onChange(std::move(onChange_)) {}

template <typename T> void Slider<T>::setValue(T v, bool notify_) {
    if (v > maxValue) {
        value = maxValue;
        if (target) *target = maxValue;
        knobPos = trackLength();
    } else if (v < minValue) {
        value = minValue;
        if (target) *target = minValue;
        knobPos = 0;
    } else {
        value = v;
        knobPos = sliderKnobFor(v, trackLength(), minValue, maxValue, linear);
    }
    if (notify_ && onChange) onChange(value);
}

template <typename T> void Slider<T>::setKnob(int pos) {
    knobPos = std::clamp(pos, 0, std::max(0, trackLength()));
    value = sliderValueAt(knobPos, trackLength(), minValue, maxValue, linear);
    if (target) *target = value;
    if (onChange) onChange(value);
}

template <typename T> int Slider<T>::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    const int plain = Widget::onMouseButton(button, state, x, y, fromPen);
    if (!dragging && !pointerInside) return 0;
    if (button != 0) return plain;
    if (state == 0) {
        const int p = x - static_cast<int>(absX + 5);
        // A press near the knob grabs it without moving the value.
        if (std::abs(p - knobPos) >= 10) setKnob(p);
        dragging = true;
        return 1;
    }
    dragging = false;
    return plain;
}

template <typename T> int Slider<T>::onMouseDrag(int x, int y, bool fromPen) {
    (void)fromPen;
    if (anyPointerButtonDown()) {
        if (!dragging) return 0;
        setKnob(x - static_cast<int>(absX + 5));
        return 1;
    }
    pointerInside = hitTest(x, y);
    return pointerInside ? 1 : 0;
}

template <typename T> bool Slider<T>::update(int elapsedMs, int originX, int originY) {
    if (target && *target != value) setValue(*target, false);
    return Widget::update(elapsedMs, originX, originY);
}

template <typename T> void Slider<T>::onSizeChanged() {
    value = sliderValueAt(knobPos, trackLength(), minValue, maxValue, linear);
}

template <typename T> void Slider<T>::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    const int x = static_cast<int>(absX), y = static_cast<int>(absY);
    const int w = static_cast<int>(width), h = static_cast<int>(height);
    if (enabled && pointerInside) glColor4f(0.8f, 1, 1, a / 2);
    else glColor4f(0.8f, 0.8f, 0.8f, a / 2);
    drawRect(x, y, w, h);
    glColor4f(1, 1, 1, a / 2);
    const float filledEnd = static_cast<float>(x + 5 + knobPos) - 6 * GuiScale;
    drawRect(static_cast<float>(x + 1), static_cast<float>(y + 1), filledEnd - static_cast<float>(x + 1),
             static_cast<float>(h - 2));
    drawTrack(a);
    drawKnob(a);
}

template <typename T> void Slider<T>::drawTrack(float a) {
    glColor4f(0.3f, 0.3f, 0.3f, a);
    drawFrame(static_cast<int>(absX), static_cast<int>(absY), static_cast<int>(width), static_cast<int>(height), 1);
}

template <typename T> void Slider<T>::drawKnob(float a) {
    const int knobW = static_cast<int>(12 * GuiScale);
    const int x = static_cast<int>(absX) + 5 + knobPos - knobW / 2, y = static_cast<int>(absY);
    const int h = static_cast<int>(height);
    const float white[3] = {1, 1, 1};
    if (focused) drawSoftFrame(x, y, knobW, h, static_cast<int>(5 * GuiScale), white, 0.2f * a);
    if (dragging) glColor4f(0, 1, 1, a);
    else glColor4f(1, 1, 1, a);
    drawRect(x, y, knobW, h);
    glColor4f(0.3f, 0.3f, 0.3f, a);
    drawFrame(x, y, knobW, h, 1);
}

template <typename T> void Slider<T>::drawOverlay(float opacity_) {
    if (!enabled || !(dragging || pointerInside) || label.empty() || !gFontGui) return;
    const float a = effectiveAlpha(opacity_);
    char text[256];
    if constexpr (std::is_same_v<T, int>) std::snprintf(text, sizeof text, "%s: %d", label.c_str(), value);
    else std::snprintf(text, sizeof text, "%s: %.3f", label.c_str(), static_cast<double>(value));
    const float x = static_cast<float>(static_cast<int>(absX));
    const float y = static_cast<float>(static_cast<int>(absY) + static_cast<int>(height) + static_cast<int>(5 * GuiScale));
    glColor4f(0.5f, 0.5f, 0.5f, a);
    printRaw(*gFontGui, x + 1, y - 1, text);
    glColor4f(1, 1, 1, a);
    printRaw(*gFontGui, x, y, text);
}

template class Slider<int>;
template class Slider<float>;
template int sliderValueAt<int>(int, int, int, int, bool);
template float sliderValueAt<float>(int, int, float, float, bool);
template int sliderKnobFor<int>(int, int, int, int, bool);
template int sliderKnobFor<float>(float, int, float, float, bool);
