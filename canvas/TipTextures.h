#pragma once
class BrushTipTable;

// Makes a GL texture for every tip that has pixels and none yet. Folder tips
// are sampled with nearest filters, tips that came with a process with linear ones.
void uploadTipTextures(BrushTipTable& tips);

// Fills the tip table from the factory and user folders and uploads it.
void loadBrushTips(BrushTipTable& tips);
