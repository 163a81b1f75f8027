// The brush record, its stored form, the binary stream and the colour
// conversions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "brush/Brush.h"
#include "brush/ColorSpace.h"
#include "io/BinaryStream.h"

namespace {

// Byte helpers for records written by hand in tests.
void putI32(std::vector<uint8_t>& b, int32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i)));
}
void putF32(std::vector<uint8_t>& b, float f) {
    uint32_t u;
    std::memcpy(&u, &f, 4);
    putI32(b, static_cast<int32_t>(u));
}

} // namespace

TEST(BrushRecord, DefaultsMatchTheTable) {
    const Brush b;
    EXPECT_EQ(b.size, 5);
    EXPECT_FALSE(b.SizeFollowsPressure);
    EXPECT_TRUE(b.FlowFollowsPressure);
    EXPECT_EQ(b.tipIndex, 0);
    EXPECT_EQ(b.flags, 1u);
    EXPECT_FLOAT_EQ(b.opacity, 1.0f);
    EXPECT_FLOAT_EQ(b.hardness, 1.0f);
    EXPECT_FLOAT_EQ(b.colorJitterH, 80.0f);
    EXPECT_FLOAT_EQ(b.colorJitterS, 0.2f);
    EXPECT_FLOAT_EQ(b.colorJitterV, 0.2f);
    EXPECT_EQ(b.mode, 1);
    EXPECT_FLOAT_EQ(b.spacing, 0.0625f);
    EXPECT_EQ(b.antialias, 0);
    // The table drives the same defaults.
    EXPECT_EQ(defaultBrush(), b);
    EXPECT_EQ(brushFields().size(), 18u);
    const BrushField* spacing = findBrushField("spacing");
    ASSERT_NE(spacing, nullptr);
    EXPECT_DOUBLE_EQ(spacing->minValue, 0.015625);
    EXPECT_DOUBLE_EQ(spacing->maxValue, 5.0);
    EXPECT_EQ(findBrushField("nonsense"), nullptr);
}

TEST(BrushRecord, DefaultWritesTheExactBytes) {
    io::BinaryWriter w;
    Brush{}.write(w);
    const std::vector<uint8_t> expected = {
        5, 0, 0, 0,              // size
        0,                       // SizeFollowsPressure
        1,                       // FlowFollowsPressure
        0, 0, 0, 0,              // tipIndex
        1, 0, 0, 0,              // flags
        0x00, 0x00, 0x80, 0x3F,  // opacity 1.0
        0x00, 0x00, 0x80, 0x3F,  // hardness 1.0
        1, 0, 0, 0,              // mode
        0x00, 0x00, 0x80, 0x3D,  // spacing 0.0625
        0, 0, 0, 0,              // antialias
    };
    EXPECT_EQ(w.bytes(), expected);
    io::BinaryReader r(w.bytes());
    r.formatIndex = kBrushCurrentFormat;
    Brush back;
    back.size = 99;
    ASSERT_TRUE(back.read(r));
    EXPECT_EQ(back, Brush{});
    EXPECT_TRUE(r.atEnd());
}

TEST(BrushRecord, NonDefaultRoundTripsAndLeavesUnstoredFields) {
    Brush b;
    b.size = 123;
    b.SizeFollowsPressure = true;
    b.FlowFollowsPressure = false;
    b.tipIndex = 4;
    b.flags = kBrushFlagNone | kBrushFlagColorDynamics | kBrushFlagDryBrush;
    b.opacity = 0.75f;
    b.hardness = 0.3f;
    b.mode = kBrushModeErase;
    b.spacing = 1.5f;
    b.antialias = 1;
    b.angle = 45.0f;  // not stored
    io::BinaryWriter w;
    b.write(w);
    EXPECT_EQ(w.size(), 34u);
    io::BinaryReader r(w.bytes());
    r.formatIndex = kBrushCurrentFormat;
    Brush back;
    ASSERT_TRUE(back.read(r));
    EXPECT_FLOAT_EQ(back.angle, 0.0f);
    back.angle = 45.0f;
    EXPECT_EQ(back, b);
}

TEST(BrushRecord, FormatSevenRecordReadsFieldByField) {
    // Format 7 stores tipIndex but neither flags nor spacing nor antialias.
    std::vector<uint8_t> bytes;
    putI32(bytes, 20);
    bytes.push_back(1);
    bytes.push_back(0);
    putI32(bytes, 3);
    putF32(bytes, 0.5f);
    putF32(bytes, 0.25f);
    putI32(bytes, 2);
    io::BinaryReader r(bytes);
    r.formatIndex = 7;
    Brush b;
    b.spacing = 3.0f;
    ASSERT_TRUE(b.read(r));
    EXPECT_TRUE(r.atEnd());
    EXPECT_EQ(b.size, 20);
    EXPECT_TRUE(b.SizeFollowsPressure);
    EXPECT_FALSE(b.FlowFollowsPressure);
    EXPECT_EQ(b.tipIndex, 3);
    EXPECT_EQ(b.flags, 1u | kBrushFlagAdditiveStroke);  // old files stroke additively
    EXPECT_FLOAT_EQ(b.opacity, 0.5f);
    EXPECT_FLOAT_EQ(b.hardness, 0.25f);
    EXPECT_EQ(b.mode, 2);
    EXPECT_FLOAT_EQ(b.spacing, 0.0625f);
    EXPECT_EQ(b.antialias, 0);
    EXPECT_FLOAT_EQ(b.angle, 0.0f);
}

