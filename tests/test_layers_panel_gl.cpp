// The layers panel: every gesture and button makes the one history action it
// stands for (and nothing else), thumbnails and drop slots where the geometry
// worked by hand puts them, and thumbnails that are drawn on the card only
// when their layer changed, with the mean of the pixels they cover.
//
// Geometry at GuiScale 1 with the panel's lower left at (0, 0): the list
// stands at (2, 40), 76 by 258; a thumbnail row starts at x = left = 7 and
// y = base + row * rowHeight, base = 45. For a 400 x 300 canvas the room is
// 76 - 10 - 12 (the bar) = 54 pixels, 300 / 50 = 6 < 400 / 54, so thumbnails
// are 54 by int(54 * 0.75) = 40, rows 50 high, int(258 / 50) = 5 in view.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/LayerThumbnails.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "core/Globals.h"
#include "core/InputCallbacks.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "history/BrushStrokeAction.h"
#include "history/CanvasFillAction.h"
#include "history/History.h"
#include "history/LayerListAction.h"
#include "history/LayerPropertyAction.h"
#include "io/BinaryStream.h"
#include "support/GlTestContext.h"
#include "test_command_support.h"
#include "ui/LayersPanel.h"
#include "widgets/ImageButton.h"

namespace {
constexpr int kW = 400, kH = 300;
constexpr int kLeft = 7, kBase = 45, kRow = 50, kThumbW = 54, kThumbH = 40;

class LayersPanelTest : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        ASSERT_FLOAT_EQ(GuiScale, 1.0f);
        gCanvas.resize(kW, kH, gLayers);
        gCanvas.clearCurrentSurface(0, 0, 0, 0);
        gHistory.resetForNewPicture(kW, kH);
        gApp->lastMessage.clear();
        // Strokes here start from the default brush, whatever earlier tests left.
        resetPenState();
        gInputState.reset();
        gCanvas.clearSelection();
        gCanvas.brush = Brush{};
        panel = std::make_shared<LayersWidget>(&gLayers, &gCanvas);
        tick();
    }
    void TearDown() override {
        panel.reset();
        gLayerThumbnails.clear();
        gCanvas.freeSurfaces();
        GlTest::TearDown();
    }
    void tick(int elapsedMs = 20) { panel->update(elapsedMs, 0, 0); }
    LayersWidget::LayersList& list() { return *panel->list; }

    // Centre of the thumbnail in view row `row`.
    static int rowX() { return kLeft + kThumbW / 2; }
    static int rowY(int row) { return kBase + row * kRow + kThumbH / 2; }

    void press(int x, int y) {
        gInputState.leftButton = true;
        panel->onMouseButton(0, 0, x, y, false);
    }
    void release(int x, int y) {
        gInputState.leftButton = false;
        panel->onMouseButton(0, 1, x, y, false);
    }
    void click(int x, int y) {
        press(x, y);
        release(x, y);
    }
    // Layers added as the keys add them: the top one is current.
    void makeLayers(int count) {
        while (gLayers.count() < count) panel->newLayer();
        tick();
    }
    std::vector<int> ids() const {
        std::vector<int> out;
        for (const Layer& l : gLayers.layers) out.push_back(l.id);
        return out;
    }
    const HistoryAction* last() { return gHistory.lastAction(); }
    // An undo and the frame's rebuild.
    void undo() {
        ASSERT_TRUE(gHistory.undo());
        gHistory.replayIfPending();
        tick();
    }
    void redo() {
        ASSERT_TRUE(gHistory.redo());
        tick();
    }
    // One frame of the panel into an off-screen target, as the GUI pass draws it.
    void drawFrame() {
        Framebuffer target(128, 320);
        target.create(false, false);
        target.bind(GL_DRAW_FRAMEBUFFER);
        glPushAttrib(GL_VIEWPORT_BIT);
        glViewport(0, 0, 128, 320);
        pushOrtho(128, 320);
        panel->draw(1.0f);
        popOrtho();
        glPopAttrib();
        target.unbind();
        target.destroy();
    }

    TempSettingsFolder folder;
    std::shared_ptr<LayersWidget> panel;
};

