#pragma once
// The picture as one flat image for "save image": composed on the card and
// read back in canvas form (premultiplied RGBA, row 0 at the bottom).
// Needs the canvas surfaces and a current GL context; changes no layer,
// no surface and no index of the canvas.
#include <cstdint>
#include <string>
#include <vector>

class Canvas;
class MultiLayeredImage;
struct Framebuffer;

// JPEG and BMP files hold no alpha: their flat image is composed over opaque black.
bool flatImageKeepsAlpha(const std::string& path);

// keepAlpha: one layer gives the current surface as it is; more are merged
// down from the top as the layer merge does it (hidden layers count with
// opacity 0, blend modes play no part). Without alpha: every visible layer
// is drawn bottom to top over opaque black with its blend mode and opacity,
// as the frame draws it. Empty on failure.
std::vector<uint8_t> flatImagePixels(Canvas& canvas, const MultiLayeredImage& layers, bool keepAlpha);

// Every visible layer bottom to top over an opaque background colour, with
// its blend mode and opacity, as the frame draws it, into `target` (a
// surface of canvas size). The video export's frames and the flat image
// without alpha. Only the layers from `first` up to, not including, `last`
// (-1: all); with a `base` texture of canvas size, that picture is copied in
// first instead of the clear, so that the layers below a cached composition
// need not be drawn again: the result is the same bytes. `alpha` is the
// background's (the bucket fill samples the layers over transparent black).
void composeLayersOver(Canvas& canvas, const MultiLayeredImage& layers, Framebuffer& target, float red, float green,
                       float blue, int first = 0, int last = -1, unsigned base = 0, float alpha = 1.0f);
