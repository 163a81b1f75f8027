#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>

#include "io/BinaryStream.h"
#include "io/Codecs.h"
#include "io/ImageCodec.h"
#include "io/ImageFormat.h"
#include "io/Pixels.h"

namespace {

bool encodeAs(int format, const std::string& path, const uint8_t* topDown, int32_t width, int32_t height) {
    switch (format) {
    // 4:4:4 at full quality: saturated edges keep their colour.
    case kSaveJpeg: return codec::encodeJpeg(path, topDown, width, height, 100);
    case kSaveBmp: return codec::encodeBmp(path, topDown, width, height);
    case kSaveTiff: return codec::encodeTiff(path, topDown, width, height);
    default: return codec::encodePng(path, topDown, width, height);
    }
}

// A fresh name beside the target, so the rename stays on one file system.
std::string temporaryNameFor(const std::string& path) {
    static int counter = 0;
    return path + ".part-" + std::to_string(getpid()) + "-" + std::to_string(++counter);
}

} // namespace

bool saveImage(const std::string& path, std::vector<uint8_t> pixels, int32_t width, int32_t height) {
    if (width <= 0 || height <= 0 ||
        pixels.size() != static_cast<size_t>(width) * static_cast<size_t>(height) * 4) {
        std::fprintf(stderr, "saveImage: %s: %zu bytes do not make %d x %d pixels\n", path.c_str(), pixels.size(),
                     width, height);
        return false;
    }
    // The encoders take rows top-down; the canvas hands them bottom-up. The
    // block is ours, so it turns in place.
    flipRowsInPlace(pixels, width, height);
    // Written beside the target and renamed over it: a failed save leaves the old file whole.
    const std::string temporary = temporaryNameFor(path);
    bool written = encodeAs(saveFormatForPath(path), temporary, pixels.data(), width, height);
    pixels = {}; // the caller's block is freed here, as the contract says
    std::error_code ec;
    std::string error;
    if (written && !io::syncFileToDisk(temporary, error)) {
        std::fprintf(stderr, "saveImage: %s\n", error.c_str());
        written = false;
    }
    if (written) {
        std::filesystem::rename(temporary, path, ec);
        if (ec) {
            std::fprintf(stderr, "saveImage: %s: %s\n", path.c_str(), ec.message().c_str());
            written = false;
        }
    }
    if (!written) std::filesystem::remove(temporary, ec);
    return written;
}

bool saveCanvasImage(const std::string& path, std::vector<uint8_t> pixels, int32_t width, int32_t height) {
    unpremultiply(pixels.data(), pixels.size());
    // A fully transparent pixel is black in the file, whatever the surface held.
    for (size_t i = 0; i + 3 < pixels.size(); i += 4)
        if (pixels[i + 3] == 0) pixels[i] = pixels[i + 1] = pixels[i + 2] = 0;
    return saveImage(path, std::move(pixels), width, height);
}
