#pragma once
// An off-screen render target: an RGBA8 texture, drawn into through a
// framebuffer object, or, where framebuffer objects are missing, through the
// window's back buffer (the fallback: bind copies the texture into the back
// buffer, unbind copies the back buffer into the texture).
//
// Lifetime: the GL names are freed only by destroy(). The destructor frees
// nothing, because the canvas surfaces are globals that outlive the GL
// context; their owner calls destroy() on resize and at exit. The type is
// move-only, so a set of names has exactly one owner.
#include <GL/glew.h>

#include <cstdint>

// Text of a glCheckFramebufferStatus result, as written after each create.
const char* framebufferStatusText(GLenum status);

struct Framebuffer {
    bool complete = false;     // a framebuffer object exists and passed its check; false: fallback
    bool updated = false;      // false while bound for drawing, true once the content is final
    GLuint framebufferId = 0;  // 0 without framebuffer objects
    GLuint textureId = 0;      // colour target
    GLuint renderbufferId = 0; // depth or depth-stencil, 0 if none
    int32_t width = 0;         // pixels
    int32_t height = 0;

    Framebuffer() = default;
    // Sets the size only; create() makes the GL objects.
    Framebuffer(int32_t width_, int32_t height_) : width(width_), height(height_) {}
    ~Framebuffer() = default;
    Framebuffer(const Framebuffer&) = delete;
    Framebuffer& operator=(const Framebuffer&) = delete;
    Framebuffer(Framebuffer&& other) noexcept;
    Framebuffer& operator=(Framebuffer&& other) noexcept; // the target must hold no names

    // Makes texture, framebuffer object and optional renderbuffer at the
    // current size (frees earlier names first) and writes the status line to
    // standard output. Returns false without touching GL for a size that is
    // not positive or exceeds GL_MAX_TEXTURE_SIZE; otherwise returns true
    // even when the status check fails (complete says which path is used).
    bool create(bool withDepth, bool withStencil);
    bool create(int32_t newWidth, int32_t newHeight, bool withDepth, bool withStencil);

    // Directs drawing into this surface; pair every bind with one unbind.
    void bind(GLenum target = GL_DRAW_FRAMEBUFFER);
    // Ends drawing: the texture now holds the result. No mip levels are made.
    void unbind();
    // Frees all GL names; the size is kept, so create() can run again.
    void destroy();

private:
    void createTexture();
    void createFramebufferObject(bool withDepth, bool withStencil);
    void bindFallback();
    void unbindFallback();
};
