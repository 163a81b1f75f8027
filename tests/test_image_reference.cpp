// Pictures as other programs make them, decoded by us and compared with
// ImageMagick's decode of the same file (scripts/generators/make_image_corpus.py
// builds both at test time); our writers' files read back by ImageMagick.
// Comparisons are in premultiplied form, so colour under near-zero alpha,
// which no one sees, does not count; tolerances are in 8-bit levels and
// listed per file in the generator (0 lossless, 1 for 16-bit scaling and
// alpha, 3 or 4 for JPEG and DXT, whose decoders may round differently).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "io/ImageCodec.h"
#include "io/ImageFormat.h"
#include "test_image_support.h"
#include "TestPaths.h"

namespace {

namespace fs = std::filesystem;

struct CorpusEntry {
    std::string name, expect;
    int tolerance = 0, width = 0, height = 0;
};

// The corpus, made once for the whole suite.
class ImageReference : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        folder = fs::temp_directory_path() / ("kw_image_reference_" + std::to_string(::getpid()));
        fs::remove_all(folder);
        const std::string command = "python3 " + std::string(KW_SOURCE_DIR) +
                                    "/scripts/generators/make_image_corpus.py " + folder.string() + " 2>&1";
        made = std::system(command.c_str()) == 0;
    }
    static void TearDownTestSuite() { fs::remove_all(folder); }

    static std::vector<CorpusEntry> manifest() {
        std::vector<CorpusEntry> entries;
        std::ifstream in(folder / "manifest.txt");
        CorpusEntry e;
        while (in >> e.name >> e.expect >> e.tolerance >> e.width >> e.height) entries.push_back(e);
        return entries;
    }

    static fs::path folder;
    static bool made;
};

fs::path ImageReference::folder;
bool ImageReference::made = false;

// ImageMagick's reading of any file, as straight 8-bit RGBA rows top-down.
std::vector<uint8_t> magickRgba(const std::string& file, int& width, int& height) {
    const std::string raw = file + ".magick.rgba";
    const std::string command =
        "convert '" + file + "[0]' -depth 8 -print '%w %h' rgba:'" + raw + "' > '" + raw + ".size' 2>/dev/null";
    if (std::system(command.c_str()) != 0) return {};
    std::ifstream size(raw + ".size");
    size >> width >> height;
    return imagetest::readBytes(raw);
}

std::string magickFormat(const std::string& file) {
    const std::string out = file + ".format";
    const std::string command = "identify -format '%m' '" + file + "[0]' > '" + out + "' 2>/dev/null";
    if (std::system(command.c_str()) != 0) return {};
    std::string format;
    std::ifstream(out) >> format;
    return format;
}

// Straight rows top-down to canvas form by hand: floor(c * a / 255), rows bottom-up.
std::vector<uint8_t> canvasFormOf(const std::vector<uint8_t>& straightTopDown, int width, int height) {
    std::vector<uint8_t> out = imagetest::flipped(straightTopDown, width, height);
    for (size_t i = 0; i + 3 < out.size(); i += 4)
        for (size_t c = 0; c < 3; ++c) out[i + c] = static_cast<uint8_t>(out[i + c] * out[i + 3] / 255);
    return out;
}

int largestDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    if (a.size() != b.size()) return 256;
    int most = 0;
    for (size_t i = 0; i < a.size(); ++i) most = std::max(most, std::abs(a[i] - b[i]));
    return most;
}

} // namespace

TEST_F(ImageReference, EveryFileDecodesAsImageMagickShowsIt) {
    ASSERT_TRUE(made) << "the corpus generator failed (ImageMagick and libtiff-tools come from scripts/deps.sh)";
    const std::vector<CorpusEntry> entries = manifest();
    ASSERT_GE(entries.size(), 40u);
    for (const CorpusEntry& e : entries) {
        SCOPED_TRACE(e.name);
        const DecodedImage image = decodeImage((folder / e.name).string(), DecodeLimits{});
        if (e.expect == "unsupported") {
            EXPECT_EQ(image.status, DecodeStatus::Unsupported) << image.detail;
            continue;
        }
        ASSERT_TRUE(image.ok()) << image.detail;
        EXPECT_EQ(image.width, e.width);
        EXPECT_EQ(image.height, e.height);
        if (e.expect == "warn") {
            EXPECT_FALSE(image.warning.empty());
            continue;
        }
        EXPECT_TRUE(image.warning.empty()) << image.warning;
        const std::vector<uint8_t> reference = imagetest::readBytes((folder / (e.name + ".rgba")).string());
        ASSERT_EQ(reference.size(), static_cast<size_t>(e.width) * e.height * 4);
        const int difference = largestDifference(image.pixels, canvasFormOf(reference, e.width, e.height));
        EXPECT_LE(difference, e.tolerance);
        if (std::getenv("KW_SHOW_DIFFERENCES")) std::printf("%s: %d\n", e.name.c_str(), difference);
    }
}

