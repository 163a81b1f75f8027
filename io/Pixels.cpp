#include "io/Pixels.h"

#include <algorithm>
#include <cstring>
#include <system_error>
#include <thread>
#include <vector>

void premultiply(uint8_t* bytes, size_t length) {
    for (size_t i = 0; i + 3 < length; i += 4) {
        const unsigned a = bytes[i + 3];
        for (size_t c = 0; c < 3; ++c) bytes[i + c] = static_cast<uint8_t>(bytes[i + c] * a / 255);
    }
}

uint8_t unpremultipliedValue(unsigned value, unsigned alpha) {
    if (value >= alpha) return 255;
    if (value == 0) return 0; // black stays black, as white (value == alpha) stays white
    // Straight values s with floor(s * alpha / 255) == value fill [low, high];
    // take the one nearest the middle of that range, (value + 0.5) * 255 / alpha.
    const unsigned low = (value * 255 + alpha - 1) / alpha;
    const unsigned high = ((value + 1) * 255 + alpha - 1) / alpha - 1;
    const unsigned middle = ((2 * value + 1) * 255 + alpha) / (2 * alpha);
    return static_cast<uint8_t>(std::min(255u, std::clamp(middle, low, high)));
}

void unpremultiply(uint8_t* bytes, size_t length) {
    for (size_t i = 0; i + 3 < length; i += 4) {
        const unsigned alpha = bytes[i + 3];
        if (alpha == 0 || alpha == 255) continue;
        for (size_t c = 0; c < 3; ++c) bytes[i + c] = unpremultipliedValue(bytes[i + c], alpha);
    }
}

void flipRowsInPlace(uint8_t* pixels, size_t rowBytes, int32_t height) {
    for (int32_t y = 0; y < height / 2; ++y)
        std::swap_ranges(pixels + static_cast<size_t>(y) * rowBytes, pixels + static_cast<size_t>(y + 1) * rowBytes,
                         pixels + static_cast<size_t>(height - 1 - y) * rowBytes);
}

namespace {
void mirrorRowRange(uint8_t* pixels, size_t width, size_t firstRow, size_t endRow) {
    const size_t half = width / 2;
    for (size_t row = firstRow; row < endRow; ++row) {
        uint8_t* line = pixels + row * width * 4;
        for (size_t k = 0; k < half; ++k) {
            uint8_t scratch[4];
            std::memcpy(scratch, line + k * 4, 4);
            std::memcpy(line + k * 4, line + (width - 1 - k) * 4, 4);
            std::memcpy(line + (width - 1 - k) * 4, scratch, 4);
        }
    }
}
} // namespace

void mirrorRows(uint8_t* pixels, int32_t width, int32_t height, unsigned threadCount) {
    if (!pixels || width <= 0 || height <= 0) return;
    unsigned n = threadCount != 0 ? threadCount : std::thread::hardware_concurrency();
    if (n == 0) n = 1;
    const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    const size_t rowsPerThread = (h + n - 1) / n;
    std::vector<std::thread> workers;
    workers.reserve(n);
    size_t start = 0;
    for (unsigned i = 0; i < n; ++i) {
        const size_t end = std::min(start + rowsPerThread, h);
        try {
            workers.emplace_back(mirrorRowRange, pixels, w, start, end);
        } catch (const std::system_error&) {
            mirrorRowRange(pixels, w, start, end); // no thread to be had: do these rows here
        }
        start = end;
    }
    for (std::thread& t : workers) t.join();
}

void orientRgba(std::vector<uint8_t>& pixels, int32_t& width, int32_t& height, int orientation) {
    if (orientation < 2 || orientation > 8) return;
    const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    auto pixelAt = [](std::vector<uint8_t>& block, size_t index) { return block.data() + index * 4; };
    if (orientation == 2 || orientation == 3) {
        for (size_t y = 0; y < h; ++y)
            for (size_t x = 0; x < w / 2; ++x) std::swap_ranges(pixelAt(pixels, y * w + x), pixelAt(pixels, y * w + x) + 4,
                                                              pixelAt(pixels, y * w + w - 1 - x));
    }
    if (orientation == 3 || orientation == 4) flipRowsInPlace(pixels.data(), w * 4, height);
    if (orientation <= 4) return;
    // The rest swap the sides: display (dx, dy) of stored (sx, sy), display width h.
    std::vector<uint8_t> turned(pixels.size());
    for (size_t sy = 0; sy < h; ++sy)
        for (size_t sx = 0; sx < w; ++sx) {
            size_t dx = sy, dy = sx; // 5
            if (orientation == 6) dx = h - 1 - sy;
            if (orientation == 7) dx = h - 1 - sy, dy = w - 1 - sx;
            if (orientation == 8) dy = w - 1 - sx;
            std::memcpy(pixelAt(turned, dy * h + dx), pixelAt(pixels, sy * w + sx), 4);
        }
    pixels = std::move(turned);
    std::swap(width, height);
}
