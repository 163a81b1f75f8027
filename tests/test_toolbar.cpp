// The tool bar: where its panels and buttons stand at GuiScale 1 and 2 (the
// numbers worked out by hand from the bar's margins, gaps and button size),
// the tool tip's rest time, and what its buttons do to the program.
#include <gtest/gtest.h>

#include <memory>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputCallbacks.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "core/RenderArea.h"
#include "history/History.h"
#include "history/LayerPropertyAction.h"
#include "platform/X11Parse.h"
#include "test_command_support.h"
#include "test_input_fakes.h"
#include "tools/Tool.h"
#include "ui/Interface.h"
#include "ui/ToolBar.h"
#include "widgets/Animator.h"
#include "widgets/Dialog.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"
#include "widgets/ImageButton.h"
#include "widgets/VisualMenu.h"

namespace {

class ScaleGuard {
public:
    explicit ScaleGuard(float scale) : saved(GuiScale) { GuiScale = scale; }
    ~ScaleGuard() { GuiScale = saved; }

private:
    float saved;
};

// The program's bar: 8, 10 and 4 buttons.
std::shared_ptr<ToolBar> barOfThreeSections() {
    auto bar = std::make_shared<ToolBar>();
    const int counts[3] = {8, 10, 4};
    for (int s = 0; s < 3; ++s) {
        if (s > 0) bar->addSection();
        for (int i = 0; i < counts[s]; ++i) bar->addButton(0, 0, "", {});
    }
    return bar;
}

struct Expected {
    float x, y;
};

void expectButton(const ToolBar& bar, int section, int index, Expected e) {
    const ImageButton& b = *bar.sections[static_cast<std::size_t>(section)].buttons[static_cast<std::size_t>(index)];
    EXPECT_FLOAT_EQ(b.relX, e.x) << "section " << section << " button " << index;
    EXPECT_FLOAT_EQ(b.relY, e.y) << "section " << section << " button " << index;
}

} // namespace

// At 96 dpi: button 32, gap 3, margin 10. Section heights: 20 + rows x 32 +
// (rows - 1) x 3, so 157 (4 rows), 192 (5 rows), 87 (2 rows); the bar is
// their sum plus two margins between them: 456.
TEST(ToolBarLayout, PanelsAndButtonsAtScale1) {
    ScaleGuard scale(1.0f);
    auto bar = barOfThreeSections();
    EXPECT_FLOAT_EQ(bar->relX, 5);
    EXPECT_FLOAT_EQ(bar->relY, 155);
    EXPECT_FLOAT_EQ(bar->width, 87);
    EXPECT_FLOAT_EQ(bar->height, 456);
    EXPECT_EQ(bar->rowCount, 11);
    ASSERT_EQ(bar->sections.size(), 3u);
    EXPECT_FLOAT_EQ(bar->sections[0].height, 157);
    EXPECT_FLOAT_EQ(bar->sections[1].height, 192);
    EXPECT_FLOAT_EQ(bar->sections[2].height, 87);
    EXPECT_FLOAT_EQ(bar->sections[0].y, 299);
    EXPECT_FLOAT_EQ(bar->sections[1].y, 97);
    EXPECT_FLOAT_EQ(bar->sections[2].y, 0);
    EXPECT_FLOAT_EQ(bar->sections[0].width, 87);
    EXPECT_FLOAT_EQ(bar->sections[1].corners[2].x, 87);
    EXPECT_FLOAT_EQ(bar->sections[1].corners[2].y, 192);
    // Top left button: one margin in from the bar's top left corner.
    expectButton(*bar, 0, 0, {10, 414});
    expectButton(*bar, 0, 1, {45, 414});
    expectButton(*bar, 0, 2, {10, 379});
    // Last row of each panel: one margin above the panel's bottom.
    expectButton(*bar, 0, 7, {45, 309});
    expectButton(*bar, 1, 0, {10, 247});
    expectButton(*bar, 1, 9, {45, 107});
    expectButton(*bar, 2, 0, {10, 45});
    expectButton(*bar, 2, 3, {45, 10});
}

