#pragma once
// Eased moves of the view: fit the canvas to the window, or show it at 100 %.
// Both run for a second through the animators and turn the canvas back to 0°.
class Painter;

// Starts the move and returns the camera height it ends at.
float fitToWindow(Painter& painter);
float zoomTo100(Painter& painter);
// The camera at the fitted height at once, without an animation (start-up).
void fitToWindowNow(Painter& painter);

// Animator keys of the two moves: a new move replaces a running one.
inline constexpr int kCameraPositionAnimator = 0x43414D50; // "CAMP"
inline constexpr int kCameraRotationAnimator = 0x43414D52; // "CAMR"
