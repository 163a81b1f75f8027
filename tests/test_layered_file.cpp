// The layered picture file: multi-layer pictures with hidden layers,
// opacities and blend modes written and read back byte-exactly, older layer
// indices built byte by byte, and the history after a load.
#include <gtest/gtest.h>

#include <filesystem>

#include "io/BinaryStream.h"
#include "io/LayeredFile.h"
#include "support/GlTestContext.h"
#include "support/TestFiles.h"
#include "test_process_document.h"
#include "test_process_support.h"

using processtest::Bytes;
using testfiles::fileBytes;
using testfiles::writeFile;

namespace {

LayeredPicture twoLayersTenByTen() {
    LayeredPicture p{10, 10, 1, {}};
    p.layers.push_back(LayerPixels{true, 100, 0, std::vector<uint8_t>(400, 1)});
    p.layers.push_back(LayerPixels{false, 30, 1, std::vector<uint8_t>(400, 2)});
    return p;
}

class LayeredFileGl : public GlTest {
protected:
    void TearDown() override {
        setDabSink(nullptr);
        GlTest::TearDown();
    }
    std::string path(const std::string& name) const { return folder.file(name); }
    testfiles::TempFolder folder{"kw_layered"};
};

} // namespace

TEST(LayeredBody, TwoLayersOfTenByTenHaveTheToldSize) {
    io::BinaryWriter w;
    writeLayeredBody(w, twoLayersTenByTen());
    EXPECT_EQ(w.size(), 4u + 18u + 4u + 800u);
    const std::vector<uint8_t> file = encodeLayeredFile(twoLayersTenByTen());
    LayeredFileContent content;
    std::string reason;
    ASSERT_EQ(parseLayeredFile(file, content, reason), LoadResult::Loaded) << reason;
    EXPECT_TRUE(content.picture == twoLayersTenByTen());
    EXPECT_EQ(encodeLayeredFile(content.picture), file);
}

TEST(LayeredBody, LayerIndexOneWithCountThree) {
    Bytes b = processtest::header("1.4", 1, 1, 0, 0, 0);
    b.i32(3).u8(10).u8(20).u8(30).u8(255).fill(4, 0).u8(100).u8(0).u8(0).u8(128);
    LayeredFileContent content;
    std::string reason;
    ASSERT_EQ(parseLayeredFile(b.b, content, reason), LoadResult::Loaded) << reason;
    EXPECT_EQ(content.layerIndex, 1);
    ASSERT_EQ(content.picture.layers.size(), 3u);
    EXPECT_EQ(content.picture.current, 0);
    for (const LayerPixels& l : content.picture.layers) {
        EXPECT_TRUE(l.visible);
        EXPECT_EQ(l.opacity, 100);
        EXPECT_EQ(l.blendMode, 0);
    }
    EXPECT_EQ(content.picture.layers[2].pixels, (std::vector<uint8_t>{50, 0, 0, 128})); // premultiplied
}

TEST(LayeredBody, OlderLayerIndicesFromTheirReleases) {
    // Below 3.1 the layer index comes from the release, the stored one is ignored.
    Bytes v0 = processtest::header("1.2", 2, 1, 4, 22, 0);
    v0.u8(255).u8(255).u8(255).u8(51).u8(1).u8(2).u8(3).u8(255);
    Bytes v2 = processtest::header("2.6", 1, 1, 4, 22, 0);
    v2.i32(2).u8(0).i32(25).u8(1).i32(75).i32(1).u8(9).u8(9).u8(9).u8(255).u8(0).u8(0).u8(0).u8(0);
    Bytes v3 = processtest::header("3.3", 1, 1, 3, 0, 0);
    v3.i32(1).u8(0).i32(60).i32(1).i32(0).u8(200).u8(200).u8(200).u8(102);
    Bytes v4 = processtest::header("3.4", 1, 1, 4, 0, 5);
    v4.i32(1).u8(1).i32(100).i32(1).i32(0).u8(200).u8(200).u8(200).u8(102);
    LayeredFileContent c;
    std::string reason;
    ASSERT_EQ(parseLayeredFile(v0.b, c, reason), LoadResult::Loaded) << reason;
    EXPECT_EQ(c.layerIndex, 0);
    ASSERT_EQ(c.picture.layers.size(), 1u);
    EXPECT_EQ(c.picture.layers[0].pixels, (std::vector<uint8_t>{51, 51, 51, 51, 1, 2, 3, 255}));
    ASSERT_EQ(parseLayeredFile(v2.b, c, reason), LoadResult::Loaded) << reason;
    EXPECT_EQ(c.layerIndex, 2);
    EXPECT_FALSE(c.picture.layers[0].visible);
    EXPECT_EQ(c.picture.layers[1].opacity, 75);
    EXPECT_EQ(c.picture.current, 1);
    EXPECT_EQ(c.picture.layers[1].pixels, (std::vector<uint8_t>{0, 0, 0, 0}));
    ASSERT_EQ(parseLayeredFile(v3.b, c, reason), LoadResult::Loaded) << reason;
    EXPECT_EQ(c.layerIndex, 3);
    EXPECT_EQ(c.picture.layers[0].blendMode, 1);
    EXPECT_EQ(c.picture.layers[0].pixels, (std::vector<uint8_t>{80, 80, 80, 102}));
    ASSERT_EQ(parseLayeredFile(v4.b, c, reason), LoadResult::Loaded) << reason;
    EXPECT_EQ(c.layerIndex, 4);
    // Index 4 is stored premultiplied: taken as it is.
    EXPECT_EQ(c.picture.layers[0].pixels, (std::vector<uint8_t>{200, 200, 200, 102}));
}

