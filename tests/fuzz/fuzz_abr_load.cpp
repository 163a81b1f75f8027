// libFuzzer entry for the brush-set reader: any bytes as an ".abr" file.
// Whatever is decoded must be a whole mask of a size a tip may have, and a
// version that is not read must decode nothing.
#include <cstddef>
#include <cstdint>
#include <span>

#include "brush/BrushTips.h"
#include "io/AbrFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const abr::Decoded d = abr::decode(std::span<const uint8_t>(data, size), "fuzz");
    if (!d.supported && !d.brushes.empty()) __builtin_trap();
    if (!d.complete && d.problem.empty()) __builtin_trap(); // every refusal says why
    for (const abr::Brush& b : d.brushes) {
        if (b.width < 1 || b.height < 1 || b.width > kMaxTipSide || b.height > kMaxTipSide) __builtin_trap();
        if (b.mask.size() != static_cast<std::size_t>(b.width) * static_cast<std::size_t>(b.height)) __builtin_trap();
        if (b.name.empty()) __builtin_trap();
    }
    return 0;
}
