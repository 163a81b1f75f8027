#include "core/PaintingApplication.h"

#include <GL/glew.h>

#include <cstdio>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "core/Globals.h"
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
    : canvas(std::make_unique<Canvas>(1024, 768)), layers(std::make_unique<MultiLayeredImage>()) {
    painter = std::make_shared<Painter>(renderArea.width, renderArea.height, &camera, canvas.get(), layers.get(),
                                        this);
}

PaintingApplication::~PaintingApplication() = default;

void PaintingApplication::init() { Application::init(); }

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
    // The size-and-zoom drag state is reset here once input state exists.
}

void PaintingApplication::drawCursor() {
    if (!cursorDrawing) return;
    // Tools draw their own cursors once they exist; until then, and in every
    // mode without a tool cursor, a filled white arrow at the pointer.
    RenderAreaProjection projection(renderArea.width, renderArea.height);
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT);
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    const float x = static_cast<float>(pointerX), y = static_cast<float>(pointerY);
    glColor4f(1, 1, 1, 1);
    glBegin(GL_TRIANGLES);
    glVertex2f(x, y);
    glVertex2f(x + 5, y - 15);
    glVertex2f(x + 14, y - 8);
    glEnd();
    glPopAttrib();
}
