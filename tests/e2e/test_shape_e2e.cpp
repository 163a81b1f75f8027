// The shape tool in the running program: the colour picked into the fill,
// the border swatch chosen, the ellipse button, the fill switch and the
// width slider in the options strip, an ellipse dragged out on the canvas,
// its preview, and Enter painting it onto the layer. The figure records no
// action: a saved process holds it in its stored layers, its replay does not.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "TestPaths.h"
#include "e2e/AppSession.h"
#include "io/Codecs.h"
#include "io/ImageTypes.h"

namespace {

bool isRed(const uint8_t* p) { return p[0] > 230 && p[1] < 25 && p[2] < 25; }
bool isBlack(const uint8_t* p) { return p[0] < 25 && p[1] < 25 && p[2] < 25; }
bool isWhite(const uint8_t* p) { return p[0] > 240 && p[1] > 240 && p[2] > 240; }

Screenshot settledShot(AppSession& app, const std::string& name) {
    app.waitFrames(12);
    Screenshot s = app.screenshot();
    s.savePng(artefactPath(name + ".png"));
    return s;
}

// A part of a screenshot, each pixel made a square of `zoom`, for people to look at.
void saveEnlarged(const Screenshot& s, int x0, int y0, int width, int height, int zoom, const std::string& name) {
    Screenshot big;
    big.width = width * zoom;
    big.height = height * zoom;
    big.rgb.resize(static_cast<size_t>(big.width) * big.height * 3);
    for (int y = 0; y < big.height; ++y)
        for (int x = 0; x < big.width; ++x) {
            const uint8_t* p = s.at(std::min(x0 + x / zoom, s.width - 1), std::min(y0 + y / zoom, s.height - 1));
            std::copy(p, p + 3, &big.rgb[(static_cast<size_t>(y) * big.width + x) * 3]);
        }
    big.savePng(artefactPath(name + ".png"));
}

} // namespace

