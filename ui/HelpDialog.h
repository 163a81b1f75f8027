#pragma once
// The help dialog (F1): the keyboard shortcuts, the about entries and the
// editor of key bindings. Made at each opening; opens only when no other
// dialog is open.
//
// Key bindings: one row per rebindable command (the application commands,
// then the canvas commands), two key controls each. "Apply" refuses a key
// combination used twice (the message names it, the repeated control is
// marked, nothing is stored); otherwise every command takes the codes of its
// row and they are stored in the settings, where the commands read them at
// the next start. "Reset" puts the default bindings into the controls.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "widgets/Dialog.h"

class Command;
class KeyCodeEditControl;
class TextArea;
class TextWidget;

// Index of the first code that repeats an earlier non-zero one, or -1.
int firstRepeatedCode(const std::vector<int32_t>& codes);

class HelpDialog : public Dialog {
public:
    // The shortcuts area comes first: the dialog's size follows from it.
    static std::shared_ptr<HelpDialog> make();

    // The rebindable commands in page order: application, then canvas commands.
    static std::vector<Command*> editableCommands();

    // True when the bindings were taken and stored.
    bool applyKeyBindings();
    void resetKeyBindings();

    struct BindingRow {
        int32_t commandId = 0; // looked up at each use: commands may be made anew
        std::shared_ptr<KeyCodeEditControl> first, second;
    };
    std::vector<BindingRow> rows;
    std::shared_ptr<TextWidget> feedback;
    std::shared_ptr<TextArea> shortcuts;

private:
    HelpDialog(int width, int height, std::shared_ptr<TextArea> shortcuts);
    void build();
};

// The web page, mail address and links of the about entries.
struct AboutEntries {
    const char* developer;
    const char* homePage;
    const char* mail;
};
const AboutEntries& aboutEntries();

// Opens the dialog (when no dialog is open) and waits until it is closed.
void showHelpDialog();
