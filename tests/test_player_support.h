#pragma once
// Shared pieces of the replay tests: a fake host that records what the
// player asks of the program, a fake clock, and actions to replay.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "history/BrushStrokeAction.h"
#include "history/HistoryAction.h"
#include "platform/Clock.h"
#include "ui/Player.h"
#include "widgets/Animator.h"

struct FakePlayerHost {
    std::vector<std::string> messages;
    int fits = 0;
    bool pointerShown = true;
    bool panels = true;
    std::array<int, 2> canvas{1024, 768};
    bool* mirrored = nullptr; // the canvas's flip marker, when there is a canvas

    PlayerHost make() {
        PlayerHost h;
        h.panelsVisible = [this] { return panels; };
        h.setPanelsVisible = [this](bool on) { panels = on; };
        h.fitView = [this] { ++fits; };
        h.showPointer = [this](bool on) { pointerShown = on; };
        h.notify = [this](const char* text) { messages.emplace_back(text); };
        h.canvasSize = [this] { return canvas; };
        h.pictureMirrored = mirrored;
        return h;
    }
};

// The fake clock of one test; the animators tick after the player, as in the
// program's tick.
class ReplayClock {
public:
    ReplayClock() {
        platform::setClockOverride([this] { return now; });
        AnimatorRegistry::instance().clear();
    }
    ~ReplayClock() {
        AnimatorRegistry::instance().clear();
        platform::setClockOverride({});
    }
    // One tick of `elapsed` ms; false once the player is over.
    bool tick(Player& player, int elapsed = 21) {
        now += elapsed;
        const bool alive = player.update(elapsed, 0, 0);
        AnimatorRegistry::instance().tick();
        return alive;
    }
    int32_t now = 100000;
};

// An action that only counts its executions; steps unless told otherwise.
class CountingAction : public HistoryAction {
public:
    explicit CountingAction(int* executions, bool step = true, int typeCode = 22)
        : executions_(executions), step_(step), type_(typeCode) {}
    int type() const override { return type_; }
    bool countsAsStep() const override { return step_; }
    bool execute() override {
        if (executions_) ++*executions_;
        return true;
    }

private:
    int* executions_;
    bool step_;
    int type_;
};

// A stroke of `n` dabs on the straight line from a to b.
inline std::unique_ptr<BrushStrokeAction> lineStroke(math::Vec2 a, math::Vec2 b, int n, int size = 12,
                                                     brush::Rgb color = {0.1f, 0.3f, 0.8f}) {
    Brush brush;
    brush.size = size;
    brush.hardness = 0.8f;
    brush.opacity = 0.9f;
    auto stroke = std::make_unique<BrushStrokeAction>(brush, color);
    for (int i = 0; i < n; ++i) {
        const float t = n == 1 ? 0.0f : static_cast<float>(i) / static_cast<float>(n - 1);
        stroke->appendPoint(std::make_unique<BrushStrokePoint>(a + (b - a) * t, 1.0f, 1.0f, false, 0.0f));
    }
    return stroke;
}
