// The shape tool without GL: corners and states from presses, drags and keys,
// the vertex lists it rebuilds, the colour that the selector edits, and the
// options strip (figure buttons, fill switch, swatches, width slider).
#include <gtest/gtest.h>

#include <memory>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Globals.h"
#include "core/ShapeOutline.h"
#include "platform/Clock.h"
#include "tools/ShapeTool.h"
#include "tools/ToolPanel.h"
#include "widgets/Animator.h"
#include "widgets/ButtonWidget.h"
#include "widgets/ColorSelectionSquare.h"
#include "widgets/ShapeButton.h"
#include "widgets/Slider.h"
#include "widgets/Widget.h"

namespace {

ShapeTool& tool() { return static_cast<ShapeTool&>(*gPainter.tools[ShapeTool::kIndex]); }

class ShapeToolTest : public ::testing::Test {
protected:
    void SetUp() override {
        tool().reset();
        tool().shapeIndex = 1;
        tool().borderWidth = 2;
        tool().fillEnabled = false;
        savedColor = gCanvas.currentColor();
    }
    void TearDown() override {
        tool().reset();
        tool().shapeIndex = 0;
        tool().borderWidth = 2;
        gCanvas.setColor(savedColor);
    }
    static int press(float x, float y) {
        gPainter.canvasPosition = {x, y};
        return tool().onMouseButton(0, 0, 0, 0, false);
    }
    static int drag(float x, float y) {
        gPainter.canvasPosition = {x, y};
        return tool().onMouseDrag(0, 0, false);
    }
    brush::Rgb savedColor;
};

// The strip's widgets of one type, in the order the tool added them.
template <typename T> std::vector<std::shared_ptr<T>> stripWidgets() {
    std::vector<std::shared_ptr<T>> found;
    for (const auto& w : gToolOptionsBar->children)
        if (auto t = std::dynamic_pointer_cast<T>(w)) found.push_back(t);
    return found;
}

} // namespace

TEST_F(ShapeToolTest, PressThenDragPlacesTheFigure) {
    EXPECT_FALSE(tool().isActive());
    EXPECT_EQ(press(10, 20), 0);
    EXPECT_EQ(tool().state, 1);
    EXPECT_TRUE(tool().isActive());
    EXPECT_EQ(tool().firstCorner, math::Vec2(10, 20));
    EXPECT_EQ(tool().secondCorner, math::Vec2(10, 20));
    EXPECT_EQ(drag(50, 80), 1);
    EXPECT_EQ(tool().state, 2);
    EXPECT_EQ(tool().secondCorner, math::Vec2(50, 80));
    // The rectangle, relative to the first corner, and its border strip.
    ASSERT_EQ(tool().fillVertices.size(), 4u);
    EXPECT_EQ(tool().fillVertices[2], shape::Point(40, 60, 0));
    EXPECT_EQ(tool().borderVertices.size(), 10u);
    EXPECT_EQ(tool().borderVertices[1], shape::Point(2, 2, 0));
    // A release changes nothing; a right press neither.
    gPainter.canvasPosition = {90, 90};
    EXPECT_EQ(tool().onMouseButton(0, 1, 0, 0, false), 0);
    EXPECT_EQ(tool().onMouseButton(2, 0, 0, 0, false), 0);
    EXPECT_EQ(tool().state, 2);
    EXPECT_EQ(tool().secondCorner, math::Vec2(50, 80));
    // A drag without a corner does nothing.
    tool().reset();
    EXPECT_EQ(drag(5, 5), 0);
    EXPECT_EQ(tool().state, 0);
}

