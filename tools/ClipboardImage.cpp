#include "tools/ClipboardImage.h"

#include <GL/glew.h>
#include <GL/freeglut.h>

#include <cstdio>
#include <memory>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/Painter.h"
#include "core/Globals.h"
#include "history/History.h"
#include "history/SelectionActions.h"
#include "io/Codecs.h"
#include "io/ImageCodec.h"
#include "platform/Clock.h"
#include "tools/TransformTool.h"

namespace clipimage {
namespace {
constexpr int kTransformToolIndex = 7;

TransformTool& transformTool(Painter& painter) {
    return static_cast<TransformTool&>(*painter.tools[kTransformToolIndex]);
}

void putOnClipboard(int32_t width, int32_t height, std::vector<uint8_t> bgra) {
    if (width <= 0 || height <= 0 || bgra.empty()) return; // nothing to copy: the clipboard stays as it is
    if (!platform::setClipboardOffers(imageOffers(width, height, std::move(bgra))))
        std::fprintf(stderr, "Copy: the clipboard could not be taken.\n");
}
} // namespace

const std::vector<std::string>& pasteTargets() {
    static const std::vector<std::string> targets{kPrivateTarget, "image/png", "image/bmp", "image/jpeg"};
    return targets;
}

std::vector<platform::ClipboardOffer> imageOffers(int32_t width, int32_t height, std::vector<uint8_t> bgra) {
    auto block = std::make_shared<const std::vector<uint8_t>>(dib::makeBlock(width, height, bgra));
    std::vector<platform::ClipboardOffer> offers;
    offers.push_back({kPrivateTarget, [block] { return *block; }});
    offers.push_back({"image/png", [block] {
                          dib::Image image;
                          std::string why;
                          if (!dib::parseBlock(*block, image, why)) return std::vector<uint8_t>{};
                          const std::vector<uint8_t> rgba = dib::toStraightRgbaTopDown(image);
                          return codec::encodePngToMemory(rgba.data(), image.width, image.height);
                      }});
    offers.push_back({"image/bmp", [block] { return dib::blockToBmpFile(*block); }});
    return offers;
}

bool imageFromTarget(const std::string& target, std::span<const uint8_t> bytes, dib::Image& out, std::string& why) {
    if (target == kPrivateTarget) return dib::parseBlock(bytes, out, why);
    // Other programs' images go through our decoders: canvas form (RGBA,
    // premultiplied, bottom-up), then the red and blue bytes trade places.
    const std::string name = target == "image/png" ? "clipboard.png" : target == "image/bmp" ? "clipboard.bmp"
                                                                                           : "clipboard.jpg";
    DecodedImage decoded = decodeImageBytes(bytes, name, DecodeLimits{}, true);
    if (!decoded.ok()) {
        why = std::string(decodeStatusText(decoded.status)) + (decoded.detail.empty() ? "" : ": " + decoded.detail);
        return false;
    }
    out.width = decoded.width;
    out.height = decoded.height;
    out.bytesPerPixel = 4;
    out.pixels = dib::swapRedBlue(std::move(decoded.pixels));
    return true;
}

bool grabImage(Painter& painter, int32_t& width, int32_t& height, std::vector<uint8_t>& bgra) {
    Canvas& canvas = *painter.canvas;
    TransformTool& tool = transformTool(painter);
    tool.rotation = 0;
    // The selection's box through its mask; the paste goes back to its centre.
    if (canvas.selectionActive) return canvas.extractSelection(width, height, bgra, tool.centre);
    tool.centre = {0, 0};
    width = canvas.width;
    height = canvas.height;
    bgra = dib::swapRedBlue(readTexture(canvas.currentLayerSurface().textureId, canvas.width, canvas.height));
    return !bgra.empty();
}

void copy(Painter& painter) {
    int32_t width = 0, height = 0;
    std::vector<uint8_t> bgra;
    if (grabImage(painter, width, height, bgra)) putOnClipboard(width, height, std::move(bgra));
}

void cut(Painter& painter) {
    Canvas& canvas = *painter.canvas;
    if (!canvas.selectionActive) return;
    int32_t width = 0, height = 0;
    std::vector<uint8_t> bgra;
    // A selection that holds no pixels cuts nothing and records nothing.
    if (!grabImage(painter, width, height, bgra)) return;
    gHistory.add(std::make_unique<ImageCutAction>(canvas), false);
    putOnClipboard(width, height, std::move(bgra));
    // The selection stays in force.
    canvas.eraseSelectedPixels();
}

void paste(Painter& painter) {
    // A nested wait pumps the window: a second paste key meanwhile is ignored.
    static bool busy = false;
    if (busy) return;
    busy = true;
    Canvas& canvas = *painter.canvas;
    if (canvas.selectionActive) {
        auto drop = std::make_unique<DisableSelectionAction>(canvas);
        HistoryAction* action = drop.get();
        gHistory.add(std::move(drop), false);
        action->execute();
    }
    std::string target;
    std::vector<uint8_t> bytes;
    const platform::ClipboardStatus status = platform::clipboardData(pasteTargets(), target, bytes, 1000, [] {
        if (glutGetWindow() != 0) glutMainLoopEvent();
        platform::sleepMs(10);
    });
    busy = false;
    if (status == platform::ClipboardStatus::TimedOut) std::fprintf(stderr, "Paste: the clipboard's owner did not answer.\n");
    if (status != platform::ClipboardStatus::Ok) return; // no image: nothing changes
    dib::Image image;
    std::string why;
    if (!imageFromTarget(target, bytes, image, why)) {
        std::fprintf(stderr, "Paste: the clipboard's %s could not be read (%s).\n", target.c_str(), why.c_str());
        return;
    }
    floatImage(painter, std::move(image));
}

void floatImage(Painter& painter, dib::Image image) {
    painter.selectTool(kTransformToolIndex);
    TransformTool& tool = transformTool(painter);
    tool.setSizeFromImage(image.width, image.height);
    tool.setImage(image.width, image.height, image.bytesPerPixel, std::move(image.pixels));
}

} // namespace clipimage
