// Decoding and encoding without GL: round trips of every writable format,
// premultiplied alpha at the edges, row order, files built byte by byte.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <thread>

#include "io/ImageCodec.h"
#include "io/ImageFormat.h"
#include "test_image_support.h"
#include "tests/fuzz/ImageBytes.h"

using namespace imagetest;
namespace ib = imagebytes;

namespace {

// 4 x 3, straight RGBA, top row first. The top row is distinct: alpha 0,
// alpha 128 and alpha 255 pixels; the rows below are opaque.
std::vector<uint8_t> straightPattern() {
    return {
        90, 40, 250, 0,    200, 100, 50, 128, 10, 20, 30, 255,  255, 255, 255, 128,
        255, 0, 0, 255,    0, 255, 0, 255,    0, 0, 255, 255,   128, 128, 128, 255,
        1, 2, 3, 255,      250, 251, 252, 255, 60, 70, 80, 255, 0, 0, 0, 255,
    };
}

// Canvas form of the pattern: premultiplied, bottom-up.
std::vector<uint8_t> canvasPattern() { return premultiplied(flipped(straightPattern(), 4, 3)); }

const uint8_t* pixelAt(const std::vector<uint8_t>& rgba, int width, int x, int y) {
    return &rgba[static_cast<size_t>((y * width + x) * 4)];
}

void expectNear(const uint8_t* actual, const uint8_t* expected, int channels, int tolerance, const char* what) {
    for (int c = 0; c < channels; ++c)
        EXPECT_NEAR(actual[c], expected[c], tolerance) << what << ", channel " << c;
}

// Saves the canvas pattern under `name`, loads it back in canvas form.
DecodedImage roundTrip(const TempFolder& folder, const std::string& name) {
    const std::string path = folder.file(name);
    EXPECT_TRUE(saveCanvasImage(path, canvasPattern(), 4, 3));
    return decodeImage(path, DecodeLimits{});
}

} // namespace

TEST(ImageRoundTrip, AlphaFormatsKeepPremultipliedColoursWithinTwoSteps) {
    TempFolder folder;
    for (const char* name : {"a.png", "a.tif", "a.tga", "a.xyz"}) {
        SCOPED_TRACE(name);
        const DecodedImage image = roundTrip(folder, name);
        ASSERT_TRUE(image.ok()) << image.detail;
        ASSERT_EQ(image.width, 4);
        ASSERT_EQ(image.height, 3);
        EXPECT_EQ(image.channels, 4);
        const std::vector<uint8_t> expected = canvasPattern();
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 4; ++x) {
                EXPECT_EQ(pixelAt(image.pixels, 4, x, y)[3], pixelAt(expected, 4, x, y)[3]) << x << "," << y;
                expectNear(pixelAt(image.pixels, 4, x, y), pixelAt(expected, 4, x, y), 3, 2, "premultiplied");
            }
        // In the file (straight alpha) the alpha-128 pixel is within 2 of what was painted.
        const std::string path = folder.file(name);
        const DecodedImage file = decodeImageBytes(readBytes(path), path, DecodeLimits{}, false);
        ASSERT_TRUE(file.ok()) << file.detail;
        const uint8_t painted[4] = {200, 100, 50, 128};
        expectNear(pixelAt(file.pixels, 4, 1, 2), painted, 4, 2, "alpha 128, straight");
    }
}

TEST(ImageRoundTrip, TopRowOfThePictureIsTheLastCanvasRow) {
    TempFolder folder;
    for (const char* name : {"b.png", "b.tif", "b.bmp"}) {
        SCOPED_TRACE(name);
        const DecodedImage image = roundTrip(folder, name);
        ASSERT_TRUE(image.ok()) << image.detail;
        // Top-left of the picture: opaque (10, 20, 30) sits at x 2 of the top row.
        const uint8_t top[4] = {10, 20, 30, 255};
        expectNear(pixelAt(image.pixels, 4, 2, 2), top, 4, 0, "top row");
        const uint8_t bottom[4] = {60, 70, 80, 255};
        expectNear(pixelAt(image.pixels, 4, 2, 0), bottom, 4, 0, "bottom row");
    }
}

