#pragma once
// The "Autopan & zoom" view of a replay, without GL: looks at the strokes
// around the replay position and aims at the middle of the work with a view
// that fits it. A ring of the last 100 work extents makes zoom and pan move
// slowly, so the view does not jump from stroke to stroke.
//
// Canvas pixels, origin bottom left, y up. A camera `half` is the camera's
// distance above the canvas, which equals the visible half height.
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/Camera.h"
#include "core/Math.h"
#include "history/HistoryAction.h"

struct CameraAim {
    math::Vec2 offset; // the camera's pan (position x, y)
    float half = 0;    // the camera's distance
};

class ReplayCamera {
public:
    static constexpr int kRingSize = 100;
    static constexpr int32_t kWindow = 100; // actions looked at on either side

    // Fills the ring with the size the picture started from.
    void reset(float initialWidth, float initialHeight);
    // The view for the strokes near `position`, or nothing when no stroke
    // with points lies in the window (the camera then stays where it is).
    // Records the extent of the work in the ring.
    std::optional<CameraAim> aim(const std::vector<std::unique_ptr<HistoryAction>>& actions, int32_t position,
                                 int canvasWidth, int canvasHeight, float renderWidth, float renderHeight);

    std::array<math::Vec2, kRingSize> sizeRing{};
    int32_t ringPosition = 0;
};

// Half the canvas side that limits a fitted view in this render area.
float replayFitHalf(int canvasWidth, int canvasHeight, float renderWidth, float renderHeight);

// The camera position that shows `aim`: x and y the offset, the eye moved
// along the view direction by the change of distance. The distance becomes aim.half.
math::Vec3 aimedCameraPosition(const Camera& camera, const CameraAim& aim);
// Puts the camera there at once.
void applyCameraAim(Camera& camera, const CameraAim& aim);
