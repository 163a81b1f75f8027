#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "e2e/AppSession.h"
#include "TestPaths.h"

// The brush properties dialog in the real program, in its 1024 x 700 window
// at GuiScale 1. The 800 x 600 dialog sits in the centre cell of the 5 x 5
// window grid: x from int(2 x 204.8) + int((204.8 - 800) / 2) = 112, y (from
// the bottom) from 280 + (140 - 600) / 2 = 50, so y down 50..650. Its inner
// area is 20 in from the sides, 80 below the top and 15 above the bottom:
// x 132..892, y down 130..635. Positions below follow from the dialog's
// layout in units.
namespace {
constexpr int kDialogX0 = 112, kDialogY0 = 50, kDialogX1 = 912, kDialogY1 = 650;
// Size slider: page of the first tab 30 below the tab row at y 485..515,
// the slider 30 below the page's top, 15 high; x from 132 + 130, track 210.
constexpr int kSizeTrackX = 262 + 5, kSizeY = 552;
// Tip grid 115 below the inner top (y 245..445), cells 87 x 40; tip 8
// ("round", after bristles, chalk, flat, grass, leaf, plaster, rake) is
// row 2, column 0.
constexpr int kRoundTipX = 132 + 43, kRoundTipY = 245 + 2 * 40 + 20;
// OK and Cancel: 110 x 30 at the right, 80 and 0 above the inner bottom.
constexpr int kButtonX = 892 - 55, kOkY = 635 - 80 - 15, kCancelY = 635 - 15;
// "Add preset": 110 x 30 at the right, at the inner top.
constexpr int kAddPresetY = 130 + 15;

bool isDark(const uint8_t* p) { return p[0] < 60 && p[1] < 60 && p[2] < 60; }

bool isChecker(const uint8_t* p) { return (p[0] == 255 || p[0] == 204) && p[0] == p[1] && p[1] == p[2]; }

// Rows of column x, within y0..y1, that the paint covers (no longer the checkerboard).
int paintedRows(const Screenshot& s, int x, int y0, int y1) {
    int n = 0;
    for (int y = y0; y < y1; ++y) n += isChecker(s.at(x, y)) ? 0 : 1;
    return n;
}

void paintLine(AppSession& app, int y) {
    std::vector<std::pair<int, int>> path;
    for (int x = 300; x <= 700; x += 10) path.push_back({x, y});
    app.drag(path);
    app.moveMouse(1000, 60);
    app.waitFrames(10);
}

// The dialog showing: its panel covers the middle of the window.
bool dialogShown(const Screenshot& before, const Screenshot& s) {
    return differingPixels(before, s, kDialogX0 + 10, kDialogY0 + 10, kDialogX1 - 10, kDialogY1 - 10) >
           (kDialogX1 - kDialogX0) * (kDialogY1 - kDialogY0) / 2;
}
} // namespace

