// The file flows from the keyboard, end to end: the real program in a real
// window, its file dialog answered by a script of answers, files checked on
// disk by decoding them again.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "e2e/AppSession.h"
#include "e2e/DragSource.h"
#include "io/ImageCodec.h"

namespace fs = std::filesystem;

namespace {

// The picture the tests load: a green band along the bottom, red on the
// left and blue on the right above it; 300 x 200.
constexpr int kW = 300, kH = 200;
const uint8_t kGreen[3] = {30, 170, 60}, kRed[3] = {200, 30, 40}, kBlue[3] = {20, 60, 220};

const uint8_t* sourceColour(int x, int y) { return y < 50 ? kGreen : x < 150 ? kRed : kBlue; }

void writeSourcePicture(const std::string& path) {
    std::vector<uint8_t> px(static_cast<size_t>(kW) * kH * 4);
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            uint8_t* p = &px[(static_cast<size_t>(y) * kW + x) * 4];
            const uint8_t* c = sourceColour(x, y);
            p[0] = c[0], p[1] = c[1], p[2] = c[2], p[3] = 255;
        }
    ASSERT_TRUE(saveImage(path, std::move(px), kW, kH));
}

// Samples well inside each area (a JPEG blurs the borders).
void expectSourcePicture(const std::string& path, int tolerance) {
    const DecodedImage img = decodeImage(path, DecodeLimits{});
    ASSERT_TRUE(img.ok()) << path << ": " << img.detail;
    ASSERT_EQ(img.width, kW) << path;
    ASSERT_EQ(img.height, kH) << path;
    const int points[][2] = {{20, 20}, {280, 25}, {40, 120}, {110, 180}, {200, 100}, {270, 180}};
    for (const auto& pt : points) {
        const uint8_t* got = &img.pixels[(static_cast<size_t>(pt[1]) * kW + pt[0]) * 4];
        const uint8_t* want = sourceColour(pt[0], pt[1]);
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(got[c], want[c], tolerance) << path << " at " << pt[0] << "," << pt[1] << " channel " << c;
        EXPECT_EQ(got[3], 255) << path;
    }
}

