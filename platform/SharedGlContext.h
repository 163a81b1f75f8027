#pragma once
// A second GL context that shares textures and programs with the window's
// context, for the process-loader thread. Objects made there are visible in
// the main context once the worker has called glFinish().
//
// create() runs on the main thread with the window's context current (after
// glutCreateWindow); makeCurrent()/release() run on the worker. The object is
// destroyed on the main thread while no thread has it current.
#include <string>

struct _XDisplay;
struct __GLXcontextRec;

namespace platform {

class SharedGlContext {
public:
    SharedGlContext() = default;
    ~SharedGlContext();
    SharedGlContext(const SharedGlContext&) = delete;
    SharedGlContext& operator=(const SharedGlContext&) = delete;

    // False with a reason in *error (may be null) when sharing is impossible;
    // the main context stays current either way.
    bool create(std::string* error);
    bool isCreated() const { return context != nullptr; }

    // Binds the context (with its own 1x1 off-screen drawable) to the calling
    // thread; false when it cannot.
    bool makeCurrent();
    // Unbinds whatever context the calling thread has on this display.
    void release();

private:
    void destroy();

    _XDisplay* display = nullptr;
    __GLXcontextRec* context = nullptr;
    unsigned long pbuffer = 0; // GLXPbuffer; 0 = bound without a drawable
};

} // namespace platform
