#include "widgets/ScrollWidgets.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "core/Globals.h"
#include "core/InputState.h"
#include "widgets/DrawHelpers.h"
#include "widgets/Slider.h"

namespace {
constexpr int kLeft = 356, kUp = 357, kRight = 358, kDown = 359;
int inset() { return static_cast<int>(2 * GuiScale); }
} // namespace

// ---- ScrollbarWidget ------------------------------------------------------------------

ScrollbarWidget::ScrollbarWidget(ScrollableWidget* owner_, bool reversed_)
    : Widget(0, 0, 12, 12), owner(owner_), reversed(reversed_) {}

void ScrollbarWidget::extent(int& start, int& end) const {
    if (vertical) {
        start = static_cast<int>(owner->absY) + inset();
        end = static_cast<int>(owner->absY) + static_cast<int>(owner->height) - inset();
    } else {
        start = static_cast<int>(owner->absX) + inset();
        end = static_cast<int>(owner->absX) + static_cast<int>(owner->width) - inset();
    }
}

void ScrollbarWidget::rectangle(int& x, int& y, int& w, int& h) const {
    if (vertical) {
        w = static_cast<int>(width);
        h = static_cast<int>(owner->height);
        x = static_cast<int>(owner->absX) + static_cast<int>(owner->width) - w;
        y = static_cast<int>(owner->absY);
    } else {
        w = static_cast<int>(owner->width);
        h = static_cast<int>(height);
        x = static_cast<int>(owner->absX);
        y = static_cast<int>(owner->absY);
    }
}

void ScrollbarWidget::updateThumb() {
    int start = 0, end = 0;
    extent(start, end);
    const int count = owner->itemCount();
    if (count <= 0) {
        thumbStart = start;
        thumbEnd = end;
        return;
    }
    const float first = static_cast<float>(firstVisible) / static_cast<float>(count);
    const float last = static_cast<float>(owner->visibleCount() + firstVisible) / static_cast<float>(count);
    const float length = static_cast<float>(end - start);
    if (!reversed) {
        thumbStart = first > 0 ? start + static_cast<int>(length * first) : start;
        thumbEnd = last > 0 ? start + static_cast<int>(length * last) : end;
    } else {
        thumbEnd = first > 0 ? end - static_cast<int>(length * first) : end;
        thumbStart = last > 0 ? end - static_cast<int>(length * last) : start;
    }
}

void ScrollbarWidget::ensureVisible(int index) {
    if (index < firstVisible) firstVisible = index;
    else if (index >= firstVisible + owner->visibleCount()) firstVisible = index - owner->visibleCount() + 1;
    firstVisible = std::max(0, firstVisible);
    updateThumb();
}

namespace {
bool canGoForward(const ScrollbarWidget& b) {
    return b.firstVisible + b.owner->visibleCount() - 1 < b.owner->itemCount() - 1;
}
} // namespace

void ScrollbarWidget::stepHigh() {
    if (!reversed) {
        if (canGoForward(*this)) ++firstVisible;
    } else if (firstVisible > 0) {
        --firstVisible;
    }
    updateThumb();
}

void ScrollbarWidget::stepLow() {
    if (!reversed) {
        if (firstVisible > 0) --firstVisible;
    } else if (canGoForward(*this)) {
        ++firstVisible;
    }
    updateThumb();
}

bool ScrollbarWidget::hitTest(int x, int y) const {
    if (!visible) return false;
    int rx = 0, ry = 0, rw = 0, rh = 0;
    rectangle(rx, ry, rw, rh);
    const int in = inset();
    return x >= rx + in && y >= ry + in && x < rx + rw - in && y < ry + rh - in;
}

int ScrollbarWidget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    (void)fromPen;
    if (!dragging && !hitTest(x, y)) return 0;
    if (button != 0) return 1;
    const int p = vertical ? y : x;
    if (state == 1) {
        dragging = false;
        return 1;
    }
    if (p > thumbStart && p < thumbEnd) {
        dragging = true;
        dragPos = static_cast<float>(p);
    } else if (p >= thumbEnd) {
        stepHigh();
    } else {
        stepLow();
    }
    return 1;
}

int ScrollbarWidget::onMouseDrag(int x, int y, bool fromPen) {
    (void)fromPen;
    if (!dragging) return hitTest(x, y) ? 1 : 0;
    if (!anyPointerButtonDown()) return 0;
    const int count = owner->itemCount();
    if (count <= 0) return 1;
    const float step = static_cast<float>(owner->visibleCount()) / static_cast<float>(count) * owner->itemSize();
    if (step <= 0) return 1;
    const float p = static_cast<float>(vertical ? y : x);
    // One item per step of the pointer, so the thumb stays under it.
    while (dragPos + step < p) {
        stepHigh();
        dragPos += step;
    }
    while (dragPos - step > p) {
        stepLow();
        dragPos -= step;
    }
    return 1;
}

