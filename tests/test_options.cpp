// What the program keeps between runs: the options, the closing status and
// the window placement in the settings file, and the user's data folder.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "core/Globals.h"
#include "core/LaunchCounter.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "core/WindowPlacement.h"
#include "platform/Paths.h"
#include "platform/Settings.h"
#include "TestPaths.h"

namespace fs = std::filesystem;

namespace {

std::string readText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void writeText(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

// Private configuration and data folders; the program's options and colour
// put back afterwards.
class OptionsTest : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/kw_options_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
        keep("XDG_CONFIG_HOME", dir + "/config");
        keep("XDG_DATA_HOME", dir + "/data");
        settings = dir + "/config/Kestrelwing/settings.ini";
        for (int i = 0; i < 4; ++i) savedColor[i] = gGuiColor[i];
        // The options object exists once the program started.
        if (!gApp->options) gApp->createOptions();
    }
    void TearDown() override {
        for (auto& [name, value] : oldEnv) {
            if (value.first) setenv(name.c_str(), value.second.c_str(), 1);
            else unsetenv(name.c_str());
        }
        for (int i = 0; i < 4; ++i) gGuiColor[i] = savedColor[i];
        gApp->getOptions().reset();
        // A start in another language loaded its texts (German ships): the
        // tests after this one expect the English table.
        loc::loadDefaultStrings(loc::kDefaultLanguage);
        gGuiColor[3] = savedColor[3];
        fs::remove_all(dir);
    }
    void keep(const std::string& name, const std::string& value) {
        const char* old = std::getenv(name.c_str());
        oldEnv[name] = {old != nullptr, old ? old : ""};
        setenv(name.c_str(), value.c_str(), 1);
    }
    std::string value(const std::string& name) {
        std::string v;
        return platform::readValue(name, v) ? v : "<missing>";
    }

    std::string dir;
    fs::path settings;
    float savedColor[4] = {};
    std::map<std::string, std::pair<bool, std::string>> oldEnv;
};

} // namespace

TEST_F(OptionsTest, EveryOptionIsStoredInItsFormAndReadBack) {
    PaintingApplicationOptions& o = gApp->getOptions();
    o.language = "DEU";
    o.guiShadow = false;
    o.referenceViewOnLeft = false;
    o.showToggleGuiButton = false;
    o.showSecondView = true;
    // Bytes 0x1a, 0x2b, 0x3c as colour components.
    gGuiColor[0] = 26 / 255.0f;
    gGuiColor[1] = 43 / 255.0f;
    gGuiColor[2] = 60 / 255.0f;
    gApp->saveOptions();
    EXPECT_EQ(value("APP_LANGUAGE"), "DEU");
    EXPECT_EQ(value("GUI_SHADOW"), "0");
    EXPECT_EQ(value("REFERENCE_VIEW_SIDE"), "0");
    EXPECT_EQ(value("SHOW_TOGGLE_GUI_BTN"), "0");
    EXPECT_EQ(value("SHOW_SECOND_VIEW"), "1");
    EXPECT_EQ(value("UI_COLOR"), "1a2b3c");
    // Written in this order, nothing else.
    EXPECT_EQ(readText(settings), "[Software\\Kestrelwing]\nAPP_LANGUAGE=DEU\nGUI_SHADOW=0\nREFERENCE_VIEW_SIDE=0\n"
                                  "SHOW_TOGGLE_GUI_BTN=0\nSHOW_SECOND_VIEW=1\nUI_COLOR=1a2b3c\n");

    o.reset();
    EXPECT_EQ(o.language, "ENG");
    EXPECT_FLOAT_EQ(gGuiColor[0], 0.52156866f);
    gApp->loadOptions();
    EXPECT_EQ(o.language, "DEU");
    EXPECT_FALSE(o.guiShadow);
    EXPECT_FALSE(o.referenceViewOnLeft);
    EXPECT_FALSE(o.showToggleGuiButton);
    EXPECT_TRUE(o.showSecondView);
    EXPECT_FLOAT_EQ(gGuiColor[0], 26 / 255.0f);
    EXPECT_FLOAT_EQ(gGuiColor[1], 43 / 255.0f);
    EXPECT_FLOAT_EQ(gGuiColor[2], 60 / 255.0f);
    // Upper-case hexadecimal reads as well.
    platform::writeValue("UI_COLOR", "FF0080");
    gApp->loadOptions();
    EXPECT_FLOAT_EQ(gGuiColor[0], 1.0f);
    EXPECT_FLOAT_EQ(gGuiColor[1], 0.0f);
    EXPECT_FLOAT_EQ(gGuiColor[2], 128 / 255.0f);
}

