#pragma once
// An OpenGL context without a window or a display server: EGL on Mesa's
// surfaceless platform (llvmpipe when there is no GPU). Used by the GL tests
// and by batch commands that render without a window.
//
// The context is a desktop GL compatibility profile, since the painting code
// relies on the fixed pipeline, immediate mode, ftransform() and
// GL_GENERATE_MIPMAP. GLEW is initialised on it (see create()).
#include <string>

namespace platform {

class HeadlessGlContext {
public:
    // With a non-zero size a pbuffer of that size is made current as well, so
    // that the default framebuffer (GL_BACK) exists; with 0 x 0 the context is
    // surfaceless and only framebuffer objects can be drawn to.
    explicit HeadlessGlContext(int surfaceWidth = 0, int surfaceHeight = 0);
    ~HeadlessGlContext();
    HeadlessGlContext(const HeadlessGlContext&) = delete;
    HeadlessGlContext& operator=(const HeadlessGlContext&) = delete;

    // Creates the context, makes it current on the calling thread and runs
    // glewInit. On failure returns false, fills *error (if given) and leaves
    // nothing allocated.
    bool create(std::string* error);

    // Makes this context current again on the calling thread.
    bool makeCurrent();

    bool valid() const { return context != nullptr; }
    bool hasSurface() const { return surface != nullptr; }

private:
    void release();

    int surfaceWidth;
    int surfaceHeight;
    void* display = nullptr; // EGLDisplay
    void* context = nullptr; // EGLContext
    void* surface = nullptr; // EGLSurface, pbuffer, or null when surfaceless
    bool displayInitialised = false;
};

} // namespace platform
