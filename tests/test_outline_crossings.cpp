// Counting the self-crossings of a selection outline: hand-worked figures,
// an all-pairs count as the reference on random outlines, the two limits, and
// the tessellator refusing an outline a file made too tangled.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "canvas/PolygonTessellator.h"
#include "core/OutlineCrossings.h"

namespace {
using Outline = std::vector<math::Vec2>;

// Every pair of non-neighbouring edges, with the crossing test written out
// on its own: both ends of each edge strictly on opposite sides of the other.
int allPairsCrossings(const Outline& p) {
    const std::size_t n = p.size();
    auto side = [](math::Vec2 a, math::Vec2 b, math::Vec2 c) {
        const double d = (double(b.x) - a.x) * (double(c.y) - a.y) - (double(b.y) - a.y) * (double(c.x) - a.x);
        return (d > 0) - (d < 0);
    };
    int count = 0;
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = i + 2; j < n; ++j) {
            if (i == 0 && j == n - 1) continue; // the closing edge meets the first
            const math::Vec2 a = p[i], b = p[(i + 1) % n], c = p[j], d = p[(j + 1) % n];
            if (side(a, b, c) * side(a, b, d) < 0 && side(c, d, a) * side(c, d, b) < 0) ++count;
        }
    return count;
}

Outline randomOutline(int n, uint32_t seed) {
    Outline p;
    for (int i = 0; i < n; ++i) {
        seed = seed * 1664525u + 1013904223u;
        const float x = static_cast<float>((seed >> 8) % 1000);
        seed = seed * 1664525u + 1013904223u;
        const float y = static_cast<float>((seed >> 8) % 1000);
        p.push_back({x, y});
    }
    return p;
}
} // namespace

TEST(OutlineCrossings, HandWorkedFigures) {
    EXPECT_EQ(outline::countCrossings({{0, 0}, {10, 0}, {10, 10}, {0, 10}}).crossings, 0) << "square";
    EXPECT_EQ(outline::countCrossings({{0, 0}, {10, 10}, {10, 0}, {0, 10}}).crossings, 1) << "bow tie";
    // A pentagram drawn point to every second point: each edge crosses two others.
    const Outline star = {{50, 100}, {79, 10}, {2, 65}, {98, 65}, {21, 10}};
    EXPECT_EQ(outline::countCrossings(star).crossings, 5);
    // Edges that only touch (a point on another edge) do not cross.
    EXPECT_EQ(outline::countCrossings({{0, 0}, {10, 0}, {5, 0}, {5, 10}}).crossings, 0);
}

TEST(OutlineCrossings, AgreesWithAllPairsOnRandomOutlines) {
    for (uint32_t seed = 1; seed <= 6; ++seed) {
        const Outline p = randomOutline(40 + static_cast<int>(seed) * 7, seed);
        const outline::CrossingCount got = outline::countCrossings(p, 1 << 30, INT64_MAX);
        EXPECT_FALSE(got.stopped);
        EXPECT_EQ(got.crossings, allPairsCrossings(p)) << "seed " << seed;
    }
}

TEST(OutlineCrossings, StopsAtEitherLimit) {
    const Outline star = {{50, 100}, {79, 10}, {2, 65}, {98, 65}, {21, 10}};
    EXPECT_FALSE(outline::countCrossings(star, 5).stopped);
    EXPECT_TRUE(outline::countCrossings(star, 4).stopped);
    // A comb of long horizontal teeth: no crossings, but every edge overlaps
    // every other along x, so the pairs to compare run out first.
    Outline comb;
    for (int i = 0; i < 200; ++i) {
        comb.push_back({0, static_cast<float>(2 * i)});
        comb.push_back({1000, static_cast<float>(2 * i)});
        comb.push_back({1000, static_cast<float>(2 * i + 1)});
        comb.push_back({0, static_cast<float>(2 * i + 1)});
    }
    const outline::CrossingCount wide = outline::countCrossings(comb, 1 << 30, INT64_MAX);
    EXPECT_FALSE(wide.stopped);
    EXPECT_EQ(wide.crossings, allPairsCrossings(comb));
    EXPECT_TRUE(outline::countCrossings(comb, 1 << 30, 1000).stopped);
}

TEST(OutlineCrossings, TheTessellatorRefusesATangledOutline) {
    const Outline tangled = randomOutline(1000, 7); // tens of thousands of crossings
    EXPECT_TRUE(outline::tooTangled(tangled));
    EXPECT_TRUE(tessellatePolygon(tangled).empty());
    // A hand-drawn scribble with a few loops still tessellates.
    const Outline bowTie = {{0, 0}, {10, 10}, {10, 0}, {0, 10}};
    EXPECT_FALSE(outline::tooTangled(bowTie));
    EXPECT_EQ(tessellatePolygon(bowTie).size(), 6u);
}
