// Pixel helpers on the card: texture read-back, the quad
// and projection helpers, and the texture owner.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <vector>

#include "canvas/Framebuffer.h"
#include "canvas/GlPixels.h"
#include "support/GlTestContext.h"

TEST(DrawFilters, MagnificationSwitchesAtZoomFive) {
    EXPECT_EQ(magnificationFilterForZoom(5.0f), GL_NEAREST);
    EXPECT_EQ(magnificationFilterForZoom(12.0f), GL_NEAREST);
    EXPECT_EQ(magnificationFilterForZoom(4.99f), GL_LINEAR);
    EXPECT_EQ(magnificationFilterForZoom(1.0f), GL_LINEAR);
}

using GpuPixels = GlTest;

TEST_F(GpuPixels, ReadTextureReturnsUploadedBytes) {
    const auto bytes = premultipliedPattern(13, 3, 9);
    GlTexture texture = GlTexture::createRgba(13, 3, bytes.data());
    EXPECT_EQ(readTexture(texture.id(), 13, 3), bytes);
    GLint bound = -1;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(bound, 0);
}

TEST_F(GpuPixels, ReadTextureRefusesAWrongSize) {
    const auto bytes = premultipliedPattern(4, 4, 1);
    GlTexture texture = GlTexture::createRgba(4, 4, bytes.data());
    ::testing::internal::CaptureStderr();
    EXPECT_TRUE(readTexture(texture.id(), 2, 2).empty());
    EXPECT_TRUE(readTexture(texture.id(), 8, 4).empty());
    EXPECT_TRUE(readTexture(texture.id(), 0, 4).empty());
    EXPECT_TRUE(readTexture(0, 4, 4).empty());
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("readTexture"), std::string::npos);
}

TEST_F(GpuPixels, TextureOwnerDeletesItsName) {
    GLuint name = 0;
    {
        GlTexture texture = GlTexture::createRgba(2, 2, nullptr, GL_REPEAT);
        name = texture.id();
        EXPECT_TRUE(glIsTexture(name));
        GlTexture moved(std::move(texture));
        EXPECT_EQ(texture.id(), 0u);
        EXPECT_EQ(moved.id(), name);
        glBindTexture(GL_TEXTURE_2D, name);
        GLint wrap = 0;
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, &wrap);
        EXPECT_EQ(wrap, GL_REPEAT);
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    EXPECT_FALSE(glIsTexture(name));
}

// The quad maps texture corner (0,0) to (x, y) and (1,1) to the far corner,
// in both variants; a quad drawn at an offset covers exactly its pixels.
TEST_F(GpuPixels, DrawQuadPlacesTextureCornersAndPixels) {
    const auto bytes = premultipliedPattern(6, 4, 3);
    GlTexture source = GlTexture::createRgba(6, 4, bytes.data());
    for (bool useFloat : {false, true}) {
        Framebuffer target(10, 9);
        ::testing::internal::CaptureStdout();
        ASSERT_TRUE(target.create(false, false));
        ::testing::internal::GetCapturedStdout();
        target.bind();
        glPushAttrib(GL_ENABLE_BIT | GL_VIEWPORT_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        glViewport(0, 0, 10, 9);
        glDisable(GL_BLEND);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, source.id());
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
        pushOrtho(10, 9);
        glMatrixMode(GL_MODELVIEW);
        glPushMatrix();
        glLoadIdentity();
        if (useFloat)
            drawQuad(3.0f, 2.0f, 6.0f, 4.0f);
        else
            drawQuad(3, 2, 6, 4);
        glPopMatrix();
        popOrtho();
        glBindTexture(GL_TEXTURE_2D, 0);
        glPopAttrib();
        target.unbind();

        const auto result = readFramebuffer(target);
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 10; ++x) {
                const uint8_t* got = &result[(static_cast<size_t>(y) * 10 + x) * 4];
                const bool inside = x >= 3 && x < 9 && y >= 2 && y < 6;
                for (int c = 0; c < 4; ++c) {
                    const uint8_t want = inside ? bytes[(static_cast<size_t>(y - 2) * 6 + (x - 3)) * 4 + c] : 0;
                    ASSERT_EQ(got[c], want) << "x " << x << " y " << y << " float " << useFloat;
                }
            }
        target.destroy();
    }
}

TEST_F(GpuPixels, PushOrthoKeepsMatrixModeAndRestoresProjection) {
    glMatrixMode(GL_MODELVIEW);
    GLint depth = 0, mode = 0;
    glGetIntegerv(GL_PROJECTION_STACK_DEPTH, &depth);
    pushOrtho(200, 100);
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    EXPECT_EQ(mode, GL_MODELVIEW);
    GLfloat m[16];
    glGetFloatv(GL_PROJECTION_MATRIX, m);
    EXPECT_FLOAT_EQ(m[0], 2.0f / 200.0f);
    EXPECT_FLOAT_EQ(m[5], 2.0f / 100.0f);
    EXPECT_FLOAT_EQ(m[12], -1.0f);
    GLint inside = 0;
    glGetIntegerv(GL_PROJECTION_STACK_DEPTH, &inside);
    EXPECT_EQ(inside, depth + 1);
    glMatrixMode(GL_TEXTURE);
    popOrtho();
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    EXPECT_EQ(mode, GL_TEXTURE);
    glMatrixMode(GL_MODELVIEW);
    GLint after = 0;
    glGetIntegerv(GL_PROJECTION_STACK_DEPTH, &after);
    EXPECT_EQ(after, depth);
}

// Reading only a region of a surface into a whole picture: the tiles of the
// region come from the card, every other byte (padding too) stays.
TEST_F(GpuPixels, RegionReadBackWritesOnlyTheRegionsTiles) {
    const int w = 70, h = 130;
    Framebuffer fb(w, h);
    ASSERT_TRUE(fb.create(false, false));
    ASSERT_TRUE(fb.complete);
    const auto bytes = premultipliedPattern(w, h, 5);
    glBindTexture(GL_TEXTURE_2D, fb.textureId);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, bytes.data());
    glBindTexture(GL_TEXTURE_2D, 0);

    PixelRegion region(w, h); // tiles of 64: a 5 x 5 box at (10, 70) marks x 0..63, y 64..127
    region.add(PixelRect{10, 70, 5, 5});
    const std::size_t row = (w * 3 + 3) / 4 * 4; // 212: two bytes of padding a row
    std::vector<uint8_t> out(row * h, 0xEE);
    ASSERT_TRUE(readFramebufferRegionInto(fb.framebufferId, w, h, region, GL_BGR, out.data(), out.size()));
    int wrong = 0;
    for (int y = 0; y < h; ++y)
        for (std::size_t i = 0; i < row; ++i) {
            const int x = static_cast<int>(i / 3);
            uint8_t expect = 0xEE;
            if (i < static_cast<std::size_t>(w) * 3 && x < 64 && y >= 64 && y < 128)
                expect = bytes[(static_cast<std::size_t>(y) * w + x) * 4 + (2 - i % 3)];
            wrong += out[static_cast<std::size_t>(y) * row + i] != expect;
        }
    EXPECT_EQ(wrong, 0);
    GLint readBinding = -1;
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &readBinding);
    EXPECT_EQ(readBinding, 0);
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(readFramebufferRegionInto(fb.framebufferId, w, h, region, GL_BGR, out.data(), out.size() - 1));
    EXPECT_FALSE(::testing::internal::GetCapturedStderr().empty());
    fb.destroy();
}
