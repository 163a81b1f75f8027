// The gradient and the mirror in the running program, on a white picture
// with a red square that tells where the picture lies on screen: a gradient
// placed by two clicks and applied with Enter, read along its row from a
// screenshot; a short stroke painted with the mirror at four repetitions,
// reflected, whose eight copies are looked for where the arithmetic puts them.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "e2e/AppSession.h"
#include "io/Codecs.h"

namespace {

namespace fs = std::filesystem;
constexpr int kW = 600, kH = 400;

bool isRed(const uint8_t* p) { return p[0] > 230 && p[1] < 25 && p[2] < 25; }
bool isDark(const uint8_t* p) { return p[0] < 60 && p[1] < 60 && p[2] < 60; }
bool isWhite(const uint8_t* p) { return p[0] > 245 && p[1] > 245 && p[2] > 245; }

// Where the picture lies on screen: window pixels per picture pixel and the
// picture's top-left corner, from the red square at (500..579, 300..379).
struct Placement {
    double scale = 0, left = 0, top = 0;
    int x(double px) const { return static_cast<int>(std::lround(left + px * scale)); }
    int y(double py) const { return static_cast<int>(std::lround(top + py * scale)); }
    // The picture point under a window pixel's centre.
    double pictureX(int wx) const { return (wx + 0.5 - left) / scale; }
};

Placement findPicture(const Screenshot& s) {
    const SquareOnScreen q = findRedSquare(s);
    Placement p;
    if (!q.found()) return p;
    p.scale = q.side / 80.0;
    p.left = q.left - 500 * p.scale;
    p.top = q.top - 300 * p.scale;
    return p;
}

// A white opaque picture with the red square, as a PNG in `dir`.
std::string whitePicture(const fs::path& dir) {
    std::vector<uint8_t> picture(static_cast<size_t>(kW) * kH * 4, 255);
    for (int y = 300; y < 380; ++y)
        for (int x = 500; x < 580; ++x) {
            uint8_t* p = &picture[(static_cast<size_t>(y) * kW + x) * 4];
            p[1] = p[2] = 0;
        }
    const std::string path = (dir / "white.png").string();
    EXPECT_TRUE(codec::encodePng(path, picture.data(), kW, kH));
    return path;
}

Screenshot settledShot(AppSession& app, const std::string& name) {
    app.waitFrames(12);
    Screenshot s = app.screenshot();
    s.savePng(artefactPath(name + ".png"));
    return s;
}

struct TempDir {
    fs::path path;
    explicit TempDir(const std::string& name)
        : path(fs::temp_directory_path() / (name + std::to_string(::getpid()))) {
        fs::create_directories(path);
    }
    ~TempDir() { fs::remove_all(path); }
};

} // namespace

// Black (the starting colour) from opaque to clear, left to right along a
// row: over white the window shows grey rising from 0 at the start to 255
// at the end, 255 (s - 0) in between, s the place along the ramp.
TEST(GradientMirrorE2E, GradientFromTwoClicksAndEnter) {
    TempDir dir("kw_gradient_e2e_");
    AppSession app;
    ASSERT_TRUE(app.start({whitePicture(dir.path)})) << app.output();
    app.waitFrames(40);
    const Screenshot start = settledShot(app, "gradient_0_start");
    const Placement at = findPicture(start);
    ASSERT_GT(at.scale, 0) << "the red square is not on screen";
    const int row = at.y(250);
    ASSERT_TRUE(isWhite(start.at(at.x(300), row)));

    app.xdotool("key ctrl+g");
    app.waitFrames(6);
    const int x0 = at.x(150), x1 = at.x(450);
    app.clickAt(x0, row);
    app.clickAt(x1, row);
    app.moveMouse(5, start.height - 5);
    const Screenshot preview = settledShot(app, "gradient_1_preview");
    // The preview already shows the ramp (between the handles' rings).
    EXPECT_LT(preview.at(at.x(200), row + 30)[0], preview.at(at.x(400), row + 30)[0]);

    app.xdotool("key Return");
    const Screenshot applied = settledShot(app, "gradient_2_applied");
    // The clicks' picture positions: the centres of the clicked pixels.
    const double s0 = at.pictureX(x0), s1 = at.pictureX(x1);
    int checked = 0, worst = 0;
    for (int wx = at.x(100); wx <= at.x(500); wx += 7) {
        const double s = std::clamp((at.pictureX(wx) - s0) / (s1 - s0), 0.0, 1.0);
        const int want = static_cast<int>(std::lround(255.0 * s));
        // Handles and lines are gone after Enter: only the ramp on this row.
        const uint8_t* p = applied.at(wx, row + 30);
        worst = std::max({worst, std::abs(p[0] - want), std::abs(p[1] - want), std::abs(p[2] - want)});
        ++checked;
    }
    std::printf("gradient row: %d pixels checked, largest difference %d\n", checked, worst);
    EXPECT_GT(checked, 30);
    EXPECT_LE(worst, 4);
    // The ramp covers the whole height of the picture, not only the row
    // (row 120 lies below the options strip at any fitting zoom).
    EXPECT_LE(applied.at(at.x(160), at.y(120))[0], 20);
    EXPECT_TRUE(isWhite(applied.at(at.x(470), at.y(120))));
    // The red square lies beyond the end: the clear end leaves it as it was.
    EXPECT_TRUE(isRed(applied.at(at.x(540), at.y(340))));

    // Undo takes it away again.
    app.xdotool("key ctrl+z");
    const Screenshot undone = settledShot(app, "gradient_3_undone");
    EXPECT_TRUE(isWhite(undone.at(at.x(160), row + 30)));
}

