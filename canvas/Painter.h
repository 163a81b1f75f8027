#pragma once
// Stands between input and the canvas: maps window to canvas coordinates,
// routes pointer events by the interaction mode and runs the per-frame work
// on the surfaces.
#include <array>
#include <memory>
#include <vector>

#include "core/Command.h"
#include "core/InputListener.h"
#include "core/Math.h"
#include "core/RenderArea.h"

class Application;
class Camera;
class Canvas;
class MultiLayeredImage;
struct Layer;
class Tool;

class Painter : public InputListener {
public:
    Painter(float renderWidth, float renderHeight, Camera* camera, Canvas* canvas, MultiLayeredImage* layers,
            Application* application);
    ~Painter() override;

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    int onMouseWheel(int wheel, int direction, int x, int y) override;
    int onDoubleClick(int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    // The per-frame work: stroke passes, then the canvas through the camera.
    void draw();

    // Called at the head of every pointer slot with the event's window position.
    void refreshPointer(math::Vec2 position);
    math::Vec2 canvasToWindow(math::Vec2 point) const;
    math::Vec2 windowToCanvas(math::Vec2 point) const;
    math::Vec2 canvasCentreToWindow() const;
    // Zoom about an absolute window point; the canvas point under it stays put.
    void zoomAt(bool zoomIn, int x, int y, float factor);
    // Moves the picture with the pointer, in any rotation.
    void pan(int x, int y);
    // Brush size up or down by a factor, with the status line. Returns 1 (a command's result).
    int changeBrushSize(bool larger, float factor);

    // Makes tools[index] current; see the tool table for the numbers.
    void selectTool(int index);
    // The canvas was made anew at this size (Canvas::sizeChanged): every tool
    // drops what it had in progress and what depended on the old size.
    void canvasCreated(int width, int height);

    void drawCanvas(float x, float y, float width, float height, bool withTools);
    void drawLayers(float x, float y, float width, float height, bool withTools);
    void drawLayer(const Layer& layer, float x, float y, float width, float height, float zoom);

    math::Vec2 windowPosition;  // pointer relative to the render area
    math::Vec2 canvasPosition;  // pointer in canvas pixels, not clamped
    Camera* camera;
    Canvas* canvas;
    MultiLayeredImage* layers;
    Application* application;
    RenderArea renderArea;
    bool pickRequested = false;
    int pickX = 0, pickY = 0;
    Tool* currentTool; // non-owning, into tools
    // 0 default, 1 brush, 2 eraser, 3 rotation, 4 perspective, 5 crop,
    // 6 selection, 7 transform, 8 gradient, 9 bucket fill, 10 shape,
    // 11 mirror, 12 colour picker.
    std::array<std::unique_ptr<Tool>, 13> tools;
    // Canvas commands (zoom and brush size keys), run by onKey after the tool's
    // and the painter's own keys.
    std::vector<std::unique_ptr<Command>> commands;

private:
    float viewScale() const;
    void sizeZoomDrag(int x, int y);
    // The tool that gets pointer input in the current interaction mode, or null.
    Tool* routedTool() const;
    void drawCurrentLayer(float x, float y, float width, float height, float zoom);
};
