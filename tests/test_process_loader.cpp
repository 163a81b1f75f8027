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
    int waits = 0;
    bool busySeen = false;
    options.wait = [&](const std::function<bool()>& done) {
        while (!done()) {
            ++waits;
            busySeen = busySeen || (app.busy && app.spinnerPeriod > 0);
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
    if (waits > 0) {
        EXPECT_TRUE(busySeen);
    }
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
    // An abort asked for at once reaches the reader before or during its work;
    // whichever it is, the document is either untouched or fully loaded.
    options.wait = [&](const std::function<bool()>& done) {
        app.cancelRequested = true;
        while (!done()) usleep(1000);
    };
    const std::size_t before = doc.history.actionCount();
    const bool loaded = openDrawingProcess(path, target, options);
    if (loaded) {
        EXPECT_EQ(doc.save(), saved);
    } else {
        EXPECT_EQ(app.lastMessage, "Loading aborted");
        EXPECT_EQ(doc.history.actionCount(), before);
        EXPECT_EQ(doc.canvas.width, 3);
    }
    EXPECT_FALSE(app.busy);
}
