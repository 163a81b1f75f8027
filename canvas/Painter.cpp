#include "canvas/Painter.h"

#include <GL/glew.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/LayerThumbnails.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Shaders.h"
#include "canvas/StrokeRenderer.h"
#include "canvas/ViewMath.h"
#include "core/Application.h"
#include "core/Camera.h"
#include "core/CommandActions.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "tools/BrushTool.h"
#include "tools/BucketFillActionTool.h"
#include "tools/ClipboardImage.h"
#include "tools/ColorPickerTool.h"
#include "tools/CropTool.h"
#include "tools/GradientTool.h"
#include "tools/MirrorTool.h"
#include "tools/PerspectiveTool.h"
#include "tools/RotationTool.h"
#include "tools/SelectionTool.h"
#include "tools/ShapeTool.h"
#include "tools/TransformTool.h"
#include "core/InteractionMode.h"
#include "platform/Clock.h"
#include "core/Localisation.h"

Painter::Painter(float renderWidth, float renderHeight, Camera* camera, Canvas* canvas, MultiLayeredImage* layers,
                 Application* application)
    : camera(camera), canvas(canvas), layers(layers), application(application),
      renderArea{0, 0, renderWidth, renderHeight} {
    tools[0] = std::make_unique<Tool>(this);
    tools[1] = std::make_unique<BrushTool>(this);
    tools[2] = std::make_unique<EraserTool>(this);
    tools[3] = std::make_unique<RotationTool>(this);
    tools[4] = std::make_unique<PerspectiveTool>(this);
    tools[5] = std::make_unique<CropTool>(this);
    tools[6] = std::make_unique<SelectionTool>(this);
    tools[7] = std::make_unique<TransformTool>(this);
    tools[8] = std::make_unique<GradientTool>(this);
    tools[9] = std::make_unique<BucketFillActionTool>(this);
    tools[10] = std::make_unique<ShapeTool>(this);
    tools[11] = std::make_unique<MirrorTool>(this);
    tools[12] = std::make_unique<ColorPickerTool>(this);
    currentTool = tools[1].get();
}

Painter::~Painter() {
    if (InputDispatcher::instance().exclusive == this) InputDispatcher::instance().exclusive = nullptr;
}

void Painter::selectTool(int index) {
    auto* app = static_cast<PaintingApplication*>(application);
    if (index < 0 || index > 12 || index == app->currentToolIndex_) return;
    currentTool->deactivate();
    // The default tool stands in between, so nothing sees a stale tool.
    currentTool = tools[0].get();
    currentTool = tools[static_cast<size_t>(index)].get();
    currentTool->activate();
    if (application->interactionMode != kModeTool) application->setInteractionMode(kModeTool);
    if (app->currentToolIndex_ != 11 && app->currentToolIndex_ != 4) app->previousToolIndex = app->currentToolIndex_;
    app->currentToolIndex_ = index;
    // Tests of the real program follow the switches here.
    static const bool trace = [] {
        const char* v = std::getenv("KESTRELWING_TRACE_INTERFACE");
        return v && *v && *v != '0';
    }();
    if (trace) std::printf("current tool: %d\n", index), std::fflush(stdout);
}

void Painter::canvasCreated(int width, int height) {
    // The layers panel's thumbnails show the old picture at the old size.
    gLayerThumbnails.canvasCreated();
    for (auto& tool : tools) tool->reset();
    for (auto& tool : tools) tool->onCanvasCreated(width, height);
}

Tool* Painter::routedTool() const {
    switch (application->interactionMode) {
    case kModePanning:
    case kModeSetAside: return nullptr;
    case kModeRotation: return tools[3].get();
    case kModePicking: return tools[12].get();
    default: return currentTool;
    }
}

// ---- pointer ---------------------------------------------------------------

void Painter::refreshPointer(math::Vec2 position) {
    // The pen, when it speaks, replaces the event's position with its sub-pixel one.
    if (!gPenActive) {
        gCurrentPressure = 1.0f;
    } else {
        position = {gPenX, gPenY};
        if (gFirstPacket) {
            gFirstPacket = false;
            gLastPenTime = platform::nowMs();
        }
    }
    const math::Vec2 previous = windowPosition;
    windowPosition = position - math::Vec2(renderArea.x, renderArea.y);
    // The axis lock holds one coordinate still (0: x, 1: y).
    if (gInputState.axisLock == 0) windowPosition.x = previous.x;
    else if (gInputState.axisLock == 1) windowPosition.y = previous.y;
    canvasPosition = windowToCanvas(windowPosition);
}

void Painter::zoomAt(bool zoomIn, int x, int y, float factor) {
    const float s = viewScale();
    const float w = static_cast<float>(static_cast<int>(renderArea.width));
    const float h = static_cast<float>(static_cast<int>(renderArea.height));
    const math::Vec2 v{((x - renderArea.x) - renderArea.width / 2) / s + camera->position.x,
                       ((y - renderArea.y) - renderArea.height / 2) / s + camera->position.y};
    (void)w;
    if (!zoomIn) {
        // The canvas never shrinks below about 50 window pixels.
        if (2 * camera->distance < canvas->height * (h / 50.0f)) camera->zoomOutAt(v, factor);
    } else if (2 * camera->distance >= 4.0f) {
        camera->zoomInAt(v, factor);
    }
    application->showMessage("%s", loc::fillText(tr(tk::ZOOM_NPERCENT_STR), {std::to_string(static_cast<int>(viewScale() * 100))}).c_str());
}

