#include "tools/GradientTool.h"

#include <GL/glew.h>

#include <algorithm>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "canvas/Shaders.h"
#include "core/FrameOverlays.h"
#include "core/Globals.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "history/FillActions.h"
#include "history/History.h"
#include "tools/ToolMessages.h"
#include "tools/ToolPanel.h"
#include "widgets/ColorSelectionSquare.h"
#include "widgets/DrawHelpers.h"
#include "widgets/ImageButton.h"
#include "widgets/Slider.h"
#include "widgets/TextWidget.h"

namespace {
constexpr int kKeyEnter = 13, kKeyEscape = 27;
// Where the stops' editor starts in the strip: right of the two buttons.
constexpr int kContainerX = 130;
} // namespace

GradientTool::GradientTool(Painter* painter_) : Tool(painter_) { resetGradient(); }

GradientTool::~GradientTool() = default;

void GradientTool::resetGradient() {
    state = 0;
    start = end = {0, 0};
    colors = {{1, 1, 1, 1}, {1, 1, 1, 0}};
    positions = {0, 1};
}

void GradientTool::discard() {
    state = 0;
    startHandle.reset();
    endHandle.reset();
}

bool GradientTool::isActive() const {
    return painter && static_cast<const PaintingApplication*>(painter->application)->currentToolIndex_ == kIndex;
}

// ---- panel -----------------------------------------------------------------

void GradientTool::activate() {
    Tool::activate();
    resetGradient();
    discard();
    announce(tr(tk::GRADIENT_TOOL_ACTIVE_STR).c_str());
    if (!painter) return;
    Canvas& canvas = *painter->canvas;
    // One colour, fading from opaque to clear.
    colors[0] = {canvas.color[0], canvas.color[1], canvas.color[2], 1.0f};
    colors[1] = {canvas.color[0], canvas.color[1], canvas.color[2], 0.0f};
    if (!gToolOptionsBar) return;
    GroupWidget& bar = *gToolOptionsBar;
    bar.add(std::make_shared<ImageButton>(10, 26, 110, 20, tr(tk::APPLY_BTN_STR), [this](Widget*) { applyGradient(); }));
    bar.add(std::make_shared<ImageButton>(10, 4, 110, 20, tr(tk::DISCARD_BTN_STR), [this](Widget*) { discard(); }));
    const int panelWidth = static_cast<int>(bar.width / GuiScale);
    Canvas* c = &canvas;
    bar.add(std::make_shared<GradientPreviewContainer>(
        kContainerX, 0, std::max(panelWidth - kContainerX - 10, 200), kToolOptionsBarHeight, &colors, &positions,
        canvas.color, [c](const float* rgb) { c->setColor({rgb[0], rgb[1], rgb[2]}); }));
}

bool GradientTool::deactivate() {
    hidePanel();
    // A gradient not applied is given up.
    resetGradient();
    discard();
    return true;
}

// ---- the ramp ----------------------------------------------------------------

void GradientTool::renderPreview() {
    if (!painter || state != 2) return;
    painter->canvas->renderGradient(start, end, colors, positions);
}

void GradientTool::applyGradient() {
    if (state == 2 && painter) {
        auto action = std::make_unique<GradientFillAction>(*painter->canvas);
        action->startX = start.x, action->startY = start.y;
        action->endX = end.x, action->endY = end.y;
        action->colors = colors;
        action->positions = positions;
        HistoryAction& step = *action;
        gHistory.add(std::move(action), false);
        // The same drawing as any replay of the action: live and replayed
        // pictures cannot differ.
        step.execute();
        state = 0;
    }
    discard();
}

// ---- input -------------------------------------------------------------------

int GradientTool::onMouseButton(int button, int buttonState, int, int, bool fromPen) {
    if (!painter) return 0;
    const int wx = static_cast<int>(painter->windowPosition.x), wy = static_cast<int>(painter->windowPosition.y);
    int taken = 0;
    if (startHandle) taken |= startHandle->onMouseButton(button, buttonState, wx, wy, fromPen);
    if (endHandle) taken |= endHandle->onMouseButton(button, buttonState, wx, wy, fromPen);
    if (button != 0 || buttonState != 0) return 0;
    // A press that grabbed a handle places nothing.
    if (taken) return 1;
    if (state == 0) {
        start = painter->canvasPosition;
        state = 1;
        startHandle = std::make_unique<DraggablePoint>(painter, &start.x, false);
    } else if (state == 1) {
        end = painter->canvasPosition;
        state = 2;
        endHandle = std::make_unique<DraggablePoint>(painter, &end.x, false);
    }
    return 1;
}

