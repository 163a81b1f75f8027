#include "core/PaintingApplication.h"

#include <GL/glew.h>

#include <cmath>
#include <cstdio>

#include "brush/BrushPresets.h"
#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/MainLoop.h"
#include "history/History.h"
#include "tools/MirrorTool.h"
#include "tools/Tool.h"
#include "ui/Interface.h"
#include "widgets/ImageButton.h"
#include "platform/X11Window.h"
#include "platform/Paths.h"
#include "platform/Settings.h"

void PaintingApplicationOptions::reset() {
    ApplicationOptions::reset();
    referenceViewOnLeft = true;
    showToggleGuiButton = true;
    showSecondView = false;
    defaultCanvasWidth = 1024;
    defaultCanvasHeight = 768;
    defaultBrushSize = 50;
    gGuiColor[0] = 0.52156866f;
    gGuiColor[1] = 0.5764706f;
    gGuiColor[2] = 0.5764706f;
}

PaintingApplication::PaintingApplication()
    : canvas(std::make_unique<Canvas>(1024, 768)), layers(std::make_unique<MultiLayeredImage>()),
      history(std::make_unique<History>(canvas.get(), *layers)), brushTips(std::make_unique<BrushTipTable>()),
      brushPresets(std::make_unique<BrushPresetManager>()) {
    canvas->attach(history.get(), brushTips.get());
    // A rebuild from the history drops whatever the tools had in progress.
    history->resetTools = [this] {
        for (auto& tool : painter->tools) tool->reset();
    };
    painter = std::make_shared<Painter>(renderArea.width, renderArea.height, &camera, canvas.get(), layers.get(),
                                        this);
    // Every size change of the picture, whoever makes it, reaches the tools here.
    canvas->sizeChanged = [this](int width, int height) { painter->canvasCreated(width, height); };
    // Strokes ask the mirror tool at each point whether to make copies.
    canvas->mirrorSource = [this] { return static_cast<const MirrorTool&>(*painter->tools[11]).settings(); };
}

PaintingApplication::~PaintingApplication() = default;

void PaintingApplication::init() {
    Application::init();
    // Both brushes start at the default size; the eraser keeps a copy of its own.
    canvas->brush.size = getOptions().defaultBrushSize;
    canvas->toolBrushes[0] = canvas->brush;
    canvas->toolBrushes[1] = canvas->brush;
    // The user's data folder with the presets file and the folder for own tips.
    platform::installUserData(platform::dataDir() + "/brushes", platform::userDataDir());
}

void PaintingApplication::createOptions() { options = std::make_unique<PaintingApplicationOptions>(); }

namespace {
bool readBool(const char* name, bool& field) {
    std::string v;
    if (!platform::readValue(name, v)) return false;
    field = (v == "1");
    return true;
}

// Colour components go to bytes as floor(c * 255 + 0.5) and come back as byte / 255.
unsigned colorToHex(const float* c) {
    auto byte = [](float v) { return static_cast<unsigned>(v * 255.0f + 0.5f) & 0xFF; };
    return byte(c[0]) << 16 | byte(c[1]) << 8 | byte(c[2]);
}
} // namespace

void PaintingApplication::loadOptions() {
    Application::loadOptions();
    auto& o = getOptions();
    readBool("REFERENCE_VIEW_SIDE", o.referenceViewOnLeft);
    readBool("SHOW_TOGGLE_GUI_BTN", o.showToggleGuiButton);
    readBool("SHOW_SECOND_VIEW", o.showSecondView);
    std::string v;
    int w = 0, h = 0;
    if (platform::readValue("DEFAULT_CANVAS_SIZE", v) && std::sscanf(v.c_str(), "%d,%d", &w, &h) == 2 && w > 0 &&
        h > 0) {
        o.defaultCanvasWidth = w;
        o.defaultCanvasHeight = h;
    }
    unsigned rgb = 0;
    if (platform::readValue("UI_COLOR", v) && std::sscanf(v.c_str(), "%x", &rgb) == 1) {
        gGuiColor[0] = ((rgb >> 16) & 0xFF) / 255.0f;
        gGuiColor[1] = ((rgb >> 8) & 0xFF) / 255.0f;
        gGuiColor[2] = (rgb & 0xFF) / 255.0f;
    }
}

