#include "tools/CropTool.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "canvas/Canvas.h"
#include "canvas/GlInfo.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "canvas/Shaders.h"
#include "canvas/ViewNavigation.h"
#include "core/Application.h"
#include "core/Camera.h"
#include "core/FrameOverlays.h"
#include "core/Globals.h"
#include "core/PaintingApplication.h"
#include "history/CanvasSizeActions.h"
#include "history/History.h"
#include "io/ImageLoad.h"
#include "tools/ToolMessages.h"
#include "tools/ToolPanel.h"
#include "widgets/ButtonWidget.h"
#include "widgets/DrawHelpers.h"
#include "widgets/EditControl.h"
#include "widgets/GlFont.h"
#include "widgets/TextWidget.h"
#include "widgets/Widget.h"
#include "core/Localisation.h"

namespace {
constexpr int kKeyEnter = 13, kKeyEscape = 27;

int fieldValue(const std::weak_ptr<EditControl>& field) {
    auto edit = field.lock();
    if (!edit) return 0;
    return std::atoi(edit->text().c_str()); // an empty field counts as 0
}

void showField(const std::weak_ptr<EditControl>& field, int value) {
    if (auto edit = field.lock()) edit->setText(std::to_string(value), false);
}

// A typed percent of a side, in whole pixels: 100 gives the side itself.
float percentOf(int side, int percent) { return std::floor(side * percent / 100.0f + 0.5f); }
} // namespace

CropTool::~CropTool() = default;

// ---- state -----------------------------------------------------------------

void CropTool::clearArea() {
    state = 0;
    if (painter && painter->canvas)
        cropSize = {static_cast<float>(painter->canvas->width), static_cast<float>(painter->canvas->height)};
    firstHandle.reset();
    secondHandle.reset();
}

bool CropTool::isActive() const {
    return painter && static_cast<const PaintingApplication*>(painter->application)->currentToolIndex_ == kIndex;
}

void CropTool::onCanvasCreated(int, int) {
    clearArea();
    if (painter && painter->currentTool == this) refreshFields();
}

void CropTool::refreshFields() {
    if (!painter) return;
    const int w = static_cast<int>(cropSize.x), h = static_cast<int>(cropSize.y);
    showField(widthEdit, w);
    showField(heightEdit, h);
    const int canvasW = std::max(painter->canvas->width, 1), canvasH = std::max(painter->canvas->height, 1);
    showField(widthPercentEdit, static_cast<int>(std::floor(w * 100.0f / canvasW + 0.5f)));
    showField(heightPercentEdit, static_cast<int>(std::floor(h * 100.0f / canvasH + 0.5f)));
}

void CropTool::setWidthPixels(int value) {
    cropSize.x = static_cast<float>(value);
    secondCorner.x = firstCorner.x + static_cast<float>(value);
    const int canvasW = std::max(painter->canvas->width, 1);
    showField(widthPercentEdit, static_cast<int>(std::floor(value * 100.0f / canvasW + 0.5f)));
}

void CropTool::setHeightPixels(int value) {
    cropSize.y = static_cast<float>(value);
    secondCorner.y = firstCorner.y + static_cast<float>(value);
    const int canvasH = std::max(painter->canvas->height, 1);
    showField(heightPercentEdit, static_cast<int>(std::floor(value * 100.0f / canvasH + 0.5f)));
}

void CropTool::setWidthPercent(int value) {
    cropSize.x = percentOf(painter->canvas->width, value);
    secondCorner.x = firstCorner.x + cropSize.x;
    showField(widthEdit, static_cast<int>(cropSize.x));
}

void CropTool::setHeightPercent(int value) {
    cropSize.y = percentOf(painter->canvas->height, value);
    secondCorner.y = firstCorner.y + cropSize.y;
    showField(heightEdit, static_cast<int>(cropSize.y));
}

// ---- panel -----------------------------------------------------------------

