#include "io/AbrFile.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "brush/BrushTips.h"
#include "io/BinaryStream.h"

namespace abr {
namespace {

// Big-endian reads over a span, each checked against the bytes left. The
// first failure is sticky and later reads give zeros.
class Reader {
public:
    explicit Reader(std::span<const uint8_t> data) : data_(data) {}

    std::size_t pos() const { return pos_; }
    std::size_t remaining() const { return failed_ ? 0 : data_.size() - pos_; }
    bool failed() const { return failed_; }

    bool skip(uint64_t n) {
        if (failed_ || n > data_.size() - pos_) return fail();
        pos_ += static_cast<std::size_t>(n);
        return true;
    }
    // The next n bytes; empty (and failed) when fewer remain.
    std::span<const uint8_t> take(uint64_t n) {
        const std::size_t start = pos_;
        if (!skip(n)) return {};
        return data_.subspan(start, static_cast<std::size_t>(n));
    }
    uint8_t u8() { return static_cast<uint8_t>(number(1)); }
    uint16_t u16() { return static_cast<uint16_t>(number(2)); }
    int16_t i16() { return static_cast<int16_t>(u16()); }
    uint32_t u32() { return static_cast<uint32_t>(number(4)); }
    int32_t i32() { return static_cast<int32_t>(u32()); }

private:
    uint64_t number(int bytes) {
        const std::span<const uint8_t> b = take(static_cast<uint64_t>(bytes));
        uint64_t v = 0;
        for (uint8_t c : b) v = v << 8 | c;
        return v;
    }
    bool fail() {
        failed_ = true;
        return false;
    }

    std::span<const uint8_t> data_;
    std::size_t pos_ = 0;
    bool failed_ = false;
};

std::string indexedName(const std::string& stem, std::size_t index) {
    char number[32];
    std::snprintf(number, sizeof number, "_%03zu", index);
    return stem + number;
}

void appendUtf8(std::string& out, uint32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | code >> 6);
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | code >> 12);
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | code >> 18);
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

// UTF-16 units, big endian, as the tip list shows text: UTF-8, the closing
// zero units dropped, a unit that pairs with nothing as U+FFFD.
std::string nameFromUtf16(std::span<const uint8_t> bytes) {
    std::vector<uint32_t> units(bytes.size() / 2);
    for (std::size_t i = 0; i < units.size(); ++i) units[i] = uint32_t(bytes[2 * i]) << 8 | bytes[2 * i + 1];
    while (!units.empty() && units.back() == 0) units.pop_back();
    std::string out;
    for (std::size_t i = 0; i < units.size(); ++i) {
        uint32_t u = units[i];
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
            u = 0x10000 + ((u - 0xD800) << 10) + (units[i + 1] - 0xDC00);
            ++i;
        } else if (u >= 0xD800 && u <= 0xDFFF) {
            u = 0xFFFD;
        } else if (u == 0) {
            u = ' ';
        }
        appendUtf8(out, u);
    }
    return out;
}

// One row in PackBits form into exactly `row.size()` bytes.
bool unpackRow(std::span<const uint8_t> packed, std::span<uint8_t> row) {
    std::size_t in = 0, out = 0;
    while (in < packed.size()) {
        const int n = static_cast<int8_t>(packed[in++]);
        if (n >= 0) {
            const std::size_t count = static_cast<std::size_t>(n) + 1;
            if (count > packed.size() - in || count > row.size() - out) return false;
            std::memcpy(row.data() + out, packed.data() + in, count);
            in += count;
            out += count;
        } else if (n != -128) {
            const std::size_t count = static_cast<std::size_t>(1 - n);
            if (in >= packed.size() || count > row.size() - out) return false;
            std::memset(row.data() + out, packed[in++], count);
            out += count;
        }
    }
    return out == row.size();
}

struct Bounds {
    int32_t top = 0, left = 0, bottom = 0, right = 0;
    uint16_t depth = 0;
    uint8_t compression = 0;
};

Bounds readBounds(Reader& in) {
    Bounds b;
    b.top = in.i32();
    b.left = in.i32();
    b.bottom = in.i32();
    b.right = in.i32();
    b.depth = in.u16();
    b.compression = in.u8();
    return b;
}

enum class ImageResult { Decoded, Skipped, Broken };

