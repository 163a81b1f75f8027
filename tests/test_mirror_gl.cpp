// The mirror in the program: strokes painted on the application's canvas
// while the mirror tool is in force get its copies (positions worked out by
// hand), the copies are stored points that replay without the tool, a new
// canvas switches the mirror off, and the tool bar button's rules.
#include <gtest/gtest.h>


#include <algorithm>
#include <cmath>
#include <filesystem>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/InteractionMode.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "history/Replay.h"
#include "io/DrawingProcess.h"
#include "io/LayeredFile.h"
#include "platform/Random.h"
#include "support/GlTestContext.h"
#include "support/ProgramDocument.h"
#include "test_process_document.h"
#include "tools/MirrorTool.h"
#include "tools/ToolPanel.h"
#include "ui/Interface.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Slider.h"
#include "widgets/Widget.h"

namespace {
constexpr int kW = 200, kH = 160;

MirrorTool& mirror() { return static_cast<MirrorTool&>(*gPainter.tools[MirrorTool::kIndex]); }

class MirrorGl : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        resetProgramDocument(kW, kH);
        gApp->previousToolIndex = 1;
        gCurrentPressure = 1.0f;
        gCanvas.brush = Brush{};
        gCanvas.brush.size = 6;
        gCanvas.setColor({0.8f, 0.1f, 0.2f});
        setDabSink(&gCanvas);
    }
    void TearDown() override {
        gPainter.selectTool(1);
        mirror().onCanvasCreated(kW, kH);
        setDabSink(nullptr);
        gHistory.freeSnapshots();
        gHistory.clear();
        gCanvas.freeSurfaces();
        gLayers.reset(1);
        GlTest::TearDown();
    }
    // Mirror on, about `origin`, as the panel would set it; the brush current.
    static void mirrorOn(math::Vec2 origin, int repetitions, bool reflected) {
        gPainter.selectTool(MirrorTool::kIndex);
        mirror().origin = origin;
        mirror().repetitions = repetitions;
        mirror().mirrored = reflected;
        gPainter.selectTool(1);
        ASSERT_TRUE(mirror().isActive()) << "the mirror stays in force under the brush";
    }
    // A stroke as the program paints it, frames in between.
    static const BrushStrokeAction* paint(const std::vector<math::Vec2>& path) {
        gInputState.reset(); // the same motion directions for every stroke
        gCanvas.beginStroke(path[0].x, path[0].y);
        const BrushStrokeAction* action = gCanvas.currentAction();
        for (std::size_t i = 1; i < path.size(); ++i) {
            gInputState.updatePointer(static_cast<int>(path[i].x), static_cast<int>(path[i].y));
            gCanvas.continueStroke(path[i].x, path[i].y);
            if (i % 3 == 0) gCanvas.strokeFrame(false);
        }
        gCanvas.endStroke();
        gCanvas.strokeFrame(false);
        gCanvas.strokeFrame(false);
        return action;
    }
    static std::vector<uint8_t> layer() { return readTexture(gCanvas.currentLayerSurface().textureId, kW, kH); }
};

std::vector<math::Vec2> diagonal() {
    std::vector<math::Vec2> path;
    for (int i = 0; i < 12; ++i) path.push_back({30.0f + 5.0f * i, 100.0f - 3.0f * i});
    return path;
}

} // namespace

// One repetition, reflected: each dab of the stroke becomes exactly two
// points, the dab itself (turned a full turn) and its reflection across the
// vertical line through the origin, x' = 2 cx - x.
TEST_F(MirrorGl, OneRepetitionReflectedGivesTwoCopiesOfEachDab) {
    kwSrand(5);
    const BrushStrokeAction* plain = paint(diagonal());
    ASSERT_NE(plain, nullptr);
    const std::size_t dabs = plain->pointCount();
    ASSERT_GT(dabs, 5u);

    mirrorOn({100, 80}, 1, true);
    kwSrand(5);
    const BrushStrokeAction* copied = paint(diagonal());
    ASSERT_NE(copied, nullptr);
    ASSERT_EQ(copied->pointCount(), 2 * dabs);
    for (std::size_t i = 0; i < dabs; ++i) {
        const BrushStrokePoint& p = plain->point(i);
        const BrushStrokePoint& turned = copied->point(2 * i);
        const BrushStrokePoint& reflected = copied->point(2 * i + 1);
        EXPECT_NEAR(turned.x, p.x, 2e-3f) << i;
        EXPECT_NEAR(turned.y, p.y, 2e-3f) << i;
        EXPECT_FALSE(turned.mirrored);
        EXPECT_NEAR(reflected.x, 200.0f - p.x, 2e-3f) << i;
        EXPECT_NEAR(reflected.y, p.y, 2e-3f) << i;
        EXPECT_TRUE(reflected.mirrored);
        EXPECT_NEAR(reflected.angle, -p.angle, 1e-3f) << i;
    }
}

