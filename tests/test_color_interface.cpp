// The colour selector and the colour numbers in the assembled interface: their
// places in a 1000 x 700 window (worked out from the grid cells, anchors and
// offsets), one selector object in the right column and in the right button's
// HUD, and colours chosen in either reaching the canvas's current colour.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputCallbacks.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "core/RenderArea.h"
#include "history/History.h"
#include "support/ProgramInterface.h"
#include "test_command_support.h"
#include "tools/ToolPanel.h"
#include "ui/Interface.h"
#include "widgets/Animator.h"
#include "widgets/ColorSelector.h"
#include "widgets/ColorWidget.h"
#include "widgets/Dialog.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"

namespace {

class ColorInterface : public ::testing::Test {
protected:
    void SetUp() override {
        savedScale = GuiScale;
        GuiScale = 1.0f;
        program = std::make_unique<ProgramInterface>();
        savedColor = gCanvas.currentColor();
        gCanvas.setColor({1, 0, 0});
        program->build();
    }
    void TearDown() override {
        program.reset();
        gCanvas.setColor(savedColor);
        GuiScale = savedScale;
    }

    static std::shared_ptr<ColorWidget> colorNumbers() {
        for (const auto& child : gRightGroup->children)
            if (auto w = std::dynamic_pointer_cast<ColorWidget>(child)) return w;
        return nullptr;
    }
    // The window pixel at `hue` on the ring's middle around (cx, cy).
    static std::pair<int, int> ringPoint(float cx, float cy, float hue) {
        const float a = -hue / math::kDegreesPerRadian;
        return {static_cast<int>(std::lround(cx + 63.75f * std::cos(a))),
                static_cast<int>(std::lround(cy + 63.75f * std::sin(a)))};
    }

    TempSettingsFolder folder;
    float savedScale = 1.0f;
    std::unique_ptr<ProgramInterface> program;
    brush::Rgb savedColor;
};

} // namespace

TEST_F(ColorInterface, TheSelectorAndTheNumbersStandInTheRightColumn) {
    ASSERT_TRUE(gColorSelector);
    // Cell (4, 4) is x 800..1000, y 560..700. Right and top anchors for a
    // 150 x 150 widget: (850, 550); the offsets -73 and -10 push it out by 73
    // and up by 10, and the selector stands by its centre: (923, 560).
    EXPECT_FLOAT_EQ(gColorSelector->absX, 923);
    EXPECT_FLOAT_EQ(gColorSelector->absY, 560);
    // Cell (3, 4) is x 800..1000, y 420..560; a 35 x 20 widget 10 in from the
    // right and 80 down from the top: (955, 460).
    auto numbers = colorNumbers();
    ASSERT_TRUE(numbers);
    EXPECT_FLOAT_EQ(numbers->absX, 955);
    EXPECT_FLOAT_EQ(numbers->absY, 460);
    EXPECT_EQ(numbers->lines()[0], "R 255");
    EXPECT_EQ(numbers->lines()[1], "G   0");
}

TEST_F(ColorInterface, OneSelectorInTheColumnAndTheHud) {
    int inRight = 0, inHud = 0;
    for (const auto& c : gRightGroup->children) inRight += c == gColorSelector;
    for (const auto& c : gHudGroup->children) inHud += c == gColorSelector;
    EXPECT_EQ(inRight, 1);
    EXPECT_EQ(inHud, 1);
}

TEST_F(ColorInterface, AClickOnTheColumnsRingChoosesTheHueWithoutPainting) {
    const std::size_t actions = gHistory.actionCount();
    const auto [x, y] = ringPoint(923, 560, 120);
    dispatchButton(0, 0, x, y, false);
    dispatchButton(0, 1, x, y, false);
    EXPECT_NEAR(gCanvas.colorHsv[0], 120, 1.0f);
    EXPECT_FLOAT_EQ(gCanvas.colorHsv[1], 1);
    EXPECT_FLOAT_EQ(gCanvas.colorHsv[2], 1);
    EXPECT_LT(gCanvas.color[0], 0.02f);
    EXPECT_GT(gCanvas.color[1], 0.99f);
    EXPECT_EQ(gHistory.actionCount(), actions) << "no stroke";
    EXPECT_FALSE(gCanvas.strokeInProgress());
    // The HUD opened elsewhere shows the same colour: its selector is the same object.
    dispatchButton(2, 0, 400, 300, false);
    gGui->update(0, 0, 0);
    EXPECT_FLOAT_EQ(gColorSelector->absX, 400);
    EXPECT_FLOAT_EQ(gColorSelector->absY, 300);
    EXPECT_NEAR(gColorSelector->ringMarker.x, -31.875f, 0.5f);
    EXPECT_NEAR(gColorSelector->ringMarker.y, -55.21f, 0.5f);
}

