#include "canvas/Projection.h"

#include <GL/glew.h>

#include "canvas/GlPixels.h"

namespace {
// Runs f with the model-view matrix selected, then restores the matrix mode.
template <typename F> void withModelView(F f) {
    GLint mode = 0;
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    glMatrixMode(GL_MODELVIEW);
    f();
    glMatrixMode(static_cast<GLenum>(mode));
}
} // namespace

ProjectionChange::ProjectionChange(float width, float height) {
    pushOrtho(width, height);
    withModelView([] {
        glPushMatrix();
        glLoadIdentity();
    });
}

ProjectionChange::~ProjectionChange() {
    popOrtho();
    withModelView([] { glPopMatrix(); });
}

CanvasProjection::CanvasProjection(int canvasWidth, int canvasHeight)
    : ProjectionChange(static_cast<float>(canvasWidth), static_cast<float>(canvasHeight)) {
    glViewport(0, 0, canvasWidth, canvasHeight);
}

RenderAreaProjection::RenderAreaProjection(float renderWidth, float renderHeight)
    : ProjectionChange(renderWidth, renderHeight) {}
