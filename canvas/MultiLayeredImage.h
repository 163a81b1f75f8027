#pragma once
// The stack of layers. Index 0 is the bottom layer. The current layer's pixels
// live in the canvas's surface pair; every other layer is a plain texture.
#include <GL/glew.h>

#include <vector>

struct Layer {
    int id = 0;
    bool visible = true;
    int opacity = 100;   // percent
    int blendMode = 0;   // 0 normal, 1 multiply
    GLuint texture = 0;  // stale for the current layer until the canvas stores it
    int width = 0, height = 0;

    // Uploads premultiplied RGBA pixels (bottom row first), creating the texture on first use.
    void setPixels(int w, int h, const unsigned char* pixels);
};

class MultiLayeredImage {
public:
    // Back to one empty layer of the given size.
    void reset(int width, int height);

    Layer& currentLayer() { return layers[static_cast<size_t>(current)]; }
    int count() const { return static_cast<int>(layers.size()); }

    std::vector<Layer> layers{Layer{}};
    int current = 0;
    int nextId = 1;
};
