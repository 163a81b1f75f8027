#include "core/Globals.h"

#include "brush/BrushPresets.h"
#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "core/PaintingApplication.h"
#include "history/History.h"

// One translation unit builds the application and its aliases, so their
// order of construction is fixed. Never freed: the process exit reclaims it.
PaintingApplication* gApp = new PaintingApplication();
Camera& gCamera = gApp->camera;
RenderArea& gRenderArea = gApp->renderArea;
Canvas& gCanvas = *gApp->canvas;
MultiLayeredImage& gLayers = *gApp->layers;
Painter& gPainter = *gApp->painter;
History& gHistory = *gApp->history;
BrushTipTable& gBrushTips = *gApp->brushTips;
BrushPresetManager& gBrushPresets = *gApp->brushPresets;

float GuiScale = 1.0f;
float gGuiColor[4] = {0.52156866f, 0.5764706f, 0.5764706f, 0.9f};
int gMaxBrushSize = 500;