// The stored body of an action: its recorded fields, as the process file keeps them.
std::vector<uint8_t> bodyOf(const HistoryAction& action) {
    io::BinaryWriter out;
    action.write(out);
    return out.bytes();
}

ImageButton* buttonLabelled(LayersWidget& panel, const std::string& label) {
    for (const auto& [key, child] : panel.children)
        if (auto* b = dynamic_cast<ImageButton*>(child.get()); b && b->label == label) return b;
    return nullptr;
}

// The mean of the canvas pixels a thumbnail pixel covers, each by the area it
// shares with the pixel's footprint: what a box filter of the exact ratio gives.
std::vector<double> boxAverage(const std::vector<uint8_t>& src, int sw, int sh, int tw, int th) {
    std::vector<double> out(static_cast<size_t>(tw) * th * 4, 0.0);
    const double fx = static_cast<double>(sw) / tw, fy = static_cast<double>(sh) / th;
    for (int ty = 0; ty < th; ++ty)
        for (int tx = 0; tx < tw; ++tx) {
            const double x0 = tx * fx, x1 = (tx + 1) * fx, y0 = ty * fy, y1 = (ty + 1) * fy;
            double sum[4] = {0, 0, 0, 0};
            for (int y = static_cast<int>(y0); y < sh && y < y1; ++y) {
                const double wy = std::min<double>(y + 1, y1) - std::max<double>(y, y0);
                for (int x = static_cast<int>(x0); x < sw && x < x1; ++x) {
                    const double wx = std::min<double>(x + 1, x1) - std::max<double>(x, x0);
                    for (int c = 0; c < 4; ++c) sum[c] += wx * wy * src[(static_cast<size_t>(y) * sw + x) * 4 + c];
                }
            }
            for (int c = 0; c < 4; ++c) out[(static_cast<size_t>(ty) * tw + tx) * 4 + c] = sum[c] / (fx * fy);
        }
    return out;
}
} // namespace

// ---- geometry worked by hand ----

TEST(LayersListGeometry, ThumbnailSizeFollowsTheCanvasShape) {
    ASSERT_FLOAT_EQ(GuiScale, 1.0f);
    LayersWidget::LayersList list(nullptr, nullptr);
    EXPECT_EQ(list.maxThumbHeight, 50);
    list.computeThumbnailSize(400, 300); // 6 < 7.4: as wide as the room
    EXPECT_EQ(list.thumbWidth, 54);
    EXPECT_EQ(list.thumbHeight, 40);
    list.computeThumbnailSize(4000, 500); // 10 < 74.07: 54 wide, int(54 * 0.125) = 6 high
    EXPECT_EQ(list.thumbWidth, 54);
    EXPECT_EQ(list.thumbHeight, 6);
    list.computeThumbnailSize(500, 4000); // 80 >= 9.26: 50 high, int(50 / 8) = 6 wide
    EXPECT_EQ(list.thumbWidth, 6);
    EXPECT_EQ(list.thumbHeight, 50);
    list.computeThumbnailSize(540, 500); // 10 < 10.0: int(54 * 500 / 540) = 50
    EXPECT_EQ(list.thumbWidth, 54);
    EXPECT_EQ(list.thumbHeight, 50);
    list.computeThumbnailSize(100, 100); // 2 >= 1.85: 50 by 50
    EXPECT_EQ(list.thumbWidth, 50);
    EXPECT_EQ(list.thumbHeight, 50);
    EXPECT_EQ(list.cachedCanvasWidth, 100);
    EXPECT_EQ(list.cachedCanvasHeight, 100);
}

