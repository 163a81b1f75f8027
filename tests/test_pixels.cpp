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

namespace {
// Pixel (x, y) holds four bytes made from its position, so every pixel differs.
std::vector<uint8_t> numberedPixels(int width, int height) {
    std::vector<uint8_t> px(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            uint8_t* p = px.data() + (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 4;
            p[0] = static_cast<uint8_t>(x);
            p[1] = static_cast<uint8_t>(y);
            p[2] = static_cast<uint8_t>(x * 7 + y * 13);
            p[3] = static_cast<uint8_t>(200 + x);
        }
    return px;
}
} // namespace

TEST(MirrorRows, HandWorkedThreePixelRows) {
    std::vector<uint8_t> px = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, // row 0: A B C
                               13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24};
    mirrorRows(px, 3, 2, 2);
    EXPECT_EQ(px, std::vector<uint8_t>({9, 10, 11, 12, 5, 6, 7, 8, 1, 2, 3, 4, 21, 22, 23, 24, 17, 18, 19, 20, 13,
                                        14, 15, 16}));
}

TEST(MirrorRows, EveryThreadCountGivesThePixelFromTheOtherEnd) {
    for (int width : {1, 2, 3, 5, 8, 31})
        for (int height : {1, 2, 3, 7, 13})
            for (unsigned threads : {0u, 1u, 2u, 3u, 4u, 16u}) {
                const std::vector<uint8_t> source = numberedPixels(width, height);
                std::vector<uint8_t> px = source;
                mirrorRows(px, width, height, threads);
                // Expected: pixel (x, y) is the source's (width - 1 - x, y); the middle column of an odd width stays.
                std::vector<uint8_t> single = source;
                mirrorRows(single, width, height, 1);
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) {
                        const size_t at = (static_cast<size_t>(y) * width + x) * 4;
                        const size_t from = (static_cast<size_t>(y) * width + (width - 1 - x)) * 4;
                        for (int c = 0; c < 4; ++c)
                            ASSERT_EQ(px[at + c], source[from + c])
                                << width << "x" << height << " threads " << threads << " at " << x << "," << y;
                    }
                EXPECT_EQ(px, single) << width << "x" << height << " threads " << threads;
            }
}

TEST(MirrorRows, OnePixelImagesAndTwiceIsIdentity) {
    std::vector<uint8_t> one = {9, 8, 7, 6};
    mirrorRows(one, 1, 1, 4);
    EXPECT_EQ(one, std::vector<uint8_t>({9, 8, 7, 6}));
    const std::vector<uint8_t> source = numberedPixels(17, 11);
    std::vector<uint8_t> px = source;
    mirrorRows(px, 17, 11);
    EXPECT_NE(px, source);
    mirrorRows(px, 17, 11);
    EXPECT_EQ(px, source);
    // A block shorter than width x height is left alone rather than overrun.
    std::vector<uint8_t> shortBlock = {1, 2, 3, 4, 5, 6, 7, 8};
    mirrorRows(shortBlock, 3, 1);
    EXPECT_EQ(shortBlock, std::vector<uint8_t>({1, 2, 3, 4, 5, 6, 7, 8}));
}
