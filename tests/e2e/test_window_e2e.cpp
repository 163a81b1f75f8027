#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "e2e/AppSession.h"

namespace {
bool isGrey(const uint8_t* p, int level, int tolerance = 2) {
    return std::abs(p[0] - level) <= tolerance && std::abs(p[1] - level) <= tolerance &&
           std::abs(p[2] - level) <= tolerance;
}
} // namespace

// A fresh start shows the default canvas, filled light grey, fitted to the
// window in a darker grey surround; a transparent new picture of the same
// size shows the checkerboard in 10-pixel squares; the program's own cursor
// (the brush outline) is drawn at the pointer.
TEST(WindowE2E, BlankCanvasOverCheckerboardWithDrawnCursor) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int w = app.windowWidth(), h = app.windowHeight();
    ASSERT_EQ(w, 1024);
    ASSERT_EQ(h, 700);

    // 1024x768 fitted into 1024x700: full height, 933 px wide, centred.
    const int canvasWidth = 1024 * 700 / 768;
    const int left = (w - canvasWidth) / 2;
    // Pointer in the grey surround, so the white arrow stands out; below the
    // tool bar (which reaches 545 pixels down) and left of the brush sliders.
    const int px = left / 2 - 5, py = 600;
    // The canvas right of the tool bar and its shadow, and left of the layers
    // panel (80 wide, 10 in from the right-most fifth's right edge:
    // int(4 * 204.8) + int(204.8 - 80) - 10 = 933), which covers the canvas's
    // right edge from 345 to 645 pixels down.
    const int canvasX0 = 110;
    const int canvasX1 = std::min(left + canvasWidth - 20, 933 - 2);
    // The right column's colour selector and numbers stand over the top right
    // corner, down to 290 pixels.
    auto inRightColumn = [&](int x, int y) { return x >= w - 175 && y < 290; };
    app.moveMouse(px, py);
    app.waitFrames(10);
    Screenshot start = app.screenshot();
    ASSERT_EQ(start.width, w);
    ASSERT_TRUE(start.savePng(artefactPath("window_start_canvas.png")));
    int notFilled = 0;
    for (int y = 100; y < h - 100; y += 7)
        for (int x = canvasX0; x < canvasX1; x += 7)
            notFilled += !inRightColumn(x, y) && !isGrey(start.at(x, y), 204, 1);
    EXPECT_EQ(notFilled, 0) << "the start picture is 0.8 grey";

    // New image, same size, "Transparent background" (the third stop), OK (the fifth).
    // One key at a time, each after a tick: the held Ctrl of ctrl+n is read by the tick.
    app.xdotool("key ctrl+n");
    app.waitFrames(30);
    for (const char* key : {"Tab", "Tab", "space", "Tab", "Tab", "Return"}) {
        app.xdotool(std::string("key ") + key);
        app.waitFrames(5);
    }
    app.waitFrames(40);
    app.moveMouse(px, py);
    app.waitFrames(10);
    Screenshot shot = app.screenshot();
    ASSERT_TRUE(shot.savePng(artefactPath("window_blank_canvas.png")));

    // Surround: 0.4 grey at the left and right edges, away from the pointer
    // and below the tool options strip.
    EXPECT_TRUE(isGrey(shot.at(2, 60), 102));
    EXPECT_TRUE(isGrey(shot.at(w - 3, h - 3), 102));
    EXPECT_TRUE(isGrey(shot.at(w - 3, 60), 102));

    // Checkerboard: only 204 and 255 inside the canvas, both present, and a
    // row alternates every 10 window pixels.
    int light = 0, dark = 0, other = 0;
    for (int y = 100; y < h - 100; y += 7)
        for (int x = canvasX0; x < canvasX1; x += 7) {
            if (inRightColumn(x, y)) continue;
            const uint8_t* p = shot.at(x, y);
            if (isGrey(p, 255, 1)) ++light;
            else if (isGrey(p, 204, 1)) ++dark;
            else ++other;
        }
    EXPECT_GT(light, 100);
    EXPECT_GT(dark, 100);
    EXPECT_EQ(other, 0);
    const int row = h / 2 + 3; // screenshot rows are top-down
    int changes = 0;
    for (int x = canvasX0 + 1; x < canvasX0 + 201; ++x)
        if (shot.at(x, row)[0] != shot.at(x - 1, row)[0]) ++changes;
    EXPECT_GE(changes, 19);
    EXPECT_LE(changes, 21);

    // Cursor: the brush tool's outline, drawn inverting what lies beneath:
    // over the 0.4 grey that gives up to 0.6 grey (less where multisampling
    // shares a thin line between two pixels). A circle of the brush size at
    // this zoom (50 px * 700 / 768, radius about 23) and a cross at the pointer.
    const int radius = 50 * 700 / 768 / 2;
    auto inverted = [](const uint8_t* p) { return p[0] >= 115 && p[0] <= 156 && p[0] == p[1] && p[1] == p[2]; };
    EXPECT_TRUE(inverted(shot.at(px + 3, py)) || inverted(shot.at(px + 4, py)));
    EXPECT_TRUE(inverted(shot.at(px, py - 3)) || inverted(shot.at(px, py - 4)));
    int ring = 0;
    for (int dy = -radius - 2; dy <= radius + 2; ++dy)
        for (int dx = -radius - 2; dx <= radius + 2; ++dx) {
            const int x = px + dx, y = py + dy;
            if (x < 0 || x >= left) continue;
            const double d = std::sqrt(double(dx * dx + dy * dy));
            if (std::fabs(d - radius) < 1.5 && inverted(shot.at(x, y))) ++ring;
        }
    EXPECT_GT(ring, 20);
    // Nowhere else in the surround, outside the interface's panels (the options
    // strip at the top, the tool bar from 85 to 550 pixels down on the left,
    // the right column's colour pieces, the position text at the bottom right).
    int elsewhere = 0;
    for (int y = 52; y < h - 10; y += 3) {
        for (int x = 2; x < left - 2; x += 3)
            if ((y < 85 || y > 550) && (y < py - radius - 4 || y > py + radius + 4) && inverted(shot.at(x, y)))
                ++elsewhere;
        for (int x = left + canvasWidth + 2; x < w - 2 && y < h - 60; x += 3)
            elsewhere += !inRightColumn(x, y) && inverted(shot.at(x, y));
    }
    EXPECT_EQ(elsewhere, 0);

    // The outline follows the pointer (to the right surround, above the layers panel).
    const int qx = w - left / 2 + 5, qy = 300;
    app.moveMouse(qx, qy);
    app.waitFrames(10);
    Screenshot moved = app.screenshot();
    EXPECT_TRUE(inverted(moved.at(qx + 3, qy)) || inverted(moved.at(qx + 4, qy)));
    EXPECT_FALSE(inverted(moved.at(px + 3, py)) || inverted(moved.at(px + 4, py)));
}

