#pragma once
// The form of a fuzz input: one byte that picks the file name the rest is
// decoded under, then the file's bytes. Shared by the fuzzer, the seed
// corpus writer and the corpus test.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace fuzzinput {

inline constexpr const char* kNames[] = {"f.png", "f.jpg", "f.tif", "f.bmp", "f.tga", "f.dds", "f.nef", "f.xyz"};
inline constexpr size_t kNameCount = sizeof kNames / sizeof kNames[0];

inline uint8_t selectorFor(const std::string& name) {
    for (size_t i = 0; i < kNameCount; ++i)
        if (name == kNames[i]) return static_cast<uint8_t>(i);
    return static_cast<uint8_t>(kNameCount - 1);
}

inline const char* nameFor(uint8_t selector) { return kNames[selector % kNameCount]; }

} // namespace fuzzinput