TEST_F(ColorInterface, TheHudOpensTheSelectorAtThePointerAndItsChoiceStays) {
    const std::size_t actions = gHistory.actionCount();
    dispatchButton(2, 0, 400, 300, false);
    gGui->update(0, 0, 0);
    ASSERT_EQ(InputDispatcher::instance().exclusive, gHudGroup.get());
    EXPECT_FLOAT_EQ(gColorSelector->absX, 400);
    EXPECT_FLOAT_EQ(gColorSelector->absY, 300);
    gInputState.rightButton = true;
    // The right button alone only hovers over the ring.
    const auto [x, y] = ringPoint(400, 300, 240);
    dispatchDrag(x, y, false);
    EXPECT_TRUE(gColorSelector->pointerInside);
    EXPECT_NEAR(gCanvas.colorHsv[0], 0, 1e-4);
    // A left click there, the right button still held, chooses blue.
    dispatchButton(0, 0, x, y, false);
    dispatchButton(0, 1, x, y, false);
    EXPECT_NEAR(gCanvas.colorHsv[0], 240, 1.0f);
    EXPECT_LT(gCanvas.color[0], 0.02f);
    EXPECT_LT(gCanvas.color[1], 0.02f);
    EXPECT_FLOAT_EQ(gCanvas.color[2], 1);
    // The square's upper left corner, dragged out past it: white.
    dispatchButton(0, 0, 400 - 30, 300 + 30, false);
    gInputState.leftButton = true;
    dispatchDrag(400 - 80, 300 + 80, false);
    dispatchButton(0, 1, 400 - 80, 300 + 80, false);
    gInputState.leftButton = false;
    EXPECT_NEAR(gCanvas.colorHsv[0], 240, 1.0f) << "the hue kept";
    EXPECT_FLOAT_EQ(gCanvas.colorHsv[1], 0);
    EXPECT_FLOAT_EQ(gCanvas.colorHsv[2], 1);
    EXPECT_EQ(gCanvas.currentColor(), (brush::Rgb{1, 1, 1}));

    gInputState.rightButton = false;
    dispatchButton(2, 1, x, y, false);
    gGui->update(0, 0, 0);
    EXPECT_FALSE(gHudGroup->visible);
    EXPECT_FLOAT_EQ(gColorSelector->absX, 923) << "back in the column";
    EXPECT_FLOAT_EQ(gColorSelector->absY, 560);
    EXPECT_EQ(colorNumbers()->lines()[2], "B 255");
    EXPECT_EQ(gHistory.actionCount(), actions) << "no stroke";
}

TEST_F(ColorInterface, ARebuildMakesANewSelectorOnTheSameColour) {
    const ColorSelector* old = gColorSelector.get();
    gCanvas.setColorHsv({200, 0.5f, 0.5f});
    rebuildInterface();
    gGui->update(0, 0, 0);
    gGui->update(0, 0, 0);
    ASSERT_TRUE(gColorSelector);
    EXPECT_NE(gColorSelector.get(), old);
    int inHud = 0;
    for (const auto& c : gHudGroup->children) inHud += c == gColorSelector;
    EXPECT_EQ(inHud, 1);
    // Hue 200 at (63.75 cos -200, 63.75 sin -200) = (-59.91, 21.80).
    EXPECT_NEAR(gColorSelector->ringMarker.x, -59.905f, 0.01f);
    EXPECT_NEAR(gColorSelector->ringMarker.y, 21.804f, 0.01f);
}
