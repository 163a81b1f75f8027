#pragma once
// Textures of the interface images in "<data>/interface/", loaded on first
// use and kept for the life of the GL context. Rows are turned bottom-up on
// load (texture row 0 is the bottom of the picture); alpha stays straight,
// since the interface blends with source alpha.
#include <GL/glew.h>

#include <cstdint>
#include <string>
#include <vector>

// Decoded RGBA, rows bottom-up. Empty (width 0) when the file is missing or
// damaged; `error` then says why.
struct InterfaceImage {
    int32_t width = 0, height = 0;
    std::vector<uint8_t> rgba;
    std::string error;
};
InterfaceImage loadInterfaceImage(const std::string& path);

// Texture name of "<data>/interface/<name>", 0 when it can't be loaded (the
// reason is printed once). At a GuiScale of 1.5 or more the image drawn at
// twice the size, "<stem>@2x.png", is taken when it exists, so the interface
// stays sharp on dense screens; it has the same layout in twice the pixels.
// Needs a current context.
GLuint interfaceTexture(const std::string& name);
// The file name interfaceTexture reads for `name` at an interface scale:
// "<stem>@2x<ext>" when the scale is 1.5 or more and that file is in `dir`,
// else `name` itself.
std::string scaledImageName(const std::string& dir, const std::string& name, float scale);
// Texture rectangle of a cell of an icon atlas. Rows count from the bottom of
// the picture, as the texture holds it.
struct AtlasRect {
    float u0 = 0, v0 = 0, u1 = 0, v1 = 0;
};
AtlasRect atlasCellRect(int column, int row, int atlasWidth, int atlasHeight, int cellPixels = 32);
// The tool bar atlas "toolbar.png" (or its 2x form, as above) and the
// rectangle of one of its cells, 32 pixels in "toolbar.png", 64 in the 2x
// atlas: the same rectangle either way. Loaded on first use; an empty
// rectangle when the atlas is missing.
GLuint toolbarTexture();
AtlasRect toolbarCell(int column, int row);

// Deletes every cached texture (before the context goes away, and in tests).
void releaseInterfaceTextures();