// The image of one brush at the reader's position; the reader spans no more
// than the brush's own bytes.
ImageResult readImage(Reader& in, const Bounds& b, Brush& brush, std::string& problem) {
    const int64_t width = int64_t(b.right) - b.left, height = int64_t(b.bottom) - b.top;
    // Wider or taller than a tip may be, no pixels, or no whole byte a pixel:
    // nothing the tip table can use.
    if (height > kMaxRows || width <= 0 || height <= 0 || width > kMaxTipSide || height > kMaxTipSide ||
        b.depth < 8)
        return ImageResult::Skipped;
    const uint64_t sampleBytes = b.depth / 8;
    const uint64_t rowBytes = sampleBytes * static_cast<uint64_t>(width);
    const uint64_t total = rowBytes * static_cast<uint64_t>(height);
    std::vector<uint8_t> pixels;
    if (b.compression == 0) {
        if (total > in.remaining()) {
            problem = "image of " + std::to_string(total) + " bytes, " + std::to_string(in.remaining()) + " left";
            return ImageResult::Broken;
        }
        const std::span<const uint8_t> raw = in.take(total);
        pixels.assign(raw.begin(), raw.end());
    } else {
        const uint64_t tableBytes = 2 * static_cast<uint64_t>(height);
        if (tableBytes > in.remaining()) {
            problem = "row table of " + std::to_string(height) + " rows beyond the brush's bytes";
            return ImageResult::Broken;
        }
        std::vector<uint16_t> lengths(static_cast<std::size_t>(height));
        uint64_t packedTotal = 0;
        for (uint16_t& length : lengths) {
            const int16_t l = in.i16();
            if (l < 0) {
                problem = "negative row length";
                return ImageResult::Broken;
            }
            length = static_cast<uint16_t>(l);
            packedTotal += length;
        }
        // Two packed bytes give at most 128 bytes.
        if (packedTotal > in.remaining() || total > packedTotal * 64) {
            problem = "rows of " + std::to_string(packedTotal) + " packed bytes for an image of " +
                      std::to_string(total) + " bytes, " + std::to_string(in.remaining()) + " left";
            return ImageResult::Broken;
        }
        pixels.resize(total);
        for (std::size_t y = 0; y < lengths.size(); ++y) {
            const std::span<const uint8_t> packed = in.take(lengths[y]);
            if (!unpackRow(packed, std::span<uint8_t>(pixels).subspan(y * rowBytes, rowBytes))) {
                problem = "row " + std::to_string(y) + " does not unpack to its width";
                return ImageResult::Broken;
            }
        }
    }
    brush.width = static_cast<int32_t>(width);
    brush.height = static_cast<int32_t>(height);
    // One byte a pixel: the first (most significant) byte of each sample.
    brush.mask.resize(static_cast<std::size_t>(width * height));
    for (std::size_t i = 0; i < brush.mask.size(); ++i) brush.mask[i] = pixels[i * sampleBytes];
    return ImageResult::Decoded;
}

// Takes the image; false (problem set) when the file is to stop here.
bool finishBrush(Reader& in, const Bounds& bounds, Brush brush, Decoded& d) {
    if (in.failed()) {
        d.problem = "brush record cut short";
        return false;
    }
    switch (readImage(in, bounds, brush, d.problem)) {
    case ImageResult::Decoded: d.brushes.push_back(std::move(brush)); return true;
    case ImageResult::Skipped: return true;
    case ImageResult::Broken: d.problem = brush.name + ": " + d.problem; return false;
    }
    return false;
}

void decodeOldForm(Reader& in, const std::string& stem, Decoded& d) {
    const uint16_t count = in.u16();
    if (in.failed()) {
        d.problem = "no brush count";
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const uint16_t type = in.u16();
        const uint32_t size = in.u32();
        if (in.failed()) {
            d.problem = "ends after " + std::to_string(i) + " of " + std::to_string(count) + " brushes";
            return;
        }
        if (size > in.remaining()) {
            d.problem = "brush " + std::to_string(i) + " claims " + std::to_string(size) + " bytes, " +
                        std::to_string(in.remaining()) + " left";
            return;
        }
        Reader body(in.take(size));
        // Computed brushes (1) are described by numbers, not by a mask.
        if (type != 2) continue;
        Brush brush;
        body.skip(6);
        if (d.version == 2) {
            const int32_t units = body.i32();
            if (units < 0 || 2 * static_cast<uint64_t>(units) > body.remaining()) {
                d.problem = "brush " + std::to_string(i) + ": a name of " + std::to_string(units) +
                            " characters beyond its bytes";
                return;
            }
            brush.name = nameFromUtf16(body.take(2 * static_cast<uint64_t>(units)));
        }
        if (brush.name.empty()) brush.name = indexedName(stem, i);
        body.skip(9);
        const Bounds bounds = readBounds(body);
        if (!finishBrush(body, bounds, std::move(brush), d)) return;
    }
    d.complete = true;
}

