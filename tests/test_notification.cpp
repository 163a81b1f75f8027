// The notification line: its fade-in, hold and fade-out on a fake clock,
// replacement of the text, the 255-character cut, input passing through,
// and showMessage / postMessage reaching it.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/PaintingApplication.h"
#include "core/Globals.h"
#include "core/RenderArea.h"
#include "platform/Clock.h"
#include "ui/MessageQueue.h"
#include "ui/NotificationWidget.h"
#include "widgets/Animator.h"
#include "widgets/ButtonWidget.h"
#include "widgets/GUI.h"

namespace {
class NotificationClock : public ::testing::Test {
protected:
    void SetUp() override {
        now = 5000;
        platform::setClockOverride([this] { return now; });
        AnimatorRegistry::instance().clear();
        widget = std::make_shared<NotificationWidget>(nullptr);
    }
    void TearDown() override {
        AnimatorRegistry::instance().clear();
        platform::setClockOverride({});
    }
    // Advances the clock in 20 ms ticks up to `until` (absolute), ticking the
    // animators each time; returns the opacity seen after each tick.
    std::vector<float> runTo(int32_t until) {
        std::vector<float> seen;
        while (now + 20 <= until) {
            now += 20;
            AnimatorRegistry::instance().tick();
            seen.push_back(widget->visible ? widget->opacity : -1.0f);
        }
        return seen;
    }
    int32_t now = 0;
    std::shared_ptr<NotificationWidget> widget;
};
} // namespace

TEST_F(NotificationClock, StartsHiddenAndShowsAtOnce) {
    EXPECT_FALSE(widget->visible);
    widget->show("zoom: %d%%", 150);
    EXPECT_TRUE(widget->visible);
    EXPECT_EQ(widget->text, "zoom: 150%");
    // The fade-out's start writes 1.0; the fade-in takes over at the next tick.
    EXPECT_FLOAT_EQ(widget->opacity, 1.0f);
    now += 20;
    AnimatorRegistry::instance().tick();
    EXPECT_GT(widget->opacity, 0.0f);
    EXPECT_LT(widget->opacity, 0.1f);
}

TEST_F(NotificationClock, FadesInHoldsFadesOutAndHides) {
    const int32_t t0 = now;
    widget->show("brush active");
    // Fade-in: rises to 1.0 within 400 ms (written on the first tick past it).
    std::vector<float> in = runTo(t0 + 380);
    for (size_t i = 1; i < in.size(); ++i) EXPECT_GE(in[i], in[i - 1]) << "tick " << i;
    EXPECT_LT(in.back(), 1.0f);
    runTo(t0 + 420);
    EXPECT_FLOAT_EQ(widget->opacity, 1.0f);
    // Hold to 800 ms.
    for (float o : runTo(t0 + 800)) EXPECT_FLOAT_EQ(o, 1.0f);
    // Fade-out: falls from 800 to 1500 ms, visible all the way.
    std::vector<float> out = runTo(t0 + 1480);
    ASSERT_FALSE(out.empty());
    for (size_t i = 1; i < out.size(); ++i) EXPECT_LE(out[i], out[i - 1]) << "tick " << i;
    EXPECT_TRUE(widget->visible);
    EXPECT_LT(widget->opacity, 0.1f);
    EXPECT_GT(widget->opacity, 0.0f);
    runTo(t0 + 1500);
    EXPECT_TRUE(widget->visible);
    // The first tick after 1500 ms ends it: invisible at opacity 0.
    runTo(t0 + 1520);
    EXPECT_FALSE(widget->visible);
    EXPECT_FLOAT_EQ(widget->opacity, 0.0f);
    EXPECT_EQ(AnimatorRegistry::instance().size(), 0u);
}

TEST_F(NotificationClock, SecondMessageReplacesTextAndExtendsTheTime) {
    const int32_t t0 = now;
    widget->show("first");
    runTo(t0 + 100);
    const float before = widget->opacity;
    widget->show("second");
    EXPECT_EQ(widget->text, "second");
    // The running fade-in is not restarted: no drop to 0 at the next tick.
    now += 20;
    AnimatorRegistry::instance().tick();
    EXPECT_GE(widget->opacity, before);
    // Still shown 1500 ms after the first message, gone 1500 ms after the second.
    runTo(t0 + 1500);
    EXPECT_TRUE(widget->visible);
    EXPECT_GT(widget->opacity, 0.0f);
    EXPECT_LT(widget->opacity, 1.0f);
    runTo(t0 + 100 + 1480);
    EXPECT_TRUE(widget->visible);
    runTo(t0 + 100 + 1520);
    EXPECT_FALSE(widget->visible);
}

