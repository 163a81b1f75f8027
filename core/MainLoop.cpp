#include "core/MainLoop.h"

#include <GL/glew.h>
#include <GL/freeglut.h>
#include <GL/glu.h>

#include <cstdio>
#include <cstdlib>
#include <optional>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/CommandList.h"
#include "ui/FileFlows.h"
#include "core/FrameOverlays.h"
#include "core/Globals.h"
#include "core/InputCallbacks.h"
#include "core/InputState.h"
#include "core/LaunchCounter.h"
#include "core/PaintingApplication.h"
#include "core/WindowPlacement.h"
#include "core/Saving.h"
#include "history/History.h"
#include "platform/Clipboard.h"
#include "platform/Clock.h"
#include "platform/X11Window.h"
#include "ui/RatingPrompt.h"
#include "ui/ReferenceView.h"
#include "ui/ReplaySession.h"
#include "ui/VideoExportSession.h"
#include "widgets/Animator.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"
#include "tools/Tool.h"
#include "tools/ToolPanel.h"
#include "widgets/LayoutManager.h"

namespace mainloop {

int gWindowOriginX = 0, gWindowOriginY = 0;

namespace {
int gLastTickTime = 0;
bool gExiting = false;
// Set once the window exists: the placement it had when last not maximised.
std::optional<NormalPlacement> gNormalPlacement;
// Maximise requests still to repeat: a manager that had not taken the window
// yet at the first request may have missed it.
int gMaximiseRetries = 0;

// Outer corner and client size of the window as it stands now.
bool currentPlacement(WindowPlacement& out) {
    int x = 0, y = 0;
    if (!platform::windowOrigin(x, y)) return false;
    FrameExtents frame;
    platform::frameExtents(frame.left, frame.right, frame.top, frame.bottom);
    out = placementToStore(x, y, static_cast<int>(gRenderArea.width), static_cast<int>(gRenderArea.height), frame);
    return true;
}

void observePlacement() {
    if (!gNormalPlacement) return;
    WindowPlacement now{};
    if (currentPlacement(now)) gNormalPlacement->observe(platform::isWindowMaximised(), now);
}
} // namespace

void trackWindowPlacement(int x, int y, int width, int height, bool maximised) {
    gNormalPlacement.emplace(WindowPlacement{x, y, width, height});
    if (!maximised) return;
    platform::requestWindowMaximised();
    gMaximiseRetries = 3;
}

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
    // Image saves that ended: busy state off, their message.
    saving::finishEndedSaves(gApp);
    if (gGui) gGui->update(elapsed, 0, 0);
    gPainter.update(elapsed, 0, 0);
    if (gReferenceView) gReferenceView->update(elapsed, 0, 0);
    AnimatorRegistry::instance().tick();
    // After a crash: the question about the autosave, once.
    fileflows::offerRecoveryOnce();
    // Once per process: count the start (and at every hundredth ask for a rating).
    static bool launchCounted = false;
    if (!launchCounted) {
        launchCounted = true;
        runLaunchCounter(askForRating);
    }
}

void slowTick(int period) {
    glutTimerFunc(static_cast<unsigned>(period), slowTick, period);
    platform::windowOrigin(gWindowOriginX, gWindowOriginY);
    if (gMaximiseRetries > 0) {
        // Once maximised, the user's own changes are left alone.
        gMaximiseRetries = platform::isWindowMaximised() ? 0 : gMaximiseRetries - 1;
        if (gMaximiseRetries > 0) platform::requestWindowMaximised();
    }
    observePlacement();
}

void reshape(int width, int height) {
    if (width <= 0 || height <= 0) return;
    gRenderArea.width = static_cast<float>(width);
    gRenderArea.height = static_cast<float>(height);
    // The reference view, while it shows, leaves the canvas half the window.
    const int painterWidth = placeReferenceView(width, height, gPainter.renderArea);
    glViewport(static_cast<GLint>(gPainter.renderArea.x), 0, painterWidth, height);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluPerspective(90.0, static_cast<double>(painterWidth) / height, 1.0, 50000.0);
    glMatrixMode(GL_MODELVIEW);
    gCamera.fieldOfView = 1.5707964f;
    // In tool mode the current tool may keep the old render area (the crop
    // tool while its second corner is dragged).
    const bool keep = gApp->interactionMode() == kModeTool && gPainter.currentTool &&
                      gPainter.currentTool->onRenderAreaResized(painterWidth, height);
    if (!keep) {
        gPainter.renderArea.width = static_cast<float>(painterWidth);
        gPainter.renderArea.height = static_cast<float>(height);
    }
    reshapeActivePlayer(width, height);
    // Dialogs and panels pinned to the window grid follow the new size.
    gLayoutManager.resize(width, height);
    placeToolOptionsBar(width, height);
    if (gGui) gGui->update(0, 0, 0);
}

void display() {
    glClearColor(0.4f, 0.4f, 0.4f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    gPainter.draw();
    drawReferenceViewStep();
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
    static unsigned long framesDrawn = 0;
    platform::publishFrameCount(++framesDrawn);
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
    // A file being written is finished, not cut off.
    saving::waitForWriters();
    gCanvas.freeSurfaces();
    if (gApp->closingStatus) {
        gApp->closingStatus->saveExit();
        // Only a run that had its window stores where it was.
        if (gNormalPlacement && platform::windowHooksInstalled()) {
            const bool maximised = platform::isWindowMaximised();
            observePlacement();
            const WindowPlacement& p = gNormalPlacement->normal();
            gApp->closingStatus->savePlacement(maximised, p.x, p.y, p.width, p.height);
        }
    }
}

void exitProgram() {
    exitHandler();
    std::fflush(stdout);
    std::_Exit(0);
}

} // namespace mainloop
