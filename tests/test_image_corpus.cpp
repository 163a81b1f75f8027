// Every seed of the image fuzzer's corpus goes through the decoder as the
// fuzzer feeds it, so the corpus is exercised without libFuzzer. The seeds
// are valid pictures: each must decode whole.
#include <gtest/gtest.h>

#include <filesystem>
#include <span>

#include "io/ImageCodec.h"
#include "test_image_support.h"
#include "tests/fuzz/FuzzInput.h"
#include "TestPaths.h"

TEST(ImageCorpus, EverySeedDecodesWhole) {
    const std::filesystem::path folder = std::filesystem::path(KW_SOURCE_DIR) / "tests/fuzz/corpus/images";
    ASSERT_TRUE(std::filesystem::is_directory(folder));
    int seeds = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::vector<uint8_t> bytes = imagetest::readBytes(entry.path().string());
        ASSERT_FALSE(bytes.empty()) << entry.path();
        const std::string name = fuzzinput::nameFor(bytes[0]);
        const DecodedImage image = decodeImageBytes(std::span(bytes).subspan(1), name, DecodeLimits{});
        const bool regression = entry.path().filename().string().rfind("crash", 0) == 0;
        // Inputs that once crashed a decoder only have to come back without a crash.
        if (!regression) {
            EXPECT_TRUE(image.ok()) << entry.path() << ": " << image.detail;
            EXPECT_EQ(image.pixels.size(), static_cast<size_t>(image.width) * image.height * 4) << entry.path();
        }
        ++seeds;
    }
    EXPECT_GE(seeds, 13);
}
