// Round dabs drawn many to a draw give the bytes that one draw per dab gives,
// for every blend rule, sizes from sub-pixel to large, and overlapping dabs.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "brush/Brush.h"
#include "brush/BrushTips.h"
#include "brush/Dab.h"
#include "brush/StrokePoint.h"
#include "canvas/Framebuffer.h"
#include "canvas/Projection.h"
#include "canvas/StrokeRenderer.h"
#include "support/GlTestContext.h"

namespace {

class DabBatchTest : public GlTest {
protected:
    std::vector<uint8_t> stamp(const Brush& brush, const std::vector<brush::Dab>& dabs, DabDrawing drawing) {
        Framebuffer target(kW, kH);
        EXPECT_TRUE(target.create(true, false));
        target.bind(GL_DRAW_FRAMEBUFFER);
        {
            CanvasProjection projection(kW, kH);
            glClearColor(0, 0, 0, 0);
            glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
            stampDabs(brush, dabs, tips, drawing);
        }
        target.unbind();
        std::vector<uint8_t> px = readFramebuffer(target);
        target.destroy();
        return px;
    }
    static constexpr int kW = 300, kH = 200;
    BrushTipTable tips;
};

} // namespace

TEST_F(DabBatchTest, BatchedRoundDabsEqualOneDrawPerDab) {
    std::mt19937 rng(5);
    auto unit = [&rng] { return std::uniform_real_distribution<float>(0.0f, 1.0f)(rng); };
    int variant = 0;
    for (uint32_t flags : {0u, static_cast<uint32_t>(kBrushFlagAdditiveStroke), static_cast<uint32_t>(kBrushFlagColorDynamics)}) {
        for (float hardness : {1.0f, 0.35f}) {
            Brush brush;
            brush.size = 2 + static_cast<int>(unit() * 60);
            brush.hardness = hardness;
            brush.flags |= flags;
            std::vector<brush::Dab> dabs;
            for (int i = 0; i < 400; ++i) {
                // Sizes from a fraction of a pixel (the tiny-dab rule) to larger
                // than any point; centres off the surface too.
                const float sizeFactor = i % 7 == 0 ? 0.05f + 0.1f * unit() : i % 97 == 0 ? 12.0f : unit();
                BrushStrokePoint p({unit() * (kW + 60) - 30, unit() * (kH + 60) - 30}, sizeFactor, unit(), false, 0);
                brush::Dab d = brush::makeDab(p, brush, {});
                d.color = {unit(), unit(), unit(), unit()};
                d.color[0] *= d.color[3], d.color[1] *= d.color[3], d.color[2] *= d.color[3];
                dabs.push_back(d);
            }
            const auto one = stamp(brush, dabs, DabDrawing::OneByOne);
            const auto batched = stamp(brush, dabs, DabDrawing::Batched);
            ASSERT_EQ(one.size(), batched.size());
            size_t differing = 0, painted = 0;
            for (size_t i = 0; i < one.size(); ++i) differing += one[i] != batched[i];
            for (size_t i = 3; i < one.size(); i += 4) painted += one[i] != 0;
            EXPECT_EQ(differing, 0u) << "variant " << variant;
            EXPECT_GT(painted, 2000u) << "variant " << variant;
            ++variant;
        }
    }
}
