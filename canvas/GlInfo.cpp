#include <GL/glew.h>

#include "canvas/GlInfo.h"

#include <algorithm>
#include <iostream>
#include <sstream>

GlInfo gGlInfo;
FramebufferCapability gFramebufferCapability;
bool gGlDiagnosticsToStderr = false;

std::FILE* glDiagnosticsFile(bool problem) {
    if (!gGlDiagnosticsToStderr) return stdout;
    return problem ? stderr : nullptr;
}

namespace {

std::string glString(GLenum name) {
    const GLubyte* text = glGetString(name);
    return text != nullptr ? std::string(reinterpret_cast<const char*>(text)) : std::string();
}

} // namespace

GlInfo GlInfo::fromStrings(const std::string& vendor, const std::string& renderer,
                           const std::string& version, const std::string& extensionList) {
    GlInfo info;
    info.vendor = vendor;
    info.renderer = renderer;
    info.version = version;
    std::istringstream words(extensionList);
    for (std::string word; words >> word;) info.extensions.push_back(word);
    info.loaded = true;
    return info;
}

GlInfo GlInfo::readFromCurrentContext() {
    return fromStrings(glString(GL_VENDOR), glString(GL_RENDERER), glString(GL_VERSION),
                       glString(GL_EXTENSIONS));
}

bool GlInfo::hasExtension(const char* name) const {
    if (name == nullptr) return false;
    return std::find(extensions.begin(), extensions.end(), name) != extensions.end();
}

void testFramebufferSupport(const GlInfo& info, FramebufferCapability& capability, std::ostream& out) {
    if (info.hasExtension("GL_ARB_framebuffer_object")) {
        capability.framebufferSupported = true;
        if (glDiagnosticsFile(false)) out << "Video card supports GL_ARB_framebuffer_object." << std::endl;
        GLint size = 0;
        glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE, &size);
        capability.maxRenderbufferSize = size;
    } else {
        capability.framebufferSupported = false;
        out << "Video card does NOT support GL_ARB_framebuffer_object." << std::endl;
    }
    capability.framebufferTested = true;
}

void ensureFramebufferTested() {
    if (gFramebufferCapability.framebufferTested) return;
    if (!gGlInfo.loaded) gGlInfo = GlInfo::readFromCurrentContext();
    testFramebufferSupport(gGlInfo, gFramebufferCapability, gGlDiagnosticsToStderr ? std::cerr : std::cout);
}
