// The image save and the autosave on their threads: the file holds the
// picture of the moment of the command, saves queue behind each other, the
// autosave writes slot 1 and the actions before it from copies, and no
// failed write harms the file that was there.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "history/BrushStrokeAction.h"
#include "core/Globals.h"
#include "core/PaintingApplication.h"
#include "core/Saving.h"
#include "io/AutosaveCopy.h"
#include "io/BinaryStream.h"
#include "io/ImageCodec.h"
#include "io/SavingThreads.h"
#include "platform/Settings.h"
#include "support/GlTestContext.h"
#include "test_process_document.h"
#include "test_process_support.h"
#include "TestPaths.h"

namespace fs = std::filesystem;

namespace {

std::vector<uint8_t> bytesOf(const fs::path& p) {
    std::vector<uint8_t> bytes;
    std::string reason;
    io::readWholeFile(p.string(), bytes, reason);
    return bytes;
}

void writeBytes(const fs::path& p, const std::string& text) { std::ofstream(p, std::ios::binary) << text; }

std::string slurp(const fs::path& p) {
    std::ifstream f(p, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

// Files in dir other than the named one (left-over temporary files).
std::vector<std::string> othersIn(const fs::path& dir, const std::string& keep) {
    std::vector<std::string> out;
    for (const auto& e : fs::directory_iterator(dir))
        if (e.path().filename() != keep) out.push_back(e.path().filename().string());
    return out;
}

int runBinary(const std::string& args, const fs::path& dir) {
    const std::string command = "env -u DISPLAY " + std::string(KW_BINARY) + " " + args + " >" +
                                (dir / "out.txt").string() + " 2>&1";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A small file system of its own (root only): full when size is reached,
// read-only on request. Unmounted at the end.
class SmallDisk {
public:
    SmallDisk(const fs::path& where, const std::string& size) : dir_(where) {
        fs::create_directories(dir_);
        mounted_ = ::mount("tmpfs", dir_.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
    }
    ~SmallDisk() {
        if (mounted_) ::umount2(dir_.c_str(), MNT_DETACH);
    }
    bool mounted() const { return mounted_; }
    bool makeReadOnly() {
        return ::mount("tmpfs", dir_.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    }
    // Fills the disk to the last few bytes.
    void fill() {
        std::vector<char> block(4096, 'x');
        std::ofstream f(dir_ / "filler", std::ios::binary);
        while (f.write(block.data(), static_cast<std::streamsize>(block.size()))) {
        }
    }

private:
    fs::path dir_;
    bool mounted_ = false;
};

class SavingGl : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        char tmpl[] = "/tmp/kw_saving_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
        const char* old = std::getenv("XDG_CONFIG_HOME");
        hadConfig = old != nullptr;
        if (old) oldConfig = old;
        setenv("XDG_CONFIG_HOME", (dir / "config").c_str(), 1);
    }
    void TearDown() override {
        saving::waitForWriters();
        saving::finishEndedSaves(nullptr);
        if (hadConfig) setenv("XDG_CONFIG_HOME", oldConfig.c_str(), 1);
        else unsetenv("XDG_CONFIG_HOME");
        std::error_code ec;
        fs::remove_all(dir, ec);
        GlTest::TearDown();
    }
    std::string file(const std::string& name) const { return (dir / name).string(); }

    fs::path dir;
    bool hadConfig = false;
    std::string oldConfig;
};

// A picture whose every pixel is the opaque colour of a fill.
void fill(processtest::GlDocument& doc, float r, float g, float b) {
    doc.perform(std::make_unique<CanvasFillAction>(doc.canvas, r, g, b));
}

bool allPixelsAre(const DecodedImage& image, uint8_t r, uint8_t g, uint8_t b) {
    for (std::size_t i = 0; i + 3 < image.pixels.size(); i += 4)
        if (image.pixels[i] != r || image.pixels[i + 1] != g || image.pixels[i + 2] != b ||
            image.pixels[i + 3] != 255)
            return false;
    return !image.pixels.empty();
}

// The colour bytes the card gives for a fill colour.
std::array<uint8_t, 3> filledBytes(processtest::GlDocument& doc) {
    const std::vector<uint8_t> px = readTexture(doc.canvas.currentLayerSurface().textureId, doc.canvas.width,
                                                doc.canvas.height);
    return {px[0], px[1], px[2]};
}

} // namespace

TEST_F(SavingGl, FileHoldsThePictureOfTheCommandWhilePaintingGoesOn) {
    processtest::GlDocument doc(64, 48);
    fill(doc, 1.0f, 0.0f, 0.0f);
    const auto red = filledBytes(doc);
    std::vector<bool> done;
    ASSERT_TRUE(saving::saveImageInBackground(doc.canvas, doc.layers, nullptr, file("a.png"),
                                              [&](bool ok) { done.push_back(ok); }));
    // Painting goes on at once, while the thread may still be writing.
    fill(doc, 0.0f, 0.0f, 1.0f);
    const auto blue = filledBytes(doc);
    ASSERT_NE(red, blue);
    saving::waitForWriters();
    EXPECT_TRUE(done.empty()); // results arrive on the main thread's next turn
    saving::finishEndedSaves(nullptr);
    ASSERT_EQ(done, std::vector<bool>{true});
    const DecodedImage image = decodeImage(file("a.png"), DecodeLimits{});
    ASSERT_TRUE(image.ok()) << image.detail;
    EXPECT_EQ(image.width, 64);
    EXPECT_EQ(image.height, 48);
    EXPECT_TRUE(allPixelsAre(image, red[0], red[1], red[2]));
}

TEST_F(SavingGl, TwoQuickSavesRunOneAfterTheOther) {
    processtest::GlDocument doc(300, 200);
    fill(doc, 0.0f, 1.0f, 0.0f);
    const auto green = filledBytes(doc);
    std::vector<std::string> order;
    ASSERT_TRUE(saving::saveImageInBackground(doc.canvas, doc.layers, nullptr, file("same.png"),
                                              [&](bool ok) { order.push_back(ok ? "first" : "first failed"); }));
    fill(doc, 1.0f, 1.0f, 0.0f);
    const auto yellow = filledBytes(doc);
    // The second waits for the first; both end, in order, the later picture last.
    ASSERT_TRUE(saving::saveImageInBackground(doc.canvas, doc.layers, nullptr, file("same.png"),
                                              [&](bool ok) { order.push_back(ok ? "second" : "second failed"); }));
    ASSERT_TRUE(saving::saveImageInBackground(doc.canvas, doc.layers, nullptr, file("other.tif"),
                                              [&](bool ok) { order.push_back(ok ? "third" : "third failed"); }));
    EXPECT_TRUE(saving::imageSavePending());
    saving::waitForWriters();
    saving::finishEndedSaves(nullptr);
    EXPECT_FALSE(saving::imageSavePending());
    EXPECT_EQ(order, (std::vector<std::string>{"first", "second", "third"}));
    EXPECT_TRUE(allPixelsAre(decodeImage(file("same.png"), DecodeLimits{}), yellow[0], yellow[1], yellow[2]));
    EXPECT_TRUE(allPixelsAre(decodeImage(file("other.tif"), DecodeLimits{}), yellow[0], yellow[1], yellow[2]));
    EXPECT_NE(green, yellow);
    EXPECT_EQ(othersIn(dir, "same.png"), std::vector<std::string>{"other.tif"}); // no temporary file left
}

TEST_F(SavingGl, TheProgramIsBusyUntilTheSaveEndsAndThenSaysSo) {
    processtest::GlDocument doc(32, 32);
    fill(doc, 0.5f, 0.5f, 0.5f);
    fs::create_directories(dir / "work");
    std::error_code ec;
    const fs::path before = fs::current_path();
    fs::current_path(dir / "work");
    gApp->Application::busy = false;
    ASSERT_TRUE(saving::saveImageInBackground(doc.canvas, doc.layers, gApp, file("work/b.png")));
    EXPECT_TRUE(gApp->Application::busy);
    EXPECT_TRUE(gApp->spinnerActive);
    EXPECT_EQ(gApp->spinnerPeriod, 360);
    saving::waitForWriters();
    saving::finishEndedSaves(gApp);
    fs::current_path(before);
    EXPECT_FALSE(gApp->Application::busy);
    EXPECT_FALSE(gApp->spinnerActive);
    EXPECT_EQ(gApp->lastMessage, "image saved\nat location: \"" + file("work/b.png") + "\"");
    std::string stored;
    ASSERT_TRUE(platform::readValue("curr_dir", stored));
    EXPECT_EQ(fs::path(stored), dir / "work");

    // A folder that vanished: the failure message, no folder stored, not busy.
    platform::writeValue("curr_dir", "/unchanged");
    ASSERT_TRUE(saving::saveImageInBackground(doc.canvas, doc.layers, gApp, file("gone/c.png")));
    saving::waitForWriters();
    saving::finishEndedSaves(gApp);
    EXPECT_EQ(gApp->lastMessage, "unable to save image");
    EXPECT_FALSE(gApp->Application::busy);
    ASSERT_TRUE(platform::readValue("curr_dir", stored));
    EXPECT_EQ(stored, "/unchanged");
}

TEST_F(SavingGl, FullOrReadOnlyDiskLeavesTheOlderFilesWhole) {
    SmallDisk disk(dir / "disk", "256k");
    if (!disk.mounted()) GTEST_SKIP() << "mounting a small file system needs root";
    const fs::path disk_dir = dir / "disk";
    // Noise does not compress: the image is far larger than the disk.
    processtest::GlDocument doc(400, 400);
    {
        std::vector<uint8_t> noise(400 * 400 * 4);
        std::mt19937 rng(3);
        for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = (i % 4 == 3) ? 255 : static_cast<uint8_t>(rng());
        glBindTexture(GL_TEXTURE_2D, doc.canvas.currentLayerSurface().textureId);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 400, 400, GL_RGBA, GL_UNSIGNED_BYTE, noise.data());
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    for (const char* name : {"old.png", "old.jpg", "old.tif", "old.bmp", "old.dpf", "old.kwf"})
        writeBytes(disk_dir / name, std::string("older file ") + name);
    for (const char* name : {"old.png", "old.jpg", "old.tif", "old.bmp"}) {
        bool result = true;
        ASSERT_TRUE(saving::saveImageInBackground(doc.canvas, doc.layers, gApp, (disk_dir / name).string(),
                                                  [&](bool ok) { result = ok; }));
        saving::waitForWriters();
        saving::finishEndedSaves(gApp);
        EXPECT_FALSE(result) << name;
        EXPECT_EQ(gApp->lastMessage, "unable to save image") << name;
    }
    // A process and a layered file that do not fit.
    doc.canvas.saveCurrentLayer(doc.layers);
    const LayeredPicture picture = captureLayers(doc.canvas, doc.layers);
    ProcessSaveInput input{&doc.history.actions(), doc.history.actionCount(), &picture, 400, 400, &doc.tips,
                           {}, 0, 0};
    std::string error;
    EXPECT_FALSE(DrawingProcess::save((disk_dir / "old.dpf").string(), input, &error));
    EXPECT_NE(error.find("No space left on device"), std::string::npos) << error;
    EXPECT_FALSE(saveLayeredFile((disk_dir / "old.kwf").string(), picture, error));
    for (const char* name : {"old.png", "old.jpg", "old.tif", "old.bmp", "old.dpf", "old.kwf"})
        EXPECT_EQ(slurp(disk_dir / name), std::string("older file ") + name) << name;
    std::vector<std::string> left;
    for (const auto& e : fs::directory_iterator(disk_dir)) left.push_back(e.path().filename().string());
    EXPECT_EQ(left.size(), 6u) << "temporary files left behind";

    // The settings file on a full disk keeps its last whole text.
    setenv("XDG_CONFIG_HOME", (disk_dir / "cfg").c_str(), 1);
    platform::writeValue("APP_LANGUAGE", "ENG");
    disk.fill();
    platform::writeValue("curr_dir", std::string(300000, 'p'));
    EXPECT_EQ(slurp(disk_dir / "cfg/Kestrelwing/settings.ini"), "[Software\\Kestrelwing]\nAPP_LANGUAGE=ENG\n");
    fs::remove(disk_dir / "filler");

    // Read-only: nothing can be made there, the older file stays.
    ASSERT_TRUE(disk.makeReadOnly());
    bool result = true;
    ASSERT_TRUE(saving::saveImageInBackground(doc.canvas, doc.layers, gApp, (disk_dir / "old.png").string(),
                                              [&](bool ok) { result = ok; }));
    saving::waitForWriters();
    saving::finishEndedSaves(gApp);
    EXPECT_FALSE(result);
    EXPECT_EQ(slurp(disk_dir / "old.png"), "older file old.png");
    EXPECT_FALSE(DrawingProcess::save((disk_dir / "old.dpf").string(), input, &error));
    EXPECT_NE(error.find("Read-only file system"), std::string::npos) << error;
}

namespace {

// 100 steps: strokes of two brushes (one with a tip of the process), a second
// layer, layer changes and opacities.
void paintHundredSteps(processtest::GlDocument& doc) {
    std::vector<uint8_t> tipPixels(8 * 4 * 4);
    for (std::size_t i = 0; i < tipPixels.size(); i += 4) tipPixels[i + 3] = static_cast<uint8_t>(40 + i);
    const int32_t tip = doc.tips.appendProcessTip("bar", 8, 4, tipPixels);
    uploadProcessTipTextures(doc.tips);
    Brush round;
    round.size = 5;
    Brush textured;
    textured.size = 7;
    textured.tipIndex = tip;
    for (int i = 0; i < 100; ++i) {
        if (i == 20) doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
        else if (i % 17 == 16) doc.perform(std::make_unique<LayerChangeAction>(doc.canvas, doc.layers, (i / 17) % 2));
        else if (i % 23 == 22) doc.perform(std::make_unique<LayerOpacityChangeAction>(doc.canvas, doc.layers, 60 + i % 40));
        else
            doc.perform(processtest::stroke(i % 3 == 0 ? textured : round,
                                            {0.01f * i, 0.5f, 1.0f - 0.01f * i}, 2.0f + (i * 7) % 30,
                                            2.0f + (i * 5) % 20, 1.5f, 0.7f, 6 + i % 5));
    }
}

// What the process writer makes of the first `count` actions with slot 1's pixels.
std::vector<uint8_t> expectedAutosave(processtest::GlDocument& doc, const HistorySnapshot& slot) {
    LayeredPicture picture;
    picture.width = slot.width;
    picture.height = slot.height;
    picture.current = slot.currentLayer;
    for (const SnapshotLayer& l : slot.layers)
        picture.layers.push_back({l.visible, l.opacity, l.blendMode,
                                  std::vector<uint8_t>(l.pixels->data(), l.pixels->data() + l.pixels->size())});
    ProcessSaveInput input{&doc.history.actions(), static_cast<std::size_t>(slot.actionIndex), &picture,
                           doc.history.initialWidth, doc.history.initialHeight, &doc.tips, {}, 0, 0};
    return encodeProcess(input);
}

} // namespace

TEST_F(SavingGl, AutosaveOfAHundredStepsHoldsSlotOneAndReplaysToIt) {
    processtest::GlDocument doc(48, 36);
    setDabSink(&doc.canvas);
    const std::string path = file("KW_AUTOSAVE.dpf");
    saving::connectAutosave(doc.history, &doc.tips, [&] { return path; });
    const int before = saving::autosavesCompleted();
    paintHundredSteps(doc);
    saving::waitForWriters();
    doc.history.startAutosave = nullptr;
    // Slot 1 is filled by every second snapshot: after the 31st and 93rd step.
    EXPECT_EQ(saving::autosavesCompleted() - before, 2);
    const HistorySnapshot& slot = doc.history.snapshot(1);
    ASSERT_GT(slot.actionIndex, 60);
    ASSERT_LT(static_cast<std::size_t>(slot.actionIndex), doc.history.actionCount());
    const std::vector<uint8_t> written = bytesOf(path);
    const std::vector<uint8_t> expected = expectedAutosave(doc, slot);
    ASSERT_FALSE(written.empty());
    EXPECT_TRUE(written == expected) << "autosave differs from the process writer's bytes (" << written.size()
                                     << " against " << expected.size() << ")";
    processtest::Parsed parsed(written);
    ASSERT_EQ(parsed.result, LoadResult::Loaded) << parsed.reason;
    EXPECT_EQ(parsed.content.storedActionCount, slot.actionIndex);
    EXPECT_EQ(parsed.content.tips.size(), 1u);

    // The program replays the file to the picture it holds.
    ASSERT_EQ(runBinary("--render " + path + " " + file("stored.png"), dir), 0) << slurp(dir / "out.txt");
    ASSERT_EQ(runBinary("--render --replay " + path + " " + file("replayed.png"), dir), 0) << slurp(dir / "out.txt");
    const DecodedImage stored = decodeImage(file("stored.png"), DecodeLimits{});
    const DecodedImage replayed = decodeImage(file("replayed.png"), DecodeLimits{});
    ASSERT_TRUE(stored.ok());
    ASSERT_TRUE(replayed.ok());
    EXPECT_EQ(stored.width, 48);
    EXPECT_TRUE(stored.pixels == replayed.pixels) << "the replay of the autosave differs from its picture";
    // And the picture is not blank.
    int painted = 0;
    for (std::size_t i = 3; i < stored.pixels.size(); i += 4) painted += stored.pixels[i] != 0;
    EXPECT_GT(painted, 100);
}

TEST_F(SavingGl, AutosaveCopiesOutliveTheActionsTheyCameFrom) {
    processtest::GlDocument doc(24, 24);
    setDabSink(&doc.canvas);
    std::vector<AutosaveJob> jobs;
    std::vector<std::vector<uint8_t>> expected;
    ActionRecordCache cache;
    doc.history.startAutosave = [&](const HistorySnapshot& slot, std::size_t count) {
        jobs.push_back(makeAutosaveJob(file("a" + std::to_string(jobs.size()) + ".dpf"), doc.history, slot, count,
                                       &doc.tips, cache, doc.history.takeUnchangedPrefix()));
        expected.push_back(expectedAutosave(doc, slot));
    };
    paintHundredSteps(doc);
    ASSERT_EQ(jobs.size(), 2u);
    EXPECT_LT(cache.lastEncoded(), 70u); // the second job encoded only what came after the first
    // Undo across slot 1, paint again (the undone actions are deleted) and
    // fill slot 1 anew: the cache renews the changed tail.
    for (int i = 0; i < 20; ++i) {
        doc.history.undo();
        doc.history.replayIfPending();
    }
    fill(doc, 0.2f, 0.3f, 0.4f);
    for (int i = 0; i < 70; ++i) fill(doc, 0.01f * i, 0.5f, 0.5f);
    ASSERT_GE(jobs.size(), 3u);
    // Then the whole picture goes, and with it every action and slot.
    doc.history.resetForNewPicture(24, 24);
    doc.history.startAutosave = nullptr;
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        std::string error;
        ASSERT_TRUE(writeAutosave(jobs[i], &error)) << error;
        EXPECT_TRUE(bytesOf(jobs[i].path) == expected[i]) << "job " << i;
    }
}

TEST(ActionRecordCacheTest, OnlyTheChangedTailIsEncodedAgain) {
    MultiLayeredImage layers;
    Canvas canvas(4, 4);
    std::vector<std::unique_ptr<HistoryAction>> list;
    for (int i = 0; i < 12; ++i) list.push_back(std::make_unique<LayerOpacityChangeAction>(canvas, layers, i));
    auto bytesOfAll = [&](std::size_t n) {
        io::BinaryWriter out;
        for (std::size_t i = 0; i < n; ++i) {
            out.i32(list[i]->type());
            list[i]->write(out);
        }
        return out.take();
    };
    auto joined = [](const ActionRecordCache& c) {
        std::vector<uint8_t> all;
        for (const auto& p : c.pieces()) all.insert(all.end(), p->begin(), p->end());
        return all;
    };
    ActionRecordCache cache;
    cache.update(list, 5, 0);
    EXPECT_EQ(cache.lastEncoded(), 5u);
    const auto held = cache.pieces(); // a writer still holds these
    const std::vector<uint8_t> heldBytes = joined(cache);
    cache.update(list, 9, 5);
    EXPECT_EQ(cache.lastEncoded(), 4u);
    EXPECT_EQ(joined(cache), bytesOfAll(9));
    // Actions from index 3 were replaced: encoded again from there.
    list[3] = std::make_unique<LayerOpacityChangeAction>(canvas, layers, 77);
    list[4] = std::make_unique<LayerOpacityChangeAction>(canvas, layers, 78);
    cache.update(list, 10, 3);
    EXPECT_EQ(cache.lastEncoded(), 7u);
    EXPECT_EQ(cache.count(), 10u);
    EXPECT_EQ(joined(cache), bytesOfAll(10));
    // What the writer held did not change under it.
    std::vector<uint8_t> still;
    for (const auto& p : held) still.insert(still.end(), p->begin(), p->end());
    EXPECT_EQ(still, heldBytes);
}

TEST(HistoryPrefix, ShrinksWithUndoAndReplacementAndClear) {
    MultiLayeredImage layers;
    Canvas canvas(4, 4);
    History history(nullptr, layers);
    EXPECT_EQ(history.takeUnchangedPrefix(), 0u);
    for (int i = 0; i < 6; ++i) history.add(std::make_unique<LayerOpacityChangeAction>(canvas, layers, i), false);
    EXPECT_EQ(history.takeUnchangedPrefix(), 0u); // all six are new
    EXPECT_EQ(history.takeUnchangedPrefix(), 6u);
    ASSERT_TRUE(history.undo());
    ASSERT_TRUE(history.undo());
    history.add(std::make_unique<LayerOpacityChangeAction>(canvas, layers, 9), false);
    EXPECT_EQ(history.takeUnchangedPrefix(), 4u);
    history.addOrReplaceLast(std::make_unique<LayerOpacityChangeAction>(canvas, layers, 10));
    EXPECT_EQ(history.takeUnchangedPrefix(), 4u);
    history.clear();
    history.add(std::make_unique<LayerOpacityChangeAction>(canvas, layers, 1), false);
    EXPECT_EQ(history.takeUnchangedPrefix(), 0u);
}

TEST(SavingThreadTest, SavesQueueAndReportInOrderFromAnyThread) {
    char tmpl[] = "/tmp/kw_saving_threads_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    const fs::path dir = tmpl;
    SavingThread thread;
    const int32_t w = 256, h = 128;
    for (int n = 0; n < 4; ++n) {
        std::vector<uint8_t> px(static_cast<std::size_t>(w) * h * 4, static_cast<uint8_t>(40 * n));
        for (std::size_t i = 3; i < px.size(); i += 4) px[i] = 255;
        thread.start((dir / ("s" + std::to_string(n) + ".png")).string(), std::move(px), w, h);
    }
    thread.start((dir / "missing" / "x.png").string(), std::vector<uint8_t>(4 * 4 * 4, 0), 4, 4);
    thread.wait();
    const std::vector<SavingThread::Result> results = thread.takeResults();
    ASSERT_EQ(results.size(), 5u);
    for (int n = 0; n < 4; ++n) {
        EXPECT_EQ(results[n].path, (dir / ("s" + std::to_string(n) + ".png")).string());
        EXPECT_TRUE(results[n].ok);
        const DecodedImage image = decodeImage(results[n].path, DecodeLimits{});
        ASSERT_TRUE(image.ok());
        EXPECT_EQ(image.pixels[0], 40 * n);
    }
    EXPECT_FALSE(results[4].ok);
    EXPECT_TRUE(thread.takeResults().empty());
    fs::remove_all(dir);
}

TEST(AtomicWrite, KillDuringTheWriteLeavesTheOlderFileWhole) {
    char tmpl[] = "/tmp/kw_atomic_kill_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    const fs::path dir = tmpl;
    const std::string target = (dir / "KW_AUTOSAVE.dpf").string();
    // The older autosave: a small process that loads.
    LayeredPicture picture;
    picture.width = 3;
    picture.height = 2;
    picture.layers.push_back({true, 100, 0, std::vector<uint8_t>(3 * 2 * 4, 9)});
    ProcessSaveInput input;
    input.layers = &picture;
    input.initialWidth = 3;
    input.initialHeight = 2;
    ASSERT_TRUE(DrawingProcess::save(target, input));
    const std::vector<uint8_t> older = bytesOf(target);

    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        // A writer that never finishes: killed half-way, after its first block.
        close(ready[0]);
        io::AtomicFileSink sink;
        if (!sink.open(target)) _exit(1);
        std::vector<uint8_t> block(1 << 16, 0xAB);
        for (bool told = false;; told = true) {
            sink.write(block.data(), block.size());
            if (!told && write(ready[1], "w", 1) != 1) _exit(1);
            usleep(20000);
        }
    }
    ASSERT_GT(child, 0);
    close(ready[1]);
    char signal = 0;
    const bool started = read(ready[0], &signal, 1) == 1;
    close(ready[0]);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    ASSERT_TRUE(started) << "the writer did not start";
    EXPECT_EQ(bytesOf(target), older);
    processtest::Parsed parsed(bytesOf(target));
    EXPECT_EQ(parsed.result, LoadResult::Loaded) << parsed.reason;
    fs::remove_all(dir);
}

// The main thread takes results while the thread still writes, as the tick does.
TEST(SavingThreadTest, ResultsAreTakenWhileSavesRun) {
    char tmpl[] = "/tmp/kw_saving_poll_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    const fs::path dir = tmpl;
    SavingThread thread;
    std::vector<SavingThread::Result> all;
    for (int n = 0; n < 3; ++n) {
        std::vector<uint8_t> px(static_cast<std::size_t>(128) * 128 * 4, 200);
        thread.start((dir / ("p" + std::to_string(n) + ".png")).string(), std::move(px), 128, 128);
        for (int i = 0; i < 5; ++i) {
            for (auto& r : thread.takeResults()) all.push_back(r);
            usleep(1000);
        }
    }
    for (int i = 0; i < 5000 && all.size() < 3; ++i) {
        for (auto& r : thread.takeResults()) all.push_back(r);
        usleep(1000);
    }
    thread.wait();
    ASSERT_EQ(all.size(), 3u);
    for (int n = 0; n < 3; ++n) {
        EXPECT_EQ(all[n].path, (dir / ("p" + std::to_string(n) + ".png")).string());
        EXPECT_TRUE(all[n].ok);
    }
    fs::remove_all(dir);
}
