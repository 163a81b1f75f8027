// The replay on the real program: paint strokes, press "p", answer the
// prompt with Enter, watch the strip and the picture build up (paused with
// Space for a steady look), and see the end picture come back, after the
// last action and after ESC in the middle.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "e2e/AppSession.h"

namespace {
bool isChecker(const uint8_t* p) { return (p[0] == 255 || p[0] == 204) && p[0] == p[1] && p[1] == p[2]; }

// Short diagonal strokes on a grid over the middle of the window: enough
// actions for the replay to last about a second.
void paintStrokes(AppSession& app, int count) {
    const int w = app.windowWidth(), h = app.windowHeight();
    for (int i = 0; i < count; ++i) {
        const int x = w / 2 - 250 + (i % 8) * 60, y = h / 2 - 150 + (i / 8) * 60;
        app.drag({{x, y}, {x + 15, y + 10}, {x + 30, y + 25}, {x + 40, y + 40}}, 10);
    }
}

// The strip along the bottom: dark, over the checkerboard.
bool stripShown(const Screenshot& s) {
    int dark = 0;
    for (int x = 0; x < s.width; x += 7) {
        const uint8_t* p = s.at(x, s.height - 3);
        dark += p[0] < 150 && !isChecker(p);
    }
    return dark > s.width / 7 / 2;
}
} // namespace

TEST(PlayerE2E, KeyPReplaysTheStrokesAndEndsOnThePicture) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int w = app.windowWidth(), h = app.windowHeight();
    paintStrokes(app, 40);
    app.moveMouse(w - 40, 120); // the drawn pointer rests in the same place for every picture
    app.waitFrames(100);        // any notification has faded
    const Screenshot before = app.screenshot();
    ASSERT_TRUE(before.savePng(artefactPath("player_before.png")));
    ASSERT_FALSE(stripShown(before));

    app.xdotool("key p");
    app.waitFrames(15); // the prompt fades in over the interface's panels
    const Screenshot prompt = app.screenshot();
    ASSERT_TRUE(prompt.savePng(artefactPath("player_prompt.png")));
    EXPECT_GT(differingPixels(before, prompt, w / 2 - 100, h / 2 - 40, w / 2 + 100, h / 2 + 40), 2000)
        << "the prompt stands in the middle";

    app.xdotool("key Return");
    app.waitFrames(8);
    app.xdotool("key space"); // pause for a steady look
    // The strip hides after a second without input, which a loaded machine
    // can spend on a few frames: look soon after the key.
    app.waitFrames(1);
    const Screenshot during = app.screenshot();
    ASSERT_TRUE(during.savePng(artefactPath("player_paused.png")));
    EXPECT_TRUE(stripShown(during)) << "the control strip is shown";
    // Part of the strokes is there, part not yet: the lower rows are still bare.
    const int stillBare = differingPixels(before, during, w / 2 - 250, h / 2 + 30, w / 2 + 250, h / 2 + 240);
    EXPECT_GT(stillBare, 3000) << "the replay is in the middle";
    EXPECT_NE(app.output().find("replay of drawing process.."), std::string::npos) << app.output();

    app.xdotool("key space");
    ASSERT_TRUE(waitForOutput(app, "replay stopped", 10000)) << app.output();
    app.waitFrames(100); // the notification fades, the fitted view settles
    const Screenshot after = app.screenshot();
    ASSERT_TRUE(after.savePng(artefactPath("player_after.png")));
    EXPECT_FALSE(stripShown(after));
    EXPECT_EQ(differingPixels(before, after, 0, 0, w, h), 0) << "the end picture is the picture before";
}

TEST(PlayerE2E, EscapeInTheMiddleBringsTheEndPictureBack) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int w = app.windowWidth(), h = app.windowHeight();
    paintStrokes(app, 24);
    app.moveMouse(w - 40, 120);
    app.waitFrames(100);
    const Screenshot before = app.screenshot();

    app.xdotool("key p");
    app.waitFrames(5);
    app.xdotool("key Return");
    app.waitFrames(4);
    app.xdotool("key space");
    app.waitFrames(3);
    const Screenshot during = app.screenshot();
    EXPECT_GT(differingPixels(before, during, 0, 0, w, h), 3000);
    app.xdotool("key Escape");
    ASSERT_TRUE(waitForOutput(app, "replay stopped", 5000)) << app.output();
    app.waitFrames(100);
    const Screenshot after = app.screenshot();
    ASSERT_TRUE(after.savePng(artefactPath("player_after_escape.png")));
    EXPECT_EQ(differingPixels(before, after, 0, 0, w, h), 0);
    // ESC went to the replay, not to the exit prompt of the program.
    EXPECT_EQ(app.output().find("exit: not available yet"), std::string::npos) << app.output();
    EXPECT_TRUE(app.running());
}

