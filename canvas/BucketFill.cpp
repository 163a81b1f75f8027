#include "canvas/BucketFill.h"

#include <cstdio>
#include <memory>
#include <new>
#include <vector>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "io/FlatImage.h"

bool runBucketFill(Canvas& canvas, const MultiLayeredImage& layers, const flood::Params& params,
                   bool sampleAllLayers) {
    if (!canvas.hasSurfaces()) return false;
    const int32_t w = canvas.width, h = canvas.height;
    if (params.seedX < 0 || params.seedY < 0 || params.seedX >= w || params.seedY >= h) return false;
    // Working memory: source and result four bytes a pixel, the mask one.
    try {
        std::vector<uint8_t> source;
        if (sampleAllLayers) {
            // What the viewer sees without stroke or tool passes, composed in
            // the other surface of the pair, which the next pass restores.
            Framebuffer& scratch = canvas.borrowOtherSurface();
            composeLayersOver(canvas, layers, scratch, 0, 0, 0, 0, -1, 0, 0.0f);
            source = readTexture(scratch.textureId, w, h);
        } else {
            source = readTexture(canvas.currentLayerSurface().textureId, w, h);
        }
        if (source.empty()) return false;
        const std::unique_ptr<uint8_t[]> result(new uint8_t[static_cast<size_t>(w) * static_cast<size_t>(h) * 4]);
        flood::Workspace work;
        const flood::Bounds box = flood::fill(source.data(), w, h, params, result.get(), work);
        // The search's memory goes before the card's work.
        std::vector<uint8_t>().swap(source);
        work = {};
        if (box.empty()) return true;
        canvas.mergeImage(result.get(), {box.x0, box.y0, box.x1 - box.x0, box.y1 - box.y0});
        return true;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "bucket fill: not enough memory for a canvas of %d x %d\n", w, h);
        return false;
    }
}
