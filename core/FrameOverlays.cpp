#include "core/FrameOverlays.h"

#include <GL/glew.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "tools/Tool.h"
#include "tools/ToolPanel.h"
#include "ui/Interface.h"
#include "ui/ReplaySession.h"
#include "widgets/DrawHelpers.h"
#include "widgets/GlFont.h"
#include "widgets/ImageButton.h"
#include "widgets/Widget.h"

namespace {
int statusLineHeight() { return static_cast<int>(1.5f * gFontGui->height); }

// The status lines count down from here: the window's top, or the foot of the
// options strip while a tool's panel shows there, so the two never overlap.
int gStatusTop = 0;

int statusTop() {
    const bool panelShows = gToolOptionsBar && gToolOptionsBar->visible && !gToolOptionsBar->children.empty();
    return static_cast<int>(gRenderArea.height) - (panelShows ? static_cast<int>(gToolOptionsBar->height) : 0);
}
} // namespace

void printStatusLine(int& line, const std::string& text) {
    if (!gFontGui) return;
    const int y = gStatusTop - statusLineHeight() * line;
    printRaw(*gFontGui, 20.0f, static_cast<float>(y), text.c_str());
    int lines = 1;
    measureText(*gFontGui, text.c_str(), lines);
    line += lines;
}

void drawStatusLines() {
    if (!gFontGui || !gFontMono) return;
    const float w = gRenderArea.width, h = gRenderArea.height;
    RenderAreaProjection projection(w, h);
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(1, 1, 1, 1);

    const int mode = static_cast<const Application*>(gApp)->interactionMode;
    gStatusTop = statusTop();
    int line = 1;
    switch (mode) {
    case kModePanning: printStatusLine(line, tr(tk::PANNING_STR)); break;
    case kModePicking: printStatusLine(line, tr(tk::PICK_COLOR_STR)); break;
    case kModeSizeZoom:
        if (gInputState.axisLock >= 2)
            printStatusLine(line, tr(tk::SIZE_ZOOM_DRAG_TIP_STR));
        break;
    default: gPainter.currentTool->drawHints(line); break;
    }
    if (gCanvas.selectionActive) printStatusLine(line, tr(tk::CRTL_PLUS_D_TO_DESELECT_STR));

    // Badges of the held keys at the top right.
    const struct {
        bool held;
        const char* name;
        int fromRight;
    } badges[] = {{gInputState.space, "SPACE", 178},
                  {gInputState.shift, "SHIFT", 130},
                  {gInputState.alt, "ALT", 85},
                  {gInputState.ctrl, "CTRL", 55}};
    for (const auto& b : badges)
        if (b.held) printRaw(*gFontGui, static_cast<float>(static_cast<int>(w) - b.fromRight), 5.0f, b.name);

    // The pointer's canvas position, right-aligned at the top right. It goes
    // with the tool bar, which a replay hides with the other panels.
    if (interfaceShown() && mode != kModeInterface && !gApp->Application::busy && !activePlayer()) {
        char text[64];
        std::snprintf(text, sizeof text, "[%d,%d]", static_cast<int>(gPainter.canvasPosition.x),
                      static_cast<int>(gPainter.canvasPosition.y));
        const int width = textWidth(gFontMono.get(), text);
        printRaw(*gFontMono, static_cast<float>(static_cast<int>(w) - 5 - width), 20.0f, text);
    }
    // The tool tip of the button under the pointer, over everything.
    drawToolTip();
    glPopAttrib();
}

void drawProgressOverlay() {
    if (!gFontTitle || !gFontGui) return;
    Application& app = *gApp;
    const float w = gRenderArea.width, h = gRenderArea.height;
    RenderAreaProjection projection(w, h);
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_CULL_FACE);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);

    const std::string& text = tr(tk::PLEASE_WAIT_STR);
    const int f = static_cast<int>(gFontTitle->height);
    const int x0 = static_cast<int>(w) - static_cast<int>(f * std::string(text).size() / 1.5);
    const int y0 = f;
    const float t = app.spinnerPeriod > 0 ? static_cast<float>(app.spinnerFrame) / app.spinnerPeriod : 0.0f;
    if (app.spinnerActive) ++app.spinnerFrame;
    const int k = static_cast<int>(t) % 2;
    const float cx = w / 2, cy = h / 2;
    glColor4f(0.2f, 0.2f, 0.2f, 0.5f);
    drawRing(60, cx, cy, 75.0f, 105.0f);
    // The arc fills the ring in one period, then the colours change places.
    if (k == 0) glColor4f(0.8f, 0.8f, 0.8f, 1.0f);
    else glColor4f(1, 1, 1, 1);
    drawRing(60, cx, cy, 80.0f, 100.0f);
    if (k == 0) glColor4f(1, 1, 1, 1);
    else glColor4f(0.8f, 0.8f, 0.8f, 1.0f);
    const float fraction = t - static_cast<float>(static_cast<int>(t));
    if (fraction > 0) drawArc(fraction * 360.0f, cx, cy, 80.0f, 100.0f);

    glEnable(GL_TEXTURE_2D);
    if (app.busyRemainingMs > 0) {
        const int s = app.busyRemainingMs / 1000;
        char remaining[96];
        std::snprintf(remaining, sizeof remaining, "est. time remaining: %d h %d' %d\"", s / 3600, s / 60 % 60, s % 60);
        glColor4f(1, 1, 1, 0.5f);
        printRaw(*gFontGui, static_cast<float>(x0 + 70),
                 static_cast<float>(f - static_cast<int>(gFontGui->height * 1.5f)), remaining);
    }
    glColor4f(1, 1, 1, 0.8f);
    printRaw(*gFontTitle, static_cast<float>(x0), static_cast<float>(y0), text.c_str());
    glPopAttrib();
}
