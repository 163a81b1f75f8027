// Damaged, truncated and hostile files: a clean refusal, never a crash, and
// no large allocation for a header that claims a huge picture.
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "io/ImageCodec.h"
#include "test_image_support.h"
#include "tests/fuzz/ImageBytes.h"

using namespace imagetest;
namespace ib = imagebytes;

namespace {

std::vector<uint8_t> opaquePattern(int w, int h) {
    std::vector<uint8_t> p(static_cast<size_t>(w * h * 4));
    for (size_t i = 0; i < p.size(); ++i) p[i] = static_cast<uint8_t>(i % 4 == 3 ? 255 : i * 37);
    return p;
}

// A valid file of every readable format, 16 x 16.
std::vector<std::pair<std::string, std::vector<uint8_t>>> validFiles(const TempFolder& folder) {
    const std::vector<uint8_t> p = opaquePattern(16, 16);
    std::vector<std::pair<std::string, std::vector<uint8_t>>> files = {
        {"v.png", ib::png(16, 16, p, true)},          {"v.bmp", ib::bmp24(16, 16, p, false)},
        {"v.tga", ib::tga(16, 16, p, 32, false, false)}, {"r.tga", ib::tga(16, 16, p, 32, true, true)},
        {"v.dds", ib::ddsDxt1Solid(16, 16, 0x07E0)},  {"u.dds", ib::ddsBgra(16, 16, p)}};
    for (const char* name : {"s.jpg", "s.tif"}) {
        EXPECT_TRUE(saveImage(folder.file(name), p, 16, 16));
        files.emplace_back(name, readBytes(folder.file(name)));
    }
    return files;
}

// Sets a little-endian or big-endian 32-bit field.
void set32(std::vector<uint8_t>& b, size_t at, uint32_t v, bool bigEndian = false) {
    for (int i = 0; i < 4; ++i) b[at + static_cast<size_t>(i)] = static_cast<uint8_t>(v >> (bigEndian ? 24 - 8 * i : 8 * i));
}

// Headers that claim 100000 x 100000 pixels, each otherwise well formed.
std::vector<std::pair<std::string, std::vector<uint8_t>>> bombs(const TempFolder& folder) {
    const std::vector<uint8_t> p = opaquePattern(4, 4);
    std::vector<uint8_t> png = ib::png(4, 4, p, true);
    set32(png, 16, 100000, true);
    set32(png, 20, 100000, true);
    const uint32_t crc = ib::crc32(png.data() + 12, 17);
    set32(png, 29, crc, true);
    std::vector<uint8_t> bmp = ib::bmp24(4, 4, p, false);
    set32(bmp, 18, 100000);
    set32(bmp, 22, 100000);
    std::vector<uint8_t> dds = ib::ddsDxt1Solid(4, 4, 0);
    set32(dds, 12, 100000);
    set32(dds, 16, 100000);
    EXPECT_TRUE(saveImage(folder.file("b.jpg"), p, 4, 4));
    std::vector<uint8_t> jpg = readBytes(folder.file("b.jpg"));
    // Start of frame: FF C0, length, precision, then height and width, big-endian 16 bits.
    for (size_t i = 0; i + 9 < jpg.size(); ++i)
        if (jpg[i] == 0xFF && jpg[i + 1] == 0xC0) {
            jpg[i + 5] = jpg[i + 7] = 0xEA; // 60000 x 60000 (libjpeg itself stops at 65500)
            jpg[i + 6] = jpg[i + 8] = 0x60;
            break;
        }
    std::vector<uint8_t> tiff = {'I', 'I', 42, 0, 8, 0, 0, 0, 3, 0};
    auto entry = [&](uint16_t tag, uint16_t type, uint32_t value) {
        ib::put16(tiff, tag);
        ib::put16(tiff, type);
        ib::put32(tiff, 1);
        ib::put32(tiff, value);
    };
    entry(256, 4, 100000); // width
    entry(257, 4, 100000); // length
    entry(273, 4, 8);      // strip offset
    ib::put32(tiff, 0);
    // TGA sides are 16 bits: 65535 x 65535 is its bomb.
    std::vector<uint8_t> tga = ib::tga(1, 1, p, 32, false, false);
    tga[12] = tga[13] = tga[14] = tga[15] = 0xFF;
    return {{"b.png", png}, {"b.bmp", bmp}, {"b.dds", dds}, {"b.jpg", jpg}, {"b.tif", tiff}, {"b.tga", tga}};
}

} // namespace

