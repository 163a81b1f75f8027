#pragma once
// Start-up geometry decisions, kept free of the window system so they can be tested.

struct WindowPlacement {
    int x, y, width, height;
};

// A saved position with x < 0 was never saved: the size is limited to the
// screen and the window centred. Otherwise the saved values stand as they are.
WindowPlacement placeWindow(int savedX, int savedY, int savedWidth, int savedHeight, int screenWidth,
                            int screenHeight);

struct CanvasSize {
    int width, height;
};

// The default canvas at start-up: each side at most half the largest
// renderbuffer with framebuffer objects, at most 512 without.
CanvasSize limitStartCanvas(int width, int height, bool framebufferObjects, int maxRenderbufferSize);

// The frame a window manager draws around the client area.
struct FrameExtents {
    int left = 0, right = 0, top = 0, bottom = 0;
};

// The placement stored at exit: the outer corner (the frame's, which is what
// a window manager places when a window asks for a position) and the client
// size (what the window asks for). Restoring it puts the window where it was;
// storing the client corner instead moves it by the frame on every start.
WindowPlacement placementToStore(int clientX, int clientY, int clientWidth, int clientHeight,
                                 const FrameExtents& frame);

// Remembers the last placement seen while the window was not maximised, so
// that a maximised run stores the size to go back to.
class NormalPlacement {
public:
    explicit NormalPlacement(WindowPlacement initial) : normal_(initial) {}
    void observe(bool maximised, const WindowPlacement& current) {
        if (!maximised) normal_ = current;
    }
    const WindowPlacement& normal() const { return normal_; }

private:
    WindowPlacement normal_;
};
