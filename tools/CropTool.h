#pragma once
// Changes the canvas size: cuts out a rectangle that follows the view's
// rotation ("crop", an ImageCropAction) or scales the whole picture
// ("resize", an ImageResizeAction). Both actions rebuild every layer; the
// tool only picks the rectangle. Sizes can be typed in pixels or percent in
// the options strip, or dragged on the canvas; while the view is not turned
// the drag snaps to whole pixels and to the canvas edges.
#include <memory>

#include "core/Math.h"
#include "tools/Draggable.h"
#include "tools/Tool.h"

class EditControl;

class CropTool : public Tool {
public:
    static constexpr int kIndex = 5;
    // Window pixels within which a pointer snaps to a canvas edge.
    static constexpr float kEdgeSnap = 20.0f;

    using Tool::Tool;
    ~CropTool() override;

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void reset() override { clearArea(); }
    void onCanvasCreated(int width, int height) override;
    // While the second corner is dragged the old render area stays, so the
    // drag ends in the coordinates it began in.
    bool onRenderAreaResized(int, int) override { return state == 2; }
    bool isActive() const override;
    void drawToolOverlay() override;
    void drawCursor(int x, int y) override;
    void drawHints(int& line) override;
    void activate() override;
    bool deactivate() override;

    // No corner, the whole canvas as the size, no handles.
    void clearArea();
    // The window point the pointer stands for: with the view not turned,
    // whole canvas pixels, and the canvas edge within kEdgeSnap window pixels.
    math::Vec2 snappedWindowPosition(math::Vec2 window) const;
    // Field callbacks: a typed size moves the second corner.
    void setWidthPixels(int value);
    void setHeightPixels(int value);
    void setWidthPercent(int value);
    void setHeightPercent(int value);
    // The two buttons. False when nothing happened (no rectangle, too large).
    bool applyCrop();
    bool applyResize(int width, int height);
    // The panel's fields show cropSize (no callbacks run).
    void refreshFields();

    bool dirty = false;
    // 0 no corner, 1 first corner placed, 2 dragging the second, 3 both placed.
    int state = 0;
    std::unique_ptr<DraggablePoint> firstHandle, secondHandle;
    math::Vec2 firstCorner, secondCorner; // canvas pixels
    math::Vec2 cropSize;                  // width, height of the result

    // The panel's fields while the tool is current; owned by the strip,
    // which drops them when the tool is left.
    std::weak_ptr<EditControl> widthEdit, heightEdit, widthPercentEdit, heightPercentEdit;

private:
    // The canvas point of the snapped pointer.
    math::Vec2 pointerCanvasPosition() const;
    bool handlesTake(int button, int state, int x, int y, bool fromPen);
    bool checkSize(int width, int height) const;
    void afterSizeChange();
};