TEST_F(LayersPanelTest, DropPositionWorkedByHand) {
    makeLayers(8);
    ASSERT_EQ(list().thumbHeight, kThumbH);
    ASSERT_EQ(list().visibleCount(), 5);
    list().scrollbar.firstVisible = 0;
    // row = int((20 + y) / 50), clamped to 0..5, plus firstVisible, clamped to 0..8.
    EXPECT_EQ(list().dropPosition(0), 0);
    EXPECT_EQ(list().dropPosition(29), 0);
    EXPECT_EQ(list().dropPosition(30), 1); // upper half of row 0: the slot above it
    EXPECT_EQ(list().dropPosition(79), 1);
    EXPECT_EQ(list().dropPosition(80), 2);
    EXPECT_EQ(list().dropPosition(-100), 0);
    EXPECT_EQ(list().dropPosition(1000), 5);
    list().scrollbar.firstVisible = 3;
    EXPECT_EQ(list().dropPosition(30), 4);
    EXPECT_EQ(list().dropPosition(1000), 8);
    EXPECT_EQ(list().dropPosition(-100), 3);
}

TEST_F(LayersPanelTest, CanvasSizeChangeResizesThumbnails) {
    EXPECT_EQ(list().thumbWidth, kThumbW);
    gCanvas.resize(4000, 500, gLayers);
    tick();
    EXPECT_EQ(list().thumbWidth, 54);
    EXPECT_EQ(list().thumbHeight, 6);
    EXPECT_EQ(list().cachedCanvasWidth, 4000);
}

// ---- gestures and buttons ----

TEST_F(LayersPanelTest, ClicksOnSeveralLayersLeaveOnlyTheLastChange) {
    makeLayers(3);
    ASSERT_EQ(gLayers.current, 2);
    const size_t before = gHistory.actionCount();
    click(rowX(), rowY(0));
    EXPECT_EQ(gLayers.current, 0);
    ASSERT_EQ(gHistory.actionCount(), before + 1);
    ASSERT_EQ(last()->type(), LayerChangeAction::kTypeCode);
    EXPECT_EQ(static_cast<const LayerChangeAction*>(last())->target(), 0);
    EXPECT_EQ(gApp->lastMessage, "current layer: 0");
    click(rowX(), rowY(1));
    EXPECT_EQ(gLayers.current, 1);
    ASSERT_EQ(gHistory.actionCount(), before + 1);
    EXPECT_EQ(static_cast<const LayerChangeAction*>(last())->target(), 1);
    EXPECT_EQ(gApp->lastMessage, "current layer: 1");
    // A press on the current layer records nothing.
    click(rowX(), rowY(1) + 15);
    EXPECT_EQ(gHistory.actionCount(), before + 1);
    undo();
    EXPECT_EQ(gLayers.current, 2);
    EXPECT_EQ(gHistory.actionCount(), before);
    redo();
    EXPECT_EQ(gLayers.current, 1);
}

TEST_F(LayersPanelTest, PressesInTheGapOrOnTheVisibilityMarkSelectNothing) {
    makeLayers(3);
    const size_t before = gHistory.actionCount();
    click(rowX(), kBase + kThumbH + 5);          // between rows 0 and 1
    click(kLeft - 4, rowY(0));                     // the visibility mark (inside the list)
    click(kLeft + kThumbW + 2, rowY(0));           // right of the thumbnail
    click(rowX(), kBase - 2);                     // below the first row
    EXPECT_EQ(gHistory.actionCount(), before);
    EXPECT_EQ(gLayers.current, 2);
    EXPECT_EQ(list().dragIndex(), -1);
    // The last pixel rows of a thumbnail still count.
    click(rowX(), kBase + kThumbH);
    EXPECT_EQ(gLayers.current, 0);
}

