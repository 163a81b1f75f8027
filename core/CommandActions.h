#pragma once
// What the commands and the built-in keys do.
#include <cstdint>

class Camera;
class Canvas;
class PaintingApplication;
class Painter;
struct RenderArea;

namespace commands {

// size times factor, at least one more than size, at most maximum.
int increasedBrushSize(int size, float factor, int maximum);
// size divided by factor, at least 1.
int decreasedBrushSize(int size, float factor);

// The zoom in percent that a camera height gives in a render area of height h.
int zoomPercentForHeight(float renderHeight, float cameraHeight);

// History steps made by keys: each action is added and executed at once,
// with its notification. Each returns 1.
int addNewLayer(PaintingApplication& app);
// Only when the current layer isn't the bottom one and both are visible.
int mergeLayerDown(PaintingApplication& app);
int flipCanvas(PaintingApplication& app);
int fillCanvas(PaintingApplication& app);
// Next layer, modulo the count; nothing with one layer.
int cycleLayers(PaintingApplication& app);
int toggleLayerVisibility(PaintingApplication& app);

// Undo and redo of the history; both rest while the transform tool holds a
// picture (tool 7). False when nothing happened.
bool undoLastStep(PaintingApplication& app);
bool redoLastStep(PaintingApplication& app);

// The perspective key: clears the grid's flag if set; sets it when the tool
// is current; otherwise makes the tool current.
void togglePerspective(PaintingApplication& app, Painter& painter);

} // namespace commands
