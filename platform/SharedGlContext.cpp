#include "platform/SharedGlContext.h"

#include "platform/X11Drop.h"

#include <GL/glx.h>

#include <memory>

namespace platform {
namespace {

using ConfigList = std::unique_ptr<GLXFBConfig[], int (*)(void*)>;

ConfigList chooseConfigs(Display* display, int screen, const int* attribs) {
    int count = 0;
    GLXFBConfig* configs = glXChooseFBConfig(display, screen, attribs, &count);
    if (configs && count == 0) {
        XFree(configs);
        configs = nullptr;
    }
    return ConfigList(configs, XFree);
}

// The window context's own config, if it can back a pbuffer, else any RGBA
// config that can: GLX shares objects between contexts of one screen.
GLXFBConfig pickConfig(Display* display, GLXContext main, bool& pbufferCapable) {
    int id = 0, screen = 0;
    glXQueryContext(display, main, GLX_FBCONFIG_ID, &id);
    glXQueryContext(display, main, GLX_SCREEN, &screen);
    const int byId[] = {GLX_FBCONFIG_ID, id, None};
    ConfigList own = chooseConfigs(display, screen, byId);
    int drawableTypes = 0;
    if (own) glXGetFBConfigAttrib(display, own[0], GLX_DRAWABLE_TYPE, &drawableTypes);
    pbufferCapable = true;
    if (own && (drawableTypes & GLX_PBUFFER_BIT)) return own[0];
    const int forPbuffer[] = {GLX_DRAWABLE_TYPE, GLX_PBUFFER_BIT, GLX_RENDER_TYPE, GLX_RGBA_BIT, None};
    ConfigList any = chooseConfigs(display, screen, forPbuffer);
    if (any) return any[0];
    pbufferCapable = false;
    return own ? own[0] : nullptr;
}

} // namespace

SharedGlContext::~SharedGlContext() { destroy(); }

void SharedGlContext::destroy() {
    if (!display) return;
    if (glXGetCurrentContext() == context) release();
    if (pbuffer) glXDestroyPbuffer(display, pbuffer);
    if (context) glXDestroyContext(display, context);
    pbuffer = 0;
    context = nullptr;
    display = nullptr;
}

bool SharedGlContext::create(std::string* error) {
    auto fail = [&](const char* reason) {
        if (error) *error = reason;
        destroy();
        return false;
    };
    destroy();
    Display* dpy = glXGetCurrentDisplay();
    GLXContext main = glXGetCurrentContext();
    GLXDrawable mainDraw = glXGetCurrentDrawable(), mainRead = glXGetCurrentReadDrawable();
    if (!dpy || !main) return fail("no current GL context");
    display = dpy;
    bool pbufferCapable = false;
    GLXFBConfig config = pickConfig(dpy, main, pbufferCapable);
    if (!config) return fail("no usable GLX frame-buffer configuration");
    {
        x11::ErrorTrap trap(dpy);
        context = glXCreateNewContext(dpy, config, GLX_RGBA_TYPE, main, True);
        if (trap.failed() && context) {
            glXDestroyContext(dpy, context);
            context = nullptr;
        }
        if (context && pbufferCapable) {
            const int size[] = {GLX_PBUFFER_WIDTH, 1, GLX_PBUFFER_HEIGHT, 1, None};
            pbuffer = glXCreatePbuffer(dpy, config, size);
            if (trap.failed()) pbuffer = 0; // then bound without a drawable
        }
    }
    if (!context) return fail("glXCreateContext failed");
    // Prove it can be bound, then give the main context back.
    bool bound = false;
    {
        x11::ErrorTrap trap(dpy);
        bound = makeCurrent() && !trap.failed();
        glXMakeContextCurrent(dpy, mainDraw, mainRead, main);
    }
    if (!bound) return fail("glXMakeContextCurrent failed for the shared context");
    return true;
}

bool SharedGlContext::makeCurrent() {
    if (!display || !context) return false;
    return glXMakeContextCurrent(display, pbuffer, pbuffer, context);
}

void SharedGlContext::release() {
    if (display) glXMakeContextCurrent(display, None, None, nullptr);
}

} // namespace platform
