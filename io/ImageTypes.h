#pragma once
// Plain records shared by the decoders and encoders. No GL here.
#include <cstdint>
#include <string>
#include <vector>

// Why a decode gave no picture.
enum class DecodeStatus {
    Ok,
    Unreadable,  // the file could not be opened or read
    Unsupported, // no decoder for this kind of file
    Damaged,     // the decoder refused the data (bad, truncated, hostile)
    TooLarge,    // the header claims a size beyond the limits; nothing large was allocated
};

const char* decodeStatusText(DecodeStatus status);

// Sizes a decoder accepts, checked on the header before any pixel memory exists.
struct DecodeLimits {
    int32_t maxWidth = 16384;
    int32_t maxHeight = 16384;
    // Pixel count cap, independent of the sides: 16384 x 16384.
    int64_t maxPixels = int64_t{16384} * 16384;

    bool accepts(int64_t width, int64_t height) const {
        return width > 0 && height > 0 && width <= maxWidth && height <= maxHeight && width * height <= maxPixels;
    }
};

// A decoded picture in canvas form: RGBA, 8 bits a component, premultiplied,
// row 0 at the bottom. channels says what the file held (3 without alpha,
// 4 with); the pixels always have four components, alpha 255 without alpha.
struct DecodedImage {
    DecodeStatus status = DecodeStatus::Unreadable;
    int32_t width = 0, height = 0;
    int32_t channels = 0;
    std::vector<uint8_t> pixels;
    std::string detail;  // the decoder's own words on a failure, for standard error
    std::string warning; // set when the picture loaded from data the decoder found damaged

    bool ok() const { return status == DecodeStatus::Ok; }
};

// A straight-alpha picture as the decoders deliver it before the canvas
// conversion: RGBA, rows top-down.
struct RawPicture {
    int32_t width = 0, height = 0;
    int32_t channels = 0;
    bool premultiplied = false; // some libraries hand out associated alpha
    std::vector<uint8_t> pixels;
    std::string warning; // damage the decoder worked around (the picture may look wrong)
};
