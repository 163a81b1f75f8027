// The batch commands on the real binary, without a display: --info, and
// --render against --render --replay on processes the program saved.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "core/CommandLine.h"
#include "io/BinaryStream.h"
#include "io/ImageCodec.h"
#include "support/GlTestContext.h"
#include "test_process_document.h"
#include "test_process_support.h"

namespace {

struct RunResult {
    int exitCode = -1;
    std::string out, err;
};

std::string slurp(const std::string& path) {
    std::ifstream f(path);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

// Runs the program with DISPLAY unset, so nothing can reach a window.
RunResult runBinary(const std::string& args, const std::filesystem::path& dir) {
    const std::string out = (dir / "stdout.txt").string(), err = (dir / "stderr.txt").string();
    const std::string command = "env -u DISPLAY " + std::string(KW_BINARY) + " " + args + " >" + out + " 2>" + err;
    const int status = std::system(command.c_str());
    RunResult r;
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = slurp(out);
    r.err = slurp(err);
    return r;
}

std::vector<uint8_t> bytesOf(const std::filesystem::path& p) {
    std::vector<uint8_t> bytes;
    std::string reason;
    io::readWholeFile(p.string(), bytes, reason);
    return bytes;
}

void writeFile(const std::filesystem::path& p, const std::vector<uint8_t>& bytes) {
    std::ofstream(p, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                             static_cast<std::streamsize>(bytes.size()));
}

std::size_t lineCount(const std::string& s) { return static_cast<std::size_t>(std::count(s.begin(), s.end(), '\n')); }

class Batch : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        dir = std::filesystem::temp_directory_path() / ("kw_batch_" + std::to_string(::getpid()));
        std::filesystem::create_directories(dir);
    }
    void TearDown() override {
        std::filesystem::remove_all(dir);
        setDabSink(nullptr);
        GlTest::TearDown();
    }
    std::string file(const std::string& name) const { return (dir / name).string(); }
    std::filesystem::path dir;
};

} // namespace

TEST(BatchCommandLine, ParsesTheBatchModes) {
    const char* info[] = {"kw", "--info", "a.dpf"};
    CommandLine cl = parseCommandLine(3, info);
    EXPECT_EQ(cl.mode, CommandLine::Mode::Info);
    EXPECT_EQ(cl.file, "a.dpf");
    const char* render[] = {"kw", "--render", "--replay", "a.dpf", "b.png"};
    cl = parseCommandLine(5, render);
    EXPECT_EQ(cl.mode, CommandLine::Mode::Render);
    EXPECT_TRUE(cl.replay);
    EXPECT_EQ(cl.output, "b.png");
    const char* missing[] = {"kw", "--render", "a.dpf"};
    EXPECT_EQ(parseCommandLine(3, missing).mode, CommandLine::Mode::Error);
    const char* replayInfo[] = {"kw", "--info", "--replay", "a.dpf"};
    EXPECT_EQ(parseCommandLine(4, replayInfo).mode, CommandLine::Mode::Error);
}

TEST_F(Batch, RenderAndReplayGiveIdenticalPngs) {
    // Three processes of the program: every action type, strokes over layers
    // with hidden and faded ones, and a picture that began as a layered file.
    std::vector<std::pair<std::string, std::vector<uint8_t>>> processes;
    {
        processtest::GlDocument doc(24, 18);
        setDabSink(&doc.canvas);
        processtest::performEveryActionType(doc);
        processes.push_back({"every.dpf", doc.save()});
    }
    {
        processtest::GlDocument doc(30, 20);
        setDabSink(&doc.canvas);
        Brush brush;
        brush.size = 7;
        brush.opacity = 0.6f;
        for (int i = 0; i < 4; ++i) {
            doc.perform(processtest::stroke(brush, {0.2f * i, 0.5f, 1.0f - 0.2f * i}, 3.0f + i * 5, 2, 1, 1.2f, 10,
                                            i % 2 == 1));
            doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
            doc.perform(std::make_unique<LayerOpacityChangeAction>(doc.canvas, doc.layers, 100 - 15 * i));
        }
        doc.perform(std::make_unique<LayerChangeAction>(doc.canvas, doc.layers, 1));
        doc.perform(std::make_unique<LayerVisibilityToggleAction>(doc.canvas, doc.layers));
        doc.perform(std::make_unique<CanvasFlipAction>(doc.canvas, doc.layers));
        processes.push_back({"layers.dpf", doc.save()});
    }
    for (const auto& [name, bytes] : processes) {
        writeFile(dir / name, bytes);
        const RunResult info = runBinary("--info " + file(name), dir);
        EXPECT_EQ(info.exitCode, 0) << info.err;
        EXPECT_NE(info.out.find("format index: 22"), std::string::npos) << info.out;
        const RunResult a = runBinary("--render " + file(name) + " " + file("a.png"), dir);
        ASSERT_EQ(a.exitCode, 0) << name << ": " << a.err;
        const RunResult b = runBinary("--render --replay " + file(name) + " " + file("b.png"), dir);
        ASSERT_EQ(b.exitCode, 0) << name << ": " << b.err;
        const std::vector<uint8_t> pa = bytesOf(dir / "a.png"), pb = bytesOf(dir / "b.png");
        ASSERT_GT(pa.size(), 8u);
        EXPECT_EQ(pa, pb) << name << ": --render and --render --replay differ";
        // The rendered file decodes to a picture of the process's size.
        const DecodedImage image = decodeImage(file("a.png"), DecodeLimits{});
        ASSERT_TRUE(image.ok());
        processtest::Parsed parsed(bytes);
        EXPECT_EQ(image.width, parsed.content.header.width);
        EXPECT_EQ(image.height, parsed.content.header.height);
    }
    const RunResult every = runBinary("--info " + file("every.dpf"), dir);
    EXPECT_NE(every.out.find("type 16 BrushStrokeAction:"), std::string::npos) << every.out;
    EXPECT_NE(every.out.find("type 23 ImageCutAction: 1"), std::string::npos) << every.out;
    EXPECT_NE(every.out.find("tips: 1"), std::string::npos) << every.out;
}

