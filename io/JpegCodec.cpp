// JPEG through libjpeg-turbo with an error manager that jumps back here
// instead of ending the process, and that keeps warnings to itself.
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include <jpeglib.h>
#include <jerror.h>

#include "io/Codecs.h"
#include "io/Pixels.h"

namespace codec {
namespace {

struct JpegErrors {
    jpeg_error_mgr manager; // first: libjpeg hands back a pointer to it
    std::jmp_buf jump;
    bool truncated = false;
    char message[JMSG_LENGTH_MAX] = {};
    char warning[JMSG_LENGTH_MAX] = {}; // the first complaint about the data
};

[[noreturn]] void onJpegError(j_common_ptr info) {
    auto* errors = reinterpret_cast<JpegErrors*>(info->err);
    info->err->format_message(info, errors->message);
    std::longjmp(errors->jump, 1);
}

// Warnings are kept, not printed: the first one tells the caller that the
// picture came from damaged data. Running out of data counts as damage,
// since the library would otherwise pad the picture with grey and call it done.
void onJpegMessage(j_common_ptr info, int level) {
    if (level >= 0) return; // trace messages
    auto* errors = reinterpret_cast<JpegErrors*>(info->err);
    if (info->err->msg_code == JWRN_JPEG_EOF) errors->truncated = true;
    if (errors->warning[0] == 0) info->err->format_message(info, errors->warning);
}

// The orientation of an EXIF block (APP1 "Exif\0\0", then a TIFF header and
// its first directory); 1 when there is none or it cannot be read.
int exifOrientation(const jpeg_decompress_struct& info) {
    for (jpeg_saved_marker_ptr m = info.marker_list; m; m = m->next) {
        if (m->marker != JPEG_APP0 + 1 || m->data_length < 14 || std::memcmp(m->data, "Exif\0\0", 6) != 0) continue;
        const uint8_t* t = m->data + 6;
        const size_t size = m->data_length - 6;
        const bool little = t[0] == 'I' && t[1] == 'I';
        if (!little && !(t[0] == 'M' && t[1] == 'M')) return 1;
        auto u16 = [&](size_t at) { return little ? t[at] | t[at + 1] << 8 : t[at] << 8 | t[at + 1]; };
        auto u32 = [&](size_t at) {
            return little ? uint32_t(t[at]) | uint32_t(t[at + 1]) << 8 | uint32_t(t[at + 2]) << 16 |
                                uint32_t(t[at + 3]) << 24
                          : uint32_t(t[at]) << 24 | uint32_t(t[at + 1]) << 16 | uint32_t(t[at + 2]) << 8 |
                                uint32_t(t[at + 3]);
        };
        const uint32_t directory = u32(4);
        if (directory > size - 2 || directory < 8) return 1;
        const size_t entries = static_cast<size_t>(u16(directory));
        for (size_t i = 0; i < entries; ++i) {
            const size_t at = directory + 2 + i * 12;
            if (at + 12 > size) break;
            if (u16(at) == 0x0112 && u16(at + 2) == 3) {
                const int value = u16(at + 8);
                return value >= 1 && value <= 8 ? value : 1;
            }
        }
        return 1;
    }
    return 1;
}

void installErrors(JpegErrors& errors, jpeg_error_mgr*& slot) {
    slot = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = onJpegError;
    errors.manager.emit_message = onJpegMessage;
}

// Adobe writes CMYK inverted; both common forms end up as plain RGB here.
void cmykRowToRgba(const uint8_t* cmyk, uint8_t* rgba, JDIMENSION width, bool inverted) {
    for (JDIMENSION x = 0; x < width; ++x) {
        int c = cmyk[x * 4], m = cmyk[x * 4 + 1], y = cmyk[x * 4 + 2], k = cmyk[x * 4 + 3];
        if (!inverted) c = 255 - c, m = 255 - m, y = 255 - y, k = 255 - k;
        rgba[x * 4] = static_cast<uint8_t>(c * k / 255);
        rgba[x * 4 + 1] = static_cast<uint8_t>(m * k / 255);
        rgba[x * 4 + 2] = static_cast<uint8_t>(y * k / 255);
        rgba[x * 4 + 3] = 255;
    }
}

// Everything that lives across the jump is reached through this record, so
// no local of the jumping function changes between setjmp and longjmp.
struct JpegDecodeState {
    jpeg_decompress_struct info{};
    JpegErrors errors;
    std::vector<uint8_t> row;
};

DecodeStatus readScanlines(JpegDecodeState& s, RawPicture& out) {
    jpeg_start_decompress(&s.info);
    const JDIMENSION width = s.info.output_width;
    const int components = s.info.output_components;
    s.row.assign(static_cast<size_t>(width) * static_cast<size_t>(components), 0);
    out.pixels.assign(static_cast<size_t>(width) * s.info.output_height * 4, 0);
    const bool cmyk = s.info.out_color_space == JCS_CMYK;
    const bool inverted = s.info.saw_Adobe_marker;
    while (s.info.output_scanline < s.info.output_height) {
        uint8_t* target = out.pixels.data() + static_cast<size_t>(s.info.output_scanline) * width * 4;
        JSAMPROW rows[1] = {s.row.data()};
        if (jpeg_read_scanlines(&s.info, rows, 1) != 1) return DecodeStatus::Damaged;
        if (s.errors.truncated) return DecodeStatus::Damaged;
        if (cmyk) {
            cmykRowToRgba(s.row.data(), target, width, inverted);
            continue;
        }
        for (JDIMENSION x = 0; x < width; ++x) {
            target[x * 4] = s.row[x * 3];
            target[x * 4 + 1] = s.row[x * 3 + 1];
            target[x * 4 + 2] = s.row[x * 3 + 2];
            target[x * 4 + 3] = 255;
        }
    }
    jpeg_finish_decompress(&s.info);
    return s.errors.truncated ? DecodeStatus::Damaged : DecodeStatus::Ok;
}

} // namespace

DecodeStatus decodeJpeg(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail) {
    auto state = std::make_unique<JpegDecodeState>();
    JpegDecodeState& s = *state;
    installErrors(s.errors, s.info.err);
    if (setjmp(s.errors.jump)) {
        detail = s.errors.message;
        jpeg_destroy_decompress(&s.info);
        out.pixels.clear();
        return DecodeStatus::Damaged;
    }
    jpeg_create_decompress(&s.info);
    jpeg_mem_src(&s.info, data.data(), static_cast<unsigned long>(data.size()));
    jpeg_save_markers(&s.info, JPEG_APP0 + 1, 0xffff);
    jpeg_read_header(&s.info, TRUE);
    if (!limits.accepts(s.info.image_width, s.info.image_height)) {
        detail = "JPEG header claims " + std::to_string(s.info.image_width) + " x " +
                 std::to_string(s.info.image_height);
        jpeg_destroy_decompress(&s.info);
        return DecodeStatus::TooLarge;
    }
    // Progressive files keep all coefficients in memory: bound that too.
    s.info.mem->max_memory_to_use = 1024L * 1024L * 1024L;
    const bool cmyk = s.info.jpeg_color_space == JCS_CMYK || s.info.jpeg_color_space == JCS_YCCK;
    s.info.out_color_space = cmyk ? JCS_CMYK : JCS_RGB;
    out.width = static_cast<int32_t>(s.info.image_width);
    out.height = static_cast<int32_t>(s.info.image_height);
    out.channels = 3;
    out.premultiplied = false;
    const int orientation = exifOrientation(s.info);
    const DecodeStatus status = readScanlines(s, out);
    if (status != DecodeStatus::Ok) {
        detail = "JPEG data ends early";
        out.pixels.clear();
    }
    if (status == DecodeStatus::Ok && s.errors.warning[0] != 0)
        out.warning = std::string("damaged JPEG data, the picture may look wrong: ") + s.errors.warning;
    jpeg_destroy_decompress(&s.info);
    // Phones store the sensor's rows and say in EXIF how to turn them.
    if (status == DecodeStatus::Ok) orientRgba(out.pixels, out.width, out.height, orientation);
    return status;
}

namespace {
struct JpegEncodeState {
    jpeg_compress_struct info{};
    JpegErrors errors;
    std::FILE* file = nullptr;
    std::vector<uint8_t> row;
};
} // namespace

bool encodeJpeg(const std::string& path, const uint8_t* rgba, int32_t width, int32_t height, int quality) {
    auto state = std::make_unique<JpegEncodeState>();
    JpegEncodeState& s = *state;
    s.file = std::fopen(path.c_str(), "wb");
    if (!s.file) return false;
    installErrors(s.errors, s.info.err);
    if (setjmp(s.errors.jump)) {
        std::fprintf(stderr, "JPEG: %s: %s\n", path.c_str(), s.errors.message);
        jpeg_destroy_compress(&s.info);
        std::fclose(s.file);
        return false;
    }
    jpeg_create_compress(&s.info);
    jpeg_stdio_dest(&s.info, s.file);
    s.info.image_width = static_cast<JDIMENSION>(width);
    s.info.image_height = static_cast<JDIMENSION>(height);
    s.info.input_components = 3;
    s.info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&s.info);
    jpeg_set_quality(&s.info, quality, TRUE);
    // Colour at full resolution (4:4:4): halved chroma smears saturated edges.
    for (int c = 0; c < s.info.num_components; ++c) {
        s.info.comp_info[c].h_samp_factor = 1;
        s.info.comp_info[c].v_samp_factor = 1;
    }
    jpeg_start_compress(&s.info, TRUE);
    s.row.resize(static_cast<size_t>(width) * 3);
    while (s.info.next_scanline < s.info.image_height) {
        const uint8_t* source = rgba + static_cast<size_t>(s.info.next_scanline) * static_cast<size_t>(width) * 4;
        for (int32_t x = 0; x < width; ++x)
            for (int c = 0; c < 3; ++c) s.row[static_cast<size_t>(x) * 3 + c] = source[x * 4 + c];
        JSAMPROW rows[1] = {s.row.data()};
        jpeg_write_scanlines(&s.info, rows, 1);
    }
    jpeg_finish_compress(&s.info);
    jpeg_destroy_compress(&s.info);
    const bool closed = std::fclose(s.file) == 0;
    return closed;
}

} // namespace codec
