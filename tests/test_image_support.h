#pragma once
// Helpers shared by the image tests: a private temporary folder and small
// pictures in canvas form.
#include <gtest/gtest.h>

#include <cstdint>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "io/Pixels.h"

namespace imagetest {

// A folder of its own under the system's temporary folder, removed at the end.
class TempFolder {
public:
    TempFolder() {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        path_ = std::filesystem::temp_directory_path() /
                ("kw_image_" + std::string(info ? info->name() : "x") + "_" + std::to_string(::getpid()));
        std::filesystem::create_directories(path_);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

inline void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline std::vector<uint8_t> readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Turns rows around: top-down <-> bottom-up.
inline std::vector<uint8_t> flipped(const std::vector<uint8_t>& rgba, int width, int height) {
    std::vector<uint8_t> out(rgba.size());
    const size_t row = static_cast<size_t>(width) * 4;
    for (int y = 0; y < height; ++y)
        std::copy_n(rgba.begin() + static_cast<std::ptrdiff_t>(y * row), row,
                    out.begin() + static_cast<std::ptrdiff_t>((height - 1 - y) * row));
    return out;
}

inline std::vector<uint8_t> premultiplied(std::vector<uint8_t> straight) {
    premultiply(straight.data(), straight.size());
    return straight;
}

} // namespace imagetest