TEST_F(LayersPanelTest, ButtonsMakeOneActionEach) {
    ImageButton* plus = buttonLabelled(*panel, "+");
    ImageButton* minus = buttonLabelled(*panel, "-");
    ImageButton* merge = buttonLabelled(*panel, "_");
    ASSERT_TRUE(plus && minus && merge);
    EXPECT_EQ(plus->tooltip, "new layer");
    EXPECT_EQ(minus->tooltip, "delete layer");
    EXPECT_EQ(merge->tooltip, "layer merge");
    // "+" at the right edge, "-" 21 further in, "_" at the left; 20 by 12.
    EXPECT_EQ(static_cast<int>(plus->absX), 60);
    EXPECT_EQ(static_cast<int>(minus->absX), 39);
    EXPECT_EQ(static_cast<int>(merge->absX), 0);

    // One layer: "-" and "_" do nothing.
    click(45, 6);
    click(10, 6);
    EXPECT_EQ(gHistory.actionCount(), 0u);
    EXPECT_EQ(gLayers.count(), 1);

    click(70, 6); // "+"
    EXPECT_EQ(gLayers.count(), 2);
    ASSERT_EQ(gHistory.actionCount(), 1u);
    EXPECT_EQ(last()->type(), NewLayerAction::kTypeCode);
    EXPECT_EQ(gApp->lastMessage, "new layer");
    undo();
    EXPECT_EQ(gLayers.count(), 1);
    redo();
    EXPECT_EQ(gLayers.count(), 2);
    EXPECT_EQ(gLayers.current, 1);

    click(10, 6); // "_": the top layer over the bottom one
    EXPECT_EQ(gLayers.count(), 1);
    ASSERT_EQ(gHistory.actionCount(), 2u);
    EXPECT_EQ(last()->type(), LayerMergeDownAction::kTypeCode);
    EXPECT_EQ(gApp->lastMessage, "layer merged down");
    undo();
    EXPECT_EQ(gLayers.count(), 2);
    redo();
    EXPECT_EQ(gLayers.count(), 1);

    click(70, 6);
    click(45, 6); // "-"
    EXPECT_EQ(gLayers.count(), 1);
    ASSERT_EQ(gHistory.actionCount(), 4u);
    EXPECT_EQ(last()->type(), DeleteLayerAction::kTypeCode);
    EXPECT_EQ(gApp->lastMessage, "layer deleted");
    undo();
    EXPECT_EQ(gLayers.count(), 2);
}

TEST_F(LayersPanelTest, MergeDownRefusedAtTheBottomAndWithAHiddenLayer) {
    makeLayers(2);
    const size_t before = gHistory.actionCount();
    click(rowX(), rowY(0)); // the bottom layer
    const size_t withChange = gHistory.actionCount();
    EXPECT_EQ(withChange, before + 1);
    panel->mergeDown();
    EXPECT_EQ(gHistory.actionCount(), withChange);
    click(rowX(), rowY(1));
    gLayers.at(1).visible = false;
    panel->mergeDown();
    gLayers.at(1).visible = true;
    gLayers.at(0).visible = false;
    panel->mergeDown();
    EXPECT_EQ(gHistory.actionCount(), withChange);
    EXPECT_EQ(gLayers.count(), 2);
    gLayers.at(0).visible = true;
    panel->mergeDown();
    EXPECT_EQ(gLayers.count(), 1);
}

TEST_F(LayersPanelTest, OneOpacityDragLeavesOneAction) {
    makeLayers(2);
    const size_t before = gHistory.actionCount();
    Slider<int>& slider = *panel->opacitySlider;
    ASSERT_EQ(slider.value, 100);
    const int y = static_cast<int>(slider.absY) + 5;
    const int x0 = static_cast<int>(slider.absX) + 5;
    gInputState.leftButton = true;
    panel->onMouseButton(0, 0, x0 + slider.trackLength(), y, false); // on the knob: no change yet
    for (int p = slider.trackLength(); p >= slider.trackLength() / 2; p -= 5) panel->onMouseDrag(x0 + p, y, false);
    gInputState.leftButton = false;
    panel->onMouseButton(0, 1, x0 + slider.trackLength() / 2, y, false);
    ASSERT_EQ(gHistory.actionCount(), before + 1);
    ASSERT_EQ(last()->type(), LayerOpacityChangeAction::kTypeCode);
    EXPECT_EQ(bodyOf(*last()), std::vector<uint8_t>({static_cast<uint8_t>(slider.value), 0, 0, 0}));
    EXPECT_EQ(gLayers.currentLayer().opacity, slider.value);
    EXPECT_LT(slider.value, 60);
    EXPECT_GT(slider.value, 40);
    const int dragged = slider.value;
    tick(); // the slider reads the layer: equal, nothing recorded
    EXPECT_EQ(gHistory.actionCount(), before + 1);
    undo();
    EXPECT_EQ(gLayers.currentLayer().opacity, 100);
    EXPECT_EQ(slider.value, 100); // the slider follows the layer
    EXPECT_EQ(gHistory.actionCount(), before);
    redo();
    EXPECT_EQ(gLayers.currentLayer().opacity, dragged);
}

