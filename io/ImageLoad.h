#pragma once
// Loading a picture file as a new canvas of the picture's size. Nothing of
// the open picture changes until the file has been decoded completely into
// new memory and has passed the size test.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "io/ImageCodec.h"

class Application;
class Canvas;
class MultiLayeredImage;
struct FramebufferCapability;

// Half of GL_MAX_RENDERBUFFER_SIZE with framebuffer objects; 0 (no limit of
// the card) without them.
int32_t canvasSideLimit(const FramebufferCapability& capability);

// The size test of new canvases: with a limit, a side above it shows
// "maximum size supported:\n[L x L]" through `app` (when given) and gives false.
bool checkCanvasSize(int32_t width, int32_t height, const FramebufferCapability& capability, Application* app);

// What the decoder accepts for a canvas: the card's limit, and never more than DecodeLimits{}.
DecodeLimits canvasDecodeLimits(const FramebufferCapability& capability);

// The document side of a load, owned by the history. resetDocument runs
// after the size test and before the canvas is remade (reset layers,
// snapshots and history); imageLoaded runs with a read-back copy of the
// surface once the picture is in it (the ImageLoadAction, counters, snapshots).
struct ImageLoadHooks {
    std::function<void(int32_t width, int32_t height)> resetDocument;
    std::function<void(std::vector<uint8_t> surfacePixels, int32_t width, int32_t height)> imageLoaded;
};

// The hooks of the program, working on the global history (ImageLoadHooks.cpp).
ImageLoadHooks programImageLoadHooks();
void resetDocumentForImage(int32_t width, int32_t height);
void onImageLoaded(std::vector<uint8_t> surfacePixels, int32_t width, int32_t height);

struct ImageLoadTarget {
    Canvas& canvas;
    MultiLayeredImage& layers;
    const FramebufferCapability& capability;
    WaitFunction wait;              // the nested loop of the program, or a test's loop
    ImageLoadHooks hooks;
    Application* app = nullptr;     // busy state and messages; may be null
};

enum class ImageLoadResult { Loaded, Failed, TooLarge };

// The image load: busy state with the spinner, DDS on this thread (it needs
// GL), everything else on a decoder thread while `wait` keeps the program
// alive; size test; reset; resize; the pixels into the current surface.
// The caller shows the message (imageLoadMessage) and fits the view.
ImageLoadResult loadImageAsCanvas(const std::string& path, ImageLoadTarget& target);

// "image loaded", or the failure text of the flow: "unable to load image"
// from the load dialog, "unable to load file" from loadFile.
const char* imageLoadMessage(ImageLoadResult result, bool fromLoadDialog);