std::string readAll(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

using testfiles::writeFile;

// The names in a folder, sorted.
std::vector<std::string> listing(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// Occurrences of `text` in the program's output.
int countOf(const std::string& output, const std::string& text) {
    int n = 0;
    for (std::size_t at = output.find(text); at != std::string::npos; at = output.find(text, at + 1)) ++n;
    return n;
}

// A session whose file dialogs answer from a script and whose temporary
// folder is its own. `W` is the session's folder; answers name files there.
class FlowSession {
public:
    FlowSession() {
        W = app.workFolder();
        tmp = W + "/tmp";
        fs::create_directories(tmp);
        app.setEnv("TMPDIR", tmp);
    }
    // The answers, one a line ("" = Cancel, "#N " the filter, "@MS " a delay).
    void answers(const std::vector<std::string>& lines) { app.answerFileDialogs(lines); }
    bool start() {
        if (!app.start()) return false;
        app.waitFrames(10);
        return true;
    }
    void key(const std::string& name, int frames = 10) {
        app.xdotool("key " + name);
        app.waitFrames(frames);
    }
    void type(const std::string& text) {
        app.xdotool("type --delay 40 " + text);
        app.waitFrames(5);
    }
    // Waits until `text` has appeared `times` times in the output.
    bool waitFor(const std::string& text, int times = 1, int timeoutMs = 8000) {
        for (int t = 0; t < timeoutMs; t += 50) {
            if (countOf(app.output(), text) >= times) return true;
            usleep(50 * 1000);
        }
        return false;
    }
    int count(const std::string& text) { return countOf(app.output(), text); }

    AppSession app;
    std::string W, tmp;
};

Screenshot shotAndKeep(AppSession& app, const char* name) {
    app.moveMouse(3, 3);
    app.waitFrames(10);
    Screenshot s = app.screenshot();
    s.savePng(artefactPath(name));
    return s;
}

bool centreChanged(AppSession& app, const Screenshot& a, const Screenshot& b, int minimum) {
    const int cx = app.windowWidth() / 2, cy = app.windowHeight() / 2;
    return differingPixels(a, b, cx - 100, cy - 50, cx + 100, cy + 50) >= minimum;
}

} // namespace

TEST(FileFlowsE2E, NewImageSizesTransparentEmptyAndTooLarge) {
    FlowSession s;
    s.answers({"#2 " + s.W + "/grey", "#2 " + s.W + "/clear", "#2 " + s.W + "/after"});
    ASSERT_TRUE(s.start()) << s.app.output();
    // The start-up picture is grey too.
    const Screenshot start = shotAndKeep(s.app, "start_picture.png");
    const uint8_t* mid = start.at(s.app.windowWidth() / 2, s.app.windowHeight() / 2);
    EXPECT_NEAR(mid[0], 204, 1);
    EXPECT_NEAR(mid[2], 204, 1);

    s.key("ctrl+n", 20);
    const Screenshot dialog = shotAndKeep(s.app, "new_image_dialog.png");
    EXPECT_TRUE(centreChanged(s.app, start, dialog, 2000)) << "the dialog shows";
    s.key("BackSpace BackSpace BackSpace BackSpace BackSpace", 2);
    s.type("640");
    s.key("Tab", 2);
    s.key("BackSpace BackSpace BackSpace BackSpace BackSpace", 2);
    s.type("480");
    s.key("Return", 20);
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved")) << s.app.output();
    DecodedImage img = decodeImage(s.W + "/grey.png", DecodeLimits{});
    ASSERT_TRUE(img.ok());
    EXPECT_EQ(img.width, 640);
    EXPECT_EQ(img.height, 480);
    EXPECT_EQ(img.pixels[(240 * 640 + 320) * 4 + 0], 204);
    EXPECT_EQ(img.pixels[(240 * 640 + 320) * 4 + 3], 255);

    // Transparent: the check box is the third stop; OK the fifth. One key
    // at a time, each after a tick: the held Ctrl of ctrl+n is read by the tick.
    s.key("ctrl+n", 30);
    s.key("Tab", 5);
    s.key("Tab", 5);
    s.key("space", 5);
    const Screenshot checked = shotAndKeep(s.app, "new_image_transparent.png");
    (void)checked;
    s.key("Tab", 5);
    s.key("Tab", 5);
    s.key("Return", 20);
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved", 2)) << s.app.output();
    img = decodeImage(s.W + "/clear.png", DecodeLimits{});
    ASSERT_TRUE(img.ok());
    EXPECT_EQ(img.width, 640);
    EXPECT_EQ(img.pixels[(240 * 640 + 320) * 4 + 3], 0) << "transparent";

    // An empty field: the dialog says so and stays; Esc leaves it.
    s.key("ctrl+n", 20);
    s.key("BackSpace BackSpace BackSpace BackSpace BackSpace", 2);
    s.key("Return", 10);
    EXPECT_TRUE(s.waitFor("please specify new canvas size")) << s.app.output();
    s.key("Escape", 20);

    // Too large for the card: the size message, the old canvas stays.
    s.key("ctrl+n", 20);
    s.key("BackSpace BackSpace BackSpace BackSpace BackSpace", 2);
    s.type("99999");
    s.key("Return", 20);
    EXPECT_TRUE(s.waitFor("maximum size supported")) << s.app.output();
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved", 3)) << s.app.output();
    img = decodeImage(s.W + "/after.png", DecodeLimits{});
    ASSERT_TRUE(img.ok());
    EXPECT_EQ(img.width, 640);
    EXPECT_EQ(img.height, 480);
}

TEST(FileFlowsE2E, LoadAndSaveImageInEveryFormat) {
    FlowSession s;
    writeSourcePicture(s.W + "/source.png");
    s.answers({s.W + "/source.png", "#1 " + s.W + "/out", "#2 " + s.W + "/out", "#3 " + s.W + "/out",
               "#4 " + s.W + "/out", s.W + "/out.tif", "#2 " + s.W + "/reloaded"});
    ASSERT_TRUE(s.start()) << s.app.output();
    s.key("l");
    ASSERT_TRUE(s.waitFor("image loaded")) << s.app.output();
    EXPECT_EQ(s.count("LOADING.."), 1);
    EXPECT_EQ(s.app.title(), "source.png - Kestrelwing");
    // The folder of the loaded file is the next start's.
    EXPECT_NE(readAll(s.app.settingsFolder() + "/Kestrelwing/settings.ini").find("curr_dir=" + s.W + "\n"),
              std::string::npos);
    for (int i = 1; i <= 4; ++i) {
        s.key("s");
        ASSERT_TRUE(s.waitFor("image saved", i)) << s.app.output();
    }
    EXPECT_EQ(s.count("saving.."), 4);
    EXPECT_EQ(s.app.title(), "out.tif - Kestrelwing");
    expectSourcePicture(s.W + "/out.jpg", 12);
    expectSourcePicture(s.W + "/out.png", 0);
    expectSourcePicture(s.W + "/out.tga", 0);
    expectSourcePicture(s.W + "/out.tif", 0);
    EXPECT_EQ(readAll(s.W + "/out.jpg").substr(0, 2), "\xFF\xD8");
    EXPECT_EQ(readAll(s.W + "/out.tif").substr(0, 2), "II");
    // Loading the TIFF again and saving it gives the same picture.
    s.key("l");
    ASSERT_TRUE(s.waitFor("image loaded", 2)) << s.app.output();
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved", 5)) << s.app.output();
    expectSourcePicture(s.W + "/reloaded.png", 0);
}

TEST(FileFlowsE2E, ProcessAndLayeredFileSaveAndLoad) {
    FlowSession s;
    writeSourcePicture(s.W + "/source.png");
    s.answers({s.W + "/source.png", "#1 " + s.W + "/proc", "#5 " + s.W + "/layers", s.W + "/proc.dpf",
               "#2 " + s.W + "/from_proc", s.W + "/layers.kwf", "#2 " + s.W + "/from_layers"});
    ASSERT_TRUE(s.start()) << s.app.output();
    s.key("l");
    ASSERT_TRUE(s.waitFor("image loaded")) << s.app.output();
    s.key("F8");
    ASSERT_TRUE(s.waitFor("drawing process saved\nat location: \"" + s.W + "/proc.dpf\"")) << s.app.output();
    EXPECT_EQ(s.app.title(), "proc.dpf - Kestrelwing");
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved\nat location: \"" + s.W + "/layers.kwf\"")) << s.app.output();
    EXPECT_EQ(readAll(s.W + "/layers.kwf").size() > static_cast<size_t>(kW * kH * 4), true);

    // A new grey picture, then the process brings the picture back.
    s.key("ctrl+n", 20);
    s.key("Return", 20);
    s.key("F9", 30);
    ASSERT_TRUE(s.waitFor("drawing process loaded.\npress 'p' to play")) << s.app.output();
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved", 2)) << s.app.output();
    expectSourcePicture(s.W + "/from_proc.png", 0);

    // The same through the layered file.
    s.key("ctrl+n", 20);
    s.key("Return", 20);
    s.key("l", 30);
    ASSERT_TRUE(s.waitFor("image loaded", 2)) << s.app.output();
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved", 3)) << s.app.output();
    expectSourcePicture(s.W + "/from_layers.png", 0);
    // Nothing asked about unsaved work along the way.
    EXPECT_EQ(s.app.output().find("Save current changes"), std::string::npos);
}

