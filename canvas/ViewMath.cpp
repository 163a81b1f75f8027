#include "canvas/ViewMath.h"

// The mappings work in double and round once at the end: at high zoom the
// float inputs alone would cost a visible fraction of a window pixel.

namespace {
double trunc(float v) { return static_cast<double>(static_cast<int>(v)); }
} // namespace

math::Vec2 canvasToWindow(const ViewGeometry& g, math::Vec2 c) {
    const Camera& cam = g.camera;
    const double w = trunc(g.renderWidth), h = trunc(g.renderHeight);
    const double s = cam.scale(g.renderHeight);
    const double px = double(c.x) - g.canvasWidth / 2.0 + cam.position.x;
    const double py = double(c.y) - g.canvasHeight / 2.0 + cam.position.y;
    const double qx = double(cam.m10) * py + double(cam.m00) * px;
    const double qy = double(cam.m11) * py + double(cam.m01) * px;
    return {static_cast<float>(qx * s + w / 2), static_cast<float>(qy * s + h / 2)};
}

math::Vec2 windowToCanvas(const ViewGeometry& g, math::Vec2 v) {
    const Camera& cam = g.camera;
    const double w = trunc(g.renderWidth), h = trunc(g.renderHeight);
    const double s = cam.scale(g.renderHeight);
    const double dx = (double(v.x) - w / 2) / s, dy = (double(v.y) - h / 2) / s;
    return {static_cast<float>(double(cam.m01) * dy + double(cam.m00) * dx - cam.position.x + g.canvasWidth / 2.0),
            static_cast<float>(double(cam.m11) * dy + double(cam.m10) * dx - cam.position.y +
                               g.canvasHeight / 2.0)};
}

float fitHeight(int W, int H, float renderWidth, float renderHeight) {
    const float w = static_cast<float>(trunc(renderWidth)), h = static_cast<float>(trunc(renderHeight));
    float z = static_cast<float>(H);
    if (H / h < W / w) z = static_cast<float>(static_cast<int>((h / w) * W));
    return z * 0.5f;
}
