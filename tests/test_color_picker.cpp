// The current colour's one setter, the picker's requests by interaction
// mode and tool, and the bucket's click off the canvas; no GL (the pick
// itself and the fill run in the GL and end-to-end tests).
#include <gtest/gtest.h>

#include <vector>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/InteractionMode.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "tools/BucketFillActionTool.h"
#include "tools/ToolPanel.h"
#include "widgets/Animator.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Slider.h"
#include "widgets/TextWidget.h"

// Hue, saturation and value follow every change of the colour, since the
// colour dynamics start from them. Cyan at half value: the largest channel
// 0.5 is the value, (0.5 - 0) / 0.5 = 1 the saturation, green = blue the
// hue 180; pure red: 0, 1, 1.
TEST(CanvasColour, SetterKeepsTheHsvCopyInStep) {
    Canvas canvas(4, 4);
    canvas.setColor({0.0f, 0.5f, 0.5f});
    EXPECT_FLOAT_EQ(canvas.color[1], 0.5f);
    EXPECT_FLOAT_EQ(canvas.colorHsv[0], 180.0f);
    EXPECT_FLOAT_EQ(canvas.colorHsv[1], 1.0f);
    EXPECT_FLOAT_EQ(canvas.colorHsv[2], 0.5f);
    canvas.setColor({1.0f, 0.0f, 0.0f});
    EXPECT_FLOAT_EQ(canvas.colorHsv[0], 0.0f);
    EXPECT_FLOAT_EQ(canvas.colorHsv[1], 1.0f);
    EXPECT_FLOAT_EQ(canvas.colorHsv[2], 1.0f);
    EXPECT_EQ(canvas.currentColor(), (brush::Rgb{1.0f, 0.0f, 0.0f}));
}

namespace {
class PickerRouting : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    static void reset() {
        gPainter.currentTool = gPainter.tools[1].get();
        gApp->currentToolIndex_ = 1;
        static_cast<Application*>(gApp)->interactionMode = kModeTool;
        gPainter.pickRequested = false;
        gInputState.reset();
    }
};
} // namespace

// Alt (mode 5) sends the pointer to the picker whatever the tool: a left
// press asks for the pixel under it; another button does not.
TEST_F(PickerRouting, QuickSwitchAsksOnLeftPressAndOnDrag) {
    static_cast<Application*>(gApp)->interactionMode = kModePicking;
    EXPECT_EQ(gPainter.onMouseButton(2, 0, 30, 40, false), 0);
    EXPECT_FALSE(gPainter.pickRequested);
    EXPECT_EQ(gPainter.onMouseButton(0, 0, 123, 45, false), 1);
    EXPECT_TRUE(gPainter.pickRequested);
    EXPECT_EQ(gPainter.pickX, 123);
    EXPECT_EQ(gPainter.pickY, 45);
    // A drag in the mode asks again at the last position, once a frame.
    gPainter.pickRequested = false;
    gPainter.onMouseDrag(130, 50, false);
    EXPECT_TRUE(gPainter.pickRequested);
    EXPECT_EQ(gPainter.pickX, 130);
    // The tool did not change.
    EXPECT_EQ(gApp->currentToolIndex_, 1);
    EXPECT_TRUE(gPainter.tools[12]->isActive());
}

// As the current tool, a drag picks only with the left button held.
TEST_F(PickerRouting, PickerToolDragsWithTheLeftButton) {
    gPainter.currentTool = gPainter.tools[12].get();
    gApp->currentToolIndex_ = 12;
    gPainter.onMouseDrag(10, 10, false);
    EXPECT_FALSE(gPainter.pickRequested);
    gInputState.leftButton = true;
    gPainter.onMouseDrag(11, 12, false);
    EXPECT_TRUE(gPainter.pickRequested);
    EXPECT_EQ(gPainter.pickY, 12);
}

