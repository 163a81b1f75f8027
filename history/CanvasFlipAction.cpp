#include "history/CanvasFlipAction.h"

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"

bool CanvasFlipAction::execute() {
    canvas_.pictureMirrored = !canvas_.pictureMirrored;
    layerops::flipAllLayers(canvas_, layers_);
    return true;
}

void CanvasFlipAction::undo() { canvas_.pictureMirrored = !canvas_.pictureMirrored; }
