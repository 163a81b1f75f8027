// The bucket fill's search on small pixel grids. Every expected byte below
// is worked out by hand from the rules of the fill (the working is in the
// comments), not taken from the code under test.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "core/Flood.h"

namespace {

using Px = std::array<uint8_t, 4>;
constexpr Px kClear{0, 0, 0, 0};
constexpr Px kBlack{0, 0, 0, 255};
// Fill colour of the tests: (200, 100, 50) at full opacity.
constexpr std::array<int32_t, 4> kFill{200, 100, 50, 255};
constexpr Px kFillPx{200, 100, 50, 255};

struct Grid {
    int w, h;
    std::vector<uint8_t> bytes;
    Grid(int w_, int h_, Px all = kClear) : w(w_), h(h_), bytes(static_cast<size_t>(w_ * h_) * 4) {
        for (int i = 0; i < w * h; ++i)
            for (int c = 0; c < 4; ++c) bytes[static_cast<size_t>(i * 4 + c)] = all[static_cast<size_t>(c)];
    }
    // Rows listed bottom first, as index y * w + x orders them.
    static Grid rows(std::initializer_list<std::initializer_list<Px>> rowList) {
        const int h = static_cast<int>(rowList.size());
        const int w = static_cast<int>(rowList.begin()->size());
        Grid g(w, h);
        int y = 0;
        for (const auto& row : rowList) {
            int x = 0;
            for (const Px& p : row) g.set(x++, y, p);
            ++y;
        }
        return g;
    }
    void set(int x, int y, Px p) {
        for (int c = 0; c < 4; ++c) bytes[static_cast<size_t>((y * w + x) * 4 + c)] = p[static_cast<size_t>(c)];
    }
    Px at(int x, int y) const {
        Px p;
        for (int c = 0; c < 4; ++c) p[static_cast<size_t>(c)] = bytes[static_cast<size_t>((y * w + x) * 4 + c)];
        return p;
    }
};

struct FloodRun {
    Grid result;
    flood::Bounds box;
};

FloodRun fillFrom(const Grid& source, int seedX, int seedY, float tolerance, bool lineart,
             std::array<int32_t, 4> fill = kFill) {
    flood::Params p;
    p.seedX = seedX;
    p.seedY = seedY;
    p.fill = fill;
    p.tolerance = tolerance;
    p.lineart = lineart;
    FloodRun run{Grid(source.w, source.h, Px{9, 9, 9, 9}), {}}; // garbage: the fill must clear it
    flood::Workspace work;
    run.box = flood::fill(source.bytes.data(), source.w, source.h, p, run.result.bytes.data(), work);
    return run;
}

void expectRows(const Grid& got, std::initializer_list<std::initializer_list<Px>> rowsBottomFirst) {
    const Grid want = Grid::rows(rowsBottomFirst);
    ASSERT_EQ(got.w, want.w);
    ASSERT_EQ(got.h, want.h);
    for (int y = 0; y < got.h; ++y)
        for (int x = 0; x < got.w; ++x) {
            const Px a = got.at(x, y), b = want.at(x, y);
            EXPECT_EQ(a, b) << "pixel (" << x << ", " << y << "): got " << int(a[0]) << ',' << int(a[1]) << ','
                            << int(a[2]) << ',' << int(a[3]) << " want " << int(b[0]) << ',' << int(b[1]) << ','
                            << int(b[2]) << ',' << int(b[3]);
        }
}

} // namespace

// Tolerance 0.1 on a transparent layer: 20/255 = 0.078 and 25/255 = 0.098
// pass, 26/255 = 0.102 fails, so everything but that one pixel is filled.
TEST(Flood, TransparentLayerFillsAllWithinTolerance) {
    Grid g(5, 4);
    g.set(4, 3, {20, 20, 20, 20});
    g.set(0, 0, {0, 0, 25, 25});
    g.set(2, 1, {26, 0, 0, 26});
    const FloodRun r = fillFrom(g, 1, 2, 0.1f, false);
    const Px F = kFillPx, O = kClear;
    expectRows(r.result, {{F, F, F, F, F}, {F, F, O, F, F}, {F, F, F, F, F}, {F, F, F, F, F}});
    EXPECT_EQ(r.box.x0, 0);
    EXPECT_EQ(r.box.y0, 0);
    EXPECT_EQ(r.box.x1, 5);
    EXPECT_EQ(r.box.y1, 4);
}

