#pragma once
// Outlines of the shape tool: chains of straight and circular segments in a
// unit box, flattened to a polygon at the size the user drags out, and the
// triangle strip that lays a border of a given width inside that polygon.
// No GL here: the tool draws what these functions return.
#include <memory>
#include <vector>

#include "core/Math.h"

namespace shape {

using Point = math::Vec3;

// One piece of an outline. A segment starts where the one before it ends;
// the first of an outline starts at its own end.
class AbstractSegment {
public:
    AbstractSegment(const AbstractSegment* previous, Point end) : previous(previous), end(end) {}
    virtual ~AbstractSegment() = default;
    // 0 line, 1 arc.
    virtual int kind() const = 0;
    // A line: its length (0 without a segment before it). An arc: its sweep in radians.
    virtual float length() const = 0;
    // A copy that follows `newPrevious` instead.
    virtual std::unique_ptr<AbstractSegment> clone(const AbstractSegment* newPrevious) const = 0;
    // Where the segment starts: the end of the one before, else its own end.
    Point start() const { return previous ? previous->end : end; }

    const AbstractSegment* previous; // non-owning
    Point end;
};

class LineSegment : public AbstractSegment {
public:
    using AbstractSegment::AbstractSegment;
    int kind() const override { return 0; }
    float length() const override;
    std::unique_ptr<AbstractSegment> clone(const AbstractSegment* newPrevious) const override;
};

// A circular arc about `centre` from the start to `end`. Start and end at
// one point make a full turn.
class ArcSegment : public AbstractSegment {
public:
    ArcSegment(const AbstractSegment* previous, Point centre, Point end, bool clockwise = true)
        : AbstractSegment(previous, end), clockwise(clockwise), centre(centre) {}
    int kind() const override { return 1; }
    float length() const override;
    std::unique_ptr<AbstractSegment> clone(const AbstractSegment* newPrevious) const override;
    // Appends the arc's points, each scaled by `size`, for a chord that stays
    // within `tolerance` (unit-box units) of the circle. The start is not
    // appended (the segment before put it there); the end is, unless the last
    // point already lies on it.
    void flatten(float tolerance, math::Vec2 size, std::vector<Point>& out) const;

    bool clockwise;
    Point centre;
};

// A closed figure as segments in the unit box (0..1 both ways).
class Outline {
public:
    Outline() = default;
    Outline(const Outline& other) { *this = other; }
    Outline& operator=(const Outline& other);
    Outline(Outline&&) = default;
    Outline& operator=(Outline&&) = default;

    void addLine(Point end);
    void addArc(Point centre, Point end, bool clockwise = true);

    // The polygon at `size` (width, height; negative mirrors the figure),
    // emptied first. The last point is dropped when it repeats the first.
    void flatten(math::Vec2 size, std::vector<Point>& out) const;

    const std::vector<std::unique_ptr<AbstractSegment>>& segments() const { return segments_; }

private:
    std::vector<std::unique_ptr<AbstractSegment>> segments_;
};

// The triangle strip of a border `width` wide inside a convex polygon (of at
// least 2 points; fewer leave `out` empty): for each vertex the vertex itself
// and a point along the bisector of its corner, far enough in that both
// edges lie `width` away; the first pair again at the end closes the strip.
void borderStrip(const std::vector<Point>& polygon, std::vector<Point>& out, float width);

// The figures the tool offers, in the unit box: 0 triangle, 1 rectangle,
// 2 ellipse, 3 rounded rectangle.
enum Figure { kTriangle = 0, kRectangle = 1, kEllipse = 2, kRoundedRectangle = 3, kFigureCount = 4 };
std::vector<Outline> standardOutlines();

// What a figure is painted with, pass by pass, for a border `borderWidth`
// canvas pixels wide on a box whose shorter side is `shortSide`:
//   Fill   the polygon in the fill colour (only with the fill on);
//   Border the strip in the border colour;
//   Solid  the polygon in the border colour: a border wider than half the
//          box leaves no room inside, so the figure is all border.
enum class Pass { Fill, Border, Solid };
std::vector<Pass> figurePasses(int borderWidth, float shortSide, bool fillEnabled);

// Tests of "the same point": squared distances below this count as zero.
inline constexpr float kSamePointSquared = 1e-12f;

} // namespace shape
