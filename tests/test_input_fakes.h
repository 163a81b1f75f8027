#pragma once
// Shared fakes of the input tests: an application stand-in, a listener that
// records what reaches it, and a fixture that resets every input global.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "core/InputCallbacks.h"
#include "core/InputDispatcher.h"
#include "core/InputListener.h"
#include "core/InputState.h"
#include "platform/Clock.h"
#include "platform/XInputKeys.h"

struct FakeHost : InputHost {
    float height = 600;
    int mode = 4;
    bool isBusy = false;
    int tool = 1;
    math::Vec2 origin{100, 50};
    platform::VirtualScreen screen{0, 0, 1920, 1080};
    float scale = 1;
    std::array<float, 4> rotation{1, 0, 0, 1};

    std::vector<int> modeChanges;
    int toolTipResets = 0;
    std::vector<std::string> calls;
    std::vector<int> unconsumed;
    struct Zoom { bool in; int x, y; float factor; };
    std::vector<Zoom> zooms;
    math::Vec2 panned;

    float renderAreaHeight() const override { return height; }
    int interactionMode() const override { return mode; }
    void setInteractionMode(int m) override { mode = m; modeChanges.push_back(m); }
    bool busy() const override { return isBusy; }
    int currentToolIndex() const override { return tool; }
    math::Vec2 windowOrigin() const override { return origin; }
    platform::VirtualScreen virtualScreen() const override { return screen; }
    void resetToolTip() override { ++toolTipResets; }
    void openColourHud(int x, int y) override { calls.push_back("hud open " + std::to_string(x) + "," + std::to_string(y)); }
    void closeColourHud() override { calls.push_back("hud close"); }
    void engageAxisLock(int x, int y) override { calls.push_back("axis " + std::to_string(x) + "," + std::to_string(y)); }
    void unconsumedKey(int code) override { unconsumed.push_back(code); }
    void zoomAt(bool in, int x, int y, float f) override { zooms.push_back({in, x, y, f}); }
    float viewScale() const override { return scale; }
    std::array<float, 4> viewRotation() const override { return rotation; }
    void panView(float dx, float dy) override { panned += math::Vec2(dx, dy); }
};

// Records every event; answers with `result`.
struct RecordingListener : InputListener {
    explicit RecordingListener(std::string n, int r = 0) : name(std::move(n)), result(r) {}
    std::string name;
    int result;
    std::vector<std::string>* log = nullptr; // shared log of several listeners, if set
    std::vector<std::string> own;
    std::vector<int> keys;
    int x = 0, y = 0;

    void note(const std::string& what) {
        own.push_back(what);
        if (log) log->push_back(name + ":" + what);
    }
    int onMouseButton(int b, int s, int x_, int y_, bool) override {
        x = x_, y = y_;
        note("button" + std::to_string(b) + (s == 0 ? "down" : "up"));
        return result;
    }
    int onMouseMove(int x_, int y_, bool) override { x = x_, y = y_; note("move"); return result; }
    int onMouseDrag(int x_, int y_, bool) override { x = x_, y = y_; note("drag"); return result; }
    int onKey(int key, int x_, int y_) override { x = x_, y = y_; keys.push_back(key); note("key"); return result; }
    int onMouseWheel(int, int d, int x_, int y_) override { x = x_, y = y_; note("wheel" + std::to_string(d)); return result; }
    int onDoubleClick(int x_, int y_) override { x = x_, y = y_; note("double"); return result; }
};

class InputTest : public ::testing::Test {
protected:
    void SetUp() override {
        now = 10000;
        platform::setClockOverride([this] { return now; });
        resetPenState();
        gInputState.reset();
        resetInputCallbacks();
        platform::keyTracker().clear();
        InputDispatcher& d = InputDispatcher::instance();
        d.listeners.clear();
        d.exclusive = nullptr;
        setInputHost(&host);
    }
    void TearDown() override {
        InputDispatcher& d = InputDispatcher::instance();
        d.listeners.clear();
        d.exclusive = nullptr;
        setInputHost(nullptr);
        platform::setClockOverride({});
    }
    // Opens the mouse gate the way a running program does: a first event and 500 ms.
    void settleMouse() {
        gMouseSettling = false;
        gSettlingAccumulator = kSettlingMs;
        gSettlingMark = now;
    }
    std::shared_ptr<RecordingListener> addListener(const std::string& name, int result) {
        auto l = std::make_shared<RecordingListener>(name, result);
        InputDispatcher::instance().add(l);
        return l;
    }

    int32_t now = 0;
    FakeHost host;
};
