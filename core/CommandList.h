#pragma once
// The program's commands: the four state commands that hold an interaction
// mode while their keys are down, the application commands run for keys no
// listener consumed, and the painter's canvas commands. Also the built-in
// keys, which can't be rebound.
//
// Ownership: the application holds stateCommands and applicationCommands,
// the painter holds commands. createCommands deletes and remakes all three.
#include <cstdint>
#include <memory>
#include <vector>

#include "core/Command.h"
#include "core/KeyNames.h"

class Canvas;
class PaintingApplication;
class Painter;
struct InputState;

namespace commands {

using CommandList = std::vector<std::unique_ptr<Command>>;

// Ids: key hashes of the identifiers of the command names.
inline constexpr int32_t kNewImage = keys::keyHash("NEW_IMAGE");
inline constexpr int32_t kShowHelp = keys::keyHash("SHOW_HELP");
inline constexpr int32_t kShowSettings = keys::keyHash("SHOW_SETTINGS");
inline constexpr int32_t kToggleReferenceView = keys::keyHash("TOGGLE_REFVIEW");
inline constexpr int32_t kNewLayer = keys::keyHash("NEW_LAYER");
inline constexpr int32_t kLayerMerge = keys::keyHash("LAYER_MERGE");
inline constexpr int32_t kFlipCanvas = keys::keyHash("FLIP_CANVAS");
inline constexpr int32_t kFitToWindow = keys::keyHash("FIT_TO_WINDOW_ZOOM");
inline constexpr int32_t kZoom100 = keys::keyHash("ACTUAL_PIXELS_ZOOM");
inline constexpr int32_t kFill = keys::keyHash("CANVAS_FILL");
inline constexpr int32_t kBucketFill = keys::keyHash("BUCKET_FILL");
inline constexpr int32_t kGradient = keys::keyHash("GRADIENT_FILL");
inline constexpr int32_t kMirror = keys::keyHash("MIRROR");
inline constexpr int32_t kZoomIn = keys::keyHash("ZOOM_IN");
inline constexpr int32_t kZoomOut = keys::keyHash("ZOOM_OUT");
inline constexpr int32_t kDecrBrushSize = keys::keyHash("DECR_BRUSH_SIZE");
inline constexpr int32_t kIncrBrushSize = keys::keyHash("INCR_BRUSH_SIZE");
inline constexpr int32_t kPanning = keys::keyHash("PANNING");
inline constexpr int32_t kPicking = keys::keyHash("PICKING");
inline constexpr int32_t kRotation = keys::keyHash("ROTATION");
inline constexpr int32_t kLockInteraction = keys::keyHash("LOCK_INTERACTION");

// The lists with their default bindings; nothing is read from the settings.
CommandList makeStateCommands(PaintingApplication& app);
CommandList makeApplicationCommands(PaintingApplication& app, Painter& painter);
CommandList makeCanvasCommands(Painter& painter);

// Makes all three lists anew and loads the stored bindings of the
// application and canvas commands (state commands aren't rebindable).
void createCommands(PaintingApplication& app, Painter& painter);

// Runs every command of the list that matches code; the sum of the results.
int runMatching(const CommandList& list, int32_t code);

// The tick's part: unless the pointer is over the interface, the modifier
// mask (with Shift) goes to the state commands and, if none matches, the
// mode returns to tool mode; the axis lock rests when it's no longer used.
// A mode other than tool mode ends a stroke in progress.
void offerModifierMask(PaintingApplication& app, InputState& input, Canvas& canvas);

// A key that no listener consumed: the built-in keys, then every matching
// application command.
void runUnconsumedKey(PaintingApplication& app, Painter& painter, int32_t code);
// The built-in keys alone. True when code is one of them.
bool runBuiltInKey(PaintingApplication& app, Painter& painter, int32_t code);

} // namespace commands
