// The colour selector and the colour numbers drawn into a framebuffer and
// read back. The square against the CPU form of its program (blendref) and,
// for the mesh drawn without that program, against its corner colours; the
// ring image against the hue the selector computes for the same place, so a
// click gives the hue the user sees there; the markers where the record puts
// them. Pixel rows are bottom-up like the window.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "brush/ColorSpace.h"
#include "canvas/Framebuffer.h"
#include "canvas/GlPixels.h"
#include "canvas/Shaders.h"
#include "core/Globals.h"
#include "support/GlTestContext.h"
#include "widgets/ColorSelector.h"
#include "widgets/ColorWidget.h"
#include "widgets/GlFont.h"
#include "widgets/InterfaceImages.h"
#include "TestPaths.h"

namespace {

constexpr int kSide = 200;
constexpr float kCentre = 100; // the selector's centre in the framebuffer

class ColorSelectorGl : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        savedScale = GuiScale;
        GuiScale = 1.0f;
    }
    void TearDown() override {
        releaseInterfaceTextures();
        GuiScale = savedScale;
        GlTest::TearDown();
    }

    // Draws the widget over mid grey with the interface's blending.
    std::vector<uint8_t> render(Widget& widget) {
        Framebuffer fb(kSide, kSide);
        EXPECT_TRUE(fb.create(false, false));
        fb.bind();
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_VIEWPORT_BIT | GL_CURRENT_BIT);
        glViewport(0, 0, kSide, kSide);
        glClearColor(0.5f, 0.5f, 0.5f, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        pushOrtho(kSide, kSide);
        widget.update(0, 0, 0);
        widget.draw(1.0f);
        popOrtho();
        glPopAttrib();
        fb.unbind();
        std::vector<uint8_t> px = readFramebuffer(fb);
        fb.destroy();
        return px;
    }
    static const uint8_t* at(const std::vector<uint8_t>& px, int x, int y) {
        return &px[(static_cast<size_t>(y) * kSide + x) * 4];
    }
    static bool white(const uint8_t* p) { return p[0] == 255 && p[1] == 255 && p[2] == 255; }

    std::unique_ptr<ColorSelector> makeSelector() {
        auto s = std::make_unique<ColorSelector>(150, 150, ColorRecordRef{rgb, hsv, [this](brush::Hsv c) {
                                                     const brush::Rgb r = brush::hsvToRgb(c);
                                                     rgb[0] = r.r, rgb[1] = r.g, rgb[2] = r.b;
                                                     hsv[0] = c.h, hsv[1] = c.s, hsv[2] = c.v;
                                                 }});
        s->relX = kCentre;
        s->relY = kCentre;
        return s;
    }
    void setHsv(float h, float s, float v) {
        const brush::Rgb r = brush::hsvToRgb({h, s, v});
        rgb[0] = r.r, rgb[1] = r.g, rgb[2] = r.b;
        hsv[0] = h, hsv[1] = s, hsv[2] = v;
    }

    // The square's colour at the centre of pixel (x, y), by the program's CPU
    // form: texture coordinates 0..1 across the square's edges.
    static blendref::Rgba squareReference(int x, int y, brush::Rgb hue) {
        const colorsel::Geometry g = colorsel::geometryFor(150);
        const float s = (static_cast<float>(x) + 0.5f - (kCentre + g.left())) / g.side();
        const float t = (static_cast<float>(y) + 0.5f - (kCentre + g.bottom())) / g.side();
        return blendref::colorSquare(s, t, {hue.r, hue.g, hue.b, 1.0f});
    }
    static void expectNear(const uint8_t* p, const blendref::Rgba& c, int tolerance, int x, int y) {
        EXPECT_NEAR(p[0], c.r * 255, tolerance) << "red at " << x << "," << y;
        EXPECT_NEAR(p[1], c.g * 255, tolerance) << "green at " << x << "," << y;
        EXPECT_NEAR(p[2], c.b * 255, tolerance) << "blue at " << x << "," << y;
    }

    float rgb[3] = {0, 0, 0};
    float hsv[3] = {0, 0, 0};
    float savedScale = 1.0f;
};

// Pixels well inside the square (clear of the marker at its centre): near
// each corner and two more.
const int kSquareSamples[][2] = {{68, 131}, {131, 131}, {68, 68}, {131, 68}, {85, 118}, {120, 82}};

} // namespace

