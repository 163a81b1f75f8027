#pragma once
// Replays the history list on the canvas from a blank start, one step per
// tick of more than 20 ms, with a control strip over the picture and, on
// request, a camera that follows the work ("Autopan & zoom"). It takes over
// the input while it lives. A replay changes neither the list nor the file:
// when it ends (the destructor) the picture is back at the end of the list.
//
//   start --> playing <--Space / button--> paused
//   playing --last action--> ended (end picture on the canvas, update false)
//   any --ESC / "Exit replay"--> stop requested --next update--> false
//   the owner deletes the player when update returns false.
//
// The stepping itself is ReplayStepper (no GL, no widgets); this class adds
// time, controls, camera and input. Main thread only.
#include <array>
#include <cstdint>
#include <functional>
#include <memory>

#include "core/InputListener.h"
#include "history/ReplayCamera.h"
#include "history/ReplayStepper.h"

class ButtonWidget;
class GroupWidget;
class History;
class Widget;
struct Camera;
struct RenderArea;
template <typename T> class Slider;

// What the player asks of the program around it. Every hook may stay empty.
struct PlayerHost {
    std::function<bool()> panelsVisible;
    std::function<void(bool)> setPanelsVisible;
    std::function<void()> fitView; // eased fit of the canvas to the window
    std::function<void(bool)> showPointer;
    std::function<void(const char*)> notify;
    std::function<int(int wheel, int direction, int x, int y)> wheel;
    std::function<std::array<int, 2>()> canvasSize; // the canvas now, pixels
    // The canvas's marker of an odd number of flips (not owning). No snapshot
    // holds it, so the player sets it for the blank start and puts it back.
    bool* pictureMirrored = nullptr;
};

class Player : public InputListener {
public:
    static constexpr int32_t kStepIntervalMs = 20;  // a step needs more than this since the last
    static constexpr int32_t kIdleHideMs = 1000;    // pointer and strip hide after this
    static constexpr int32_t kOverlayFadeMs = 250;
    static constexpr int32_t kOverlayFadeKey = 0x504C4F56;  // "PLOV"
    static constexpr int32_t kCameraGlideMs = 400;

    // renderArea: the painter's (not owning). The camera must outlive the
    // player by one glide (kCameraGlideMs), which may still be running when
    // the player ends. Makes the control strip; the replay begins with begin().
    Player(History& history, Camera& camera, const RenderArea& renderArea, bool autopan, PlayerHost host);
    ~Player() override;
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    // Snapshots of the end state, blank canvas, fitted view, exclusive
    // input, playing. False (and nothing changed) for an empty list.
    bool begin();

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    int onMouseWheel(int wheel, int direction, int x, int y) override;
    // One tick; false when the replay is over.
    bool update(int elapsedMs, int originX, int originY) override;

    void pause();
    void resume();
    void requestStop() { stopRequested = true; }
    // Places the strip along the bottom of a window of this size (pixels).
    void layoutControls(float windowWidth, float windowHeight);

    int32_t position() const { return stepper.position(); }
    int32_t actionCount() const { return stepper.count(); }

    ReplayCamera replayCamera; // the ring of recent work extents
    std::shared_ptr<GroupWidget> controls;
    std::shared_ptr<GroupWidget> overlay; // the strip's fading panel
    std::shared_ptr<ButtonWidget> playButton;
    std::shared_ptr<ButtonWidget> exitButton;
    std::shared_ptr<Widget> escLabel;
    std::shared_ptr<Slider<int>> seekSlider;
    History* history;
    const RenderArea* renderArea;
    Camera* camera;
    bool paused = true;
    bool autopan = false;
    int32_t lastStep = 0;  // platform::nowMs() of the last step
    int32_t idleTime = 0;  // ms since the last input
    bool stopRequested = false;
    bool hadPanels = false;

private:
    void buildControls();
    void fadeOverlay();
    void makeStep();
    void cameraStep();
    void settleCounters();
    void end();

    PlayerHost host;
    ReplayStepper stepper;
    bool savedMirrored = false;
    bool begun = false;
    bool ended = false;
    int pointerX = -1, pointerY = -1;
};
