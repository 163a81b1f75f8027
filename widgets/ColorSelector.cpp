#include "widgets/ColorSelector.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>

#include "canvas/ShaderProgram.h"
#include "canvas/Shaders.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "widgets/DrawHelpers.h"
#include "widgets/InterfaceImages.h"

namespace colorsel {

namespace {
constexpr float kPi = 3.14159265358979f;
} // namespace

Geometry geometryFor(float width) {
    Geometry g;
    g.outer = width / 2.0f;
    g.inner = 0.7f * g.outer;
    g.markerRadius = 0.85f * g.outer;
    const float radius = g.outer * 0.7f * 0.9f;
    for (int i = 0; i < 4; ++i) {
        const float angle = kPi / 4.0f + static_cast<float>(i) * kPi / 2.0f;
        g.corners[static_cast<std::size_t>(i)] = {radius * std::cos(angle), radius * std::sin(angle)};
    }
    g.half = radius * std::cos(kPi / 4.0f);
    return g;
}

Zone zoneAt(const Geometry& g, math::Vec2 p) {
    const float d = p.length();
    if (d > g.outer) return Zone::Outside;
    if (d <= g.inner) return std::fabs(p.x) <= g.half && std::fabs(p.y) <= g.half ? Zone::Square : Zone::Gap;
    return Zone::Ring;
}

float hueAt(math::Vec2 p) {
    float h = 360.0f - std::atan2(p.y, p.x) * math::kDegreesPerRadian;
    if (h >= 360.0f) h -= 360.0f;
    return h;
}

SatVal satValAt(const Geometry& g, math::Vec2 p) {
    return {(p.x - g.left()) / (g.right() - g.left()), (p.y - g.bottom()) / (g.top() - g.bottom())};
}

math::Vec2 clampToSquare(const Geometry& g, math::Vec2 p) {
    return {std::clamp(p.x, g.left(), g.right()), std::clamp(p.y, g.bottom(), g.top())};
}

math::Vec2 ringMarkerFor(const Geometry& g, float hueDegrees) {
    const float a = -hueDegrees / math::kDegreesPerRadian;
    return {g.markerRadius * std::cos(a), g.markerRadius * std::sin(a)};
}

math::Vec2 squareMarkerFor(const Geometry& g, float s, float v) {
    return g.corners[2] + math::Vec2{s, v} * g.side();
}

int32_t axisFor(math::Vec2 marker, math::Vec2 pointer) {
    const math::Vec2 d = pointer - marker;
    return std::fabs(d.y) <= std::fabs(d.x) ? kHorizontalGuide : kVerticalGuide;
}

math::Vec2 projectOnGuide(const Geometry& g, int32_t axis, math::Vec2 origin, math::Vec2 pointer) {
    if (axis == kHorizontalGuide) return {std::clamp(pointer.x, g.left(), g.right()), origin.y};
    if (axis == kVerticalGuide) return {origin.x, std::clamp(pointer.y, g.bottom(), g.top())};
    return pointer;
}

} // namespace colorsel

using colorsel::Zone;

ColorSelector::ColorSelector(int width_, int height_, ColorRecordRef record)
    : Widget(0, 0, width_, height_), colorRecord(std::move(record)) {
    refreshMarkers();
}

math::Vec2 ColorSelector::relative(int x, int y) const {
    return {static_cast<float>(x) - absX, static_cast<float>(y) - absY};
}

bool ColorSelector::hitTest(int x, int y) const {
    const Zone zone = colorsel::zoneAt(geometry(), relative(x, y));
    return zone == Zone::Square || zone == Zone::Ring;
}

void ColorSelector::refreshMarkers() {
    const colorsel::Geometry g = geometry();
    corners = g.corners;
    const brush::Hsv c = colorRecord.hsvValue();
    ringMarker = colorsel::ringMarkerFor(g, c.h);
    squareMarker = colorsel::squareMarkerFor(g, c.s, c.v);
}

void ColorSelector::setHueFrom(math::Vec2 p) {
    brush::Hsv c = colorRecord.hsvValue();
    c.h = colorsel::hueAt(p);
    colorRecord.write(c);
    refreshMarkers();
}

void ColorSelector::setSatValFrom(math::Vec2 p) {
    const colorsel::SatVal sv = colorsel::satValAt(geometry(), p);
    brush::Hsv c = colorRecord.hsvValue();
    // The edges themselves may come out a rounding step beyond 0..1.
    c.s = std::clamp(sv.s, 0.0f, 1.0f);
    c.v = std::clamp(sv.v, 0.0f, 1.0f);
    colorRecord.write(c);
    refreshMarkers();
}

int ColorSelector::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    (void)fromPen;
    pressingSquare = pressingRing = false;
    const bool left = button == 0;
    if (left && state == 1) pressing = false;
    const math::Vec2 p = relative(x, y);
    const Zone zone = colorsel::zoneAt(geometry(), p);
    if (zone == Zone::Outside || zone == Zone::Gap) return 0;
    if (zone == Zone::Square) pressingSquare = true;
    else pressingRing = true;
    if (!left || state == 1) return 1;
    if (pressingRing) setHueFrom(p);
    else setSatValFrom(axisLock != colorsel::kNoLock ? lockedPosition : p);
    pressing = true;
    return 1;
}

