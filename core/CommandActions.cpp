#include "core/CommandActions.h"

#include <algorithm>
#include <memory>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/MultiLayeredImage.h"
#include "core/Globals.h"
#include "core/Localisation.h"
#include "core/TextKeys.h"
#include "core/PaintingApplication.h"
#include "history/CanvasFillAction.h"
#include "history/CanvasFlipAction.h"
#include "history/History.h"
#include "history/LayerListAction.h"
#include "history/LayerPropertyAction.h"
#include "io/ProcessFormat.h"
#include "tools/Tool.h"

namespace commands {

int increasedBrushSize(int size, float factor, int maximum) {
    int n = static_cast<int>(static_cast<float>(size) * factor);
    if (n == size) n = size + 1;
    return std::min(n, maximum);
}

int decreasedBrushSize(int size, float factor) {
    return std::max(static_cast<int>(static_cast<float>(size) / factor), 1);
}

int zoomPercentForHeight(float renderHeight, float cameraHeight) {
    const float h = static_cast<float>(static_cast<int>(renderHeight));
    return static_cast<int>(h / (2.0f * cameraHeight) * 100.0f);
}

namespace {
// The history owns the action from here on; it runs once now.
void addAndExecute(PaintingApplication& app, std::unique_ptr<HistoryAction> action) {
    HistoryAction& step = *action;
    app.history->add(std::move(action), false);
    step.execute();
}
} // namespace

int addNewLayer(PaintingApplication& app) {
    if (app.layers->count() >= kwformat::kMaxLayers) {
        const std::string text =
            loc::fillText(tr(tk::LAYERS_PANEL_AT_MOST_N_STR), {std::to_string(kwformat::kMaxLayers)});
        app.showMessage("%s", text.c_str());
        return 1;
    }
    addAndExecute(app, std::make_unique<NewLayerAction>(*app.canvas, *app.layers));
    app.showMessage("%s", tr(tk::NEW_LAYER_MSG_STR).c_str());
    return 1;
}

int mergeLayerDown(PaintingApplication& app) {
    MultiLayeredImage& layers = *app.layers;
    const int current = layers.current;
    if (current < 1 || !layers.layers[static_cast<size_t>(current)].visible ||
        !layers.layers[static_cast<size_t>(current - 1)].visible)
        return 1;
    addAndExecute(app, std::make_unique<LayerMergeDownAction>(*app.canvas, layers));
    app.showMessage("%s", tr(tk::LAYER_MERGED_DOWN_STR).c_str());
    return 1;
}

int flipCanvas(PaintingApplication& app) {
    addAndExecute(app, std::make_unique<CanvasFlipAction>(*app.canvas, *app.layers));
    app.showMessage("%s", tr(tk::HORIZONTAL_FLIP_STR).c_str());
    return 1;
}

int fillCanvas(PaintingApplication& app) {
    const float* c = app.canvas->color;
    addAndExecute(app, std::make_unique<CanvasFillAction>(*app.canvas, c[0], c[1], c[2]));
    return 1;
}

int cycleLayers(PaintingApplication& app) {
    MultiLayeredImage& layers = *app.layers;
    if (layers.count() <= 1) return 1;
    const int next = (layers.current + 1) % layers.count();
    // Cycling leaves one entry in the history: a change replaces the one before it.
    auto change = std::make_unique<LayerChangeAction>(*app.canvas, layers, next);
    HistoryAction& step = *change;
    app.history->addOrReplaceLast(std::move(change));
    step.execute();
    app.showMessage("%s", loc::fillText(tr(tk::CURRENT_LAYER_N_STR), {std::to_string(layers.current)}).c_str());
    return 1;
}

int toggleLayerVisibility(PaintingApplication& app) {
    addAndExecute(app, std::make_unique<LayerVisibilityToggleAction>(*app.canvas, *app.layers));
    const MultiLayeredImage& layers = *app.layers;
    const bool visible = layers.layers[static_cast<size_t>(layers.current)].visible;
    app.showMessage("%s", loc::fillText(tr(tk::LAYER_N_VISIBILITY_S_STR),
                                        {std::to_string(layers.current),
                                         tr(visible ? tk::LAYERS_PANEL_ON_STR : tk::LAYERS_PANEL_OFF_STR)})
                              .c_str());
    return 1;
}

namespace {
constexpr int kTransformTool = 7;

bool historyUndo(PaintingApplication& app) { return app.history->undo(); }
bool historyRedo(PaintingApplication& app) { return app.history->redo(); }
} // namespace

bool undoLastStep(PaintingApplication& app) {
    if (app.currentToolIndex() == kTransformTool) return false;
    return historyUndo(app);
}

bool redoLastStep(PaintingApplication& app) {
    if (app.currentToolIndex() == kTransformTool) return false;
    return historyRedo(app);
}

void togglePerspective(PaintingApplication& app, Painter& painter) {
    constexpr int kPerspectiveTool = 4;
    Tool& tool = *painter.tools[kPerspectiveTool];
    if (tool.enabled) tool.enabled = false;
    else if (app.currentToolIndex() == kPerspectiveTool) tool.enabled = true;
    else painter.selectTool(kPerspectiveTool);
}

} // namespace commands
