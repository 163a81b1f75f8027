// Every action type written and read back: identical bytes, and the read
// list executed again gives the saved picture.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "history/ActionFactory.h"
#include "history/Replay.h"
#include "io/BinaryStream.h"
#include "support/GlTestContext.h"
#include "test_process_document.h"
#include "test_process_support.h"

namespace {

std::vector<uint8_t> bodyOf(const HistoryAction& action) {
    io::BinaryWriter w;
    action.write(w);
    return w.take();
}

class ActionRoundTrip : public GlTest {
protected:
    void TearDown() override {
        setDabSink(nullptr);
        GlTest::TearDown();
    }
};

} // namespace

TEST_F(ActionRoundTrip, EveryTypeWritesAndReadsTheSameBytes) {
    processtest::GlDocument doc(20, 14);
    setDabSink(&doc.canvas);
    processtest::performEveryActionType(doc);
    std::set<int> types;
    for (const auto& a : doc.history.actions()) types.insert(a->type());
    for (int code = 2; code <= 23; ++code) {
        if (code == 22) continue;
        EXPECT_TRUE(types.count(code)) << "no action of type " << code << " " << actionTypeName(code);
    }

    const std::vector<uint8_t> saved = doc.save();
    processtest::Parsed parsed(saved, ProcessParseOptions{nullptr, static_cast<int32_t>(doc.tips.folderCount()), nullptr});
    ASSERT_EQ(parsed.result, LoadResult::Loaded) << parsed.reason;
    ASSERT_EQ(parsed.content.actions.size(), doc.history.actionCount());
    for (std::size_t i = 0; i < parsed.content.actions.size(); ++i) {
        const HistoryAction& original = *doc.history.actions()[i];
        const HistoryAction& read = *parsed.content.actions[i];
        EXPECT_EQ(read.type(), original.type()) << i;
        EXPECT_EQ(bodyOf(read), bodyOf(original)) << "action " << i << " type " << original.type();
    }
    ASSERT_EQ(parsed.content.tips.size(), 1u);
    EXPECT_EQ(parsed.content.tips[0].name, "bar");
    EXPECT_EQ(parsed.content.tips[0].pixels, doc.tips.find(1)->pixels);

    // The whole file again from what was read.
    ProcessSaveInput again{&parsed.content.actions, parsed.content.actions.size(), &parsed.content.picture,
                           parsed.content.initialWidth, parsed.content.initialHeight, &doc.tips, {}, 0, 0};
    EXPECT_EQ(encodeProcess(again), saved);
}

TEST_F(ActionRoundTrip, LoadedAndReplayedListsGiveTheSavedPicture) {
    processtest::GlDocument doc(20, 14);
    setDabSink(&doc.canvas);
    processtest::performEveryActionType(doc);
    const std::vector<uint8_t> saved = doc.save();
    const LayeredPicture expected = captureLayers(doc.canvas, doc.layers);

    processtest::GlDocument loaded(3, 3);
    setDabSink(&loaded.canvas);
    ASSERT_EQ(loaded.load(saved), LoadResult::Loaded);
    EXPECT_EQ(loaded.history.actionCount(), doc.history.actionCount());
    EXPECT_EQ(loaded.history.undoDepth, 0);
    EXPECT_FALSE(loaded.history.undo()); // nothing to undo right after a load
    const LayeredPicture stored = captureLayers(loaded.canvas, loaded.layers);
    EXPECT_TRUE(stored == expected) << "the stored layers differ from the saved picture";

    replayProcess(loaded.history);
    const LayeredPicture replayed = captureLayers(loaded.canvas, loaded.layers);
    ASSERT_EQ(replayed.layers.size(), expected.layers.size());
    EXPECT_EQ(replayed.current, expected.current);
    for (std::size_t i = 0; i < expected.layers.size(); ++i) {
        EXPECT_EQ(replayed.layers[i].visible, expected.layers[i].visible) << i;
        EXPECT_EQ(replayed.layers[i].opacity, expected.layers[i].opacity) << i;
        EXPECT_TRUE(replayed.layers[i].pixels == expected.layers[i].pixels) << "layer " << i << " pixels";
    }
    // A saved file of the loaded process equals the first file.
    EXPECT_EQ(loaded.save(), saved);
}

TEST_F(ActionRoundTrip, ImageLoadActionPutsItsPixelsOnTheSurface) {
    processtest::GlDocument doc(5, 3);
    std::vector<uint8_t> pixels = premultipliedPattern(5, 3, 7);
    ImageLoadAction action(doc.canvas, 5, 3, pixels);
    EXPECT_TRUE(action.execute());
    EXPECT_EQ(readTexture(doc.canvas.currentLayerSurface().textureId, 5, 3), pixels);
    ImageLoadAction wrongSize(doc.canvas, 5, 3, std::vector<uint8_t>(8, 1));
    EXPECT_FALSE(wrongSize.execute());
}
