#pragma once
// Window <-> canvas mappings. Window coordinates are relative to the render
// area, y up; canvas coordinates are pixels from the canvas's lower left.
#include "core/Camera.h"
#include "core/Math.h"
#include "core/RenderArea.h"

struct ViewGeometry {
    const Camera& camera;
    float renderWidth;   // render area size, truncated by the mappings
    float renderHeight;
    int canvasWidth;
    int canvasHeight;
};

math::Vec2 canvasToWindow(const ViewGeometry& g, math::Vec2 c);
math::Vec2 windowToCanvas(const ViewGeometry& g, math::Vec2 v);

// Camera height that fits a W x H canvas into a w x h render area.
float fitHeight(int canvasWidth, int canvasHeight, float renderWidth, float renderHeight);
