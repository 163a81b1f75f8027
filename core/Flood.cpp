#include "core/Flood.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace flood {

namespace {

constexpr uint8_t kUntouched = 0, kRegion = 1, kRim = 2;

// Which byte values of each channel pass the seed test. The test compares
// channels as fractions of 255 with the seed's and rejects a difference
// strictly above the tolerance; it depends on the byte alone, so it is
// worked out once for all 256 values (in the precision the mode asks for)
// and the search does four look-ups a pixel.
struct AcceptTable {
    std::array<std::array<uint8_t, 256>, 4> ok{};

    template <typename Real> void build(const uint8_t* seed, float tolerance) {
        const Real tol = static_cast<Real>(tolerance);
        for (int c = 0; c < 4; ++c) {
            const Real s = static_cast<Real>(seed[c]) / static_cast<Real>(255.0);
            for (int b = 0; b < 256; ++b) {
                const Real v = static_cast<Real>(b) / static_cast<Real>(255.0);
                const Real diff = v > s ? v - s : s - v;
                ok[static_cast<size_t>(c)][static_cast<size_t>(b)] = diff > tol ? 0 : 1;
            }
        }
    }
    bool accepts(const uint8_t* p) const {
        return (ok[0][p[0]] & ok[1][p[1]] & ok[2][p[2]] & ok[3][p[3]]) != 0;
    }
};

// Row and column of an index without a division per pixel: the product with
// the reciprocal is off by at most one row, which the check puts right.
struct RowOf {
    int32_t width;
    double inverse;
    explicit RowOf(int32_t w) : width(w), inverse(1.0 / w) {}
    int32_t operator()(int32_t i) const {
        int32_t y = static_cast<int32_t>(static_cast<double>(i) * inverse);
        if (y * width > i) --y;
        else if ((y + 1) * width <= i) ++y;
        return y;
    }
};

struct Box {
    int32_t x0, y0, x1, y1; // inclusive while searching
    void add(int32_t x, int32_t y) {
        x0 = std::min(x0, x), x1 = std::max(x1, x);
        y0 = std::min(y0, y), y1 = std::max(y1, y);
    }
};

inline void writeFill(uint8_t* out, const std::array<uint8_t, 4>& bytes) { std::memcpy(out, bytes.data(), 4); }

uint8_t clampToByte(float v) {
    // NaN falls to 0 as well.
    if (!(v > 0.0f)) return 0;
    if (v >= 255.0f) return 255;
    return static_cast<uint8_t>(static_cast<int>(v));
}

// Plain mode: four neighbours, result written as the region grows.
void plainSearch(const uint8_t* source, int32_t w, int32_t h, int32_t seed, const AcceptTable& table,
                 const std::array<uint8_t, 4>& fillBytes, uint8_t* result, Workspace& work, Box& box) {
    uint8_t* mask = work.mask.data();
    std::vector<int32_t>& stack = work.stack;
    const RowOf rowOf(w);
    const int32_t n = w * h;
    mask[seed] = kRegion;
    writeFill(result + static_cast<size_t>(seed) * 4, fillBytes);
    stack.push_back(seed);
    auto visit = [&](int32_t j, int32_t x, int32_t y) {
        if (mask[j] != kUntouched) return;
        if (!table.accepts(source + static_cast<size_t>(j) * 4)) {
            mask[j] = kRim;
            return;
        }
        mask[j] = kRegion;
        writeFill(result + static_cast<size_t>(j) * 4, fillBytes);
        box.add(x, y);
        stack.push_back(j);
    };
    while (!stack.empty()) {
        const int32_t i = stack.back();
        stack.pop_back();
        const int32_t y = rowOf(i), x = i - y * w;
        if (i >= w) visit(i - w, x, y - 1);
        if (i + w < n) visit(i + w, x, y + 1);
        if (x > 0) visit(i - 1, x - 1, y);
        if (x + 1 < w) visit(i + 1, x + 1, y);
    }
}

// Lineart phase 1: eight neighbours, only the mask; the rim pixels (mask 2)
// count in the box too, since phase 2 writes them.
void lineartSearch(const uint8_t* source, int32_t w, int32_t h, int32_t seed, const AcceptTable& table,
                   Workspace& work, Box& box) {
    uint8_t* mask = work.mask.data();
    std::vector<int32_t>& stack = work.stack;
    const RowOf rowOf(w);
    mask[seed] = kRegion;
    stack.push_back(seed);
    auto visit = [&](int32_t j, int32_t x, int32_t y) {
        if (mask[j] != kUntouched) return;
        box.add(x, y);
        if (!table.accepts(source + static_cast<size_t>(j) * 4)) {
            mask[j] = kRim;
            return;
        }
        mask[j] = kRegion;
        stack.push_back(j);
    };
    while (!stack.empty()) {
        const int32_t i = stack.back();
        stack.pop_back();
        const int32_t y = rowOf(i), x = i - y * w;
        const bool up = y > 0, down = y + 1 < h, left = x > 0, right = x + 1 < w;
        if (up) {
            if (left) visit(i - w - 1, x - 1, y - 1);
            visit(i - w, x, y - 1);
            if (right) visit(i - w + 1, x + 1, y - 1);
        }
        if (left) visit(i - 1, x - 1, y);
        if (right) visit(i + 1, x + 1, y);
        if (down) {
            if (left) visit(i + w - 1, x - 1, y + 1);
            visit(i + w, x, y + 1);
            if (right) visit(i + w + 1, x + 1, y + 1);
        }
    }
}

inline float channelDistance(const float* p, const float* s) {
    return std::fabs(p[0] - s[0]) + std::fabs(p[1] - s[1]) + std::fabs(p[2] - s[2]) + std::fabs(p[3] - s[3]);
}

// Lineart phase 2: the rim colour C1 (the rim pixel most unlike the seed,
// the first of equals), then every pixel of region and rim is coloured.
void lineartColour(const uint8_t* source, int32_t w, const uint8_t* seedBytes, const std::array<int32_t, 4>& fill,
                   uint8_t* result, const Workspace& work, const Box& box) {
    const uint8_t* mask = work.mask.data();
    std::array<float, 256> unit{};
    for (int b = 0; b < 256; ++b) unit[static_cast<size_t>(b)] = static_cast<float>(b) / 255.0f;
    float s[4], c1[4] = {0, 0, 0, 0};
    for (int c = 0; c < 4; ++c) s[c] = unit[seedBytes[c]];
    float best = 0.0f;
    // Index order: rows bottom to top, each left to right; nothing outside the box is marked.
    for (int32_t y = box.y0; y <= box.y1; ++y)
        for (int32_t x = box.x0; x <= box.x1; ++x) {
            const size_t i = static_cast<size_t>(y) * static_cast<size_t>(w) + static_cast<size_t>(x);
            if (mask[i] != kRim) continue;
            const uint8_t* p = source + i * 4;
            const float pf[4] = {unit[p[0]], unit[p[1]], unit[p[2]], unit[p[3]]};
            const float d = channelDistance(pf, s);
            if (d > best) {
                best = d;
                std::copy(pf, pf + 4, c1);
            }
        }
    const float f[4] = {static_cast<float>(fill[0]), static_cast<float>(fill[1]), static_cast<float>(fill[2]),
                        static_cast<float>(fill[3])};
    const bool transparentSeed = static_cast<int>(s[3] * 255.0) % 256 == 0;
    // Per channel: whether the seed and the line colour differ enough to
    // blend between them, and by how much.
    float delta[4];
    bool blends[4];
    for (int c = 0; c < 4; ++c) {
        delta[c] = s[c] - c1[c];
        blends[c] = static_cast<int>(delta[c] * 255.0) % 256 != 0;
    }
    for (int32_t y = box.y0; y <= box.y1; ++y)
        for (int32_t x = box.x0; x <= box.x1; ++x) {
            const size_t i = static_cast<size_t>(y) * static_cast<size_t>(w) + static_cast<size_t>(x);
            if (mask[i] == kUntouched) continue;
            const uint8_t* p = source + i * 4;
            uint8_t* out = result + i * 4;
            const float pf[4] = {unit[p[0]], unit[p[1]], unit[p[2]], unit[p[3]]};
            const float d = channelDistance(pf, s);
            float v[4];
            if (d <= 0.0f) {
                // Exactly the seed colour.
                std::copy(f, f + 4, v);
            } else if (transparentSeed) {
                // The pixel keeps what it has and the fill goes behind it.
                for (int c = 0; c < 3; ++c) v[c] = f[c] * (1.0f - pf[3]) + pf[c] * 255.0f;
                v[3] = f[3] + pf[3] * 255.0f;
            } else {
                // Between line colour (t 0) and seed colour (t 1), channel by channel.
                float t[4] = {1.0f, 1.0f, 1.0f, 0.0f};
                for (int c = 0; c < 4; ++c)
                    if (blends[c]) t[c] = (pf[c] - c1[c]) / delta[c];
                for (int c = 0; c < 4; ++c) v[c] = c1[c] * 255.0f * (1.0f - t[c]) + f[c] * t[c];
            }
            for (int c = 0; c < 4; ++c) out[c] = clampToByte(v[c]);
        }
}

} // namespace

