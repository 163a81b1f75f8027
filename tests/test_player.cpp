// The replay on GL: the picture at the end (and after an exit in the middle)
// is byte for byte the picture before the replay, read back from the layer
// surfaces; the history is left as a load leaves it. Also the replay through
// the program's globals: the prompt behind "p", Enter, the tick's deletion.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "canvas/Shaders.h"
#include "core/Camera.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/PaintingApplication.h"
#include "core/RenderArea.h"
#include "history/CanvasFlipAction.h"
#include "history/History.h"
#include "history/LayerListAction.h"
#include "history/LayerPropertyAction.h"
#include "support/GlTestContext.h"
#include "test_player_support.h"
#include "ui/ReplayPrompt.h"
#include "ui/ReplaySession.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Dialog.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"

namespace {

// Every layer's pixels as stored (the current one from its surface), with
// the layer flags: what the replay has to give back exactly.
std::string layerState(Canvas& canvas, MultiLayeredImage& layers) {
    std::ostringstream s;
    s << layers.count() << " layers, current " << layers.current << ", mirrored " << canvas.pictureMirrored;
    for (const Layer& l : layers.layers) s << " [" << l.visible << " " << l.opacity << " " << l.blendMode << "]";
    return s.str();
}

std::vector<std::vector<uint8_t>> layerPixels(Canvas& canvas, MultiLayeredImage& layers) {
    std::vector<std::vector<uint8_t>> out;
    for (int i = 0; i < layers.count(); ++i) {
        const GLuint texture =
            i == layers.current ? canvas.currentLayerSurface().textureId : layers.at(i).textureId;
        out.push_back(readTexture(texture, canvas.width, canvas.height));
    }
    return out;
}

struct Picture {
    std::string state;
    std::vector<std::vector<uint8_t>> pixels;
    bool operator==(const Picture&) const = default;
};

// Readable failure output: the layer flags and the bytes that differ per layer.
void PrintTo(const Picture& p, std::ostream* os) {
    *os << p.state << ", bytes per layer:";
    for (const auto& layer : p.pixels) {
        size_t sum = 0;
        for (uint8_t b : layer) sum += b;
        *os << " " << layer.size() << " (sum " << sum << ")";
    }
}

class PlayerGl : public GlTest {
protected:
    void TearDown() override {
        InputDispatcher::instance().exclusive = nullptr;
        setDabSink(nullptr);
        GlTest::TearDown();
    }
};

// A canvas with its layers and history, and a few strokes on two layers.
struct Painting {
    Canvas canvas;
    MultiLayeredImage layers;
    History history{&canvas, layers};
    Camera camera;
    RenderArea area{0, 0, 400, 300};

    Painting(int w, int h) : canvas(w, h) {
        EXPECT_TRUE(history.reinitialize(w, h));
        history.runQueuedActions(); // the grey fill of a new picture
        setDabSink(&canvas);
        camera.lookFrom(150);
    }
    ~Painting() { canvas.freeSurfaces(); }
    void perform(std::unique_ptr<HistoryAction> action) {
        HistoryAction* raw = action.get();
        history.add(std::move(action), false);
        raw->execute();
    }
    void paintSome() {
        perform(lineStroke({10, 10}, {150, 90}, 30, 14, {0.9f, 0.1f, 0.1f}));
        perform(lineStroke({20, 100}, {180, 20}, 25, 8, {0.1f, 0.2f, 0.9f}));
        perform(std::make_unique<NewLayerAction>(canvas, layers));
        perform(lineStroke({40, 40}, {60, 110}, 12, 20, {0.2f, 0.8f, 0.3f}));
        perform(std::make_unique<LayerOpacityChangeAction>(canvas, layers, 70));
        perform(std::make_unique<CanvasFlipAction>(canvas, layers));
        perform(lineStroke({100, 30}, {190, 110}, 18, 6, {0.0f, 0.0f, 0.0f}));
    }
    Picture picture() { return {layerState(canvas, layers), layerPixels(canvas, layers)}; }
};
} // namespace

