#pragma once
// A button of the shape tool's options: the button face with its figure as
// one filled polygon on it, cyan while it is the figure in use.
#include <functional>
#include <vector>

#include "core/Math.h"
#include "widgets/ImageButton.h"

class ShapeButton : public ImageButton {
public:
    // x, y, size in 96-dpi units. `vertices`: the figure in pixels from the
    // face's corner inset by 5 units; `currentIndex` names the figure in use.
    ShapeButton(int x, int y, int width, int height, int shapeIndex, std::vector<math::Vec3> vertices,
                const int* currentIndex, std::function<void(Widget*)> onClick);

    void draw(float opacity) override;

    bool current() const { return currentIndex && *currentIndex == shapeIndex; }
    // The figure's colour: cyan for the figure in use, else white.
    void figureColor(float rgba[4]) const;
    // Pixels between the face's edge and the figure's box, on every side.
    float inset() const;

    std::vector<math::Vec3> vertices;
    int32_t shapeIndex;
    const int* currentIndex; // non-owning, the tool's
};
