#pragma once
// Helpers of the drawing-process and layered-file tests: files built byte by
// byte, independent of the program's own writer, and CPU parsing.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "io/DrawingProcess.h"

namespace processtest {

// Little-endian bytes appended by hand.
struct Bytes {
    std::vector<uint8_t> b;
    Bytes& i32(int32_t v) {
        for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i)));
        return *this;
    }
    Bytes& f32(float f) {
        uint32_t u;
        std::memcpy(&u, &f, 4);
        return i32(static_cast<int32_t>(u));
    }
    Bytes& u8(uint8_t v) {
        b.push_back(v);
        return *this;
    }
    Bytes& text(const std::string& s) {
        b.insert(b.end(), s.begin(), s.end());
        return *this;
    }
    Bytes& fill(std::size_t n, uint8_t v) {
        b.insert(b.end(), n, v);
        return *this;
    }
    Bytes& append(const std::vector<uint8_t>& more) {
        b.insert(b.end(), more.begin(), more.end());
        return *this;
    }
};

// A 40-byte header (or a longer one) with a version text of up to 5 characters.
inline Bytes header(const std::string& version, int32_t width, int32_t height, int32_t layerIndex,
                    int32_t processIndex, int32_t patch, int32_t headerSize = 40) {
    Bytes h;
    h.text("KWFILE").u8(0).u8(0).i32(headerSize).i32(width).i32(height);
    std::string field = version;
    field.resize(6, '\0');
    h.text(field).u8(0).u8(0).i32(layerIndex).i32(processIndex).i32(patch);
    if (headerSize > 40) h.fill(static_cast<std::size_t>(headerSize - 40), 0xEE);
    return h;
}

// A brush record in the layout of a format index (defaults everywhere).
inline void brushRecord(Bytes& b, int32_t formatIndex, int32_t size = 7, int32_t tip = 0, uint32_t flags = 1) {
    b.i32(size).u8(0).u8(1);
    if (formatIndex >= 6) b.i32(tip);
    else b.u8(tip != 0 ? 1 : 0);
    if (formatIndex >= 14) b.i32(static_cast<int32_t>(flags));
    b.f32(1.0f).f32(1.0f).i32(1);
    if (formatIndex >= 8) b.f32(0.0625f).i32(0);
}

// Parses without GL; the actions are bound to objects that never get surfaces.
struct Parsed {
    Canvas canvas{1, 1};
    MultiLayeredImage layers;
    ProcessContent content;
    std::string reason;
    LoadResult result = LoadResult::Failed;

    explicit Parsed(const std::vector<uint8_t>& bytes, const ProcessParseOptions& options = {}) {
        result = parseProcess(bytes, ActionContext{canvas, layers}, options, content, reason);
    }
};

} // namespace processtest
