// Image files and the canvas on GL: textures from PNG and DDS, the flat
// image of a layered picture, and the load of a file as a new canvas.
#include <GL/glew.h>

#include "canvas/Canvas.h"
#include "canvas/GlInfo.h"
#include "canvas/MultiLayeredImage.h"
#include "io/FlatImage.h"
#include "io/ImageCodec.h"
#include "io/ImageLoad.h"
#include "support/GlTestContext.h"
#include "test_image_support.h"
#include "tests/fuzz/ImageBytes.h"

using namespace imagetest;
namespace ib = imagebytes;

namespace {

std::vector<uint8_t> gradient(int w, int h, bool withAlpha) {
    std::vector<uint8_t> p(static_cast<size_t>(w * h * 4));
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t* q = &p[static_cast<size_t>((y * w + x) * 4)];
            q[0] = static_cast<uint8_t>(x * 16);
            q[1] = static_cast<uint8_t>(y * 32);
            q[2] = static_cast<uint8_t>(255 - x * 8);
            q[3] = withAlpha ? static_cast<uint8_t>(40 + x * 10 + y) : 255;
        }
    return p;
}

void noWait(const std::function<bool()>& done) {
    while (!done()) {}
}

} // namespace

class ImageGl : public GlTest {};

TEST_F(ImageGl, PngTextureHoldsStraightPixelsBottomUp) {
    TempFolder folder;
    const std::vector<uint8_t> topDown = gradient(8, 4, true);
    writeBytes(folder.file("t.png"), ib::png(8, 4, topDown, true));
    GlTexture texture;
    int32_t w = 0, h = 0, channels = 0;
    ASSERT_TRUE(loadTexture(folder.file("t.png"), texture, w, h, channels));
    EXPECT_EQ(w, 8);
    EXPECT_EQ(h, 4);
    EXPECT_EQ(channels, 4);
    EXPECT_EQ(readTexture(texture.id(), 8, 4), flipped(topDown, 8, 4));
    // A failed load leaves the texture it was given.
    const GLuint before = texture.id();
    EXPECT_FALSE(loadTexture(folder.file("missing.png"), texture, w, h, channels));
    EXPECT_EQ(texture.id(), before);
}

TEST_F(ImageGl, TipTextureInvertsColourAndKeepsAlpha) {
    TempFolder folder;
    const std::vector<uint8_t> topDown = gradient(4, 4, true);
    writeBytes(folder.file("tip.png"), ib::png(4, 4, topDown, true));
    GlTexture texture;
    int32_t w = 0, h = 0;
    ASSERT_TRUE(loadTipTexture(folder.file("tip.png"), texture, w, h));
    const std::vector<uint8_t> pixels = readTexture(texture.id(), 4, 4);
    const std::vector<uint8_t> expected = flipped(topDown, 4, 4);
    ASSERT_EQ(pixels.size(), expected.size());
    for (size_t i = 0; i < pixels.size(); ++i)
        EXPECT_EQ(pixels[i], i % 4 == 3 ? expected[i] : 255 - expected[i]) << i;
}

TEST_F(ImageGl, DxtOneDdsUploadsCompressedAndReadsBackExactly) {
    TempFolder folder;
    // Pure blue in 5:6:5 expands exactly, whatever the decoder's rounding.
    writeBytes(folder.file("b.DDS"), ib::ddsDxt1Solid(8, 8, 0x001F));
    GlTexture texture;
    int32_t w = 0, h = 0, channels = 0;
    ASSERT_TRUE(loadTexture(folder.file("b.DDS"), texture, w, h, channels));
    EXPECT_EQ(w, 8);
    EXPECT_EQ(channels, 3);
    glBindTexture(GL_TEXTURE_2D, texture.id());
    GLint compressed = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_COMPRESSED, &compressed);
    glBindTexture(GL_TEXTURE_2D, 0);
    EXPECT_EQ(compressed, GL_TRUE);
    const std::vector<uint8_t> pixels = readTexture(texture.id(), 8, 8);
    ASSERT_EQ(pixels.size(), 8u * 8u * 4u);
    for (size_t i = 0; i < pixels.size(); i += 4) {
        ASSERT_EQ(pixels[i], 0);
        ASSERT_EQ(pixels[i + 1], 0);
        ASSERT_EQ(pixels[i + 2], 255);
        ASSERT_EQ(pixels[i + 3], 255);
    }
}

