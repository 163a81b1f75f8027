// The drawing-process header, the format tables and every older form of the
// body, from files built byte by byte.
#include <gtest/gtest.h>

#include <cmath>

#include "brush/BrushTips.h"
#include "history/BrushStrokeAction.h"
#include "history/CanvasFillAction.h"
#include "history/ImageActions.h"
#include "history/LayerListAction.h"
#include "io/BinaryStream.h"
#include "io/ProcessFormat.h"
#include "test_process_support.h"

using processtest::Bytes;
using processtest::Parsed;

namespace {

// A layered body of one w x h layer in the current form, all pixels `value`.
void currentBody(Bytes& b, int w, int h, uint8_t value) {
    b.i32(1).u8(1).i32(100).i32(0).i32(0).fill(static_cast<std::size_t>(w * h * 4), value);
}

} // namespace

TEST(ProcessFormat, VersionMapsToTheLastRowNotAbove) {
    EXPECT_EQ(kwformat::processIndexFor({3, 5, 4}), 19);
    EXPECT_EQ(kwformat::processIndexFor({3, 5, 2}), 19);
    EXPECT_EQ(kwformat::processIndexFor({3, 5, 1}), 18);
    EXPECT_EQ(kwformat::processIndexFor({0, 9, 0}), 0);
    EXPECT_EQ(kwformat::processIndexFor({3, 6, 4}), 22);
    EXPECT_EQ(kwformat::processIndexFor({9, 0, 0}), 22);
    EXPECT_EQ(kwformat::layerIndexFor({3, 3, 9}), 3);
    EXPECT_EQ(kwformat::layerIndexFor({1, 3, 9}), 0);
    EXPECT_EQ(kwformat::layerIndexFor({2, 6, 0}), 2);
    EXPECT_EQ(kwformat::processFormatTable().size(), 23u);
    EXPECT_EQ(kwformat::layerFormatTable().size(), 5u);
}

TEST(ProcessFormat, WrittenHeaderIsByteExact) {
    io::BinaryWriter w;
    kwformat::writeHeader(w, 640, 480);
    const std::vector<uint8_t> expected =
        processtest::header("3.6", 640, 480, 4, 22, 4).b;
    std::vector<uint8_t> want = expected;
    // The version field: "3.6", NUL, a blank, NUL.
    want[24] = ' ';
    EXPECT_EQ(w.bytes(), want);
}

TEST(ProcessFormat, FileWithoutMagicIsTheOldForm) {
    Bytes b;
    b.i32(0); // no actions
    Parsed p(b.b);
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    EXPECT_FALSE(p.content.header.hasMagic);
    EXPECT_EQ(p.content.header.width, 2048);
    EXPECT_EQ(p.content.header.height, 2048);
    EXPECT_EQ(p.content.header.processIndex, 0);
    EXPECT_EQ(p.content.initialWidth, 2048);
    EXPECT_TRUE(p.content.tips.empty());
    EXPECT_FALSE(p.content.hasLayers);
}

TEST(ProcessFormat, OldStrokesWithoutBrushUseTheDefaultBrush) {
    // Format 0: type 0 records of 28-byte points, no brush before them.
    Bytes b;
    b.i32(3);
    b.i32(0).i32(2);
    b.i32(0).f32(10).f32(20).f32(1).f32(0).f32(0).f32(0.5f);
    b.i32(0).f32(12).f32(20).f32(0).f32(1).f32(0).f32(0.25f);
    b.i32(0).i32(0);       // a stroke without points makes no action
    b.i32(4);              // a new layer
    Parsed p(b.b);
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    ASSERT_EQ(p.content.actions.size(), 2u);
    const auto* s = dynamic_cast<const BrushStrokeAction*>(p.content.actions[0].get());
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->pointCount(), 2u);
    EXPECT_FLOAT_EQ(s->color().r, 1.0f); // the colour of the first record
    EXPECT_FLOAT_EQ(s->point(1).x, 12.0f);
    // The default brush: flow follows pressure, size does not.
    EXPECT_FLOAT_EQ(s->point(0).flowFactor, 0.5f);
    EXPECT_FLOAT_EQ(s->point(0).sizeFactor, 1.0f);
    EXPECT_FLOAT_EQ(s->point(1).angle, 0.0f);
    // Not read from the file: the default brush keeps its default flags.
    EXPECT_EQ(s->brush().flags, Brush{}.flags);
    EXPECT_EQ(p.content.actions[1]->type(), NewLayerAction::kTypeCode);
}

