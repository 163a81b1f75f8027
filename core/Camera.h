#pragma once
// The perspective camera looking straight down at the canvas. With a 90 degree
// field of view the visible half height at distance d is d, so the on-screen
// scale is renderHeight / (2 * distance) window pixels per canvas pixel.
#include "core/Math.h"

struct Camera {
    float rotation = 0;                  // degrees, canvas about z
    math::Vec3 position{0, 0, 0};        // x, y: pan in canvas pixels; z: eye height
    math::Vec3 direction{0, 0, -1};      // unit view vector
    math::Vec3 up{0, 1, 0};
    float fieldOfView = 1.5707964f;      // informational, written at each resize
    float distance = 1.0f;               // eye to canvas along direction
    float m00 = 1, m01 = 0, m10 = 0, m11 = 1; // cos r, sin r, -sin r, cos r
    // The view shows the picture mirrored left to right on screen; the pixels
    // stay as they are and nothing is recorded. Folded into m00 and m10 (the
    // screen's x negated), so every mapping through the matrix follows.
    bool viewMirrored = false;

    // Recompute the rotation matrix from `rotation`.
    void setRotation();
    // Loads the scene into the current model-view matrix (needs GL).
    void apply() const;
    // Zoom about the view-plane point p (canvas units relative to the view).
    void zoomOutAt(math::Vec2 p, float factor);
    void zoomInAt(math::Vec2 p, float factor) { zoomOutAt(p, 1.0f / factor); }
    // Place the eye at `height` above the canvas, looking straight down, unrotated.
    void lookFrom(float height);

    // Window pixels per canvas pixel for a render area of this height.
    float scale(float renderHeight) const;
};
