#include "brush/StrokePoint.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "io/BinaryStream.h"

namespace {

// Where the fields of one stored record sit, for a format index.
struct PointLayout {
    std::size_t bytes = 0;
    bool twoFactors = false;  // else one value for both
    bool angle = false;
    bool mirrored = false;
    bool color = false;       // r, g, b after the angle, no mirrored byte
};

static_assert(kPointAngleSinceFormat < kPointMirroredSinceFormat &&
                  kPointMirroredSinceFormat < kPointTwoFactorsSinceFormat,
              "each plain layout adds to the one before");

PointLayout pointLayout(int32_t formatIndex, bool color) {
    PointLayout l;
    l.twoFactors = formatIndex >= kPointTwoFactorsSinceFormat;
    l.angle = color || formatIndex >= kPointAngleSinceFormat;
    l.color = color;
    l.mirrored = !color && formatIndex >= kPointMirroredSinceFormat;
    l.bytes = 8 + (l.twoFactors ? 8 : 4) + (l.angle ? 4 : 0) + (l.color ? 12 : 0) + (l.mirrored ? 1 : 0);
    return l;
}

// One record through the block reader, so that one decoder serves both.
bool readOne(io::BinaryReader& in, bool color, BrushStrokePoint& p) {
    std::vector<BrushStrokePoint> one;
    if (!readStrokePoints(in, 1, color, one)) return false;
    p = one.front();
    return true;
}

} // namespace

BrushStrokePoint BrushStrokePoint::plain() const {
    BrushStrokePoint p = *this;
    p.colored = false;
    p.r = p.g = p.b = 0.0f;
    return p;
}

BrushStrokePoint BrushStrokePoint::withColor(brush::Rgb c) const {
    BrushStrokePoint p = *this;
    p.colored = true;
    p.r = c.r;
    p.g = c.g;
    p.b = c.b;
    return p;
}

void BrushStrokePoint::write(io::BinaryWriter& out) const {
    out.f32(x);
    out.f32(y);
    out.f32(sizeFactor);
    out.f32(flowFactor);
    out.f32(angle);
    if (colored) {
        out.f32(r);
        out.f32(g);
        out.f32(b);
    } else {
        out.boolean(mirrored);
    }
}

void BrushStrokePoint::read(io::BinaryReader& in) { readOne(in, false, *this); }

std::size_t BrushStrokePoint::storedSize(int32_t formatIndex) { return pointLayout(formatIndex, false).bytes; }

void BrushStrokeColorPoint::read(io::BinaryReader& in) { readOne(in, true, *this); }

std::size_t BrushStrokeColorPoint::storedSize(int32_t formatIndex) { return pointLayout(formatIndex, true).bytes; }

namespace {

constexpr uint32_t kExponentBits = 0x7f800000u;

// True when the stored float is an infinity or not a number.
inline bool notFinite(uint32_t bits) { return (bits & kExponentBits) == kExponentBits; }

inline float clampFactor(float f) { return std::min(std::max(f, 0.0f), kMaxPointFactor); }

// The decode loop of one layout, its choices made at compile time: no
// branch per field, no allocation or call per point. Returns false when a
// value is not a number.
template <bool kTwoFactors, bool kAngle, bool kMirrored, bool kColor>
bool decodeBlock(const uint8_t* s, std::size_t recordBytes, int32_t count, BrushStrokePoint* p) {
    bool bad = false;
    for (int32_t i = 0; i < count; ++i, s += recordBytes, ++p) {
        std::size_t o = 8;
        const uint32_t x = io::loadU32(s), y = io::loadU32(s + 4);
        const uint32_t size = io::loadU32(s + o);
        uint32_t flow = size;
        if constexpr (kTwoFactors) {
            flow = io::loadU32(s + o + 4);
            o += 8;
        } else {
            o += 4;
        }
        uint32_t angle = 0;
        if constexpr (kAngle) {
            angle = io::loadU32(s + o);
            o += 4;
        }
        bad |= notFinite(x) | notFinite(y) | notFinite(size) | notFinite(flow) | notFinite(angle);
        p->x = std::bit_cast<float>(x);
        p->y = std::bit_cast<float>(y);
        p->sizeFactor = clampFactor(std::bit_cast<float>(size));
        p->flowFactor = clampFactor(std::bit_cast<float>(flow));
        p->angle = std::bit_cast<float>(angle);
        if constexpr (kColor) {
            p->colored = true;
            p->r = io::loadF32(s + o);
            p->g = io::loadF32(s + o + 4);
            p->b = io::loadF32(s + o + 8);
        } else if constexpr (kMirrored) {
            p->mirrored = s[o] != 0;
        }
    }
    return !bad;
}

} // namespace

