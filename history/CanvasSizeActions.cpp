#include "history/CanvasSizeActions.h"

#include "io/BinaryStream.h"

bool ImageCropAction::execute() {
    // The crop tool completes this (new canvas of the size, each layer drawn
    // rotated about the centre). Until then the picture is left alone.
    (void)canvas_;
    (void)layers_;
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
    // The crop tool's "resize" completes this (each layer stretched over the
    // new surface, linear filter). Until then the picture is left alone.
    (void)canvas_;
    (void)layers_;
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
