// The settings dialog (F12) and the help dialog (F1) in the running program,
// and key bindings that survive a restart.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "e2e/AppSession.h"

namespace fs = std::filesystem;

namespace {

std::string settingsText(AppSession& app) {
    std::ifstream in(app.settingsFolder() + "/Kestrelwing/settings.ini", std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// A window large enough for the whole help dialog.
void presetWindowSize(AppSession& app, int width, int height) {
    fs::create_directories(app.settingsFolder() + "/Kestrelwing");
    std::ofstream(app.settingsFolder() + "/Kestrelwing/settings.ini", std::ios::binary)
        << "[Software\\Kestrelwing]\nAPP_WINDOW_SIZE=" << width << "," << height << "\n";
}

// Presses a key with the pointer resting in the window and waits (up to 5 s)
// until the rectangle (y down) changed in at least minPixels pixels.
Screenshot keyAndWaitForChange(AppSession& app, const std::string& key, int x0, int y0, int x1, int y1,
                               int minPixels) {
    app.moveMouse(app.windowWidth() / 2, app.windowHeight() / 2 + 200);
    app.waitFrames(5);
    const Screenshot before = app.screenshot();
    app.xdotool("key " + key);
    Screenshot now = app.screenshot();
    for (int i = 0; i < 50 && differingPixels(before, now, x0, y0, x1, y1) < minPixels; ++i) {
        app.waitFrames(5);
        now = app.screenshot();
    }
    app.waitFrames(20); // the fade-in ends
    return app.screenshot();
}

void click(AppSession& app, int x, int y) {
    app.moveMouse(x, y);
    app.waitFrames(3);
    app.xdotool("click 1");
    app.waitFrames(8);
}

} // namespace

TEST(LangE2E, F12OpensTheSettingsDialogAndApplyStoresTheOptions) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const Screenshot before = app.screenshot();
    const Screenshot open = keyAndWaitForChange(app, "F12", 220, 220, 800, 480, 20000);
    ASSERT_TRUE(open.savePng(artefactPath("lang_settings_dialog.png")));
    EXPECT_GT(differingPixels(before, open, 220, 220, 800, 480), 20000) << "a dialog covers the middle";
    // The 590 x 280 dialog in the middle cell of the 1024 x 700 window: x from
    // 409 + (204 - 590) / 2 = 217, bottom (y up) at 280 + (140 - 280) / 2 =
    // 210; "Apply" is 110 x 30 at the inner right edge (20 in), 80 above the
    // inner bottom (15 in).
    const int applyX = 217 + 590 - 20 - 55, applyY = 700 - (210 + 15 + 80 + 15);
    // "Show second view on image": the check box at (0, 35), 15 x 15.
    EXPECT_NE(settingsText(app).find("SHOW_SECOND_VIEW=0"), std::string::npos) << settingsText(app);
    click(app, 217 + 20 + 7, 700 - (210 + 15 + 35 + 7));
    click(app, applyX, applyY);
    EXPECT_TRUE(waitForOutput(app, "New settings saved", 3000)) << app.output();
    const std::string stored = settingsText(app);
    EXPECT_NE(stored.find("SHOW_SECOND_VIEW=1"), std::string::npos) << stored;
    EXPECT_NE(stored.find("UI_COLOR=859393"), std::string::npos) << stored;
    EXPECT_NE(stored.find("GUI_SHADOW=1"), std::string::npos) << stored;
    EXPECT_NE(stored.find("APP_LANGUAGE=ENG"), std::string::npos) << stored;
    // "Close" closes it: the middle shows the canvas again.
    click(app, applyX, applyY + 80);
    app.waitFrames(30);
    const Screenshot closed = app.screenshot();
    EXPECT_LT(differingPixels(before, closed, 220, 220, 800, 480), 200);
}

TEST(LangE2E, F1OpensTheHelpDialog) {
    AppSession app;
    presetWindowSize(app, 1240, 1000);
    app.setEnv("KESTRELWING_OPEN_CMD", "/nonexistent/kw-opener");
    ASSERT_TRUE(app.start()) << app.output();
    const Screenshot before = app.screenshot();
    const Screenshot open = keyAndWaitForChange(app, "F1", 300, 300, 900, 700, 20000);
    ASSERT_TRUE(open.savePng(artefactPath("lang_help_dialog.png")));
    EXPECT_GT(differingPixels(before, open, 300, 300, 900, 700), 20000) << "a dialog covers the middle";
    // "Used libraries licenses", left and 45 above the inner bottom, x at its
    // own width + 10: about 146 pixels in the interface font, so x from 311.
    click(app, 135 + 20 + 215, 152 + 695 - 15 - 45 - 5);
    EXPECT_TRUE(waitForOutput(app, "no desktop opener (/nonexistent/kw-opener) is installed", 3000)) << app.output();
    EXPECT_NE(app.output().find("Licenses.txt"), std::string::npos);
}

namespace {
// The help dialog in a 1240 x 1000 window at GuiScale 1 (interface font 10,
// row pitch 15 pixels). The shortcuts area has 34 rows: 40 + 15 x 33 + 10 =
// 545 pixels, so the dialog is 400 + 570 = 970 by 545 + 150 = 695, centred
// in the middle cell of the 5 x 5 grid (248 x 200): x from 496 + (248 - 970)
// / 2 = 135, top (y down) at 1000 - (400 + (200 - 695) / 2) - 695 = 152.
// Insets: 20 left and right, 15 above and below.
constexpr int kHelpLeft = 135, kHelpTop = 152, kHelpWidth = 970, kHelpHeight = 695;
constexpr int kInnerLeft = kHelpLeft + 20, kInnerTop = kHelpTop + 15;
constexpr int kInnerRight = kHelpLeft + kHelpWidth - 20, kInnerBottom = kHelpTop + kHelpHeight - 15;
// Row k of the bindings (k over application then canvas commands): its
// controls' tops lie 70 + 4 x 15 + 22 k below the inner top (10 more after
// the 13 application commands), 20 high; the first control from x 400 + 230,
// the second from 400 + 370, each 120 wide.
int rowCentreY(int k) { return kInnerTop + 130 + 22 * k + (k >= 13 ? 10 : 0) + 10; }
constexpr int kFirstX = kInnerLeft + 630 + 60, kSecondX = kInnerLeft + 770 + 60;
// "Apply", "Close": 110 x 30 in the bottom right corner, 80 and 0 above the inner bottom.
constexpr int kApplyX = kInnerRight - 55, kApplyY = kInnerBottom - 80 - 15;
constexpr int kCloseY = kInnerBottom - 15;
constexpr int kNewLayerRow = 4, kMirrorRow = 12;

int count(const std::string& text, const std::string& what) {
    int n = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}
// The line the status text prints for a new layer.
const std::string kNewLayerMessage = "\nnew layer\n";

void pressAndWait(AppSession& app, const std::string& key) {
    app.xdotool("key " + key);
    app.waitFrames(10);
}
} // namespace

TEST(LangE2E, ARebindingRunsTheNewKeyRefusesAConflictAndSurvivesARestart) {
    AppSession app;
    presetWindowSize(app, 1240, 1000);
    ASSERT_TRUE(app.start()) << app.output();
    ASSERT_EQ(app.windowWidth(), 1240);
    ASSERT_EQ(app.windowHeight(), 1000);
    keyAndWaitForChange(app, "F1", 300, 300, 900, 700, 20000);
    // "new layer": m instead of n.
    click(app, kFirstX, rowCentreY(kNewLayerRow));
    pressAndWait(app, "m");
    click(app, kApplyX, kApplyY);
    // 0x96375C25 as a signed decimal; 'm' is 109. Each value is written to the
    // disk before the next: wait for the last command's.
    std::string stored = settingsText(app);
    for (int i = 0; i < 100 && stored.find("-177592612=") == std::string::npos; ++i) {
        app.waitFrames(2);
        stored = settingsText(app);
    }
    EXPECT_NE(stored.find("-1774756827=109\n"), std::string::npos) << stored;

    // "mirror" on m as well: refused, nothing stored.
    click(app, kSecondX, rowCentreY(kMirrorRow));
    pressAndWait(app, "m");
    click(app, kApplyX, kApplyY);
    app.waitFrames(25); // time for writes, if any were made
    const Screenshot conflict = app.screenshot();
    ASSERT_TRUE(conflict.savePng(artefactPath("lang_key_conflict.png")));
    EXPECT_EQ(settingsText(app), stored);

    click(app, kApplyX, kCloseY);
    app.waitFrames(20);
    const int before = count(app.output(), kNewLayerMessage);
    pressAndWait(app, "n");
    EXPECT_EQ(count(app.output(), kNewLayerMessage), before) << "the old key no longer adds a layer";
    pressAndWait(app, "m");
    EXPECT_EQ(count(app.output(), kNewLayerMessage), before + 1) << app.output();

    // The same settings folder at the next start.
    app.killNow();
    ASSERT_TRUE(app.start()) << app.output();
    app.moveMouse(app.windowWidth() / 2, app.windowHeight() / 2 + 200);
    app.waitFrames(5);
    pressAndWait(app, "n");
    EXPECT_EQ(count(app.output(), kNewLayerMessage), 0) << app.output();
    pressAndWait(app, "m");
    EXPECT_EQ(count(app.output(), kNewLayerMessage), 1) << app.output();
}

// ---- the program in German and French ------------------------------------------------

namespace {
// Settings of a program that already ran (so the factory reset of a first run
// leaves them), in this language and window size.
void presetLanguage(AppSession& app, const std::string& code, int width, int height) {
    fs::create_directories(app.settingsFolder() + "/Kestrelwing");
    std::ofstream(app.settingsFolder() + "/Kestrelwing/settings.ini", std::ios::binary)
        << "[Software\\Kestrelwing]\nAPP_VER=3.6.4.0\nAPP_CODE=1\nAPP_LANGUAGE=" << code
        << "\nAPP_WINDOW_SIZE=" << width << "," << height << "\n";
}
} // namespace

TEST(LangE2E, StartsInTheLanguageItWasLeftIn) {
    AppSession app;
    presetLanguage(app, "DEU", 1024, 700);
    ASSERT_TRUE(app.start()) << app.output();
    app.moveMouse(app.windowWidth() / 2, app.windowHeight() / 2 + 200);
    app.waitFrames(5);
    // The eraser announces itself on the status line, which the terminal gets too (UTF-8).
    app.xdotool("key e");
    EXPECT_TRUE(waitForOutput(app, "Radierer aktiv", 5000)) << app.output();
    EXPECT_EQ(app.output().find("eraser active"), std::string::npos) << app.output();
    // The settings stay as they were: the language was read, not reset.
    EXPECT_NE(settingsText(app).find("APP_LANGUAGE=DEU"), std::string::npos) << settingsText(app);
}

// Screens to look at in each language: the tool bar with the bucket's options
// strip, the settings dialog, the help dialog and a question box.
TEST(LangE2E, ScreensInGermanAndFrench) {
    for (const std::string code : {"DEU", "FRA"}) {
        SCOPED_TRACE(code);
        AppSession app;
        presetLanguage(app, code, 1240, 1000);
        ASSERT_TRUE(app.start()) << app.output();
        app.moveMouse(app.windowWidth() / 2, app.windowHeight() / 2 + 200);
        app.waitFrames(5);
        const Screenshot plain = app.screenshot();
        // The bucket fill (f) fills the options strip across the top.
        app.xdotool("key f");
        const Screenshot strip = app.screenshotWhen(
            [&](const Screenshot& s) { return differingPixels(plain, s, 200, 0, 1000, 50) > 2000; });
        EXPECT_GT(differingPixels(plain, strip, 200, 0, 1000, 50), 2000) << "the options strip shows";
        ASSERT_TRUE(strip.savePng(artefactPath("lang_" + code + "_main.png")));

        const Screenshot settings = keyAndWaitForChange(app, "F12", 400, 400, 800, 600, 20000);
        EXPECT_GT(differingPixels(strip, settings, 400, 400, 800, 600), 20000) << "the settings dialog shows";
        ASSERT_TRUE(settings.savePng(artefactPath("lang_" + code + "_settings.png")));
        app.xdotool("key Escape");
        app.waitFrames(30);

        const Screenshot help = keyAndWaitForChange(app, "F1", 300, 300, 900, 700, 20000);
        EXPECT_GT(differingPixels(strip, help, 300, 300, 900, 700), 20000) << "the help dialog shows";
        ASSERT_TRUE(help.savePng(artefactPath("lang_" + code + "_help.png")));
        app.xdotool("key Escape");
        app.waitFrames(30);

        // Esc on the canvas asks whether to quit.
        const Screenshot box = keyAndWaitForChange(app, "Escape", 450, 400, 800, 600, 5000);
        EXPECT_GT(differingPixels(strip, box, 450, 400, 800, 600), 5000) << "the question box shows";
        ASSERT_TRUE(box.savePng(artefactPath("lang_" + code + "_question.png")));
        app.xdotool("key Escape");
        app.waitFrames(10);
    }
}
