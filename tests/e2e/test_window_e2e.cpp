#include <gtest/gtest.h>

#include <cstdlib>

#include "e2e/AppSession.h"

namespace {
bool isGrey(const uint8_t* p, int level, int tolerance = 2) {
    return std::abs(p[0] - level) <= tolerance && std::abs(p[1] - level) <= tolerance &&
           std::abs(p[2] - level) <= tolerance;
}
bool isWhite(const uint8_t* p) { return p[0] >= 250 && p[1] >= 250 && p[2] >= 250; }
} // namespace

// A fresh start shows the blank default canvas fitted to the window: grey
// surround, the checkerboard in 10-pixel squares where the canvas is
// transparent, and the program's own arrow at the pointer.
TEST(WindowE2E, BlankCanvasOverCheckerboardWithDrawnCursor) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int w = app.windowWidth(), h = app.windowHeight();
    ASSERT_EQ(w, 1024);
    ASSERT_EQ(h, 700);

    // 1024x768 fitted into 1024x700: full height, 933 px wide, centred.
    const int canvasWidth = 1024 * 700 / 768;
    const int left = (w - canvasWidth) / 2;
    // Pointer in the grey surround, so the white arrow stands out.
    const int px = left / 2 - 5, py = h / 2;
    app.moveMouse(px, py);
    app.waitFrames(10);
    Screenshot shot = app.screenshot();
    ASSERT_EQ(shot.width, w);
    ASSERT_TRUE(shot.savePng(artefactPath("window_blank_canvas.png")));

    // Surround: 0.4 grey at the left and right edges, away from the pointer.
    EXPECT_TRUE(isGrey(shot.at(2, 2), 102));
    EXPECT_TRUE(isGrey(shot.at(w - 3, h - 3), 102));
    EXPECT_TRUE(isGrey(shot.at(w - 3, 2), 102));

    // Checkerboard: only 204 and 255 inside the canvas, both present, and a
    // row alternates every 10 window pixels.
    int light = 0, dark = 0, other = 0;
    for (int y = 100; y < h - 100; y += 7)
        for (int x = left + 20; x < left + canvasWidth - 20; x += 7) {
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
    for (int x = left + 21; x < left + 221; ++x)
        if (shot.at(x, row)[0] != shot.at(x - 1, row)[0]) ++changes;
    EXPECT_GE(changes, 19);
    EXPECT_LE(changes, 21);

    // Cursor: the arrow points up-left from the pointer; its body lies right
    // of and below the hot spot in screen terms.
    int white = 0;
    for (int y = py; y < py + 16; ++y)
        for (int x = px; x < px + 15; ++x)
            if (isWhite(shot.at(x, y))) ++white;
    EXPECT_GT(white, 30);
    int whiteElsewhere = 0;
    for (int y = 10; y < h - 10; y += 3)
        for (int x = 2; x < left - 2; x += 3)
            if ((y < py - 5 || y > py + 25) && isWhite(shot.at(x, y))) ++whiteElsewhere;
    EXPECT_EQ(whiteElsewhere, 0);

    // The arrow follows the pointer.
    app.moveMouse(w - left / 2 - 5, py);
    app.waitFrames(10);
    Screenshot moved = app.screenshot();
    int whiteRight = 0, whiteLeft = 0;
    for (int y = py; y < py + 16; ++y)
        for (int x = 0; x < 15; ++x) {
            if (isWhite(moved.at(w - left / 2 - 5 + x, y))) ++whiteRight;
            if (isWhite(moved.at(px + x, y))) ++whiteLeft;
        }
    EXPECT_GT(whiteRight, 30);
    EXPECT_EQ(whiteLeft, 0);
}

// The close button ends the program cleanly and quickly, and it leaves a clean
// closing status behind for the next start.
TEST(WindowE2E, CloseButtonEndsProcessWithZero) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    app.sendCloseRequest();
    const int code = app.waitForExit(2000);
    EXPECT_EQ(code, 0) << app.output();
}

TEST(WindowE2E, UnreadableFileGivesBlankImageAndMessage) {
    AppSession app;
    ASSERT_TRUE(app.start({"/nonexistent/picture.png"})) << app.output();
    EXPECT_TRUE(app.running());
    EXPECT_NE(app.output().find("unable to load file"), std::string::npos) << app.output();
    Screenshot shot = app.screenshot();
    EXPECT_TRUE(isGrey(shot.at(2, 2), 102));
    EXPECT_TRUE(isGrey(shot.at(app.windowWidth() / 2, app.windowHeight() / 2), 255, 1) ||
                isGrey(shot.at(app.windowWidth() / 2, app.windowHeight() / 2), 204, 1));
    app.sendCloseRequest();
    EXPECT_EQ(app.waitForExit(2000), 0);
}
