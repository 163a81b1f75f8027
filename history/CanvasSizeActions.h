#pragma once
// Actions that change the canvas size and so reach every layer: crop (a
// rotated rectangle) and resize. Both keep the layer list and redraw every
// layer onto the new canvas (layerops::resizeLayers*). A size of no pixels
// or beyond the card's limit leaves the picture as it was.
#include <cstdint>

#include "history/HistoryAction.h"

class Canvas;
class MultiLayeredImage;

class ImageCropAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 15;

    ImageCropAction(Canvas& canvas, MultiLayeredImage& layers) : canvas_(canvas), layers_(layers) {}

    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool affectsAllLayers() const override { return true; }
    bool execute() override;
    // Body: centre (2 floats), size (2 floats), 8 reserved bytes, rotation.
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;

    float centreX = 0, centreY = 0;  // middle of the rectangle, canvas pixels
    float width = 0, height = 0;     // the new canvas size
    float rotation = 0;              // view rotation, degrees

private:
    Canvas& canvas_;
    MultiLayeredImage& layers_;
};

class ImageResizeAction : public HistoryAction {
public:
    static constexpr int kTypeCode = 19;

    ImageResizeAction(Canvas& canvas, MultiLayeredImage& layers) : canvas_(canvas), layers_(layers) {}

    int type() const override { return kTypeCode; }
    bool countsAsStep() const override { return true; }
    bool affectsAllLayers() const override { return true; }
    bool execute() override;
    // Body: width, height, int32 each.
    void write(io::BinaryWriter& out) const override;
    void read(io::BinaryReader& in) override;

    int32_t width = 0, height = 0;

private:
    Canvas& canvas_;
    MultiLayeredImage& layers_;
};
