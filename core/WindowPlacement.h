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
