// A stroke's point block read and written in one piece: records built byte by byte in
// every stored layout decode to the same values, from memory and through a
// streaming reader whose window is smaller than the block, and damaged
// blocks (cut short, absurd counts, values that are not numbers) are
// refused before anything is kept.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "brush/StrokePoint.h"
#include "io/BinaryStream.h"

namespace {

void putU32(std::vector<uint8_t>& b, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
void putF32(std::vector<uint8_t>& b, float f) {
    uint32_t u;
    std::memcpy(&u, &f, 4);
    putU32(b, u);
}

// Point i of a test block: distinct values in every field.
struct Expected {
    float x, y, size, flow, angle, r, g, b;
    bool mirrored;
};
Expected expectedPoint(int i) {
    return {1.5f + i, -2.25f * i, 0.125f * (i % 8), 1.0f - 0.0625f * (i % 16), 3.0f * i,
            0.01f * (i % 100), 0.5f, 1.0f - 0.01f * (i % 100), i % 3 == 1};
}

// Writes the record of point i the way the given format stored it.
void putRecord(std::vector<uint8_t>& b, int i, int32_t formatIndex, bool colour) {
    const Expected e = expectedPoint(i);
    putF32(b, e.x);
    putF32(b, e.y);
    if (formatIndex >= 19) {
        putF32(b, e.size);
        putF32(b, e.flow);
    } else {
        putF32(b, e.size);  // one pressure value
    }
    if (formatIndex >= 14) putF32(b, e.angle);
    if (colour) {
        putF32(b, e.r);
        putF32(b, e.g);
        putF32(b, e.b);
    } else if (formatIndex >= 16) {
        b.push_back(e.mirrored ? 1 : 0);
    }
}

std::vector<uint8_t> block(int count, int32_t formatIndex, bool colour) {
    std::vector<uint8_t> b;
    for (int i = 0; i < count; ++i) putRecord(b, i, formatIndex, colour);
    return b;
}

void expectPoints(const std::vector<BrushStrokePoint>& got, int count, int32_t formatIndex, bool colour) {
    ASSERT_EQ(got.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const Expected e = expectedPoint(i);
        const BrushStrokePoint& p = got[static_cast<std::size_t>(i)];
        EXPECT_EQ(p.x, e.x) << i;
        EXPECT_EQ(p.y, e.y) << i;
        EXPECT_EQ(p.sizeFactor, e.size) << i;
        EXPECT_EQ(p.flowFactor, formatIndex >= 19 ? e.flow : e.size) << i;
        EXPECT_EQ(p.angle, formatIndex >= 14 ? e.angle : 0.0f) << i;
        EXPECT_EQ(p.mirrored, !colour && formatIndex >= 16 && e.mirrored) << i;
        EXPECT_EQ(p.hasColor(), colour) << i;
        if (colour) {
            EXPECT_EQ(p.vertexColor(0.5f), (std::array<float, 4>{e.r, e.g, e.b, 0.5f})) << i;
        } else {
            EXPECT_EQ(p.vertexColor(0.5f), (std::array<float, 4>{1, 1, 1, 0.5f})) << i;
        }
        if (::testing::Test::HasFailure()) return;
    }
}

struct MemorySource : io::ByteSource {
    explicit MemorySource(std::vector<uint8_t> b) : bytes(std::move(b)) {}
    std::size_t size() const override { return bytes.size(); }
    bool readAt(std::size_t offset, uint8_t* out, std::size_t n) override {
        if (offset + n > bytes.size()) return false;
        std::memcpy(out, bytes.data() + offset, n);
        return true;
    }
    std::vector<uint8_t> bytes;
};

} // namespace

TEST(StrokePointBlock, EveryLayoutDecodesFromMemory) {
    const struct {
        int32_t format;
        bool colour;
        std::size_t recordBytes;
    } layouts[] = {{22, false, 21}, {22, true, 32}, {18, false, 17}, {18, true, 28},
                   {15, false, 16}, {14, true, 28}, {13, false, 12}, {0, false, 12}};
    for (const auto& l : layouts) {
        SCOPED_TRACE(::testing::Message() << "format " << l.format << (l.colour ? " colour" : " plain"));
        const int count = 37;
        std::vector<uint8_t> bytes = block(count, l.format, l.colour);
        ASSERT_EQ(bytes.size(), count * l.recordBytes);
        bytes.push_back(0xAB);  // what follows the block stays unread
        io::BinaryReader in(bytes);
        in.formatIndex = l.format;
        std::vector<BrushStrokePoint> points;
        ASSERT_TRUE(readStrokePoints(in, count, l.colour, points)) << in.error();
        expectPoints(points, count, l.format, l.colour);
        EXPECT_EQ(in.position(), count * l.recordBytes);
        EXPECT_EQ(l.colour ? BrushStrokeColorPoint::storedSize(l.format) : BrushStrokePoint::storedSize(l.format),
                  l.recordBytes);
    }
}

TEST(StrokePointBlock, AppendsAfterWhatIsThere) {
    const std::vector<uint8_t> bytes = block(5, 22, false);
    io::BinaryReader in(bytes);
    in.formatIndex = 22;
    std::vector<BrushStrokePoint> points(2, BrushStrokePoint({-7, -7}, 1, 1, false, 0));
    ASSERT_TRUE(readStrokePoints(in, 5, false, points));
    ASSERT_EQ(points.size(), 7u);
    EXPECT_EQ(points[1].x, -7.0f);
    EXPECT_EQ(points[2].x, expectedPoint(0).x);
    EXPECT_EQ(points[6].angle, expectedPoint(4).angle);
}

// A window of 64 bytes: blocks that straddle its edge and blocks larger
// than it, read among other fields.
TEST(StrokePointBlock, StreamingReaderGivesTheSamePoints) {
    for (int count : {1, 2, 3, 5, 40, 1000}) {
        SCOPED_TRACE(count);
        std::vector<uint8_t> bytes;
        for (int rep = 0; rep < 3; ++rep) {
            putU32(bytes, 0xC0FFEE00u + static_cast<uint32_t>(rep));
            bytes.push_back(static_cast<uint8_t>(rep));
            const std::vector<uint8_t> b = block(count, 22, rep == 1);
            bytes.insert(bytes.end(), b.begin(), b.end());
        }
        MemorySource source(bytes);
        io::BinaryReader in(source, 64);
        in.formatIndex = 22;
        for (int rep = 0; rep < 3; ++rep) {
            uint32_t marker = 0;
            uint8_t byte = 0;
            ASSERT_TRUE(in.u32(marker));
            ASSERT_TRUE(in.u8(byte));
            EXPECT_EQ(marker, 0xC0FFEE00u + static_cast<uint32_t>(rep));
            EXPECT_EQ(byte, rep);
            std::vector<BrushStrokePoint> points;
            ASSERT_TRUE(readStrokePoints(in, count, rep == 1, points)) << in.error();
            expectPoints(points, count, 22, rep == 1);
        }
        EXPECT_TRUE(in.atEnd());
    }
}

TEST(StrokePointBlock, TruncatedBlockIsRefused) {
    std::vector<uint8_t> bytes = block(10, 22, false);
    bytes.pop_back();  // the last record's mirrored byte is missing
    for (bool streaming : {false, true}) {
        MemorySource source(bytes);
        io::BinaryReader memory(bytes);
        io::BinaryReader stream(source, 16);
        io::BinaryReader& in = streaming ? stream : memory;
        in.formatIndex = 22;
        std::vector<BrushStrokePoint> points;
        EXPECT_FALSE(readStrokePoints(in, 10, false, points));
        EXPECT_TRUE(in.failed());
        EXPECT_TRUE(points.empty());
    }
}

TEST(StrokePointBlock, AbsurdCountsFailBeforeAllocating) {
    const std::vector<uint8_t> bytes = block(4, 22, true);
    for (int32_t count : {-1, 5, std::numeric_limits<int32_t>::max()}) {
        io::BinaryReader in(bytes);
        in.formatIndex = 22;
        std::vector<BrushStrokePoint> points;
        EXPECT_FALSE(readStrokePoints(in, count, true, points)) << count;
        EXPECT_TRUE(in.failed());
        EXPECT_EQ(points.capacity(), 0u) << "nothing reserved for " << count;
    }
}

TEST(StrokePointBlock, ValuesThatAreNotNumbersAreRefused) {
    const float bad[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                         -std::numeric_limits<float>::infinity()};
    // Each of x, y, size, flow and angle in turn, in the middle of a block.
    for (int field = 0; field < 5; ++field) {
        for (float value : bad) {
            std::vector<uint8_t> bytes = block(9, 22, false);
            const std::size_t at = 4 * 21 + static_cast<std::size_t>(field) * 4;
            std::memcpy(bytes.data() + at, &value, 4);
            io::BinaryReader in(bytes);
            in.formatIndex = 22;
            std::vector<BrushStrokePoint> points(1);
            EXPECT_FALSE(readStrokePoints(in, 9, false, points)) << field << " " << value;
            EXPECT_EQ(in.error(), "stroke point is not a number");
            EXPECT_EQ(points.size(), 1u) << "what was there before stays";
        }
    }
    // Large finite values whose sum overflows are still numbers.
    std::vector<uint8_t> bytes;
    for (int i = 0; i < 2; ++i) {
        putF32(bytes, 3.0e38f);
        putF32(bytes, 3.0e38f);
        putF32(bytes, 1.0f);
        putF32(bytes, 1.0f);
        putF32(bytes, 3.0e38f);
        bytes.push_back(0);
    }
    io::BinaryReader in(bytes);
    in.formatIndex = 22;
    std::vector<BrushStrokePoint> points;
    EXPECT_TRUE(readStrokePoints(in, 2, false, points)) << in.error();
}

TEST(StrokePointBlock, FactorsAreClamped) {
    std::vector<uint8_t> bytes;
    const float factors[][2] = {{100.0f, -3.0f}, {4.5f, 0.25f}, {-0.0f, 4.0f}};
    for (const auto& f : factors) {
        putF32(bytes, 1.0f);
        putF32(bytes, 2.0f);
        putF32(bytes, f[0]);
        putF32(bytes, f[1]);
        putF32(bytes, 0.0f);
        putF32(bytes, 0.1f);
        putF32(bytes, 0.2f);
        putF32(bytes, 0.3f);
    }
    io::BinaryReader in(bytes);
    in.formatIndex = 22;
    std::vector<BrushStrokePoint> points;
    ASSERT_TRUE(readStrokePoints(in, 3, true, points));
    EXPECT_EQ(points[0].sizeFactor, 4.0f);
    EXPECT_EQ(points[0].flowFactor, 0.0f);
    EXPECT_EQ(points[1].sizeFactor, 4.0f);
    EXPECT_EQ(points[1].flowFactor, 0.25f);
    EXPECT_EQ(points[2].flowFactor, 4.0f);
}

// The block view: the bytes in place when the window holds them, a copy
// when it cannot.
TEST(StrokePointBlock, ReaderBlockViewsAndCopies) {
    std::vector<uint8_t> bytes(300);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 7);
    io::BinaryReader memory(bytes);
    std::vector<uint8_t> scratch;
    ASSERT_TRUE(memory.skip(10));
    std::span<const uint8_t> v = memory.block(200, scratch);
    ASSERT_EQ(v.size(), 200u);
    EXPECT_EQ(v.data(), bytes.data() + 10) << "from memory the view is the data itself";
    EXPECT_TRUE(scratch.empty());
    EXPECT_TRUE(memory.block(91, scratch).empty());
    EXPECT_TRUE(memory.failed());

