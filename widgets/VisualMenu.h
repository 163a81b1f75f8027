#pragma once
// A small panel of buttons that opens beside the tool bar. It lives on the
// dialog stack (so it takes all input while open) and closes on a click
// anywhere outside its buttons or on Esc.
#include <array>
#include <memory>

#include "core/Math.h"
#include "widgets/Widget.h"

class VisualMenu : public CompositeWidget, public std::enable_shared_from_this<VisualMenu> {
public:
    // Size in 96-dpi units.
    VisualMenu(int width, int height);

    // Pushes the menu on the dialog stack with its lower left corner at
    // (x, y) window pixels, shows it and gives it the focus. Made with
    // make_shared (the stack holds it).
    void show(float x, float y);
    // Pops it off the stack if it is the top (idempotent).
    void close();

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    void draw(float opacity) override;

    std::array<math::Vec2, 4> corners{};
};

// Whether the panels draw their shadows and gloss (the interface option).
bool interfaceShadowsOn();