// Four repetitions about (100, 80), reflected, first dab at (130, 80): the
// radius is 30 and the angle 0, so the turned copies stand at 90, 180, 270
// and 360 degrees: (100, 110), (70, 80), (100, 50), (130, 80), each turned
// by k * 90 degrees; the reflected ones at (100 - 30 cos(k 90), 80 + 30
// sin(k 90)) for k = 0..3: (70, 80), (100, 110), (130, 80), (100, 50).
TEST_F(MirrorGl, FourRepetitionsLandWhereTheArithmeticPutsThem) {
    mirrorOn({100, 80}, 4, true);
    gCanvas.beginStroke(130, 80);
    const BrushStrokeAction* action = gCanvas.currentAction();
    ASSERT_NE(action, nullptr);
    ASSERT_EQ(action->pointCount(), 8u);
    const math::Vec2 expected[8] = {{100, 110}, {70, 80}, {100, 50}, {130, 80},
                                    {70, 80},   {100, 110}, {130, 80}, {100, 50}};
    const float angles[8] = {90, 180, 270, 360, -0.0f, -90, -180, -270};
    const float dabAngle = action->point(3).angle - 360.0f; // the dab's own angle
    for (std::size_t k = 0; k < 8; ++k) {
        const BrushStrokePoint& p = action->point(k);
        EXPECT_NEAR(p.x, expected[k].x, 1e-3f) << k;
        EXPECT_NEAR(p.y, expected[k].y, 1e-3f) << k;
        EXPECT_EQ(p.mirrored, k >= 4) << k;
        const float want = k < 4 ? dabAngle + angles[k] : angles[k] - dabAngle;
        EXPECT_NEAR(p.angle, want, 1e-2f) << k;
    }
    gCanvas.endStroke();
    gCanvas.strokeFrame(false);
}

TEST_F(MirrorGl, ADabOnTheOriginMakesNoPoint) {
    mirrorOn({100, 80}, 3, true);
    gCanvas.beginStroke(100, 80);
    ASSERT_NE(gCanvas.currentAction(), nullptr);
    EXPECT_EQ(gCanvas.currentAction()->pointCount(), 0u);
    gCanvas.endStroke();
    gCanvas.strokeFrame(false);
}

// The copies are stored: undo and redo, and a saved process replayed with the
// mirror off, give the live bytes.
TEST_F(MirrorGl, AMirroredStrokeReplaysWithTheMirrorOff) {
    mirrorOn({90, 70}, 5, true);
    const std::vector<uint8_t> blank = layer();
    kwSrand(9);
    paint(diagonal());
    const std::vector<uint8_t> live = layer();
    // The copies show on the layer: the stroke's first dab at (30, 100) and
    // its reflection at (150, 100) are painted.
    const std::size_t first = (100u * kW + 30) * 4, reflection = (100u * kW + 150) * 4;
    auto painted = [&](std::size_t i) { return !std::equal(&live[i], &live[i] + 4, &blank[i]); };
    ASSERT_TRUE(painted(first));
    ASSERT_TRUE(painted(reflection));

    // Off: the button pressed twice from the brush.
    toggleToolButton(*gApp, gPainter, MirrorTool::kIndex);
    toggleToolButton(*gApp, gPainter, MirrorTool::kIndex);
    ASSERT_FALSE(mirror().isActive());
    ASSERT_TRUE(gHistory.undo());
    gHistory.replayIfPending();
    ASSERT_NE(layer(), live);
    ASSERT_TRUE(gHistory.redo());
    gHistory.replayIfPending();
    EXPECT_EQ(layer(), live);

    gCanvas.saveCurrentLayer(gLayers);
    const LayeredPicture picture = captureLayers(gCanvas, gLayers);
    ProcessSaveInput input{&gHistory.actions(), gHistory.actionCount(), &picture, gHistory.initialWidth,
                           gHistory.initialHeight, gApp->brushTips.get(), {}, 0, 0};
    const std::vector<uint8_t> saved = encodeProcess(input);
    processtest::GlDocument loaded(3, 3);
    setDabSink(&loaded.canvas);
    ASSERT_EQ(loaded.load(saved), LoadResult::Loaded);
    replayProcess(loaded.history);
    EXPECT_EQ(readTexture(loaded.canvas.currentLayerSurface().textureId, kW, kH), live);
    setDabSink(&gCanvas);
}

TEST_F(MirrorGl, ANewCanvasSwitchesTheMirrorOffAndCentresIt) {
    mirrorOn({20, 30}, 7, false);
    gCanvas.resize(300, 100, gLayers);
    EXPECT_FALSE(mirror().isActive());
    EXPECT_EQ(mirror().origin, math::Vec2(150, 50));
    EXPECT_EQ(mirror().repetitions, 1);
    EXPECT_TRUE(mirror().mirrored);
    EXPECT_FALSE(mirror().settings().active);
    gCanvas.resize(kW, kH, gLayers);
}

