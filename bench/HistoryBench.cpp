// Undo at its worst and the snapshot, on a large layered picture.
#include "bench/HistoryBench.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>

#include "bench/BenchSupport.h"
#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "history/BrushStrokeAction.h"
#include "history/History.h"
#include "history/LayerListAction.h"

namespace bench {

void runUndoBenchmark(int side, int layerCount) {
    Canvas canvas(side, side);
    MultiLayeredImage layers;
    History history(&canvas, layers);
    canvas.attach(&history, nullptr);
    setDabSink(&canvas);
    if (!history.reinitialize(side, side)) return;
    history.runQueuedActions();
    auto perform = [&history](std::unique_ptr<HistoryAction> action) {
        HistoryAction& a = *action;
        history.add(std::move(action), false);
        a.execute();
    };
    for (int i = 1; i < layerCount; ++i) perform(std::make_unique<NewLayerAction>(canvas, layers));
    // Strokes across the picture, each a few hundred dabs.
    for (int s = 0; s < 70; ++s) {
        Brush b;
        b.size = 40 + s % 50;
        auto stroke = std::make_unique<BrushStrokeAction>(b, brush::Rgb{0.1f * (s % 10), 0.5f, 0.3f});
        for (int i = 0; i < 300; ++i) {
            const float t = i / 300.0f;
            stroke->appendPoint(std::make_unique<BrushStrokePoint>(
                math::Vec2{side * t, side * (0.5f + 0.4f * std::sin(t * 6.0f + s))}, 1.0f, 1.0f, false, 0.0f));
        }
        perform(std::move(stroke));
    }
    glFinish();
    double worst = 0;
    for (int i = 0; i < 30; ++i) {
        const Clock::time_point start = Clock::now();
        if (!history.undo()) break;
        history.replayIfPending();
        glFinish();
        worst = std::max(worst, secondsSince(start));
    }
    figure("undo.worst." + std::to_string(side) + "x" + std::to_string(side) + "." + std::to_string(layerCount) +
               "layers",
           worst * 1000, "ms");
    const Clock::time_point start = Clock::now();
    history.takeSnapshot(true);
    glFinish();
    figure("snapshot." + std::to_string(side) + "x" + std::to_string(side) + "." + std::to_string(layerCount) +
               "layers",
           secondsSince(start) * 1000, "ms");
    figure("memory.peak.after_undo", peakResidentMiB(), "MiB");
    history.freeSnapshots();
    setDabSink(nullptr);
    canvas.freeSurfaces();
}

} // namespace bench
