#include "brush/StrokePoint.h"

#include <algorithm>
#include <cmath>

#include "io/BinaryStream.h"

namespace {

void readFactors(BrushStrokePoint& p, io::BinaryReader& in) {
    if (in.formatIndex >= kPointTwoFactorsSinceFormat) {
        in.f32(p.sizeFactor);
        in.f32(p.flowFactor);
    } else {
        // Older files kept the raw pressure once; the stroke reader turns it
        // into factors after all points are read.
        float pressure = 1.0f;
        in.f32(pressure);
        p.sizeFactor = p.flowFactor = pressure;
    }
}

} // namespace

void BrushStrokePoint::write(io::BinaryWriter& out) const {
    out.f32(x);
    out.f32(y);
    out.f32(sizeFactor);
    out.f32(flowFactor);
    out.f32(angle);
    out.boolean(mirrored);
}

void BrushStrokePoint::read(io::BinaryReader& in) {
    in.f32(x);
    in.f32(y);
    readFactors(*this, in);
    angle = 0.0f;
    if (in.formatIndex >= kPointAngleSinceFormat) in.f32(angle);
    mirrored = false;
    if (in.formatIndex >= kPointMirroredSinceFormat) in.boolean(mirrored);
    checkRead(in);
}

void BrushStrokePoint::checkRead(io::BinaryReader& in) {
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(sizeFactor) || !std::isfinite(flowFactor) ||
        !std::isfinite(angle)) {
        in.fail("stroke point is not a number");
        return;
    }
    // Pressure and jitter give factors from 0 to 1; larger ones only come
    // from a hostile file and would ask for dabs far beyond any canvas.
    sizeFactor = std::clamp(sizeFactor, 0.0f, kMaxPointFactor);
    flowFactor = std::clamp(flowFactor, 0.0f, kMaxPointFactor);
}

std::size_t BrushStrokePoint::storedSize(int32_t formatIndex) {
    std::size_t n = 8 + (formatIndex >= kPointTwoFactorsSinceFormat ? 8 : 4);
    if (formatIndex >= kPointAngleSinceFormat) n += 4;
    if (formatIndex >= kPointMirroredSinceFormat) n += 1;
    return n;
}

void BrushStrokeColorPoint::write(io::BinaryWriter& out) const {
    out.f32(x);
    out.f32(y);
    out.f32(sizeFactor);
    out.f32(flowFactor);
    out.f32(angle);
    out.f32(r);
    out.f32(g);
    out.f32(b);
}

void BrushStrokeColorPoint::read(io::BinaryReader& in) {
    in.f32(x);
    in.f32(y);
    readFactors(*this, in);
    in.f32(angle);
    in.f32(r);
    in.f32(g);
    in.f32(b);
    mirrored = false;
    checkRead(in);
}

std::size_t BrushStrokeColorPoint::storedSize(int32_t formatIndex) {
    return 8 + (formatIndex >= kPointTwoFactorsSinceFormat ? 8 : 4) + 4 + 12;
}