TEST_F(ColorSelectorGl, TheSquareRunsFromWhiteToThePureHueOverBlack) {
    ASSERT_TRUE(colorSquareProgram.compiled);
    setHsv(120, 0.5f, 0.5f);
    auto selector = makeSelector();
    const std::vector<uint8_t> px = render(*selector);
    const brush::Rgb green{0, 1, 0};
    for (const auto& s : kSquareSamples) expectNear(at(px, s[0], s[1]), squareReference(s[0], s[1], green), 2, s[0], s[1]);
    // The corners themselves: white at the upper left, the pure hue at the
    // upper right, black along the bottom.
    const uint8_t* upperLeft = at(px, 67, 132);
    EXPECT_GE(upperLeft[0], 245);
    EXPECT_GE(upperLeft[2], 245);
    const uint8_t* upperRight = at(px, 132, 132);
    EXPECT_LE(upperRight[0], 10);
    EXPECT_GE(upperRight[1], 245);
    EXPECT_LE(upperRight[2], 10);
    EXPECT_LE(at(px, 67, 67)[1], 10);
    EXPECT_LE(at(px, 132, 67)[1], 10);
}

TEST_F(ColorSelectorGl, WithoutTheSquareProgramAMeshDrawsTheSameSquare) {
    struct RestoreFlag {
        bool saved = colorSquareProgram.compiled;
        ~RestoreFlag() { colorSquareProgram.compiled = saved; }
    } restore;
    colorSquareProgram.compiled = false;
    setHsv(240, 0.5f, 0.5f);
    auto selector = makeSelector();
    const std::vector<uint8_t> px = render(*selector);
    const brush::Rgb blue{0, 0, 1};
    // Ten strips of interpolated vertex colours come close to the program's square.
    for (const auto& s : kSquareSamples) expectNear(at(px, s[0], s[1]), squareReference(s[0], s[1], blue), 8, s[0], s[1]);
    const uint8_t* upperRight = at(px, 132, 132);
    EXPECT_LE(upperRight[0], 12);
    EXPECT_GE(upperRight[2], 240);
}

TEST_F(ColorSelectorGl, TheRingImageShowsTheHueAClickThereChooses) {
    setHsv(0, 1, 1);
    auto selector = makeSelector();
    const std::vector<uint8_t> px = render(*selector);
    // Around the ring's middle (radius 63.75), clear of the marker at hue 0.
    int checked = 0;
    for (int hue = 20; hue < 360; hue += 25) {
        const float a = -static_cast<float>(hue) / math::kDegreesPerRadian;
        const int x = static_cast<int>(kCentre + 63.75f * std::cos(a));
        const int y = static_cast<int>(kCentre + 63.75f * std::sin(a));
        const float chosen = colorsel::hueAt({static_cast<float>(x) + 0.5f - kCentre, static_cast<float>(y) + 0.5f - kCentre});
        const brush::Rgb expected = brush::hsvToRgb({chosen, 1, 1});
        expectNear(at(px, x, y), {expected.r, expected.g, expected.b, 1}, 12, x, y);
        ++checked;
    }
    EXPECT_EQ(checked, 14);
}

TEST_F(ColorSelectorGl, TheMarkersStandWhereTheRecordPutsThem) {
    setHsv(120, 0.25f, 0.75f);
    auto selector = makeSelector();
    std::vector<uint8_t> px = render(*selector);
    // Hue 120: (100 + 63.75 cos -120, 100 + 63.75 sin -120) = (68.1, 44.8); a
    // white ring of radii 3 to 5 around it, the ring image's green inside.
    EXPECT_TRUE(white(at(px, 72, 44)));
    EXPECT_TRUE(white(at(px, 64, 44)));
    EXPECT_TRUE(white(at(px, 68, 48)));
    EXPECT_TRUE(white(at(px, 68, 40)));
    const uint8_t* hole = at(px, 68, 44);
    EXPECT_GT(hole[1], 200);
    EXPECT_LT(hole[0], 60);
    // Nothing white at hue 300's place, opposite.
    EXPECT_FALSE(white(at(px, 136, 155)));
    // s 0.25, v 0.75: (100 - 16.7, 100 + 16.7) = (83.3, 116.7).
    EXPECT_TRUE(white(at(px, 87, 116)));
    EXPECT_TRUE(white(at(px, 79, 116)));
    EXPECT_TRUE(white(at(px, 83, 120)));
    EXPECT_FALSE(white(at(px, 83, 116))) << "the marker's hole";

    // A new hue moves the ring marker: 300 at (131.9, 155.2).
    setHsv(300, 0.25f, 0.75f);
    px = render(*selector);
    EXPECT_FALSE(white(at(px, 72, 44)));
    EXPECT_TRUE(white(at(px, 136, 155)));
    EXPECT_TRUE(white(at(px, 131, 159)));
}

