#include <gtest/gtest.h>

#include <memory>

#include "core/Globals.h"
#include "widgets/LayoutManager.h"
#include "widgets/Widget.h"

namespace {
struct Scale {
    explicit Scale(float s) { GuiScale = s; }
    ~Scale() { GuiScale = 1.0f; }
};
} // namespace

// Home positions worked by hand from the cell formula: a 1000 x 800 grid of
// 5 x 5 has cells of 200 x 160.
TEST(GridLayout, PanelsKeepTheirCellsAcrossResizes) {
    Scale s(1.0f);
    GridLayoutManager grid(5, 5);
    grid.resize(1000, 800);
    auto topRight = std::make_shared<Widget>(0, 0, 100, 50);
    auto centre = std::make_shared<Widget>(0, 0, 300, 200);
    auto bottomLeft = std::make_shared<Widget>(0, 0, 40, 40);
    grid.place(4, 4, 2, 3, 10, 20, topRight); // right and top edges, pushed in
    grid.place(2, 2, 1, 4, 99, 99, centre);   // offsets count for nothing at a centre
    grid.place(0, 0, 0, 5, 10, 20, bottomLeft);
    // x = 800 + (200 - 100) - 10, y = 640 + (160 - 50) - 20
    EXPECT_EQ(topRight->relX, 890.0f);
    EXPECT_EQ(topRight->relY, 730.0f);
    EXPECT_EQ(centre->relX, 350.0f);
    EXPECT_EQ(centre->relY, 300.0f);
    EXPECT_EQ(bottomLeft->relX, 10.0f);
    EXPECT_EQ(bottomLeft->relY, 20.0f);

    // 1200 x 700: cells of 240 x 140.
    grid.resize(1200, 700);
    EXPECT_EQ(topRight->relX, 960 + 140 - 10);
    EXPECT_EQ(topRight->relY, 560 + 90 - 20);
    EXPECT_EQ(centre->relX, 480 - 30);
    EXPECT_EQ(centre->relY, 280 - 30);
    EXPECT_EQ(bottomLeft->relX, 10.0f);
    EXPECT_EQ(bottomLeft->relY, 20.0f);

    // The same size again changes nothing, even for a panel moved meanwhile.
    topRight->relX = 500;
    grid.resize(1200, 700);
    EXPECT_EQ(topRight->relX, 500.0f);
    // A moved panel keeps its distance from the anchor point.
    grid.resize(1000, 800);
    EXPECT_EQ(topRight->relX, 500.0f - (960 + 140) + (800 + 100));
    grid.resetPositions();
    EXPECT_EQ(topRight->relX, 890.0f);
    EXPECT_EQ(topRight->relY, 730.0f);
}

TEST(GridLayout, OffsetsAreScaledAtGuiScaleTwo) {
    Scale s(2.0f);
    GridLayoutManager grid(5, 5);
    grid.resize(2000, 1600);
    auto panel = std::make_shared<Widget>(0, 0, 100, 50); // 200 x 100 pixels
    grid.place(4, 4, 2, 3, 10, 20, panel);
    // Cells of 400 x 320; offsets 20 and 40 pixels.
    EXPECT_EQ(panel->relX, 1600 + 200 - 20);
    EXPECT_EQ(panel->relY, 1280 + 220 - 40);
    grid.resize(1000, 800);
    EXPECT_EQ(panel->relX, 800 + 0 - 20);
    EXPECT_EQ(panel->relY, 640 + 60 - 40);
}

TEST(GridLayout, ExpiredPanelsAreDropped) {
    Scale s(1.0f);
    GridLayoutManager grid(5, 5);
    auto kept = std::make_shared<Widget>(0, 0, 10, 10);
    grid.place(1, 1, 0, 5, 0, 0, kept);
    {
        auto gone = std::make_shared<Widget>(0, 0, 10, 10);
        grid.place(1, 1, 0, 5, 0, 0, gone);
    }
    EXPECT_EQ(grid.itemCount(), 2u);
    grid.resize(500, 500);
    EXPECT_EQ(grid.itemCount(), 1u);
    EXPECT_EQ(kept->relX, 100.0f);
}