TEST_F(LayersPanelTest, DoubleClickTogglesTheVisibilityOfTheLayerPressed) {
    makeLayers(2);
    press(rowX(), rowY(0)); // the press of a double click makes the layer current...
    EXPECT_EQ(panel->onDoubleClick(rowX(), rowY(0)), 1); // ...and the double click toggles it
    release(rowX(), rowY(0));
    EXPECT_FALSE(gLayers.at(0).visible);
    EXPECT_TRUE(gLayers.at(1).visible);
    EXPECT_EQ(last()->type(), LayerVisibilityToggleAction::kTypeCode);
    EXPECT_EQ(gApp->lastMessage, "layer 0 visibility OFF");
    const size_t steps = gHistory.actionCount();
    // Without a held thumbnail (the gap) nothing happens.
    press(rowX(), kBase + kThumbH + 5);
    EXPECT_EQ(panel->onDoubleClick(rowX(), kBase + kThumbH + 5), 0);
    EXPECT_EQ(gHistory.actionCount(), steps);
    press(rowX(), rowY(0));
    panel->onDoubleClick(rowX(), rowY(0));
    EXPECT_TRUE(gLayers.at(0).visible);
    EXPECT_EQ(gApp->lastMessage, "layer 0 visibility ON");
    undo();
    EXPECT_FALSE(gLayers.at(0).visible);
    redo();
    EXPECT_TRUE(gLayers.at(0).visible);
}

TEST_F(LayersPanelTest, DragTheBottomLayerToTheTop) {
    makeLayers(3);
    ASSERT_EQ(ids(), std::vector<int>({0, 1, 2}));
    press(rowX(), rowY(0));
    for (int y = rowY(0); y <= rowY(2) + 40; y += 10) panel->onMouseDrag(rowX(), y, false);
    EXPECT_EQ(list().dropIndex, 3);
    release(rowX(), rowY(2) + 40);
    EXPECT_EQ(ids(), std::vector<int>({1, 2, 0}));
    EXPECT_EQ(gLayers.current, 2);
    ASSERT_EQ(last()->type(), LayerMoveAction::kTypeCode);
    EXPECT_EQ(bodyOf(*last()), std::vector<uint8_t>({3, 0, 0, 0})); // to position 3: on top
    EXPECT_EQ(list().dragIndex(), -1);
    EXPECT_EQ(list().dropIndex, -1);
    undo();
    EXPECT_EQ(ids(), std::vector<int>({0, 1, 2}));
    EXPECT_EQ(gLayers.current, 0); // the change before the move stays
    redo();
    EXPECT_EQ(ids(), std::vector<int>({1, 2, 0}));
}

TEST_F(LayersPanelTest, AReleaseOnTheStartRowRecordsNoMove) {
    makeLayers(3);
    press(rowX(), rowY(1));
    const size_t steps = gHistory.actionCount();
    release(rowX(), rowY(1));                  // lower half: slot 1
    press(rowX(), kBase + kRow + kThumbH - 2);
    release(rowX(), kBase + kRow + kThumbH - 2); // upper half: slot 2, the same order
    EXPECT_EQ(gHistory.actionCount(), steps);
    EXPECT_EQ(ids(), std::vector<int>({0, 1, 2}));
    // One row down is a move.
    press(rowX(), rowY(1));
    panel->onMouseDrag(rowX(), rowY(0), false);
    release(rowX(), rowY(0));
    EXPECT_EQ(ids(), std::vector<int>({1, 0, 2}));
    EXPECT_EQ(gHistory.actionCount(), steps + 1);
}