// The tool bar button: from the brush it makes the mirror current and on;
// pressed again it switches the mirror off and brings the brush back. Other
// tools keep it on, and its "Reset" puts it back to the centre, on.
TEST_F(MirrorGl, TheButtonTogglesAndTheBrushComesBack) {
    EXPECT_FALSE(mirror().isActive());
    toggleToolButton(*gApp, gPainter, MirrorTool::kIndex);
    EXPECT_EQ(gApp->currentToolIndex(), MirrorTool::kIndex);
    EXPECT_TRUE(mirror().isActive());
    toggleToolButton(*gApp, gPainter, MirrorTool::kIndex);
    EXPECT_FALSE(mirror().isActive());
    EXPECT_EQ(gApp->currentToolIndex(), 1);
    EXPECT_EQ(gApp->previousToolIndex, 1);

    toggleToolButton(*gApp, gPainter, MirrorTool::kIndex);
    gPainter.selectTool(8);
    EXPECT_TRUE(mirror().isActive());
    mirror().origin = {1, 2};
    mirror().repetitions = 9;
    mirror().mirrored = false;
    mirror().enabled = false;
    mirror().resetSettings();
    EXPECT_EQ(mirror().origin, math::Vec2(kW / 2.0f, kH / 2.0f));
    EXPECT_EQ(mirror().repetitions, 1);
    EXPECT_TRUE(mirror().mirrored);
    EXPECT_TRUE(mirror().isActive());
}

// Pointer input while the mirror is current moves only the origin, through
// its handle; a drag elsewhere paints nothing.
TEST_F(MirrorGl, TheHandleMovesTheOrigin) {
    gPainter.selectTool(MirrorTool::kIndex);
    const std::size_t before = gHistory.actionCount();
    const math::Vec2 at = gPainter.canvasToWindow(mirror().origin);
    gInputState.leftButton = true;
    gPainter.onMouseButton(0, 0, static_cast<int>(at.x), static_cast<int>(at.y), false);
    const math::Vec2 to = gPainter.canvasToWindow({60, 40});
    gPainter.onMouseDrag(static_cast<int>(to.x), static_cast<int>(to.y), false);
    gInputState.leftButton = false;
    gPainter.onMouseButton(0, 1, static_cast<int>(to.x), static_cast<int>(to.y), false);
    const math::Vec2 back = gPainter.windowToCanvas({std::floor(to.x), std::floor(to.y)});
    EXPECT_NEAR(mirror().origin.x, back.x, 1e-3f);
    EXPECT_NEAR(mirror().origin.y, back.y, 1e-3f);
    // Far from the handle: nothing moves and nothing is recorded.
    gInputState.leftButton = true;
    gPainter.onMouseButton(0, 0, 5, 5, false);
    gPainter.onMouseDrag(30, 30, false);
    gInputState.leftButton = false;
    EXPECT_NEAR(mirror().origin.x, back.x, 1e-3f);
    EXPECT_EQ(gHistory.actionCount(), before);
}

// The options strip: the repetitions slider bound to the tool (1 to 50), the
// "Mirrored" box and "Reset", which also ticks the box again.
TEST_F(MirrorGl, TheStripEditsTheSettings) {
    createToolOptionsBar();
    placeToolOptionsBar(1000, 700);
    gPainter.selectTool(MirrorTool::kIndex);
    Slider<int>* count = nullptr;
    CheckBoxWidget* box = nullptr;
    ButtonWidget* reset = nullptr;
    for (const auto& w : gToolOptionsBar->children) {
        if (auto* s = dynamic_cast<Slider<int>*>(w.get())) count = s;
        if (auto* c = dynamic_cast<CheckBoxWidget*>(w.get())) box = c;
        if (auto* b = dynamic_cast<ButtonWidget*>(w.get())) reset = b;
    }
    ASSERT_NE(count, nullptr);
    ASSERT_NE(box, nullptr);
    ASSERT_NE(reset, nullptr);
    EXPECT_EQ(count->target, &mirror().repetitions);
    EXPECT_EQ(count->minValue, 1);
    EXPECT_EQ(count->maxValue, 50);
    count->setKnob(count->trackLength());
    EXPECT_EQ(mirror().repetitions, 50);
    EXPECT_TRUE(box->checked);
    box->toggle();
    EXPECT_FALSE(mirror().mirrored);
    mirror().origin = {3, 4};
    ASSERT_TRUE(reset->onClick);
    reset->onClick(reset);
    EXPECT_EQ(mirror().repetitions, 1);
    EXPECT_TRUE(mirror().mirrored);
    EXPECT_TRUE(box->checked);
    EXPECT_EQ(mirror().origin, math::Vec2(kW / 2.0f, kH / 2.0f));
    gPainter.selectTool(1);
    gToolOptionsBar.reset();
}
