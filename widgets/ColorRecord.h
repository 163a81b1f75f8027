#pragma once
// The colour a widget shows and edits: r, g, b from 0 to 1 and the same
// colour as hue (degrees), saturation and value. Its owner keeps the two
// halves in step; widgets read both and write through the owner's setter, so
// the program's current colour has one place where it changes.
#include <functional>

#include "brush/ColorSpace.h"

struct ColorRecordRef {
    const float* rgb = nullptr; // three floats, not owned
    const float* hsv = nullptr; // three floats, not owned
    // Writes a colour chosen as hue, saturation and value; the owner keeps the
    // hue as given and computes r, g, b.
    std::function<void(brush::Hsv)> writeHsv;

    bool valid() const { return rgb != nullptr && hsv != nullptr; }
    brush::Rgb rgbValue() const { return valid() ? brush::Rgb{rgb[0], rgb[1], rgb[2]} : brush::Rgb{}; }
    brush::Hsv hsvValue() const { return valid() ? brush::Hsv{hsv[0], hsv[1], hsv[2]} : brush::Hsv{}; }
    void write(brush::Hsv c) const {
        if (writeHsv) writeHsv(c);
    }
};
