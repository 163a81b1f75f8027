#pragma once
// The program's own file dialog, for systems with neither zenity nor
// kdialog, or when the settings ask for it: the folder's entries in a grid
// (folders first, then the files that match the chosen filter), the name in
// an edit control, the filters in a combo box (so the chosen filter's
// extension is known), "Cancel" and "OK". It is modal through the program's
// loop, on the main thread.
#include <memory>

#include "platform/FileDialog.h"

class Dialog;

class InProgramFileDialog : public platform::FileDialogBackend {
public:
    const char* name() const override { return "in-program"; }
    platform::FileDialogAnswer run(const platform::FileDialogRequest& request) override;
    bool onMainThread() const override { return true; }
};

// Installs the dialog as the fallback of makeFileDialogBackend.
void installInProgramFileDialog();

// The open dialog, or null (tests).
Dialog* openInProgramFileDialog();