TEST(ToolBarLayout, EverythingDoublesAtScale2) {
    ScaleGuard scale(2.0f);
    auto bar = barOfThreeSections();
    EXPECT_FLOAT_EQ(bar->relX, 10);
    EXPECT_FLOAT_EQ(bar->relY, 310);
    EXPECT_FLOAT_EQ(bar->width, 174);
    EXPECT_FLOAT_EQ(bar->height, 912);
    EXPECT_FLOAT_EQ(bar->sections[0].y, 598);
    EXPECT_FLOAT_EQ(bar->sections[1].y, 194);
    EXPECT_FLOAT_EQ(bar->sections[2].y, 0);
    expectButton(*bar, 0, 0, {20, 828});
    expectButton(*bar, 0, 7, {90, 618});
    expectButton(*bar, 1, 9, {90, 214});
    expectButton(*bar, 2, 3, {90, 20});
    const ImageButton& b = *bar->sections[0].buttons[0];
    EXPECT_FLOAT_EQ(b.width, 64);
    EXPECT_FLOAT_EQ(b.height, 64);
}

TEST(ToolBarLayout, AnOddPanelEndsWithOneButtonInTheLeftColumn) {
    ScaleGuard scale(1.0f);
    ToolBar bar;
    for (int i = 0; i < 3; ++i) bar.addButton(0, 0, "", {});
    // Two rows: 20 + 2 x 32 + 3.
    EXPECT_FLOAT_EQ(bar.height, 87);
    expectButton(bar, 0, 0, {10, 45});
    expectButton(bar, 0, 1, {45, 45});
    expectButton(bar, 0, 2, {10, 10});
}

TEST(ToolBarLayout, ClearLeavesOneEmptyPanel) {
    ScaleGuard scale(1.0f);
    auto bar = barOfThreeSections();
    bar->clear();
    EXPECT_TRUE(bar->children.empty());
    EXPECT_EQ(bar->rowCount, 0);
    ASSERT_EQ(bar->sections.size(), 1u);
    EXPECT_FLOAT_EQ(bar->sections[0].height, 20);
    EXPECT_EQ(bar->sections[0].buttonCount, 0);
}

// ---- the tool tip ------------------------------------------------------------------

namespace {
class ToolTipTest : public ::testing::Test {
protected:
    void SetUp() override {
        hideToolTip();
        setToolTipPointerSource([this](int& x, int& y) { x = px, y = py; });
        button = std::make_shared<ImageButton>(100, 200, 1, 7, "undo [CTRL+Z]", nullptr, nullptr);
        button->update(0, 0, 0);
    }
    void TearDown() override {
        setToolTipPointerSource({});
        hideToolTip();
    }
    // Ticks of 20 ms until the tip shows; the time rested when it did (or -1).
    int restUntilTip(int limitMs) {
        for (int t = 20; t <= limitMs; t += 20) {
            button->update(20, 0, 0);
            if (gToolTip.x >= 0) return t;
        }
        return -1;
    }
    ScaleGuard scale{1.0f};
    int px = 110, py = 210;
    std::shared_ptr<ImageButton> button;
};
} // namespace

TEST_F(ToolTipTest, ShowsOnlyAfterARestOfMoreThanHalfASecond) {
    // Updates add 20 ms while the rest is at most 500 ms; the next one places the tip.
    EXPECT_EQ(restUntilTip(500), -1);
    hideToolTip();
    button->hoverMs = 0;
    EXPECT_EQ(restUntilTip(2000), 540);
    EXPECT_EQ(gToolTip.x, 132) << "right of the button";
    EXPECT_EQ(gToolTip.y, 200);
    EXPECT_EQ(gToolTip.text, "undo [CTRL+Z]");
}

