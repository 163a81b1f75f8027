// The stroke action's stored body in the current and older layouts, its
// replay through a dab sink, and the history's add.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "history/BrushStrokeAction.h"
#include "io/BinaryStream.h"

namespace {

void putI32(std::vector<uint8_t>& b, int32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i)));
}
void putF32(std::vector<uint8_t>& b, float f) {
    uint32_t u;
    std::memcpy(&u, &f, 4);
    putI32(b, static_cast<int32_t>(u));
}

BrushStrokeAction sampleStroke(bool colour) {
    Brush b;
    b.size = 12;
    b.tipIndex = 2;
    b.setFlag(kBrushFlagColorDynamics, colour);
    BrushStrokeAction a(b, {0.1f, 0.2f, 0.3f});
    for (int i = 0; i < 3; ++i) {
        BrushStrokePoint p({1.0f + i, 2.0f * i}, 0.5f + i * 0.1f, 0.9f - i * 0.1f, i == 1, 15.0f * i);
        if (colour)
            a.appendPoint(std::make_unique<BrushStrokeColorPoint>(p, brush::Rgb{0.5f, 0.25f, i * 0.1f}));
        else
            a.appendPoint(std::make_unique<BrushStrokePoint>(p));
    }
    return a;
}

// Records what a replay asks of the GL side.
class RecordingSink : public DabSink {
public:
    math::Vec2 preparedAt{-1, -1};
    std::vector<brush::Dab> dabs;
    brush::Rgb compositeColor;
    int composites = 0;
    void prepareStroke(const Brush&, math::Vec2 firstPoint) override { preparedAt = firstPoint; }
    brush::TipFactors tipFactors(int32_t) const override { return {1.0f, 0.5f}; }
    void renderDabs(const Brush&, std::span<const brush::Dab> d) override {
        dabs.assign(d.begin(), d.end());
    }
    bool compositeStroke(const Brush&, brush::Rgb color) override {
        compositeColor = color;
        ++composites;
        return true;
    }
};

} // namespace