TEST_F(LayersPanelTest, MoreLayersThanFitScroll) {
    makeLayers(8);
    EXPECT_TRUE(list().scrollbar.visible);
    // The new layers kept the current (top) one in sight.
    EXPECT_EQ(list().scrollbar.firstVisible, 3);
    click(rowX(), rowY(4));
    EXPECT_EQ(gLayers.current, 7);
    click(rowX(), rowY(0));
    EXPECT_EQ(gLayers.current, 3);
    // The wheel over the list scrolls by one row; beside the panel it does nothing.
    panel->onMouseMove(rowX(), rowY(0), false);
    panel->onMouseWheel(0, 1, rowX(), rowY(0));
    tick();
    EXPECT_EQ(list().scrollbar.firstVisible, 2);
    list().onMouseWheel(0, 1, 300, 300);
    EXPECT_EQ(list().scrollbar.firstVisible, 2);
    click(rowX(), rowY(0));
    EXPECT_EQ(gLayers.current, 2);
    // A press on the bar is the bar's: no layer change, no drag.
    const size_t steps = gHistory.actionCount();
    int bx = 0, by = 0, bw = 0, bh = 0;
    list().scrollbar.rectangle(bx, by, bw, bh);
    click(bx + bw / 2, by + 4);
    EXPECT_EQ(gHistory.actionCount(), steps);
    EXPECT_EQ(list().scrollbar.firstVisible, 1);
}

TEST_F(LayersPanelTest, HoldingAThumbnailAtTheEdgeScrollsARowPer801Ms) {
    makeLayers(8);
    list().scrollbar.firstVisible = 3;
    tick();
    press(rowX(), rowY(2)); // layer 5
    panel->onMouseDrag(rowX(), kBase + 2, false);
    ASSERT_EQ(list().dropIndex, 3);
    for (int t = 0; t < 40; ++t) tick(20); // 800 ms: not yet
    EXPECT_EQ(list().scrollbar.firstVisible, 3);
    tick(20);
    tick(20);
    EXPECT_EQ(list().scrollbar.firstVisible, 2);
    EXPECT_EQ(list().dropIndex, 2);
    for (int t = 0; t < 200; ++t) tick(20);
    EXPECT_EQ(list().scrollbar.firstVisible, 0);
    EXPECT_EQ(list().dropIndex, 0);
    release(rowX(), kBase + 2);
    EXPECT_EQ(gLayers.currentLayer().id, 5);
    EXPECT_EQ(gLayers.current, 0);
    // And at the top edge.
    press(rowX(), rowY(0));
    panel->onMouseDrag(rowX(), kBase + 4 * kRow + 35, false);
    ASSERT_EQ(list().dropIndex, 5);
    for (int t = 0; t < 300; ++t) tick(20);
    EXPECT_EQ(list().scrollbar.firstVisible, 3);
    EXPECT_EQ(list().dropIndex, 8);
    release(rowX(), kBase + 4 * kRow + 35);
    EXPECT_EQ(gLayers.current, 7);
    EXPECT_EQ(gLayers.currentLayer().id, 5);
}

// ---- thumbnails on the card ----

