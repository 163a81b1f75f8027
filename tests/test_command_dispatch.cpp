// Keys through the same path the window's key callbacks take (dispatchKey):
// the tool, the painter's own keys, the canvas commands, then for unconsumed
// keys the built-in keys and the application commands. And the state commands
// driven by the held keys at each tick.
#include <gtest/gtest.h>

#include <string>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "canvas/ViewMath.h"
#include "core/Camera.h"
#include "core/CommandActions.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputCallbacks.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "history/LayerPropertyAction.h"
#include "platform/Clock.h"
#include "platform/Settings.h"
#include "widgets/Animator.h"
#include "test_command_support.h"
#include "tools/Tool.h"

namespace {

// A tool that takes every key.
struct KeyEatingTool : Tool {
    using Tool::Tool;
    int onKey(int key, int, int) override {
        keys.push_back(key);
        return 1;
    }
    std::vector<int> keys;
};

class CommandDispatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        gInputState.reset();
        resetPenState();
        resetInputCallbacks();
        InputDispatcher& d = InputDispatcher::instance();
        d.listeners.clear();
        d.exclusive = nullptr;
        d.add(gApp->painter);
        setInputHost(gApp);
        setMode(kModeTool);
        gApp->Application::busy = false;
        gApp->cancelRequested = false;
        // Brush current, both special tools' flags clear.
        gPainter.selectTool(1);
        gPainter.tools[4]->enabled = false;
        gPainter.tools[11]->enabled = false;
        gPainter.renderArea = {0, 0, 800, 600};
        gCamera.lookFrom(fitHeight(gCanvas.width, gCanvas.height, 800, 600));
        savedMaxBrushSize = gMaxBrushSize;
        savedBrushSize = gCanvas.brush.size;
        gCanvas.brush.size = 50;
        gMaxBrushSize = 2048;
        commands::createCommands(*gApp, gPainter);
        gApp->lastMessage.clear();
        // Other tests of this binary leave actions in the program's history.
        gHistory.freeSnapshots(); // indexes of earlier tests' snapshots must not linger
        gHistory.clear();
        gHistory.redoList.clear();
        gHistory.replayPending = false;
    }
    void TearDown() override {
        InputDispatcher& d = InputDispatcher::instance();
        d.listeners.clear();
        d.exclusive = nullptr;
        setInputHost(nullptr);
        setMode(kModeTool);
        gPainter.selectTool(1);
        gMaxBrushSize = savedMaxBrushSize;
        gCanvas.brush.size = savedBrushSize;
    }
    static void setMode(int mode) { static_cast<Application*>(gApp)->interactionMode = mode; }
    static int mode() { return gApp->interactionMode(); }
    // Runs the eased view moves to their end on a fake clock.
    void finishAnimations() {
        int32_t now = platform::nowMs();
        platform::setClockOverride([&now] { return now; });
        for (int i = 0; i < 60; ++i) {
            now += 20;
            AnimatorRegistry::instance().tick();
        }
        platform::setClockOverride({});
    }
    static void press(int code) { dispatchKey(code, gInputState.mouseX, gInputState.mouseY); }
    // The tick's part for the held flags as they are now.
    static void tick() { commands::offerModifierMask(*gApp, gInputState, gCanvas); }

    TempSettingsFolder folder; // no stored bindings unless a test writes some
    int savedMaxBrushSize = 0, savedBrushSize = 0;
};

} // namespace

