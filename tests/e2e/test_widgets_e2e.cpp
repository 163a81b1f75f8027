#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "e2e/AppSession.h"

// The demo screen (KESTRELWING_WIDGET_DEMO=1) puts one of each basic widget on
// a panel at the window's top left. Positions below are window pixels, y down,
// at GuiScale 1 in the 1024 x 700 window.
namespace {
constexpr int kBoxX = 48, kBoxY = 120;      // "Show grid" check box centre
constexpr int kApplyX = 88, kApplyY = 81;   // "Apply" button centre

void click(AppSession& app, int x, int y) {
    app.moveMouse(x, y);
    app.waitFrames(5);
    if (std::system("xdotool click 1") != 0) ADD_FAILURE() << "xdotool click failed";
    app.waitFrames(10);
}

// Pixels of a square around (cx, cy) whose colour is near (r, g, b).
int countNear(const Screenshot& s, int cx, int cy, int half, int r, int g, int b, int tolerance = 24) {
    int n = 0;
    for (int y = cy - half; y <= cy + half; ++y)
        for (int x = cx - half; x <= cx + half; ++x) {
            const uint8_t* p = s.at(x, y);
            if (std::abs(p[0] - r) <= tolerance && std::abs(p[1] - g) <= tolerance && std::abs(p[2] - b) <= tolerance)
                ++n;
        }
    return n;
}

// Pixels that changed by more than antialiasing would explain.
int clearlyDifferingPixels(const Screenshot& a, const Screenshot& b, int x0, int y0, int x1, int y1) {
    int n = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x)
            if (std::abs(a.at(x, y)[0] - b.at(x, y)[0]) + std::abs(a.at(x, y)[1] - b.at(x, y)[1]) > 30) ++n;
    return n;
}
} // namespace

// Asks for the demo screen only while this test starts its binary.
struct DemoEnvironment {
    DemoEnvironment() { setenv("KESTRELWING_WIDGET_DEMO", "1", 1); }
    ~DemoEnvironment() { unsetenv("KESTRELWING_WIDGET_DEMO"); }
};

TEST(WidgetsE2E, DemoScreenHoverAndClick) {
    AppSession app;
    {
        DemoEnvironment demo;
        ASSERT_TRUE(app.start()) << app.output();
    }
    ASSERT_EQ(app.windowWidth(), 1024);
    ASSERT_EQ(app.windowHeight(), 700);

    app.moveMouse(700, 500);
    app.waitFrames(15);
    const Screenshot idle = app.screenshot();
    ASSERT_TRUE(idle.savePng(artefactPath("widgets_demo.png")));

    // The panel is tinted with the interface colour over the grey surround.
    const uint8_t* panel = idle.at(300, 200);
    EXPECT_GT(panel[1], panel[0]) << "panel tint is green-blue";
    EXPECT_GT(panel[0], 110);
    EXPECT_LT(panel[0], 150);
    // The unchecked box shows its light face.
    EXPECT_GT(countNear(idle, kBoxX, kBoxY, 4, 237, 237, 237, 30), 40);

    // Hovering the box swaps in its hover image: a cyan ring appears.
    app.moveMouse(kBoxX, kBoxY);
    const auto hoverShown = [&](const Screenshot& shot) {
        return clearlyDifferingPixels(idle, shot, kBoxX - 9, kBoxY - 9, kBoxX + 9, kBoxY + 9) > 10;
    };
    const Screenshot hover = app.screenshotWhen(hoverShown);
    ASSERT_TRUE(hover.savePng(artefactPath("widgets_demo_hover.png")));
    EXPECT_GT(clearlyDifferingPixels(idle, hover, kBoxX - 9, kBoxY - 9, kBoxX + 9, kBoxY + 9), 10);

    // A click checks it: the teal face with a white tick.
    click(app, kBoxX, kBoxY);
    const Screenshot checked = app.screenshot();
    ASSERT_TRUE(checked.savePng(artefactPath("widgets_demo_checked.png")));
    EXPECT_GT(countNear(checked, kBoxX, kBoxY, 6, 41, 143, 153, 40), 30);

    // The button reports its clicks in the status line at the panel's foot.
    click(app, kApplyX, kApplyY);
    const Screenshot clicked = app.screenshot();
    ASSERT_TRUE(clicked.savePng(artefactPath("widgets_demo_clicked.png")));
    EXPECT_GT(clearlyDifferingPixels(checked, clicked, 30, 395, 300, 420), 20) << "status text changed";
    EXPECT_TRUE(app.running());
}
