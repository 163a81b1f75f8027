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
    // Strokes across the picture until a snapshot was just taken: the next
    // undo then lies behind it, falls back to the older snapshot and executes
    // every later action again, the slowest undo there is.
    int s = 0;
    do {
        Brush b;
        b.size = 40 + s % 50;
        auto stroke = std::make_unique<BrushStrokeAction>(b, brush::Rgb{0.1f * (s % 10), 0.5f, 0.3f});
        for (int i = 0; i < 300; ++i) {
            const float t = i / 300.0f;
            stroke->appendPoint(std::make_unique<BrushStrokePoint>(
                math::Vec2{side * t, side * (0.5f + 0.4f * std::sin(t * 6.0f + s))}, 1.0f, 1.0f, false, 0.0f));
        }
        perform(std::move(stroke));
        ++s;
    } while (history.actionCount() < 40 || history.stepsSinceSnapshot != 0);
    glFinish();
    const std::string name = std::to_string(side) + "x" + std::to_string(side) + "." + std::to_string(layerCount) + "layers";
    Clock::time_point start = Clock::now();
    if (history.undo()) {
        history.replayIfPending();
        glFinish();
        const double seconds = secondsSince(start);
        const int32_t from = history.snapshot(history.activeSnapshot).actionIndex;
        figure("undo.worst." + name, seconds * 1000, "ms");
        figure("undo.worst." + name + ".reexecuted", static_cast<double>(history.actionCount()) - from, "actions");
    }
    // One stroke on one layer of five since the snapshot: the restore puts
    // back that layer alone.
    history.takeSnapshot(true);
    {
        Brush b;
        b.size = 60;
        auto stroke = std::make_unique<BrushStrokeAction>(b, brush::Rgb{0.9f, 0.1f, 0.1f});
        for (int i = 0; i < 100; ++i)
            stroke->appendPoint(std::make_unique<BrushStrokePoint>(math::Vec2{side * 0.3f + i * 5.0f, side * 0.3f},
                                                                   1.0f, 1.0f, false, 0.0f));
        perform(std::move(stroke));
    }
    glFinish();
    start = Clock::now();
    history.restoreSnapshot();
    glFinish();
    figure("restore.one_changed_of." + name, secondsSince(start) * 1000, "ms");

    // Every layer changed: the snapshot reads all of them back.
    layers.markAllChanged();
    start = Clock::now();
    history.takeSnapshot(true);
    glFinish();
    figure("snapshot." + name, secondsSince(start) * 1000, "ms");
    figure("memory.peak.undo", peakResidentMiB(), "MiB");
    history.freeSnapshots();
    setDabSink(nullptr);
    canvas.freeSurfaces();
}

} // namespace bench
