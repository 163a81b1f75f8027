#include "ui/VideoExportSession.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/ViewNavigation.h"
#include "core/FileNames.h"
#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/InputListener.h"
#include "core/PaintingApplication.h"
#include "core/VideoExport.h"
#include "history/History.h"
#include "platform/Clock.h"
#include "platform/ErrorBox.h"
#include "ui/FileChooser.h"
#include "ui/ReplaySession.h"
#include "widgets/ButtonWidget.h"
#include "widgets/ComboWidget.h"
#include "widgets/Dialog.h"
#include "widgets/EditControl.h"
#include "widgets/GUI.h"
#include "widgets/GlFont.h"
#include "widgets/GuiRoot.h"
#include "widgets/TextWidget.h"
#include "core/Localisation.h"

namespace {
constexpr int kEsc = 27;
constexpr int32_t kEstimatePeriodMs = 2000;

// The check box keeps its state while the program runs. The encoder follows
// the container (MPEG-4 in AVI, H.264 in MP4), so it asks nothing more.
bool gShowCodecs = true;
int gLastFormat = 0;
int gLastContainer = 0;

std::weak_ptr<Dialog> gDialog;
std::weak_ptr<ComboWidget> gFormat, gContainer;
std::weak_ptr<CheckBoxWidget> gCodecs;

using VideoOptionsDialog = EnterAcceptsDialog;

// Takes the input while the export runs: ESC stops it, the rest is swallowed.
class ExportListener : public InputListener {
public:
    int onMouseButton(int, int, int, int, bool) override { return 1; }
    int onMouseDrag(int, int, bool) override { return 1; }
    int onKey(int key, int, int) override {
        if (key == kEsc) gApp->cancelRequested = true;
        return 1;
    }
};

struct Session {
    VideoExport job{gHistory, gCanvas, gLayers};
    ExportListener listener;
    std::string path;
    int32_t lastEstimate = 0;
};
std::unique_ptr<Session> gSession;

void enterBusy(int actions) {
    Application& app = *gApp;
    app.busy = true;
    app.busyRemainingMs = 0;
    app.spinnerActive = false;
    app.spinnerPeriod = actions;
    app.spinnerFrame = 0;
    app.cancelRequested = false;
}

void leaveBusy() {
    Application& app = *gApp;
    app.busy = false;
    app.busyRemainingMs = 0;
    app.spinnerPeriod = 0;
    app.spinnerFrame = 0;
    app.cancelRequested = false;
}

// Ends the session: the listener leaves, the end picture is back.
void endSession(bool aborted) {
    if (!gSession) return;
    std::unique_ptr<Session> session = std::move(gSession);
    InputDispatcher& dispatcher = InputDispatcher::instance();
    if (dispatcher.exclusive == &session->listener) dispatcher.exclusive = nullptr;
    if (aborted) {
        session->job.abort();
        gApp->showMessage("%s", tr(tk::VIDEO_EXPORT_ABORTED_STR).c_str());
    } else if (session->job.finish()) {
        gApp->showMessage("%s", tr(tk::VIDEO_EXPORT_DONE_STR).c_str());
        std::printf("video written to %s\n", session->path.c_str());
        std::fflush(stdout);
    } else {
        // The reason is the encoder's own, in English.
        gApp->showMessage("%s", loc::fillText(tr(tk::VIDEO_EXPORT_FAILED_S_STR), {session->job.error()}).c_str());
    }
    leaveBusy();
}

std::shared_ptr<TextWidget> caption(int x, int y, const std::string& text) {
    return std::make_shared<TextWidget>(x, y, text);
}
} // namespace

std::string videoExportTarget(io::VideoContainer container) {
    const bool avi = container == io::VideoContainer::Avi;
    const platform::FileFilter filter{platform::latin1ToUtf8(tr(avi ? tk::FILTER_AVI_FILE_STR : tk::FILTER_MP4_FILE_STR)),
                                      {avi ? "AVI" : "MP4"},
                                      avi ? ".avi" : ".mp4"};
    std::string initial = std::filesystem::path(gApp->imageName).filename().string();
    if (initial.empty()) initial = tr(tk::VIDEO_FILE_NAME_STR);
    initial = std::filesystem::path(initial).replace_extension(filter.extension).string();
    ChosenPath chosen;
    if (!chooseFile(true, {filter}, chosen, initial, tr(tk::EXPORT_VIDEO_AS_STR))) return {};
    // The container decides the format, so the name carries its extension.
    if (chosen.extension != filter.extension) chosen.path += filter.extension;
    return chosen.path;
}

