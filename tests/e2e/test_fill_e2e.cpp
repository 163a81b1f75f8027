// The bucket and the colour picker in the running program: a ring drawn with
// the brush, the colour picked with Alt+click from a loaded picture, the
// inside filled with key f and a click, plain and "Optimize for lineart",
// and the picked colour painting the next stroke.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "e2e/AppSession.h"
#include "io/Codecs.h"

namespace {

bool isRed(const uint8_t* p) { return p[0] > 230 && p[1] < 25 && p[2] < 25; }
bool isDark(const uint8_t* p) { return p[0] < 40 && p[1] < 40 && p[2] < 40; }

struct Box {
    int x0 = 1 << 30, y0 = 1 << 30, x1 = -1, y1 = -1;
};

// Below the right column's colour selector and swatch (down to y 240), which
// show red too.
Box redBox(const Screenshot& s) {
    Box b;
    for (int y = 250; y < s.height; ++y)
        for (int x = 0; x < s.width; ++x)
            if (isRed(s.at(x, y))) {
                b.x0 = std::min(b.x0, x), b.y0 = std::min(b.y0, y);
                b.x1 = std::max(b.x1, x), b.y1 = std::max(b.y1, y);
            }
    return b;
}

Screenshot settledShot(AppSession& app, const std::string& name) {
    app.waitFrames(12);
    Screenshot s = app.screenshot();
    s.savePng(artefactPath(name + ".png"));
    return s;
}

// Pixels along the row from the centre outwards to the ring's dark core that
// are neither the fill nor the line: the background showing through a light
// rim between them (green above 60: red fill and black line have none).
int haloPixels(const Screenshot& s, int cx, int cy, int reach) {
    int halo = 0;
    for (int x = cx; x < cx + reach; ++x) {
        const uint8_t* p = s.at(x, cy);
        if (isDark(p)) break;
        if (p[1] > 60) ++halo;
    }
    return halo;
}

} // namespace

