// Crop and resize of the whole picture: the pixels that land on the new
// canvas (against CPU references written here from the geometry, not from
// the code under test), the layer list that survives, and the tools that
// hear of the new size.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/PaintingApplication.h"
#include "history/CanvasSizeActions.h"
#include "history/History.h"
#include "history/LayerListAction.h"
#include "history/LayerPropertyAction.h"
#include "support/GlTestContext.h"
#include "tools/CropTool.h"
#include "tools/SelectionTool.h"

namespace {

using Pixels = std::vector<uint8_t>;

const uint8_t* pixelAt(const Pixels& px, int width, int x, int y) {
    return px.data() + (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 4;
}

class CanvasSize : public GlTest {
protected:
    static constexpr int kW = 40, kH = 30;
    void SetUp() override {
        GlTest::SetUp();
        canvas.resize(kW, kH, layers);
        canvas.clearCurrentSurface(0, 0, 0, 0);
    }
    void TearDown() override {
        layers.reset(1);
        canvas.freeSurfaces();
        GlTest::TearDown();
    }
    // A pattern into the current surface; returned for the expectations.
    Pixels paint(uint32_t seed) {
        const Pixels px = premultipliedPattern(canvas.width, canvas.height, seed);
        glBindTexture(GL_TEXTURE_2D, canvas.currentLayerSurface().textureId);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, canvas.width, canvas.height, GL_RGBA, GL_UNSIGNED_BYTE, px.data());
        glBindTexture(GL_TEXTURE_2D, 0);
        canvas.currentSurfaceChangedEverywhere();
        return px;
    }
    Pixels surface() { return readTexture(canvas.currentLayerSurface().textureId, canvas.width, canvas.height); }
    // Any layer's pixels: the current one from the surface.
    Pixels layerPixels(int index) {
        if (index == layers.current) return surface();
        return readTexture(layers.at(index).textureId, canvas.width, canvas.height);
    }

    // Crop with nearest texels, from the geometry: the new canvas is the old
    // one turned by `angle` about `centre` (counter-clockwise, y up, as the
    // camera's matrix turns canvas vectors onto the screen), `centre` moved
    // to the middle of the new canvas. So a new pixel centre n comes from the
    // old point R(-angle) (n - S/2) + centre. Returns for each new pixel the
    // old texel, or -1 where it falls off the old canvas; `safe` marks the
    // pixels whose old point is at least `margin` texels from a texel edge.
    struct Source {
        int x = -1, y = -1;
        bool safe = false;
    };
    static std::vector<Source> cropSources(int oldW, int oldH, float cx, float cy, int newW, int newH, float angle,
                                           float margin) {
        const double r = angle / 57.29577951308232;
        const double c = std::cos(r), s = std::sin(r);
        std::vector<Source> out(static_cast<size_t>(newW) * static_cast<size_t>(newH));
        for (int j = 0; j < newH; ++j)
            for (int i = 0; i < newW; ++i) {
                const double dx = i + 0.5 - newW / 2.0, dy = j + 0.5 - newH / 2.0;
                const double ox = c * dx + s * dy + cx, oy = -s * dx + c * dy + cy;
                Source& src = out[static_cast<size_t>(j) * newW + i];
                const double fx = ox - std::floor(ox), fy = oy - std::floor(oy);
                src.safe = fx > margin && fx < 1 - margin && fy > margin && fy < 1 - margin;
                if (ox < 0 || oy < 0 || ox >= oldW || oy >= oldH) {
                    // Off the old canvas: transparent, and safe only well away from its border.
                    src.safe = src.safe && (ox < -margin || oy < -margin || ox > oldW + margin || oy > oldH + margin);
                    continue;
                }
                src.x = static_cast<int>(std::floor(ox));
                src.y = static_cast<int>(std::floor(oy));
            }
        return out;
    }

    // Counts mismatches against the crop reference over the safe pixels, and how many were checked.
    static int cropMismatches(const Pixels& result, const Pixels& source, int oldW, int oldH, float cx, float cy,
                              int newW, int newH, float angle, int& checked) {
        const std::vector<Source> sources = cropSources(oldW, oldH, cx, cy, newW, newH, angle, 0.05f);
        int bad = 0;
        checked = 0;
        for (int j = 0; j < newH; ++j)
            for (int i = 0; i < newW; ++i) {
                const Source& src = sources[static_cast<size_t>(j) * newW + i];
                if (!src.safe) continue;
                ++checked;
                const uint8_t zero[4] = {0, 0, 0, 0};
                const uint8_t* want = src.x < 0 ? zero : pixelAt(source, oldW, src.x, src.y);
                const uint8_t* got = pixelAt(result, newW, i, j);
                if (!std::equal(want, want + 4, got)) ++bad;
            }
        return bad;
    }

    // GL_LINEAR over a stretched quad, edges clamped: the sample point of new
    // pixel i is (i + 0.5) * old / new - 0.5 texels, blended from its two
    // neighbours on each axis.
    static Pixels bilinearReference(const Pixels& source, int oldW, int oldH, int newW, int newH) {
        Pixels out(static_cast<size_t>(newW) * static_cast<size_t>(newH) * 4);
        for (int j = 0; j < newH; ++j)
            for (int i = 0; i < newW; ++i) {
                const double u = (i + 0.5) * oldW / newW - 0.5, v = (j + 0.5) * oldH / newH - 0.5;
                const int x0 = static_cast<int>(std::floor(u)), y0 = static_cast<int>(std::floor(v));
                const double fx = u - x0, fy = v - y0;
                auto at = [&](int x, int y, int ch) {
                    x = std::clamp(x, 0, oldW - 1);
                    y = std::clamp(y, 0, oldH - 1);
                    return static_cast<double>(pixelAt(source, oldW, x, y)[ch]);
                };
                for (int ch = 0; ch < 4; ++ch) {
                    const double top = at(x0, y0, ch) * (1 - fx) + at(x0 + 1, y0, ch) * fx;
                    const double bottom = at(x0, y0 + 1, ch) * (1 - fx) + at(x0 + 1, y0 + 1, ch) * fx;
                    out[(static_cast<size_t>(j) * newW + i) * 4 + ch] =
                        static_cast<uint8_t>(std::lround(top * (1 - fy) + bottom * fy));
                }
            }
        return out;
    }

    static int largestDifference(const Pixels& a, const Pixels& b) {
        if (a.size() != b.size()) return 256;
        int worst = 0;
        for (size_t k = 0; k < a.size(); ++k) worst = std::max(worst, std::abs(int(a[k]) - int(b[k])));
        return worst;
    }

    void crop(float cx, float cy, int w, int h, float angle) {
        ImageCropAction action(canvas, layers);
        action.centreX = cx;
        action.centreY = cy;
        action.width = static_cast<float>(w);
        action.height = static_cast<float>(h);
        action.rotation = angle;
        ASSERT_TRUE(action.execute());
    }

    Canvas canvas{kW, kH};
    MultiLayeredImage layers;
};

} // namespace