TEST(ImageHostile, EveryTruncationOfEveryFormatIsRefusedCleanly) {
    TempFolder folder;
    for (const auto& [name, bytes] : validFiles(folder)) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(decodeImageBytes(bytes, name, DecodeLimits{}).ok()) << "the untouched file must decode";
        // A PNG cut inside its closing chunk still holds every pixel.
        const size_t end = bytes.size() - (name.ends_with(".png") ? 12 : 0);
        for (size_t length = 0; length < end; length += (length < 64 ? 1 : 7)) {
            const std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
            const DecodedImage image = decodeImageBytes(cut, name, DecodeLimits{});
            EXPECT_FALSE(image.ok()) << "cut at " << length << " of " << bytes.size();
            EXPECT_TRUE(image.pixels.empty());
        }
    }
}

TEST(ImageHostile, FlippedBytesNeverCrashAndGiveWholePicturesOrNothing) {
    TempFolder folder;
    uint32_t seed = 12345;
    for (const auto& [name, bytes] : validFiles(folder)) {
        SCOPED_TRACE(name);
        for (int round = 0; round < 200; ++round) {
            std::vector<uint8_t> damaged = bytes;
            for (int k = 0; k < 4; ++k) {
                seed = seed * 1103515245u + 12345u;
                damaged[(seed >> 8) % damaged.size()] ^= static_cast<uint8_t>(seed >> 24 | 1);
            }
            const DecodedImage image = decodeImageBytes(damaged, name, DecodeLimits{});
            if (image.ok())
                EXPECT_EQ(image.pixels.size(), static_cast<size_t>(image.width) * image.height * 4);
            else
                EXPECT_TRUE(image.pixels.empty());
        }
    }
}

TEST(ImageHostile, HugeHeadersAreRefusedInTheHeaderCheck) {
    TempFolder folder;
    for (const auto& [name, bytes] : bombs(folder)) {
        const DecodedImage image = decodeImageBytes(bytes, name, DecodeLimits{});
        EXPECT_EQ(image.status, DecodeStatus::TooLarge) << name << ": " << image.detail;
    }
    // A limit below the picture refuses an honest file too.
    DecodeLimits small;
    small.maxWidth = small.maxHeight = 8;
    EXPECT_EQ(decodeImageBytes(ib::png(16, 16, opaquePattern(16, 16), true), "x.png", small).status,
              DecodeStatus::TooLarge);
}

// With the address space capped a little above what the process already
// uses, any allocation for the claimed picture (tens of gigabytes) fails.
TEST(ImageHostile, HugeHeadersAllocateNothingLarge) {
    TempFolder folder;
    const auto files = bombs(folder);
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::ifstream status("/proc/self/status");
        std::string line;
        long vmKb = 0;
        while (std::getline(status, line))
            if (line.rfind("VmSize:", 0) == 0) vmKb = std::stol(line.substr(7));
        const rlim_t cap = static_cast<rlim_t>(vmKb + 256 * 1024) * 1024;
        rlimit limit{cap, cap};
        if (vmKb == 0 || setrlimit(RLIMIT_AS, &limit) != 0) _exit(3);
        for (const auto& [name, bytes] : files)
            if (decodeImageBytes(bytes, name, DecodeLimits{}).status != DecodeStatus::TooLarge) _exit(1);
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "the decoder died under the memory cap";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(ImageHostile, GarbageUnderEveryNameIsRefused) {
    std::vector<uint8_t> garbage(300);
    for (size_t i = 0; i < garbage.size(); ++i) garbage[i] = static_cast<uint8_t>(i * 91 + 7);
    for (const char* name : {"g.png", "g.jpg", "g.tif", "g.bmp", "g.tga", "g.dds", "g.nef", "g.cr2", "g.xyz"}) {
        const DecodedImage image = decodeImageBytes(garbage, name, DecodeLimits{});
        EXPECT_FALSE(image.ok()) << name;
    }
    EXPECT_EQ(decodeImage("/nonexistent/file.png", DecodeLimits{}).status, DecodeStatus::Unreadable);
}
