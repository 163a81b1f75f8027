#pragma once
// Pins top-level panels to cells of a window grid and keeps them there when
// the window is resized. Pixels, origin bottom left, y up; row 0 is the
// bottom row. A panel moved by hand keeps its distance from its anchor point.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class Widget;

class LayoutManager {
public:
    virtual ~LayoutManager() = default;
    virtual void resize(int newWidth, int newHeight) = 0;
    virtual void resetPositions() = 0;
};

// hAnchor: 0 cell's left edge, 1 centre, 2 right edge.
// vAnchor: 3 cell's top, 4 centre, 5 bottom.
struct GridItem {
    int32_t offsetY = 0, offsetX = 0; // pixels (placed in units, scaled)
    int16_t vAnchor = 5, hAnchor = 0;
    std::weak_ptr<Widget> widget;
};

class GridLayoutManager : public LayoutManager {
public:
    GridLayoutManager(int rows, int columns);

    // Offsets in 96-dpi units, pushing inward from the anchored edge; they
    // count for nothing at a centre anchor. Sets the widget's home position.
    void place(int row, int column, int hAnchor, int vAnchor, int offsetX, int offsetY,
               const std::shared_ptr<Widget>& widget);
    // Moves every panel by the move of its anchor point; expired entries go.
    void resize(int newWidth, int newHeight) override;
    // Every panel back to its home position; expired entries go.
    void resetPositions() override;
    // Drops the expired entries only.
    void dropExpired();
    std::size_t itemCount() const;

    // The anchor point (steps without offsets) and the home position of an item
    // in a grid of this size, for a widget of w x h pixels.
    void anchorPosition(int row, int column, const GridItem& item, int gridW, int gridH, int w, int h, int& outX,
                        int& outY) const;
    void homePosition(int row, int column, const GridItem& item, int w, int h, int& outX, int& outY) const;
    // Every item whose widget is alive, with its cell; expired ones are dropped first.
    void forEachItem(const std::function<void(int, int, const GridItem&, Widget&)>& visit);

    std::vector<std::vector<GridItem>> cells; // columns x row + column
    int32_t x = 0, y = 0;
    int32_t width = 0, height = 0;
    int32_t rows = 5, columns = 5;
};

// The window grid of the program: 5 by 5 over the whole window, resized by
// the window's reshape.
extern GridLayoutManager gLayoutManager;
