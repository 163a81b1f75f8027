#include "ui/ReplaySession.h"

#include <GL/glew.h>

#include <memory>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/ViewNavigation.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "ui/Player.h"
#include "widgets/DrawHelpers.h"
#include "widgets/Widget.h"

namespace {
std::unique_ptr<Player> gPlayer;

PlayerHost programHost() {
    PlayerHost host;
    // The side panels are not part of the interface yet: nothing to hide.
    host.fitView = [] { fitToWindow(gPainter); };
    host.showPointer = [](bool on) { gApp->setCursorDrawing(on); };
    host.notify = [](const char* text) { gApp->showMessage("%s", text); };
    host.wheel = [](int wheel, int direction, int x, int y) {
        return gPainter.onMouseWheel(wheel, direction, x, y);
    };
    host.canvasSize = [] { return std::array<int, 2>{gCanvas.width, gCanvas.height}; };
    host.pictureMirrored = &gCanvas.pictureMirrored;
    return host;
}
} // namespace

bool startReplay(bool autopan) {
    if (gPlayer) return false;
    // A stroke still open or a queued fill would land in the middle of the replay.
    if (gCanvas.strokeInProgress()) gCanvas.endStroke();
    gHistory.runQueuedActions();
    if (gHistory.actionCount() == 0) return false;
    auto player = std::make_unique<Player>(gHistory, gCamera, gPainter.renderArea, autopan, programHost());
    if (!player->begin()) return false;
    gPlayer = std::move(player);
    // The strip spans the whole window, also when the painter has only a part of it.
    gPlayer->layoutControls(gRenderArea.width, gRenderArea.height);
    return true;
}

Player* activePlayer() { return gPlayer.get(); }

void updateActivePlayer(int elapsedMs) {
    if (gPlayer && !gPlayer->update(elapsedMs, 0, 0)) gPlayer.reset();
}

void stopActivePlayer() { gPlayer.reset(); }

void reshapeActivePlayer(int width, int height) {
    if (gPlayer) gPlayer->layoutControls(static_cast<float>(width), static_cast<float>(height));
}

void drawActivePlayerControls() {
    if (!gPlayer || !gPlayer->controls->visible) return;
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_CULL_FACE);
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    pushOrtho2D(gRenderArea.width, gRenderArea.height);
    gPlayer->controls->draw(1.0f);
    popOrtho2D();
    glPopAttrib();
}
