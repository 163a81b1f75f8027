#include "core/WindowPlacement.h"

#include <algorithm>

WindowPlacement placeWindow(int savedX, int savedY, int savedWidth, int savedHeight, int screenWidth,
                            int screenHeight) {
    if (savedX >= 0) return {savedX, savedY, savedWidth, savedHeight};
    const int w = std::min(savedWidth, screenWidth);
    const int h = std::min(savedHeight, screenHeight);
    return {(screenWidth - w) / 2, (screenHeight - h) / 2, w, h};
}

CanvasSize limitStartCanvas(int width, int height, bool framebufferObjects, int maxRenderbufferSize) {
    const int limit = framebufferObjects ? maxRenderbufferSize / 2 : 512;
    return {std::min(width, limit), std::min(height, limit)};
}

WindowPlacement placementToStore(int clientX, int clientY, int clientWidth, int clientHeight,
                                 const FrameExtents& frame) {
    return {clientX - frame.left, clientY - frame.top, clientWidth, clientHeight};
}
