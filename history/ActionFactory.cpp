#include "history/ActionFactory.h"

#include "history/BrushStrokeAction.h"
#include "history/CanvasSizeActions.h"
#include "history/FillActions.h"
#include "history/ImageActions.h"
#include "history/LayerListAction.h"
#include "history/SelectionActions.h"

std::unique_ptr<HistoryAction> makeAction(int32_t type, const ActionContext& c) {
    if (auto canvasOrLayer = makeCanvasLayerAction(type, c.canvas, c.layers)) return canvasOrLayer;
    switch (type) {
    case EnableSelectionAction::kTypeCode: return std::make_unique<EnableSelectionAction>(c.canvas);
    case DisableSelectionAction::kTypeCode: return std::make_unique<DisableSelectionAction>(c.canvas);
    case ImageLoadAction::kTypeCode:
        return std::make_unique<ImageLoadAction>(c.canvas, c.initialWidth, c.initialHeight);
    case ImageCropAction::kTypeCode: return std::make_unique<ImageCropAction>(c.canvas, c.layers);
    case BrushStrokeAction::kTypeCode: return std::make_unique<BrushStrokeAction>();
    case MultiLayeredImageLoadAction::kTypeCode:
        return std::make_unique<MultiLayeredImageLoadAction>(c.canvas, c.layers);
    case ImagePasteAction::kTypeCode: return std::make_unique<ImagePasteAction>(c.canvas, c.layers);
    case ImageResizeAction::kTypeCode: return std::make_unique<ImageResizeAction>(c.canvas, c.layers);
    case GradientFillAction::kTypeCode: return std::make_unique<GradientFillAction>(c.canvas);
    case BucketFillAction::kTypeCode: return std::make_unique<BucketFillAction>(c.canvas, c.layers);
    case ImageCutAction::kTypeCode: return std::make_unique<ImageCutAction>(c.canvas);
    default: return nullptr;
    }
}

const char* actionTypeName(int32_t type) {
    static constexpr const char* kNames[] = {
        "",                            // 0: old stroke record
        "",                            // 1: brush change record
        "CanvasFillAction",            "CanvasFlipAction",
        "NewLayerAction",              "LayerChangeAction",
        "EnableSelectionAction",       "DisableSelectionAction",
        "DeleteLayerAction",           "LayerMoveAction",
        "LayerFlipAction",             "LayerMergeDownAction",
        "LayerVisibilityToggleAction", "ImageLoadAction",
        "LayerOpacityChangeAction",    "ImageCropAction",
        "BrushStrokeAction",           "MultiLayeredImageLoadAction",
        "ImagePasteAction",            "ImageResizeAction",
        "GradientFillAction",          "BucketFillAction",
        "",                            // 22: no class
        "ImageCutAction",
    };
    if (type < 0 || type > kLastActionType) return "";
    return kNames[type];
}
