#include <gtest/gtest.h>

#include <memory>

#include "core/Globals.h"
#include "core/InputState.h"
#include "widgets/ScrollWidgets.h"

namespace {
struct Unscaled {
    Unscaled() { GuiScale = 1.0f; }
};

// A grid of 3 columns by 2 visible rows, 90 x 60 pixels at (100, 200):
// cells of 30 x 30, rows from the top.
struct GridSetup {
    Unscaled u;
    GridWidget grid{100, 200, 90, 60, 3, 2};
    std::vector<std::shared_ptr<Widget>> items;
    explicit GridSetup(int count) {
        for (int i = 0; i < count; ++i) {
            items.push_back(std::make_shared<Widget>(0, 0, 20, 20, i + 1));
            grid.addItem(items.back());
        }
        grid.update(20, 0, 0);
    }
};
} // namespace

TEST(GridWidgetTest, ItemsStandInRowsFromTheTopAndScrollInWholeRows) {
    GridSetup s(10); // 4 rows of items, 2 visible
    EXPECT_EQ(s.grid.itemCount(), 4);
    EXPECT_TRUE(s.grid.scrollbar.visible);
    // Item 0 in the top-left cell: y = 200 + 60 - 30.
    EXPECT_EQ(s.items[0]->absX, 100.0f);
    EXPECT_EQ(s.items[0]->absY, 230.0f);
    EXPECT_EQ(s.items[4]->absX, 130.0f);
    EXPECT_EQ(s.items[4]->absY, 200.0f);
    EXPECT_FALSE(s.items[6]->visible);

    // The wheel away from the user moves on by one row in a reversed list.
    s.grid.onMouseMove(120, 220, false);
    EXPECT_EQ(s.grid.onMouseWheel(0, 1, 120, 220), 1);
    s.grid.update(20, 0, 0);
    EXPECT_EQ(s.grid.scrollbar.firstVisible, 1);
    EXPECT_FALSE(s.items[0]->visible);
    EXPECT_EQ(s.items[3]->absY, 230.0f);
    // Never past the end: rows 2 and 3 are the last two.
    for (int i = 0; i < 5; ++i) s.grid.onMouseWheel(0, 1, 120, 220);
    EXPECT_EQ(s.grid.scrollbar.firstVisible, 2);
    for (int i = 0; i < 5; ++i) s.grid.onMouseWheel(0, -1, 120, 220);
    EXPECT_EQ(s.grid.scrollbar.firstVisible, 0);
}

TEST(GridWidgetTest, ThumbCoversTheVisiblePartFromTheTop) {
    GridSetup s(12); // 4 rows, 2 visible: the thumb is half the track
    // Track from 202 to 258 (2 pixels in at each end), 56 long.
    EXPECT_EQ(s.grid.scrollbar.thumbEnd, 258);
    EXPECT_EQ(s.grid.scrollbar.thumbStart, 258 - 28);
    s.grid.scrollbar.firstVisible = 1;
    s.grid.scrollbar.updateThumb();
    EXPECT_EQ(s.grid.scrollbar.thumbEnd, 258 - 14);
    EXPECT_EQ(s.grid.scrollbar.thumbStart, 258 - 42);
    // A press on the track below the thumb moves one row on.
    EXPECT_EQ(s.grid.onMouseButton(0, 0, 185, 205, false), 2) << "the bar took it";
    EXPECT_EQ(s.grid.scrollbar.firstVisible, 2);
}

TEST(GridWidgetTest, SelectionNeedsPressAndReleaseOnOneCell) {
    GridSetup s(10);
    Widget* chosen = nullptr;
    s.grid.onSelect = [&](Widget* w) { chosen = w; };
    s.grid.onMouseButton(0, 0, 135, 235, false); // row 0, column 1
    s.grid.onMouseButton(0, 1, 165, 235, false); // column 2
    EXPECT_EQ(chosen, nullptr);
    EXPECT_EQ(s.grid.pressRow, -1);
    s.grid.onMouseButton(0, 0, 135, 205, false); // row 1, column 1
    s.grid.onMouseButton(0, 1, 139, 209, false);
    EXPECT_EQ(chosen, s.items[4].get());
    EXPECT_EQ(s.grid.selectedRow, 1);
    EXPECT_EQ(s.grid.selectedColumn, 1);
    // Keys move it while focused; down to row 3 scrolls it into view.
    EXPECT_TRUE(s.grid.focused);
    EXPECT_EQ(s.grid.onKey(359, 0, 0), 1);
    EXPECT_EQ(s.grid.onKey(359, 0, 0), 1);
    EXPECT_EQ(chosen, s.items[7].get());
    EXPECT_EQ(s.grid.selectedRow, 3 - 1);
    s.grid.onKey(359, 0, 0); // row 3 has only item 9, in column 0
    EXPECT_EQ(s.grid.selectedRow, 2) << "no item at row 3, column 1";
    s.grid.onKey(356, 0, 0);
    s.grid.onKey(359, 0, 0);
    EXPECT_EQ(chosen, s.items[9].get());
    EXPECT_EQ(s.grid.scrollbar.firstVisible, 2);
    s.grid.selectIndex(1);
    EXPECT_EQ(s.grid.scrollbar.firstVisible, 0);
    s.grid.selectIndex(10);
    EXPECT_EQ(chosen, s.items[1].get()) << "out of range is ignored";
}

TEST(GridWidgetTest, EmptiedListWalksBackAndFitsWithoutABar) {
    GridSetup s(12);
    s.grid.scrollbar.firstVisible = 2;
    s.grid.items.resize(4); // two rows left
    s.grid.update(20, 0, 0);
    EXPECT_EQ(s.grid.scrollbar.firstVisible, 0);
    EXPECT_FALSE(s.grid.scrollbar.visible);
    s.grid.onMouseMove(120, 220, false);
    s.grid.onMouseWheel(0, 1, 120, 220);
    EXPECT_EQ(s.grid.scrollbar.firstVisible, 0);
}

TEST(GridWidgetTest, DraggingTheThumbMovesOneRowPerStep) {
    GridSetup s(12);
    // Thumb 230..258; step = 2 / 4 x 30 = 15 pixels.
    ASSERT_EQ(s.grid.onMouseButton(0, 0, 185, 245, false), 2);
    ASSERT_TRUE(s.grid.scrollbar.dragging);
    gInputState.leftButton = true;
    EXPECT_EQ(s.grid.onMouseDrag(185, 229, false), 1);
    EXPECT_EQ(s.grid.scrollbar.firstVisible, 1) << "down by 16: one row";
    EXPECT_EQ(s.grid.onMouseDrag(185, 150, false), 1);
    EXPECT_EQ(s.grid.scrollbar.firstVisible, 2) << "never past the end";
    gInputState.leftButton = false;
    s.grid.onMouseButton(0, 1, 185, 150, false);
    EXPECT_FALSE(s.grid.scrollbar.dragging);
}