int ScrollbarWidget::onMouseWheel(int wheel, int direction, int x, int y) {
    (void)wheel, (void)x, (void)y;
    if (direction < 0) stepHigh();
    else stepLow();
    return 1;
}

bool ScrollbarWidget::update(int elapsedMs, int originX, int originY) {
    Widget::update(elapsedMs, originX, originY);
    setVisible(owner->visibleCount() < owner->itemCount());
    // An emptied list never stays scrolled past its end.
    while (firstVisible > 0 && owner->itemCount() - firstVisible < owner->visibleCount()) --firstVisible;
    if (visible) updateThumb();
    return true;
}

void ScrollbarWidget::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    int rx = 0, ry = 0, rw = 0, rh = 0, start = 0, end = 0;
    rectangle(rx, ry, rw, rh);
    extent(start, end);
    const int in = inset();
    glColor4f(0.5f, 0.5f, 0.5f, a);
    if (vertical) drawRect(rx + in, start, rw - 2 * in, end - start);
    else drawRect(start, ry + in, end - start, rh - 2 * in);
    if (dragging) glColor4f(0, 1, 1, 0.8f * a);
    else glColor4f(1, 1, 1, 0.8f * a);
    const int thumb = thumbEnd - thumbStart;
    if (vertical) drawRect(rx + in, thumbStart, rw - 2 * in, thumb);
    else drawRect(thumbStart, ry + in, thumb, rh - 2 * in);
    if (dragging || (enabled && pointerInside)) {
        glColor4f(1, 1, 1, 0.2f * a);
        if (vertical) drawRect(rx + in, thumbStart, rw - 2 * in, thumb);
        else drawRect(thumbStart, ry + in, thumb, rh - 2 * in);
    }
}

// ---- ScrollableWidget -------------------------------------------------------------------

ScrollableWidget::ScrollableWidget(int x, int y, int width_, int height_, int32_t id_, bool reversed)
    : Widget(x, y, width_, height_, id_), scrollbar(this, reversed) {}

int ScrollableWidget::visibleCount() const {
    const float size = itemSize();
    if (size <= 0) return 0;
    const int along = scrollbar.vertical ? static_cast<int>(height) : static_cast<int>(width);
    return static_cast<int>(static_cast<float>(along) / size);
}

int ScrollableWidget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    if (scrollbar.onMouseButton(button, state, x, y, fromPen) == 1) return 2;
    return Widget::onMouseButton(button, state, x, y, fromPen);
}

int ScrollableWidget::onMouseMove(int x, int y, bool fromPen) {
    scrollbar.onMouseMove(x, y, fromPen);
    return Widget::onMouseMove(x, y, fromPen);
}

int ScrollableWidget::onMouseDrag(int x, int y, bool fromPen) {
    return scrollbar.onMouseDrag(x, y, fromPen) == 1 ? 1 : 0;
}

int ScrollableWidget::onMouseWheel(int wheel, int direction, int x, int y) {
    return pointerInside ? scrollbar.onMouseWheel(wheel, direction, x, y) : 0;
}

bool ScrollableWidget::update(int elapsedMs, int originX, int originY) {
    Widget::update(elapsedMs, originX, originY);
    scrollbar.update(elapsedMs, static_cast<int>(absX), static_cast<int>(absY));
    return true;
}

void ScrollableWidget::draw(float opacity_) {
    if (scrollbar.visible) scrollbar.draw(effectiveAlpha(opacity_));
}

// ---- GridWidget -----------------------------------------------------------------------------

GridWidget::GridWidget(int x, int y, int width_, int height_, int columns_, int rows_, int32_t id_)
    : ScrollableWidget(x, y, width_, height_, id_, true), columns(std::max(1, columns_)), rows(std::max(1, rows_)) {}

int GridWidget::itemCount() const {
    return static_cast<int>((items.size() + static_cast<std::size_t>(columns) - 1) / static_cast<std::size_t>(columns));
}

float GridWidget::itemSize() const { return static_cast<float>(cellHeight()); }

void GridWidget::selectIndex(int index) {
    if (index >= 0 && index < static_cast<int>(items.size())) select(index / columns, index % columns);
}

