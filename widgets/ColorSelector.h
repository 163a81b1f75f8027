#pragma once
// The main way to choose the current colour: a ring of hues around a
// saturation-value square. The widget is placed by its centre (relX, relY is
// the middle of the disc), so the same object can stand in the right-hand
// column and pop up under the pointer in the right button's HUD.
//
// Hues run clockwise from the right (0 at the right, 90 at the bottom). In
// the square x is saturation and y is value. A drag that starts on the ring
// changes only the hue, one that starts in the square only saturation and
// value, however far the pointer wanders. Shift in the square locks the
// marker to a horizontal or vertical guide, so that saturation or value
// changes alone.
#include <array>
#include <cstdint>

#include "core/Math.h"
#include "widgets/ColorRecord.h"
#include "widgets/Widget.h"

// The selector's geometry and the maths of its input, free of GL so that they
// can be checked on their own. Points are pixels relative to the centre, y up.
namespace colorsel {

struct Geometry {
    float outer = 0;        // R: half the widget's width, the ring's outer edge
    float inner = 0;        // 0.7 R: the ring's inner edge
    float half = 0;         // half the square's side
    float markerRadius = 0; // 0.85 R: where the hue marker runs
    // Upper right, upper left, lower left, lower right.
    std::array<math::Vec2, 4> corners{};

    float left() const { return corners[2].x; }
    float right() const { return corners[0].x; }
    float bottom() const { return corners[2].y; }
    float top() const { return corners[0].y; }
    float side() const { return corners[0].x - corners[1].x; }
};

// The corners lie at 0.7 x 0.9 R, at 45 degrees and every quarter turn on.
Geometry geometryFor(float width);

enum class Zone { Outside, Gap, Square, Ring };
// Beyond R: outside. Within 0.7 R: the square, or the gap between its
// corners and the ring. Between 0.7 R and R: the ring.
Zone zoneAt(const Geometry& g, math::Vec2 p);

// Hue in degrees, 0 to below 360, clockwise from the right.
float hueAt(math::Vec2 p);
// Saturation and value of a point by the square's edges (not clamped).
struct SatVal {
    float s = 0, v = 0;
};
SatVal satValAt(const Geometry& g, math::Vec2 p);
// The nearest point of the square: the point itself inside, else the nearest
// edge or corner.
math::Vec2 clampToSquare(const Geometry& g, math::Vec2 p);

// Marker positions for a colour.
math::Vec2 ringMarkerFor(const Geometry& g, float hueDegrees);
math::Vec2 squareMarkerFor(const Geometry& g, float s, float v);

// Axis locks: none, a vertical guide (value alone), a horizontal guide
// (saturation alone).
inline constexpr int32_t kNoLock = 0, kVerticalGuide = 1, kHorizontalGuide = 2;
// The guide a move from the marker to the pointer asks for: horizontal when
// it went at least as far across as up or down.
int32_t axisFor(math::Vec2 marker, math::Vec2 pointer);
// The closest point to `pointer` of the guide through `origin` (which spans
// the square from edge to edge).
math::Vec2 projectOnGuide(const Geometry& g, int32_t axis, math::Vec2 origin, math::Vec2 pointer);

} // namespace colorsel

class ColorSelector : public Widget {
public:
    // width, height in units (150 by 150 in the program).
    ColorSelector(int width, int height, ColorRecordRef record);

    bool hitTest(int x, int y) const override;
    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;

    colorsel::Geometry geometry() const { return colorsel::geometryFor(width); }

    bool pressing = false;       // a left press on the widget is choosing a colour
    bool pressingSquare = false; // the last press fell in the square
    bool pressingRing = false;   // the last press fell on the ring
    ColorRecordRef colorRecord;
    math::Vec2 squareMarker{};   // relative to the centre
    math::Vec2 ringMarker{};     // relative to the centre
    std::array<math::Vec2, 4> corners{};
    int32_t axisLock = colorsel::kNoLock;
    math::Vec2 lockOrigin{};     // the square's marker when the lock began
    math::Vec2 lockedPosition{}; // the pointer on the guide

private:
    math::Vec2 relative(int x, int y) const;
    void refreshMarkers();
    void setHueFrom(math::Vec2 p);
    void setSatValFrom(math::Vec2 p);
    void drawSquare(float alpha, const colorsel::Geometry& g) const;
};