TEST_F(NotificationClock, MessageDuringFadeOutContinuesFromThePresentOpacity) {
    const int32_t t0 = now;
    widget->show("layer deleted");
    runTo(t0 + 1160); // half way down the fade-out
    const float half = widget->opacity;
    ASSERT_GT(half, 0.3f);
    ASSERT_LT(half, 0.7f);
    widget->show("new layer");
    // The fade-in starts from the present opacity: no flash to 0 or to 1.
    ASSERT_TRUE(AnimatorRegistry::instance().contains(NotificationWidget::kFadeOutKey));
    EXPECT_EQ(AnimatorRegistry::instance().animators[NotificationWidget::kFadeOutKey]->startTime, now + 800);
    std::vector<float> up = runTo(now + 400);
    ASSERT_FALSE(up.empty());
    EXPECT_GE(up.front(), half);
    EXPECT_LT(up.front(), half + 0.1f);
    for (size_t i = 1; i < up.size(); ++i) EXPECT_GE(up[i], up[i - 1]);
    runTo(now + 40);
    EXPECT_FLOAT_EQ(widget->opacity, 1.0f);
}

TEST_F(NotificationClock, LongMessagesAreCut) {
    const std::string longText(400, 'x');
    widget->show("%s", longText.c_str());
    EXPECT_EQ(widget->text.size(), 255u);
    EXPECT_EQ(widget->text, longText.substr(0, 255));
}

TEST_F(NotificationClock, ClicksReachTheWidgetBelow) {
    RenderArea window{0, 0, 800, 600};
    GUI root(&window);
    int clicks = 0;
    auto button = std::make_shared<ButtonWidget>(10, 500, 200, 60, "below", 0, [&](Widget*) { ++clicks; });
    root.add(button);
    widget->hAlign = HAlign::Left;
    widget->vAlign = VAlign::Top;
    widget->relX = 10;
    widget->relY = -20;
    root.add(widget);
    root.update(0, 0, 0); // the children join
    root.update(0, 0, 0); // and are placed
    widget->show("over the button");
    ASSERT_TRUE(widget->hitTest(50, 540)) << "the text lies over the button";
    EXPECT_EQ(widget->onMouseButton(0, 0, 50, 540, false), 0);
    EXPECT_EQ(widget->onMouseMove(50, 540, false), 0);
    root.onMouseButton(0, 0, 50, 540, false);
    root.onMouseButton(0, 1, 50, 540, false);
    EXPECT_EQ(clicks, 1);
}

TEST_F(NotificationClock, ShowMessageGoesToTheWidgetAndTheTerminal) {
    auto saved = gApp->notification;
    gApp->notification = widget;
    testing::internal::CaptureStdout();
    gApp->showMessage("rotation: %d degrees", -45);
    const std::string out = testing::internal::GetCapturedStdout();
    gApp->notification = saved;
    EXPECT_EQ(widget->text, "rotation: -45 degrees");
    EXPECT_TRUE(widget->visible);
    EXPECT_EQ(gApp->lastMessage, "rotation: -45 degrees");
    EXPECT_NE(out.find("rotation: -45 degrees\n"), std::string::npos);
}

TEST_F(NotificationClock, PostedMessagesWaitForTheMainThread) {
    auto saved = gApp->notification;
    gApp->notification = widget;
    gApp->lastMessage.clear();
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t)
        workers.emplace_back([t] {
            for (int i = 0; i < 50; ++i) gApp->postMessage("worker %d message %d", t, i);
        });
    for (auto& w : workers) w.join();
    EXPECT_FALSE(widget->visible) << "nothing is shown from another thread";
    EXPECT_EQ(gApp->lastMessage, "");
    gApp->postMessage("image saved\nat location: \"%s\"", "/tmp/a.png");
    testing::internal::CaptureStdout();
    gApp->deliverPostedMessages();
    const std::string out = testing::internal::GetCapturedStdout();
    gApp->notification = saved;
    EXPECT_TRUE(widget->visible);
    EXPECT_EQ(widget->text, "image saved\nat location: \"/tmp/a.png\"");
    EXPECT_EQ(gApp->lastMessage, widget->text);
    // All 201 texts came through, each worker's in its own order.
    int lines = 0;
    for (char c : out) lines += c == '\n';
    EXPECT_EQ(lines, 201 + 1); // the last text holds a line feed
    for (int t = 0; t < 4; ++t)
        EXPECT_LT(out.find("worker " + std::to_string(t) + " message 0\n"),
                  out.find("worker " + std::to_string(t) + " message 49\n"));
    EXPECT_TRUE(gApp->postedMessages.empty());
}

TEST(MessageQueueTest, DrainTakesEverythingOldestFirst) {
    MessageQueue q;
    EXPECT_TRUE(q.empty());
    q.post("a");
    q.post("b");
    EXPECT_EQ(q.drain(), (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(q.empty());
    EXPECT_TRUE(q.drain().empty());
}
