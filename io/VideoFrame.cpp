#include "io/VideoFrame.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "io/VideoWriter.h"

namespace io {

VideoFramePlacement placeCanvasInFrame(int32_t w, int32_t h, int32_t W, int32_t H) {
    VideoFramePlacement p;
    const float sx = static_cast<float>(w) / static_cast<float>(W);
    const float sy = static_cast<float>(h) / static_cast<float>(H);
    const float s = std::max(sx, sy);
    if (s <= 1.0f) {
        // ceil((1 - sx) W / 2) is ceil((W - w) / 2): in whole numbers, so that
        // float rounding cannot shift the picture by a pixel (1 - 200/480
        // times 240 comes out a hair above 140 in floats).
        p.left = (W - w + 1) / 2;
        p.bottom = (H - h + 1) / 2;
        p.width = std::min(w, W - p.left);
        p.height = std::min(h, H - p.bottom);
        return p;
    }
    p.shrunk = true;
    p.scale = s;
    p.width = W;
    p.height = H;
    if (sx < sy) {
        p.left = 1 + static_cast<int32_t>((1.0f - sx / sy) / 2.0f * static_cast<float>(W));
        p.width = std::max(0, W - 2 * p.left);
    } else if (sy < sx) {
        p.bottom = 1 + static_cast<int32_t>((1.0f - sy / sx) / 2.0f * static_cast<float>(H));
        p.height = std::max(0, H - 2 * p.bottom);
    }
    return p;
}

void fillVideoFrame(const uint8_t* rgba, int32_t w, int32_t h, uint8_t* frame, int32_t W, int32_t H) {
    const std::size_t stride = static_cast<std::size_t>(VideoWriter::frameStride(W));
    const VideoFramePlacement p = placeCanvasInFrame(w, h, W, H);
    // Black margins; a copy of the same size covers every pixel anyway.
    if (w != W || h != H) std::memset(frame, 0, stride * static_cast<std::size_t>(H));
    // Nearest canvas column of each inner column, once for the whole frame.
    std::vector<int32_t> columns(static_cast<std::size_t>(p.width));
    for (int32_t i = 0; i < p.width; ++i)
        columns[static_cast<std::size_t>(i)] =
            p.shrunk ? std::min(w - 1, static_cast<int32_t>(static_cast<float>(i) * p.scale)) : i;
    for (int32_t j = 0; j < p.height; ++j) {
        const int32_t sourceRow = p.shrunk ? std::min(h - 1, static_cast<int32_t>(static_cast<float>(j) * p.scale)) : j;
        const uint8_t* src = rgba + static_cast<std::size_t>(sourceRow) * static_cast<std::size_t>(w) * 4;
        uint8_t* dst = frame + static_cast<std::size_t>(p.bottom + j) * stride + static_cast<std::size_t>(p.left) * 3;
        for (int32_t i = 0; i < p.width; ++i) {
            const uint8_t* px = src + static_cast<std::size_t>(columns[static_cast<std::size_t>(i)]) * 4;
            dst[0] = px[2];
            dst[1] = px[1];
            dst[2] = px[0];
            dst += 3;
        }
    }
}

} // namespace io
