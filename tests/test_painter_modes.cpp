// Tool switching and the pointer modes of the painter, without GL.
#include <gtest/gtest.h>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "tools/Tool.h"

namespace {
// Counts the activations it sees; stands in for a tool slot.
struct CountingTool : Tool {
    using Tool::Tool;
    void activate() override { ++activations; }
    bool deactivate() override {
        ++deactivations;
        return true;
    }
    int activations = 0, deactivations = 0;
};

class PainterModes : public ::testing::Test {
protected:
    void SetUp() override {
        saved4 = std::move(gPainter.tools[4]);
        saved11 = std::move(gPainter.tools[11]);
        saved8 = std::move(gPainter.tools[8]);
        gPainter.tools[4] = std::make_unique<CountingTool>(&gPainter);
        gPainter.tools[11] = std::make_unique<CountingTool>(&gPainter);
        gPainter.tools[8] = std::make_unique<CountingTool>(&gPainter);
        gPainter.currentTool = gPainter.tools[1].get();
        gApp->currentToolIndex_ = 1;
        gApp->previousToolIndex = 1;
        app().interactionMode = kModeTool;
        gInputState.reset();
    }
    void TearDown() override {
        gPainter.currentTool = gPainter.tools[1].get();
        gApp->currentToolIndex_ = 1;
        gPainter.tools[4] = std::move(saved4);
        gPainter.tools[11] = std::move(saved11);
        gPainter.tools[8] = std::move(saved8);
        app().interactionMode = kModeTool;
        gInputState.reset();
    }
    static Application& app() { return *gApp; }
    CountingTool& counting(int i) { return static_cast<CountingTool&>(*gPainter.tools[static_cast<size_t>(i)]); }
    std::unique_ptr<Tool> saved4, saved11, saved8;
};
} // namespace

TEST_F(PainterModes, SelectingTheCurrentToolChangesNothing) {
    gPainter.selectTool(8);
    EXPECT_EQ(counting(8).activations, 1);
    app().interactionMode = kModePanning;
    gPainter.selectTool(8);
    EXPECT_EQ(counting(8).activations, 1);
    EXPECT_EQ(counting(8).deactivations, 0);
    EXPECT_EQ(app().interactionMode, kModePanning) << "the mode stays as it is";
    gPainter.selectTool(1);
    EXPECT_EQ(counting(8).deactivations, 1);
    EXPECT_EQ(app().interactionMode, kModeTool);
}

// Mirror (11) and perspective (4) never become the tool to return to.
TEST_F(PainterModes, PreviousToolSkipsMirrorAndPerspective) {
    gPainter.selectTool(11); // mirror
    EXPECT_EQ(gApp->previousToolIndex, 1);
    gPainter.selectTool(1); // brush
    EXPECT_EQ(gApp->previousToolIndex, 1) << "leaving the mirror does not record it";
    gPainter.selectTool(11);
    gPainter.selectTool(4);
    EXPECT_EQ(gApp->previousToolIndex, 1);
    gPainter.selectTool(8);
    EXPECT_EQ(gApp->previousToolIndex, 1);
    gPainter.selectTool(1);
    EXPECT_EQ(gApp->previousToolIndex, 8);
}

// Brush and eraser keep their own settings across tool switches.
TEST_F(PainterModes, BrushAndEraserSettingsSurviveSwitches) {
    gCanvas.brush.size = 31;
    gPainter.selectTool(2);
    EXPECT_EQ(gCanvas.brush.mode, 2);
    gCanvas.brush.size = 9;
    gPainter.selectTool(8);
    gPainter.selectTool(1);
    EXPECT_EQ(gCanvas.brush.mode, 1);
    EXPECT_EQ(gCanvas.brush.size, 31);
    gPainter.selectTool(2);
    EXPECT_EQ(gCanvas.brush.size, 9);
    gPainter.selectTool(1);
}

// The size-and-zoom drag locks after more than 5 pixels; sideways moves size
// the brush, up and down zoom about the press point.
TEST_F(PainterModes, SizeAndZoomDrag) {
    gPainter.renderArea = {0, 0, 800, 600};
    gCamera.lookFrom(300);
    gCanvas.brush.size = 40;
    gMaxBrushSize = 2000; // other tests leave it at twice their small canvases
    auto drag = [](int x, int y) {
        gPainter.onMouseDrag(x, y, false);
        gInputState.updatePointer(x, y); // what the dispatcher does after delivery
    };
    gInputState.updatePointer(200, 200);
    gInputState.leftButton = true;
    gApp->engageAxisLock(200, 200); // the state command's first call
    EXPECT_EQ(app().interactionMode, kModeSizeZoom);
    EXPECT_EQ(gInputState.axisLock, 3);
    drag(205, 200); // exactly 5 pixels: undecided
    EXPECT_EQ(gInputState.axisLock, 3);
    EXPECT_EQ(gCanvas.brush.size, 40);
    drag(206, 201); // 6: horizontal wins
    EXPECT_EQ(gInputState.axisLock, 1);
    const int afterFirst = gCanvas.brush.size; // one step right: x 1.1
    EXPECT_EQ(afterFirst, 44);
    drag(208, 201); // two steps: x 1.21
    EXPECT_EQ(gCanvas.brush.size, static_cast<int>(44 * 1.21f));
    drag(205, 201); // three to the left: / 1.1^3
    EXPECT_EQ(gCanvas.brush.size, static_cast<int>(static_cast<int>(44 * 1.21f) / std::pow(1.1f, 3.0f)));

    // Vertical: a press resets the lock; moving up zooms in about the press point.
    gPainter.onMouseButton(0, 0, 300, 300, false);
    EXPECT_EQ(gInputState.axisLock, 2);
    gInputState.updatePointer(300, 300);
    gApp->engageAxisLock(300, 300);
    const float before = gCamera.scale(600);
    drag(300, 303);
    drag(300, 307);
    EXPECT_EQ(gInputState.axisLock, 0);
    EXPECT_GT(gCamera.scale(600), before);
    const float zoomedIn = gCamera.scale(600);
    drag(300, 302); // down: out
    EXPECT_LT(gCamera.scale(600), zoomedIn);
    gCamera.lookFrom(300);
}
