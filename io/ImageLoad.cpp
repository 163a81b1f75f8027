#include "io/ImageLoad.h"

#include <GL/glew.h>

#include <algorithm>
#include <cstdio>

#include "canvas/Canvas.h"
#include "canvas/GlInfo.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "core/Application.h"
#include "io/ImageFormat.h"
#include "core/Localisation.h"

int32_t canvasSideLimit(const FramebufferCapability& capability) {
    return capability.framebufferSupported ? capability.maxRenderbufferSize / 2 : 0;
}

bool checkCanvasSize(int32_t width, int32_t height, const FramebufferCapability& capability, Application* app) {
    const int32_t limit = canvasSideLimit(capability);
    if (limit <= 0 || (width <= limit && height <= limit)) return true;
    if (app)
        app->showMessage("%s", loc::fillText(tr(tk::MAXIMUM_SIZE_SUPPORTED_DXD_STR),
                                             {std::to_string(limit), std::to_string(limit)}).c_str());
    return false;
}

DecodeLimits canvasDecodeLimits(const FramebufferCapability& capability) {
    DecodeLimits limits;
    const int32_t side = canvasSideLimit(capability);
    if (side > 0) {
        limits.maxWidth = std::min(limits.maxWidth, side);
        limits.maxHeight = std::min(limits.maxHeight, side);
    }
    return limits;
}

namespace {

// The busy state of a load, left on every path out.
class BusyScope {
public:
    explicit BusyScope(Application* app) : app(app) {
        if (!app) return;
        app->busy = true;
        app->spinnerActive = true;
        app->spinnerFrame = 0;
        app->spinnerPeriod = 360;
        app->busyRemainingMs = 0;
        app->cancelRequested = false;
    }
    ~BusyScope() {
        if (!app) return;
        app->busy = false;
        app->spinnerActive = false;
    }
    BusyScope(const BusyScope&) = delete;
    BusyScope& operator=(const BusyScope&) = delete;

private:
    Application* app;
};

void remakeCanvas(ImageLoadTarget& t, int32_t width, int32_t height) {
    if (t.hooks.resetDocument) t.hooks.resetDocument(width, height);
    t.canvas.resize(width, height, t.layers);
}

void finishLoad(ImageLoadTarget& t) {
    std::vector<uint8_t> copy = readTexture(t.canvas.currentLayerSurface().textureId, t.canvas.width, t.canvas.height);
    if (t.hooks.imageLoaded) t.hooks.imageLoaded(std::move(copy), t.canvas.width, t.canvas.height);
}

ImageLoadResult tooLarge(ImageLoadTarget& t, int32_t width, int32_t height) {
    // Shows the limit; a size beyond the decoder's own cap is refused all the same.
    if (checkCanvasSize(width, height, t.capability, t.app)) {
        const int32_t limit = canvasSideLimit(t.capability);
        checkCanvasSize(limit + 1, limit + 1, t.capability, t.app);
    }
    return ImageLoadResult::TooLarge;
}

} // namespace

ImageLoadResult loadImageAsCanvas(const std::string& path, ImageLoadTarget& t) {
    BusyScope busy(t.app);
    // Every format, DDS included, takes the one CPU path into canvas form, so
    // straight-alpha textures are premultiplied like every other picture.
    const DecodeLimits limits = canvasDecodeLimits(t.capability);
    DecodedImage image = decodeImageOnWorker(path, limits, t.wait);
    // One line on standard error says why a picture was refused, or what was wrong with one that loaded.
    if (image.status == DecodeStatus::TooLarge) {
        std::fprintf(stderr, "%s: %s; the largest picture opened here is %d x %d\n", path.c_str(),
                     image.detail.c_str(), limits.maxWidth, limits.maxHeight);
        return tooLarge(t, limits.maxWidth + 1, limits.maxHeight + 1);
    }
    if (!image.ok()) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(),
                     image.detail.empty() ? decodeStatusText(image.status) : image.detail.c_str());
        return ImageLoadResult::Failed;
    }
    if (!image.warning.empty()) std::fprintf(stderr, "%s: %s\n", path.c_str(), image.warning.c_str());
    if (!checkCanvasSize(image.width, image.height, t.capability, t.app)) {
        std::fprintf(stderr, "%s: a picture of %d x %d is larger than this graphics card takes\n", path.c_str(),
                     image.width, image.height);
        return ImageLoadResult::TooLarge;
    }
    remakeCanvas(t, image.width, image.height);
    // Drawn 1:1 with nearest filters, so the surface gets the bytes exactly.
    GlTexture upload = GlTexture::createRgba(image.width, image.height, image.pixels.data());
    image.pixels = {}; // the card holds them now
    t.canvas.loadSurface(upload.id(), true);
    finishLoad(t);
    return ImageLoadResult::Loaded;
}

const char* imageLoadMessage(ImageLoadResult result, bool fromLoadDialog) {
    if (result == ImageLoadResult::Loaded) return tr(tk::IMAGE_LOADED_STR).c_str();
    return tr(fromLoadDialog ? tk::UNABLE_TO_LOAD_IMAGE_STR : tk::UNABLE_TO_LOAD_FILE_STR).c_str();
}
