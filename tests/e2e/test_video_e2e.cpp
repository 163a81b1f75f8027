// The video export on the real program: paint, press "v", confirm the
// "Video options" dialog, watch the progress ring and check the film with
// ffprobe; ESC in the middle leaves no file.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/AppSession.h"
#include "video_test_support.h"

namespace fs = std::filesystem;

namespace {

std::map<std::string, std::string> probe(const std::string& path) {
    const std::string command =
        "ffprobe -v error -count_frames -select_streams v:0 -show_entries "
        "stream=codec_name,codec_tag_string,width,height,avg_frame_rate,nb_read_frames -of default=noprint_wrappers=1 '" +
        path + "' 2>&1";
    std::map<std::string, std::string> values;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return values;
    char line[512];
    while (std::fgets(line, sizeof line, pipe)) {
        std::string s(line);
        while (!s.empty() && (s.back() == '\n' || s.back() == '\r')) s.pop_back();
        const std::size_t eq = s.find('=');
        if (eq != std::string::npos) values[s.substr(0, eq)] = s.substr(eq + 1);
    }
    ::pclose(pipe);
    return values;
}

// Where the program is told to put its film: the scripted file dialog
// answers "film" in a folder of the test's, for every export (no extension
// typed, so the filter's is appended).
struct ExportTarget {
    fs::path dir;
    explicit ExportTarget(const std::string& name) {
        dir = fs::temp_directory_path() / ("kw_video_e2e_" + name + "_" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        const fs::path answers = dir.parent_path() / (dir.filename().string() + ".answers");
        std::string lines;
        for (int i = 0; i < 4; ++i) lines += (dir / "film").string() + "\n";
        FILE* f = std::fopen(answers.c_str(), "w");
        if (f) {
            std::fputs(lines.c_str(), f);
            std::fclose(f);
        }
        setenv("KESTRELWING_FILE_DIALOG", answers.c_str(), 1);
    }
    ~ExportTarget() {
        unsetenv("KESTRELWING_FILE_DIALOG");
        fs::remove(dir.parent_path() / (dir.filename().string() + ".answers"));
        fs::remove_all(dir);
    }
    std::size_t files() const {
        std::size_t n = 0;
        for (const auto& e : fs::directory_iterator(dir)) n += e.is_regular_file();
        return n;
    }
};

void paintStrokes(AppSession& app, int count) {
    const int w = app.windowWidth(), h = app.windowHeight();
    for (int i = 0; i < count; ++i) {
        const int x = w / 2 - 250 + (i % 8) * 60, y = h / 2 - 150 + (i / 8 % 6) * 60;
        app.drag({{x, y}, {x + 15, y + 10}, {x + 30, y + 25}, {x + 40, y + 40}}, 10);
    }
}

// The busy ring: light grey arcs around the middle of the window.
int ringPixels(const Screenshot& s) {
    int n = 0;
    const int cx = s.width / 2, cy = s.height / 2;
    for (int a = 0; a < 360; a += 3) {
        const double r = 90, t = a * 3.14159265 / 180;
        const uint8_t* p = s.at(cx + static_cast<int>(r * std::cos(t)), cy + static_cast<int>(r * std::sin(t)));
        n += p[0] >= 190 && p[0] == p[1] && p[1] == p[2];
    }
    return n;
}

} // namespace

TEST(VideoE2E, KeyVExportsTheProcessAsAnAvi) {
    if (std::system("ffprobe -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "ffprobe is not installed";
    ExportTarget target("done");
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int w = app.windowWidth(), h = app.windowHeight();
    const int strokes = 40;
    paintStrokes(app, strokes);
    app.moveMouse(w - 40, 120);
    app.waitFrames(100);
    const Screenshot before = app.screenshot();

    app.xdotool("key v");
    app.waitFrames(15);
    const Screenshot dialog = app.screenshot();
    ASSERT_TRUE(dialog.savePng(artefactPath("video_dialog.png")));
    EXPECT_GT(differingPixels(before, dialog, w / 2 - 150, h / 2 - 60, w / 2 + 150, h / 2 + 60), 3000)
        << "the dialog stands in the middle";

    app.xdotool("key Return");
    ASSERT_TRUE(waitForOutput(app, "exporting video..[ESC] to abort, format = 0", 10000)) << app.output();
    // Screenshots until the ring shows or the export is over (a busy machine
    // may take a while to draw the first frame after the dialog).
    bool ringSeen = false;
    for (int i = 0; i < 50 && !ringSeen && app.output().find("video export done") == std::string::npos; ++i) {
        const Screenshot progress = app.screenshot();
        if (ringPixels(progress) > 40) {
            ringSeen = true;
            ASSERT_TRUE(progress.savePng(artefactPath("video_progress.png")));
        }
    }
    EXPECT_TRUE(ringSeen) << "the busy ring shows while the frames are written";

    ASSERT_TRUE(waitForOutput(app, "video export done", 60000)) << app.output();
    const std::string film = (target.dir / "film.avi").string();
    ASSERT_TRUE(fs::exists(film)) << app.output();
    EXPECT_EQ(target.files(), 1u);
    auto v = probe(film);
    EXPECT_EQ(v["codec_name"], "mpeg4");
    EXPECT_EQ(v["codec_tag_string"], "DIVX");
    EXPECT_EQ(v["width"], "704");
    EXPECT_EQ(v["height"], "480");
    EXPECT_EQ(v["avg_frame_rate"], "1000/33");
    // One frame per action: the new picture's grey fill, then the strokes.
    EXPECT_EQ(v["nb_read_frames"], std::to_string(strokes + 1)) << "one frame per action";

    app.waitFrames(120); // the notification fades
    const Screenshot after = app.screenshot();
    ASSERT_TRUE(after.savePng(artefactPath("video_after.png")));
    EXPECT_EQ(differingPixels(before, after, 0, 0, w, h), 0) << "the end picture is back";

    // A second export keeps the first film: the new one is numbered.
    app.xdotool("key v");
    app.waitFrames(15);
    app.xdotool("key Return");
    ASSERT_TRUE(waitForOutput(app, "video written to " + (target.dir / "film_1.avi").string(), 60000))
        << app.output();
    EXPECT_EQ(target.files(), 2u);
    EXPECT_TRUE(app.running());
}

TEST(VideoE2E, EscapeInTheMiddleAbortsAndLeavesNoFile) {
    ExportTarget target("abort");
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const int w = app.windowWidth(), h = app.windowHeight();
    // Enough strokes that the film takes a while to write on a quiet machine.
    paintStrokes(app, 120);
    app.moveMouse(w - 40, 120);
    app.waitFrames(100);
    const Screenshot before = app.screenshot();
    app.xdotool("key v");
    app.waitFrames(15);
    app.xdotool("key Return");
    ASSERT_TRUE(waitForOutput(app, "exporting video", 10000)) << app.output();
    app.xdotool("key Escape");
    ASSERT_TRUE(waitForOutput(app, "video export aborted", 20000)) << app.output();
    EXPECT_EQ(app.output().find("video export done"), std::string::npos) << app.output();
    app.waitFrames(20);
    EXPECT_EQ(target.files(), 0u) << "no film and no temporary file";
    app.waitFrames(100);
    const Screenshot after = app.screenshot();
    ASSERT_TRUE(after.savePng(artefactPath("video_after_escape.png")));
    EXPECT_EQ(differingPixels(before, after, 0, 0, w, h), 0) << "the end picture is back";
    // ESC went to the export, not to the program's exit.
    EXPECT_EQ(app.output().find("exit: not available yet"), std::string::npos) << app.output();
    EXPECT_TRUE(app.running());
}

TEST(VideoE2E, CancelInTheDialogChangesNothing) {
    ExportTarget target("cancel");
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    paintStrokes(app, 3);
    app.waitFrames(20);
    app.xdotool("key v");
    app.waitFrames(15);
    app.xdotool("key Escape");
    app.waitFrames(20);
    EXPECT_EQ(app.output().find("exporting video"), std::string::npos) << app.output();
    EXPECT_EQ(target.files(), 0u);
    EXPECT_TRUE(app.running());
}

// A name typed into "Author:" lands in the film's bottom-left corner; the
// rest of the last frame stays as the same export without a name has it.
TEST(VideoE2E, TheAuthorFieldMarksTheFilmsCorner) {
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "ffmpeg is not installed";
    ExportTarget target("author");
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    paintStrokes(app, 4);
    app.waitFrames(20);
    app.xdotool("key v");
    app.waitFrames(15);
    app.xdotool("key Return");
    ASSERT_TRUE(waitForOutput(app, "video written to " + (target.dir / "film.avi").string(), 60000))
        << app.output();
    app.waitFrames(20);
    app.xdotool("key v");
    app.waitFrames(15);
    // The dialog stands in the middle of the window: a click in the author
    // field, the name, a click on OK.
    const int w = app.windowWidth(), h = app.windowHeight();
    app.moveMouse(w / 2 + 60, h / 2 + 11);
    app.xdotool("click 1");
    app.waitFrames(5);
    app.xdotool("type Ada");
    app.waitFrames(5);
    app.moveMouse(w / 2 + 24, h / 2 + 94);
    app.xdotool("click 1");
    ASSERT_TRUE(waitForOutput(app, "video written to " + (target.dir / "film_1.avi").string(), 60000))
        << app.output();
    const std::vector<uint8_t> plain =
        videotest::decodeFrames((target.dir / "film.avi").string(), (target.dir / "plain.raw").string());
    const std::vector<uint8_t> marked =
        videotest::decodeFrames((target.dir / "film_1.avi").string(), (target.dir / "marked.raw").string());
    const int W = 704, H = 480;
    const std::size_t frameBytes = static_cast<std::size_t>(W) * H * 3;
    ASSERT_EQ(plain.size(), 5 * frameBytes);
    ASSERT_EQ(marked.size(), plain.size());
    const uint8_t* a = plain.data() + 4 * frameBytes;
    const uint8_t* b = marked.data() + 4 * frameBytes;
    long inCorner = 0;
    int outside = 0;
    for (int y = 0; y < H; ++y) // rows top-down
        for (int x = 0; x < W; ++x)
            for (int c = 0; c < 3; ++c) {
                const std::size_t i = (static_cast<std::size_t>(y) * W + x) * 3 + c;
                const int d = std::abs(a[i] - b[i]);
                if (y >= H - 100 && x < W / 2) inCorner += d > 40;
                else outside = std::max(outside, d);
            }
    EXPECT_GT(inCorner, 50) << "the name is in the corner";
    EXPECT_LE(outside, 24) << "and nowhere else";
    EXPECT_TRUE(app.running());
}
