#pragma once
// Scope guards for temporary projections. Drawing on a surface is always done
// inside a CanvasProjection; overlays in window pixels inside a RenderAreaProjection.
// The destructor restores the projection and model-view matrices that the
// constructor pushed, and leaves the matrix mode as it was.

class ProjectionChange {
public:
    virtual ~ProjectionChange();
    ProjectionChange(const ProjectionChange&) = delete;
    ProjectionChange& operator=(const ProjectionChange&) = delete;

protected:
    // Pushes an orthographic projection of width x height and an identity model-view.
    ProjectionChange(float width, float height);
};

// Orthographic projection of the canvas size, viewport (0, 0, width, height).
class CanvasProjection : public ProjectionChange {
public:
    CanvasProjection(int canvasWidth, int canvasHeight);
};

// Orthographic projection of the render area; the viewport stays.
class RenderAreaProjection : public ProjectionChange {
public:
    RenderAreaProjection(float renderWidth, float renderHeight);
};
