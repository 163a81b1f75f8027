// A drawing process that starts at one size and is resized and cropped on
// the way replays to the picture it was saved with: the replay starts from
// the initial size and every size change lands on the same pixels. The file
// goes through the program's own writer and reader.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "history/ReplayStepper.h"
#include "io/LayeredFile.h"
#include "support/GlTestContext.h"
#include "support/TestFiles.h"
#include "test_process_document.h"

namespace {
namespace fs = std::filesystem;

class CropReplay : public GlTest {
protected:
    void TearDown() override {
        setDabSink(nullptr);
        GlTest::TearDown();
    }

    // Saves with the program's writer, loads into a document of another size
    // and replays everything from the blank start.
    LayeredPicture saveLoadReplay(processtest::GlDocument& source, int32_t& startWidth, int32_t& startHeight) {
        const std::string path = (dir / "sized.dpf").string();
        source.canvas.saveCurrentLayer(source.layers);
        const LayeredPicture picture = captureLayers(source.canvas, source.layers);
        ProcessSaveInput input{&source.history.actions(), source.history.actionCount(), &picture,
                               source.history.initialWidth, source.history.initialHeight, &source.tips, {}, 0, 0};
        std::string error;
        EXPECT_TRUE(DrawingProcess::save(path, input, &error)) << error;

        processtest::GlDocument loaded(8, 8);
        setDabSink(&loaded.canvas);
        DocumentTarget target = loaded.target();
        int32_t version[3] = {};
        EXPECT_EQ(DrawingProcess::load(path, target, {}, version), LoadResult::Loaded);
        EXPECT_EQ(loaded.history.actionCount(), source.history.actionCount());
        // The file's last picture is on the canvas at its size ...
        EXPECT_EQ(loaded.canvas.width, source.canvas.width);
        // ... and the replay starts from the initial size.
        loaded.history.resetToBlank();
        startWidth = loaded.canvas.width;
        startHeight = loaded.canvas.height;
        replayAllFromBlank(loaded.history);
        loaded.canvas.saveCurrentLayer(loaded.layers);
        LayeredPicture replayed = captureLayers(loaded.canvas, loaded.layers);
        setDabSink(&source.canvas);
        return replayed;
    }

    testfiles::TempFolder folder{"kw_crop_replay"};
    const fs::path& dir = folder.path();
};

} // namespace

TEST_F(CropReplay, ResizedAndCroppedProcessReplaysToItsSavedPicture) {
    processtest::GlDocument doc(48, 36);
    setDabSink(&doc.canvas);
    Brush round;
    round.size = 7;
    doc.perform(processtest::stroke(round, {1, 0, 0}, 4, 5, 3, 2, 12));
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    doc.perform(processtest::stroke(round, {0, 0.5f, 1}, 40, 4, -2, 2.5f, 12));
    doc.perform(std::make_unique<LayerOpacityChangeAction>(doc.canvas, doc.layers, 60));
    auto resize = std::make_unique<ImageResizeAction>(doc.canvas, doc.layers);
    resize->width = 70;
    resize->height = 50;
    doc.perform(std::move(resize));
    doc.perform(processtest::stroke(round, {0, 1, 0}, 10, 40, 4, -1, 10));
    auto crop = std::make_unique<ImageCropAction>(doc.canvas, doc.layers);
    crop->centreX = 35;
    crop->centreY = 24;
    crop->width = 40;
    crop->height = 30;
    doc.perform(std::move(crop));
    auto turned = std::make_unique<ImageCropAction>(doc.canvas, doc.layers);
    turned->centreX = 19.5f;
    turned->centreY = 15.25f;
    turned->width = 34;
    turned->height = 26;
    turned->rotation = -27.5f;
    doc.perform(std::move(turned));
    doc.perform(std::make_unique<LayerChangeAction>(doc.canvas, doc.layers, 0));
    doc.perform(processtest::stroke(round, {1, 1, 0}, 2, 2, 3, 2, 8));
    ASSERT_EQ(doc.canvas.width, 34);
    ASSERT_EQ(doc.canvas.height, 26);
    ASSERT_EQ(doc.layers.count(), 2); // the grey start layer and one more
    doc.canvas.saveCurrentLayer(doc.layers);
    const LayeredPicture saved = captureLayers(doc.canvas, doc.layers);

    int32_t startW = 0, startH = 0;
    const LayeredPicture replayed = saveLoadReplay(doc, startW, startH);
    EXPECT_EQ(startW, 48);
    EXPECT_EQ(startH, 36);
    EXPECT_EQ(replayed.width, saved.width);
    EXPECT_EQ(replayed.height, saved.height);
    ASSERT_EQ(replayed.layers.size(), saved.layers.size());
    for (std::size_t i = 0; i < saved.layers.size(); ++i) {
        EXPECT_EQ(replayed.layers[i].visible, saved.layers[i].visible) << i;
        EXPECT_EQ(replayed.layers[i].opacity, saved.layers[i].opacity) << i;
        EXPECT_TRUE(replayed.layers[i].pixels == saved.layers[i].pixels) << "layer " << i;
    }
}

// The crop against an expectation from outside the program: the pixels of
// the kept rectangle are the loaded image's pixels at the rectangle's offset.
TEST_F(CropReplay, ReplayedCropKeepsTheSourcePixelsAtTheOffset) {
    constexpr int kW = 48, kH = 36;
    processtest::GlDocument doc(kW, kH);
    setDabSink(&doc.canvas);
    const std::vector<uint8_t> image = premultipliedPattern(kW, kH, 77);
    doc.perform(std::make_unique<ImageLoadAction>(doc.canvas, kW, kH, image));
    // Corners (6, 5) and (30, 25).
    auto crop = std::make_unique<ImageCropAction>(doc.canvas, doc.layers);
    crop->centreX = 18;
    crop->centreY = 15;
    crop->width = 24;
    crop->height = 20;
    doc.perform(std::move(crop));

    int32_t startW = 0, startH = 0;
    const LayeredPicture replayed = saveLoadReplay(doc, startW, startH);
    EXPECT_EQ(startW, kW);
    ASSERT_EQ(replayed.width, 24);
    ASSERT_EQ(replayed.height, 20);
    ASSERT_EQ(replayed.layers.size(), 1u);
    const std::vector<uint8_t>& px = replayed.layers[0].pixels;
    int bad = 0;
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 24; ++x)
            for (int c = 0; c < 4; ++c)
                if (px[(static_cast<std::size_t>(y) * 24 + x) * 4 + c] !=
                    image[(static_cast<std::size_t>(y + 5) * kW + (x + 6)) * 4 + c])
                    ++bad;
    EXPECT_EQ(bad, 0);
}