TEST(FileFlowsE2E, QuickSaveTwiceTakesTheNextNumbers) {
    FlowSession s;
    s.answers({"#2 " + s.W + "/pic"});
    ASSERT_TRUE(s.start()) << s.app.output();
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved")) << s.app.output();
    s.key("F6");
    ASSERT_TRUE(s.waitFor("at location: \"" + s.W + "/pic_1.png\"")) << s.app.output();
    s.key("F6");
    ASSERT_TRUE(s.waitFor("at location: \"" + s.W + "/pic_2.png\"")) << s.app.output();
    for (const char* name : {"/pic.png", "/pic_1.png", "/pic_2.png"}) {
        const DecodedImage img = decodeImage(s.W + name, DecodeLimits{});
        EXPECT_TRUE(img.ok()) << name;
    }
    EXPECT_FALSE(fs::exists(s.W + "/pic_3.png"));
}

TEST(FileFlowsE2E, ExitPromptFromEscapeAndFromTheWindowManager) {
    FlowSession s;
    ASSERT_TRUE(s.start()) << s.app.output();
    const Screenshot before = shotAndKeep(s.app, "exit_before.png");
    s.key("Escape", 20);
    const Screenshot asking = shotAndKeep(s.app, "exit_prompt_from_escape.png");
    EXPECT_TRUE(centreChanged(s.app, before, asking, 5000)) << "\"Exit?\" shows";
    s.key("Escape", 20); // Cancel
    EXPECT_TRUE(s.app.running());
    const Screenshot after = shotAndKeep(s.app, "exit_cancelled.png");
    EXPECT_FALSE(centreChanged(s.app, before, after, 50)) << "the box has gone";
    s.app.sendCloseRequest();
    s.app.waitFrames(20);
    s.key("Escape", 20);
    EXPECT_TRUE(s.app.running()) << "Cancel keeps the window";
    s.key("Escape", 20);
    s.key("Return");
    EXPECT_EQ(s.app.waitForExit(3000), 0) << s.app.output();
}