TEST_F(CommandDispatchTest, CommandListsHoldTheDefaults) {
    ASSERT_EQ(gApp->stateCommands.size(), 4u);
    ASSERT_EQ(gApp->applicationCommands.size(), 13u);
    ASSERT_EQ(gPainter.commands.size(), 4u);
    EXPECT_EQ(gApp->stateCommands[0]->bindings, (std::vector<int32_t>{0x400, 0x4400, 0x10000}));
    EXPECT_EQ(gApp->stateCommands[1]->bindings, (std::vector<int32_t>{0x2000, 0x6000, 0x28000}));
    EXPECT_EQ(gApp->stateCommands[2]->bindings, (std::vector<int32_t>{0x800, 0x4800, 0x1800, 0x5800}));
    EXPECT_EQ(gApp->stateCommands[3]->bindings, (std::vector<int32_t>{0xC00, 0x4C00, 0x2800, 0x6800}));
    const char* appNames[] = {"new image", "show help dialog", "show settings", "toggle reference view",
                              "new layer", "layer merge", "flip canvas", "fit to window", "zoom 100%",
                              "fill", "bucket fill", "gradient", "mirror"};
    for (size_t i = 0; i < 13; ++i) EXPECT_EQ(gApp->applicationCommands[i]->name, appNames[i]);
    const char* canvasNames[] = {"zoom in", "zoom out", "decr. brush size", "incr. brush size"};
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(gPainter.commands[i]->name, canvasNames[i]);
}

TEST_F(CommandDispatchTest, ToolCommandsSelectTheirTools) {
    press(0x66); // f
    EXPECT_EQ(gApp->currentToolIndex(), 9);
    press(0x847); // CTRL+G
    EXPECT_EQ(gApp->currentToolIndex(), 8);
    press(0x84D); // CTRL+M
    EXPECT_EQ(gApp->currentToolIndex(), 11);
    EXPECT_EQ(gApp->previousToolIndex, 8);
}

TEST_F(CommandDispatchTest, FitToWindowAndZoom100MoveTheCamera) {
    gCamera.rotation = 30;
    gCamera.setRotation();
    gCamera.position = {40, -25, 90};
    gCamera.distance = 90;
    press(0x63); // c
    finishAnimations();
    const float fit = fitHeight(gCanvas.width, gCanvas.height, 800, 600);
    EXPECT_FLOAT_EQ(gCamera.position.z, fit);
    EXPECT_FLOAT_EQ(gCamera.distance, fit);
    EXPECT_FLOAT_EQ(gCamera.position.x, 0);
    EXPECT_FLOAT_EQ(gCamera.rotation, 0);
    char expected[64];
    std::snprintf(expected, sizeof expected, "reset canvas position (zoom: %d%%)",
                  static_cast<int>(600 / (2 * fit) * 100));
    EXPECT_EQ(gApp->lastMessage, expected);

    press(0x831); // CTRL+1
    finishAnimations();
    EXPECT_FLOAT_EQ(gCamera.scale(600), 1.0f);
    EXPECT_EQ(gApp->lastMessage, "reset canvas position (zoom: 100%)");

    gCamera.position.x = 17;
    press(0x830); // CTRL+0
    finishAnimations();
    EXPECT_FLOAT_EQ(gCamera.position.z, fit);
    EXPECT_FLOAT_EQ(gCamera.position.x, 0);
}

TEST_F(CommandDispatchTest, PlusAndMinusZoomAtThePointer) {
    gInputState.mouseX = 600;
    gInputState.mouseY = 200;
    const math::Vec2 under = gPainter.windowToCanvas({600, 200});
    const float before = gCamera.distance;
    press('+');
    EXPECT_NEAR(gCamera.distance, before / 1.3f, 1e-3f);
    const math::Vec2 after = gPainter.windowToCanvas({600, 200});
    EXPECT_NEAR(after.x, under.x, 0.01f);
    EXPECT_NEAR(after.y, under.y, 0.01f);
    char expected[32];
    std::snprintf(expected, sizeof expected, "zoom: %d%%", static_cast<int>(gCamera.scale(600) * 100));
    EXPECT_EQ(gApp->lastMessage, expected);
    press('-');
    EXPECT_NEAR(gCamera.distance, before, 1e-2f);
}

