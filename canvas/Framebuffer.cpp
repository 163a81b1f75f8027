#include <GL/glew.h>

#include "canvas/Framebuffer.h"

#include "canvas/GlInfo.h"
#include "canvas/GlPixels.h"

#include <cstdio>
#include <utility>

const char* framebufferStatusText(GLenum status) {
    switch (status) {
    case GL_FRAMEBUFFER_COMPLETE: return "Framebuffer complete.";
    case GL_FRAMEBUFFER_INCOMPLETE_ATTACHMENT:
        return "[ERROR] Framebuffer incomplete: Attachment is NOT complete.";
    case GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT:
        return "[ERROR] Framebuffer incomplete: No image is attached to FBO.";
    case GL_FRAMEBUFFER_INCOMPLETE_DRAW_BUFFER: return "[ERROR] Framebuffer incomplete: Draw buffer.";
    case GL_FRAMEBUFFER_INCOMPLETE_READ_BUFFER: return "[ERROR] Framebuffer incomplete: Read buffer.";
    case GL_FRAMEBUFFER_UNSUPPORTED:
        return "[ERROR] Framebuffer incomplete: Unsupported by FBO implementation.";
    default: return "[ERROR] Framebuffer incomplete: Unknown error.";
    }
}

Framebuffer::Framebuffer(Framebuffer&& other) noexcept
    : complete(other.complete), updated(other.updated), framebufferId(std::exchange(other.framebufferId, 0)),
      textureId(std::exchange(other.textureId, 0)), renderbufferId(std::exchange(other.renderbufferId, 0)),
      width(other.width), height(other.height) {
    other.complete = false;
}

Framebuffer& Framebuffer::operator=(Framebuffer&& other) noexcept {
    if (this != &other) {
        complete = std::exchange(other.complete, false);
        updated = other.updated;
        framebufferId = std::exchange(other.framebufferId, 0);
        textureId = std::exchange(other.textureId, 0);
        renderbufferId = std::exchange(other.renderbufferId, 0);
        width = other.width;
        height = other.height;
    }
    return *this;
}

bool Framebuffer::create(int32_t newWidth, int32_t newHeight, bool withDepth, bool withStencil) {
    width = newWidth;
    height = newHeight;
    return create(withDepth, withStencil);
}

bool Framebuffer::create(bool withDepth, bool withStencil) {
    ensureFramebufferTested();
    destroy();
    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    if (width <= 0 || height <= 0 || width > maxSize || height > maxSize) {
        std::fprintf(stderr, "[ERROR] Framebuffer size %d x %d is not supported (limit %d).\n", width, height,
                     maxSize);
        return false;
    }
    const bool objects = gFramebufferCapability.framebufferSupported;
    createTexture();
    if (objects) createFramebufferObject(withDepth, withStencil);
    return true;
}

void Framebuffer::createTexture() {
    glGenTextures(1, &textureId);
    glBindTexture(GL_TEXTURE_2D, textureId);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    // No sampler reads a surface through mip levels (minification is
    // linear), so none are kept up to date: that would cost a full pass
    // per write.
    glTexParameteri(GL_TEXTURE_2D, GL_GENERATE_MIPMAP, GL_FALSE);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void Framebuffer::createFramebufferObject(bool withDepth, bool withStencil) {
    glGenFramebuffers(1, &framebufferId);
    glBindFramebuffer(GL_FRAMEBUFFER, framebufferId);
    if (withDepth || withStencil) {
        // One renderbuffer; asking for stencil makes it a packed depth-stencil one.
        glGenRenderbuffers(1, &renderbufferId);
        glBindRenderbuffer(GL_RENDERBUFFER, renderbufferId);
        glRenderbufferStorage(GL_RENDERBUFFER, withStencil ? GL_DEPTH_STENCIL : GL_DEPTH_COMPONENT, width, height);
        glBindRenderbuffer(GL_RENDERBUFFER, 0);
    }
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, textureId, 0);
    if (renderbufferId != 0)
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, withStencil ? GL_DEPTH_STENCIL_ATTACHMENT : GL_DEPTH_ATTACHMENT,
                                  GL_RENDERBUFFER, renderbufferId);
    const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    complete = status == GL_FRAMEBUFFER_COMPLETE;
    if (std::FILE* diagnostics = glDiagnosticsFile(!complete)) {
        std::fprintf(diagnostics, "%s\n", framebufferStatusText(status));
        std::fflush(diagnostics);
    }
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void Framebuffer::bind(GLenum target) {
    updated = false;
    if (complete)
        glBindFramebuffer(target, framebufferId);
    else
        bindFallback();
}

void Framebuffer::unbind() {
    if (complete) {
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
    } else {
        unbindFallback();
    }
    updated = true;
}

// The back buffer stands in for the target: it gets the texture's content
// 1:1 at the lower left, the caller draws, unbindFallback copies it back.
// The colour-buffer and pixel-mode attributes stay pushed until then.
void Framebuffer::bindFallback() {
    glPushAttrib(GL_COLOR_BUFFER_BIT | GL_PIXEL_MODE_BIT);
    glDrawBuffer(GL_BACK);
    glReadBuffer(GL_BACK);
    glClearColor(0.5f, 0.5f, 0.5f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    if (textureId == 0) return;

    glPushAttrib(GL_COLOR_BUFFER_BIT | GL_ENABLE_BIT | GL_TEXTURE_BIT | GL_VIEWPORT_BIT | GL_CURRENT_BIT);
    glViewport(0, 0, width, height);
    glDisable(GL_DEPTH_TEST);
    glEnable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBlendFunc(GL_ONE, GL_ZERO);
    glBindTexture(GL_TEXTURE_2D, textureId);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    pushOrtho(static_cast<float>(width), static_cast<float>(height));
    GLint mode = GL_MODELVIEW;
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
    drawQuad(0, 0, width, height);
    glPopMatrix();
    glMatrixMode(static_cast<GLenum>(mode));
    popOrtho();
    glBindTexture(GL_TEXTURE_2D, 0);
    glPopAttrib();
}

void Framebuffer::unbindFallback() {
    if (textureId != 0) {
        GLint previous = 0;
        glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
        glBindTexture(GL_TEXTURE_2D, textureId);
        glCopyTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 0, 0, width, height);
        glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    }
    glClearColor(0.4f, 0.4f, 0.4f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glPopAttrib();
}

void Framebuffer::destroy() {
    if (textureId != 0) glDeleteTextures(1, &textureId);
    if (framebufferId != 0) glDeleteFramebuffers(1, &framebufferId);
    if (renderbufferId != 0) glDeleteRenderbuffers(1, &renderbufferId);
    textureId = framebufferId = renderbufferId = 0;
    complete = false;
    updated = false;
}