TEST_F(ImageGl, DxtRowsAreTurnedBottomUp) {
    TempFolder folder;
    // Two block rows: the top one red, the bottom one green.
    std::vector<uint8_t> dds = ib::ddsDxt1Solid(4, 8, 0xF800);
    for (size_t i = 0; i < 4; ++i) dds[128 + 8 + i] = (i % 2 == 0) ? 0xE0 : 0x07;
    writeBytes(folder.file("rg.dds"), dds);
    GlTexture texture;
    int32_t w = 0, h = 0, channels = 0;
    ASSERT_TRUE(loadTexture(folder.file("rg.dds"), texture, w, h, channels));
    const std::vector<uint8_t> pixels = readTexture(texture.id(), 4, 8);
    ASSERT_EQ(pixels.size(), 4u * 8u * 4u);
    EXPECT_EQ(pixels[1], 255) << "row 0 (bottom) is the file's last block row: green";
    EXPECT_EQ(pixels[7 * 16 + 0], 255) << "the top row is the file's first block row: red";
}

TEST_F(ImageGl, DxtOfAnHeightBetweenBlocksIsTurnedBottomUpToo) {
    TempFolder folder;
    // 6 rows: a block row of red (file rows 0-3) over half a block row of green (rows 4-5).
    std::vector<uint8_t> dds = ib::ddsDxt1Solid(4, 6, 0xF800);
    for (size_t i = 0; i < 4; ++i) dds[128 + 8 + i] = (i % 2 == 0) ? 0xE0 : 0x07;
    writeBytes(folder.file("rg6.dds"), dds);
    GlTexture texture;
    int32_t w = 0, h = 0, channels = 0;
    ASSERT_TRUE(loadTexture(folder.file("rg6.dds"), texture, w, h, channels));
    ASSERT_EQ(h, 6);
    const std::vector<uint8_t> pixels = readTexture(texture.id(), 4, 6);
    ASSERT_EQ(pixels.size(), 4u * 6u * 4u);
    for (int row = 0; row < 6; ++row) {
        const bool green = row < 2; // bottom-up: file rows 5 and 4 come first
        EXPECT_EQ(pixels[static_cast<size_t>(row) * 16 + 0], green ? 0 : 255) << "row " << row;
        EXPECT_EQ(pixels[static_cast<size_t>(row) * 16 + 1], green ? 255 : 0) << "row " << row;
    }
}

TEST_F(ImageGl, FlatImageOfTwoLayersEqualsTheMergeReference) {
    Canvas canvas(16, 8);
    MultiLayeredImage layers;
    canvas.resize(16, 8, layers);
    const std::vector<uint8_t> bottom = premultipliedPattern(16, 8, 3), top = premultipliedPattern(16, 8, 9);
    layers.layers.push_back(Layer{});
    layers.layers[0].setPixels(16, 8, bottom.data());
    layers.layers[0].opacity = 70;
    layers.current = 1;
    layers.layers[1].opacity = 40;
    GlTexture topTexture = GlTexture::createRgba(16, 8, top.data());
    canvas.loadSurface(topTexture.id(), true);

    const std::vector<uint8_t> flat = flatImagePixels(canvas, layers, true);
    ASSERT_EQ(flat.size(), bottom.size());
    for (size_t i = 0; i < flat.size(); i += 4) {
        // Merged down from the top: the top layer with its opacity over the one below.
        const blendref::Rgba expected =
            blendref::layerMerge(blendref::fromBytes(&top[i]), blendref::fromBytes(&bottom[i]), 0.4f, 0.7f);
        EXPECT_NEAR(flat[i], blendref::toByte(expected.r), 1) << i;
        EXPECT_NEAR(flat[i + 1], blendref::toByte(expected.g), 1) << i;
        EXPECT_NEAR(flat[i + 2], blendref::toByte(expected.b), 1) << i;
        EXPECT_NEAR(flat[i + 3], blendref::toByte(expected.a), 1) << i;
    }
    // Without alpha: both layers over opaque black, as the frame draws them.
    const std::vector<uint8_t> black = flatImagePixels(canvas, layers, false);
    ASSERT_EQ(black.size(), bottom.size());
    for (size_t i = 0; i < black.size(); i += 4) {
        blendref::Rgba c = blendref::premultipliedOver(blendref::scaled(blendref::fromBytes(&bottom[i]), 0.7f),
                                                       {0, 0, 0, 1});
        c = blendref::premultipliedOver(blendref::scaled(blendref::fromBytes(&top[i]), 0.4f), c);
        EXPECT_NEAR(black[i], blendref::toByte(c.r), 1) << i;
        EXPECT_NEAR(black[i + 2], blendref::toByte(c.b), 1) << i;
        EXPECT_EQ(black[i + 3], 255) << i;
    }
    // The canvas itself is untouched: the surface still holds the top layer.
    EXPECT_EQ(readTexture(canvas.currentLayerSurface().textureId, 16, 8), top);
    canvas.freeSurfaces();
    layers.reset(1, 1);
}

