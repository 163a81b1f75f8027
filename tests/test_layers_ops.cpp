// Layer records and the layer operations: the list model without GL, the
// stored bodies of the layer actions, and the pixel work on the surfaces.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <vector>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "history/CanvasFillAction.h"
#include "history/LayerListAction.h"
#include "history/LayerPropertyAction.h"
#include "io/BinaryStream.h"
#include "io/Pixels.h"
#include "support/GlTestContext.h"

namespace {

std::vector<int> ids(const MultiLayeredImage& layers) {
    std::vector<int> out;
    for (const Layer& l : layers.layers) out.push_back(l.id);
    return out;
}

std::vector<uint8_t> bodyOf(const HistoryAction& action) {
    io::BinaryWriter out;
    action.write(out);
    return out.bytes();
}

} // namespace

TEST(LayerModel, ResetGivesDefaultLayersAndRestartsIds) {
    MultiLayeredImage layers;
    layers.appendLayer();
    layers.modificationCount = 5;
    layers.current = 1;
    layers.reset(3);
    EXPECT_EQ(ids(layers), std::vector<int>({0, 1, 2}));
    EXPECT_EQ(layers.current, 0);
    EXPECT_EQ(layers.nextId, 3);
    EXPECT_EQ(layers.modificationCount, 0);
    layers.reset(0);
    EXPECT_EQ(layers.count(), 1);
    const Layer& l = layers.at(0);
    EXPECT_TRUE(l.visible);
    EXPECT_EQ(l.opacity, 100);
    EXPECT_EQ(l.blendMode, 0);
    EXPECT_TRUE(l.changedSinceSnapshot);
    EXPECT_EQ(l.cachedPixels, nullptr);
}

TEST(LayerModel, MoveInsertsBeforeTheLayerThatStoodAtTheTarget) {
    struct Case { int from, to; std::vector<int> order; int current; };
    const std::vector<Case> cases = {
        {1, 4, {0, 2, 3, 1}, 3}, // on top: past the end
        {1, 3, {0, 2, 1, 3}, 2}, // above the old index: target - 1
        {2, 0, {2, 0, 1, 3}, 0}, // below: the target itself
        {2, 2, {0, 1, 2, 3}, 2}, // in place
        {2, 3, {0, 1, 2, 3}, 2}, // before the next one: also in place
        {0, 99, {1, 2, 3, 0}, 3}, // hostile positions are clamped
        {3, -5, {3, 0, 1, 2}, 0},
    };
    for (const Case& c : cases) {
        MultiLayeredImage layers;
        layers.reset(4);
        layers.current = c.from;
        layerops::moveCurrentLayer(layers, c.to);
        EXPECT_EQ(ids(layers), c.order) << c.from << " -> " << c.to;
        EXPECT_EQ(layers.current, c.current) << c.from << " -> " << c.to;
        EXPECT_EQ(layers.currentLayer().id, c.from); // the moved layer stays current
    }
}

TEST(LayerModel, MirrorRowsLeftToRight) {
    std::vector<uint8_t> px = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, // row 0: A B C
                               13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24};
    mirrorRows(px, 3, 2);
    EXPECT_EQ(px, std::vector<uint8_t>({9, 10, 11, 12, 5, 6, 7, 8, 1, 2, 3, 4, 21, 22, 23, 24, 17, 18, 19, 20, 13,
                                        14, 15, 16}));
}

