// The replay without GL: the step core, the Player's timing, pause, exit,
// idle hiding, and the "Autopan & zoom" camera on a fake clock. The history
// has no canvas here, so only its bookkeeping runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "canvas/MultiLayeredImage.h"
#include "canvas/ViewMath.h"
#include "core/Camera.h"
#include "core/InputDispatcher.h"
#include "core/RenderArea.h"
#include "history/History.h"
#include "history/ReplayCamera.h"
#include "history/ReplayStepper.h"
#include "test_player_support.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Slider.h"
#include "widgets/Widget.h"

namespace {
class PlayerLogic : public ::testing::Test {
protected:
    void SetUp() override {
        InputDispatcher::instance().exclusive = nullptr;
        savedSink = dabSink();
        setDabSink(nullptr); // strokes execute to nothing without a canvas
        history.initialWidth = 1024;
        history.initialHeight = 768;
        camera.lookFrom(fitHeight(1024, 768, area.width, area.height));
    }
    void TearDown() override {
        InputDispatcher::instance().exclusive = nullptr;
        setDabSink(savedSink);
    }
    void addCounting(int n, bool step = true) {
        for (int i = 0; i < n; ++i) history.appendLoaded(std::make_unique<CountingAction>(&executions, step));
    }
    std::unique_ptr<Player> makePlayer(bool autopan = false) {
        return std::make_unique<Player>(history, camera, area, autopan, host.make());
    }

    MultiLayeredImage layers;
    History history{nullptr, layers};
    Camera camera;
    RenderArea area{0, 0, 1000, 700};
    FakePlayerHost host;
    ReplayClock clock;
    int executions = 0;
    DabSink* savedSink = nullptr;
};
} // namespace

TEST(ReplayStepperTest, OneStepRunsUpToTheNextActionThatCounts) {
    int runs = 0;
    ReplayStepper::ActionList list;
    list.push_back(std::make_unique<CountingAction>(&runs, true));
    list.push_back(std::make_unique<CountingAction>(&runs, false));
    list.push_back(std::make_unique<CountingAction>(&runs, false));
    list.push_back(std::make_unique<CountingAction>(&runs, true));
    list.push_back(std::make_unique<CountingAction>(&runs, false));
    ReplayStepper stepper(list);
    EXPECT_EQ(stepper.step().executed, 1);
    EXPECT_EQ(stepper.position(), 1);
    EXPECT_EQ(stepper.step().executed, 3);
    EXPECT_EQ(stepper.position(), 4);
    EXPECT_FALSE(stepper.atEnd());
    EXPECT_EQ(stepper.step().executed, 1);
    EXPECT_TRUE(stepper.atEnd());
    EXPECT_EQ(stepper.step().executed, 0) << "nothing after the end";
    EXPECT_EQ(runs, 5);
}

TEST(ReplayStepperTest, CropAndResizeAskForANewFit) {
    int runs = 0;
    ReplayStepper::ActionList list;
    list.push_back(std::make_unique<CountingAction>(&runs, true, 16));
    list.push_back(std::make_unique<CountingAction>(&runs, true, kImageCropActionType));
    list.push_back(std::make_unique<CountingAction>(&runs, true, kImageResizeActionType));
    ReplayStepper stepper(list);
    EXPECT_FALSE(stepper.step().canvasResized);
    EXPECT_TRUE(stepper.step().canvasResized);
    EXPECT_TRUE(stepper.step().canvasResized);
}

TEST_F(PlayerLogic, ReplayAllFromBlankRunsTheWholeList) {
    addCounting(3);
    history.appendLoaded(std::make_unique<CountingAction>(&executions, true, kImageCropActionType));
    addCounting(2, false);
    int refits = 0;
    EXPECT_EQ(replayAllFromBlank(history, [&] { ++refits; }), 6);
    EXPECT_EQ(executions, 6);
    EXPECT_EQ(refits, 1);
    EXPECT_EQ(history.actionCount(), 6u) << "the list is unchanged";
}

TEST_F(PlayerLogic, EmptyListIsRefused) {
    auto player = makePlayer();
    EXPECT_FALSE(player->begin());
    EXPECT_EQ(InputDispatcher::instance().exclusive, nullptr);
    EXPECT_TRUE(host.messages.empty());
    player.reset();
    EXPECT_TRUE(host.messages.empty()) << "a replay that never began does not end either";
}