TEST(ProcessFormat, Version12BrushChangeAndLayeredBodyOfIndexZero) {
    // "1.2": process index 1, layer index 0 (pixels alone, straight alpha).
    Bytes b = processtest::header("1.2", 2, 1, 77, 77, 77);
    b.i32(2);
    b.i32(1);
    processtest::brushRecord(b, 1, 9);
    b.i32(0).i32(1).i32(0).f32(1).f32(1).f32(0).f32(0).f32(1).f32(0.75f);
    b.u8(200).u8(100).u8(50).u8(128).u8(10).u8(20).u8(30).u8(255);
    Parsed p(b.b);
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    EXPECT_EQ(p.content.header.processIndex, 1);
    EXPECT_EQ(p.content.header.layerIndex, 0);
    EXPECT_EQ(p.content.header.version.patch, 0); // not read below 3.1
    ASSERT_EQ(p.content.actions.size(), 1u);
    const auto* s = dynamic_cast<const BrushStrokeAction*>(p.content.actions[0].get());
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->brush().size, 9); // the brush of the type 1 record
    EXPECT_EQ(s->brush().spacing, 0.0625f);
    ASSERT_TRUE(p.content.hasLayers);
    ASSERT_EQ(p.content.picture.layers.size(), 1u);
    const std::vector<uint8_t> premultiplied = {100, 50, 25, 128, 10, 20, 30, 255};
    EXPECT_EQ(p.content.picture.layers[0].pixels, premultiplied);
}

TEST(ProcessFormat, Version13StrokeRecordsCarryTheirBrush) {
    // Process index 2: each type 0 record starts with its brush.
    Bytes b = processtest::header("1.3", 1, 1, 0, 0, 0);
    b.i32(1).i32(0);
    processtest::brushRecord(b, 2, 11);
    b.i32(1).i32(0).f32(0).f32(0).f32(0).f32(0).f32(1).f32(1);
    b.fill(4, 9);
    Parsed p(b.b);
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    EXPECT_EQ(p.content.header.processIndex, 2);
    const auto* s = dynamic_cast<const BrushStrokeAction*>(p.content.actions.at(0).get());
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->brush().size, 11);
}

TEST(ProcessFormat, Version27HasInitialSizeAndFiveByteLayerRecords) {
    // "2.7": process index 5 (initial size, no tips), layer index 2.
    Bytes b = processtest::header("2.7", 1, 1, 0, 0, 0);
    b.i32(3).i32(2);  // initial size
    b.i32(1).i32(13); // one image load of the initial size
    b.fill(3 * 2 * 4, 7);
    b.i32(2).u8(1).i32(40).u8(0).i32(90).i32(1); // two layers, records of 5 bytes
    b.u8(255).u8(255).u8(255).u8(255);
    b.u8(100).u8(100).u8(100).u8(0);
    Parsed p(b.b);
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    EXPECT_EQ(p.content.header.processIndex, 5);
    EXPECT_EQ(p.content.header.layerIndex, 2);
    EXPECT_EQ(p.content.initialWidth, 3);
    EXPECT_EQ(p.content.initialHeight, 2);
    const auto* load = dynamic_cast<const ImageLoadAction*>(p.content.actions.at(0).get());
    ASSERT_NE(load, nullptr);
    EXPECT_EQ(load->pixels().size(), 24u);
    const LayeredPicture& pic = p.content.picture;
    ASSERT_EQ(pic.layers.size(), 2u);
    EXPECT_EQ(pic.current, 1);
    EXPECT_EQ(pic.layers[0].opacity, 40);
    EXPECT_FALSE(pic.layers[1].visible);
    EXPECT_EQ(pic.layers[1].blendMode, 0);
    // Straight alpha 0 premultiplies to nothing.
    EXPECT_EQ(pic.layers[1].pixels, (std::vector<uint8_t>{0, 0, 0, 0}));
}

