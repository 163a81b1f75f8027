#pragma once
// The current colour as a swatch with its numbers below it, in the fixed-width
// font: R, G, B from 0 to 255, or H in degrees with S and V from 0 to 1. A
// left click switches between the two.
#include <array>
#include <string>

#include "widgets/ColorRecord.h"
#include "widgets/Widget.h"

class ColorWidget : public Widget {
public:
    ColorWidget(int x, int y, int width, int height, ColorRecordRef record);

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    void draw(float opacity) override;

    // The three lines under the swatch. Channels are cut, not rounded, to
    // whole steps: 0.999 shows as 254.
    std::array<std::string, 3> lines() const;

    ColorRecordRef colorRecord;
    bool showRGB = true;
};