TEST_F(PlayerLogic, BeginTakesOverAndEndGivesBack) {
    addCounting(3);
    auto player = makePlayer();
    ASSERT_TRUE(player->begin());
    EXPECT_EQ(InputDispatcher::instance().exclusive, player.get());
    EXPECT_FALSE(host.panels) << "panels hidden during the replay";
    EXPECT_EQ(host.fits, 1);
    EXPECT_FALSE(player->paused);
    EXPECT_EQ(player->playButton->label, "Pause");
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(host.messages[0], "replay of drawing process..");
    EXPECT_EQ(history.snapshot(0).actionIndex, 3);
    EXPECT_EQ(history.snapshot(1).actionIndex, 3);
    int ticks = 0;
    while (clock.tick(*player)) ++ticks;
    EXPECT_EQ(ticks, 2) << "the third step ends the replay";
    EXPECT_EQ(player->position(), 3);
    EXPECT_EQ(executions, 3);
    player.reset();
    EXPECT_EQ(InputDispatcher::instance().exclusive, nullptr);
    EXPECT_TRUE(host.panels);
    EXPECT_TRUE(host.pointerShown);
    EXPECT_EQ(host.messages.back(), "replay stopped");
    EXPECT_EQ(history.undoDepth, 0);
    EXPECT_FALSE(history.undo()) << "nothing to undo until a new action";
}

TEST_F(PlayerLogic, StepsNeedMoreThanTwentyMilliseconds) {
    addCounting(10);
    auto player = makePlayer();
    ASSERT_TRUE(player->begin());
    std::vector<int32_t> positions;
    for (int i = 0; i < 6; ++i) {
        ASSERT_TRUE(clock.tick(*player, 20));
        positions.push_back(player->position());
    }
    // 20 ms after a step is not more than 20: every second tick steps.
    EXPECT_EQ(positions, (std::vector<int32_t>{1, 1, 2, 2, 3, 3}));
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(clock.tick(*player, 21));
    EXPECT_EQ(player->position(), 6);
    EXPECT_EQ(player->seekSlider->value, 6);
}

TEST_F(PlayerLogic, PauseKeepsThePositionAndResumeGoesOn) {
    addCounting(20);
    auto player = makePlayer();
    ASSERT_TRUE(player->begin());
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(clock.tick(*player));
    ASSERT_EQ(player->position(), 5);
    player->onKey(32, 0, 0);
    EXPECT_TRUE(player->paused);
    EXPECT_EQ(player->playButton->label, "Play");
    for (int i = 0; i < 30; ++i) ASSERT_TRUE(clock.tick(*player));
    EXPECT_EQ(player->position(), 5);
    EXPECT_EQ(executions, 5);
    player->playButton->onClick(player->playButton.get()); // the button does the same
    EXPECT_FALSE(player->paused);
    EXPECT_EQ(player->playButton->label, "Pause");
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(clock.tick(*player));
    EXPECT_EQ(player->position(), 8);
}

TEST_F(PlayerLogic, EscapeAndExitButtonEndAtTheNextUpdate) {
    addCounting(20);
    for (bool byKey : {true, false}) {
        SCOPED_TRACE(byKey ? "ESC" : "Exit replay");
        auto player = makePlayer();
        ASSERT_TRUE(player->begin());
        for (int i = 0; i < 4; ++i) ASSERT_TRUE(clock.tick(*player));
        if (byKey) player->onKey(27, 0, 0);
        else player->exitButton->onClick(player->exitButton.get());
        EXPECT_EQ(player->position(), 4) << "nothing more happens before the update";
        EXPECT_FALSE(clock.tick(*player));
        EXPECT_EQ(player->position(), 4);
        player.reset();
        EXPECT_EQ(host.messages.back(), "replay stopped");
        EXPECT_EQ(InputDispatcher::instance().exclusive, nullptr);
        // Both slots hold the end of the list again.
        EXPECT_EQ(history.snapshot(0).actionIndex, 20);
        EXPECT_EQ(history.snapshot(1).actionIndex, 20);
        EXPECT_EQ(history.actionCount(), 20u);
    }
}