TEST_F(ToolTipTest, AOnePixelMoveStartsTheWaitAgain) {
    EXPECT_EQ(restUntilTip(400), -1);
    // The dispatch hides the tip on every move, and the button starts counting afresh.
    px += 1;
    hideToolTip();
    button->onMouseMove(px, py, false);
    EXPECT_EQ(restUntilTip(500), -1);
    EXPECT_EQ(restUntilTip(100), 40);
}

TEST_F(ToolTipTest, NoTipOutsideOrWhenDisabledOrEmpty) {
    px = 50;
    EXPECT_EQ(restUntilTip(1000), -1);
    px = 110;
    button->enabled = false;
    EXPECT_EQ(restUntilTip(1000), -1);
    button->enabled = true;
    button->tooltip.clear();
    EXPECT_EQ(restUntilTip(1000), -1);
}

// ---- the buttons drive the program ------------------------------------------------------

namespace {
class ToolBarButtons : public ::testing::Test {
protected:
    void SetUp() override {
        gInputState.reset();
        InputDispatcher& d = InputDispatcher::instance();
        d.listeners.clear();
        d.exclusive = nullptr;
        commands::createCommands(*gApp, gPainter);
        gPainter.selectTool(1);
        gPainter.tools[4]->enabled = false;
        gPainter.tools[11]->enabled = false;
        gHistory.freeSnapshots();
        gHistory.clear();
        gHistory.redoList.clear();
        gHistory.replayPending = false;
        bar = std::make_shared<ToolBar>();
        fillToolBar(*bar, *gApp, gPainter);
        bar->update(0, 0, 0);
    }
    void TearDown() override {
        gPainter.selectTool(1);
        gPainter.tools[4]->enabled = false;
        gPainter.tools[11]->enabled = false;
        gHistory.replayPending = false;
    }
    // Press and release on the centre of a button, through the bar.
    void click(int section, int index) {
        const ImageButton& b = *bar->sections[static_cast<std::size_t>(section)].buttons[static_cast<std::size_t>(index)];
        const int x = static_cast<int>(b.absX + b.width / 2), y = static_cast<int>(b.absY + b.height / 2);
        ASSERT_EQ(bar->onMouseButton(0, 0, x, y, false), 1);
        ASSERT_EQ(bar->onMouseButton(0, 1, x, y, false), 1);
    }
    ImageButton& button(int section, int index) {
        return *bar->sections[static_cast<std::size_t>(section)].buttons[static_cast<std::size_t>(index)];
    }
    ScaleGuard scale{1.0f};
    TempSettingsFolder folder;
    std::shared_ptr<ToolBar> bar;
};
} // namespace

TEST_F(ToolBarButtons, ThePanelsHoldTheProgramsButtons) {
    ASSERT_EQ(bar->sections.size(), 3u);
    EXPECT_EQ(bar->sections[0].buttonCount, 8);
    EXPECT_EQ(bar->sections[1].buttonCount, 10);
    EXPECT_EQ(bar->sections[2].buttonCount, 4);
    // Icons from the atlas, rows counted from its bottom.
    EXPECT_EQ(button(0, 0).iconColumn, 0);
    EXPECT_EQ(button(0, 0).iconRow, 7);
    EXPECT_EQ(button(1, 9).iconColumn, 5);
    EXPECT_EQ(button(1, 9).iconRow, 5);
    EXPECT_EQ(button(2, 3).iconColumn, 2);
    EXPECT_EQ(button(2, 3).iconRow, 7);
    // Tool tips carry the keys as they are bound now.
    EXPECT_EQ(button(0, 0).tooltip, "new image [CTRL+N]");
    EXPECT_EQ(button(0, 2).tooltip, "undo [CTRL+Z]");
    EXPECT_EQ(button(1, 1).tooltip, "eraser [e]");
    EXPECT_EQ(button(1, 0).tooltip,
              "[press button]: select brush [b]\n[CTRL+press button]: open brush properties dialog [F5]");
    EXPECT_EQ(button(0, 4).tooltip,
              "[press button]: fit canvas to window [CTRL+0|c]\n[CTRL+press button]: zoom 100% [CTRL+1]");
}

