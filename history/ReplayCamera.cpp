#include "history/ReplayCamera.h"

#include <algorithm>

#include "history/BrushStrokeAction.h"

void ReplayCamera::reset(float initialWidth, float initialHeight) {
    sizeRing.fill(math::Vec2{initialWidth, initialHeight});
    ringPosition = 0;
}

float replayFitHalf(int canvasWidth, int canvasHeight, float renderWidth, float renderHeight) {
    const float w = static_cast<float>(canvasWidth), h = static_cast<float>(canvasHeight);
    const float chosen = renderHeight / (h + 1.0f) < renderWidth / (w + 1.0f) ? h : w;
    return chosen * 0.5f;
}

std::optional<CameraAim> ReplayCamera::aim(const std::vector<std::unique_ptr<HistoryAction>>& actions,
                                           int32_t position, int canvasWidth, int canvasHeight,
                                           float renderWidth, float renderHeight) {
    const float fitHalf = replayFitHalf(canvasWidth, canvasHeight, renderWidth, renderHeight);
    const int32_t count = static_cast<int32_t>(actions.size());
    // The last action of the list is left out of the window.
    const int32_t first = std::max(0, position - kWindow);
    const int32_t last = std::min(position + kWindow, count - 1);
    math::Vec2 sum{0, 0}, lo{0, 0}, hi{0, 0};
    int strokes = 0;
    for (int32_t i = first; i < last; ++i) {
        const auto* stroke = dynamic_cast<const BrushStrokeAction*>(actions[static_cast<std::size_t>(i)].get());
        if (!stroke || stroke->pointCount() == 0) continue;
        math::Vec2 a = stroke->point(0), b = a;
        for (std::size_t p = 1; p < stroke->pointCount(); ++p) {
            const BrushStrokePoint& q = stroke->point(p);
            a = {std::min(a.x, q.x), std::min(a.y, q.y)};
            b = {std::max(b.x, q.x), std::max(b.y, q.y)};
        }
        sum = sum + (a + b) * 0.5f;
        if (strokes == 0) lo = a, hi = b;
        lo = {std::min(lo.x, a.x), std::min(lo.y, a.y)};
        hi = {std::max(hi.x, b.x), std::max(hi.y, b.y)};
        ++strokes;
    }
    if (strokes == 0) return std::nullopt;
    sizeRing[static_cast<std::size_t>(ringPosition)] = hi - lo;
    ringPosition = (ringPosition + 1) % kRingSize;
    math::Vec2 mean{0, 0};
    for (const math::Vec2& s : sizeRing) mean = mean + s;
    mean = mean * (1.0f / kRingSize);
    float half = std::max(mean.x, mean.y) * 0.5f;
    const math::Vec2 centre = sum * (1.0f / static_cast<float>(strokes));
    const math::Vec2 toCanvasCentre =
        math::Vec2{static_cast<float>(canvasWidth) * 0.5f, static_cast<float>(canvasHeight) * 0.5f} - centre;
    const float ratio = half / fitHalf;
    math::Vec2 offset{0, 0};
    if (ratio > 1.0f) {
        half = fitHalf; // the work outgrew the window: the fitted view
    } else if (ratio <= 0.5f) {
        offset = toCanvasCentre;
    } else {
        // Slides back to the centred view as the work grows.
        offset = toCanvasCentre * (1.0f - 2.0f * (ratio - 0.5f));
    }
    return CameraAim{offset, half};
}

math::Vec3 aimedCameraPosition(const Camera& camera, const CameraAim& aim) {
    const float delta = camera.distance - aim.half;
    return math::Vec3{aim.offset.x, aim.offset.y, camera.position.z} + camera.direction * delta;
}

void applyCameraAim(Camera& camera, const CameraAim& aim) {
    camera.position = aimedCameraPosition(camera, aim);
    camera.distance = aim.half;
}
