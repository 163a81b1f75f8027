#pragma once
// One finished dab of a stroke, as stored in the drawing process: centre in
// canvas pixels (origin bottom left, y up), factors with pressure and jitter
// already applied, angle in degrees. Replays only stamp these records.
#include <array>
#include <cstdint>
#include <memory>

#include "brush/ColorSpace.h"
#include "core/Math.h"

namespace io {
class BinaryReader;
class BinaryWriter;
}

// Format indices that gate the point layouts.
inline constexpr int32_t kPointAngleSinceFormat = 14;       // angle; colour points exist
inline constexpr int32_t kPointMirroredSinceFormat = 16;    // mirrored byte
inline constexpr int32_t kPointTwoFactorsSinceFormat = 19;  // size and flow apart
// Read factors are clamped to 0..this (the program stores 0..1).
inline constexpr float kMaxPointFactor = 4.0f;

class BrushStrokePoint : public math::Vec2 {
public:
    BrushStrokePoint() = default;
    BrushStrokePoint(math::Vec2 p, float sizeFactor_, float flowFactor_, bool mirrored_, float angle_)
        : math::Vec2(p), sizeFactor(sizeFactor_), flowFactor(flowFactor_), mirrored(mirrored_),
          angle(angle_) {}
    virtual ~BrushStrokePoint() = default;

    float sizeFactor = 1.0f;
    float flowFactor = 1.0f;
    bool mirrored = false;  // reflected copy: its quad is drawn flipped
    float angle = 0.0f;

    // Only the position is compared.
    bool operator==(const BrushStrokePoint& o) const { return x == o.x && y == o.y; }

    // The vertex colour of the dab: white, or the point's own colour.
    virtual std::array<float, 4> vertexColor(float alpha) const { return {1.0f, 1.0f, 1.0f, alpha}; }
    virtual bool hasColor() const { return false; }
    virtual std::unique_ptr<BrushStrokePoint> clone() const {
        return std::make_unique<BrushStrokePoint>(*this);
    }

    // Current layout: x, y, sizeFactor, flowFactor, angle, mirrored byte.
    virtual void write(io::BinaryWriter& out) const;
    // Layout of in.formatIndex; below the two-factor index the one stored
    // value goes to both factors. Failure is left in the reader.
    virtual void read(io::BinaryReader& in);
    // Bytes of one stored record at the given format index.
    static std::size_t storedSize(int32_t formatIndex);

protected:
    // After a read: a value that is not a number fails the reader; factors
    // beyond kMaxPointFactor are clamped.
    void checkRead(io::BinaryReader& in);
};

class BrushStrokeColorPoint : public BrushStrokePoint {
public:
    BrushStrokeColorPoint() = default;
    BrushStrokeColorPoint(const BrushStrokePoint& p, brush::Rgb c)
        : BrushStrokePoint(p), r(c.r), g(c.g), b(c.b) {}

    float r = 0.0f, g = 0.0f, b = 0.0f;

    std::array<float, 4> vertexColor(float alpha) const override { return {r, g, b, alpha}; }
    bool hasColor() const override { return true; }
    std::unique_ptr<BrushStrokePoint> clone() const override {
        return std::make_unique<BrushStrokeColorPoint>(*this);
    }

    // x, y, sizeFactor, flowFactor, angle, r, g, b; no mirrored byte, so a
    // colour point reads back unmirrored.
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;
    static std::size_t storedSize(int32_t formatIndex);
};
