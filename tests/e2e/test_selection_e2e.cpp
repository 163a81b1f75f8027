// A lasso drawn with the mouse confines the brush: a stroke across its edge
// paints only inside; Ctrl+D drops the selection and paint goes everywhere.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "e2e/AppSession.h"
#include "TestPaths.h"

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

namespace {
// Draws a closed rectangle with the selection tool: a click at each corner,
// then a click on the first one closes it.
bool lassoRectangle(AppSession& app, int left, int top, int right, int bottom) {
    app.waitFrames(5);
    app.xdotool("key d");
    if (!waitForOutput(app, "selection mode", 5000)) return false;
    app.waitFrames(3);
    for (auto [x, y] : std::vector<std::pair<int, int>>{{left, top}, {right, top}, {right, bottom}, {left, bottom}}) {
        app.moveMouse(x, y);
        app.waitFrames(2);
        app.xdotool("click 1");
        app.waitFrames(2);
    }
    app.moveMouse(left, top);
    app.waitFrames(4); // the close hover needs a tick with the pointer there
    app.xdotool("click 1");
    app.waitFrames(4);
    return true;
}

Screenshot settledShot(AppSession& app, const std::string& name) {
    app.moveMouse(900, 60);
    app.waitFrames(10);
    Screenshot s = app.screenshot();
    s.savePng(artefactPath("selection_story_" + name + ".png"));
    return s;
}

} // namespace

// The whole way of pixels through the selection and the clipboard: a stroke
// confined by a lasso, Ctrl+X takes the selected part away, Ctrl+V floats it
// back where it was, the transform tool moves and turns it, Enter places it
// on a new layer; the process saved afterwards replays to the same pixels.
TEST(SelectionE2E, CutPasteMoveTurnApplyAndTheProcessReplays) {
    AppSession app;
    const std::string work = app.workFolder();
    app.answerFileDialogs({work + "/story"});
    ASSERT_TRUE(app.start()) << app.output();
    const int h = app.windowHeight(), mid = h / 2;

    // A stroke across, with no selection.
    app.xdotool("key b");
    app.waitFrames(3);
    std::vector<std::pair<int, int>> across;
    for (int x = 200; x <= 800; x += 10) across.push_back({x, mid});
    app.drag(across);
    app.waitFrames(5);
    // A lasso around its middle, and a second stroke up and down through the
    // lasso's lower edge: only its part inside is painted.
    ASSERT_TRUE(lassoRectangle(app, 350, mid - 100, 650, mid + 100)) << app.output();
    app.xdotool("key b");
    app.waitFrames(3);
    std::vector<std::pair<int, int>> down;
    for (int y = mid - 60; y <= mid + 200; y += 10) down.push_back({450, y});
    app.drag(down);
    const Screenshot confined = settledShot(app, "1_confined");
    EXPECT_TRUE(isDark(confined.at(450, mid + 60))) << "inside the lasso";
    EXPECT_FALSE(isDark(confined.at(450, mid + 160))) << "outside the lasso";

    // Ctrl+X: the selected pixels go, the rest of the first stroke stays.
    app.xdotool("key ctrl+x");
    const Screenshot cut = settledShot(app, "2_cut");
    for (int x : {400, 500, 600}) EXPECT_FALSE(isDark(cut.at(x, mid))) << "cut at " << x;
    EXPECT_FALSE(isDark(cut.at(450, mid + 60)));
    for (int x : {250, 300, 700, 750}) EXPECT_TRUE(isDark(cut.at(x, mid))) << "kept at " << x;

    // Ctrl+V: the pixels float back where they were.
    app.xdotool("key ctrl+v");
    const Screenshot floating = settledShot(app, "3_floating");
    // (The image's centre carries the tool's white cross: look beside it.)
    for (int x : {400, 560, 600}) EXPECT_TRUE(isDark(floating.at(x, mid))) << "floating at " << x;
    // Moved down by a drag inside the image (away from its corners)...
    app.drag({{500, mid + 30}, {500, mid + 80}, {500, mid + 130}, {500, mid + 180}}, 10);
    const Screenshot moved = settledShot(app, "4_moved");
    EXPECT_TRUE(isDark(moved.at(560, mid + 150))) << "moved down by 150";
    EXPECT_FALSE(isDark(moved.at(560, mid)));
    // ... and turned by a drag outside it, around its centre.
    app.drag({{900, mid + 150}, {900, mid + 200}, {880, mid + 260}}, 10);
    const Screenshot turned = settledShot(app, "5_turned");
    EXPECT_GT(differingPixels(moved, turned, 300, mid, 700, mid + 300), 200) << "the image turned";
    app.xdotool("key Return");
    const Screenshot applied = settledShot(app, "6_applied");
    EXPECT_EQ(differingPixels(turned, applied, 300, mid + 100, 700, mid + 200) > 0, true);
    EXPECT_TRUE(isDark(applied.at(500, mid + 150))) << "placed where it floated";
    EXPECT_FALSE(isDark(applied.at(560, mid))) << "the cut part stays cut";

    // The process of all this replays to the picture painted live.
    app.xdotool("key F8");
    ASSERT_TRUE(waitForOutput(app, "drawing process saved", 10000)) << app.output();
    const std::string process = work + "/story.dpf";
    const std::string bin = KW_BINARY;
    ASSERT_EQ(testfiles::runProgram("--render " + process + " " + work + "/stored.png").exitCode, 0);
    ASSERT_EQ(testfiles::runProgram("--render --replay " + process + " " + work + "/replayed.png").exitCode, 0);
    const std::vector<uint8_t> stored = fileBytes(work + "/stored.png"), replayed = fileBytes(work + "/replayed.png");
    ASSERT_GT(stored.size(), 100u);
    EXPECT_TRUE(stored == replayed) << "the replay differs from the picture painted live";
    const std::string info = [&] {
        std::string out;
        if (FILE* p = ::popen(("env -u DISPLAY " + bin + " --info " + process + " 2>&1").c_str(), "r")) {
            char line[256];
            while (std::fgets(line, sizeof line, p)) out += line;
            ::pclose(p);
        }
        return out;
    }();
    // Fill, two strokes, the lasso and its cut, the paste: all in the file.
    EXPECT_NE(info.find("layers: 2"), std::string::npos) << info;
}
