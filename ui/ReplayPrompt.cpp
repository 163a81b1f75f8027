#include "ui/ReplayPrompt.h"

#include <memory>

#include "ui/ReplaySession.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Dialog.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"
#include "core/Localisation.h"

namespace {

using ReplayPromptDialog = EnterAcceptsDialog;

// Weak: the dialog stack and the running runModal own the prompt.
std::weak_ptr<Dialog> gPrompt;
std::weak_ptr<CheckBoxWidget> gAutopan;
} // namespace

bool openReplayPrompt() {
    if (!gGui || replayPromptOpen() || activePlayer()) return false;
    // Wide enough for the title in the title font, so that it needs no widening.
    auto dialog = std::make_shared<ReplayPromptDialog>(440, 170, tr(tk::START_REPLAY_STR));
    auto autopan = std::make_shared<CheckBoxWidget>(0, 50, 16, false, std::function<void()>{}, std::function<void()>{});
    autopan->label = tr(tk::AUTOPAN_AND_ZOOM_STR);
    autopan->vAlign = VAlign::Bottom;
    dialog->add(autopan);
    addCancelAndAccept(*dialog)->setFocused(true);
    gPrompt = dialog;
    gAutopan = autopan;
    const int result = dialog->runModal();
    const bool withAutopan = autopan->checked;
    gPrompt.reset();
    gAutopan.reset();
    // The answer is read only now, after the nested loop: nothing above is
    // held across it but our own shared pointers.
    return result == kDialogOk && startReplay(withAutopan);
}

bool replayPromptOpen() {
    auto d = gPrompt.lock();
    return d && !d->closed;
}

Dialog* replayPromptDialog() { return replayPromptOpen() ? gPrompt.lock().get() : nullptr; }
CheckBoxWidget* replayPromptAutopan() { return replayPromptOpen() ? gAutopan.lock().get() : nullptr; }

void answerReplayPrompt(bool ok) {
    auto d = gPrompt.lock();
    if (!d || d->closed) return;
    if (ok) d->accept();
    else d->cancel();
}