TEST_F(ToolBarButtons, ToolButtonsSelectTheirToolAndShowIt) {
    const int tools[] = {1, 2, 9, 8, 3, 6, 5, 12};
    for (int i = 0; i < 8; ++i) {
        click(1, i);
        EXPECT_EQ(gApp->currentToolIndex(), tools[i]) << "button " << i;
        for (int j = 0; j < 8; ++j) EXPECT_EQ(button(1, j).active(), i == j) << "button " << j << " after " << i;
    }
    EXPECT_FALSE(button(0, 0).active()) << "a button without predicate never shows active";
}

TEST_F(ToolBarButtons, ACommandButtonRunsTheKeysCommand) {
    // The very objects the keys run: a changed action shows through the button.
    int settings = 0, fit = 0, zoom = 0;
    for (auto& c : gApp->applicationCommands) {
        if (c->id == commands::kShowSettings) c->action = [&settings] { return ++settings; };
        if (c->id == commands::kFitToWindow) c->action = [&fit] { return ++fit; };
        if (c->id == commands::kZoom100) c->action = [&zoom] { return ++zoom; };
    }
    click(0, 6);
    EXPECT_EQ(settings, 1);
    click(0, 4);
    EXPECT_EQ(fit, 1);
    EXPECT_EQ(zoom, 0);
    gInputState.ctrl = true;
    click(0, 4);
    gInputState.ctrl = false;
    EXPECT_EQ(fit, 1);
    EXPECT_EQ(zoom, 1) << "with Ctrl held the fit button zooms to 100%";
}

TEST_F(ToolBarButtons, UndoRestsWhileTheTransformToolIsCurrent) {
    gHistory.add(std::make_unique<LayerVisibilityToggleAction>(gCanvas, gLayers), false);
    gPainter.selectTool(7);
    click(0, 2);
    EXPECT_EQ(gHistory.actionCount(), 1u);
    EXPECT_FALSE(gHistory.replayPending);
    gPainter.selectTool(1);
    click(0, 2);
    EXPECT_EQ(gHistory.actionCount(), 0u);
    EXPECT_TRUE(gHistory.replayPending);
    gHistory.replayPending = false;
    // Redo alike.
    gPainter.selectTool(7);
    click(0, 3);
    EXPECT_EQ(gHistory.actionCount(), 0u);
    gPainter.selectTool(1);
    click(0, 3);
    EXPECT_EQ(gHistory.actionCount(), 1u);
}

TEST_F(ToolBarButtons, ThePerspectiveButtonPressedTwiceReturnsToTheToolBefore) {
    gPainter.selectTool(8);
    click(1, 8);
    EXPECT_EQ(gApp->currentToolIndex(), 4);
    click(1, 8);
    EXPECT_EQ(gApp->currentToolIndex(), 8);
    EXPECT_FALSE(gPainter.tools[4]->enabled) << "leaving by the button switches the grid off";
    // The mirror alike, and neither enters the tool to return to.
    click(1, 9);
    click(1, 8);
    click(1, 8);
    EXPECT_EQ(gApp->currentToolIndex(), 8);
}

TEST_F(ToolBarButtons, APressOnTheGapsDragsTheBar) {
    // Between the two columns of the first row.
    const ImageButton& left = button(0, 0);
    const int x = static_cast<int>(left.absX + left.width + 1), y = static_cast<int>(left.absY + 5);
    EXPECT_EQ(bar->onMouseButton(0, 0, x, y, false), 1);
    gInputState.leftButton = true;
    EXPECT_EQ(bar->onMouseDrag(x + 30, y - 20, false), 1);
    EXPECT_EQ(bar->onMouseDrag(x + 40, y - 25, false), 1);
    EXPECT_FLOAT_EQ(bar->relX, 5 + 40);
    EXPECT_FLOAT_EQ(bar->relY, 155 - 25);
    gInputState.leftButton = false;
    EXPECT_EQ(bar->onMouseButton(0, 1, x + 40, y - 25, false), 1);
    // A press outside the bar is not taken and drags nothing.
    EXPECT_EQ(bar->onMouseButton(0, 0, 600, 600, false), 0);
    gInputState.leftButton = true;
    bar->onMouseDrag(650, 650, false);
    EXPECT_FLOAT_EQ(bar->relX, 45);
    gInputState.leftButton = false;
}