TEST_F(ShapeToolTest, TwoPressesPlaceTheCorners) {
    press(30, 30);
    EXPECT_EQ(press(10, 5), 0);
    EXPECT_EQ(tool().state, 2);
    // Dragged down and to the left: the figure mirrors and is kept.
    ASSERT_EQ(tool().fillVertices.size(), 4u);
    EXPECT_EQ(tool().fillVertices[1], shape::Point(-20, 0, 0));
    EXPECT_EQ(tool().fillVertices[2], shape::Point(-20, -25, 0));
    // The border still lies inside.
    EXPECT_EQ(tool().borderVertices[1], shape::Point(-2, -2, 0));
}

TEST_F(ShapeToolTest, AClickPairOnOneSpotHasNoFigure) {
    press(40, 40);
    press(40, 40);
    EXPECT_EQ(tool().state, 2);
    EXPECT_TRUE(tool().fillVertices.empty());
    EXPECT_TRUE(tool().borderVertices.empty());
    // A line (no height) has none either.
    drag(90, 40);
    EXPECT_TRUE(tool().fillVertices.empty());
}

TEST_F(ShapeToolTest, BorderOfHalfTheShorterSideLeavesOnlyTheFill) {
    tool().borderWidth = 10;
    press(0, 0);
    drag(20, 50); // shorter side 20: a border of 10 has no room inside
    EXPECT_EQ(tool().fillVertices.size(), 4u);
    EXPECT_TRUE(tool().borderVertices.empty());
    drag(21, 50);
    EXPECT_EQ(tool().borderVertices.size(), 10u);
    tool().borderWidth = 0;
    tool().rebuild();
    EXPECT_TRUE(tool().borderVertices.empty());
}

TEST_F(ShapeToolTest, EnterAndEscape) {
    // Enter is taken in every state; Esc only when there is something to drop.
    EXPECT_EQ(tool().onKey(13, 0, 0), 1);
    EXPECT_EQ(tool().onKey(27, 0, 0), 0);
    press(1, 1);
    EXPECT_EQ(tool().onKey(13, 0, 0), 1);
    EXPECT_EQ(tool().state, 1) << "Enter applies a placed figure only";
    EXPECT_EQ(tool().onKey(27, 0, 0), 1);
    EXPECT_EQ(tool().state, 0);
    EXPECT_EQ(tool().firstCorner, math::Vec2(0, 0));
    // No border and no fill: nothing to paint on the shared canvas, which
    // another test may have given surfaces.
    tool().borderWidth = 0;
    press(1, 1);
    drag(30, 30);
    EXPECT_EQ(tool().onKey(13, 0, 0), 1);
    EXPECT_EQ(tool().state, 0);
    EXPECT_EQ(tool().onKey('a', 0, 0), 0);
}

TEST_F(ShapeToolTest, TheCurrentColourGoesIntoTheTarget) {
    tool().fillColor[3] = 0.5f;
    gCanvas.setColor({0.25f, 0.5f, 0.75f});
    tool().update(20, 0, 0);
    EXPECT_FLOAT_EQ(tool().fillColor[0], 0.25f);
    EXPECT_FLOAT_EQ(tool().fillColor[1], 0.5f);
    EXPECT_FLOAT_EQ(tool().fillColor[2], 0.75f);
    EXPECT_FLOAT_EQ(tool().fillColor[3], 0.5f) << "alpha stays";
    tool().currentColorTarget = tool().borderColor;
    gCanvas.setColor({1, 0, 0});
    tool().update(20, 0, 0);
    EXPECT_FLOAT_EQ(tool().borderColor[0], 1.0f);
    EXPECT_FLOAT_EQ(tool().borderColor[1], 0.0f);
    EXPECT_FLOAT_EQ(tool().fillColor[0], 0.25f) << "the other colour is left alone";
    tool().reset();
    EXPECT_EQ(tool().currentColorTarget, tool().fillColor);
    tool().fillColor[3] = 1.0f;
}

