#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "platform/Clock.h"
#include "widgets/Animator.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Dialog.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"
#include "widgets/LayoutManager.h"

// Dialogs without fonts or GL: the modal wait is replaced by a script that
// plays the part of the user, so runModal's answer is read on the same line
// as in the program.
namespace {
constexpr int kEnter = 13, kEsc = 27, kTab = 9, kLeft = 356;

struct DialogFixture : ::testing::Test {
    int32_t now = 1000;
    InputDispatcher& dispatcher = InputDispatcher::instance();
    std::vector<std::shared_ptr<InputListener>> savedListeners;
    InputListener* savedExclusive = nullptr;
    std::shared_ptr<GUI> savedGui;

    void SetUp() override {
        GuiScale = 1.0f;
        savedGui = gGui;
        gGui.reset(); // no root: nothing else holds the dialogs
        platform::setClockOverride([this] { return now; });
        AnimatorRegistry::instance().clear();
        savedListeners = dispatcher.listeners;
        savedExclusive = dispatcher.exclusive;
        dispatcher.exclusive = nullptr;
        // A 1000 x 800 window: cells of 200 x 160.
        gLayoutManager = GridLayoutManager(5, 5);
        gLayoutManager.resize(1000, 800);
    }
    void TearDown() override {
        closeAllDialogs();
        setModalWait({});
        AnimatorRegistry::instance().clear();
        platform::setClockOverride({});
        dispatcher.listeners = savedListeners;
        dispatcher.exclusive = savedExclusive;
        gLayoutManager = GridLayoutManager(5, 5);
        gGui = savedGui;
    }
    void click(int x, int y) {
        dispatcher.mouseButton(0, 0, x, y, false);
        dispatcher.mouseButton(0, 1, x, y, false);
    }
    // Runs the animators over `ms` of fake time.
    void advance(int ms) {
        for (int t = 0; t < ms; t += 20) {
            now += 20;
            AnimatorRegistry::instance().tick();
        }
    }
    // The script runs once inside the modal loop, then the loop must be done.
    void script(std::function<void()> steps) {
        setModalWait([steps](const std::function<bool()>& done) {
            steps();
            ASSERT_TRUE(done()) << "the script left the dialog open";
        });
    }
};
} // namespace

// A 300 x 200 dialog in the centre cell: x = 400 + (200 - 300) / 2 = 350,
// y = 320 + (160 - 200) / 2 = 300. Its buttons stand right and bottom in the
// inner rectangle (insets 20 left and right, 15 below): inner width 260, so
// "Cancel" at 370 + 260 - 110 = 520 and the accept button 120 further left.
TEST_F(DialogFixture, ConfirmBoxButtonsSitWhereTheLayoutPutsThemAndAnswerOnTheSameLine) {
    Widget* seen = nullptr;
    script([&] {
        seen = topDialog();
        ASSERT_NE(seen, nullptr);
        EXPECT_EQ(static_cast<int>(seen->absX), 350);
        EXPECT_EQ(static_cast<int>(seen->absY), 300);
        EXPECT_EQ(dispatcher.exclusive, seen);
        click(405, 320); // inside "Exit" (400..510, 315..345)
    });
    EXPECT_EQ(confirmBox("Exit?", "Exit"), kDialogOk);
    EXPECT_EQ(dialogStackSize(), 0u);
    EXPECT_EQ(dispatcher.exclusive, nullptr);

    script([&] { click(625, 340); }); // inside "Cancel" (520..630)
    EXPECT_EQ(confirmBox("Exit?", "Exit"), kDialogCancel);
    setModalWait([&](const std::function<bool()>& done) {
        click(515, 330);
        EXPECT_FALSE(done()) << "a click between the buttons answers nothing";
        click(401, 316);
        EXPECT_TRUE(done());
    });
    EXPECT_EQ(confirmBox("Exit?", "Exit"), kDialogOk);
}

TEST_F(DialogFixture, EnterAnswersTheFocusedButtonEscCancels) {
    script([&] { dispatcher.key(kEnter, 0, 0); });
    EXPECT_EQ(confirmBox("Continue?", "Continue"), kDialogOk) << "the accept button is added last, with focus";
    script([&] { dispatcher.key(kEsc, 0, 0); });
    EXPECT_EQ(confirmBox("Continue?", "Continue"), kDialogCancel);
    script([&] { dispatcher.key(kEnter, 0, 0); });
    EXPECT_EQ(messageBox("Saved."), kDialogOk);
    script([&] { dispatcher.key(kEsc, 0, 0); });
    EXPECT_EQ(messageBox("Saved."), kDialogCancel) << "Esc gives the default result";
    script([&] { dispatcher.key(kEnter, 0, 0); });
    EXPECT_EQ(yesNoCancelBox("Save changes?"), kDialogYes);
    script([&] {
        dispatcher.key(kLeft, 0, 0); // from "Yes" back to "No"
        dispatcher.key(kEnter, 0, 0);
    });
    EXPECT_EQ(yesNoCancelBox("Save changes?"), kDialogNo);
    script([&] {
        dispatcher.key(kTab, 0, 0); // from the last stop to the first: "Cancel"
        dispatcher.key(kEnter, 0, 0);
    });
    EXPECT_EQ(yesNoCancelBox("Save changes?"), kDialogCancel);
}