TEST_F(OptionsTest, DefaultsAndTheirStoredForms) {
    PaintingApplicationOptions& o = gApp->getOptions();
    o.reset();
    EXPECT_EQ(o.language, "ENG");
    EXPECT_TRUE(o.guiShadow);
    EXPECT_TRUE(o.referenceViewOnLeft);
    EXPECT_TRUE(o.showToggleGuiButton);
    EXPECT_FALSE(o.showSecondView);
    EXPECT_EQ(o.defaultCanvasWidth, 1024);
    EXPECT_EQ(o.defaultCanvasHeight, 768);
    EXPECT_EQ(o.defaultBrushSize, 50);
    gApp->saveOptions();
    // floor(0.52156866 * 255 + 0.5) = 133 = 0x85, floor(0.5764706 * 255 + 0.5) = 147 = 0x93.
    EXPECT_EQ(value("UI_COLOR"), "859393");
    EXPECT_EQ(value("GUI_SHADOW"), "1");
    EXPECT_EQ(value("SHOW_SECOND_VIEW"), "0");
}

TEST_F(OptionsTest, DefaultCanvasSizeIsReadButNeverWritten) {
    PaintingApplicationOptions& o = gApp->getOptions();
    writeText(settings, "[Software\\Kestrelwing]\nDEFAULT_CANVAS_SIZE=640,480\n");
    gApp->loadOptions();
    EXPECT_EQ(o.defaultCanvasWidth, 640);
    EXPECT_EQ(o.defaultCanvasHeight, 480);
    o.defaultCanvasWidth = 800;
    gApp->saveOptions();
    EXPECT_EQ(value("DEFAULT_CANVAS_SIZE"), "640,480");
    // Half a pair keeps the default.
    o.reset();
    platform::writeValue("DEFAULT_CANVAS_SIZE", "640");
    gApp->loadOptions();
    EXPECT_EQ(o.defaultCanvasWidth, 1024);
    EXPECT_EQ(o.defaultCanvasHeight, 768);
}

TEST_F(OptionsTest, GarbledValuesKeepTheirDefaults) {
    writeText(settings, "garbage without a section\n[Software\\Kestrelwing]\nAPP_WINDOW_POS=abc,5\n"
                        "APP_WINDOW_SIZE=800\nUI_COLOR=zz\nGUI_SHADOW=yes\n\x01\x02=\n");
    const std::string before = readText(settings);
    ApplicationClosingStatus status;
    status.load();
    EXPECT_EQ(status.x, -1);
    EXPECT_EQ(status.y, -1);
    EXPECT_EQ(status.width, 1024);
    EXPECT_EQ(status.height, 700);
    EXPECT_TRUE(status.cleanExit); // no APP_CODE: as after a clean exit
    gApp->loadOptions();
    EXPECT_FLOAT_EQ(gGuiColor[0], 0.52156866f);
    EXPECT_FALSE(gApp->getOptions().guiShadow); // only "1" is true
    // The load marked this run as running and kept every other line as it was.
    const std::string after = readText(settings);
    EXPECT_EQ(after, before + "APP_CODE=0\n");
}

TEST_F(OptionsTest, UnreadableSettingsGiveDefaultsAndAreNotReplaced) {
    // A folder where the file should be: nothing can be read or written.
    fs::create_directories(settings);
    ApplicationClosingStatus status;
    status.load();
    EXPECT_TRUE(status.cleanExit);
    EXPECT_EQ(status.width, 1024);
    status.saveExit();
    status.savePlacement(true, 1, 2, 3, 4);
    EXPECT_TRUE(fs::is_directory(settings));
    EXPECT_EQ(value("APP_CODE"), "<missing>");
}