TEST_F(CommandDispatchTest, BracketsStepTheBrushSize) {
    press(']');
    EXPECT_EQ(gCanvas.brush.size, 65);
    EXPECT_EQ(gApp->lastMessage, "brush size: 65");
    press(0xF9);
    EXPECT_EQ(gCanvas.brush.size, 84);
    press('[');
    EXPECT_EQ(gCanvas.brush.size, 64);
    press(0xE0);
    EXPECT_EQ(gCanvas.brush.size, 49);
    EXPECT_EQ(gApp->lastMessage, "brush size: 49");
}

TEST_F(CommandDispatchTest, BrushSizeStepsAtTheLimits) {
    gCanvas.brush.size = 1;
    press('[');
    EXPECT_EQ(gCanvas.brush.size, 1);
    press(']'); // int(1.3) changes nothing, so one more
    EXPECT_EQ(gCanvas.brush.size, 2);
    press(']');
    EXPECT_EQ(gCanvas.brush.size, 3);
    gCanvas.brush.size = 2000;
    press(']');
    EXPECT_EQ(gCanvas.brush.size, 2048);
    EXPECT_EQ(commands::increasedBrushSize(3, 1.3f, 100), 4);
    EXPECT_EQ(commands::decreasedBrushSize(100, 1.3f), 76);
}

TEST_F(CommandDispatchTest, AKeyTheToolConsumesReachesNoCommand) {
    KeyEatingTool eater(&gPainter);
    Tool* brush = gPainter.currentTool;
    gPainter.currentTool = &eater;
    const float distance = gCamera.distance;
    press('+');
    press(']');
    press(0x66);
    press('b');
    gPainter.currentTool = brush;
    EXPECT_EQ(eater.keys, (std::vector<int>{'+', ']', 0x66, 'b'}));
    EXPECT_FLOAT_EQ(gCamera.distance, distance);
    EXPECT_EQ(gCanvas.brush.size, 50);
    EXPECT_EQ(gApp->currentToolIndex(), 1);
}

TEST_F(CommandDispatchTest, ACanvasCommandKeepsItsKeyFromTheApplicationCommands) {
    // Bind "bucket fill" to "+" as well: the painter's zoom consumes it first.
    gApp->applicationCommands[10]->bindings.push_back('+');
    press('+');
    EXPECT_EQ(gApp->currentToolIndex(), 1);
    EXPECT_EQ(gApp->lastMessage.rfind("zoom: ", 0), 0u);
}

TEST_F(CommandDispatchTest, SeveralCommandsOnOneKeyAllRun) {
    gApp->applicationCommands[11]->bindings = {0x84D}; // gradient on CTRL+M next to mirror
    press(0x84D);
    EXPECT_EQ(gApp->currentToolIndex(), 11);
    EXPECT_EQ(gApp->previousToolIndex, 8);
}

TEST_F(CommandDispatchTest, StoredBindingsReplaceTheDefaults) {
    platform::writeValue(std::to_string(commands::kZoomIn), "61"); // '='
    platform::writeValue(std::to_string(commands::kBucketFill), "2118|103"); // CTRL+F, g
    commands::createCommands(*gApp, gPainter);
    const float distance = gCamera.distance;
    press('+');
    EXPECT_FLOAT_EQ(gCamera.distance, distance);
    press('=');
    EXPECT_LT(gCamera.distance, distance);
    press('f');
    EXPECT_EQ(gApp->currentToolIndex(), 1);
    press('g');
    EXPECT_EQ(gApp->currentToolIndex(), 9);
    // State commands are never read from the store.
    platform::writeValue(std::to_string(commands::kPanning), "4096");
    commands::createCommands(*gApp, gPainter);
    EXPECT_EQ(gApp->stateCommands[0]->bindings.front(), 0x400);
}

TEST_F(CommandDispatchTest, BuiltInToolKeys) {
    press('e');
    EXPECT_EQ(gApp->currentToolIndex(), 2);
    press('b');
    EXPECT_EQ(gApp->currentToolIndex(), 1);
    press('d'); // the painter's own keys
    EXPECT_EQ(gApp->currentToolIndex(), 6);
    press('r');
    EXPECT_EQ(gApp->currentToolIndex(), 3);
}