void GridWidget::select(int row, int column) {
    if (row < 0 || column < 0 || column >= columns) return;
    const int index = columns * row + column;
    if (index >= static_cast<int>(items.size())) return;
    selectedRow = row;
    selectedColumn = column;
    if (onSelect) onSelect(items[static_cast<std::size_t>(index)].get());
    scrollbar.ensureVisible(row);
}

int GridWidget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    const int r = ScrollableWidget::onMouseButton(button, state, x, y, fromPen);
    if (r != 1) return r;
    if (button != 0) return 1;
    const int cellW = cellWidth(), cellH = cellHeight();
    if (cellW <= 0 || cellH <= 0) return 1;
    const int column = static_cast<int>(static_cast<float>(x) - absX) / cellW;
    const int row = rows - 1 + scrollbar.firstVisible - static_cast<int>(static_cast<float>(y) - absY) / cellH;
    if (state == 0) {
        pressRow = row;
        pressColumn = column;
        pressY = static_cast<int>(static_cast<float>(y) - absY);
        return 1;
    }
    if (row == pressRow && column == pressColumn) select(row, column);
    pressY = pressRow = pressColumn = -1;
    return 1;
}

int GridWidget::onMouseDrag(int x, int y, bool fromPen) {
    if (ScrollableWidget::onMouseDrag(x, y, fromPen) == 1) return 1;
    if (!anyPointerButtonDown() || pressY == -1) return 0;
    const int rel = static_cast<int>(static_cast<float>(y) - absY);
    const int d = rel - pressY;
    if (static_cast<float>(std::abs(d)) > itemSize()) {
        pressY = rel;
        // The pointer pulls the rows along: down shows earlier rows.
        if (d < 1) {
            if (scrollbar.firstVisible > 0) --scrollbar.firstVisible;
        } else if (scrollbar.firstVisible + rows < itemCount()) {
            ++scrollbar.firstVisible;
        }
        scrollbar.updateThumb();
    }
    return 1;
}

int GridWidget::onKey(int key, int x, int y) {
    (void)x, (void)y;
    if (!focused) return 0;
    const int k = key & ~(kMaskLeftButton | kMaskRightButton | kMaskMiddleButton | kMaskPenProximity);
    const int row = std::max(0, selectedRow), column = std::max(0, selectedColumn);
    switch (k) {
    case kLeft: select(row, column - 1); return 1;
    case kRight: select(row, column + 1); return 1;
    case kUp: select(row - 1, column); return 1;
    case kDown: select(row + 1, column); return 1;
    default: return 0;
    }
}

bool GridWidget::update(int elapsedMs, int originX, int originY) {
    ScrollableWidget::update(elapsedMs, originX, originY);
    const int cellW = cellWidth(), cellH = cellHeight();
    std::size_t i = 0;
    const std::size_t skipped = std::min(items.size(), static_cast<std::size_t>(columns * scrollbar.firstVisible));
    for (; i < skipped; ++i) items[i]->setVisible(false);
    int y = static_cast<int>(absY) + static_cast<int>(height);
    for (int r = 0; r < rows; ++r) {
        y -= cellH;
        int x = static_cast<int>(absX);
        for (int c = 0; c < columns && i < items.size(); ++c, ++i) {
            std::shared_ptr<Widget> item = items[i];
            item->setVisible(true);
            if (item->enabled) item->update(elapsedMs, x, y);
            x += cellW;
        }
    }
    for (; i < items.size(); ++i) items[i]->setVisible(false);
    return true;
}

void GridWidget::onSizeChanged() {
    for (const auto& item : items) {
        if (hAlign == HAlign::Stretch) item->width = static_cast<float>(cellWidth() - 1);
        if (vAlign == VAlign::Stretch) item->height = static_cast<float>(cellHeight() - 1);
        item->onSizeChanged();
    }
}

void GridWidget::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    const int cellW = cellWidth(), cellH = cellHeight();
    const int top = static_cast<int>(absY) + static_cast<int>(height);
    glColor4f(1, 1, 1, 0.2f * a);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c)
            drawRect(static_cast<int>(absX) + c * cellW + 1, top - (r + 1) * cellH + 1, cellW - 2, cellH - 2);
    for (const auto& item : items)
        if (item->visible) item->draw(a);
    const int shownRow = selectedRow - scrollbar.firstVisible;
    if (selectedRow >= 0 && shownRow >= 0 && shownRow < rows) {
        glColor4f(1, 1, 1, 0.5f * a);
        drawRect(static_cast<int>(absX) + selectedColumn * cellW, top - (shownRow + 1) * cellH, cellW, cellH);
    }
    ScrollableWidget::draw(opacity_);
}

void GridWidget::drawOverlay(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    for (const auto& item : items)
        if (item->visible) item->drawOverlay(a);
}
