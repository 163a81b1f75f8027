#pragma once
// Moving pixels between memory and textures, and the small immediate-mode
// helpers every pass uses. Pixels are 8-bit RGBA, premultiplied, rows bottom-up.
#include <GL/glew.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/PixelRegion.h"
#include "io/Pixels.h" // premultiply, unpremultiply, row flips: GL-free

// Reads level 0 of a GL_TEXTURE_2D as RGBA bytes (width * height * 4). When the
// texture's real size differs from the given one, or the size is not positive,
// says so on standard error and returns an empty block.
std::vector<uint8_t> readTexture(GLuint textureId, int32_t width, int32_t height);
// The same into memory the caller holds, in `format` (GL_RGBA, GL_BGR...) with
// rows padded to 4 bytes: `bytes` must be at least that. False (and a line on
// standard error) when the texture is not of that size or the block too small.
bool readTextureInto(GLuint textureId, int32_t width, int32_t height, GLenum format, uint8_t* out, size_t bytes);

// Only the rectangles of `region` of a framebuffer object's colour target of
// width x height, into `out`, which holds the whole picture as
// readTextureInto writes it (`format`, rows padded to 4 bytes, bottom
// first): the bytes outside the region are left as they are. False (and a
// line on standard error) when the block is too small or there is no object.
bool readFramebufferRegionInto(GLuint framebufferId, int32_t width, int32_t height, const PixelRegion& region,
                               GLenum format, uint8_t* out, size_t bytes);

// Immediate-mode quad, corners counter-clockwise from (x, y), texture
// coordinates (0,0) (1,0) (1,1) (0,1), z 0.
void drawQuad(float x, float y, float width, float height);
void drawQuad(int32_t x, int32_t y, int32_t width, int32_t height);
// The pixels of a region of a width x height surface as quads in one draw,
// with the texture coordinates a quad over the whole surface gives there; a
// full region is that one quad. Blending off, each pixel is written once.
void drawRegion(const PixelRegion& region);

// Pushes the projection matrix and loads gluOrtho2D(0, width, 0, height);
// popOrtho pops it. Both leave the selected matrix mode as they found it.
void pushOrtho(float width, float height);
void popOrtho();

// Filters for drawing a texture to the window: magnification is GL_NEAREST
// from a zoom (window pixels per canvas pixel) of 5.0 up, GL_LINEAR below.
GLint magnificationFilterForZoom(float zoom);
// Writes both filters into the texture (minification always GL_LINEAR).
void applyDrawFilters(GLuint textureId, float zoom);

// Owns one texture name. The destructor deletes it, so an instance must not
// outlive its context (keep them in scopes or objects that are torn down
// while the context is current).
class GlTexture {
public:
    GlTexture() = default;
    explicit GlTexture(GLuint adopted) : name(adopted) {}
    ~GlTexture() { reset(); }
    GlTexture(const GlTexture&) = delete;
    GlTexture& operator=(const GlTexture&) = delete;
    GlTexture(GlTexture&& other) noexcept : name(other.release()) {}
    GlTexture& operator=(GlTexture&& other) noexcept;

    // A new RGBA8 texture holding `pixels` (may be null: undefined content),
    // filters GL_NEAREST, the given wrap mode on both axes.
    static GlTexture createRgba(int32_t width, int32_t height, const uint8_t* pixels,
                                GLint wrap = GL_CLAMP_TO_EDGE);

    GLuint id() const { return name; }
    GLuint release() { GLuint n = name; name = 0; return n; }
    void reset();

private:
    GLuint name = 0;
};
