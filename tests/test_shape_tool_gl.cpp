// The shape tool on the graphics card: figures applied to the current layer
// against a CPU reference (the primitive's coverage at pixel centres, the
// 3 x 3 tent of the smoothed merge, the merge formula), a click pair on one
// spot, a border with no room inside, limited passes against whole ones,
// and what an undo does to a figure that left no action behind.
#include <gtest/gtest.h>

#include <GL/glew.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <vector>

#include "canvas/BlendReference.h"
#include "canvas/GlPixels.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/PaintingApplication.h"
#include "support/GlTestContext.h"
#include "test_process_document.h"
#include "tools/ShapeTool.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr int kW = 128, kH = 96;

std::size_t at(int x, int y) { return (static_cast<std::size_t>(y) * kW + static_cast<std::size_t>(x)) * 4; }

// Where a primitive covers pixel centres: 1 inside, 0 outside, -1 where a
// centre lies so near an edge that the rasteriser's tie rule decides.
std::vector<int> coverage(const std::vector<shape::Point>& vertices, bool strip, math::Vec2 offset) {
    std::vector<std::array<shape::Point, 3>> triangles;
    for (std::size_t i = 0; i + 2 < vertices.size(); ++i) {
        if (strip) triangles.push_back({vertices[i], vertices[i + 1], vertices[i + 2]});
        else triangles.push_back({vertices[0], vertices[i + 1], vertices[i + 2]});
    }
    std::vector<int> cover(static_cast<std::size_t>(kW * kH), 0);
    constexpr float kTie = 1e-3f;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const float px = static_cast<float>(x) + 0.5f - offset.x, py = static_cast<float>(y) + 0.5f - offset.y;
            bool inside = false, near = false;
            for (const auto& t : triangles) {
                const float area = (t[1].x - t[0].x) * (t[2].y - t[0].y) - (t[2].x - t[0].x) * (t[1].y - t[0].y);
                if (std::fabs(area) < 1e-6f) continue; // the strip's closing pair repeats points
                const float sign = area > 0 ? 1.0f : -1.0f;
                float least = 1e30f;
                for (int e = 0; e < 3; ++e) {
                    const shape::Point& a = t[static_cast<std::size_t>(e)];
                    const shape::Point& b = t[static_cast<std::size_t>((e + 1) % 3)];
                    const float d = sign * ((b.x - a.x) * (py - a.y) - (b.y - a.y) * (px - a.x)) / std::hypot(b.x - a.x, b.y - a.y);
                    least = std::min(least, d);
                }
                if (least > kTie) inside = true;
                else if (least > -kTie) near = true;
            }
            cover[static_cast<std::size_t>(y * kW + x)] = inside ? 1 : near ? -1 : 0;
        }
    return cover;
}

// One pass of the figure in `color` over `layer` by the smoothed merge;
// `known` loses the pixels whose neighbourhood holds an undecided centre.
Bytes cpuPass(const Bytes& layer, const std::vector<int>& cover, const float color[4], std::vector<bool>& known) {
    Bytes out = layer;
    std::vector<bool> stillKnown = known;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            bool undecided = false;
            const float a0 = blendref::smoothedAlpha([&](int dx, int dy) {
                const int sx = std::clamp(x + dx, 0, kW - 1), sy = std::clamp(y + dy, 0, kH - 1);
                const int c = cover[static_cast<std::size_t>(sy * kW + sx)];
                if (c < 0) undecided = true;
                return c > 0 ? 1.0f : 0.0f;
            });
            if (undecided) {
                stillKnown[static_cast<std::size_t>(y * kW + x)] = false;
                continue;
            }
            const blendref::Rgba top{color[0], color[1], color[2], 1.0f};
            const blendref::Rgba r = blendref::smoothOver(top, a0, blendref::fromBytes(&layer[at(x, y)]));
            out[at(x, y)] = blendref::toByte(r.r), out[at(x, y) + 1] = blendref::toByte(r.g);
            out[at(x, y) + 2] = blendref::toByte(r.b), out[at(x, y) + 3] = blendref::toByte(r.a);
        }
    known = stillKnown;
    return out;
}

struct ShapeDoc : processtest::GlDocument {
    Camera camera;
    Painter painter{kW, kH, &camera, &canvas, &layers, gApp};
    ShapeTool tool{&painter};

