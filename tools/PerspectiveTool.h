#pragma once
// The perspective grid: up to three vanishing points with their fans,
// foreshortened parallels and lines the user scatters from a locked point.
// A guide for the eye only: nothing is recorded or saved, strokes are not
// drawn to it. Once switched on it stays in force under other tools (isActive
// is the `enabled` flag, which only the tool bar button and F4 clear); the
// handles show only while the tool is current. The line geometry lives in
// core/PerspectiveGrid; this class keeps the state, takes the input and draws.
#include <array>
#include <cstdint>
#include <vector>

#include "core/Math.h"
#include "core/RenderArea.h"
#include "tools/Tool.h"

namespace perspective {
struct GridInput;
}

class PerspectiveTool : public Tool {
public:
    explicit PerspectiveTool(Painter* painter = nullptr);

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    void onCanvasCreated(int width, int height) override;
    bool isActive() const override { return enabled; }
    void drawToolOverlay() override;
    void drawHints(int& line) override;
    void activate() override;

    // The grid in the camera's scene over the window rectangle `area` (the
    // render area, or the reference view's half of the window).
    void drawGrid(const RenderArea& area);
    // Everything the grid's lines depend on, for the current canvas and zoom.
    perspective::GridInput gridInput(float renderHeight) const;
    // True while this tool is the painter's current one (handles, hints).
    bool isCurrent() const;

    float opacity = 0.5f;
    int32_t steps = 10;
    // Centred canvas coordinates. 0, 1: the horizontal points (sharing y, the
    // horizon); 2: the vertical point.
    std::array<math::Vec2, 3> vp{};
    std::array<bool, 3> hoverVp{}, dragVp{}, hoverLine{}, dragLine{}, lockedVp{};
    // Far ends of the lines scattered from each point.
    std::array<std::vector<math::Vec2>, 3> customLines;
    uint8_t parallelFlags = 0; // bits 0..3: top, right, bottom, left side
    uint8_t vpFlags = 1;       // bit i: point i shown

private:
    // The pointer in centred canvas coordinates.
    math::Vec2 centredPointer() const;
    void buildPanel();
};

// The perspective tool bar button: leaves the tool (grid off, back to the
// tool before) when it is current, else makes it current.
void togglePerspectiveButton(Painter& painter);
