#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "e2e/AppSession.h"

// The second demo panel (KESTRELWING_WIDGET_DEMO=1) is pinned to the window's
// top right corner, 24 pixels in: in the 1024 x 700 window at GuiScale 1 the
// 360 x 600 panel spans x 640..1000 and y 24..624 (window pixels, y down).
// Positions below follow from the panel's layout in units.
namespace {
constexpr int kEditX = 800, kEditY = 83;          // edit control 710..980 x 70..96
constexpr int kConfirmX = 816, kButtonsY = 124;   // "Confirm" 766..866 x 110..138
constexpr int kGridX = 656, kGridY = 194;         // grid 300 x 180, cells 75 x 60
constexpr int kCellW = 75, kCellH = 60;
// A 300 x 200 dialog in the centre cell of the 5 x 5 window grid: x from
// int(2 x 204.8) + int((204.8 - 300) / 2) = 362, y (from the bottom) from
// 280 + (140 - 200) / 2 = 250, so y down from 700 - 250 - 200 = 250.
constexpr int kBoxX0 = 362, kBoxY0 = 250, kBoxX1 = 662, kBoxY1 = 450;

struct DemoEnvironment {
    DemoEnvironment() { setenv("KESTRELWING_WIDGET_DEMO", "1", 1); }
    ~DemoEnvironment() { unsetenv("KESTRELWING_WIDGET_DEMO"); }
};

void click(AppSession& app, int x, int y) {
    app.moveMouse(x, y);
    app.waitFrames(3);
    app.xdotool("click 1");
    app.waitFrames(8);
}

bool clearlyDiffers(const uint8_t* p, const uint8_t* q) {
    return std::abs(p[0] - q[0]) + std::abs(p[1] - q[1]) + std::abs(p[2] - q[2]) > 45;
}

// Share of the pixels of a rectangle (y down) that clearly changed.
double changedShare(const Screenshot& a, const Screenshot& b, int x0, int y0, int x1, int y1) {
    int n = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) n += clearlyDiffers(a.at(x, y), b.at(x, y));
    return static_cast<double>(n) / ((x1 - x0) * (y1 - y0));
}

std::string run(const std::string& command) {
    std::string out;
    FILE* p = popen(command.c_str(), "r");
    if (!p) return out;
    std::array<char, 256> buf{};
    while (std::fgets(buf.data(), buf.size(), p)) out += buf.data();
    pclose(p);
    return out;
}

std::string clipboard() { return run("timeout 5 xclip -selection clipboard -o 2>/dev/null"); }
} // namespace

TEST(DialogsE2E, EditControlTypesCopiesAndPastesThroughTheClipboard) {
    AppSession app;
    {
        DemoEnvironment demo;
        ASSERT_TRUE(app.start()) << app.output();
    }
    ASSERT_EQ(app.windowWidth(), 1024);
    const Screenshot idle = app.screenshot();
    ASSERT_TRUE(idle.savePng(artefactPath("dialogs_demo.png")));

    click(app, kEditX, kEditY);
    app.xdotool("type --delay 40 hello_42");
    app.waitFrames(10);
    const Screenshot typed = app.screenshot();
    ASSERT_TRUE(typed.savePng(artefactPath("dialogs_demo_typed.png")));
    EXPECT_GT(changedShare(idle, typed, 712, 72, 800, 94), 0.05) << "text appeared in the box";
    // Typed letters stay in the control: "h" did not toggle the layer, "p" opened no replay.
    EXPECT_EQ(app.output().find("replay"), std::string::npos) << app.output();

    app.xdotool("key ctrl+c");
    app.waitFrames(5);
    EXPECT_EQ(clipboard(), "hello_42");

    // UTF-8 from another client: characters beyond Latin-1 become '?', the
    // others arrive as single Latin-1 bytes and go out again as UTF-8.
    ASSERT_EQ(std::system("printf 'Gr\\303\\274\\303\\237e \\342\\206\\222 \\346\\235\\261\\344\\272\\254' | "
                          "xclip -selection clipboard -i"),
              0);
    app.waitFrames(5);
    app.xdotool("key ctrl+v");
    app.waitFrames(10);
    const Screenshot pasted = app.screenshot();
    ASSERT_TRUE(pasted.savePng(artefactPath("dialogs_demo_pasted.png")));
    app.xdotool("key ctrl+c");
    app.waitFrames(5);
    EXPECT_EQ(clipboard(), "Gr\xC3\xBC\xC3\x9F" "e ? ??");
    // Old clients ask for STRING: the same text as Latin-1 bytes.
    EXPECT_EQ(run("timeout 5 xclip -selection clipboard -t STRING -o 2>/dev/null"), "Gr\xFC\xDF" "e ? ??");
    EXPECT_NE(run("timeout 5 xclip -selection clipboard -t TARGETS -o 2>/dev/null").find("UTF8_STRING"),
              std::string::npos);
    // Enter reports the text: the control holds the Latin-1 bytes.
    app.xdotool("key Return");
    ASSERT_TRUE(waitForOutput(app, "demo: name entered: Gr\xFC\xDF" "e ? ??", 3000)) << app.output();
    EXPECT_TRUE(app.running());
}

