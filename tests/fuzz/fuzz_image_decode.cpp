// libFuzzer entry: every decoder gets the same bytes. The first byte picks
// the name the bytes are decoded under, so formats without a signature
// (TGA, camera RAW) are reached too.
#include <cstddef>
#include <cstdint>
#include <span>

#include "io/ImageCodec.h"
#include "tests/fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const char* name = fuzzinput::nameFor(data[0]);
    // Small limits keep each run fast; the refusal path is exercised as well.
    DecodeLimits limits;
    limits.maxWidth = limits.maxHeight = 2048;
    limits.maxPixels = 1 << 20;
    const DecodedImage image = decodeImageBytes(std::span(data + 1, size - 1), name, limits, true);
    if (image.ok() && image.pixels.size() != static_cast<size_t>(image.width) * image.height * 4) __builtin_trap();
    return 0;
}