TEST(FileFlowsE2E, ExitAcceptedFromTheWindowManager) {
    FlowSession s;
    ASSERT_TRUE(s.start()) << s.app.output();
    s.app.sendCloseRequest();
    s.app.waitFrames(20);
    s.key("Return");
    EXPECT_EQ(s.app.waitForExit(3000), 0) << s.app.output();
}

TEST(FileFlowsE2E, DropAsksBeforeReplacingThePicture) {
    FlowSession s;
    writeSourcePicture(s.W + "/source.png");
    ASSERT_TRUE(s.start()) << s.app.output();
    Display* d = XOpenDisplay(nullptr);
    ASSERT_NE(d, nullptr);
    const Screenshot before = shotAndKeep(s.app, "drop_before.png");
    auto dropOnce = [&] {
        DragSource source(d, s.app.windowId(), "text/uri-list", "file://" + s.W + "/source.png\r\n");
        source.enter();
        source.position(s.app.windowX() + s.app.windowWidth() / 2, s.app.windowY() + s.app.windowHeight() / 2);
        source.drop();
        XClientMessageEvent reply{};
        for (int i = 0; i < 200 && !source.poll("XdndFinished", reply); ++i) usleep(10 * 1000);
        s.app.waitFrames(20);
    };
    dropOnce();
    const Screenshot warning = shotAndKeep(s.app, "drop_warning.png");
    EXPECT_TRUE(centreChanged(s.app, before, warning, 5000)) << "the warning shows";
    s.key("Escape", 20);
    EXPECT_EQ(s.count("image loaded"), 0) << "Cancel keeps the picture";
    EXPECT_FALSE(centreChanged(s.app, before, shotAndKeep(s.app, "drop_cancelled.png"), 50));
    dropOnce();
    s.key("Return");
    EXPECT_TRUE(s.waitFor("image loaded")) << s.app.output();
    XCloseDisplay(d);
}

TEST(FileFlowsE2E, RecoveryAfterACrashOffersTheAutosave) {
    std::string settings, autosave;
    {
        // A run that saved its process where the autosave goes, then died.
        FlowSession crashed;
        writeSourcePicture(crashed.W + "/source.png");
        crashed.answers({crashed.W + "/source.png", "#1 " + crashed.tmp + "/KW_AUTOSAVE"});
        ASSERT_TRUE(crashed.start()) << crashed.app.output();
        crashed.key("l");
        ASSERT_TRUE(crashed.waitFor("image loaded")) << crashed.app.output();
        crashed.key("F8");
        ASSERT_TRUE(crashed.waitFor("drawing process saved")) << crashed.app.output();
        crashed.app.killNow();
        settings = readAll(crashed.app.settingsFolder() + "/Kestrelwing/settings.ini");
        autosave = readAll(crashed.tmp + "/KW_AUTOSAVE.dpf");
    }
    ASSERT_NE(settings.find("APP_CODE=0"), std::string::npos) << settings;
    ASSERT_FALSE(autosave.empty());

    FlowSession s;
    fs::create_directories(s.app.settingsFolder() + "/Kestrelwing");
    writeFile(s.app.settingsFolder() + "/Kestrelwing/settings.ini", settings);
    writeFile(s.tmp + "/KW_AUTOSAVE.dpf", autosave);
    s.answers({"#2 " + s.W + "/recovered"});
    ASSERT_TRUE(s.start()) << s.app.output();
    s.app.waitFrames(20);
    const Screenshot prompt = shotAndKeep(s.app, "recovery_prompt.png");
    s.key("Return", 30);
    ASSERT_TRUE(s.waitFor("drawing process loaded")) << s.app.output();
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved")) << s.app.output();
    expectSourcePicture(s.W + "/recovered.png", 0);
    const Screenshot after = shotAndKeep(s.app, "recovery_loaded.png");
    EXPECT_TRUE(centreChanged(s.app, prompt, after, 2000));
}

