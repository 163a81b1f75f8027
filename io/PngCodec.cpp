// PNG through libpng's row interface, read from memory into the picture's
// own block (no second copy). Errors jump back here; warnings are kept,
// never printed. Samples are taken as they are stored: data without colour
// chunks is sRGB, 16-bit data included, as every viewer shows it.
#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include "io/Codecs.h"

namespace codec {
namespace {

struct PngReadState {
    Bytes data;
    size_t position = 0;
    std::jmp_buf jump;
    std::string error, warning;
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::vector<png_bytep> rows;
    ~PngReadState() { png_destroy_read_struct(&png, &info, nullptr); }
};

[[noreturn]] void onPngError(png_structp png, png_const_charp message) {
    auto* s = static_cast<PngReadState*>(png_get_error_ptr(png));
    s->error = message ? message : "PNG error";
    std::longjmp(s->jump, 1);
}

void onPngWarning(png_structp png, png_const_charp message) {
    auto* s = static_cast<PngReadState*>(png_get_error_ptr(png));
    if (s->warning.empty() && message) s->warning = message;
}

void readFromMemory(png_structp png, png_bytep target, png_size_t length) {
    auto* s = static_cast<PngReadState*>(png_get_io_ptr(png));
    if (length > s->data.size() - s->position) png_error(png, "PNG data ends early");
    std::memcpy(target, s->data.data() + s->position, length);
    s->position += length;
}

// Everything after the header; runs inside the error jump.
DecodeStatus readPng(PngReadState& s, const DecodeLimits& limits, RawPicture& out, std::string& detail) {
    png_read_info(s.png, s.info);
    const png_uint_32 width = png_get_image_width(s.png, s.info), height = png_get_image_height(s.png, s.info);
    if (!limits.accepts(width, height)) {
        detail = "PNG header claims " + std::to_string(width) + " x " + std::to_string(height);
        return DecodeStatus::TooLarge;
    }
    const int colourType = png_get_color_type(s.png, s.info);
    const bool hasAlpha = (colourType & PNG_COLOR_MASK_ALPHA) || png_get_valid(s.png, s.info, PNG_INFO_tRNS);
    png_set_expand(s.png);   // palette, low-bit grey and tRNS to 8-bit samples with alpha
    png_set_scale_16(s.png); // 16 to 8 bits, rounded
    if (!(colourType & PNG_COLOR_MASK_COLOR)) png_set_gray_to_rgb(s.png);
    if (!hasAlpha) png_set_add_alpha(s.png, 0xff, PNG_FILLER_AFTER);
    png_set_interlace_handling(s.png);
    png_read_update_info(s.png, s.info);
    if (png_get_rowbytes(s.png, s.info) != static_cast<size_t>(width) * 4) {
        detail = "PNG rows of an unexpected layout";
        return DecodeStatus::Damaged;
    }
    out.width = static_cast<int32_t>(width);
    out.height = static_cast<int32_t>(height);
    out.channels = hasAlpha ? 4 : 3;
    out.premultiplied = false;
    out.pixels.resize(static_cast<size_t>(width) * height * 4);
    s.rows.resize(height);
    for (png_uint_32 y = 0; y < height; ++y) s.rows[y] = out.pixels.data() + static_cast<size_t>(y) * width * 4;
    png_read_image(s.png, s.rows.data());
    png_read_end(s.png, nullptr);
    return DecodeStatus::Ok;
}

} // namespace

DecodeStatus decodePng(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail) {
    if (data.size() < 8 || png_sig_cmp(data.data(), 0, 8) != 0) {
        detail = "not a PNG stream";
        return DecodeStatus::Damaged;
    }
    // The size is refused on the header (IHDR comes first), before libpng reads further chunks.
    if (data.size() >= 24 && std::memcmp(data.data() + 12, "IHDR", 4) == 0) {
        auto be32 = [&](size_t at) {
            return uint32_t(data[at]) << 24 | uint32_t(data[at + 1]) << 16 | uint32_t(data[at + 2]) << 8 | data[at + 3];
        };
        const uint32_t width = be32(16), height = be32(20);
        if (!limits.accepts(width, height)) {
            detail = "PNG header claims " + std::to_string(width) + " x " + std::to_string(height);
            return DecodeStatus::TooLarge;
        }
    }
    auto state = std::make_unique<PngReadState>();
    PngReadState& s = *state;
    s.data = data;
    s.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &s, onPngError, onPngWarning);
    if (s.png) s.info = png_create_info_struct(s.png);
    if (!s.png || !s.info) {
        detail = "out of memory";
        return DecodeStatus::Damaged;
    }
    png_set_read_fn(s.png, &s, readFromMemory);
    // Checksum errors in ancillary chunks are warnings, as viewers treat them.
    png_set_crc_action(s.png, PNG_CRC_DEFAULT, PNG_CRC_WARN_DISCARD);
    if (setjmp(s.jump)) {
        detail = s.error;
        out.pixels.clear();
        out.pixels.shrink_to_fit();
        return DecodeStatus::Damaged;
    }
    const DecodeStatus status = readPng(s, limits, out, detail);
    if (status == DecodeStatus::Ok) out.warning = s.warning;
    return status;
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

std::vector<uint8_t> encodePngToMemory(const uint8_t* rgba, int32_t width, int32_t height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGBA;
    // First call measures, second writes.
    png_alloc_size_t size = 0;
    if (!png_image_write_to_memory(&image, nullptr, &size, 0, rgba, width * 4, nullptr)) {
        std::fprintf(stderr, "PNG: %s\n", image.message);
        return {};
    }
    std::vector<uint8_t> bytes(size);
    if (!png_image_write_to_memory(&image, bytes.data(), &size, 0, rgba, width * 4, nullptr)) {
        std::fprintf(stderr, "PNG: %s\n", image.message);
        return {};
    }
    bytes.resize(size);
    return bytes;
}

} // namespace codec