bool startVideoExport(const std::string& path, int format, io::VideoContainer container) {
    if (gSession || activePlayer() || gApp->Application::busy) return false;
    // A stroke still open or a queued fill would land in the middle of the film.
    if (gCanvas.strokeInProgress()) gCanvas.endStroke();
    gHistory.runQueuedActions();
    auto session = std::make_unique<Session>();
    session->path = path;
    session->job.setWatermark(gApp->authorName, gFontGui.get());
    if (!session->job.start(path, format, container)) {
        std::fprintf(stderr, "video export: %s\n", session->job.error().c_str());
        gApp->showMessage("%s", tr(tk::COMMAND_ABORTED_STR).c_str());
        return false;
    }
    gSession = std::move(session);
    enterBusy(gSession->job.count());
    InputDispatcher::instance().exclusive = &gSession->listener;
    // The format index follows the text, as it always has.
    const std::string started = tr(tk::EXPORTING_VIDEO_ESC_TO_ABORT_STR) + ", format = " + std::to_string(format);
    gApp->showMessage("%s", started.c_str());
    return true;
}

bool videoExportRunning() { return gSession != nullptr; }

void updateVideoExport(int elapsedMs) {
    if (!gSession) return;
    if (gApp->cancelRequested) {
        endSession(true);
        return;
    }
    Session& s = *gSession;
    const bool more = s.job.update(std::max(1, elapsedMs / 2));
    Application& app = *gApp;
    app.spinnerFrame = s.job.position();
    const int32_t now = platform::nowMs();
    if (s.job.position() > 0 && now - s.lastEstimate >= kEstimatePeriodMs) {
        s.lastEstimate = now;
        app.busyRemainingMs = static_cast<int>(static_cast<int64_t>(s.job.elapsedMs()) *
                                               (s.job.count() - s.job.position()) / s.job.position());
    }
    if (!more) endSession(false);
}

void abortVideoExport() { endSession(true); }

bool openVideoExportDialog() {
    if (!gGui || gSession || activePlayer() || videoOptionsDialog()) return false;
    auto dialog = std::make_shared<VideoOptionsDialog>(440, 250, tr(tk::VIDEO_OPTIONS_STR));
    auto format = std::make_shared<ComboWidget>(160, 150, 150);
    for (const io::VideoFormat& f : io::kVideoFormats) format->addItem(f.label);
    format->selected = gLastFormat;
    auto container = std::make_shared<ComboWidget>(160, 120, 150);
    container->addItem(tr(tk::VIDEO_CONTAINER_AVI_STR));
    container->addItem(tr(tk::VIDEO_CONTAINER_MP4_STR));
    container->selected = gLastContainer;
    auto author = std::make_shared<EditControl>(160, 88, 200, 22, 64, 0, "", false, tr(tk::AUTHOR_NAME_STR).c_str());
    auto codecs = std::make_shared<CheckBoxWidget>(0, 45, 16, gShowCodecs, std::function<void()>{},
                                                   std::function<void()>{});
    codecs->label = tr(tk::SHOW_CODECS_DIALOG_STR);
    dialog->add(caption(0, 153, tr(tk::VIDEO_FORMAT_STR)));
    dialog->add(format);
    dialog->add(caption(0, 123, tr(tk::VIDEO_CONTAINER_STR)));
    dialog->add(container);
    dialog->add(caption(0, 91, tr(tk::AUTHOR_STR)));
    dialog->add(author);
    dialog->add(codecs);
    addCancelAndAccept(*dialog)->setFocused(true);
    gDialog = dialog;
    gFormat = format;
    gContainer = container;
    gCodecs = codecs;
    const int result = dialog->runModal();
    gShowCodecs = codecs->checked;
    gDialog.reset();
    gFormat.reset();
    gContainer.reset();
    gCodecs.reset();
    if (result != kDialogOk) return false;
    gApp->authorName = author->text();
    gLastFormat = std::clamp(format->selected, 0, static_cast<int>(io::kVideoFormats.size()) - 1);
    gLastContainer = std::clamp(container->selected, 0, 1);
    const io::VideoContainer chosen = gLastContainer == 0 ? io::VideoContainer::Avi : io::VideoContainer::Mp4;
    const std::string target = videoExportTarget(chosen);
    if (target.empty()) return false;
    // Numbered, so an export never overwrites an earlier film.
    const std::string path = nextFreeName(target);
    fitToWindow(gPainter);
    return startVideoExport(path, gLastFormat, chosen);
}

Dialog* videoOptionsDialog() {
    auto d = gDialog.lock();
    return d && !d->closed ? d.get() : nullptr;
}
ComboWidget* videoOptionsFormat() { return videoOptionsDialog() ? gFormat.lock().get() : nullptr; }
ComboWidget* videoOptionsContainer() { return videoOptionsDialog() ? gContainer.lock().get() : nullptr; }
CheckBoxWidget* videoOptionsCodecs() { return videoOptionsDialog() ? gCodecs.lock().get() : nullptr; }