TEST(FileFlowsE2E, NoRecoveryQuestionAfterACleanExit) {
    FlowSession s;
    writeFile(s.tmp + "/KW_AUTOSAVE.dpf", "not looked at");
    fs::create_directories(s.app.settingsFolder() + "/Kestrelwing");
    writeFile(s.app.settingsFolder() + "/Kestrelwing/settings.ini", "[Software\\Kestrelwing]\nAPP_CODE=1\n");
    ASSERT_TRUE(s.start()) << s.app.output();
    shotAndKeep(s.app, "clean_start.png");
    s.key("Return", 30); // would answer a question if there were one
    EXPECT_EQ(s.count("drawing process"), 0) << s.app.output();
}

TEST(FileFlowsE2E, UnreadableFileAndFailedWritesChangeNothing) {
    FlowSession s;
    writeSourcePicture(s.W + "/source.png");
    writeFile(s.W + "/broken.png", "\x89PNG\r\n\x1a\n this is no picture");
    writeFile(s.W + "/notafolder", "a file");
    fs::create_directories(s.W + "/ro");
    ::chmod((s.W + "/ro").c_str(), 0555);
    s.answers({s.W + "/source.png", s.W + "/broken.png", "", "#2 " + s.W + "/notafolder/x", "#2 " + s.W + "/ro/x",
               "#1 " + s.W + "/notafolder/p"});
    ASSERT_TRUE(s.start()) << s.app.output();
    s.key("l");
    ASSERT_TRUE(s.waitFor("image loaded")) << s.app.output();
    s.app.waitFrames(50); // the fit to the window ends
    const Screenshot loaded = shotAndKeep(s.app, "before_broken.png");

    s.key("l", 30);
    ASSERT_TRUE(s.waitFor("unable to load image")) << s.app.output();
    EXPECT_EQ(s.app.title(), "source.png - Kestrelwing");
    EXPECT_FALSE(centreChanged(s.app, loaded, shotAndKeep(s.app, "after_broken.png"), 1));

    // A cancelled dialog: nothing at all.
    const std::string beforeCancel = s.app.output();
    s.key("s", 20);
    EXPECT_EQ(s.app.output(), beforeCancel);
    EXPECT_EQ(s.app.title(), "source.png - Kestrelwing");

    const std::vector<std::string> filesBefore = listing(s.W);
    s.key("s", 20);
    ASSERT_TRUE(s.waitFor("unable to save image")) << s.app.output();
    s.key("s", 20);
    const bool root = ::geteuid() == 0; // root writes into a read-only folder anyway
    if (!root) {
        ASSERT_TRUE(s.waitFor("unable to save image", 2)) << s.app.output();
        EXPECT_TRUE(fs::is_empty(s.W + "/ro")) << "no partial file";
    }
    s.key("F8", 20);
    ASSERT_TRUE(s.waitFor("unable to save drawing process")) << s.app.output();
    EXPECT_EQ(readAll(s.W + "/notafolder"), "a file");
    // Nothing half-written anywhere in the folder.
    EXPECT_EQ(listing(s.W), filesBefore);
    ::chmod((s.W + "/ro").c_str(), 0755);
}

TEST(FileFlowsE2E, SecondFlowRefusedWhileADialogWaits) {
    FlowSession s;
    writeSourcePicture(s.W + "/source.png");
    s.answers({"@2500 #2 " + s.W + "/slow", s.W + "/source.png"});
    ASSERT_TRUE(s.start()) << s.app.output();
    s.key("s", 15);
    s.key("l", 5);
    s.key("F8", 5);
    EXPECT_TRUE(s.waitFor("please answer the open file dialog first", 2)) << s.app.output();
    ASSERT_TRUE(s.waitFor("image saved")) << s.app.output();
    EXPECT_EQ(s.count("LOADING.."), 0);
    EXPECT_TRUE(fs::exists(s.W + "/slow.png"));
    // The refused flows took no answer: the next one gets the second line.
    s.key("l", 30);
    EXPECT_TRUE(s.waitFor("image loaded")) << s.app.output();
}

