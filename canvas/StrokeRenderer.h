#pragma once
// Stamps dabs into a stroke buffer and merges a stroke buffer into a layer
// surface. The caller binds the target and sets a canvas projection; these
// functions set and restore the GL state they need.
#include <span>

#include "brush/ColorSpace.h"
#include "brush/Dab.h"
#include "core/PixelRegion.h"

struct Brush;
class BrushTipTable;

// Round dabs go to GL many to a draw; OneByOne draws each on its own through
// the uniform programs, the reference the batches are tested against.
enum class DabDrawing { Batched, OneByOne };

// Draws the dabs in order with the blend state the brush asks for.
void stampDabs(const Brush& brush, std::span<const brush::Dab> dabs, const BrushTipTable& tips,
               DabDrawing drawing = DabDrawing::Batched);

// Draws the merge of `strokeTexture` over `canvasTexture` over the region of
// the surface with blending off, so the result replaces the bound target
// there. The program follows the brush: erase, smoothed, per-dab colours or plain.
void drawStrokeComposite(const Brush& brush, brush::Rgb color, unsigned strokeTexture, unsigned canvasTexture,
                         const PixelRegion& region);

// The live preview of the stroke over its layer, in the current projection:
// the same formulas as the merge, times the layer opacity, without writing the layer.
void drawStrokePreview(const Brush& brush, brush::Rgb color, unsigned strokeTexture, unsigned layerTexture,
                       float layerOpacity, float zoom, float x, float y, float width, float height);
