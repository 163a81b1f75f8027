#include "test_input_fakes.h"

using InputDispatcherTest = InputTest;

TEST_F(InputDispatcherTest, ListenersInRegistrationOrderUntilOneConsumes) {
    std::vector<std::string> log;
    auto gui = addListener("gui", 0);
    auto painter = addListener("painter", 1);
    auto reference = addListener("reference", 1);
    gui->log = painter->log = reference->log = &log;

    DispatchResult r = InputDispatcher::instance().mouseButton(0, 0, 5, 6, false);
    EXPECT_TRUE(r.consumed);
    EXPECT_FALSE(r.exclusive);
    EXPECT_EQ(log, (std::vector<std::string>{"gui:button0down", "painter:button0down"}));
    EXPECT_TRUE(reference->own.empty());
}

TEST_F(InputDispatcherTest, ListenerReturningZeroPassesEveryKindOn) {
    auto gui = addListener("gui", 0);
    auto painter = addListener("painter", 0);
    InputDispatcher& d = InputDispatcher::instance();
    EXPECT_FALSE(d.mouseMove(1, 2, false).consumed);
    EXPECT_FALSE(d.mouseDrag(1, 2, false).consumed);
    EXPECT_FALSE(d.key(0x62, 1, 2).consumed);
    EXPECT_FALSE(d.mouseWheel(0, 1, 1, 2).consumed);
    EXPECT_FALSE(d.doubleClick(1, 2).consumed);
    std::vector<std::string> expected{"move", "drag", "key", "wheel1", "double"};
    EXPECT_EQ(gui->own, expected);
    EXPECT_EQ(painter->own, expected);
}

TEST_F(InputDispatcherTest, ExclusiveListenerAloneWhateverItReturns) {
    auto gui = addListener("gui", 1);
    RecordingListener dialog("dialog", 0);
    InputDispatcher::instance().exclusive = &dialog;
    DispatchResult r = InputDispatcher::instance().key(0x1B, 0, 0);
    EXPECT_TRUE(r.exclusive);
    EXPECT_FALSE(r.consumed);
    EXPECT_EQ(dialog.keys, std::vector<int>{0x1B});
    EXPECT_TRUE(gui->own.empty());
}

TEST_F(InputDispatcherTest, DisabledListenersAreSkippedAndDisabledExclusiveLosesTheEvent) {
    auto gui = addListener("gui", 1);
    auto painter = addListener("painter", 1);
    gui->enabled = false;
    InputDispatcher::instance().mouseButton(0, 0, 1, 1, false);
    EXPECT_TRUE(gui->own.empty());
    EXPECT_EQ(painter->own.size(), 1u);

    RecordingListener dialog("dialog", 1);
    dialog.enabled = false;
    InputDispatcher::instance().exclusive = &dialog;
    DispatchResult r = InputDispatcher::instance().mouseButton(0, 0, 1, 1, false);
    EXPECT_TRUE(r.exclusive);
    EXPECT_TRUE(dialog.own.empty());
    EXPECT_EQ(painter->own.size(), 1u) << "the list must not be tried instead";
}

// A listener that removes itself while it handles an event.
struct SelfRemovingListener : InputListener {
    int calls = 0;
    int onKey(int, int, int) override {
        ++calls;
        InputDispatcher::instance().remove(this);
        return 0;
    }
};

TEST_F(InputDispatcherTest, ListenerMayRemoveItselfDuringDispatch) {
    auto leaving = std::make_shared<SelfRemovingListener>();
    std::weak_ptr<SelfRemovingListener> watch = leaving;
    InputDispatcher::instance().add(leaving);
    auto after = addListener("after", 1);
    leaving.reset();
    EXPECT_TRUE(InputDispatcher::instance().key(0x41, 0, 0).consumed);
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(after->keys, std::vector<int>{0x41});
    EXPECT_EQ(InputDispatcher::instance().listeners.size(), 1u);
}

TEST_F(InputDispatcherTest, DestroyedExclusiveListenerClearsTheSlot) {
    {
        RecordingListener dialog("dialog", 1);
        InputDispatcher::instance().exclusive = &dialog;
    }
    EXPECT_EQ(InputDispatcher::instance().exclusive, nullptr);
}

TEST_F(InputDispatcherTest, UnconsumedKeyGoesToTheApplicationButNotPastAnExclusive) {
    addListener("gui", 0);
    dispatchKey(0x85A, 3, 4);
    EXPECT_EQ(host.unconsumed, std::vector<int>{0x85A});

    RecordingListener dialog("dialog", 0);
    InputDispatcher::instance().exclusive = &dialog;
    dispatchKey(0x85A, 3, 4);
    EXPECT_EQ(host.unconsumed.size(), 1u) << "dialogs swallow every key";
}
