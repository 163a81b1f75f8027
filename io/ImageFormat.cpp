#include "io/ImageFormat.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>

std::string upperExtension(const std::string& path) {
    const size_t slash = path.find_last_of("/\\");
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
    std::string ext = path.substr(dot);
    for (char& c : ext) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return ext;
}

namespace {
constexpr std::array<const char*, 16> kRawExtensions = {".RAW", ".CRW", ".NEF", ".CR2", ".DNG", ".ORF",
                                                         ".ARW", ".ERF", ".3FR", ".DCR", ".X3F", ".MEF",
                                                         ".RAF", ".MRW", ".PEF", ".SR2"};

bool startsWith(std::span<const uint8_t> bytes, const char* magic, size_t length) {
    return bytes.size() >= length && std::memcmp(bytes.data(), magic, length) == 0;
}
} // namespace

ImageKind kindFromExtension(const std::string& path) {
    const std::string ext = upperExtension(path);
    if (ext == ".JPG" || ext == ".JPEG") return ImageKind::Jpeg;
    if (ext == ".PNG") return ImageKind::Png;
    if (ext == ".TIF" || ext == ".TIFF") return ImageKind::Tiff;
    if (ext == ".BMP") return ImageKind::Bmp;
    if (ext == ".TGA") return ImageKind::Tga;
    if (ext == ".DDS") return ImageKind::Dds;
    if (std::find_if(kRawExtensions.begin(), kRawExtensions.end(), [&](const char* e) { return ext == e; }) !=
        kRawExtensions.end())
        return ImageKind::CameraRaw;
    return ImageKind::Unknown;
}

ImageKind kindFromSignature(std::span<const uint8_t> bytes) {
    if (startsWith(bytes, "\x89PNG\r\n\x1a\n", 8)) return ImageKind::Png;
    if (startsWith(bytes, "\xff\xd8\xff", 3)) return ImageKind::Jpeg;
    if (startsWith(bytes, "II*\0", 4) || startsWith(bytes, "MM\0*", 4)) return ImageKind::Tiff;
    if (startsWith(bytes, "BM", 2) && bytes.size() >= 26) return ImageKind::Bmp;
    if (startsWith(bytes, "DDS ", 4)) return ImageKind::Dds;
    return ImageKind::Unknown;
}

ImageKind kindForDecoding(const std::string& path, std::span<const uint8_t> bytes) {
    const ImageKind byName = kindFromExtension(path);
    if (byName == ImageKind::CameraRaw) return byName;
    const ImageKind bySignature = kindFromSignature(bytes);
    return bySignature != ImageKind::Unknown ? bySignature : byName;
}

int saveFormatForPath(const std::string& path) {
    const std::string ext = upperExtension(path);
    // Every name the reader takes for a format selects that format for writing.
    switch (kindFromExtension(path)) {
    case ImageKind::Jpeg: return kSaveJpeg;
    case ImageKind::Bmp: return kSaveBmp;
    case ImageKind::Tiff: return kSaveTiff;
    default: return kSavePng;
    }
}

const char* imageKindName(ImageKind kind) {
    switch (kind) {
    case ImageKind::Png: return "PNG";
    case ImageKind::Jpeg: return "JPEG";
    case ImageKind::Tiff: return "TIFF";
    case ImageKind::Bmp: return "BMP";
    case ImageKind::Tga: return "TGA";
    case ImageKind::Dds: return "DDS";
    case ImageKind::CameraRaw: return "camera RAW";
    case ImageKind::Unknown: break;
    }
    return "unknown";
}
