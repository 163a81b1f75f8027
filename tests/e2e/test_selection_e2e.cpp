// A lasso drawn with the mouse confines the brush: a stroke across its edge
// paints only inside; Ctrl+D drops the selection and paint goes everywhere.
#include <gtest/gtest.h>

#include "e2e/AppSession.h"

namespace {
bool isDark(const uint8_t* p) { return p[0] < 40 && p[1] < 40 && p[2] < 40; }
bool isChecker(const uint8_t* p) { return (p[0] == 255 || p[0] == 204) && p[0] == p[1] && p[1] == p[2]; }
} // namespace

TEST(SelectionE2E, LassoConfinesAStrokeAndCtrlDDropsIt) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int h = app.windowHeight();
    const int top = h / 2 - 120, bottom = h / 2 + 120;
    app.xdotool("key d"); // the selection tool
    app.waitFrames(3);
    // A corner by a click, the right side as a free-hand run, a corner by a
    // click, then a click on the first point closes the outline.
    app.moveMouse(350, top);
    app.waitFrames(2);
    app.xdotool("click 1");
    app.waitFrames(2);
    std::vector<std::pair<int, int>> side;
    for (int y = top; y <= bottom; y += 20) side.push_back({650, y});
    app.drag(side);
    app.waitFrames(2);
    app.moveMouse(350, bottom);
    app.waitFrames(2);
    app.xdotool("click 1");
    app.waitFrames(2);
    app.moveMouse(350, top);
    app.waitFrames(4); // the close hover needs a tick with the pointer there
    app.xdotool("click 1");
    app.waitFrames(4);

    app.xdotool("key b"); // the brush
    app.waitFrames(3);
    std::vector<std::pair<int, int>> stroke;
    for (int x = 200; x <= 800; x += 10) stroke.push_back({x, h / 2});
    app.drag(stroke);
    app.moveMouse(900, 60);
    app.waitFrames(10);
    Screenshot confined = app.screenshot();
    ASSERT_TRUE(confined.savePng(artefactPath("selection_confined_stroke.png")));
    for (int x = 380; x <= 620; x += 20) EXPECT_TRUE(isDark(confined.at(x, h / 2))) << "no paint inside at " << x;
    for (int x : {210, 250, 300, 330, 670, 700, 750, 790})
        EXPECT_TRUE(isChecker(confined.at(x, h / 2))) << "paint outside the lasso at " << x;

    // Ctrl+D: no selection any more, the next stroke paints outside too.
    app.xdotool("key ctrl+d");
    app.waitFrames(4);
    std::vector<std::pair<int, int>> second;
    for (int x = 200; x <= 800; x += 10) second.push_back({x, h / 2 + 170});
    app.drag(second);
    app.moveMouse(900, 60);
    app.waitFrames(10);
    Screenshot free = app.screenshot();
    ASSERT_TRUE(free.savePng(artefactPath("selection_dropped_stroke.png")));
    for (int x : {250, 500, 750}) EXPECT_TRUE(isDark(free.at(x, h / 2 + 170))) << "no paint at " << x;
    // The first stroke stayed as it was.
    for (int x : {250, 750}) EXPECT_TRUE(isChecker(free.at(x, h / 2)));
}
