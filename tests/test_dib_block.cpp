// The clipboard's image block, written and read against blocks laid out
// byte by byte here, as another program would put them on the clipboard.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "io/Codecs.h"
#include "io/DibBlock.h"
#include "io/ImageCodec.h"
#include "tools/ClipboardImage.h"

namespace {

void le32(std::vector<uint8_t>& b, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
void le16(std::vector<uint8_t>& b, uint16_t v) {
    b.push_back(static_cast<uint8_t>(v));
    b.push_back(static_cast<uint8_t>(v >> 8));
}

// A BITMAPINFOHEADER, field by field.
std::vector<uint8_t> header(int32_t w, int32_t h, uint16_t bits, uint32_t compression, uint32_t imageBytes,
                            uint32_t coloursUsed = 0) {
    std::vector<uint8_t> b;
    le32(b, 40);
    le32(b, static_cast<uint32_t>(w));
    le32(b, static_cast<uint32_t>(h));
    le16(b, 1);
    le16(b, bits);
    le32(b, compression);
    le32(b, imageBytes);
    le32(b, 2835); // x pixels a metre
    le32(b, 2835);
    le32(b, coloursUsed);
    le32(b, 0); // important colours
    return b;
}

} // namespace

TEST(DibBlock, WrittenFieldByField) {
    // 2 x 2, rows bottom-up: BGRA as given.
    const std::vector<uint8_t> bgra{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    std::vector<uint8_t> expected;
    le32(expected, 40);
    le32(expected, 2);
    le32(expected, 2); // positive: bottom-up
    le16(expected, 1);
    le16(expected, 32);
    le32(expected, 0);
    le32(expected, 16);
    for (int i = 0; i < 16; ++i) expected.push_back(0);
    expected.insert(expected.end(), bgra.begin(), bgra.end());
    EXPECT_EQ(dib::makeBlock(2, 2, bgra), expected);
    EXPECT_TRUE(dib::makeBlock(2, 2, std::vector<uint8_t>(15)).empty()) << "pixels of the wrong size";
    EXPECT_TRUE(dib::makeBlock(0, 2, {}).empty());
}

TEST(DibBlock, ThirtyTwoBitsReadBack) {
    std::vector<uint8_t> block = header(3, 1, 32, 0, 12);
    const std::vector<uint8_t> px{10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};
    block.insert(block.end(), px.begin(), px.end());
    dib::Image image;
    std::string why;
    ASSERT_TRUE(dib::parseBlock(block, image, why)) << why;
    EXPECT_EQ(image.width, 3);
    EXPECT_EQ(image.height, 1);
    EXPECT_EQ(image.bytesPerPixel, 4);
    EXPECT_EQ(image.pixels, px);
}

TEST(DibBlock, TwentyFourBitRowsLoseTheirPadding) {
    // 3 x 2 at 24 bits: 9 bytes a row, padded to 12.
    std::vector<uint8_t> block = header(3, 2, 24, 0, 24);
    const std::vector<uint8_t> row0{1, 2, 3, 4, 5, 6, 7, 8, 9}, row1{11, 12, 13, 14, 15, 16, 17, 18, 19};
    block.insert(block.end(), row0.begin(), row0.end());
    block.insert(block.end(), {0xEE, 0xEE, 0xEE});
    block.insert(block.end(), row1.begin(), row1.end());
    block.insert(block.end(), {0xEE, 0xEE, 0xEE});
    dib::Image image;
    std::string why;
    ASSERT_TRUE(dib::parseBlock(block, image, why)) << why;
    EXPECT_EQ(image.bytesPerPixel, 3);
    std::vector<uint8_t> expected = row0;
    expected.insert(expected.end(), row1.begin(), row1.end());
    EXPECT_EQ(image.pixels, expected);
    // The last row's padding may be missing.
    block.resize(block.size() - 3);
    ASSERT_TRUE(dib::parseBlock(block, image, why)) << why;
    EXPECT_EQ(image.pixels, expected);
    block.pop_back();
    EXPECT_FALSE(dib::parseBlock(block, image, why));
}

TEST(DibBlock, BitfieldMasksAndColourTableComeBeforeThePixels) {
    // BI_BITFIELDS: three masks (12 bytes) after the header.
    std::vector<uint8_t> block = header(1, 1, 32, 3, 4);
    le32(block, 0x00FF0000);
    le32(block, 0x0000FF00);
    le32(block, 0x000000FF);
    block.insert(block.end(), {7, 8, 9, 10});
    dib::Image image;
    std::string why;
    ASSERT_TRUE(dib::parseBlock(block, image, why)) << why;
    EXPECT_EQ(image.pixels, (std::vector<uint8_t>{7, 8, 9, 10}));

    // Two colours used: eight more bytes; with the masks, 8 + 12.
    block = header(1, 1, 32, 3, 4, 2);
    for (int i = 0; i < 5; ++i) le32(block, 0xDEADBEEF);
    block.insert(block.end(), {21, 22, 23, 24});
    ASSERT_TRUE(dib::parseBlock(block, image, why)) << why;
    EXPECT_EQ(image.pixels, (std::vector<uint8_t>{21, 22, 23, 24}));

    block = header(1, 1, 24, 0, 4, 1);
    le32(block, 0xDEADBEEF);
    block.insert(block.end(), {31, 32, 33, 0});
    ASSERT_TRUE(dib::parseBlock(block, image, why)) << why;
    EXPECT_EQ(image.pixels, (std::vector<uint8_t>{31, 32, 33}));
}

TEST(DibBlock, HostileBlocksAreRefused) {
    dib::Image image;
    std::string why;
    std::vector<uint8_t> block = header(2, 2, 32, 0, 16);
    EXPECT_FALSE(dib::parseBlock(std::span<const uint8_t>(block.data(), 39), image, why)) << "header cut short";
    EXPECT_FALSE(dib::parseBlock(block, image, why)) << "no pixels at all";
    block.resize(block.size() + 15);
    EXPECT_FALSE(dib::parseBlock(block, image, why)) << "one byte short";
    block.push_back(0);
    EXPECT_TRUE(dib::parseBlock(block, image, why)) << why;

    EXPECT_FALSE(dib::parseBlock(header(2, 2, 8, 0, 4), image, why)) << "palette images";
    EXPECT_FALSE(dib::parseBlock(header(2, 2, 16, 0, 8), image, why));
    EXPECT_FALSE(dib::parseBlock(header(2, 2, 32, 1, 16), image, why)) << "run-length compressed";
    EXPECT_FALSE(dib::parseBlock(header(-2, 2, 32, 0, 16), image, why));
    EXPECT_FALSE(dib::parseBlock(header(2, 0, 32, 0, 0), image, why));
    // Sides whose product overflows 32 bits must not wrap to a small block.
    std::vector<uint8_t> huge = header(0x10000, 0x10000, 32, 0, 0);
    huge.resize(huge.size() + 64);
    EXPECT_FALSE(dib::parseBlock(huge, image, why));
    // A colour table count that points far past the end.
    std::vector<uint8_t> table = header(1, 1, 32, 0, 4, 0xFFFFFFFF);
    table.resize(table.size() + 4);
    EXPECT_FALSE(dib::parseBlock(table, image, why));
}

TEST(DibBlock, BmpFileHeaderPointsAtThePixels) {
    const std::vector<uint8_t> block = dib::makeBlock(1, 1, std::vector<uint8_t>{1, 2, 3, 4});
    const std::vector<uint8_t> file = dib::blockToBmpFile(block);
    std::vector<uint8_t> expected{'B', 'M'};
    le32(expected, 14 + 40 + 4);
    le32(expected, 0);
    le32(expected, 54);
    expected.insert(expected.end(), block.begin(), block.end());
    EXPECT_EQ(file, expected);
}

// The PNG offered to other programs holds straight alpha, rows top-down:
// decoded by our PNG decoder with no conversion it must give exactly that.
TEST(DibBlock, PngOfferHoldsStraightAlphaTopDown) {
    // 2 x 2 bottom-up, premultiplied BGRA: bottom row opaque blue, opaque
    // red; top row half-transparent green (0, 64, 0, 128) and clear.
    const std::vector<uint8_t> bgra{255, 0, 0, 255, 0, 0, 255, 255, 0, 64, 0, 128, 0, 0, 0, 0};
    auto offers = clipimage::imageOffers(2, 2, bgra);
    ASSERT_EQ(offers.size(), 3u);
    EXPECT_EQ(offers[0].target, clipimage::kPrivateTarget);
    EXPECT_EQ(offers[0].make(), dib::makeBlock(2, 2, bgra));
    EXPECT_EQ(offers[1].target, "image/png");
    const std::vector<uint8_t> png = offers[1].make();
    RawPicture raw;
    std::string detail;
    ASSERT_EQ(codec::decodePng(png, DecodeLimits{}, raw, detail), DecodeStatus::Ok) << detail;
    // Top row first; 64 / 128 unpremultiplies to the straight value nearest 128.
    const std::vector<uint8_t> rgbaTopDown{0, 128, 0, 128, 0, 0, 0, 0, 0, 0, 255, 255, 255, 0, 0, 255};
    std::vector<uint8_t> got = raw.pixels;
    ASSERT_EQ(got.size(), 16u);
    EXPECT_EQ(std::vector<uint8_t>(got.begin() + 8, got.end()),
              std::vector<uint8_t>(rgbaTopDown.begin() + 8, rgbaTopDown.end()));
    EXPECT_EQ(got[3], 128);
    EXPECT_EQ(got[7], 0);
    EXPECT_NEAR(got[1], 128, 1);
    EXPECT_EQ(offers[2].target, "image/bmp");
}

// Our own private block comes back bit for bit; a PNG from another program
// comes back premultiplied, bottom-up, as BGRA.
TEST(DibBlock, PasteTargetsDecodeToFloatingPixels) {
    const std::vector<uint8_t> bgra{1, 2, 3, 4, 5, 6, 7, 8};
    dib::Image image;
    std::string why;
    ASSERT_TRUE(clipimage::imageFromTarget(clipimage::kPrivateTarget, dib::makeBlock(2, 1, bgra), image, why));
    EXPECT_EQ(image.pixels, bgra);

    // 1 x 2 straight RGBA top-down: top red opaque, bottom (0, 0, 255, 51).
    const std::vector<uint8_t> rgba{255, 0, 0, 255, 0, 0, 255, 51};
    const std::vector<uint8_t> png = codec::encodePngToMemory(rgba.data(), 1, 2);
    ASSERT_FALSE(png.empty());
    ASSERT_TRUE(clipimage::imageFromTarget("image/png", png, image, why)) << why;
    EXPECT_EQ(image.width, 1);
    EXPECT_EQ(image.height, 2);
    // Bottom row first: blue premultiplied by 51/255 is floor(255 * 51 / 255) = 51.
    EXPECT_EQ(image.pixels, (std::vector<uint8_t>{51, 0, 0, 51, 0, 0, 255, 255}));

    EXPECT_FALSE(clipimage::imageFromTarget("image/png", std::vector<uint8_t>{1, 2, 3}, image, why));
    EXPECT_FALSE(why.empty());
}
