// The gradient tool in the program: two clicks, the handles, [ENTER] and
// [ESC], the preview drawn into the stroke buffer during the frame, the
// recorded action and the pixels it leaves (against the CPU ramp), the
// options strip's stops editor and what leaving the tool drops.
#include <gtest/gtest.h>

#include <memory>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/InteractionMode.h"
#include "core/PaintingApplication.h"
#include "history/FillActions.h"
#include "history/History.h"
#include "support/GlTestContext.h"
#include "support/ProgramDocument.h"
#include "test_gradient_reference.h"
#include "tools/GradientTool.h"
#include "tools/ToolPanel.h"
#include "widgets/ButtonWidget.h"
#include "widgets/ColorSelectionSquare.h"
#include "widgets/Slider.h"

namespace {
constexpr int kW = 96, kH = 64;

GradientTool& tool() { return static_cast<GradientTool&>(*gPainter.tools[GradientTool::kIndex]); }

class GradientToolGl : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        const float grey[4] = {0.25f, 0.25f, 0.25f, 1.0f};
        resetProgramDocument(kW, kH, grey);
        gCanvas.setColor({0.2f, 0.4f, 0.8f});
    }
    void TearDown() override {
        gPainter.selectTool(1);
        gHistory.freeSnapshots();
        gHistory.clear();
        gCanvas.freeSurfaces();
        gLayers.reset(1);
        GlTest::TearDown();
    }
    static math::Vec2 window(math::Vec2 canvas) { return gPainter.canvasToWindow(canvas); }
    static void click(math::Vec2 canvas) {
        const math::Vec2 w = window(canvas);
        gInputState.leftButton = true;
        gPainter.onMouseButton(0, 0, static_cast<int>(w.x), static_cast<int>(w.y), false);
        gInputState.leftButton = false;
        gPainter.onMouseButton(0, 1, static_cast<int>(w.x), static_cast<int>(w.y), false);
    }
    static std::vector<uint8_t> layer() { return readTexture(gCanvas.currentLayerSurface().textureId, kW, kH); }
};
} // namespace

TEST_F(GradientToolGl, TwoClicksAndEnterRecordTheRampAndPaintIt) {
    gPainter.selectTool(GradientTool::kIndex);
    // The stops start as the current colour, opaque to clear.
    ASSERT_EQ(tool().colors.size(), 2u);
    EXPECT_EQ(tool().colors[0], (std::array<float, 4>{0.2f, 0.4f, 0.8f, 1.0f}));
    EXPECT_EQ(tool().colors[1], (std::array<float, 4>{0.2f, 0.4f, 0.8f, 0.0f}));
    EXPECT_EQ(gPainter.onKey(13, 0, 0), 0) << "nothing placed: [ENTER] is not taken";
    click({10, 20});
    EXPECT_EQ(tool().state, 1);
    ASSERT_TRUE(tool().startHandle);
    EXPECT_FALSE(tool().endHandle);
    EXPECT_EQ(gPainter.onKey(13, 0, 0), 0);
    click({80, 40});
    EXPECT_EQ(tool().state, 2);
    ASSERT_TRUE(tool().endHandle);
    EXPECT_NEAR(tool().start.x, 10, 1e-3f);
    EXPECT_NEAR(tool().end.y, 40, 1e-3f);
    const gradtest::Ramp ramp{tool().start, tool().end, tool().colors, tool().positions};
    const std::vector<uint8_t> before = layer();
    const std::size_t actions = gHistory.actionCount();

    EXPECT_EQ(gPainter.onKey(13, 0, 0), 1);
    EXPECT_EQ(tool().state, 0);
    EXPECT_FALSE(tool().startHandle);
    EXPECT_FALSE(tool().endHandle);
    ASSERT_EQ(gHistory.actionCount(), actions + 1);
    const auto* recorded = dynamic_cast<const GradientFillAction*>(gHistory.actions().back().get());
    ASSERT_NE(recorded, nullptr);
    EXPECT_EQ(recorded->colors, ramp.colors);
    EXPECT_EQ(recorded->positions, ramp.positions);
    EXPECT_FLOAT_EQ(recorded->endX, ramp.end.x);
    const std::vector<uint8_t> after = layer();
    EXPECT_LE(gradtest::largestDifference(after, gradtest::expectedMerge(gradtest::expectedStrip(ramp, kW, kH), before)),
              2);
    // Near start the colour covers the layer; past end the layer shows untouched.
    const std::size_t nearStart = (20u * kW + 2) * 4, pastEnd = (40u * kW + 94) * 4;
    EXPECT_EQ(after[nearStart], 51);
    EXPECT_EQ(after[nearStart + 1], 102);
    EXPECT_EQ(after[nearStart + 2], 204);
    EXPECT_NE(before[pastEnd], 51);
    for (std::size_t c = 0; c < 4; ++c) EXPECT_EQ(after[pastEnd + c], before[pastEnd + c]) << c;

    // Undo needs no tool: the action carries its stops.
    gPainter.selectTool(1);
    ASSERT_TRUE(gHistory.undo());
    gHistory.replayIfPending();
    EXPECT_EQ(layer(), before);
    ASSERT_TRUE(gHistory.redo());
    EXPECT_EQ(layer(), after);
}