TEST(DialogsE2E, GridScrollsByWholeRows) {
    AppSession app;
    {
        DemoEnvironment demo;
        ASSERT_TRUE(app.start()) << app.output();
    }
    app.moveMouse(kGridX + 100, kGridY + 100);
    app.waitFrames(10);
    const Screenshot top = app.screenshot();
    app.xdotool("click 4"); // one notch: one row on
    app.waitFrames(10);
    const Screenshot scrolled = app.screenshot();
    ASSERT_TRUE(scrolled.savePng(artefactPath("dialogs_demo_grid_scrolled.png")));
    // The swatch centres of the first visible row now show what the second
    // row showed: the rows moved up by one cell.
    for (int c = 0; c < 3; ++c) {
        const int x = kGridX + c * kCellW + 33, y = kGridY + 32;
        const uint8_t* before = top.at(x + 12, y + kCellH);
        const uint8_t* after = scrolled.at(x + 12, y);
        EXPECT_FALSE(clearlyDiffers(before, after)) << "column " << c;
        EXPECT_TRUE(clearlyDiffers(top.at(x + 12, y), after)) << "column " << c << " changed";
    }
    // A click on a swatch selects it: the status line names it.
    click(app, kGridX + kCellW + 40, kGridY + kCellH + 30); // row 1 of the view, column 1: swatch 10
    EXPECT_TRUE(waitForOutput(app, "demo: swatch 10", 2000)) << app.output();
}

TEST(DialogsE2E, ConfirmBoxStandsInTheMiddleAndAnswers) {
    AppSession app;
    {
        DemoEnvironment demo;
        ASSERT_TRUE(app.start()) << app.output();
    }
    app.moveMouse(kConfirmX, kButtonsY);
    app.waitFrames(10);
    const Screenshot before = app.screenshot();
    click(app, kConfirmX, kButtonsY);
    app.moveMouse(900, 680); // out of the way
    app.waitFrames(20);
    const Screenshot asking = app.screenshot();
    ASSERT_TRUE(asking.savePng(artefactPath("dialogs_demo_confirm.png")));
    EXPECT_GT(changedShare(before, asking, kBoxX0 + 3, kBoxY0 + 3, kBoxX1 - 3, kBoxY1 - 3), 0.9);
    // Just outside the left and top edges only the soft shadow may tint.
    EXPECT_LT(changedShare(before, asking, kBoxX0 - 6, kBoxY0 + 10, kBoxX0 - 3, kBoxY1 - 10), 0.05);
    EXPECT_LT(changedShare(before, asking, kBoxX0 + 10, kBoxY0 - 6, kBoxX1 - 10, kBoxY0 - 3), 0.05);
    EXPECT_EQ(app.output().find("answered"), std::string::npos) << "no answer before a key";

    app.xdotool("key Return"); // the focused button, "Continue"
    EXPECT_TRUE(waitForOutput(app, "demo: Confirm answered OK", 2000)) << app.output();
    app.waitFrames(20);
    const Screenshot after = app.screenshot();
    EXPECT_LT(changedShare(before, after, kBoxX0 + 3, kBoxY0 + 3, kBoxX1 - 3, kBoxY1 - 3), 0.02) << "faded out";

    click(app, kConfirmX, kButtonsY);
    app.waitFrames(15);
    // "Cancel" stands right in the box, 110 x 30 above the bottom inset of 15.
    click(app, kBoxX1 - 20 - 55, kBoxY1 - 15 - 15);
    EXPECT_TRUE(waitForOutput(app, "demo: Confirm answered Cancel", 2000)) << app.output();

    // A box over a box: "Inner..." (focused) opens the second from the first.
    click(app, 926, kButtonsY);
    app.waitFrames(15);
    app.xdotool("key Return");
    app.waitFrames(20);
    const Screenshot nested = app.screenshot();
    ASSERT_TRUE(nested.savePng(artefactPath("dialogs_demo_nested.png")));
    app.xdotool("key Left"); // "No"
    app.xdotool("key Return");
    EXPECT_TRUE(waitForOutput(app, "demo: inner answered No", 2000)) << app.output();
    EXPECT_EQ(app.output().find("Nested answered"), std::string::npos) << "the outer box is still open";
    app.xdotool("key Escape");
    EXPECT_TRUE(waitForOutput(app, "demo: Nested answered Cancel", 2000)) << app.output();
    EXPECT_TRUE(app.running());
}

