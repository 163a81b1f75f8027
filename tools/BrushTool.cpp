#include "tools/BrushTool.h"

#include <GL/glew.h>

#include <cmath>

#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/Painter.h"
#include "canvas/Shaders.h"
#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/Math.h"
#include "core/PaintingApplication.h"
#include "tools/ToolMessages.h"
#include "tools/ToolPanel.h"
#include "ui/Interface.h"
#include "widgets/ButtonWidget.h"
#include "core/Localisation.h"

namespace {
// A mouse event made by the window system from a pen that speaks through another channel.
bool penSpeaksElsewhere(bool fromPen) { return !fromPen && gPenActive && !gTabletSeen; }
} // namespace

int BrushTool::onMouseButton(int button, int state, int, int, bool fromPen) {
    if (!fromPen && (gPointerMessageActive || (gPenActive && !gTabletSeen))) return 0;
    if (button != 0) return 0;
    Canvas& canvas = *painter->canvas;
    const math::Vec2 at = painter->canvasPosition;
    if (state == 0) {
        if (!gInputState.shift) {
            canvas.beginStroke(at.x, at.y);
        } else {
            // Shift-click: a straight line on from where the last stroke ended.
            const math::Vec2 from = canvas.strokeBuilder().lastSample().position;
            canvas.beginStroke(from.x, from.y);
            canvas.continueStroke(at.x, at.y);
        }
        restTime = 0;
        const math::Vec2 w = painter->windowPosition;
        const RenderArea& r = painter->renderArea;
        // The stroke keeps its events when the pointer leaves the canvas.
        if (w.x >= 0 && w.y >= 0 && w.x < r.width && w.y < r.height)
            InputDispatcher::instance().exclusive = painter;
        return 1;
    }
    canvas.endStroke();
    restTime = 0;
    if (InputDispatcher::instance().exclusive == painter) InputDispatcher::instance().exclusive = nullptr;
    return 1;
}

int BrushTool::onMouseDrag(int, int, bool fromPen) {
    Canvas& canvas = *painter->canvas;
    const math::Vec2 at = painter->canvasPosition;
    if (isEraser()) {
        if (!gInputState.leftButton) return 0;
        canvas.continueStroke(at.x, at.y);
        restTime = 0;
        return 1;
    }
    if (penSpeaksElsewhere(fromPen) || !gInputState.leftButton) return 0;
    // A drag that starts off the canvas begins its stroke when it arrives.
    if (canvas.strokeInProgress()) canvas.continueStroke(at.x, at.y);
    else canvas.beginStroke(at.x, at.y);
    restTime = 0;
    return 1;
}

bool BrushTool::update(int elapsedMs, int, int) {
    Canvas& canvas = *painter->canvas;
    if (!canvas.strokeInProgress()) return false;
    restTime += elapsedMs;
    if (restTime < kHoldMs) return false;
    canvas.holdStroke(painter->canvasPosition.x, painter->canvasPosition.y);
    restTime = 0;
    return true;
}

void BrushTool::activate() {
    Tool::activate();
    gWantedMode = mode;
    // The brush and the eraser keep settings of their own: the canvas swaps them.
    painter->canvas->selectBrushSlot(mode);
    announce(tr(isEraser() ? tk::ERASER_ACTIVE_STR : tk::BRUSH_ACTIVE_STR));
    addPanel();
    // The size, opacity and hardness sliders belong to these two tools (they
    // stay away while the whole interface is hidden).
    if (gBottomGroup && gBottomGroup->enabled) gBottomGroup->setVisible(true);
}

bool BrushTool::deactivate() {
    if (gBottomGroup) gBottomGroup->setVisible(false);
    return Tool::deactivate();
}

void BrushTool::addPanel() {
    if (!gToolOptionsBar) return;
    // The pen's pressure may drive the dab size and the dab opacity; the
    // boxes write the current tool's own brush.
    Brush* brush = &painter->canvas->brush;
    auto sizeBox = std::make_shared<CheckBoxWidget>(
        10, 17, 16, brush->SizeFollowsPressure, [brush] { brush->SizeFollowsPressure = true; },
        [brush] { brush->SizeFollowsPressure = false; });
    sizeBox->label = tr(tk::PRESSURE_SIZE_BOX_STR);
    auto flowBox = std::make_shared<CheckBoxWidget>(
        160, 17, 16, brush->FlowFollowsPressure, [brush] { brush->FlowFollowsPressure = true; },
        [brush] { brush->FlowFollowsPressure = false; });
    flowBox->label = tr(tk::PRESSURE_OPACITY_BOX_STR);
    for (auto* box : {sizeBox.get(), flowBox.get()}) box->textColor[0] = box->textColor[1] = box->textColor[2] = 1;
    gToolOptionsBar->add(sizeBox);
    gToolOptionsBar->add(flowBox);
}

void BrushTool::drawOutline(int x, int y, float angle) {
    const Canvas& canvas = *painter->canvas;
    const float zoom = painter->camera->scale(painter->renderArea.height);
    const float radius = canvas.brush.size * zoom * 0.5f;
    const BrushTip* tip = canvas.brush.isTextured() ? gBrushTips.find(canvas.brush.tipIndex) : nullptr;
    if (tip && tip->texture) {
        const brush::TipFactors f = canvas.tipFactors(canvas.brush.tipIndex);
        glUseProgram(tipOutlineProgram.program);
        glUniform1i(glGetUniformLocation(tipOutlineProgram.program, "tex"), 0);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, tip->texture);
        glPushMatrix();
        glTranslatef(static_cast<float>(x), static_cast<float>(y), 0);
        glRotatef(angle, 0, 0, 1);
        glColor4f(1, 1, 1, 1);
        drawQuad(-radius * f.widthFactor, -radius * f.heightFactor, 2 * radius * f.widthFactor,
                 2 * radius * f.heightFactor);
        glPopMatrix();
        glBindTexture(GL_TEXTURE_2D, 0);
        glUseProgram(0);
        return;
    }
    glDisable(GL_TEXTURE_2D);
    glColor4f(1, 1, 1, 1);
    glBegin(GL_LINE_LOOP);
    float a = 6.2831855f;
    for (int i = 0; i < 61; ++i, a -= 0.10471976f)
        glVertex2f(x + radius * std::cos(a), y + radius * std::sin(a));
    glEnd();
}

void BrushTool::drawCursor(int x, int y) {
    const Canvas& canvas = *painter->canvas;
    const bool stroking = canvas.strokeInProgress();
    if (stroking && !isEraser()) return;
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT);
    glEnable(GL_BLEND);
    // Inverts what lies beneath, so the outline shows on any colour.
    glBlendFunc(GL_ONE_MINUS_DST_COLOR, GL_ONE_MINUS_SRC_ALPHA);
    float angle = canvas.brush.angle;
    if (stroking) {
        // The eraser's outline turns with the stroke.
        const math::Vec2 d = gPenActive ? canvas.strokeBuilder().sampleBefore().direction
                                        : gInputState.meanDirection();
        angle = static_cast<float>(std::atan2(d.y, d.x) * math::kDegreesPerRadianExact);
    }
    drawOutline(x, y, angle);
    if (!stroking) {
        glDisable(GL_TEXTURE_2D);
        drawCross(x, y, 5);
    }
    glPopAttrib();
}