void CropTool::activate() {
    Tool::activate();
    clearArea();
    announce(tr(tk::CROP_MODE_STR));
    if (!gToolOptionsBar || !painter) return;
    const int w = painter->canvas->width, h = painter->canvas->height;
    auto makeField = [](int x, int y, int width, int value) {
        return std::make_shared<EditControl>(x, y, width, 15, 8, 0, std::to_string(value), true);
    };
    gToolOptionsBar->add(std::make_shared<TextWidget>(85, 33, tr(tk::CROP_WIDTH_MARK_STR)));
    auto widthField = makeField(100, 30, 80, w);
    gToolOptionsBar->add(std::make_shared<TextWidget>(85, 8, tr(tk::CROP_HEIGHT_MARK_STR)));
    auto heightField = makeField(100, 5, 80, h);
    auto widthPercentField = makeField(250, 30, 50, 100);
    gToolOptionsBar->add(std::make_shared<TextWidget>(305, 33, "%"));
    auto heightPercentField = makeField(250, 5, 50, 100);
    gToolOptionsBar->add(std::make_shared<TextWidget>(305, 8, "%"));
    widthField->onChange = [this] { setWidthPixels(fieldValue(widthEdit)); };
    heightField->onChange = [this] { setHeightPixels(fieldValue(heightEdit)); };
    widthPercentField->onChange = [this] { setWidthPercent(fieldValue(widthPercentEdit)); };
    heightPercentField->onChange = [this] { setHeightPercent(fieldValue(heightPercentEdit)); };
    for (const auto& field : {widthField, heightField, widthPercentField, heightPercentField}) gToolOptionsBar->add(field);
    widthEdit = widthField;
    heightEdit = heightField;
    widthPercentEdit = widthPercentField;
    heightPercentEdit = heightPercentField;
    gToolOptionsBar->add(std::make_shared<ButtonWidget>(400, 10, 110, 30, tr(tk::CROP_STR), 0, [this](Widget*) { applyCrop(); }));
    gToolOptionsBar->add(std::make_shared<ButtonWidget>(
        550, 10, 110, 30, tr(tk::RESIZE_STR), 0, [this](Widget*) { applyResize(fieldValue(widthEdit), fieldValue(heightEdit)); }));
}

bool CropTool::deactivate() {
    hidePanel();
    clearArea();
    widthEdit.reset();
    heightEdit.reset();
    widthPercentEdit.reset();
    heightPercentEdit.reset();
    return true;
}

// ---- the two actions ---------------------------------------------------------

bool CropTool::checkSize(int width, int height) const {
    return checkCanvasSize(width, height, gFramebufferCapability, painter ? painter->application : nullptr);
}

void CropTool::afterSizeChange() {
    // The tools heard of the new canvas from Canvas::resize; the view fits it.
    if (painter) fitToWindow(*painter);
}

bool CropTool::applyCrop() {
    if (!painter || state < 3) return false;
    const int w = static_cast<int>(std::floor(cropSize.x + 0.5f));
    const int h = static_cast<int>(std::floor(cropSize.y + 0.5f));
    if (w < 1 || h < 1) {
        painter->application->showMessage("%s", tr(tk::CROPPING_AREA_EMPTY_STR).c_str());
        return false;
    }
    if (!checkSize(w, h)) return false;
    auto action = std::make_unique<ImageCropAction>(*painter->canvas, *painter->layers);
    action->centreX = (firstCorner.x + secondCorner.x) * 0.5f;
    action->centreY = (firstCorner.y + secondCorner.y) * 0.5f;
    action->width = static_cast<float>(w);
    action->height = static_cast<float>(h);
    action->rotation = painter->camera->rotation;
    HistoryAction& step = *action;
    gHistory.add(std::move(action), false);
    step.execute();
    afterSizeChange();
    return true;
}

bool CropTool::applyResize(int width, int height) {
    if (!painter) return false;
    if (width < 1 || height < 1) {
        painter->application->showMessage("%s", tr(tk::NEW_SIZE_EMPTY_STR).c_str());
        return false;
    }
    if (!checkSize(width, height)) return false;
    auto action = std::make_unique<ImageResizeAction>(*painter->canvas, *painter->layers);
    action->width = width;
    action->height = height;
    HistoryAction& step = *action;
    gHistory.add(std::move(action), false);
    step.execute();
    afterSizeChange();
    return true;
}

// ---- pointer -----------------------------------------------------------------

