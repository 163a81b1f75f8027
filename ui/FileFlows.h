#pragma once
// What the user does with files, from the keys (and later the menu): new
// image, load image, load and save a drawing process, save image, quick
// save, exit, the recovery prompt after a crash and the drop of a file.
// Each flow says what happens in the status line; a failed or cancelled one
// leaves the picture and the title as they were.
//
// One flow at a time: a key that would start a flow while another one waits
// for its file dialog or its question is refused with a message (the
// desktop's dialog leaves the window's keys live, and a second dialog under
// the first would answer the wrong question).
#include <string>
#include <vector>

#include "platform/FileDialog.h"

namespace fileflows {

const std::vector<platform::FileFilter>& loadImageFilters();
const std::vector<platform::FileFilter>& saveImageFilters();
const std::vector<platform::FileFilter>& processFilters();

// CTRL+N: unsaved-work question, the "New image:" dialog, a new canvas.
void newImage();
// The new picture itself: canvas, history and title; grey unless transparent.
// False (and the size message) when the card cannot take the size.
bool makeNewPicture(int width, int height, bool transparent);
void loadImage();                      // 'l'
void loadProcess(bool askAboutChanges); // F9 (false) or the menu (true)
void saveProcess();                    // F8
void saveImage();                      // 's'
void quickSave();                      // F6: the next numbered ".png" of the image's name
// Esc: "Exit?" (refused while a flow runs).
void exitFromKey();
// Once, from the tick, after a run that did not end cleanly.
void offerRecoveryOnce();
// A file dropped on the window at (x, y).
void dropFile(const std::string& path, int x, int y);

// The flat image of the picture into `path` (file-system bytes), written by
// the saving thread; its message comes from the tick when the file is done.
// False when the save could not start.
bool saveFlatImage(const std::string& path);

// The title from a path: its name and extension, Latin-1.
void setTitleFromPath(const std::string& shownPath);
// The current folder into the settings ("curr_dir").
void storeCurrentDirectory();
// True while a flow runs.
bool flowRunning();

} // namespace fileflows

class Dialog;
namespace fileflows {
// Esc and Tab for the flows' dialogs that hold edit controls; 0 when the
// key is not one of them.
int dialogKey(Dialog& dialog, int key);

} // namespace fileflows