// The test is against the seed, not the neighbour: a ramp of red in steps
// of 20 stops after 20 (20/255 = 0.078 passes, 40/255 = 0.157 fails).
TEST(Flood, NoCreepAlongARamp) {
    const Grid g = Grid::rows({{{0, 0, 0, 255}, {20, 0, 0, 255}, {40, 0, 0, 255}, {60, 0, 0, 255}, {80, 0, 0, 255}}});
    const FloodRun r = fillFrom(g, 0, 0, 0.1f, false);
    const Px F = kFillPx, O = kClear;
    expectRows(r.result, {{F, F, O, O, O}});
    // The box holds what was written, and at most the rim pixel more.
    EXPECT_GE(r.box.x1, 2);
    EXPECT_LE(r.box.x1, 3);
}

// Tolerance 0 takes only equal pixels: one step of 1 in red is refused.
TEST(Flood, ZeroToleranceTakesExactColourOnly) {
    const Grid g = Grid::rows({{{10, 10, 10, 10}, {10, 10, 10, 10}, {11, 10, 10, 10}}});
    const FloodRun r = fillFrom(g, 0, 0, 0.0f, false);
    expectRows(r.result, {{kFillPx, kFillPx, kClear}});
}

// A black diagonal from (0,0) to (3,3). Plain: four neighbours never cross
// it, so only the six pixels with x < y take the fill.
TEST(Flood, PlainDoesNotCrossADiagonal) {
    Grid g(4, 4);
    for (int i = 0; i < 4; ++i) g.set(i, i, kBlack);
    const FloodRun r = fillFrom(g, 0, 3, 0.1f, false);
    const Px F = kFillPx, O = kClear;
    expectRows(r.result, {{O, O, O, O}, {F, O, O, O}, {F, F, O, O}, {F, F, F, O}});
}

// Lineart: eight neighbours step across the diagonal, so all ten clear
// pixels are the region and the four black ones the rim. The seed is
// transparent: a rim pixel keeps its colour and the fill goes behind it:
// R, G, B = fill * (1 - 1) + 0 * 255 = 0; A = 255 + 255 -> capped at 255.
TEST(Flood, LineartCrossesADiagonal) {
    Grid g(4, 4);
    for (int i = 0; i < 4; ++i) g.set(i, i, kBlack);
    const FloodRun r = fillFrom(g, 0, 3, 0.1f, true);
    const Px F = kFillPx, L = kBlack;
    expectRows(r.result, {{L, F, F, F}, {F, L, F, F}, {F, F, L, F}, {F, F, F, L}});
}

// Plain: at a row end the next index is the next row's first pixel; it is
// not a neighbour. Column 1 is a wall, the seed is at (2,0): only column 2.
TEST(Flood, NoWrapAroundRowEnds) {
    const Grid g = Grid::rows({{kClear, kBlack, kClear}, {kClear, kBlack, kClear}});
    const Px F = kFillPx, O = kClear, L = kBlack;
    expectRows(fillFrom(g, 2, 0, 0.1f, false).result, {{O, O, F}, {O, O, F}});
    // Lineart likewise; the wall is rim, transparent seed: (0, 0, 0, 255).
    expectRows(fillFrom(g, 2, 0, 0.1f, true).result, {{O, L, F}, {O, L, F}});
    // And from the left end: the previous index is the row below's last pixel.
    expectRows(fillFrom(g, 0, 1, 0.1f, false).result, {{F, O, O}, {F, O, O}});
}

// A seed off the grid writes nothing (and clears the result).
TEST(Flood, SeedOutsideWritesNothing) {
    const Grid g(3, 3);
    for (auto [x, y] : {std::pair{-1, 0}, {0, -1}, {3, 0}, {0, 3}}) {
        const FloodRun r = fillFrom(g, x, y, 0.5f, false);
        EXPECT_TRUE(r.box.empty());
        const Px O = kClear;
        expectRows(r.result, {{O, O, O}, {O, O, O}, {O, O, O}});
    }
}

// Opacity 0.5: each channel int(c * 255 * 0.5), alpha int(0.5 * 255) = 127.
// 0.2 * 127.5 = 25.5 -> 25; 0.6 * 127.5 = 76.5 -> 76; 1.0 * 127.5 -> 127.
TEST(Flood, FillColourTruncates) {
    EXPECT_EQ(flood::fillColour({0.2f, 0.6f, 1.0f}, 0.5f), (std::array<int32_t, 4>{25, 76, 127, 127}));
    EXPECT_EQ(flood::fillColour({1, 1, 1}, 1.0f), (std::array<int32_t, 4>{255, 255, 255, 255}));
    EXPECT_EQ(flood::fillColour({1, 1, 1}, 0.0f), (std::array<int32_t, 4>{0, 0, 0, 0}));
}

