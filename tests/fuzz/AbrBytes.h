#pragma once
// Brush-set (".abr") files built byte by byte from the format's layout, for
// the tests and the fuzzer's seed corpus. All numbers big endian.
//
// Old form (versions 1, 2): version, count, then per brush: type (1
// computed, 2 sampled), size of the rest, 6 bytes, [version 2: name length
// in UTF-16 units and the units], 9 bytes, top, left, bottom, right, depth,
// compression, image.
// New form (version 6): version, subversion, resource blocks ("8BIM", key,
// length); the "samp" block holds the samples: length of the rest, 37 bytes,
// 10 (subversion 1) or 264 bytes, bounds, depth, compression, image, padded
// to a multiple of 4.
// Image: raw bytes, or a table of packed row lengths (int16) and the rows in
// PackBits form.
#include <cstdint>
#include <string>
#include <vector>

namespace abrbytes {

using Bytes = std::vector<uint8_t>;

inline void put8(Bytes& b, uint32_t v) { b.push_back(static_cast<uint8_t>(v)); }
inline void put16(Bytes& b, uint32_t v) {
    put8(b, v >> 8);
    put8(b, v);
}
inline void put32(Bytes& b, uint32_t v) {
    put16(b, v >> 16);
    put16(b, v & 0xffff);
}
inline void putText(Bytes& b, const char* text) {
    for (const char* p = text; *p; ++p) put8(b, static_cast<uint8_t>(*p));
}
// Filler bytes that differ from each other, so a reader that skips the
// wrong number of them reads nonsense bounds.
inline void putFiller(Bytes& b, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) put8(b, 0x51 + static_cast<uint32_t>(i) * 7);
}

struct Sample {
    std::u16string name;    // version 2 only; empty: no name
    int32_t top = 0, left = 0, bottom = 0, right = 0;
    uint16_t depth = 8;
    bool rle = false;
    bool computed = false;  // a computed brush: no image at all
    Bytes image;            // depth / 8 bytes a pixel, rows in file order
};

// PackBits: runs of three or more equal bytes as repeats, the rest as literals.
inline Bytes packRow(const uint8_t* row, std::size_t n) {
    Bytes out;
    std::size_t i = 0;
    while (i < n) {
        std::size_t run = 1;
        while (i + run < n && run < 128 && row[i + run] == row[i]) ++run;
        if (run >= 3) {
            put8(out, static_cast<uint8_t>(static_cast<int8_t>(1 - static_cast<int>(run))));
            put8(out, row[i]);
            i += run;
            continue;
        }
        std::size_t literal = 0;
        while (i + literal < n && literal < 128) {
            if (i + literal + 2 < n && row[i + literal] == row[i + literal + 1] &&
                row[i + literal] == row[i + literal + 2])
                break;
            ++literal;
        }
        put8(out, static_cast<uint32_t>(literal - 1));
        out.insert(out.end(), row + i, row + i + literal);
        i += literal;
    }
    return out;
}

inline Bytes imageBytes(const Sample& s) {
    Bytes b;
    put32(b, static_cast<uint32_t>(s.top));
    put32(b, static_cast<uint32_t>(s.left));
    put32(b, static_cast<uint32_t>(s.bottom));
    put32(b, static_cast<uint32_t>(s.right));
    put16(b, s.depth);
    put8(b, s.rle ? 1 : 0);
    if (!s.rle) {
        b.insert(b.end(), s.image.begin(), s.image.end());
        return b;
    }
    const int64_t height = int64_t(s.bottom) - s.top;
    const std::size_t rowBytes = static_cast<std::size_t>((int64_t(s.right) - s.left) * (s.depth / 8));
    std::vector<Bytes> rows;
    for (int64_t y = 0; y < height; ++y) rows.push_back(packRow(s.image.data() + y * rowBytes, rowBytes));
    for (const Bytes& r : rows) put16(b, static_cast<uint32_t>(r.size()));
    for (const Bytes& r : rows) b.insert(b.end(), r.begin(), r.end());
    return b;
}

// Versions 1 and 2.
inline Bytes oldForm(int version, const std::vector<Sample>& samples) {
    Bytes b;
    put16(b, static_cast<uint32_t>(version));
    put16(b, static_cast<uint32_t>(samples.size()));
    for (const Sample& s : samples) {
        Bytes body;
        if (s.computed) {
            putFiller(body, 14); // misc, spacing, diameter, roundness, angle, hardness
        } else {
            putFiller(body, 6);
            if (version == 2) {
                if (s.name.empty()) {
                    put32(body, 0);
                } else {
                    put32(body, static_cast<uint32_t>(s.name.size() + 1));
                    for (char16_t c : s.name) put16(body, c);
                    put16(body, 0);
                }
            }
            putFiller(body, 9);
            const Bytes image = imageBytes(s);
            body.insert(body.end(), image.begin(), image.end());
        }
        put16(b, s.computed ? 1 : 2);
        put32(b, static_cast<uint32_t>(body.size()));
        b.insert(b.end(), body.begin(), body.end());
    }
    return b;
}

inline void putBlock(Bytes& b, const char* key, const Bytes& content) {
    putText(b, "8BIM");
    putText(b, key);
    put32(b, static_cast<uint32_t>(content.size()));
    b.insert(b.end(), content.begin(), content.end());
}

// Version 6: a block before "samp" that the reader must step over, the
// samples, and a pattern block after them.
inline Bytes newForm(int subversion, const std::vector<Sample>& samples) {
    Bytes b;
    put16(b, 6);
    put16(b, static_cast<uint32_t>(subversion));
    Bytes description;
    putFiller(description, 22);
    putBlock(b, "desc", description);
    Bytes section;
    for (const Sample& s : samples) {
        Bytes body;
        putFiller(body, 37 + (subversion == 1 ? 10 : 264));
        const Bytes image = imageBytes(s);
        body.insert(body.end(), image.begin(), image.end());
        put32(section, static_cast<uint32_t>(body.size()));
        section.insert(section.end(), body.begin(), body.end());
        while (section.size() % 4) put8(section, 0);
    }
    putBlock(b, "samp", section);
    putBlock(b, "patt", Bytes{});
    return b;
}

// A test mask: every byte value shows up, with runs for the packer.
inline Bytes maskPattern(int width, int height, int seed) {
    Bytes m(static_cast<std::size_t>(width) * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            m[static_cast<std::size_t>(y) * width + x] =
                static_cast<uint8_t>(x < width / 3 ? 0 : x < width / 2 ? 255 : (x * 37 + y * 11 + seed) & 0xff);
    return m;
}

inline Sample sampled(int width, int height, int seed, bool rle) {
    Sample s;
    s.top = 10;
    s.left = 20;
    s.bottom = 10 + height;
    s.right = 20 + width;
    s.rle = rle;
    s.image = maskPattern(width, height, seed);
    return s;
}

} // namespace abrbytes
