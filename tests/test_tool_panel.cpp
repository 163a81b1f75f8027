#include <gtest/gtest.h>

#include <memory>

#include "core/Globals.h"
#include "platform/Clock.h"
#include "tools/Tool.h"
#include "tools/ToolPanel.h"
#include "widgets/Animator.h"
#include "widgets/Widget.h"

namespace {
class ToolPanelStrip : public ::testing::Test {
protected:
    void SetUp() override {
        platform::setClockOverride([this] { return now; });
        AnimatorRegistry::instance().clear();
        createToolOptionsBar();
    }
    void TearDown() override {
        AnimatorRegistry::instance().clear();
        platform::setClockOverride({});
        gToolOptionsBar.reset();
    }
    void runFor(int ms) {
        for (int t = 0; t < ms; t += 20) {
            now += 20;
            AnimatorRegistry::instance().tick();
        }
    }
    int32_t now = 1000;
};
} // namespace

TEST_F(ToolPanelStrip, LiesAcrossTheTopOfTheWindowAndStartsHidden) {
    placeToolOptionsBar(800, 600);
    EXPECT_FALSE(gToolOptionsBar->visible);
    EXPECT_EQ(gToolOptionsBar->width, 800.0f);
    EXPECT_EQ(gToolOptionsBar->height, kToolOptionsBarHeight * GuiScale);
    EXPECT_EQ(gToolOptionsBar->relY + gToolOptionsBar->height, 600.0f);
    EXPECT_EQ(gToolOptionsBar->id, kToolOptionsBarId);
}

TEST_F(ToolPanelStrip, ActivationFadesInAndDeactivationDropsTheWidgetsAndFadesOut) {
    Tool tool;
    tool.activate();
    EXPECT_TRUE(gToolOptionsBar->visible);
    EXPECT_EQ(gToolOptionsBar->opacity, 0.0f);
    runFor(400);
    EXPECT_EQ(gToolOptionsBar->opacity, 1.0f);
    gToolOptionsBar->add(std::make_shared<Widget>(0, 0, 10, 10));
    EXPECT_TRUE(tool.deactivate());
    EXPECT_TRUE(gToolOptionsBar->children.empty()) << "a panel's widgets go at once";
    EXPECT_TRUE(gToolOptionsBar->visible) << "the strip itself fades";
    runFor(1000);
    EXPECT_FALSE(gToolOptionsBar->visible);
}

TEST_F(ToolPanelStrip, ASwitchOfToolsCancelsTheFadeOutSoTheNextPanelStays) {
    Tool first, second;
    first.activate();
    runFor(400);
    first.deactivate();
    runFor(100);
    second.activate();
    runFor(1000);
    EXPECT_TRUE(gToolOptionsBar->visible) << "the old fade-out must not hide the new panel";
    EXPECT_EQ(gToolOptionsBar->opacity, 1.0f);
}

TEST_F(ToolPanelStrip, AnEmptyStripLetsThePointerThroughAndAFilledOneTakesIt) {
    placeToolOptionsBar(800, 600);
    Tool tool;
    tool.activate();
    runFor(400);
    gToolOptionsBar->update(0, 0, 0);
    // y is up: the strip covers 550..600.
    EXPECT_EQ(gToolOptionsBar->onMouseButton(0, 0, 400, 575, false), 0) << "a tool without options";
    EXPECT_EQ(gToolOptionsBar->onMouseMove(400, 575, false), 0);
    gToolOptionsBar->add(std::make_shared<Widget>(10, 10, 20, 20));
    gToolOptionsBar->update(0, 0, 0);
    EXPECT_NE(gToolOptionsBar->onMouseButton(0, 0, 400, 575, false), 0) << "a panel's band takes the click";
}
