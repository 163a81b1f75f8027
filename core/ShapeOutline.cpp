#include "core/ShapeOutline.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace shape {

namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

float squaredDistance(Point a, Point b) {
    const Point d = a - b;
    return d.dot(d);
}

// The unit vector along v; a vector of no length stays as it is.
Point unit(Point v) {
    const float l = v.length();
    return l > 0.0f ? v / l : v;
}

Point scaled(Point p, math::Vec2 size) { return {p.x * size.x, p.y * size.y, p.z}; }

} // namespace

// ---- segments ------------------------------------------------------------------

float LineSegment::length() const { return previous ? (end - previous->end).length() : 0.0f; }

std::unique_ptr<AbstractSegment> LineSegment::clone(const AbstractSegment* newPrevious) const {
    return std::make_unique<LineSegment>(newPrevious, end);
}

float ArcSegment::length() const {
    const Point from = start() - centre, to = end - centre;
    if (from.length() <= 0.0f || to.length() <= 0.0f) return 0.0f; // no circle to go round
    const Point a = unit(from), b = unit(to);
    const float apart = squaredDistance(a, b);
    // Start and end at one point: a full turn.
    if (apart < kSamePointSquared) return static_cast<float>(kTwoPi);
    if (apart > 4.0f) return static_cast<float>(std::numbers::pi);
    const double angle = std::acos(std::clamp(static_cast<double>(a.dot(b)), -1.0, 1.0));
    // With y up a clockwise turn from a to b has a negative cross product;
    // when the turn the cross product shows goes the other way, the arc takes
    // the long way round.
    const float crossZ = a.x * b.y - a.y * b.x;
    const bool turnsClockwise = crossZ < 0.0f;
    if (crossZ != 0.0f && turnsClockwise != clockwise) return static_cast<float>(kTwoPi - angle);
    return static_cast<float>(angle);
}

std::unique_ptr<AbstractSegment> ArcSegment::clone(const AbstractSegment* newPrevious) const {
    return std::make_unique<ArcSegment>(newPrevious, centre, end, clockwise);
}

void ArcSegment::flatten(float tolerance, math::Vec2 size, std::vector<Point>& out) const {
    const Point from = start() - centre;
    const float r = from.length();
    if (r > 0.0f) {
        double t = tolerance;
        // The tolerance is an absolute distance; on a large circle the same
        // angle step strays further from it.
        if (r > 1.0f) t /= r;
        const double step = 2.0 * std::acos(std::clamp(1.0 - t, -1.0, 1.0));
        const double sweep = length();
        const Point u = from / r;
        // In the plane of the figure (y up): clockwise turns from u to its right.
        const Point w = clockwise ? Point{u.y, -u.x, 0.0f} : Point{-u.y, u.x, 0.0f};
        if (step > 0.0 && std::isfinite(step)) {
            for (long k = 1;; ++k) {
                const double a = static_cast<double>(k) * step;
                if (!(a < sweep)) break;
                const Point p = centre + u * static_cast<float>(r * std::cos(a)) + w * static_cast<float>(r * std::sin(a));
                out.push_back(scaled(p, size));
            }
        }
    }
    const Point last = scaled(end, size);
    if (out.empty() || squaredDistance(out.back(), last) >= kSamePointSquared) out.push_back(last);
}

// ---- outlines --------------------------------------------------------------------

Outline& Outline::operator=(const Outline& other) {
    if (this == &other) return *this;
    segments_.clear();
    for (const auto& s : other.segments_) segments_.push_back(s->clone(segments_.empty() ? nullptr : segments_.back().get()));
    return *this;
}

void Outline::addLine(Point end) {
    segments_.push_back(std::make_unique<LineSegment>(segments_.empty() ? nullptr : segments_.back().get(), end));
}

void Outline::addArc(Point centre, Point end, bool clockwise) {
    segments_.push_back(
        std::make_unique<ArcSegment>(segments_.empty() ? nullptr : segments_.back().get(), centre, end, clockwise));
}

