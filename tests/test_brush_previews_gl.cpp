// The brush previews on a headless context: the dialog's sample stroke and
// the single dab of the HUD and the tip grid, read back from GL. Each is
// checked against the coverage rule of a dab worked out here (full inside
// the radius less the edge, nothing beyond it), against itself (the same
// pixels twice) and against a changed brush (different pixels).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "brush/Brush.h"
#include "brush/BrushTips.h"
#include "canvas/Framebuffer.h"
#include "canvas/GlPixels.h"
#include "core/Globals.h"
#include "support/GlTestContext.h"
#include "ui/BrushPreview.h"
#include "ui/BrushStrokePreview.h"
#include "TestPaths.h"

namespace {

Brush hardRound(int size, float spacing = 0.25f) {
    Brush b;
    b.size = size;
    b.spacing = spacing;
    return b;
}

class BrushPreviewsGl : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        GuiScale = 1.0f;
    }

    // The sample stroke's own surface, RGBA bottom-up.
    std::vector<uint8_t> strokePixels(const Brush& brush, int w = 350, int h = 100) {
        BrushStrokePreviewWidget widget(0, 0, w, h, 0, brush, h);
        widget.tips = &noTips;
        widget.update(0, 0, 0);
        widget.renderPixels();
        EXPECT_FALSE(widget.pixelsStale);
        auto px = readFramebuffer(widget.surface);
        lastPoints = widget.points;
        widget.surface.destroy();
        return px;
    }

    // What a widget draws over opaque black in a w x h target, RGBA bottom-up.
    template <typename W> std::vector<uint8_t> drawn(W& widget, int w, int h, float opacity = 1.0f) {
        Framebuffer fb(w, h);
        EXPECT_TRUE(fb.create(false, false));
        fb.bind();
        glViewport(0, 0, w, h);
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        pushOrtho(static_cast<float>(w), static_cast<float>(h));
        glMatrixMode(GL_MODELVIEW);
        glPushMatrix();
        glLoadIdentity();
        widget.draw(opacity);
        glPopMatrix();
        popOrtho();
        fb.unbind();
        auto px = readFramebuffer(fb);
        fb.destroy();
        return px;
    }

    static const uint8_t* at(const std::vector<uint8_t>& px, int w, int x, int y) {
        return &px[(static_cast<std::size_t>(y) * w + x) * 4];
    }

    BrushTipTable noTips;
    std::vector<BrushStrokePoint> lastPoints;
};

} // namespace

TEST_F(BrushPreviewsGl, SampleStrokeCoversItsDabsAndNothingElse) {
    const int w = 350, h = 100;
    const auto px = strokePixels(hardRound(20), w, h);
    ASSERT_EQ(lastPoints.size(), 53u);
    // Dab 12 of the second half has pressure 1: flow 1 at its centre.
    const BrushStrokePoint& peak = lastPoints[27 + 12];
    ASSERT_FLOAT_EQ(peak.flowFactor, 1.0f);
    int inside = 0, outside = 0;
    for (int y = 0; y < h; y += 2) {
        for (int x = 0; x < w; x += 2) {
            const float fx = x + 0.5f, fy = y + 0.5f;
            float nearest = std::numeric_limits<float>::max();
            for (const auto& p : lastPoints) nearest = std::min(nearest, std::hypot(fx - p.x, fy - p.y));
            const uint8_t* c = at(px, w, x, y);
            if (nearest > 10.0f + 2.0f) {
                // Beyond every dab's rim: the clear white without alpha.
                ASSERT_EQ(c[3], 0) << x << "," << y;
                ASSERT_EQ(c[0], 255) << x << "," << y;
                ++outside;
            } else if (std::hypot(fx - peak.x, fy - peak.y) < 10.0f - 2.0f) {
                // Inside the full-pressure dab: the maximum keeps its full alpha.
                ASSERT_EQ(c[3], 255) << x << "," << y;
                ++inside;
            }
        }
    }
    EXPECT_GT(inside, 30);
    EXPECT_GT(outside, 3000);
}

TEST_F(BrushPreviewsGl, SampleStrokeIsTheSameEachTimeAndFollowsTheBrush) {
    Brush b = hardRound(20);
    b.size_jitter = 60.0f;
    b.scattering = 1.5f;
    const auto first = strokePixels(b);
    const auto second = strokePixels(b);
    EXPECT_EQ(first, second) << "the sample is drawn from a fixed seed";
    Brush bigger = b;
    bigger.size = 28;
    EXPECT_NE(strokePixels(bigger), first);
    Brush spaced = b;
    spaced.spacing = 1.5f;
    EXPECT_NE(strokePixels(spaced), first);
}

TEST_F(BrushPreviewsGl, SampleStrokeShowsTheBrushOpacity) {
    Brush b = hardRound(20);
    BrushStrokePreviewWidget widget(0, 0, 350, 100, 0, b, 100);
    widget.tips = &noTips;
    widget.update(0, 0, 0);
    const auto full = drawn(widget, 350, 100);
    const BrushStrokePoint peak = widget.points[27 + 12];
    const int x = static_cast<int>(peak.x), y = static_cast<int>(peak.y);
    // White at full alpha over black.
    EXPECT_GE(at(full, 350, x, y)[0], 254);
    widget.brush.opacity = 0.5f;
    widget.rebuild = true;
    widget.update(0, 0, 0);
    const auto half = drawn(widget, 350, 100);
    EXPECT_NEAR(at(half, 350, x, y)[0], 128, 2);
    EXPECT_EQ(at(half, 350, 2, 2)[0], 0) << "nothing drawn away from the stroke";
    widget.surface.destroy();
}

