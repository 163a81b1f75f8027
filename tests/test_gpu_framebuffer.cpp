// Off-screen render targets: creation, status lines, pixel round trips, and
// the back-buffer fallback used where framebuffer objects are missing.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "canvas/Framebuffer.h"
#include "canvas/GlInfo.h"
#include "canvas/GlPixels.h"
#include "support/GlTestContext.h"

static_assert(!std::is_copy_constructible_v<Framebuffer>);
static_assert(!std::is_copy_assignable_v<Framebuffer>);
static_assert(std::is_nothrow_move_constructible_v<Framebuffer>);

TEST(FramebufferStatus, TextsForEveryStatus) {
    EXPECT_STREQ(framebufferStatusText(GL_FRAMEBUFFER_COMPLETE), "Framebuffer complete.");
    EXPECT_STREQ(framebufferStatusText(GL_FRAMEBUFFER_INCOMPLETE_ATTACHMENT),
                 "[ERROR] Framebuffer incomplete: Attachment is NOT complete.");
    EXPECT_STREQ(framebufferStatusText(GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT),
                 "[ERROR] Framebuffer incomplete: No image is attached to FBO.");
    EXPECT_STREQ(framebufferStatusText(GL_FRAMEBUFFER_INCOMPLETE_DRAW_BUFFER),
                 "[ERROR] Framebuffer incomplete: Draw buffer.");
    EXPECT_STREQ(framebufferStatusText(GL_FRAMEBUFFER_INCOMPLETE_READ_BUFFER),
                 "[ERROR] Framebuffer incomplete: Read buffer.");
    EXPECT_STREQ(framebufferStatusText(GL_FRAMEBUFFER_UNSUPPORTED),
                 "[ERROR] Framebuffer incomplete: Unsupported by FBO implementation.");
    EXPECT_STREQ(framebufferStatusText(GL_FRAMEBUFFER_INCOMPLETE_MULTISAMPLE),
                 "[ERROR] Framebuffer incomplete: Unknown error.");
    EXPECT_STREQ(framebufferStatusText(0), "[ERROR] Framebuffer incomplete: Unknown error.");
}

// Without the extension the test needs no GL at all.
TEST(FramebufferCapabilityTest, MissingExtensionIsReported) {
    FramebufferCapability capability;
    std::ostringstream out;
    testFramebufferSupport(GlInfo::fromStrings("v", "r", "2.1", "GL_ARB_fragment_program GL_EXT_framebuffer_blit"),
                           capability, out);
    EXPECT_EQ(out.str(), "Video card does NOT support GL_ARB_framebuffer_object.\n");
    EXPECT_TRUE(capability.framebufferTested);
    EXPECT_FALSE(capability.framebufferSupported);
    EXPECT_EQ(capability.maxRenderbufferSize, 0);
}

class GpuFramebuffer : public GlTest {
protected:
    // Fills a framebuffer with `bytes` by drawing a texture 1:1 through it.
    static void drawInto(Framebuffer& target, const std::vector<uint8_t>& bytes) {
        GlTexture source = GlTexture::createRgba(target.width, target.height, bytes.data());
        target.bind();
        drawTexturedQuad(source.id(), target.width, target.height);
        target.unbind();
    }
};

TEST_F(GpuFramebuffer, ExtensionPresentOnMesa) {
    FramebufferCapability capability;
    std::ostringstream out;
    testFramebufferSupport(gGlInfo, capability, out);
    EXPECT_EQ(out.str(), "Video card supports GL_ARB_framebuffer_object.\n");
    EXPECT_TRUE(capability.framebufferSupported);
    EXPECT_GE(capability.maxRenderbufferSize, 1024);
    EXPECT_TRUE(gFramebufferCapability.framebufferTested);
    EXPECT_TRUE(gFramebufferCapability.framebufferSupported);
}

