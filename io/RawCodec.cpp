// Camera RAW through LibRaw (thread-safe build): demosaiced to 8-bit RGB
// with the camera's white balance. LibRaw's own error printers are replaced.
#include <libraw/libraw.h>

#include <memory>

#include "io/Codecs.h"

namespace codec {
namespace {
void quietMemoryError(void*, const char*, const char*) {}
void quietDataError(void*, const char*, const int) {}

struct ImageDeleter {
    void operator()(libraw_processed_image_t* image) const { LibRaw::dcraw_clear_mem(image); }
};
} // namespace

DecodeStatus decodeCameraRaw(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail) {
    auto raw = std::make_unique<LibRaw>(0);
    raw->set_memerror_handler(quietMemoryError, nullptr);
    raw->set_dataerror_handler(quietDataError, nullptr);
    int code = raw->open_buffer(const_cast<uint8_t*>(data.data()), data.size());
    if (code != LIBRAW_SUCCESS) {
        detail = libraw_strerror(code);
        return DecodeStatus::Damaged;
    }
    const libraw_image_sizes_t& sizes = raw->imgdata.sizes;
    // Both the sensor frame and the picture must fit before unpack allocates.
    if (!limits.accepts(sizes.width, sizes.height) || !limits.accepts(sizes.raw_width, sizes.raw_height)) {
        detail = "RAW header claims " + std::to_string(sizes.raw_width) + " x " + std::to_string(sizes.raw_height);
        return DecodeStatus::TooLarge;
    }
    raw->imgdata.params.output_bps = 8;
    raw->imgdata.params.use_camera_wb = 1;
    if ((code = raw->unpack()) != LIBRAW_SUCCESS || (code = raw->dcraw_process()) != LIBRAW_SUCCESS) {
        detail = libraw_strerror(code);
        return DecodeStatus::Damaged;
    }
    std::unique_ptr<libraw_processed_image_t, ImageDeleter> image(raw->dcraw_make_mem_image(&code));
    if (!image || code != LIBRAW_SUCCESS || image->type != LIBRAW_IMAGE_BITMAP || image->bits != 8 ||
        (image->colors != 3 && image->colors != 1)) {
        detail = "RAW picture could not be made";
        return DecodeStatus::Damaged;
    }
    const size_t count = static_cast<size_t>(image->width) * image->height;
    if (!limits.accepts(image->width, image->height) || image->data_size < count * image->colors) {
        detail = "RAW picture of an unexpected size";
        return DecodeStatus::Damaged;
    }
    out.width = image->width;
    out.height = image->height;
    out.channels = 3;
    out.premultiplied = false;
    out.pixels.assign(count * 4, 255);
    for (size_t i = 0; i < count; ++i)
        for (size_t c = 0; c < 3; ++c)
            out.pixels[i * 4 + c] = image->data[i * image->colors + (image->colors == 3 ? c : 0)];
    return DecodeStatus::Ok;
}

} // namespace codec
