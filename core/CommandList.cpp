#include "core/CommandList.h"

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "canvas/ViewNavigation.h"
#include "core/CommandActions.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/InteractionMode.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "ui/BrushPropertiesDialog.h"
#include "ui/FileFlows.h"
#include "ui/HelpDialog.h"
#include "ui/Interface.h"
#include "ui/ReferenceView.h"
#include "ui/ReplayPrompt.h"
#include "ui/SettingsDialog.h"
#include "ui/VideoExportSession.h"

namespace commands {

namespace {
// The name shown is the text under the command's id in the current language;
// `name` is the English text, for a table that lacks the entry.
std::unique_ptr<Command> make(int32_t id, const char* name, int32_t key1, int32_t key2, Command::Action action) {
    const std::string& text = tr(id);
    return std::make_unique<Command>(id, text.empty() ? name : text, key1, key2, std::move(action));
}

// Holds the mode while the keys are down; entering it leaves the old mode first.
Command::Action holdMode(PaintingApplication& app, int mode) {
    return [&app, mode] {
        if (app.interactionMode() != mode) app.setInteractionMode(mode);
        return 1;
    };
}

int showFitMessage(PaintingApplication& app, const Painter& painter, float targetHeight) {
    const int percent = zoomPercentForHeight(painter.renderArea.height, targetHeight);
    app.showMessage("%s", loc::fillText(tr(tk::RESET_CANVAS_POSITION_ZOOM_NPE_STR), {std::to_string(percent)}).c_str());
    return 1;
}
} // namespace

CommandList makeStateCommands(PaintingApplication& app) {
    CommandList list;
    list.push_back(make(kPanning, "panning", 0x400, 0x4400, holdMode(app, kModePanning)));
    list.back()->alsoBound(0x10000);
    list.push_back(make(kPicking, "picking", 0x2000, 0x6000, holdMode(app, kModePicking)));
    list.back()->alsoBound(0x28000);
    list.push_back(make(kRotation, "rotation", 0x800, 0x4800, holdMode(app, kModeRotation)));
    list.back()->alsoBound(0x1800).alsoBound(0x5800);
    list.push_back(make(kLockInteraction, "lock interaction", 0xC00, 0x4C00, holdMode(app, kModeSizeZoom)));
    list.back()->alsoBound(0x2800).alsoBound(0x6800);
    return list;
}

CommandList makeApplicationCommands(PaintingApplication& app, Painter& painter) {
    PaintingApplication* a = &app;
    Painter* p = &painter;
    auto selectTool = [p](int index) {
        return [p, index] {
            p->selectTool(index);
            return 1;
        };
    };
    CommandList list;
    list.push_back(make(kNewImage, "new image", 0x84E, 0, [] {
        fileflows::newImage();
        return 1;
    }));
    list.push_back(make(kShowHelp, "show help dialog", 0x101, 0, [] {
        showHelpDialog();
        return 1;
    }));
    list.push_back(make(kShowSettings, "show settings", 0x10C, 0, [] {
        showSettingsDialog();
        return 1;
    }));
    list.push_back(make(kToggleReferenceView, "toggle reference view", 0x103, 0, [] {
        toggleReferenceView();
        return 1;
    }));
    list.push_back(make(kNewLayer, "new layer", 0x6E, 0, [a] { return addNewLayer(*a); }));
    list.push_back(make(kLayerMerge, "layer merge", 0x845, 0, [a] { return mergeLayerDown(*a); }));
    list.push_back(make(kFlipCanvas, "flip canvas", 0x60, 0x3C, [a] { return flipCanvas(*a); }));
    list.push_back(make(kFitToWindow, "fit to window", 0x830, 0x63,
                        [a, p] { return showFitMessage(*a, *p, fitToWindow(*p)); }));
    list.push_back(make(kZoom100, "zoom 100%", 0x831, 0, [a, p] { return showFitMessage(*a, *p, zoomTo100(*p)); }));
    list.push_back(make(kFill, "fill", 0x846, 0, [a] { return fillCanvas(*a); }));
    list.push_back(make(kBucketFill, "bucket fill", 0x66, 0, selectTool(9)));
    list.push_back(make(kGradient, "gradient", 0x847, 0, selectTool(8)));
    list.push_back(make(kMirror, "mirror", 0x84D, 0, selectTool(11)));
    return list;
}

CommandList makeCanvasCommands(Painter& painter) {
    Painter* p = &painter;
    // Zoom about the pointer, in absolute window coordinates.
    auto zoom = [p](bool in) {
        return [p, in] {
            p->zoomAt(in, gInputState.mouseX, gInputState.mouseY, 1.3f);
            return 1;
        };
    };
    CommandList list;
    list.push_back(make(kZoomIn, "zoom in", 0x2B, 0, zoom(true)));
    list.push_back(make(kZoomOut, "zoom out", 0x2D, 0, zoom(false)));
    // -0x20 and -7 stand for 0xE0 and 0xF9 once masked to a byte.
    list.push_back(make(kDecrBrushSize, "decr. brush size", 0x5B, -0x20,
                        [p] { return p->changeBrushSize(false, 1.3f); }));
    list.push_back(make(kIncrBrushSize, "incr. brush size", 0x5D, -7,
                        [p] { return p->changeBrushSize(true, 1.3f); }));
    return list;
}

namespace {
// The settings dialog remakes the commands from inside a running command (its
// key opened the dialog). Lists replaced while a command runs are kept until
// the outermost run returns, and a run stops at a remake.
int gRunDepth = 0;
unsigned gGeneration = 0;
std::vector<CommandList> gRetired;
} // namespace

void createCommands(PaintingApplication& app, Painter& painter) {
    if (gRunDepth > 0) {
        gRetired.push_back(std::move(app.stateCommands));
        gRetired.push_back(std::move(app.applicationCommands));
        gRetired.push_back(std::move(painter.commands));
    }
    ++gGeneration;
    app.stateCommands = makeStateCommands(app);
    app.applicationCommands = makeApplicationCommands(app, painter);
    painter.commands = makeCanvasCommands(painter);
    for (auto& c : app.applicationCommands) c->load();
    for (auto& c : painter.commands) c->load();
}

int runMatching(const CommandList& list, int32_t code) {
    std::vector<Command*> running;
    for (const auto& c : list) running.push_back(c.get());
    const unsigned generation = gGeneration;
    ++gRunDepth;
    int sum = 0;
    for (Command* c : running) {
        if (gGeneration != generation) break; // the list was made anew meanwhile
        if (c->matches(code)) sum += c->execute();
    }
    if (--gRunDepth == 0) gRetired.clear();
    return sum;
}

void offerModifierMask(PaintingApplication& app, InputState& input, Canvas& canvas) {
    if (app.interactionMode() != kModeInterface) {
        // Exact equality with the whole mask: an extra key or button cancels a state.
        const int sum = runMatching(app.stateCommands, input.modifierMask(true));
        if (sum == 0 && app.interactionMode() != kModeTool) app.setInteractionMode(kModeTool);
        // A straight stroke keeps its lock to the end; the size and zoom overlay
        // (with the interface panels) will be hidden here as well.
        if (input.axisLock < 2 && app.interactionMode() != kModeSizeZoom && !canvas.strokeInProgress())
            input.axisLock = 2;
    }
    if (app.interactionMode() != kModeTool && canvas.strokeInProgress()) {
        canvas.endStroke();
        // The stroke no longer holds the pointer for the painter.
        InputDispatcher& d = InputDispatcher::instance();
        if (d.exclusive == app.painter.get()) d.exclusive = nullptr;
    }
}

bool runBuiltInKey(PaintingApplication& app, Painter& painter, int32_t code) {
    switch (code) {
    case 9: toggleInterface(); return true;
    case 27:
        // While a load, save or export runs, ESC asks it to stop.
        if (app.busy()) app.cancelRequested = true;
        else fileflows::exitFromKey();
        return true;
    case 0x21:
        cycleLayers(app);
        return true;
    case 'b': painter.selectTool(1); return true;
    case 'e': painter.selectTool(2); return true;
    case 'h': toggleLayerVisibility(app); return true;
    case 'l': fileflows::loadImage(); return true;
    case 'p': openReplayPrompt(); return true; // OK starts the replay
    case 's': fileflows::saveImage(); return true;
    case 'v': openVideoExportDialog(); return true; // OK starts the export
    case 0x104: togglePerspective(app, painter); return true;
    case 0x105: showBrushPropertiesDialog(); return true;
    case 0x106: fileflows::quickSave(); return true;
    case 0x108: fileflows::saveProcess(); return true;
    case 0x109: fileflows::loadProcess(false); return true;
    case 0x859: redoLastStep(app); return true;
    case 0x85A: undoLastStep(app); return true;
    default: return false;
    }
}

void runUnconsumedKey(PaintingApplication& app, Painter& painter, int32_t code) {
    runBuiltInKey(app, painter, code);
    // Several commands may share a key; each one runs.
    runMatching(app.applicationCommands, code);
}

} // namespace commands
