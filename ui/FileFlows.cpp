#include "ui/FileFlows.h"
#include "ui/ReferenceView.h"

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "canvas/Canvas.h"
#include "canvas/GlInfo.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "canvas/ViewNavigation.h"
#include "core/FileNames.h"
#include "core/Globals.h"
#include "core/Saving.h"
#include "core/InputState.h"
#include "core/MainLoop.h"
#include "core/PaintingApplication.h"
#include "core/Startup.h"
#include "history/History.h"
#include "io/DrawingProcess.h"
#include "io/FlatImage.h"
#include "io/ImageCodec.h"
#include "io/ImageLoad.h"
#include "io/LayeredFile.h"
#include "io/OpenRaster.h"
#include "platform/ErrorBox.h"
#include "platform/Paths.h"
#include "platform/Settings.h"
#include "tools/Tool.h"
#include "ui/FileChooser.h"
#include "ui/ModalFlows.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Dialog.h"
#include "widgets/EditControl.h"
#include "widgets/GlFont.h"
#include "widgets/TextWidget.h"
#include "core/Localisation.h"

namespace fs = std::filesystem;

namespace fileflows {

namespace {

bool gRunning = false;

// Holds the one-flow-at-a-time rule for the length of a flow.
class FlowGuard {
public:
    FlowGuard() : owns_(!gRunning && !fileDialogOpen()) {
        if (owns_) gRunning = true;
        else gApp->showMessage("%s", tr(tk::FILE_DIALOG_BUSY_STR).c_str());
    }
    ~FlowGuard() {
        if (owns_) gRunning = false;
    }
    FlowGuard(const FlowGuard&) = delete;
    FlowGuard& operator=(const FlowGuard&) = delete;
    explicit operator bool() const { return owns_; }

private:
    bool owns_;
};

// The document; without the application the readers and writers stay quiet
// and the flow says what happened itself (with the path in Latin-1).
DocumentTarget document(bool withMessages) {
    return DocumentTarget{gCanvas, gLayers, gHistory, &gFramebufferCapability, withMessages ? gApp : nullptr};
}

// The tools heard of the new canvas from Canvas::resize.
void afterNewCanvas() {
    fitToWindow(gPainter);
}

void doSaveProcess() {
    ChosenPath chosen;
    if (!chooseFile(true, processFilters(), chosen, gApp->imageName, tr(tk::SAVE_DRAWING_PROCESS_STR))) return;
    // A saved file is never overwritten: the next free numbered name.
    const std::string path = nextFreeName(chosen.path);
    const std::string shown = utf8ToLatin1(path);
    DocumentTarget doc = document(false);
    const bool saved = saveDrawingProcessFlow(path, doc, &gBrushTips);
    // The changes count as handled whatever the write gave.
    gLayers.modificationCount = 0;
    if (!saved) {
        gApp->showMessage("%s", tr(tk::UNABLE_TO_SAVE_DRAWING_PROCESS_STR).c_str());
        return;
    }
    setTitleFromPath(shown);
    storeCurrentDirectory();
    gApp->showMessage("%s", loc::fillText(tr(tk::DRAWING_PROCESS_SAVED_AT_LOCAT_STR), {shown}).c_str());
}

// Unsaved work: Yes saves the process first, No goes on, Cancel stops.
bool unsavedWorkHandled() {
    if (gLayers.modificationCount == 0) return true;
    const int answer = yesNoCancelBox(tr(tk::SAVE_CURRENT_CHANGES_STR));
    if (answer == kDialogYes) doSaveProcess();
    return answer == kDialogYes || answer == kDialogNo;
}

// Filter names are shown by the file dialogs, which take UTF-8.
platform::FileFilter filter(const std::string& label, std::vector<std::string> names, const char* extension) {
    return platform::FileFilter{platform::latin1ToUtf8(label), std::move(names), extension};
}

} // namespace

// Esc cancels and Tab moves on even from a focused edit control, which
// would otherwise take them as its own keys.
int dialogKey(Dialog& dialog, int key) {
    if (!dialog.focused) return 0;
    const int plain = key & 0x3FF;
    if (plain == 27) {
        dialog.cancel();
        return 1;
    }
    if (plain == 9) return dialog.moveFocus((gInputState.shift || (key & 0x1000)) ? -1 : 1);
    return 0;
}

namespace {

// The "New image:" dialog: Enter on a field answers as OK does.
class NewImageDialog : public Dialog {
public:
    NewImageDialog() : Dialog(380, 220, tr(tk::NEW_IMAGE_STR)) {}

