#pragma once
// The stroke in progress, without GL: input samples in, finished points out.
// The canvas owns one and forwards beginStroke/continueStroke/holdStroke/
// endStroke to it; once a frame it takes the pending dabs and stamps them.
//
//   state    | currentAction | strokeEnded | begin     | continue, hold | end      | composite
//   idle     | none          | false       | stroking  | nothing        | nothing  |
//   stroking | the action    | false       | restarts  | adds points    | ended    |
//   ended    | none          | true        | nothing   | nothing        | nothing  | idle
//
// All randomness (scatter, angle, size, opacity, colour jitter) is drawn from
// kwRand here, while the stroke is made; the points hold the results.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "brush/Brush.h"
#include "brush/ColorSpace.h"
#include "brush/Dab.h"
#include "brush/PointMaker.h"
#include "brush/StrokeGeometry.h"
#include "brush/StrokePoint.h"
#include "core/Math.h"

class BrushStrokeAction;

namespace brush {

// What a stroke reads from the rest of the program at each call.
struct StrokeInput {
    float pressure = 1.0f;                 // the current pressure, 0..1 (1 for a mouse)
    bool penActive = false;                // straight pieces face the sample direction
    math::Vec2 meanDirection{1.0f, 0.0f};  // else the pointer's mean motion direction
    Rgb color;                             // the current colour...
    Hsv colorHsv;                          // ...and the same as hue, saturation, value
    MirrorSettings mirror;                 // filled from the mirror tool
};

class StrokeBuilder {
public:
    using TipFactorLookup = std::function<TipFactors(int32_t tipIndex)>;

    // Width factors of textured brushes; without a lookup all factors are 1.
    void setTipFactorLookup(TipFactorLookup lookup) { tipFactors_ = std::move(lookup); }

    // Starts a stroke with a copy of brush and the input's colour and records
    // its first point. The caller adds the action to the history at once and
    // keeps it alive for the whole stroke. Null while an ended stroke waits
    // for its composite.
    std::unique_ptr<BrushStrokeAction> beginStroke(math::Vec2 position, const Brush& brush,
                                                   const StrokeInput& in);
    void continueStroke(math::Vec2 position, const StrokeInput& in);
    // One more dab where the pointer rests, facing the last motion.
    void holdStroke(math::Vec2 position, const StrokeInput& in);
    void endStroke(const StrokeInput& in);

    // The frame's flush: the dabs to stamp now, in order, or none when too
    // few are pending (more than 0 for round brushes, more than 1 for
    // textured ones, whose first dab has no direction and is skipped).
    // Empties the pending list, clears firstDabPending, sets strokeDirty.
    std::vector<Dab> takeDabsToFlush();
    // True when the frame must merge the stroke buffer into the layer.
    bool compositeDue(bool replayPending, int32_t activeMode) const;
    // After the frame: a composite clears strokeEnded and strokeDirty;
    // without one an ended, clean stroke just becomes idle.
    void frameDone(bool composited);
    // Replay prepares the surfaces as a stroke begins: the window restarts here.
    void resetWindow(math::Vec2 position, float pressure);
    // A replay or blank reset drops what has not been drawn yet.
    void clearPendingDabs() { pendingDabs_.clear(); }

    bool strokeInProgress() const { return currentAction_ != nullptr; }
    bool strokeEnded() const { return strokeEnded_; }
    bool firstDabPending() const { return firstDabPending_; }
    bool strokeDirty() const { return strokeDirty_; }
    BrushStrokeAction* currentAction() const { return currentAction_; }
    // The brush and colour of the stroke in progress or the last one: the
    // end-of-stroke merge uses these, whatever the canvas's brush is by then.
    const Brush& strokeBrush() const { return brush_; }
    Rgb strokeColor() const { return color_; }
    const StrokeSample& lastSample() const { return lastSample_; }
    const StrokeSample& sampleBefore() const { return sampleBefore_; }
    int32_t openSegments() const { return openSegments_; }
    const std::vector<BrushStrokePoint>& pendingDabs() const { return pendingDabs_; }

private:
    TipFactors tipFactors(int32_t tipIndex) const;
    float baseStep() const;
    void closeOpenCurve(const StrokeInput& in);
    void strokeStraight(StrokeSample& a, StrokeSample& b, const StrokeInput& in);
    void strokeCurve(StrokeSample& a, StrokeSample& b, const StrokeSample& d, const StrokeInput& in);
    void placeDabs(const std::vector<math::Vec2>& positions, const std::vector<float>& angles,
                   float p0, float p1, float scatterSize, const StrokeInput& in);
    void addPoint(math::Vec2 position, float pressure, float angle, const StrokeInput& in);

    TipFactorLookup tipFactors_;
    StrokeSample lastSample_, sampleBefore_;
    int32_t openSegments_ = 0;
    BrushStrokeAction* currentAction_ = nullptr;  // owned by the history
    Brush brush_;  // the brush of the current or last stroke
    Rgb color_;    // and its colour
    std::vector<BrushStrokePoint> pendingDabs_;  // copies of points not drawn yet
    bool firstDabPending_ = false;
    bool strokeEnded_ = false;
    bool strokeDirty_ = false;
};

} // namespace brush
