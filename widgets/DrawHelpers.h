#pragma once
// Immediate-mode drawing helpers shared by all widgets. Coordinates are in
// the current projection (window pixels inside the GUI passes). Colour is
// whatever glColor the caller set, except where a helper takes one. None of
// them enables or disables texturing: untextured helpers expect
// GL_TEXTURE_2D off, the textured ones expect it on with a texture bound.
#include <array>
#include <vector>

#include "core/Math.h"

// Saves the transform state, sets the viewport and pushes an orthographic
// projection 0..width, 0..height with an identity model-view.
void setOrthoViewport(int width, int height);
// The same without touching the viewport.
void pushOrtho2D(float width, float height);
// Undoes either of the two above (the viewport is restored too).
void popOrtho2D();

// Filled rectangle.
void drawRect(float x, float y, float width, float height);
void drawRect(int x, int y, int width, int height);
// Closed ring as one quad strip, step 2 pi / segments.
void drawRing(int segments, float cx, float cy, float innerRadius, float outerRadius);
// Part of a ring from angle 0 (straight up) to angleDegrees, clockwise for
// positive angles.
void drawArc(float angleDegrees, float cx, float cy, float radiusA, float radiusB);
// A glow around the rectangle: rgb at `alpha` on its edge fading to 0 at
// `thickness` outside.
void drawSoftFrame(int x, int y, int width, int height, int thickness, const float rgb[3], float alpha);
void drawTriangleList(const std::vector<std::array<math::Vec2, 3>>& triangles);
// Frame inside the rectangle.
void drawFrame(float x, float y, float width, float height, float thickness);
void drawFrame(int x, int y, int width, int height, int thickness);
// Texture coordinates (0,0) at (x, y) to (1,1) at the far corner.
void drawTexturedQuad(float x, float y, float width, float height);
void drawTexturedQuad(int x, int y, int width, int height);
// Quad through four points with texture coordinates (0,0) (1,0) (1,1) (0,1).
void drawCorners(math::Vec2 a, math::Vec2 b, math::Vec2 c, math::Vec2 d);

// Soft panel shadow through the box-shadow program, falling right and down.
// Callers check the shadow option first. Window pixels.
void drawShadow(math::Vec2 position, math::Vec2 size, float offset, float distance, float alpha);
// The highlight of the tool bar's panels and menus: a faint white frame and a
// sheen over the left part with a slanted right edge (alpha falls from 0.2 to
// 0.1 of `alpha` across it).
void drawPanelGloss(math::Vec2 position, math::Vec2 size, float alpha);