    explicit ShapeDoc(bool limited = true) : GlDocument(kW, kH) {
        canvas.limitPassesToChanges = limited;
        setDabSink(&canvas);
    }
    ~ShapeDoc() { setDabSink(nullptr); }
    Bytes layer() { return readTexture(canvas.currentLayerSurface().textureId, kW, kH); }
    // Press at one corner, drag to the other, as the pointer would.
    void place(math::Vec2 first, math::Vec2 second) {
        painter.canvasPosition = first;
        tool.onMouseButton(0, 0, 0, 0, false);
        painter.canvasPosition = (first + second) * 0.5f;
        tool.onMouseDrag(0, 0, false);
        painter.canvasPosition = second;
        tool.onMouseDrag(0, 0, false);
        tool.onMouseButton(0, 1, 0, 0, false);
    }
    // The reference for the figure placed now, over `before`.
    Bytes expected(const Bytes& before, std::vector<bool>& known) {
        Bytes out = before;
        for (const shape::Pass pass : tool.passes()) {
            const bool strip = pass == shape::Pass::Border;
            const auto& vertices = strip ? tool.borderVertices : tool.fillVertices;
            const float* color = pass == shape::Pass::Fill ? tool.fillColor : tool.borderColor;
            out = cpuPass(out, coverage(vertices, strip, tool.firstCorner), color, known);
        }
        return out;
    }
};

// Largest channel difference over the known pixels, and how many there were.
int largestDifference(const Bytes& a, const Bytes& b, const std::vector<bool>& known, int& compared) {
    int worst = 0;
    compared = 0;
    for (std::size_t i = 0; i < known.size(); ++i) {
        if (!known[i]) continue;
        ++compared;
        for (std::size_t c = 0; c < 4; ++c) worst = std::max(worst, std::abs(a[i * 4 + c] - b[i * 4 + c]));
    }
    return worst;
}

void expectPixel(const Bytes& px, int x, int y, std::array<int, 4> rgba) {
    for (std::size_t c = 0; c < 4; ++c) EXPECT_NEAR(px[at(x, y) + c], rgba[c], 1) << x << ", " << y << " channel " << c;
}

class ShapeToolGl : public GlTest {};

constexpr float kBlue[4] = {0.2f, 0.6f, 1.0f, 1.0f};
constexpr float kRed[4] = {0.8f, 0.1f, 0.1f, 1.0f};

void setColors(ShapeTool& tool) {
    std::copy(kBlue, kBlue + 4, tool.fillColor);
    std::copy(kRed, kRed + 4, tool.borderColor);
}

} // namespace

TEST_F(ShapeToolGl, FilledBorderedRectangleMatchesTheCpuReference) {
    for (bool limited : {true, false}) {
        SCOPED_TRACE(limited ? "limited passes" : "whole passes");
        ShapeDoc d(limited);
        setColors(d.tool);
        d.tool.shapeIndex = shape::kRectangle;
        d.tool.fillEnabled = true;
        d.tool.borderWidth = 5;
        const Bytes before = d.layer();
        ASSERT_EQ(before[at(5, 5)], 204); // the document starts light grey
        d.place({20.3f, 15.6f}, {90.7f, 70.2f});
        ASSERT_EQ(d.tool.state, 2);
        GLint viewportBefore[4], viewportAfter[4];
        glGetIntegerv(GL_VIEWPORT, viewportBefore);
        EXPECT_EQ(d.tool.onKey(13, 0, 0), 1);
        glGetIntegerv(GL_VIEWPORT, viewportAfter);
        EXPECT_EQ(d.tool.state, 0);
        EXPECT_TRUE(std::equal(viewportBefore, viewportBefore + 4, viewportAfter))
            << "the viewport is put back: " << viewportBefore[2] << " x " << viewportBefore[3] << " became "
            << viewportAfter[2] << " x " << viewportAfter[3];
        const Bytes after = d.layer();
        std::vector<bool> known(static_cast<std::size_t>(kW * kH), true);
        const Bytes want = d.expected(before, known);
        int compared = 0;
        EXPECT_LE(largestDifference(after, want, known, compared), 1);
        EXPECT_GT(compared, kW * kH * 9 / 10);
        // Inside the fill, on the border band, outside.
        expectPixel(after, 55, 42, {51, 153, 255, 255});
        expectPixel(after, 22, 40, {204, 26, 26, 255});  // 20.3 .. 25.3 across
        expectPixel(after, 55, 67, {204, 26, 26, 255});  // 65.2 .. 70.2 up
        expectPixel(after, 10, 40, {204, 204, 204, 255});
        expectPixel(after, 100, 80, {204, 204, 204, 255});
        // The fill stops where the border starts: x = 26 lies inside both the
        // fill (from 20.3) and clear of the border (to 25.3).
        expectPixel(after, 27, 40, {51, 153, 255, 255});
        // Nothing of the figure stays in the stroke buffer.
        const Bytes stroke = readTexture(d.canvas.strokeBuffer.textureId, kW, kH);
        EXPECT_EQ(stroke[at(55, 42) + 3], 0);
        EXPECT_EQ(stroke[at(55, 42)], 0);
    }
}

