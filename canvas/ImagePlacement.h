#pragma once
// Floating images (the paste) on the card: their texture, the shrink before
// they are stored, and their placing on a new layer. Pixels are BGR or BGRA
// (3 or 4 bytes a pixel), rows bottom-up, premultiplied.
#include <GL/glew.h>

#include <cstdint>
#include <vector>

#include "core/Math.h"

class Canvas;
class MultiLayeredImage;

// A new texture of the image: filters linear, wrap clamp, RGB or RGBA inside.
// 0 when the size or the byte count is wrong.
GLuint makeFloatingTexture(int32_t width, int32_t height, int32_t bytesPerPixel, const uint8_t* pixels,
                           size_t byteCount);

// The texture drawn into a target x target framebuffer with blending off and
// read back in the layout of bytesPerPixel; empty on failure.
std::vector<uint8_t> renderImageAtSize(GLuint texture, int32_t targetWidth, int32_t targetHeight,
                                       int32_t bytesPerPixel);

// Executes a new layer (not recorded: the paste stands for it), then draws
// the texture with linear filters into the rectangle centre -+ size / 2,
// turned by `rotation` degrees about the centre, replacing what is there.
bool placeImage(Canvas& canvas, MultiLayeredImage& layers, GLuint texture, math::Vec2 centre, math::Vec2 size,
                float rotation);
