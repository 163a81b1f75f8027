// The GL-free pixel helpers: premultiplication both ways and the row flip.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "io/Pixels.h"

namespace {

std::vector<uint8_t> premultiplied(std::vector<uint8_t> bytes) {
    premultiply(bytes.data(), bytes.size());
    return bytes;
}

std::vector<uint8_t> unpremultiplied(std::vector<uint8_t> bytes) {
    unpremultiply(bytes.data(), bytes.size());
    return bytes;
}

} // namespace

TEST(Premultiply, EdgeAlphas) {
    // alpha 0 clears the colour, alpha 255 keeps it.
    EXPECT_EQ(premultiplied({200, 100, 1, 0}), (std::vector<uint8_t>{0, 0, 0, 0}));
    EXPECT_EQ(premultiplied({255, 128, 7, 255}), (std::vector<uint8_t>{255, 128, 7, 255}));
    // alpha 1: only a full channel survives, as 1.
    EXPECT_EQ(premultiplied({255, 254, 128, 1}), (std::vector<uint8_t>{1, 0, 0, 1}));
    // alpha 128: 255 * 128/255 = 128; 100 * 128 / 255 = 50.2 -> 50; 3 -> 1.5 -> 1.
    EXPECT_EQ(premultiplied({255, 100, 3, 128}), (std::vector<uint8_t>{128, 50, 1, 128}));
}

TEST(Premultiply, TruncatesAndNeverExceedsAlpha) {
    for (int a = 0; a < 256; ++a)
        for (int v = 0; v < 256; ++v) {
            auto p = premultiplied({static_cast<uint8_t>(v), 0, 0, static_cast<uint8_t>(a)});
            ASSERT_EQ(p[0], v * a / 255) << v << " " << a; // exact floor of the product
            ASSERT_LE(p[0], a);
            ASSERT_EQ(p[3], a);
        }
}

TEST(Unpremultiply, EdgeAlphas) {
    // alpha 0 is left alone: no division.
    EXPECT_EQ(unpremultiplied({0, 0, 0, 0}), (std::vector<uint8_t>{0, 0, 0, 0}));
    EXPECT_EQ(unpremultiplied({9, 8, 7, 0}), (std::vector<uint8_t>{9, 8, 7, 0}));
    EXPECT_EQ(unpremultiplied({255, 10, 0, 255}), (std::vector<uint8_t>{255, 10, 0, 255}));
    EXPECT_EQ(unpremultiplied({1, 0, 1, 1}), (std::vector<uint8_t>{255, 0, 255, 1}));
    // alpha 128: straight 128 and 129 both premultiply to 64 (64.25, 64.75);
    // the middle of that range, 128.5, is 128 when rounded. 2 and 3 give 1:
    // middle 2.99 -> 3. 128 is the alpha itself: white.
    EXPECT_EQ(unpremultiplied({64, 128, 1, 128}), (std::vector<uint8_t>{128, 255, 3, 128}));
    // alpha 3: straight 85..169 premultiply to 1 (middle 127.5 -> 128), 170..254 to 2 (212.5 -> 213).
    EXPECT_EQ(unpremultiplied({1, 2, 0, 3}), (std::vector<uint8_t>{128, 213, 0, 3}));
    // A colour above its alpha is not valid input: it saturates instead of wrapping.
    EXPECT_EQ(unpremultiplied({200, 0, 0, 100}), (std::vector<uint8_t>{255, 0, 0, 100}));
}

TEST(Unpremultiply, IsTheExactInverseOfPremultiplyOnValidData) {
    // What makes load-save cycles stable: every premultiplied value comes back.
    for (int a = 1; a < 256; ++a)
        for (int p = 0; p <= a; ++p) {
            auto back = premultiplied(unpremultiplied({static_cast<uint8_t>(p), 0, 0, static_cast<uint8_t>(a)}));
            ASSERT_EQ(back[0], p) << p << " " << a;
        }
}

TEST(Unpremultiply, UndoesPremultiplyWithinHalfTheLostPrecision) {
    for (int a = 1; a < 256; ++a)
        for (int v = 0; v < 256; ++v) {
            auto p = unpremultiplied(premultiplied({static_cast<uint8_t>(v), 0, 0, static_cast<uint8_t>(a)}));
            // A premultiplied step at alpha a spans 255 / a straight values;
            // the answer lies inside that span, nearest its middle.
            ASSERT_LE(std::abs(p[0] - v), std::ceil(255.0 / a)) << v << " " << a;
            if (a >= 128) {
                ASSERT_LE(std::abs(p[0] - v), 1) << v << " " << a;
            }
        }
}

TEST(Unpremultiply, FiveLoadSaveCyclesChangeNothingAfterTheFirst) {
    for (int a = 1; a < 256; ++a)
        for (int v = 0; v < 256; ++v) {
            std::vector<uint8_t> px{static_cast<uint8_t>(v), static_cast<uint8_t>(255 - v),
                                    static_cast<uint8_t>(v / 2), static_cast<uint8_t>(a)};
            premultiply(px.data(), px.size());
            unpremultiply(px.data(), px.size());
            const std::vector<uint8_t> first = px;
            for (int cycle = 0; cycle < 4; ++cycle) {
                premultiply(px.data(), px.size());
                unpremultiply(px.data(), px.size());
            }
            ASSERT_EQ(px, first) << v << " " << a;
        }
}

TEST(Premultiply, LeavesATrailingPartialPixelAlone) {
    std::vector<uint8_t> bytes{100, 100, 100, 0, 50, 60, 70};
    premultiply(bytes.data(), bytes.size());
    EXPECT_EQ(bytes, (std::vector<uint8_t>{0, 0, 0, 0, 50, 60, 70}));
    unpremultiply(bytes.data(), 3);
    EXPECT_EQ(bytes, (std::vector<uint8_t>{0, 0, 0, 0, 50, 60, 70}));
}

TEST(FlipRows, SwapsRowsTopToBottom) {
    // Three rows of two bytes each, and an even count of four.
    std::vector<uint8_t> odd{1, 2, 3, 4, 5, 6};
    flipRowsInPlace(odd.data(), 2, 3);
    EXPECT_EQ(odd, (std::vector<uint8_t>{5, 6, 3, 4, 1, 2}));
    std::vector<uint8_t> even{1, 2, 3, 4, 5, 6, 7, 8};
    flipRowsInPlace(even.data(), 2, 4);
    EXPECT_EQ(even, (std::vector<uint8_t>{7, 8, 5, 6, 3, 4, 1, 2}));
}
