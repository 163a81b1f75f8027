// Opening a PNG: time and peak memory of our decode (file to canvas-form
// pixels) and of the whole open into a canvas, beside libpng decoding the
// same file plainly. The targets: the decode at most twice the plain
// decode's time, and the open's peak at most 4 x the picture's pixel bytes
// above what the canvas keeps afterwards (its surfaces).
#include "bench/ImageBench.h"

#include <png.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bench/BenchSupport.h"
#include "canvas/Canvas.h"
#include "canvas/GlInfo.h"
#include "canvas/MultiLayeredImage.h"
#include "io/ImageCodec.h"
#include "io/ImageLoad.h"

namespace bench {
namespace {

constexpr double kMiB = 1024.0 * 1024.0;

// A photo-like picture: smooth colour with some noise, soft alpha at the edges.
bool writeTestPng(const std::string& path, int width, int height) {
    std::vector<uint8_t> rgba(static_cast<size_t>(width) * height * 4);
    std::minstd_rand noise(7);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            uint8_t* p = &rgba[(static_cast<size_t>(y) * width + x) * 4];
            const int n = static_cast<int>(noise() % 9);
            p[0] = static_cast<uint8_t>((x * 255 / width + n) & 255);
            p[1] = static_cast<uint8_t>((y * 255 / height + n) & 255);
            p[2] = static_cast<uint8_t>(((x + y) * 127 / (width + height) + n) & 255);
            p[3] = static_cast<uint8_t>(x < 64 ? x * 4 : 255);
        }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGBA;
    return png_image_write_to_file(&image, path.c_str(), 0, rgba.data(), width * 4, nullptr) != 0;
}

double plainLibpngSeconds(const std::string& path) {
    const Clock::time_point start = Clock::now();
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return 0;
    image.format = PNG_FORMAT_RGBA;
    std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(image));
    png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
    return secondsSince(start);
}

} // namespace

void runImageOpen(int width, int height) {
    const std::string path = (std::filesystem::temp_directory_path() / "kw_bench_open.png").string();
    if (!writeTestPng(path, width, height)) {
        std::fprintf(stderr, "image bench: cannot write %s\n", path.c_str());
        return;
    }
    const std::string tag = "image.open." + std::to_string(width) + "x" + std::to_string(height);
    const double pixelMiB = static_cast<double>(width) * height * 4 / kMiB;
    figure(tag + ".file", static_cast<double>(std::filesystem::file_size(path)) / kMiB, "MiB");
    figure(tag + ".pixels", pixelMiB, "MiB");

    const double plain = plainLibpngSeconds(path);
    resetPeakResident();
    double base = residentMiB();
    Clock::time_point start = Clock::now();
    {
        const DecodedImage image = decodeImage(path, DecodeLimits{});
        if (!image.ok()) std::fprintf(stderr, "image bench: %s\n", image.detail.c_str());
    }
    const double decode = secondsSince(start);
    const double decodePeak = peakResidentMiB() - base;
    figure(tag + ".decode", decode, "s");
    figure(tag + ".libpng_plain", plain, "s");
    figure(tag + ".decode_ratio", plain > 0 ? decode / plain : 0, "x (target <= 2)");
    figure(tag + ".decode_peak", decodePeak, "MiB");
    figure(tag + ".decode_peak_per_pixels", decodePeak / pixelMiB, "x (target <= 4)");

    // The whole open, as the program does it, into a canvas of its own.
    {
        Canvas canvas(width, height);
        MultiLayeredImage layers;
        resetPeakResident();
        base = residentMiB();
        ImageLoadTarget target{canvas, layers, gFramebufferCapability,
                               [](const std::function<bool()>& done) {
                                   while (!done()) std::this_thread::yield();
                               },
                               ImageLoadHooks{}, nullptr};
        start = Clock::now();
        const ImageLoadResult result = loadImageAsCanvas(path, target);
        const double open = secondsSince(start);
        const double openPeak = peakResidentMiB() - base;
        const double kept = residentMiB() - base; // the canvas surfaces
        if (result != ImageLoadResult::Loaded) std::fprintf(stderr, "image bench: the open failed\n");
        figure(tag + ".canvas_open", open, "s");
        figure(tag + ".canvas_open_peak", openPeak, "MiB");
        figure(tag + ".canvas_kept", kept, "MiB");
        figure(tag + ".canvas_open_peak_above_kept_per_pixels", (openPeak - kept) / pixelMiB, "x (target <= 4)");
        canvas.freeSurfaces();
    }
    std::filesystem::remove(path);
}

} // namespace bench