// The window's close button in the middle of a stroke: the exit question
// takes the input, so the canvas would never see the release; the stroke is
// ended where it stood, and after "Cancel" the canvas paints again.
TEST(DialogsE2E, DialogOpenedDuringAStrokeEndsIt) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    app.moveMouse(300, 300);
    app.waitFrames(3);
    app.xdotool("mousedown 1");
    for (int x = 300; x <= 400; x += 10) {
        app.moveMouse(x, 300);
        app.waitFrames(1);
    }
    app.waitFrames(5);
    app.sendCloseRequest();
    app.sendCloseRequest(); // a second request while the question is open is ignored
    app.waitFrames(15);
    for (int x = 400; x <= 520; x += 10) app.moveMouse(x, 300); // still held, under the question
    app.xdotool("mouseup 1");
    app.waitFrames(5);
    const Screenshot asking = app.screenshot();
    ASSERT_TRUE(asking.savePng(artefactPath("dialogs_stroke_exit_question.png")));
    app.xdotool("key Escape"); // "Cancel"
    app.waitFrames(25);
    ASSERT_TRUE(app.running());
    app.moveMouse(900, 650);
    app.waitFrames(10);
    const Screenshot shot = app.screenshot();
    ASSERT_TRUE(shot.savePng(artefactPath("dialogs_stroke_ended.png")));
    auto dark = [](const Screenshot& s, int x, int y) {
        const uint8_t* p = s.at(x, y);
        return p[0] < 80 && p[1] < 80 && p[2] < 80;
    };
    int painted = 0, after = 0;
    for (int x = 310; x < 390; ++x) painted += dark(shot, x, 300);
    for (int x = 440; x < 520; ++x) after += dark(shot, x, 300);
    EXPECT_GT(painted, 60) << "the stroke up to the request is on the canvas";
    EXPECT_EQ(after, 0) << "nothing painted while the question held the input";
    // One undo takes the whole stroke away: it was ended and recorded as one.
    app.xdotool("key ctrl+z");
    app.waitFrames(15);
    const Screenshot undone = app.screenshot();
    int left = 0;
    for (int x = 310; x < 390; ++x) left += dark(undone, x, 300);
    EXPECT_EQ(left, 0);
    // The canvas takes strokes again once the question is gone.
    app.drag({{300, 450}, {350, 450}, {400, 450}});
    app.waitFrames(10);
    const Screenshot again = app.screenshot();
    int fresh = 0;
    for (int x = 310; x < 390; ++x) fresh += dark(again, x, 450);
    EXPECT_GT(fresh, 60);
}

