#pragma once
// The choice of codec by file name and by the first bytes of the data.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

enum class ImageKind { Unknown, Png, Jpeg, Tiff, Bmp, Tga, Dds, CameraRaw };

// The extension with its dot, in upper case: "photo.Jpg" gives ".JPG"; "" when none.
std::string upperExtension(const std::string& path);

// By extension alone (case does not matter). JPG/JPEG, PNG, TIF/TIFF, BMP,
// TGA, DDS and the camera RAW family; anything else is Unknown.
ImageKind kindFromExtension(const std::string& path);

// By signature: PNG, JPEG, TIFF, BMP and DDS carry one; TGA and most camera
// formats do not (many camera files are TIFF inside). Unknown when none matches.
ImageKind kindFromSignature(std::span<const uint8_t> bytes);

// What decodes a file: camera RAW by its extension (their TIFF-like
// signature would mislead); otherwise a known signature wins over the
// extension, so a PNG stream saved under ".tga" loads again; otherwise the extension.
ImageKind kindForDecoding(const std::string& path, std::span<const uint8_t> bytes);

// The format number a save uses: ".JPG"/".JPEG" 3, ".PNG" 4, ".BMP" 1,
// ".TIF"/".TIFF" 6 (any case), and 4 (PNG data) for every other extension.
int saveFormatForPath(const std::string& path);
constexpr int kSaveBmp = 1;
constexpr int kSaveJpeg = 3;
constexpr int kSavePng = 4;
constexpr int kSaveTiff = 6;

const char* imageKindName(ImageKind kind);