bool readStrokePoints(io::BinaryReader& in, int32_t count, bool colorPoints, std::vector<BrushStrokePoint>& out) {
    const PointLayout l = pointLayout(in.formatIndex, colorPoints);
    if (!in.checkCount(count, l.bytes)) return false;
    if (count == 0) return true;
    std::vector<uint8_t> scratch; // used only for a block larger than the reader's window
    const std::span<const uint8_t> block = in.block(static_cast<std::size_t>(count) * l.bytes, scratch);
    if (block.empty()) return false;
    const std::size_t start = out.size();
    // Fresh points: r, g, b zero, not mirrored, not coloured; the loop
    // writes the rest.
    out.resize(start + static_cast<std::size_t>(count));
    BrushStrokePoint* const p = out.data() + start;
    const uint8_t* s = block.data();
    bool ok = false;
    if (l.color)
        ok = l.twoFactors ? decodeBlock<true, true, false, true>(s, l.bytes, count, p)
                          : decodeBlock<false, true, false, true>(s, l.bytes, count, p);
    else if (l.twoFactors)
        ok = decodeBlock<true, true, true, false>(s, l.bytes, count, p);  // from the two-factor index on, all fields
    else if (l.mirrored)
        ok = decodeBlock<false, true, true, false>(s, l.bytes, count, p);
    else if (l.angle)
        ok = decodeBlock<false, true, false, false>(s, l.bytes, count, p);
    else
        ok = decodeBlock<false, false, false, false>(s, l.bytes, count, p);
    if (!ok) {
        out.resize(start);
        in.fail("stroke point is not a number");
        return false;
    }
    return true;
}

void writeStrokePoints(io::BinaryWriter& out, std::span<const BrushStrokePoint> points, bool colorPoints,
                       brush::Rgb strokeColor) {
    const PointLayout l = pointLayout(kPointTwoFactorsSinceFormat, colorPoints);
    constexpr std::size_t kChunkPoints = 256;
    uint8_t chunk[kChunkPoints * 32];
    static_assert(sizeof(chunk) >= kChunkPoints * 32, "a colour record is 32 bytes");
    std::size_t i = 0;
    while (i < points.size()) {
        const std::size_t n = std::min(kChunkPoints, points.size() - i);
        uint8_t* d = chunk;
        for (std::size_t k = 0; k < n; ++k, d += l.bytes) {
            const BrushStrokePoint& p = points[i + k];
            io::storeF32(d, p.x);
            io::storeF32(d + 4, p.y);
            io::storeF32(d + 8, p.sizeFactor);
            io::storeF32(d + 12, p.flowFactor);
            io::storeF32(d + 16, p.angle);
            if (colorPoints) {
                io::storeF32(d + 20, p.colored ? p.r : strokeColor.r);
                io::storeF32(d + 24, p.colored ? p.g : strokeColor.g);
                io::storeF32(d + 28, p.colored ? p.b : strokeColor.b);
            } else {
                d[20] = p.mirrored ? 1 : 0;
            }
        }
        out.raw(std::span<const uint8_t>(chunk, n * l.bytes));
        i += n;
    }
}
