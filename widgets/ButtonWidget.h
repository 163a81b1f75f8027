#pragma once
// Push button and check box.
#include <functional>
#include <string>

#include "widgets/Widget.h"

// Clicks on release of the left button, if the press began on it and the
// pointer never left. Enter clicks a focused button.
//   idle --press inside--> pressed --release inside--> idle + onClick
//   pressed --pointer leaves (any event outside)--> idle, no click
class ButtonWidget : public Widget {
public:
    ButtonWidget(int x, int y, int width, int height, const std::string& label, int32_t id = 0,
                 std::function<void(Widget*)> onClick = {});

    // Never narrows the button: it widens to the label plus 10 units of room.
    void setLabel(const std::string& text);

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    void draw(float opacity) override;

    std::string label;
    int32_t labelWidth = 0;
    float textColor[4] = {0, 0, 0, 1};
    std::function<void(Widget*)> onClick;
    bool pressed = false;
};

// A left press inside flips `checked`; Enter or Space does the same while focused.
class CheckBoxWidget : public Widget {
public:
    CheckBoxWidget(int x, int y, bool checked, int32_t id = 0);
    CheckBoxWidget(int x, int y, int size, bool checked, std::function<void()> onCheck,
                   std::function<void()> onUncheck, int32_t id = 0);

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    void draw(float opacity) override;
    void toggle();

    bool checked = false;
    std::string label;
    float textColor[4] = {0, 0, 0, 1};
    std::function<void()> onCheck;
    std::function<void()> onUncheck;
};