TEST(ProcessFormat, Version31UsesStoredLayerIndexAndComputesProcessIndex) {
    // From 3.1 the layer index and patch come from the header; below 3.6.5 the
    // process index is computed from the release (3.1.6 -> 9), the stored one ignored.
    Bytes b = processtest::header("3.1", 1, 1, 3, 99, 6);
    b.i32(1).i32(1);
    b.i32(0); // no tips
    b.i32(1).i32(16);
    processtest::brushRecord(b, 9, 4);
    b.f32(0.5f).f32(0.5f).f32(0.5f).i32(2);
    // Points of index 9: x, y, one factor for both (raw pressure), no angle, no mirror byte.
    b.f32(1).f32(1).f32(0.5f);
    b.f32(2).f32(2).f32(0.5f);
    b.i32(1).u8(1).i32(100).i32(1).i32(0).fill(4, 0);
    Parsed p(b.b);
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    EXPECT_EQ(p.content.header.processIndex, 9);
    EXPECT_EQ(p.content.header.layerIndex, 3);
    EXPECT_EQ(p.content.header.version.patch, 6);
    const auto* s = dynamic_cast<const BrushStrokeAction*>(p.content.actions.at(0).get());
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->pointCount(), 2u);
    // No stored angle: the direction from the point before, in degrees.
    EXPECT_FLOAT_EQ(s->point(0).angle, 0.0f);
    EXPECT_NEAR(s->point(1).angle, 45.0f, 1e-4);
    // Raw pressure: only the flow follows it with the default flags.
    EXPECT_FLOAT_EQ(s->point(1).sizeFactor, 1.0f);
    EXPECT_FLOAT_EQ(s->point(1).flowFactor, 0.5f);
    EXPECT_EQ(p.content.picture.layers[0].blendMode, 1);
}

TEST(ProcessFormat, HeaderSizeSixtySkipsTheExtraBytes) {
    Bytes b = processtest::header("3.6", 1, 1, 4, 22, 4, 60);
    b.i32(1).i32(1).i32(0).i32(1).i32(2).f32(0.25f).f32(0.5f).f32(0.75f);
    currentBody(b, 1, 1, 3);
    Parsed p(b.b);
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    EXPECT_EQ(p.content.header.headerSize, 60);
    const auto* fill = dynamic_cast<const CanvasFillAction*>(p.content.actions.at(0).get());
    ASSERT_NE(fill, nullptr);
    EXPECT_FLOAT_EQ(fill->color()[2], 0.75f);
}

TEST(ProcessFormat, ShortHeaderSizeTakesOnlyTheSize) {
    // A header size of at most 27: width and height, indices 0, body at that offset.
    Bytes b;
    b.text("KWFILE").u8(0).u8(0).i32(20).i32(5).i32(6);
    b.i32(0); // at offset 20: no actions
    Parsed p(b.b);
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    EXPECT_EQ(p.content.header.width, 5);
    EXPECT_EQ(p.content.header.processIndex, 0);
    EXPECT_EQ(p.content.initialWidth, 5);
}

TEST(ProcessFormat, NewerReleaseIsRefusedWithItsVersion) {
    Bytes b = processtest::header("3.6", 10, 10, 4, 23, 9);
    b.i32(10).i32(10).i32(0).i32(0);
    Parsed p(b.b);
    EXPECT_EQ(p.result, LoadResult::TooNew);
    EXPECT_EQ(p.content.header.version, (kwformat::Version{3, 6, 9}));
    // The same release storing a known index loads.
    Bytes ok = processtest::header("3.6", 1, 1, 4, 22, 9);
    ok.i32(1).i32(1).i32(0).i32(0);
    currentBody(ok, 1, 1, 0);
    EXPECT_EQ(Parsed(ok.b).result, LoadResult::Loaded);
    // A layer index above the program's is newer too.
    Bytes layers = processtest::header("3.6", 1, 1, 5, 22, 9);
    EXPECT_EQ(Parsed(layers.b).result, LoadResult::TooNew);
}

TEST(ProcessFormat, Version354IsReadAsIndex19) {
    Bytes b = processtest::header("3.5", 1, 1, 4, 0, 4);
    b.i32(1).i32(1).i32(0).i32(0);
    currentBody(b, 1, 1, 0);
    Parsed p(b.b);
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    EXPECT_EQ(p.content.header.processIndex, 19);
}