math::Vec2 CropTool::snappedWindowPosition(math::Vec2 window) const {
    if (std::fabs(painter->camera->rotation) > 0.001f) return window;
    math::Vec2 c = painter->windowToCanvas(window);
    c = {std::floor(c.x + 0.5f), std::floor(c.y + 0.5f)};
    const float w = static_cast<float>(painter->canvas->width), h = static_cast<float>(painter->canvas->height);
    const math::Vec2 low = painter->canvasToWindow({0.0f, 0.0f});
    const math::Vec2 high = painter->canvasToWindow({w, h});
    if (std::fabs(window.x - low.x) < kEdgeSnap) c.x = 0;
    else if (std::fabs(window.x - high.x) < kEdgeSnap) c.x = w;
    if (std::fabs(window.y - low.y) < kEdgeSnap) c.y = 0;
    else if (std::fabs(window.y - high.y) < kEdgeSnap) c.y = h;
    return painter->canvasToWindow(c);
}

math::Vec2 CropTool::pointerCanvasPosition() const {
    const math::Vec2 c = painter->windowToCanvas(snappedWindowPosition(painter->windowPosition));
    if (std::fabs(painter->camera->rotation) > 0.001f) return c;
    // The round trip through the window may leave a hair off the whole pixel.
    return {std::floor(c.x + 0.5f), std::floor(c.y + 0.5f)};
}

bool CropTool::handlesTake(int button, int buttonState, int, int, bool fromPen) {
    const int x = static_cast<int>(painter->windowPosition.x), y = static_cast<int>(painter->windowPosition.y);
    if (firstHandle && firstHandle->onMouseButton(button, buttonState, x, y, fromPen)) return true;
    if (secondHandle && secondHandle->onMouseButton(button, buttonState, x, y, fromPen)) return true;
    return false;
}

int CropTool::onMouseButton(int button, int buttonState, int x, int y, bool fromPen) {
    if (!painter) return 0;
    if (handlesTake(button, buttonState, x, y, fromPen)) {
        if (buttonState == 0) dirty = true;
        return 1;
    }
    if (button != 0) return 0;
    const math::Vec2 position = pointerCanvasPosition();
    if (buttonState == 0 && state == 0) {
        firstCorner = secondCorner = position;
        state = 1;
        firstHandle = std::make_unique<DraggablePoint>(painter, &firstCorner.x, false);
        dirty = true;
        return 1;
    }
    if (buttonState == 0 && state == 3) {
        // Start again from this corner.
        firstCorner = secondCorner = position;
        clearArea();
        refreshFields();
        return 1;
    }
    if (buttonState == 1 && state == 2) {
        secondCorner = position;
        state = 3;
        secondHandle = std::make_unique<DraggablePoint>(painter, &secondCorner.x, false);
        dirty = true;
        return 1;
    }
    return 0;
}

int CropTool::onMouseMove(int x, int y, bool fromPen) {
    if (!painter) return 0;
    const int wx = static_cast<int>(painter->windowPosition.x), wy = static_cast<int>(painter->windowPosition.y);
    int taken = 0;
    if (firstHandle) taken |= firstHandle->onMouseMove(wx, wy, fromPen);
    if (secondHandle) taken |= secondHandle->onMouseMove(wx, wy, fromPen);
    (void)x, (void)y;
    if (!taken && (state == 1 || state == 2)) {
        state = 2;
        secondCorner = pointerCanvasPosition();
        dirty = true;
    }
    return 0;
}

int CropTool::onMouseDrag(int x, int y, bool fromPen) {
    if (!painter) return 0;
    const int wx = static_cast<int>(painter->windowPosition.x), wy = static_cast<int>(painter->windowPosition.y);
    int taken = 0;
    if (firstHandle) taken |= firstHandle->onMouseDrag(wx, wy, fromPen);
    if (secondHandle) taken |= secondHandle->onMouseDrag(wx, wy, fromPen);
    (void)x, (void)y;
    if (taken) {
        dirty = true;
        return 1;
    }
    if (state == 1 || state == 2) {
        state = 2;
        secondCorner = pointerCanvasPosition();
        dirty = true;
        return 1;
    }
    return 0;
}

int CropTool::onKey(int key, int, int) {
    if (key == kKeyEscape && state > 0) {
        clearArea();
        refreshFields();
    } else if (key == kKeyEnter && state >= 3) {
        // The hint offers [ENTER]: the same as the "crop" button.
        return applyCrop() ? 1 : 0;
    }
    return 0;
}