// Lineart with a transparent seed, fill (200, 100, 50, 127). Row:
// A (40,40,40,100), seed (0,0,0,0), B (40,40,40,200), then two clear pixels
// that the rim cuts off. A and B are rim (alpha differs by far more than 0.1).
//   A: R = 200 * (1 - 100/255) + 40 = 121.57 + 40 = 161.57 -> 161
//      G = 100 * 155/255 + 40 = 100.78 -> 100;  B = 50 * 155/255 + 40 = 70.39 -> 70
//      alpha = 127 + 100 = 227
//   B: R = 200 * 55/255 + 40 = 83.14 -> 83; G = 100 * 55/255 + 40 = 61.57 -> 61
//      B = 50 * 55/255 + 40 = 50.78 -> 50; alpha = 127 + 200 = 327 -> 255
TEST(Flood, LineartTransparentSeedPutsFillBehind) {
    const Grid g = Grid::rows({{{40, 40, 40, 100}, kClear, {40, 40, 40, 200}, kClear, kClear}});
    const FloodRun r = fillFrom(g, 1, 0, 0.1f, true, {200, 100, 50, 127});
    expectRows(r.result, {{{161, 100, 70, 227}, {200, 100, 50, 127}, {83, 61, 50, 255}, kClear, kClear}});
    EXPECT_EQ(r.box.x0, 0);
    EXPECT_EQ(r.box.x1, 3);
}

// Lineart with a solid seed S = white (255,255,255,255); the line
// L = (0,0,255,255) and an anti-aliased step P = (128,128,255,255):
//   y=1:  S S L
//   y=0:  S P L     seed (0,0)
// Region: the three S. Rim: P, L(2,0) (diagonal of (1,1)), L(2,1).
// C1: distances to S, P: 2 * 127/255 = 0.996, L: 2; the first L in index
// order (2,0) wins, C1 = (0, 0, 1, 1).
// delta = S - C1 = (1, 1, 0, 0): R and G blend, B and A do not, so
// t = (tR, tG, 1, 0).
// Fill (200, 100, 50, 200), so that alpha shows whose value it took.
//   S: distance 0 -> the fill (200, 100, 50, 200).
//   L: tR = tG = 0 -> R = G = 0; B: t 1 -> fill's 50; A: t 0 -> C1's 255.
//   P: tR = tG = 128/255 = 0.50196; R = 200 * 0.50196 = 100.39 -> 100,
//      G = 100 * 0.50196 = 50.196 -> 50; B = 50; A = 255.
TEST(Flood, LineartSolidSeedBlendsRimBetweenLineAndFill) {
    const Px S{255, 255, 255, 255}, L{0, 0, 255, 255}, P{128, 128, 255, 255};
    const Grid g = Grid::rows({{S, P, L}, {S, S, L}});
    const FloodRun r = fillFrom(g, 0, 0, 0.1f, true, {200, 100, 50, 200});
    const Px F{200, 100, 50, 200};
    expectRows(r.result, {{F, {100, 50, 50, 255}, {0, 0, 50, 255}}, {F, F, {0, 0, 50, 255}}});
}

// Plain mode with the same grid: hard edges, the rim stays untouched.
TEST(Flood, PlainLeavesTheRimAlone) {
    const Px S{255, 255, 255, 255}, L{0, 0, 255, 255}, P{128, 128, 255, 255};
    const Grid g = Grid::rows({{S, P, L}, {S, S, L}});
    const FloodRun r = fillFrom(g, 0, 0, 0.1f, false);
    const Px F = kFillPx, O = kClear;
    expectRows(r.result, {{F, O, O}, {F, F, O}});
}

