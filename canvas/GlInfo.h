#pragma once
// What the GL driver says about itself, read once at start-up, and the
// process-wide answer to "can we render into framebuffer objects?".
#include <cstdint>
#include <cstdio>
#include <iosfwd>
#include <string>
#include <vector>

struct GlInfo {
    std::string vendor;   // GL_VENDOR
    std::string renderer; // GL_RENDERER
    std::string version;  // GL_VERSION
    std::vector<std::string> extensions;
    bool loaded = false;  // true once filled from a context

    // Reads the strings of the context current on this thread.
    static GlInfo readFromCurrentContext();
    // Builds the record from given strings; the extension list is split at blanks.
    static GlInfo fromStrings(const std::string& vendor, const std::string& renderer,
                              const std::string& version, const std::string& extensionList);

    bool hasExtension(const char* name) const;
};

// The GL information of the main context; main() fills it right after glewInit.
extern GlInfo gGlInfo;

// Framebuffer-object capability, shared by every Framebuffer of the process.
struct FramebufferCapability {
    bool framebufferTested = false;
    bool framebufferSupported = false;
    int32_t maxRenderbufferSize = 0; // GL_MAX_RENDERBUFFER_SIZE, 0 when unsupported
};

extern FramebufferCapability gFramebufferCapability;

// The one-time test: looks for GL_ARB_framebuffer_object in info, writes the
// verdict line to out, reads GL_MAX_RENDERBUFFER_SIZE (needs a current context
// only when the extension is present) and marks the capability tested.
void testFramebufferSupport(const GlInfo& info, FramebufferCapability& capability, std::ostream& out);

// Runs the test on gGlInfo (reading it from the current context if main has
// not) with the diagnostics stream, unless it has run already.
void ensureFramebufferTested();

// GL diagnostics ("Framebuffer complete." and the verdict above) go to
// standard output in the window program. Batch mode sets this: standard
// output then carries only what the command prints, and only problems (an
// incomplete framebuffer, no framebuffer objects) are said, on standard error,
// so a refused file still gets one line there.
extern bool gGlDiagnosticsToStderr;
// Where a diagnostic goes; null for a routine one in batch mode.
std::FILE* glDiagnosticsFile(bool problem);
