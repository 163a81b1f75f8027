#pragma once
// Actions that bring whole pictures in: a loaded flat image, a loaded layered
// picture and a pasted image. Each owns its pixels.
#include <cstdint>
#include <vector>

#include "history/HistoryAction.h"
#include "io/LayeredFile.h"

class Canvas;
class MultiLayeredImage;

// The picture of an image load: premultiplied RGBA of the process's initial
// size, row 0 at the bottom. The stored body is the pixels alone, so the
// reader is made with the initial size it must expect.
class ImageLoadAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 13;

    ImageLoadAction(Canvas& canvas, int32_t width, int32_t height, std::vector<uint8_t> pixels = {})
        : canvas_(canvas), width_(width), height_(height), pixels_(std::move(pixels)) {}

    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    // Puts the pixels into the current surface; false when they do not fit it.
    bool execute() override;
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;

    const std::vector<uint8_t>& pixels() const { return pixels_; }
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }

private:
    Canvas& canvas_;
    int32_t width_, height_;
    std::vector<uint8_t> pixels_;
};

// The layers of a loaded ".kwf": replaces the layer list by its copy and loads
// the current layer into the current surface.
class MultiLayeredImageLoadAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 17;

    MultiLayeredImageLoadAction(Canvas& canvas, MultiLayeredImage& layers, LayeredPicture picture = {})
        : canvas_(canvas), layers_(layers), picture_(std::move(picture)) {}

    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool execute() override;
    // Body: width, height (int32 each), then the layered body.
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;

    const LayeredPicture& picture() const { return picture_; }

private:
    Canvas& canvas_;
    MultiLayeredImage& layers_;
    LayeredPicture picture_;
};

// A pasted image placed on a new layer, moved, scaled and rotated: the
// result of the transform tool's apply. Centre and size are used in whole
// pixels, as the tool stores them.
class ImagePasteAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 18;
    // Format indices of the older bodies.
    static constexpr int32_t kBytesPerPixelSinceFormat = 12;
    static constexpr int32_t kRotationSinceFormat = 17;

    ImagePasteAction(Canvas& canvas, MultiLayeredImage& layers) : canvas_(canvas), layers_(layers) {}

    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool execute() override;
    void write(io::BinaryWriter& out) const override;
    // Below the rotation format the stored position was the lower corner.
    void read(io::BinaryReader& in) override;

    int32_t imageWidth = 0, imageHeight = 0;
    int32_t bytesPerPixel = 4;              // 3 or 4
    float centreX = 0, centreY = 0;         // canvas pixels
    float targetWidth = 0, targetHeight = 0;
    float rotation = 0;                     // degrees
    std::vector<uint8_t> pixels;            // rows as uploaded: BGR(A), bottom-up, premultiplied

private:
    Canvas& canvas_;
    MultiLayeredImage& layers_;
};
