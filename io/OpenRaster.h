#pragma once
// OpenRaster (".ora"), the layered picture other painting programs read: a
// zip whose first entry "mimetype" holds "image/openraster" (stored), then
// "stack.xml" (the layers, the top one first), one PNG per layer under
// "data/", the flattened "mergedimage.png" and "Thumbnails/thumbnail.png".
//
// The CPU part (parse, encode) touches no GL and nothing of the program; the
// GL part at the end moves a picture to and from the canvas like the ".kwf"
// load and save do. A file is read whole and checked before anything of the
// open picture changes: sizes declared in the zip and in stack.xml are held
// against the limits before anything is inflated or decoded, and reading
// stops at the declared size.
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "io/ImageTypes.h"
#include "io/LayeredFile.h"

class Canvas;
class MultiLayeredImage;

namespace ora {

inline constexpr const char* kMimeType = "image/openraster";
// The longest side of the thumbnail.
inline constexpr int32_t kThumbnailSide = 256;
// The decoded picture (every layer at the canvas size) may take at most this.
inline constexpr std::size_t kMaxPictureBytes = std::size_t{2} << 30;
// All entries read from one archive together, as inflated.
inline constexpr std::size_t kMaxInflatedBytes = std::size_t{1} << 30;
// stack.xml larger than this is not a layer list.
inline constexpr std::size_t kMaxStackXmlBytes = std::size_t{4} << 20;
// Elements nested deeper than this in stack.xml are refused (the XML parser recurses).
inline constexpr int kMaxStackDepth = 32;

// A picture with the layers' names (one per layer, from the bottom, as the
// picture's layers). The program's layers have no names of their own.
struct Content {
    LayeredPicture picture;
    std::vector<std::string> names;
    // What was read differently from how the file meant it (a blend mode this
    // program does not have, loaded as normal): said on standard error.
    std::vector<std::string> notes;
};

// Parses the archive. Nothing is written. `limits` bounds the canvas size
// (and layers larger than it); acceptSize, when given, sees the size of
// stack.xml's image before any layer is inflated, and false fails there.
// Nested stacks are flattened in their order: a layer inside takes the
// stack's opacity times its own and is hidden when the stack is.
// Failed with a reason on anything else.
LoadResult parse(std::span<const uint8_t> bytes, const DecodeLimits& limits, Content& out,
                 std::string& reason,
                 const std::function<bool(int32_t width, int32_t height)>& acceptSize = {});
// The file read whole (at most kMaxImageFileBytes), then parse.
LoadResult readFile(const std::string& path, const DecodeLimits& limits, Content& out, std::string& reason,
                    const std::function<bool(int32_t width, int32_t height)>& acceptSize = {});

// The archive's bytes. `merged` is the flattened picture in canvas form
// (premultiplied, row 0 at the bottom, width * height * 4); `names` one per
// layer from the bottom, "Layer N" where missing or empty. Layer PNGs hold
// straight alpha, at the canvas size at offset 0, 0. Empty with a reason on
// failure.
std::vector<uint8_t> encode(const LayeredPicture& picture, const std::vector<std::string>& names,
                            std::span<const uint8_t> merged, std::string& error);
// encode into a temporary file renamed into place; false with the reason,
// the file that was there untouched.
bool saveFile(const std::string& path, const LayeredPicture& picture, const std::vector<std::string>& names,
              std::span<const uint8_t> merged, std::string& error);

// A premultiplied picture (row 0 at the bottom) shrunk to fit kThumbnailSide
// on its longest side, ratio kept (a box average of premultiplied pixels);
// a smaller picture is kept as it is. Sizes come back in the two references.
std::vector<uint8_t> thumbnail(std::span<const uint8_t> pixels, int32_t width, int32_t height,
                               int32_t& outWidth, int32_t& outHeight);

// ---- GL side, main thread ------------------------------------------------------

// The layers as they stand and their flattened picture into an archive at
// path (the canvas, layers and surfaces as they were). False with the reason.
bool writeFromCanvas(const std::string& path, Canvas& canvas, const MultiLayeredImage& layers,
                     std::string& error);
// "save image" of a ".ora": stores the current surface, writes, sets
// modificationCount to 0 and shows "image saved\nat location: ..." or
// "unable to save image" (the reason on standard error).
bool saveImage(const std::string& path, DocumentTarget& doc);
// Reads and checks the whole file; only then the open picture is replaced
// as a ".kwf" load replaces it (reset, resize, initial size, empty history,
// layers, snapshots). On failure the document is untouched and the reason
// went to standard error.
LoadResult loadImage(const std::string& path, DocumentTarget& doc);
// loadImage, then the picture goes into the history and the message of the
// result is shown, as openLayeredImage does. True on success.
bool openImage(const std::string& path, DocumentTarget& doc);

} // namespace ora
