#pragma once
// The program's own document (gCanvas, gLayers, gHistory, gPainter, gCamera)
// made fresh for a GL test that drives tools as the running program does.

// A width x height canvas cleared to rgba with one layer and an empty history,
// seen from `distance` in a render area of areaWidth x areaHeight (from 150 in
// 400 x 300: one window pixel a canvas pixel, the canvas centre at the area's
// centre), no view rotation, tool mode with the brush current, no keys held.
void resetProgramDocument(int width, int height, const float rgba[4] = nullptr, int areaWidth = 400,
                          int areaHeight = 300, float distance = 150);
