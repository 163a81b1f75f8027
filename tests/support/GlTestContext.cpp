#include <GL/glew.h>

#include "support/GlTestContext.h"

#include <string>

#include "brush/BrushTips.h"
#include "canvas/TipTextures.h"

#include <memory>
#include <string>

#include "canvas/Framebuffer.h"
#include "canvas/GlInfo.h"
#include "canvas/ShaderProgram.h"
#include "canvas/Shaders.h"
#include "platform/HeadlessGl.h"

namespace {

struct SharedContext {
    std::unique_ptr<platform::HeadlessGlContext> context;
    std::string error;
    bool tried = false;
};

// Lives until exit; the programs' names die with the context.
SharedContext& shared() {
    static SharedContext instance;
    return instance;
}

bool ensureContext(std::string* error) {
    SharedContext& s = shared();
    if (!s.tried) {
        s.tried = true;
        auto context = std::make_unique<platform::HeadlessGlContext>(GlTest::kSurfaceSize, GlTest::kSurfaceSize);
        if (context->create(&s.error)) {
            gGlInfo = GlInfo::readFromCurrentContext();
            ensureFramebufferTested();
            buildAllShaderPrograms(gGlInfo);
            s.context = std::move(context);
        }
    }
    if (!s.context) {
        *error = s.error;
        return false;
    }
    if (!s.context->makeCurrent()) {
        *error = "cannot make the shared test context current";
        return false;
    }
    return true;
}

} // namespace

void GlTest::SetUp() {
    std::string error;
    ASSERT_TRUE(ensureContext(&error)) << "headless GL context: " << error;
    while (glGetError() != GL_NO_ERROR) {
    }
}

bool GlTest::makeSharedContextCurrent() {
    std::string error;
    return ensureContext(&error);
}

void GlTest::TearDown() {
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    GLint current = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    EXPECT_EQ(current, 0) << "a test left a program in use";
    glUseProgram(0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

std::vector<uint8_t> GlTest::readPixels(int x, int y, int width, int height) {
    std::vector<uint8_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(x, y, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    return pixels;
}

std::vector<uint8_t> GlTest::readFramebuffer(const Framebuffer& target) {
    return readTexture(target.textureId, target.width, target.height);
}

namespace {

void beginFullQuad(int width, int height) {
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_VIEWPORT_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT);
    glViewport(0, 0, width, height);
    glDisable(GL_BLEND);
    glDisable(GL_DEPTH_TEST);
    pushOrtho(static_cast<float>(width), static_cast<float>(height));
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
}

void endFullQuad() {
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    popOrtho();
    glPopAttrib();
}

} // namespace

void GlTest::drawFullQuad(const ShaderProgram& program, int width, int height, blendref::Rgba color,
                          const std::function<void()>& setUniforms) {
    beginFullQuad(width, height);
    program.use();
    if (setUniforms) setUniforms();
    glColor4f(color.r, color.g, color.b, color.a);
    drawQuad(0, 0, width, height);
    ShaderProgram::useNone();
    endFullQuad();
}

void GlTest::drawTexturedQuad(GLuint texture, int width, int height) {
    beginFullQuad(width, height);
    if (texture != 0) {
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
    }
    glColor4f(1, 1, 1, 1);
    drawQuad(0, 0, width, height);
    glBindTexture(GL_TEXTURE_2D, 0);
    endFullQuad();
}

std::vector<uint8_t> GlTest::premultipliedPattern(int width, int height, uint32_t seed) {
    std::vector<uint8_t> bytes(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    uint32_t s = seed * 2654435761u + 12345u;
    auto next = [&s] {
        s = s * 1664525u + 1013904223u;
        return (s >> 24) & 0xFF;
    };
    for (size_t i = 0; i < bytes.size(); i += 4) {
        // Include the extremes often: fully clear and fully opaque pixels.
        const uint32_t pick = next();
        const uint32_t alpha = pick < 32 ? 0 : pick > 223 ? 255 : next();
        for (int c = 0; c < 3; ++c) bytes[i + c] = static_cast<uint8_t>(alpha == 0 ? 0 : next() % (alpha + 1));
        bytes[i + 3] = static_cast<uint8_t>(alpha);
    }
    return bytes;
}

void GlTest::buildTips(BrushTipTable& tips, const std::string& folder) {
    tips.textureDeleter = [](uint32_t t) {
        GLuint n = t;
        glDeleteTextures(1, &n);
    };
    tips.build(folder, "/nonexistent");
    uploadTipTextures(tips);
}
