#pragma once
// One finished dab of a stroke, as stored in the drawing process: centre in
// canvas pixels (origin bottom left, y up), factors with pressure and jitter
// already applied, angle in degrees. Replays only stamp these records.
//
// A point is a plain value: a stroke keeps its points in one contiguous
// vector, and a loaded stroke decodes its whole point block in one loop
// without an allocation per point. A colour point is the same record with
// its colour set (BrushStrokeColorPoint only makes one).
#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

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
        : math::Vec2(p), sizeFactor(sizeFactor_), flowFactor(flowFactor_), angle(angle_), mirrored(mirrored_) {}

    float sizeFactor = 1.0f;
    float flowFactor = 1.0f;
    float angle = 0.0f;
    float r = 0.0f, g = 0.0f, b = 0.0f;  // the dab's own colour, when colored
    bool mirrored = false;  // reflected copy: its quad is drawn flipped
    bool colored = false;   // a colour point (a stroke with colour dynamics)

    // Only the position is compared.
    bool operator==(const BrushStrokePoint& o) const { return x == o.x && y == o.y; }

    // The vertex colour of the dab: white, or the point's own colour.
    std::array<float, 4> vertexColor(float alpha) const {
        if (colored) return {r, g, b, alpha};
        return {1.0f, 1.0f, 1.0f, alpha};
    }
    bool hasColor() const { return colored; }
    std::unique_ptr<BrushStrokePoint> clone() const { return std::make_unique<BrushStrokePoint>(*this); }
    // The same dab as a plain point, or as a colour point of colour c.
    BrushStrokePoint plain() const;
    BrushStrokePoint withColor(brush::Rgb c) const;

    // Plain: x, y, sizeFactor, flowFactor, angle, mirrored byte. Colour:
    // x, y, sizeFactor, flowFactor, angle, r, g, b; no mirrored byte, so a
    // colour point reads back unmirrored.
    void write(io::BinaryWriter& out) const;
    // A plain record in the layout of in.formatIndex; below the two-factor
    // index the one stored value goes to both factors. Failure is left in
    // the reader.
    void read(io::BinaryReader& in);
    // Bytes of one stored plain record at the given format index.
    static std::size_t storedSize(int32_t formatIndex);
};

class BrushStrokeColorPoint : public BrushStrokePoint {
public:
    BrushStrokeColorPoint() { colored = true; }
    BrushStrokeColorPoint(const BrushStrokePoint& p, brush::Rgb c) : BrushStrokePoint(p.withColor(c)) {}

    // A colour record in the layout of in.formatIndex.
    void read(io::BinaryReader& in);
    static std::size_t storedSize(int32_t formatIndex);
};
static_assert(sizeof(BrushStrokeColorPoint) == sizeof(BrushStrokePoint),
              "a colour point is stored in the same vector as plain ones");

// Reads count stored records (colour records when colorPoints) in the layout
// of in.formatIndex and appends them to out: one read of the whole block,
// then a decode loop. A count the rest of the data cannot hold fails the
// reader before anything is allocated; so does a value that is not a
// number. Factors beyond kMaxPointFactor are clamped. On failure out is
// left as it was.
// Writes the records of points in the current layout, as their own write()
// would one by one, encoded in blocks: colour records when colorPoints (a
// point without a colour of its own stores strokeColor), else plain ones.
void writeStrokePoints(io::BinaryWriter& out, std::span<const BrushStrokePoint> points, bool colorPoints,
                       brush::Rgb strokeColor);

bool readStrokePoints(io::BinaryReader& in, int32_t count, bool colorPoints, std::vector<BrushStrokePoint>& out);
