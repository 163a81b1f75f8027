// The layers panel in the running program: a layer added with "+", painted,
// hidden and shown by double clicks, dragged under the grey layer, the grey
// layer's opacity lowered with the slider, and merged down with "_". The
// screenshots show each step on the canvas and in the thumbnails, and the
// saved process replays to the picture that was saved.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "TestPaths.h"
#include "e2e/AppSession.h"

namespace {

// The panel at GuiScale 1 in a window of width w and height h (window pixels,
// y down): its grid cell is the right-most of five columns, bottom row; the
// panel (80 by 300) stands 10 in from the cell's right edge and 55 above the
// bottom. Inside it the list starts at (2, 40); thumbnails of a 1024 x 768
// canvas are 54 by 40 in rows of 50, from 5 in and 5 up in the list.
struct PanelGeometry {
    int w = 0, h = 0;
    int panelX() const {
        const float cell = w / 5.0f;
        return static_cast<int>(4 * cell) + static_cast<int>(cell - 80) - 10;
    }
    int yDown(int yUp) const { return h - yUp; }
    // Centre of the thumbnail in row `row` (0: the bottom one).
    std::pair<int, int> thumbnail(int row) const { return {panelX() + 7 + 27, yDown(55 + 45 + 50 * row + 20)}; }
    // A point of a thumbnail, (fx, fy) from its lower left as fractions.
    std::pair<int, int> inThumbnail(int row, float fx, float fy) const {
        return {panelX() + 7 + static_cast<int>(54 * fx), yDown(55 + 45 + 50 * row + static_cast<int>(40 * fy))};
    }
    std::pair<int, int> visibilityMark(int row) const { return {panelX() + 7 - 6, yDown(55 + 45 + 50 * row + 20)}; }
    std::pair<int, int> plusButton() const { return {panelX() + 70, yDown(55 + 6)}; }
    std::pair<int, int> mergeButton() const { return {panelX() + 10, yDown(55 + 6)}; }
    // The opacity slider: track from x + 6 over 68 pixels, 70 above the panel's foot.
    std::pair<int, int> sliderAt(int percent) const {
        return {panelX() + 1 + 5 + 68 * percent / 100, yDown(55 + 15 + 5)};
    }
};

bool dark(const uint8_t* p) { return p[0] < 60 && p[1] < 60 && p[2] < 60; }
bool grey(const uint8_t* p) { return p[0] > 190 && p[0] < 215 && p[0] == p[1] && p[1] == p[2]; }
bool cyan(const uint8_t* p) { return p[0] < 40 && p[1] > 200 && p[2] > 200; }

void click(AppSession& app, std::pair<int, int> p, const std::string& what = "click 1") {
    app.moveMouse(p.first, p.second);
    app.waitFrames(3);
    app.xdotool(what);
    app.waitFrames(8);
}

// Occurrences of a line in the program's output.
int countOf(const std::string& output, const std::string& text) {
    int n = 0;
    for (size_t at = output.find(text); at != std::string::npos; at = output.find(text, at + 1)) ++n;
    return n;
}

} // namespace

