#pragma once
// Image files built byte by byte, for tests and the seed corpus. Pixels are
// given as straight RGBA, rows top-down (as a viewer sees the picture).
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace imagebytes {

using Bytes = std::vector<uint8_t>;

inline void put16(Bytes& b, uint32_t v) {
    b.push_back(static_cast<uint8_t>(v));
    b.push_back(static_cast<uint8_t>(v >> 8));
}
inline void put32(Bytes& b, uint32_t v) {
    put16(b, v & 0xffff);
    put16(b, v >> 16);
}
inline void put32be(Bytes& b, uint32_t v) {
    for (int s = 24; s >= 0; s -= 8) b.push_back(static_cast<uint8_t>(v >> s));
}

// TGA: 24 or 32 bits; topOrigin sets descriptor bit 5 (rows stored top first);
// rle stores every pixel as a raw packet of one (a valid, if wasteful, run form).
inline Bytes tga(int w, int h, const Bytes& rgbaTopDown, int bits, bool topOrigin, bool rle) {
    Bytes b = {0, 0, static_cast<uint8_t>(rle ? 10 : 2), 0, 0, 0, 0, 0};
    put16(b, 0);
    put16(b, 0);
    put16(b, static_cast<uint32_t>(w));
    put16(b, static_cast<uint32_t>(h));
    b.push_back(static_cast<uint8_t>(bits));
    b.push_back(static_cast<uint8_t>((topOrigin ? 0x20 : 0) | (bits == 32 ? 8 : 0)));
    for (int r = 0; r < h; ++r) {
        const int y = topOrigin ? r : h - 1 - r;
        for (int x = 0; x < w; ++x) {
            const uint8_t* p = &rgbaTopDown[static_cast<size_t>((y * w + x) * 4)];
            if (rle) b.push_back(0); // raw packet of one pixel
            b.push_back(p[2]);
            b.push_back(p[1]);
            b.push_back(p[0]);
            if (bits == 32) b.push_back(p[3]);
        }
    }
    return b;
}

// BMP, 24 bits, BITMAPINFOHEADER; topDown writes a negative height.
inline Bytes bmp24(int w, int h, const Bytes& rgbaTopDown, bool topDown) {
    const uint32_t stride = static_cast<uint32_t>((w * 3 + 3) / 4 * 4);
    Bytes b = {'B', 'M'};
    put32(b, 54 + stride * static_cast<uint32_t>(h));
    put32(b, 0);
    put32(b, 54);
    put32(b, 40);
    put32(b, static_cast<uint32_t>(w));
    put32(b, static_cast<uint32_t>(topDown ? -h : h));
    put16(b, 1);
    put16(b, 24);
    for (int i = 0; i < 6; ++i) put32(b, 0);
    for (int r = 0; r < h; ++r) {
        const int y = topDown ? r : h - 1 - r;
        for (int x = 0; x < w; ++x) {
            const uint8_t* p = &rgbaTopDown[static_cast<size_t>((y * w + x) * 4)];
            b.push_back(p[2]);
            b.push_back(p[1]);
            b.push_back(p[0]);
        }
        for (uint32_t pad = static_cast<uint32_t>(w * 3); pad < stride; ++pad) b.push_back(0);
    }
    return b;
}

inline uint32_t crc32(const uint8_t* data, size_t n, uint32_t crc = 0) {
    crc = ~crc;
    for (size_t i = 0; i < n; ++i) {
        crc ^= data[i];
        for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

inline void pngChunk(Bytes& b, const char* type, const Bytes& body) {
    put32be(b, static_cast<uint32_t>(body.size()));
    Bytes typed(type, type + 4);
    typed.insert(typed.end(), body.begin(), body.end());
    b.insert(b.end(), typed.begin(), typed.end());
    put32be(b, crc32(typed.data(), typed.size()));
}

// PNG of 8-bit RGB (colourType 2) or RGBA (6), zlib with one stored block.
inline Bytes png(int w, int h, const Bytes& rgbaTopDown, bool withAlpha) {
    Bytes b = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    Bytes ihdr;
    put32be(ihdr, static_cast<uint32_t>(w));
    put32be(ihdr, static_cast<uint32_t>(h));
    ihdr.insert(ihdr.end(), {8, static_cast<uint8_t>(withAlpha ? 6 : 2), 0, 0, 0});
    pngChunk(b, "IHDR", ihdr);
    Bytes raw;
    for (int y = 0; y < h; ++y) {
        raw.push_back(0); // filter: none
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < (withAlpha ? 4 : 3); ++c) raw.push_back(rgbaTopDown[static_cast<size_t>((y * w + x) * 4 + c)]);
    }
    Bytes z = {0x78, 0x01, 1};
    put16(z, static_cast<uint32_t>(raw.size()));
    put16(z, static_cast<uint32_t>(~raw.size() & 0xffff));
    z.insert(z.end(), raw.begin(), raw.end());
    uint32_t a = 1, s = 0;
    for (uint8_t v : raw) a = (a + v) % 65521, s = (s + a) % 65521;
    put32be(z, s << 16 | a);
    pngChunk(b, "IDAT", z);
    pngChunk(b, "IEND", {});
    return b;
}

inline Bytes ddsHeader(int w, int h, uint32_t pfFlags, const char* fourCc, uint32_t bits, const uint32_t (&masks)[4]) {
    Bytes b = {'D', 'D', 'S', ' '};
    put32(b, 124);
    put32(b, 0x1 | 0x2 | 0x4 | 0x1000);
    put32(b, static_cast<uint32_t>(h));
    put32(b, static_cast<uint32_t>(w));
    put32(b, 0);
    put32(b, 0);
    put32(b, 1);
    for (int i = 0; i < 11; ++i) put32(b, 0);
    put32(b, 32);
    put32(b, pfFlags);
    if (fourCc) b.insert(b.end(), fourCc, fourCc + 4);
    else put32(b, 0);
    put32(b, bits);
    for (uint32_t m : masks) put32(b, m);
    put32(b, 0x1000);
    for (int i = 0; i < 4; ++i) put32(b, 0);
    return b;
}

// DXT1 where every block has colour0 = colour1 = `c565`, all indices 0.
inline Bytes ddsDxt1Solid(int w, int h, uint16_t c565) {
    Bytes b = ddsHeader(w, h, 0x4, "DXT1", 0, {0, 0, 0, 0});
    const int blocks = ((w + 3) / 4) * ((h + 3) / 4);
    for (int i = 0; i < blocks; ++i) {
        put16(b, c565);
        put16(b, c565);
        put32(b, 0);
    }
    return b;
}

// Uncompressed 32-bit BGRA with alpha, rows top-down as the file stores them.
inline Bytes ddsBgra(int w, int h, const Bytes& rgbaTopDown) {
    Bytes b = ddsHeader(w, h, 0x40 | 0x1, nullptr, 32, {0x00ff0000, 0x0000ff00, 0x000000ff, 0xff000000});
    for (size_t i = 0; i + 3 < rgbaTopDown.size(); i += 4)
        b.insert(b.end(), {rgbaTopDown[i + 2], rgbaTopDown[i + 1], rgbaTopDown[i], rgbaTopDown[i + 3]});
    return b;
}

} // namespace imagebytes
