// BMP and TGA through Debian's compiled stb_image and stb_image_write. stb
// reads past the end of a short file as zeros, so the layout of each file
// is walked here first: a file too short for what its header says fails.
#include <stb_image.h>
#include <stb_image_write.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "io/BinaryStream.h"
#include "io/Codecs.h"

namespace codec {
namespace {

uint32_t le16(Bytes d, size_t at) { return d[at] | (d[at + 1] << 8); }
uint32_t le32(Bytes d, size_t at) {
    return d[at] | (d[at + 1] << 8) | (d[at + 2] << 16) | (static_cast<uint32_t>(d[at + 3]) << 24);
}

struct Layout {
    DecodeStatus status = DecodeStatus::Ok;
    int64_t width = 0, height = 0;
    bool runLength = false; // RLE8 or RLE4: read here, stb does not
};

Layout checkBmp(Bytes d, const DecodeLimits& limits, std::string& detail) {
    if (d.size() < 26 || d[0] != 'B' || d[1] != 'M') return {DecodeStatus::Damaged};
    const uint32_t offset = le32(d, 10);
    const uint32_t headerSize = le32(d, 14);
    Layout l;
    uint32_t bits = 0, compression = 0;
    if (headerSize == 12) {
        l.width = le16(d, 18);
        l.height = le16(d, 20);
        bits = le16(d, 24);
    } else if (headerSize >= 40 && d.size() >= 34) {
        l.width = static_cast<int32_t>(le32(d, 18));
        l.height = static_cast<int32_t>(le32(d, 22)); // negative: rows top-down
        bits = le16(d, 28);
        compression = le32(d, 30);
    } else {
        detail = "BMP header of unknown size";
        return {DecodeStatus::Damaged};
    }
    if (l.height < 0) l.height = -l.height;
    if (!limits.accepts(l.width, l.height)) {
        detail = "BMP header claims " + std::to_string(l.width) + " x " + std::to_string(l.height);
        return {DecodeStatus::TooLarge, l.width, l.height};
    }
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) {
        detail = "BMP of " + std::to_string(bits) + " bits a pixel";
        return {DecodeStatus::Damaged};
    }
    if ((compression == 1 && bits == 8) || (compression == 2 && bits == 4)) {
        if (headerSize < 40 || static_cast<int32_t>(le32(d, 22)) < 0) {
            detail = "BMP runs must count rows from the bottom";
            return {DecodeStatus::Damaged};
        }
        l.runLength = true;
        return l;
    }
    if (compression != 0 && compression != 3) {
        detail = "BMP compression " + std::to_string(compression) + " is not supported";
        return {DecodeStatus::Unsupported};
    }
    // Uncompressed and bit-field files have a known size.
    {
        const int64_t stride = (l.width * bits + 31) / 32 * 4;
        if (static_cast<int64_t>(offset) + stride * l.height > static_cast<int64_t>(d.size())) {
            detail = "BMP pixel data ends early";
            return {DecodeStatus::Damaged};
        }
    }
    return l;
}

Layout checkTga(Bytes d, const DecodeLimits& limits, std::string& detail) {
    if (d.size() < 18) return {DecodeStatus::Damaged};
    const uint32_t idLength = d[0], mapType = d[1], type = d[2];
    const uint32_t mapLength = le16(d, 5), mapBits = d[7], bits = d[16];
    Layout l{DecodeStatus::Ok, le16(d, 12), le16(d, 14)};
    const bool known = type == 1 || type == 2 || type == 3 || type == 9 || type == 10 || type == 11;
    if (!known || mapType > 1 || (bits != 8 && bits != 15 && bits != 16 && bits != 24 && bits != 32)) {
        detail = "TGA header of an unknown kind";
        return {DecodeStatus::Damaged};
    }
    if (!limits.accepts(l.width, l.height)) {
        detail = "TGA header claims " + std::to_string(l.width) + " x " + std::to_string(l.height);
        return {DecodeStatus::TooLarge, l.width, l.height};
    }
    const int64_t pixelBytes = (bits + 7) / 8;
    size_t at = 18 + idLength + (mapType ? mapLength * ((mapBits + 7) / 8) : 0);
    const int64_t pixels = l.width * l.height;
    if (type < 9) {
        if (static_cast<int64_t>(at) + pixels * pixelBytes > static_cast<int64_t>(d.size())) {
            detail = "TGA pixel data ends early";
            return {DecodeStatus::Damaged};
        }
        return l;
    }
    // Run-length packets: a header byte, then one value or `count` values.
    for (int64_t done = 0; done < pixels;) {
        if (at >= d.size()) {
            detail = "TGA runs end early";
            return {DecodeStatus::Damaged};
        }
        const uint8_t header = d[at++];
        const int64_t count = (header & 0x7f) + 1;
        at += static_cast<size_t>((header & 0x80) ? pixelBytes : count * pixelBytes);
        done += count;
    }
    if (at > d.size()) {
        detail = "TGA runs end early";
        return {DecodeStatus::Damaged};
    }
    return l;
}

// RLE8 and RLE4 palette files, which stb_image does not read. Rows are
// bottom-up; pixels a run skips (delta or an early end of line) take the
// first palette entry.
DecodeStatus decodeBmpRuns(Bytes d, const Layout& l, RawPicture& out, std::string& detail) {
    const uint32_t offset = le32(d, 10), headerSize = le32(d, 14), bits = le16(d, 28);
    uint32_t colours = d.size() >= 50 ? le32(d, 46) : 0;
    if (colours == 0 || colours > (1u << bits)) colours = 1u << bits;
    const size_t paletteAt = 14 + static_cast<size_t>(headerSize);
    if (paletteAt + colours * 4 > d.size() || offset > d.size()) {
        detail = "BMP palette or pixel data ends early";
        return DecodeStatus::Damaged;
    }
    uint8_t palette[256][4] = {};
    for (auto& entry : palette) entry[3] = 255; // an index past the palette is opaque black
    for (uint32_t i = 0; i < colours; ++i) {
        const uint8_t* p = &d[paletteAt + i * 4];
        palette[i][0] = p[2], palette[i][1] = p[1], palette[i][2] = p[0], palette[i][3] = 255;
    }
    const size_t w = static_cast<size_t>(l.width), h = static_cast<size_t>(l.height);
    out.width = static_cast<int32_t>(w);
    out.height = static_cast<int32_t>(h);
    out.channels = 3;
    out.premultiplied = false;
    out.pixels.resize(w * h * 4);
    for (size_t i = 0; i < w * h; ++i) std::memcpy(&out.pixels[i * 4], palette[0], 4);
    size_t x = 0, row = 0; // row counts from the bottom
    auto put = [&](uint32_t index) {
        if (x < w && row < h) std::memcpy(&out.pixels[((h - 1 - row) * w + x) * 4], palette[index & 0xff], 4);
        ++x;
    };
    size_t at = offset;
    const bool four = bits == 4;
    while (row < h) {
        if (at + 2 > d.size()) {
            detail = "BMP runs end early";
            out.pixels.clear();
            return DecodeStatus::Damaged;
        }
        const uint32_t count = d[at], value = d[at + 1];
        at += 2;
        if (count > 0) { // a run of one index (RLE4: two alternating)
            for (uint32_t i = 0; i < count; ++i) put(four ? (i % 2 ? value & 15 : value >> 4) : value);
        } else if (value == 0) { // end of line
            x = 0;
            ++row;
        } else if (value == 1) { // end of picture
            break;
        } else if (value == 2) { // move right and up
            if (at + 2 > d.size()) continue; // the end check above reports it
            x += d[at];
            row += d[at + 1];
            at += 2;
        } else { // `value` indices as they are, padded to a whole 16-bit word
            const size_t bytes = four ? (value + 1) / 2 : value;
            if (at + bytes > d.size()) {
                detail = "BMP runs end early";
                out.pixels.clear();
                return DecodeStatus::Damaged;
            }
            for (uint32_t i = 0; i < value; ++i) put(four ? (i % 2 ? d[at + i / 2] & 15 : d[at + i / 2] >> 4) : d[at + i]);
            at += bytes + (bytes & 1);
        }
    }
    return DecodeStatus::Ok;
}

DecodeStatus loadWithStb(Bytes data, const Layout& layout, RawPicture& out, std::string& detail) {
    if (data.size() > static_cast<size_t>(INT32_MAX)) return DecodeStatus::TooLarge;
    int width = 0, height = 0, channels = 0;
    stbi_uc* pixels =
        stbi_load_from_memory(data.data(), static_cast<int>(data.size()), &width, &height, &channels, 4);
    if (!pixels) {
        const char* reason = stbi_failure_reason();
        detail = reason ? reason : "stb_image refused the data";
        return DecodeStatus::Damaged;
    }
    if (width != layout.width || height != layout.height) {
        stbi_image_free(pixels);
        detail = "decoded size differs from the header";
        return DecodeStatus::Damaged;
    }
    out.width = width;
    out.height = height;
    out.channels = channels == 4 || channels == 2 ? 4 : 3;
    out.premultiplied = false;
    out.pixels.assign(pixels, pixels + static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    stbi_image_free(pixels);
    return DecodeStatus::Ok;
}

} // namespace

DecodeStatus decodeBmp(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail) {
    const Layout layout = checkBmp(data, limits, detail);
    if (layout.status != DecodeStatus::Ok) return layout.status;
    if (layout.runLength) return decodeBmpRuns(data, layout, out, detail);
    return loadWithStb(data, layout, out, detail);
}

DecodeStatus decodeTga(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail) {
    const Layout layout = checkTga(data, limits, detail);
    if (layout.status != DecodeStatus::Ok) return layout.status;
    return loadWithStb(data, layout, out, detail);
}

bool encodeBmp(const std::string& path, const uint8_t* rgba, int32_t width, int32_t height) {
    // BMP holds no alpha here: the flat image for it was composed over black.
    std::vector<uint8_t> rgb(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
    for (size_t i = 0, n = rgb.size() / 3; i < n; ++i) std::memcpy(&rgb[i * 3], rgba + i * 4, 3);
    // Encoded in memory and written with every write checked: stb's own file
    // writer does not notice a full disk.
    std::vector<uint8_t> file;
    const auto append = [](void* context, void* data, int size) {
        auto* out = static_cast<std::vector<uint8_t>*>(context);
        const auto* bytes = static_cast<const uint8_t*>(data);
        out->insert(out->end(), bytes, bytes + size);
    };
    if (stbi_write_bmp_to_func(append, &file, width, height, 3, rgb.data()) == 0) return false;
    std::string error;
    if (io::writeWholeFile(path, file, error)) return true;
    std::fprintf(stderr, "BMP: %s\n", error.c_str());
    return false;
}

} // namespace codec