TEST_F(OptionsTest, ClosingStatusSurvivesARestartAndACrashIsSeen) {
    {
        ApplicationClosingStatus run;
        run.load();
        EXPECT_EQ(value("APP_CODE"), "0");
        run.saveExit();
        run.savePlacement(true, 35, -12, 900, 650);
    }
    EXPECT_EQ(value("APP_CODE"), "1");
    EXPECT_EQ(value("APP_WINDOW_MAXIMIZED"), "1");
    EXPECT_EQ(value("APP_WINDOW_POS"), "35,-12");
    EXPECT_EQ(value("APP_WINDOW_SIZE"), "900,650");
    EXPECT_EQ(value("APP_VER"), "3.6.4.0");
    ApplicationClosingStatus next;
    next.load();
    EXPECT_TRUE(next.cleanExit);
    EXPECT_TRUE(next.maximized);
    EXPECT_EQ(next.x, 35);
    EXPECT_EQ(next.y, -12);
    EXPECT_EQ(next.width, 900);
    EXPECT_EQ(next.height, 650);
    // This run "crashes": nothing is saved; the next start knows.
    ApplicationClosingStatus afterCrash;
    afterCrash.load();
    EXPECT_FALSE(afterCrash.cleanExit);
    EXPECT_EQ(afterCrash.x, 35); // the window of the last clean exit
}

TEST_F(OptionsTest, FirstStartStoresTheOptionsAndMakesTheDataFolder) {
    gApp->getOptions().language = "FRA"; // left over; a first start resets it
    gApp->Application::init();
    EXPECT_TRUE(gApp->closingStatus->cleanExit);
    EXPECT_EQ(gApp->getOptions().language, "ENG");
    EXPECT_EQ(value("APP_LANGUAGE"), "ENG");
    EXPECT_EQ(value("UI_COLOR"), "859393");
    EXPECT_EQ(value("APP_CODE"), "0");
    EXPECT_TRUE(gApp->newVersion);

    // Another version's settings: options back to defaults, window values kept.
    platform::writeValue("APP_VER", "3.5.0.0");
    platform::writeValue("APP_LANGUAGE", "DEU");
    platform::writeValue("APP_WINDOW_POS", "10,20");
    gApp->Application::init();
    EXPECT_EQ(gApp->getOptions().language, "ENG");
    EXPECT_EQ(value("APP_LANGUAGE"), "ENG");
    EXPECT_EQ(gApp->closingStatus->x, 10);
    // The same version keeps them.
    platform::writeValue("APP_VER", "3.6.4.0");
    platform::writeValue("APP_LANGUAGE", "DEU");
    gApp->Application::init();
    EXPECT_EQ(gApp->getOptions().language, "DEU");
}

TEST_F(OptionsTest, DataFolderIsMadeOnceWithItsFiles) {
    const fs::path factory = dir + "/factory";
    writeText(factory / "brush_presets.xml", "<presets/>");
    writeText(factory / "README.txt", "tips go here");
    const fs::path user = dir + "/data/Kestrelwing";
    ASSERT_TRUE(platform::installUserData(factory.string(), user.string()));
    EXPECT_EQ(readText(user / "brush_presets.xml"), "<presets/>");
    EXPECT_EQ(readText(user / "brushes" / "README.txt"), "tips go here");
    // The user's own files are never replaced.
    writeText(user / "brush_presets.xml", "<mine/>");
    fs::remove(user / "brushes" / "README.txt");
    ASSERT_TRUE(platform::installUserData(factory.string(), user.string()));
    EXPECT_EQ(readText(user / "brush_presets.xml"), "<mine/>");
    EXPECT_FALSE(fs::exists(user / "brushes" / "README.txt"));
    // A file in the way of the folder: refused, nothing else harmed.
    const fs::path blocked = dir + "/blocked";
    writeText(blocked, "x");
    EXPECT_FALSE(platform::installUserData(factory.string(), blocked.string()));
    EXPECT_EQ(readText(blocked), "x");
}