TEST_F(GradientToolGl, EscapeDropsThePointsAndAFurtherEscapeIsNotTaken) {
    gPainter.selectTool(GradientTool::kIndex);
    tool().colors[0][0] = 0.5f; // an edited stop stays
    click({10, 20});
    click({50, 20});
    EXPECT_EQ(gPainter.onKey(27, 0, 0), 1);
    EXPECT_EQ(tool().state, 0);
    EXPECT_FALSE(tool().startHandle);
    EXPECT_FALSE(tool().endHandle);
    EXPECT_EQ(tool().onKey(27, 0, 0), 0);
    EXPECT_EQ(tool().colors[0][0], 0.5f);
    click({10, 20});
    EXPECT_EQ(tool().onKey(27, 0, 0), 1) << "with only the start placed too";
    EXPECT_EQ(tool().state, 0);
}

TEST_F(GradientToolGl, APressOnAHandleMovesItAndPlacesNothing) {
    gPainter.selectTool(GradientTool::kIndex);
    click({10, 20});
    click({70, 30});
    const math::Vec2 w = window({70, 30});
    gInputState.leftButton = true;
    gPainter.onMouseButton(0, 0, static_cast<int>(w.x), static_cast<int>(w.y), false);
    EXPECT_EQ(tool().state, 2);
    const math::Vec2 to = window({60, 50});
    EXPECT_EQ(gPainter.onMouseDrag(static_cast<int>(to.x), static_cast<int>(to.y), false), 1);
    gInputState.leftButton = false;
    gPainter.onMouseButton(0, 1, static_cast<int>(to.x), static_cast<int>(to.y), false);
    EXPECT_NEAR(tool().end.x, 60, 1.0f);
    EXPECT_NEAR(tool().end.y, 50, 1.0f);
    EXPECT_NEAR(tool().start.x, 10, 1e-3f);
    EXPECT_EQ(tool().state, 2);
}

// The frame's pass draws the ramp into the stroke buffer and puts back the
// framebuffer and viewport it found.
TEST_F(GradientToolGl, ThePreviewIsDrawnIntoTheStrokeBufferEachFrame) {
    gPainter.selectTool(GradientTool::kIndex);
    click({5, 5});
    click({90, 60});
    Framebuffer screen;
    ASSERT_TRUE(screen.create(400, 300, false, false));
    screen.bind(GL_DRAW_FRAMEBUFFER);
    glViewport(0, 0, 400, 300);
    tool().drawOnCanvas();
    GLint bound = 0, viewport[4] = {};
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &bound);
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(static_cast<GLuint>(bound), screen.framebufferId);
    EXPECT_EQ(viewport[2], 400);
    EXPECT_EQ(viewport[3], 300);
    screen.unbind();
    screen.destroy();
    const gradtest::Ramp ramp{tool().start, tool().end, tool().colors, tool().positions};
    EXPECT_LE(gradtest::largestDifference(readTexture(gCanvas.strokeBuffer.textureId, kW, kH),
                                          gradtest::expectedStrip(ramp, kW, kH)),
              1);
    // A moved stop shows at the next frame.
    tool().colors[1] = {1, 0, 0, 1};
    tool().drawOnCanvas();
    const gradtest::Ramp moved{tool().start, tool().end, tool().colors, tool().positions};
    EXPECT_LE(gradtest::largestDifference(readTexture(gCanvas.strokeBuffer.textureId, kW, kH),
                                          gradtest::expectedStrip(moved, kW, kH)),
              1);
}

