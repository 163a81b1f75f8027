#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <system_error>
#include <thread>

#include "canvas/GlPixels.h"
#include "io/Codecs.h"
#include "io/DdsFile.h"
#include "io/ImageCodec.h"
#include "io/ImageFormat.h"

const char* decodeStatusText(DecodeStatus status) {
    switch (status) {
    case DecodeStatus::Ok: return "decoded";
    case DecodeStatus::Unreadable: return "file unreadable";
    case DecodeStatus::Unsupported: return "format not supported";
    case DecodeStatus::Damaged: return "damaged data";
    case DecodeStatus::TooLarge: return "picture too large";
    }
    return "?";
}

DecodeStatus readWholeFile(const std::string& path, std::vector<uint8_t>& bytes, std::string& detail) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) {
        detail = "cannot open " + path;
        return DecodeStatus::Unreadable;
    }
    const std::streamoff size = in.tellg();
    if (size < 0) {
        detail = "cannot read " + path;
        return DecodeStatus::Unreadable;
    }
    if (static_cast<uint64_t>(size) > kMaxImageFileBytes) {
        detail = "file of " + std::to_string(size) + " bytes";
        return DecodeStatus::TooLarge;
    }
    bytes.resize(static_cast<size_t>(size));
    in.seekg(0);
    if (!in.read(reinterpret_cast<char*>(bytes.data()), size)) {
        detail = "cannot read " + path;
        bytes.clear();
        return DecodeStatus::Unreadable;
    }
    return DecodeStatus::Ok;
}

namespace {

DecodeStatus decodeDdsToPicture(codec::Bytes data, const DecodeLimits& limits, RawPicture& out,
                                std::string& detail) {
    DdsFile dds;
    const DecodeStatus status = parseDds(data, limits, dds, detail);
    if (status != DecodeStatus::Ok) return status;
    out.width = dds.width;
    out.height = dds.height;
    out.channels = dds.hasAlpha ? 4 : 3;
    out.premultiplied = false;
    out.pixels = ddsLevelToRgba(data, dds, 0);
    return DecodeStatus::Ok;
}

DecodeStatus runDecoder(ImageKind kind, codec::Bytes data, const DecodeLimits& limits, RawPicture& out,
                        std::string& detail) {
    switch (kind) {
    case ImageKind::Png: return codec::decodePng(data, limits, out, detail);
    case ImageKind::Jpeg: return codec::decodeJpeg(data, limits, out, detail);
    case ImageKind::Tiff: return codec::decodeTiff(data, limits, out, detail);
    case ImageKind::Bmp: return codec::decodeBmp(data, limits, out, detail);
    case ImageKind::Tga: return codec::decodeTga(data, limits, out, detail);
    case ImageKind::CameraRaw: return codec::decodeCameraRaw(data, limits, out, detail);
    case ImageKind::Dds: return decodeDdsToPicture(data, limits, out, detail);
    case ImageKind::Unknown: break;
    }
    detail = "no decoder for this file";
    return DecodeStatus::Unsupported;
}

// Library rows come top-down; the canvas counts from the bottom.
void flipRowsInPlace(std::vector<uint8_t>& pixels, int32_t width, int32_t height) {
    const size_t row = static_cast<size_t>(width) * 4;
    std::vector<uint8_t> swap(row);
    for (int32_t y = 0; y < height / 2; ++y) {
        uint8_t* a = pixels.data() + static_cast<size_t>(y) * row;
        uint8_t* b = pixels.data() + static_cast<size_t>(height - 1 - y) * row;
        std::memcpy(swap.data(), a, row);
        std::memcpy(a, b, row);
        std::memcpy(b, swap.data(), row);
    }
}

// Associated alpha from a file can hold colour above alpha; keep it valid.
void clampToAlpha(std::vector<uint8_t>& pixels) {
    for (size_t i = 0; i + 3 < pixels.size(); i += 4)
        for (size_t c = 0; c < 3; ++c) pixels[i + c] = std::min(pixels[i + c], pixels[i + 3]);
}

} // namespace

DecodedImage decodeImageBytes(std::span<const uint8_t> bytes, const std::string& name, const DecodeLimits& limits,
                              bool premultiplied) {
    DecodedImage result;
    RawPicture picture;
    const ImageKind kind = kindForDecoding(name, bytes);
    result.status = runDecoder(kind, bytes, limits, picture, result.detail);
    if (result.status == DecodeStatus::Ok &&
        picture.pixels.size() != static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height) * 4) {
        result.status = DecodeStatus::Damaged;
        result.detail = "decoder gave a block of the wrong size";
    }
    if (result.status != DecodeStatus::Ok) return result;
    flipRowsInPlace(picture.pixels, picture.width, picture.height);
    if (premultiplied && !picture.premultiplied) premultiply(picture.pixels.data(), picture.pixels.size());
    if (premultiplied && picture.premultiplied) clampToAlpha(picture.pixels);
    if (!premultiplied && picture.premultiplied) unpremultiply(picture.pixels.data(), picture.pixels.size());
    result.width = picture.width;
    result.height = picture.height;
    result.channels = picture.channels;
    result.pixels = std::move(picture.pixels);
    return result;
}

DecodedImage decodeImage(const std::string& path, const DecodeLimits& limits) {
    DecodedImage result;
    std::vector<uint8_t> bytes;
    result.status = readWholeFile(path, bytes, result.detail);
    if (result.status != DecodeStatus::Ok) return result;
    return decodeImageBytes(bytes, path, limits, true);
}

DecodedImage decodeImageOnWorker(const std::string& path, const DecodeLimits& limits, const WaitFunction& wait) {
    DecodedImage result;
    std::atomic<bool> finished{false};
    std::thread worker;
    try {
        worker = std::thread([&] {
            result = decodeImage(path, limits);
            finished.store(true, std::memory_order_release);
        });
    } catch (const std::system_error& e) {
        std::fprintf(stderr, "image decoder thread: %s; decoding here\n", e.what());
        return decodeImage(path, limits);
    }
    wait([&] { return finished.load(std::memory_order_acquire); });
    worker.join(); // also when wait returned early: the worker owns `result` until here
    return result;
}
