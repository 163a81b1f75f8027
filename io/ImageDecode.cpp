#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>

#include "io/BinaryStream.h"
#include "io/Codecs.h"
#include "io/DdsFile.h"
#include "io/ImageCodec.h"
#include "io/ImageFormat.h"
#include "io/Pixels.h"

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

DecodeStatus readImageFile(const std::string& path, std::vector<uint8_t>& bytes, std::string& detail) {
    std::error_code ec;
    const std::filesystem::file_status status = std::filesystem::status(path, ec);
    if (ec || !std::filesystem::exists(status)) {
        detail = "no such file";
        return DecodeStatus::Unreadable;
    }
    if (std::filesystem::is_directory(status)) {
        detail = "a folder, not a picture file";
        return DecodeStatus::Unreadable;
    }
    const uintmax_t size = std::filesystem::is_regular_file(status) ? std::filesystem::file_size(path, ec) : 0;
    if (!ec && size > kMaxImageFileBytes) {
        detail = "a file of " + std::to_string(size) + " bytes, more than a picture file may have";
        return DecodeStatus::TooLarge;
    }
    if (!io::readWholeFile(path, bytes, detail, kMaxImageFileBytes)) return DecodeStatus::Unreadable;
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
    result.warning = std::move(picture.warning);
    result.pixels = std::move(picture.pixels);
    return result;
}

DecodedImage decodeImage(const std::string& path, const DecodeLimits& limits) {
    DecodedImage result;
    std::vector<uint8_t> bytes;
    result.status = readImageFile(path, bytes, result.detail);
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