TEST(BrushRecord, OldTexturedByteAndFlagGates) {
    std::vector<uint8_t> bytes;
    putI32(bytes, 9);
    bytes.push_back(0);
    bytes.push_back(1);
    bytes.push_back(7);  // "textured", any non-zero value
    putF32(bytes, 1.0f);
    putF32(bytes, 1.0f);
    putI32(bytes, 1);
    io::BinaryReader r(bytes);
    r.formatIndex = 5;
    Brush b;
    ASSERT_TRUE(b.read(r));
    EXPECT_EQ(b.tipIndex, 1);
    EXPECT_TRUE(r.atEnd());

    // Format 17 stores flags, but still gets the additive bit; 18 does not.
    for (int32_t format : {17, 18}) {
        Brush src;
        src.flags = kBrushFlagNone | kBrushFlagColorDynamics;
        io::BinaryWriter w;
        src.write(w);
        io::BinaryReader rr(w.bytes());
        rr.formatIndex = format;
        Brush back;
        ASSERT_TRUE(back.read(rr));
        EXPECT_EQ(back.hasFlag(kBrushFlagAdditiveStroke), format < 18) << format;
        EXPECT_TRUE(back.hasFlag(kBrushFlagColorDynamics));
    }
}

TEST(BrushRecord, TruncatedInputFailsCleanly) {
    io::BinaryWriter w;
    Brush src;
    src.size = 77;
    src.write(w);
    for (std::size_t cut = 0; cut < w.size(); ++cut) {
        std::vector<uint8_t> part(w.bytes().begin(), w.bytes().begin() + static_cast<long>(cut));
        io::BinaryReader r(part);
        r.formatIndex = kBrushCurrentFormat;
        Brush b;
        EXPECT_FALSE(b.read(r)) << cut;
        EXPECT_TRUE(r.failed());
        EXPECT_FALSE(r.error().empty());
        EXPECT_EQ(b, Brush{}) << "a failed read leaves the brush as it was";
    }
}

TEST(BinaryStream, LittleEndianAndStickyFailure) {
    io::BinaryWriter w;
    w.i32(-2);
    w.f32(1.5f);
    w.u8(9);
    EXPECT_EQ(w.bytes(), (std::vector<uint8_t>{0xFE, 0xFF, 0xFF, 0xFF, 0, 0, 0xC0, 0x3F, 9}));
    io::BinaryReader r(w.bytes());
    int32_t i = 0;
    float f = 0;
    uint8_t u = 0;
    EXPECT_TRUE(r.i32(i));
    EXPECT_TRUE(r.f32(f));
    EXPECT_EQ(i, -2);
    EXPECT_FLOAT_EQ(f, 1.5f);
    EXPECT_FALSE(r.i32(i));  // only one byte left
    EXPECT_EQ(i, 0);
    EXPECT_TRUE(r.failed());
    EXPECT_FALSE(r.u8(u));   // sticky, although a byte remains
    EXPECT_EQ(r.remaining(), 0u);
}

TEST(BinaryStream, CountsAndTextAreChecked) {
    std::vector<uint8_t> data(10, 0);
    io::BinaryReader r(data);
    EXPECT_TRUE(r.checkCount(2, 5));
    EXPECT_FALSE(r.checkCount(3, 5));
    io::BinaryReader r2(data);
    EXPECT_FALSE(r2.checkCount(-1, 4));
    io::BinaryReader r3(data);
    std::string s;
    EXPECT_FALSE(r3.text(0x7FFFFFFF, s));
    io::BinaryReader r4(data);
    EXPECT_FALSE(r4.seek(11));
    io::BinaryReader r5(data);
    EXPECT_TRUE(r5.seek(10));
    EXPECT_TRUE(r5.atEnd());
}

TEST(ColorSpace, KnownColours) {
    using brush::Hsv;
    using brush::Rgb;
    EXPECT_EQ(brush::rgbToHsv({1, 0, 0}), (Hsv{0, 1, 1}));
    EXPECT_EQ(brush::rgbToHsv({0.5f, 0.5f, 0.5f}), (Hsv{0, 0, 0.5f}));
    const Hsv green = brush::rgbToHsv({0, 1, 0});
    EXPECT_NEAR(green.h, 120.0f, 1e-4);
    const Hsv blue = brush::rgbToHsv({0, 0, 1});
    EXPECT_NEAR(blue.h, 240.0f, 1e-4);
    EXPECT_EQ(brush::hsvToRgb({60, 1, 1}), (Rgb{1, 1, 0}));
    EXPECT_EQ(brush::hsvToRgb({200, 0, 0.25f}), (Rgb{0.25f, 0.25f, 0.25f}));
    const Rgb orange = brush::hsvToRgb({30, 1, 1});
    EXPECT_FLOAT_EQ(orange.r, 1.0f);
    EXPECT_FLOAT_EQ(orange.g, 0.5f);
    EXPECT_FLOAT_EQ(orange.b, 0.0f);
    // A hue of exactly 360 lands in the last sector: (v, p, q).
    EXPECT_EQ(brush::hsvToRgb({360, 1, 1}), (Rgb{1, 0, 1}));
}

TEST(ColorSpace, RoundTrips) {
    for (int ri = 0; ri <= 10; ++ri)
        for (int gi = 0; gi <= 10; ++gi)
            for (int bi = 0; bi <= 10; ++bi) {
                const brush::Rgb c{ri / 10.0f, gi / 10.0f, bi / 10.0f};
                const brush::Hsv h = brush::rgbToHsv(c);
                ASSERT_GE(h.h, 0.0f);
                ASSERT_LE(h.h, 360.0f);
                const brush::Rgb back = brush::hsvToRgb(h);
                ASSERT_NEAR(back.r, c.r, 1e-5) << ri << " " << gi << " " << bi;
                ASSERT_NEAR(back.g, c.g, 1e-5) << ri << " " << gi << " " << bi;
                ASSERT_NEAR(back.b, c.b, 1e-5) << ri << " " << gi << " " << bi;
            }
}
