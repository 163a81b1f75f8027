#pragma once
// Lists that scroll in whole items, and a grid of cells with a selection.
// The scroll bar is a member of its list, not a child: the list forwards
// events to it and draws it. `reversed` puts item 0 at the high end of the
// bar (the top of a vertical one), as in the grid.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "widgets/Widget.h"

class ScrollableWidget;

class ScrollbarWidget : public Widget {
public:
    ScrollbarWidget(ScrollableWidget* owner, bool reversed);

    // Scrolls so that item `index` shows, then places the thumb.
    void ensureVisible(int index);
    // One item towards the high end of the bar / towards the low end; never past the ends.
    void stepHigh();
    void stepLow();
    void updateThumb();
    // The owner's extent along the bar, 2 units in at each end.
    void extent(int& start, int& end) const;
    // The bar's rectangle: along the owner's right edge or its bottom.
    void rectangle(int& x, int& y, int& w, int& h) const;

    bool hitTest(int x, int y) const override;
    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onMouseWheel(int wheel, int direction, int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;

    ScrollableWidget* owner; // not owning
    float dragPos = 0;
    bool dragging = false;
    int32_t firstVisible = 0;
    bool reversed = false;
    int32_t vertical = 1;
    int32_t thumbStart = 0, thumbEnd = 0;
};

// Results of 2 from onMouseButton mean the bar took the event.
class ScrollableWidget : public Widget {
public:
    ScrollableWidget(int x, int y, int width, int height, int32_t id, bool reversed);

    virtual int itemCount() const = 0;
    virtual float itemSize() const = 0; // pixels along the bar
    // Items that fit along the bar.
    virtual int visibleCount() const;

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onMouseWheel(int wheel, int direction, int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;

    ScrollbarWidget scrollbar;
};

// Cells of `columns` by `rows` visible rows, row-major items, row 0 at the
// top; it scrolls by rows. A selection needs press and release on one cell;
// a drag of more than a row scrolls, as on a touch screen.
class GridWidget : public ScrollableWidget {
public:
    GridWidget(int x, int y, int width, int height, int columns, int rows, int32_t id = 0);

    void addItem(std::shared_ptr<Widget> item) { items.push_back(std::move(item)); }
    void selectIndex(int index);
    void select(int row, int column);

    int itemCount() const override; // rows of items
    float itemSize() const override;
    int visibleCount() const override { return rows; }

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void onSizeChanged() override;
    void draw(float opacity) override;
    void drawOverlay(float opacity) override;

    std::vector<std::shared_ptr<Widget>> items;
    int32_t columns = 1, rows = 1;
    std::function<void(Widget*)> onSelect;
    int32_t selectedRow = -1, selectedColumn = -1;
    int32_t pressY = -1, pressRow = -1, pressColumn = -1;

private:
    int cellWidth() const { return columns > 0 ? static_cast<int>(width) / columns : 0; }
    int cellHeight() const { return rows > 0 ? static_cast<int>(height) / rows : 0; }
};
