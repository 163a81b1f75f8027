#include "bench/PanelBench.h"

#include <GL/glew.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "brush/Brush.h"
#include "brush/Dab.h"
#include "brush/StrokePoint.h"
#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/LayerThumbnails.h"
#include "canvas/MultiLayeredImage.h"
#include "history/History.h"
#include "ui/LayersPanel.h"
#include "widgets/DrawHelpers.h"

namespace bench {

namespace {
constexpr int kWindowW = 1024, kWindowH = 768;

// Best of `runs` timings of `work`, each ended by glFinish, in milliseconds.
template <typename Work> double bestMs(int runs, Work work) {
    double best = 1e9;
    for (int i = 0; i < runs; ++i) {
        const Clock::time_point start = Clock::now();
        work();
        glFinish();
        best = std::min(best, secondsSince(start));
    }
    return best * 1000;
}
} // namespace

void runLayersPanel(int side, int count, int frames) {
    Canvas canvas(side, side);
    MultiLayeredImage layers;
    History history(&canvas, layers);
    canvas.attach(&history, nullptr);
    canvas.resize(side, side, layers);
    // Every layer holds pixels of its own (a clear of a different colour).
    for (int i = 0; i < count; ++i) {
        if (i > 0) layerops::newLayer(canvas, layers);
        const float v = static_cast<float>(i + 1) / static_cast<float>(count + 1);
        canvas.clearCurrentSurface(v * 0.5f, 0.2f * v, 0.5f - 0.4f * v, 0.5f + 0.4f * v);
    }
    glFinish();
    const std::string name = "layers_panel." + std::to_string(count) + "x" + std::to_string(side);
    figure(name + ".layers_resident", residentMiB(), "MiB");

    // The window the frame draws into.
    Framebuffer window(kWindowW, kWindowH);
    window.create(false, false);
    auto panel = std::make_shared<LayersWidget>(&layers, &canvas);
    panel->relX = static_cast<float>(kWindowW - 90);
    panel->relY = 55;
    // Tall enough to show every row: the worst case for a frame.
    panel->list->height = static_cast<float>(count * panel->list->itemSize() + 10);
    panel->update(20, 0, 0);
    auto frame = [&] {
        window.bind(GL_DRAW_FRAMEBUFFER);
        glPushAttrib(GL_VIEWPORT_BIT);
        glViewport(0, 0, kWindowW, kWindowH);
        pushOrtho(kWindowW, kWindowH);
        panel->update(20, 0, 0);
        panel->draw(1.0f);
        popOrtho();
        glPopAttrib();
        window.unbind();
    };

    // Physical baselines: a glFinish round trip, and one textured quad over
    // the whole window (the least any frame that shows a picture costs).
    const double finishMs = bestMs(20, [] {});
    GLuint texture = canvas.currentLayerSurface().textureId;
    const double quadMs = bestMs(20, [&] {
        window.bind(GL_DRAW_FRAMEBUFFER);
        glPushAttrib(GL_VIEWPORT_BIT | GL_ENABLE_BIT | GL_TEXTURE_BIT);
        glViewport(0, 0, kWindowW, kWindowH);
        pushOrtho(kWindowW, kWindowH);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        drawTexturedQuad(0.0f, 0.0f, static_cast<float>(kWindowW), static_cast<float>(kWindowH));
        glBindTexture(GL_TEXTURE_2D, 0);
        popOrtho();
        glPopAttrib();
        window.unbind();
    });
    figure("layers_panel.baseline.glfinish", finishMs, "ms");
    figure("layers_panel.baseline.fullscreen_quad", quadMs, "ms");

    // The first frame makes every thumbnail.
    const uint64_t rendersBefore = gLayerThumbnails.renders;
    const double firstMs = bestMs(1, frame);
    figure(name + ".first_frame", firstMs, "ms");
    figure(name + ".first_frame.thumbnails_made", static_cast<double>(gLayerThumbnails.renders - rendersBefore),
           "count");
    // Unchanged frames read no layer.
    const uint64_t steadyBefore = gLayerThumbnails.renders;
    const double steadyMs = bestMs(frames, frame);
    figure(name + ".frame", steadyMs, "ms");
    figure(name + ".frame.thumbnails_made", static_cast<double>(gLayerThumbnails.renders - steadyBefore), "count");
    figure(name + ".frame_over_fullscreen_quad", steadyMs / quadMs, "ratio");
    // A write of the current layer (as a merged stroke): its thumbnail alone is made again.
    const double afterWriteMs = bestMs(3, [&] {
        canvas.clearCurrentSurface(0.1f, 0.1f, 0.1f, 0.3f);
        frame();
    });
    figure(name + ".frame_after_current_layer_write", afterWriteMs, "ms");
    // A stroke of 200 pixels merged into the current layer: the thumbnail is
    // drawn again over the tiles the merge wrote.
    Brush brush;
    brush.size = 200;
    const BrushStrokePoint point({side * 0.5f, side * 0.5f}, 1.0f, 1.0f, false, 0.0f);
    const std::vector<brush::Dab> dabs{brush::makeDab(point, brush, {})};
    const uint64_t pixelsBefore = gLayerThumbnails.pixelsDrawn;
    const double strokeMs = bestMs(3, [&] {
        canvas.prepareStroke(brush, {side * 0.5f, side * 0.5f});
        canvas.renderDabs(brush, dabs);
        canvas.compositeStroke(brush, {0.2f, 0.4f, 0.6f});
    });
    const double strokeAndFrameMs = bestMs(3, [&] {
        canvas.prepareStroke(brush, {side * 0.5f, side * 0.5f});
        canvas.renderDabs(brush, dabs);
        canvas.compositeStroke(brush, {0.2f, 0.4f, 0.6f});
        frame();
    });
    figure(name + ".stroke200_merge", strokeMs, "ms");
    figure(name + ".stroke200_merge_and_frame", strokeAndFrameMs, "ms");
    figure(name + ".stroke200.thumbnail_pixels_drawn",
           static_cast<double>(gLayerThumbnails.pixelsDrawn - pixelsBefore) / 3.0, "count");
    // What a frame that read every layer back would pay, per layer.
    const double readbackMs = bestMs(1, [&] { (void)readTexture(layers.at(0).textureId, side, side); });
    figure(name + ".readback_one_layer", readbackMs, "ms");

    panel.reset();
    gLayerThumbnails.clear();
    window.destroy();
    canvas.freeSurfaces();
    layers.reset(1);
}

} // namespace bench
