#pragma once
// Small pictures of the layers for the layers panel, made on the card.
//
// Each thumbnail is a texture of its own, drawn from the layer's pixels by an
// area-weighted box filter (every thumbnail pixel is the mean of the canvas
// pixels it covers, partly covered ones by their share), so it is not aliased
// however large the canvas. It is made again only when the content it shows
// changed: a layer's texture and the current surface carry content revisions
// (nextContentRevision), and a thumbnail remembers the revision it was made
// from. A frame of an unchanged panel therefore reads no layer at all; the
// current layer, drawn from the current surface, is drawn again after each
// write of the surface (a merged stroke, a fill), so strokes show as they land,
// and only over the thumbnail pixels that cover the canvas tiles written since
// (Canvas::takeThumbnailChanges): an erase stroke, merged at every frame,
// costs its own area and not the layer's.
//
// Thumbnails are keyed by Layer::id; entries of layers that are gone are
// freed by prune(). GL thread only.
#include <GL/glew.h>

#include <cstdint>
#include <map>

#include "canvas/Framebuffer.h"
#include "core/PixelRegion.h"

class Canvas;
class MultiLayeredImage;

class LayerThumbnails {
public:
    // The texture showing layer `index` at width x height pixels (premultiplied
    // RGBA), made or made again when needed; 0 for a layer that holds no
    // pixels yet (it is transparent) or without framebuffer objects.
    GLuint texture(Canvas& canvas, const MultiLayeredImage& layers, int index, int width, int height);
    // Frees the entries of layers no longer in the list.
    void prune(const MultiLayeredImage& layers);
    // The canvas was made anew: every thumbnail is of the old picture and size.
    void canvasCreated();
    // Frees every texture (exit, tests).
    void clear();

    // How many thumbnails were drawn from layer pixels so far (for tests and
    // the bench: an unchanged frame adds none).
    uint64_t renders = 0;
    // Thumbnail pixels drawn so far (a partial update draws fewer than all).
    uint64_t pixelsDrawn = 0;

private:
    struct Entry {
        Framebuffer target;
        uint64_t revision = 0; // content revision it shows
        bool made = false;
        // Made from the current surface, whose changes since then the canvas
        // has kept: a partial update is enough.
        bool fromSurface = false;
    };
    // Draws `source` (sourceWidth x sourceHeight) box-filtered into the entry;
    // with `changes`, only over the thumbnail pixels that cover them.
    bool render(Entry& entry, GLuint source, int sourceWidth, int sourceHeight, const PixelRegion* changes);

    std::map<int32_t, Entry> entries_; // by layer id
};

// The application's thumbnails (one panel shows them).
extern LayerThumbnails gLayerThumbnails;
