// Choosing colours in the real program: the right column's selector (ring,
// then square) and the right button's HUD, each followed by a stroke whose
// pixels carry the chosen colour. Window pixels, y down; the window is
// 1024 x 700 at the first start, so the column's selector (150 wide, placed
// by its centre 77 in from the right edge and 140 down from the top) has its
// centre at (947, 140). Its hue marker runs 63.75 from the centre; hues go
// clockwise from the right.
#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "e2e/AppSession.h"

namespace {

// Window point (y down) at `hue` on the ring's middle around a centre.
std::pair<int, int> ringPoint(int cx, int cy, float hue) {
    const double a = hue * 3.14159265358979 / 180.0;
    // Clockwise on screen: with y down that is the plain angle.
    return {cx + static_cast<int>(std::lround(63.75 * std::cos(a))),
            cy + static_cast<int>(std::lround(63.75 * std::sin(a)))};
}

void click(AppSession& app, std::pair<int, int> p) {
    app.moveMouse(p.first, p.second);
    app.waitFrames(3);
    app.xdotool("click 1");
    app.waitFrames(5);
}

void stroke(AppSession& app, int y) {
    std::vector<std::pair<int, int>> path;
    for (int x = 300; x <= 600; x += 15) path.push_back({x, y});
    app.drag(path);
    app.moveMouse(700, 650);
    app.waitFrames(10);
}

bool near(const uint8_t* p, int r, int g, int b, int tolerance) {
    return std::abs(p[0] - r) <= tolerance && std::abs(p[1] - g) <= tolerance && std::abs(p[2] - b) <= tolerance;
}

std::string rgbText(const uint8_t* p) {
    return std::to_string(p[0]) + "," + std::to_string(p[1]) + "," + std::to_string(p[2]);
}

} // namespace

TEST(ColourE2E, ColoursChosenInTheColumnAndTheHudPaint) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    ASSERT_EQ(app.windowWidth(), 1024);
    ASSERT_EQ(app.windowHeight(), 700);
    const int cx = 947, cy = 140;

    // Ring: hue 200 first, then red; then the square dragged from inside out
    // past its upper right corner: saturation and value 1.
    click(app, ringPoint(cx, cy, 200));
    click(app, ringPoint(cx, cy, 0));
    app.drag({{cx + 20, cy - 20}, {cx + 35, cy - 35}, {cx + 50, cy - 50}, {cx + 55, cy - 55}});
    app.moveMouse(700, 650);
    app.waitFrames(10);
    const Screenshot chosen = app.screenshot();
    ASSERT_TRUE(chosen.savePng(artefactPath("colour_column_red.png")));
    // The colour numbers' swatch (x 979..1014, y 220..240) shows it.
    EXPECT_TRUE(near(chosen.at(996, 230), 255, 0, 0, 3)) << rgbText(chosen.at(996, 230));
    // Near the square's upper right corner (clear of its marker there), s and
    // v 61.4 / 66.8 = 0.919: about (234, 19, 19).
    EXPECT_TRUE(near(chosen.at(cx + 28, cy - 28), 234, 19, 19, 12)) << rgbText(chosen.at(cx + 28, cy - 28));

    stroke(app, 350);
    const Screenshot red = app.screenshot();
    ASSERT_TRUE(red.savePng(artefactPath("colour_red_stroke.png")));
    for (int x = 350; x <= 550; x += 50)
        EXPECT_TRUE(near(red.at(x, 350), 255, 0, 0, 8)) << x << ": " << rgbText(red.at(x, 350));

    // The HUD at (500, 520): a left click at hue 240 with the right button held.
    app.moveMouse(500, 520);
    app.waitFrames(5);
    app.xdotool("mousedown 3");
    app.waitFrames(10);
    const auto blue = ringPoint(500, 520, 240);
    app.moveMouse(blue.first, blue.second);
    app.waitFrames(5);
    const Screenshot hud = app.screenshot();
    ASSERT_TRUE(hud.savePng(artefactPath("colour_hud.png")));
    // The HUD's ring shows blue there (the marker is still at red); looked at
    // up and left of the pointer, which draws its arrow down and right.
    EXPECT_TRUE(near(hud.at(blue.first - 3, blue.second - 3), 0, 0, 255, 40))
        << rgbText(hud.at(blue.first - 3, blue.second - 3));
    app.xdotool("click 1");
    app.waitFrames(5);
    app.xdotool("mouseup 3");
    app.waitFrames(10);

    stroke(app, 620);
    const Screenshot both = app.screenshot();
    ASSERT_TRUE(both.savePng(artefactPath("colour_blue_stroke.png")));
    for (int x = 350; x <= 550; x += 50) {
        EXPECT_TRUE(near(both.at(x, 620), 0, 0, 255, 8)) << x << ": " << rgbText(both.at(x, 620));
        EXPECT_TRUE(near(both.at(x, 350), 255, 0, 0, 8)) << "the red stroke stays at " << x;
    }
    EXPECT_TRUE(near(both.at(996, 230), 0, 0, 255, 3)) << "the column's swatch: " << rgbText(both.at(996, 230));
    // Nothing was painted under the HUD's clicks.
    EXPECT_TRUE(near(both.at(blue.first, blue.second), red.at(blue.first, blue.second)[0],
                     red.at(blue.first, blue.second)[1], red.at(blue.first, blue.second)[2], 0));
}
