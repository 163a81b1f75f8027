#pragma once
// The long-lived objects of the program, made at static initialisation and
// reachable from every subsystem. They live for the whole process.
class PaintingApplication;
class Camera;
struct RenderArea;
class Canvas;
class MultiLayeredImage;
class Painter;
class History;
class BrushTipTable;
class BrushPresetManager;

extern PaintingApplication* gApp;
extern Camera& gCamera;
extern RenderArea& gRenderArea;
extern Canvas& gCanvas;
extern MultiLayeredImage& gLayers;
extern Painter& gPainter;
extern History& gHistory;
extern BrushTipTable& gBrushTips;
extern BrushPresetManager& gBrushPresets;

// 1.0, or the window's DPI / 96. Widget sizes are given at 96 dpi and scaled by it.
extern float GuiScale;
// Interface tint of every dialog and panel.
extern float gGuiColor[4];
// Largest brush size; twice the longer canvas side after each resize.
extern int gMaxBrushSize;