TEST_F(CanvasSize, CropUnturnedKeepsTheRectangleAtItsOffset) {
    const Pixels source = paint(11);
    // Corners (5, 7) and (25, 22): 20 x 15 pixels from (5, 7).
    crop(15.0f, 14.5f, 20, 15, 0.0f);
    ASSERT_EQ(canvas.width, 20);
    ASSERT_EQ(canvas.height, 15);
    const Pixels result = surface();
    ASSERT_EQ(result.size(), size_t(20 * 15 * 4));
    int bad = 0;
    for (int j = 0; j < 15; ++j)
        for (int i = 0; i < 20; ++i)
            if (!std::equal(pixelAt(result, 20, i, j), pixelAt(result, 20, i, j) + 4, pixelAt(source, kW, 5 + i, 7 + j)))
                ++bad;
    EXPECT_EQ(bad, 0);
}

TEST_F(CanvasSize, CropAtAQuarterTurnTakesTheTurnedRectangle) {
    const Pixels source = paint(12);
    // 16 x 10 about (20, 15), turned 90 degrees: the old x runs along the new y.
    crop(20.0f, 15.0f, 16, 10, 90.0f);
    ASSERT_EQ(canvas.width, 16);
    ASSERT_EQ(canvas.height, 10);
    const Pixels result = surface();
    // Hand-worked: new (i, j) comes from old (j + 15, 22 - i) (R(-90) of the offset from the middle).
    int bad = 0;
    for (int j = 0; j < 10; ++j)
        for (int i = 0; i < 16; ++i)
            if (!std::equal(pixelAt(result, 16, i, j), pixelAt(result, 16, i, j) + 4,
                            pixelAt(source, kW, j + 15, 22 - i)))
                ++bad;
    EXPECT_EQ(bad, 0);
    int checked = 0;
    EXPECT_EQ(cropMismatches(result, source, kW, kH, 20.0f, 15.0f, 16, 10, 90.0f, checked), 0);
    EXPECT_EQ(checked, 160);
}