namespace {
struct Box {
    int x0 = 1 << 30, y0 = 1 << 30, x1 = -1, y1 = -1;
    int width() const { return x1 - x0; }
    int height() const { return y1 - y0; }
    int centreX() const { return (x0 + x1) / 2; }
    int centreY() const { return (y0 + y1) / 2; }
};

// Bounding box of the black paint, leaving out the strip, the notification
// rows and the drawn pointer at the right edge.
Box paintBox(const Screenshot& s) {
    Box b;
    for (int y = 90; y < s.height - 60; ++y)
        for (int x = 0; x < s.width - 100; ++x) {
            const uint8_t* p = s.at(x, y);
            if (p[0] > 30 || p[1] > 30 || p[2] > 30) continue;
            b.x0 = std::min(b.x0, x), b.x1 = std::max(b.x1, x);
            b.y0 = std::min(b.y0, y), b.y1 = std::max(b.y1, y);
        }
    return b;
}
} // namespace

// With "Autopan & zoom" the camera closes in on a small cluster of work in
// a corner of the canvas and brings it towards the middle of the window.
TEST(PlayerE2E, AutopanClosesInOnTheWork) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int w = app.windowWidth(), h = app.windowHeight();
    app.moveMouse(w / 2, h / 2);
    for (int i = 0; i < 6; ++i) app.xdotool("key bracketleft"); // a brush of about 10 px
    app.waitFrames(3);
    for (int i = 0; i < 110; ++i) {
        const int x = 150 + (i % 11) * 16, y = 150 + (i / 11) * 14;
        app.drag({{x, y}, {x + 6, y + 4}}, 5);
    }
    app.moveMouse(w - 40, h / 2);
    app.waitFrames(60);
    const Screenshot before = app.screenshot();
    ASSERT_TRUE(before.savePng(artefactPath("player_autopan_before.png")));
    const Box b0 = paintBox(before);
    ASSERT_GT(b0.width(), 100);

    app.xdotool("key p");
    app.waitFrames(15);
    // The 440 x 170 prompt stands in the centre cell of the window's 5 x 5
    // grid; its 16-unit check box lies 20 and 15 + 50 units into it.
    const float cellW = static_cast<float>(w) / 5, cellH = static_cast<float>(h) / 5;
    const int dialogX = static_cast<int>(2 * cellW) + static_cast<int>((cellW - 440) * 0.5f);
    const int dialogY = static_cast<int>(2 * cellH) + static_cast<int>((cellH - 170) * 0.5f); // from the bottom
    const int boxX = dialogX + 20 + 8, boxY = h - (dialogY + 15 + 50 + 8);
    app.moveMouse(boxX, boxY);
    app.waitFrames(2);
    app.xdotool("click 1");
    app.waitFrames(3);
    const Screenshot prompt = app.screenshot();
    ASSERT_TRUE(prompt.savePng(artefactPath("player_prompt_autopan.png")));
    app.moveMouse(w - 40, h / 2);
    app.xdotool("key Return");
    ASSERT_TRUE(waitForOutput(app, "replay stopped", 20000)) << app.output();
    app.waitFrames(60); // the last glide arrives
    const Screenshot after = app.screenshot();
    ASSERT_TRUE(after.savePng(artefactPath("player_autopan_end.png")));
    const Box b1 = paintBox(after);
    EXPECT_GT(b1.height(), b0.height() * 2) << "the view zoomed in on the work";
    const int d0 = std::abs(b0.centreX() - w / 2) + std::abs(b0.centreY() - h / 2);
    const int d1 = std::abs(b1.centreX() - w / 2) + std::abs(b1.centreY() - h / 2);
    EXPECT_LT(d1, d0 / 2) << "and brought it towards the middle";
}
