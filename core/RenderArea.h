#pragma once
// A rectangle of the window in pixels, origin at the lower left.
struct RenderArea {
    float x = 0, y = 0, width = 1024.0f, height = 768.0f;
};
