// A held state key during a brush stroke ends the stroke at the next tick;
// Shift (straight strokes) does not.
#include <gtest/gtest.h>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "canvas/Shaders.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputCallbacks.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "support/GlTestContext.h"
#include "test_command_support.h"

namespace {
constexpr int kW = 400, kH = 300;

class CommandStrokeGlTest : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        gCanvas.resize(kW, kH, gLayers);
        gCanvas.clearCurrentSurface(0, 0, 0, 0);
        gHistory.freeSnapshots(); // indexes of earlier tests' snapshots must not linger
        gHistory.clear();
        gPainter.renderArea = {0, 0, kW, kH};
        gCamera.lookFrom(kH / 2.0f);
        static_cast<Application*>(gApp)->interactionMode = kModeTool;
        gPainter.selectTool(1);
        resetPenState();
        resetInputCallbacks();
        gInputState.reset();
        setInputHost(gApp);
        dispatcher.listeners.clear();
        dispatcher.exclusive = nullptr;
        dispatcher.add(gApp->painter);
        setDabSink(&gCanvas);
        commands::createCommands(*gApp, gPainter);
    }
    void TearDown() override {
        if (gCanvas.strokeInProgress()) gCanvas.endStroke();
        gCanvas.strokeFrame(false);
        dispatcher.listeners.clear();
        dispatcher.exclusive = nullptr;
        setInputHost(nullptr);
        setDabSink(nullptr);
        gCanvas.freeSurfaces();
        // The resize changed size-dependent uniforms that later tests read.
        setStartupUniforms();
        static_cast<Application*>(gApp)->interactionMode = kModeTool;
        GlTest::TearDown();
    }
    void beginStroke() {
        gInputState.leftButton = true;
        dispatchButton(0, 0, 50, 150, false);
        for (int x = 55; x <= 150; x += 5) dispatchDrag(x, 150, false);
    }
    static void tick() { commands::offerModifierMask(*gApp, gInputState, gCanvas); }

    TempSettingsFolder folder;
    InputDispatcher& dispatcher = InputDispatcher::instance();
};
} // namespace

TEST_F(CommandStrokeGlTest, SpaceDuringAStrokeEndsIt) {
    beginStroke();
    ASSERT_TRUE(gCanvas.strokeInProgress());
    ASSERT_EQ(dispatcher.exclusive, gApp->painter.get());
    tick(); // left button alone: no state, the stroke goes on
    EXPECT_TRUE(gCanvas.strokeInProgress());

    gInputState.space = true; // SPACE + left button: panning
    tick();
    EXPECT_EQ(gApp->interactionMode(), kModePanning);
    EXPECT_FALSE(gCanvas.strokeInProgress());
    EXPECT_EQ(dispatcher.exclusive, nullptr);
    // The drag now pans instead of painting.
    const float panBefore = gCamera.position.x;
    dispatchDrag(180, 150, false);
    EXPECT_NE(gCamera.position.x, panBefore);
    EXPECT_FALSE(gCanvas.strokeInProgress());
}

TEST_F(CommandStrokeGlTest, ShiftDuringAStrokeKeepsIt) {
    beginStroke();
    ASSERT_TRUE(gCanvas.strokeInProgress());
    gInputState.shift = true;
    gApp->engageAxisLock(150, 150); // what a Shift drag does; the mode becomes 7
    ASSERT_EQ(gApp->interactionMode(), kModeSizeZoom);
    tick();
    EXPECT_EQ(gApp->interactionMode(), kModeTool);
    EXPECT_TRUE(gCanvas.strokeInProgress());
    EXPECT_EQ(gInputState.axisLock, 3); // the lock waits on while the stroke lasts
}

// The layer keys and commands add history steps and say what they did.
TEST_F(CommandStrokeGlTest, LayerKeysMakeHistorySteps) {
    ASSERT_EQ(gLayers.count(), 1);
    dispatchKey('!', 0, 0); // one layer: nothing to cycle
    EXPECT_EQ(gHistory.actionCount(), 0u);

    dispatchKey('n', 0, 0);
    EXPECT_EQ(gLayers.count(), 2);
    EXPECT_EQ(gApp->lastMessage, "new layer");
    const int top = gLayers.current;

    dispatchKey('!', 0, 0);
    EXPECT_EQ(gLayers.current, (top + 1) % 2);
    const size_t steps = gHistory.actionCount();
    dispatchKey('!', 0, 0);
    EXPECT_EQ(gLayers.current, top);
    EXPECT_EQ(gHistory.actionCount(), steps); // cycling leaves one entry
    EXPECT_EQ(gApp->lastMessage, "current layer: " + std::to_string(top));

    if (top == 0) dispatchKey('!', 0, 0); // the merge needs the upper layer current
    ASSERT_EQ(gLayers.current, 1);
    dispatchKey('h', 0, 0);
    EXPECT_FALSE(gLayers.layers[1].visible);
    EXPECT_EQ(gApp->lastMessage, "layer 1 visibility OFF");
    dispatchKey(0x845, 0, 0); // CTRL+E: a hidden layer isn't merged
    EXPECT_EQ(gLayers.count(), 2);
    dispatchKey('h', 0, 0);
    EXPECT_EQ(gApp->lastMessage, "layer 1 visibility ON");
    dispatchKey(0x845, 0, 0);
    EXPECT_EQ(gLayers.count(), 1);
    EXPECT_EQ(gApp->lastMessage, "layer merged down");

    const size_t beforeFlip = gHistory.actionCount();
    dispatchKey(0x60, 0, 0);
    EXPECT_EQ(gApp->lastMessage, "horizontal flip");
    dispatchKey(0x846, 0, 0); // CTRL+F: fill with the current colour
    EXPECT_EQ(gHistory.actionCount(), beforeFlip + 2);

    dispatchKey(0x85A, 0, 0); // CTRL+Z
    EXPECT_TRUE(gHistory.replayPending);
    EXPECT_EQ(gHistory.actionCount(), beforeFlip + 1);
    gHistory.replayIfPending();
    dispatchKey(0x859, 0, 0); // CTRL+Y
    EXPECT_EQ(gHistory.actionCount(), beforeFlip + 2);
}
