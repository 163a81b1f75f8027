#include "core/Saving.h"

#include <deque>
#include <vector>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "core/Application.h"
#include "core/Globals.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "io/FlatImage.h"
#include "io/SavingThreads.h"
#include "widgets/GlFont.h"

namespace saving {
namespace {

// Never destroyed: the exit routine, which runs after static destructors
// made later than its registration, still waits for them.
SavingThread& imageThread() {
    static SavingThread* thread = new SavingThread;
    return *thread;
}

AutoSavingThread& autosaveThread() {
    static AutoSavingThread* thread = new AutoSavingThread;
    return *thread;
}

// Saves started and not yet finished on the main thread, oldest first.
struct PendingSave {
    std::string path;
    Application* app;
    SaveDone onDone;
};
std::deque<PendingSave> gPending;

void enterBusy(Application& app) {
    app.busy = true;
    app.spinnerActive = true;
    app.spinnerFrame = 0;
    app.spinnerPeriod = 360;
    app.busyRemainingMs = 0;
    app.cancelRequested = false;
}

} // namespace

bool saveImageInBackground(const std::string& path, SaveDone onDone) {
    return saveImageInBackground(gCanvas, gLayers, gApp, path, std::move(onDone));
}

bool saveImageInBackground(Canvas& canvas, const MultiLayeredImage& layers, Application* app,
                           const std::string& path, SaveDone onDone) {
    // Read back now: the file holds the picture of this moment, whatever is
    // painted while the thread writes.
    std::vector<uint8_t> pixels = flatImagePixels(canvas, layers, flatImageKeepsAlpha(path));
    if (pixels.empty()) {
        if (app) app->showMessage("%s", tr(tk::UNABLE_TO_SAVE_IMAGE_STR).c_str());
        if (onDone) onDone(false);
        return false;
    }
    if (app) enterBusy(*app);
    gPending.push_back({path, app, std::move(onDone)});
    // Waits for the save before, if one still runs.
    imageThread().start(path, std::move(pixels), canvas.width, canvas.height);
    return true;
}

void finishEndedSaves(Application* fallback) {
    for (const SavingThread::Result& result : imageThread().takeResults()) {
        PendingSave pending{result.path, fallback, {}};
        if (!gPending.empty()) {
            pending = std::move(gPending.front());
            gPending.pop_front();
        }
        Application* app = pending.app;
        if (app) {
            if (gPending.empty()) {
                app->busy = false;
                app->spinnerActive = false;
            }
            if (result.ok) {
                app->storeCurrentDirectory();
                // Messages are Latin-1 text; the path is file-system bytes (UTF-8).
                app->showMessage("%s", loc::fillText(tr(tk::IMAGE_SAVED_AT_LOCATION_S_STR), {utf8ToLatin1(result.path)}).c_str());
            } else {
                app->showMessage("%s", tr(tk::UNABLE_TO_SAVE_IMAGE_STR).c_str());
            }
        }
        if (pending.onDone) pending.onDone(result.ok);
    }
}

bool imageSavePending() { return !gPending.empty(); }

void connectAutosave(History& history, const BrushTipTable* tips, std::function<std::string()> path) {
    auto cache = std::make_shared<ActionRecordCache>();
    history.startAutosave = [&history, tips, path = std::move(path), cache](const HistorySnapshot& slot,
                                                                          std::size_t actionCount) {
        const std::string target = path ? path() : std::string();
        if (target.empty()) return;
        // The running writer holds only immutable pieces of the cache, so
        // the copy is made at once; start() then waits for that writer.
        AutosaveJob job =
            makeAutosaveJob(target, history, slot, actionCount, tips, *cache, history.takeUnchangedPrefix());
        autosaveThread().start(std::move(job));
    };
}

int autosavesCompleted() { return autosaveThread().completed(); }
int autosaveFailures() { return autosaveThread().failures(); }

void waitForWriters() {
    imageThread().wait();
    autosaveThread().wait();
}

} // namespace saving