void Outline::flatten(math::Vec2 size, std::vector<Point>& out) const {
    out.clear();
    const float scaleLength = std::sqrt(size.x * size.x + size.y * size.y);
    // A quarter of a pixel at the dragged size, in unit-box units.
    const float tolerance = 0.25f / scaleLength;
    for (const auto& s : segments_) {
        if (s->kind() == 1) static_cast<const ArcSegment&>(*s).flatten(tolerance, size, out);
        else out.push_back(scaled(s->end, size));
    }
    if (out.size() > 1 && squaredDistance(out.back(), out.front()) < kSamePointSquared) out.pop_back();
}

// ---- border ----------------------------------------------------------------------

void borderStrip(const std::vector<Point>& polygon, std::vector<Point>& out, float width) {
    out.clear();
    const std::size_t n = polygon.size();
    if (n < 2) return;
    // Twice the signed area: which side of each edge the inside lies on,
    // for a vertex where the outline runs straight on.
    float area2 = 0.0f;
    for (std::size_t i = 0; i < n; ++i) {
        const Point& p = polygon[i];
        const Point& q = polygon[(i + 1) % n];
        area2 += p.x * q.y - q.x * p.y;
    }
    for (std::size_t i = 0; i < n; ++i) {
        const Point& v = polygon[i];
        const Point& previousPoint = polygon[(i + n - 1) % n];
        const Point& nextPoint = polygon[(i + 1) % n];
        const Point a = unit(nextPoint - v), b = unit(previousPoint - v);
        const Point s = a + b;
        const float half = static_cast<float>(std::acos(std::clamp(static_cast<double>(a.dot(b)), -1.0, 1.0)) / 2.0);
        const float sinHalf = std::sin(half);
        Point offset{0.0f, 0.0f, 0.0f};
        const float sLength = s.length();
        if (sLength > 1e-6f && sinHalf > 1e-6f) {
            // Along the bisector, as far as puts both edges `width` away.
            offset = s * (width / sinHalf) / sLength;
        } else if (sinHalf > 1e-6f) {
            // Straight on: square to the edge, towards the inside.
            offset = (area2 >= 0.0f ? Point{-a.y, a.x, 0.0f} : Point{a.y, -a.x, 0.0f}) * width;
        }
        out.push_back(v);
        out.push_back(v + offset);
    }
    out.push_back(out[0]);
    out.push_back(out[1]);
}

// ---- passes ------------------------------------------------------------------------

std::vector<Pass> figurePasses(int borderWidth, float shortSide, bool fillEnabled) {
    std::vector<Pass> passes;
    if (borderWidth >= 1 && static_cast<float>(borderWidth) > shortSide / 2) {
        passes.push_back(Pass::Solid);
        return passes;
    }
    if (fillEnabled) passes.push_back(Pass::Fill);
    if (borderWidth >= 1) passes.push_back(Pass::Border);
    return passes;
}

// ---- the tool's figures ----------------------------------------------------------

std::vector<Outline> standardOutlines() {
    std::vector<Outline> figures(kFigureCount);
    Outline& triangle = figures[kTriangle];
    for (Point p : {Point{0, 0, 0}, Point{1, 0, 0}, Point{0.5f, 1, 0}, Point{0, 0, 0}}) triangle.addLine(p);
    Outline& rectangle = figures[kRectangle];
    for (Point p : {Point{0, 0, 0}, Point{1, 0, 0}, Point{1, 1, 0}, Point{0, 1, 0}}) rectangle.addLine(p);
    Outline& ellipse = figures[kEllipse];
    ellipse.addLine({1, 0.5f, 0});
    ellipse.addArc({0.5f, 0.5f, 0}, {1, 0.5f, 0}); // back where it began: a full turn
    Outline& rounded = figures[kRoundedRectangle];
    rounded.addLine({0.9f, 1, 0});
    rounded.addArc({0.9f, 0.9f, 0}, {1, 0.9f, 0});
    rounded.addLine({1, 0.1f, 0});
    rounded.addArc({0.9f, 0.1f, 0}, {0.9f, 0, 0});
    rounded.addLine({0.1f, 0, 0});
    rounded.addArc({0.1f, 0.1f, 0}, {0, 0.1f, 0});
    rounded.addLine({0, 0.9f, 0});
    rounded.addArc({0.1f, 0.9f, 0}, {0.1f, 1, 0});
    rounded.addLine({0.9f, 1, 0});
    return figures;
}

} // namespace shape
