#pragma once
// Linear gradients. Two clicks place start and end; both ends then have
// handles, the stops are edited in the options strip, and the ramp shows
// at once: it is drawn into the stroke buffer every frame and shown over
// the canvas, so a selection already cuts the preview. [ENTER] or "Apply"
// records a GradientFillAction, whose execute draws the same ramp again
// (canvas/Canvas renderGradient, geometry in core/GradientRamp) and merges
// it like a stroke; [ESC] or "Discard" drops the placed points.
#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "core/Math.h"
#include "tools/Draggable.h"
#include "tools/Tool.h"
#include "widgets/Widget.h"

template <typename T> class Slider;

class GradientTool : public Tool {
public:
    static constexpr int kIndex = 8;

    explicit GradientTool(Painter* painter = nullptr);
    ~GradientTool() override;

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    // A rebuilt or new canvas drops the points placed (the stops stay).
    void reset() override { discard(); }
    void onCanvasCreated(int, int) override { discard(); }
    bool isActive() const override;
    void drawOnCanvas() override;
    void drawToolOverlay() override;
    void drawCursor(int x, int y) override;
    void drawHints(int& line) override;
    void activate() override;
    bool deactivate() override;

    // Nothing placed; stops white opaque at 0 and white clear at 1.
    void resetGradient();
    // Back to nothing placed, without handles; the stops stay as edited.
    void discard();
    // With both ends placed: records the ramp and lays it on the layer.
    void applyGradient();
    // The ramp into the canvas's stroke buffer (the preview).
    void renderPreview();

    // 0 nothing placed, 1 start placed, 2 both placed.
    int state = 0;
    std::vector<std::array<float, 4>> colors; // straight RGBA
    std::vector<float> positions;             // 0..1, one per colour
    math::Vec2 start, end;                    // canvas pixels
    std::unique_ptr<DraggablePoint> startHandle, endHandle;
};

// The strip of the stops, over a checkerboard where any stop is not opaque,
// in a black frame.
class GradientPreview : public Widget {
public:
    GradientPreview(int x, int y, int width, int height, const std::vector<std::array<float, 4>>* colors,
                    const std::vector<float>* positions)
        : Widget(x, y, width, height), colors(colors), positions(positions) {}
    void draw(float opacity) override;

    const std::vector<std::array<float, 4>>* colors; // not owned
    const std::vector<float>* positions;             // not owned
};

// The stops' editor in the options strip: the preview, an opacity slider
// bound to the selected stop's alpha, and a swatch under each stop. A press
// on a swatch selects its stop and makes its colour the current one; after
// every update the current colour is written into the selected stop, which
// is how the colour selector edits a stop.
class GradientPreviewContainer : public CompositeWidget {
public:
    // width, height: 96-dpi units. The stop lists and the current colour
    // (r, g, b) are not owned; the lists must not grow while this lives.
    GradientPreviewContainer(int x, int y, int width, int height, std::vector<std::array<float, 4>>* colors,
                             std::vector<float>* positions, float* currentColor,
                             std::function<void(const float* rgb)> setCurrentColor);

    bool update(int elapsedMs, int originX, int originY) override;
    // Makes stop i the selected one: the current colour takes its RGB, the
    // slider its alpha.
    void selectStop(std::size_t i);
    std::size_t selectedIndex() const;

    std::vector<std::array<float, 4>>* colors;
    std::vector<float>* positions;
    float* currentColor;
    std::function<void(const float* rgb)> setCurrentColor;
    float* selectedStop = nullptr; // the selected stop's four floats
    std::shared_ptr<GradientPreview> preview;
    std::shared_ptr<Slider<float>> opacitySlider;
};
