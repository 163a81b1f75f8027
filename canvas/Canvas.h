#pragma once
// The picture on the graphics card: the six surfaces, the active brush, the
// current colour and the stroke in progress. Knows nothing of the window.
// Only the current layer is a render target: it lives in a pair of surfaces
// used in turn, and every change writes the other one and flips.
#include <array>

#include "canvas/Framebuffer.h"

class BrushStrokeAction;
class MultiLayeredImage;

class Canvas {
public:
    Canvas(int width, int height) : width(width), height(height) {}

    // Makes all six surfaces anew for a canvas of this size and resets the
    // layer list to one layer. The caller resets the history.
    void resize(int newWidth, int newHeight, MultiLayeredImage& layers);
    // Frees the surfaces (exit, resize).
    void freeSurfaces();
    bool hasSurfaces() const { return surfacesMade; }

    // Clears the stroke buffer in use to transparent black.
    void clearStrokeBuffer();
    // Clears the current layer surface to a colour (premultiplied).
    void clearCurrentSurface(float r, float g, float b, float a);
    // Reads the current surface back into the current layer's texture.
    void saveCurrentLayer(MultiLayeredImage& layers);
    // Draws a texture 1:1 into the current surface, replacing it.
    void loadSurface(GLuint texture, bool keepFilter);
    void resetStrokeState();
    bool strokeInProgress() const { return currentAction != nullptr; }

    Framebuffer& currentLayerSurface() { return layerSurface[static_cast<size_t>(currentSurface)]; }
    Framebuffer& otherLayerSurface() { return layerSurface[static_cast<size_t>(1 - currentSurface)]; }

    float color[3] = {0, 0, 0};
    float colorHsv[3] = {0, 0, 0};
    bool firstDabPending = false, strokeEnded = false, strokeDirty = false;
    BrushStrokeAction* currentAction = nullptr; // the stroke in progress; the history owns it
    bool selectionActive = false;
    int currentSurface = 0;
    Framebuffer strokeBuffer;
    Framebuffer rawStrokeBuffer;
    std::array<Framebuffer, 2> layerSurface;
    Framebuffer selectionMask;
    Framebuffer eraseBackup;
    bool pictureMirrored = false;
    int width, height;

private:
    bool surfacesMade = false;
};
