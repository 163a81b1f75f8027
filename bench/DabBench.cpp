// Dab throughput against libmypaint, stroke latency and the end-of-stroke
// composite.
#include "bench/DabBench.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

extern "C" {
#include <mypaint-fixed-tiled-surface.h>
#include <mypaint-surface.h>
}

#include "bench/BenchSupport.h"
#include "brush/BrushTips.h"
#include "brush/StrokeBuilder.h"
#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Projection.h"
#include "canvas/StrokeRenderer.h"
#include "canvas/TipTextures.h"
#include "history/BrushStrokeAction.h"
#include "history/History.h"
#include "platform/Paths.h"
#include "platform/Random.h"

namespace bench {
namespace {

constexpr int kCanvas = 2048;

// A zigzag across the canvas, sampled every few pixels as a fast hand would.
std::vector<math::Vec2> zigzag(int samples, float margin) {
    std::vector<math::Vec2> path;
    const float span = kCanvas - 2 * margin;
    for (int i = 0; i < samples; ++i) {
        const float t = static_cast<float>(i) / samples;
        const float x = margin + std::fmod(t * 7.0f, 1.0f) * span;
        const float y = margin + t * span;
        path.push_back({x, y});
    }
    return path;
}

// The dabs the brush engine makes along the path, as the stamper gets them.
std::vector<brush::Dab> dabsFor(const Brush& b, const BrushTipTable& tips, size_t wanted) {
    kwSrand(1);
    brush::StrokeBuilder builder;
    builder.setTipFactorLookup([&tips](int32_t i) { return tips.factors(i); });
    brush::StrokeInput in;
    in.color = {0.2f, 0.3f, 0.8f};
    const float margin = std::min(b.size * 0.6f, kCanvas / 4.0f);
    std::vector<brush::Dab> dabs;
    int samples = 200;
    while (dabs.size() < wanted && samples < 2000000) {
        const std::vector<math::Vec2> path = zigzag(samples, margin);
        std::unique_ptr<BrushStrokeAction> action = builder.beginStroke(path[0], b, in);
        for (size_t i = 1; i < path.size(); ++i) builder.continueStroke(path[i], in);
        builder.endStroke(in);
        builder.takeDabsToFlush();
        builder.frameDone(true);
        dabs = action->replayDabs(tips.factors(b.tipIndex));
        samples *= 4;
    }
    if (dabs.size() > wanted) dabs.resize(wanted);
    return dabs;
}

double stampSeconds(Canvas& canvas, const Brush& b, const std::vector<brush::Dab>& dabs,
                    const BrushTipTable& tips) {
    canvas.clearStrokeBuffer();
    glFinish();
    const Clock::time_point start = Clock::now();
    canvas.strokeBuffer.bind(GL_DRAW_FRAMEBUFFER);
    {
        CanvasProjection projection(canvas.width, canvas.height);
        stampDabs(b, dabs, tips);
    }
    canvas.strokeBuffer.unbind();
    glFinish();
    return secondsSince(start);
}

// The same dabs through libmypaint's tiled surface: round dabs of the same
// centre, radius, hardness and flow.
double mypaintSeconds(const std::vector<brush::Dab>& dabs) {
    MyPaintFixedTiledSurface* surface = mypaint_fixed_tiled_surface_new(kCanvas, kCanvas);
    MyPaintSurface* s = reinterpret_cast<MyPaintSurface*>(surface);
    const Clock::time_point start = Clock::now();
    mypaint_surface_begin_atomic(s);
    for (const brush::Dab& d : dabs) {
        const float radius = d.kind == brush::DabKind::Textured || d.kind == brush::DabKind::TexturedDry
                                 ? std::max(d.halfWidth, d.halfHeight)
                                 : d.radius;
        mypaint_surface_draw_dab(s, d.center.x, d.center.y, radius, d.color[0], d.color[1], d.color[2], d.color[3],
                                 d.hardness, 1.0f, 1.0f, d.angle, 0.0f, 0.0f);
    }
    MyPaintRectangle roi{};
    mypaint_surface_end_atomic(s, &roi);
    const double seconds = secondsSince(start);
    mypaint_surface_unref(s);
    return seconds;
}

} // namespace

void runDabBenchmarks(const std::vector<int>& sizes) {
    Canvas canvas(kCanvas, kCanvas);
    MultiLayeredImage layers;
    History history(&canvas, layers);
    BrushTipTable tips;
    tips.build(platform::dataDir() + "/brushes", "/nonexistent");
    uploadTipTextures(tips);
    canvas.attach(&history, &tips);
    canvas.resize(kCanvas, kCanvas, layers);
    const int textured = tips.findFolderTip("plaster");

    for (int tip : {0, textured}) {
        if (tip < 0) continue;
        for (int size : sizes) {
            for (bool jitter : {false, true}) {
                Brush b;
                b.size = size;
                b.tipIndex = tip;
                b.hardness = tip == 0 ? 0.7f : 1.0f;
                if (jitter) {
                    b.size_jitter = 30;
                    b.opacity_jitter = 30;
                    b.scattering = 0.5f;
                    b.angle_randomness = 60;
                }
                // Enough dabs for a stable figure, fewer for large ones.
                const size_t wanted = size <= 8 ? 40000 : size <= 32 ? 20000 : size <= 128 ? 4000 : 600;
                const std::vector<brush::Dab> dabs = dabsFor(b, tips, wanted);
                stampSeconds(canvas, b, std::vector<brush::Dab>(dabs.begin(), dabs.begin() + std::min<size_t>(dabs.size(), 50)), tips);
                const double ours = stampSeconds(canvas, b, dabs, tips);
                const double peer = mypaintSeconds(dabs);
                const std::string name = std::string("dabs.") + (tip == 0 ? "round" : "textured") + "." +
                                         std::to_string(size) + (jitter ? ".jitter" : "");
                figure(name, dabs.size() / ours, "dabs/s");
                figure(name + ".mypaint", dabs.size() / peer, "dabs/s");
                figure(name + ".ratio", peer / ours, "x");
            }
        }
    }
    canvas.freeSurfaces();
}

void runStrokeLatency() {
    Canvas canvas(1024, 1024);
    MultiLayeredImage layers;
    History history(&canvas, layers);
    canvas.attach(&history, nullptr);
    canvas.resize(1024, 1024, layers);
    canvas.clearCurrentSurface(0, 0, 0, 0);
    canvas.brush.size = 64;
    // 2,000 points of a fast stroke arriving 20 to a frame.
    const std::vector<math::Vec2> path = [] {
        std::vector<math::Vec2> p;
        for (int i = 0; i < 2000; ++i)
            p.push_back({512 + 400 * std::cos(i * 0.01f), 512 + 400 * std::sin(i * 0.013f)});
        return p;
    }();
    double worst = 0, total = 0;
    int frames = 0;
    canvas.beginStroke(path[0].x, path[0].y);
    for (size_t i = 1; i < path.size(); i += 20) {
        const Clock::time_point start = Clock::now();
        for (size_t k = i; k < std::min(path.size(), i + 20); ++k) canvas.continueStroke(path[k].x, path[k].y);
        canvas.flushPendingDabs();
        glFinish();
        const double s = secondsSince(start);
        worst = std::max(worst, s);
        total += s;
        ++frames;
    }
    canvas.endStroke();
    figure("stroke.latency.mean", total / frames * 1000, "ms");
    figure("stroke.latency.max", worst * 1000, "ms");
    canvas.freeSurfaces();
}

void runCompositeTimes(const std::vector<std::pair<int, int>>& sizes) {
    for (auto [w, h] : sizes) {
        Canvas canvas(w, h);
        MultiLayeredImage layers;
        History history(&canvas, layers);
        canvas.attach(&history, nullptr);
        canvas.resize(w, h, layers);
        canvas.clearCurrentSurface(0, 0, 0, 0);
        const std::string size = std::to_string(w) + "x" + std::to_string(h);
        // A 200 x 200 pixel stroke in the middle: one dab of that size.
        Brush b;
        b.size = 200;
        const BrushStrokePoint point({w * 0.5f, h * 0.5f}, 1.0f, 1.0f, false, 0.0f);
        const std::vector<brush::Dab> dabs{brush::makeDab(point, b, {})};
        for (bool limited : {false, true}) {
            canvas.limitPassesToChanges = limited;
            canvas.prepareStroke(b, {w * 0.5f, h * 0.5f});
            canvas.renderDabs(b, dabs);
            canvas.compositeStroke(b, {0.2f, 0.4f, 0.6f});  // the pair now differs in the stroke alone
            glFinish();
            double best = 1e9;
            for (int i = 0; i < 3; ++i) {
                const Clock::time_point start = Clock::now();
                canvas.compositeStroke(b, {0.2f, 0.4f, 0.6f});
                glFinish();
                best = std::min(best, secondsSince(start));
            }
            // Whole-surface passes as the baseline, then the passes limited to the stroke.
            figure(std::string("composite.") + (limited ? "stroke200." : "full.") + size, best * 1000, "ms");
        }
        canvas.freeSurfaces();
    }
}

} // namespace bench
