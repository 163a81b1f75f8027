#pragma once
// The tool bar on the left of the window: panels ("sections") of icon buttons
// in two columns, laid from the top. A press on the gaps between the buttons
// drags the whole bar. All positions are window pixels relative to the bar's
// lower left corner; the bar's height grows with its buttons.
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/Math.h"
#include "widgets/Draggable.h"
#include "widgets/Widget.h"

class ImageButton;

struct ToolBarSection {
    std::array<math::Vec2, 4> corners{}; // the panel's rectangle from (x, y)
    float x = 0, y = 0, width = 0, height = 0;
    int32_t buttonCount = 0;
    std::vector<std::shared_ptr<ImageButton>> buttons; // in the order added
};

class ToolBar : public CompositeWidget {
public:
    // Where the bar stands in 96-dpi units, and its width: two buttons, the
    // gap between them and a margin on each side.
    static constexpr int kX = 5, kY = 155;
    static constexpr int kButton = 32, kGap = 3, kMargin = 10;
    static constexpr int kWidthUnits = kMargin + kMargin + kGap + 2 * kButton;

    ToolBar();

    // A new empty panel below the others.
    void addSection();
    // One 32 by 32 icon button in the last panel.
    std::shared_ptr<ImageButton> addButton(int iconColumn, int iconRow, const std::string& tooltip,
                                           std::function<void(Widget*)> onClick,
                                           std::function<bool(const Widget*)> isActive = {});
    // Drops every button and panel and leaves one empty panel.
    void clear();
    // Places the panels and buttons from the top down, and sets the height.
    void relayout();

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    void draw(float opacity) override;

    // The bar's home position in pixels at the current GuiScale.
    static math::Vec2 homePosition();

    DraggableEntity dragger;
    std::vector<ToolBarSection> sections;
    int32_t rowCount = 0;
    int32_t columnCount = 2;

private:
    math::Vec2 dragPosition;
};
