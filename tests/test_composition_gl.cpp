// The frame's layer composition read back from GL against the premultiplied
// formulas computed on the CPU: visible layers bottom to top, each with its
// opacity, in normal and multiply mode, the current one from its surface.
#include <gtest/gtest.h>

#include <cmath>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "support/GlTestContext.h"

namespace {
constexpr int kW = 37, kH = 23;

struct Pixel {
    double r, g, b, a;
};

Pixel at(const std::vector<uint8_t>& px, size_t i) {
    return {px[i] / 255.0, px[i + 1] / 255.0, px[i + 2] / 255.0, px[i + 3] / 255.0};
}

// One layer over what lies below, as an 8-bit pipeline does it: the opacity
// reaches the fragment stage as an 8-bit vertex colour, the layer's colour
// scaled by it in all four channels (still premultiplied) leaves it as 8
// bits, and each blend term is rounded to 8 bits;
// normal: src + dst (1 - src.a); multiply: src * dst + dst (1 - src.a).
Pixel blend(Pixel dst, Pixel src, double o, int mode) {
    auto q = [](double v) { return std::lround(std::min(1.0, std::max(0.0, v)) * 255) / 255.0; };
    o = q(o);
    src = {q(src.r * o), q(src.g * o), q(src.b * o), q(src.a * o)};
    auto ch = [&](double s, double d) {
        const double first = mode == 1 ? q(s * d) : s;
        return q(first + q(d * (1 - src.a)));
    };
    return {ch(src.r, dst.r), ch(src.g, dst.g), ch(src.b, dst.b), ch(src.a, dst.a)};
}

// The same in full precision, for the whole stack.
Pixel blendExact(Pixel dst, Pixel src, double o, int mode) {
    src = {src.r * o, src.g * o, src.b * o, src.a * o};
    auto ch = [&](double s, double d) {
        return std::min(1.0, (mode == 1 ? s * d : s) + d * (1 - src.a));
    };
    return {ch(src.r, dst.r), ch(src.g, dst.g), ch(src.b, dst.b), ch(src.a, dst.a)};
}

class CompositionGlTest : public GlTest {};
} // namespace

TEST_F(CompositionGlTest, VisibleLayersWithOpacityAndBlendModesMatchTheFormulas) {
    Canvas canvas(kW, kH);
    MultiLayeredImage layers;
    History history(&canvas, layers);
    canvas.attach(&history, nullptr);
    canvas.resize(kW, kH, layers);

    // Three layers of different premultiplied patterns; the middle one ends current.
    std::vector<std::vector<uint8_t>> content;
    for (int i = 0; i < 3; ++i) {
        if (i > 0) layerops::newLayer(canvas, layers);
        content.push_back(premultipliedPattern(kW, kH, 100 + i));
        GlTexture t = GlTexture::createRgba(kW, kH, content.back().data());
        canvas.loadSurface(t.id(), true);
    }
    ASSERT_TRUE(layerops::changeLayer(canvas, layers, 1));

    // The layers are drawn 1:1 into a canvas-sized target. A view zoom of 5
    // selects nearest sampling, so the test measures the blending alone and
    // not the 8-bit weights of linear filtering on a noisy pattern.
    Camera camera;
    camera.lookFrom(kH / 10.0f);
    ASSERT_GE(camera.scale(kH), 5.0f);
    Painter painter(kW, kH, &camera, &canvas, &layers, gApp);
    Framebuffer out(kW, kH);
    ASSERT_TRUE(out.create(false, false));

    struct Setup {
        int opacity[3];
        int mode[3];
        bool visible[3];
    };
    const Setup setups[] = {
        {{100, 60, 35}, {0, 1, 0}, {true, true, true}},
        {{80, 100, 100}, {0, 0, 1}, {true, true, true}},
        {{100, 0, 50}, {1, 1, 0}, {true, true, true}}, // opacity 0 contributes nothing
        {{100, 70, 90}, {0, 0, 0}, {true, false, true}}, // the current layer hidden
        {{40, 100, 100}, {0, 1, 1}, {false, true, true}},
        {{100, 60, 35}, {0, 1, 0}, {true, false, false}},
        {{100, 60, 35}, {0, 1, 0}, {false, true, false}},
        {{100, 60, 35}, {0, 1, 0}, {false, false, true}},
        {{100, 60, 35}, {0, 0, 0}, {false, true, false}},
    };
    // Composes the visible layers among the first `upTo` over the ground.
    auto compose = [&](const Setup& s, int upTo) {
        for (int i = 0; i < 3; ++i) {
            layers.at(i).opacity = s.opacity[i];
            layers.at(i).blendMode = s.mode[i];
            layers.at(i).visible = s.visible[i] && i < upTo;
        }
        out.bind(GL_DRAW_FRAMEBUFFER);
        {
            CanvasProjection projection(kW, kH);
            glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT | GL_CURRENT_BIT);
            glClearColor(0.5f, 0.25f, 0.75f, 1.0f); // an opaque ground in place of the checkerboard
            glClear(GL_COLOR_BUFFER_BIT);
            glDisable(GL_DEPTH_TEST);
            glEnable(GL_TEXTURE_2D);
            glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
            glEnable(GL_BLEND);
            glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
            painter.drawLayers(0, 0, kW, kH, false);
            glPopAttrib();
        }
        out.unbind();
        return readFramebuffer(out);
    };
    // Each layer's step is checked against the formula applied to what the
    // blender holds below it, so that the 8-bit rounding of earlier steps
    // does not pile up in the reference; the whole stack is also checked
    // against the reference computed in full precision, within a step a layer.
    for (const Setup& s : setups) {
        std::vector<uint8_t> below = compose(s, 0);
        std::vector<Pixel> exact(below.size() / 4);
        for (size_t i = 0; i < below.size(); i += 4) exact[i / 4] = at(below, i);
        for (int l = 0; l < 3; ++l) {
            const std::vector<uint8_t> got = compose(s, l + 1);
            int worst = 0;
            for (size_t i = 0; i < got.size(); i += 4) {
                Pixel p = at(below, i);
                if (s.visible[l]) {
                    p = blend(p, at(content[static_cast<size_t>(l)], i), s.opacity[l] / 100.0, s.mode[l]);
                    exact[i / 4] = blendExact(exact[i / 4], at(content[static_cast<size_t>(l)], i),
                                              s.opacity[l] / 100.0, s.mode[l]);
                }
                const double expected[4] = {p.r, p.g, p.b, p.a};
                for (int c = 0; c < 4; ++c)
                    worst = std::max(worst, std::abs(int(got[i + c]) - int(std::lround(expected[c] * 255))));
            }
            EXPECT_LE(worst, 1) << "layer " << l << ", opacities " << s.opacity[0] << "," << s.opacity[1] << ","
                                << s.opacity[2];
            below = got;
        }
        int worst = 0;
        for (size_t i = 0; i < below.size(); i += 4) {
            const Pixel& e = exact[i / 4];
            const double expected[4] = {e.r, e.g, e.b, e.a};
            for (int c = 0; c < 4; ++c)
                worst = std::max(worst, std::abs(int(below[i + c]) - int(std::lround(expected[c] * 255))));
        }
        EXPECT_LE(worst, 3) << "whole stack, opacities " << s.opacity[0] << "," << s.opacity[1] << ","
                            << s.opacity[2];
    }
    out.destroy();
    canvas.freeSurfaces();
}
