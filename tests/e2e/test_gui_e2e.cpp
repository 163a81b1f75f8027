// The assembled interface in the real program: the tool bar's buttons pick
// the tools, the tool tip shows after a rest, the right button's HUD changes
// the size without painting, the bar drags by its gaps, menus close on a click
// outside, and TAB hides and shows the panels. Window pixels, y down; the
// program's window is 1024 x 700 at the first start.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "e2e/AppSession.h"

namespace {

// The bar's geometry at GuiScale s, from its margins (10), gaps (3) and
// buttons (32): it stands at (5, 155) from the window's lower left, 87 wide;
// its panels hold 8, 10 and 4 buttons in two columns, tops at 456, 289 and 87
// above the bar's bottom edge.
struct BarGeometry {
    float s = 1;
    int windowHeight = 700;
    int barX = 5, barY = 155; // lower left, y up
    int sectionTop(int section) const {
        const int tops[3] = {456, 289, 87};
        return static_cast<int>(tops[section] * s);
    }
    // Centre of a button, window pixels, y down.
    std::pair<int, int> button(int section, int index) const {
        const int r = index / 2, c = index % 2;
        const int x = barX + static_cast<int>((10 + 35 * c + 16) * s);
        const int yUp = barY + sectionTop(section) - static_cast<int>((10 + 35 * r + 32 - 16) * s);
        return {x, windowHeight - yUp};
    }
};

// The interface's panel colour over grey: green and blue above red.
bool tinted(const uint8_t* p) { return p[1] - p[0] >= 5 && p[2] - p[0] >= 5; }

int tintedPixels(const Screenshot& s, int x0, int y0, int x1, int y1) {
    int n = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) n += tinted(s.at(x, y));
    return n;
}

// The run of tinted pixels along a row, starting at the first one.
std::pair<int, int> tintedRun(const Screenshot& s, int y) {
    int first = -1, last = -1;
    for (int x = 0; x < s.width / 2; ++x) {
        if (tinted(s.at(x, y))) {
            if (first < 0) first = x;
            last = x;
        } else if (first >= 0) {
            break;
        }
    }
    return {first, last};
}

int clearlyDifferingPixels(const Screenshot& a, const Screenshot& b, int x0, int y0, int x1, int y1) {
    int n = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x)
            if (std::abs(a.at(x, y)[0] - b.at(x, y)[0]) + std::abs(a.at(x, y)[1] - b.at(x, y)[1]) +
                    std::abs(a.at(x, y)[2] - b.at(x, y)[2]) >
                30)
                ++n;
    return n;
}

void click(AppSession& app, std::pair<int, int> p) {
    app.moveMouse(p.first, p.second);
    app.waitFrames(3);
    app.xdotool("click 1");
    app.waitFrames(8);
}

// Occurrences of "current tool: N" in the output, in order.
std::vector<int> toolSwitches(const std::string& output) {
    std::vector<int> tools;
    const std::string key = "current tool: ";
    for (std::size_t at = output.find(key); at != std::string::npos; at = output.find(key, at + 1))
        tools.push_back(std::atoi(output.c_str() + at + key.size()));
    return tools;
}


} // namespace

TEST(GuiE2E, ToolButtonsPickEveryTool) {
    AppSession app;
    app.setEnv("KESTRELWING_TRACE_INTERFACE", "1");
    ASSERT_TRUE(app.start()) << app.output();
    ASSERT_EQ(app.windowHeight(), 700);
    BarGeometry bar;
    app.moveMouse(600, 300);
    app.waitFrames(10);
    const Screenshot start = app.screenshot();
    ASSERT_TRUE(start.savePng(artefactPath("gui_scale1.png")));
    // The bar's lowest panel: its top margin row is tinted from x 5 to 91.
    const auto run = tintedRun(start, 700 - (155 + 87 - 5));
    EXPECT_EQ(run.first, 5);
    EXPECT_EQ(run.second, 91);

    // Eraser, bucket fill, gradient, rotation, selection, crop, colour picker,
    // perspective, mirror, brush.
    const int order[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 0};
    for (int index : order) click(app, bar.button(1, index));
    app.waitFrames(10);
    const std::vector<int> expected = {2, 9, 8, 3, 6, 5, 12, 4, 11, 1};
    EXPECT_EQ(toolSwitches(app.output()), expected) << app.output();

    // The mirror button again leaves the mirror tool for the brush before it.
    click(app, bar.button(1, 9));
    click(app, bar.button(1, 9));
    app.waitFrames(5);
    const std::vector<int> all = toolSwitches(app.output());
    ASSERT_GE(all.size(), 12u);
    EXPECT_EQ(all[10], 11);
    EXPECT_EQ(all[11], 1);
}

