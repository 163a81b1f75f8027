// TIFF through libtiff, read from memory. Errors and warnings go to a quiet
// handler of ours; the first message is kept for the caller.
#include <tiffio.h>

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "io/Codecs.h"
#include "io/Pixels.h"

namespace codec {
namespace {

struct MemoryFile {
    Bytes data;
    toff_t position = 0;
    std::string firstError;
};

tmsize_t memoryRead(thandle_t handle, void* buffer, tmsize_t size) {
    auto* f = static_cast<MemoryFile*>(handle);
    if (size <= 0 || f->position >= f->data.size()) return 0;
    const size_t n = std::min<size_t>(static_cast<size_t>(size), f->data.size() - f->position);
    std::memcpy(buffer, f->data.data() + f->position, n);
    f->position += n;
    return static_cast<tmsize_t>(n);
}

tmsize_t memoryWrite(thandle_t, void*, tmsize_t) { return -1; }

toff_t memorySeek(thandle_t handle, toff_t offset, int whence) {
    auto* f = static_cast<MemoryFile*>(handle);
    toff_t base = 0;
    if (whence == SEEK_CUR) base = f->position;
    else if (whence == SEEK_END) base = f->data.size();
    if (offset > UINT64_MAX - base) return static_cast<toff_t>(-1);
    f->position = base + offset; // past the end is allowed; reads there give nothing
    return f->position;
}

int memoryClose(thandle_t) { return 0; }
toff_t memorySize(thandle_t handle) { return static_cast<MemoryFile*>(handle)->data.size(); }
int noMap(thandle_t, void**, toff_t*) { return 0; }
void noUnmap(thandle_t, void*, toff_t) {}

int keepFirstError(TIFF*, void* user, const char* module, const char* format, va_list args) {
    auto* text = static_cast<std::string*>(user);
    if (text && text->empty()) {
        char buffer[256];
        std::vsnprintf(buffer, sizeof buffer, format, args);
        *text = std::string(module ? module : "TIFF") + ": " + buffer;
    }
    return 1; // handled: nothing reaches the library's default printer
}

int ignoreWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

struct OptionsDeleter {
    void operator()(TIFFOpenOptions* o) const { TIFFOpenOptionsFree(o); }
};
struct TiffCloser {
    void operator()(TIFF* t) const { TIFFClose(t); }
};
using TiffHandle = std::unique_ptr<TIFF, TiffCloser>;

std::unique_ptr<TIFFOpenOptions, OptionsDeleter> quietOptions(std::string* errors) {
    std::unique_ptr<TIFFOpenOptions, OptionsDeleter> options(TIFFOpenOptionsAlloc());
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepFirstError, errors);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignoreWarning, nullptr);
    // No single block above 512 MiB, whatever a header says.
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), tmsize_t{512} * 1024 * 1024);
    return options;
}

// 8-bit chunky RGB or RGBA in strips: read as stored, so the alpha stays straight.
bool isPlainRgb(TIFF* tif, uint16_t samples) {
    uint16_t bits = 0, photometric = 0, planar = PLANARCONFIG_CONTIG;
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);
    return bits == 8 && photometric == PHOTOMETRIC_RGB && planar == PLANARCONFIG_CONTIG && !TIFFIsTiled(tif) &&
           (samples == 3 || samples == 4);
}

bool readPlainRgb(TIFF* tif, uint16_t samples, bool associated, RawPicture& out) {
    const tmsize_t lineSize = TIFFScanlineSize(tif);
    if (lineSize < static_cast<tmsize_t>(out.width) * samples) return false;
    std::vector<uint8_t> line(static_cast<size_t>(lineSize));
    for (int32_t y = 0; y < out.height; ++y) {
        if (TIFFReadScanline(tif, line.data(), static_cast<uint32_t>(y), 0) < 0) return false;
        uint8_t* target = out.pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(out.width) * 4;
        for (int32_t x = 0; x < out.width; ++x) {
            const uint8_t* p = line.data() + static_cast<size_t>(x) * samples;
            target[x * 4] = p[0];
            target[x * 4 + 1] = p[1];
            target[x * 4 + 2] = p[2];
            target[x * 4 + 3] = samples == 4 ? p[3] : 255;
        }
    }
    out.premultiplied = associated;
    // The RGBA interface below turns the rows itself; here it is ours to do.
    uint16_t orientation = ORIENTATION_TOPLEFT;
    TIFFGetFieldDefaulted(tif, TIFFTAG_ORIENTATION, &orientation);
    orientRgba(out.pixels, out.width, out.height, orientation);
    return true;
}

