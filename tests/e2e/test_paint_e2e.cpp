#include <gtest/gtest.h>

#include <cmath>

#include "e2e/AppSession.h"

namespace {
bool isDark(const uint8_t* p) { return p[0] < 40 && p[1] < 40 && p[2] < 40; }
bool isChecker(const uint8_t* p) {
    return (p[0] == 255 || p[0] == 204) && p[0] == p[1] && p[1] == p[2];
}
} // namespace

// A mouse drag paints a smooth stroke with the default brush (black, 50 px at
// a 1:1.1 view), live while the button is held and for good after release.
TEST(PaintE2E, MouseDragPaintsAStroke) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int h = app.windowHeight();
    // A horizontal wave across the middle of the canvas.
    std::vector<std::pair<int, int>> path;
    for (int x = 250; x <= 750; x += 10)
        path.push_back({x, h / 2 + static_cast<int>(60 * std::sin((x - 250) / 80.0))});

    // Hold the button at the end and look at the live stroke before the release.
    app.moveMouse(path[0].first, path[0].second);
    app.waitFrames(3);
    app.xdotool("mousedown 1");
    for (auto [x, y] : path) {
        app.moveMouse(x, y);
        app.waitFrames(0);
    }
    app.waitFrames(6);
    Screenshot live = app.screenshot();
    ASSERT_TRUE(live.savePng(artefactPath("paint_live_stroke.png")));
    app.xdotool("mouseup 1");
    app.moveMouse(900, 80); // out of the way of the stroke
    app.waitFrames(10);
    Screenshot done = app.screenshot();
    ASSERT_TRUE(done.savePng(artefactPath("paint_stroke_after_release.png")));

    // Every point of the path is covered, live and after the release; the
    // brush is about 50 canvas px = 45 window px wide at this zoom.
    for (size_t i = 2; i + 2 < path.size(); ++i) {
        auto [x, y] = path[i];
        EXPECT_TRUE(isDark(live.at(x, y))) << "live stroke missing at " << x << "," << y;
        EXPECT_TRUE(isDark(done.at(x, y))) << "stroke missing at " << x << "," << y;
        EXPECT_TRUE(isDark(done.at(x, y + 15))) << "stroke too thin at " << x << "," << y;
        EXPECT_TRUE(isChecker(done.at(x, y + 40)) || isChecker(done.at(x, y - 40)))
            << "stroke too wide at " << x << "," << y;
    }
    // Far from the path the canvas is untouched.
    EXPECT_TRUE(isChecker(done.at(500, 100)));
    EXPECT_TRUE(isChecker(done.at(500, h - 100)));
    // The edge is antialiased: some pixels between black and the checkerboard.
    // The rim is about one pixel wide, so one column may cross it without a
    // middle value; several columns along the stroke always show some.
    int partial = 0;
    for (int x = 250 + 100; x <= 250 + 220; x += 10) {
        for (int y = h / 2 - 60; y < h / 2 + 60; ++y) {
            const uint8_t* p = done.at(x, y);
            if (p[0] > 40 && p[0] < 190) ++partial;
        }
    }
    EXPECT_GT(partial, 3);
}
