#include "ui/Player.h"

#include <algorithm>
#include <optional>

#include "canvas/ViewNavigation.h"
#include "core/Globals.h"

#include "core/Camera.h"
#include "core/InputDispatcher.h"
#include "core/RenderArea.h"
#include "history/CanvasFlipAction.h"
#include "history/History.h"
#include "platform/Clock.h"
#include "widgets/Animator.h"
#include "widgets/ButtonWidget.h"
#include "widgets/GlFont.h"
#include "widgets/Slider.h"
#include "widgets/TextWidget.h"
#include "widgets/Widget.h"
#include "core/Localisation.h"

namespace {
constexpr int kEsc = 27;
constexpr int kSpace = 32;
constexpr int kStripHeight = 50; // units
constexpr float kWhite[4] = {1, 1, 1, 1};

// Shows the replay position; the pointer cannot move it.
class SeekSlider : public Slider<int> {
public:
    using Slider<int>::Slider;
    int onMouseButton(int, int, int, int, bool) override { return 0; }
    int onMouseDrag(int, int, bool) override { return 0; }
};
} // namespace

Player::Player(History& history_, Camera& camera_, const RenderArea& renderArea_, bool autopan_, PlayerHost host_)
    : history(&history_), renderArea(&renderArea_), camera(&camera_), autopan(autopan_), host(std::move(host_)),
      stepper(history_.actions()) {
    buildControls();
}

Player::~Player() { end(); }

void Player::buildControls() {
    controls = std::make_shared<GroupWidget>(0, 0, 0, 0);
    overlay = std::make_shared<GroupWidget>(0, 0, 0, kStripHeight);
    overlay->drawBackground = true;
    controls->add(overlay);
    playButton = std::make_shared<ButtonWidget>(10, 10, 80, 30, tr(tk::PLAY_STR), 0, [this](Widget*) {
        if (paused) resume();
        else pause();
    });
    exitButton =
        std::make_shared<ButtonWidget>(0, 10, 110, 30, tr(tk::EXIT_REPLAY_STR), 0, [this](Widget*) { requestStop(); });
    seekSlider = std::make_shared<SeekSlider>(100, 15, 200, 20, tr(tk::SEEK_STR));
    seekSlider->minValue = 0;
    seekSlider->maxValue = std::max(1, stepper.count());
    escLabel = std::make_shared<TextWidget>(0, 20, tr(tk::ESC_TO_EXIT_REPLAY_STR), 0, kWhite);
    for (ButtonWidget* b : {playButton.get(), exitButton.get()})
        for (int i = 0; i < 4; ++i) b->textColor[i] = kWhite[i];
    overlay->add(playButton);
    overlay->add(seekSlider);
    overlay->add(escLabel);
    overlay->add(exitButton);
    layoutControls(renderArea->width, renderArea->height);
}

void Player::layoutControls(float windowWidth, float windowHeight) {
    const int w = static_cast<int>(windowWidth);
    const int gap = static_cast<int>(10 * GuiScale);
    controls->width = windowWidth;
    controls->height = windowHeight;
    overlay->relX = 0;
    overlay->relY = 0;
    overlay->width = windowWidth;
    // "Exit replay" sits 10 units from the bottom right corner, the hint left of it.
    exitButton->relX = static_cast<float>(w - gap - static_cast<int>(exitButton->width));
    const int labelWidth = textWidth(gFontGui.get(), tr(tk::ESC_TO_EXIT_REPLAY_STR));
    escLabel->relX = exitButton->relX - static_cast<float>(gap + labelWidth);
    const int sliderLeft = static_cast<int>(seekSlider->relX);
    seekSlider->width = static_cast<float>(std::max(20, static_cast<int>(escLabel->relX) - 2 * gap - sliderLeft));
    seekSlider->setValue(stepper.position(), false);
    controls->update(0, 0, 0);
}

bool Player::begin() {
    if (begun || stepper.count() == 0) return false; // an empty list has nothing to show
    begun = true;
    hadPanels = host.panelsVisible && host.panelsVisible();
    if (hadPanels && host.setPanelsVisible) host.setPanelsVisible(false);
    // Both snapshot slots hold the end state: that is what brings the picture back.
    settleCounters();
    float w = static_cast<float>(history->initialWidth), h = static_cast<float>(history->initialHeight);
    if ((w <= 0 || h <= 0) && host.canvasSize) {
        const std::array<int, 2> size = host.canvasSize();
        w = static_cast<float>(size[0]);
        h = static_cast<float>(size[1]);
    }
    replayCamera.reset(w, h);
    InputDispatcher::instance().exclusive = this;
    history->resetToBlank();
    if (host.pictureMirrored) {
        // The list's flips, replayed from the start, must end on the present marker.
        savedMirrored = *host.pictureMirrored;
        bool odd = false;
        for (const auto& action : history->actions()) odd ^= action->type() == CanvasFlipAction::kTypeCode;
        *host.pictureMirrored = savedMirrored != odd;
    }
    if (host.fitView) host.fitView();
    resume();
    if (host.notify) host.notify(tr(tk::REPLAY_OF_DRAWING_PROCESS_STR).c_str());
    return true;
}