TEST_F(DialogFixture, TabWithoutAFocusedChildDoesNothing) {
    auto dialog = std::make_shared<Dialog>(300, 200, "Options");
    auto a = std::make_shared<ButtonWidget>(0, 0, 110, 30, "A");
    auto b = std::make_shared<ButtonWidget>(0, 40, 110, 30, "B");
    dialog->add(a);
    dialog->add(b);
    EXPECT_EQ(dialog->onKey(kTab, 0, 0), 0);
    b->setFocused(true);
    EXPECT_EQ(dialog->onKey(kTab, 0, 0), 1);
    EXPECT_TRUE(a->focused);
    EXPECT_FALSE(b->focused);
    EXPECT_EQ(dialog->moveFocus(-1), 1);
    EXPECT_TRUE(b->focused) << "Shift+Tab wraps the other way";
}

TEST_F(DialogFixture, NestedDialogDimsAndDisablesTheOneBelowUntilItCloses) {
    int inner = -1;
    std::shared_ptr<Dialog> outer = std::make_shared<Dialog>(300, 200, "Outer");
    Dialog* outerRaw = outer.get();
    auto ok = std::make_shared<ButtonWidget>(0, 0, 110, 30, "OK", 0, [outerRaw](Widget*) { outerRaw->accept(); });
    ok->hAlign = HAlign::Right;
    outer->add(ok);
    ok->setFocused(true);
    int depth = 0;
    setModalWait([&](const std::function<bool()>& done) {
        const int level = ++depth;
        if (level == 1) {
            advance(300);
            EXPECT_FLOAT_EQ(outer->opacity, 1.0f) << "faded in";
            // The inner box is opened from the outer dialog's loop.
            inner = messageBox("Inner");
            EXPECT_TRUE(outer->enabled);
            EXPECT_EQ(dispatcher.exclusive, outerRaw) << "the outer dialog is on top again";
            advance(300);
            EXPECT_FLOAT_EQ(outer->opacity, 1.0f) << "back from dimmed";
            dispatcher.key(kEnter, 0, 0);
        } else {
            EXPECT_EQ(dialogStackSize(), 2u);
            EXPECT_FALSE(outer->enabled);
            EXPECT_NE(dispatcher.exclusive, outerRaw);
            advance(300);
            EXPECT_FLOAT_EQ(outer->opacity, 0.25f) << "dimmed within 250 ms";
            // Keys reach only the top: Enter answers the inner box, not the outer one.
            dispatcher.key(kEnter, 0, 0);
            EXPECT_FALSE(outer->closed);
        }
        EXPECT_TRUE(done());
        --depth;
    });
    EXPECT_EQ(outer->runModal(), kDialogOk);
    EXPECT_EQ(inner, kDialogOk);
    EXPECT_EQ(dialogStackSize(), 0u);
}

TEST_F(DialogFixture, ASecondRunOfTheSameDialogIsRefusedAndCloseAllEndsEveryLoop) {
    auto dialog = std::make_shared<Dialog>(300, 200, "Busy");
    int second = 0, inner = -1;
    setModalWait([&](const std::function<bool()>& done) {
        if (dialogStackSize() == 1) {
            second = dialog->runModal(); // a repeated key asking again
            inner = messageBox("Inner");
        } else {
            closeAllDialogs(); // the window's close request
            EXPECT_EQ(dialogStackSize(), 0u);
        }
        EXPECT_TRUE(done());
    });
    EXPECT_EQ(dialog->runModal(), kDialogCancel);
    EXPECT_EQ(second, -1);
    EXPECT_EQ(inner, kDialogCancel);
    EXPECT_EQ(dispatcher.exclusive, nullptr);
}

TEST_F(DialogFixture, ClosedDialogFadesOutAndLeavesTheGrid) {
    std::weak_ptr<Dialog> weak;
    {
        auto dialog = std::make_shared<Dialog>(300, 200, "Bye");
        weak = dialog;
        script([&] { dispatcher.key(kEsc, 0, 0); });
        EXPECT_EQ(dialog->runModal(), kDialogCancel);
    }
    EXPECT_FALSE(weak.expired()) << "alive while it fades out";
    advance(300);
    EXPECT_TRUE(weak.expired()) << "the fade's end drops the last reference";
    gLayoutManager.resize(900, 700);
    EXPECT_EQ(gLayoutManager.itemCount(), 0u);
}

TEST_F(DialogFixture, ModalStartHookRunsBeforeTheDialogTakesTheInput) {
    bool ranBefore = false;
    setModalStartHook([&] { ranBefore = dialogStackSize() == 0 && dispatcher.exclusive == nullptr; });
    script([&] { dispatcher.key(kEsc, 0, 0); });
    messageBox("Stroke ended?");
    setModalStartHook({});
    EXPECT_TRUE(ranBefore);
}
