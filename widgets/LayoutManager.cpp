#include "widgets/LayoutManager.h"

#include <functional>

#include "core/Globals.h"
#include "widgets/Widget.h"

GridLayoutManager gLayoutManager(5, 5);

GridLayoutManager::GridLayoutManager(int rows_, int columns_)
    : cells(static_cast<std::size_t>(rows_ * columns_)), rows(rows_), columns(columns_) {}

void GridLayoutManager::anchorPosition(int row, int column, const GridItem& item, int gridW, int gridH, int w, int h,
                                       int& outX, int& outY) const {
    const float cellW = static_cast<float>(gridW) / static_cast<float>(columns);
    const float cellH = static_cast<float>(gridH) / static_cast<float>(rows);
    int px = static_cast<int>(static_cast<float>(column) * cellW) + x;
    int py = static_cast<int>(static_cast<float>(row) * cellH) + y;
    if (item.hAnchor == 1) px += static_cast<int>((cellW - static_cast<float>(w)) * 0.5f);
    else if (item.hAnchor == 2) px += static_cast<int>(cellW - static_cast<float>(w));
    if (item.vAnchor == 3) py += static_cast<int>(cellH - static_cast<float>(h));
    else if (item.vAnchor == 4) py += static_cast<int>((cellH - static_cast<float>(h)) * 0.5f);
    outX = px;
    outY = py;
}

void GridLayoutManager::homePosition(int row, int column, const GridItem& item, int w, int h, int& outX,
                                     int& outY) const {
    anchorPosition(row, column, item, width, height, w, h, outX, outY);
    if (item.hAnchor == 0) outX += item.offsetX;
    else if (item.hAnchor == 2) outX -= item.offsetX;
    if (item.vAnchor == 5) outY += item.offsetY;
    else if (item.vAnchor == 3) outY -= item.offsetY;
}

void GridLayoutManager::place(int row, int column, int hAnchor, int vAnchor, int offsetX, int offsetY,
                              const std::shared_ptr<Widget>& widget) {
    if (!widget || row < 0 || row >= rows || column < 0 || column >= columns) return;
    GridItem item;
    item.offsetX = static_cast<int32_t>(static_cast<float>(offsetX) * GuiScale);
    item.offsetY = static_cast<int32_t>(static_cast<float>(offsetY) * GuiScale);
    item.hAnchor = static_cast<int16_t>(hAnchor);
    item.vAnchor = static_cast<int16_t>(vAnchor);
    item.widget = widget;
    int px = 0, py = 0;
    homePosition(row, column, item, static_cast<int>(widget->width), static_cast<int>(widget->height), px, py);
    widget->relX = static_cast<float>(px);
    widget->relY = static_cast<float>(py);
    cells[static_cast<std::size_t>(columns * row + column)].push_back(std::move(item));
}

void GridLayoutManager::forEachItem(const std::function<void(int, int, const GridItem&, Widget&)>& visit) {
    dropExpired();
    for (int row = 0; row < rows; ++row)
        for (int column = 0; column < columns; ++column)
            for (const GridItem& item : cells[static_cast<std::size_t>(columns * row + column)])
                if (std::shared_ptr<Widget> w = item.widget.lock()) visit(row, column, item, *w);
}

void GridLayoutManager::resize(int newWidth, int newHeight) {
    if (newWidth == width && newHeight == height) return;
    forEachItem([&](int row, int column, const GridItem& item, Widget& w) {
        const int ww = static_cast<int>(w.width), wh = static_cast<int>(w.height);
        int ox = 0, oy = 0, nx = 0, ny = 0;
        anchorPosition(row, column, item, width, height, ww, wh, ox, oy);
        anchorPosition(row, column, item, newWidth, newHeight, ww, wh, nx, ny);
        w.relX = static_cast<float>(static_cast<int>(w.relX) - ox + nx);
        w.relY = static_cast<float>(static_cast<int>(w.relY) - oy + ny);
    });
    width = newWidth;
    height = newHeight;
}

void GridLayoutManager::resetPositions() {
    forEachItem([&](int row, int column, const GridItem& item, Widget& w) {
        int px = 0, py = 0;
        homePosition(row, column, item, static_cast<int>(w.width), static_cast<int>(w.height), px, py);
        w.relX = static_cast<float>(px);
        w.relY = static_cast<float>(py);
    });
}

void GridLayoutManager::dropExpired() {
    for (auto& list : cells) std::erase_if(list, [](const GridItem& item) { return item.widget.expired(); });
}

std::size_t GridLayoutManager::itemCount() const {
    std::size_t n = 0;
    for (const auto& list : cells) n += list.size();
    return n;
}