void Painter::pan(int x, int y) {
    // The input state still holds the position before this event.
    const float dx = static_cast<float>(gInputState.mouseX - x);
    const float dy = static_cast<float>(gInputState.mouseY - y);
    if (dx == 0 && dy == 0) return;
    const float s = viewScale();
    const math::Vec2 d{dx / s, dy / s};
    camera->position.x -= camera->m01 * d.y + camera->m00 * d.x;
    camera->position.y -= camera->m11 * d.y + camera->m10 * d.x;
}

math::Vec2 Painter::canvasToWindow(math::Vec2 point) const {
    return ::canvasToWindow({*camera, renderArea.width, renderArea.height, canvas->width, canvas->height}, point);
}

math::Vec2 Painter::windowToCanvas(math::Vec2 point) const {
    return ::windowToCanvas({*camera, renderArea.width, renderArea.height, canvas->width, canvas->height}, point);
}

math::Vec2 Painter::canvasCentreToWindow() const {
    return canvasToWindow({canvas->width / 2.0f, canvas->height / 2.0f});
}

float Painter::viewScale() const { return camera->scale(renderArea.height); }

int Painter::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    refreshPointer({static_cast<float>(x), static_cast<float>(y)});
    if (application->interactionMode == kModeSizeZoom) {
        // A left press in the size-and-zoom drag starts it afresh.
        if (button == 0 && state == 0) gInputState.axisLock = 2;
        return 1;
    }
    Tool* tool = routedTool();
    return tool ? tool->onMouseButton(button, state, x, y, fromPen) : 0;
}

int Painter::onMouseMove(int x, int y, bool fromPen) {
    refreshPointer({static_cast<float>(x), static_cast<float>(y)});
    return currentTool->onMouseMove(x, y, fromPen);
}

int Painter::onMouseDrag(int x, int y, bool fromPen) {
    refreshPointer({static_cast<float>(x), static_cast<float>(y)});
    if (application->interactionMode == kModePanning) {
        pan(x, y);
        return 1;
    }
    if (application->interactionMode == kModeSizeZoom) {
        sizeZoomDrag(x, y);
        return 1;
    }
    Tool* tool = routedTool();
    return tool ? tool->onMouseDrag(x, y, fromPen) : 0;
}

int Painter::onKey(int key, int x, int y) {
    if (int r = currentTool->onKey(key, x, y)) return r;
    if (key == (kMaskCtrl | 'D') && canvas->selectionActive) {
        SelectionTool::dropSelection(*canvas, gHistory);
        return 1;
    }
    // Clipboard keys (Ctrl + letter arrives as 0x800 + the upper-case letter).
    switch (key) {
    case kMaskCtrl | 'C': clipimage::copy(*this); return 1;
    case kMaskCtrl | 'X': clipimage::cut(*this); return 1;
    case kMaskCtrl | 'V': clipimage::paste(*this); return 1;
    default: break;
    }
    // Built-in tool keys: d selection, r rotation.
    if (key == 'd') {
        selectTool(6);
        return 1;
    }
    if (key == 'r') {
        selectTool(3);
        return 1;
    }
    return commands::runMatching(commands, key);
}

int Painter::onMouseWheel(int wheel, int direction, int x, int y) {
    currentTool->onMouseWheel(wheel, direction, x, y);
    if (gInputState.ctrl) changeBrushSize(direction > 0, 1.3f);
    else zoomAt(direction > 0, x, y, 1.3f);
    return 1;
}

int Painter::changeBrushSize(bool larger, float factor) {
    int32_t& size = canvas->brush.size;
    size = larger ? commands::increasedBrushSize(size, factor, gMaxBrushSize)
                  : commands::decreasedBrushSize(size, factor);
    application->showMessage("%s", loc::fillText(tr(tk::BRUSH_SIZE_N_STR), {std::to_string(size)}).c_str());
    return 1;
}

// The size-and-zoom drag: after a 5-pixel move the drag locks to its main
// axis; up and down zoom about the press point, left and right size the brush.
void Painter::sizeZoomDrag(int x, int y) {
    if (!gInputState.leftButton) return;
    static_cast<PaintingApplication*>(application)->engageAxisLock(x, y);
    if (gInputState.axisLock == 0) {
        if (y != gInputState.mouseY)
            zoomAt(y > gInputState.mouseY, gInputState.pressX, gInputState.pressY, 1.1f);
    } else if (gInputState.axisLock == 1) {
        const int n = x - gInputState.mouseX;
        if (n == 0) return;
        const int steps = n > 0 ? n : -n;
        const float factor = steps == 2 ? 1.21f : std::pow(1.1f, static_cast<float>(steps));
        changeBrushSize(n > 0, factor);
    }
}

