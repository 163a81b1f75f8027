// The document side of an image load on the program's global history: the
// picture enters the history as an ImageLoadAction, beyond undo's reach.
#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "core/Globals.h"
#include "history/History.h"
#include "history/ImageActions.h"
#include "io/ImageLoad.h"

void resetDocumentForImage(int32_t width, int32_t height) {
    // Reset layers, snapshots and history; the canvas is remade next.
    gHistory.resetForNewPicture(width, height);
}

void onImageLoaded(std::vector<uint8_t> surfacePixels, int32_t width, int32_t height) {
    gHistory.add(std::make_unique<ImageLoadAction>(gCanvas, width, height, std::move(surfacePixels)), false);
    gHistory.settleAfterLoad();
}

ImageLoadHooks programImageLoadHooks() { return {resetDocumentForImage, onImageLoaded}; }
