// The perspective tool without GL: F4 and the tool bar button, the tool to
// return to, and the handles' input (points, horizon, locking and scattered
// lines), with pointer positions worked out from the camera by hand.
#include <gtest/gtest.h>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputCallbacks.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/InteractionMode.h"
#include "core/PaintingApplication.h"
#include "test_command_support.h"
#include "tools/PerspectiveTool.h"

namespace {
constexpr float kRenderW = 800, kRenderH = 600;

class PerspectiveToolTest : public ::testing::Test {
protected:
    void SetUp() override {
        gInputState.reset();
        resetInputCallbacks();
        InputDispatcher& d = InputDispatcher::instance();
        d.listeners.clear();
        d.exclusive = nullptr;
        d.add(gApp->painter);
        setInputHost(gApp);
        static_cast<Application*>(gApp)->interactionMode = kModeTool;
        gPainter.selectTool(1);
        gApp->previousToolIndex = 1;
        tool().enabled = false;
        gPainter.renderArea = {0, 0, kRenderW, kRenderH};
        // A 1024 x 768 canvas seen from 384: 600 / 768 = 25 / 32 window pixels a
        // canvas pixel, so multiples of 32 land on whole window pixels. No
        // rotation, no pan: the canvas centre is the render area's centre.
        savedWidth = gCanvas.width;
        savedHeight = gCanvas.height;
        gCanvas.width = 1024;
        gCanvas.height = 768;
        gCamera.lookFrom(384);
        gCamera.rotation = 0;
        gCamera.setRotation();
        commands::createCommands(*gApp, gPainter);
        tool().onCanvasCreated(gCanvas.width, gCanvas.height);
        tool().vpFlags = 7;
    }
    void TearDown() override {
        InputDispatcher& d = InputDispatcher::instance();
        d.listeners.clear();
        d.exclusive = nullptr;
        setInputHost(nullptr);
        gPainter.selectTool(1);
        tool().enabled = false;
        tool().vpFlags = 1;
        for (auto& l : tool().customLines) l.clear();
        gInputState.reset();
        gCanvas.width = savedWidth;
        gCanvas.height = savedHeight;
    }
    static PerspectiveTool& tool() { return static_cast<PerspectiveTool&>(*gPainter.tools[4]); }
    static void press(int code) { dispatchKey(code, gInputState.mouseX, gInputState.mouseY); }
    // Window pixels per canvas pixel: render height over twice the eye height.
    static float scale() { return kRenderH / (2 * gCamera.position.z); }
    // A centred canvas point in the window, for the unrotated, unpanned view.
    static math::Vec2 window(math::Vec2 centred) {
        return {kRenderW / 2 + centred.x * scale(), kRenderH / 2 + centred.y * scale()};
    }
    static void move(math::Vec2 w) { gPainter.onMouseMove(static_cast<int>(w.x), static_cast<int>(w.y), false); }
    static void pressAt(math::Vec2 w) {
        gInputState.leftButton = true;
        gPainter.onMouseButton(0, 0, static_cast<int>(w.x), static_cast<int>(w.y), false);
    }
    static void dragTo(math::Vec2 w) { gPainter.onMouseDrag(static_cast<int>(w.x), static_cast<int>(w.y), false); }
    static void release(math::Vec2 w) {
        gInputState.leftButton = false;
        gPainter.onMouseButton(0, 1, static_cast<int>(w.x), static_cast<int>(w.y), false);
    }

    TempSettingsFolder folder;
    int32_t savedWidth = 0, savedHeight = 0;
};
} // namespace

TEST_F(PerspectiveToolTest, StartsOffAndPointsFollowTheCanvasSize) {
    PerspectiveTool fresh(&gPainter);
    EXPECT_FALSE(fresh.isActive()) << "the grid starts switched off";
    fresh.onCanvasCreated(300, 200);
    EXPECT_EQ(fresh.vp[0], math::Vec2(0, 0));
    EXPECT_EQ(fresh.vp[1], math::Vec2(150, 0));
    EXPECT_EQ(fresh.vp[2], math::Vec2(0, -200));
    fresh.customLines[1].push_back({5, 5});
    fresh.vp[0] = {40, 40};
    fresh.onCanvasCreated(640, 480);
    EXPECT_EQ(fresh.vp[0], math::Vec2(0, 0)) << "positions are reset, not scaled";
    EXPECT_EQ(fresh.vp[1], math::Vec2(320, 0));
    EXPECT_EQ(fresh.vp[2], math::Vec2(0, -480));
    EXPECT_TRUE(fresh.customLines[1].empty());
}

// F4 from the brush selects the tool; then it toggles the grid; with another
// tool current and the grid on it switches the grid off, and once more
// selects the tool again. The tool to return to is never 4.
TEST_F(PerspectiveToolTest, F4TogglesAndThePreviousToolIsNeverThePerspectiveTool) {
    press(0x104);
    EXPECT_EQ(gApp->currentToolIndex(), 4);
    EXPECT_TRUE(tool().isActive());
    press(0x104);
    EXPECT_FALSE(tool().isActive());
    EXPECT_EQ(gApp->currentToolIndex(), 4);
    press(0x104);
    EXPECT_TRUE(tool().isActive());
    gPainter.selectTool(8);
    EXPECT_TRUE(tool().isActive()) << "the grid stays in force under another tool";
    EXPECT_EQ(gApp->previousToolIndex, 1) << "leaving the perspective tool does not record it";
    press(0x104);
    EXPECT_FALSE(tool().isActive());
    EXPECT_EQ(gApp->currentToolIndex(), 8);
    press(0x104);
    EXPECT_EQ(gApp->currentToolIndex(), 4);
    EXPECT_TRUE(tool().isActive());
    EXPECT_EQ(gApp->previousToolIndex, 8);
    gPainter.selectTool(1);
    EXPECT_EQ(gApp->previousToolIndex, 8);
}

