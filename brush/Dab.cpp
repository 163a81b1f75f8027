#include "brush/Dab.h"

#include <cmath>

#include "brush/Brush.h"
#include "brush/StrokePoint.h"

namespace brush {

Dab makeDab(const BrushStrokePoint& point, const Brush& brush, TipFactors tip) {
    Dab dab;
    dab.center = {point.x, point.y};
    dab.angle = point.angle;
    dab.mirrored = point.mirrored;
    dab.color = point.vertexColor(point.flowFactor);
    dab.tipIndex = brush.tipIndex;
    const float half = static_cast<float>(brush.size) * 0.5f * point.sizeFactor;
    if (!brush.isTextured()) {
        dab.radius = half;
        dab.hardness = brush.hardness;
        // Tiny discs are always hard: a soft edge would leave nothing.
        dab.kind = (brush.hardness < 1.0f && half > 1.0f) ? DabKind::SoftRound : DabKind::HardRound;
        const int32_t side = static_cast<int32_t>(std::ceil(half)) + 1;
        const int32_t cx = static_cast<int32_t>(point.x);
        const int32_t cy = static_cast<int32_t>(point.y);
        dab.quadLeft = cx - side;
        dab.quadRight = cx + side;
        dab.quadBottom = cy - side;
        dab.quadTop = cy + side;
        return dab;
    }
    dab.kind = brush.hasFlag(kBrushFlagDryBrush) ? DabKind::TexturedDry : DabKind::Textured;
    dab.halfWidth = half * tip.widthFactor;
    dab.halfHeight = half * tip.heightFactor;
    return dab;
}

PixelRect dabBounds(const Dab& dab, int32_t margin) {
    if (dab.kind == DabKind::HardRound || dab.kind == DabKind::SoftRound)
        return PixelRect::around(static_cast<float>(dab.quadLeft), static_cast<float>(dab.quadBottom),
                                 static_cast<float>(dab.quadRight), static_cast<float>(dab.quadTop), margin);
    // A rotated tip stays inside the circle through its corners.
    const float r = std::hypot(dab.halfWidth, dab.halfHeight);
    return PixelRect::around(dab.center.x - r, dab.center.y - r, dab.center.x + r, dab.center.y + r, margin + 1);
}

DabBlend chooseDabBlend(const Brush& brush, bool withAdditiveRule) {
    if (withAdditiveRule && brush.hasFlag(kBrushFlagAdditiveStroke)) return DabBlend::AdditiveAlpha;
    if (brush.hasFlag(kBrushFlagColorDynamics)) return DabBlend::PremultipliedOver;
    if (!brush.isTextured() && brush.hardness < 1.0f) return DabBlend::AdditiveAlpha;
    return DabBlend::Maximum;
}

CompositeProgram chooseCompositeProgram(const Brush& brush) {
    if (brush.mode == kBrushModeErase) return CompositeProgram::Erase;
    if (brush.antialias == 1) return CompositeProgram::StrokeSmooth;
    if (brush.hasFlag(kBrushFlagColorDynamics)) return CompositeProgram::StrokeOverColors;
    return CompositeProgram::StrokeOver;
}

std::span<const BrushStrokePoint> replayedPoints(const Brush& brush,
                                                std::span<const BrushStrokePoint> points) {
    if (!brush.isTextured() || points.size() <= 1) return points;
    return points.subspan(1);
}

} // namespace brush
