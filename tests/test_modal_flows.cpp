#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/PaintingApplication.h"
#include "ui/ModalFlows.h"
#include "widgets/Animator.h"
#include "widgets/Dialog.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"

// The program's side of dialogs, with the modal wait played by the test.
namespace {
struct ModalFlowsTest : ::testing::Test {
    std::shared_ptr<GUI> savedGui;
    int exits = 0;
    void SetUp() override {
        setExitRoutine([this] { ++exits; });
        GuiScale = 1.0f;
        savedGui = gGui;
        gGui.reset();
        InputDispatcher::instance().exclusive = nullptr;
    }
    void TearDown() override {
        setExitRoutine({});
        closeAllDialogs();
        setModalWait({});
        AnimatorRegistry::instance().clear();
        InputDispatcher::instance().exclusive = nullptr;
        gGui = savedGui;
        gApp->Application::busy = false;
        gApp->cancelRequested = false;
    }
};
} // namespace

TEST_F(ModalFlowsTest, DropsWaitUntilNoDialogIsOpen) {
    EXPECT_TRUE(acceptDropNow());
    auto dialog = std::make_shared<Dialog>(300, 200, "Open");
    pushCentered(dialog);
    EXPECT_FALSE(acceptDropNow());
    EXPECT_EQ(gApp->lastMessage, "close the dialog before dropping a file");
    popTop();
    EXPECT_TRUE(acceptDropNow());
}

TEST_F(ModalFlowsTest, CloseButtonClosesOpenDialogsAndCancelKeepsTheProgram) {
    std::string question;
    int outerResult = -1;
    bool outerClosedBeforeQuestion = false;
    auto outer = std::make_shared<Dialog>(300, 200, "Settings");
    setModalWait([&](const std::function<bool()>& done) {
        Dialog* top = dynamic_cast<Dialog*>(topDialog());
        ASSERT_NE(top, nullptr);
        if (top == outer.get()) {
            onWindowCloseRequest(); // from the tick, inside the settings dialog's loop
            EXPECT_TRUE(done()) << "the settings dialog was closed by the request";
        } else {
            outerClosedBeforeQuestion = outer->closed && dialogStackSize() == 1;
            question = top->title;
            onWindowCloseRequest(); // a second request while asking: ignored
            EXPECT_EQ(dialogStackSize(), 1u);
            InputDispatcher::instance().key(27, 0, 0); // Cancel
            EXPECT_TRUE(done());
        }
    });
    outerResult = outer->runModal();
    EXPECT_EQ(question, "Exit?");
    EXPECT_TRUE(outerClosedBeforeQuestion);
    EXPECT_EQ(outerResult, kDialogCancel);
    EXPECT_FALSE(exitQuestionOpen());
    EXPECT_EQ(dialogStackSize(), 0u);
    EXPECT_EQ(exits, 0);

    // Enter answers "Exit", the focused button.
    setModalWait([&](const std::function<bool()>& done) {
        InputDispatcher::instance().key(13, 0, 0);
        EXPECT_TRUE(done());
    });
    onWindowCloseRequest();
    EXPECT_EQ(exits, 1);
}

TEST_F(ModalFlowsTest, CloseButtonWhileBusyOnlyAsksTheWorkToStop) {
    gApp->Application::busy = true;
    bool asked = false;
    setModalWait([&](const std::function<bool()>&) { asked = true; });
    onWindowCloseRequest();
    EXPECT_FALSE(asked);
    EXPECT_TRUE(gApp->cancelRequested);
    EXPECT_EQ(exits, 0);
}