TEST_F(CommandDispatchTest, PerspectiveKeyTogglesTheGrid) {
    press(0x104); // F4: the tool becomes current and its activation sets the flag
    EXPECT_EQ(gApp->currentToolIndex(), 4);
    EXPECT_TRUE(gPainter.tools[4]->enabled);
    press(0x104);
    EXPECT_FALSE(gPainter.tools[4]->enabled);
    EXPECT_EQ(gApp->currentToolIndex(), 4);
    press(0x104);
    EXPECT_TRUE(gPainter.tools[4]->enabled);
}

TEST_F(CommandDispatchTest, EscapeWhileBusyAsksToCancel) {
    gApp->Application::busy = true;
    press(27);
    EXPECT_TRUE(gApp->cancelRequested);
    gApp->Application::busy = false;
    gApp->cancelRequested = false;
}

TEST_F(CommandDispatchTest, BuiltInKeysWithoutTargetSaySo) {
    // One layer: nothing to cycle through.
    gApp->lastMessage.clear();
    press('!');
    EXPECT_EQ(gApp->lastMessage, "");
}

TEST_F(CommandDispatchTest, UndoAndRedoRestWithTheTransformTool) {
    // Nothing to undo or redo: nothing happens, and no message.
    press(0x85A);
    press(0x859);
    EXPECT_EQ(gApp->lastMessage, "");
    EXPECT_FALSE(gHistory.replayPending);

    // One step to undo (bookkeeping only: the rebuild would come with the next frame).
    gHistory.add(std::make_unique<LayerVisibilityToggleAction>(gCanvas, gLayers), false);
    ASSERT_EQ(gHistory.actionCount(), 1u);
    gPainter.selectTool(7);
    ASSERT_EQ(gApp->currentToolIndex(), 7);
    press(0x85A);
    EXPECT_EQ(gHistory.actionCount(), 1u) << "CTRL+Z rests while the transform tool is current";
    EXPECT_TRUE(gHistory.redoList.empty());
    EXPECT_FALSE(gHistory.replayPending);
    // The same key with another tool does undo: the key itself reaches the command.
    gPainter.selectTool(1);
    press(0x85A);
    EXPECT_EQ(gHistory.actionCount(), 0u);
    ASSERT_EQ(gHistory.redoList.size(), 1u);
    EXPECT_TRUE(gHistory.replayPending);
    gHistory.replayPending = false;

    gPainter.selectTool(7);
    press(0x859);
    EXPECT_EQ(gHistory.redoList.size(), 1u) << "CTRL+Y rests while the transform tool is current";
    EXPECT_EQ(gHistory.actionCount(), 0u);
    gPainter.selectTool(1);
    const bool visible = gLayers.currentLayer().visible;
    press(0x859);
    EXPECT_TRUE(gHistory.redoList.empty());
    EXPECT_EQ(gHistory.actionCount(), 1u);
    EXPECT_NE(gLayers.currentLayer().visible, visible) << "the redo executed the action";
    gLayers.currentLayer().visible = visible;
    gHistory.clear();
}

// ---- state commands at the tick --------------------------------------------

TEST_F(CommandDispatchTest, HeldSpacePansUntilReleased) {
    gInputState.space = true;
    tick();
    EXPECT_EQ(mode(), kModePanning);
    gInputState.leftButton = true; // SPACE + left button: still panning
    tick();
    EXPECT_EQ(mode(), kModePanning);
    gInputState.shift = true; // an extra key cancels the state
    tick();
    EXPECT_EQ(mode(), kModeTool);
    gInputState.shift = false;
    tick();
    EXPECT_EQ(mode(), kModePanning);
    gInputState.space = false;
    gInputState.leftButton = false;
    tick();
    EXPECT_EQ(mode(), kModeTool);
}