int ColorSelector::onMouseMove(int x, int y, bool fromPen) {
    (void)fromPen;
    const colorsel::Geometry g = geometry();
    const math::Vec2 p = relative(x, y);
    if (gInputState.shift && colorsel::zoneAt(g, p) == Zone::Square) {
        // The first move with Shift down picks the guide; later moves slide
        // along it until Shift goes up (update drops the lock then).
        if (axisLock == colorsel::kNoLock) {
            lockOrigin = squareMarker;
            axisLock = colorsel::axisFor(squareMarker, p);
        }
        lockedPosition = colorsel::projectOnGuide(g, axisLock, lockOrigin, p);
        pointerInside = true;
        return 1;
    }
    pointerInside = hitTest(x, y);
    return pointerInside ? 1 : 0;
}

int ColorSelector::onMouseDrag(int x, int y, bool fromPen) {
    // The held-button flags are refreshed once a tick; a drag that this widget
    // took the press of has the left button down whatever they still say.
    const bool leftHeld = gInputState.leftButton || pressing;
    if (!leftHeld) {
        if (gInputState.rightButton && onMouseMove(x, y, fromPen) != 0) return 1;
        return hitTest(x, y) ? 1 : 0;
    }
    if (!pressing) return 0;
    const math::Vec2 p = relative(x, y);
    if (pressingRing) {
        setHueFrom(p);
    } else if (pressingSquare) {
        const colorsel::Geometry g = geometry();
        math::Vec2 q;
        if (gInputState.shift && axisLock != colorsel::kNoLock) {
            q = colorsel::projectOnGuide(g, axisLock, lockOrigin, p);
            lockedPosition = q;
        } else {
            q = colorsel::clampToSquare(g, p);
        }
        setSatValFrom(q);
    }
    return 1;
}

bool ColorSelector::update(int elapsedMs, int originX, int originY) {
    Widget::update(elapsedMs, originX, originY);
    refreshMarkers();
    // Shift pressed while the pointer rests over the square starts the lock;
    // Shift let go frees the marker again.
    if (axisLock == colorsel::kNoLock && gInputState.shift)
        onMouseMove(gInputState.mouseX, gInputState.mouseY, false);
    else if (axisLock != colorsel::kNoLock && !gInputState.shift)
        axisLock = colorsel::kNoLock;
    return true;
}

void ColorSelector::drawSquare(float a, const colorsel::Geometry& g) const {
    const math::Vec2 c{absX, absY};
    const brush::Rgb hue = brush::hsvToRgb({colorRecord.hsvValue().h, 1.0f, 1.0f});
    if (colorSquareProgram.compiled) {
        colorSquareProgram.use();
        glColor4f(hue.r, hue.g, hue.b, a);
        // Texture (0, 0) at the lower left, (1, 1) at the upper right.
        drawCorners(c + g.corners[2], c + g.corners[3], c + g.corners[0], c + g.corners[1]);
        ShaderProgram::useNone();
        return;
    }
    // Ten strips across: the top edge from white to the pure hue, the bottom black.
    const float left = c.x + g.left(), bottom = c.y + g.bottom(), top = c.y + g.top(), side = g.side();
    glBegin(GL_QUADS);
    for (int i = 0; i < 10; ++i) {
        const float t0 = static_cast<float>(i) / 10.0f, t1 = static_cast<float>(i + 1) / 10.0f;
        const float x0 = left + side * t0, x1 = left + side * t1;
        glColor4f(0, 0, 0, a);
        glVertex2f(x0, bottom);
        glVertex2f(x1, bottom);
        glColor4f(1 - t1 + hue.r * t1, 1 - t1 + hue.g * t1, 1 - t1 + hue.b * t1, a);
        glVertex2f(x1, top);
        glColor4f(1 - t0 + hue.r * t0, 1 - t0 + hue.g * t0, 1 - t0 + hue.b * t0, a);
        glVertex2f(x0, top);
    }
    glEnd();
}

void ColorSelector::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    const float s = GuiScale;
    const float cx = absX, cy = absY;
    const colorsel::Geometry g = geometry();

    if (const GLuint ring = interfaceTexture("color_selector.png")) {
        const float side = width + 20.0f * s;
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, ring);
        glColor4f(1, 1, 1, a);
        drawTexturedQuad(cx - side / 2, cy - side / 2, side, side);
        glBindTexture(GL_TEXTURE_2D, 0);
        glDisable(GL_TEXTURE_2D);
    }

    drawSquare(a, g);

    glColor4f(1, 1, 1, a);
    drawRing(60, cx + ringMarker.x, cy + ringMarker.y, 3 * s, 5 * s);

    if (axisLock == colorsel::kNoLock) {
        drawRing(60, cx + squareMarker.x, cy + squareMarker.y, 3 * s, 5 * s);
        return;
    }
    // The guide in a thin frame reaching 2 units past it on every side, the
    // pointer's place on it in red, the marker where the lock began in white.
    const float m = 2 * s;
    if (axisLock == colorsel::kHorizontalGuide)
        drawFrame(cx + g.left() - m, cy + lockOrigin.y - m, g.right() - g.left() + 2 * m, 2 * m, 1.0f);
    else
        drawFrame(cx + lockOrigin.x - m, cy + g.bottom() - m, 2 * m, g.top() - g.bottom() + 2 * m, 1.0f);
    glColor4f(1, 0, 0, a);
    drawRing(60, cx + lockedPosition.x, cy + lockedPosition.y, 2 * s, 4 * s);
    glColor4f(1, 1, 1, a);
    drawRing(60, cx + lockOrigin.x, cy + lockOrigin.y, 3 * s, 5 * s);
}
