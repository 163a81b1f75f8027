#include <GL/freeglut.h>
#include <X11/keysym.h>

#include "test_input_fakes.h"

namespace {

// A small US keymap: keycode -> {level 0, level 1}.
constexpr unsigned kCtrl = 37, kShift = 50, kAlt = 64, kSpace = 65, kZ = 52, kOne = 10, kF5 = 71, kLeft = 113,
                   kDelete = 119, kTab = 23, kAmpersand = 11;

std::array<std::array<unsigned long, 2>, platform::KeyTracker::kKeycodes> usKeymap() {
    std::array<std::array<unsigned long, 2>, platform::KeyTracker::kKeycodes> m{};
    m[kCtrl] = {XK_Control_L, 0};
    m[kShift] = {XK_Shift_L, 0};
    m[kAlt] = {XK_Alt_L, XK_Meta_L};
    m[kSpace] = {XK_space, 0};
    m[kZ] = {XK_z, XK_Z};
    m[kOne] = {XK_1, XK_exclam};
    m[kF5] = {XK_F5, 0};
    m[kLeft] = {XK_Left, 0};
    m[kDelete] = {XK_Delete, 0};
    m[kTab] = {XK_Tab, XK_ISO_Left_Tab};
    m[kAmpersand] = {XK_ampersand, XK_2}; // a layout whose digits need Shift
    return m;
}

constexpr unsigned kControlState = platform::KeyTracker::kControlMask;

} // namespace

class InputKeyTest : public InputTest {
protected:
    void SetUp() override {
        InputTest::SetUp();
        platform::keyTracker().setKeymap(usKeymap());
        listener = addListener("painter", 1);
    }
    platform::KeyTracker& tracker() { return platform::keyTracker(); }
    std::shared_ptr<RecordingListener> listener;
};

TEST_F(InputKeyTest, SpecialKeysArePlusHexHundredAndModifierKeysAreIgnored) {
    EXPECT_EQ(specialKeyCode(GLUT_KEY_F1), 0x101);
    EXPECT_EQ(specialKeyCode(GLUT_KEY_F12), 0x10C);
    EXPECT_EQ(specialKeyCode(GLUT_KEY_LEFT), 0x164);
    EXPECT_EQ(specialKeyCode(GLUT_KEY_DOWN), 0x167);
    EXPECT_EQ(specialKeyCode(GLUT_KEY_PAGE_UP), 0x168);
    EXPECT_EQ(specialKeyCode(GLUT_KEY_INSERT), 0x16C);
    EXPECT_EQ(specialKeyCode(GLUT_KEY_DELETE), 0x7F);
    for (int k = GLUT_KEY_SHIFT_L; k <= GLUT_KEY_ALT_R; ++k) EXPECT_EQ(specialKeyCode(k), -1) << k;

    tracker().keyEvent(kShift, true, 0, 0, 0);
    refreshInputFlags();
    onGlutSpecial(GLUT_KEY_F5, 10, 20);
    onGlutSpecial(GLUT_KEY_SHIFT_L, 10, 20);
    EXPECT_EQ(listener->keys, std::vector<int>{0x105 + kMaskShift}) << "special keys carry Shift";
    EXPECT_EQ(gInputState.key, 0x105);
    EXPECT_EQ(listener->y, 580);
}

TEST_F(InputKeyTest, CharactersNeverCarryShiftButCarryOtherModifiers) {
    tracker().keyEvent(kShift, true, 0, 0, 0);
    tracker().keyEvent(kSpace, true, 0, 0, 0);
    tracker().buttonEvent(1, true);
    refreshInputFlags();
    onGlutKeyboard('B', 0, 0);
    EXPECT_EQ(listener->keys, std::vector<int>{'B' + kMaskSpace + kMaskLeftButton});
}

TEST_F(InputKeyTest, CtrlLetterArrivesAsVirtualKeyWithCtrlMask) {
    tracker().keyEvent(kCtrl, true, 0, 0, 0);
    tracker().keyEvent(kZ, true, kControlState, 40, 100);
    // freeglut also reports the control character; it must stay silent.
    refreshInputFlags();
    onGlutKeyboard(0x1A, 40, 100);
    ASSERT_EQ(listener->keys, std::vector<int>{0x85A});
    EXPECT_EQ(listener->x, 40);
    EXPECT_EQ(listener->y, 500);
    EXPECT_EQ(gInputState.key, 0x5A);
}

TEST_F(InputKeyTest, CtrlKeysKeepTheModifiersOfTheirMoment) {
    tracker().keyEvent(kCtrl, true, 0, 0, 0);
    tracker().keyEvent(kShift, true, kControlState, 0, 0);
    tracker().keyEvent(kZ, true, kControlState, 0, 0);
    tracker().keyEvent(kZ, false, kControlState, 0, 0);
    tracker().keyEvent(kShift, false, kControlState, 0, 0);
    tracker().keyEvent(kCtrl, false, kControlState, 0, 0);
    pollInput(); // the tick delivers them even when freeglut reported nothing
    EXPECT_EQ(listener->keys, std::vector<int>{0x5A + kMaskCtrl + kMaskShift});
    EXPECT_FALSE(gInputState.ctrl) << "the tick's refresh shows the keys as they are now";
}

