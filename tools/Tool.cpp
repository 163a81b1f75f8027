#include "tools/Tool.h"

#include <GL/glew.h>

#include "tools/ToolPanel.h"

void drawDefaultCursor(int x, int y) {
    const float fx = static_cast<float>(x), fy = static_cast<float>(y);
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT);
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(1, 1, 1, 1);
    glBegin(GL_TRIANGLES);
    glVertex2f(fx, fy);
    glVertex2f(fx + 5, fy - 15);
    glVertex2f(fx + 14, fy - 8);
    glEnd();
    glPopAttrib();
}

void Tool::drawCursor(int x, int y) { drawDefaultCursor(x, y); }

void Tool::showPanel() { showToolPanel(); }

void Tool::hidePanel() { hideToolPanel(); }

InvertedCursorLines::InvertedCursorLines(float lineWidth) {
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_LINE_BIT);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_BLEND);
    glEnable(GL_COLOR_LOGIC_OP);
    glLogicOp(GL_INVERT);
    glLineWidth(lineWidth);
}

InvertedCursorLines::~InvertedCursorLines() { glPopAttrib(); }

void drawCross(int x, int y, int half) {
    glBegin(GL_LINES);
    glVertex2i(x - half, y);
    glVertex2i(x + half, y);
    glVertex2i(x, y - half);
    glVertex2i(x, y + half);
    glEnd();
}