class ShapeToolPanel : public ShapeToolTest {
protected:
    void SetUp() override {
        ShapeToolTest::SetUp();
        platform::setClockOverride([] { return 1000; });
        AnimatorRegistry::instance().clear();
        createToolOptionsBar();
        placeToolOptionsBar(800, 600);
    }
    void TearDown() override {
        tool().deactivate();
        AnimatorRegistry::instance().clear();
        platform::setClockOverride({});
        gToolOptionsBar.reset();
        ShapeToolTest::TearDown();
    }
};

TEST_F(ShapeToolPanel, ActivationTakesTheCurrentColourAndBuildsTheStrip) {
    tool().currentColorTarget = tool().borderColor;
    gCanvas.setColor({0.1f, 0.2f, 0.3f});
    tool().activate();
    EXPECT_FLOAT_EQ(tool().fillColor[0], 0.1f);
    EXPECT_FLOAT_EQ(tool().fillColor[2], 0.3f);
    EXPECT_EQ(tool().currentColorTarget, tool().fillColor);
    EXPECT_EQ(stripWidgets<ShapeButton>().size(), 4u);
    EXPECT_EQ(stripWidgets<ColorSelectionSquare>().size(), 2u);
    EXPECT_EQ(stripWidgets<CheckBoxWidget>().size(), 1u);
    EXPECT_EQ(stripWidgets<Slider<int>>().size(), 1u);
    EXPECT_TRUE(tool().deactivate());
    EXPECT_TRUE(gToolOptionsBar->children.empty());
}

TEST_F(ShapeToolPanel, FigureButtonsShowTheirFiguresAndChooseOne) {
    tool().activate();
    const auto buttons = stripWidgets<ShapeButton>();
    ASSERT_EQ(buttons.size(), 4u);
    const std::vector<shape::Outline> figures = shape::standardOutlines();
    for (int i = 0; i < 4; ++i) {
        // Flattened at the face less 5 units on each side: 20 x 20 units.
        std::vector<shape::Point> expected;
        figures[static_cast<std::size_t>(i)].flatten({20 * GuiScale, 20 * GuiScale}, expected);
        EXPECT_EQ(buttons[static_cast<std::size_t>(i)]->vertices, expected) << i;
        EXPECT_EQ(buttons[static_cast<std::size_t>(i)]->shapeIndex, i);
        EXPECT_FLOAT_EQ(buttons[static_cast<std::size_t>(i)]->relX, (150.0f + 40.0f * i) * GuiScale);
    }
    // The triangle at 20 x 20: three corners.
    EXPECT_EQ(buttons[0]->vertices.size(), 3u);
    EXPECT_EQ(buttons[0]->vertices[2], shape::Point(10 * GuiScale, 20 * GuiScale, 0));
    // Cyan for the figure in use (the rectangle), white for the others.
    float c[4];
    buttons[1]->figureColor(c);
    EXPECT_EQ(c[0], 0.0f);
    EXPECT_EQ(c[1], 1.0f);
    buttons[2]->figureColor(c);
    EXPECT_EQ(c[0], 1.0f);
    // A click chooses the ellipse and rebuilds a placed figure.
    press(0, 0);
    drag(100, 60);
    EXPECT_EQ(tool().fillVertices.size(), 4u);
    buttons[2]->onClick(buttons[2].get());
    EXPECT_EQ(tool().shapeIndex, 2);
    EXPECT_GT(tool().fillVertices.size(), 20u);
    EXPECT_TRUE(buttons[2]->current());
    EXPECT_FALSE(buttons[1]->current());
}

