#include "core/CommandActions.h"

#include <algorithm>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/ViewMath.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/PaintingApplication.h"
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

int notAvailableYet(PaintingApplication& app, const char* what) {
    app.showMessage("%s: not available yet", what);
    return 1;
}

int stepBrushSize(PaintingApplication& app, Canvas& canvas, bool larger) {
    int32_t& size = canvas.brush.size;
    size = larger ? increasedBrushSize(size, 1.3f, gMaxBrushSize) : decreasedBrushSize(size, 1.3f);
    app.showMessage("brush size: %d", size);
    return 1;
}

int zoomPercentForHeight(float renderHeight, float cameraHeight) {
    const float h = static_cast<float>(static_cast<int>(renderHeight));
    return static_cast<int>(h / (2.0f * cameraHeight) * 100.0f);
}

float fitToWindow(Painter& painter) {
    const float target = fitHeight(painter.canvas->width, painter.canvas->height, painter.renderArea.width,
                                   painter.renderArea.height);
    painter.camera->lookFrom(target);
    return target;
}

float zoomTo100(Painter& painter) {
    const float target = static_cast<float>(static_cast<int>(painter.renderArea.height)) / 2.0f;
    painter.camera->lookFrom(target);
    return target;
}

namespace {
constexpr int kTransformTool = 7;

// The history's step back and forth are being completed elsewhere; until
// they land, the keys say so.
bool historyUndo(PaintingApplication& app) { return notAvailableYet(app, "undo") == 0; }
bool historyRedo(PaintingApplication& app) { return notAvailableYet(app, "redo") == 0; }
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
