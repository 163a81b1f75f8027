#pragma once
// The program's four image operations and the threaded decode of the image
// load. Pixels handed out are in canvas form unless a function says else:
// RGBA, 8 bits a component, premultiplied, row 0 at the bottom.
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "io/ImageTypes.h"

class GlTexture;

// Files above this many bytes are not read at all.
constexpr size_t kMaxImageFileBytes = size_t{512} * 1024 * 1024;

// The whole picture file into memory (through io::readWholeFile). Unreadable
// when it is missing, a folder or cannot be read, TooLarge above kMaxImageFileBytes.
DecodeStatus readImageFile(const std::string& path, std::vector<uint8_t>& bytes, std::string& detail);

// Decodes bytes; `name` chooses the codec by its extension where the bytes
// carry no signature. premultiplied false keeps straight alpha (textures
// for the interface), true gives canvas form. Never throws for bad data.
DecodedImage decodeImageBytes(std::span<const uint8_t> bytes, const std::string& name, const DecodeLimits& limits,
                              bool premultiplied = true);

// Reads and decodes a file into canvas form; the size is checked against
// the limits on the header, before any pixel memory is taken.
DecodedImage decodeImage(const std::string& path, const DecodeLimits& limits);

// Waits, keeping the program alive, until done() is true. The program
// passes mainloop::pumpUntil; tests pass a plain loop.
using WaitFunction = std::function<void(const std::function<bool()>& done)>;

// decodeImage on a decoder thread of its own; the calling thread waits with
// `wait` until the worker's finished flag is set, then joins it. The worker
// touches nothing but its own buffer.
DecodedImage decodeImageOnWorker(const std::string& path, const DecodeLimits& limits, const WaitFunction& wait);

// Writes straight-alpha RGBA (row 0 at the bottom) in the format of the
// extension (saveFormatForPath): JPEG at quality 100 with full-resolution
// colour, BMP (no alpha), TIFF, and PNG data for ".png" and every other
// extension. The file is written under a temporary name and renamed into
// place. Takes the pixels and frees them before it returns. False when the
// file could not be written.
bool saveImage(const std::string& path, std::vector<uint8_t> pixels, int32_t width, int32_t height);

// What the saving thread runs: un-premultiplies canvas-form pixels, then saveImage.
bool saveCanvasImage(const std::string& path, std::vector<uint8_t> pixels, int32_t width, int32_t height);

// ---- needs a current GL context ------------------------------------------------

// A texture of straight RGB or RGBA (channels 3 or 4) with linear filters,
// row 0 at the bottom. ".dds" goes through the DDS reader (DXT1/3/5 stay
// compressed on the card), everything else through decodeImageBytes.
// On failure the texture is left as it was and false comes back.
bool loadTexture(const std::string& path, GlTexture& texture, int32_t& width, int32_t& height, int32_t& channels);

// A brush tip: RGBA with the colour inverted (255 - value) and the alpha as
// in the file, nearest filters.
bool loadTipTexture(const std::string& path, GlTexture& texture, int32_t& width, int32_t& height);
