#include "bench/FloodBench.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "core/Flood.h"

namespace bench {

namespace {

// White, with black rings two pixels wide whose edges fade over a pixel, as
// an anti-aliased brush line leaves them.
std::vector<uint8_t> ringPicture(int side) {
    std::vector<uint8_t> px(static_cast<std::size_t>(side) * static_cast<std::size_t>(side) * 4, 255);
    const int rings = 12;
    for (int k = 0; k < rings; ++k) {
        const float cx = side * (0.15f + 0.7f * static_cast<float>((k * 37) % rings) / rings);
        const float cy = side * (0.15f + 0.7f * static_cast<float>((k * 53) % rings) / rings);
        const float r = side * 0.05f;
        const int x0 = std::max(0, static_cast<int>(cx - r - 3)), x1 = std::min(side, static_cast<int>(cx + r + 3));
        const int y0 = std::max(0, static_cast<int>(cy - r - 3)), y1 = std::min(side, static_cast<int>(cy + r + 3));
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x) {
                const float d = std::fabs(std::hypot(x + 0.5f - cx, y + 0.5f - cy) - r);
                const float ink = std::clamp(2.0f - d, 0.0f, 1.0f);
                if (ink <= 0) continue;
                uint8_t* p = &px[(static_cast<std::size_t>(y) * static_cast<std::size_t>(side) + x) * 4];
                const uint8_t v = static_cast<uint8_t>(std::min<float>(p[0], 255.0f * (1.0f - ink)));
                p[0] = p[1] = p[2] = v;
            }
    }
    return px;
}

// Clear, with three pixels in ten of opaque ink scattered at random: runs
// of a pixel or two, the search's worst case (a stack entry every few pixels).
std::vector<uint8_t> noisePicture(int side) {
    std::vector<uint8_t> px(static_cast<std::size_t>(side) * static_cast<std::size_t>(side) * 4, 0);
    uint32_t state = 7;
    for (std::size_t i = 0; i < px.size(); i += 4) {
        state = state * 1664525u + 1013904223u;
        if ((state >> 24) % 10 < 3) px[i + 3] = 255;
    }
    px[4 * (static_cast<std::size_t>(side) + 1) + 3] = 0; // the seed
    return px;
}

void measure(const std::vector<uint8_t>& source, int side, int repeats, const std::string& picture) {
    const std::size_t n = static_cast<std::size_t>(side) * static_cast<std::size_t>(side);
    const std::unique_ptr<uint8_t[]> result(new uint8_t[n * 4]);
    for (bool lineart : {false, true}) {
        flood::Params p;
        p.seedX = 1, p.seedY = 1, p.fill = {200, 100, 50, 255}, p.tolerance = 0.1f, p.lineart = lineart;
        double best = 1e9;
        std::size_t stackBytes = 0;
        for (int i = 0; i < repeats; ++i) {
            // A fresh workspace each time, as one fill of the program has.
            flood::Workspace work;
            const Clock::time_point start = Clock::now();
            flood::fill(source.data(), side, side, p, result.get(), work);
            best = std::min(best, secondsSince(start));
            stackBytes = std::max(stackBytes, work.stack.capacity() * sizeof(int32_t));
        }
        const std::string name =
            std::string("flood.") + (lineart ? "lineart." : "plain.") + picture + std::to_string(side);
        figure(name, best * 1000.0, "ms");
        // Source and result 4 bytes a pixel, mask 1, then the stack.
        figure(name + ".memory", static_cast<double>(9 * n + stackBytes) / (1024.0 * 1024.0), "MiB");
        figure(name + ".stack", static_cast<double>(stackBytes) / (1024.0 * 1024.0), "MiB");
    }
}

} // namespace

void runFloodFill(int side, int repeats) {
    measure(ringPicture(side), side, repeats, "");
    measure(noisePicture(side), side, repeats, "noise.");
}

} // namespace bench
