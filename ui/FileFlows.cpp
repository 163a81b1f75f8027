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

namespace fs = std::filesystem;

namespace fileflows {

namespace {

bool gRunning = false;

// Holds the one-flow-at-a-time rule for the length of a flow.
class FlowGuard {
public:
    FlowGuard() : owns_(!gRunning && !fileDialogOpen()) {
        if (owns_) gRunning = true;
        else gApp->showMessage("please answer the open file dialog first");
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
    if (!chooseFile(true, processFilters(), chosen, gApp->imageName, "Save drawing process:")) return;
    // A saved file is never overwritten: the next free numbered name.
    const std::string path = nextFreeName(chosen.path);
    const std::string shown = utf8ToLatin1(path);
    DocumentTarget doc = document(false);
    const bool saved = saveDrawingProcessFlow(path, doc, &gBrushTips);
    // The changes count as handled whatever the write gave.
    gLayers.modificationCount = 0;
    if (!saved) {
        gApp->showMessage("unable to save drawing process");
        return;
    }
    setTitleFromPath(shown);
    storeCurrentDirectory();
    gApp->showMessage("drawing process saved\nat location: \"%s\"", shown.c_str());
}

// Unsaved work: Yes saves the process first, No goes on, Cancel stops.
bool unsavedWorkHandled() {
    if (gLayers.modificationCount == 0) return true;
    const int answer = yesNoCancelBox("Save current changes?");
    if (answer == kDialogYes) doSaveProcess();
    return answer == kDialogYes || answer == kDialogNo;
}

platform::FileFilter filter(const char* label, std::vector<std::string> names, const char* extension) {
    return platform::FileFilter{label, std::move(names), extension};
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
    NewImageDialog() : Dialog(380, 220, "New image:") {}

    void build(int width, int height) {
        NewImageDialog* d = this;
        add(std::make_shared<TextWidget>(20, 140, "Width:", 0), true);
        widthEdit = std::make_shared<EditControl>(110, 132, 90, 26, 6, 0, std::to_string(width), true);
        add(widthEdit);
        add(std::make_shared<TextWidget>(20, 100, "Height:", 0), true);
        heightEdit = std::make_shared<EditControl>(110, 92, 90, 26, 6, 0, std::to_string(height), true);
        add(heightEdit);
        transparent = std::make_shared<CheckBoxWidget>(20, 50, 16, false, std::function<void()>{},
                                                       std::function<void()>{});
        transparent->label = "Transparent background";
        add(transparent);
        for (auto* e : {widthEdit.get(), heightEdit.get()}) e->onEnter = [d] { d->tryAccept(); };
        addCancelAndAccept(*this, "OK", [d] { d->tryAccept(); });
        widthEdit->setFocused(true);
    }

    int onKey(int key, int x, int y) override {
        if (const int r = dialogKey(*this, key); r != 0) return r;
        return Dialog::onKey(key, x, y);
    }

    void tryAccept() {
        if (widthEdit->text().empty() || heightEdit->text().empty()) {
            gApp->showMessage("please specify new canvas size");
            return;
        }
        accept();
    }

    std::shared_ptr<EditControl> widthEdit, heightEdit;
    std::shared_ptr<CheckBoxWidget> transparent;
};

} // namespace

const std::vector<platform::FileFilter>& loadImageFilters() {
    static const std::vector<platform::FileFilter> filters{
        filter("All image formats",
               {"JPG", "PNG", "TGA", "TIF", "TIFF", "KWF", "ORA", "RAW", "CRW", "NEF", "CR2", "DNG", "ORF", "ARW", "ERF", "3FR",
                "DCR", "X3F", "MEF", "RAF", "MRW", "PEF", "SR2"},
               ".jpg"),
        filter("JPEG", {"JPG"}, ".jpg"),
        filter("PNG", {"PNG"}, ".png"),
        filter("TGA", {"TGA"}, ".tga"),
        filter("TIFF", {"TIF", "TIFF"}, ".tif"),
        filter("Kestrelwing file (preserves layers)", {"KWF"}, ".kwf"),
        filter("OpenRaster", {"ORA"}, ".ora"),
        filter("Camera RAW",
               {"RAW", "CRW", "NEF", "CR2", "DNG", "ORF", "ARW", "ERF", "3FR", "DCR", "X3F", "MEF", "RAF", "MRW", "PEF",
                "SR2"},
               ".raw"),
    };
    return filters;
}

const std::vector<platform::FileFilter>& saveImageFilters() {
    static const std::vector<platform::FileFilter> filters{
        filter("JPEG", {"JPG"}, ".jpg"),
        filter("PNG", {"PNG"}, ".png"),
        filter("TGA", {"TGA"}, ".tga"),
        filter("TIFF", {"TIF", "TIFF"}, ".tif"),
        filter("Kestrelwing file (preserves layers)", {"KWF"}, ".kwf"),
        filter("OpenRaster", {"ORA"}, ".ora"),
    };
    return filters;
}

const std::vector<platform::FileFilter>& processFilters() {
    static const std::vector<platform::FileFilter> filters{
        filter("Drawing process file", {"DPF"}, ".dpf"),
        filter("Old DAT file", {"DAT"}, ".dat"),
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
    gApp->imageName = "unnamed_image";
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
    if (width < 1 || height < 1) gApp->showMessage("please specify new canvas size");
    else makeNewPicture(width, height, transparent);
    fitToWindow(gPainter);
}

void loadImage() {
    FlowGuard guard;
    if (!guard || !unsavedWorkHandled()) return;
    ChosenPath chosen;
    if (!chooseFile(false, loadImageFilters(), chosen, "", "Load image:")) return;
    gApp->showMessage("LOADING..");
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
    if (!chooseFile(false, processFilters(), chosen, "", "Load drawing process:")) return;
    gApp->showMessage("LOADING..");
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
    if (!chooseFile(true, saveImageFilters(), chosen, gApp->imageName, "Save image as:")) return;
    gApp->showMessage("saving..");
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
    if (saved) gApp->showMessage("image saved\nat location: \"%s\"", shown.c_str());
    else gApp->showMessage("unable to save image");
}

void quickSave() {
    FlowGuard guard;
    if (!guard) return;
    const std::string name = gApp->imageName.empty() ? std::string("unnamed_image") : gApp->imageName;
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
        if (guard && confirmBox("Load last autosaved file?", "Yes") == kDialogOk) openFile(last, mainloop::pumpUntil);
    }
    // The file of the crashed run stays: this run writes a new one.
    gApp->autosavePath = nextFreeName(path);
}

void dropFile(const std::string& path, int x, int y) {
    if (!acceptDropNow()) return;
    FlowGuard guard;
    if (!guard) return;
    if (confirmBox("Warning!\nCurrent work will be lost!", "Continue") != kDialogOk) return;
    // On the visible reference view the picture becomes the reference.
    if (referenceViewTakesDrop(path, x, y)) return;
    openFile(path, mainloop::pumpUntil);
}

} // namespace fileflows