// Mirror at four repetitions about the picture's centre (300, 200), with
// reflection. A short stroke starting at picture point (400, 150) (canvas
// y grows upward: canvas (400, 250), 100 right of and 50 above the centre)
// has copies starting at the canvas points (250, 300), (200, 150),
// (350, 100), (400, 250), and reflected (200, 250), (350, 300), (400, 150),
// (250, 100): in picture rows from the top, y' = 400 - y.
TEST(GradientMirrorE2E, MirroredStrokeAppearsEightTimes) {
    TempDir dir("kw_mirror_e2e_");
    AppSession app;
    ASSERT_TRUE(app.start({whitePicture(dir.path)})) << app.output();
    app.waitFrames(40);
    const Screenshot start = settledShot(app, "mirror_0_start");
    const Placement at = findPicture(start);
    ASSERT_GT(at.scale, 0) << "the red square is not on screen";

    // Ctrl+M: the mirror tool, switched on. Its repetitions slider sits at
    // (50, 10) units in the strip, 100 wide (a track of 90 for 1..50): a
    // press at 15 along the track grabs it, a drag to 6 gives 1 + 6 * 49 / 90,
    // that is 4. The strip is 50 units high from the window's top, y up.
    app.xdotool("key ctrl+m");
    app.waitFrames(6);
    app.drag({{55 + 15, 50 - 15}, {55 + 10, 50 - 15}, {55 + 6, 50 - 15}});
    app.waitFrames(4);
    const Screenshot panel = settledShot(app, "mirror_1_panel");

    app.xdotool("key b");
    app.waitFrames(4);
    std::vector<std::pair<int, int>> stroke;
    for (int k = 0; k <= 5; ++k) stroke.push_back({at.x(400 + 4 * k), at.y(150)});
    app.drag(stroke);
    app.moveMouse(5, start.height - 5);
    const Screenshot painted = settledShot(app, "mirror_2_stroke");

    auto darkNear = [&](double px, double py) {
        const int cx = at.x(px), cy = at.y(py);
        for (int dy = -3; dy <= 3; ++dy)
            for (int dx = -3; dx <= 3; ++dx)
                if (isDark(painted.at(cx + dx, cy + dy))) return true;
        return false;
    };
    const double canvasStarts[8][2] = {{250, 300}, {200, 150}, {350, 100}, {400, 250},
                                       {200, 250}, {350, 300}, {400, 150}, {250, 100}};
    for (const auto& c : canvasStarts)
        EXPECT_TRUE(darkNear(c[0], kH - c[1])) << "no copy at canvas (" << c[0] << ", " << c[1] << ")";
    // Places no copy reaches stay white (clear of the guide lines through the centre).
    for (const auto& p : {std::pair{100.0, 330.0}, std::pair{480.0, 60.0}, std::pair{130.0, 80.0}})
        EXPECT_TRUE(isWhite(painted.at(at.x(p.first), at.y(p.second)))) << p.first << ", " << p.second;
    // The guide lines stay under the brush. The reflection axes (light cyan)
    // run at 45 degrees between the white rotation lines: through canvas
    // (450, 350), picture (450, 50).
    int guide = 0;
    for (int dx = -12; dx <= 12; ++dx) {
        const uint8_t* p = painted.at(at.x(450) + dx, at.y(50));
        guide += p[0] < 200 && p[1] > 200 && p[2] > 200;
    }
    EXPECT_GT(guide, 0) << "no reflection axis through the mirror's centre";
    (void)panel;
}