TEST(ShapeE2E, DraggedEllipseWithFillAndBorderIsPaintedByEnter) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / ("kw_shape_e2e_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    // An opaque white 600 x 400 picture with a red square near its
    // bottom-right corner: the colour to pick, and the picture's place on screen.
    constexpr int kW = 600, kH = 400;
    std::vector<uint8_t> picture(static_cast<size_t>(kW) * kH * 4, 255);
    for (int y = 300; y < 380; ++y)
        for (int x = 500; x < 580; ++x) {
            uint8_t* p = &picture[(static_cast<size_t>(y) * kW + x) * 4];
            p[1] = p[2] = 0;
        }
    ASSERT_TRUE(codec::encodePng((dir / "white.png").string(), picture.data(), kW, kH));

    AppSession app;
    app.answerFileDialogs({app.workFolder() + "/with_figure"});
    app.setEnv("KESTRELWING_START_TOOL", "10"); // nothing in the interface selects the shape tool
    app.setEnv("KESTRELWING_TRACE_INTERFACE", "1");
    ASSERT_TRUE(app.start({(dir / "white.png").string()})) << app.output();
    ASSERT_TRUE(waitForOutput(app, "current tool: 10", 5000)) << app.output();
    app.waitFrames(40);
    // The mouse gate opens after half a second of pointer events.
    for (int i = 0; i < 8; ++i) {
        app.moveMouse(app.windowWidth() / 2 + 10 * i, app.windowHeight() / 2);
        app.waitFrames(4);
    }
    const Screenshot start = settledShot(app, "shape_0_start");
    saveEnlarged(start, 0, 0, 620, 50, 3, "shape_0_strip_enlarged");
    const SquareOnScreen red = findRedSquare(start);
    ASSERT_TRUE(red.found()) << "the red square is not on screen";
    const double s = red.side / 80.0;
    const double left = red.left - 500 * s, top = red.top - 300 * s;
    auto screen = [&](double px, double py) {
        return std::pair<int, int>{static_cast<int>(std::lround(left + px * s)), static_cast<int>(std::lround(top + py * s))};
    };

    // Alt+click on the red square: the current colour, and with it the fill, becomes red.
    app.moveMouse(red.left + red.side / 4, red.top + red.side / 2);
    app.waitFrames(3);
    app.xdotool("keydown alt");
    app.waitFrames(3);
    app.xdotool("click 1");
    app.waitFrames(4);
    app.xdotool("keyup alt");
    app.waitFrames(6);

    // The strip (50 units across the top, y up inside it; 96 dpi here):
    // the border swatch at (470, 8) 20 x 15 makes the border (black) the
    // colour the selector edits; the ellipse button at (230, 10) 30 x 30;
    // the fill box at (360, 29) 15 x 15; the width slider at (520, 10) 80 x 10,
    // where a click 14 pixels along sets 14 / 70 of 50: a border of 10.
    app.clickAt(480, 50 - 15);
    app.clickAt(245, 50 - 25);
    app.clickAt(367, 50 - 36);
    app.clickAt(520 + 5 + 14, 50 - 15);
    app.moveMouse(app.windowWidth() - 40, app.windowHeight() - 40);
    const Screenshot options = settledShot(app, "shape_1_options");
    saveEnlarged(options, 0, 0, 620, 50, 3, "shape_1_strip_enlarged");
    // The ellipse button's figure is cyan now; the triangle's white.
    {
        const uint8_t* ellipse = options.at(245, 25);
        EXPECT_TRUE(ellipse[0] < 40 && ellipse[1] > 200 && ellipse[2] > 200)
            << "ellipse button " << int(ellipse[0]) << "," << int(ellipse[1]) << "," << int(ellipse[2]);
        const uint8_t* triangle = options.at(165, 33);
        EXPECT_TRUE(isWhite(triangle)) << "triangle button " << int(triangle[0]) << "," << int(triangle[1]) << ","
                                       << int(triangle[2]);
    }

    // The ellipse over picture pixels (100, 80) .. (400, 320).
    const auto a = screen(100, 80), b = screen(400, 320);
    std::vector<std::pair<int, int>> drag;
    for (int i = 0; i <= 20; ++i) drag.push_back({a.first + (b.first - a.first) * i / 20, a.second + (b.second - a.second) * i / 20});
    app.drag(drag);
    app.moveMouse(app.windowWidth() - 40, app.windowHeight() - 40);
    const Screenshot preview = settledShot(app, "shape_2_preview");

    const auto centre = screen(250, 200);
    const auto rim = screen(104, 200);     // 4 picture pixels in from the left end: the border
    const auto inside = screen(120, 200);  // 20 in: the fill
    const auto corner = screen(110, 90);   // inside the box, outside the ellipse
    const auto away = screen(450, 200);    // right of the box
    EXPECT_TRUE(isRed(preview.at(centre.first, centre.second))) << "no preview fill";
    EXPECT_TRUE(isBlack(preview.at(rim.first, rim.second))) << "no preview border";
    EXPECT_TRUE(isWhite(preview.at(corner.first, corner.second)));
    // The box's frame shows while the figure is placed, beside the ellipse.
    const int frameY = screen(100, 110).second;
    auto frameShown = [&](const Screenshot& shot) {
        for (int x = a.first - 2; x <= a.first + 2; ++x)
            if (!isWhite(shot.at(x, frameY))) return true;
        return false;
    };
    EXPECT_TRUE(frameShown(preview)) << "no frame round the placed figure";

    app.xdotool("key Return");
    app.waitFrames(4);
    app.moveMouse(app.windowWidth() - 40, app.windowHeight() - 40);
    const Screenshot applied = settledShot(app, "shape_3_applied");
    EXPECT_TRUE(isRed(applied.at(centre.first, centre.second)));
    EXPECT_TRUE(isRed(applied.at(inside.first, inside.second)));
    EXPECT_TRUE(isBlack(applied.at(rim.first, rim.second)));
    EXPECT_TRUE(isWhite(applied.at(corner.first, corner.second)));
    EXPECT_TRUE(isWhite(applied.at(away.first, away.second)));
    EXPECT_FALSE(frameShown(applied)) << "the figure is still placed after Enter";

    // Saved as a drawing process: the stored picture has the figure, the
    // replay of the actions has none (no action paints it).
    app.xdotool("key F8");
    ASSERT_TRUE(waitForOutput(app, "drawing process saved", 10000)) << app.output();
    const std::string process = app.workFolder() + "/with_figure.dpf";
    ASSERT_EQ(testfiles::runProgram("--render " + process + " " + app.workFolder() + "/stored.png").exitCode, 0);
    ASSERT_EQ(testfiles::runProgram("--render --replay " + process + " " + app.workFolder() +
                           "/replayed.png").exitCode, 0);
    auto pixelAt = [](const std::string& path, int x, int yDown) {
        const std::vector<uint8_t> file = fileBytes(path);
        RawPicture picture;
        std::string detail;
        std::array<int, 4> rgba{-1, -1, -1, -1};
        if (codec::decodePng(file, DecodeLimits{}, picture, detail) != DecodeStatus::Ok || picture.width != kW ||
            picture.height != kH)
            return rgba;
        const uint8_t* p = &picture.pixels[(static_cast<size_t>(kH - 1 - yDown) * kW + x) * 4];
        for (size_t c = 0; c < 4; ++c) rgba[c] = p[c];
        return rgba;
    };
    EXPECT_EQ(pixelAt(app.workFolder() + "/stored.png", 250, 200), (std::array<int, 4>{255, 0, 0, 255}));
    EXPECT_EQ(pixelAt(app.workFolder() + "/replayed.png", 250, 200), (std::array<int, 4>{255, 255, 255, 255}));
    fs::remove_all(dir);
}