// ---- menus ------------------------------------------------------------------------

namespace {
class MenuTest : public ::testing::Test {
protected:
    void SetUp() override {
        area = {0, 0, 800, 600};
        savedRoot = gGui;
        gGui = std::make_shared<GUI>(&area);
        InputDispatcher& d = InputDispatcher::instance();
        d.listeners.clear();
        d.exclusive = nullptr;
        d.add(gGui);
        d.add(listener);
        gInputState.reset();
        resetInputCallbacks();
        setInputHost(&host);
        setModalWait([](const std::function<bool()>&) {});
    }
    void TearDown() override {
        closeAllDialogs();
        AnimatorRegistry::instance().clear();
        InputDispatcher& d = InputDispatcher::instance();
        d.listeners.clear();
        d.exclusive = nullptr;
        setInputHost(nullptr);
        setModalWait({});
        gGui = savedRoot;
    }
    ScaleGuard scale{1.0f};
    RenderArea area;
    std::shared_ptr<GUI> savedRoot;
    FakeHost host;
    std::shared_ptr<RecordingListener> listener = std::make_shared<RecordingListener>("canvas");
};
} // namespace

TEST_F(MenuTest, EscClosesAnOpenMenuAndNoOneElseSeesIt) {
    auto menu = makeFileMenu(true);
    menu->show(100, 200);
    gGui->update(0, 0, 0);
    ASSERT_EQ(topDialog(), menu.get());
    ASSERT_EQ(InputDispatcher::instance().exclusive, menu.get());
    dispatchKey(27, 10, 10);
    EXPECT_EQ(dialogStackSize(), 0u);
    EXPECT_TRUE(host.unconsumed.empty()) << "the application did not see the Esc";
    EXPECT_TRUE(listener->own.empty());
    // Another Esc now reaches the application.
    dispatchKey(27, 10, 10);
    EXPECT_EQ(host.unconsumed, std::vector<int>{27});
}

TEST_F(MenuTest, AClickOutsideOnlyClosesTheMenu) {
    auto menu = makeFileMenu(false);
    menu->show(100, 200);
    gGui->update(0, 0, 0);
    ASSERT_EQ(menu->children.size(), 2u);
    dispatchButton(0, 0, 500, 500, false);
    EXPECT_EQ(dialogStackSize(), 0u);
    EXPECT_TRUE(listener->own.empty()) << "the press went to the menu alone";
}

TEST_F(MenuTest, TheMenuStandsWhereItWasAskedTo) {
    auto menu = makeFileMenu(true);
    menu->show(92, 380);
    gGui->update(0, 0, 0);
    EXPECT_FLOAT_EQ(menu->absX, 92);
    EXPECT_FLOAT_EQ(menu->absY, 380);
    EXPECT_FLOAT_EQ(menu->width, 200);
    EXPECT_FLOAT_EQ(menu->height, 87);
}

// ---- GuiScale from the X server ---------------------------------------------------------