TEST_F(ColorSelectorGl, TheShiftGuideShowsAFrameAndTheRedPlaceOnIt) {
    setHsv(0, 0.5f, 0.5f);
    auto selector = makeSelector();
    selector->update(0, 0, 0);
    selector->axisLock = colorsel::kHorizontalGuide;
    selector->lockOrigin = selector->squareMarker; // the centre
    selector->lockedPosition = {20, 0};
    // update would drop the lock without Shift; draw as the frame does after it.
    Framebuffer fb(kSide, kSide);
    ASSERT_TRUE(fb.create(false, false));
    fb.bind();
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_VIEWPORT_BIT | GL_CURRENT_BIT);
    glViewport(0, 0, kSide, kSide);
    glClearColor(0.5f, 0.5f, 0.5f, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    pushOrtho(kSide, kSide);
    selector->draw(1.0f);
    popOrtho();
    glPopAttrib();
    fb.unbind();
    const std::vector<uint8_t> px = readFramebuffer(fb);
    fb.destroy();
    // The frame: from 2 left of the square's left edge (66.6 - 2) to 2 right
    // of its right edge, 2 above and below the guide at y 100.
    EXPECT_TRUE(white(at(px, 75, 98)));
    EXPECT_TRUE(white(at(px, 125, 101)));
    EXPECT_TRUE(white(at(px, 65, 100)));
    // The red ring (radii 2 to 4) at (120, 100).
    const uint8_t* red = at(px, 123, 100);
    EXPECT_EQ(red[0], 255);
    EXPECT_EQ(red[1], 0);
    EXPECT_EQ(red[2], 0);
    // The white ring at the lock's origin.
    EXPECT_TRUE(white(at(px, 104, 100)));
}

TEST_F(ColorSelectorGl, TheColourNumbersShowTheSwatchAndTheirText) {
    gFontMono = std::make_unique<GlFont>(std::string(KW_TEST_DATA_DIR) + "/fonts/test.TTF", 9);
    struct DropFont {
        ~DropFont() { gFontMono.reset(); }
    } drop;
    rgb[0] = 1.0f, rgb[1] = 0.5f, rgb[2] = 0.0f;
    hsv[0] = 30.0f, hsv[1] = 1.0f, hsv[2] = 1.0f;
    ColorWidget widget(20, 120, 35, 20, ColorRecordRef{rgb, hsv, {}});
    std::vector<uint8_t> asRgb = render(widget);
    const uint8_t* fill = at(asRgb, 37, 130);
    EXPECT_EQ(fill[0], 255);
    EXPECT_NEAR(fill[1], 128, 1);
    EXPECT_EQ(fill[2], 0);
    EXPECT_TRUE(white(at(asRgb, 20, 130))) << "the frame";
    EXPECT_TRUE(white(at(asRgb, 54, 130)));
    EXPECT_FALSE(white(at(asRgb, 37, 145))) << "nothing above";
    // Three lines below the swatch: ink between 120 - 5 - 3 x 11 and 120.
    auto inkBelow = [&](const std::vector<uint8_t>& px) {
        int n = 0;
        for (int y = 80; y < 118; ++y)
            for (int x = 18; x < 80; ++x)
                if (at(px, x, y)[0] > 200 && at(px, x, y)[2] > 200) ++n;
        return n;
    };
    EXPECT_GT(inkBelow(asRgb), 40);
    widget.onMouseButton(0, 0, 30, 125, false);
    ASSERT_FALSE(widget.showRGB);
    const std::vector<uint8_t> asHsv = render(widget);
    EXPECT_GT(inkBelow(asHsv), 40);
    int differing = 0;
    for (int y = 80; y < 118; ++y)
        for (int x = 18; x < 80; ++x) differing += at(asRgb, x, y)[0] != at(asHsv, x, y)[0];
    EXPECT_GT(differing, 20) << "other numbers after the click";
}
