#pragma once
// Static text and a hyperlink that opens its target with the desktop's opener.
#include <functional>
#include <string>

#include "widgets/Widget.h"

class TextWidget : public Widget {
public:
    // Size is 10 x 10 units and serves only the hit test.
    TextWidget(int x, int y, const std::string& text, int32_t id = 0, const float color[4] = nullptr);

    bool acceptsFocus() const override { return false; }
    void draw(float opacity) override;

    std::string text;
    float textColor[4] = {0, 0, 0, 1};
};

class HyperLinkWidget : public Widget {
public:
    // Width is the label's, height the interface font's size.
    HyperLinkWidget(int x, int y, const std::string& label, const std::string& target);

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    void draw(float opacity) override;

    std::string label;
    std::string target;
    // Replaces the plain opener (the program's links report a missing opener).
    std::function<void(const std::string& target)> onOpen;
};

// Starts the desktop's opener (xdg-open, or KESTRELWING_OPEN_CMD) on `target`
// without waiting for it. False when it could not be started.
bool openWithShell(const std::string& target);
