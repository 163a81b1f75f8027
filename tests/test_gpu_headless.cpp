// The headless context itself: surfaceless, compatibility profile, GLEW
// entry points usable, and several contexts living side by side.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "canvas/Framebuffer.h"
#include "canvas/GlPixels.h"
#include "canvas/Shaders.h"
#include "platform/HeadlessGl.h"
#include "support/GlTestContext.h"

using GpuHeadless = GlTest;

TEST_F(GpuHeadless, RunsWithoutADisplay) {
    // The suite is meant to run with DISPLAY unset; say so if it is not.
    if (std::getenv("DISPLAY") != nullptr) std::printf("note: DISPLAY is set for this run\n");
    // The shared context is up (SetUp), so a GLX display was never needed.
    EXPECT_NE(glGetString(GL_VERSION), nullptr);
}

TEST_F(GpuHeadless, SurfacelessCompatibilityContextRendersIntoObjects) {
    {
        platform::HeadlessGlContext second;
        std::string error;
        ASSERT_TRUE(second.create(&error)) << error;
        EXPECT_TRUE(second.valid());
        EXPECT_FALSE(second.hasSurface());

        GLint profile = 0;
        glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
        EXPECT_TRUE(profile & GL_CONTEXT_COMPATIBILITY_PROFILE_BIT) << profile;
        EXPECT_NE(glCreateShader, nullptr);
        EXPECT_NE(glGenFramebuffers, nullptr);

        // Immediate mode, the fixed pipeline and ftransform() in this context.
        GLuint fbo = 0;
        GlTexture colour = GlTexture::createRgba(8, 8, nullptr);
        glGenFramebuffers(1, &fbo);
        glBindFramebuffer(GL_FRAMEBUFFER, fbo);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, colour.id(), 0);
        ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
        glViewport(0, 0, 8, 8);
        ShaderProgram plain("headlessTestProgram");
        ASSERT_TRUE(plain.build(plainVertexStage, "#version 120\nvoid main() { gl_FragColor = gl_Color; }\n"));
        pushOrtho(8, 8);
        plain.use();
        glColor4f(0.0f, 1.0f, 0.0f, 1.0f);
        drawQuad(0, 0, 8, 4);
        ShaderProgram::useNone();
        popOrtho();
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        const auto pixels = readTexture(colour.id(), 8, 8);
        ASSERT_EQ(pixels.size(), 8u * 8u * 4u);
        EXPECT_EQ(pixels[1], 255);                 // row 0: drawn green
        EXPECT_EQ(pixels[(7 * 8) * 4 + 1], 0);     // row 7: untouched
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
        glDeleteFramebuffers(1, &fbo);
        plain.release();
        colour.reset();
    }
    // Ending the second context must leave the shared one working.
    ASSERT_TRUE(makeSharedContextCurrent());
    Framebuffer target(3, 3);
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(target.create(false, false));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Framebuffer complete.\n");
    target.destroy();
    GLint linked = 0;
    glGetProgramiv(hardDabProgram.program, GL_LINK_STATUS, &linked);
    EXPECT_EQ(linked, GL_TRUE);
}

TEST(HeadlessGlContextTest, MakeCurrentBeforeCreateFails) {
    platform::HeadlessGlContext context;
    EXPECT_FALSE(context.valid());
    EXPECT_FALSE(context.makeCurrent());
}
