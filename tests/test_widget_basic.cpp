#include <gtest/gtest.h>

#include "core/Globals.h"
#include "core/InputState.h"
#include "widgets/ButtonWidget.h"
#include "widgets/ComboWidget.h"
#include "widgets/Slider.h"

namespace {
constexpr int kUp = 357, kDown = 359;
struct Unscaled {
    Unscaled() { GuiScale = 1.0f; }
};
} // namespace

TEST(SliderMapping, LinearAndLogarithmicRoundTrip) {
    EXPECT_FLOAT_EQ(sliderValueAt<float>(50, 100, 0.0f, 2.0f, true), 1.0f);
    EXPECT_EQ(sliderKnobFor<float>(1.0f, 100, 0.0f, 2.0f, true), 50);
    EXPECT_NEAR(sliderValueAt<float>(50, 100, 1.0f, 100.0f, false), 10.0f, 1e-4f);
    EXPECT_EQ(sliderKnobFor<float>(10.0f, 100, 1.0f, 100.0f, false), 50);
    EXPECT_EQ(sliderKnobFor<float>(9.9f, 100, 1.0f, 100.0f, false), 49) << "truncated";
    EXPECT_EQ(sliderValueAt<int>(33, 100, 0, 10, true), 3) << "int values are truncated";
}

TEST(SliderMapping, TheRightEndGivesTheMaximumExactly) {
    // exp(log(500)) is 499.99999999999994 in doubles: an int slider would truncate it.
    for (int length = 100; length < 400; ++length)
        ASSERT_EQ(sliderValueAt<int>(length, length, 1, 500, false), 500) << length;
    EXPECT_EQ(sliderValueAt<int>(0, 210, 1, 500, false), 1);
    EXPECT_FLOAT_EQ(sliderValueAt<float>(210, 210, 0.015625f, 5.0f, true), 5.0f);
}

TEST(SliderWidget, SetValueClampsAndCorrectsTheField) {
    Unscaled u;
    float field = 0.5f;
    int notified = 0;
    Slider<float> s(0, 0, 110, 20, "Opacity", 0, true, [&](float) { ++notified; });
    s.minValue = 0.0f;
    s.maxValue = 1.0f;
    s.target = &field;
    s.setValue(3.0f, true);
    EXPECT_EQ(s.value, 1.0f);
    EXPECT_EQ(field, 1.0f);
    EXPECT_EQ(s.knobPos, 100);
    s.setValue(-1.0f, false);
    EXPECT_EQ(field, 0.0f);
    EXPECT_EQ(s.knobPos, 0);
    EXPECT_EQ(notified, 1);
    s.setValue(0.25f, false);
    EXPECT_EQ(s.knobPos, 25);
    EXPECT_EQ(field, 0.0f) << "an in-range value isn't written back";
}

TEST(SliderWidget, PollsItsFieldOnUpdate) {
    Unscaled u;
    int field = 40;
    Slider<int> s(0, 0, 110, 20, "Size", 0, true);
    s.minValue = 0;
    s.maxValue = 100;
    s.target = &field;
    s.update(20, 0, 0);
    EXPECT_EQ(s.value, 40);
    EXPECT_EQ(s.knobPos, 40);
    s.knobPos = 41; // a drag's rounding: equal value must not move the knob
    s.update(20, 0, 0);
    EXPECT_EQ(s.knobPos, 41);
}

TEST(SliderWidget, ClickNearKnobGrabsItDragFollowsAndClamps) {
    Unscaled u;
    float field = 0.5f;
    Slider<float> s(0, 0, 110, 20, "", 0, true);
    s.minValue = 0.0f;
    s.maxValue = 1.0f;
    s.target = &field;
    s.update(0, 0, 0);
    EXPECT_EQ(s.knobPos, 50);
    EXPECT_EQ(s.onMouseButton(0, 0, 5 + 55, 10, false), 1);
    EXPECT_TRUE(s.dragging);
    EXPECT_EQ(s.value, 0.5f) << "within 10 pixels of the knob nothing moves";
    gInputState.leftButton = true;
    EXPECT_EQ(s.onMouseDrag(5 + 80, 10, false), 1);
    EXPECT_FLOAT_EQ(field, 0.8f);
    EXPECT_EQ(s.onMouseDrag(900, 400, false), 1);
    EXPECT_EQ(field, 1.0f) << "outside the widget the value clamps";
    EXPECT_EQ(s.onMouseDrag(-300, 10, false), 1);
    EXPECT_EQ(field, 0.0f);
    gInputState.leftButton = false;
    s.onMouseButton(0, 1, -300, 10, false);
    EXPECT_FALSE(s.dragging);
    // A click far from the knob jumps there.
    s.onMouseButton(0, 0, 5 + 90, 10, false);
    EXPECT_FLOAT_EQ(field, 0.9f);
}

