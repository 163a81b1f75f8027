// The perspective grid on GL, through the painter's whole frame: it stays
// drawn while the brush is current, its handles show only while the tool is
// current, and nothing of it reaches past the canvas.
//
// A 200 x 100 canvas, grey as every new picture, in a 400 x 300 render area
// seen from a height of 100: 300 / 200 = 1.5 window pixels a canvas pixel, so
// the canvas covers x 50 .. 350, y 75 .. 225 and its centre is (200, 150).
#include <GL/glew.h>
#include <GL/glu.h>

#include <gtest/gtest.h>

#include <algorithm>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/InteractionMode.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "support/GlTestContext.h"
#include "support/ProgramDocument.h"
#include "tools/PerspectiveTool.h"

namespace {
constexpr int kW = 200, kH = 100;
constexpr int kAreaW = 400, kAreaH = 300;

PerspectiveTool& tool() { return static_cast<PerspectiveTool&>(*gPainter.tools[4]); }

class PerspectiveGl : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        resetProgramDocument(kW, kH, nullptr, kAreaW, kAreaH, 100);
        tool().onCanvasCreated(kW, kH);
        tool().vpFlags = 1;
        tool().parallelFlags = 0;
        tool().opacity = 0.5f;
        tool().steps = 10;
        tool().enabled = false;
    }
    void TearDown() override {
        gPainter.selectTool(1);
        tool().enabled = false;
        for (auto& l : tool().customLines) l.clear();
        gHistory.freeSnapshots();
        gHistory.clear();
        gCanvas.freeSurfaces();
        gLayers.reset(1);
        GlTest::TearDown();
    }
    // One frame as the window's display draws it: the grey surround, then the
    // painter (canvas through the camera, then the overlays of active tools).
    static std::vector<uint8_t> frame() {
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glViewport(0, 0, kAreaW, kAreaH);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        gluPerspective(90.0, static_cast<double>(kAreaW) / kAreaH, 1.0, 50000.0);
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glClearColor(0.4f, 0.4f, 0.4f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
        gPainter.draw();
        glFinish();
        glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
        std::vector<uint8_t> px = readPixels(0, 0, kAreaW, kAreaH);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glMatrixMode(GL_MODELVIEW);
        return px;
    }
    static const uint8_t* at(const std::vector<uint8_t>& px, int x, int y) {
        return &px[(static_cast<size_t>(y) * kAreaW + static_cast<size_t>(x)) * 4];
    }
    // Whether any pixel of the column x, rows y0 .. y1, passes the test.
    template <typename Test> static bool anyInColumn(const std::vector<uint8_t>& px, int x, int y0, int y1, Test t) {
        for (int y = y0; y <= y1; ++y)
            if (t(at(px, x, y))) return true;
        return false;
    }
    template <typename Test> static bool anyInRow(const std::vector<uint8_t>& px, int y, int x0, int x1, Test t) {
        for (int x = x0; x <= x1; ++x)
            if (t(at(px, x, y))) return true;
        return false;
    }
};

// The fan of the centre point reaches the top edge's middle division (0, 50)
// along x = 200 from y = 150 to 225. Near its far end, at y = 215, its alpha
// is about 0.5 * 65 / 75: blue (0, 0, 0.4) over the grey 204 gives red about
// 204 * 0.57 = 116 and blue about 160.
bool fanBlue(const uint8_t* p) { return p[0] < 150 && p[2] > p[0] + 30; }
// The handles' horizon: cyan (0, 1, 1) at 0.5 over grey, green about 229 and
// red about 102; no grid colour lifts green above red.
bool cyan(const uint8_t* p) { return p[1] > p[0] + 60; }
} // namespace

TEST_F(PerspectiveGl, GridStaysDrawnWhileTheBrushIsCurrent) {
    std::vector<uint8_t> off = frame();
    EXPECT_FALSE(anyInRow(off, 215, 197, 203, fanBlue)) << "no grid before the tool was used";
    EXPECT_EQ(at(off, 200, 215)[0], 204) << "the grey canvas";

    gPainter.selectTool(4);
    gPainter.selectTool(1);
    ASSERT_EQ(gApp->currentToolIndex(), 1);
    ASSERT_TRUE(tool().isActive());
    const std::vector<uint8_t> on = frame();
    EXPECT_TRUE(anyInRow(on, 215, 197, 203, fanBlue)) << "a fan line with the brush current";
    EXPECT_FALSE(anyInColumn(on, 100, 145, 155, cyan)) << "no handles while another tool is current";
    EXPECT_EQ(at(on, 20, 150)[0], 102) << "the surround stays grey";

    tool().enabled = false;
    off = frame();
    EXPECT_FALSE(anyInRow(off, 215, 197, 203, fanBlue)) << "switched off, the grid is gone";
}

TEST_F(PerspectiveGl, HandlesShowOnlyWhileTheToolIsCurrent) {
    gPainter.selectTool(4);
    const std::vector<uint8_t> current = frame();
    EXPECT_TRUE(anyInColumn(current, 100, 145, 155, cyan)) << "the horizon handle line";
    EXPECT_TRUE(anyInRow(current, 215, 197, 203, fanBlue));
    gPainter.selectTool(1);
    const std::vector<uint8_t> other = frame();
    EXPECT_FALSE(anyInColumn(other, 100, 145, 155, cyan));
}

// A scattered line from the centre to (-300, 0) leaves the canvas at x = 50:
// dark inside (black at 0.7 over grey: about 61), nothing outside.
TEST_F(PerspectiveGl, GridIsCutAtTheCanvasEdge) {
    gPainter.selectTool(4);
    gPainter.selectTool(1);
    tool().vpFlags = 0; // no fans: only the scattered line
    tool().customLines[0].push_back({-300, 0});
    const std::vector<uint8_t> px = frame();
    auto dark = [](const uint8_t* p) { return p[0] < 90; };
    EXPECT_TRUE(anyInColumn(px, 100, 147, 153, dark)) << "the line on the canvas";
    for (int x = 0; x < 48; ++x)
        for (int y = 140; y <= 160; ++y) ASSERT_EQ(at(px, x, y)[0], 102) << x << "," << y << " off the canvas";
}