TEST(BrushDialogE2E, SizeAndTipChosenInTheDialogShapeTheNextStroke) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    ASSERT_EQ(app.windowWidth(), 1024);
    ASSERT_EQ(app.windowHeight(), 700);
    app.moveMouse(1000, 60);
    app.waitFrames(5);
    const Screenshot idle = app.screenshot();

    // F5 opens the dialog; a size of int(exp(log(500) x 105 / 210)) = 22 and OK.
    app.xdotool("key F5");
    const Screenshot open = app.screenshotWhen([&](const Screenshot& s) { return dialogShown(idle, s); });
    ASSERT_TRUE(open.savePng(artefactPath("brush_dialog_open.png")));
    ASSERT_TRUE(dialogShown(idle, open)) << app.output();
    app.clickAt(kSizeTrackX + 105, kSizeY);
    const Screenshot sized = app.screenshot();
    ASSERT_TRUE(sized.savePng(artefactPath("brush_dialog_size_22.png")));
    EXPECT_GT(differingPixels(open, sized, 132, 130, 482, 230), 200) << "the sample stroke changed";
    app.clickAt(kButtonX, kOkY);
    app.waitFrames(20);
    paintLine(app, 350);
    const Screenshot first = app.screenshot();
    ASSERT_TRUE(first.savePng(artefactPath("brush_dialog_stroke_22.png")));
    const int thin = paintedRows(first, 500, 250, 450);

    // Again: size int(exp(log(500) x 160 / 210)) = 113 and the round tip.
    app.xdotool("key F5");
    app.screenshotWhen([&](const Screenshot& s) { return dialogShown(first, s); });
    app.waitFrames(15);
    app.clickAt(kSizeTrackX + 160, kSizeY);
    app.clickAt(kRoundTipX, kRoundTipY);
    const Screenshot chosen = app.screenshot();
    ASSERT_TRUE(chosen.savePng(artefactPath("brush_dialog_size_113_round_tip.png")));
    app.clickAt(kButtonX, kOkY);
    app.waitFrames(20);
    paintLine(app, 170);
    const Screenshot second = app.screenshot();
    ASSERT_TRUE(second.savePng(artefactPath("brush_dialog_stroke_113.png")));
    const int wide = paintedRows(second, 500, 90, 250);

    // Cancel: a small size is chosen and dropped; the next stroke keeps 113.
    app.xdotool("key F5");
    app.screenshotWhen([&](const Screenshot& s) { return dialogShown(second, s); });
    app.waitFrames(15);
    app.clickAt(kSizeTrackX + 20, kSizeY);
    app.clickAt(kButtonX, kCancelY);
    app.waitFrames(20);
    paintLine(app, 560);
    const Screenshot third = app.screenshot();
    ASSERT_TRUE(third.savePng(artefactPath("brush_dialog_stroke_after_cancel.png")));
    const int kept = paintedRows(third, 500, 480, 640);

    // Widths follow the sizes: 113 / 22 is about 5.1; the cancelled dialog
    // changed nothing.
    EXPECT_GT(thin, 10) << thin;
    EXPECT_GT(wide, thin * 4) << thin << " " << wide;
    EXPECT_LT(wide, thin * 6 + 4) << thin << " " << wide;
    EXPECT_NEAR(kept, wide, 3) << wide << " " << kept;
    EXPECT_TRUE(app.running());
}

// The right button's HUD shows one dab of the active brush at the canvas's
// zoom: as wide as the stroke that brush paints, in the current colour.
TEST(BrushDialogE2E, TheHudDabIsAsWideAsTheStroke) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    ASSERT_EQ(app.windowHeight(), 700);
    app.moveMouse(1000, 60);
    app.waitFrames(5);
    paintLine(app, 200);
    const Screenshot painted = app.screenshot();
    // Dark rows only, as for the dab below: the same measure for both.
    int stroke = 0;
    for (int y = 100; y < 300; ++y) stroke += isDark(painted.at(500, y)) ? 1 : 0;

    // The HUD at (600, 300): the dab hangs from 120 pixels below the pointer.
    app.moveMouse(600, 300);
    app.waitFrames(5);
    app.xdotool("mousedown 3");
    app.waitFrames(15);
    const Screenshot hud = app.screenshot();
    app.xdotool("mouseup 3");
    app.waitFrames(5);
    ASSERT_TRUE(hud.savePng(artefactPath("brush_hud_dab.png")));
    int top = -1, bottom = -1;
    for (int y = 415; y < 690; ++y) {
        if (isDark(hud.at(600, y))) {
            if (top < 0) top = y;
            bottom = y;
        }
    }
    ASSERT_GE(top, 0) << "a dark dab below the pointer";
    EXPECT_NEAR(top, 420, 3) << "its top edge 120 pixels below the pointer";
    EXPECT_GT(stroke, 20);
    // 50 canvas pixels at this view's zoom of about 0.9.
    EXPECT_LT(stroke, 48);
    EXPECT_NEAR(bottom - top + 1, stroke, 2) << "dab " << top << ".." << bottom << ", stroke " << stroke;
    // The white outline just outside the dab's top.
    bool ring = false;
    for (int y = top - 3; y < top + 2; ++y) {
        const uint8_t* p = hud.at(600, y);
        ring = ring || (p[0] > 200 && p[1] > 200 && p[2] > 200 && !isChecker(p));
    }
    EXPECT_TRUE(ring);
}