int Painter::onDoubleClick(int x, int y) { return currentTool->onDoubleClick(x, y); }

bool Painter::update(int elapsedMs, int originX, int originY) {
    Tool* tool = application->interactionMode == kModeRotation ? tools[3].get() : currentTool;
    return tool->update(elapsedMs, originX, originY);
}

// ---- frame -----------------------------------------------------------------

void Painter::draw() {
    canvas->strokeFrame(gHistory.replayPending);
    // After an undo: restore the snapshot and execute the later actions again.
    gHistory.replayIfPending();
    glViewport(static_cast<GLint>(renderArea.x), static_cast<GLint>(renderArea.y),
               static_cast<GLsizei>(renderArea.width), static_cast<GLsizei>(renderArea.height));
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    camera->apply();
    // A mirrored view reverses the winding of every quad of the canvas.
    if (camera->viewMirrored) glFrontFace(GL_CW);
    drawCanvas(-canvas->width / 2.0f, -canvas->height / 2.0f, static_cast<float>(canvas->width),
               static_cast<float>(canvas->height), true);
    if (camera->viewMirrored) glFrontFace(GL_CCW);
    glPopMatrix();
    glFinish();
    glFlush();
    if (pickRequested) {
        float rgba[4] = {0, 0, 0, 0};
        glReadPixels(pickX, pickY, 1, 1, GL_RGBA, GL_FLOAT, rgba);
        // What the window shows there; its alpha plays no part.
        canvas->setColor({rgba[0], rgba[1], rgba[2]});
    }
    for (auto& tool : tools)
        if (tool->isActive()) tool->drawToolOverlay();
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}

void Painter::drawCanvas(float x, float y, float width, float height, bool withTools) {
    glPushAttrib(GL_CURRENT_BIT | GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT);
    glDisable(GL_DEPTH_TEST);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    glEnable(GL_BLEND);
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    // The checkerboard is fixed to window pixels: it does not move with the canvas.
    glUseProgram(checkerboardProgram.program);
    glDisable(GL_TEXTURE_2D);
    drawQuad(x, y, width, height);
    glEnable(GL_TEXTURE_2D);
    glUseProgram(0);
    drawLayers(x, y, width, height, withTools);
    glPopAttrib();
}

namespace {
void setBlendForMode(int blendMode) {
    if (blendMode == 0) glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    else if (blendMode == 1) glBlendFunc(GL_DST_COLOR, GL_ONE_MINUS_SRC_ALPHA);
}

// Magnification is hard from a zoom of 5 up, smooth below; minification always smooth.
void setZoomFilters(float zoom) {
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, zoom >= 5.0f ? GL_NEAREST : GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
}
} // namespace

void Painter::drawLayers(float x, float y, float width, float height, bool withTools) {
    const float s = viewScale();
    const int current = layers->current;
    for (int i = 0; i < current; ++i) {
        const Layer& l = layers->layers[static_cast<size_t>(i)];
        if (l.visible) drawLayer(l, x, y, width, height, s);
    }
    if (layers->layers[static_cast<size_t>(current)].visible) drawCurrentLayer(x, y, width, height, s);
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    if (withTools)
        for (auto& tool : tools)
            if (tool->isActive()) tool->drawOnCanvas();
    for (int i = current + 1; i < layers->count(); ++i) {
        const Layer& l = layers->layers[static_cast<size_t>(i)];
        if (l.visible) drawLayer(l, x, y, width, height, s);
    }
    glColor4f(1, 1, 1, 1);
}

// The current layer lives in its surface. While a paint stroke is made, the
// window shows the merge of stroke and layer that the end of the stroke will
// write, without touching the layer.
void Painter::drawCurrentLayer(float x, float y, float width, float height, float zoom) {
    const Layer& cur = layers->currentLayer();
    setBlendForMode(cur.blendMode);
    const float o = cur.opacity / 100.0f;
    // The stroke's own brush and colour, as its merge will use them.
    const Brush& brush = canvas->strokeBuilder().strokeBrush();
    if (brush.mode == kBrushModePaint && canvas->currentAction()) {
        if (canvas->strokeBuffer.updated)
            drawStrokePreview(brush, canvas->strokeBuilder().strokeColor(), canvas->strokeBuffer.textureId, canvas->currentLayerSurface().textureId, o, zoom, x,
                              y, width, height);
        return;
    }
    glBindTexture(GL_TEXTURE_2D, canvas->currentLayerSurface().textureId);
    setZoomFilters(zoom);
    glColor4f(o, o, o, o);
    drawQuad(x, y, width, height);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void Painter::drawLayer(const Layer& layer, float x, float y, float width, float height, float zoom) {
    setBlendForMode(layer.blendMode);
    const float o = layer.opacity / 100.0f;
    glColor4f(o, o, o, o);
    glBindTexture(GL_TEXTURE_2D, layer.textureId);
    setZoomFilters(zoom);
    drawQuad(x, y, width, height);
    glBindTexture(GL_TEXTURE_2D, 0);
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
}
