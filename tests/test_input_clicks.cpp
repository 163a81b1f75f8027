#include "test_input_fakes.h"

class InputClickTest : public InputTest {
protected:
    void click(int x, int y) {
        dispatchButton(0, 0, x, y, false);
        dispatchButton(0, 1, x, y, false);
    }
    int doubles() const { return static_cast<int>(std::count(painter->own.begin(), painter->own.end(), "double")); }
    void SetUp() override {
        InputTest::SetUp();
        painter = addListener("painter", 0);
    }
    std::shared_ptr<RecordingListener> painter;
};

TEST_F(InputClickTest, TwoPressesWithinTimeAndDistanceMakeADoubleClick) {
    click(100, 100);
    now += 499;
    click(108, 92);
    EXPECT_EQ(doubles(), 1);
    ASSERT_GE(painter->own.size(), 3u);
    std::vector<std::string> tail(painter->own.end() - 3, painter->own.end());
    EXPECT_EQ(tail, (std::vector<std::string>{"button0down", "double", "button0up"}))
        << "the press is dispatched before the double click";
}

TEST_F(InputClickTest, TooSlowOrTooFarIsNoDoubleClick) {
    click(100, 100);
    now += 500;
    click(100, 100);
    EXPECT_EQ(doubles(), 0) << "500 ms is not below the double-click time";
    now += 10;
    click(109, 100);
    EXPECT_EQ(doubles(), 0) << "9 pixels is too far";
    now += 10;
    click(109, 91);
    EXPECT_EQ(doubles(), 0);
    now += 10;
    click(109, 92);
    EXPECT_EQ(doubles(), 1);
}

TEST_F(InputClickTest, ThirdClickAtOnceIsAPlainPress) {
    click(50, 50);
    now += 100;
    click(50, 50);
    now += 100;
    click(50, 50);
    EXPECT_EQ(doubles(), 1);
}

TEST_F(InputClickTest, OnlyTheLeftButtonCountsAndBusyDropsPresses) {
    dispatchButton(1, 0, 5, 5, false);
    now += 50;
    dispatchButton(1, 0, 5, 5, false);
    EXPECT_EQ(doubles(), 0);

    host.isBusy = true;
    std::size_t before = painter->own.size();
    dispatchButton(0, 0, 5, 5, false);
    EXPECT_EQ(painter->own.size(), before);
    host.isBusy = false;
    dispatchPassiveMotion(6, 6, false); // motion still flows while busy
    EXPECT_EQ(painter->own.back(), "move");
}

TEST_F(InputClickTest, RightButtonOpensAndClosesTheHudAfterTheDispatch) {
    painter->result = 1;
    gInputState.rightButton = true;
    dispatchButton(2, 0, 30, 40, false);
    EXPECT_EQ(painter->own.back(), "button2down");
    EXPECT_EQ(host.calls, std::vector<std::string>{"hud open 30,40"});
    EXPECT_EQ(host.mode, kModeInterface);
    dispatchButton(2, 1, 30, 40, false);
    EXPECT_EQ(host.calls.back(), "hud close");
    EXPECT_FALSE(gInputState.rightButton);
}

TEST_F(InputClickTest, PassiveMotionChoosesBetweenInterfaceAndCanvas) {
    painter->result = 1; // as the GUI over a panel
    dispatchPassiveMotion(10, 10, false);
    EXPECT_EQ(host.mode, kModeInterface);
    painter->result = 0; // off the panels
    dispatchPassiveMotion(11, 10, false);
    EXPECT_EQ(host.mode, kModeTool);
    host.mode = 0; // panning stays panning when nobody takes the motion
    dispatchPassiveMotion(12, 10, false);
    EXPECT_EQ(host.mode, 0);
    EXPECT_EQ(host.toolTipResets, 3);
    EXPECT_EQ(gInputState.mouseX, 12);
    EXPECT_EQ(gInputState.previousX, 11);
}

TEST_F(InputClickTest, ShiftDragWithBrushOrEraserEngagesTheAxisLock) {
    gInputState.shift = true;
    host.tool = 2;
    dispatchDrag(7, 8, false);
    EXPECT_EQ(host.calls, std::vector<std::string>{"axis 7,8"});
    host.tool = 3;
    dispatchDrag(9, 8, false);
    EXPECT_EQ(host.calls.size(), 1u);
    EXPECT_EQ(host.mode, 4) << "a drag never changes the mode";
}

TEST(InputStatePointer, DirectionsRingAndMean) {
    InputState s;
    EXPECT_EQ(s.meanDirection(), math::Vec2(1, 0));
    s.updatePointer(0, 10); // from (0, 0): straight up
    EXPECT_EQ(s.directions[0], math::Vec2(0, 1));
    EXPECT_EQ(s.mouseY, 10);
    s.updatePointer(0, 10); // no move: counts as (1, 0), position unchanged
    EXPECT_EQ(s.directions[1], math::Vec2(1, 0));
    EXPECT_EQ(s.previousY, 0);
    for (int i = 0; i < 5; ++i) s.updatePointer(-(i + 1) * 3, 10); // five moves to the left
    EXPECT_EQ(s.directionIndex, 2);
    EXPECT_EQ(s.meanDirection(), math::Vec2(-1, 0));
    // Standing still fills the ring with (1, 0) again.
    s.updatePointer(-15, 10);
    s.updatePointer(-15, 10);
    s.updatePointer(-15, 10);
    s.updatePointer(-15, 10);
    s.updatePointer(-15, 10);
    EXPECT_EQ(s.meanDirection(), math::Vec2(1, 0));
}

TEST(InputStatePointer, OppositeMovesCancelToTheDefaultDirection) {
    InputState s;
    s.directions = {math::Vec2(1, 0), math::Vec2(-1, 0), math::Vec2(0, 1), math::Vec2(0, -1), math::Vec2(0, 0)};
    EXPECT_EQ(s.meanDirection(), math::Vec2(1, 0));
}