    MemorySource source(bytes);
    io::BinaryReader stream(source, 32);
    ASSERT_TRUE(stream.skip(5));
    v = stream.block(20, scratch);  // fits the window
    ASSERT_EQ(v.size(), 20u);
    EXPECT_TRUE(std::equal(v.begin(), v.end(), bytes.begin() + 5));
    v = stream.block(100, scratch);  // larger than the window
    ASSERT_EQ(v.size(), 100u);
    EXPECT_TRUE(std::equal(v.begin(), v.end(), bytes.begin() + 25));
    uint8_t next = 0;
    ASSERT_TRUE(stream.u8(next));
    EXPECT_EQ(next, bytes[125]);
}

// The block writer against records built field by field: a colour stroke
// stores every point with a colour (the stroke's own for a point without
// one), a plain stroke stores the mirrored byte and no colour.
TEST(StrokePointBlock, WriterEncodesEveryRecordInTheCurrentLayout) {
    std::vector<BrushStrokePoint> points;
    for (int i = 0; i < 600; ++i) {  // more than one encoding chunk
        const Expected e = expectedPoint(i);
        BrushStrokePoint p({e.x, e.y}, e.size, e.flow, e.mirrored, e.angle);
        points.push_back(i % 2 == 0 ? p.withColor({e.r, e.g, e.b}) : p);
    }
    const brush::Rgb strokeColor{0.25f, 0.5f, 0.75f};
    for (bool colour : {false, true}) {
        std::vector<uint8_t> expected;
        for (int i = 0; i < 600; ++i) {
            const Expected e = expectedPoint(i);
            for (float f : {e.x, e.y, e.size, e.flow, e.angle}) putF32(expected, f);
            if (!colour) expected.push_back(e.mirrored ? 1 : 0);
            else if (i % 2 == 0) for (float f : {e.r, e.g, e.b}) putF32(expected, f);
            else for (float f : {strokeColor.r, strokeColor.g, strokeColor.b}) putF32(expected, f);
        }
        io::BinaryWriter out;
        writeStrokePoints(out, points, colour, strokeColor);
        EXPECT_EQ(out.bytes(), expected) << (colour ? "colour" : "plain");
        // And one by one, each point's own write gives the same bytes.
        io::BinaryWriter single;
        for (const BrushStrokePoint& p : points)
            (colour ? (p.hasColor() ? p : p.withColor(strokeColor)) : p.plain()).write(single);
        EXPECT_EQ(single.bytes(), expected) << (colour ? "colour" : "plain");
    }
}