TEST_F(PlayerLogic, PointerAndStripHideAfterOneIdleSecond) {
    addCounting(400);
    auto player = makePlayer();
    ASSERT_TRUE(player->begin());
    player->onMouseMove(500, 400, false); // over the canvas, away from the strip
    int idle = 0;
    while (idle + 21 <= 1000) { // up to 1000 ms of idleness: still shown
        ASSERT_TRUE(clock.tick(*player));
        idle += 21;
        EXPECT_TRUE(host.pointerShown) << idle;
    }
    ASSERT_TRUE(clock.tick(*player)); // past 1000 ms
    EXPECT_FALSE(host.pointerShown);
    for (int i = 0; i < 20; ++i) ASSERT_TRUE(clock.tick(*player));
    EXPECT_FALSE(player->overlay->visible) << "the strip has faded out";
    // Any input brings both back.
    player->onMouseMove(510, 400, false);
    ASSERT_TRUE(clock.tick(*player));
    EXPECT_TRUE(host.pointerShown);
    EXPECT_TRUE(player->overlay->visible);
    // Resting over the strip keeps it.
    player->onMouseMove(300, 10, false);
    for (int i = 0; i < 80; ++i) ASSERT_TRUE(clock.tick(*player));
    EXPECT_TRUE(player->overlay->visible);
    EXPECT_TRUE(host.pointerShown);
}

TEST(ReplayCameraTest, SmallWorkIsCentredLargeWorkFitsAndBetweenItSlides) {
    std::vector<std::unique_ptr<HistoryAction>> list;
    list.push_back(lineStroke({90, 95}, {110, 105}, 5)); // box 20 x 10 around (100, 100)
    list.push_back(std::make_unique<CountingAction>(nullptr)); // the last action is never looked at
    // 1000 x 800 canvas in a 1000 x 800 window: the height limits, fitHalf 400.
    EXPECT_FLOAT_EQ(replayFitHalf(1000, 800, 1000, 800), 400.0f);

    ReplayCamera small;
    small.reset(20, 10);
    const auto a = small.aim(list, 0, 1000, 800, 1000, 800);
    ASSERT_TRUE(a);
    EXPECT_FLOAT_EQ(a->half, 10.0f);
    EXPECT_FLOAT_EQ(a->offset.x, 400.0f);
    EXPECT_FLOAT_EQ(a->offset.y, 300.0f);
    EXPECT_EQ(small.ringPosition, 1);

    ReplayCamera large; // the ring still remembers a large picture
    large.reset(2000, 1600);
    const auto b = large.aim(list, 0, 1000, 800, 1000, 800);
    ASSERT_TRUE(b);
    EXPECT_FLOAT_EQ(b->half, 400.0f);
    EXPECT_FLOAT_EQ(b->offset.x, 0.0f);
    EXPECT_FLOAT_EQ(b->offset.y, 0.0f);

    ReplayCamera middle; // mean extent 600 wide: ratio 0.75, half way back to the centre
    middle.reset(600.0f * 100 / 99 - 20.0f / 99, 10);
    const auto c = middle.aim(list, 0, 1000, 800, 1000, 800);
    ASSERT_TRUE(c);
    EXPECT_NEAR(c->half, 300.0f, 1e-2f);
    EXPECT_NEAR(c->offset.x, 200.0f, 1e-2f);
    EXPECT_NEAR(c->offset.y, 150.0f, 1e-2f);
}

TEST(ReplayCameraTest, NoStrokeNearbyLeavesTheRingAlone) {
    std::vector<std::unique_ptr<HistoryAction>> list;
    list.push_back(lineStroke({10, 10}, {20, 20}, 3));
    for (int i = 0; i < 150; ++i) list.push_back(std::make_unique<CountingAction>(nullptr));
    list.push_back(lineStroke({500, 500}, {520, 520}, 3));
    ReplayCamera cam;
    cam.reset(1000, 800);
    EXPECT_TRUE(cam.aim(list, 50, 1000, 800, 1000, 800)) << "the first stroke lies within 100 actions";
    EXPECT_FALSE(cam.aim(list, 120, 1000, 800, 1000, 800)) << "neither stroke within 100 actions";
    EXPECT_EQ(cam.ringPosition, 1);
    EXPECT_FALSE(cam.aim(list, 151, 1000, 800, 1000, 800)) << "the last action is left out";
}

