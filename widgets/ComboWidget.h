#pragma once
// Drop-down list. While open, the list below the field counts as inside the
// widget and is drawn in the overlay pass, above every neighbour.
//   closed --left press inside--> open (hovered = selected)
//   open --left press--> closed; a hovered row other than the selection is chosen
//   focus lost --> closed
#include <functional>
#include <string>
#include <vector>

#include "widgets/Widget.h"

class ComboWidget : public Widget {
public:
    // Height is always 20 units.
    ComboWidget(int x, int y, int width, int32_t id = 0, std::function<void(int)> onChange = {});

    void addItem(const std::string& text) { items.push_back(text); }

    bool hitTest(int x, int y) const override;
    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    void onFocusLost() override { closed = true; }
    void draw(float opacity) override;
    void drawOverlay(float opacity) override;

    std::function<void(int)> onChange;
    int32_t selected = -1;
    int32_t hovered = -1;
    bool closed = true;
    std::vector<std::string> items;
    int32_t visibleChars = 0;

private:
    void trackHover(int x, int y);
};
