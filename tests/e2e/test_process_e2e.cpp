// A drawing process opened from the command line: the picture it holds
// appears, "p" replays it stroke by stroke, and the replay ends on the same
// picture.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <thread>

#include <GL/glew.h>
#include <GL/glx.h>

#include "canvas/GlInfo.h"
#include "canvas/Shaders.h"
#include "e2e/AppSession.h"
#include "platform/HeadlessGl.h"
#include "test_process_document.h"

namespace {
// A process of 60 coloured strokes on two layers, made and saved the way the
// program saves one, on a headless context of this test process.
std::filesystem::path writeProcess() {
    // Window tests of this binary may have left a GLX context current on this
    // thread; an EGL context can only be made current once it is released.
    if (Display* d = glXGetCurrentDisplay()) glXMakeCurrent(d, None, nullptr);
    platform::HeadlessGlContext gl(16, 16);
    std::string error;
    if (!gl.create(&error)) {
        std::fprintf(stderr, "headless context: %s\n", error.c_str());
        return {};
    }
    gGlInfo = GlInfo::readFromCurrentContext();
    buildAllShaderPrograms(gGlInfo);
    std::vector<uint8_t> bytes;
    {
        processtest::GlDocument doc(800, 600);
        setDabSink(&doc.canvas);
        Brush brush;
        brush.size = 26;
        for (int i = 0; i < 60; ++i) {
            if (i == 30) doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
            const float a = i * 0.21f;
            doc.perform(processtest::stroke(brush, {0.5f + 0.5f * std::sin(a), 0.3f, 0.6f},
                                            400 + 250 * std::cos(a), 300 + 200 * std::sin(a), -std::sin(a) * 6,
                                            std::cos(a) * 6, 14, false));
        }
        bytes = doc.save();
        setDabSink(nullptr);
    }
    const std::filesystem::path path = std::filesystem::temp_directory_path() / "kw_e2e_process.dpf";
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                static_cast<std::streamsize>(bytes.size()));
    return path;
}
} // namespace

TEST(ProcessE2E, OpenedProcessReplaysWithP) {
    const std::filesystem::path file = writeProcess();
    ASSERT_FALSE(file.empty()) << "no headless context to make the process";
    AppSession app;
    ASSERT_TRUE(app.start({file.string()})) << app.output();
    ASSERT_TRUE(waitForOutput(app, "drawing process loaded", 5000)) << app.output();
    app.waitFrames(60); // the fit to window
    const int w = app.windowWidth(), h = app.windowHeight();
    app.moveMouse(5, 5);
    app.waitFrames(5);
    const Screenshot loaded = app.screenshot();
    loaded.savePng(artefactPath("process_loaded.png"));

    app.xdotool("key p");
    app.waitFrames(5);
    app.xdotool("key Return");
    app.waitFrames(20); // a fraction of the 60 strokes
    const Screenshot during = app.screenshot();
    during.savePng(artefactPath("process_replay_during.png"));
    EXPECT_GT(differingPixels(loaded, during, 60, 40, w - 60, h - 80), 2000) << "the replay starts from blank";

    ASSERT_TRUE(waitForOutput(app, "replay stopped", 15000)) << app.output();
    app.moveMouse(5, 5);
    app.waitFrames(90); // the notification fades after a second and a half
    const Screenshot after = app.screenshot();
    after.savePng(artefactPath("process_replay_after.png"));
    EXPECT_EQ(differingPixels(loaded, after, 60, 40, w - 60, h - 80), 0) << "the replay ends on the saved picture";
    std::filesystem::remove(file);
}