TEST(ImageRoundTrip, FullyTransparentPixelIsStoredAsClearBlack) {
    TempFolder folder;
    for (const char* name : {"c.png", "c.tif"}) {
        SCOPED_TRACE(name);
        const std::string path = folder.file(name);
        // A surface may hold colour under alpha 0; the file must not.
        std::vector<uint8_t> pixels = canvasPattern();
        pixels[static_cast<size_t>(2 * 4 * 4)] = 77;
        ASSERT_TRUE(saveCanvasImage(path, pixels, 4, 3));
        const DecodedImage straight = decodeImageBytes(readBytes(path), path, DecodeLimits{}, false);
        ASSERT_TRUE(straight.ok()) << straight.detail;
        const uint8_t clear[4] = {0, 0, 0, 0};
        expectNear(pixelAt(straight.pixels, 4, 0, 2), clear, 4, 0, "transparent pixel");
    }
}

TEST(ImageRoundTrip, BmpDropsAlphaAndKeepsStraightColours) {
    TempFolder folder;
    const DecodedImage image = roundTrip(folder, "d.bmp");
    ASSERT_TRUE(image.ok()) << image.detail;
    EXPECT_EQ(image.channels, 3);
    for (size_t i = 3; i < image.pixels.size(); i += 4) EXPECT_EQ(image.pixels[i], 255);
    // The half-transparent pixel keeps its un-premultiplied colour, now opaque.
    const uint8_t painted[3] = {200, 100, 50};
    expectNear(pixelAt(image.pixels, 4, 1, 2), painted, 3, 2, "alpha 128 in BMP");
}

TEST(ImageRoundTrip, JpegKeepsColoursWithinJpegTolerance) {
    TempFolder folder;
    // 16 x 16 blocks of one colour each, so chroma subsampling cannot mix them.
    const int w = 32, h = 32;
    std::vector<uint8_t> straight(static_cast<size_t>(w * h * 4));
    const uint8_t colours[4][3] = {{220, 30, 40}, {20, 200, 60}, {30, 40, 210}, {240, 230, 20}};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint8_t* c = colours[(y / 16) * 2 + x / 16];
            std::copy_n(c, 3, &straight[static_cast<size_t>((y * w + x) * 4)]);
            straight[static_cast<size_t>((y * w + x) * 4 + 3)] = 255;
        }
    const std::string path = folder.file("e.jpg");
    ASSERT_TRUE(saveCanvasImage(path, flipped(straight, w, h), w, h));
    const DecodedImage image = decodeImage(path, DecodeLimits{});
    ASSERT_TRUE(image.ok()) << image.detail;
    EXPECT_EQ(image.channels, 3);
    const std::vector<uint8_t> expected = flipped(straight, w, h);
    // Inside each block, away from the edges where upsampled chroma blends.
    for (int y = 4; y < h; y += (y % 16 == 11 ? 9 : 7))
        for (int x = 4; x < w; x += (x % 16 == 11 ? 9 : 7)) expectNear(pixelAt(image.pixels, w, x, y), pixelAt(expected, w, x, y), 4, 6, "jpeg");
    // The top-left block of the picture is red: canvas row h - 1.
    EXPECT_GT(pixelAt(image.pixels, w, 0, h - 1)[0], 200);
}

TEST(ImageSave, FormatFollowsTheExtension) {
    TempFolder folder;
    const std::vector<std::pair<std::string, ImageKind>> cases = {
        {"f.jpg", ImageKind::Jpeg}, {"f.JPG", ImageKind::Jpeg}, {"f.png", ImageKind::Png},
        {"f.tif", ImageKind::Tiff}, {"f.bmp", ImageKind::Bmp},  {"f.tga", ImageKind::Png},
        {"f.jpeg", ImageKind::Jpeg}, {"f.JPEG", ImageKind::Jpeg}, {"f.tiff", ImageKind::Tiff},
        {"f.Tiff", ImageKind::Tiff}, {"f.xyz", ImageKind::Png},  {"noextension", ImageKind::Png}};
    for (const auto& [name, kind] : cases) {
        const std::string path = folder.file(name);
        ASSERT_TRUE(saveImage(path, straightPattern(), 4, 3)) << name;
        EXPECT_EQ(kindFromSignature(readBytes(path)), kind) << name;
    }
    // Written under a temporary name and renamed: nothing else is left behind.
    size_t files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.file(""))) ++files;
    EXPECT_EQ(files, cases.size());
}

