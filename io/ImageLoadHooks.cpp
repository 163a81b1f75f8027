// The document side of an image load on the program's global history.
// Placeholder bodies until the history's snapshots and ImageLoadAction exist:
// they clear the history and give it the new initial size, nothing more.
#include "canvas/MultiLayeredImage.h"
#include "core/Globals.h"
#include "history/History.h"
#include "io/ImageLoad.h"

void resetDocumentForImage(int32_t width, int32_t height) {
    gHistory.clear();
    gHistory.initialWidth = width;
    gHistory.initialHeight = height;
}

void onImageLoaded(std::vector<uint8_t> surfacePixels, int32_t width, int32_t height) {
    // Still to come with the history: an ImageLoadAction holding surfacePixels,
    // History::add, stepsSinceSnapshot and undoDepth 0, takeSnapshot(true) twice.
    (void)surfacePixels;
    (void)width;
    (void)height;
    gHistory.stepsSinceSnapshot = 0;
    gHistory.undoDepth = 0;
}

ImageLoadHooks programImageLoadHooks() { return {resetDocumentForImage, onImageLoaded}; }