int GradientTool::onMouseMove(int, int, bool fromPen) {
    if (!painter) return 0;
    const int wx = static_cast<int>(painter->windowPosition.x), wy = static_cast<int>(painter->windowPosition.y);
    int result = 0;
    if (startHandle) result = startHandle->onMouseMove(wx, wy, fromPen);
    if (endHandle) result = endHandle->onMouseMove(wx, wy, fromPen);
    return result;
}

int GradientTool::onMouseDrag(int, int, bool fromPen) {
    if (!painter) return 0;
    const int wx = static_cast<int>(painter->windowPosition.x), wy = static_cast<int>(painter->windowPosition.y);
    int result = 0;
    if (startHandle) result = startHandle->onMouseDrag(wx, wy, fromPen);
    if (endHandle) result = endHandle->onMouseDrag(wx, wy, fromPen);
    return result;
}

int GradientTool::onKey(int key, int, int) {
    if (key == kKeyEnter) {
        if (state != 2) return 0;
        applyGradient();
        return 1;
    }
    if (key == kKeyEscape && state > 0) {
        discard();
        return 1;
    }
    return 0;
}

bool GradientTool::update(int, int, int) {
    // Without framebuffer objects a surface is drawn through the back buffer,
    // which must not happen in the middle of a frame: the preview is drawn
    // here, between frames, instead.
    if (painter && state == 2 && !painter->canvas->strokeBuffer.complete) renderPreview();
    return true;
}

// ---- drawing -----------------------------------------------------------------

void GradientTool::drawOnCanvas() {
    if (!painter || state != 2) return;
    Canvas& canvas = *painter->canvas;
    if (canvas.strokeBuffer.complete) {
        // Drawn again every frame, so a moved handle or an edited stop shows at once.
        GLint drawFramebuffer = 0, readFramebuffer = 0;
        glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &drawFramebuffer);
        glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &readFramebuffer);
        glPushAttrib(GL_VIEWPORT_BIT);
        renderPreview();
        glPopAttrib();
        glBindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(drawFramebuffer));
        glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(readFramebuffer));
    }
    const RenderArea& area = painter->renderArea;
    const math::Vec2 a = painter->canvasToWindow({0, 0});
    const math::Vec2 b = painter->canvasToWindow({static_cast<float>(canvas.width), 0});
    const math::Vec2 c = painter->canvasToWindow({static_cast<float>(canvas.width), static_cast<float>(canvas.height)});
    const math::Vec2 d = painter->canvasToWindow({0, static_cast<float>(canvas.height)});
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT | GL_POLYGON_BIT);
    {
        RenderAreaProjection projection(area.width, area.height);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_CULL_FACE);
        glUseProgram(0);
        glEnable(GL_BLEND);
        glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA); // the buffer is premultiplied
        glEnable(GL_TEXTURE_2D);
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, canvas.strokeBuffer.textureId);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
        glColor4f(1, 1, 1, 1);
        drawCorners(a, b, c, d);
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    glPopAttrib();
}

void GradientTool::drawToolOverlay() {
    if (!painter || state == 0) return;
    const RenderArea& area = painter->renderArea;
    const math::Vec2 a = painter->canvasToWindow(start);
    const math::Vec2 b = state == 2 ? painter->canvasToWindow(end) : painter->canvasToWindow(painter->canvasPosition);
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_LINE_BIT);
    {
        RenderAreaProjection projection(area.width, area.height);
        glDisable(GL_TEXTURE_2D);
        glDisable(GL_DEPTH_TEST);
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        glLineWidth(2.0f);
        // The line itself previews the ramp: each stop in its colour.
        glBegin(GL_LINE_STRIP);
        const std::size_t count = std::min(colors.size(), positions.size());
        for (std::size_t i = 0; i < count; ++i) {
            const auto& col = colors[i];
            glColor4f(col[0], col[1], col[2], col[3]);
            const math::Vec2 p = a + (b - a) * positions[i];
            glVertex2f(p.x, p.y);
        }
        glEnd();
        if (startHandle) startHandle->draw(1.0f);
        if (endHandle) endHandle->draw(1.0f);
    }
    glPopAttrib();
}

