#include "history/ImageActions.h"

#include <GL/glew.h>

#include <cmath>
#include <cstdio>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/ImagePlacement.h"
#include "canvas/MultiLayeredImage.h"
#include "io/BinaryStream.h"
#include "io/ProcessFormat.h"

namespace {
std::size_t rgbaBytes(int32_t width, int32_t height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
}

bool sideInRange(int32_t side) { return side >= 1 && side <= kwformat::kMaxSide; }
} // namespace

// ---- ImageLoadAction ---------------------------------------------------------

bool ImageLoadAction::execute() {
    if (pixels_.size() != rgbaBytes(width_, height_) || pixels_.empty()) return false;
    if (canvas_.width == width_ && canvas_.height == height_) {
        // Same size: the bytes go into the surface exactly.
        glBindTexture(GL_TEXTURE_2D, canvas_.currentLayerSurface().textureId);
        glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width_, height_, GL_RGBA, GL_UNSIGNED_BYTE, pixels_.data());
        glPopClientAttrib();
        glBindTexture(GL_TEXTURE_2D, 0);
        canvas_.currentSurfaceChangedEverywhere();
        return true;
    }
    // A canvas of another size (a crop before it): stretched over the surface.
    GlTexture upload = GlTexture::createRgba(width_, height_, pixels_.data());
    canvas_.loadSurface(upload.id(), true);
    return true;
}

void ImageLoadAction::write(io::BinaryWriter& out) const {
    if (pixels_.size() == rgbaBytes(width_, height_)) {
        out.raw(pixels_);
    } else {
        const std::vector<uint8_t> clear(rgbaBytes(width_, height_), 0);
        out.raw(clear);
    }
}

void ImageLoadAction::read(io::BinaryReader& in) {
    pixels_.clear();
    if (!sideInRange(width_) || !sideInRange(height_)) {
        in.fail("image size " + std::to_string(width_) + " x " + std::to_string(height_) + " out of range");
        return;
    }
    const std::size_t bytes = rgbaBytes(width_, height_);
    if (bytes > in.remaining()) {
        in.fail("image pixels cut short");
        return;
    }
    pixels_.resize(bytes);
    if (!in.raw(pixels_)) pixels_.clear();
}

// ---- MultiLayeredImageLoadAction ----------------------------------------------

bool MultiLayeredImageLoadAction::execute() {
    if (picture_.layers.empty()) return false;
    applyLayers(picture_, canvas_, layers_);
    return true;
}

void MultiLayeredImageLoadAction::write(io::BinaryWriter& out) const {
    out.i32(picture_.width);
    out.i32(picture_.height);
    writeLayeredBody(out, picture_);
}

void MultiLayeredImageLoadAction::read(io::BinaryReader& in) {
    int32_t width = 0, height = 0;
    in.i32(width);
    in.i32(height);
    if (in.failed()) return;
    readLayeredBody(in, width, height, picture_);
}

// ---- ImagePasteAction ---------------------------------------------------------

bool ImagePasteAction::execute() {
    // A new layer with the image placed at centre, size and rotation; an
    // image of no pixels (or a damaged one) still gives the layer.
    const GLuint texture = makeFloatingTexture(imageWidth, imageHeight, bytesPerPixel, pixels.data(), pixels.size());
    const math::Vec2 centre{std::trunc(centreX), std::trunc(centreY)};
    const math::Vec2 size{std::trunc(targetWidth), std::trunc(targetHeight)};
    const bool placed = placeImage(canvas_, layers_, texture, centre, size, rotation);
    if (texture) glDeleteTextures(1, &texture);
    return placed;
}

void ImagePasteAction::write(io::BinaryWriter& out) const {
    out.i32(imageWidth);
    out.i32(imageHeight);
    out.i32(bytesPerPixel);
    out.f32(centreX);
    out.f32(centreY);
    out.f32(targetWidth);
    out.f32(targetHeight);
    out.f32(rotation);
    const std::size_t bytes = static_cast<std::size_t>(imageWidth) * static_cast<std::size_t>(imageHeight) *
                              static_cast<std::size_t>(bytesPerPixel);
    if (pixels.size() == bytes) {
        out.raw(pixels);
    } else {
        const std::vector<uint8_t> clear(bytes, 0);
        out.raw(clear);
    }
}

void ImagePasteAction::read(io::BinaryReader& in) {
    pixels.clear();
    in.i32(imageWidth);
    in.i32(imageHeight);
    bytesPerPixel = 4;
    if (in.formatIndex >= kBytesPerPixelSinceFormat) in.i32(bytesPerPixel);
    in.f32(centreX);
    in.f32(centreY);
    in.f32(targetWidth);
    in.f32(targetHeight);
    rotation = 0;
    if (in.formatIndex >= kRotationSinceFormat) {
        in.f32(rotation);
    } else {
        centreX += targetWidth * 0.5f;
        centreY += targetHeight * 0.5f;
    }
    if (in.failed()) return;
    if (imageWidth < 0 || imageHeight < 0 || imageWidth > kwformat::kMaxSide || imageHeight > kwformat::kMaxSide) {
        in.fail("pasted image size " + std::to_string(imageWidth) + " x " + std::to_string(imageHeight));
        return;
    }
    if (bytesPerPixel != 3 && bytesPerPixel != 4) {
        in.fail("pasted image with " + std::to_string(bytesPerPixel) + " bytes per pixel");
        return;
    }
    const std::size_t bytes = static_cast<std::size_t>(imageWidth) * static_cast<std::size_t>(imageHeight) *
                              static_cast<std::size_t>(bytesPerPixel);
    if (bytes > in.remaining()) {
        in.fail("pasted image pixels cut short");
        return;
    }
    pixels.resize(bytes);
    if (!in.raw(pixels)) pixels.clear();
}