TEST_F(Batch, LayeredFileAndImageRender) {
    processtest::GlDocument doc(8, 6);
    setDabSink(&doc.canvas);
    Brush brush;
    brush.size = 3;
    doc.perform(processtest::stroke(brush, {1, 0.5f, 0}, 1, 1, 1, 1, 5));
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    doc.perform(processtest::stroke(brush, {0, 0.5f, 1}, 7, 1, -1, 1, 5));
    doc.canvas.saveCurrentLayer(doc.layers);
    writeFile(dir / "pic.kwf", encodeLayeredFile(captureLayers(doc.canvas, doc.layers)));
    RunResult r = runBinary("--render " + file("pic.kwf") + " " + file("k.png"), dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    r = runBinary("--render --replay " + file("pic.kwf") + " " + file("k2.png"), dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(bytesOf(dir / "k.png"), bytesOf(dir / "k2.png"));
    // The PNG renders back to the same PNG; a BMP has no alpha.
    r = runBinary("--render " + file("k.png") + " " + file("k3.png"), dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(bytesOf(dir / "k.png"), bytesOf(dir / "k3.png"));
    r = runBinary("--render " + file("pic.kwf") + " " + file("k.bmp"), dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::vector<uint8_t> bmp = bytesOf(dir / "k.bmp");
    ASSERT_GT(bmp.size(), 2u);
    EXPECT_EQ(bmp[0], 'B');
    EXPECT_EQ(bmp[1], 'M');
}

TEST_F(Batch, BadInputExitsWithTwoAndOneLine) {
    processtest::Bytes truncated = processtest::header("3.6", 4, 4, 4, 22, 4);
    truncated.i32(4).i32(4).i32(0).i32(3);
    writeFile(dir / "cut.dpf", truncated.b);
    writeFile(dir / "new.dpf", processtest::header("3.7", 4, 4, 4, 30, 2).b);
    writeFile(dir / "junk.png", std::vector<uint8_t>(100, 7));
    writeFile(dir / "junk.kwf", std::vector<uint8_t>(100, 7));
    for (const std::string& args :
         {"--info " + file("cut.dpf"), "--render " + file("cut.dpf") + " " + file("x.png"),
          "--render --replay " + file("cut.dpf") + " " + file("x.png"), "--info " + file("new.dpf"),
          "--render " + file("new.dpf") + " " + file("x.png"), "--render " + file("junk.png") + " " + file("x.png"),
          "--render " + file("junk.kwf") + " " + file("x.png"), "--info " + file("missing.dpf")}) {
        const RunResult r = runBinary(args, dir);
        EXPECT_EQ(r.exitCode, 2) << args << "\n" << r.err;
        EXPECT_EQ(lineCount(r.err), 1u) << args << "\n" << r.err;
        EXPECT_NE(r.err.find(dir.string()), std::string::npos) << "the line names the file: " << r.err;
    }
    EXPECT_FALSE(std::filesystem::exists(dir / "x.png"));
    const RunResult newer = runBinary("--info " + file("new.dpf"), dir);
    EXPECT_NE(newer.err.find("3.7.2"), std::string::npos) << newer.err;
}
