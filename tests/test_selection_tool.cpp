// The selection tool through the painter, without GL: clicks, free-hand runs,
// closing on the first point, Esc and Ctrl+D, each leaving the actions a
// replay needs.
#include <gtest/gtest.h>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "history/SelectionActions.h"
#include "tools/SelectionTool.h"

namespace {

class SelectionToolTest : public ::testing::Test {
protected:
    void SetUp() override {
        gInputState.reset();
        gHistory.clear();
        gHistory.redoList.clear();
        gCanvas.clearSelection();
        gPainter.tools[6]->reset();
        gPainter.selectTool(6);
    }
    void TearDown() override {
        gPainter.selectTool(1);
        gCanvas.clearSelection();
        gPainter.tools[6]->reset();
        gHistory.clear();
        gHistory.redoList.clear();
        gInputState.reset();
    }
    SelectionTool& tool() { return static_cast<SelectionTool&>(*gPainter.tools[6]); }
    void click(int x, int y) {
        gPainter.onMouseMove(x, y, false);
        gPainter.update(20, 0, 0);
        gPainter.onMouseButton(0, 0, x, y, false);
        gPainter.onMouseButton(0, 1, x, y, false);
    }
    math::Vec2 canvasAt(int x, int y) const {
        return gPainter.windowToCanvas({static_cast<float>(x), static_cast<float>(y)});
    }
    int lastType() const { return gHistory.actionCount() ? gHistory.actions().back()->type() : -1; }
};

} // namespace

TEST_F(SelectionToolTest, ClicksThenAClickOnTheFirstPointClose) {
    click(300, 200);
    // One point only: the first point does not close yet.
    gPainter.onMouseMove(300, 200, false);
    gPainter.update(20, 0, 0);
    EXPECT_FALSE(tool().closeHover);
    click(500, 210);
    click(420, 380);
    ASSERT_EQ(tool().points.size(), 3u);
    EXPECT_EQ(gHistory.actionCount(), 0u);
    // Near the first point, within the reach, and not beyond it.
    gPainter.onMouseMove(340, 200, false);
    gPainter.update(20, 0, 0);
    EXPECT_FALSE(tool().closeHover);
    gPainter.onMouseMove(301, 201, false);
    gPainter.update(20, 0, 0);
    EXPECT_TRUE(tool().closeHover);
    gPainter.onMouseButton(0, 0, 301, 201, false);
    gPainter.onMouseButton(0, 1, 301, 201, false);
    ASSERT_EQ(lastType(), EnableSelectionAction::kTypeCode);
    const auto& enable = static_cast<const EnableSelectionAction&>(*gHistory.actions().back());
    const std::vector<math::Vec2> expected{canvasAt(300, 200), canvasAt(500, 210), canvasAt(420, 380)};
    EXPECT_EQ(enable.points(), expected);
    EXPECT_TRUE(gCanvas.selectionActive);
    EXPECT_EQ(gCanvas.selectionOutline(), expected);
    EXPECT_EQ(gCanvas.selectionTriangles().size(), 3u);
    EXPECT_TRUE(tool().points.empty());
}

TEST_F(SelectionToolTest, APressOnASelectionDropsItAndStartsAnew) {
    click(300, 200);
    click(500, 210);
    click(420, 380);
    click(300, 200);
    ASSERT_TRUE(gCanvas.selectionActive);
    const std::size_t before = gHistory.actionCount();
    click(600, 100);
    EXPECT_FALSE(gCanvas.selectionActive);
    EXPECT_EQ(gHistory.actionCount(), before + 1);
    EXPECT_EQ(lastType(), DisableSelectionAction::kTypeCode);
    ASSERT_EQ(tool().points.size(), 1u);
    EXPECT_EQ(tool().points[0], canvasAt(600, 100));
}

TEST_F(SelectionToolTest, AFreeHandRunIsSmoothedOnRelease) {
    click(100, 100);
    gPainter.onMouseMove(200, 100, false);
    gPainter.onMouseButton(0, 0, 200, 100, false);
    gInputState.leftButton = true;
    for (int i = 1; i <= 10; ++i) gPainter.onMouseDrag(200 + i * 10, 100 + (i % 2 ? 20 : -20), false);
    std::vector<math::Vec2> raw = tool().points;
    gPainter.onMouseButton(0, 1, 310, 100, false);
    gInputState.leftButton = false;
    ASSERT_EQ(tool().points.size(), 12u);
    SelectionTool::smoothRun(raw, 1);
    EXPECT_EQ(tool().points, raw);
    EXPECT_EQ(tool().points[0], canvasAt(100, 100));  // the click before the run stays
    EXPECT_NE(tool().points[5], canvasAt(240, 80));   // the zigzag moved
}

TEST_F(SelectionToolTest, EscapeDropsTheOutline) {
    EXPECT_EQ(gPainter.onKey(27, 0, 0), 0);  // nothing to drop: the key goes on
    click(300, 200);
    click(500, 210);
    EXPECT_EQ(gPainter.onKey(27, 0, 0), 1);
    EXPECT_TRUE(tool().points.empty());
    EXPECT_EQ(gHistory.actionCount(), 0u);
}

TEST_F(SelectionToolTest, CtrlDDropsTheSelectionUnderAnyTool) {
    click(300, 200);
    click(500, 210);
    click(420, 380);
    click(300, 200);
    gPainter.selectTool(1);
    ASSERT_TRUE(gCanvas.selectionActive);
    EXPECT_TRUE(tool().isActive());  // the outline stays animated under the brush
    EXPECT_EQ(gPainter.onKey(kMaskCtrl | 'D', 0, 0), 1);
    EXPECT_FALSE(gCanvas.selectionActive);
    EXPECT_EQ(lastType(), DisableSelectionAction::kTypeCode);
    EXPECT_FALSE(tool().isActive());
    // Entering the tool again with a selection drops it too.
    gPainter.selectTool(6);
    click(300, 200);
    click(500, 210);
    click(420, 380);
    click(300, 200);
    gPainter.selectTool(1);
    const std::size_t before = gHistory.actionCount();
    gPainter.selectTool(6);
    EXPECT_FALSE(gCanvas.selectionActive);
    EXPECT_EQ(gHistory.actionCount(), before + 1);
}
