// PNG through libpng's simplified interface: it keeps its own error jump,
// stores warnings and errors in the image record and never prints.
#include <png.h>

#include <cstdio>

#include "io/Codecs.h"

namespace codec {

DecodeStatus decodePng(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&image, data.data(), data.size())) {
        detail = image.message;
        return DecodeStatus::Damaged;
    }
    if (!limits.accepts(image.width, image.height)) {
        detail = "PNG header claims " + std::to_string(image.width) + " x " + std::to_string(image.height);
        png_image_free(&image);
        return DecodeStatus::TooLarge;
    }
    const bool hasAlpha = (image.format & PNG_FORMAT_FLAG_ALPHA) != 0;
    image.format = PNG_FORMAT_RGBA;
    out.width = static_cast<int32_t>(image.width);
    out.height = static_cast<int32_t>(image.height);
    out.channels = hasAlpha ? 4 : 3;
    out.premultiplied = false;
    out.pixels.assign(PNG_IMAGE_SIZE(image), 0);
    if (!png_image_finish_read(&image, nullptr, out.pixels.data(), 0, nullptr)) {
        detail = image.message;
        png_image_free(&image);
        out.pixels.clear();
        return DecodeStatus::Damaged;
    }
    return DecodeStatus::Ok;
}

bool encodePng(const std::string& path, const uint8_t* rgba, int32_t width, int32_t height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGBA;
    if (!png_image_write_to_file(&image, path.c_str(), 0, rgba, width * 4, nullptr)) {
        std::fprintf(stderr, "PNG: %s: %s\n", path.c_str(), image.message);
        return false;
    }
    return true;
}

} // namespace codec