TEST_F(BrushPreviewsGl, AnotherHeightSetsTheSampleSizeToAQuarterOfIt) {
    Brush b = hardRound(90);
    // Made for a height of 1 pixel, shown 60 high: the size follows the row.
    BrushStrokePreviewWidget row(0, 0, 250, 60, 0, b, 1);
    row.tips = &noTips;
    row.update(0, 0, 0);
    EXPECT_EQ(row.brush.size, 15);
    EXPECT_EQ(row.lastHeight, 60);
    // Kept at the height it was made for: the size stays.
    BrushStrokePreviewWidget same(0, 0, 250, 60, 0, b, 60);
    same.update(0, 0, 0);
    EXPECT_EQ(same.brush.size, 90);
}

TEST_F(BrushPreviewsGl, DabPreviewStampsTheBrushAtItsSize) {
    const int w = 64, h = 64;
    Brush b = hardRound(20);
    const float white[3] = {1, 1, 1};
    BrushPreviewWidget dab(0, 0, &b, white, false, false);
    dab.tips = &noTips;
    dab.centered = true;
    dab.absX = 32;
    dab.absY = 32;
    const auto px = drawn(dab, w, h);
    // Radius 10 around (32, 32): full inside 8, nothing beyond 12.
    EXPECT_GE(at(px, w, 32, 32)[0], 254);
    EXPECT_GE(at(px, w, 39, 32)[0], 254);
    EXPECT_GE(at(px, w, 32, 24)[1], 254);
    EXPECT_EQ(at(px, w, 45, 32)[0], 0);
    EXPECT_EQ(at(px, w, 32, 19)[0], 0);
    EXPECT_EQ(at(px, w, 41, 41)[0], 0) << "a disc, not a square";
    EXPECT_EQ(drawn(dab, w, h), px) << "the same pixels twice";

    b.size = 30;
    const auto larger = drawn(dab, w, h);
    EXPECT_GE(at(larger, w, 45, 32)[0], 254);
    b.size = 20;
    b.opacity = 0.5f;
    const auto faint = drawn(dab, w, h);
    EXPECT_NEAR(at(faint, w, 32, 32)[0], 128, 2);
    // Off-centre: the dab hangs one radius below the widget's place.
    b.opacity = 1.0f;
    dab.centered = false;
    const auto hanging = drawn(dab, w, h);
    EXPECT_GE(at(hanging, w, 32, 22)[0], 254);
    EXPECT_EQ(at(hanging, w, 32, 35)[0], 0);
}

TEST_F(BrushPreviewsGl, DabPreviewDrawsTheColourAndTheOutline) {
    const int w = 64, h = 64;
    Brush b = hardRound(20);
    const float red[3] = {1, 0, 0};
    BrushPreviewWidget dab(0, 0, &b, red, false, true);
    dab.tips = &noTips;
    dab.centered = true;
    dab.absX = 32;
    dab.absY = 32;
    const auto px = drawn(dab, w, h);
    EXPECT_GE(at(px, w, 32, 32)[0], 254);
    EXPECT_EQ(at(px, w, 32, 32)[1], 0);
    // With no opacity only the white ring at radius 10 is left.
    b.opacity = 0.0f;
    const auto ring = drawn(dab, w, h);
    int ringWhite = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const float d = std::hypot(x + 0.5f - 32.0f, y + 0.5f - 32.0f);
            const uint8_t* c = at(ring, w, x, y);
            if (d > 9.0f && d < 11.0f && c[1] > 200) ++ringWhite;
            if (d < 8.0f || d > 12.0f) {
                ASSERT_EQ(c[1], 0) << x << "," << y;
            }
        }
    EXPECT_GT(ringWhite, 20);
}

TEST_F(BrushPreviewsGl, DabPreviewOfATipStampsTheTipTexture) {
    BrushTipTable tips;
    buildTips(tips, std::string(KW_TEST_DATA_DIR) + "/brushes");
    ASSERT_GE(tips.size(), 2u);
    const int w = 96, h = 96;
    Brush b = hardRound(40);
    b.tipIndex = 1;
    BrushPreviewWidget dab(0, 0, &b, nullptr, false, false);
    dab.tips = &tips;
    dab.centered = true;
    dab.absX = 48;
    dab.absY = 48;
    const auto px = drawn(dab, w, h);
    const brush::TipFactors f = tips.factors(1);
    const float hw = 20.0f * f.widthFactor, hh = 20.0f * f.heightFactor;
    int lit = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint8_t* c = at(px, w, x, y);
            const bool inQuad = std::fabs(x + 0.5f - 48) <= hw + 1 && std::fabs(y + 0.5f - 48) <= hh + 1;
            if (!inQuad) {
                ASSERT_EQ(c[0], 0) << x << "," << y;
            } else if (c[0] > 0) {
                ++lit;
            }
        }
    EXPECT_GT(lit, 50) << "the tip leaves some white inside its quad";
    for (auto& tip : const_cast<std::vector<BrushTip>&>(tips.tips())) {
        GLuint t = tip.texture;
        if (t) glDeleteTextures(1, &t);
    }
}
