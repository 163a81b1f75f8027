// The clipboard layer against xclip, without the program: blocks larger than
// one X request both ways (INCR), lazily made targets, and losing the
// selection to another client.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include "platform/Clipboard.h"

namespace {

std::vector<uint8_t> noise(size_t n, uint32_t seed) {
    std::vector<uint8_t> bytes(n);
    for (auto& b : bytes) {
        seed = seed * 1664525u + 1013904223u;
        b = static_cast<uint8_t>(seed >> 24);
    }
    return bytes;
}

} // namespace

TEST(ClipboardX11, LargeBlocksBothWaysAndLosingTheSelection) {
    // Ours out: 3 MB, made only when first asked for.
    const std::vector<uint8_t> ours = noise(3u << 20, 1);
    int made = 0;
    ASSERT_TRUE(platform::setClipboardOffers({{"application/x-kw-test", [&] {
                                                   ++made;
                                                   return ours;
                                               }}}));
    EXPECT_EQ(made, 0);
    // xclip reads in the background while this loop answers its requests,
    // until its output file is complete.
    const auto dir = std::filesystem::temp_directory_path() / ("kw_clip_x11_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    const std::string outPath = (dir / "out.bin").string();
    ASSERT_EQ(std::system(("(timeout 20 xclip -selection clipboard -t application/x-kw-test -o > " + outPath +
                           ".part && mv " + outPath + ".part " + outPath + ") &")
                              .c_str()),
              0);
    for (int i = 0; i < 2000 && !std::filesystem::exists(outPath); ++i) {
        platform::pumpClipboard();
        usleep(5000);
    }
    ASSERT_TRUE(std::filesystem::exists(outPath));
    std::ifstream in(outPath, std::ios::binary);
    const std::vector<uint8_t> got((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(got.size(), ours.size());
    EXPECT_TRUE(got == ours);
    EXPECT_EQ(made, 1);

    // Theirs in: xclip takes the selection with 2 MB; we read it by INCR.
    const std::vector<uint8_t> theirs = noise(2u << 20, 2);
    const std::string inPath = (dir / "in.bin").string();
    std::ofstream(inPath, std::ios::binary)
        .write(reinterpret_cast<const char*>(theirs.data()), static_cast<std::streamsize>(theirs.size()));
    ASSERT_EQ(std::system(("xclip -selection clipboard -t image/x-test -i " + inPath).c_str()), 0);
    usleep(200000);
    std::string chosen;
    std::vector<uint8_t> bytes;
    EXPECT_EQ(platform::clipboardData({"image/none", "image/x-test"}, chosen, bytes, 2000),
              platform::ClipboardStatus::Ok);
    EXPECT_EQ(chosen, "image/x-test");
    EXPECT_EQ(bytes.size(), theirs.size());
    EXPECT_TRUE(bytes == theirs);
    // A target the owner does not offer: nothing.
    EXPECT_EQ(platform::clipboardData({"image/none"}, chosen, bytes, 2000), platform::ClipboardStatus::Empty);

    // Take it back, then let xclip take it: we stop serving.
    ASSERT_TRUE(platform::setClipboardOffers({{"application/x-kw-test", [&] { return ours; }}}));
    ASSERT_EQ(std::system("printf words | xclip -selection clipboard -i"), 0);
    usleep(200000);
    platform::pumpClipboard();
    EXPECT_EQ(platform::clipboardData({"application/x-kw-test"}, chosen, bytes, 2000),
              platform::ClipboardStatus::Empty);
    std::filesystem::remove_all(dir);
}
