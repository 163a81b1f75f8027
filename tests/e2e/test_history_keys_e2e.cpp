// Keyboard-driven history and layers in the running program: paint, undo,
// redo, new layer, switch layers, hide a layer. Each screenshot is compared
// with the picture that step must give.
#include <gtest/gtest.h>

#include "e2e/AppSession.h"

namespace {
// Canvas region of the screenshots, clear of the status texts and the margins.
constexpr int kLeft = 100, kRight = 900, kTop = 90, kBottom = 600;

int differingPixels(const Screenshot& a, const Screenshot& b) {
    return ::differingPixels(a, b, kLeft, kTop, kRight, kBottom);
}

bool isDark(const uint8_t* p) { return p[0] < 60 && p[1] < 60 && p[2] < 60; }

// A settled screenshot with the cursor parked in the grey margin.
Screenshot settled(AppSession& app, const std::string& name) {
    app.moveMouse(20, 20);
    app.waitFrames(10);
    Screenshot s = app.screenshot();
    s.savePng(artefactPath("history_keys_" + name + ".png"));
    return s;
}

void stroke(AppSession& app, int y) {
    std::vector<std::pair<int, int>> path;
    for (int x = 200; x <= 800; x += 20) path.push_back({x, y});
    app.drag(path);
}
} // namespace

TEST(HistoryKeysE2E, PaintUndoRedoAndLayersFromTheKeyboard) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    app.waitFrames(60); // the opening fit animation
    const Screenshot blank = settled(app, "0_blank");

    stroke(app, 250);
    const Screenshot painted = settled(app, "1_painted");
    EXPECT_GT(differingPixels(blank, painted), 5000);
    EXPECT_TRUE(isDark(painted.at(500, 250)));

    app.xdotool("key ctrl+z");
    const Screenshot undone = settled(app, "2_undone");
    EXPECT_EQ(differingPixels(blank, undone), 0) << "undo gives the blank canvas back";

    app.xdotool("key ctrl+y");
    const Screenshot redone = settled(app, "3_redone");
    EXPECT_EQ(differingPixels(painted, redone), 0) << "redo gives the stroke back";

    app.xdotool("key n"); // a new, empty layer on top: the picture is unchanged
    const Screenshot newLayer = settled(app, "4_new_layer");
    EXPECT_EQ(differingPixels(painted, newLayer), 0);

    stroke(app, 450); // on the new layer
    const Screenshot two = settled(app, "5_second_stroke");
    EXPECT_TRUE(isDark(two.at(500, 250)));
    EXPECT_TRUE(isDark(two.at(500, 450)));

    app.xdotool("key h"); // hide the current (upper) layer
    const Screenshot hidden = settled(app, "6_upper_hidden");
    EXPECT_TRUE(isDark(hidden.at(500, 250)));
    EXPECT_FALSE(isDark(hidden.at(500, 450)));
    EXPECT_EQ(differingPixels(painted, hidden), 0) << "only the lower layer shows";

    app.xdotool("key h"); // show it again
    EXPECT_EQ(differingPixels(two, settled(app, "7_upper_shown")), 0);

    app.xdotool("key exclam"); // switch to the other layer: the picture stays
    const Screenshot switched = settled(app, "8_switched");
    EXPECT_EQ(differingPixels(two, switched), 0);
    app.xdotool("key h"); // now the lower layer hides
    const Screenshot lowerHidden = settled(app, "9_lower_hidden");
    EXPECT_FALSE(isDark(lowerHidden.at(500, 250)));
    EXPECT_TRUE(isDark(lowerHidden.at(500, 450)));

    // Undo all the way back: visibility, switch, stroke, new layer, stroke.
    for (int i = 0; i < 8; ++i) {
        app.xdotool("key ctrl+z");
        app.waitFrames(3);
    }
    EXPECT_EQ(differingPixels(blank, settled(app, "10_all_undone")), 0);
    EXPECT_TRUE(app.running());
}
