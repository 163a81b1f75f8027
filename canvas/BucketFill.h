#pragma once
// The bucket fill on the card's pixels: the search itself is core/Flood.
#include "core/Flood.h"

class Canvas;
class MultiLayeredImage;

// Reads back the current layer, or (sampleAllLayers) every visible layer
// composed as the window shows them over transparent black, searches from
// the seed and lays the result over the current layer like a finished
// stroke (cut by the selection when one is in force). False, with nothing
// changed, when the canvas has no surfaces or the memory is not there.
bool runBucketFill(Canvas& canvas, const MultiLayeredImage& layers, const flood::Params& params,
                   bool sampleAllLayers);
