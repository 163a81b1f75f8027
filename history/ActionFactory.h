#pragma once
// The catalogue of actions by type code: makes the empty action that a
// reader fills. Codes 0 and 1 (old stroke records), 22 and anything above
// 23 have no class.
#include <cstdint>
#include <memory>

#include "history/HistoryAction.h"

class Canvas;
class MultiLayeredImage;

// What the actions work on; not stored, given again by the reader.
struct ActionContext {
    Canvas& canvas;
    MultiLayeredImage& layers;
    // The process's initial size: the pixel count of an ImageLoadAction body.
    int32_t initialWidth = 0, initialHeight = 0;
};

// The highest type code with a class.
inline constexpr int32_t kLastActionType = 23;

// An empty action of the type, ready for read(); a BrushStrokeAction (16) must
// be read through its tip-map reader. Null for codes without a class.
std::unique_ptr<HistoryAction> makeAction(int32_t type, const ActionContext& context);

// The class name of a type code, "" for codes without a class.
const char* actionTypeName(int32_t type);