TEST_F(ShapeToolGl, FilledBorderedEllipseMatchesTheCpuReference) {
    ShapeDoc d;
    setColors(d.tool);
    d.tool.shapeIndex = shape::kEllipse;
    d.tool.fillEnabled = true;
    d.tool.borderWidth = 6;
    const Bytes before = d.layer();
    // Dragged up and to the left: mirrored, the same ellipse.
    d.place({110.4f, 85.3f}, {14.2f, 9.7f});
    ASSERT_GT(d.tool.fillVertices.size(), 40u);
    d.tool.onKey(13, 0, 0);
    const Bytes after = d.layer();
    std::vector<bool> known(static_cast<std::size_t>(kW * kH), true);
    const Bytes want = d.expected(before, known);
    int compared = 0;
    EXPECT_LE(largestDifference(after, want, known, compared), 1);
    EXPECT_GT(compared, kW * kH * 9 / 10);
    // Centre (62.3, 47.5), half axes 48.1 and 37.8.
    expectPixel(after, 62, 47, {51, 153, 255, 255});
    expectPixel(after, 16, 47, {204, 26, 26, 255});   // 1.8 in from the left end
    expectPixel(after, 62, 82, {204, 26, 26, 255});   // 2.8 in from the top
    expectPixel(after, 15, 12, {204, 204, 204, 255}); // the box's corner lies outside
    expectPixel(after, 120, 47, {204, 204, 204, 255});
}

TEST_F(ShapeToolGl, BorderOnlyTriangleLeavesTheInsideAlone) {
    ShapeDoc d;
    setColors(d.tool);
    d.tool.shapeIndex = shape::kTriangle;
    d.tool.fillEnabled = false;
    d.tool.borderWidth = 3;
    const Bytes before = d.layer();
    d.place({10.25f, 10.25f}, {110.75f, 85.75f});
    d.tool.onKey(13, 0, 0);
    const Bytes after = d.layer();
    std::vector<bool> known(static_cast<std::size_t>(kW * kH), true);
    int compared = 0;
    EXPECT_LE(largestDifference(after, d.expected(before, known), known, compared), 1);
    EXPECT_GT(compared, kW * kH * 9 / 10);
    expectPixel(after, 60, 40, {204, 204, 204, 255}); // inside, no fill
    expectPixel(after, 60, 11, {204, 26, 26, 255});   // the bottom edge's band
}

TEST_F(ShapeToolGl, ABorderWiderThanHalfTheBoxPaintsTheWholeFigureInIt) {
    ShapeDoc d;
    setColors(d.tool);
    d.tool.shapeIndex = shape::kRectangle;
    d.tool.fillEnabled = true;
    d.tool.borderWidth = 12;
    d.place({30.5f, 30.5f}, {80.5f, 50.5f}); // 20 high: 12 is more than half
    EXPECT_TRUE(d.tool.borderVertices.empty());
    d.tool.onKey(13, 0, 0);
    const Bytes after = d.layer();
    expectPixel(after, 55, 40, {204, 26, 26, 255});
    expectPixel(after, 35, 33, {204, 26, 26, 255});
    expectPixel(after, 55, 55, {204, 204, 204, 255});
}

TEST_F(ShapeToolGl, AClickPairOnOneSpotDrawsNothing) {
    ShapeDoc d;
    setColors(d.tool);
    d.tool.fillEnabled = true;
    d.tool.borderWidth = 4;
    const Bytes before = d.layer();
    const uint64_t revision = d.canvas.surfaceRevision();
    d.painter.canvasPosition = {40, 40};
    d.tool.onMouseButton(0, 0, 0, 0, false);
    d.tool.onMouseButton(0, 1, 0, 0, false);
    d.tool.onMouseButton(0, 0, 0, 0, false);
    ASSERT_EQ(d.tool.state, 2);
    EXPECT_EQ(d.tool.onKey(13, 0, 0), 1);
    EXPECT_EQ(d.layer(), before);
    EXPECT_EQ(d.canvas.surfaceRevision(), revision) << "no pass ran";
}

