// The batch commands on the real binary, without a display: --info, and
// --render against --render --replay on processes the program saved.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <unistd.h>

#include "core/CommandLine.h"
#include "io/BinaryStream.h"
#include "io/ImageCodec.h"
#include "support/GlTestContext.h"
#include "support/TestFiles.h"
#include "test_process_document.h"
#include "test_process_support.h"
#include "TestPaths.h"

namespace {

using testfiles::fileBytes;
using testfiles::RunResult;
using testfiles::writeFile;

std::size_t lineCount(const std::string& s) { return static_cast<std::size_t>(std::count(s.begin(), s.end(), '\n')); }

class Batch : public GlTest {
protected:
    void TearDown() override {
        setDabSink(nullptr);
        GlTest::TearDown();
    }
    std::string file(const std::string& name) const { return folder.file(name); }
    testfiles::TempFolder folder{"kw_batch"};
    const std::filesystem::path& dir = folder.path();
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
        const RunResult info = testfiles::runProgram("--info " + file(name));
        EXPECT_EQ(info.exitCode, 0) << info.err;
        EXPECT_NE(info.out.find("format index: 22"), std::string::npos) << info.out;
        const RunResult a = testfiles::runProgram("--render " + file(name) + " " + file("a.png"));
        ASSERT_EQ(a.exitCode, 0) << name << ": " << a.err;
        const RunResult b = testfiles::runProgram("--render --replay " + file(name) + " " + file("b.png"));
        ASSERT_EQ(b.exitCode, 0) << name << ": " << b.err;
        const std::vector<uint8_t> pa = fileBytes(dir / "a.png"), pb = fileBytes(dir / "b.png");
        ASSERT_GT(pa.size(), 8u);
        EXPECT_EQ(pa, pb) << name << ": --render and --render --replay differ";
        // The rendered file decodes to a picture of the process's size.
        const DecodedImage image = decodeImage(file("a.png"), DecodeLimits{});
        ASSERT_TRUE(image.ok());
        processtest::Parsed parsed(bytes);
        EXPECT_EQ(image.width, parsed.content.header.width);
        EXPECT_EQ(image.height, parsed.content.header.height);
    }
    const RunResult every = testfiles::runProgram("--info " + file("every.dpf"));
    EXPECT_NE(every.out.find("type 16 BrushStrokeAction:"), std::string::npos) << every.out;
    EXPECT_NE(every.out.find("type 23 ImageCutAction: 1"), std::string::npos) << every.out;
    EXPECT_NE(every.out.find("tips: 1"), std::string::npos) << every.out;
}

