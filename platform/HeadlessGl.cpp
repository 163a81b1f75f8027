#include <GL/glew.h>

#include "platform/HeadlessGl.h"
#include "platform/LeakReports.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstdio>
#include <cstring>
#include <mutex>

namespace platform {

namespace {

// eglGetPlatformDisplayEXT hands every caller the same display and
// eglTerminate is not counted, so the last context alive terminates it.
std::mutex gDisplayMutex;
int gDisplayUsers = 0;

bool hasToken(const char* list, const char* token) {
    if (list == nullptr) return false;
    const size_t n = std::strlen(token);
    for (const char* p = list; (p = std::strstr(p, token)) != nullptr; p += n) {
        const bool startOk = p == list || p[-1] == ' ';
        const bool endOk = p[n] == '\0' || p[n] == ' ';
        if (startOk && endOk) return true;
    }
    return false;
}

bool fail(std::string* error, const std::string& text) {
    char code[32];
    std::snprintf(code, sizeof code, " (EGL error 0x%04X)", static_cast<unsigned>(eglGetError()));
    if (error != nullptr) *error = text + code;
    return false;
}

} // namespace

HeadlessGlContext::HeadlessGlContext(int surfaceWidth_, int surfaceHeight_)
    : surfaceWidth(surfaceWidth_), surfaceHeight(surfaceHeight_) {}

HeadlessGlContext::~HeadlessGlContext() { release(); }

void HeadlessGlContext::release() {
    EGLDisplay dpy = static_cast<EGLDisplay>(display);
    if (dpy != EGL_NO_DISPLAY && displayInitialised) {
        if (eglGetCurrentContext() == static_cast<EGLContext>(context))
            eglMakeCurrent(dpy, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        if (surface != nullptr) eglDestroySurface(dpy, static_cast<EGLSurface>(surface));
        if (context != nullptr) eglDestroyContext(dpy, static_cast<EGLContext>(context));
        std::lock_guard<std::mutex> lock(gDisplayMutex);
        if (--gDisplayUsers == 0) eglTerminate(dpy);
    }
    surface = nullptr;
    context = nullptr;
    display = nullptr;
    displayInitialised = false;
}

bool HeadlessGlContext::create(std::string* error) {
    if (context != nullptr) return makeCurrent();

    const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!hasToken(clientExtensions, "EGL_MESA_platform_surfaceless"))
        return fail(error, "EGL has no surfaceless platform (EGL_MESA_platform_surfaceless)");
    auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay == nullptr) return fail(error, "eglGetPlatformDisplayEXT is missing");

    EGLDisplay dpy = getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (dpy == EGL_NO_DISPLAY) return fail(error, "no surfaceless EGL display");
    display = dpy;
    {
        std::lock_guard<std::mutex> lock(gDisplayMutex);
        EGLint major = 0, minor = 0;
        if (!eglInitialize(dpy, &major, &minor)) {
            display = nullptr;
            return fail(error, "eglInitialize failed");
        }
        ++gDisplayUsers;
    }
    keepGlDriverLoadedForLeakReports();
    displayInitialised = true;
    if (!eglBindAPI(EGL_OPENGL_API)) {
        release();
        return fail(error, "EGL cannot bind the desktop OpenGL API");
    }

    const bool wantSurface = surfaceWidth > 0 && surfaceHeight > 0;
    const EGLint configAttributes[] = {
        EGL_SURFACE_TYPE, wantSurface ? EGL_PBUFFER_BIT : 0,
        EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT,
        EGL_RED_SIZE, 8, EGL_GREEN_SIZE, 8, EGL_BLUE_SIZE, 8, EGL_ALPHA_SIZE, 8,
        EGL_DEPTH_SIZE, 24, EGL_STENCIL_SIZE, 8,
        EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (!eglChooseConfig(dpy, configAttributes, &config, 1, &count) || count < 1) {
        release();
        return fail(error, "no EGL configuration for desktop OpenGL with RGBA8, depth and stencil");
    }

    // Compatibility profile: the fixed pipeline must be there.
    const EGLint contextAttributes[] = {
        EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT,
        EGL_NONE};
    EGLContext ctx = eglCreateContext(dpy, config, EGL_NO_CONTEXT, contextAttributes);
    if (ctx == EGL_NO_CONTEXT) {
        release();
        return fail(error, "eglCreateContext failed for a compatibility profile");
    }
    context = ctx;

    if (wantSurface) {
        const EGLint pbufferAttributes[] = {EGL_WIDTH, surfaceWidth, EGL_HEIGHT, surfaceHeight, EGL_NONE};
        EGLSurface s = eglCreatePbufferSurface(dpy, config, pbufferAttributes);
        if (s == EGL_NO_SURFACE) {
            release();
            return fail(error, "eglCreatePbufferSurface failed");
        }
        surface = s;
    }
    if (!makeCurrent()) {
        release();
        return fail(error, "eglMakeCurrent failed");
    }

    // GLEW here is the GLX build: after resolving every GL entry point it
    // looks for a GLX display, finds none (the context is EGL) and returns
    // GLEW_ERROR_NO_GLX_DISPLAY. The GL entry points are valid all the same.
    glewExperimental = GL_TRUE;
    const GLenum glewStatus = glewInit();
    if (glewStatus != GLEW_OK && glewStatus != GLEW_ERROR_NO_GLX_DISPLAY) {
        release();
        if (error != nullptr)
            *error = std::string("glewInit failed: ") +
                     reinterpret_cast<const char*>(glewGetErrorString(glewStatus));
        return false;
    }
    if (glCreateShader == nullptr || glBindFramebuffer == nullptr || glUseProgram == nullptr) {
        release();
        if (error != nullptr) *error = "glewInit left shader or framebuffer entry points unresolved";
        return false;
    }
    return true;
}

bool HeadlessGlContext::makeCurrent() {
    if (context == nullptr) return false;
    EGLSurface s = surface != nullptr ? static_cast<EGLSurface>(surface) : EGL_NO_SURFACE;
    return eglMakeCurrent(static_cast<EGLDisplay>(display), s, s,
                          static_cast<EGLContext>(context)) == EGL_TRUE;
}

} // namespace platform