void GradientTool::drawCursor(int x, int y) {
    const InvertedCursorLines inverted(2.0f);
    drawCross(x, y, 5);
}

void GradientTool::drawHints(int& line) {
    if (state == 0) printStatusLine(line, tr(tk::SELECT_START_POINT_STR).c_str());
    else if (state == 1) printStatusLine(line, tr(tk::SELECT_END_POINT_STR).c_str());
    else printStatusLine(line, tr(tk::ENTER_TO_APPLY_GRADIENT_ESC_TO_STR).c_str());
}

// ---- the stops' editor ---------------------------------------------------------

void GradientPreview::draw(float opacity_) {
    if (!colors || !positions) return;
    const float a = effectiveAlpha(opacity_);
    const float x = absX, y = absY, w = width, h = height;
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT);
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    const bool seeThrough = std::any_of(colors->begin(), colors->end(), [](const auto& c) { return c[3] < 0.999f; });
    if (seeThrough && checkerboardProgram.program != 0) {
        glUseProgram(checkerboardProgram.program);
        glColor4f(1, 1, 1, a);
        drawRect(x, y, w, h);
        glUseProgram(0);
    }
    const std::size_t count = std::min(colors->size(), positions->size());
    glBegin(GL_TRIANGLE_STRIP);
    for (std::size_t i = 0; i < count; ++i) {
        const auto& c = (*colors)[i];
        const float px = x + w * (*positions)[i];
        glColor4f(c[0], c[1], c[2], c[3] * a);
        glVertex2f(px, y + h);
        glVertex2f(px, y);
    }
    glEnd();
    glColor4f(0, 0, 0, a);
    drawFrame(x, y, w, h, 1.0f);
    glPopAttrib();
}

GradientPreviewContainer::GradientPreviewContainer(int x, int y, int width_, int height_,
                                                   std::vector<std::array<float, 4>>* colors_,
                                                   std::vector<float>* positions_, float* currentColor_,
                                                   std::function<void(const float* rgb)> setCurrentColor_)
    : CompositeWidget(x, y, width_, height_), colors(colors_), positions(positions_), currentColor(currentColor_),
      setCurrentColor(std::move(setCurrentColor_)) {
    const int half = width_ / 2;
    preview = std::make_shared<GradientPreview>(0, 20, half, 20, colors, positions);
    add(preview, true);
    static const float kWhite[4] = {1, 1, 1, 1};
    add(std::make_shared<TextWidget>(half + 60, 20, tr(tk::OPACITY_STR), 0, kWhite), true);
    opacitySlider = std::make_shared<Slider<float>>(half + 130, 20, 100, 9, "");
    opacitySlider->minValue = 0;
    opacitySlider->maxValue = 1;
    add(opacitySlider);
    const std::size_t count = std::min(colors->size(), positions->size());
    for (std::size_t i = 0; i < count; ++i) {
        float* stop = (*colors)[i].data();
        const int sx = static_cast<int>(static_cast<float>(half) * (*positions)[i]) - 7;
        add(std::make_shared<ColorSelectionSquare>(sx, 5, 15, 10, stop, &selectedStop, true,
                                                   [this, i](float*) { selectStop(i); }),
            true);
    }
    if (count > 0) selectStop(0);
}

void GradientPreviewContainer::selectStop(std::size_t i) {
    if (i >= colors->size()) return;
    selectedStop = (*colors)[i].data();
    if (setCurrentColor) setCurrentColor(selectedStop);
    opacitySlider->target = &selectedStop[3];
    opacitySlider->setValue(selectedStop[3], false);
}

std::size_t GradientPreviewContainer::selectedIndex() const {
    for (std::size_t i = 0; i < colors->size(); ++i)
        if ((*colors)[i].data() == selectedStop) return i;
    return colors->size();
}

bool GradientPreviewContainer::update(int elapsedMs, int originX, int originY) {
    const bool alive = CompositeWidget::update(elapsedMs, originX, originY);
    // The current colour is the selected stop's: the colour selector edits it.
    if (selectedStop && currentColor) std::copy(currentColor, currentColor + 3, selectedStop);
    return alive;
}
