// Keys on the real program: + and - zoom at the pointer, ] and [ change the
// brush outline, Space held with a drag pans the picture without painting.
#include <gtest/gtest.h>

#include <string>

#include "e2e/AppSession.h"

namespace {
bool isChecker(const uint8_t* p) { return (p[0] == 255 || p[0] == 204) && p[0] == p[1] && p[1] == p[2]; }

// First and last checkerboard pixel of a row: the canvas's extent on screen.
std::pair<int, int> canvasSpan(const Screenshot& s, int y) {
    int first = -1, last = -1;
    for (int x = 0; x < s.width; ++x)
        if (isChecker(s.at(x, y))) {
            if (first < 0) first = x;
            last = x;
        }
    return {first, last};
}

// Distance from (cx, y) to the farthest pixel right of it that isn't plain
// checkerboard, within `reach`: the right edge of the brush outline.
int outlineReach(const Screenshot& s, int cx, int y, int reach) {
    int far = 0;
    for (int dx = 1; dx < reach && cx + dx < s.width; ++dx)
        if (!isChecker(s.at(cx + dx, y))) far = dx;
    return far;
}

size_t count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}
} // namespace

TEST(KeysE2E, PlusAndMinusZoomAtThePointer) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int w = app.windowWidth();
    // Low in the window: the rows measured stay below the tool bar (it reaches
    // 545 pixels down) and above the brush sliders, away from the pointer's outline.
    const int px = w / 2 + 100, py = 560;
    app.moveMouse(px, py);
    app.waitFrames(5);
    const int row = 600;
    const auto [l0, r0] = canvasSpan(app.screenshot(), row);
    ASSERT_GT(r0 - l0, 100);

    // Out twice, so that the canvas stays inside the window, then in once.
    app.xdotool("key minus");
    app.waitFrames(3);
    app.xdotool("key minus");
    app.waitFrames(5);
    Screenshot out = app.screenshot();
    ASSERT_TRUE(out.savePng(artefactPath("keys_zoom_out.png")));
    const auto [l1, r1] = canvasSpan(out, row);
    // The first view's right edge lies under the layers panel on this row, so
    // the scale out is measured on the left edge; about the pointer's x: the
    // canvas point under it stays under it.
    EXPECT_NEAR(static_cast<double>(px - l0) / (px - l1), 1.69, 0.06);

    app.xdotool("key plus");
    app.waitFrames(5);
    const auto [l2, r2] = canvasSpan(app.screenshot(), row);
    EXPECT_NEAR(static_cast<double>(r2 - l2) / (r1 - l1), 1.3, 0.05);
    EXPECT_NEAR(static_cast<double>(px - l2) / (px - l1), 1.3, 0.05);
    EXPECT_NEAR(static_cast<double>(r2 - px) / (r1 - px), 1.3, 0.05);
    EXPECT_EQ(count(app.output(), "zoom: "), 3u) << app.output();
}

TEST(KeysE2E, BracketsChangeTheBrushOutline) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int px = app.windowWidth() / 2, py = app.windowHeight() / 2;
    app.moveMouse(px, py);
    app.waitFrames(5);
    const int r0 = outlineReach(app.screenshot(), px, py, 300);
    ASSERT_GT(r0, 6) << "no brush outline around the pointer";

    app.xdotool("key bracketright");
    app.waitFrames(5);
    Screenshot larger = app.screenshot();
    ASSERT_TRUE(larger.savePng(artefactPath("keys_brush_larger.png")));
    const int r1 = outlineReach(larger, px, py, 300);
    EXPECT_NEAR(static_cast<double>(r1) / r0, 1.3, 0.08);
    EXPECT_NE(app.output().find("brush size: 65"), std::string::npos) << app.output();

    app.xdotool("key bracketleft");
    app.waitFrames(3);
    app.xdotool("key bracketleft");
    app.waitFrames(5);
    const int r2 = outlineReach(app.screenshot(), px, py, 300);
    EXPECT_LT(r2, r0);
    EXPECT_NE(app.output().find("brush size: 38"), std::string::npos) << app.output();
}

TEST(KeysE2E, SpaceHeldWithADragPans) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int w = app.windowWidth(), h = app.windowHeight();
    const int row = 600; // below the tool bar, above the brush sliders
    const auto [l0, r0] = canvasSpan(app.screenshot(), row);
    ASSERT_GT(r0 - l0, 100);

    app.moveMouse(w / 2, h / 2);
    app.waitFrames(3);
    app.xdotool("keydown space");
    app.waitFrames(3);
    std::vector<std::pair<int, int>> path;
    for (int i = 0; i <= 12; ++i) path.push_back({w / 2 + 10 * i, h / 2});
    app.drag(path, 20);
    app.waitFrames(3);
    app.xdotool("keyup space");
    app.moveMouse(w - 20, 20);
    app.waitFrames(5);
    Screenshot moved = app.screenshot();
    ASSERT_TRUE(moved.savePng(artefactPath("keys_space_pan.png")));
    const auto [l1, r1] = canvasSpan(moved, row);
    // The picture followed the pointer 120 pixels to the right (its right
    // edge may now lie beyond the window).
    EXPECT_NEAR(l1 - l0, 120, 6);
    EXPECT_GE(r1, r0);
    // Nothing was painted along the drag.
    for (int x = w / 2 + 20; x < w / 2 + 100; x += 10) EXPECT_TRUE(isChecker(moved.at(x, h / 2))) << x;
}