TEST_F(LayersPanelTest, ThumbnailsAreDrawnOnlyWhenTheirLayerChanged) {
    gCanvas.clearCurrentSurface(0.5f, 0, 0, 0.5f);
    makeLayers(3); // layers 0 and 1 stored, layer 2 current
    drawFrame();
    const uint64_t first = gLayerThumbnails.renders;
    EXPECT_EQ(first, 3u);
    drawFrame();
    drawFrame();
    EXPECT_EQ(gLayerThumbnails.renders, first);
    // A fill of the current layer: its thumbnail alone is made again.
    auto fill = std::make_unique<CanvasFillAction>(gCanvas, 0.0f, 0.0f, 1.0f);
    HistoryAction& step = *fill;
    gHistory.add(std::move(fill), false);
    step.execute();
    drawFrame();
    EXPECT_EQ(gLayerThumbnails.renders, first + 1);
    // Picking another layer moves no pixels that a thumbnail shows.
    click(rowX(), rowY(0));
    drawFrame();
    click(rowX(), rowY(2));
    drawFrame();
    EXPECT_EQ(gLayerThumbnails.renders, first + 1);
    // Opacity and visibility change no thumbnail either.
    panel->opacityChanged(40);
    drawFrame();
    EXPECT_EQ(gLayerThumbnails.renders, first + 1);
}

TEST_F(LayersPanelTest, AThumbnailIsTheBoxAverageOfItsLayer) {
    const std::vector<uint8_t> pattern = premultipliedPattern(kW, kH, 7);
    makeLayers(2);
    gLayers.at(0).setPixels(kW, kH, pattern.data());
    // The bottom layer from its texture, the current one from the surface.
    Layer& top = gLayers.currentLayer();
    top.setPixels(kW, kH, pattern.data());
    gCanvas.loadSurface(top.textureId, true);
    const std::vector<double> want = boxAverage(pattern, kW, kH, kThumbW, kThumbH);
    for (int index : {0, 1}) {
        const GLuint texture = gLayerThumbnails.texture(gCanvas, gLayers, index, kThumbW, kThumbH);
        ASSERT_NE(texture, 0u);
        const std::vector<uint8_t> got = readTexture(texture, kThumbW, kThumbH);
        ASSERT_EQ(got.size(), want.size());
        int off = 0;
        double worst = 0;
        for (size_t i = 0; i < got.size(); ++i) {
            const double d = std::abs(got[i] - want[i]);
            worst = std::max(worst, d);
            off += d > 1.0;
        }
        EXPECT_EQ(off, 0) << "layer " << index << ", worst difference " << worst;
    }
    // Different pixels give different thumbnails: the test sees the layer.
    const std::vector<uint8_t> other = premultipliedPattern(kW, kH, 8);
    gLayers.at(0).setPixels(kW, kH, other.data());
    const std::vector<uint8_t> changed =
        readTexture(gLayerThumbnails.texture(gCanvas, gLayers, 0, kThumbW, kThumbH), kThumbW, kThumbH);
    const std::vector<double> wantOther = boxAverage(other, kW, kH, kThumbW, kThumbH);
    int off = 0;
    for (size_t i = 0; i < changed.size(); ++i) off += std::abs(changed[i] - wantOther[i]) > 1.0;
    EXPECT_EQ(off, 0);
}