// A window manager places the outer corner of the frame where the window
// asks to be; the client area lies inside the frame.
TEST(WindowPlacementStore, RestartsUnderAFrameDoNotCreep) {
    const FrameExtents frame{4, 4, 27, 4};
    int askX = 100, askY = 80;
    for (int run = 0; run < 5; ++run) {
        const int clientX = askX + frame.left, clientY = askY + frame.top;
        const WindowPlacement stored = placementToStore(clientX, clientY, 900, 600, frame);
        EXPECT_EQ(stored.x, 100) << "run " << run;
        EXPECT_EQ(stored.y, 80) << "run " << run;
        EXPECT_EQ(stored.width, 900);
        EXPECT_EQ(stored.height, 600);
        askX = stored.x;
        askY = stored.y;
    }
    // Without a frame the corners are one.
    const WindowPlacement bare = placementToStore(7, 9, 10, 11, FrameExtents{});
    EXPECT_EQ(bare.x, 7);
    EXPECT_EQ(bare.y, 9);
}

TEST(WindowPlacementStore, MaximisedRunKeepsTheSizeToGoBackTo) {
    NormalPlacement tracker({50, 60, 800, 600});
    tracker.observe(false, {70, 60, 820, 610});
    tracker.observe(true, {0, 0, 1280, 1000});
    EXPECT_EQ(tracker.normal().x, 70);
    EXPECT_EQ(tracker.normal().width, 820);
    EXPECT_EQ(tracker.normal().height, 610);
}

// A start without a display ends at once: it must not store a window it never had.
TEST_F(OptionsTest, RunWithoutADisplayKeepsTheStoredWindow) {
    writeText(settings, "[Software\\Kestrelwing]\nAPP_CODE=1\nAPP_WINDOW_MAXIMIZED=1\nAPP_WINDOW_POS=123,45\n"
                        "APP_WINDOW_SIZE=900,650\nAPP_VER=3.6.4.0\n");
    const std::string command = "env -u DISPLAY " + std::string(KW_BINARY) + " >" + dir + "/out.txt 2>&1";
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1) << readText(dir + "/out.txt");
    EXPECT_EQ(value("APP_WINDOW_POS"), "123,45");
    EXPECT_EQ(value("APP_WINDOW_SIZE"), "900,650");
    EXPECT_EQ(value("APP_WINDOW_MAXIMIZED"), "1");
    // It ended by itself, not by a crash.
    EXPECT_EQ(value("APP_CODE"), "1");
}

TEST(LaunchCounter, CountsStartsAndAsksAtEveryHundredth) {
    LaunchCountStep s = launchCountStep(false, "");
    EXPECT_TRUE(s.write);
    EXPECT_FALSE(s.askForRating);
    EXPECT_EQ(s.next, 2);
    s = launchCountStep(true, "99");
    EXPECT_FALSE(s.askForRating);
    EXPECT_EQ(s.next, 100);
    s = launchCountStep(true, "100");
    EXPECT_TRUE(s.askForRating);
    EXPECT_EQ(s.next, 101);
    EXPECT_TRUE(launchCountStep(true, "300").askForRating);
    s = launchCountStep(true, "many");
    EXPECT_EQ(s.next, 2);
    EXPECT_FALSE(launchCountStep(true, "0").write);
    EXPECT_FALSE(launchCountStep(true, "-1").write);
}

TEST_F(OptionsTest, LaunchCounterStopsAfterYes) {
    int asked = 0;
    platform::writeValue("KWCOUNT", "100");
    runLaunchCounter([&] { return ++asked, false; });
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(value("KWCOUNT"), "101");
    platform::writeValue("KWCOUNT", "200");
    runLaunchCounter([&] { return ++asked, true; });
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(value("KWCOUNT"), "0");
    platform::writeValue("KWCOUNT", "0");
    runLaunchCounter([&] { return ++asked, true; });
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(value("KWCOUNT"), "0");
}