TEST(ImageSave, RefusesAPixelBlockOfTheWrongSize) {
    TempFolder folder;
    EXPECT_FALSE(saveImage(folder.file("g.png"), std::vector<uint8_t>(10), 4, 3));
    EXPECT_FALSE(saveImage(folder.file("nofolder/g.png"), straightPattern(), 4, 3));
}

TEST(ImageDecode, RgbPngLoadsOpaqueWithThreeChannels) {
    const std::vector<uint8_t> p = straightPattern();
    const DecodedImage image = decodeImageBytes(ib::png(4, 3, p, false), "x.png", DecodeLimits{});
    ASSERT_TRUE(image.ok()) << image.detail;
    EXPECT_EQ(image.channels, 3);
    for (size_t i = 3; i < image.pixels.size(); i += 4) EXPECT_EQ(image.pixels[i], 255);
    // Colour as in the file, since nothing is premultiplied away at alpha 255.
    const uint8_t topLeft[4] = {90, 40, 250, 255};
    expectNear(pixelAt(image.pixels, 4, 0, 2), topLeft, 4, 0, "RGB PNG top-left");
}

TEST(ImageDecode, OnePixelPngBuiltByteByByte) {
    const std::vector<uint8_t> pixel = {200, 100, 50, 128};
    const DecodedImage image = decodeImageBytes(ib::png(1, 1, pixel, true), "one.png", DecodeLimits{});
    ASSERT_TRUE(image.ok()) << image.detail;
    ASSERT_EQ(image.pixels.size(), 4u);
    // Truncating premultiply: int(200 * 128/255) = 100, int(100 * ...) = 50, int(50 * ...) = 25.
    const uint8_t expected[4] = {100, 50, 25, 128};
    expectNear(image.pixels.data(), expected, 4, 0, "1x1 PNG");
}

TEST(ImageDecode, BmpBottomUpAndTopDownHeadersGiveTheSamePicture) {
    const std::vector<uint8_t> p = straightPattern();
    const DecodedImage up = decodeImageBytes(ib::bmp24(4, 3, p, false), "u.bmp", DecodeLimits{});
    const DecodedImage down = decodeImageBytes(ib::bmp24(4, 3, p, true), "d.bmp", DecodeLimits{});
    ASSERT_TRUE(up.ok()) << up.detail;
    ASSERT_TRUE(down.ok()) << down.detail;
    EXPECT_EQ(up.pixels, down.pixels);
    const uint8_t top[4] = {10, 20, 30, 255};
    expectNear(pixelAt(up.pixels, 4, 2, 2), top, 4, 0, "BMP top row at the last canvas row");
}

TEST(ImageDecode, TgaOriginBitAndRunLengthGiveTheSamePicture) {
    const std::vector<uint8_t> p = straightPattern();
    const std::vector<uint8_t> expected = premultiplied(flipped(p, 4, 3));
    for (bool topOrigin : {false, true})
        for (bool rle : {false, true}) {
            SCOPED_TRACE(std::string(topOrigin ? "top origin" : "bottom origin") + (rle ? ", RLE" : ""));
            const DecodedImage image = decodeImageBytes(ib::tga(4, 3, p, 32, topOrigin, rle), "t.tga", DecodeLimits{});
            ASSERT_TRUE(image.ok()) << image.detail;
            EXPECT_EQ(image.channels, 4);
            EXPECT_EQ(image.pixels, expected);
        }
    const DecodedImage rgb = decodeImageBytes(ib::tga(4, 3, p, 24, true, false), "t.tga", DecodeLimits{});
    ASSERT_TRUE(rgb.ok()) << rgb.detail;
    EXPECT_EQ(rgb.channels, 3);
    EXPECT_EQ(rgb.pixels[3], 255);
}

