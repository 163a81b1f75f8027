// Damaged, truncated and hostile process and layered files: each gives its
// result code quickly, allocates nothing absurd, and a failed load leaves the
// open picture and its history exactly as they were.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

#include "brush/BrushTips.h"
#include "canvas/GlInfo.h"
#include "canvas/GlPixels.h"
#include "history/BrushStrokeAction.h"
#include "history/CanvasFillAction.h"
#include "history/History.h"
#include "history/LayerListAction.h"
#include "io/BinaryStream.h"
#include "io/LayeredFile.h"
#include "support/GlTestContext.h"
#include "support/TestFiles.h"
#include "test_process_support.h"

using processtest::Bytes;
using processtest::Parsed;

namespace {

// A small valid process of the current form: one fill, one stroke, one layer.
std::vector<uint8_t> smallProcess() {
    Bytes b = processtest::header("3.6", 2, 2, 4, 22, 4);
    b.i32(2).i32(2).i32(0).i32(2);
    b.i32(2).f32(0.5f).f32(0.5f).f32(0.5f);
    b.i32(16);
    processtest::brushRecord(b, 22, 3);
    b.f32(0).f32(0).f32(0).i32(1);
    b.f32(1).f32(1).f32(1).f32(1).f32(0).u8(0);
    b.i32(1).u8(1).i32(100).i32(0).i32(0).fill(16, 9);
    return b.b;
}

std::vector<uint8_t> smallLayered() {
    Bytes b = processtest::header("3.6", 2, 1, 4, 22, 4);
    b.i32(2).u8(1).i32(50).i32(0).u8(0).i32(100).i32(1).i32(1).fill(16, 4);
    return b.b;
}

LoadResult parseLayered(const std::vector<uint8_t>& bytes) {
    LayeredFileContent content;
    std::string reason;
    const LoadResult r = parseLayeredFile(bytes, content, reason);
    if (r == LoadResult::Failed) {
        EXPECT_FALSE(reason.empty());
    }
    return r;
}

struct Timer {
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
};

} // namespace

TEST(ProcessHostile, EveryTruncationFails) {
    const std::vector<uint8_t> whole = smallProcess();
    ASSERT_EQ(Parsed(whole).result, LoadResult::Loaded) << Parsed(whole).reason;
    for (std::size_t n = 0; n < whole.size(); ++n) {
        Parsed p(std::vector<uint8_t>(whole.begin(), whole.begin() + static_cast<long>(n)));
        EXPECT_EQ(p.result, LoadResult::Failed) << "cut at " << n;
        EXPECT_FALSE(p.reason.empty()) << "cut at " << n;
        EXPECT_TRUE(p.content.actions.empty());
    }
    const std::vector<uint8_t> layered = smallLayered();
    ASSERT_EQ(parseLayered(layered), LoadResult::Loaded);
    for (std::size_t n = 0; n < layered.size(); ++n)
        EXPECT_EQ(parseLayered(std::vector<uint8_t>(layered.begin(), layered.begin() + static_cast<long>(n))),
                  LoadResult::Failed)
            << "cut at " << n;
}

