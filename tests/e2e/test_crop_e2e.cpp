// The crop tool in the running program: a rectangle dragged on the canvas
// and applied with Enter makes the canvas that size; the saved process says
// so and replays to the same picture.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "e2e/AppSession.h"
#include "TestPaths.h"

namespace {
std::string commandOutput(const std::string& command) {
    std::string out;
    if (FILE* p = ::popen(command.c_str(), "r")) {
        char line[256];
        while (std::fgets(line, sizeof line, p)) out += line;
        ::pclose(p);
    }
    return out;
}

} // namespace

TEST(CropE2E, DraggedRectangleAndEnterCropTheCanvas) {
    AppSession app;
    const std::string work = app.workFolder();
    app.answerFileDialogs({work + "/cropped"});
    app.setEnv("KESTRELWING_START_TOOL", "5");
    ASSERT_TRUE(app.start()) << app.output();
    ASSERT_TRUE(waitForOutput(app, "crop mode", 5000)) << app.output();
    const int w = app.windowWidth(), h = app.windowHeight();
    app.waitFrames(20); // the fit to the window animates for a second
    // The mouse gate opens after half a second of pointer events.
    for (int i = 0; i < 8; ++i) {
        app.moveMouse(w / 2 - 300 + 10 * i, h / 2 - 200);
        app.waitFrames(5);
    }
    app.waitFrames(20);
    const Screenshot before = app.screenshot();
    ASSERT_TRUE(before.savePng(artefactPath("crop_before.png")));

    // The rectangle: 400 x 300 window pixels about the middle of the window.
    const int left = w / 2 - 200, right = w / 2 + 200, top = h / 2 - 150, bottom = h / 2 + 150;
    std::vector<std::pair<int, int>> drag;
    for (int i = 0; i <= 20; ++i) drag.push_back({left + (right - left) * i / 20, top + (bottom - top) * i / 20});
    app.drag(drag);
    app.waitFrames(5);
    app.moveMouse(w - 40, 80);
    app.waitFrames(5);
    const Screenshot chosen = app.screenshot();
    ASSERT_TRUE(chosen.savePng(artefactPath("crop_rectangle.png")));
    // Outside the rectangle the canvas is darkened by half, inside not.
    const uint8_t* inside = chosen.at(w / 2, h / 2);
    const uint8_t* outside = chosen.at(left - 60, h / 2);
    const uint8_t* beforeOutside = before.at(left - 60, h / 2);
    EXPECT_EQ(inside[0], before.at(w / 2, h / 2)[0]);
    EXPECT_LT(outside[0] + 40, beforeOutside[0]) << "no darkening outside the crop";

    app.xdotool("key Return");
    app.waitFrames(70); // the new canvas fits the window, animated for a second
    const Screenshot cropped = app.screenshot();
    ASSERT_TRUE(cropped.savePng(artefactPath("crop_applied.png")));

    app.xdotool("key F8");
    ASSERT_TRUE(waitForOutput(app, "drawing process saved", 10000)) << app.output();
    const std::string process = work + "/cropped.dpf";
    const std::string bin = KW_BINARY;
    const std::string info = commandOutput("env -u DISPLAY " + bin + " --info " + process + " 2>&1");
    std::smatch m;
    ASSERT_TRUE(std::regex_search(info, m, std::regex(R"(\nsize: (\d+) x (\d+))"))) << info;
    const int cw = std::stoi(m[1]), ch = std::stoi(m[2]);
    // The start canvas (1024 x 768) was fitted to the render area: 400 x 300
    // window pixels hold 400 / s x 300 / s canvas pixels, s the fit's scale.
    EXPECT_NE(info.find("initial size: 1024 x 768"), std::string::npos) << info;
    const double s = std::min(h / 768.0, w / 1024.0);
    EXPECT_NEAR(cw, 400 / s, 3.0) << info;
    EXPECT_NEAR(ch, 300 / s, 3.0) << info;
    EXPECT_LT(cw, 1024);

    // The saved picture and the replay from the start size agree.
    ASSERT_EQ(testfiles::runProgram("--render " + process + " " + work + "/stored.png").exitCode, 0);
    ASSERT_EQ(testfiles::runProgram("--render --replay " + process + " " + work + "/replayed.png").exitCode, 0);
    const std::vector<uint8_t> stored = fileBytes(work + "/stored.png"), replayed = fileBytes(work + "/replayed.png");
    ASSERT_GT(stored.size(), 100u);
    EXPECT_TRUE(stored == replayed) << "the replay differs from the picture cropped live";
}