TEST(ImageDecode, DdsBlocksAndBgraDecodeOnTheCpu) {
    const DecodedImage red = decodeImageBytes(ib::ddsDxt1Solid(8, 4, 0xF800), "r.dds", DecodeLimits{});
    ASSERT_TRUE(red.ok()) << red.detail;
    ASSERT_EQ(red.width, 8);
    for (size_t i = 0; i < red.pixels.size(); i += 4) {
        EXPECT_EQ(red.pixels[i], 255);
        EXPECT_EQ(red.pixels[i + 1], 0);
        EXPECT_EQ(red.pixels[i + 3], 255);
    }
    const std::vector<uint8_t> p = straightPattern();
    const DecodedImage bgra = decodeImageBytes(ib::ddsBgra(4, 3, p), "b.dds", DecodeLimits{});
    ASSERT_TRUE(bgra.ok()) << bgra.detail;
    EXPECT_EQ(bgra.pixels, premultiplied(flipped(p, 4, 3)));
}

TEST(ImageDecode, CodecIsChosenBySignatureBeforeExtension) {
    const std::vector<uint8_t> png = ib::png(2, 2, std::vector<uint8_t>(16, 200), true);
    EXPECT_EQ(kindForDecoding("saved.tga", png), ImageKind::Png);
    EXPECT_EQ(kindForDecoding("shot.NEF", png), ImageKind::CameraRaw);
    EXPECT_EQ(kindForDecoding("picture.TGA", std::vector<uint8_t>{0, 0, 2}), ImageKind::Tga);
    EXPECT_EQ(upperExtension("dir.v2/photo.Jpg"), ".JPG");
    EXPECT_EQ(upperExtension("dir.v2/photo"), "");
}

