#pragma once
// A stroke: a copy of the brush and colour at its start and the finished
// dabs in the order they were made. execute() stamps the stored points
// through the DabSink the canvas installs; it draws nothing random.
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "brush/Brush.h"
#include "brush/ColorSpace.h"
#include "brush/Dab.h"
#include "brush/PointMaker.h"
#include "brush/StrokePoint.h"
#include "history/HistoryAction.h"

// Stored tip number -> index in this program's tip table.
using TipMap = std::map<int32_t, int32_t>;

// The GL side of stroke replay, installed by the canvas (setDabSink).
class DabSink {
public:
    virtual ~DabSink() = default;
    // As a stroke begins: clear the stroke buffer, back up the layer in
    // erase mode, reset the stroke window to the first point.
    virtual void prepareStroke(const Brush& brush, math::Vec2 firstPoint) = 0;
    virtual brush::TipFactors tipFactors(int32_t tipIndex) const = 0;
    // Bind and clear the stroke surface, set the brush's blend state, stamp
    // the dabs in order, mask by the selection.
    virtual void renderDabs(const Brush& brush, std::span<const brush::Dab> dabs) = 0;
    // Merge the stroke buffer into the other layer surface and flip.
    virtual bool compositeStroke(const Brush& brush, brush::Rgb color) = 0;
};

// Non-owning; null uninstalls. execute() fails without a sink.
void setDabSink(DabSink* sink);
DabSink* dabSink();

class BrushStrokeAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 16;

    BrushStrokeAction() = default;
    BrushStrokeAction(const Brush& brush, brush::Rgb color) : brush_(brush), color_(color) {}

    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool execute() override;
    void write(io::BinaryWriter& out) const override;
    // Strokes need the tip map; this form reads nothing.
    void read(io::BinaryReader& in) override { (void)in; }
    // Reads the body in the layout of in.formatIndex and maps tipIndex
    // through tipMap (from the format that stores tip numbers). False, with
    // the reason in the reader, on a short or damaged body.
    virtual bool read(const TipMap& tipMap, io::BinaryReader& in);

    // Makes the point, or with the mirror on all its copies, drawing the
    // jitter from kwRand; appends them here and, when given, copies of them
    // to pending.
    void addPoint(math::Vec2 position, float pressure, float angle, const brush::PointEnvironment& env,
                  std::vector<BrushStrokePoint>* pending);
    // Appends a copy; returns its index.
    std::size_t appendPoint(const BrushStrokePoint& point);
    template <class P> std::size_t appendPoint(std::unique_ptr<P> point) { return appendPoint(*point); }

    const Brush& brush() const { return brush_; }
    brush::Rgb color() const { return color_; }
    std::size_t pointCount() const { return points_.size(); }
    const BrushStrokePoint& point(std::size_t i) const { return points_[i]; }
    std::span<const BrushStrokePoint> points() const { return points_; }
    std::vector<const BrushStrokePoint*> pointList() const;

    // The dabs a replay stamps, in order (no randomness).
    std::vector<brush::Dab> replayDabs(brush::TipFactors tip) const;

private:
    void fixOldPoints(int32_t formatIndex);

    Brush brush_;
    brush::Rgb color_;
    std::vector<BrushStrokePoint> points_;  // by value, in one block
};

// The oldest stroke record (type code 0). From format index 2 it starts with
// a Brush that becomes currentBrush. Returns null when the record holds no
// points or is damaged (then the reader is failed).
std::unique_ptr<BrushStrokeAction> readOldStroke(io::BinaryReader& in, Brush& currentBrush);