TEST(FillE2E, BucketFillsARingPickedColourPaints) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / ("kw_fill_e2e_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    // A clear 600 x 400 picture with an opaque red square near its bottom-right
    // corner, clear of the tool bar and the options strip.
    constexpr int kW = 600, kH = 400;
    std::vector<uint8_t> picture(static_cast<size_t>(kW) * kH * 4, 0);
    for (int y = 300; y < 380; ++y)
        for (int x = 500; x < 580; ++x) {
            uint8_t* p = &picture[(static_cast<size_t>(y) * kW + x) * 4];
            p[0] = 255, p[3] = 255;
        }
    ASSERT_TRUE(codec::encodePng((dir / "red.png").string(), picture.data(), kW, kH));

    AppSession app;
    ASSERT_TRUE(app.start({(dir / "red.png").string()})) << app.output();
    app.waitFrames(40);
    const Screenshot start = settledShot(app, "fill_0_start");
    const Box red = redBox(start);
    ASSERT_GT(red.x1, red.x0) << "the red square is not on screen";
    // Window pixels per picture pixel, and the picture's top-left corner.
    const double s = (red.x1 - red.x0 + 1) / 80.0;
    const double left = red.x0 - 500 * s, top = red.y0 - 300 * s;
    const int cx = static_cast<int>(left + 380 * s), cy = static_cast<int>(top + 220 * s);
    const int r = static_cast<int>(90 * s);

    // A closed ring with the brush, in black (the starting colour).
    std::vector<std::pair<int, int>> ring;
    for (int k = 0; k <= 72; ++k) {
        const double a = 6.2831853 * k / 72.0;
        ring.push_back({cx + static_cast<int>(std::lround(r * std::cos(a))),
                        cy + static_cast<int>(std::lround(r * std::sin(a)))});
    }
    ring.push_back(ring[1]);
    app.drag(ring);
    const Screenshot drawn = settledShot(app, "fill_1_ring");
    ASSERT_TRUE(isDark(drawn.at(cx + r, cy))) << "the ring is not drawn";
    ASSERT_FALSE(isDark(drawn.at(cx, cy)));

    // Alt+click on the red square: the current colour becomes red.
    app.moveMouse((red.x0 + red.x1) / 2, (red.y0 + red.y1) / 2);
    app.waitFrames(3);
    app.xdotool("keydown alt");
    app.waitFrames(3);
    app.xdotool("click 1");
    app.waitFrames(4);
    app.xdotool("keyup alt");
    app.waitFrames(4);

    // The bucket: the ring's inside takes the colour, the outside does not.
    app.xdotool("key f");
    app.waitFrames(4);
    app.clickAt(cx, cy);
    app.moveMouse(5, start.height - 5);
    const Screenshot plain = settledShot(app, "fill_2_plain");
    EXPECT_TRUE(isRed(plain.at(cx, cy)));
    EXPECT_TRUE(isRed(plain.at(cx - r / 2, cy + r / 2)));
    const int ox = cx + r + static_cast<int>(30 * s);
    EXPECT_EQ(differingPixels(drawn, plain, ox, cy - 5, ox + 10, cy + 5), 0) << "the fill leaked out of the ring";
    const int plainHalo = haloPixels(plain, cx, cy, r + 10);

    // Undo, tick "Optimize for lineart" in the options strip, fill again.
    app.xdotool("key ctrl+z");
    const Screenshot undone = settledShot(app, "fill_3_undone");
    EXPECT_FALSE(isRed(undone.at(cx, cy)));
    // The box sits at (500, 30) units in the strip across the window's top,
    // 50 units high, y up: at 96 dpi its centre is (507, 50 - 37) from the top-left.
    app.clickAt(507, 13);
    const Screenshot ticked = settledShot(app, "fill_4_options");
    app.clickAt(cx, cy);
    app.moveMouse(5, start.height - 5);
    const Screenshot lineart = settledShot(app, "fill_5_lineart");
    EXPECT_TRUE(isRed(lineart.at(cx, cy)));
    EXPECT_EQ(differingPixels(drawn, lineart, ox, cy - 5, ox + 10, cy + 5), 0);
    const int lineartHalo = haloPixels(lineart, cx, cy, r + 10);
    std::printf("light rim pixels along the row: plain %d, lineart %d\n", plainHalo, lineartHalo);
    EXPECT_GT(plainHalo, 0) << "plain mode keeps the line's light rim: the check should see it";
    EXPECT_EQ(lineartHalo, 0) << "lineart mode left a halo";

    // The picked colour paints the next stroke.
    app.xdotool("key b");
    app.waitFrames(4);
    const int sy = static_cast<int>(top + 360 * s);
    std::vector<std::pair<int, int>> stroke;
    for (int x = static_cast<int>(left + 100 * s); x <= static_cast<int>(left + 250 * s); x += 8) stroke.push_back({x, sy});
    app.drag(stroke);
    app.moveMouse(5, start.height - 5);
    const Screenshot painted = settledShot(app, "fill_6_stroke");
    EXPECT_TRUE(isRed(painted.at(static_cast<int>(left + 175 * s), sy)));

    // Over a clear part of the picture the picker takes the checkerboard's
    // colour as the window shows it, and the next stroke paints with that.
    // A point inside one square of the checkerboard, so that the pointer's
    // hot spot and the pixel row read for it show the same grey.
    int px = static_cast<int>(left + 200 * s), py = static_cast<int>(top + 60 * s);
    auto uniformAround = [&painted](int x, int y) {
        for (int dy = -2; dy <= 2; ++dy)
            for (int dx = -2; dx <= 2; ++dx)
                if (painted.at(x + dx, y + dy)[0] != painted.at(x, y)[0]) return false;
        return true;
    };
    for (int step = 0; step < 10 && !uniformAround(px, py); ++step) ++px, ++py;
    ASSERT_TRUE(uniformAround(px, py));
    const uint8_t* shown = painted.at(px, py);
    const int grey = shown[0];
    ASSERT_TRUE(shown[1] == grey && shown[2] == grey && grey > 150) << "not the checkerboard at the pick point";
    app.moveMouse(px, py);
    app.waitFrames(3);
    app.xdotool("keydown alt");
    app.waitFrames(3);
    app.xdotool("click 1");
    app.waitFrames(4);
    app.xdotool("keyup alt");
    app.waitFrames(4);
    const int gy = static_cast<int>(top + 300 * s);
    std::vector<std::pair<int, int>> greyStroke;
    for (int x = static_cast<int>(left + 100 * s); x <= static_cast<int>(left + 250 * s); x += 8)
        greyStroke.push_back({x, gy});
    app.drag(greyStroke);
    app.moveMouse(5, start.height - 5);
    const Screenshot picked = settledShot(app, "fill_7_checker_pick");
    const uint8_t* g = picked.at(static_cast<int>(left + 175 * s), gy);
    EXPECT_LE(std::abs(g[0] - grey) + std::abs(g[1] - grey) + std::abs(g[2] - grey), 3)
        << "stroke " << int(g[0]) << "," << int(g[1]) << "," << int(g[2]) << " picked " << grey;
    fs::remove_all(dir);
}