TEST(GuiScaleFromX, XftDpiFirstThenThePhysicalSize) {
    using platform::guiScaleFor;
    // 1280 pixels on 338 mm are 96 dpi; 2560 on the same width 192.
    EXPECT_FLOAT_EQ(guiScaleFor(nullptr, nullptr, 1280, 338), 1.0f);
    EXPECT_FLOAT_EQ(guiScaleFor(nullptr, nullptr, 2560, 338), 2.0f);
    // 3840 on 600 mm: 162.6 dpi, 1.69, nearest half step 1.5.
    EXPECT_FLOAT_EQ(guiScaleFor(nullptr, nullptr, 3840, 600), 1.5f);
    // Xvfb's 100 dpi stays at 1; low densities never shrink the interface.
    EXPECT_FLOAT_EQ(guiScaleFor(nullptr, nullptr, 1280, 325), 1.0f);
    EXPECT_FLOAT_EQ(guiScaleFor(nullptr, nullptr, 1024, 600), 1.0f);
    // Unknown or absurd sizes.
    EXPECT_FLOAT_EQ(guiScaleFor(nullptr, nullptr, 1280, 0), 1.0f);
    EXPECT_FLOAT_EQ(guiScaleFor(nullptr, nullptr, 0, 0), 1.0f);
    // Xft.dpi wins over the size, the override over both.
    EXPECT_FLOAT_EQ(guiScaleFor("Xft.dpi: 192\n", nullptr, 1280, 338), 2.0f);
    EXPECT_FLOAT_EQ(guiScaleFor("Xft.antialias: 1\n", nullptr, 2560, 338), 2.0f);
    EXPECT_FLOAT_EQ(guiScaleFor("Xft.dpi: 96\n", "2", 1280, 338), 2.0f);
}

// ---- the assembly, the HUD and the rebuild -----------------------------------------------

#include "support/ProgramInterface.h"
#include "tools/ToolPanel.h"
#include "ui/NotificationWidget.h"
#include "widgets/CustomViewWidget.h"
#include "widgets/LayoutManager.h"
#include "widgets/Slider.h"

namespace {
class InterfaceTest : public ::testing::Test {
protected:
    void SetUp() override {
        program = std::make_unique<ProgramInterface>();
        savedSize = gCanvas.brush.size;
        gCanvas.brush.size = 40;
        program->build();
    }
    void TearDown() override {
        program.reset();
        gCanvas.brush.size = savedSize;
    }
    ScaleGuard scale{1.0f};
    TempSettingsFolder folder;
    std::unique_ptr<ProgramInterface> program;
    int savedSize = 0;
};
} // namespace

TEST_F(InterfaceTest, TheRootHoldsThePanelsInTheirOrder) {
    ASSERT_EQ(gGui->children.size(), 8u);
    EXPECT_EQ(gGui->children[0], gNavigator);
    EXPECT_EQ(gGui->children[1], gBottomGroup);
    EXPECT_EQ(gGui->children[2], gRightGroup);
    EXPECT_EQ(gGui->children[3], gHudGroup);
    EXPECT_EQ(gGui->children[4], gToolBar);
    EXPECT_EQ(gGui->children[5], gApp->notification);
    EXPECT_EQ(gGui->children[6], gToggleGuiButton);
    EXPECT_EQ(gGui->children[7], gToolOptionsBar);
    EXPECT_FALSE(gHudGroup->visible);
    EXPECT_FALSE(gHudGroup->enabled);
    // The size slider: 50 in from the left, 20 up from the bottom, bound to the brush.
    EXPECT_FLOAT_EQ(gSizeSlider->absX, 50);
    EXPECT_FLOAT_EQ(gSizeSlider->absY, 20);
    EXPECT_EQ(gSizeSlider->value, 40);
    // The toggle button at the top left corner.
    EXPECT_FLOAT_EQ(gToggleGuiButton->absX, 0);
    EXPECT_FLOAT_EQ(gToggleGuiButton->absY, 700 - 15);
}

