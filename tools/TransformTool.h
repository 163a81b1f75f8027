#pragma once
// Floating pixels from the clipboard: moved, scaled and rotated with handles
// over the canvas, then applied as an ImagePasteAction (a new layer). The
// floating state is no part of the history; only the applied result is.
// The paste key is the only way in.
#include <GL/glew.h>

#include <array>
#include <cstdint>
#include <vector>

#include "core/Math.h"
#include "tools/Draggable.h"
#include "tools/Tool.h"

class TransformTool : public Tool, public Draggable {
public:
    // Draggable bits: the corners, and the whole image.
    static constexpr int kCornerLowerLeft = 1, kCornerLowerRight = 2, kCornerUpperRight = 4, kCornerUpperLeft = 8;
    static constexpr int kWholeImage = 15;
    static constexpr float kMinExtent = 10.0f;
    enum Zone { kInside = 0, kOutside = 1, kRotating = 2 };

    using Tool::Tool;

    // Takes the image (BGR or BGRA rows bottom-up, premultiplied) and makes its
    // texture. Size and aspect are the caller's to set first; centre and
    // rotation stay where the last copy left them.
    void setImage(int32_t width, int32_t height, int32_t bytes, std::vector<uint8_t> image);
    // Size and aspect of a newly arrived image of this many pixels.
    void setSizeFromImage(int32_t width, int32_t height);

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void reset() override;
    void onCanvasCreated(int width, int height) override;
    bool isActive() const override;
    void drawOnCanvas() override;
    void drawHints(int& line) override;
    void activate() override;
    bool deactivate() override;

    // Stores the floating image as an ImagePasteAction (shrunk first when
    // it is larger than it appears), appends it and places it once.
    void apply();

    // ---- geometry, canvas pixels ----
    // Corners in bit order: 1 lower left, 2 lower right, 4 upper right, 8 upper left (image frame).
    std::array<math::Vec2, 4> corners() const;
    // Whether a canvas point lies on the image (edges included).
    bool contains(math::Vec2 canvasPoint) const;
    // Moves one corner (a bit) by a canvas-space delta: the opposite corner
    // stays put, no side gets shorter than kMinExtent, and with keepAspect
    // the width follows the height.
    void dragCorner(int bit, math::Vec2 delta, bool keepAspect);
    // Which part a window point grabs: the last corner within reach, else
    // the whole image (only meaningful inside).
    int grabIndexAt(math::Vec2 windowPoint) const;

    float rotationOffset = 0; // degrees
    float rotation = 0;       // degrees, about centre
    int zone = kOutside;
    math::Vec2 centre{0, 0};
    math::Vec2 size{0, 0};
    float aspect = 1.0f;
    std::vector<uint8_t> pixels; // the image as it came; empty after apply
    int32_t sourceWidth = 0, sourceHeight = 0;
    int32_t bytesPerPixel = 4;
    GLuint texture = 0;
    bool finished = false;

private:
    bool hitTest() const;
};