TEST_F(ShapeToolPanel, SwatchesChooseTheColourTheSelectorEdits) {
    tool().activate();
    const auto swatches = stripWidgets<ColorSelectionSquare>();
    ASSERT_EQ(swatches.size(), 2u);
    EXPECT_EQ(swatches[0]->value, tool().fillColor);
    EXPECT_EQ(swatches[1]->value, tool().borderColor);
    EXPECT_TRUE(swatches[0]->ignoreAlpha);
    EXPECT_TRUE(swatches[0]->selected());
    tool().borderColor[0] = 0.9f, tool().borderColor[1] = 0.4f, tool().borderColor[2] = 0.1f;
    gToolOptionsBar->update(0, 0, 0);
    // A press on the border swatch (window pixels, y up) makes it the target
    // and puts its colour into the selector's record.
    Widget& border = *swatches[1];
    ASSERT_EQ(border.onMouseButton(0, 0, static_cast<int>(border.absX + 2), static_cast<int>(border.absY + 2), false), 1);
    EXPECT_EQ(tool().currentColorTarget, tool().borderColor);
    EXPECT_TRUE(swatches[1]->selected());
    EXPECT_FALSE(swatches[0]->selected());
    EXPECT_FLOAT_EQ(gCanvas.color[0], 0.9f);
    EXPECT_FLOAT_EQ(gCanvas.color[2], 0.1f);
    // The selector then edits the border colour, not the fill.
    const float fillBefore = tool().fillColor[0];
    gCanvas.setColor({0.3f, 0.3f, 0.3f});
    tool().update(20, 0, 0);
    EXPECT_FLOAT_EQ(tool().borderColor[0], 0.3f);
    EXPECT_FLOAT_EQ(tool().fillColor[0], fillBefore);
}

TEST_F(ShapeToolPanel, FillSwitchAndWidthSlider) {
    tool().activate();
    gToolOptionsBar->update(0, 0, 0);
    auto fill = stripWidgets<CheckBoxWidget>().at(0);
    ASSERT_EQ(fill->onMouseButton(0, 0, static_cast<int>(fill->absX + 3), static_cast<int>(fill->absY + 3), false), 1);
    EXPECT_TRUE(tool().fillEnabled);
    auto width = stripWidgets<Slider<int>>().at(0);
    EXPECT_EQ(width->minValue, 0);
    EXPECT_EQ(width->maxValue, 50);
    EXPECT_EQ(width->value, 2);
    press(0, 0);
    drag(100, 100);
    ASSERT_EQ(tool().borderVertices.size(), 10u);
    // All the way to the right: 50, and the strip is rebuilt at once.
    width->setKnob(width->trackLength());
    EXPECT_EQ(tool().borderWidth, 50);
    EXPECT_TRUE(tool().borderVertices.empty()) << "50 is half of the shorter side: no strip";
    width->setKnob(0);
    EXPECT_EQ(tool().borderWidth, 0);
    EXPECT_TRUE(tool().borderVertices.empty());
    width->setKnob(width->trackLength() / 5);
    EXPECT_EQ(tool().borderWidth, 10);
    ASSERT_EQ(tool().borderVertices.size(), 10u);
    EXPECT_EQ(tool().borderVertices[1], shape::Point(10, 10, 0));
}

TEST_F(ShapeToolPanel, DiscardAndApplyButtonsEndTheFigure) {
    tool().activate();
    auto buttons = stripWidgets<ButtonWidget>();
    std::vector<std::shared_ptr<ButtonWidget>> plain;
    for (auto& b : buttons)
        if (!std::dynamic_pointer_cast<ShapeButton>(b)) plain.push_back(b);
    ASSERT_EQ(plain.size(), 2u);
    press(0, 0);
    drag(10, 10);
    plain[1]->onClick(plain[1].get()); // Discard
    EXPECT_EQ(tool().state, 0);
    tool().borderWidth = 0; // nothing to paint on the shared canvas
    press(0, 0);
    drag(10, 10);
    plain[0]->onClick(plain[0].get()); // Apply
    EXPECT_EQ(tool().state, 0);
    // Leaving the tool drops a placed figure and the target.
    press(0, 0);
    drag(10, 10);
    tool().currentColorTarget = tool().borderColor;
    EXPECT_TRUE(tool().deactivate());
    EXPECT_EQ(tool().state, 0);
    EXPECT_EQ(tool().currentColorTarget, tool().fillColor);
}
