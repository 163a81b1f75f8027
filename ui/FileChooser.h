#pragma once
// chooseFile: the file dialog of every flow (and of the video export). The
// dialog of the desktop runs on a thread of its own while the main loop
// pumps, so frames, the tick and animations go on under it; the program's
// own dialog is modal through the same loop.
//
// Paths come back as file-system bytes; `shown` is the same path in the
// program's Latin-1 text, for titles and messages.
#include <string>
#include <vector>

#include "platform/FileDialog.h"

struct ChosenPath {
    std::string path;      // file-system bytes, for opening and writing
    std::string extension; // lower case, with the dot: chooses the format
    std::string shown;     // Latin-1, for the title and the messages
};

// Opens the dialog in the current folder (saving: the name field holds
// `initialName`, Latin-1). On success the current folder becomes the chosen
// file's, as the desktop's dialogs do, and true comes back. False when
// cancelled or when another file dialog is already open.
bool chooseFile(bool forSaving, const std::vector<platform::FileFilter>& filters, ChosenPath& out,
                const std::string& initialName = "", const std::string& title = "");

// True while a file dialog waits for its answer.
bool fileDialogOpen();

// The program's own dialog instead of the desktop's: the setting
// "FILE_DIALOG_IN_PROGRAM" = "1".
bool preferInProgramFileDialog();
