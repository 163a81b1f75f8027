#include "core/Camera.h"

#include <GL/glew.h>
#include <GL/glu.h>
#include <cmath>
#include <limits>

void Camera::setRotation() {
    const float r = rotation / math::kDegreesPerRadian;
    m00 = std::cos(r);
    m01 = std::sin(r);
    m10 = -std::sin(r);
    m11 = std::cos(r);
    if (viewMirrored) {
        m00 = -m00;
        m10 = -m10;
    }
}

void Camera::apply() const {
    glLoadIdentity();
    gluLookAt(0, 0, position.z, 0, 0, position.z + distance * direction.z, up.x, up.y, up.z);
    if (viewMirrored) glScalef(-1, 1, 1); // the drawer turns the front face round (Painter::draw)
    glRotatef(rotation, 0, 0, 1);
    glTranslatef(position.x, position.y, 0);
}

void Camera::zoomOutAt(math::Vec2 p, float f) {
    const float z = position.z * f;
    const math::Vec2 pan{position.x, position.y};
    const math::Vec2 q = (pan - p) * f + p;
    const math::Vec2 t = q - pan;
    distance -= direction.dot({t.x, t.y, z - position.z});
    position.x -= m01 * t.y + m00 * t.x;
    position.y -= m11 * t.y + m10 * t.x;
    position.z = z;
}

namespace {
math::Vec3 normalisedGuarded(math::Vec3 v) {
    const float len = v.length();
    if (len <= 2.22e-16f) return v;
    return v / len;
}
} // namespace

void Camera::lookFrom(float height) {
    const math::Vec3 eye{0, 0, height};
    const math::Vec3 centre{0, 0, 0};
    const math::Vec3 toCentre = centre - eye;
    distance = toCentre.length();
    direction = normalisedGuarded(toCentre);
    position = eye;
    // up from the cross products, as a look-at would derive it
    const math::Vec3 worldUp{0, 1, 0};
    const math::Vec3 side = normalisedGuarded(direction.cross(worldUp));
    up = side.cross(direction);
    rotation = 0;
    setRotation();
}

float Camera::scale(float renderHeight) const {
    if (distance < 0) return 0; // denominator counts as infinity
    return static_cast<float>(static_cast<int>(renderHeight)) / (2.0f * distance);
}