std::array<int32_t, 4> fillColour(const brush::Rgb& colour, float opacity) {
    return {static_cast<int32_t>(colour.r * 255.0 * opacity), static_cast<int32_t>(colour.g * 255.0 * opacity),
            static_cast<int32_t>(colour.b * 255.0 * opacity), static_cast<int32_t>(opacity * 255.0)};
}

Bounds fill(const uint8_t* source, int32_t width, int32_t height, const Params& params, uint8_t* result,
            Workspace& work) {
    if (width <= 0 || height <= 0) return {};
    const size_t n = static_cast<size_t>(width) * static_cast<size_t>(height);
    std::memset(result, 0, n * 4);
    if (params.seedX < 0 || params.seedY < 0 || params.seedX >= width || params.seedY >= height) return {};
    work.mask.assign(n, kUntouched);
    work.stack.clear();
    const int32_t seed = params.seedY * width + params.seedX;
    const uint8_t* seedBytes = source + static_cast<size_t>(seed) * 4;
    Box box{params.seedX, params.seedY, params.seedX, params.seedY};
    AcceptTable table;
    if (!params.lineart) {
        table.build<float>(seedBytes, params.tolerance);
        std::array<uint8_t, 4> fillBytes;
        for (int c = 0; c < 4; ++c)
            fillBytes[static_cast<size_t>(c)] = clampToByte(static_cast<float>(params.fill[static_cast<size_t>(c)]));
        plainSearch(source, width, height, seed, table, fillBytes, result, work, box);
    } else {
        table.build<double>(seedBytes, params.tolerance);
        lineartSearch(source, width, height, seed, table, work, box);
        lineartColour(source, width, seedBytes, params.fill, result, work, box);
    }
    return {box.x0, box.y0, box.x1 + 1, box.y1 + 1};
}

} // namespace flood