TEST(LayersPanelE2E, AddPaintHideReorderFadeAndMergeFromThePanel) {
    AppSession app;
    const std::string work = app.workFolder();
    {
        FILE* f = std::fopen((work + "/answers.txt").c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fprintf(f, "%s/layers\n", work.c_str());
        std::fclose(f);
    }
    app.setEnv("KESTRELWING_FILE_DIALOG", work + "/answers.txt");
    ASSERT_TRUE(app.start()) << app.output();
    const int w = app.windowWidth(), h = app.windowHeight();
    const PanelGeometry g{w, h};
    // The mouse gate opens after half a second of pointer events.
    for (int i = 0; i < 8; ++i) {
        app.moveMouse(w / 2 - 200 + 10 * i, h / 2 - 200);
        app.waitFrames(5);
    }
    app.waitFrames(40);
    const Screenshot start = app.screenshot();
    ASSERT_TRUE(start.savePng(artefactPath("layers_panel_start.png")));
    // One grey layer: its thumbnail, its visibility mark, nothing in row 1.
    EXPECT_TRUE(grey(start.at(g.thumbnail(0).first, g.thumbnail(0).second)));
    EXPECT_TRUE(cyan(start.at(g.visibilityMark(0).first, g.visibilityMark(0).second)));
    EXPECT_FALSE(cyan(start.at(g.visibilityMark(1).first, g.visibilityMark(1).second)));

    // "+": a second, transparent layer on top, current.
    click(app, g.plusButton());
    ASSERT_TRUE(waitForOutput(app, "new layer", 5000)) << app.output();
    // Paint a black stroke across the middle of the canvas on it.
    const int cy = h / 2;
    std::vector<std::pair<int, int>> stroke;
    for (int x = w / 2 - 200; x <= w / 2 + 200; x += 10) stroke.push_back({x, cy});
    app.drag(stroke);
    app.moveMouse(w / 2, 80);
    app.waitFrames(15);
    const Screenshot painted = app.screenshot();
    ASSERT_TRUE(painted.savePng(artefactPath("layers_panel_painted.png")));
    ASSERT_TRUE(dark(painted.at(w / 2, cy)));
    EXPECT_TRUE(cyan(painted.at(g.visibilityMark(1).first, g.visibilityMark(1).second)));
    // The new layer's thumbnail shows the stroke (through the middle of the
    // canvas: the middle row of the thumbnail); the grey layer's does not.
    const auto mid1 = g.inThumbnail(1, 0.5f, 0.5f);
    EXPECT_TRUE(dark(painted.at(mid1.first, mid1.second))) << "the stroke is missing from the thumbnail";
    EXPECT_TRUE(grey(painted.at(g.thumbnail(0).first, g.thumbnail(0).second)));
    const auto high1 = g.inThumbnail(1, 0.5f, 0.9f);
    EXPECT_FALSE(dark(painted.at(high1.first, high1.second)));

    // A double click on the painted layer hides it; another shows it again.
    click(app, g.thumbnail(1), "click --repeat 2 --delay 60 1");
    ASSERT_TRUE(waitForOutput(app, "layer 1 visibility OFF", 5000)) << app.output();
    app.moveMouse(w / 2, 80);
    app.waitFrames(10);
    const Screenshot hidden = app.screenshot();
    ASSERT_TRUE(hidden.savePng(artefactPath("layers_panel_hidden.png")));
    EXPECT_TRUE(grey(hidden.at(w / 2, cy))) << "the hidden layer still shows";
    EXPECT_FALSE(cyan(hidden.at(g.visibilityMark(1).first, g.visibilityMark(1).second)));
    click(app, g.thumbnail(1), "click --repeat 2 --delay 60 1");
    ASSERT_TRUE(waitForOutput(app, "layer 1 visibility ON", 5000)) << app.output();

    // Drag the painted layer under the grey one: the opaque grey covers it.
    const auto from = g.thumbnail(1);
    const auto to = g.inThumbnail(0, 0.5f, 0.1f);
    std::vector<std::pair<int, int>> drag;
    for (int i = 0; i <= 10; ++i) drag.push_back({from.first, from.second + (to.second - from.second) * i / 10});
    app.drag(drag, 40);
    app.moveMouse(w / 2, 80);
    app.waitFrames(10);
    const Screenshot reordered = app.screenshot();
    ASSERT_TRUE(reordered.savePng(artefactPath("layers_panel_reordered.png")));
    EXPECT_TRUE(grey(reordered.at(w / 2, cy))) << "the stroke is still above the grey layer";
    EXPECT_TRUE(dark(reordered.at(g.inThumbnail(0, 0.5f, 0.5f).first, g.inThumbnail(0, 0.5f, 0.5f).second)));
    EXPECT_TRUE(grey(reordered.at(g.thumbnail(1).first, g.thumbnail(1).second)));

    // Pick the grey layer (now on top) and drag its opacity to about a half.
    click(app, g.thumbnail(1));
    ASSERT_TRUE(waitForOutput(app, "current layer: 1", 5000)) << app.output();
    std::vector<std::pair<int, int>> slide;
    for (int p = 100; p >= 50; p -= 5) slide.push_back(g.sliderAt(p));
    app.drag(slide, 40);
    app.moveMouse(w / 2, 80);
    app.waitFrames(10);
    const Screenshot faded = app.screenshot();
    ASSERT_TRUE(faded.savePng(artefactPath("layers_panel_faded.png")));
    // Black under grey 204 at opacity o: 204 o; o near a half.
    const int through = faded.at(w / 2, cy)[0];
    EXPECT_GT(through, 70);
    EXPECT_LT(through, 140);

    // "_": the faded grey layer merged onto the stroke layer; the look stays.
    click(app, g.mergeButton());
    ASSERT_TRUE(waitForOutput(app, "layer merged down", 5000)) << app.output();
    app.moveMouse(w / 2, 80);
    app.waitFrames(10);
    const Screenshot merged = app.screenshot();
    ASSERT_TRUE(merged.savePng(artefactPath("layers_panel_merged.png")));
    EXPECT_NEAR(merged.at(w / 2, cy)[0], through, 3);
    EXPECT_FALSE(cyan(merged.at(g.visibilityMark(1).first, g.visibilityMark(1).second))) << "the upper layer is still there";
    EXPECT_TRUE(cyan(merged.at(g.visibilityMark(0).first, g.visibilityMark(0).second)));
    EXPECT_EQ(countOf(app.output(), "new layer"), 1);

    // The saved process replays to the picture that was saved.
    app.xdotool("key F8");
    ASSERT_TRUE(waitForOutput(app, "drawing process saved", 10000)) << app.output();
    const std::string process = work + "/layers.dpf";
    ASSERT_EQ(testfiles::runProgram("--render " + process + " " + work + "/stored.png").exitCode, 0);
    ASSERT_EQ(testfiles::runProgram("--render --replay " + process + " " + work + "/replayed.png").exitCode, 0);
    const std::vector<uint8_t> stored = fileBytes(work + "/stored.png"), replayed = fileBytes(work + "/replayed.png");
    ASSERT_GT(stored.size(), 100u);
    EXPECT_TRUE(stored == replayed) << "the replay differs from the picture made with the panel";
}
