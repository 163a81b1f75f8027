#pragma once
// Base fixture of every GL test: one headless Mesa context per test binary,
// made on first use and current for each test, with all shader programs
// built. It has a 512 x 512 pbuffer, so the back buffer exists for the
// framebuffer fallback; everything else renders into framebuffer objects.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "canvas/BlendReference.h"
#include "canvas/GlPixels.h"

class ShaderProgram;
class BrushTipTable;
struct Framebuffer;

class GlTest : public ::testing::Test {
public:
    static constexpr int kSurfaceSize = 512; // pbuffer side, pixels

protected:
    // Fails the test when no context can be made.
    void SetUp() override;
    // Fails the test on a pending GL error or a leftover bound program.
    void TearDown() override;

    // Makes the shared context current again (after a test used another one).
    static bool makeSharedContextCurrent();

    // Reads RGBA bytes from the current read framebuffer, rows bottom-up.
    static std::vector<uint8_t> readPixels(int x, int y, int width, int height);
    // The whole colour texture of a framebuffer.
    static std::vector<uint8_t> readFramebuffer(const Framebuffer& target);

    // Draws one quad over (0, 0, width, height) into whatever is bound, with
    // blending and depth test off, an orthographic projection and viewport of
    // that size, `color` as vertex colour and `program` in use (setUniforms
    // runs once it is in use). Restores all state it changes.
    static void drawFullQuad(const ShaderProgram& program, int width, int height, blendref::Rgba color,
                             const std::function<void()>& setUniforms = {});
    // The same without a program: the fixed pipeline, textured when texture != 0.
    static void drawTexturedQuad(GLuint texture, int width, int height);

    // The tip table of a brush folder with its textures on this context.
    static void buildTips(BrushTipTable& tips, const std::string& folder);

    // Bytes of a test pattern: valid premultiplied pixels (colour <= alpha),
    // reproducible for a seed.
    static std::vector<uint8_t> premultipliedPattern(int width, int height, uint32_t seed);
};
