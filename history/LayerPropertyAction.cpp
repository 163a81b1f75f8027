#include "history/LayerPropertyAction.h"

#include <algorithm>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "io/BinaryStream.h"

bool LayerFlipAction::execute() {
    layerops::flipCurrentLayer(canvas_);
    return true;
}

bool LayerVisibilityToggleAction::execute() {
    Layer& layer = layers_.currentLayer();
    layer.visible = !layer.visible;
    return true;
}

bool LayerOpacityChangeAction::execute() {
    layers_.currentLayer().opacity = std::clamp(opacity_, 0, 100);
    return true;
}

void LayerOpacityChangeAction::write(io::BinaryWriter& out) const { out.i32(opacity_); }
void LayerOpacityChangeAction::read(io::BinaryReader& in) { in.i32(opacity_); }