TEST(LayerActionBodies, StoredFormsAreByteExact) {
    Canvas canvas(8, 8); // no surfaces: bodies need no GL
    MultiLayeredImage layers;
    EXPECT_EQ(bodyOf(LayerChangeAction(canvas, layers, 0x01020304)), std::vector<uint8_t>({4, 3, 2, 1}));
    EXPECT_EQ(bodyOf(LayerMoveAction(canvas, layers, -2)), std::vector<uint8_t>({0xFE, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(bodyOf(LayerOpacityChangeAction(canvas, layers, 55)), std::vector<uint8_t>({55, 0, 0, 0}));
    // 1.0f, 0.5f, 0.0f as little-endian IEEE singles.
    EXPECT_EQ(bodyOf(CanvasFillAction(canvas, 1.0f, 0.5f, 0.0f)),
              std::vector<uint8_t>({0, 0, 0x80, 0x3F, 0, 0, 0, 0x3F, 0, 0, 0, 0}));
    for (int type : {3, 4, 8, 10, 11, 12}) {
        auto action = makeCanvasLayerAction(type, canvas, layers);
        ASSERT_TRUE(action) << type;
        EXPECT_EQ(action->type(), type);
        EXPECT_TRUE(bodyOf(*action).empty()) << type;
        EXPECT_TRUE(action->countsAsStep());
        EXPECT_EQ(action->affectsAllLayers(), type == 3) << type;
    }
    EXPECT_FALSE(makeCanvasLayerAction(16, canvas, layers));
    EXPECT_FALSE(makeCanvasLayerAction(99, canvas, layers));
    // Reading back, and a body cut short leaves the stream failed.
    auto change = makeCanvasLayerAction(5, canvas, layers);
    const std::vector<uint8_t> body = {7, 0, 0, 0};
    io::BinaryReader in(body);
    change->read(in);
    EXPECT_FALSE(in.failed());
    EXPECT_EQ(static_cast<LayerChangeAction&>(*change).target(), 7);
    const std::vector<uint8_t> shortBody = {7, 0};
    io::BinaryReader cut(shortBody);
    makeCanvasLayerAction(14, canvas, layers)->read(cut);
    EXPECT_TRUE(cut.failed());
}

namespace {

class LayerOps : public GlTest {
protected:
    static constexpr int kW = 24, kH = 16;
    void SetUp() override {
        GlTest::SetUp();
        canvas.resize(kW, kH, layers);
        canvas.clearCurrentSurface(0, 0, 0, 0);
    }
    void TearDown() override {
        layers.reset(1);
        canvas.freeSurfaces();
        GlTest::TearDown();
    }
    // Writes a pattern into the current surface.
    void paint(uint32_t seed) {
        const std::vector<uint8_t> px = premultipliedPattern(kW, kH, seed);
        glBindTexture(GL_TEXTURE_2D, canvas.currentLayerSurface().textureId);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kW, kH, GL_RGBA, GL_UNSIGNED_BYTE, px.data());
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    std::vector<uint8_t> surface() { return readTexture(canvas.currentLayerSurface().textureId, kW, kH); }

    Canvas canvas{kW, kH};
    MultiLayeredImage layers;
};

} // namespace

TEST_F(LayerOps, ChangeBackAndForthKeepsBothLayers) {
    paint(1);
    const std::vector<uint8_t> bottom = surface();
    ASSERT_TRUE(NewLayerAction(canvas, layers).execute());
    EXPECT_EQ(layers.current, 1);
    EXPECT_EQ(surface(), std::vector<uint8_t>(kW * kH * 4, 0)); // a new layer is transparent
    paint(2);
    const std::vector<uint8_t> top = surface();
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(LayerChangeAction(canvas, layers, 0).execute());
        EXPECT_EQ(surface(), bottom);
        ASSERT_TRUE(LayerChangeAction(canvas, layers, 1).execute());
        EXPECT_EQ(surface(), top);
    }
    // A change to a layer that does not exist changes nothing.
    LayerChangeAction(canvas, layers, 5).execute();
    EXPECT_EQ(layers.current, 1);
    EXPECT_EQ(surface(), top);
}

TEST_F(LayerOps, MergeWithHiddenUpperKeepsTheLowerPicture) {
    paint(3);
    const std::vector<uint8_t> lower = surface();
    NewLayerAction(canvas, layers).execute();
    paint(4);
    LayerVisibilityToggleAction(canvas, layers).execute();
    ASSERT_FALSE(layers.currentLayer().visible);
    ASSERT_TRUE(LayerMergeDownAction(canvas, layers).execute());
    EXPECT_EQ(layers.count(), 1);
    EXPECT_EQ(layers.current, 0);
    EXPECT_TRUE(layers.currentLayer().visible);
    EXPECT_EQ(layers.currentLayer().opacity, 100);
    EXPECT_EQ(surface(), lower);
    // Nothing below the bottom layer: refused, nothing changed.
    EXPECT_FALSE(LayerMergeDownAction(canvas, layers).execute());
    EXPECT_EQ(surface(), lower);
}

TEST_F(LayerOps, MergeOverHiddenLowerGivesTheUpperAlone) {
    paint(5);
    LayerVisibilityToggleAction(canvas, layers).execute();
    NewLayerAction(canvas, layers).execute();
    paint(6);
    const std::vector<uint8_t> upper = surface();
    const int upperId = layers.currentLayer().id;
    ASSERT_TRUE(LayerMergeDownAction(canvas, layers).execute());
    EXPECT_EQ(layers.currentLayer().id, upperId);
    EXPECT_EQ(surface(), upper);
}

TEST_F(LayerOps, DeleteRefusesTheLastLayerAndLoadsTheOneBelow) {
    EXPECT_FALSE(DeleteLayerAction(canvas, layers).execute());
    paint(7);
    const std::vector<uint8_t> bottom = surface();
    NewLayerAction(canvas, layers).execute();
    NewLayerAction(canvas, layers).execute();
    paint(8);
    LayerChangeAction(canvas, layers, 1).execute();
    ASSERT_TRUE(DeleteLayerAction(canvas, layers).execute());
    EXPECT_EQ(ids(layers), std::vector<int>({0, 2}));
    EXPECT_EQ(layers.current, 0);
    EXPECT_EQ(surface(), bottom);
    // Deleting the bottom layer makes the one above it current.
    ASSERT_TRUE(DeleteLayerAction(canvas, layers).execute());
    EXPECT_EQ(ids(layers), std::vector<int>({2}));
    const std::vector<uint8_t> expected = premultipliedPattern(kW, kH, 8);
    EXPECT_EQ(surface(), expected);
    // Ids are never reused.
    NewLayerAction(canvas, layers).execute();
    EXPECT_EQ(layers.currentLayer().id, 3);
}

TEST_F(LayerOps, FlipMirrorsTheCurrentLayerAndTwiceRestoresIt) {
    paint(9);
    const std::vector<uint8_t> first = surface();
    LayerFlipAction(canvas, layers).execute();
    std::vector<uint8_t> mirrored = first;
    mirrorRows(mirrored, kW, kH);
    EXPECT_EQ(surface(), mirrored);
    LayerFlipAction(canvas, layers).execute();
    EXPECT_EQ(surface(), first);
}

TEST_F(LayerOps, OpacityIsClampedAndCopyFromIsDeep) {
    LayerOpacityChangeAction(canvas, layers, 140).execute();
    EXPECT_EQ(layers.currentLayer().opacity, 100);
    LayerOpacityChangeAction(canvas, layers, -3).execute();
    EXPECT_EQ(layers.currentLayer().opacity, 0);
    paint(10);
    canvas.saveCurrentLayer(layers);
    MultiLayeredImage copy;
    copy.copyFrom(layers);
    ASSERT_EQ(copy.count(), 1);
    EXPECT_NE(copy.at(0).textureId, layers.at(0).textureId);
    EXPECT_EQ(copy.at(0).opacity, 0);
    EXPECT_EQ(readTexture(copy.at(0).textureId, kW, kH), premultipliedPattern(kW, kH, 10));
}
