#pragma once
// The layered body: the layers of a picture, raw and premultiplied. It is the
// whole body of a ".kwf" file, the end of every ".dpf" and the body of
// MultiLayeredImageLoadAction. The CPU form (LayeredPicture) is read and
// written here without GL; capture and apply move it to and from the canvas.
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace io {
class BinaryReader;
class BinaryWriter;
}
class Application;
class Canvas;
class History;
class MultiLayeredImage;
struct FramebufferCapability;

struct LayerPixels {
    bool visible = true;
    int32_t opacity = 100;  // percent, 0 to 100
    int32_t blendMode = 0;  // 0 normal, 1 multiply
    std::vector<uint8_t> pixels; // width * height * 4, premultiplied RGBA, row 0 at the bottom
    bool operator==(const LayerPixels&) const = default;
};

struct LayeredPicture {
    int32_t width = 0, height = 0;
    int32_t current = 0;
    std::vector<LayerPixels> layers; // from the bottom

    bool operator==(const LayeredPicture&) const = default;
};

// Writes the body in the current layout (layer index 4).
void writeLayeredBody(io::BinaryWriter& out, const LayeredPicture& picture);
// The same body from layer records whose pixels are asked for one at a
// time (their own `pixels` are not used); an empty span is stored
// transparent. The autosave writes a snapshot's blocks this way.
void writeLayeredBody(io::BinaryWriter& out, const std::vector<LayerPixels>& records, int32_t current,
                      int32_t width, int32_t height,
                      const std::function<std::span<const uint8_t>(std::size_t)>& pixelsOf);
// The same body straight from the canvas (GL, main thread), reading one layer
// back at a time, so that a save holds one layer's pixels, not the picture.
void writeLayeredBody(io::BinaryWriter& out, Canvas& canvas, const MultiLayeredImage& layers);
// Reads a body of the given size in the layout of in.layerFormatIndex; below
// index 4 the pixels held straight alpha and are premultiplied here. Every
// count is checked against the bytes left before memory is taken. False,
// with the reason in the reader, on a short or damaged body.
bool readLayeredBody(io::BinaryReader& in, int32_t width, int32_t height, LayeredPicture& picture);

// ---- GL side, main thread ------------------------------------------------------

// The layers as they stand: the current one from the current surface, a layer
// unchanged since the last snapshot from its cached pixels, others read back
// from their textures (a layer never stored is transparent).
LayeredPicture captureLayers(Canvas& canvas, const MultiLayeredImage& layers);
// Makes the canvas the picture's size if it differs, replaces the layer list
// by the picture's layers (next ids, changed since the snapshot) and loads the
// current one into the current surface.
void applyLayers(const LayeredPicture& picture, Canvas& canvas, MultiLayeredImage& layers);

// ---- ".kwf" files ----------------------------------------------------------------

// Result codes of the file readers: 1 loaded, 2 failed, 3 too new, 4 aborted.
enum class LoadResult : int { Loaded = 1, Failed = 2, TooNew = 3, Aborted = 4, RetryOnMainThread = 5 };

// A ".kwf" parsed into memory, nothing of the program touched.
struct LayeredFileContent {
    int32_t width = 0, height = 0;
    int32_t major = 0, minor = 0, patch = 0; // release in the header
    int32_t layerIndex = 0;
    LayeredPicture picture;
};

// Header and body from bytes. Failed with a reason on any damage; TooNew when
// the layer index is above this program's.
LoadResult parseLayeredFile(const std::vector<uint8_t>& bytes, LayeredFileContent& out, std::string& reason);
// The same, streamed from the file: no copy of the whole file in memory.
// acceptSize, when given, sees the header's size before any layer is read;
// false fails the read there.
LoadResult readLayeredFile(const std::string& path, LayeredFileContent& out, std::string& reason,
                           const std::function<bool(int32_t width, int32_t height)>& acceptSize = {});
// Header with the canvas size, then the body.
std::vector<uint8_t> encodeLayeredFile(const LayeredPicture& picture);
// The same bytes streamed into a temporary file renamed into place; false
// with the reason on any failure, the file that was there left untouched.
bool saveLayeredFile(const std::string& path, const LayeredPicture& picture, std::string& error);

// The document the file flows work on.
struct DocumentTarget {
    Canvas& canvas;
    MultiLayeredImage& layers;
    History& history;
    const FramebufferCapability* capability = nullptr; // the card's size limit; null: none
    Application* app = nullptr;                        // messages and busy state; may be null
};

// Stores the current surface, writes header and body, sets modificationCount
// to 0 and shows "image saved\nat location: \"...\"", or "unable to save image"
// (and the reason on standard error) when the file cannot be written whole;
// then the file that was there is untouched. True when the file was written.
bool saveLayeredImage(const std::string& path, DocumentTarget& doc);
// Reads the whole file first; only a complete, valid file of a size the card
// takes replaces the picture (reset, resize, initial size, empty history,
// layers, snapshots). On any other result the document is untouched.
// outVersion gets the file's release for the "requires" message.
LoadResult loadLayeredImage(const std::string& path, DocumentTarget& doc, int32_t outVersion[3]);
// The message of a failed load: "requires Kestrelwing vX.Y.Z" for a file of a
// newer release, "Loading aborted", or `failureText`. Nothing without an app.
void reportFailedLoad(Application* app, LoadResult result, const int32_t version[3], const char* failureText);

// The flow after a load: the picture goes into the history as a
// MultiLayeredImageLoadAction, counters settle, and the message of the result
// is shown. Returns true on success.
bool openLayeredImage(const std::string& path, DocumentTarget& doc);
// What every layered load does once the picture is in: it goes into the
// history as a MultiLayeredImageLoadAction (a process saved later holds the
// picture it started from), modificationCount is 0, the counters settle.
void recordLoadedPicture(DocumentTarget& doc);
