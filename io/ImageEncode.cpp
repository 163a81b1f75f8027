#include <cstdio>
#include <cstring>

#include "canvas/GlPixels.h"
#include "io/Codecs.h"
#include "io/ImageCodec.h"
#include "io/ImageFormat.h"

namespace {
// The encoders take rows top-down; the canvas hands them bottom-up.
std::vector<uint8_t> flippedRows(const std::vector<uint8_t>& pixels, int32_t width, int32_t height) {
    const size_t row = static_cast<size_t>(width) * 4;
    std::vector<uint8_t> out(pixels.size());
    for (int32_t y = 0; y < height; ++y)
        std::memcpy(out.data() + static_cast<size_t>(y) * row,
                    pixels.data() + static_cast<size_t>(height - 1 - y) * row, row);
    return out;
}
} // namespace

bool saveImage(const std::string& path, std::vector<uint8_t> pixels, int32_t width, int32_t height) {
    if (width <= 0 || height <= 0 ||
        pixels.size() != static_cast<size_t>(width) * static_cast<size_t>(height) * 4) {
        std::fprintf(stderr, "saveImage: %s: %zu bytes do not make %d x %d pixels\n", path.c_str(), pixels.size(),
                     width, height);
        return false;
    }
    std::vector<uint8_t> topDown = flippedRows(pixels, width, height);
    pixels = {}; // the caller's block is freed here, as the contract says
    switch (saveFormatForPath(path)) {
    case kSaveJpeg: return codec::encodeJpeg(path, topDown.data(), width, height, 100);
    case kSaveBmp: return codec::encodeBmp(path, topDown.data(), width, height);
    case kSaveTiff: return codec::encodeTiff(path, topDown.data(), width, height);
    default: return codec::encodePng(path, topDown.data(), width, height);
    }
}

bool saveCanvasImage(const std::string& path, std::vector<uint8_t> pixels, int32_t width, int32_t height) {
    unpremultiply(pixels.data(), pixels.size());
    // A fully transparent pixel is black in the file, whatever the surface held.
    for (size_t i = 0; i + 3 < pixels.size(); i += 4)
        if (pixels[i + 3] == 0) pixels[i] = pixels[i + 1] = pixels[i + 2] = 0;
    return saveImage(path, std::move(pixels), width, height);
}