TEST(ProcessHostile, AbsurdCountsAndSizesFailQuickly) {
    Timer timer;
    auto body = [](int32_t w, int32_t h) { return processtest::header("3.6", w, h, 4, 22, 4); };
    std::vector<std::pair<const char*, std::vector<uint8_t>>> cases;
    cases.push_back({"action count", body(1, 1).i32(1).i32(1).i32(0).i32(0x7fffffff).b});
    cases.push_back({"negative action count", body(1, 1).i32(1).i32(1).i32(0).i32(-5).b});
    cases.push_back({"tip count", body(1, 1).i32(1).i32(1).i32(0x40000000).b});
    cases.push_back({"tip name", body(1, 1).i32(1).i32(1).i32(1).i32(1).i32(0x7fffff00).i32(1).i32(1).b});
    cases.push_back({"tip size", body(1, 1).i32(1).i32(1).i32(1).i32(1).i32(1).text("x").i32(100000).i32(100000).b});
    cases.push_back({"negative tip size", body(1, 1).i32(1).i32(1).i32(1).i32(1).i32(0).i32(-4).i32(4).b});
    cases.push_back({"negative width", body(-1, 10).i32(1).i32(1).i32(0).i32(0).b});
    cases.push_back({"huge size", body(1 << 30, 1 << 30).i32(1).i32(1).i32(0).i32(0).b});
    cases.push_back({"zero initial size", body(1, 1).i32(0).i32(0).i32(0).i32(0).b});
    cases.push_back({"negative header size", [] {
                         Bytes b = processtest::header("3.6", 1, 1, 4, 22, 4);
                         b.b[8] = 0xff, b.b[9] = 0xff, b.b[10] = 0xff, b.b[11] = 0xff;
                         return b.b;
                     }()});
    cases.push_back({"header size past the end", processtest::header("3.6", 1, 1, 4, 22, 4, 40).b});
    cases.back().second[8] = 200;
    Bytes points = body(1, 1).i32(1).i32(1).i32(0).i32(1).i32(16);
    processtest::brushRecord(points, 22);
    points.f32(0).f32(0).f32(0).i32(0x10000000);
    cases.push_back({"point count", points.b});
    cases.push_back({"selection count", body(1, 1).i32(1).i32(1).i32(0).i32(1).i32(6).i32(0x20000000).b});
    cases.push_back({"gradient count",
                     body(1, 1).i32(1).i32(1).i32(0).i32(1).i32(20).f32(0).f32(0).f32(0).f32(0).i32(-1).b});
    cases.push_back({"paste size", body(1, 1).i32(1).i32(1).i32(0).i32(1).i32(18).i32(65536).i32(65536).i32(4)
                                       .f32(0).f32(0).f32(0).f32(0).f32(0).b});
    cases.push_back({"paste bytes per pixel",
                     body(1, 1).i32(1).i32(1).i32(0).i32(1).i32(18).i32(1).i32(1).i32(-7).f32(0).f32(0).f32(0)
                         .f32(0).f32(0).fill(4, 0).b});
    cases.push_back({"image load past the end", body(1, 1).i32(8000).i32(8000).i32(0).i32(1).i32(13).fill(64, 1).b});
    cases.push_back({"layered action size", body(1, 1).i32(1).i32(1).i32(0).i32(1).i32(17).i32(-3).i32(2).b});
    cases.push_back({"layer count", body(1, 1).i32(1).i32(1).i32(0).i32(0).i32(0x7ffffff0).b});
    cases.push_back({"no layers", body(1, 1).i32(1).i32(1).i32(0).i32(0).i32(0).i32(0).b});
    cases.push_back({"current layer", body(1, 1).i32(1).i32(1).i32(0).i32(0).i32(1).u8(1).i32(100).i32(0).i32(3)
                                          .fill(4, 0).b});
    cases.push_back({"negative type", body(1, 1).i32(1).i32(1).i32(0).i32(1).i32(-2).b});
    cases.push_back({"negative format index", processtest::header("3.6", 1, 1, 4, -1, 9).b});
    for (const auto& [name, bytes] : cases) {
        Parsed p(bytes);
        EXPECT_EQ(p.result, LoadResult::Failed) << name;
        EXPECT_FALSE(p.reason.empty()) << name;
    }
    // Garbage without the magic reads as the old form and fails on its counts.
    std::vector<uint8_t> garbage(1 << 20);
    for (std::size_t i = 0; i < garbage.size(); ++i) garbage[i] = static_cast<uint8_t>(i * 2654435761u >> 13);
    EXPECT_EQ(Parsed(garbage).result, LoadResult::Failed);
    EXPECT_LT(timer.seconds(), 3.0);
}

TEST(ProcessHostile, LayeredFileCodes) {
    std::vector<uint8_t> wrongMagic = smallLayered();
    wrongMagic[5] = 'X';
    EXPECT_EQ(parseLayered(wrongMagic), LoadResult::Failed);
    EXPECT_EQ(parseLayered(processtest::header("3.6", 2, 1, 5, 22, 4).b), LoadResult::TooNew);
    EXPECT_EQ(parseLayered(processtest::header("3.6", -2, 1, 4, 22, 4).i32(1).b), LoadResult::Failed);
    EXPECT_EQ(parseLayered(processtest::header("3.6", 2, 1, 4, 22, 4).i32(0x7fffffff).b), LoadResult::Failed);
    EXPECT_EQ(parseLayered({}), LoadResult::Failed);
}

// ---- on GL: a failed load changes nothing ------------------------------------

