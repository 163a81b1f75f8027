#include "tools/BucketFillActionTool.h"

#include <GL/glew.h>

#include <memory>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Flood.h"
#include "core/FrameOverlays.h"
#include "core/Globals.h"
#include "core/PaintingApplication.h"
#include "history/FillActions.h"
#include "history/History.h"
#include "tools/ToolPanel.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Slider.h"
#include "widgets/TextWidget.h"
#include "core/Localisation.h"

int BucketFillActionTool::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    (void)x, (void)y, (void)fromPen;
    if (button != 0 || state != 0) return 0;
    Canvas& canvas = *painter->canvas;
    // Truncated, not rounded: a point just left of the canvas still lands on column 0.
    const int px = static_cast<int>(painter->canvasPosition.x);
    const int py = static_cast<int>(painter->canvasPosition.y);
    if (px < 0 || py < 0 || px >= canvas.width || py >= canvas.height) return 0;
    auto action = std::make_unique<BucketFillAction>(canvas, *painter->layers);
    action->seedX = px;
    action->seedY = py;
    action->color = flood::fillColour(canvas.currentColor(), opacity);
    action->tolerance = tolerance;
    action->optimizeForLineart = optimizeForLineart;
    action->sampleAllLayers = sampleAllLayers;
    BucketFillAction* raw = action.get();
    gHistory.add(std::move(action), false);
    raw->execute();
    return 0;
}

bool BucketFillActionTool::isActive() const {
    return static_cast<const PaintingApplication*>(painter->application)->currentToolIndex_ == 9;
}

void BucketFillActionTool::drawCursor(int x, int y) {
    const InvertedCursorLines inverted(2.0f);
    drawCross(x, y, 5);
}

void BucketFillActionTool::drawHints(int& line) {
    printStatusLine(line, tr(tk::BUCKET_FILL_TIP_STR));
}

void BucketFillActionTool::activate() {
    Tool::activate();
    if (!gToolOptionsBar) return;
    static const float kWhite[4] = {1, 1, 1, 1};
    gToolOptionsBar->add(std::make_shared<TextWidget>(30, 20, tr(tk::OPACITY_STR), 0, kWhite));
    auto opacitySlider = std::make_shared<Slider<float>>(100, 20, 100, 10, "");
    opacitySlider->target = &opacity;
    opacitySlider->setValue(opacity, false);
    gToolOptionsBar->add(opacitySlider);
    gToolOptionsBar->add(std::make_shared<TextWidget>(280, 20, tr(tk::TOLERANCE_STR), 0, kWhite));
    auto toleranceSlider = std::make_shared<Slider<float>>(350, 20, 100, 10, "");
    toleranceSlider->target = &tolerance;
    toleranceSlider->setValue(tolerance, false);
    gToolOptionsBar->add(toleranceSlider);
    auto lineart = std::make_shared<CheckBoxWidget>(
        500, 30, 15, optimizeForLineart, [this] { optimizeForLineart = true; }, [this] { optimizeForLineart = false; });
    lineart->label = tr(tk::OPTIMIZE_FOR_LINEART_STR);
    std::copy(kWhite, kWhite + 4, lineart->textColor);
    gToolOptionsBar->add(lineart);
    auto sampleAll = std::make_shared<CheckBoxWidget>(
        500, 10, 15, sampleAllLayers, [this] { sampleAllLayers = true; }, [this] { sampleAllLayers = false; });
    sampleAll->label = tr(tk::SAMPLE_ALL_LAYERS_STR);
    std::copy(kWhite, kWhite + 4, sampleAll->textColor);
    gToolOptionsBar->add(sampleAll);
}