// A click off the canvas does nothing and records nothing.
TEST_F(PickerRouting, BucketClickOffTheCanvasRecordsNothing) {
    gPainter.currentTool = gPainter.tools[9].get();
    gApp->currentToolIndex_ = 9;
    const std::size_t before = gHistory.actionCount();
    const float w = static_cast<float>(gCanvas.width), h = static_cast<float>(gCanvas.height);
    for (math::Vec2 p : {math::Vec2{-5, 10}, math::Vec2{10, -5}, math::Vec2{w + 5, 10}, math::Vec2{10, h + 5}}) {
        const math::Vec2 at = gPainter.canvasToWindow(p) + math::Vec2(gPainter.renderArea.x, gPainter.renderArea.y);
        EXPECT_EQ(gPainter.onMouseButton(0, 0, static_cast<int>(at.x), static_cast<int>(at.y), false), 0);
        const math::Vec2 back = gPainter.canvasPosition;
        EXPECT_TRUE(back.x < 0 || back.y < 0 || back.x >= w || back.y >= h) << back.x << ", " << back.y;
    }
    EXPECT_EQ(gHistory.actionCount(), before);
    EXPECT_TRUE(gPainter.tools[9]->isActive());
}

// The bucket's strip: two labelled sliders and two boxes at their places
// (96-dpi units times GuiScale, y up inside the strip); they start from the
// tool's settings and write them back.
TEST(BucketPanel, WidgetsStartFromTheToolAndWriteItsSettings) {
    AnimatorRegistry::instance().clear();
    createToolOptionsBar();
    BucketFillActionTool tool(&gPainter);
    tool.opacity = 0.5f;
    tool.sampleAllLayers = true;
    tool.activate();
    ASSERT_EQ(gToolOptionsBar->children.size(), 6u);
    std::vector<Slider<float>*> sliders;
    std::vector<CheckBoxWidget*> boxes;
    std::vector<TextWidget*> labels;
    for (const auto& w : gToolOptionsBar->children) {
        if (auto* s = dynamic_cast<Slider<float>*>(w.get())) sliders.push_back(s);
        if (auto* b = dynamic_cast<CheckBoxWidget*>(w.get())) boxes.push_back(b);
        if (auto* t = dynamic_cast<TextWidget*>(w.get())) labels.push_back(t);
    }
    ASSERT_EQ(sliders.size(), 2u);
    ASSERT_EQ(boxes.size(), 2u);
    ASSERT_EQ(labels.size(), 2u);
    EXPECT_EQ(labels[0]->text, "Opacity");
    EXPECT_EQ(labels[1]->text, "Tolerance");
    EXPECT_EQ(labels[0]->textColor[0], 1.0f);
    EXPECT_EQ(sliders[0]->relX, 100 * GuiScale);
    EXPECT_EQ(sliders[1]->relX, 350 * GuiScale);
    EXPECT_EQ(sliders[0]->width, 100 * GuiScale);
    EXPECT_FLOAT_EQ(sliders[0]->value, 0.5f);
    EXPECT_FLOAT_EQ(sliders[1]->value, 0.1f);
    EXPECT_EQ(boxes[0]->label, "Optimize for lineart");
    EXPECT_EQ(boxes[0]->relY, 30 * GuiScale);
    EXPECT_EQ(boxes[1]->relY, 10 * GuiScale);
    EXPECT_FALSE(boxes[0]->checked);
    EXPECT_TRUE(boxes[1]->checked);
    // The knob at the end of the track: the full value.
    sliders[1]->setKnob(sliders[1]->trackLength());
    EXPECT_FLOAT_EQ(tool.tolerance, 1.0f);
    boxes[0]->toggle();
    EXPECT_TRUE(tool.optimizeForLineart);
    boxes[1]->toggle();
    EXPECT_FALSE(tool.sampleAllLayers);
    tool.deactivate();
    EXPECT_TRUE(gToolOptionsBar->children.empty());
    AnimatorRegistry::instance().clear();
    gToolOptionsBar.reset();
}