TEST_F(ImageGl, LoadMakesACanvasOfTheImageSizeWithItsPixels) {
    TempFolder folder;
    const std::vector<uint8_t> topDown = gradient(12, 6, true);
    writeBytes(folder.file("l.png"), ib::png(12, 6, topDown, true));
    Canvas canvas(16, 8);
    MultiLayeredImage layers;
    canvas.resize(16, 8, layers);
    FramebufferCapability capability{true, true, 8192};
    int resets = 0;
    std::vector<uint8_t> recorded;
    ImageLoadTarget target{canvas, layers, capability, noWait,
                           {[&](int32_t, int32_t) { ++resets; },
                            [&](std::vector<uint8_t> p, int32_t, int32_t) { recorded = std::move(p); }}};
    ASSERT_EQ(loadImageAsCanvas(folder.file("l.png"), target), ImageLoadResult::Loaded);
    EXPECT_EQ(canvas.width, 12);
    EXPECT_EQ(canvas.height, 6);
    EXPECT_EQ(resets, 1);
    const std::vector<uint8_t> expected = premultiplied(flipped(topDown, 12, 6));
    EXPECT_EQ(readTexture(canvas.currentLayerSurface().textureId, 12, 6), expected);
    EXPECT_EQ(recorded, expected);
    canvas.freeSurfaces();
    layers.reset(1, 1);
}

TEST_F(ImageGl, FailedOrOversizedLoadLeavesTheCanvasUntouched) {
    TempFolder folder;
    std::vector<uint8_t> damaged = ib::png(12, 6, gradient(12, 6, true), true);
    damaged.resize(damaged.size() / 2);
    writeBytes(folder.file("bad.png"), damaged);
    writeBytes(folder.file("big.png"), ib::png(40, 4, gradient(40, 4, false), false));
    Canvas canvas(16, 8);
    MultiLayeredImage layers;
    canvas.resize(16, 8, layers);
    canvas.clearCurrentSurface(0.5f, 0.25f, 0.0f, 1.0f);
    const std::vector<uint8_t> before = readTexture(canvas.currentLayerSurface().textureId, 16, 8);
    const GLuint surface = canvas.currentLayerSurface().textureId;
    // A card whose renderbuffers reach 64: the canvas sides stop at 32.
    FramebufferCapability capability{true, true, 64};
    int calls = 0;
    ImageLoadTarget target{canvas, layers, capability, noWait,
                           {[&](int32_t, int32_t) { ++calls; }, [&](std::vector<uint8_t>, int32_t, int32_t) { ++calls; }}};
    EXPECT_EQ(loadImageAsCanvas(folder.file("bad.png"), target), ImageLoadResult::Failed);
    EXPECT_EQ(loadImageAsCanvas(folder.file("big.png"), target), ImageLoadResult::TooLarge);
    EXPECT_EQ(loadImageAsCanvas(folder.file("none.png"), target), ImageLoadResult::Failed);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(canvas.width, 16);
    EXPECT_EQ(canvas.currentLayerSurface().textureId, surface);
    EXPECT_EQ(readTexture(surface, 16, 8), before);
    EXPECT_STREQ(imageLoadMessage(ImageLoadResult::Failed, true), "unable to load image");
    EXPECT_STREQ(imageLoadMessage(ImageLoadResult::Loaded, true), "image loaded");
    canvas.freeSurfaces();
    layers.reset(1, 1);
}

TEST(ImageCanvasSize, LimitIsHalfTheRenderbufferSizeWithFramebuffers) {
    EXPECT_TRUE(checkCanvasSize(4096, 4096, FramebufferCapability{true, true, 8192}, nullptr));
    EXPECT_FALSE(checkCanvasSize(4097, 10, FramebufferCapability{true, true, 8192}, nullptr));
    EXPECT_TRUE(checkCanvasSize(9000, 9000, FramebufferCapability{true, false, 0}, nullptr));
    EXPECT_EQ(canvasDecodeLimits(FramebufferCapability{true, true, 8192}).maxWidth, 4096);
}