TEST_F(InputKeyTest, CtrlNavigationKeysAreTranslatedAndLowKeysDropped) {
    tracker().keyEvent(kCtrl, true, 0, 0, 0);
    for (unsigned k : {kLeft, kDelete, kF5, kOne, kTab, kSpace, kAmpersand}) {
        tracker().keyEvent(k, true, kControlState, 0, 0);
        tracker().keyEvent(k, false, kControlState, 0, 0);
    }
    dispatchControlKeys();
    EXPECT_EQ(listener->keys, (std::vector<int>{0x964, 0x87F, 0x905, 0x831, 0x832}))
        << "Ctrl+Tab and Ctrl+Space give nothing; a digit that needs Shift still counts";
}

TEST_F(InputKeyTest, VirtualKeyTables) {
    EXPECT_EQ(platform::keysymToVirtualKey(XK_a), 0x41);
    EXPECT_EQ(platform::keysymToVirtualKey(XK_Z), 0x5A);
    EXPECT_EQ(platform::keysymToVirtualKey(XK_0), 0x30);
    EXPECT_EQ(platform::keysymToVirtualKey(XK_F12), 0x7B);
    EXPECT_EQ(platform::keysymToVirtualKey(XK_bracketleft), 0xDB);
    EXPECT_EQ(platform::keysymToVirtualKey(XK_KP_5), 0x65);
    EXPECT_EQ(platform::keysymToVirtualKey(XK_Control_R), 0x11);
    EXPECT_EQ(platform::keysymToVirtualKey(0x12345678), 0);
    EXPECT_EQ(platform::translateVirtualKey(0x21), 0x168);
    EXPECT_EQ(platform::translateVirtualKey(0x22), 0x169);
    EXPECT_EQ(platform::translateVirtualKey(0x23), 0x16B);
    EXPECT_EQ(platform::translateVirtualKey(0x24), 0x16A);
    EXPECT_EQ(platform::translateVirtualKey(0x28), 0x167);
    EXPECT_EQ(platform::translateVirtualKey(0x2D), 0x16C);
    EXPECT_EQ(platform::translateVirtualKey(0x70), 0x101);
    EXPECT_EQ(platform::translateVirtualKey(0xA5), 0x175);
    EXPECT_EQ(platform::translateVirtualKey(0x5A), 0x5A);
}

TEST_F(InputKeyTest, ModifierMaskBits) {
    InputState s;
    EXPECT_EQ(s.modifierMask(true), 0);
    s.alt = true;
    EXPECT_EQ(s.modifierMask(true), 0x2000);
    s.shift = true;
    EXPECT_EQ(s.modifierMask(false), 0x2000);
    EXPECT_EQ(s.modifierMask(true), 0x3000);
    s = InputState();
    s.ctrl = s.space = true;
    EXPECT_EQ(s.modifierMask(true), 0xC00);
    s = InputState();
    s.leftButton = s.rightButton = s.middleButton = s.penProximity = true;
    EXPECT_EQ(s.modifierMask(false), 0x4000 + 0x8000 + 0x10000 + 0x20000);
}

TEST_F(InputKeyTest, HeldStateFollowsEventsFocusAndBarrel) {
    tracker().keyEvent(kAlt, true, 0, 0, 0);
    tracker().buttonEvent(3, true);
    tracker().buttonEvent(4, true); // wheel: not a held button
    refreshInputFlags();
    EXPECT_TRUE(gInputState.alt);
    EXPECT_TRUE(gInputState.rightButton);
    EXPECT_EQ(gInputState.modifierMask(true), kMaskAlt + kMaskRightButton);

    platform::InputEvent lost;
    lost.kind = platform::InputEvent::Kind::FocusLost;
    processInputEvents({lost});
    refreshInputFlags();
    EXPECT_FALSE(gInputState.alt) << "a key released elsewhere must not stay held";
    EXPECT_TRUE(gInputState.rightButton);

    platform::InputEvent back;
    back.kind = platform::InputEvent::Kind::FocusGained;
    back.keys[kSpace / 8] = static_cast<char>(1 << (kSpace % 8));
    back.pointerState = platform::KeyTracker::kButton1Mask;
    processInputEvents({back});
    refreshInputFlags();
    EXPECT_TRUE(gInputState.space);
    EXPECT_TRUE(gInputState.leftButton);
    EXPECT_FALSE(gInputState.rightButton);

    gInputState.barrelPressed = true;
    refreshInputFlags();
    EXPECT_TRUE(gInputState.rightButton) << "the barrel button counts as the right button";
}
