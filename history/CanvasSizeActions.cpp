#include "history/CanvasSizeActions.h"

#include <cmath>
#include <cstdio>

#include "canvas/Canvas.h"
#include "canvas/GlInfo.h"
#include "canvas/MultiLayeredImage.h"
#include "io/BinaryStream.h"
#include "io/ImageLoad.h"

namespace {
// A stored size as whole pixels; 0 for what no canvas can have (a crop of no
// extent, a hostile or damaged file), which leaves the picture as it was.
int wholePixels(float value) {
    if (!std::isfinite(value) || value < 0.5f || value > 1048576.0f) return 0;
    return static_cast<int>(std::floor(value + 0.5f));
}

bool sizeAllowed(int width, int height) {
    if (width < 1 || height < 1) return false;
    const int32_t limit = canvasSideLimit(gFramebufferCapability);
    if (limit > 0 && (width > limit || height > limit)) {
        std::fprintf(stderr, "Canvas size %d x %d ignored: the largest side is %d.\n", width, height, limit);
        return false;
    }
    return true;
}
} // namespace

bool ImageCropAction::execute() {
    const int w = wholePixels(width), h = wholePixels(height);
    if (!canvas_.hasSurfaces() || !sizeAllowed(w, h) || !std::isfinite(centreX) || !std::isfinite(centreY) ||
        !std::isfinite(rotation))
        return true;
    // The old canvas point centreX, centreY lands in the middle of the new
    // canvas, turned as the view was, so the crop keeps what the screen showed.
    layerops::resizeLayersTransformed(canvas_, layers_, centreX, centreY, w, h, rotation);
    return true;
}

void ImageCropAction::write(io::BinaryWriter& out) const {
    out.f32(centreX);
    out.f32(centreY);
    out.f32(width);
    out.f32(height);
    out.u32(0); // reserved, meaningless in every known file
    out.u32(0);
    out.f32(rotation);
}

void ImageCropAction::read(io::BinaryReader& in) {
    in.f32(centreX);
    in.f32(centreY);
    in.f32(width);
    in.f32(height);
    in.skip(8);
    in.f32(rotation);
}

bool ImageResizeAction::execute() {
    if (!canvas_.hasSurfaces() || !sizeAllowed(width, height)) return true;
    layerops::resizeLayersScaled(canvas_, layers_, width, height);
    return true;
}

void ImageResizeAction::write(io::BinaryWriter& out) const {
    out.i32(width);
    out.i32(height);
}

void ImageResizeAction::read(io::BinaryReader& in) {
    in.i32(width);
    in.i32(height);
}
