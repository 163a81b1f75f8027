#include "tools/PerspectiveTool.h"

#include <GL/glew.h>
#include <GL/glu.h>

#include <cmath>
#include <functional>
#include <memory>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/FrameOverlays.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "core/PerspectiveGrid.h"
#include "tools/ToolMessages.h"
#include "tools/ToolPanel.h"
#include "widgets/ButtonWidget.h"
#include "widgets/DrawHelpers.h"
#include "widgets/Slider.h"
#include "widgets/TextWidget.h"
#include "widgets/Widget.h"
#include "core/Localisation.h"

namespace {
constexpr int kPerspectiveToolIndex = 4;
constexpr int kKeyEscape = 27;

// One side of the little square that chooses which canvas sides get
// parallels: shows the bit it is bound to, a press flips it.
class SideToggle : public Widget {
public:
    SideToggle(int x, int y, int w, int h, uint8_t* flags, int bit) : Widget(x, y, w, h), flags(flags), bit(bit) {}

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override {
        Widget::onMouseButton(button, state, x, y, fromPen);
        if (!pointerInside) return 0;
        if (button == 0 && state == 0) *flags = static_cast<uint8_t>(*flags ^ (1u << bit));
        return 1;
    }
    void draw(float opacity_) override {
        const float a = effectiveAlpha(opacity_);
        const bool on = (*flags >> bit) & 1u;
        const int x = static_cast<int>(absX), y = static_cast<int>(absY);
        const int w = static_cast<int>(width), h = static_cast<int>(height);
        glDisable(GL_TEXTURE_2D);
        glColor4f(0, 0, 0, 0.3f * a);
        drawRect(x, y, w, h);
        glColor4f(on ? 0.4f : 0.9f, on ? 1.0f : 0.9f, on ? 1.0f : 0.9f, (pointerInside ? 1.0f : 0.8f) * a);
        if (on) drawRect(x + 2, y + 2, w - 4, h - 4);
        drawFrame(x, y, w, h, 1);
    }

private:
    uint8_t* flags; // the tool's parallelFlags, not owning
    int bit;
};

void vertex(math::Vec2 p) { glVertex2f(p.x, p.y); }
} // namespace

PerspectiveTool::PerspectiveTool(Painter* painter_) : Tool(painter_) {
    // The grid starts switched off; activation turns it on.
    enabled = false;
    vp = {math::Vec2{0, 0}, math::Vec2{512, 0}, math::Vec2{0, -768}};
}

bool PerspectiveTool::isCurrent() const { return painter && painter->currentTool == this; }

void PerspectiveTool::onCanvasCreated(int width, int height) {
    vp[0] = {0, 0};
    vp[1] = {static_cast<float>(width) / 2, 0};
    vp[2] = {0, -static_cast<float>(height)};
    // Stored positions are reset with the canvas, never scaled.
    for (auto& lines : customLines) lines.clear();
    hoverVp = dragVp = hoverLine = dragLine = std::array<bool, 3>{};
}

math::Vec2 PerspectiveTool::centredPointer() const {
    const Canvas& c = *painter->canvas;
    return painter->canvasPosition - math::Vec2(c.width / 2.0f, c.height / 2.0f);
}

void PerspectiveTool::activate() {
    Tool::activate();
    announce(tr(tk::PERSPECTIVE_MODE_STR));
    hoverVp = dragVp = hoverLine = dragLine = lockedVp = std::array<bool, 3>{};
    enabled = true;
    buildPanel();
}

void PerspectiveTool::buildPanel() {
    if (!gToolOptionsBar) return;
    GroupWidget& bar = *gToolOptionsBar;
    const int32_t names[3] = {tk::FIRST_HORIZONTAL_VP_STR, tk::SECOND_HORIZONTAL_VP_STR, tk::VERTICAL_VP_STR};
    const int ys[3] = {33, 18, 3};
    for (int i = 0; i < 3; ++i) {
        const uint8_t bit = static_cast<uint8_t>(1u << i);
        bar.add(std::make_shared<CheckBoxWidget>(
            600, ys[i], 15, (vpFlags & bit) != 0, [this, bit] { vpFlags = static_cast<uint8_t>(vpFlags | bit); },
            [this, bit] { vpFlags = static_cast<uint8_t>(vpFlags & ~bit); }));
        bar.add(std::make_shared<TextWidget>(620, ys[i], tr(names[i])));
    }
    bar.add(std::make_shared<TextWidget>(50, 20, tr(tk::STEPS_STR)));
    auto stepsSlider = std::make_shared<Slider<int>>(100, 20, 100, 10, tr(tk::STEPS_STR));
    stepsSlider->minValue = 5;
    stepsSlider->maxValue = 20;
    stepsSlider->target = &steps;
    stepsSlider->setValue(steps, false);
    bar.add(stepsSlider);
    bar.add(std::make_shared<TextWidget>(250, 20, tr(tk::OPACITY_STR)));
    auto opacitySlider = std::make_shared<Slider<float>>(320, 20, 100, 10, tr(tk::OPACITY_STR));
    opacitySlider->minValue = 0;
    opacitySlider->maxValue = 1;
    opacitySlider->target = &opacity;
    opacitySlider->setValue(opacity, false);
    bar.add(opacitySlider);
    // The sides of a square: top, right, bottom, left.
    bar.add(std::make_shared<SideToggle>(515, 30, 15, 15, &parallelFlags, 0));
    bar.add(std::make_shared<SideToggle>(530, 10, 15, 30, &parallelFlags, 1));
    bar.add(std::make_shared<SideToggle>(515, 5, 15, 15, &parallelFlags, 2));
    bar.add(std::make_shared<SideToggle>(500, 10, 15, 30, &parallelFlags, 3));
    bar.add(std::make_shared<ButtonWidget>(800, 10, 110, 30, tr(tk::CLEAR_LINES_STR), 0, [this](Widget*) {
        for (auto& lines : customLines) lines.clear();
    }));
}