TEST(FileFlowsE2E, NonAsciiPathsOnDiskInTheTitleAndInMessages) {
    FlowSession s;
    const std::string utf8Name = "bild_\xC3\xA4";
    s.answers({"#2 " + s.W + "/" + utf8Name});
    ASSERT_TRUE(s.start()) << s.app.output();
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved")) << s.app.output();
    EXPECT_TRUE(fs::exists(s.W + "/" + utf8Name + ".png"));
    // The terminal gets UTF-8; the window title is the program's Latin-1.
    EXPECT_NE(s.app.output().find("at location: \"" + s.W + "/" + utf8Name + ".png\""), std::string::npos)
        << s.app.output();
    EXPECT_EQ(s.app.title(), "bild_\xE4.png - Kestrelwing");
}

TEST(FileFlowsE2E, InProgramFileDialogSavesAndLoads) {
    FlowSession s;
    writeSourcePicture(s.W + "/source.png");
    fs::create_directories(s.W + "/folder_one");
    fs::create_directories(s.app.settingsFolder() + "/Kestrelwing");
    writeFile(s.app.settingsFolder() + "/Kestrelwing/settings.ini",
              "[Software\\Kestrelwing]\nFILE_DIALOG_IN_PROGRAM=1\ncurr_dir=" + s.W + "\n");
    ASSERT_TRUE(s.start()) << s.app.output();
    const Screenshot before = shotAndKeep(s.app, "in_program_before.png");
    s.key("s", 20);
    const Screenshot dialog = shotAndKeep(s.app, "in_program_file_dialog.png");
    EXPECT_TRUE(centreChanged(s.app, before, dialog, 5000));
    // The name field holds the image's name; a new one replaces it.
    for (int i = 0; i < 14; ++i) s.key("BackSpace", 1);
    s.type("mine");
    s.key("Return", 20);
    ASSERT_TRUE(s.waitFor("image saved\nat location: \"" + s.W + "/mine.jpg\"")) << s.app.output();
    EXPECT_TRUE(fs::exists(s.W + "/mine.jpg"));

    s.key("l", 20);
    shotAndKeep(s.app, "in_program_file_dialog_load.png");
    s.type("source.png");
    s.key("Return", 30);
    ASSERT_TRUE(s.waitFor("image loaded")) << s.app.output();
    EXPECT_EQ(s.app.title(), "source.png - Kestrelwing");
}

TEST(FileFlowsE2E, UnsavedWorkIsAskedAboutBeforeANewImage) {
    FlowSession s;
    s.answers({"#1 " + s.W + "/guarded"});
    ASSERT_TRUE(s.start()) << s.app.output();
    const int w = s.app.windowWidth(), h = s.app.windowHeight();
    auto paint = [&] {
        s.app.drag({{w / 2 - 150, h / 2}, {w / 2 - 50, h / 2 + 20}, {w / 2 + 50, h / 2 - 20}, {w / 2 + 150, h / 2}});
        s.app.waitFrames(20);
    };
    const Screenshot blank = shotAndKeep(s.app, "guard_blank.png");
    paint();
    const Screenshot painted = shotAndKeep(s.app, "guard_painted.png");
    ASSERT_TRUE(centreChanged(s.app, blank, painted, 500)) << "the stroke shows";

    // Cancel: nothing else happens.
    s.key("ctrl+n", 20);
    shotAndKeep(s.app, "guard_question.png");
    s.key("Escape", 20);
    EXPECT_FALSE(centreChanged(s.app, painted, shotAndKeep(s.app, "guard_cancelled.png"), 1));

    // No: straight on to the dialog; its OK makes a grey picture.
    s.key("ctrl+n", 20);
    s.key("Left Return", 20);
    s.key("Return", 40);
    EXPECT_FALSE(centreChanged(s.app, blank, shotAndKeep(s.app, "guard_no.png"), 1)) << "a new grey picture";
    EXPECT_EQ(s.count("drawing process saved"), 0);

    // Yes: the process is saved first.
    paint();
    s.key("ctrl+n", 20);
    s.key("Return", 20);
    ASSERT_TRUE(s.waitFor("drawing process saved\nat location: \"" + s.W + "/guarded.dpf\"")) << s.app.output();
    s.key("Return", 40);
    EXPECT_FALSE(centreChanged(s.app, blank, shotAndKeep(s.app, "guard_yes.png"), 1));
    EXPECT_TRUE(fs::exists(s.W + "/guarded.dpf"));
    EXPECT_EQ(s.app.title(), "unnamed_image - Kestrelwing");
}

