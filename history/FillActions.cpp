#include "history/FillActions.h"

#include <algorithm>

#include "canvas/BucketFill.h"
#include "canvas/Canvas.h"
#include "io/BinaryStream.h"

bool GradientFillAction::execute() {
    // The ramp goes through the stroke buffer (and the selection's mask) and
    // is laid over the layer like a stroke; the stops are the action's own.
    canvas_.renderGradient({startX, startY}, {endX, endY}, colors, positions);
    canvas_.mergeGradient();
    return true;
}

void GradientFillAction::write(io::BinaryWriter& out) const {
    out.f32(startX);
    out.f32(startY);
    out.f32(endX);
    out.f32(endY);
    const std::size_t count = std::min(colors.size(), positions.size());
    out.i32(static_cast<int32_t>(count));
    for (std::size_t i = 0; i < count; ++i)
        for (float c : colors[i]) out.f32(c);
    for (std::size_t i = 0; i < count; ++i) out.f32(positions[i]);
}

void GradientFillAction::read(io::BinaryReader& in) {
    colors.clear();
    positions.clear();
    in.f32(startX);
    in.f32(startY);
    in.f32(endX);
    in.f32(endY);
    int32_t count = 0;
    if (!in.i32(count) || !in.checkCount(count, 20)) return;
    colors.resize(static_cast<std::size_t>(count));
    positions.resize(static_cast<std::size_t>(count));
    for (auto& c : colors)
        for (float& v : c) in.f32(v);
    for (float& p : positions) in.f32(p);
}

bool BucketFillAction::execute() {
    // The search runs again on the pixels of this moment, so a replay after
    // other changes fills what is there then.
    flood::Params params;
    params.seedX = seedX;
    params.seedY = seedY;
    params.fill = color;
    params.tolerance = tolerance;
    params.lineart = optimizeForLineart;
    runBucketFill(canvas_, layers_, params, sampleAllLayers);
    return true;
}

void BucketFillAction::write(io::BinaryWriter& out) const {
    out.i32(seedX);
    out.i32(seedY);
    for (int32_t c : color) out.i32(c);
    out.f32(tolerance);
    out.boolean(optimizeForLineart);
    out.boolean(sampleAllLayers);
}

void BucketFillAction::read(io::BinaryReader& in) {
    in.i32(seedX);
    in.i32(seedY);
    for (int32_t& c : color) in.i32(c);
    in.f32(tolerance);
    optimizeForLineart = false;
    sampleAllLayers = false;
    if (in.formatIndex >= kLineartSinceFormat) in.boolean(optimizeForLineart);
    if (in.formatIndex >= kSampleAllSinceFormat) in.boolean(sampleAllLayers);
}
