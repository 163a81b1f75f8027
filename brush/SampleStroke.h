#pragma once
// The sample stroke of the brush dialog's preview, without GL: a wave across
// a box of the given size, spaced, jittered and coloured as the brush would
// paint it. The generator is reseeded before each half, so the same brush
// always gives the same points and the preview never flickers.
#include <vector>

#include "brush/ColorSpace.h"
#include "brush/Dab.h"
#include "brush/StrokePoint.h"

struct Brush;

namespace brush {

// The colour that colour dynamics jitter in the sample (pure red), so that
// the preview shows the jitter widths whatever the current colour is.
inline constexpr Hsv kSampleStrokeColor{0.0f, 1.0f, 1.0f};

// Points in the box's pixels (origin bottom left): two cubic halves from
// width / 8 to width - width / 8 through the middle of the box. In each half
// the pressure rises from near 0 to 1 and falls again. Seven random numbers
// are drawn for every dab, in the order size, opacity, scatter, angle, hue,
// saturation, value, whether the brush uses them or not.
std::vector<BrushStrokePoint> sampleStrokePoints(const Brush& brush, float width, float height, TipFactors tip);

} // namespace brush