bool CropTool::update(int, int, int) {
    if (painter && state >= 2) {
        const math::Vec2 d = secondCorner - firstCorner;
        const Camera& camera = *painter->camera;
        // The rectangle is upright on screen: measure d along the view's axes.
        const math::Vec2 size{std::fabs(camera.m00 * d.x + camera.m10 * d.y),
                              std::fabs(camera.m01 * d.x + camera.m11 * d.y)};
        const bool changed = std::fabs(size.x - cropSize.x) > 1.1920929e-07f ||
                             std::fabs(size.y - cropSize.y) > 1.1920929e-07f;
        cropSize = size;
        if (changed) refreshFields();
    }
    dirty = false;
    return true;
}

// ---- drawing -----------------------------------------------------------------

void CropTool::drawCursor(int x, int y) {
    const InvertedCursorLines inverted(2.0f);
    glBegin(GL_LINE_STRIP);
    glVertex2i(x - 8, y + 4);
    glVertex2i(x + 4, y + 4);
    glVertex2i(x + 4, y - 8);
    glEnd();
    glBegin(GL_LINE_STRIP);
    glVertex2i(x + 8, y - 4);
    glVertex2i(x - 4, y - 4);
    glVertex2i(x - 4, y + 8);
    glEnd();
}

void CropTool::drawHints(int& line) {
    if (state == 0) {
        printStatusLine(line, tr(tk::SELECT_FIRST_CORNER_OF_CROPPIN_STR));
    } else if (state < 3) {
        printStatusLine(line, tr(tk::CROP_SECOND_CORNER_STR));
    } else {
        printStatusLine(line, tr(tk::CROP_APPLY_STR));
        printStatusLine(line, tr(tk::ROTATE_PAN_TIP_STR));
    }
}

void CropTool::drawToolOverlay() {
    if (!painter) return;
    const RenderArea& r = painter->renderArea;
    RenderAreaProjection projection(r.width, r.height);
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_LINE_BIT | GL_POINT_BIT);
    glDisable(GL_LIGHTING);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    if (state == 0) {
        const math::Vec2 p = snappedWindowPosition(painter->windowPosition);
        glColor4f(1, 1, 1, 0.5f);
        glLineWidth(0.5f);
        glBegin(GL_LINES);
        glVertex2f(0, p.y);
        glVertex2f(r.width, p.y);
        glVertex2f(p.x, 0);
        glVertex2f(p.x, r.height);
        glEnd();
        glPopAttrib();
        return;
    }
    const math::Vec2 a = painter->canvasToWindow(firstCorner);
    const math::Vec2 b = painter->canvasToWindow(secondCorner);
    // Outside the rectangle the canvas darkens by half.
    if (rectDimProgram.program != 0) {
        rectDimProgram.use();
        rectDimProgram.setVec2("center", (a.x + b.x) * 0.5f + r.x, (a.y + b.y) * 0.5f + r.y);
        rectDimProgram.setVec2("yAxis", 0.0f, 1.0f);
        rectDimProgram.setVec2("extent", std::fabs(b.x - a.x) * 0.5f, std::fabs(b.y - a.y) * 0.5f);
        drawRect(0.0f, 0.0f, r.width, r.height);
        glUseProgram(0);
    }
    glColor4f(1, 1, 1, 1);
    glLineWidth(1.0f);
    glBegin(GL_LINE_LOOP);
    glVertex2f(a.x, a.y);
    glVertex2f(b.x, a.y);
    glVertex2f(b.x, b.y);
    glVertex2f(a.x, b.y);
    glEnd();
    glPointSize(5.0f);
    glBegin(GL_POINTS);
    glVertex2f(a.x, a.y);
    if (state >= 3) glVertex2f(b.x, b.y);
    glEnd();
    if (firstHandle) firstHandle->draw(1.0f);
    if (secondHandle) secondHandle->draw(1.0f);
    if (gFontGui) {
        glColor4f(1, 1, 1, 1);
        glEnable(GL_TEXTURE_2D);
        print(*gFontGui, b.x + 15.0f, b.y - static_cast<float>(lineHeight(*gFontGui)), "[%d x %d]", static_cast<int>(cropSize.x),
              static_cast<int>(cropSize.y));
    }
    glPopAttrib();
}
