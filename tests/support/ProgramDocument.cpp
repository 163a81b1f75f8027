#include "support/ProgramDocument.h"

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "core/Application.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/InteractionMode.h"
#include "core/PaintingApplication.h"
#include "history/History.h"

void resetProgramDocument(int width, int height, const float rgba[4], int areaWidth, int areaHeight, float distance) {
    gCanvas.resize(width, height, gLayers);
    if (rgba) gCanvas.clearCurrentSurface(rgba[0], rgba[1], rgba[2], rgba[3]);
    else gCanvas.clearCurrentSurface(0, 0, 0, 0);
    gHistory.freeSnapshots();
    gHistory.clear();
    gHistory.reinitialize(width, height);
    gHistory.runQueuedActions();
    gPainter.renderArea = {0, 0, static_cast<float>(areaWidth), static_cast<float>(areaHeight)};
    gCamera.lookFrom(distance);
    gCamera.rotation = 0;
    gCamera.setRotation();
    static_cast<Application*>(gApp)->interactionMode = kModeTool;
    gPainter.selectTool(1);
    gInputState.reset();
}