TEST_F(ShapeToolGl, TheFigureLeavesNoActionAndAnUndoRebuildsWithoutIt) {
    ShapeDoc d;
    setColors(d.tool);
    d.tool.fillEnabled = true;
    d.tool.borderWidth = 0;
    Brush round;
    round.size = 4;
    d.perform(processtest::stroke(round, {0, 0, 0}, 10, 80, 4, 0, 10)); // a black line near the top
    const std::size_t actions = d.history.actionCount();
    const Bytes withStroke = d.layer();
    const int32_t modifications = d.layers.modificationCount;
    d.place({40.5f, 20.5f}, {90.5f, 60.5f});
    d.tool.onKey(13, 0, 0);
    EXPECT_EQ(d.history.actionCount(), actions) << "the figure adds no action";
    // Nor does it count as a change: the questions about unsaved work go by this count.
    EXPECT_EQ(d.layers.modificationCount, modifications);
    const Bytes withFigure = d.layer();
    expectPixel(withFigure, 60, 40, {51, 153, 255, 255});
    // Undo takes back the stroke, the last action, and rebuilds the canvas
    // from the snapshot and the actions before it: the figure goes too.
    ASSERT_TRUE(d.history.undo());
    d.history.replayIfPending();
    const Bytes undone = d.layer();
    expectPixel(undone, 60, 40, {204, 204, 204, 255});
    EXPECT_EQ(undone[at(30, 80)], 204) << "the stroke is undone";
    // Redo brings the stroke back, not the figure.
    ASSERT_TRUE(d.history.redo());
    const Bytes redone = d.layer();
    EXPECT_EQ(redone, withStroke);
}

TEST_F(ShapeToolGl, ASnapshotTakenAfterTheFigureKeepsItThroughAnUndo) {
    ShapeDoc d;
    setColors(d.tool);
    d.tool.fillEnabled = true;
    d.tool.borderWidth = 0;
    d.place({40.5f, 20.5f}, {90.5f, 60.5f});
    d.tool.onKey(13, 0, 0);
    // Enough actions after it that the history takes a snapshot (one every
    // 31 steps): the snapshot reads the layers back, figure and all.
    for (int i = 0; i < History::kMaxUndoDepth + 2; ++i)
        d.perform(std::make_unique<LayerOpacityChangeAction>(d.canvas, d.layers, i % 2 ? 100 : 90));
    ASSERT_TRUE(d.history.undo());
    d.history.replayIfPending();
    expectPixel(d.layer(), 60, 40, {51, 153, 255, 255});
}

TEST_F(ShapeToolGl, PreviewFollowsTheViewsZoomAndRotation) {
    ShapeDoc d;
    constexpr int kWindowW = 200, kWindowH = 160;
    d.painter.renderArea = {0, 0, kWindowW, kWindowH};
    d.camera.lookFrom(40.0f); // two window pixels a canvas pixel
    d.camera.rotation = 30.0f;
    d.camera.setRotation();
    d.camera.position.x = 20.0f; // panned
    setColors(d.tool);
    d.tool.shapeIndex = shape::kRectangle;
    d.tool.fillEnabled = true;
    d.tool.borderWidth = 0;
    const math::Vec2 low{52.0f, 35.0f}, high{88.0f, 61.0f};
    d.place(low, high);
    Framebuffer out(kWindowW, kWindowH);
    ASSERT_TRUE(out.create(false, false));
    out.bind(GL_DRAW_FRAMEBUFFER);
    glPushAttrib(GL_VIEWPORT_BIT | GL_COLOR_BUFFER_BIT);
    glViewport(0, 0, kWindowW, kWindowH);
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    d.tool.drawOnCanvas();
    glPopAttrib();
    out.unbind();
    const Bytes shown = readFramebuffer(out);
    out.destroy();
    // Each window pixel taken back to the canvas by the view's own mapping:
    // inside the rectangle (by more than a window pixel's reach) blue,
    // outside black.
    int inside = 0, outside = 0, wrong = 0;
    const float margin = 1.0f; // canvas pixels: two window pixels
    for (int y = 0; y < kWindowH; ++y)
        for (int x = 0; x < kWindowW; ++x) {
            const math::Vec2 c = d.painter.windowToCanvas({x + 0.5f, y + 0.5f});
            const bool in = c.x > low.x + margin && c.x < high.x - margin && c.y > low.y + margin && c.y < high.y - margin;
            const bool out_ = c.x < low.x - margin || c.x > high.x + margin || c.y < low.y - margin || c.y > high.y + margin;
            const uint8_t* p = &shown[(static_cast<std::size_t>(y) * kWindowW + static_cast<std::size_t>(x)) * 4];
            if (in) {
                ++inside;
                if (!(p[0] == 51 && p[1] == 153 && p[2] == 255)) ++wrong;
            } else if (out_) {
                ++outside;
                if (!(p[0] == 0 && p[1] == 0 && p[2] == 0)) ++wrong;
            }
        }
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(inside, 2000);  // 34 x 24 canvas pixels at 2 x 2 window pixels each, less the margin
    EXPECT_GT(outside, 20000);
}