// The second view of the canvas stands bottom centre: 240 x 180 at x 392 (the
// centre cell's middle minus half its width), 24 pixels above the bottom.
TEST(DialogsE2E, SecondViewShowsTheCanvasAndMoves) {
    AppSession app;
    {
        DemoEnvironment demo;
        ASSERT_TRUE(app.start()) << app.output();
    }
    constexpr int kViewX = 392, kViewY = 700 - 24 - 180, kViewW = 240, kViewH = 180;
    const Screenshot before = app.screenshot();
    app.drag({{420, 450}, {470, 420}, {520, 450}, {570, 420}});
    app.moveMouse(900, 680);
    app.waitFrames(15);
    const Screenshot painted = app.screenshot();
    ASSERT_TRUE(painted.savePng(artefactPath("dialogs_demo_view.png")));
    int dark = 0;
    for (int y = kViewY; y < kViewY + kViewH; ++y)
        for (int x = kViewX; x < kViewX + kViewW; ++x) {
            const uint8_t* p = painted.at(x, y);
            dark += p[0] < 90 && p[1] < 90 && p[2] < 90 && clearlyDiffers(p, before.at(x, y));
        }
    EXPECT_GT(dark, 20) << "the stroke shows, small, in the view";

    // A drag of the body moves it with the pointer; the release throws it
    // five last steps further, eased out.
    app.moveMouse(kViewX + 120, kViewY + 90);
    app.waitFrames(3);
    app.xdotool("mousedown 1");
    for (int i = 1; i <= 10; ++i) {
        app.moveMouse(kViewX + 120 - 20 * i, kViewY + 90 - 10 * i);
        app.waitFrames(1);
    }
    app.waitFrames(5);
    app.xdotool("mouseup 1");
    app.moveMouse(900, 680);
    app.waitFrames(20);
    const Screenshot moved = app.screenshot();
    ASSERT_TRUE(moved.savePng(artefactPath("dialogs_demo_view_moved.png")));
    // The old place shows the canvas again, the new one the view.
    EXPECT_LT(changedShare(before, moved, kViewX + 205, kViewY + 110, kViewX + 235, kViewY + 175), 0.05);
    EXPECT_GT(changedShare(painted, moved, kViewX - 200, kViewY - 100, kViewX + 40, kViewY + 80), 0.01);
}

// The demo panel is pinned to the top right cell: a smaller window takes it
// along, 24 pixels in from the right edge; a dialog opened then is centred
// in the new window. The other tab shows its own page.
TEST(DialogsE2E, PanelsKeepTheirCellsAcrossAResize) {
    AppSession app;
    {
        DemoEnvironment demo;
        ASSERT_TRUE(app.start()) << app.output();
    }
    auto isPanel = [](const Screenshot& s, int x, int y) {
        // The interface tint: green and blue above red, none of the canvas greys or white.
        const uint8_t* p = s.at(x, y);
        return p[1] > p[0] + 8 && p[2] > p[0] + 4 && p[0] < 200;
    };
    const Screenshot wide = app.screenshot();
    EXPECT_TRUE(isPanel(wide, 995, 600));
    EXPECT_FALSE(isPanel(wide, 1004, 600));
    ASSERT_TRUE(app.resizeWindow(900, 600));
    app.moveMouse(10, 590);
    app.waitFrames(10);
    const Screenshot narrow = app.screenshot();
    ASSERT_EQ(narrow.width, 900);
    ASSERT_TRUE(narrow.savePng(artefactPath("dialogs_demo_resized.png")));
    // The panel's right edge at 900 - 24 and its top 24 below the window's.
    EXPECT_TRUE(isPanel(narrow, 871, 30));
    EXPECT_FALSE(isPanel(narrow, 880, 30));
    EXPECT_FALSE(isPanel(narrow, 871, 20));

    // "Paper": the tab button 51 pixels right of "Brush", at the tabs' top.
    click(app, 876 - 360 + 16 + 51 + 25, 24 + 600 - 50 - 180 + 15);
    const Screenshot paper = app.screenshot();
    ASSERT_TRUE(paper.savePng(artefactPath("dialogs_demo_paper_tab.png")));
    EXPECT_GT(changedShare(narrow, paper, 876 - 344 + 8, 24 + 600 - 50 - 150, 876 - 30, 24 + 600 - 60), 0.02);
}

