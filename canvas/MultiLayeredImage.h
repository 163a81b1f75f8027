#pragma once
// The stack of layers. Index 0 is the bottom layer. The current layer's pixels
// live in the canvas's surface pair; every other layer is a plain texture.
// There is always at least one layer; all layers have the canvas size.
#include <GL/glew.h>

#include <cstdint>
#include <vector>

class Canvas;

// A number for new pixel content, never handed out twice in a process: a
// layer texture or surface with the same number holds the same pixels.
uint64_t nextContentRevision();

// One layer. Owns its texture name (deleted with the record), so the record
// is move-only; a moved-from record holds no texture.
struct Layer {
    GLuint textureId = 0; // pixels while not current; 0 until first stored
    int32_t opacity = 100; // percent, 0 to 100
    int32_t blendMode = 0; // 0 normal, 1 multiply
    int32_t id = 0;        // never reused within a list
    bool visible = true;
    // cachedPixels is valid only while this is false (see History snapshots).
    bool changedSinceSnapshot = true;
    // The snapshot's copy of this layer (width * height * 4 bytes); not owning.
    const uint8_t* cachedPixels = nullptr;
    int32_t width = 0, height = 0;
    // Which content the texture holds (0: none yet). Every write of the
    // texture takes a new number; restores skip layers whose number matches.
    uint64_t revision = 0;

    Layer() = default;
    ~Layer() { deleteTexture(); }
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;
    Layer(Layer&& other) noexcept;
    Layer& operator=(Layer&& other) noexcept;

    // Uploads premultiplied RGBA pixels (bottom row first), creating the
    // texture on first use or when the size changed.
    void setPixels(int w, int h, const unsigned char* pixels);
    // Makes the texture of this size if it has none or another size; the
    // content is then undefined and the revision 0.
    void ensureTexture(int w, int h);
    // Skips names that are not textures (a layer never stored).
    void deleteTexture();
    void markChanged() {
        changedSinceSnapshot = true;
        cachedPixels = nullptr;
    }
};

class MultiLayeredImage {
public:
    MultiLayeredImage() { appendLayer(); }

    // Deletes every layer with its texture; nextId and modificationCount
    // become 0; makes `count` default layers (one when 0); current is 0.
    // The surface is not touched.
    void reset(int count);
    // Stores the size, then reset(1): what a canvas resize does.
    void reset(int newWidth, int newHeight);
    // Deep copy: size, nextId, current, per-layer flags and textures read
    // back and uploaded anew. The source's current layer must be stored.
    void copyFrom(const MultiLayeredImage& other);

    // Appends a default layer with the next id; returns it.
    Layer& appendLayer();
    void markAllChanged();
    void markCurrentChanged() { currentLayer().markChanged(); }

    Layer& currentLayer() { return layers[static_cast<size_t>(current)]; }
    const Layer& currentLayer() const { return layers[static_cast<size_t>(current)]; }
    Layer& at(int index) { return layers[static_cast<size_t>(index)]; }
    int count() const { return static_cast<int>(layers.size()); }

    std::vector<Layer> layers;
    int32_t current = 0;
    int32_t nextId = 0;
    // Steps changed since the last load or save; non-zero means unsaved work.
    int32_t modificationCount = 0;
    int32_t width = 0, height = 0;
};

// The primitive layer operations on the canvas surfaces. Each is what one
// history action executes; callers outside the history go through the
// actions so that the change can be undone and replayed. GL thread only.
namespace layerops {

// Stores the current layer, appends a transparent layer on top, makes it current.
// False (and nothing added) at the layer limit, kwformat::kMaxLayers.
bool newLayer(Canvas& canvas, MultiLayeredImage& layers);
// Stores the current layer and loads layer `index` into the surface.
// An index outside the list changes nothing and returns false.
bool changeLayer(Canvas& canvas, MultiLayeredImage& layers, int index);
// Refused (false, nothing changed) when only one layer exists.
bool deleteCurrentLayer(Canvas& canvas, MultiLayeredImage& layers);
// Composes the current layer over the one below into the other surface;
// refused (false) at the bottom layer. Blend modes play no part.
bool mergeDown(Canvas& canvas, MultiLayeredImage& layers);
// Moves the current layer in front of the layer that stood at `position`
// before the removal (the count: on top). The surface is not touched.
void moveCurrentLayer(MultiLayeredImage& layers, int position);
// Mirrors the current surface left to right.
void flipCurrentLayer(Canvas& canvas);
// Mirrors every layer left to right (the current one through its surface).
void flipAllLayers(Canvas& canvas, MultiLayeredImage& layers);

// A new canvas size for the whole picture, every layer redrawn onto it and
// the list kept: order, ids, names' ids, opacity, visibility, blend mode and
// the current index. The canvas is made anew (Canvas::resize, so the tools
// hear of it); modificationCount is kept.
// Scaled: each layer stretched over the new size, linear filter, edges clamped.
void resizeLayersScaled(Canvas& canvas, MultiLayeredImage& layers, int newWidth, int newHeight);
// Transformed: the old canvas point `centre` lands in the middle of the new
// canvas, the picture turned by `angleDegrees` about it (counter-clockwise,
// as the view turns it); nearest texels, uncovered pixels transparent.
void resizeLayersTransformed(Canvas& canvas, MultiLayeredImage& layers, float centreX, float centreY, int newWidth,
                             int newHeight, float angleDegrees);

} // namespace layerops
