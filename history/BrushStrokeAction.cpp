#include "history/BrushStrokeAction.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "core/Math.h"
#include "io/BinaryStream.h"

namespace {

DabSink* gDabSink = nullptr;

// The oldest stroke record: 4 ignored bytes, then x, y, r, g, b, pressure.
constexpr std::size_t kOldPointBytes = 28;

} // namespace

void setDabSink(DabSink* sink) { gDabSink = sink; }
DabSink* dabSink() { return gDabSink; }

std::size_t BrushStrokeAction::appendPoint(const BrushStrokePoint& point) {
    points_.push_back(point);
    return points_.size() - 1;
}

void BrushStrokeAction::addPoint(math::Vec2 position, float pressure, float angle,
                                 const brush::PointEnvironment& env, std::vector<BrushStrokePoint>* pending) {
    const std::size_t first = points_.size();
    brush::makeStrokePoints(brush_, position, pressure, angle, env, points_);
    if (pending) pending->insert(pending->end(), points_.begin() + static_cast<std::ptrdiff_t>(first), points_.end());
}

std::vector<const BrushStrokePoint*> BrushStrokeAction::pointList() const {
    std::vector<const BrushStrokePoint*> list;
    list.reserve(points_.size());
    for (const BrushStrokePoint& p : points_) list.push_back(&p);
    return list;
}

std::vector<brush::Dab> BrushStrokeAction::replayDabs(brush::TipFactors tip) const {
    const std::span<const BrushStrokePoint> replayed = brush::replayedPoints(brush_, points_);
    std::vector<brush::Dab> dabs;
    dabs.reserve(replayed.size());
    for (const BrushStrokePoint& p : replayed) dabs.push_back(brush::makeDab(p, brush_, tip));
    return dabs;
}

bool BrushStrokeAction::execute() {
    if (points_.empty()) return true;
    DabSink* sink = gDabSink;
    if (!sink) {
        std::fprintf(stderr, "BrushStrokeAction: no dab sink installed, stroke not drawn.\n");
        return false;
    }
    sink->prepareStroke(brush_, {points_.front().x, points_.front().y});
    const std::vector<brush::Dab> dabs = replayDabs(sink->tipFactors(brush_.tipIndex));
    sink->renderDabs(brush_, dabs);
    return sink->compositeStroke(brush_, color_);
}

void BrushStrokeAction::write(io::BinaryWriter& out) const {
    brush_.write(out);
    out.f32(color_.r);
    out.f32(color_.g);
    out.f32(color_.b);
    out.i32(static_cast<int32_t>(points_.size()));
    // Every point of a colour stroke is stored with a colour.
    writeStrokePoints(out, points_, brush_.hasFlag(kBrushFlagColorDynamics), color_);
}

void BrushStrokeAction::fixOldPoints(int32_t formatIndex) {
    if (formatIndex < kPointAngleSinceFormat) {
        // No stored angle: each dab faces the way from the point before.
        for (std::size_t i = 0; i < points_.size(); ++i) {
            float a = 0.0f;
            if (i > 0) {
                const float dx = points_[i].x - points_[i - 1].x;
                const float dy = points_[i].y - points_[i - 1].y;
                if (dx != 0.0f || dy != 0.0f)
                    a = static_cast<float>(std::atan2(dy, dx) * math::kDegreesPerRadianExact);
            }
            points_[i].angle = a;
        }
    }
    if (formatIndex < kPointTwoFactorsSinceFormat) {
        // The stored value was the raw pressure.
        for (BrushStrokePoint& p : points_) {
            if (!brush_.SizeFollowsPressure) p.sizeFactor = 1.0f;
            if (!brush_.FlowFollowsPressure) p.flowFactor = 1.0f;
        }
    }
}

bool BrushStrokeAction::read(const TipMap& tipMap, io::BinaryReader& in) {
    points_.clear();
    brush_ = Brush{};
    if (!brush_.read(in)) return false;
    in.f32(color_.r);
    in.f32(color_.g);
    in.f32(color_.b);
    int32_t count = 0;
    in.i32(count);
    if (in.failed()) return false;
    const bool colorPoints =
        brush_.hasFlag(kBrushFlagColorDynamics) && in.formatIndex >= kPointAngleSinceFormat;
    if (!readStrokePoints(in, count, colorPoints, points_)) {
        points_.clear();
        return false;
    }
    fixOldPoints(in.formatIndex);
    if (in.formatIndex >= kBrushTipIndexSinceFormat) {
        auto it = tipMap.find(brush_.tipIndex);
        if (it != tipMap.end()) brush_.tipIndex = it->second;
    }
    return true;
}

std::unique_ptr<BrushStrokeAction> readOldStroke(io::BinaryReader& in, Brush& currentBrush) {
    if (in.formatIndex >= 2 && !currentBrush.read(in)) return nullptr;
    int32_t count = 0;
    if (!in.i32(count) || count <= 0) return nullptr;
    if (!in.checkCount(count, kOldPointBytes)) return nullptr;
    std::unique_ptr<BrushStrokeAction> action;
    for (int32_t i = 0; i < count; ++i) {
        float x = 0, y = 0, pressure = 0;
        brush::Rgb c;
        in.skip(4);
        in.f32(x);
        in.f32(y);
        in.f32(c.r);
        in.f32(c.g);
        in.f32(c.b);
        in.f32(pressure);
        if (in.failed()) return nullptr;
        if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(pressure)) {
            in.fail("stroke point is not a number");
            return nullptr;
        }
        pressure = std::clamp(pressure, 0.0f, kMaxPointFactor);
        if (!action) action = std::make_unique<BrushStrokeAction>(currentBrush, c);
        action->appendPoint(BrushStrokePoint(math::Vec2{x, y}, currentBrush.SizeFollowsPressure ? pressure : 1.0f,
                                             currentBrush.FlowFollowsPressure ? pressure : 1.0f, false, 0.0f));
    }
    return action;
}