TEST(ImageDecode, WorkerThreadDecodesWhileTheCallerWaits) {
    TempFolder folder;
    const std::string path = folder.file("w.png");
    // Noise that does not compress: decoding it takes tens of milliseconds,
    // far longer than the caller needs to start waiting.
    constexpr int kSide = 1024;
    std::vector<uint8_t> noise(static_cast<std::size_t>(kSide) * kSide * 4);
    uint32_t state = 12345;
    for (uint8_t& v : noise) {
        state = state * 1664525u + 1013904223u;
        v = static_cast<uint8_t>(state >> 24);
    }
    ASSERT_TRUE(saveImage(path, noise, kSide, kSide));
    int turns = 0;
    bool doneAtFirstLook = true;
    std::thread::id waiter;
    using Clock = std::chrono::steady_clock;
    const Clock::time_point call = Clock::now();
    Clock::time_point waitStart = call;
    const DecodedImage image = decodeImageOnWorker(path, DecodeLimits{}, [&](const std::function<bool()>& done) {
        waitStart = Clock::now();
        waiter = std::this_thread::get_id();
        doneAtFirstLook = done();
        while (!done()) {
            ++turns;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    const Clock::time_point end = Clock::now();
    EXPECT_EQ(waiter, std::this_thread::get_id());
    // A decode run on this thread, before the wait or inside its test, would
    // be finished at the first look, and the wait would begin only at the end
    // of the call: beside a worker it begins at once and turns meanwhile.
    EXPECT_FALSE(doneAtFirstLook);
    EXPECT_GT(turns, 0);
    EXPECT_LT((waitStart - call) * 2, end - call)
        << std::chrono::duration<double>(waitStart - call).count() << " s before the wait of "
        << std::chrono::duration<double>(end - call).count() << " s";
    ASSERT_TRUE(image.ok()) << image.detail;
    EXPECT_EQ(image.width, kSide);
    EXPECT_EQ(image.height, kSide);
    const DecodedImage missing = decodeImageOnWorker(folder.file("none.png"), DecodeLimits{},
                                                     [](const std::function<bool()>& done) { while (!done()) {} });
    EXPECT_EQ(missing.status, DecodeStatus::Unreadable);
}

namespace {

// A palette BMP with run-length rows, built byte by byte: `bits` 8 (RLE8) or 4 (RLE4).
std::vector<uint8_t> runLengthBmp(int width, int height, int bits, const std::vector<std::array<uint8_t, 3>>& rgb,
                                  const std::vector<uint8_t>& runs) {
    std::vector<uint8_t> b;
    auto put16 = [&](uint32_t v) { b.push_back(v & 255), b.push_back(v >> 8 & 255); };
    auto put32 = [&](uint32_t v) { put16(v & 0xffff), put16(v >> 16); };
    const uint32_t offset = 14 + 40 + static_cast<uint32_t>(rgb.size()) * 4;
    b.push_back('B'), b.push_back('M');
    put32(offset + static_cast<uint32_t>(runs.size())), put32(0), put32(offset);
    put32(40), put32(static_cast<uint32_t>(width)), put32(static_cast<uint32_t>(height)), put16(1),
        put16(static_cast<uint32_t>(bits));
    put32(bits == 8 ? 1 : 2), put32(static_cast<uint32_t>(runs.size())), put32(2835), put32(2835);
    put32(static_cast<uint32_t>(rgb.size())), put32(0);
    for (const auto& c : rgb) b.push_back(c[2]), b.push_back(c[1]), b.push_back(c[0]), b.push_back(0);
    b.insert(b.end(), runs.begin(), runs.end());
    return b;
}

// The canvas-form pixel (x, y counted from the bottom), opaque colours only.
std::array<uint8_t, 3> rgbAt(const DecodedImage& image, int x, int y) {
    const uint8_t* p = &image.pixels[(static_cast<size_t>(y) * image.width + x) * 4];
    return {p[0], p[1], p[2]};
}

} // namespace

TEST(ImageDecode, RunLengthPaletteBmpsLoad) {
    const std::array<uint8_t, 3> black{0, 0, 0}, red{255, 0, 0}, blue{0, 0, 255}, green{0, 255, 0};
    // RLE4, 4 x 2: bottom row a run of alternating 1, 2; top row 2 1 1 2 given as they are.
    const std::vector<uint8_t> rle4 = runLengthBmp(4, 2, 4, {black, red, blue},
                                                   {4, 0x12, 0, 0, 0, 4, 0x21, 0x12, 0, 0, 0, 1});
    const DecodedImage four = decodeImageBytes(rle4, "x.bmp", DecodeLimits{});
    ASSERT_TRUE(four.ok()) << four.detail;
    ASSERT_EQ(four.width, 4);
    ASSERT_EQ(four.height, 2);
    EXPECT_EQ(four.channels, 3);
    const std::array<uint8_t, 3> bottom[4] = {red, blue, red, blue}, top[4] = {blue, red, red, blue};
    for (int x = 0; x < 4; ++x) {
        EXPECT_EQ(rgbAt(four, x, 0), bottom[x]) << x;
        EXPECT_EQ(rgbAt(four, x, 1), top[x]) << x;
    }
    // RLE8, 3 x 3: one pixel of 1, a move of one right and two up, one pixel of 2;
    // what the runs skip takes the first palette entry.
    const std::vector<uint8_t> rle8 =
        runLengthBmp(3, 3, 8, {green, red, blue}, {1, 1, 0, 2, 1, 2, 1, 2, 0, 1});
    const DecodedImage eight = decodeImageBytes(rle8, "x.bmp", DecodeLimits{});
    ASSERT_TRUE(eight.ok()) << eight.detail;
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x) {
            const std::array<uint8_t, 3> expected = x == 0 && y == 0 ? red : x == 2 && y == 2 ? blue : green;
            EXPECT_EQ(rgbAt(eight, x, y), expected) << x << ", " << y;
        }
    // Runs that stop before the picture is full are damage, not a picture.
    const std::vector<uint8_t> cut = runLengthBmp(3, 2, 8, {green, red}, {1, 1, 0});
    EXPECT_EQ(decodeImageBytes(cut, "x.bmp", DecodeLimits{}).status, DecodeStatus::Damaged);
}