namespace {

class FailedLoads : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        ASSERT_TRUE(history.reinitialize(16, 12));
        history.runQueuedActions();
        setDabSink(&canvas);
        perform(std::make_unique<NewLayerAction>(canvas, layers));
        Brush brush;
        brush.size = 4;
        auto stroke = std::make_unique<BrushStrokeAction>(brush, brush::Rgb{1, 0, 0});
        for (int i = 0; i < 5; ++i)
            stroke->appendPoint(std::make_unique<BrushStrokePoint>(math::Vec2{2.0f + i * 2, 6.0f}, 1.0f, 1.0f,
                                                                   false, 0.0f));
        perform(std::move(stroke));
    }
    void TearDown() override {
        canvas.freeSurfaces();
        setDabSink(nullptr);
        GlTest::TearDown();
    }
    void perform(std::unique_ptr<HistoryAction> action) {
        HistoryAction* raw = action.get();
        history.add(std::move(action), false);
        raw->execute();
    }
    // Every pixel of every layer, the layer flags and the history's bytes.
    std::string state() {
        LayeredPicture picture = captureLayers(canvas, layers);
        io::BinaryWriter w;
        writeLayeredBody(w, picture);
        w.i32(canvas.width);
        w.i32(canvas.height);
        w.i32(history.initialWidth);
        w.i32(history.stepsSinceSnapshot);
        w.i32(history.undoDepth);
        w.i32(layers.modificationCount);
        for (const auto& a : history.actions()) {
            w.i32(a->type());
            a->write(w);
        }
        return std::string(w.bytes().begin(), w.bytes().end());
    }
    std::string file(const std::string& name, const std::vector<uint8_t>& bytes) {
        const std::string path = (dir / name).string();
        testfiles::writeFile(path, bytes);
        return path;
    }

    Canvas canvas{16, 12};
    MultiLayeredImage layers;
    History history{&canvas, layers};
    BrushTipTable tips;
    testfiles::TempFolder folder{"kw_hostile"};
    const std::filesystem::path& dir = folder.path();
};

} // namespace

TEST_F(FailedLoads, LeaveThePictureAndHistoryByteIdentical) {
    const std::string before = state();
    const std::size_t tipCount = tips.size();
    DocumentTarget doc{canvas, layers, history, nullptr, nullptr};
    DrawingProcess::LoadOptions options;
    options.tips = &tips;
    int32_t version[3] = {};

    const std::vector<uint8_t> good = smallProcess();
    for (std::size_t cut : {std::size_t{0}, std::size_t{30}, std::size_t{47}, good.size() - 1}) {
        const std::string path = file("cut.dpf", std::vector<uint8_t>(good.begin(), good.begin() + static_cast<long>(cut)));
        EXPECT_EQ(DrawingProcess::load(path, doc, options, version), LoadResult::Failed) << cut;
        EXPECT_EQ(state(), before) << cut;
    }
    Bytes newer = processtest::header("3.7", 4, 4, 4, 30, 1);
    EXPECT_EQ(DrawingProcess::load(file("new.dpf", newer.b), doc, options, version), LoadResult::TooNew);
    EXPECT_EQ(version[0], 3);
    EXPECT_EQ(version[1], 7);
    EXPECT_EQ(version[2], 1);
    EXPECT_EQ(DrawingProcess::load((dir / "missing.dpf").string(), doc, options, version), LoadResult::Failed);
    EXPECT_EQ(state(), before);

    std::vector<uint8_t> layered = smallLayered();
    layered.pop_back();
    EXPECT_EQ(loadLayeredImage(file("cut.kwf", layered), doc, version), LoadResult::Failed);
    EXPECT_EQ(loadLayeredImage(file("new.kwf", processtest::header("3.6", 2, 1, 9, 22, 4).b), doc, version),
              LoadResult::TooNew);
    EXPECT_EQ(state(), before);
    EXPECT_EQ(tips.size(), tipCount);
    EXPECT_EQ(history.actionCount(), 3u);
}

TEST_F(FailedLoads, SizeAboveTheCardLimitIsRefused) {
    const std::string before = state();
    FramebufferCapability small{true, true, 8}; // sides up to 4
    DocumentTarget doc{canvas, layers, history, &small, nullptr};
    int32_t version[3] = {};
    EXPECT_EQ(DrawingProcess::load(file("big.dpf", smallProcess()), doc, {}, version), LoadResult::Loaded);
    Bytes big = processtest::header("3.6", 5, 1, 4, 22, 4);
    big.i32(5).i32(1).i32(0).i32(0).i32(1).u8(1).i32(100).i32(0).i32(0).fill(20, 0);
    EXPECT_EQ(DrawingProcess::load(file("big.dpf", big.b), doc, {}, version), LoadResult::Failed);
    Bytes bigLayered = processtest::header("3.6", 5, 1, 4, 22, 4);
    bigLayered.i32(1).u8(1).i32(100).i32(0).i32(0).fill(20, 0);
    EXPECT_EQ(loadLayeredImage(file("big.kwf", bigLayered.b), doc, version), LoadResult::Failed);
    EXPECT_NE(state(), before); // the first, small file did load
    EXPECT_EQ(canvas.width, 2);
}