// Everything else (palette, grey, 16 bits, tiles, YCbCr...) through the RGBA
// interface, which hands out associated alpha.
// The raster is read straight into the picture's block: libtiff packs a
// pixel as R | G << 8 | B << 16 | A << 24, which is RGBA in memory on a
// little-endian machine; a big-endian one swaps the bytes afterwards.
bool readAnyRgba(TIFF* tif, RawPicture& out) {
    static_assert(sizeof(uint32_t) == 4);
    auto* raster = reinterpret_cast<uint32_t*>(out.pixels.data());
    if (!TIFFReadRGBAImageOriented(tif, static_cast<uint32_t>(out.width), static_cast<uint32_t>(out.height), raster,
                                   ORIENTATION_TOPLEFT, 0))
        return false;
    if constexpr (std::endian::native == std::endian::big) {
        for (size_t i = 0; i + 3 < out.pixels.size(); i += 4) {
            std::swap(out.pixels[i], out.pixels[i + 3]);
            std::swap(out.pixels[i + 1], out.pixels[i + 2]);
        }
    }
    out.premultiplied = true;
    return true;
}

// A valid file the RGBA interface cannot show (floating-point samples, odd
// bit depths): not damage, just not supported.
bool rgbaInterfaceRefuses(TIFF* tif, std::string& detail) {
    uint16_t sampleFormat = SAMPLEFORMAT_UINT, bits = 8;
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &sampleFormat);
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
    if (sampleFormat == SAMPLEFORMAT_IEEEFP) {
        detail = "TIFF of " + std::to_string(bits) + "-bit floating-point samples is not supported";
        return true;
    }
    char reason[1024] = {};
    if (!TIFFRGBAImageOK(tif, reason)) {
        detail = std::string("TIFF not supported: ") + reason;
        return true;
    }
    return false;
}

} // namespace

DecodeStatus decodeTiff(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail) {
    MemoryFile file;
    file.data = data;
    auto options = quietOptions(&file.firstError);
    TiffHandle tif(TIFFClientOpenExt("memory", "rm", &file, memoryRead, memoryWrite, memorySeek, memoryClose,
                                     memorySize, noMap, noUnmap, options.get()));
    if (!tif) {
        detail = file.firstError.empty() ? "not a TIFF stream" : file.firstError;
        return DecodeStatus::Damaged;
    }
    uint32_t width = 0, height = 0;
    uint16_t samples = 1, extraCount = 0;
    uint16_t* extraTypes = nullptr;
    TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_EXTRASAMPLES, &extraCount, &extraTypes);
    if (!limits.accepts(width, height)) {
        detail = "TIFF header claims " + std::to_string(width) + " x " + std::to_string(height);
        return DecodeStatus::TooLarge;
    }
    const bool plain = isPlainRgb(tif.get(), samples);
    if (!plain && rgbaInterfaceRefuses(tif.get(), detail)) return DecodeStatus::Unsupported;
    out.width = static_cast<int32_t>(width);
    out.height = static_cast<int32_t>(height);
    out.channels = extraCount > 0 ? 4 : 3;
    out.pixels.assign(static_cast<size_t>(width) * height * 4, 0);
    const bool associated = extraCount > 0 && extraTypes && extraTypes[0] == EXTRASAMPLE_ASSOCALPHA;
    const bool read = plain ? readPlainRgb(tif.get(), samples, associated, out) : readAnyRgba(tif.get(), out);
    if (!read || !file.firstError.empty()) {
        detail = file.firstError.empty() ? "TIFF strips unreadable" : file.firstError;
        out.pixels.clear();
        return DecodeStatus::Damaged;
    }
    return DecodeStatus::Ok;
}

bool encodeTiff(const std::string& path, const uint8_t* rgba, int32_t width, int32_t height) {
    std::string errors;
    auto options = quietOptions(&errors);
    TiffHandle tif(TIFFOpenExt(path.c_str(), "w", options.get()));
    if (!tif) return false;
    TIFF* t = tif.get();
    const uint16_t extra[1] = {EXTRASAMPLE_UNASSALPHA};
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(width));
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(height));
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 4);
    TIFFSetField(t, TIFFTAG_EXTRASAMPLES, 1, extra);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 0));
    std::vector<uint8_t> line(static_cast<size_t>(width) * 4);
    for (int32_t y = 0; y < height; ++y) {
        std::memcpy(line.data(), rgba + static_cast<size_t>(y) * line.size(), line.size());
        if (TIFFWriteScanline(t, line.data(), static_cast<uint32_t>(y), 0) < 0) return false;
    }
    const bool flushed = TIFFFlush(t) == 1;
    if (!errors.empty()) std::fprintf(stderr, "TIFF: %s: %s\n", path.c_str(), errors.c_str());
    return flushed && errors.empty();
}

} // namespace codec