TEST(ReplayCameraTest, AimMovesTheEyeAlongTheViewDirection) {
    Camera camera;
    camera.lookFrom(384);
    applyCameraAim(camera, CameraAim{{30, -40}, 100});
    EXPECT_FLOAT_EQ(camera.position.x, 30);
    EXPECT_FLOAT_EQ(camera.position.y, -40);
    EXPECT_FLOAT_EQ(camera.position.z, 100);
    EXPECT_FLOAT_EQ(camera.distance, 100);
}

TEST_F(PlayerLogic, AutopanStaysPutWithoutStrokes) {
    addCounting(50);
    const Camera before = camera;
    auto player = makePlayer(true);
    ASSERT_TRUE(player->begin());
    while (clock.tick(*player)) {
    }
    EXPECT_EQ(camera.position.x, before.position.x);
    EXPECT_EQ(camera.position.y, before.position.y);
    EXPECT_EQ(camera.distance, before.distance);
}

// Strokes along a wandering path over the canvas: the camera follows the
// work through glides of 400 ms on a sine curve, which move at most
// sin(pi/2 * 21/400) = 8.2 % of their span in a tick of 21 ms; a glide
// starts only when the last one has arrived.
namespace {
struct CameraPath {
    float maxPan = 0, maxZoom = 0, travel = 0;
    Camera first, last;
};

CameraPath followReplay(Player& player, Camera& camera, ReplayClock& clock) {
    std::vector<Camera> path{camera};
    while (clock.tick(player)) path.push_back(camera);
    for (int i = 0; i < 30; ++i) { // the last glide runs out
        clock.now += 21;
        AnimatorRegistry::instance().tick();
        path.push_back(camera);
    }
    CameraPath r{0, 0, 0, path.front(), path.back()};
    for (size_t i = 1; i < path.size(); ++i) {
        const math::Vec2 d{path[i].position.x - path[i - 1].position.x, path[i].position.y - path[i - 1].position.y};
        r.maxPan = std::max(r.maxPan, d.length());
        r.maxZoom = std::max(r.maxZoom, std::fabs(path[i].distance - path[i - 1].distance) / path[i - 1].distance);
        r.travel += d.length();
        // The eye stays at the distance above the canvas.
        EXPECT_NEAR(path[i].position.z, path[i].distance, 1e-2f) << "tick " << i;
    }
    return r;
}

void addSpiral(History& history) {
    // 300 short strokes: a slow spiral out from the lower left quarter.
    for (int i = 0; i < 300; ++i) {
        const float t = static_cast<float>(i) / 300.0f;
        const math::Vec2 c{300 + 350 * t * std::cos(9 * t), 250 + 250 * t * std::sin(9 * t)};
        history.appendLoaded(lineStroke(c, c + math::Vec2{12, 6}, 4));
    }
}
} // namespace

TEST_F(PlayerLogic, AutopanFollowsTheWorkWithoutJumps) {
    addSpiral(history);
    auto player = makePlayer(true);
    ASSERT_TRUE(player->begin());
    const CameraPath r = followReplay(*player, camera, clock);
    EXPECT_GT(r.travel, 100.0f) << "the camera followed the work";
    EXPECT_LT(r.last.distance, 0.8f * r.first.distance) << "it zoomed in on the small work";
    EXPECT_LT(r.maxPan, 0.02f * 1024) << "a pan step of at most 2 % of the canvas a tick";
    EXPECT_LT(r.maxZoom, 0.05f) << "a zoom step of at most 5 % a tick";
}

TEST_F(PlayerLogic, AutopanGlidesFromAViewFarAway) {
    addSpiral(history);
    // The user had zoomed in on a corner; the first aim is the fitted view.
    camera.lookFrom(40);
    camera.position.x = 300;
    camera.position.y = -200;
    const float gap = math::Vec2{300, -200}.length();
    auto player = makePlayer(true);
    ASSERT_TRUE(player->begin());
    const CameraPath r = followReplay(*player, camera, clock);
    EXPECT_LT(r.maxPan, 0.083f * gap) << "no tick moves more than a glide allows";
    EXPECT_GT(r.last.distance, 5 * 40.0f) << "the view left the close-up for the work";
    EXPECT_GT(r.travel, gap * 0.9f);
}
