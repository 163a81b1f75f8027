#include "ui/ModalFlows.h"

#include "canvas/Canvas.h"
#include "core/Globals.h"
#include "core/MainLoop.h"
#include "core/PaintingApplication.h"
#include "ui/ReplaySession.h"
#include "widgets/Dialog.h"
#include "core/Localisation.h"

namespace {
bool gExitQuestion = false;
void programExit() { mainloop::exitProgram(); }
std::function<void()> gExitRoutine = programExit;
} // namespace

void setExitRoutine(std::function<void()> routine) { gExitRoutine = routine ? std::move(routine) : programExit; }

void installModalHooks() {
    setModalStartHook([] {
        if (gCanvas.strokeInProgress()) gCanvas.endStroke();
    });
}

bool exitQuestionOpen() { return gExitQuestion; }

void onWindowCloseRequest() {
    stopActivePlayer();
    if (gApp->busy()) {
        gApp->cancelRequested = true;
        return;
    }
    if (gExitQuestion) return;
    closeAllDialogs();
    askToExit();
}

void askToExit() {
    if (gExitQuestion) return;
    gExitQuestion = true;
    const int answer = confirmBox(tr(tk::EXIT_QUESTION_STR), tr(tk::EXIT_BTN_STR));
    gExitQuestion = false;
    if (answer == kDialogOk) gExitRoutine();
}

bool acceptDropNow() {
    if (dialogStackSize() == 0) return true;
    gApp->showMessage("%s", tr(tk::CLOSE_DIALOG_BEFORE_DROP_STR).c_str());
    return false;
}