// Lineart, a rim pixel between line and seed is mixed in proportion.
//   y=1:  S S C
//   y=0:  S E C     S white, C = (100,100,100,255) the line, E = (200,200,200,255)
// C1 = C (distance 3 * 155/255 beats E's 3 * 55/255); delta = 155/255 in
// R, G, B (blend), 0 in alpha (t 0). Fill (200, 90, 50, 255).
//   E: t = (200 - 100) / 155 = 0.64516; 100 * (1 - t) = 35.484, so
//      R = 35.484 + 200 t = 164.52 -> 164; G = 35.484 + 90 t = 93.55 -> 93;
//      B = 35.484 + 50 t = 67.74 -> 67; A = 255 * (1 - 0) = 255.
//   C: t = 0 -> C1 itself, (100, 100, 100, 255).
TEST(Flood, LineartMixesInProportion) {
    const Px S{255, 255, 255, 255}, C{100, 100, 100, 255}, E{200, 200, 200, 255};
    const Grid g = Grid::rows({{S, E, C}, {S, S, C}});
    const FloodRun r = fillFrom(g, 0, 0, 0.1f, true, {200, 90, 50, 255});
    const Px F{200, 90, 50, 255};
    // C: t = 0 in R, G, B -> C1's 100; alpha t 0 -> 255.
    expectRows(r.result, {{F, {164, 93, 67, 255}, {100, 100, 100, 255}}, {F, F, {100, 100, 100, 255}}});
}

namespace {
// The plainest possible search, pixel by pixel from a queue, as the
// reference for larger pictures: 1 region, 2 rim.
std::vector<uint8_t> referenceMask(const Grid& g, int sx, int sy, float tolerance, bool eight) {
    std::vector<uint8_t> mask(static_cast<size_t>(g.w * g.h), 0);
    const Px seed = g.at(sx, sy);
    auto passes = [&](int x, int y) {
        const Px p = g.at(x, y);
        for (int c = 0; c < 4; ++c)
            if (std::fabs(p[static_cast<size_t>(c)] / 255.0 - seed[static_cast<size_t>(c)] / 255.0) > tolerance)
                return false;
        return true;
    };
    std::vector<std::pair<int, int>> todo{{sx, sy}};
    mask[static_cast<size_t>(sy * g.w + sx)] = 1;
    while (!todo.empty()) {
        const auto [x, y] = todo.back();
        todo.pop_back();
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) {
                if ((dx == 0 && dy == 0) || (!eight && dx != 0 && dy != 0)) continue;
                const int nx = x + dx, ny = y + dy;
                if (nx < 0 || ny < 0 || nx >= g.w || ny >= g.h) continue;
                uint8_t& m = mask[static_cast<size_t>(ny * g.w + nx)];
                if (m != 0) continue;
                m = passes(nx, ny) ? 1 : 2;
                if (m == 1) todo.push_back({nx, ny});
            }
    }
    return mask;
}
} // namespace

// Mazes of noise: the region and rim found against the reference search.
// Plain: the fill exactly on the region. Lineart from a clear seed with an
// opaque fill: every pixel of region and rim comes out opaque (fill alpha
// plus the pixel's, capped), every other pixel stays clear.
TEST(Flood, NoisyMazesMatchAPixelByPixelSearch) {
    uint32_t state = 12345;
    auto next = [&state] {
        state = state * 1664525u + 1013904223u;
        return state >> 24;
    };
    for (int round = 0; round < 40; ++round) {
        Grid g(37, 23);
        for (int y = 0; y < g.h; ++y)
            for (int x = 0; x < g.w; ++x) {
                const uint32_t r = next() % 10;
                // Mostly clear, walls of dark ink, some faint pixels within the tolerance.
                if (r < 4) g.set(x, y, {0, 0, 0, static_cast<uint8_t>(150 + r * 20)});
                else if (r == 4) g.set(x, y, {10, 10, 10, 10});
            }
        const int sx = static_cast<int>(next() % 37), sy = static_cast<int>(next() % 23);
        g.set(sx, sy, kClear);
        for (bool lineart : {false, true}) {
            const std::vector<uint8_t> want = referenceMask(g, sx, sy, 0.1f, lineart);
            const FloodRun r = fillFrom(g, sx, sy, 0.1f, lineart);
            int wrong = 0;
            for (int y = 0; y < g.h; ++y)
                for (int x = 0; x < g.w; ++x) {
                    const uint8_t m = want[static_cast<size_t>(y * g.w + x)];
                    const Px got = r.result.at(x, y);
                    if (!lineart) wrong += got != (m == 1 ? kFillPx : kClear);
                    else wrong += (got[3] == 255) != (m != 0) || (m == 0 && got != kClear);
                    if (got[3] != 0) {
                        EXPECT_GE(x, r.box.x0);
                        EXPECT_LT(x, r.box.x1);
                        EXPECT_GE(y, r.box.y0);
                        EXPECT_LT(y, r.box.y1);
                    }
                }
            EXPECT_EQ(wrong, 0) << "round " << round << (lineart ? " lineart" : " plain");
        }
    }
}