TEST_F(ImageReference, RenderGivesThePictureOnStandardOutputNothing) {
    // The batch command end to end, through the canvas: DDS with soft alpha
    // and an odd height, an EXIF-turned photo, an RLE palette file.
    ASSERT_TRUE(made);
    for (const std::string name : {"dxt5.dds", "rgba.dds", "dxt5_513x257.dds", "dxt1_128x94.dds", "exif_6.jpg",
                                   "rle8.bmp", "rgba16.png", "orient_6.tif"}) {
        SCOPED_TRACE(name);
        CorpusEntry e;
        for (const CorpusEntry& m : manifest())
            if (m.name == name) e = m;
        ASSERT_EQ(e.name, name);
        const std::string out = (folder / (name + ".out.png")).string(), so = out + ".stdout";
        const std::string command = "env -u DISPLAY " + std::string(KW_BINARY) + " --render '" +
                                    (folder / name).string() + "' '" + out + "' > '" + so + "' 2>/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0);
        EXPECT_TRUE(imagetest::readBytes(so).empty()) << "standard output: " << so;
        int width = 0, height = 0;
        const std::vector<uint8_t> written = magickRgba(out, width, height);
        ASSERT_EQ(width, e.width);
        ASSERT_EQ(height, e.height);
        const std::vector<uint8_t> reference = imagetest::readBytes((folder / (name + ".rgba")).string());
        EXPECT_LE(largestDifference(canvasFormOf(written, width, height), canvasFormOf(reference, width, height)),
                  e.tolerance);
    }
}

TEST(ImageWriters, EveryExtensionWritesItsFormatReadBackByImageMagick) {
    imagetest::TempFolder folder;
    // A saturated pattern with hard edges: red, green, blue and white blocks
    // (JPEG's weak spot is halved colour resolution at such edges: 4:2:0
    // is off by over 200 levels there, 4:4:4 at full quality by 3).
    const int w = 24, h = 16;
    std::vector<uint8_t> topDown(static_cast<size_t>(w) * h * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t* p = &topDown[(static_cast<size_t>(y) * w + x) * 4];
            const int block = (x / 3 + y / 3) % 4;
            p[0] = block == 0 || block == 3 ? 255 : 0;
            p[1] = block == 1 || block == 3 ? 255 : 0;
            p[2] = block == 2 || block == 3 ? 255 : 20;
            p[3] = 255;
        }
    struct Case {
        const char* name;
        const char* format;
        int tolerance;
    };
    for (const Case& c : {Case{"w.png", "PNG", 0}, Case{"w.tif", "TIFF", 0}, Case{"w.tiff", "TIFF", 0},
                          Case{"w.TIFF", "TIFF", 0}, Case{"w.bmp", "BMP", 0}, Case{"w.jpg", "JPEG", 4},
                          Case{"w.jpeg", "JPEG", 4}, Case{"w.xyz", "PNG", 0}}) {
        SCOPED_TRACE(c.name);
        const std::string path = folder.file(c.name);
        ASSERT_TRUE(saveImage(path, imagetest::flipped(topDown, w, h), w, h));
        EXPECT_EQ(magickFormat(path).rfind(c.format, 0), 0u) << magickFormat(path); // "BMP3" is a BMP
        int width = 0, height = 0;
        const std::vector<uint8_t> back = magickRgba(path, width, height);
        ASSERT_EQ(width, w);
        ASSERT_EQ(height, h);
        EXPECT_LE(largestDifference(back, topDown), c.tolerance);
    }
}

TEST(ImageWriters, FiveOpenSaveCyclesChangeNothingAfterTheFirst) {
    imagetest::TempFolder folder;
    // Every colour at every alpha along the rows: the whole range of soft edges.
    const int w = 256, h = 64;
    std::vector<uint8_t> straight(static_cast<size_t>(w) * h * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t* p = &straight[(static_cast<size_t>(y) * w + x) * 4];
            p[0] = static_cast<uint8_t>(x);
            p[1] = static_cast<uint8_t>(255 - x);
            p[2] = static_cast<uint8_t>(x * 7 + y);
            p[3] = static_cast<uint8_t>(y * 4 + 3);
        }
    for (const char* name : {"cycle.png", "cycle.tif"}) {
        SCOPED_TRACE(name);
        const std::string path = folder.file(name);
        ASSERT_TRUE(saveImage(path, straight, w, h));
        std::vector<std::vector<uint8_t>> files;
        for (int cycle = 0; cycle < 5; ++cycle) {
            DecodedImage image = decodeImage(path, DecodeLimits{});
            ASSERT_TRUE(image.ok()) << image.detail;
            ASSERT_TRUE(saveCanvasImage(path, std::move(image.pixels), w, h));
            int width = 0, height = 0;
            files.push_back(magickRgba(path, width, height));
            ASSERT_EQ(files.back().size(), straight.size());
        }
        for (int cycle = 1; cycle < 5; ++cycle) EXPECT_EQ(files[cycle], files[0]) << "cycle " << cycle + 1;
        // And the first pass stays close to the original where alpha is at least half.
        const std::vector<uint8_t> topDown = imagetest::flipped(straight, w, h);
        int most = 0;
        for (size_t i = 0; i < topDown.size(); i += 4)
            if (topDown[i + 3] >= 128)
                for (size_t c = 0; c < 4; ++c) most = std::max(most, std::abs(files[0][i + c] - topDown[i + c]));
        EXPECT_LE(most, 1);
    }
}

TEST(ImageMessages, AFolderIsNotAFileOfEnormousSize) {
    imagetest::TempFolder folder;
    const DecodedImage image = decodeImage(folder.file(""), DecodeLimits{});
    EXPECT_EQ(image.status, DecodeStatus::Unreadable);
    EXPECT_NE(image.detail.find("folder"), std::string::npos) << image.detail;
    EXPECT_EQ(image.detail.find("bytes"), std::string::npos) << image.detail;
}