    void build(int width, int height) {
        NewImageDialog* d = this;
        add(std::make_shared<TextWidget>(20, 140, tr(tk::WIDTH_LABEL_STR), 0), true);
        widthEdit = std::make_shared<EditControl>(110, 132, 90, 26, 6, 0, std::to_string(width), true);
        add(widthEdit);
        add(std::make_shared<TextWidget>(20, 100, tr(tk::HEIGHT_LABEL_STR), 0), true);
        heightEdit = std::make_shared<EditControl>(110, 92, 90, 26, 6, 0, std::to_string(height), true);
        add(heightEdit);
        transparent = std::make_shared<CheckBoxWidget>(20, 50, 16, false, std::function<void()>{},
                                                       std::function<void()>{});
        transparent->label = tr(tk::TRANSPARENT_BACKGROUND_STR);
        add(transparent);
        for (auto* e : {widthEdit.get(), heightEdit.get()}) e->onEnter = [d] { d->tryAccept(); };
        addCancelAndAccept(*this, tr(tk::OK_BTN_STR), [d] { d->tryAccept(); });
        widthEdit->setFocused(true);
    }

    int onKey(int key, int x, int y) override {
        if (const int r = dialogKey(*this, key); r != 0) return r;
        return Dialog::onKey(key, x, y);
    }

    void tryAccept() {
        if (widthEdit->text().empty() || heightEdit->text().empty()) {
            gApp->showMessage("%s", tr(tk::PLEASE_SPECIFY_NEW_CANVAS_SIZE_STR).c_str());
            return;
        }
        accept();
    }