TEST_F(GradientToolGl, LeavingTheToolDropsTheGradient) {
    gPainter.selectTool(GradientTool::kIndex);
    click({10, 20});
    click({50, 20});
    const std::size_t actions = gHistory.actionCount();
    gPainter.selectTool(1);
    EXPECT_EQ(tool().state, 0);
    EXPECT_FALSE(tool().startHandle);
    EXPECT_EQ(gHistory.actionCount(), actions) << "nothing was applied";
    EXPECT_EQ(tool().colors[0], (std::array<float, 4>{1, 1, 1, 1}));
    EXPECT_EQ(tool().colors[1], (std::array<float, 4>{1, 1, 1, 0}));
}

TEST_F(GradientToolGl, TheStripHoldsTheButtonsAndTheStopsEditor) {
    createToolOptionsBar();
    placeToolOptionsBar(1000, 700);
    gPainter.selectTool(GradientTool::kIndex);
    int buttons = 0, containers = 0;
    for (const auto& w : gToolOptionsBar->children) {
        buttons += dynamic_cast<ButtonWidget*>(w.get()) != nullptr;
        containers += dynamic_cast<GradientPreviewContainer*>(w.get()) != nullptr;
    }
    EXPECT_EQ(buttons, 2);
    EXPECT_EQ(containers, 1);
    gPainter.selectTool(1);
    for (const auto& w : gToolOptionsBar->children)
        EXPECT_EQ(dynamic_cast<GradientPreviewContainer*>(w.get()), nullptr) << "the editor outlived the tool";
    gToolOptionsBar.reset();
}

// The editor: a press on a swatch selects its stop (the current colour takes
// its RGB, the slider its alpha); after each update the current colour is
// written into the selected stop only.
TEST(GradientPreviewContainer, SwatchesSelectStopsAndTheCurrentColourEditsTheSelectedOne) {
    std::vector<std::array<float, 4>> colors{{1, 0, 0, 1}, {0, 0, 1, 0.25f}};
    std::vector<float> positions{0, 1};
    float current[3] = {0.5f, 0.5f, 0.5f};
    GradientPreviewContainer box(0, 0, 400, 50, &colors, &positions, current,
                                 [&current](const float* rgb) { std::copy(rgb, rgb + 3, current); });
    // The first stop starts selected and has given its colour.
    EXPECT_EQ(box.selectedIndex(), 0u);
    EXPECT_EQ(current[0], 1.0f);
    EXPECT_EQ(current[2], 0.0f);
    box.update(0, 0, 0);
    std::vector<ColorSelectionSquare*> swatches;
    for (const auto& [key, w] : box.children)
        if (auto* s = dynamic_cast<ColorSelectionSquare*>(w.get())) swatches.push_back(s);
    ASSERT_EQ(swatches.size(), 2u);
    ColorSelectionSquare* second = swatches[0]->value == colors[1].data() ? swatches[0] : swatches[1];
    EXPECT_GT(second->absX, swatches[0] == second ? swatches[1]->absX : swatches[0]->absX);
    const int x = static_cast<int>(second->absX + 3), y = static_cast<int>(second->absY + 3);
    box.onMouseButton(0, 0, x, y, false);
    box.onMouseButton(0, 1, x, y, false);
    EXPECT_EQ(box.selectedIndex(), 1u);
    EXPECT_EQ(current[2], 1.0f);
    EXPECT_EQ(box.opacitySlider->target, &colors[1][3]);
    EXPECT_FLOAT_EQ(box.opacitySlider->value, 0.25f);
    // The colour selector changes the current colour: the selected stop follows.
    current[0] = 0.1f, current[1] = 0.7f, current[2] = 0.3f;
    box.update(20, 0, 0);
    EXPECT_EQ(colors[1], (std::array<float, 4>{0.1f, 0.7f, 0.3f, 0.25f}));
    EXPECT_EQ(colors[0], (std::array<float, 4>{1, 0, 0, 1}));
}
