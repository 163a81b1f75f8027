#include <GL/glew.h>
#include <GL/glu.h>

#include "canvas/GlPixels.h"

#include <algorithm>

#include <vector>

#include <cstdio>

std::vector<uint8_t> readTexture(GLuint textureId, int32_t width, int32_t height) {
    if (width <= 0 || height <= 0) {
        std::fprintf(stderr, "readTexture: nothing to read (texture %u, %d x %d)\n", textureId, width, height);
        return {};
    }
    std::vector<uint8_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    if (!readTextureInto(textureId, width, height, GL_RGBA, pixels.data(), pixels.size())) return {};
    return pixels;
}

bool readTextureInto(GLuint textureId, int32_t width, int32_t height, GLenum format, uint8_t* out, size_t bytes) {
    const size_t channels = format == GL_RGBA || format == GL_BGRA ? 4 : format == GL_RGB || format == GL_BGR ? 3 : 1;
    const size_t row = (static_cast<size_t>(width) * channels + 3) / 4 * 4;
    if (width <= 0 || height <= 0 || textureId == 0 || !out || bytes < row * static_cast<size_t>(height)) {
        std::fprintf(stderr, "readTextureInto: nothing to read or no room (texture %u, %d x %d)\n", textureId, width,
                     height);
        return false;
    }
    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    glBindTexture(GL_TEXTURE_2D, textureId);
    GLint realWidth = 0, realHeight = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &realWidth);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &realHeight);
    const bool fits = realWidth == width && realHeight == height;
    if (!fits) {
        std::fprintf(stderr, "readTextureInto: texture %u is %d x %d, not %d x %d\n", textureId, realWidth,
                     realHeight, width, height);
    } else {
        glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
        glPixelStorei(GL_PACK_ALIGNMENT, 4);
        glPixelStorei(GL_PACK_ROW_LENGTH, 0);
        glGetTexImage(GL_TEXTURE_2D, 0, format, GL_UNSIGNED_BYTE, out);
        glPopClientAttrib();
    }
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    return fits;
}

bool readFramebufferRegionInto(GLuint framebufferId, int32_t width, int32_t height, const PixelRegion& region,
                               GLenum format, uint8_t* out, size_t bytes) {
    const size_t channels = format == GL_RGBA || format == GL_BGRA ? 4 : format == GL_RGB || format == GL_BGR ? 3 : 1;
    const size_t row = (static_cast<size_t>(width) * channels + 3) / 4 * 4;
    if (width <= 0 || height <= 0 || framebufferId == 0 || !out || bytes < row * static_cast<size_t>(height)) {
        std::fprintf(stderr, "readFramebufferRegionInto: nothing to read or no room (framebuffer %u, %d x %d)\n",
                     framebufferId, width, height);
        return false;
    }
    GLint previous = 0;
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &previous);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, framebufferId);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glPixelStorei(GL_PACK_ROW_LENGTH, width);
    for (PixelRect r : region.rects()) {
        // Cut to the picture: a region of another size must not write outside `out`.
        const int32_t x0 = std::max(0, r.x), y0 = std::max(0, r.y);
        const int32_t x1 = std::min(width, r.right()), y1 = std::min(height, r.top());
        if (x1 <= x0 || y1 <= y0) continue;
        glPixelStorei(GL_PACK_SKIP_PIXELS, x0);
        glPixelStorei(GL_PACK_SKIP_ROWS, y0);
        glReadPixels(x0, y0, x1 - x0, y1 - y0, format, GL_UNSIGNED_BYTE, out);
    }
    glPopClientAttrib();
    glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(previous));
    return true;
}

void drawQuad(float x, float y, float width, float height) {
    glBegin(GL_QUADS);
    glTexCoord2f(0.0f, 0.0f);
    glVertex3f(x, y, 0.0f);
    glTexCoord2f(1.0f, 0.0f);
    glVertex3f(x + width, y, 0.0f);
    glTexCoord2f(1.0f, 1.0f);
    glVertex3f(x + width, y + height, 0.0f);
    glTexCoord2f(0.0f, 1.0f);
    glVertex3f(x, y + height, 0.0f);
    glEnd();
}

// Whole pixels are exact in float up to 2^24, far beyond any surface.
void drawQuad(int32_t x, int32_t y, int32_t width, int32_t height) {
    drawQuad(static_cast<float>(x), static_cast<float>(y), static_cast<float>(width), static_cast<float>(height));
}

void drawRegion(const PixelRegion& region) {
    if (region.empty()) return;
    const float w = static_cast<float>(region.width()), h = static_cast<float>(region.height());
    if (region.full()) {
        drawQuad(0.0f, 0.0f, w, h);
        return;
    }
    std::vector<float> vertices, texCoords;
    for (const PixelRect& r : region.rects()) {
        const float x0 = static_cast<float>(r.x), y0 = static_cast<float>(r.y);
        const float x1 = static_cast<float>(r.right()), y1 = static_cast<float>(r.top());
        vertices.insert(vertices.end(), {x0, y0, x1, y0, x1, y1, x0, y1});
        texCoords.insert(texCoords.end(), {x0 / w, y0 / h, x1 / w, y0 / h, x1 / w, y1 / h, x0 / w, y1 / h});
    }
    glPushClientAttrib(GL_CLIENT_VERTEX_ARRAY_BIT);
    glEnableClientState(GL_VERTEX_ARRAY);
    glVertexPointer(2, GL_FLOAT, 0, vertices.data());
    glClientActiveTexture(GL_TEXTURE0);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    glTexCoordPointer(2, GL_FLOAT, 0, texCoords.data());
    glDrawArrays(GL_QUADS, 0, static_cast<GLsizei>(vertices.size() / 2));
    glPopClientAttrib();
}

void pushOrtho(float width, float height) {
    GLint mode = GL_MODELVIEW;
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    gluOrtho2D(0.0, width, 0.0, height);
    glMatrixMode(static_cast<GLenum>(mode));
}

void popOrtho() {
    GLint mode = GL_MODELVIEW;
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(static_cast<GLenum>(mode));
}

GLint magnificationFilterForZoom(float zoom) { return zoom >= 5.0f ? GL_NEAREST : GL_LINEAR; }

void applyDrawFilters(GLuint textureId, float zoom) {
    glBindTexture(GL_TEXTURE_2D, textureId);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magnificationFilterForZoom(zoom));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
}

GlTexture& GlTexture::operator=(GlTexture&& other) noexcept {
    if (this != &other) {
        reset();
        name = other.release();
    }
    return *this;
}

void GlTexture::reset() {
    if (name != 0) glDeleteTextures(1, &name);
    name = 0;
}

GlTexture GlTexture::createRgba(int32_t width, int32_t height, const uint8_t* pixels, GLint wrap) {
    GLuint id = 0;
    glGenTextures(1, &id);
    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    glBindTexture(GL_TEXTURE_2D, id);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, wrap);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, wrap);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    glPopClientAttrib();
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    return GlTexture(id);
}