TEST_F(CanvasSize, CropAtAnOddAngleMatchesTheGeometryAwayFromTexelEdges) {
    const Pixels source = paint(13);
    // Larger than the turned canvas covers, so transparent corners come in too.
    crop(19.3f, 14.6f, 36, 28, 33.0f);
    ASSERT_EQ(canvas.width, 36);
    ASSERT_EQ(canvas.height, 28);
    const Pixels result = surface();
    int checked = 0;
    EXPECT_EQ(cropMismatches(result, source, kW, kH, 19.3f, 14.6f, 36, 28, 33.0f, checked), 0);
    EXPECT_GT(checked, 36 * 28 / 2);
    // Some corner of the new canvas lies off the old one and is transparent.
    EXPECT_EQ(pixelAt(result, 36, 0, 0)[3], 0);
}

TEST_F(CanvasSize, ResizeUpAndDownFollowsBilinearSampling) {
    const Pixels source = paint(14);
    ImageResizeAction up(canvas, layers);
    up.width = 67;
    up.height = 51;
    ASSERT_TRUE(up.execute());
    ASSERT_EQ(canvas.width, 67);
    ASSERT_EQ(canvas.height, 51);
    const Pixels bigger = surface();
    EXPECT_LE(largestDifference(bigger, bilinearReference(source, kW, kH, 67, 51)), 2);

    ImageResizeAction down(canvas, layers);
    down.width = 23;
    down.height = 17;
    ASSERT_TRUE(down.execute());
    const Pixels smaller = surface();
    EXPECT_LE(largestDifference(smaller, bilinearReference(bigger, 67, 51, 23, 17)), 2);
}

