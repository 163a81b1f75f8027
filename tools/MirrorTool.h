#pragma once
// The mirror: every brush point appears several times, turned about an
// origin and, if wanted, reflected. The copies are made inside the stroke
// (brush/PointMaker mirrorCopies, through Canvas::mirrorSource) and stored
// as ordinary points, so a replay never asks this tool. The tool holds the
// settings, lets the origin be dragged and draws the guide lines; once
// switched on it stays in force under other tools (isActive is `enabled`,
// which only the tool bar button clears, and a new canvas).
#include <cstdint>
#include <memory>

#include "brush/PointMaker.h"
#include "core/Math.h"
#include "tools/Draggable.h"
#include "tools/Tool.h"

class CheckBoxWidget;

class MirrorTool : public Tool {
public:
    static constexpr int kIndex = 11;
    static constexpr int32_t kMaxRepetitions = 50;

    explicit MirrorTool(Painter* painter = nullptr);
    ~MirrorTool() override;

    // The origin's handle takes the pointer; nothing is painted here.
    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    // A new canvas: origin at its centre, one repetition, reflected, off.
    void onCanvasCreated(int width, int height) override;
    bool isActive() const override { return enabled; }
    void drawToolOverlay() override;
    void drawHints(int& line) override;
    void activate() override;

    // The "Reset" button: centred, one repetition, reflected, on.
    void resetSettings();
    // What a stroke reads at each point.
    brush::MirrorSettings settings() const;

    math::Vec2 origin{512, 384}; // canvas pixels
    int32_t repetitions = 1;     // 1 to kMaxRepetitions
    bool mirrored = true;        // reflected copies as well
    std::unique_ptr<DraggablePoint> handle;

private:
    math::Vec2 canvasCentre() const;
    std::weak_ptr<CheckBoxWidget> mirroredBox; // the strip's, while current
};