// The desktop's dialog: zenity on its own thread while the window lives on.
// Focuses the desktop dialog with that title, waiting for it at most 20 s
// (a dialog that never comes must fail the test, not hang it).
bool focusDialog(const std::string& titlePattern) {
    const std::string command = "timeout 20 xdotool search --sync --name \"" + titlePattern + "\" windowfocus --sync";
    return std::system(command.c_str()) == 0;
}

TEST(FileFlowsE2E, ZenityDialogOnItsOwnThread) {
    if (std::system("command -v zenity > /dev/null 2>&1") != 0) GTEST_SKIP() << "zenity is not installed";
    FlowSession s; // no script: the desktop's dialog answers
    ASSERT_TRUE(s.start()) << s.app.output();
    s.key("s", 5);
    ASSERT_TRUE(focusDialog("^Save image as:$")) << s.app.output();
    usleep(1500 * 1000);
    // The program's keys still arrive while zenity waits, and no second
    // dialog starts.
    s.app.xdotool("windowfocus --sync " + std::to_string(s.app.windowId()));
    s.key("l", 10);
    EXPECT_TRUE(s.waitFor("please answer the open file dialog first")) << s.app.output();
    ASSERT_TRUE(focusDialog("^Save image as:$")) << s.app.output();
    usleep(300 * 1000);
    s.app.xdotool("key ctrl+a");
    s.app.xdotool("type --delay 20 " + s.W + "/via_zenity.png");
    s.app.xdotool("key Return");
    ASSERT_TRUE(s.waitFor("image saved\nat location: \"" + s.W + "/via_zenity.png\"", 1, 10000)) << s.app.output();
    const DecodedImage img = decodeImage(s.W + "/via_zenity.png", DecodeLimits{});
    ASSERT_TRUE(img.ok());
    EXPECT_EQ(img.width, 1024);
    EXPECT_EQ(s.app.title(), "via_zenity.png - Kestrelwing");
    EXPECT_EQ(s.count("LOADING.."), 0);
}

TEST(FileFlowsE2E, OpenRasterSaveLoadAndARefusedFile) {
    FlowSession s;
    writeSourcePicture(s.W + "/source.png");
    // A file that is no archive at all, under the OpenRaster name.
    writeFile(s.W + "/bad.ora", "image/openraster, but no zip");
    s.answers({s.W + "/source.png", "#6 " + s.W + "/pic", s.W + "/pic.ora", "#2 " + s.W + "/from_ora",
               s.W + "/bad.ora", "#2 " + s.W + "/after_bad"});
    ASSERT_TRUE(s.start()) << s.app.output();
    s.key("l");
    ASSERT_TRUE(s.waitFor("image loaded")) << s.app.output();
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved\nat location: \"" + s.W + "/pic.ora\"")) << s.app.output();
    const std::string archive = readAll(s.W + "/pic.ora");
    ASSERT_GT(archive.size(), 54u);
    EXPECT_EQ(archive.substr(30, 24), "mimetypeimage/openraster");

    // A new grey picture, then the .ora brings the picture back, named after the file.
    s.key("ctrl+n", 20);
    s.key("Return", 20);
    EXPECT_EQ(s.app.title(), "unnamed_image - Kestrelwing");
    s.key("l", 30);
    ASSERT_TRUE(s.waitFor("image loaded", 2)) << s.app.output();
    EXPECT_EQ(s.app.title(), "pic.ora - Kestrelwing");
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved", 2)) << s.app.output();
    expectSourcePicture(s.W + "/from_ora.png", 0);

    // The refused file changes nothing: the message, the title and the picture stay.
    s.key("l", 30);
    ASSERT_TRUE(s.waitFor("unable to load file")) << s.app.output();
    EXPECT_NE(s.app.output().find(s.W + "/bad.ora: not an OpenRaster file"), std::string::npos) << s.app.output();
    EXPECT_EQ(s.app.title(), "from_ora.png - Kestrelwing");
    s.key("s");
    ASSERT_TRUE(s.waitFor("image saved", 3)) << s.app.output();
    expectSourcePicture(s.W + "/after_bad.png", 0);
    EXPECT_EQ(readAll(s.W + "/bad.ora"), "image/openraster, but no zip");
}