TEST_F(CanvasSize, LayersAndTheirPropertiesSurviveCropAndResize) {
    const Pixels bottom = paint(21);
    NewLayerAction(canvas, layers).execute();
    const Pixels middle = paint(22);
    LayerVisibilityToggleAction(canvas, layers).execute();
    NewLayerAction(canvas, layers).execute();
    const Pixels top = paint(23);
    LayerOpacityChangeAction(canvas, layers, 40).execute();
    layers.at(2).blendMode = 1;
    LayerChangeAction(canvas, layers, 1).execute();
    layers.modificationCount = 7;
    const std::vector<int> ids = {layers.at(0).id, layers.at(1).id, layers.at(2).id};
    const int nextId = layers.nextId;

    crop(15.0f, 14.5f, 20, 15, 0.0f);
    ASSERT_EQ(layers.count(), 3);
    EXPECT_EQ(layers.current, 1);
    EXPECT_EQ(layers.nextId, nextId);
    EXPECT_EQ(layers.modificationCount, 7);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(layers.at(i).id, ids[static_cast<size_t>(i)]);
    EXPECT_TRUE(layers.at(0).visible);
    EXPECT_FALSE(layers.at(1).visible);
    EXPECT_EQ(layers.at(2).opacity, 40);
    EXPECT_EQ(layers.at(2).blendMode, 1);
    const Pixels* sources[3] = {&bottom, &middle, &top};
    for (int layer = 0; layer < 3; ++layer) {
        const Pixels got = layerPixels(layer);
        ASSERT_EQ(got.size(), size_t(20 * 15 * 4)) << "layer " << layer;
        int bad = 0;
        for (int j = 0; j < 15; ++j)
            for (int i = 0; i < 20; ++i)
                if (!std::equal(pixelAt(got, 20, i, j), pixelAt(got, 20, i, j) + 4,
                                pixelAt(*sources[layer], kW, 5 + i, 7 + j)))
                    ++bad;
        EXPECT_EQ(bad, 0) << "layer " << layer;
    }

    ImageResizeAction resize(canvas, layers);
    resize.width = 10;
    resize.height = 30;
    ASSERT_TRUE(resize.execute());
    ASSERT_EQ(layers.count(), 3);
    EXPECT_EQ(layers.current, 1);
    EXPECT_FALSE(layers.at(1).visible);
    EXPECT_EQ(layers.at(2).opacity, 40);
    for (int layer = 0; layer < 3; ++layer) EXPECT_EQ(layerPixels(layer).size(), size_t(10 * 30 * 4));
    // The layers differ after the resize as before it.
    EXPECT_NE(layerPixels(0), layerPixels(2));
}

TEST_F(CanvasSize, EmptyOrHostileSizesLeaveThePictureAlone) {
    const Pixels source = paint(31);
    crop(10, 10, 0, 5, 0);
    ImageResizeAction none(canvas, layers);
    none.width = 0;
    none.height = 12;
    none.execute();
    crop(10, 10, 20, 20, NAN);
    EXPECT_EQ(canvas.width, kW);
    EXPECT_EQ(canvas.height, kH);
    EXPECT_EQ(surface(), source);
}

// The application's own canvas: every size change reaches the tools.
TEST_F(CanvasSize, ToolsHearTheNewSizeWhoeverMakesIt) {
    const int startWidth = gCanvas.width, startHeight = gCanvas.height;
    gCanvas.resize(64, 48, gLayers);
    gCanvas.clearCurrentSurface(0, 0, 0, 0);
    auto& cropTool = static_cast<CropTool&>(*gPainter.tools[CropTool::kIndex]);
    auto& selection = static_cast<SelectionTool&>(*gPainter.tools[6]);
    cropTool.state = 3;
    cropTool.firstCorner = {4, 4};
    cropTool.secondCorner = {30, 20};
    cropTool.cropSize = {26, 16};
    selection.points = {{1, 1}, {10, 1}};
    gCanvas.setSelection({{2, 2}, {40, 2}, {40, 30}});
    ASSERT_TRUE(gCanvas.selectionActive);

    ImageResizeAction resize(gCanvas, gLayers);
    resize.width = 50;
    resize.height = 20;
    ASSERT_TRUE(resize.execute());
    EXPECT_EQ(cropTool.state, 0);
    EXPECT_FLOAT_EQ(cropTool.cropSize.x, 50.0f);
    EXPECT_FLOAT_EQ(cropTool.cropSize.y, 20.0f);
    EXPECT_TRUE(selection.points.empty());
    EXPECT_FALSE(gCanvas.selectionActive);

    // An undo across the size change (a snapshot of the other size) is heard too.
    cropTool.state = 1;
    gCanvas.resize(64, 48, gLayers);
    EXPECT_EQ(cropTool.state, 0);
    EXPECT_FLOAT_EQ(cropTool.cropSize.x, 64.0f);
    gCanvas.freeSurfaces();
    gCanvas.width = startWidth;
    gCanvas.height = startHeight;
    gLayers.reset(startWidth, startHeight);
}