TEST_F(GpuFramebuffer, CreatePrintsStatusAndSetsFields) {
    Framebuffer target(13, 7);
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(target.create(true, false));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Framebuffer complete.\n");
    EXPECT_TRUE(target.complete);
    EXPECT_FALSE(target.updated);
    EXPECT_NE(target.framebufferId, 0u);
    EXPECT_NE(target.textureId, 0u);
    EXPECT_NE(target.renderbufferId, 0u);
    EXPECT_TRUE(glIsRenderbuffer(target.renderbufferId));
    glBindTexture(GL_TEXTURE_2D, target.textureId);
    GLint value = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &value);
    EXPECT_EQ(value, GL_RGBA8);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &value);
    EXPECT_EQ(value, GL_NEAREST);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &value);
    EXPECT_EQ(value, GL_CLAMP_TO_EDGE);
    // Nothing samples a surface's mip levels: none are generated on writes.
    glGetTexParameteriv(GL_TEXTURE_2D, GL_GENERATE_MIPMAP, &value);
    EXPECT_EQ(value, GL_FALSE);
    glBindTexture(GL_TEXTURE_2D, 0);

    const GLuint texture = target.textureId;
    target.destroy();
    EXPECT_FALSE(glIsTexture(texture));
    EXPECT_EQ(target.textureId, 0u);
    EXPECT_EQ(target.framebufferId, 0u);
    EXPECT_EQ(target.renderbufferId, 0u);
    EXPECT_FALSE(target.complete);
}

TEST_F(GpuFramebuffer, DepthStencilAndPlainVariantsAreComplete) {
    for (bool depth : {false, true})
        for (bool stencil : {false, true}) {
            Framebuffer target;
            ::testing::internal::CaptureStdout();
            ASSERT_TRUE(target.create(16, 16, depth, stencil));
            EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Framebuffer complete.\n");
            EXPECT_TRUE(target.complete);
            EXPECT_EQ(target.renderbufferId != 0, depth || stencil);
            if (stencil) {
                target.bind();
                GLint bits = 0;
                glGetIntegerv(GL_STENCIL_BITS, &bits);
                EXPECT_GE(bits, 8);
                target.unbind();
            }
            target.destroy();
        }
}

TEST_F(GpuFramebuffer, RoundTripIsByteExactAtOddSizes) {
    for (int size : {1, 13, 257}) {
        Framebuffer target(size, size == 13 ? 5 : size);
        ::testing::internal::CaptureStdout();
        ASSERT_TRUE(target.create(true, false));
        ::testing::internal::GetCapturedStdout();
        const auto bytes = premultipliedPattern(target.width, target.height, static_cast<uint32_t>(size));
        target.bind();
        EXPECT_FALSE(target.updated);
        GLint bound = 0;
        glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &bound);
        EXPECT_EQ(static_cast<GLuint>(bound), target.framebufferId);
        drawTexturedQuad(GlTexture::createRgba(target.width, target.height, bytes.data()).id(), target.width,
                         target.height);
        target.unbind();
        EXPECT_TRUE(target.updated);
        glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &bound);
        EXPECT_EQ(bound, 0);
        EXPECT_EQ(readFramebuffer(target), bytes) << "size " << size;
        target.destroy();
    }
}

TEST_F(GpuFramebuffer, ReadBindingReadsTheSurface) {
    Framebuffer target(9, 4);
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(target.create(false, false));
    ::testing::internal::GetCapturedStdout();
    const auto bytes = premultipliedPattern(9, 4, 77);
    drawInto(target, bytes);
    target.bind(GL_READ_FRAMEBUFFER);
    EXPECT_EQ(readPixels(0, 0, 9, 4), bytes);
    target.unbind();
    target.destroy();
}

TEST_F(GpuFramebuffer, MoveTransfersOwnership) {
    Framebuffer a(4, 4);
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(a.create(true, false));
    ::testing::internal::GetCapturedStdout();
    const GLuint texture = a.textureId;
    Framebuffer b(std::move(a));
    EXPECT_EQ(a.textureId, 0u);
    EXPECT_EQ(a.framebufferId, 0u);
    EXPECT_FALSE(a.complete);
    EXPECT_EQ(b.textureId, texture);
    EXPECT_TRUE(b.complete);
    Framebuffer c;
    c = std::move(b);
    EXPECT_EQ(c.textureId, texture);
    EXPECT_EQ(b.textureId, 0u);
    EXPECT_EQ(c.width, 4);
    c.destroy();
    EXPECT_FALSE(glIsTexture(texture));
}

