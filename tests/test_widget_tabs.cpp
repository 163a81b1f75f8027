#include <gtest/gtest.h>

#include <memory>

#include "core/Globals.h"
#include "support/GlTestContext.h"
#include "widgets/Dialog.h"
#include "widgets/EditControl.h"
#include "widgets/GlFont.h"
#include "widgets/TabControl.h"
#include "widgets/TextWidget.h"
#include "TestPaths.h"

namespace {
struct Unscaled {
    Unscaled() { GuiScale = 1.0f; }
};
} // namespace

TEST(TabControlTest, OnlyTheSelectedPageShowsAndTakesInput) {
    Unscaled u;
    TabControl tabs(0, 0, 300, 200);
    tabs.addTab("Brush");
    tabs.addTab("Paper");
    tabs.addTab("Brush"); // exists: nothing
    EXPECT_EQ(tabs.pages.size(), 2u);
    // Two buttons of 50 units and a page per tab; 1 pixel between the buttons.
    EXPECT_EQ(tabs.nextTabX, 2 * (50 + 1));
    auto label = std::make_shared<TextWidget>(5, 5, "soft");
    tabs.addToTab("Paper", label);
    tabs.addToTab("Nowhere", std::make_shared<TextWidget>(5, 5, "lost"));
    EXPECT_EQ(tabs.page("Paper")->children.size(), 1u);
    EXPECT_TRUE(tabs.page("Paper")->tabSkip.back()) << "page widgets are skipped in the tab order";
    EXPECT_TRUE(tabs.page("Brush")->visible) << "the first tab is shown at first";
    EXPECT_FALSE(tabs.page("Paper")->visible);

    // The pages sit below the row of buttons: the control's top less 30.
    tabs.update(0, 0, 0);
    EXPECT_EQ(tabs.page("Paper")->absY, 0.0f);
    EXPECT_EQ(tabs.page("Paper")->height, 170.0f);

    // A click on the second button selects its page.
    tabs.onMouseButton(0, 0, 60, 185, false);
    tabs.onMouseButton(0, 1, 60, 185, false);
    EXPECT_EQ(tabs.currentTab, "Paper");
    EXPECT_TRUE(tabs.page("Paper")->visible && tabs.page("Paper")->enabled);
    EXPECT_FALSE(tabs.page("Brush")->visible || tabs.page("Brush")->enabled);
    tabs.selectTab("Unknown");
    EXPECT_FALSE(tabs.page("Paper")->visible);
    EXPECT_FALSE(tabs.page("Brush")->visible);
}

// Title fitting and wrapping measure with the title font.
class DialogTitleGl : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        GuiScale = 1.0f;
        saved = std::move(gFontTitle);
        gFontTitle = std::make_unique<GlFont>(std::string(KW_TEST_DATA_DIR) + "/fonts/test.TTF", 30);
    }
    void TearDown() override {
        gFontTitle = std::move(saved);
        GlTest::TearDown();
    }
    std::unique_ptr<GlFont> saved;
};

TEST_F(DialogTitleGl, WideTitleWidensLongTitleWrapsAt800Units) {
    const std::string shortTitle = "Saved.";
    Dialog small(300, 200, shortTitle);
    EXPECT_EQ(small.width, 300.0f);

    const std::string medium = "Replace the brush preset?";
    const int needed = measureText(*gFontTitle, medium) + 160;
    ASSERT_GT(needed, 300);
    ASSERT_LE(needed, 800);
    Dialog wider(300, 200, medium);
    EXPECT_EQ(wider.width, static_cast<float>(needed));
    EXPECT_EQ(wider.corners[2].x, static_cast<float>(needed));

    const std::string longTitle = "The drawing process could not be saved because the folder is full or read only";
    ASSERT_GT(measureText(*gFontTitle, longTitle) + 160, 800);
    Dialog wrapped(300, 200, longTitle);
    EXPECT_EQ(wrapped.width, 800.0f);
    ASSERT_NE(wrapped.title.find('\n'), std::string::npos);
    std::string unwrapped = wrapped.title;
    std::erase(unwrapped, '\n');
    EXPECT_EQ(unwrapped, longTitle) << "wrapped, never cut";
    // Every line fits the room beside the title's margins: 800 - 160.
    std::size_t start = 0;
    while (start <= wrapped.title.size()) {
        const std::size_t end = std::min(wrapped.title.find('\n', start), wrapped.title.size());
        EXPECT_LE(measureText(*gFontTitle, wrapped.title.substr(start, end - start)), 640);
        start = end + 1;
    }
}

TEST(TextAreaTest, RowsGrowThePanel) {
    Unscaled u;
    TextArea area(0, 0, 200, 10);
    area.addHeading("Keys");
    area.addLine(false, 0, true, "%s", "Undo");
    area.addLine(true, 1, false, "%s", "Ctrl+Z");
    area.addLine(true, 0, false, "two\nrows");
    EXPECT_EQ(area.lines.size(), 4u);
    EXPECT_EQ(area.rowCount, 1 + 1 + 2) << "a line with endsRow false shares the next one's row";
    EXPECT_EQ(area.lines[3].rows, 2);
    EXPECT_FALSE(area.acceptsFocus());
}
