#pragma once
#include <cstdint>

class BrushTipTable;

// One tip texture from its RGBA pixels (rows bottom-up). Folder tips are
// sampled with nearest filters and clamped; tips that came with a process
// use linear filters and repeat. Returns the GL name.
uint32_t makeTipTexture(int32_t width, int32_t height, const uint8_t* pixels, bool linear);

// Makes a GL texture for every tip that has pixels and none yet. Folder tips
// are sampled with nearest filters, tips that came with a process with linear ones.
void uploadTipTextures(BrushTipTable& tips);

// Fills the tip table from the factory and user folders and uploads it.
void loadBrushTips(BrushTipTable& tips);
