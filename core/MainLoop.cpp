#include "core/MainLoop.h"

#include <GL/glew.h>
#include <GL/freeglut.h>
#include <GL/glu.h>

#include <cstdio>
#include <cstdlib>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/CommandList.h"
#include "ui/FileFlows.h"
#include "core/FrameOverlays.h"
#include "core/Globals.h"
#include "core/InputCallbacks.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "platform/Clipboard.h"
#include "platform/Clock.h"
#include "platform/X11Window.h"
#include "ui/ReplaySession.h"
#include "ui/VideoExportSession.h"
#include "widgets/Animator.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"
#include "widgets/LayoutManager.h"

namespace mainloop {

int gWindowOriginX = 0, gWindowOriginY = 0;

namespace {
int gLastTickTime = 0;
bool gExiting = false;
} // namespace

void tick(int period) {
    // Re-arm first, so the period does not stretch with the work below.
    glutTimerFunc(static_cast<unsigned>(period), tick, period);
    platform::pumpWindowEvents();
    // Other programs may ask for the text we put on the clipboard.
    platform::pumpClipboard();
    if (platform::isWindowMinimised()) return;
    glutPostRedisplay();
    const int now = platform::nowMs();
    const int elapsed = now - gLastTickTime;
    gLastTickTime = now;
    // Key and button flags, pen expiry, XInput2 packets.
    pollInput();
    // Held keys choose the interaction mode; a mode change ends a stroke.
    commands::offerModifierMask(*gApp, gInputState, gCanvas);
    // The replay steps here and is deleted by the tick that sees it finished.
    updateActivePlayer(elapsed);
    // The video export writes frames for half the time since the last tick.
    updateVideoExport(elapsed);
    // Texts that worker threads posted reach the notification on this thread.
    gApp->deliverPostedMessages();
    if (gGui) gGui->update(elapsed, 0, 0);
    gPainter.update(elapsed, 0, 0);
    AnimatorRegistry::instance().tick();
    // After a crash: the question about the autosave, once.
    fileflows::offerRecoveryOnce();
}

void slowTick(int period) {
    glutTimerFunc(static_cast<unsigned>(period), slowTick, period);
    platform::windowOrigin(gWindowOriginX, gWindowOriginY);
}

void reshape(int width, int height) {
    if (width <= 0 || height <= 0) return;
    gRenderArea.width = static_cast<float>(width);
    gRenderArea.height = static_cast<float>(height);
    glViewport(0, 0, width, height);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluPerspective(90.0, static_cast<double>(width) / height, 1.0, 50000.0);
    glMatrixMode(GL_MODELVIEW);
    gCamera.fieldOfView = 1.5707964f;
    gPainter.renderArea.width = static_cast<float>(width);
    gPainter.renderArea.height = static_cast<float>(height);
    reshapeActivePlayer(width, height);
    // Dialogs and panels pinned to the window grid follow the new size.
    gLayoutManager.resize(width, height);
    if (gGui) gGui->update(0, 0, 0);
}

void display() {
    glClearColor(0.4f, 0.4f, 0.4f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    gPainter.draw();
    gPainter.pickRequested = false;
    glViewport(0, 0, static_cast<GLsizei>(gRenderArea.width), static_cast<GLsizei>(gRenderArea.height));
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT);
    glDisable(GL_LIGHTING);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    drawActivePlayerControls();
    // While a file loads or saves the interface gives way to the progress ring.
    if (gApp->Application::busy) drawProgressOverlay();
    glPopAttrib();
    if (gGui && !gApp->Application::busy) gGui->draw(1.0f);
    gApp->drawCursor();
    drawStatusLines();
    // Queued actions (the fill of a new picture) show from the next frame.
    gHistory.runQueuedActions();
    glutSwapBuffers();
}

void pumpUntil(const std::function<bool()>& done) {
    while (!done()) {
        glutMainLoopEvent();
        platform::sleepMs(20);
    }
}

void exitHandler() {
    if (gExiting) return;
    gExiting = true;
    gCanvas.freeSurfaces();
    if (gApp->closingStatus) {
        // The window placement is stored as the size it had when not maximised.
        const bool maximised = platform::isWindowMaximised();
        int x = gWindowOriginX, y = gWindowOriginY;
        platform::windowOrigin(x, y);
        gApp->closingStatus->save(maximised, x, y, static_cast<int>(gRenderArea.width),
                                  static_cast<int>(gRenderArea.height));
    }
}

void exitProgram() {
    exitHandler();
    std::fflush(stdout);
    std::_Exit(0);
}

} // namespace mainloop
