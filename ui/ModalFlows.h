#pragma once
// The program's side of modal dialogs: what happens to an open stroke when a
// dialog takes the input, the window's close button, and drops that arrive
// while a dialog waits for its answer.
#include <functional>

// Ends an open stroke before a dialog takes the exclusive slot (the release
// would otherwise never reach the canvas). Call once at start-up.
void installModalHooks();

// The window's close button: ends a replay; while busy only asks the work to
// stop; otherwise closes every open dialog and asks "Exit?". Exit runs the
// exit routine; Cancel keeps the window. A second request while the
// question is open is ignored.
void onWindowCloseRequest();
bool exitQuestionOpen();
// "Exit?" with "Exit" and "Cancel" (Esc, the menu, the close button): Exit
// runs the exit routine. Nothing when the question is already open.
void askToExit();
// What "Exit" runs: the exit routine (mainloop::exitProgram); tests put
// their own in, an empty one puts it back.
void setExitRoutine(std::function<void()> routine);

// False while a dialog is open: a drop then would start a load under a
// dialog that waits for its answer. Says so on the status line.
bool acceptDropNow();