// At GuiScale 2 the exit question is 600 x 400 pixels, centred in the middle
// cell: x from int(409.6) + int((204.8 - 600) / 2) = 212, y from the bottom
// 280 + (140 - 400) / 2 = 150, so y down from 700 - 150 - 400 = 150. The
// nested loop keeps the window alive: a resize while it asks re-centres it.
TEST(DialogsE2E, DialogAtGuiScaleTwoStaysCentredAcrossAResize) {
    AppSession app;
    setenv("KESTRELWING_GUI_SCALE", "2", 1);
    const bool started = app.start();
    unsetenv("KESTRELWING_GUI_SCALE");
    ASSERT_TRUE(started) << app.output();
    ASSERT_EQ(app.windowWidth(), 1024);
    app.moveMouse(1010, 690);
    app.waitFrames(5);
    const Screenshot before = app.screenshot();
    app.sendCloseRequest();
    app.waitFrames(20);
    const Screenshot asking = app.screenshot();
    ASSERT_TRUE(asking.savePng(artefactPath("dialogs_exit_scale2.png")));
    EXPECT_GT(changedShare(before, asking, 212 + 4, 150 + 4, 812 - 4, 550 - 4), 0.9);
    EXPECT_LT(changedShare(before, asking, 212 - 8, 150 + 20, 212 - 4, 550 - 20), 0.05);
    EXPECT_LT(changedShare(before, asking, 212 + 20, 150 - 8, 812 - 20, 150 - 4), 0.05);

    // 900 x 640: cells of 180 x 128; x = 360 - 210 = 150, y from the bottom
    // 256 - 136 = 120, so y down from 640 - 120 - 400 = 120.
    ASSERT_TRUE(app.resizeWindow(900, 640));
    app.waitFrames(15);
    const Screenshot resized = app.screenshot();
    ASSERT_TRUE(resized.savePng(artefactPath("dialogs_exit_scale2_resized.png")));
    auto tinted = [&](int x, int y) {
        const uint8_t* p = resized.at(x, y);
        return p[1] > p[0] + 8 && p[2] > p[0] + 4;
    };
    // The right-hand corner is looked at low down: higher up the colour
    // selector's ring shows through the box.
    EXPECT_TRUE(tinted(150 + 4, 120 + 100) && tinted(750 - 4, 520 - 4));
    EXPECT_FALSE(tinted(150 - 6, 120 + 100)) << "left of the box";
    EXPECT_FALSE(tinted(300, 120 - 6)) << "above the box";
    ASSERT_TRUE(app.running());
    app.moveMouse(880, 620); // keys follow the pointer on a server without a window manager
    app.waitFrames(3);
    app.xdotool("key Return"); // "Exit"
    EXPECT_EQ(app.waitForExit(3000), 0);
}

// Zoomed in, the main view shows only a part of the canvas: the second view
// darkens the rest of its small canvas by half.
TEST(DialogsE2E, SecondViewDimsWhatTheMainViewDoesNotShow) {
    AppSession app;
    {
        DemoEnvironment demo;
        ASSERT_TRUE(app.start()) << app.output();
    }
    constexpr int kViewX = 392, kViewY = 700 - 24 - 180;
    app.moveMouse(500, 300);
    app.waitFrames(10);
    const Screenshot fitted = app.screenshot();
    for (int i = 0; i < 4; ++i) {
        app.xdotool("click 4"); // the wheel over the canvas zooms in at the pointer
        app.waitFrames(3);
    }
    app.waitFrames(30);
    const Screenshot zoomed = app.screenshot();
    ASSERT_TRUE(zoomed.savePng(artefactPath("dialogs_demo_view_zoomed.png")));
    auto brightness = [](const Screenshot& s, int x0, int y0) {
        int sum = 0;
        for (int y = y0; y < y0 + 10; ++y)
            for (int x = x0; x < x0 + 10; ++x) sum += s.at(x, y)[0] + s.at(x, y)[1] + s.at(x, y)[2];
        return sum / 300;
    };
    // The view's lower left corner lies outside the zoomed main view.
    const int before = brightness(fitted, kViewX + 4, kViewY + 165);
    const int after = brightness(zoomed, kViewX + 4, kViewY + 165);
    EXPECT_GT(before, 180);
    EXPECT_LT(after, before * 0.65) << before << " -> " << after;
}