TEST_F(PlayerGl, ReplayEndsOnThePictureItStartedFrom) {
    Painting p(200, 120);
    p.paintSome();
    const Picture before = p.picture();
    const size_t count = p.history.actionCount();
    const HistoryAction* lastAction = p.history.actions().back().get();
    FakePlayerHost host;
    host.mirrored = &p.canvas.pictureMirrored;
    ReplayClock clock;
    auto player = std::make_unique<Player>(p.history, p.camera, p.area, false, host.make());
    ASSERT_TRUE(player->begin());
    const Picture blank = p.picture();
    EXPECT_NE(blank, before);
    EXPECT_EQ(p.layers.count(), 1);
    std::vector<Picture> seen;
    while (clock.tick(*player)) seen.push_back(p.picture());
    EXPECT_EQ(seen.size(), count - 1) << "one action a tick; the last one ends the replay";
    // On the way the picture is built up: the first step shows the grey fill only.
    ASSERT_FALSE(seen.empty());
    EXPECT_NE(seen.front(), before);
    EXPECT_EQ(seen.front().pixels.size(), 1u);
    EXPECT_EQ(seen.front().pixels[0][0], 204);
    EXPECT_EQ(p.picture(), before) << "the last step gives the end picture";
    player.reset();
    EXPECT_EQ(p.picture(), before);
    EXPECT_EQ(host.messages.back(), "replay stopped");
    EXPECT_EQ(p.history.actionCount(), count);
    EXPECT_EQ(p.history.actions().back().get(), lastAction) << "the list is the same list";

    // Undo rests until a new action; then it goes back to the end picture.
    EXPECT_FALSE(p.history.undo());
    p.history.replayIfPending();
    EXPECT_EQ(p.picture(), before);
    p.perform(lineStroke({0, 0}, {199, 119}, 40, 10, {1, 1, 0}));
    EXPECT_NE(p.picture(), before);
    ASSERT_TRUE(p.history.undo());
    p.history.replayIfPending();
    EXPECT_EQ(p.picture(), before);
    EXPECT_FALSE(p.history.undo());
}

TEST_F(PlayerGl, ExitInTheMiddleBringsTheEndPictureBack) {
    Painting p(160, 100);
    p.paintSome();
    const Picture before = p.picture();
    FakePlayerHost host;
    host.mirrored = &p.canvas.pictureMirrored;
    ReplayClock clock;
    auto player = std::make_unique<Player>(p.history, p.camera, p.area, true, host.make());
    ASSERT_TRUE(player->begin());
    EXPECT_FALSE(p.canvas.pictureMirrored) << "the one flip of the list has not been played yet";
    // Past the flip (the sixth action after the fill), before the last stroke.
    for (int i = 0; i < 7; ++i) ASSERT_TRUE(clock.tick(*player));
    EXPECT_TRUE(p.canvas.pictureMirrored);
    const Picture middle = p.picture();
    EXPECT_NE(middle, before);
    // Paused, the picture stays as it is.
    player->onKey(32, 0, 0);
    for (int i = 0; i < 10; ++i) ASSERT_TRUE(clock.tick(*player));
    EXPECT_EQ(p.picture(), middle);
    EXPECT_EQ(player->position(), 7);
    player->onKey(27, 0, 0);
    EXPECT_FALSE(clock.tick(*player));
    player.reset();
    EXPECT_EQ(p.picture(), before);
    EXPECT_EQ(host.messages.back(), "replay stopped");
    EXPECT_FALSE(p.history.undo());
}

