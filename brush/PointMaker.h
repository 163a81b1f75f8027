#pragma once
// Turns one dab of a stroke in progress into finished points: pressure into
// factors, size/opacity jitter and colour dynamics drawn from kwRand, and the
// mirror's copies. Runs only while a stroke is made, never on replay.
#include <cstdint>
#include <memory>
#include <vector>

#include "brush/ColorSpace.h"
#include "core/Math.h"

struct Brush;
class BrushStrokePoint;

namespace brush {

// The mirror's settings as the stroke sees them. The mirror tool fills this
// in; until it exists `active` stays false.
struct MirrorSettings {
    bool active = false;
    math::Vec2 origin;       // canvas pixels
    int32_t repetitions = 1;
    bool mirrored = true;    // reflected copies as well
};

// What a new point takes from the program at the moment it is made.
struct PointEnvironment {
    Hsv colorHsv;            // the current colour, source of colour dynamics
    MirrorSettings mirror;
};

// The random part of one dab, drawn in the fixed order: size, opacity,
// hue, saturation, value. Hue/saturation/value are drawn only with colour
// dynamics, and then always, whatever the jitter widths.
struct PointJitter {
    float sizeFactor = 1.0f;
    float flowFactor = 1.0f;
    bool hasColor = false;
    Rgb color;
};
PointJitter drawPointJitter(const Brush& brush, float pressure, const Hsv& current);

// Appends the point at position, or with the mirror active its copies (all
// rotated ones, then the reflected ones; none on the mirror's centre).
void makeStrokePoints(const Brush& brush, math::Vec2 position, float pressure, float angle,
                      const PointEnvironment& env,
                      std::vector<BrushStrokePoint>& out);

// The copies alone, for a point already jittered.
void mirrorCopies(const BrushStrokePoint& source, const MirrorSettings& mirror,
                  std::vector<BrushStrokePoint>& out);

} // namespace brush
