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
// reason is printed once). Needs a current context.
GLuint interfaceTexture(const std::string& name);
// Deletes every cached texture (before the context goes away, and in tests).
void releaseInterfaceTextures();
