#include "tools/MirrorTool.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "core/FrameOverlays.h"
#include "core/Localisation.h"
#include "tools/ToolMessages.h"
#include "tools/ToolPanel.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Slider.h"
#include "widgets/TextWidget.h"

MirrorTool::MirrorTool(Painter* painter_) : Tool(painter_) {
    // Off until the tool is chosen.
    enabled = false;
    origin = canvasCentre();
    handle = std::make_unique<DraggablePoint>(painter, &origin.x, false);
}

MirrorTool::~MirrorTool() = default;

math::Vec2 MirrorTool::canvasCentre() const {
    if (!painter || !painter->canvas) return origin;
    return {painter->canvas->width / 2.0f, painter->canvas->height / 2.0f};
}

brush::MirrorSettings MirrorTool::settings() const {
    brush::MirrorSettings s;
    s.active = isActive();
    s.origin = origin;
    s.repetitions = std::clamp<int32_t>(repetitions, 1, kMaxRepetitions);
    s.mirrored = mirrored;
    return s;
}

void MirrorTool::onCanvasCreated(int width, int height) {
    origin = {width / 2.0f, height / 2.0f};
    repetitions = 1;
    mirrored = true;
    enabled = false;
}

void MirrorTool::resetSettings() {
    origin = canvasCentre();
    repetitions = 1;
    mirrored = true;
    enabled = true;
    if (auto box = mirroredBox.lock()) box->checked = true;
}

// ---- panel -----------------------------------------------------------------

void MirrorTool::activate() {
    Tool::activate();
    if (!isActive()) enabled = true;
    announce(tr(tk::MIRROR_TOOL_ACTIVE_STR).c_str());
    if (!gToolOptionsBar) return;
    static const float kWhite[4] = {1, 1, 1, 1};
    GroupWidget& bar = *gToolOptionsBar;
    auto count = std::make_shared<Slider<int>>(50, 10, 100, 10, "");
    count->minValue = 1;
    count->maxValue = kMaxRepetitions;
    count->target = &repetitions;
    count->setValue(repetitions, false);
    bar.add(count);
    bar.add(std::make_shared<TextWidget>(50, 35, tr(tk::MIRROR_REPETITIONS_STR), 0, kWhite));
    auto box = std::make_shared<CheckBoxWidget>(
        200, 15, 15, mirrored, [this] { mirrored = true; }, [this] { mirrored = false; });
    box->label = tr(tk::MIRROR_MIRRORED_STR);
    std::copy(kWhite, kWhite + 4, box->textColor);
    bar.add(box);
    mirroredBox = box;
    bar.add(std::make_shared<ButtonWidget>(325, 10, 110, 30, tr(tk::RESET_BTN_STR), 0,
                                           [this](Widget*) { resetSettings(); }));
}

// ---- input -------------------------------------------------------------------

int MirrorTool::onMouseButton(int button, int state, int, int, bool fromPen) {
    if (!painter) return 0;
    return handle->onMouseButton(button, state, static_cast<int>(painter->windowPosition.x),
                                 static_cast<int>(painter->windowPosition.y), fromPen);
}

int MirrorTool::onMouseMove(int, int, bool fromPen) {
    if (!painter) return 0;
    return handle->onMouseMove(static_cast<int>(painter->windowPosition.x),
                               static_cast<int>(painter->windowPosition.y), fromPen);
}

int MirrorTool::onMouseDrag(int, int, bool fromPen) {
    if (!painter) return 0;
    return handle->onMouseDrag(static_cast<int>(painter->windowPosition.x),
                               static_cast<int>(painter->windowPosition.y), fromPen);
}

// ---- drawing -----------------------------------------------------------------

void MirrorTool::drawHints(int& line) {
    printStatusLine(line, tr(tk::MIRROR_MOVE_ORIGIN_STR).c_str());
    printStatusLine(line, tr(tk::MIRROR_EXIT_HINT_STR).c_str());
}

void MirrorTool::drawToolOverlay() {
    if (!painter || !enabled) return;
    const RenderArea& area = painter->renderArea;
    const Canvas& canvas = *painter->canvas;
    RenderAreaProjection projection(area.width, area.height);
    handle->draw(1.0f);
    const math::Vec2 o = painter->canvasToWindow(origin);
    const math::Vec2 up = painter->canvasToWindow(origin + math::Vec2{0, 1}) - o;
    const float zoom = up.length();
    const float w = static_cast<float>(canvas.width), h = static_cast<float>(canvas.height);
    const float reach = std::sqrt(w * w + h * h) * zoom; // the diagonal in window pixels
    // The canvas's "up" on screen, so the lines turn and flip with the view.
    const float a0 = std::atan2(up.y, up.x);
    const int32_t n = std::clamp<int32_t>(repetitions, 1, kMaxRepetitions);
    const float step = 6.2831855f / static_cast<float>(n);
    auto ray = [&](float angle) { return o + math::Vec2{std::cos(angle), std::sin(angle)} * reach; };
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_LINE_BIT);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_DEPTH_TEST);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glLineWidth(1.0f);
    glBegin(GL_LINES);
    if (n == 1) {
        // Only the axis of reflection, when there is one.
        if (mirrored) {
            const math::Vec2 p = ray(a0), q = o - (p - o);
            glColor4f(0.5f, 1, 1, 1);
            glVertex2f(p.x, p.y);
            glVertex2f(q.x, q.y);
        }
    } else {
        for (int32_t k = 0; k < n; ++k) {
            const math::Vec2 p = ray(a0 + static_cast<float>(k) * step);
            glColor4f(1, 1, 1, 1);
            glVertex2f(o.x, o.y);
            glVertex2f(p.x, p.y);
            if (!mirrored) continue;
            const math::Vec2 m = ray(a0 + step / 2 + static_cast<float>(k) * step);
            glColor4f(0.5f, 1, 1, 1);
            glVertex2f(o.x, o.y);
            glVertex2f(m.x, m.y);
        }
    }
    glEnd();
    glPopAttrib();
}
