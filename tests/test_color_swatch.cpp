#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "canvas/Framebuffer.h"
#include "canvas/GlPixels.h"
#include "support/GlTestContext.h"
#include "widgets/ColorSelectionSquare.h"

namespace {

// A group of two swatches sharing one slot, laid out at (10, 10) and (40, 10).
struct SwatchPair {
    float red[4] = {1, 0, 0, 0.5f};
    float blue[4] = {0, 0, 1, 1};
    float* selected = red;
    std::vector<float*> picked;
    ColorSelectionSquare a{10, 10, 20, 16, red, &selected, false, [this](float* v) { picked.push_back(v); }};
    ColorSelectionSquare b{40, 10, 20, 16, blue, &selected, true, [this](float* v) { picked.push_back(v); }};
    SwatchPair() {
        a.update(0, 0, 0);
        b.update(0, 0, 0);
    }
};

} // namespace

TEST(ColorSwatch, ALeftPressInsideSelectsItsValueAndReportsIt) {
    SwatchPair p;
    EXPECT_TRUE(p.a.selected());
    EXPECT_FALSE(p.b.selected());
    EXPECT_EQ(p.b.onMouseButton(0, 0, 45, 15, false), 1);
    EXPECT_EQ(p.selected, p.blue);
    EXPECT_TRUE(p.b.selected());
    EXPECT_FALSE(p.a.selected());
    ASSERT_EQ(p.picked.size(), 1u);
    EXPECT_EQ(p.picked[0], p.blue);

    // Outside, the right button and a release change nothing.
    EXPECT_EQ(p.a.onMouseButton(0, 0, 35, 15, false), 0);
    EXPECT_EQ(p.a.onMouseButton(2, 0, 15, 15, false), 0);
    EXPECT_EQ(p.a.onMouseButton(0, 1, 15, 15, false), 0);
    EXPECT_EQ(p.selected, p.blue);
    EXPECT_EQ(p.picked.size(), 1u);
}

class ColorSwatchGl : public GlTest {};

TEST_F(ColorSwatchGl, FillAndFrameShowTheColourAndTheSelection) {
    SwatchPair p;
    Framebuffer fb(80, 40);
    ASSERT_TRUE(fb.create(false, false));
    fb.bind();
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_VIEWPORT_BIT | GL_CURRENT_BIT);
    glViewport(0, 0, 80, 40);
    glClearColor(0, 0, 0, 0);
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_BLEND); // alpha lands as drawn
    pushOrtho(80, 40);
    p.a.draw(1.0f);
    p.b.draw(1.0f);
    popOrtho();
    glPopAttrib();
    fb.unbind();
    const std::vector<uint8_t> px = readFramebuffer(fb);
    fb.destroy();
    auto at = [&](int x, int y) { return &px[(static_cast<size_t>(y) * 80 + x) * 4]; };

    // Selected red swatch with alpha 0.5: cyan frame three pixels wide, fill at
    // half alpha inside it.
    for (int d = 0; d < 3; ++d) {
        const uint8_t* edge = at(10 + d, 18);
        EXPECT_EQ(edge[0], 0);
        EXPECT_EQ(edge[1], 255);
        EXPECT_EQ(edge[2], 255);
        EXPECT_NEAR(edge[3], 128, 1);
    }
    const uint8_t* fill = at(20, 18);
    EXPECT_EQ(fill[0], 255);
    EXPECT_EQ(fill[1], 0);
    EXPECT_EQ(fill[2], 0);
    EXPECT_NEAR(fill[3], 128, 1);

    // Unselected blue swatch ignores alpha: opaque black frame one pixel wide.
    const uint8_t* frame = at(40, 18);
    EXPECT_EQ(frame[0], 0);
    EXPECT_EQ(frame[2], 0);
    EXPECT_EQ(frame[3], 255);
    const uint8_t* inner = at(41, 18);
    EXPECT_EQ(inner[2], 255);
    EXPECT_EQ(inner[3], 255);
    EXPECT_EQ(at(50, 18)[2], 255);
    // Nothing outside the two rectangles.
    EXPECT_EQ(at(35, 18)[3], 0);
    EXPECT_EQ(at(50, 30)[3], 0);
}