// ---- input -------------------------------------------------------------------

int PerspectiveTool::onMouseButton(int button, int state, int, int, bool) {
    if (button != 0 || state != 0) {
        dragVp = dragLine = std::array<bool, 3>{};
        return 0;
    }
    if (gInputState.shift) {
        // Shift+click on a point locks it for scattering lines (or unlocks it).
        for (int i = 0; i < 3; ++i) {
            if (!hoverVp[static_cast<size_t>(i)]) continue;
            bool& locked = lockedVp[static_cast<size_t>(i)];
            locked = !locked;
            if (locked)
                for (int j = 0; j < 3; ++j)
                    if (j != i) lockedVp[static_cast<size_t>(j)] = false;
            return 1;
        }
        return 0;
    }
    const math::Vec2 p = centredPointer();
    const float reach = static_cast<float>(painter->canvas->width) / 20;
    for (size_t i = 0; i < 3; ++i)
        if (lockedVp[i] && (p - vp[i]).length() > reach) customLines[i].push_back(p);
    for (size_t i = 0; i < 3; ++i)
        if (hoverVp[i]) {
            dragVp[i] = true;
            return 1;
        }
    for (size_t i = 0; i < 3; ++i)
        if (hoverLine[i]) {
            dragLine[i] = true;
            return 1;
        }
    return 1;
}

int PerspectiveTool::onMouseDrag(int, int, bool) {
    const math::Vec2 p = centredPointer();
    for (size_t i = 0; i < 3; ++i) {
        if (!dragVp[i]) continue;
        vp[i] = p;
        // The two horizontal points share the horizon.
        if (i < 2) vp[1 - i].y = p.y;
        return 1;
    }
    for (size_t i = 0; i < 3; ++i) {
        if (!dragLine[i]) continue;
        vp[i].y = p.y;
        if (i < 2) vp[1 - i].y = p.y;
        return 1;
    }
    dragVp = dragLine = std::array<bool, 3>{};
    return 0;
}

int PerspectiveTool::onMouseMove(int, int, bool) {
    const Canvas& c = *painter->canvas;
    const math::Vec2 half{c.width / 2.0f, c.height / 2.0f};
    const float zoom = painter->camera->scale(painter->renderArea.height);
    const math::Vec2 cp = painter->canvasPosition;
    for (size_t i = 0; i < 3; ++i) {
        // Hidden points are hit as well: the test does not look at vpFlags.
        const math::Vec2 w = painter->canvasToWindow(vp[i] + half);
        hoverVp[i] = (w - painter->windowPosition).length() < 10;
        if (hoverVp[i]) continue;
        hoverLine[i] = cp.x > 0 && cp.x < static_cast<float>(c.width) &&
                       std::fabs(cp.y - (vp[i].y + half.y)) * zoom < 2;
    }
    return 0;
}

int PerspectiveTool::onKey(int key, int, int) {
    if (key != kKeyEscape) return 0;
    for (bool& locked : lockedVp)
        if (locked) {
            locked = false;
            return 1;
        }
    return 0;
}

// ---- drawing -----------------------------------------------------------------

perspective::GridInput PerspectiveTool::gridInput(float renderHeight) const {
    perspective::GridInput in;
    in.width = static_cast<float>(painter->canvas->width);
    in.height = static_cast<float>(painter->canvas->height);
    in.zoom = painter->camera->scale(renderHeight);
    in.steps = steps;
    in.vp = vp;
    in.vpFlags = vpFlags;
    in.parallelFlags = parallelFlags;
    return in;
}

void PerspectiveTool::drawToolOverlay() { drawGrid(painter->renderArea); }

