#pragma once
// Fills that the gradient and bucket tools record; each execute runs the
// whole fill again from the stored parameters.
#include <array>
#include <cstdint>
#include <vector>

#include "history/HistoryAction.h"

class Canvas;
class MultiLayeredImage;

// A linear ramp from start to end through any number of stops.
class GradientFillAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 20;

    explicit GradientFillAction(Canvas& canvas) : canvas_(canvas) {}

    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool execute() override;
    // Body: start, end (2 + 2 floats); count; count RGBA colours; count positions.
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;

    float startX = 0, startY = 0, endX = 0, endY = 0; // canvas pixels
    std::vector<std::array<float, 4>> colors;
    std::vector<float> positions; // one per colour, 0 to 1

private:
    Canvas& canvas_;
};

// A flood from a seed pixel; the search runs again on each execute.
class BucketFillAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 21;
    static constexpr int32_t kLineartSinceFormat = 20;
    static constexpr int32_t kSampleAllSinceFormat = 22;

    BucketFillAction(Canvas& canvas, MultiLayeredImage& layers) : canvas_(canvas), layers_(layers) {}

    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool execute() override;
    // Body: seed (2 int32), colour (4 int32, 0..255, premultiplied by the
    // tool's opacity), tolerance (float), then both flags as bytes.
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;

    int32_t seedX = 0, seedY = 0;
    std::array<int32_t, 4> color{};
    float tolerance = 0.1f;
    bool optimizeForLineart = false;
    bool sampleAllLayers = false;

private:
    Canvas& canvas_;
    MultiLayeredImage& layers_;
};
