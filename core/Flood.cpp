#include "core/Flood.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace flood {

namespace {

constexpr uint8_t kUntouched = 0, kRegion = 1, kRim = 2;
// Before the search every pixel is tested once, in one pass over the picture
// without a branch: a pixel that fails starts as kFails, one that passes as
// kUntouched. The search then reads only the mask, and a failing pixel it
// reaches becomes rim; those it never reaches count as untouched.
constexpr uint8_t kFails = 3;

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
    // The mask's starting state: kUntouched where the pixel passes, else kFails.
    void markFailures(const uint8_t* source, uint8_t* mask, size_t n) const {
        for (size_t i = 0; i < n; ++i, source += 4) {
            const uint8_t pass = ok[0][source[0]] & ok[1][source[1]] & ok[2][source[2]] & ok[3][source[3]];
            mask[i] = static_cast<uint8_t>(kFails * (1 - pass));
        }
    }
};

struct Box {
    int32_t x0, y0, x1, y1; // inclusive while searching
    void add(int32_t xa, int32_t xb, int32_t y) {
        x0 = std::min(x0, xa), x1 = std::max(x1, xb);
        y0 = std::min(y0, y), y1 = std::max(y1, y);
    }
};

uint8_t clampToByte(float v) {
    // NaN falls to 0 as well.
    if (!(v > 0.0f)) return 0;
    if (v >= 255.0f) return 255;
    return static_cast<uint8_t>(static_cast<int>(v));
}

// Region and rim depend only on which pixels pass the test and how they
// touch (four neighbours: up, down, left, right; eight: the diagonals too,
// so a one-pixel diagonal line does not stop the region), not on the order
// of the visit. So the search goes by runs along a row: a pixel taken from
// the stack grows into the whole run of passing pixels around it, and the
// rows below and above are scanned along the run (one pixel further each
// way with eight neighbours): pixels that fail become rim, and one pixel of
// each passing run is pushed. The search reads the mask only (the test ran
// before it), the stack holds one entry a run, and no row end ever leads
// into the next row.
class RunSearch {
public:
    RunSearch(int32_t w, int32_t h, Workspace& work, bool diagonals)
        : w_(w), h_(h), mask_(work.mask.data()), stack_(work.stack),
          reach_(diagonals ? 1 : 0) {}

    // Calls run(y, x0, x1) for every run of the region (x1 inclusive); `box`
    // grows over region and rim.
    template <typename OnRun> void search(int32_t seedX, int32_t seedY, Box& box, OnRun&& run) {
        stack_.push_back(seedY * w_ + seedX);
        while (!stack_.empty()) {
            const int32_t i = stack_.back();
            stack_.pop_back();
            if (mask_[i] == kRegion) continue;
            // Pushed pixels passed the test; the seed is in the region whatever the test says.
            mask_[i] = kRegion;
            const int32_t y = i / w_, rowStart = y * w_;
            int32_t left = i - rowStart, right = left;
            while (left > 0 && take(rowStart + left - 1)) --left;
            while (right + 1 < w_ && take(rowStart + right + 1)) ++right;
            box.add(std::max(left - 1, 0), std::min(right + 1, w_ - 1), y);
            run(y, left, right);
            const int32_t from = std::max(left - reach_, 0), to = std::min(right + reach_, w_ - 1);
            if (y > 0) scanRow(rowStart - w_, from, to, y - 1, box);
            if (y + 1 < h_) scanRow(rowStart + w_, from, to, y + 1, box);
        }
    }

private:
    // Grows a run: true when the pixel joins it; one that fails becomes rim.
    bool take(int32_t j) {
        const uint8_t m = mask_[j];
        if (m == kUntouched) {
            mask_[j] = kRegion;
            return true;
        }
        if (m == kFails) mask_[j] = kRim;
        return false;
    }
    void scanRow(int32_t rowStart, int32_t from, int32_t to, int32_t y, Box& box) {
        bool inRun = false, touched = false;
        for (int32_t x = from; x <= to; ++x) {
            const int32_t j = rowStart + x;
            const uint8_t m = mask_[j];
            if (m == kUntouched) {
                touched = true;
                if (!inRun) stack_.push_back(j);
                inRun = true;
                continue;
            }
            if (m == kFails) {
                touched = true;
                mask_[j] = kRim;
            }
            inRun = false;
        }
        if (touched) box.add(from, to, y);
    }

    int32_t w_, h_;
    uint8_t* mask_;
    std::vector<int32_t>& stack_;
    int32_t reach_;
};

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
    uint8_t fillBytes[4];
    for (int c = 0; c < 4; ++c) fillBytes[c] = clampToByte(f[c]);
    for (int32_t y = box.y0; y <= box.y1; ++y)
        for (int32_t x = box.x0; x <= box.x1; ++x) {
            const size_t i = static_cast<size_t>(y) * static_cast<size_t>(w) + static_cast<size_t>(x);
            if (mask[i] != kRegion && mask[i] != kRim) continue;
            const uint8_t* p = source + i * 4;
            uint8_t* out = result + i * 4;
            // The bulk of a region: the seed's own bytes, distance 0.
            if (std::memcmp(p, seedBytes, 4) == 0) {
                std::memcpy(out, fillBytes, 4);
                continue;
            }
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
    work.mask.resize(n);
    work.stack.clear();
    const uint8_t* seedBytes =
        source + (static_cast<size_t>(params.seedY) * static_cast<size_t>(width) + static_cast<size_t>(params.seedX)) * 4;
    Box box{params.seedX, params.seedY, params.seedX, params.seedY};
    AcceptTable table;
    if (!params.lineart) {
        // Plain: the region takes the fill as it is found; the rim stays clear.
        table.build<float>(seedBytes, params.tolerance);
        table.markFailures(source, work.mask.data(), n);
        uint32_t fillWord;
        uint8_t fillBytes[4];
        for (int c = 0; c < 4; ++c) fillBytes[c] = clampToByte(static_cast<float>(params.fill[static_cast<size_t>(c)]));
        std::memcpy(&fillWord, fillBytes, 4);
        RunSearch(width, height, work, false)
            .search(params.seedX, params.seedY, box, [&](int32_t y, int32_t x0, int32_t x1) {
                uint8_t* out = result + (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x0)) * 4;
                for (int32_t x = x0; x <= x1; ++x, out += 4) std::memcpy(out, &fillWord, 4);
            });
    } else {
        // Lineart: the mask first (in double precision), then the colours.
        table.build<double>(seedBytes, params.tolerance);
        table.markFailures(source, work.mask.data(), n);
        RunSearch(width, height, work, true)
            .search(params.seedX, params.seedY, box, [](int32_t, int32_t, int32_t) {});
        lineartColour(source, width, seedBytes, params.fill, result, work, box);
    }
    return {box.x0, box.y0, box.x1 + 1, box.y1 + 1};
}

} // namespace flood
