#pragma once
// The program's side of the background writers (io/SavingThreads): what the
// main thread does before a save starts (read the picture back, copy what
// the autosave needs) and after it ends (busy state, message, folder).
//
// Use from the file workflows:
//
//     gApp->showMessage("saving..");
//     saving::saveImageInBackground(path, [](bool ok) { ... });
//
// The picture is read back at the call, so painting may go on while the file
// is written and the file holds the picture of that moment. A save still
// running is waited for first (two quick saves run one after the other).
// The program stays busy (progress ring, no clicks) until the save ends; the
// tick then shows "image saved\nat location: \"PATH\"" or "unable to save
// image", stores the current folder as the last used one on success, and
// calls onDone(ok) on the main thread.
#include <functional>
#include <string>

class Application;
class BrushTipTable;
class Canvas;
class History;
class MultiLayeredImage;

namespace saving {

using SaveDone = std::function<void(bool ok)>;

// The program's picture (gCanvas, gLayers) into path, as described above.
// False when the picture could not be read back: nothing started, the
// failure message shown.
bool saveImageInBackground(const std::string& path, SaveDone onDone = {});
// The same for any canvas; app may be null (no busy state, no messages).
bool saveImageInBackground(Canvas& canvas, const MultiLayeredImage& layers, Application* app,
                           const std::string& path, SaveDone onDone = {});

// Main thread, from the tick: finishes the saves that ended.
void finishEndedSaves(Application* app);
// An image save was started and has not been finished by finishEndedSaves.
bool imageSavePending();

// Makes every non-forced snapshot into slot 1 of `history` write the process
// to path() on the autosave thread (nothing when path() is empty).
void connectAutosave(History& history, const BrushTipTable* tips, std::function<std::string()> path);
// Autosaves written (and failed) so far, for tests and diagnostics.
int autosavesCompleted();
int autosaveFailures();

// Waits for both writers (the exit routine, tests).
void waitForWriters();

} // namespace saving
