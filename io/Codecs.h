#pragma once
// One decoder and one encoder per library. Decoders read from memory, refuse
// a size beyond the limits right after the header, never write to standard
// output or error on their own and never end the process; they fill a
// RawPicture (rows top-down). Encoders take straight-alpha RGBA, rows top-down.
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "io/ImageTypes.h"

namespace codec {

using Bytes = std::span<const uint8_t>;

DecodeStatus decodePng(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail);
DecodeStatus decodeJpeg(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail);
DecodeStatus decodeTiff(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail);
// BMP and TGA through stb_image, after a structural check of our own (stb
// reads past the end of a short file as zeros instead of failing).
DecodeStatus decodeBmp(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail);
DecodeStatus decodeTga(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail);
DecodeStatus decodeCameraRaw(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail);
// DDS to CPU pixels (DXT blocks decoded here).
DecodeStatus decodeDds(Bytes data, const DecodeLimits& limits, RawPicture& out, std::string& detail);

// Straight RGBA, top-down rows, width * height * 4 bytes. False on any failure.
bool encodePng(const std::string& path, const uint8_t* rgba, int32_t width, int32_t height);
// The same PNG data in memory (the clipboard's image/png); empty on failure.
std::vector<uint8_t> encodePngToMemory(const uint8_t* rgba, int32_t width, int32_t height);
bool encodeJpeg(const std::string& path, const uint8_t* rgba, int32_t width, int32_t height, int quality);
bool encodeTiff(const std::string& path, const uint8_t* rgba, int32_t width, int32_t height);
bool encodeBmp(const std::string& path, const uint8_t* rgba, int32_t width, int32_t height);

} // namespace codec