TEST_F(CommandDispatchTest, EachStateKeyHoldsItsMode) {
    struct Case {
        void (*hold)();
        int mode;
    };
    const Case cases[] = {
        {[] { gInputState.middleButton = true; }, kModePanning},
        {[] { gInputState.alt = true; }, kModePicking},
        {[] { gInputState.alt = gInputState.leftButton = true; }, kModePicking},
        {[] { gInputState.rightButton = gInputState.penProximity = true; }, kModePicking},
        {[] { gInputState.ctrl = true; }, kModeRotation},
        {[] { gInputState.ctrl = gInputState.shift = true; }, kModeRotation},
        {[] { gInputState.ctrl = gInputState.shift = gInputState.leftButton = true; }, kModeRotation},
        {[] { gInputState.ctrl = gInputState.space = true; }, kModeSizeZoom},
        {[] { gInputState.ctrl = gInputState.alt = gInputState.leftButton = true; }, kModeSizeZoom},
    };
    for (const Case& c : cases) {
        gInputState.reset();
        c.hold();
        tick();
        EXPECT_EQ(mode(), c.mode);
        gInputState.reset();
        tick();
        EXPECT_EQ(mode(), kModeTool);
    }
    // The right button alone holds nothing.
    gInputState.rightButton = true;
    tick();
    EXPECT_EQ(mode(), kModeTool);
}

TEST_F(CommandDispatchTest, OverTheInterfaceNoStateIsOffered) {
    setMode(kModeInterface);
    gInputState.space = true;
    tick();
    EXPECT_EQ(mode(), kModeInterface);
    gInputState.space = false;
    tick();
    EXPECT_EQ(mode(), kModeInterface);
}

TEST_F(CommandDispatchTest, AxisLockRestsOutsideTheSizeAndZoomDrag) {
    gInputState.ctrl = gInputState.space = true;
    tick();
    ASSERT_EQ(mode(), kModeSizeZoom);
    gInputState.axisLock = 1;
    tick();
    EXPECT_EQ(gInputState.axisLock, 1); // the drag still uses it
    gInputState.ctrl = gInputState.space = false;
    tick();
    EXPECT_EQ(mode(), kModeTool);
    EXPECT_EQ(gInputState.axisLock, 2);
    gInputState.axisLock = 0;
    tick();
    EXPECT_EQ(gInputState.axisLock, 2);
}

TEST_F(CommandDispatchTest, LeavingStateModeSwitchesThroughLeaveMode) {
    // Entering rotation from the size-and-zoom drag leaves the drag: the lock rests.
    gInputState.ctrl = gInputState.space = true;
    tick();
    gInputState.axisLock = 3;
    gInputState.space = false;
    tick();
    EXPECT_EQ(mode(), kModeRotation);
    EXPECT_EQ(gInputState.axisLock, 2);
}

TEST_F(CommandDispatchTest, HeldSpaceDragMovesThePictureWithThePointer) {
    gCamera.rotation = 90; // the picture follows the pointer in any rotation
    gCamera.setRotation();
    dispatchPassiveMotion(300, 200, false);
    gInputState.space = gInputState.leftButton = true;
    tick();
    ASSERT_EQ(mode(), kModePanning);
    dispatchButton(0, 0, 300, 200, false);
    const math::Vec2 grabbed = gPainter.windowToCanvas({300, 200});
    for (int i = 1; i <= 12; ++i) dispatchDrag(300 + 10 * i, 200 - 5 * i, false);
    const math::Vec2 now = gPainter.windowToCanvas({420, 140});
    EXPECT_NEAR(now.x, grabbed.x, 0.01f);
    EXPECT_NEAR(now.y, grabbed.y, 0.01f);
    dispatchButton(0, 1, 420, 140, false);
    EXPECT_FALSE(gCanvas.strokeInProgress());
}
