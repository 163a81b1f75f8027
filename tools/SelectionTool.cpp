#include "tools/SelectionTool.h"

#include <GL/glew.h>

#include <algorithm>
#include <memory>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "core/Application.h"
#include "core/FrameOverlays.h"
#include "core/Globals.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "history/SelectionActions.h"
#include "tools/ToolMessages.h"
#include "core/Localisation.h"

void SelectionTool::clearOutline() {
    points.clear();
    runStart = 0;
    closeHover = false;
    buttonHeld = false;
}

void SelectionTool::dropSelection(Canvas& canvas, History& history) {
    if (!canvas.selectionActive) return;
    auto action = std::make_unique<DisableSelectionAction>(canvas);
    HistoryAction* raw = action.get();
    history.add(std::move(action), false);
    raw->execute();
}

void SelectionTool::closeSelection() {
    auto action = std::make_unique<EnableSelectionAction>(*painter->canvas, points);
    HistoryAction* raw = action.get();
    gHistory.add(std::move(action), false);
    raw->execute();
    clearOutline();
}

int SelectionTool::smoothRun(std::vector<math::Vec2>& pts, int start) {
    const int last = static_cast<int>(pts.size()) - 1;
    if (start < 0 || start + 2 >= last) return last;
    const int n = last - start;
    const int widest = std::min(5, n);
    for (int i = 0; i < n; ++i) {
        int w = i >= widest / 2 ? widest : 2 * i + 1;
        if (w / 2 > n - 1 - i) w = 2 * (n - i) - 1;
        const int from = start + i - w / 2;
        math::Vec2 sum{0, 0};
        for (int k = 0; k < w; ++k) sum += pts[static_cast<std::size_t>(from + k)];
        pts[static_cast<std::size_t>(start + i)] = sum / static_cast<float>(w);
    }
    return start;
}

unsigned short SelectionTool::antsPattern(int& frameCounter) {
    ++frameCounter;
    if (frameCounter < 10) return 0x3333;
    if (frameCounter < 20) return 0x6666;
    if (frameCounter < 30) return 0xCCCC;
    if (frameCounter < 40) return 0x9999;
    frameCounter = 0;
    return 0x3333;
}

int SelectionTool::onMouseButton(int button, int state, int, int, bool) {
    if (button != 0) return 0;
    Canvas& canvas = *painter->canvas;
    if (state == 0) {
        // A press on a selection drops it and starts a new outline at once.
        if (canvas.selectionActive) {
            dropSelection(canvas, gHistory);
            clearOutline();
        }
        if (closeHover) {
            closeSelection();
            return 1;
        }
        points.push_back(painter->canvasPosition);
        runStart = static_cast<int>(points.size()) - 1;
        buttonHeld = true;
    } else {
        buttonHeld = false;
        if (!canvas.selectionActive) runStart = smoothRun(points, runStart);
    }
    return 1;
}

int SelectionTool::onMouseDrag(int, int, bool) {
    if (buttonHeld && !painter->canvas->selectionActive) points.push_back(painter->canvasPosition);
    return 0;
}

bool SelectionTool::update(int, int, int) {
    closeHover = false;
    if (painter->canvas->selectionActive || points.size() < 2) return false;
    const math::Vec2 d = painter->canvasToWindow(points.front()) - painter->windowPosition;
    // The squared distance against a fiftieth of the larger side: a reach of
    // a few pixels.
    const float reach = std::max(painter->renderArea.width, painter->renderArea.height) / 50.0f;
    closeHover = d.dot(d) < reach;
    return false;
}

int SelectionTool::onKey(int key, int, int) {
    if (key != 27) return 0;
    Canvas& canvas = *painter->canvas;
    if (points.empty() && !canvas.selectionActive) return 0;
    // Dropping a closed selection is recorded like any other, so a replay
    // ends with the same selection as the painting did.
    dropSelection(canvas, gHistory);
    clearOutline();
    return 1;
}

bool SelectionTool::isActive() const {
    auto* app = static_cast<const PaintingApplication*>(painter->application);
    return app->currentToolIndex_ == 6 || painter->canvas->selectionActive;
}

void SelectionTool::activate() {
    Tool::activate();
    // Entering the tool drops the selection; an outline left open goes on.
    dropSelection(*painter->canvas, gHistory);
    announce(tr(tk::SELECTION_MODE_STR));
}

void SelectionTool::drawToolOverlay() {
    static int antsFrame = 0;
    const Canvas& canvas = *painter->canvas;
    const RenderArea& r = painter->renderArea;
    RenderAreaProjection projection(r.width, r.height);
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_LINE_BIT);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_BLEND);
    glDisable(GL_DEPTH_TEST);
    glUseProgram(0);
    glEnable(GL_COLOR_LOGIC_OP);
    glLogicOp(GL_NAND);
    glColor3f(0.8f, 0.8f, 0.8f);
    // Each point through the view, so the outline follows pan, zoom and rotation.
    auto vertex = [&](math::Vec2 p) {
        const math::Vec2 w = painter->canvasToWindow(p);
        glVertex2f(w.x, w.y);
    };
    if (!canvas.selectionActive) {
        if (!points.empty()) {
            glBegin(GL_LINE_STRIP);
            for (const math::Vec2& p : points) vertex(p);
            vertex(painter->canvasPosition);
            glEnd();
        }
    } else {
        // Marching ants: the pattern moves on by frames, not by time.
        glEnable(GL_LINE_STIPPLE);
        glLineStipple(2, antsPattern(antsFrame));
        glBegin(GL_LINE_LOOP);
        for (const math::Vec2& p : canvas.selectionOutline()) vertex(p);
        glEnd();
    }
    glPopAttrib();
}

void SelectionTool::drawCursor(int x, int y) {
    const InvertedCursorLines inverted;
    drawCross(x, y, 10);
    if (closeHover && !buttonHeld) {
        glBegin(GL_LINE_LOOP);
        glVertex2i(x - 10, y - 10);
        glVertex2i(x + 10, y - 10);
        glVertex2i(x + 10, y + 10);
        glVertex2i(x - 10, y + 10);
        glEnd();
    }
}

void SelectionTool::drawHints(int& line) {
    if (!painter->canvas->selectionActive && points.size() >= 2)
        printStatusLine(line, tr(tk::CLICK_AGAIN_ON_FIRST_POINT_TO_STR));
    printStatusLine(line, tr(tk::ESC_TO_UNDO_SELECTION_STR));
}