    std::shared_ptr<EditControl> widthEdit, heightEdit;
    std::shared_ptr<CheckBoxWidget> transparent;
};

} // namespace

const std::vector<platform::FileFilter>& loadImageFilters() {
    // Made at each call: the names follow the language.
    static std::vector<platform::FileFilter> filters;
    filters = {
        filter(tr(tk::FILTER_ALL_IMAGE_FORMATS_STR),
               {"JPG", "PNG", "TGA", "TIF", "TIFF", "KWF", "ORA", "RAW", "CRW", "NEF", "CR2", "DNG", "ORF", "ARW", "ERF", "3FR",
                "DCR", "X3F", "MEF", "RAF", "MRW", "PEF", "SR2"},
               ".jpg"),
        filter("JPEG", {"JPG"}, ".jpg"),
        filter("PNG", {"PNG"}, ".png"),
        filter("TGA", {"TGA"}, ".tga"),
        filter("TIFF", {"TIF", "TIFF"}, ".tif"),
        filter(tr(tk::FILTER_LAYERED_FILE_STR), {"KWF"}, ".kwf"),
        filter("OpenRaster", {"ORA"}, ".ora"),
        filter(tr(tk::FILTER_CAMERA_RAW_STR),
               {"RAW", "CRW", "NEF", "CR2", "DNG", "ORF", "ARW", "ERF", "3FR", "DCR", "X3F", "MEF", "RAF", "MRW", "PEF",
                "SR2"},
               ".raw"),
    };
    return filters;
}

const std::vector<platform::FileFilter>& saveImageFilters() {
    static std::vector<platform::FileFilter> filters;
    filters = {
        filter("JPEG", {"JPG"}, ".jpg"),
        filter("PNG", {"PNG"}, ".png"),
        filter("TGA", {"TGA"}, ".tga"),
        filter("TIFF", {"TIF", "TIFF"}, ".tif"),
        filter(tr(tk::FILTER_LAYERED_FILE_STR), {"KWF"}, ".kwf"),
        filter("OpenRaster", {"ORA"}, ".ora"),
    };
    return filters;
}

const std::vector<platform::FileFilter>& processFilters() {
    static std::vector<platform::FileFilter> filters;
    filters = {
        filter(tr(tk::FILTER_PROCESS_FILE_STR), {"DPF"}, ".dpf"),
        filter(tr(tk::FILTER_OLD_DAT_FILE_STR), {"DAT"}, ".dat"),
    };
    return filters;
}

bool flowRunning() { return gRunning; }

void setTitleFromPath(const std::string& shownPath) {
    const fs::path p(shownPath);
    gApp->imageName = p.stem().string();
    gApp->setTitle(gApp->imageName, p.extension().string());
}

void storeCurrentDirectory() {
    std::error_code ec;
    const fs::path dir = fs::current_path(ec);
    if (!ec) platform::writeValue("curr_dir", dir.string());
}

bool makeNewPicture(int width, int height, bool transparent) {
    if (!checkCanvasSize(width, height, gFramebufferCapability, gApp)) return false;
    if (!gHistory.reinitialize(width, height)) return false;
    gCanvas.clearCurrentSurface(0, 0, 0, 0);
    gCanvas.clearStrokeBuffer();
    if (transparent && !gHistory.queuedActions.empty()) {
        // No grey fill: take back what queueing it counted.
        gHistory.queuedActions.pop_back();
        gHistory.baseCount -= 1;
        gLayers.modificationCount += 1;
    }
    gApp->imageName = tr(tk::UNNAMED_IMAGE_STR);
    gApp->setTitle(gApp->imageName, "");
    return true;
}

void newImage() {
    FlowGuard guard;
    if (!guard || !unsavedWorkHandled()) return;
    auto dialog = std::make_shared<NewImageDialog>();
    dialog->build(gCanvas.width, gCanvas.height);
    const int result = dialog->runModal();
    if (result != kDialogOk) return;
    const int width = std::atoi(dialog->widthEdit->text().c_str());
    const int height = std::atoi(dialog->heightEdit->text().c_str());
    const bool transparent = dialog->transparent->checked;
    if (width < 1 || height < 1) gApp->showMessage("%s", tr(tk::PLEASE_SPECIFY_NEW_CANVAS_SIZE_STR).c_str());
    else makeNewPicture(width, height, transparent);
    fitToWindow(gPainter);
}

void loadImage() {
    FlowGuard guard;
    if (!guard || !unsavedWorkHandled()) return;
    ChosenPath chosen;
    if (!chooseFile(false, loadImageFilters(), chosen, "", tr(tk::LOAD_IMAGE_STR))) return;
    gApp->showMessage("%s", tr(tk::LOADING_STR).c_str());
    if (chosen.extension == ".kwf") {
        DocumentTarget doc = document(true);
        if (!openLayeredImage(chosen.path, doc)) return;
        afterNewCanvas();
        storeCurrentDirectory();
        return;
    }
    if (chosen.extension == ".ora") {
        DocumentTarget doc = document(true);
        if (!ora::openImage(chosen.path, doc)) return;
        setTitleFromPath(chosen.shown);
        afterNewCanvas();
        storeCurrentDirectory();
        return;
    }
    ImageLoadTarget target{gCanvas, gLayers, gFramebufferCapability, mainloop::pumpUntil, programImageLoadHooks(), gApp};
    const ImageLoadResult result = loadImageAsCanvas(chosen.path, target);
    if (result != ImageLoadResult::Loaded) {
        gApp->showMessage("%s", imageLoadMessage(result, true));
        return;
    }
    setTitleFromPath(chosen.shown);
    storeCurrentDirectory();
    gApp->showMessage("%s", imageLoadMessage(result, true));
    gLayers.modificationCount = 0;
    afterNewCanvas();
}

void loadProcess(bool askAboutChanges) {
    FlowGuard guard;
    if (!guard) return;
    if (askAboutChanges && !unsavedWorkHandled()) return;
    ChosenPath chosen;
    if (!chooseFile(false, processFilters(), chosen, "", tr(tk::LOAD_DRAWING_PROCESS_STR))) return;
    gApp->showMessage("%s", tr(tk::LOADING_STR).c_str());
    if (openFile(chosen.path, mainloop::pumpUntil)) storeCurrentDirectory();
}

void saveProcess() {
    FlowGuard guard;
    if (guard) doSaveProcess();
}

void saveImage() {
    FlowGuard guard;
    if (!guard) return;
    ChosenPath chosen;
    if (!chooseFile(true, saveImageFilters(), chosen, gApp->imageName, tr(tk::SAVE_IMAGE_AS_STR))) return;
    gApp->showMessage("%s", tr(tk::SAVING_STR).c_str());
    setTitleFromPath(chosen.shown);
    const std::string path = nextFreeName(chosen.path);
    const std::string shown = utf8ToLatin1(path);
    if (chosen.extension != ".kwf" && chosen.extension != ".ora") {
        saveFlatImage(path);
        return;
    }
    // The layered file holds the document: written here, at once.
    DocumentTarget doc = document(false);
    const bool saved = chosen.extension == ".ora" ? ora::saveImage(path, doc) : saveLayeredImage(path, doc);
    if (saved) gApp->showMessage("%s", loc::fillText(tr(tk::IMAGE_SAVED_AT_LOCATION_S_STR), {shown}).c_str());
    else gApp->showMessage("%s", tr(tk::UNABLE_TO_SAVE_IMAGE_STR).c_str());
}

void quickSave() {
    FlowGuard guard;
    if (!guard) return;
    const std::string name = gApp->imageName.empty() ? tr(tk::UNNAMED_IMAGE_STR) : gApp->imageName;
    std::error_code ec;
    const fs::path folder = fs::current_path(ec);
    const std::string path = nextFreeName((folder / (platform::latin1ToUtf8(name) + ".png")).string());
    saveFlatImage(path);
}

bool saveFlatImage(const std::string& path) {
    // The saving thread writes the picture of this moment and reports
    // ("image saved\nat location: ..." or "unable to save image") from the
    // tick. A flat image does not hold the document, so the count of unsaved
    // changes stays.
    return saving::saveImageInBackground(path);
}

void exitFromKey() {
    FlowGuard guard;
    if (guard) askToExit();
}

void offerRecoveryOnce() {
    if (!gApp || !gApp->closingStatus || gApp->closingStatus->cleanExit) return;
    ApplicationClosingStatus& status = *gApp->closingStatus;
    status.cleanExit = true;
    const std::string path = platform::tempDir() + "/KW_AUTOSAVE.dpf";
    const std::string last = lastExistingName(path);
    std::error_code ec;
    // Nothing to offer when the crashed run never wrote an autosave.
    if (fs::exists(last, ec)) {
        FlowGuard guard;
        if (guard && confirmBox(tr(tk::LOAD_LAST_AUTOSAVED_FILE_STR), tr(tk::YES_STR)) == kDialogOk) openFile(last, mainloop::pumpUntil);
    }
    // The file of the crashed run stays: this run writes a new one.
    gApp->autosavePath = nextFreeName(path);
}

void dropFile(const std::string& path, int x, int y) {
    if (!acceptDropNow()) return;
    FlowGuard guard;
    if (!guard) return;
    if (confirmBox(tr(tk::WARNING_CURRENT_WORK_WILL_BE_L_STR), tr(tk::CONTINUE_BTN_STR)) != kDialogOk) return;
    // On the visible reference view the picture becomes the reference.
    if (referenceViewTakesDrop(path, x, y)) return;
    openFile(path, mainloop::pumpUntil);
}

} // namespace fileflows
