#pragma once
// What a GL stamper needs to draw one dab, derived from a stored point and
// the stroke's brush without any randomness. Live drawing and replay both go
// through makeDab, so a replay stamps exactly what the first painting did.
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "core/Math.h"
#include "core/PixelRegion.h"

struct Brush;
class BrushStrokePoint;

namespace brush {

// Width and height of a tip relative to its longer side.
struct TipFactors {
    float widthFactor = 1.0f;
    float heightFactor = 1.0f;
};

enum class DabKind {
    HardRound,    // hardDabProgram: center, radius
    SoftRound,    // softDabProgram: center, radius, hardness
    Textured,     // dabTextureProgram with the tip texture
    TexturedDry,  // dabDryProgram with the tip texture
};

struct Dab {
    DabKind kind = DabKind::HardRound;
    math::Vec2 center;         // canvas pixels
    float radius = 0.0f;       // round dabs: size * 0.5 * sizeFactor
    float hardness = 1.0f;     // soft round dabs
    // Round dabs: the axis-aligned quad with integer corners that covers the disc.
    int32_t quadLeft = 0, quadBottom = 0, quadRight = 0, quadTop = 0;
    int32_t tipIndex = 0;      // textured dabs: entry of the tip table
    float halfWidth = 0.0f;    // textured dabs: the quad runs -hw..hw, -hh..hh
    float halfHeight = 0.0f;   //   around the centre, rotated by angle
    float angle = 0.0f;        // degrees, counter-clockwise
    bool mirrored = false;     // textured: flip left to right (culling off)
    std::array<float, 4> color{1.0f, 1.0f, 1.0f, 1.0f};  // vertex colour, alpha = flow
};

Dab makeDab(const BrushStrokePoint& point, const Brush& brush, TipFactors tip);

// The pixels a dab may touch, with `margin` pixels more on every side (the
// smoothed merge reads one pixel beyond the stroke).
PixelRect dabBounds(const Dab& dab, int32_t margin);

// How dabs combine in the stroke buffer; the first rule that fits wins.
enum class DabBlend {
    AdditiveAlpha,      // source alpha, one, add
    PremultipliedOver,  // one, one minus source alpha, add
    Maximum,            // equation max: overlapping dabs keep the highest value
};
// The brush preview leaves the additive rule out.
DabBlend chooseDabBlend(const Brush& brush, bool withAdditiveRule = true);

// The program that merges the stroke buffer into the layer.
enum class CompositeProgram { StrokeOver, StrokeOverColors, StrokeSmooth, Erase };
CompositeProgram chooseCompositeProgram(const Brush& brush);

// The points a replay stamps: all for a round brush; for a textured one the
// single point, or all from the second on (the first has no direction).
std::span<const BrushStrokePoint> replayedPoints(const Brush& brush,
                                                std::span<const BrushStrokePoint> points);

} // namespace brush
