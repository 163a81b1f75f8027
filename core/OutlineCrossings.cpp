#include "core/OutlineCrossings.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace outline {

namespace {
struct Edge {
    double ax, ay, bx, by;
    double minX, maxX, minY, maxY;
};

// Sign of the turn a -> b -> c.
int turn(double ax, double ay, double bx, double by, double cx, double cy) {
    const double d = (bx - ax) * (cy - ay) - (by - ay) * (cx - ax);
    return d > 0 ? 1 : d < 0 ? -1 : 0;
}

// Each edge's ends lie strictly on both sides of the other: a proper crossing.
bool cross(const Edge& e, const Edge& f) {
    const int t1 = turn(e.ax, e.ay, e.bx, e.by, f.ax, f.ay), t2 = turn(e.ax, e.ay, e.bx, e.by, f.bx, f.by);
    const int t3 = turn(f.ax, f.ay, f.bx, f.by, e.ax, e.ay), t4 = turn(f.ax, f.ay, f.bx, f.by, e.bx, e.by);
    return t1 * t2 < 0 && t3 * t4 < 0;
}
} // namespace

CrossingCount countCrossings(const std::vector<math::Vec2>& points, int maxCrossings, int64_t maxPairTests) {
    std::vector<math::Vec2> p;
    p.reserve(points.size());
    for (const math::Vec2& v : points)
        if (std::isfinite(v.x) && std::isfinite(v.y)) p.push_back(v);
    CrossingCount result;
    const std::size_t n = p.size();
    if (n < 4) return result;
    std::vector<Edge> edges(n);
    for (std::size_t i = 0; i < n; ++i) {
        const math::Vec2& a = p[i];
        const math::Vec2& b = p[(i + 1) % n];
        edges[i] = {a.x, a.y, b.x, b.y, std::min<double>(a.x, b.x), std::max<double>(a.x, b.x),
                    std::min<double>(a.y, b.y), std::max<double>(a.y, b.y)};
    }
    // Edges in order of their left ends; each is compared with the edges that
    // begin before its right end (a sweep without the active list).
    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return edges[a].minX < edges[b].minX; });
    int64_t tests = 0;
    for (std::size_t oi = 0; oi < n; ++oi) {
        const std::size_t i = order[oi];
        const Edge& e = edges[i];
        for (std::size_t oj = oi + 1; oj < n && edges[order[oj]].minX <= e.maxX; ++oj) {
            if (++tests > maxPairTests) {
                result.stopped = true;
                return result;
            }
            const std::size_t j = order[oj];
            const std::size_t gap = i > j ? i - j : j - i;
            if (gap == 1 || gap == n - 1) continue; // neighbours share a point
            const Edge& f = edges[j];
            if (f.maxY < e.minY || f.minY > e.maxY) continue;
            if (cross(e, f) && ++result.crossings > maxCrossings) {
                result.stopped = true;
                return result;
            }
        }
    }
    return result;
}

bool tooTangled(const std::vector<math::Vec2>& points) { return countCrossings(points).stopped; }

} // namespace outline