// "Add preset" asks for a name; the new preset shows as a sample stroke in
// the list and is in the user's presets file once the dialog is gone.
TEST(BrushDialogE2E, AnAddedPresetShowsInTheListAndReachesTheFile) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    app.moveMouse(1000, 60);
    app.waitFrames(5);
    const Screenshot idle = app.screenshot();
    app.xdotool("key F5");
    const Screenshot open = app.screenshotWhen([&](const Screenshot& s) { return dialogShown(idle, s); });
    app.waitFrames(15);
    app.clickAt(kSizeTrackX + 60, kSizeY);
    app.clickAt(kButtonX, kAddPresetY);
    app.waitFrames(15);
    const Screenshot asking = app.screenshot();
    ASSERT_TRUE(asking.savePng(artefactPath("brush_dialog_preset_name.png")));
    // The question's title widens it to 414 x 150 (x 305..719, y down
    // 275..425); its OK button stands 40 above the inner bottom at the right.
    EXPECT_GT(differingPixels(open, asking, 330, 300, 700, 410), 20000) << "the question shows";
    const std::string presetsFile = app.workFolder() + "/data/Kestrelwing/brush_presets.xml";
    std::remove(presetsFile.c_str());
    app.clickAt(643, 355);
    app.waitFrames(20);
    const Screenshot added = app.screenshot();
    ASSERT_TRUE(added.savePng(artefactPath("brush_dialog_preset_added.png")));
    EXPECT_GT(differingPixels(asking, added, 330, 300, 700, 410), 20000) << "the question is gone";
    app.clickAt(kButtonX, kOkY);
    app.waitFrames(40);
    // The new preset comes after the factory ones, named by its place.
    const std::string factory = testfiles::fileText(std::string(KW_SOURCE_DIR) + "/data/brushes/brush_presets.xml");
    std::size_t factoryCount = 0;
    for (std::size_t at = factory.find("<PRESET "); at != std::string::npos; at = factory.find("<PRESET ", at + 1))
        ++factoryCount;
    ASSERT_GT(factoryCount, 0u);
    const std::string text = testfiles::fileText(presetsFile);
    const std::string name = "name=\"preset_" + std::to_string(factoryCount) + "\"";
    EXPECT_NE(text.find(name), std::string::npos) << text;
    EXPECT_TRUE(app.running());
}
// Ctrl+click on the brush button opens the dialog; a plain click does not.
TEST(BrushDialogE2E, CtrlClickOnTheBrushButtonOpensTheDialog) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    app.moveMouse(1000, 60);
    app.waitFrames(5);
    const Screenshot idle = app.screenshot();
    // The brush button: first button of the tool bar's second panel.
    const int bx = 31, by = 281;
    app.clickAt(bx, by);
    app.moveMouse(1000, 60);
    app.waitFrames(20);
    EXPECT_FALSE(dialogShown(idle, app.screenshot())) << "a plain click selects the brush only";
    app.moveMouse(bx, by);
    app.waitFrames(3);
    // The program reads held keys once a tick: Ctrl goes down a few frames early.
    app.xdotool("keydown ctrl");
    app.waitFrames(3);
    app.xdotool("click 1");
    app.waitFrames(5);
    app.xdotool("keyup ctrl");
    const Screenshot open = app.screenshotWhen([&](const Screenshot& s) { return dialogShown(idle, s); });
    ASSERT_TRUE(open.savePng(artefactPath("brush_dialog_ctrl_click.png")));
    EXPECT_TRUE(dialogShown(idle, open));
    app.xdotool("key Escape");
    app.waitFrames(30);
    EXPECT_FALSE(dialogShown(idle, app.screenshot())) << "Esc closes it";
    EXPECT_TRUE(app.running());
}