void PaintingApplication::saveOptions() {
    Application::saveOptions();
    auto& o = getOptions();
    platform::writeValue("REFERENCE_VIEW_SIDE", o.referenceViewOnLeft ? "1" : "0");
    platform::writeValue("SHOW_TOGGLE_GUI_BTN", o.showToggleGuiButton ? "1" : "0");
    platform::writeValue("SHOW_SECOND_VIEW", o.showSecondView ? "1" : "0");
    char hex[16];
    std::snprintf(hex, sizeof hex, "%06x", colorToHex(gGuiColor));
    platform::writeValue("UI_COLOR", hex);
}

void PaintingApplication::leaveMode() {
    // Leaving the size-and-zoom drag ends the axis lock, unless a stroke still uses it.
    if (Application::interactionMode == kModeSizeZoom && !gCanvas.strokeInProgress()) gInputState.axisLock = 2;
}

math::Vec2 PaintingApplication::windowOrigin() const {
    return {static_cast<float>(mainloop::gWindowOriginX), static_cast<float>(mainloop::gWindowOriginY)};
}

platform::VirtualScreen PaintingApplication::virtualScreen() const {
    platform::ScreenRect r;
    platform::virtualScreen(r);
    return {static_cast<float>(r.x), static_cast<float>(r.y), static_cast<float>(r.width),
            static_cast<float>(r.height)};
}

void PaintingApplication::resetToolTip() { hideToolTip(); }
void PaintingApplication::openColourHud(int x, int y) { ::openColourHud(x, y); }
void PaintingApplication::closeColourHud() { ::closeColourHud(); }

// The axis lock of the size-and-zoom drag (and of straight strokes):
// 2 at rest, 3 waiting for a 5-pixel move, then 1 (y held) or 0 (x held).
void PaintingApplication::engageAxisLock(int x, int y) {
    InputState& in = gInputState;
    if (in.axisLock == 2) {
        setInteractionMode(kModeSizeZoom);
        in.pressX = x;
        in.pressY = y;
        in.axisLock = 3;
    } else if (in.axisLock == 3) {
        const float dx = std::fabs(static_cast<float>(x - in.pressX));
        const float dy = std::fabs(static_cast<float>(y - in.pressY));
        if (dx > 5.0f || dy > 5.0f) in.axisLock = dx >= dy ? 1 : 0;
    }
}

void PaintingApplication::unconsumedKey(int code) { commands::runUnconsumedKey(*this, *painter, code); }

void PaintingApplication::zoomAt(bool zoomIn, int x, int y, float factor) { painter->zoomAt(zoomIn, x, y, factor); }

float PaintingApplication::viewScale() const { return camera.scale(painter->renderArea.height); }

std::array<float, 4> PaintingApplication::viewRotation() const {
    return {camera.m00, camera.m01, camera.m10, camera.m11};
}

void PaintingApplication::panView(float dx, float dy) {
    camera.position.x -= dx;
    camera.position.y -= dy;
}

void PaintingApplication::drawCursor() {
    if (!cursorDrawing) return;
    RenderAreaProjection projection(renderArea.width, renderArea.height);
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT);
    const int x = gInputState.mouseX, y = gInputState.mouseY;
    switch (Application::interactionMode) {
    case kModePanning: painter->tools[6]->drawCursor(x, y); break;
    case kModeRotation: painter->tools[3]->drawCursor(x, y); break;
    case kModeTool: painter->currentTool->drawCursor(x, y); break;
    case kModePicking: painter->tools[12]->drawCursor(x, y); break;
    default: drawDefaultCursor(x, y); break;
    }
    glPopAttrib();
}
