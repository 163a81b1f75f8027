// Process files that pass the reader's checks but ask a replay for absurd
// work: thousands of new layers, brushes of absurd size, spacing, opacity.
// Each ends with a bounded picture (the layer limit, clamped brush fields)
// or a refusal with a message, in the player's stepping, in an undo rebuild
// and in the batch replay of the real binary. Files are built byte by byte.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>

#include "history/BrushStrokeAction.h"
#include "history/History.h"
#include "history/LayerListAction.h"
#include "history/ReplayStepper.h"
#include "io/ProcessFormat.h"
#include "support/GlTestContext.h"
#include "support/TestFiles.h"
#include "test_process_document.h"
#include "test_process_support.h"

using processtest::Bytes;
using processtest::Parsed;

namespace {

namespace fs = std::filesystem;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

// Header, initial size, no tips, then the action count.
Bytes processStart(int32_t side, int32_t actions) {
    Bytes b = processtest::header("3.6", side, side, 4, 22, 4);
    b.i32(side).i32(side).i32(0).i32(actions);
    return b;
}

// One transparent layer of side x side.
void oneLayer(Bytes& b, int32_t side) {
    b.i32(1).u8(1).i32(100).i32(0).i32(0).fill(static_cast<std::size_t>(side) * side * 4, 0);
}

// A file of `count` new-layer records (4 bytes each: the type code alone).
std::vector<uint8_t> newLayerFlood(int32_t side, int32_t count) {
    Bytes b = processStart(side, count);
    for (int32_t i = 0; i < count; ++i) b.i32(NewLayerAction::kTypeCode);
    oneLayer(b, side);
    return b.b;
}

struct StoredBrush {
    int32_t size = 4;
    float opacity = 1.0f, hardness = 1.0f, spacing = 0.0625f;
};

// A stroke record of the current layout: brush, colour, points along x.
void strokeRecord(Bytes& b, const StoredBrush& brush, int32_t points, float sizeFactor = 1.0f, float x0 = 1.0f) {
    b.i32(16);
    b.i32(brush.size).u8(0).u8(1).i32(0).i32(1).f32(brush.opacity).f32(brush.hardness).i32(1);
    b.f32(brush.spacing).i32(0);
    b.f32(0.0f).f32(0.5f).f32(1.0f).i32(points);
    for (int32_t i = 0; i < points; ++i) b.f32(x0 + static_cast<float>(i)).f32(2.0f).f32(sizeFactor).f32(1).f32(0).u8(0);
}

std::vector<uint8_t> oneStroke(const StoredBrush& brush, int32_t points = 3, float sizeFactor = 1.0f,
                               float x0 = 1.0f) {
    Bytes b = processStart(16, 1);
    strokeRecord(b, brush, points, sizeFactor, x0);
    oneLayer(b, 16);
    return b.b;
}

const Brush& brushOf(const Parsed& p) {
    return static_cast<const BrushStrokeAction&>(*p.content.actions.at(0)).brush();
}

// The real binary's batch replay, without a display.
testfiles::RunResult renderReplay(const fs::path& dir, const std::vector<uint8_t>& bytes) {
    const fs::path in = dir / "hostile.dpf", out = dir / "out.png";
    testfiles::writeFile(in, bytes);
    return testfiles::runProgram("--render --replay " + in.string() + " " + out.string());
}

std::size_t occurrences(const std::string& text, const std::string& what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

class HostileReplay : public GlTest {
protected:
    void TearDown() override {
        setDabSink(nullptr);
        GlTest::TearDown();
    }
    std::string file(const std::vector<uint8_t>& bytes) {
        const std::string path = (dir / "in.dpf").string();
        testfiles::writeFile(path, bytes);
        return path;
    }
    testfiles::TempFolder folder{"kw_hostile_replay"};
    const fs::path& dir = folder.path();
};

} // namespace

// ---- read time: brush fields ----------------------------------------------------

TEST(HostileBrushRecord, AbsurdSizesAreClampedToTheProgramsLimits) {
    StoredBrush b;
    b.size = 0x7fffffff;
    Parsed huge(oneStroke(b));
    ASSERT_EQ(huge.result, LoadResult::Loaded) << huge.reason;
    EXPECT_EQ(brushOf(huge).size, 32768); // twice the largest canvas side
    b.size = -50;
    Parsed negative(oneStroke(b));
    ASSERT_EQ(negative.result, LoadResult::Loaded) << negative.reason;
    EXPECT_EQ(brushOf(negative).size, 1);
    b.size = 500;
    Parsed ordinary(oneStroke(b));
    EXPECT_EQ(brushOf(ordinary).size, 500);
}

TEST(HostileBrushRecord, OpacityHardnessAndSpacingBeyondTheirRangesAreClamped) {
    StoredBrush b;
    b.opacity = 1e30f;
    b.hardness = -7.0f;
    b.spacing = 1e-30f;
    Parsed low(oneStroke(b));
    ASSERT_EQ(low.result, LoadResult::Loaded) << low.reason;
    EXPECT_EQ(brushOf(low).opacity, 1.0f);
    EXPECT_EQ(brushOf(low).hardness, 0.0f);
    EXPECT_EQ(brushOf(low).spacing, 1.0f / 64.0f);
    b.opacity = -2.0f;
    b.hardness = 9.0f;
    b.spacing = 1e30f;
    Parsed high(oneStroke(b));
    ASSERT_EQ(high.result, LoadResult::Loaded) << high.reason;
    EXPECT_EQ(brushOf(high).opacity, 0.0f);
    EXPECT_EQ(brushOf(high).hardness, 1.0f);
    EXPECT_EQ(brushOf(high).spacing, 5.0f);
    b.spacing = -1.0f;
    EXPECT_EQ(brushOf(Parsed(oneStroke(b))).spacing, 1.0f / 64.0f);
    // In range: read as stored, to the bit.
    b = StoredBrush{};
    b.opacity = 0.3f;
    b.hardness = 0.7f;
    b.spacing = 0.11f;
    Parsed plain(oneStroke(b));
    EXPECT_EQ(brushOf(plain).opacity, 0.3f);
    EXPECT_EQ(brushOf(plain).hardness, 0.7f);
    EXPECT_EQ(brushOf(plain).spacing, 0.11f);
}

TEST(HostileBrushRecord, NotANumberRefusesTheFileWithItsName) {
    const std::pair<const char*, StoredBrush> cases[] = {
        {"opacity", {4, kNaN, 1.0f, 0.0625f}},
        {"hardness", {4, 1.0f, kInf, 0.0625f}},
        {"spacing", {4, 1.0f, 1.0f, -kInf}},
    };
    for (const auto& [name, brush] : cases) {
        Parsed p(oneStroke(brush));
        EXPECT_EQ(p.result, LoadResult::Failed) << name;
        EXPECT_NE(p.reason.find(std::string("brush ") + name + " is not a number"), std::string::npos) << p.reason;
        EXPECT_TRUE(p.content.actions.empty());
    }
}

TEST(HostileBrushRecord, StrokePointsNotANumberRefusedAndHugeFactorsClamped) {
    Parsed huge(oneStroke(StoredBrush{}, 3, 1e30f));
    ASSERT_EQ(huge.result, LoadResult::Loaded) << huge.reason;
    const auto& stroke = static_cast<const BrushStrokeAction&>(*huge.content.actions.at(0));
    EXPECT_EQ(stroke.point(0).sizeFactor, 4.0f);
    Parsed ordinary(oneStroke(StoredBrush{}, 3, 0.75f));
    EXPECT_EQ(static_cast<const BrushStrokeAction&>(*ordinary.content.actions.at(0)).point(2).sizeFactor, 0.75f);
    Parsed nan(oneStroke(StoredBrush{}, 3, 1.0f, kNaN));
    EXPECT_EQ(nan.result, LoadResult::Failed);
    EXPECT_NE(nan.reason.find("stroke point is not a number"), std::string::npos) << nan.reason;
}

TEST(HostileBrushRecord, OldStrokeRecordsCheckTheirPressure) {
    // Type 0: a brush record, then points of 4 ignored bytes, x, y, r, g, b, pressure.
    auto oldStroke = [](float pressure) {
        Bytes b = processStart(16, 1);
        b.i32(0).i32(4).u8(0).u8(1).i32(0).i32(1).f32(1).f32(1).i32(1).f32(0.0625f).i32(0);
        b.i32(2);
        for (int i = 0; i < 2; ++i) b.fill(4, 0).f32(2.0f + i).f32(3.0f).f32(1).f32(0).f32(0).f32(pressure);
        oneLayer(b, 16);
        return b.b;
    };
    Parsed huge(oldStroke(1e30f));
    ASSERT_EQ(huge.result, LoadResult::Loaded) << huge.reason;
    const auto& stroke = static_cast<const BrushStrokeAction&>(*huge.content.actions.at(0));
    EXPECT_EQ(stroke.point(1).flowFactor, 4.0f); // flow follows pressure in this brush
    Parsed plain(oldStroke(0.5f));
    EXPECT_EQ(static_cast<const BrushStrokeAction&>(*plain.content.actions.at(0)).point(1).flowFactor, 0.5f);
    Parsed nan(oldStroke(kNaN));
    EXPECT_EQ(nan.result, LoadResult::Failed);
    EXPECT_NE(nan.reason.find("stroke point is not a number"), std::string::npos) << nan.reason;
}

// ---- read time: layer counts ---------------------------------------------------

TEST(HostileLayers, ABodyAboveTheLayerLimitIsRefused) {
    auto body = [](int32_t count) {
        Bytes b = processStart(1, 0);
        b.i32(count);
        for (int32_t i = 0; i < count; ++i) b.u8(1).i32(100).i32(0);
        b.i32(0).fill(static_cast<std::size_t>(count) * 4, 0);
        return b.b;
    };
    EXPECT_EQ(kwformat::kMaxLayers, 100);
    Parsed limit(body(100));
    EXPECT_EQ(limit.result, LoadResult::Loaded) << limit.reason;
    EXPECT_EQ(limit.content.picture.layers.size(), 100u);
    Parsed above(body(101));
    EXPECT_EQ(above.result, LoadResult::Failed);
    EXPECT_NE(above.reason.find("101 layers, more than the 100"), std::string::npos) << above.reason;
}

// ---- replay: the player's stepping, an undo rebuild, the batch command -----------

TEST_F(HostileReplay, ThousandsOfNewLayerRecordsStopAtTheLayerLimit) {
    processtest::GlDocument doc(8, 8);
    setDabSink(&doc.canvas);
    DocumentTarget target = doc.target();
    int32_t version[3] = {};
    ASSERT_EQ(DrawingProcess::load(file(newLayerFlood(8, 5000)), target, {}, version), LoadResult::Loaded);
    ASSERT_EQ(doc.history.actionCount(), 5000u);
    // What the player does with 'p': every action from a blank canvas.
    EXPECT_EQ(replayAllFromBlank(doc.history), 5000);
    EXPECT_EQ(doc.layers.count(), kwformat::kMaxLayers);
    EXPECT_EQ(doc.layers.current, kwformat::kMaxLayers - 1);

    // New steps past the limit add nothing; an undo rebuild (snapshot plus the
    // steps after it) ends at the limit too.
    for (int i = 0; i < 40; ++i) doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    EXPECT_EQ(doc.layers.count(), kwformat::kMaxLayers);
    ASSERT_TRUE(doc.history.undo());
    doc.history.replayIfPending();
    EXPECT_EQ(doc.layers.count(), kwformat::kMaxLayers);
}

TEST_F(HostileReplay, BatchReplayOfANewLayerFloodEndsWithAMessage) {
    const testfiles::RunResult r = renderReplay(dir, newLayerFlood(8, 5000));
    EXPECT_EQ(r.exitCode, 0) << r.err.substr(0, 400);
    // The blank canvas has one layer: 99 records add one each, the rest are refused.
    EXPECT_EQ(occurrences(r.err, "New layer ignored: a picture holds at most 100 layers."), 5000u - 99u);
    EXPECT_TRUE(fs::exists(dir / "out.png"));
}

TEST_F(HostileReplay, AbsurdBrushSizeReplaysAsTheLargestBrush) {
    processtest::GlDocument doc(16, 16);
    setDabSink(&doc.canvas);
    DocumentTarget target = doc.target();
    int32_t version[3] = {};
    StoredBrush b;
    b.size = 0x7fffffff;
    ASSERT_EQ(DrawingProcess::load(file(oneStroke(b, 200, 1e30f)), target, {}, version), LoadResult::Loaded);
    EXPECT_EQ(replayAllFromBlank(doc.history), 1);
    doc.canvas.saveCurrentLayer(doc.layers);
    const LayeredPicture picture = captureLayers(doc.canvas, doc.layers);
    // Each dab covers the whole canvas: every pixel has the stroke's colour.
    for (std::size_t i = 0; i < picture.layers[0].pixels.size(); i += 4) {
        ASSERT_EQ(picture.layers[0].pixels[i + 0], 0) << i;
        ASSERT_EQ(picture.layers[0].pixels[i + 2], 255) << i;
        ASSERT_EQ(picture.layers[0].pixels[i + 3], 255) << i;
    }
    const testfiles::RunResult r = renderReplay(dir, oneStroke(b, 200, 1e30f));
    EXPECT_EQ(r.exitCode, 0) << r.err;
}

TEST_F(HostileReplay, BatchReplayOfABrushNotANumberIsRefused) {
    StoredBrush b;
    b.opacity = kNaN;
    const testfiles::RunResult r = renderReplay(dir, oneStroke(b));
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.err.find("brush opacity is not a number"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(dir / "out.png"));
}