TEST(StrokeAction, PlainPointsRoundTripByteExact) {
    const BrushStrokeAction a = sampleStroke(false);
    io::BinaryWriter w;
    a.write(w);
    ASSERT_EQ(w.size(), 34u + 12u + 4u + 3u * 21u);
    io::BinaryReader r(w.bytes());
    r.formatIndex = kBrushCurrentFormat;
    BrushStrokeAction back;
    ASSERT_TRUE(back.read(TipMap{}, r));
    EXPECT_TRUE(r.atEnd());
    EXPECT_EQ(back.brush(), a.brush());
    EXPECT_EQ(back.color(), a.color());
    ASSERT_EQ(back.pointCount(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(back.point(i).x, a.point(i).x);
        EXPECT_EQ(back.point(i).y, a.point(i).y);
        EXPECT_EQ(back.point(i).sizeFactor, a.point(i).sizeFactor);
        EXPECT_EQ(back.point(i).flowFactor, a.point(i).flowFactor);
        EXPECT_EQ(back.point(i).angle, a.point(i).angle);
        EXPECT_EQ(back.point(i).mirrored, a.point(i).mirrored);
        EXPECT_FALSE(back.point(i).hasColor());
    }
    io::BinaryWriter again;
    back.write(again);
    EXPECT_EQ(again.bytes(), w.bytes());
}

TEST(StrokeAction, ColourPointsLoseTheMirrorFlag) {
    const BrushStrokeAction a = sampleStroke(true);
    io::BinaryWriter w;
    a.write(w);
    ASSERT_EQ(w.size(), 34u + 12u + 4u + 3u * 32u);
    io::BinaryReader r(w.bytes());
    r.formatIndex = kBrushCurrentFormat;
    BrushStrokeAction back;
    ASSERT_TRUE(back.read(TipMap{}, r));
    ASSERT_EQ(back.pointCount(), 3u);
    EXPECT_TRUE(back.point(1).hasColor());
    EXPECT_FALSE(back.point(1).mirrored);
    EXPECT_EQ(back.point(2).vertexColor(0.5f), a.point(2).vertexColor(0.5f));
}

TEST(StrokeAction, TipIndexGoesThroughTheTipMap) {
    const BrushStrokeAction a = sampleStroke(false);
    io::BinaryWriter w;
    a.write(w);
    io::BinaryReader r(w.bytes());
    r.formatIndex = kBrushCurrentFormat;
    BrushStrokeAction back;
    ASSERT_TRUE(back.read(TipMap{{2, 9}}, r));
    EXPECT_EQ(back.brush().tipIndex, 9);
    io::BinaryReader r2(w.bytes());
    r2.formatIndex = kBrushCurrentFormat;
    ASSERT_TRUE(back.read(TipMap{{5, 9}}, r2));
    EXPECT_EQ(back.brush().tipIndex, 2);  // no key: unchanged
}

TEST(StrokeAction, FormatThirteenComputesAnglesAndFactors) {
    // Format 13: brush without flags, one pressure per point, no angle.
    std::vector<uint8_t> b;
    putI32(b, 10);
    b.push_back(0);  // SizeFollowsPressure
    b.push_back(1);  // FlowFollowsPressure
    putI32(b, 0);
    putF32(b, 1.0f);
    putF32(b, 1.0f);
    putI32(b, 1);
    putF32(b, 0.0625f);
    putI32(b, 0);
    putF32(b, 1.0f);  // colour
    putF32(b, 0.0f);
    putF32(b, 0.0f);
    putI32(b, 3);
    const float pts[3][3] = {{0, 0, 0.3f}, {0, 5, 0.6f}, {0, 5, 0.9f}};
    for (const auto& p : pts) {
        putF32(b, p[0]);
        putF32(b, p[1]);
        putF32(b, p[2]);
    }
    io::BinaryReader r(b);
    r.formatIndex = 13;
    BrushStrokeAction a;
    ASSERT_TRUE(a.read(TipMap{}, r));
    EXPECT_TRUE(r.atEnd());
    ASSERT_EQ(a.pointCount(), 3u);
    EXPECT_TRUE(a.brush().hasFlag(kBrushFlagAdditiveStroke));
    EXPECT_FLOAT_EQ(a.point(0).angle, 0.0f);
    EXPECT_FLOAT_EQ(a.point(1).angle, 90.0f);
    EXPECT_FLOAT_EQ(a.point(2).angle, 0.0f);  // same place as the one before
    EXPECT_FLOAT_EQ(a.point(1).sizeFactor, 1.0f);
    EXPECT_FLOAT_EQ(a.point(1).flowFactor, 0.6f);
}

TEST(StrokeAction, DamagedBodiesFailCleanly) {
    const BrushStrokeAction a = sampleStroke(true);
    io::BinaryWriter w;
    a.write(w);
    for (std::size_t cut = 0; cut < w.size(); cut += 3) {
        std::vector<uint8_t> part(w.bytes().begin(), w.bytes().begin() + static_cast<long>(cut));
        io::BinaryReader r(part);
        r.formatIndex = kBrushCurrentFormat;
        BrushStrokeAction back;
        EXPECT_FALSE(back.read(TipMap{}, r)) << cut;
        EXPECT_EQ(back.pointCount(), 0u);
    }
    // A hostile count is refused before any memory is reserved.
    std::vector<uint8_t> bytes(w.bytes().begin(), w.bytes().begin() + 46);
    putI32(bytes, 0x7FFFFFFF);
    io::BinaryReader r(bytes);
    r.formatIndex = kBrushCurrentFormat;
    BrushStrokeAction back;
    EXPECT_FALSE(back.read(TipMap{}, r));
    EXPECT_NE(r.error().find("count"), std::string::npos);
}

TEST(StrokeAction, OldestStrokeRecord) {
    std::vector<uint8_t> b;
    putI32(b, 2);
    const float recs[2][6] = {{1, 2, 0.1f, 0.2f, 0.3f, 0.5f}, {3, 4, 0.9f, 0.9f, 0.9f, 0.7f}};
    for (const auto& rec : recs) {
        putI32(b, 0);  // ignored
        for (float f : rec) putF32(b, f);
    }
    io::BinaryReader r(b);
    r.formatIndex = 0;
    Brush current;
    auto a = readOldStroke(r, current);
    ASSERT_TRUE(a);
    EXPECT_TRUE(r.atEnd());
    ASSERT_EQ(a->pointCount(), 2u);
    EXPECT_EQ(a->color(), (brush::Rgb{0.1f, 0.2f, 0.3f}));
    EXPECT_FLOAT_EQ(a->point(1).x, 3.0f);
    EXPECT_FLOAT_EQ(a->point(1).sizeFactor, 1.0f);
    EXPECT_FLOAT_EQ(a->point(1).flowFactor, 0.7f);

    std::vector<uint8_t> empty;
    putI32(empty, 0);
    io::BinaryReader r0(empty);
    EXPECT_EQ(readOldStroke(r0, current), nullptr);
    std::vector<uint8_t> shortRec(b.begin(), b.end() - 5);
    io::BinaryReader rs(shortRec);
    EXPECT_EQ(readOldStroke(rs, current), nullptr);
    EXPECT_TRUE(rs.failed());
}

TEST(StrokeAction, ExecuteStampsStoredPointsThroughTheSink) {
    BrushStrokeAction a = sampleStroke(false);  // textured: tip 2
    EXPECT_FALSE(a.execute()) << "no sink installed";
    RecordingSink sink;
    setDabSink(&sink);
    EXPECT_TRUE(a.execute());
    setDabSink(nullptr);
    EXPECT_EQ(sink.preparedAt, (math::Vec2{1, 0}));
    ASSERT_EQ(sink.dabs.size(), 2u);  // textured: from the second point on
    EXPECT_EQ(sink.dabs[0].center, (math::Vec2{2, 2}));
    EXPECT_FLOAT_EQ(sink.dabs[0].halfWidth, 12 * 0.5f * 0.6f);
    EXPECT_FLOAT_EQ(sink.dabs[0].halfHeight, 12 * 0.5f * 0.6f * 0.5f);
    EXPECT_EQ(sink.composites, 1);
    EXPECT_EQ(sink.compositeColor, (brush::Rgb{0.1f, 0.2f, 0.3f}));

    BrushStrokeAction empty(Brush{}, {});
    setDabSink(&sink);
    EXPECT_TRUE(empty.execute());
    setDabSink(nullptr);
    EXPECT_EQ(sink.composites, 1);  // nothing stamped, nothing merged
}

TEST(StrokeAction, RandomBytesNeverReadPastTheEnd) {
    // Garbage of every short length and many formats: the reader must end
    // with a clean result either way (ASan builds check the memory side).
    uint32_t state = 12345;
    auto next = [&] {
        state = state * 1103515245u + 12345u;
        return static_cast<uint8_t>(state >> 16);
    };
    io::BinaryWriter valid;
    sampleStroke(true).write(valid);
    int accepted = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        std::vector<uint8_t> bytes;
        if (trial % 2 == 0) {
            bytes.resize(static_cast<size_t>(trial % 120));
            for (uint8_t& b : bytes) b = next();
        } else {
            // A real body with a few bytes changed and maybe cut short.
            bytes = valid.bytes();
            for (int k = 0; k < 3; ++k) bytes[next() % bytes.size()] = next();
            if (trial % 3 == 0) bytes.resize(bytes.size() - next() % 40);
        }
        io::BinaryReader r(bytes);
        r.formatIndex = trial % 23;
        BrushStrokeAction a;
        const bool ok = a.read(TipMap{{1, 2}}, r);
        EXPECT_EQ(ok, !r.failed());
        if (ok) {
            ++accepted;
            EXPECT_LE(r.position(), bytes.size());
        } else {
            EXPECT_EQ(a.pointCount(), 0u);
        }
        io::BinaryReader r2(bytes);
        r2.formatIndex = trial % 23;
        Brush current;
        auto old = readOldStroke(r2, current);
        if (old) {
            EXPECT_GT(old->pointCount(), 0u);
        }
    }
    EXPECT_GT(accepted, 0);  // many changed bodies are still well-formed
}