TEST_F(LayeredFileGl, SaveAndLoadAreByteExact) {
    processtest::GlDocument doc(12, 9);
    setDabSink(&doc.canvas);
    Brush brush;
    brush.size = 4;
    doc.perform(processtest::stroke(brush, {1, 0, 0}, 2, 2, 1, 1, 6));
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    doc.perform(processtest::stroke(brush, {0, 0, 1}, 9, 2, -1, 1, 6));
    doc.perform(std::make_unique<LayerOpacityChangeAction>(doc.canvas, doc.layers, 45));
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    doc.perform(processtest::stroke(brush, {0, 1, 0}, 1, 7, 1, 0, 9));
    doc.perform(std::make_unique<LayerVisibilityToggleAction>(doc.canvas, doc.layers));
    doc.layers.at(1).blendMode = 1;
    doc.perform(std::make_unique<LayerChangeAction>(doc.canvas, doc.layers, 1));
    DocumentTarget target = doc.target();
    doc.layers.modificationCount = 5;
    ASSERT_TRUE(saveLayeredImage(path("a.kwf"), target));
    EXPECT_EQ(doc.layers.modificationCount, 0);
    const std::vector<uint8_t> saved = fileBytes(path("a.kwf"));
    const LayeredPicture expected = captureLayers(doc.canvas, doc.layers);
    EXPECT_EQ(saved, encodeLayeredFile(expected));
    ASSERT_EQ(expected.layers.size(), 3u);
    EXPECT_FALSE(expected.layers[2].visible);
    EXPECT_EQ(expected.layers[1].opacity, 45);
    EXPECT_EQ(expected.layers[1].blendMode, 1);

    processtest::GlDocument other(4, 4);
    setDabSink(&other.canvas);
    DocumentTarget otherTarget = other.target();
    ASSERT_TRUE(openLayeredImage(path("a.kwf"), otherTarget));
    EXPECT_EQ(other.canvas.width, 12);
    EXPECT_EQ(other.history.initialWidth, 12);
    EXPECT_TRUE(captureLayers(other.canvas, other.layers) == expected);
    // The load leaves one action, the layered picture, beyond undo's reach.
    ASSERT_EQ(other.history.actionCount(), 1u);
    EXPECT_EQ(other.history.actions()[0]->type(), MultiLayeredImageLoadAction::kTypeCode);
    EXPECT_FALSE(other.history.undo());
    EXPECT_EQ(other.layers.modificationCount, 0);
    ASSERT_TRUE(saveLayeredImage(path("b.kwf"), otherTarget));
    EXPECT_EQ(fileBytes(path("b.kwf")), saved);

    // Executing the recorded action from blank gives the picture again.
    other.history.resetToBlank();
    other.history.actions()[0]->execute();
    EXPECT_TRUE(captureLayers(other.canvas, other.layers) == expected);
}

TEST_F(LayeredFileGl, OlderFileLoadsOntoTheCanvas) {
    Bytes v2 = processtest::header("2.6", 2, 1, 0, 0, 0);
    v2.i32(2).u8(1).i32(100).u8(1).i32(50).i32(0);
    v2.u8(255).u8(0).u8(0).u8(255).u8(0).u8(0).u8(255).u8(128);
    v2.u8(0).u8(255).u8(0).u8(255).fill(4, 0);
    writeFile(path("old.kwf"), v2.b);
    processtest::GlDocument doc(3, 3);
    DocumentTarget target = doc.target();
    int32_t version[3] = {};
    ASSERT_EQ(loadLayeredImage(path("old.kwf"), target, version), LoadResult::Loaded);
    EXPECT_EQ(version[0], 2);
    EXPECT_EQ(version[1], 6);
    ASSERT_EQ(doc.layers.count(), 2);
    EXPECT_EQ(doc.layers.current, 0);
    EXPECT_EQ(doc.layers.at(1).opacity, 50);
    EXPECT_EQ(readTexture(doc.canvas.currentLayerSurface().textureId, 2, 1),
              (std::vector<uint8_t>{255, 0, 0, 255, 0, 0, 128, 128}));
}
