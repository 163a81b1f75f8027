#pragma once
// The window's video export on the program's globals: the "Video options"
// dialog (key 'v'), then the export in slices inside the frame loop, with
// the busy ring, the estimate of the time left and ESC to abort. At most
// one export at a time; it takes the input while it runs.
#include <string>

#include "io/VideoWriter.h"

class Dialog;
class ComboWidget;
class CheckBoxWidget;
class EditControl;

// Asks for the format and the container, then starts the export. False
// when cancelled or when the export could not start (said on the status line).
bool openVideoExportDialog();
// Where the film goes, before numbering (nextFreeName) keeps an earlier one:
// the save dialog with the container's one filter, the name field holding
// the picture's name. Empty when the dialog was cancelled.
std::string videoExportTarget(io::VideoContainer container);

// Starts exporting into `path` at once. False (and "command aborted") when
// it cannot start; the picture is then untouched and no file is left.
bool startVideoExport(const std::string& path, int format, io::VideoContainer container);
bool videoExportRunning();
// The tick's step: frames for half the elapsed time; ends the export when
// the last action has its frame or an abort was asked for.
void updateVideoExport(int elapsedMs);
// ESC: stops at once, the file so far is removed ("video export aborted").
void abortVideoExport();

// The open dialog's parts, for tests; null while it is closed.
Dialog* videoOptionsDialog();
ComboWidget* videoOptionsFormat();
ComboWidget* videoOptionsContainer();
CheckBoxWidget* videoOptionsCodecs();