TEST(GuiE2E, TipHudDragMenusAndHiding) {
    AppSession app;
    app.setEnv("KESTRELWING_TRACE_INTERFACE", "1");
    ASSERT_TRUE(app.start()) << app.output();
    BarGeometry bar;
    // The pointer rests over the bar's lower panel: the plain interface pointer.
    const std::pair<int, int> rest{8, 700 - 170};
    app.moveMouse(rest.first, rest.second);
    app.waitFrames(10);
    const Screenshot before = app.screenshot();

    // A rest of more than half a second on the undo button shows its tip to
    // the right of the button, from its bottom edge upward.
    const auto undo = bar.button(0, 2);
    app.moveMouse(undo.first - 1, undo.second);
    app.waitFrames(3);
    app.moveMouse(undo.first, undo.second);
    const int buttonBottom = undo.second + 16;
    Screenshot tip;
    // At least 26 ticks of 20 ms; a loaded machine may take longer.
    for (int i = 0; i < 10; ++i) {
        app.waitFrames(30);
        tip = app.screenshot();
        if (clearlyDifferingPixels(before, tip, undo.first + 17, buttonBottom - 14, undo.first + 110, buttonBottom) > 100)
            break;
    }
    ASSERT_TRUE(tip.savePng(artefactPath("gui_tooltip_undo.png")));
    EXPECT_GT(clearlyDifferingPixels(before, tip, undo.first + 17, buttonBottom - 14, undo.first + 110, buttonBottom),
              100)
        << "the tip's box and text";
    // A move away hides it.
    app.moveMouse(rest.first, rest.second);
    app.waitFrames(10);
    const Screenshot gone = app.screenshot();
    EXPECT_LT(clearlyDifferingPixels(before, gone, undo.first + 40, buttonBottom - 14, undo.first + 110, buttonBottom),
              5);

    // The right button opens the HUD at the pointer; the same pointer drags the
    // size slider (centred 110 pixels below the pointer) without painting.
    app.moveMouse(600, 300);
    app.waitFrames(5);
    app.xdotool("mousedown 3");
    app.waitFrames(10);
    const Screenshot hud = app.screenshot();
    ASSERT_TRUE(hud.savePng(artefactPath("gui_hud.png")));
    const int sliderY = 300 + 110 - 10;
    for (int x = 560; x <= 680; x += 8) {
        app.moveMouse(x, sliderY);
        app.waitFrames(1);
    }
    app.waitFrames(5);
    app.xdotool("mouseup 3");
    app.waitFrames(10);
    EXPECT_NE(app.output().find("size slider: "), std::string::npos) << app.output();
    app.moveMouse(rest.first, rest.second);
    app.waitFrames(10);
    const Screenshot afterHud = app.screenshot();
    EXPECT_EQ(clearlyDifferingPixels(before, afterHud, 120, 100, 1000, 600), 0) << "nothing painted";

    // A press on the gap between the two columns drags the bar (400 right, 50 down).
    const auto first = bar.button(0, 0);
    const std::pair<int, int> gap{first.first + 17, first.second};
    app.drag({gap, {gap.first + 100, gap.second + 10}, {gap.first + 250, gap.second + 30},
              {gap.first + 400, gap.second + 50}});
    app.waitFrames(10);
    const Screenshot moved = app.screenshot();
    ASSERT_TRUE(moved.savePng(artefactPath("gui_bar_dragged.png")));
    // Its left margin now runs from x 405 to 415.
    EXPECT_GT(tintedPixels(moved, 405, 200, 415, 400), 1000) << "the bar stands over the canvas now";
    EXPECT_LT(tintedPixels(moved, 5, 300, 60, 500), 50) << "and left its old place";

    // The load menu opens beside the moved bar; a click on the canvas only closes it.
    BarGeometry movedBar;
    movedBar.barX += 400;
    movedBar.barY -= 50;
    click(app, movedBar.button(2, 0));
    app.waitFrames(10);
    const Screenshot menu = app.screenshot();
    ASSERT_TRUE(menu.savePng(artefactPath("gui_load_menu.png")));
    // Its panel from x 492 to 692, y 431 to 518: the margin left of the entries.
    EXPECT_GT(tintedPixels(menu, 493, 440, 501, 510), 400) << "the menu beside the bar";
    click(app, {800, 150});
    app.waitFrames(15);
    const Screenshot closed = app.screenshot();
    EXPECT_LT(tintedPixels(closed, 493, 440, 501, 510), 20) << "the menu closed";
    // Clicks on the bar's gaps do nothing either.
    click(app, {gap.first + 400, gap.second + 50});

    // Back to its place; the canvas under both paths and the click is untouched.
    app.drag({{gap.first + 400, gap.second + 50}, {gap.first + 200, gap.second + 25}, gap});
    app.moveMouse(rest.first, rest.second);
    app.waitFrames(15);
    const Screenshot back = app.screenshot();
    ASSERT_TRUE(back.savePng(artefactPath("gui_bar_back.png")));
    EXPECT_EQ(clearlyDifferingPixels(before, back, 120, 100, 1000, 600), 0) << "nothing painted";

    // TAB hides the panels (the bar slides out), TAB again brings them back.
    EXPECT_GT(tintedPixels(back, 5, 100, 92, 540), 5000);
    app.xdotool("key Tab");
    app.waitFrames(40);
    const Screenshot hidden = app.screenshot();
    ASSERT_TRUE(hidden.savePng(artefactPath("gui_hidden.png")));
    EXPECT_LT(tintedPixels(hidden, 0, 0, hidden.width, hidden.height), 200) << "no panel left";
    app.xdotool("key Tab");
    app.waitFrames(60);
    const Screenshot shown = app.screenshot();
    ASSERT_TRUE(shown.savePng(artefactPath("gui_shown_again.png")));
    EXPECT_EQ(shown.width, 1024);
    EXPECT_EQ(shown.height, 700);
    EXPECT_GT(tintedPixels(shown, 5, 100, 92, 540), 5000);
}

TEST(GuiE2E, TheInterfaceKeepsItsProportionsAtScale2) {
    AppSession app;
    app.setEnv("KESTRELWING_GUI_SCALE", "2");
    ASSERT_TRUE(app.start()) << app.output();
    app.moveMouse(600, 300);
    app.waitFrames(15);
    const Screenshot shot = app.screenshot();
    ASSERT_TRUE(shot.savePng(artefactPath("gui_scale2.png")));
    // The lowest panel stands at (10, 310), 174 wide and 174 high: the top
    // margin row of it is tinted from x 10 to 183.
    const int row = shot.height - (310 + 174 - 10);
    const auto run = tintedRun(shot, row);
    EXPECT_EQ(run.first, 10);
    EXPECT_EQ(run.second, 183);
}
