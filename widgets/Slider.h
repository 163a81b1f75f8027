#pragma once
// Horizontal slider bound to a field. The knob position is pixels from the
// bar's start (0 .. int(width) - 10); the value maps to it linearly or on a
// logarithmic scale (which needs minValue > 0). The slider polls the bound
// field on every update, so a field changed elsewhere moves the knob.
#include <functional>
#include <string>

#include "widgets/Widget.h"

template <typename T> class Observer {
public:
    virtual ~Observer() = default;
    virtual void notify(const T& value) = 0;
};

// Pure mapping between knob position and value, L = int(width) - 10.
template <typename T> T sliderValueAt(int knobPos, int length, T minValue, T maxValue, bool linear);
template <typename T> int sliderKnobFor(T value, int length, T minValue, T maxValue, bool linear);

template <typename T> class Slider : public Widget, public Observer<T> {
public:
    Slider(int x, int y, int width, int height, const std::string& label, int32_t id = 0, bool linear = true,
           std::function<void(T)> onChange = {});

    // Clamps to the range; a clamped value is written to the bound field too.
    void setValue(T value, bool notify);
    // From the pointer: clamps, maps, writes the field and notifies.
    void setKnob(int pos);
    void notify(const T& v) override { setValue(v, false); }
    int trackLength() const { return static_cast<int>(width) - 10; }

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void onSizeChanged() override;
    void draw(float opacity) override;
    void drawOverlay(float opacity) override;
    virtual void drawTrack(float alpha);
    virtual void drawKnob(float alpha);

    std::string label;
    int32_t knobPos = 0;
    T value{};
    T* target = nullptr; // bound field, not owning
    bool dragging = false;
    T minValue{0};
    T maxValue{1};
    bool linear = true;
    std::function<void(T)> onChange;
    std::function<void()> onRelease; // for owners; the slider never calls it
};

// Whether the application sees a mouse button held (drags without one are moves).
bool anyPointerButtonDown();