TEST(ProcessFormat, PasteBelowIndex17StoresTheCorner) {
    // 3.3.0: process index 13 has bytes per pixel but no rotation.
    Bytes b = processtest::header("3.3", 4, 4, 3, 0, 0);
    b.i32(4).i32(4).i32(0);
    b.i32(1).i32(18).i32(1).i32(2).i32(3).f32(10).f32(20).f32(4).f32(6);
    b.fill(6, 1);
    b.i32(1).u8(1).i32(100).i32(0).i32(0).fill(64, 0);
    Parsed p(b.b);
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    const auto* paste = dynamic_cast<const ImagePasteAction*>(p.content.actions.at(0).get());
    ASSERT_NE(paste, nullptr);
    EXPECT_EQ(paste->bytesPerPixel, 3);
    EXPECT_FLOAT_EQ(paste->centreX, 12.0f);
    EXPECT_FLOAT_EQ(paste->centreY, 23.0f);
    EXPECT_FLOAT_EQ(paste->rotation, 0.0f);
    EXPECT_EQ(paste->pixels.size(), 6u);
}

TEST(ProcessFormat, UnknownCodesAreSkipped) {
    Bytes b = processtest::header("3.6", 1, 1, 4, 22, 4);
    b.i32(1).i32(1).i32(0);
    b.i32(3).i32(22).i32(99).i32(12);
    currentBody(b, 1, 1, 0);
    Parsed p(b.b);
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    ASSERT_EQ(p.content.actions.size(), 1u);
    EXPECT_EQ(p.content.actions[0]->type(), 12);
    EXPECT_EQ(p.content.recordCounts.at(99), 1);
}

TEST(ProcessFormat, ColourPointsComeBackUnmirrored) {
    Brush brush;
    brush.setFlag(kBrushFlagColorDynamics, true);
    BrushStrokeAction stroke(brush, {0.1f, 0.2f, 0.3f});
    stroke.appendPoint(std::make_unique<BrushStrokeColorPoint>(
        BrushStrokePoint({3, 4}, 1.0f, 1.0f, true, 30.0f), brush::Rgb{1, 0, 0}));
    io::BinaryWriter w;
    stroke.write(w);
    io::BinaryReader r(w.bytes());
    r.formatIndex = kwformat::kProcessFormatIndex;
    BrushStrokeAction back;
    ASSERT_TRUE(back.read(TipMap{}, r));
    ASSERT_EQ(back.pointCount(), 1u);
    EXPECT_TRUE(back.point(0).hasColor());
    EXPECT_FALSE(back.point(0).mirrored);
}

TEST(ProcessFormat, OnlyUsedTipsAreWritten) {
    BrushTipTable tips;
    tips.append(BrushTip{0, "no texture", 0, 0, 0, 1, 1, {}, false});
    tips.append(BrushTip{0, "alpha", 0, 2, 1, 1, 0.5f, std::vector<uint8_t>(8, 5), false});
    tips.append(BrushTip{0, "beta", 0, 1, 1, 1, 1, std::vector<uint8_t>(4, 6), false});
    Canvas canvas(1, 1);
    std::vector<std::unique_ptr<HistoryAction>> actions;
    actions.push_back(std::make_unique<CanvasFillAction>(canvas, 1, 1, 1));
    LayeredPicture picture{1, 1, 0, {LayerPixels{true, 100, 0, std::vector<uint8_t>(4, 0)}}};
    ProcessSaveInput input{&actions, actions.size(), &picture, 1, 1, &tips, {}, 0, 0};
    std::vector<uint8_t> none = encodeProcess(input);
    // Header, initial size, then a tip count of 0.
    EXPECT_EQ(std::vector<uint8_t>(none.begin() + 48, none.begin() + 52), (std::vector<uint8_t>{0, 0, 0, 0}));

    Brush textured;
    textured.tipIndex = 2;
    auto stroke = std::make_unique<BrushStrokeAction>(textured, brush::Rgb{0, 0, 0});
    stroke->appendPoint(std::make_unique<BrushStrokePoint>(math::Vec2{0, 0}, 1.0f, 1.0f, false, 0.0f));
    actions.push_back(std::move(stroke));
    input.actionCount = actions.size();
    const std::vector<uint8_t> one = encodeProcess(input);
    Parsed p(one, ProcessParseOptions{nullptr, 7, nullptr});
    ASSERT_EQ(p.result, LoadResult::Loaded) << p.reason;
    ASSERT_EQ(p.content.tips.size(), 1u);
    EXPECT_EQ(p.content.tips[0].name, "beta");
    EXPECT_EQ(p.content.tips[0].storedId, 2);
    // The stroke now names the table index its tip will get.
    const auto* s = dynamic_cast<const BrushStrokeAction*>(p.content.actions.at(1).get());
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->brush().tipIndex, 7);
}