// The program's own path: "p" opens the prompt, Enter starts the replay,
// the tick steps it and deletes it at the end.
TEST_F(PlayerGl, KeyPOpensThePromptAndEnterStartsTheReplay) {
    constexpr int kW = 240, kH = 160;
    gCanvas.resize(kW, kH, gLayers);
    gCanvas.clearCurrentSurface(0, 0, 0, 0);
    gHistory.freeSnapshots(); // indexes of earlier tests' snapshots must not linger
    gHistory.clear();
    gHistory.initialWidth = kW;
    gHistory.initialHeight = kH;
    gPainter.renderArea = {0, 0, 480, 320};
    gRenderArea = {0, 0, 480, 320};
    setDabSink(&gCanvas);
    auto perform = [](std::unique_ptr<HistoryAction> action) {
        HistoryAction* raw = action.get();
        gHistory.add(std::move(action), false);
        raw->execute();
    };
    perform(lineStroke({20, 20}, {200, 140}, 30, 16));
    perform(lineStroke({20, 140}, {200, 20}, 30, 10, {0.8f, 0.1f, 0.1f}));
    perform(lineStroke({120, 10}, {120, 150}, 20, 6, {0.1f, 0.7f, 0.1f}));
    const Picture before{layerState(gCanvas, gLayers), layerPixels(gCanvas, gLayers)};

    std::shared_ptr<GUI> savedGui = gGui;
    gGui = std::make_shared<GUI>(&gRenderArea);
    InputDispatcher& dispatcher = InputDispatcher::instance();
    dispatcher.listeners.clear();
    dispatcher.exclusive = nullptr;
    commands::createCommands(*gApp, gPainter);
    ReplayClock clock;

    // The prompt waits in its own loop; this one checks it and answers with
    // Enter, the way the program's event pump would deliver the key.
    bool sawPrompt = false;
    setModalWait([&](const std::function<bool()>& done) {
        sawPrompt = replayPromptOpen();
        EXPECT_EQ(dispatcher.exclusive, static_cast<InputListener*>(replayPromptDialog()));
        EXPECT_EQ(activePlayer(), nullptr) << "nothing starts before the answer";
        dispatcher.key('p', 0, 0); // a repeated key reaches the prompt, not a second one
        EXPECT_FALSE(done());
        dispatcher.key(13, 0, 0); // Enter answers OK
        EXPECT_TRUE(done());
    });
    commands::runUnconsumedKey(*gApp, gPainter, 'p');
    EXPECT_TRUE(sawPrompt);
    EXPECT_FALSE(replayPromptOpen());
    EXPECT_EQ(dialogStackSize(), 0u);
    ASSERT_NE(activePlayer(), nullptr);
    EXPECT_EQ(dispatcher.exclusive, activePlayer());
    EXPECT_EQ(gApp->lastMessage, "replay of drawing process..");
    EXPECT_FALSE(activePlayer()->autopan);
    // Keys now go to the player: "p" cannot start a second replay.
    dispatcher.key('p', 0, 0);
    EXPECT_FALSE(replayPromptOpen());
    EXPECT_FALSE(startReplay(false));

    int ticks = 0;
    while (activePlayer() && ticks < 100) {
        clock.now += 21;
        updateActivePlayer(21);
        AnimatorRegistry::instance().tick();
        ++ticks;
    }
    EXPECT_EQ(activePlayer(), nullptr);
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(gApp->lastMessage, "replay stopped");
    EXPECT_EQ(dispatcher.exclusive, nullptr);
    EXPECT_TRUE(gApp->cursorDrawing);
    const Picture after{layerState(gCanvas, gLayers), layerPixels(gCanvas, gLayers)};
    EXPECT_EQ(after, before);

    // ESC on the prompt: no replay.
    setModalWait([&](const std::function<bool()>& done) {
        sawPrompt = replayPromptOpen();
        dispatcher.key(27, 0, 0);
        EXPECT_TRUE(done());
    });
    sawPrompt = false;
    commands::runUnconsumedKey(*gApp, gPainter, 'p');
    EXPECT_TRUE(sawPrompt);
    EXPECT_FALSE(replayPromptOpen());
    EXPECT_EQ(activePlayer(), nullptr);
    EXPECT_EQ(dispatcher.exclusive, nullptr);

    setModalWait({});
    AnimatorRegistry::instance().clear();
    gGui = savedGui;
    gHistory.freeSnapshots(); // indexes of earlier tests' snapshots must not linger
    gHistory.clear();
    gCanvas.freeSurfaces();
    setStartupUniforms();
}