// The close button asks "Exit?": Cancel (Esc) keeps the window, Exit (the
// focused button, so Enter) ends the program cleanly and quickly.
TEST(WindowE2E, CloseButtonAsksThenEndsProcessWithZero) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const Screenshot before = app.screenshot();
    app.sendCloseRequest();
    app.waitFrames(20);
    ASSERT_TRUE(app.running()) << "the question comes first";
    const Screenshot asking = app.screenshot();
    ASSERT_TRUE(asking.savePng(artefactPath("exit_question.png")));
    // The box stands in the middle of the window.
    const int cx = app.windowWidth() / 2, cy = app.windowHeight() / 2;
    EXPECT_GT(differingPixels(before, asking, cx - 100, cy - 60, cx + 100, cy + 60), 100 * 60);
    app.xdotool("key Escape");
    app.waitFrames(20);
    EXPECT_TRUE(app.running()) << "Cancel keeps the window";
    app.sendCloseRequest();
    app.waitFrames(20);
    app.xdotool("key Return");
    const int code = app.waitForExit(3000);
    EXPECT_EQ(code, 0) << app.output();
}

TEST(WindowE2E, UnreadableFileGivesBlankImageAndMessage) {
    AppSession app;
    ASSERT_TRUE(app.start({"/nonexistent/picture.png"})) << app.output();
    EXPECT_TRUE(app.running());
    EXPECT_NE(app.output().find("unable to load file"), std::string::npos) << app.output();
    Screenshot shot = app.screenshot();
    EXPECT_TRUE(isGrey(shot.at(2, 60), 102)) << "below the options strip";
    EXPECT_TRUE(isGrey(shot.at(app.windowWidth() / 2, app.windowHeight() / 2), 255, 1) ||
                isGrey(shot.at(app.windowWidth() / 2, app.windowHeight() / 2), 204, 1));
    app.sendCloseRequest();
    app.waitFrames(20);
    app.xdotool("key Return"); // "Exit"
    EXPECT_EQ(app.waitForExit(3000), 0);
}
