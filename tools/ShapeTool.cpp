#include "tools/ShapeTool.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "core/FrameOverlays.h"
#include "core/Globals.h"
#include "core/Localisation.h"
#include "core/PixelRegion.h"
#include "tools/ToolPanel.h"
#include "widgets/ButtonWidget.h"
#include "widgets/ColorSelectionSquare.h"
#include "widgets/ShapeButton.h"
#include "widgets/Slider.h"
#include "widgets/TextWidget.h"
#include "widgets/Widget.h"

namespace {
constexpr int kKeyEnter = 13, kKeyEscape = 27;

// One pass's primitive, in the coordinates in force.
void drawPrimitive(const std::vector<shape::Point>& vertices, GLenum mode) {
    glBegin(mode);
    for (const shape::Point& p : vertices) glVertex2f(p.x, p.y);
    glEnd();
}

GLenum passMode(shape::Pass pass) { return pass == shape::Pass::Border ? GL_TRIANGLE_STRIP : GL_POLYGON; }
} // namespace

ShapeTool::ShapeTool(Painter* painter_) : Tool(painter_), currentColorTarget(fillColor), shapes(shape::standardOutlines()) {}

// ---- state -----------------------------------------------------------------

void ShapeTool::reset() {
    state = 0;
    firstCorner = secondCorner = {0.0f, 0.0f};
    currentColorTarget = fillColor;
}

void ShapeTool::rebuild() {
    const math::Vec2 size = secondCorner - firstCorner;
    const float m = std::min(std::fabs(size.x), std::fabs(size.y));
    if (!(m > 0.0f)) {
        fillVertices.clear();
        borderVertices.clear();
        return;
    }
    const std::size_t index = static_cast<std::size_t>(std::clamp(shapeIndex, 0, static_cast<int>(shapes.size()) - 1));
    // Negative sizes mirror the figure with the drag.
    shapes[index].flatten(size, fillVertices);
    if (borderWidth > 0 && static_cast<float>(borderWidth) < m / 2) {
        shape::borderStrip(fillVertices, borderVertices, static_cast<float>(borderWidth));
    } else {
        borderVertices.clear();
    }
}

std::vector<shape::Pass> ShapeTool::passes() const {
    const math::Vec2 size = secondCorner - firstCorner;
    return shape::figurePasses(borderWidth, std::min(std::fabs(size.x), std::fabs(size.y)), fillEnabled);
}

const std::vector<shape::Point>& ShapeTool::passVertices(shape::Pass pass) const {
    return pass == shape::Pass::Border ? borderVertices : fillVertices;
}

const float* ShapeTool::passColor(shape::Pass pass) const {
    return pass == shape::Pass::Fill ? fillColor : borderColor;
}

void ShapeTool::apply() {
    const int wasState = state;
    state = 0;
    if (wasState != 2 || !painter || !painter->canvas || !painter->canvas->hasSurfaces()) return;
    Canvas& canvas = *painter->canvas;
    for (const shape::Pass pass : passes()) {
        const std::vector<shape::Point>& vertices = passVertices(pass);
        if (vertices.empty()) continue; // a box of no size, or a border with no room
        float left = vertices[0].x, right = left, bottom = vertices[0].y, top = bottom;
        for (const shape::Point& p : vertices) {
            left = std::min(left, p.x), right = std::max(right, p.x);
            bottom = std::min(bottom, p.y), top = std::max(top, p.y);
        }
        const PixelRect bounds = PixelRect::around(left + firstCorner.x, bottom + firstCorner.y, right + firstCorner.x,
                                                   top + firstCorner.y, 1);
        const GLenum mode = passMode(pass);
        canvas.paintFigure(passColor(pass), bounds, [&] {
            glTranslatef(firstCorner.x, firstCorner.y, 0.0f);
            drawPrimitive(vertices, mode);
        });
    }
}

// ---- input -----------------------------------------------------------------

int ShapeTool::onMouseButton(int button, int buttonState, int, int, bool) {
    if (!painter || button != 0 || buttonState != 0) return 0;
    if (state == 0) {
        firstCorner = secondCorner = painter->canvasPosition;
        state = 1;
    } else if (state == 1) {
        secondCorner = painter->canvasPosition;
        rebuild();
        state = 2;
    }
    return 0;
}

int ShapeTool::onMouseDrag(int, int, bool) {
    if (!painter || (state != 1 && state != 2)) return 0;
    secondCorner = painter->canvasPosition;
    rebuild();
    state = 2;
    return 1;
}

int ShapeTool::onKey(int key, int, int) {
    if (key == kKeyEnter) {
        // Taken in every state, so [ENTER] never reaches the commands here.
        if (state == 2) apply();
        return 1;
    }
    if (key == kKeyEscape && state > 0) {
        reset();
        return 1;
    }
    return 0;
}

bool ShapeTool::update(int, int, int) {
    if (painter && painter->canvas && currentColorTarget) {
        // RGB only: the target's alpha stays.
        std::copy(painter->canvas->color, painter->canvas->color + 3, currentColorTarget);
    }
    return true;
}

// ---- panel -----------------------------------------------------------------

void ShapeTool::activate() {
    Tool::activate();
    if (painter && painter->canvas) std::copy(painter->canvas->color, painter->canvas->color + 3, fillColor);
    currentColorTarget = fillColor;
    buildPanel();
}

bool ShapeTool::deactivate() {
    hidePanel();
    reset();
    return true;
}

