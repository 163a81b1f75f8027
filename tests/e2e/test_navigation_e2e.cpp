// The view moves (wheel zoom at the pointer, Space-drag pan, Ctrl-drag
// rotation, fit to window) and a dab painted afterwards still lands exactly
// under the pointer: the window <-> canvas mapping agrees with what GL draws.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "e2e/AppSession.h"

namespace {
bool isDark(const uint8_t* p) { return p[0] < 60 && p[1] < 60 && p[2] < 60; }

struct Centroid {
    double x = 0, y = 0;
    int count = 0;
};

// Pixels that turned dark between two screenshots, near (cx, cy).
Centroid newDarkPixels(const Screenshot& before, const Screenshot& after, int cx, int cy, int reach) {
    Centroid c;
    for (int y = std::max(0, cy - reach); y < std::min(after.height, cy + reach); ++y)
        for (int x = std::max(0, cx - reach); x < std::min(after.width, cx + reach); ++x)
            if (isDark(after.at(x, y)) && !isDark(before.at(x, y))) {
                c.x += x;
                c.y += y;
                ++c.count;
            }
    if (c.count) c.x /= c.count, c.y /= c.count;
    return c;
}

// One click paints one round dab centred on the pointer.
void expectDabUnderPointer(AppSession& app, int x, int y, const std::string& name) {
    app.moveMouse(x, y);
    app.waitFrames(4);
    const Screenshot before = app.screenshot();
    app.xdotool("click 1");
    app.moveMouse(x + 150, y + 150 > app.windowHeight() - 5 ? y - 150 : y + 150); // the cursor out of the way
    app.waitFrames(8);
    const Screenshot after = app.screenshot();
    after.savePng(artefactPath("navigation_" + name + ".png"));
    const Centroid c = newDarkPixels(before, after, x, y, 90);
    ASSERT_GT(c.count, 20) << name << ": no dab appeared near the pointer";
    // Screenshot pixel (x, y) has its centre at x + 0.5: allow a pixel for rounding.
    EXPECT_NEAR(c.x, x + 0.5, 1.5) << name;
    EXPECT_NEAR(c.y, y + 0.5, 1.5) << name;
}
} // namespace

TEST(NavigationE2E, DabsLandUnderThePointerAfterEveryViewChange) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int w = app.windowWidth(), h = app.windowHeight();
    app.waitFrames(60); // the opening fit-to-window animation runs for a second

    expectDabUnderPointer(app, 300, 250, "start");

    // Two wheel notches in at a point off the centre.
    app.moveMouse(620, 400);
    app.waitFrames(2);
    app.xdotool("click 4");
    app.waitFrames(2);
    app.xdotool("click 4");
    app.waitFrames(6);
    expectDabUnderPointer(app, 560, 330, "zoomed");

    // Space held: a drag pans the picture.
    app.moveMouse(500, 500);
    app.waitFrames(2);
    app.xdotool("keydown space");
    app.waitFrames(3);
    app.drag({{500, 500}, {470, 480}, {430, 460}, {400, 440}});
    app.waitFrames(3);
    app.xdotool("keyup space");
    app.waitFrames(6);
    expectDabUnderPointer(app, 450, 200, "panned");

    // Ctrl held: a drag around the centre turns the view.
    app.moveMouse(w / 2 + 200, h / 2);
    app.waitFrames(2);
    app.xdotool("keydown ctrl");
    app.waitFrames(3);
    std::vector<std::pair<int, int>> arc;
    for (int a = 0; a <= 40; a += 5)
        arc.push_back({w / 2 + static_cast<int>(200 * std::cos(a / 57.3)),
                       h / 2 - static_cast<int>(200 * std::sin(a / 57.3))});
    app.drag(arc);
    app.waitFrames(3);
    app.xdotool("keyup ctrl");
    app.waitFrames(6);
    const Screenshot turned = app.screenshot();
    turned.savePng(artefactPath("navigation_rotated_view.png"));
    expectDabUnderPointer(app, 380, 420, "rotated");

    // Fit to window: the eased move back takes a second.
    app.xdotool("key c");
    app.waitFrames(70);
    expectDabUnderPointer(app, 700, 300, "fitted");
    EXPECT_TRUE(app.running());
}