TEST_F(PerspectiveToolTest, ButtonLeavesForThePreviousToolAndSwitchesTheGridOff) {
    gPainter.selectTool(8);
    togglePerspectiveButton(gPainter);
    EXPECT_EQ(gApp->currentToolIndex(), 4);
    EXPECT_TRUE(tool().isActive());
    togglePerspectiveButton(gPainter);
    EXPECT_EQ(gApp->currentToolIndex(), 8);
    EXPECT_FALSE(tool().isActive());
    EXPECT_NE(gApp->previousToolIndex, 4);
}

// Dragging the first point moves the horizon: the second point takes its
// height. The vertical point moves alone.
TEST_F(PerspectiveToolTest, DraggingPointsKeepsTheHorizonShared) {
    gPainter.selectTool(4);
    tool().vp[1] = {300, 0};
    tool().vp[2] = {-128, -192};
    const math::Vec2 at0 = window(tool().vp[0]);
    move(at0);
    EXPECT_TRUE(tool().hoverVp[0]);
    pressAt(at0);
    EXPECT_TRUE(tool().dragVp[0]);
    // 40 and 30 window pixels away: 40 / s and 30 / s canvas pixels.
    const math::Vec2 target{at0.x + 40, at0.y + 30};
    dragTo(target);
    release(target);
    EXPECT_NEAR(tool().vp[0].x, 40 / scale(), 1e-3f);
    EXPECT_NEAR(tool().vp[0].y, 30 / scale(), 1e-3f);
    EXPECT_NEAR(tool().vp[1].y, 30 / scale(), 1e-3f) << "the second point shares the horizon";
    EXPECT_EQ(tool().vp[1].x, 300.0f);
    EXPECT_FALSE(tool().dragVp[0]) << "the release ends the drag";

    const math::Vec2 at2 = window(tool().vp[2]);
    move(at2);
    ASSERT_TRUE(tool().hoverVp[2]);
    pressAt(at2);
    const math::Vec2 to2{at2.x - 20, at2.y - 50};
    dragTo(to2);
    release(to2);
    EXPECT_NEAR(tool().vp[2].x, -128 - 20 / scale(), 1e-3f);
    EXPECT_NEAR(tool().vp[2].y, -192 - 50 / scale(), 1e-3f);
    EXPECT_NEAR(tool().vp[0].y, 30 / scale(), 1e-3f) << "the vertical point moves alone";
    EXPECT_NEAR(tool().vp[1].y, 30 / scale(), 1e-3f);
}

// On the horizon inside the canvas, away from any point, a press takes the
// line and the drag moves both horizontal points up or down only.
TEST_F(PerspectiveToolTest, TheHorizonLineDragsBothHorizontalPoints) {
    gPainter.selectTool(4);
    tool().vp[1] = {300, 0};
    const math::Vec2 onLine = window({-200, 0});
    move(onLine);
    EXPECT_FALSE(tool().hoverVp[0]);
    EXPECT_TRUE(tool().hoverLine[0]);
    move(window({-200, 20}));
    EXPECT_FALSE(tool().hoverLine[0]) << "20 canvas pixels off the line";
    move(onLine);
    pressAt(onLine);
    EXPECT_TRUE(tool().dragLine[0]);
    dragTo({onLine.x + 100, onLine.y - 60});
    release({onLine.x + 100, onLine.y - 60});
    EXPECT_EQ(tool().vp[0].x, 0.0f);
    EXPECT_NEAR(tool().vp[0].y, -60 / scale(), 1e-3f);
    EXPECT_EQ(tool().vp[1].x, 300.0f);
    EXPECT_NEAR(tool().vp[1].y, -60 / scale(), 1e-3f);
}

// Shift+click locks a point; clicks then scatter lines from it, except
// within a twentieth of the canvas width of the point; Esc unlocks. A hidden
// point is hit all the same.
TEST_F(PerspectiveToolTest, LockedPointScattersLinesUntilUnlocked) {
    gPainter.selectTool(4);
    tool().vpFlags = 1; // the second point is hidden
    tool().vp[1] = {200, 0};
    const math::Vec2 at1 = window(tool().vp[1]);
    move(at1);
    EXPECT_TRUE(tool().hoverVp[1]) << "the hit test does not look at which points show";
    gInputState.shift = true;
    pressAt(at1);
    release(at1);
    gInputState.shift = false;
    EXPECT_TRUE(tool().lockedVp[1]);
    EXPECT_FALSE(tool().dragVp[1]) << "a shift click only locks";

    const math::Vec2 far = window({-150, 100});
    move(far);
    pressAt(far);
    release(far);
    ASSERT_EQ(tool().customLines[1].size(), 1u);
    EXPECT_NEAR(tool().customLines[1][0].x, -150, 1.0f / scale());
    EXPECT_NEAR(tool().customLines[1][0].y, 100, 1.0f / scale());
    // width / 20 is 51.2 canvas pixels for 1024: 40 away adds nothing.
    const math::Vec2 near = window({200 - 40, 0});
    move(near);
    pressAt(near);
    release(near);
    EXPECT_EQ(tool().customLines[1].size(), 1u);
    EXPECT_TRUE(tool().customLines[0].empty());

    press(27);
    EXPECT_FALSE(tool().lockedVp[1]) << "Esc unlocks";
    pressAt(far);
    release(far);
    EXPECT_EQ(tool().customLines[1].size(), 1u);
}