void ShapeTool::buildPanel() {
    if (!gToolOptionsBar) return;
    static const float kWhite[4] = {1, 1, 1, 1};
    gToolOptionsBar->add(std::make_shared<ButtonWidget>(10, 26, 110, 20, tr(tk::APPLY_BTN_STR), 0, [this](Widget*) { apply(); }));
    gToolOptionsBar->add(
        std::make_shared<ButtonWidget>(10, 4, 110, 20, tr(tk::DISCARD_BTN_STR), 0, [this](Widget*) { state = 0; }));
    // Each button shows its figure flattened at its face less 5 units all round.
    const int kButtonSize = 30, kInset = 5;
    for (int i = 0; i < static_cast<int>(shapes.size()); ++i) {
        const float side = static_cast<float>(kButtonSize - 2 * kInset) * GuiScale;
        std::vector<shape::Point> vertices;
        shapes[static_cast<std::size_t>(i)].flatten({side, side}, vertices);
        gToolOptionsBar->add(std::make_shared<ShapeButton>(150 + 40 * i, 10, kButtonSize, kButtonSize, i,
                                                           std::move(vertices), &shapeIndex, [this, i](Widget*) {
                                                               shapeIndex = i;
                                                               rebuild();
                                                           }));
    }
    gToolOptionsBar->add(std::make_shared<CheckBoxWidget>(
        360, 29, 15, fillEnabled, [this] { fillEnabled = true; }, [this] { fillEnabled = false; }));
    gToolOptionsBar->add(std::make_shared<TextWidget>(380, 32, tr(tk::SHAPE_FILL_LABEL_STR), 0, kWhite));
    gToolOptionsBar->add(std::make_shared<TextWidget>(380, 12, tr(tk::SHAPE_BORDER_LABEL_STR), 0, kWhite));
    // The two swatches share the target slot: a click makes a swatch the
    // colour the selector edits and shows its colour there.
    auto select = [this](float* value) {
        if (painter && painter->canvas) painter->canvas->setColor({value[0], value[1], value[2]});
    };
    gToolOptionsBar->add(std::make_shared<ColorSelectionSquare>(470, 28, 20, 15, fillColor, &currentColorTarget, true, select));
    gToolOptionsBar->add(
        std::make_shared<ColorSelectionSquare>(470, 8, 20, 15, borderColor, &currentColorTarget, true, select));
    auto width = std::make_shared<Slider<int>>(520, 10, 80, 10, tr(tk::WIDTH_STR), 0, true, [this](int) { rebuild(); });
    width->minValue = 0;
    width->maxValue = kMaxBorderWidth;
    width->target = &borderWidth;
    width->setValue(borderWidth, false);
    gToolOptionsBar->add(width);
}

// ---- drawing -----------------------------------------------------------------

void ShapeTool::drawOnCanvas() {
    if (state != 2 || !painter) return;
    const RenderArea& area = painter->renderArea;
    // Canvas pixels relative to the first corner -> window pixels: the
    // view's translation, zoom and rotation (and mirror) as one affine map.
    const math::Vec2 origin = painter->canvasToWindow(firstCorner);
    const math::Vec2 ex = painter->canvasToWindow(firstCorner + math::Vec2(1, 0)) - origin;
    const math::Vec2 ey = painter->canvasToWindow(firstCorner + math::Vec2(0, 1)) - origin;
    const GLfloat m[16] = {ex.x, ex.y, 0, 0, ey.x, ey.y, 0, 0, 0, 0, 1, 0, origin.x, origin.y, 0, 1};
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_POLYGON_BIT | GL_TRANSFORM_BIT);
    RenderAreaProjection projection(area.width, area.height);
    glMatrixMode(GL_MODELVIEW);
    glMultMatrixf(m);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_CULL_FACE);
    glDisable(GL_BLEND); // the colours are opaque: what apply will paint
    glUseProgram(0);
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    for (const shape::Pass pass : passes()) {
        const float* c = passColor(pass);
        glColor4f(c[0], c[1], c[2], c[3]);
        drawPrimitive(passVertices(pass), passMode(pass));
    }
    glPopAttrib();
}

void ShapeTool::drawToolOverlay() {
    if (state <= 0 || !painter) return;
    const RenderArea& area = painter->renderArea;
    const math::Vec2 a = painter->canvasToWindow(firstCorner);
    const math::Vec2 b = painter->canvasToWindow({secondCorner.x, firstCorner.y});
    const math::Vec2 c = painter->canvasToWindow(secondCorner);
    const math::Vec2 d = painter->canvasToWindow({firstCorner.x, secondCorner.y});
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_LINE_BIT);
    RenderAreaProjection projection(area.width, area.height);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_BLEND);
    glEnable(GL_COLOR_LOGIC_OP);
    glLogicOp(GL_NAND);
    glLineWidth(1.0f);
    glColor4f(0.8f, 0.8f, 0.8f, 1.0f);
    glBegin(GL_LINE_LOOP);
    for (const math::Vec2& p : {a, b, c, d}) glVertex2f(p.x, p.y);
    glEnd();
    glPopAttrib();
}

void ShapeTool::drawHints(int& line) {
    printStatusLine(line, tr(tk::SHAPE_TOOL_STR).c_str());
    const std::string status = loc::fillText(
        tr(tk::SHAPE_TOOL_STATUS_STR), {std::to_string(state), std::to_string(fillVertices.size())});
    printStatusLine(line, status.c_str());
}