TEST_F(LayersPanelTest, AStrokeOnTheCurrentLayerShowsInItsThumbnail) {
    makeLayers(2);
    drawFrame();
    const uint64_t before = gLayerThumbnails.renders;
    const GLuint texture = gLayerThumbnails.texture(gCanvas, gLayers, 1, kThumbW, kThumbH);
    const std::vector<uint8_t> empty = readTexture(texture, kThumbW, kThumbH);
    // A real stroke across the middle, merged at its end.
    setDabSink(&gCanvas);
    gCanvas.brush.size = 30;
    gCanvas.brush.opacity = 1.0f;
    gCanvas.setColor({1, 0, 0});
    // Up to the top of a 64-pixel tile row (y 160 to 190 of 128 to 191).
    gCanvas.beginStroke(50, 175);
    for (int x = 60; x <= 350; x += 10) gCanvas.continueStroke(static_cast<float>(x), 175);
    gCanvas.endStroke();
    gCanvas.strokeFrame(false);
    setDabSink(nullptr);
    const uint64_t pixelsBefore = gLayerThumbnails.pixelsDrawn;
    drawFrame();
    EXPECT_EQ(gLayerThumbnails.renders, before + 1);
    // Only the thumbnail rows over the stroke's 64-pixel tiles were drawn
    // again: its dabs and their margin reach into two tile rows, canvas rows
    // 128 to 255, thumbnail rows 17 to 34: 18 of 40...
    const uint64_t drawn = gLayerThumbnails.pixelsDrawn - pixelsBefore;
    EXPECT_GT(drawn, 0u);
    EXPECT_LE(drawn, static_cast<uint64_t>(kThumbW) * 18);
    const std::vector<uint8_t> painted = readTexture(texture, kThumbW, kThumbH);
    // ...and the whole thumbnail is the mean of the layer as it is now.
    const std::vector<double> want = boxAverage(readTexture(gCanvas.currentLayerSurface().textureId, kW, kH), kW, kH,
                                                kThumbW, kThumbH);
    int off = 0;
    for (size_t i = 0; i < painted.size(); ++i) off += std::abs(painted[i] - want[i]) > 1.0;
    EXPECT_EQ(off, 0);
    // Thumbnail row 23 (canvas rows 172.5 to 180) is red now, the top row still clear.
    const uint8_t* mid = &painted[(static_cast<size_t>(23) * kThumbW + kThumbW / 2) * 4];
    EXPECT_GT(mid[0], 200);
    EXPECT_GT(mid[3], 200);
    EXPECT_EQ(empty[(static_cast<size_t>(23) * kThumbW + kThumbW / 2) * 4 + 3], 0);
    EXPECT_EQ(painted[(static_cast<size_t>(kThumbH - 1) * kThumbW + kThumbW / 2) * 4 + 3], 0);
    // The layer below did not change: its thumbnail was not made again.
    drawFrame();
    EXPECT_EQ(gLayerThumbnails.renders, before + 1);
}

// Strokes of many sizes at many places, each followed by a frame: the
// thumbnail, updated in part each time, stays the mean of the whole layer.
TEST_F(LayersPanelTest, PartialUpdatesKeepTheWholeThumbnailExact) {
    makeLayers(2);
    drawFrame();
    const GLuint texture = gLayerThumbnails.texture(gCanvas, gLayers, 1, kThumbW, kThumbH);
    setDabSink(&gCanvas);
    gCanvas.brush.opacity = 1.0f;
    const uint64_t pixelsBefore = gLayerThumbnails.pixelsDrawn;
    for (int i = 0; i < 16; ++i) {
        gCanvas.brush.size = 4 + (i * 7) % 40;
        gCanvas.setColor({(i % 3) / 2.0f, (i % 5) / 4.0f, (i % 2) * 1.0f});
        const float x0 = static_cast<float>((i * 97) % (kW - 60)), y0 = static_cast<float>((i * 61) % kH);
        gCanvas.beginStroke(x0, y0);
        for (int k = 1; k <= 6; ++k) gCanvas.continueStroke(x0 + 9.0f * k, y0 + ((i % 2) ? 4.0f : -4.0f) * k);
        gCanvas.endStroke();
        gCanvas.strokeFrame(false);
        drawFrame();
        const std::vector<uint8_t> got = readTexture(texture, kThumbW, kThumbH);
        const std::vector<double> want =
            boxAverage(readTexture(gCanvas.currentLayerSurface().textureId, kW, kH), kW, kH, kThumbW, kThumbH);
        int off = 0;
        for (size_t p = 0; p < got.size(); ++p) off += std::abs(got[p] - want[p]) > 1.0;
        EXPECT_EQ(off, 0) << "after stroke " << i;
    }
    setDabSink(nullptr);
    // Far fewer pixels than 16 whole thumbnails.
    EXPECT_LT(gLayerThumbnails.pixelsDrawn - pixelsBefore, 16u * kThumbW * kThumbH / 2);
}
