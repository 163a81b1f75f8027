// The process load on the loader thread: the busy state and the ring while
// it runs, the abort, and the fall-back to the calling thread (result 5).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

#include "core/Application.h"
#include "platform/SharedGlContext.h"
#include "support/GlTestContext.h"
#include "test_process_document.h"
#include "test_process_support.h"

namespace {

class TestApplication : public Application {
public:
    void drawCursor() override {}
    void createOptions() override {}
};

class ProcessLoader : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        path = (std::filesystem::temp_directory_path() / ("kw_loader_" + std::to_string(::getpid()) + ".dpf"))
                   .string();
        processtest::GlDocument doc(10, 8);
        setDabSink(&doc.canvas);
        processtest::performEveryActionType(doc);
        for (int i = 0; i < 450; ++i) doc.history.appendLoaded(std::make_unique<LayerVisibilityToggleAction>(doc.canvas, doc.layers));
        saved = doc.save();
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(saved.data()),
                                                    static_cast<std::streamsize>(saved.size()));
    }
    void TearDown() override {
        std::filesystem::remove(path);
        setDabSink(nullptr);
        GlTest::TearDown();
    }
    std::string path;
    std::vector<uint8_t> saved;
};

} // namespace

TEST_F(ProcessLoader, WorkerThreadKeepsTheProgramAliveAndLoads) {
    processtest::GlDocument doc(3, 3);
    TestApplication app;
    DocumentTarget target{doc.canvas, doc.layers, doc.history, nullptr, &app};
    DrawingProcess::LoadOptions options;
    options.tips = &doc.tips;
    int waitCalls = 0;
    bool busyWhileWaiting = false;
    options.wait = [&](const std::function<bool()>& done) {
        // The program waits in the busy state, the ring of a process load turning.
        ++waitCalls;
        busyWhileWaiting = app.busy && app.spinnerActive && app.spinnerPeriod == 1000 && !app.cancelRequested;
        while (!done()) {
            ++app.spinnerFrame; // what the frame does while the ring turns
            usleep(1000);
        }
    };
    ASSERT_TRUE(openDrawingProcess(path, target, options));
    EXPECT_EQ(app.lastMessage, "drawing process loaded.\npress 'p' to play");
    EXPECT_FALSE(app.busy);
    EXPECT_FALSE(app.spinnerActive);
    EXPECT_EQ(doc.history.actionCount(), 32u + 450u);
    EXPECT_EQ(doc.save(), saved);
    EXPECT_EQ(waitCalls, 1) << "the parse ran on a loader thread while the program waited";
    EXPECT_TRUE(busyWhileWaiting);
}

TEST_F(ProcessLoader, ContextThatCannotBeBoundFallsBackToThisThread) {
    processtest::GlDocument doc(3, 3);
    platform::SharedGlContext neverCreated;
    DocumentTarget target = doc.target();
    DrawingProcess::LoadOptions options;
    options.tips = &doc.tips;
    options.sharedContext = &neverCreated;
    options.wait = [](const std::function<bool()>& done) {
        while (!done()) usleep(1000);
    };
    int32_t version[3] = {};
    ASSERT_EQ(DrawingProcess::load(path, target, options, version), LoadResult::Loaded);
    EXPECT_EQ(doc.save(), saved);
}

TEST_F(ProcessLoader, AbortDuringTheTipsLeavesTheDocumentAlone) {
    processtest::GlDocument doc(3, 3);
    ProcessLoadProgress progress;
    progress.cancelRequested = true;
    processtest::Parsed parsed(saved, ProcessParseOptions{nullptr, 1, &progress});
    EXPECT_EQ(parsed.result, LoadResult::Aborted);
    EXPECT_TRUE(parsed.content.actions.empty());

    TestApplication app;
    DocumentTarget target{doc.canvas, doc.layers, doc.history, nullptr, &app};
    DrawingProcess::LoadOptions options;
    options.tips = &doc.tips;
    // The abort is there before the loader thread reads its first tip, so it
    // must end the load there, whatever the threads' timing.
    ProcessLoadProgress watched;
    watched.cancelRequested = true;
    options.progress = &watched;
    int waitCalls = 0;
    options.wait = [&](const std::function<bool()>& done) {
        ++waitCalls;
        while (!done()) usleep(1000);
    };
    const std::size_t before = doc.history.actionCount();
    const std::size_t tipsBefore = doc.tips.size();
    const std::vector<uint8_t> pictureBefore = doc.save();
    EXPECT_FALSE(openDrawingProcess(path, target, options));
    EXPECT_EQ(waitCalls, 1);
    EXPECT_EQ(app.lastMessage, "Loading aborted");
    EXPECT_EQ(doc.history.actionCount(), before);
    EXPECT_EQ(doc.tips.size(), tipsBefore);
    EXPECT_EQ(doc.canvas.width, 3);
    EXPECT_EQ(doc.save(), pictureBefore);
    EXPECT_FALSE(app.busy);

    // The same load without the abort goes through.
    watched.cancelRequested = false;
    EXPECT_TRUE(openDrawingProcess(path, target, options));
    EXPECT_EQ(doc.save(), saved);
}