void Player::settleCounters() {
    history->stepsSinceSnapshot = 0;
    history->undoDepth = 0;
    history->takeSnapshot(true);
    history->takeSnapshot(true);
}

void Player::pause() {
    playButton->setLabel(tr(tk::PLAY_STR));
    paused = true;
}

void Player::resume() {
    playButton->setLabel(tr(tk::PAUSE_STR));
    paused = false;
}

int Player::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    idleTime = 0;
    pointerX = x, pointerY = y;
    return controls->onMouseButton(button, state, x, y, fromPen);
}

int Player::onMouseMove(int x, int y, bool fromPen) {
    idleTime = 0;
    pointerX = x, pointerY = y;
    return controls->onMouseMove(x, y, fromPen);
}

int Player::onMouseDrag(int x, int y, bool fromPen) {
    idleTime = 0;
    pointerX = x, pointerY = y;
    return controls->onMouseDrag(x, y, fromPen);
}

int Player::onKey(int key, int x, int y) {
    (void)x, (void)y;
    idleTime = 0;
    if (key == kEsc) requestStop();
    else if (key == kSpace) paused ? resume() : pause();
    return 1; // undo, redo and every other key are out of reach
}

int Player::onMouseWheel(int wheel, int direction, int x, int y) {
    idleTime = 0;
    // The user may zoom while watching.
    return host.wheel ? host.wheel(wheel, direction, x, y) : 0;
}

void Player::fadeOverlay() {
    AnimatorRegistry& registry = AnimatorRegistry::instance();
    if (idleTime <= kIdleHideMs && !overlay->visible) {
        fadeIn(kOverlayFadeMs, kOverlayFadeKey, overlay);
        if (host.showPointer) host.showPointer(true);
    } else if (idleTime > kIdleHideMs && overlay->visible && !registry.contains(kOverlayFadeKey) &&
               !overlay->hitTest(pointerX, pointerY)) {
        fadeOut(kOverlayFadeMs, kOverlayFadeKey, overlay);
        if (host.showPointer) host.showPointer(false);
    }
}

bool Player::update(int elapsedMs, int originX, int originY) {
    (void)originX, (void)originY;
    if (stopRequested) return false;
    idleTime += elapsedMs;
    fadeOverlay();
    controls->update(elapsedMs, 0, 0);
    const int32_t now = platform::nowMs();
    if (paused || now - lastStep <= kStepIntervalMs) return true;
    if (autopan) cameraStep();
    makeStep();
    if (stepper.atEnd()) {
        paused = true;
        settleCounters();
        return false;
    }
    lastStep = now;
    return true;
}

void Player::makeStep() {
    const ReplayStepResult r = stepper.step();
    if (r.canvasResized && host.fitView) host.fitView();
    seekSlider->maxValue = std::max(1, stepper.count());
    seekSlider->setValue(stepper.position(), false);
}

void Player::cameraStep() {
    const std::array<int, 2> size =
        host.canvasSize ? host.canvasSize() : std::array<int, 2>{history->initialWidth, history->initialHeight};
    const std::optional<CameraAim> aim = replayCamera.aim(history->actions(), stepper.position(), size[0], size[1],
                                                          renderArea->width, renderArea->height);
    if (!aim) return;
    // The camera glides to the aim. A running move under the same key (the
    // fit of the start, or the previous glide) finishes first, so the path
    // has no jumps and the view trails the work by at most one glide.
    AnimatorRegistry& registry = AnimatorRegistry::instance();
    if (registry.contains(kCameraPositionAnimator)) return;
    Camera* cam = camera;
    auto glide = std::make_shared<FieldEasingInterpolator<math::Vec3, 1>>(
        [cam](const math::Vec3& p) {
            cam->distance -= cam->direction.dot(p - cam->position);
            cam->position = p;
        },
        10);
    glide->start(0, kCameraGlideMs, cam->position, aimedCameraPosition(*cam, *aim));
    registry.add(kCameraPositionAnimator, glide);
}

void Player::end() {
    if (ended) return;
    ended = true;
    AnimatorRegistry::instance().remove(kOverlayFadeKey);
    if (!begun) return;
    if (host.showPointer) host.showPointer(true);
    if (stepper.position() < stepper.count()) {
        // The slots hold the end state: the end picture is back at once.
        history->restoreSnapshot();
        paused = true;
        settleCounters();
    }
    if (host.pictureMirrored) *host.pictureMirrored = savedMirrored;
    InputDispatcher& dispatcher = InputDispatcher::instance();
    if (dispatcher.exclusive == this) dispatcher.exclusive = nullptr;
    if (hadPanels && host.setPanelsVisible) host.setPanelsVisible(true);
    if (host.notify) host.notify(tr(tk::REPLAY_STOPPED_STR).c_str());
}