void PerspectiveTool::drawGrid(const RenderArea& area) {
    if (!painter || !painter->canvas || area.width <= 0 || area.height <= 0) return;
    const float W = static_cast<float>(painter->canvas->width), H = static_cast<float>(painter->canvas->height);
    const perspective::GridInput in = gridInput(area.height);

    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_STENCIL_BUFFER_BIT | GL_LINE_BIT |
                 GL_POINT_BIT | GL_VIEWPORT_BIT | GL_POLYGON_BIT);
    glViewport(static_cast<GLint>(area.x), static_cast<GLint>(area.y), static_cast<GLsizei>(area.width),
               static_cast<GLsizei>(area.height));
    // The canvas's own scene, so the grid turns and zooms with the picture.
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    gluPerspective(90.0, static_cast<double>(area.width) / area.height, 1.0, 100000.0);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    painter->camera->apply();
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_LIGHTING);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_CULL_FACE);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glLineWidth(1);

    // The canvas rectangle into the stencil: the grid exists only on the canvas.
    glClear(GL_STENCIL_BUFFER_BIT);
    glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_FALSE);
    glEnable(GL_STENCIL_TEST);
    glStencilFunc(GL_ALWAYS, 1, 1);
    glStencilOp(GL_KEEP, GL_KEEP, GL_REPLACE);
    glBegin(GL_QUADS);
    glVertex2f(-W / 2, -H / 2);
    glVertex2f(W / 2, -H / 2);
    glVertex2f(W / 2, H / 2);
    glVertex2f(-W / 2, H / 2);
    glEnd();
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glStencilFunc(GL_EQUAL, 1, 1);
    glStencilOp(GL_KEEP, GL_KEEP, GL_KEEP);

    auto drawLines = [this](const std::vector<perspective::GridLine>& lines, const float* rgb) {
        glBegin(GL_LINES);
        for (const perspective::GridLine& l : lines) {
            glColor4f(rgb[0], rgb[1], rgb[2], opacity * l.alphaA);
            vertex(l.a);
            glColor4f(rgb[0], rgb[1], rgb[2], opacity * l.alphaB);
            vertex(l.b);
        }
        glEnd();
    };
    for (int i = 0; i < 3; ++i) drawLines(perspective::fanLines(in, i), perspective::kFanColors[i]);
    for (int k = 0; k < 4; ++k)
        drawLines(perspective::parallelLines(in, k),
                  perspective::sideMovesAlongX(k) ? perspective::kParallelXColor : perspective::kParallelYColor);

    // Lines scattered by hand, whether or not their point is shown.
    glColor4f(0, 0, 0, opacity + 0.2f);
    glBegin(GL_LINES);
    for (size_t i = 0; i < 3; ++i)
        for (const math::Vec2& end : customLines[i]) {
            vertex(vp[i]);
            vertex(end);
        }
    glEnd();
    // A rubber line from a locked point to the pointer.
    glColor4f(0, 0, 0, opacity);
    glBegin(GL_LINES);
    for (size_t i = 0; i < 3; ++i)
        if (lockedVp[i]) {
            vertex(vp[i]);
            vertex(centredPointer());
        }
    glEnd();
    glDisable(GL_STENCIL_TEST);

    if (isCurrent()) {
        for (size_t i = 0; i < 3; ++i) {
            if (!(vpFlags & (1u << i))) continue;
            glLineWidth(hoverVp[i] || hoverLine[i] ? 2.0f : 1.0f);
            glColor4f(0, 1, 1, opacity);
            glBegin(GL_LINES);
            glVertex2f(-W / 2, vp[i].y);
            glVertex2f(W / 2, vp[i].y);
            glEnd();
        }
        glLineWidth(1);
        for (size_t i = 0; i < 3; ++i) {
            if (!(vpFlags & (1u << i))) continue;
            glPointSize(lockedVp[i] ? 20.0f : 10.0f);
            if (dragVp[i]) glColor4f(0, 1, 1, opacity);
            else if (hoverVp[i]) glColor4f(1, 0.5f, 0, opacity);
            else glColor4f(0, 0, 0, opacity);
            glBegin(GL_POINTS);
            vertex(vp[i]);
            glEnd();
        }
    }

    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glPopAttrib();
}

void PerspectiveTool::drawHints(int& line) {
    printStatusLine(line, tr(tk::PERSPECTIVE_PLACE_TIP_STR));
    const bool anyLocked = lockedVp[0] || lockedVp[1] || lockedVp[2];
    printStatusLine(line, tr(anyLocked ? tk::PERSPECTIVE_UNLOCK_TIP_STR : tk::PERSPECTIVE_SCATTER_TIP_STR));
    printStatusLine(line, tr(tk::PERSPECTIVE_EXIT_TIP_STR));
}

void togglePerspectiveButton(Painter& painter) {
    auto* app = static_cast<PaintingApplication*>(painter.application);
    Tool& tool = *painter.tools[kPerspectiveToolIndex];
    if (app->currentToolIndex_ == kPerspectiveToolIndex) {
        tool.enabled = false;
        painter.selectTool(app->previousToolIndex);
    } else {
        painter.selectTool(kPerspectiveToolIndex);
    }
}
