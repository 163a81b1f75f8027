#include "tools/RotationTool.h"

#include <GL/glew.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "core/Camera.h"
#include "core/CommandActions.h"
#include "core/FrameOverlays.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "tools/ToolMessages.h"
#include "tools/ToolPanel.h"
#include "widgets/ButtonWidget.h"
#include "widgets/EditControl.h"
#include "widgets/TextWidget.h"
#include "widgets/Widget.h"
#include "widgets/DrawHelpers.h"
#include "core/Localisation.h"

float RotationTool::pointerAngle() const {
    const math::Vec2 p = painter->windowPosition;
    return std::atan2(p.y - painter->renderArea.height / 2, p.x - painter->renderArea.width / 2) *
           math::kDegreesPerRadian;
}

float RotationTool::foldRotation(float r, bool snap) {
    if (snap) r = std::floor((r + 4) / 45) * 45;
    while (r >= 180) r -= 360;
    while (r <= -180) r += 360;
    // Exactly 180 would bounce between the two loops' bounds: keep it at -180,
    // the same angle, so the stored value never reaches 180.
    if (r >= 180) r -= 360;
    return r;
}

int RotationTool::onMouseButton(int button, int state, int, int, bool) {
    if (button != 0) return 0;
    if (state == 0) {
        dragging = true;
        grabAngle = pointerAngle();
        startRotation = painter->camera->rotation;
    } else {
        dragging = false;
    }
    return 1;
}

int RotationTool::onMouseDrag(int, int, bool) {
    if (!dragging || !gInputState.leftButton) return 0;
    // In a mirrored view the canvas turns the other way on screen.
    const float delta = (pointerAngle() - grabAngle) * (painter->camera->viewMirrored ? -1.0f : 1.0f);
    if (std::fabs(delta) < 0.1f) return 1;
    const float r = foldRotation(startRotation + delta, gInputState.shift);
    painter->camera->rotation = r;
    painter->camera->setRotation();
    painter->application->showMessage(
        "%s", loc::fillText(tr(tk::ROTATION_N_DEGREES_STR), {std::to_string(static_cast<int>(-r))}).c_str());
    if (auto edit = angleField.lock()) edit->setText(std::to_string(static_cast<int>(-r)), false);
    return 1;
}

bool RotationTool::isActive() const {
    auto* app = static_cast<const PaintingApplication*>(painter->application);
    return painter->application->interactionMode == kModeRotation || app->currentToolIndex_ == 3;
}

void RotationTool::setShownAngle(int degrees) {
    painter->camera->rotation = foldRotation(static_cast<float>(-degrees), false);
    painter->camera->setRotation();
}

void RotationTool::setViewMirrored(bool mirrored) {
    painter->camera->viewMirrored = mirrored;
    painter->camera->setRotation();
    painter->application->showMessage("%s", tr(mirrored ? tk::MIRRORED_VIEW_STR : tk::VIEW_NOT_MIRRORED_STR).c_str());
}

void RotationTool::activate() {
    announce(tr(tk::ROTATION_MODE_STR));
    if (!gToolOptionsBar || !painter) return;
    showPanel();
    gToolOptionsBar->add(std::make_shared<TextWidget>(20, 20, tr(tk::ROTATION_STR)));
    auto angle = std::make_shared<EditControl>(100, 17, 60, 15, 5, 0,
                                               std::to_string(static_cast<int>(-painter->camera->rotation)));
    std::weak_ptr<EditControl> field = angle;
    angleField = angle;
    angle->onEnter = [this, field] {
        if (auto edit = field.lock()) setShownAngle(std::atoi(edit->text().c_str()));
    };
    gToolOptionsBar->add(angle);
    gToolOptionsBar->add(std::make_shared<TextWidget>(165, 20, tr(tk::DEGREES_STR)));
    gToolOptionsBar->add(std::make_shared<ButtonWidget>(250, 10, 110, 30, tr(tk::UPRIGHT_STR), 0, [this, field](Widget*) {
        setShownAngle(0);
        if (auto edit = field.lock()) edit->setText("0", false);
    }));
    gToolOptionsBar->add(std::make_shared<CheckBoxWidget>(
        520, 17, 15, painter->camera->viewMirrored, [this] { setViewMirrored(true); },
        [this] { setViewMirrored(false); }));
    gToolOptionsBar->add(std::make_shared<TextWidget>(540, 20, tr(tk::MIRRORED_VIEW_STR)));
    gToolOptionsBar->add(std::make_shared<ButtonWidget>(380, 10, 110, 30, tr(tk::TB_FLIP_CANVAS_STR), 0, [this](Widget*) {
        // The recorded flip of every layer, as the "flip canvas" keys do.
        commands::flipCanvas(*static_cast<PaintingApplication*>(painter->application));
    }));
}


void RotationTool::drawToolOverlay() {
    const RenderArea& r = painter->renderArea;
    RenderAreaProjection projection(r.width, r.height);
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_POLYGON_BIT);
    glDisable(GL_LIGHTING);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_CULL_FACE);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    const float cx = r.width / 2, cy = r.height / 2;
    glColor4f(0.5f, 0.5f, 0.5f, 0.2f);
    drawRing(60, cx, cy, 80, 100);
    if (dragging) {
        // From the top of the ring through the negative of the rotation (clockwise for a positive one).
        const float rotation = painter->camera->rotation;
        if (rotation >= 0) glColor4f(1, 0, 0, 0.5f);
        else glColor4f(0, 1, 1, 0.5f);
        drawArc(rotation, cx, cy, 80, 100);
    }
    glPopAttrib();
}

void RotationTool::drawCursor(int x, int y) {
    const InvertedCursorLines inverted;
    const float radius = painter->canvas->brush.size * painter->camera->scale(painter->renderArea.height) * 0.5f;
    glBegin(GL_LINE_LOOP);
    for (int i = 0; i < 60; ++i) {
        const float a = i * 6.2831855f / 60;
        glVertex2f(x + radius * std::cos(a), y + radius * std::sin(a));
    }
    glEnd();
    drawCross(x, y, 5);
}

void RotationTool::drawHints(int& line) {
    if (!dragging) return;
    printStatusLine(line, tr(tk::ROTATION_STR));
    if (!gInputState.shift) printStatusLine(line, tr(tk::ROTATION_SHIFT_TIP_STR));
}
