#pragma once
// The layers panel of the right column: the layers as thumbnails, bottom
// layer lowest, with a visibility mark beside each. A press picks the current
// layer, a drag reorders, a double click shows or hides, the slider sets the
// opacity, and "+", "-" and "_" add, delete and merge down. Every change is a
// history action, added to the History and executed, so it is undone and
// replayed like any other; the panel owns no layer state and reads the layer
// list anew at every frame.
//
// A drag of a thumbnail:
//   idle --left press on a thumbnail--> held (dragIndex; the layer is made current)
//   held --drag--> the thumbnail follows the pointer; dropIndex is the insertion line;
//                  held over the first or last visible row, the list scrolls a row per 801 ms
//   held --release--> idle, with a LayerMoveAction when the line lies off the start row
//   held --double click--> idle, the layer's visibility toggled
#include <cstdint>
#include <memory>

#include "core/Math.h"
#include "widgets/Draggable.h"
#include "widgets/ScrollWidgets.h"
#include "widgets/Slider.h"
#include "widgets/Widget.h"

class Canvas;
class History;
class MultiLayeredImage;

class LayersWidget : public CompositeWidget {
public:
    class LayersList : public ScrollableWidget, public DraggableItemsList {
    public:
        LayersList(MultiLayeredImage* layers, Canvas* canvas);

        int itemCount() const override;
        // A row: the thumbnail with 5 units above and below.
        float itemSize() const override;

        int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
        int onMouseDrag(int x, int y, bool fromPen) override;
        int onMouseWheel(int wheel, int direction, int x, int y) override;
        int onDoubleClick(int x, int y) override;
        bool update(int elapsedMs, int originX, int originY) override;
        void draw(float opacity) override;

        // Thumbnail size for a canvas, fitted into the list's width (less the
        // bar and the margins) and at most maxThumbHeight high.
        void computeThumbnailSize(int canvasWidth, int canvasHeight);
        // Insertion position for a pointer `y` pixels above the list's base.
        int dropPosition(int y) const;
        // Keeps the current layer in sight (after a new layer or a delete).
        void scrollToCurrent();

        // The layer under the press (-1: none), which the DragHandles base
        // keeps as the active handle.
        int32_t dragIndex() const { return activeHandle; }

        math::Vec2 lastPosition{0, 0}; // corner of the floating thumbnail
        math::Vec2 pointerOffset{0, 0}; // pointer less that corner at the press
        int32_t thumbWidth = 0, thumbHeight = 0;
        int32_t maxThumbHeight = 0;
        MultiLayeredImage* layers; // not owning
        Canvas* canvas;            // not owning
        int32_t cachedCanvasWidth = 0, cachedCanvasHeight = 0;

    private:
        int left() const;
        int base() const;
        int rowHeight() const;
    };

    LayersWidget(MultiLayeredImage* layers, Canvas* canvas);

    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;

    // The panel's operations, as the buttons and the slider run them.
    void newLayer();
    void deleteLayer();
    void mergeDown();
    void opacityChanged(int value);

    MultiLayeredImage* layers; // not owning
    Canvas* canvas;            // not owning
    Slider<int>* opacitySlider = nullptr; // owned by the composite
    LayersList* list = nullptr;           // owned by the composite
};
