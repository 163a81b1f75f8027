#include "widgets/DrawHelpers.h"

#include <GL/glew.h>
#include <GL/glu.h>

#include <cmath>

#include "canvas/ShaderProgram.h"
#include "canvas/Shaders.h"
#include "core/Math.h"

namespace {
constexpr float kTwoPi = 6.28318530718f;
} // namespace

void setOrthoViewport(int width, int height) {
    glPushAttrib(GL_TRANSFORM_BIT | GL_VIEWPORT_BIT);
    glViewport(0, 0, width, height);
    pushOrtho2D(static_cast<float>(width), static_cast<float>(height));
}

void pushOrtho2D(float width, float height) {
    glPushAttrib(GL_TRANSFORM_BIT);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    gluOrtho2D(0, width, 0, height);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
}

void popOrtho2D() {
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glPopAttrib();
}

void drawRect(float x, float y, float w, float h) {
    glBegin(GL_QUADS);
    glVertex2f(x, y);
    glVertex2f(x + w, y);
    glVertex2f(x + w, y + h);
    glVertex2f(x, y + h);
    glEnd();
}

void drawRect(int x, int y, int w, int h) {
    drawRect(static_cast<float>(x), static_cast<float>(y), static_cast<float>(w), static_cast<float>(h));
}

void drawRing(int segments, float cx, float cy, float innerRadius, float outerRadius) {
    if (segments <= 0) return;
    const float step = kTwoPi / static_cast<float>(segments);
    glBegin(GL_QUAD_STRIP);
    for (int i = 0; i <= segments; ++i) {
        const float s = std::sin(step * i), c = std::cos(step * i);
        glVertex2f(cx + s * outerRadius, cy + c * outerRadius);
        glVertex2f(cx + s * innerRadius, cy + c * innerRadius);
    }
    glEnd();
}

void drawArc(float angleDegrees, float cx, float cy, float radiusA, float radiusB) {
    const float end = angleDegrees / math::kDegreesPerRadian;
    const float step = (end < 0 ? -1.0f : 1.0f) * kTwoPi / 60.0f;
    if (end < 0) std::swap(radiusA, radiusB);
    glBegin(GL_QUAD_STRIP);
    auto vertexPair = [&](float angle) {
        const float s = std::sin(angle), c = std::cos(angle);
        glVertex2f(cx + s * radiusA, cy + c * radiusA);
        glVertex2f(cx + s * radiusB, cy + c * radiusB);
    };
    float angle = 0.0f;
    for (; std::fabs(angle) < std::fabs(end); angle += step) vertexPair(angle);
    vertexPair(end);
    glEnd();
}

void drawSoftFrame(int x, int y, int w, int h, int thickness, const float rgb[3], float alpha) {
    const float t = static_cast<float>(thickness);
    const float x0 = static_cast<float>(x), y0 = static_cast<float>(y);
    const float x1 = x0 + static_cast<float>(w), y1 = y0 + static_cast<float>(h);
    const float inner[5][2] = {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}, {x0, y0}};
    const float outer[5][2] = {{x0 - t, y0 - t}, {x1 + t, y0 - t}, {x1 + t, y1 + t}, {x0 - t, y1 + t}, {x0 - t, y0 - t}};
    glBegin(GL_QUAD_STRIP);
    for (int i = 0; i < 5; ++i) {
        glColor4f(rgb[0], rgb[1], rgb[2], alpha);
        glVertex2f(inner[i][0], inner[i][1]);
        glColor4f(rgb[0], rgb[1], rgb[2], 0.0f);
        glVertex2f(outer[i][0], outer[i][1]);
    }
    glEnd();
}

void drawTriangleList(const std::vector<std::array<math::Vec2, 3>>& triangles) {
    glBegin(GL_TRIANGLES);
    for (const auto& t : triangles)
        for (const math::Vec2& p : t) glVertex2f(p.x, p.y);
    glEnd();
}

void drawFrame(float x, float y, float w, float h, float t) {
    const float x1 = x + w, y1 = y + h;
    const float outer[5][2] = {{x, y}, {x1, y}, {x1, y1}, {x, y1}, {x, y}};
    const float inner[5][2] = {{x + t, y + t}, {x1 - t, y + t}, {x1 - t, y1 - t}, {x + t, y1 - t}, {x + t, y + t}};
    glBegin(GL_QUAD_STRIP);
    for (int i = 0; i < 5; ++i) {
        glVertex2f(outer[i][0], outer[i][1]);
        glVertex2f(inner[i][0], inner[i][1]);
    }
    glEnd();
}

void drawFrame(int x, int y, int w, int h, int t) {
    drawFrame(static_cast<float>(x), static_cast<float>(y), static_cast<float>(w), static_cast<float>(h),
              static_cast<float>(t));
}

void drawTexturedQuad(float x, float y, float w, float h) {
    glBegin(GL_QUADS);
    glTexCoord2f(0, 0); glVertex2f(x, y);
    glTexCoord2f(1, 0); glVertex2f(x + w, y);
    glTexCoord2f(1, 1); glVertex2f(x + w, y + h);
    glTexCoord2f(0, 1); glVertex2f(x, y + h);
    glEnd();
}

void drawTexturedQuad(int x, int y, int w, int h) {
    drawTexturedQuad(static_cast<float>(x), static_cast<float>(y), static_cast<float>(w), static_cast<float>(h));
}

void drawCorners(math::Vec2 a, math::Vec2 b, math::Vec2 c, math::Vec2 d) {
    glBegin(GL_QUADS);
    glTexCoord2f(0, 0); glVertex2f(a.x, a.y);
    glTexCoord2f(1, 0); glVertex2f(b.x, b.y);
    glTexCoord2f(1, 1); glVertex2f(c.x, c.y);
    glTexCoord2f(0, 1); glVertex2f(d.x, d.y);
    glEnd();
}

void drawShadow(math::Vec2 position, math::Vec2 size, float offset, float distance, float alpha) {
    if (!boxShadowProgram.compiled) return;
    const float cx = position.x + size.x / 2 + offset, cy = position.y + size.y / 2 - offset;
    boxShadowProgram.use();
    boxShadowProgram.setVec2("center", cx, cy);
    boxShadowProgram.setVec2("extent", size.x / 2, size.y / 2);
    boxShadowProgram.setFloat("distance", distance);
    glColor4f(0, 0, 0, alpha);
    const float half = distance / 2;
    drawRect(cx - size.x / 2 - half, cy - size.y / 2 - half, size.x + distance, size.y + distance);
    ShaderProgram::useNone();
}

void drawPanelGloss(math::Vec2 position, math::Vec2 size, float alpha) {
    const float left = position.x, bottom = position.y, w = size.x, h = size.y;
    glColor4f(1, 1, 1, 0.5f * alpha);
    drawFrame(left, bottom, w, h, 1.0f);
    glBegin(GL_QUADS);
    glColor4f(1, 1, 1, 0.2f * alpha);
    glVertex2f(left, bottom + h);
    glVertex2f(left, bottom);
    glColor4f(1, 1, 1, 0.1f * alpha);
    glVertex2f(left + w / 3, bottom);
    glVertex2f(left + 2 * w / 3, bottom + h);
    glEnd();
}
