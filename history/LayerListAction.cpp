#include "history/LayerListAction.h"

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "history/CanvasFillAction.h"
#include "history/CanvasFlipAction.h"
#include "history/LayerPropertyAction.h"
#include "io/BinaryStream.h"

bool NewLayerAction::execute() { return layerops::newLayer(canvas_, layers_); }

bool LayerChangeAction::execute() {
    layerops::changeLayer(canvas_, layers_, target_);
    return true;
}

void LayerChangeAction::write(io::BinaryWriter& out) const { out.i32(target_); }
void LayerChangeAction::read(io::BinaryReader& in) { in.i32(target_); }

bool DeleteLayerAction::execute() { return layerops::deleteCurrentLayer(canvas_, layers_); }

bool LayerMoveAction::execute() {
    layerops::moveCurrentLayer(layers_, position_);
    return true;
}

void LayerMoveAction::write(io::BinaryWriter& out) const { out.i32(position_); }
void LayerMoveAction::read(io::BinaryReader& in) { in.i32(position_); }

bool LayerMergeDownAction::execute() { return layerops::mergeDown(canvas_, layers_); }

std::unique_ptr<HistoryAction> makeCanvasLayerAction(int32_t type, Canvas& canvas, MultiLayeredImage& layers) {
    switch (type) {
    case CanvasFillAction::kTypeCode: return std::make_unique<CanvasFillAction>(canvas);
    case CanvasFlipAction::kTypeCode: return std::make_unique<CanvasFlipAction>(canvas, layers);
    case NewLayerAction::kTypeCode: return std::make_unique<NewLayerAction>(canvas, layers);
    case LayerChangeAction::kTypeCode: return std::make_unique<LayerChangeAction>(canvas, layers);
    case DeleteLayerAction::kTypeCode: return std::make_unique<DeleteLayerAction>(canvas, layers);
    case LayerMoveAction::kTypeCode: return std::make_unique<LayerMoveAction>(canvas, layers);
    case LayerFlipAction::kTypeCode: return std::make_unique<LayerFlipAction>(canvas, layers);
    case LayerMergeDownAction::kTypeCode: return std::make_unique<LayerMergeDownAction>(canvas, layers);
    case LayerVisibilityToggleAction::kTypeCode:
        return std::make_unique<LayerVisibilityToggleAction>(canvas, layers);
    case LayerOpacityChangeAction::kTypeCode: return std::make_unique<LayerOpacityChangeAction>(canvas, layers);
    default: return nullptr;
    }
}