// Selections confine strokes and fills and cuts remove pixels; the process
// replays from a blank canvas to the very pixels painted.
TEST_F(Batch, SelectionsAndCutsReplayToThePaintedPixels) {
    constexpr int kW = 120, kH = 90;
    processtest::GlDocument doc(kW, kH);
    setDabSink(&doc.canvas);
    Brush brush;
    brush.size = 12;
    brush.hardness = 0.6f;
    doc.perform(std::make_unique<CanvasFillAction>(doc.canvas, 0.5f, 0.5f, 0.5f));
    std::vector<math::Vec2> star;
    for (int i = 0; i < 10; ++i) {
        const float r = i % 2 ? 15.0f : 40.0f, a = 0.6283185f * i;
        star.push_back({70 + r * std::cos(a), 45 + r * std::sin(a)});
    }
    doc.perform(std::make_unique<EnableSelectionAction>(doc.canvas, star));
    doc.perform(processtest::stroke(brush, {1, 0, 0}, 5, 40, 9, 1, 13));
    doc.perform(std::make_unique<CanvasFillAction>(doc.canvas, 0.0f, 0.2f, 1.0f));
    // A stroke painted as the brush tool paints it, frame by frame.
    doc.canvas.brush = brush;
    doc.canvas.color[0] = 0.1f, doc.canvas.color[1] = 0.9f, doc.canvas.color[2] = 0.1f;
    doc.canvas.beginStroke(20, 20);
    for (int i = 1; i < 20; ++i) {
        doc.canvas.continueStroke(20.0f + i * 5, 20.0f + i * 3);
        if (i % 4 == 0) doc.canvas.strokeFrame(false);
    }
    doc.canvas.endStroke();
    doc.canvas.strokeFrame(false);
    doc.canvas.strokeFrame(false);
    // A diamond about (30, 45), cut out of the grey, and the selection dropped.
    doc.perform(std::make_unique<DisableSelectionAction>(doc.canvas));
    doc.perform(std::make_unique<EnableSelectionAction>(
        doc.canvas, std::vector<math::Vec2>{{30, 25}, {45, 45}, {30, 65}, {15, 45}}));
    doc.perform(std::make_unique<ImageCutAction>(doc.canvas));
    doc.perform(std::make_unique<DisableSelectionAction>(doc.canvas));
    doc.perform(processtest::stroke(brush, {0, 0, 0}, 100, 5, 0, 8, 10));
    writeFile(dir / "sel.dpf", doc.save());

    const RunResult a = testfiles::runProgram("--render " + file("sel.dpf") + " " + file("a.png"));
    ASSERT_EQ(a.exitCode, 0) << a.err;
    const RunResult b = testfiles::runProgram("--render --replay " + file("sel.dpf") + " " + file("b.png"));
    ASSERT_EQ(b.exitCode, 0) << b.err;
    EXPECT_TRUE(fileBytes(dir / "a.png") == fileBytes(dir / "b.png")) << "the replay differs from the painting";

    // What the picture holds, worked out without the program: the cut
    // diamond is empty, the star's centre took the blue fill, the corner far
    // from everything is the grey fill. All three lie on the canvas's middle
    // row or mirror-symmetric about it, so the row order does not matter.
    const DecodedImage image = decodeImage(file("b.png"), DecodeLimits{});
    ASSERT_TRUE(image.ok());
    ASSERT_EQ(image.width, kW);
    ASSERT_EQ(image.height, kH);
    ASSERT_EQ(image.channels, 4);
    auto pixel = [&](int x, int y) { return &image.pixels[(static_cast<std::size_t>(y) * kW + x) * 4]; };
    EXPECT_EQ(pixel(30, 45)[3], 0) << "the cut left pixels";
    const uint8_t* blue = pixel(75, 45);
    EXPECT_EQ(blue[0], 0);
    EXPECT_EQ(blue[1], 51);
    EXPECT_EQ(blue[2], 255);
    EXPECT_EQ(blue[3], 255);
    const uint8_t* grey = pixel(2, 45);
    EXPECT_EQ(grey[0], 128);
    EXPECT_EQ(grey[3], 255);
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
    RunResult r = testfiles::runProgram("--render " + file("pic.kwf") + " " + file("k.png"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    r = testfiles::runProgram("--render --replay " + file("pic.kwf") + " " + file("k2.png"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(fileBytes(dir / "k.png"), fileBytes(dir / "k2.png"));
    // The PNG renders back to the same PNG; a BMP has no alpha.
    r = testfiles::runProgram("--render " + file("k.png") + " " + file("k3.png"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(fileBytes(dir / "k.png"), fileBytes(dir / "k3.png"));
    r = testfiles::runProgram("--render " + file("pic.kwf") + " " + file("k.bmp"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::vector<uint8_t> bmp = fileBytes(dir / "k.bmp");
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
        const RunResult r = testfiles::runProgram(args);
        EXPECT_EQ(r.exitCode, 2) << args << "\n" << r.err;
        EXPECT_EQ(lineCount(r.err), 1u) << args << "\n" << r.err;
        EXPECT_NE(r.err.find(dir.string()), std::string::npos) << "the line names the file: " << r.err;
    }
    EXPECT_FALSE(std::filesystem::exists(dir / "x.png"));
    const RunResult newer = testfiles::runProgram("--info " + file("new.dpf"));
    EXPECT_NE(newer.err.find("3.7.2"), std::string::npos) << newer.err;
}
