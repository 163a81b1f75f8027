#pragma once
// Modal dialogs on a stack. The top dialog is the input dispatcher's
// exclusive listener; those below it are disabled and dimmed to 0.25.
// runModal() is called from inside an event handler and returns the result
// on the same line: it pumps the program's event loop (timers, frames, input)
// until the dialog closes.
//
//   pushCentered --> invisible on the stack --showTop--> fading in / top
//   top --another dialog pushed--> dimmed (disabled, opacity 0.25)
//   dimmed --upper one popped, showTop--> top again
//   top --accept/cancel/yes/no/close--> closed --popTop--> fading out --> removed from the root
//
// A nested loop may leave the program in the middle of anything: callers
// hold no references into containers across runModal.
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/Math.h"
#include "widgets/Widget.h"

enum DialogResult : int32_t { kDialogOk = 0, kDialogCancel = 1, kDialogYes = 2, kDialogNo = 3 };

class Dialog : public CompositeWidget, public std::enable_shared_from_this<Dialog> {
public:
    // Size in 96-dpi units; a title too wide for it widens the dialog up to
    // 800 units and is wrapped beyond that. color: null takes gGuiColor.
    Dialog(int width, int height, const std::string& title, int32_t id = 0, const float color[4] = nullptr);

    virtual void onApply() {}
    virtual void accept();
    virtual void cancel();
    virtual void yes();
    virtual void no();
    // Sets `closed` (which ends runModal's loop on its next turn) and gives up
    // the exclusive slot; only the first call does anything.
    virtual void close();

    // Pushes, shows and waits until closed; then pops. Returns `result`, or
    // -1 at once when this dialog is already on the stack (a repeated key).
    int runModal();

    int onKey(int key, int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;
    // Focus to the next stop of the tab order (step +1 or -1, wrapping).
    // 0 when no child has focus.
    int moveFocus(int step);

    std::string title;
    std::array<math::Vec2, 4> corners{};
    float color[4] = {0, 0, 0, 1};
    bool closed = false;
    int32_t result = kDialogCancel;

private:
    void fitTitle();
    bool closeDone = false;
};

// ---- the dialog stack -------------------------------------------------------------

// Dims the current top, adds the dialog to the root and to the window grid
// (centre cell, so it follows resizes), hides it and pushes it.
void pushCentered(const std::shared_ptr<Widget>& dialog);
// The same at (x, y) units from the window's lower left; the former top is
// only disabled, not dimmed.
void pushAt(const std::shared_ptr<Widget>& dialog, int x, int y);
// Enables the top, fades it in (or back from dimmed) and makes it exclusive.
void showTop();
// Takes the top off, fades it out and removes it from the root afterwards.
void popTop();
std::size_t dialogStackSize();
Widget* topDialog();
bool onDialogStack(const Widget* widget);
// Closes and pops every dialog, top first (a window close request). The
// nested loops of the closed dialogs end on their next turn.
void closeAllDialogs();

// How runModal waits: pumps until the predicate holds. The program's is
// mainloop::pumpUntil; tests put their own in (an empty one puts it back).
using ModalWait = std::function<void(const std::function<bool()>& done)>;
void setModalWait(ModalWait wait);
// Runs before a dialog becomes modal, to settle what its exclusive slot
// would cut off (an open stroke).
void setModalStartHook(std::function<void()> hook);

// ---- standard boxes ---------------------------------------------------------------

// "OK". Returns kDialogOk, or kDialogCancel for Esc.
// A dialog that Enter accepts wherever the focus stands (on a check box or a
// combo too), as short questions with one obvious answer want.
class EnterAcceptsDialog : public Dialog {
public:
    using Dialog::Dialog;
    int onKey(int key, int x, int y) override;
};

class ButtonWidget;
// The pair most dialogs end with: "Cancel" in the bottom right corner and the
// accepting button left of it (110 by 30 each). onAccept defaults to
// accept(); the accepting button is returned (to give it the focus). An
// empty acceptLabel stands for the text of "OK".
std::shared_ptr<ButtonWidget> addCancelAndAccept(Dialog& dialog, const std::string& acceptLabel = {},
                                                 std::function<void()> onAccept = {});

int messageBox(const std::string& text);
// acceptLabel (left) and "Cancel". kDialogOk or kDialogCancel.
int confirmBox(const std::string& text, const std::string& acceptLabel);
// "Yes", "No", "Cancel". kDialogYes, kDialogNo or kDialogCancel.
int yesNoCancelBox(const std::string& text);
