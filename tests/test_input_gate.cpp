#include "test_input_fakes.h"

using InputGateTest = InputTest;

TEST_F(InputGateTest, FirstHalfSecondOfMouseEventsIsDropped) {
    auto painter = addListener("painter", 1);
    onGlutMouse(0, 0, 10, 100); // marks the settling time
    now += 300;
    onGlutMotion(12, 100);
    EXPECT_TRUE(painter->own.empty());
    now += 199;
    onGlutMotion(13, 100);
    EXPECT_TRUE(painter->own.empty()) << "499 ms of mouse events is not enough";
    now += 1;
    onGlutMotion(14, 100);
    ASSERT_EQ(painter->own, std::vector<std::string>{"drag"});
    EXPECT_EQ(painter->x, 14);
    EXPECT_EQ(painter->y, 600 - 100) << "y counts from the bottom of the render area";
}

TEST_F(InputGateTest, PointerMessagesSilenceTheMouseThenSettlingStartsAgain) {
    auto painter = addListener("painter", 1);
    settleMouse();
    onGlutPassiveMotion(1, 1);
    ASSERT_EQ(painter->own.size(), 1u);

    gPointerMessageActive = true;
    gMouseSettling = true;
    gLastPointerTime = now;
    onGlutPassiveMotion(2, 2);
    onGlutMouse(0, 0, 2, 2);
    EXPECT_EQ(painter->own.size(), 1u);

    now += 501;
    expirePenFlags();
    EXPECT_FALSE(gPointerMessageActive);
    onGlutPassiveMotion(3, 3); // first event after the pen: marks the time
    now += 400;
    onGlutPassiveMotion(4, 4);
    EXPECT_EQ(painter->own.size(), 1u);
    now += 100;
    onGlutPassiveMotion(5, 5);
    EXPECT_EQ(painter->own.size(), 2u);
}

TEST_F(InputGateTest, PenWithoutTabletCallbackClosesTheMouseButTabletSeenKeepsItOpen) {
    auto painter = addListener("painter", 1);
    settleMouse();
    gPenActive = true;
    onGlutMotion(5, 5);
    EXPECT_TRUE(painter->own.empty());

    onTablet(0.5f, 0.5f, 0.3f, 1, 0, 0, 0); // the tablet brings no press or motion of its own
    EXPECT_TRUE(gTabletSeen);
    onGlutMotion(6, 6);
    EXPECT_EQ(painter->own, std::vector<std::string>{"drag"});
}

TEST_F(InputGateTest, WheelIsNotGated) {
    auto painter = addListener("painter", 1);
    gPointerMessageActive = true;
    onGlutMouseWheel(0, -1, 10, 20);
    EXPECT_EQ(painter->own, std::vector<std::string>{"wheel-1"});
    EXPECT_EQ(painter->y, 580);
}

TEST_F(InputGateTest, PenFlagExpiresAfterHalfASecondWithoutPackets) {
    onTablet(0.1f, 0.1f, 0.5f, 1, 0, 0, 0);
    gLastPenTime = now; // as refreshPointer does when it takes the packet
    now += 500;
    expirePenFlags();
    EXPECT_TRUE(gPenActive) << "exactly 500 ms is not yet more than 500";
    now += 1;
    expirePenFlags();
    EXPECT_FALSE(gPenActive);
}

TEST_F(InputGateTest, EntryAndProximityClearThePenFlag) {
    onTablet(0.1f, 0.1f, 0.5f, 1, 0, 0, 0);
    onGlutEntry(0);
    EXPECT_FALSE(gPenActive);
    onTabletProximity(1);
    EXPECT_TRUE(gPenActive);
    onTabletProximity(0);
    EXPECT_FALSE(gPenActive);
}

TEST_F(InputGateTest, MouseCallbackTracksTheButtonsEvenWhenGated) {
    gPointerMessageActive = true;
    onGlutMouse(0, 0, 5, 5);
    onGlutMotion(6, 6); // refreshes the flags
    EXPECT_TRUE(gInputState.leftButton);
    onGlutMouse(2, 0, 6, 6);
    onGlutMouse(0, 1, 6, 6);
    refreshInputFlags();
    EXPECT_FALSE(gInputState.leftButton);
    EXPECT_TRUE(gInputState.rightButton);
}