TEST_F(GpuFramebuffer, BadSizesAreRefused) {
    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    for (auto [w, h] : {std::pair{0, 5}, std::pair{5, -1}, std::pair{maxSize + 1, 4}}) {
        Framebuffer target;
        ::testing::internal::CaptureStderr();
        EXPECT_FALSE(target.create(w, h, true, false));
        EXPECT_NE(::testing::internal::GetCapturedStderr().find("not supported"), std::string::npos);
        EXPECT_EQ(target.textureId, 0u);
        EXPECT_EQ(target.framebufferId, 0u);
        EXPECT_FALSE(target.complete);
    }
}

// With framebuffer objects switched off the back buffer stands in: the
// surface keeps its old content where nothing is drawn, the new content
// where something is, and the back buffer is left cleared.
TEST_F(GpuFramebuffer, FallbackThroughTheBackBuffer) {
    const FramebufferCapability saved = gFramebufferCapability;
    gFramebufferCapability.framebufferTested = true;
    gFramebufferCapability.framebufferSupported = false;

    Framebuffer target(13, 7);
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(target.create(true, false));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), ""); // no status check without objects
    EXPECT_FALSE(target.complete);
    EXPECT_EQ(target.framebufferId, 0u);
    EXPECT_EQ(target.renderbufferId, 0u);
    glBindTexture(GL_TEXTURE_2D, target.textureId);
    GLint generate = -1;
    glGetTexParameteriv(GL_TEXTURE_2D, GL_GENERATE_MIPMAP, &generate);
    EXPECT_EQ(generate, GL_FALSE);
    const auto initial = premultipliedPattern(13, 7, 5);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 13, 7, GL_RGBA, GL_UNSIGNED_BYTE, initial.data());
    glBindTexture(GL_TEXTURE_2D, 0);

    glClearColor(0.25f, 0.5f, 0.75f, 1.0f);
    GLint depthBefore = 0, depthDuring = 0, depthAfter = 0;
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &depthBefore);
    target.bind();
    EXPECT_FALSE(target.updated);
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &depthDuring);
    EXPECT_EQ(depthDuring, depthBefore + 1);
    // The back buffer now shows the surface's content 1:1.
    EXPECT_EQ(readPixels(0, 0, 13, 7), initial);
    // Paint an opaque red block over columns 2..5, rows 1..3.
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_VIEWPORT_BIT);
    glDisable(GL_BLEND);
    glDisable(GL_TEXTURE_2D);
    glViewport(0, 0, 13, 7);
    pushOrtho(13, 7);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
    glColor4f(1, 0, 0, 1);
    drawQuad(2, 1, 4, 3);
    glPopMatrix();
    popOrtho();
    glPopAttrib();
    target.unbind();
    EXPECT_TRUE(target.updated);
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &depthAfter);
    EXPECT_EQ(depthAfter, depthBefore);

    auto expected = initial;
    for (int y = 1; y < 4; ++y)
        for (int x = 2; x < 6; ++x) {
            uint8_t* p = &expected[(static_cast<size_t>(y) * 13 + x) * 4];
            p[0] = 255, p[1] = 0, p[2] = 0, p[3] = 255;
        }
    EXPECT_EQ(readFramebuffer(target), expected);
    // The back buffer is left in the 0.4 grey of unbind, and the clear colour restored.
    const auto back = readPixels(20, 20, 1, 1);
    EXPECT_EQ(back, (std::vector<uint8_t>{102, 102, 102, 0}));
    GLfloat clear[4] = {-1, -1, -1, -1};
    glGetFloatv(GL_COLOR_CLEAR_VALUE, clear);
    EXPECT_EQ(clear[0], 0.25f);
    EXPECT_EQ(clear[2], 0.75f);
    glClearColor(0, 0, 0, 0);

    target.destroy();
    gFramebufferCapability = saved;
}
