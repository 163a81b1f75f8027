#include <gtest/gtest.h>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "core/Globals.h"
#include "history/History.h"
#include "support/GlTestContext.h"

namespace {
class CanvasGlTest : public GlTest {};

void expectSurface(const Framebuffer& fb, int w, int h) {
    EXPECT_NE(fb.textureId, 0u);
    EXPECT_EQ(fb.width, w);
    EXPECT_EQ(fb.height, h);
    EXPECT_NE(fb.renderbufferId, 0u) << "every surface has a depth buffer";
    GLint tw = 0, th = 0;
    glBindTexture(GL_TEXTURE_2D, fb.textureId);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &tw);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &th);
    glBindTexture(GL_TEXTURE_2D, 0);
    EXPECT_EQ(tw, w);
    EXPECT_EQ(th, h);
}
} // namespace

// A resize makes all six surfaces anew at the new size, resets the layers to
// one and derives the largest brush from the longer side.
TEST_F(CanvasGlTest, ResizeMakesSixSurfacesOfTheNewSize) {
    Canvas canvas(1024, 768);
    MultiLayeredImage layers;
    History history{&canvas, layers};
    canvas.attach(&history, nullptr);
    for (auto [w, h] : {std::pair{64, 48}, std::pair{301, 17}, std::pair{1024, 768}}) {
        canvas.resize(w, h, layers);
        EXPECT_EQ(canvas.width, w);
        EXPECT_EQ(canvas.height, h);
        for (const Framebuffer* fb : {&canvas.strokeBuffer, &canvas.rawStrokeBuffer, &canvas.layerSurface[0],
                                      &canvas.layerSurface[1], &canvas.selectionMask, &canvas.eraseBackup})
            expectSurface(*fb, w, h);
        EXPECT_EQ(canvas.currentSurface, 0);
        EXPECT_EQ(layers.count(), 1);
        EXPECT_EQ(layers.layers[0].width, w);
        EXPECT_EQ(gMaxBrushSize, 2 * std::max(w, h));
    }
    // The surfaces hold what is drawn into them, independently of each other.
    canvas.clearCurrentSurface(1, 0, 0, 1);
    canvas.clearStrokeBuffer();
    const std::vector<uint8_t> layer = readFramebuffer(canvas.currentLayerSurface());
    const std::vector<uint8_t> stroke = readFramebuffer(canvas.strokeBuffer);
    EXPECT_EQ(layer[0], 255);
    EXPECT_EQ(layer[3], 255);
    EXPECT_EQ(stroke[0], 0);
    EXPECT_EQ(stroke[3], 0);
    canvas.freeSurfaces();
    EXPECT_FALSE(canvas.hasSurfaces());
}

// Brush and eraser keep separate settings across switches.
TEST(CanvasBrushSlots, BrushAndEraserKeepTheirOwnSettings) {
    Canvas canvas(10, 10);
    canvas.brush.size = 30;
    canvas.brush.opacity = 0.8f;
    canvas.toolBrushes[0].size = 12; // the eraser's settings
    canvas.selectBrushSlot(2);
    EXPECT_EQ(canvas.brush.mode, 2);
    EXPECT_EQ(canvas.brush.size, 12);
    canvas.brush.size = 15; // the user changes the eraser
    canvas.selectBrushSlot(2); // no change when already erasing
    EXPECT_EQ(canvas.brush.size, 15);
    canvas.selectBrushSlot(1);
    EXPECT_EQ(canvas.brush.mode, 1);
    EXPECT_EQ(canvas.brush.size, 30);
    EXPECT_FLOAT_EQ(canvas.brush.opacity, 0.8f);
    canvas.selectBrushSlot(2);
    EXPECT_EQ(canvas.brush.size, 15);
}
