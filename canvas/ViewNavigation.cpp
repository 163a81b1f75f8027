#include "canvas/ViewNavigation.h"

#include <memory>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/ViewMath.h"
#include "core/Camera.h"
#include "widgets/Animator.h"

namespace {
constexpr int kEasing = 4;
constexpr int kDurationMs = 1000;

float moveCameraTo(Painter& painter, float height) {
    Camera* cam = painter.camera;
    // The eye moves along the view direction, so the distance follows the height.
    auto position = std::make_shared<FieldEasingInterpolator<math::Vec3, 1>>(
        [cam](const math::Vec3& p) {
            cam->distance -= cam->direction.dot(p - cam->position);
            cam->position = p;
        },
        kEasing);
    position->start(0, kDurationMs, cam->position, {0, 0, height});
    auto rotation = std::make_shared<FieldEasingInterpolator<float, 1>>(
        [cam](const float& angle) {
            cam->rotation = angle;
            cam->setRotation();
        },
        kEasing);
    rotation->start(0, kDurationMs, cam->rotation, 0.0f);
    AnimatorRegistry::instance().add(kCameraPositionAnimator, position);
    AnimatorRegistry::instance().add(kCameraRotationAnimator, rotation);
    return height;
}
} // namespace

float fitToWindow(Painter& painter) {
    return moveCameraTo(painter, fitHeight(painter.canvas->width, painter.canvas->height,
                                           painter.renderArea.width, painter.renderArea.height));
}

float zoomTo100(Painter& painter) {
    return moveCameraTo(painter, static_cast<float>(static_cast<int>(painter.renderArea.height)) / 2);
}

void fitToWindowNow(Painter& painter) {
    painter.camera->lookFrom(fitHeight(painter.canvas->width, painter.canvas->height, painter.renderArea.width,
                                       painter.renderArea.height));
}