TEST(ComboWidgetTest, KeyboardWrapsAndEnterOpensAndChooses) {
    Unscaled u;
    int changes = 0, last = -1;
    ComboWidget c(0, 100, 100, 0, [&](int i) { ++changes, last = i; });
    for (const char* s : {"a", "b", "c"}) c.addItem(s);
    c.selected = 2;
    EXPECT_EQ(c.onKey(kDown, 0, 0), 0) << "unfocused";
    c.focused = true;
    EXPECT_EQ(c.onKey(kDown, 0, 0), 1);
    EXPECT_EQ(c.selected, 0);
    EXPECT_EQ(c.onKey(kUp, 0, 0), 1);
    EXPECT_EQ(c.selected, 2);
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(last, 2);
    EXPECT_EQ(c.onKey(13, 0, 0), 1);
    EXPECT_FALSE(c.closed);
    EXPECT_EQ(c.hovered, 2);
    EXPECT_EQ(c.onKey('x', 0, 0), 0);
}

TEST(ComboWidgetTest, PointerOpensHoversAndSelects) {
    Unscaled u;
    int last = -1;
    ComboWidget c(0, 100, 100, 0, [&](int i) { last = i; });
    for (const char* s : {"a", "b", "c"}) c.addItem(s);
    c.selected = 0;
    c.update(0, 0, 0);
    EXPECT_EQ(c.onMouseButton(0, 0, 10, 110, false), 1);
    EXPECT_FALSE(c.closed);
    EXPECT_TRUE(c.focused);
    c.onMouseButton(0, 1, 10, 110, false);
    // Rows lie below the field, 20 pixels each: row 1 spans y 60..80.
    EXPECT_EQ(c.onMouseMove(10, 70, false), 1);
    EXPECT_EQ(c.hovered, 1);
    EXPECT_TRUE(c.hitTest(10, 45));
    EXPECT_FALSE(c.hitTest(10, 35));
    EXPECT_EQ(c.onMouseButton(0, 0, 10, 70, false), 1);
    EXPECT_TRUE(c.closed);
    EXPECT_EQ(c.selected, 1);
    EXPECT_EQ(last, 1);
    EXPECT_FALSE(c.hitTest(10, 70)) << "closed again: only the field counts";
}

TEST(ComboWidgetTest, EmptyComboOpensAndKeepsNoSelection) {
    Unscaled u;
    ComboWidget c(0, 0, 100);
    c.update(0, 0, 0);
    c.onMouseButton(0, 0, 5, 5, false);
    EXPECT_FALSE(c.closed);
    c.onKey(kDown, 0, 0);
    EXPECT_EQ(c.selected, -1);
    c.onFocusLost();
    EXPECT_TRUE(c.closed);
}

TEST(CheckBoxTest, PressTogglesAndCallsTheRightCallback) {
    Unscaled u;
    int on = 0, off = 0;
    CheckBoxWidget box(10, 10, 16, false, [&] { ++on; }, [&] { ++off; });
    box.update(0, 0, 0);
    EXPECT_EQ(box.onMouseButton(0, 0, 12, 12, false), 1);
    EXPECT_TRUE(box.checked);
    EXPECT_EQ(box.onMouseButton(0, 1, 12, 12, false), 1);
    EXPECT_TRUE(box.checked) << "the release doesn't toggle";
    EXPECT_EQ(box.onMouseButton(0, 0, 50, 50, false), 0);
    EXPECT_TRUE(box.checked);
    box.focused = true;
    EXPECT_EQ(box.onKey(32, 0, 0), 1);
    EXPECT_FALSE(box.checked);
    EXPECT_EQ(on, 1);
    EXPECT_EQ(off, 1);
    CheckBoxWidget small(0, 0, true);
    EXPECT_EQ(small.width, 15.0f);
}

TEST(ButtonTest, ClickNeedsPressAndReleaseInside) {
    Unscaled u;
    int clicks = 0;
    ButtonWidget b(0, 0, 80, 20, "OK", 0, [&](Widget*) { ++clicks; });
    b.update(0, 0, 0);
    b.onMouseButton(0, 0, 10, 10, false);
    EXPECT_TRUE(b.pressed);
    EXPECT_EQ(b.onMouseButton(0, 1, 200, 10, false), 0);
    EXPECT_FALSE(b.pressed);
    EXPECT_EQ(clicks, 0);
    b.onMouseButton(0, 0, 10, 10, false);
    EXPECT_EQ(b.onMouseButton(0, 1, 12, 12, false), 1);
    EXPECT_EQ(clicks, 1);
    EXPECT_EQ(b.onKey(13, 0, 0), 1) << "focused by the press";
    EXPECT_EQ(clicks, 2);
    b.focused = false;
    EXPECT_EQ(b.onKey(13, 0, 0), 0);
}