// The "samp" resource block; false (problem set) when the blocks lead nowhere.
bool findSamples(std::span<const uint8_t> bytes, Reader& in, std::span<const uint8_t>& section,
                 std::string& problem) {
    while (in.remaining() >= 12) {
        const std::span<const uint8_t> signature = in.take(4);
        if (std::memcmp(signature.data(), "8BIM", 4) != 0) break;
        const std::span<const uint8_t> key = in.take(4);
        const uint32_t length = in.u32();
        if (length > in.remaining()) {
            problem = "resource block of " + std::to_string(length) + " bytes, " + std::to_string(in.remaining()) +
                      " left";
            return false;
        }
        const std::size_t start = in.pos();
        in.skip(length);
        if (std::memcmp(key.data(), "samp", 4) == 0) {
            section = bytes.subspan(start, length);
            return true;
        }
    }
    problem = "no sample block";
    return false;
}

uint64_t roundedLength(Reader& in) { return (static_cast<uint64_t>(in.u32()) + 3) & ~uint64_t(3); }

void decodeNewForm(std::span<const uint8_t> bytes, Reader& in, const std::string& stem, Decoded& d) {
    std::span<const uint8_t> section;
    if (!findSamples(bytes, in, section, d.problem)) return;
    // First pass: the samples that lie whole within the block.
    std::size_t count = 0;
    bool overrun = false;
    {
        Reader walk(section);
        while (walk.remaining() >= 4) {
            const uint64_t length = roundedLength(walk);
            if (length > walk.remaining()) {
                overrun = true;
                break;
            }
            walk.skip(length);
            ++count;
        }
    }
    const uint64_t skipped = 37 + (d.subversion == 1 ? 10 : 264);
    Reader samples(section);
    for (std::size_t i = 0; i < count; ++i) {
        const uint64_t length = roundedLength(samples);
        Reader body(samples.take(length));
        Brush brush;
        brush.name = indexedName(stem, i);
        body.skip(skipped);
        const Bounds bounds = readBounds(body);
        if (!finishBrush(body, bounds, std::move(brush), d)) return;
    }
    if (overrun) {
        d.problem = "sample " + std::to_string(count) + " runs past the sample block";
        return;
    }
    d.complete = true;
}

} // namespace

Decoded decode(std::span<const uint8_t> bytes, const std::string& stem) {
    Decoded d;
    Reader in(bytes);
    d.version = in.u16();
    if (in.failed()) {
        d.problem = "too short for a brush set";
        return d;
    }
    try {
        if (d.version == 1 || d.version == 2) {
            d.supported = true;
            decodeOldForm(in, stem, d);
        } else if (d.version == 6) {
            d.subversion = in.u16();
            if (d.subversion != 1 && d.subversion != 2) {
                d.problem = "version 6." + std::to_string(d.subversion) + " is not read";
                return d;
            }
            d.supported = true;
            decodeNewForm(bytes, in, stem, d);
        } else {
            d.problem = "version " + std::to_string(d.version) + " is not read";
        }
    } catch (const std::bad_alloc&) {
        // The brushes decoded so far stay usable.
        d.complete = false;
        d.problem = "out of memory";
    }
    return d;
}

int importAbr(const std::filesystem::path& file, BrushTipTable& table) {
    std::vector<uint8_t> bytes;
    std::string error;
    if (!io::readWholeFile(file.string(), bytes, error, kMaxFileBytes)) {
        std::fprintf(stderr, "Brush set \"%s\" not read: %s\n", file.c_str(), error.c_str());
        return -1;
    }
    const Decoded d = decode(bytes, file.stem().string());
    if (!d.supported) {
        std::fprintf(stderr, "Brush set \"%s\" not read: %s\n", file.c_str(), d.problem.c_str());
        return -1;
    }
    if (!d.complete)
        std::fprintf(stderr, "Brush set \"%s\" is damaged (%s); %zu brushes read before it.\n", file.c_str(),
                     d.problem.c_str(), d.brushes.size());
    for (const Brush& brush : d.brushes) {
        BrushTip tip;
        tip.name = brush.name;
        tip.width = brush.width;
        tip.height = brush.height;
        const ::brush::TipFactors f = tipFactorsForSize(brush.width, brush.height);
        tip.widthFactor = f.widthFactor;
        tip.heightFactor = f.heightFactor;
        tip.pixels.assign(brush.mask.size() * 4, 255);
        for (std::size_t i = 0; i < brush.mask.size(); ++i) tip.pixels[4 * i + 3] = brush.mask[i];
        table.append(std::move(tip));
    }
    return 0;
}

void installSetImporter(BrushTipTable& table) {
    table.setSetImporter([](const std::filesystem::path& file, BrushTipTable& t) { importAbr(file, t); });
}

} // namespace abr