TEST_F(InterfaceTest, TheHudTakesTheRightButtonsPointerAndPaintsNothing) {
    const std::size_t actions = gHistory.actionCount();
    dispatchButton(2, 0, 400, 300, false);
    gGui->update(0, 0, 0);
    EXPECT_EQ(InputDispatcher::instance().exclusive, gHudGroup.get());
    EXPECT_TRUE(gHudGroup->enabled);
    EXPECT_EQ(gApp->interactionMode(), kModeInterface);
    // The slider's centre under the pointer, 110 below it.
    EXPECT_FLOAT_EQ(gSizeSlider->absX + gSizeSlider->width / 2, 400);
    EXPECT_FLOAT_EQ(gSizeSlider->absY, 190);
    // The same pointer reaches the slider with the right button still held: the knob follows.
    gInputState.rightButton = true;
    dispatchDrag(400, 250, false);
    EXPECT_EQ(gCanvas.brush.size, 40) << "not on the slider yet";
    dispatchDrag(305, 200, false);
    EXPECT_EQ(gCanvas.brush.size, 1) << "the slider's left end";
    dispatchDrag(400, 200, false);
    // Knob at 400 - (300 + 5) = 95 of 190: 1 + 95 / 190 x 499.
    EXPECT_EQ(gCanvas.brush.size, 250);
    gInputState.rightButton = false;
    dispatchButton(2, 1, 400, 200, false);
    EXPECT_EQ(InputDispatcher::instance().exclusive, nullptr);
    EXPECT_FALSE(gHudGroup->visible);
    EXPECT_FALSE(gSizeSlider->dragging);
    gGui->update(0, 0, 0);
    EXPECT_FLOAT_EQ(gSizeSlider->absX, 50) << "back in the bottom row";
    EXPECT_FLOAT_EQ(gSizeSlider->absY, 20);
    EXPECT_EQ(gHistory.actionCount(), actions) << "no stroke";
    EXPECT_FALSE(gCanvas.strokeInProgress());
}

TEST_F(InterfaceTest, TheBrushAndTheEraserKeepTheirOwnSliderValues) {
    gPainter.currentTool->activate();
    EXPECT_TRUE(gBottomGroup->visible);
    EXPECT_EQ(gToolOptionsBar->children.size(), 2u) << "the pressure boxes";
    gCanvas.brush.size = 30;
    gPainter.selectTool(2);
    gCanvas.brush.size = 90;
    gGui->update(0, 0, 0);
    EXPECT_EQ(gSizeSlider->value, 90);
    gPainter.selectTool(1);
    gGui->update(0, 0, 0);
    EXPECT_EQ(gSizeSlider->value, 30);
    gPainter.selectTool(8);
    EXPECT_FALSE(gBottomGroup->visible) << "the sliders belong to the brush and the eraser";
    gPainter.selectTool(2);
    EXPECT_EQ(gCanvas.brush.size, 90);
    EXPECT_TRUE(gBottomGroup->visible);
}

TEST_F(InterfaceTest, TabHidesThePanelsAndBringsThemBack) {
    gPainter.currentTool->activate();
    dispatchKey(9, 10, 10);
    EXPECT_FALSE(interfaceShown());
    EXPECT_FALSE(gBottomGroup->visible);
    EXPECT_FALSE(gRightGroup->visible);
    EXPECT_FALSE(gToolOptionsBar->visible);
    EXPECT_EQ(gToggleGuiButton->label, ">");
    // Any tool switch meanwhile leaves the sliders away.
    gPainter.selectTool(2);
    EXPECT_FALSE(gBottomGroup->visible);
    dispatchKey(9, 10, 10);
    EXPECT_TRUE(interfaceShown());
    EXPECT_TRUE(gBottomGroup->visible);
    EXPECT_TRUE(gRightGroup->visible);
    EXPECT_EQ(gToggleGuiButton->label, "<");
}

TEST_F(InterfaceTest, ARebuildKeepsTheOpenDialogAndRemakesTheBar) {
    auto dialog = std::make_shared<Dialog>(300, 200, "settings");
    pushCentered(dialog);
    showTop();
    gGui->update(0, 0, 0);
    auto oldBar = gToolBar->sections[1].buttons[0];
    rebuildInterface();
    gGui->update(0, 0, 0);
    ASSERT_EQ(gGui->children.size(), 9u);
    EXPECT_EQ(gGui->children[8], dialog) << "the dialog that asked stays open";
    EXPECT_EQ(gToolBar->sections.size(), 3u);
    EXPECT_NE(gToolBar->sections[1].buttons[0], oldBar) << "new buttons, new tips";
    EXPECT_EQ(gToolBar->sections[1].buttons[0]->tooltip.substr(0, 30), "[press button]: select brush [");
}
