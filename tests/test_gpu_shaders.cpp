// Pixels drawn by the shader programs, read back from GL and compared with
// the CPU reference formulas within one 8-bit step per channel.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>

#include "canvas/BlendReference.h"
#include "canvas/Framebuffer.h"
#include "canvas/GlPixels.h"
#include "canvas/Shaders.h"
#include "support/GlTestContext.h"

using blendref::Rgba;

namespace {

using Expected = std::function<Rgba(int x, int y)>;

} // namespace

class GpuShaders : public GlTest {
protected:
    Framebuffer target;

    void makeTarget(int width, int height) {
        ::testing::internal::CaptureStdout();
        ASSERT_TRUE(target.create(width, height, false, false));
        ::testing::internal::GetCapturedStdout();
    }

    void TearDown() override {
        target.destroy();
        setStartupUniforms(); // tests change uniforms of the shared programs
        GlTest::TearDown();
    }

    // Clears the target to transparent black and draws `program` over all of
    // it, with up to two textures (unit 0, unit 1).
    std::vector<uint8_t> render(const ShaderProgram& program, Rgba color, const std::function<void()>& uniforms,
                                GLuint unit0 = 0, GLuint unit1 = 0) {
        target.bind();
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        bindTwoTextures(unit0, unit1);
        drawFullQuad(program, target.width, target.height, color, uniforms);
        unbindTwoTextures();
        target.unbind();
        return readFramebuffer(target);
    }

    // Every pixel within `tolerance` steps of expected(x, y).
    void expectPixels(const std::vector<uint8_t>& got, const Expected& expected, int tolerance = 1) {
        ASSERT_EQ(got.size(), static_cast<size_t>(target.width) * target.height * 4);
        int failures = 0;
        for (int y = 0; y < target.height; ++y)
            for (int x = 0; x < target.width; ++x) {
                const Rgba e = expected(x, y);
                const uint8_t want[4] = {blendref::toByte(e.r), blendref::toByte(e.g), blendref::toByte(e.b),
                                         blendref::toByte(e.a)};
                const uint8_t* have = &got[(static_cast<size_t>(y) * target.width + x) * 4];
                for (int c = 0; c < 4; ++c)
                    if (std::abs(have[c] - want[c]) > tolerance && ++failures <= 5)
                        ADD_FAILURE() << "pixel (" << x << ", " << y << ") channel " << c << ": got "
                                      << int(have[c]) << ", expected " << int(want[c]);
            }
        EXPECT_EQ(failures, 0);
    }

    static Rgba texel(const std::vector<uint8_t>& bytes, int width, int height, int x, int y) {
        x = std::clamp(x, 0, width - 1);
        y = std::clamp(y, 0, height - 1);
        return blendref::fromBytes(&bytes[(static_cast<size_t>(y) * width + x) * 4]);
    }
};

TEST_F(GpuShaders, HardDabCoverage) {
    makeTarget(32, 24);
    const Rgba color{1.0f, 0.5f, 0.25f, 0.75f};
    struct Case { float cx, cy, radius; };
    for (Case c : {Case{15.3f, 11.8f, 6.2f}, Case{9.61f, 12.27f, 1.37f}, Case{20.2f, 7.9f, 0.43f},
                   Case{4.7f, 5.2f, 0.9f}, Case{16.1f, 12.4f, 3.05f}}) {
        const auto got = render(hardDabProgram, color, [&] {
            hardDabProgram.setVec2("center", c.cx, c.cy);
            hardDabProgram.setFloat("radius", c.radius);
        });
        SCOPED_TRACE(::testing::Message() << "centre " << c.cx << "," << c.cy << " radius " << c.radius);
        expectPixels(got, [&](int x, int y) {
            auto coverage = blendref::hardDabCoverage(x + 0.5f, y + 0.5f, c.cx, c.cy, c.radius);
            return coverage ? blendref::dabColor(*coverage, color) : Rgba{};
        });
        // Full inside, nothing far outside.
        const uint8_t* centre = &got[(static_cast<size_t>(c.cy) * 32 + static_cast<size_t>(c.cx)) * 4];
        if (c.radius > 3.0f) {
            EXPECT_EQ(centre[3], blendref::toByte(0.75f));
        }
        EXPECT_EQ(got[3], 0); // pixel (0, 0)
    }
}

TEST_F(GpuShaders, SoftDabWithHardness) {
    makeTarget(32, 32);
    const Rgba color{0.2f, 0.9f, 0.4f, 1.0f};
    for (float hardness : {0.0f, 0.35f, 0.9f}) {
        const auto got = render(softDabProgram, color, [&] {
            softDabProgram.setVec2("center", 16.4f, 15.1f);
            softDabProgram.setFloat("radius", 11.3f);
            softDabProgram.setFloat("hardness", hardness);
        });
        SCOPED_TRACE(::testing::Message() << "hardness " << hardness);
        expectPixels(got, [&](int x, int y) {
            auto coverage = blendref::softDabCoverage(x + 0.5f, y + 0.5f, 16.4f, 15.1f, 11.3f, hardness);
            return coverage ? blendref::dabColor(*coverage, color) : Rgba{};
        });
    }
}

TEST_F(GpuShaders, TexturedDabs) {
    makeTarget(16, 16);
    const auto tip = premultipliedPattern(16, 16, 21);
    GlTexture texture = GlTexture::createRgba(16, 16, tip.data());
    const Rgba color{0.6f, 0.3f, 0.9f, 0.55f};
    auto got = render(dabTextureProgram, color, {}, texture.id());
    expectPixels(got, [&](int x, int y) { return blendref::dabTexture(texel(tip, 16, 16, x, y).a, color); });

    got = render(dabDryProgram, color, {}, texture.id());
    expectPixels(got, [&](int x, int y) {
        return blendref::dabDry(texel(tip, 16, 16, x, y).a, color).value_or(Rgba{});
    });
}

class GpuComposite : public GpuShaders {
protected:
    static constexpr int kW = 16, kH = 12;
    std::vector<uint8_t> top = premultipliedPattern(kW, kH, 101);
    std::vector<uint8_t> bottom = premultipliedPattern(kW, kH, 202);
    GlTexture topTexture, bottomTexture;

    void SetUp() override {
        GpuShaders::SetUp();
        if (HasFatalFailure()) return;
        makeTarget(kW, kH);
        topTexture = GlTexture::createRgba(kW, kH, top.data());
        bottomTexture = GlTexture::createRgba(kW, kH, bottom.data());
    }
    void TearDown() override {
        topTexture.reset();
        bottomTexture.reset();
        GpuShaders::TearDown();
    }
    Rgba topAt(int x, int y) const { return texel(top, kW, kH, x, y); }
    Rgba bottomAt(int x, int y) const { return texel(bottom, kW, kH, x, y); }
    std::vector<uint8_t> renderPair(const ShaderProgram& p, Rgba color, const std::function<void()>& u = {}) {
        return render(p, color, u, topTexture.id(), bottomTexture.id());
    }
};

TEST_F(GpuComposite, StrokeOverSingleColour) {
    const Rgba brush{0.8f, 0.1f, 0.5f, 0.7f};
    expectPixels(renderPair(strokeOverProgram, brush),
                 [&](int x, int y) { return blendref::strokeOver(topAt(x, y), bottomAt(x, y), brush); });
}

TEST_F(GpuComposite, StrokeOverColours) {
    const Rgba brush{0.8f, 0.1f, 0.5f, 0.6f};
    expectPixels(renderPair(strokeOverColorsProgram, brush),
                 [&](int x, int y) { return blendref::strokeOverColors(topAt(x, y), bottomAt(x, y), brush); });
}

TEST_F(GpuComposite, StrokePreviewsScaleByLayerOpacity) {
    const Rgba brush{0.3f, 0.7f, 0.2f, 0.9f};
    auto opacity = [](const ShaderProgram& p) { return [&p] { p.setFloat("layerOpacity", 0.45f); }; };
    expectPixels(renderPair(strokePreviewProgram, brush, opacity(strokePreviewProgram)), [&](int x, int y) {
        return blendref::strokePreview(topAt(x, y), bottomAt(x, y), brush, 0.45f);
    });
    expectPixels(renderPair(strokePreviewColorsProgram, brush, opacity(strokePreviewColorsProgram)),
                 [&](int x, int y) {
                     return blendref::strokePreviewColors(topAt(x, y), bottomAt(x, y), brush, 0.45f);
                 });
}

TEST_F(GpuComposite, SmoothedCompositesUseTheTentFilter) {
    const Rgba brush{0.25f, 0.5f, 1.0f, 0.8f};
    auto smoothTop = [&](int x, int y) {
        return blendref::smoothedAlpha([&](int dx, int dy) { return topAt(x + dx, y + dy).a; });
    };
    auto offsets = [](const ShaderProgram& p, bool opacity) {
        return [&p, opacity] {
            p.setVec2("sampleOffset", 1.0f / kW, 1.0f / kH);
            if (opacity) p.setFloat("layerOpacity", 0.6f);
        };
    };
    // Rounding of the divided colour can cost a step more where alphas are tiny.
    expectPixels(renderPair(strokeSmoothProgram, brush, offsets(strokeSmoothProgram, false)), [&](int x, int y) {
        return blendref::strokeSmooth(smoothTop(x, y), bottomAt(x, y), brush);
    }, 2);
    expectPixels(renderPair(strokeSmoothPreviewProgram, brush, offsets(strokeSmoothPreviewProgram, true)),
                 [&](int x, int y) {
                     return blendref::strokeSmoothPreview(smoothTop(x, y), bottomAt(x, y), brush, 0.6f);
                 }, 2);
    expectPixels(renderPair(smoothOverProgram, brush, offsets(smoothOverProgram, false)), [&](int x, int y) {
        return blendref::smoothOver(topAt(x, y), smoothTop(x, y), bottomAt(x, y));
    }, 2);
}

TEST_F(GpuComposite, EraseClampsAtZero) {
    const Rgba brush{1, 1, 1, 0.8f};
    const auto got = renderPair(eraseProgram, brush);
    expectPixels(got, [&](int x, int y) { return blendref::erase(topAt(x, y), bottomAt(x, y), brush.a); });
    // The pattern has pixels where the stroke is stronger than the canvas.
    int clamped = 0;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x)
            if (blendref::erase(topAt(x, y), bottomAt(x, y), brush.a).a < 0) ++clamped;
    EXPECT_GT(clamped, 0);
}

TEST_F(GpuComposite, SelectionMaskScalesByMaskAlpha) {
    expectPixels(render(selectionMaskProgram, Rgba{1, 1, 1, 1}, {}, topTexture.id(), bottomTexture.id()),
                 [&](int x, int y) { return blendref::selectionMask(topAt(x, y), bottomAt(x, y).a); });
}

TEST_F(GpuComposite, LayerMergeTakesOpacitiesFromRedAndGreen) {
    const Rgba opacities{0.7f, 0.4f, 0.0f, 1.0f};
    expectPixels(renderPair(layerMergeProgram, opacities), [&](int x, int y) {
        return blendref::layerMerge(topAt(x, y), bottomAt(x, y), 0.7f, 0.4f);
    });
}

TEST_F(GpuComposite, PremultipliedOver) {
    expectPixels(renderPair(premultipliedOverProgram, Rgba{0.1f, 0.2f, 0.3f, 0.4f}), [&](int x, int y) {
        return blendref::premultipliedOver(topAt(x, y), bottomAt(x, y));
    });
}

TEST_F(GpuComposite, SelectionEdgeIsBlackWithBlurredAlpha) {
    expectPixels(render(selectionEdgeProgram, Rgba{1, 1, 1, 1},
                        [] { selectionEdgeProgram.setVec2("sampleOffset", 1.0f / kW, 1.0f / kH); },
                        topTexture.id()),
                 [&](int x, int y) {
                     return Rgba{0, 0, 0, blendref::selectionEdgeAlpha([&](int dx, int dy) {
                                     return topAt(x + dx, y + dy).a;
                                 })};
                 });
}

TEST_F(GpuShaders, TipOutlineMarksAlphaSteps) {
    // 256 wide, so the program's 1/256 step is exactly one texel across.
    makeTarget(256, 6);
    const auto tip = premultipliedPattern(256, 6, 33);
    GlTexture texture = GlTexture::createRgba(256, 6, tip.data());
    const auto got = render(tipOutlineProgram, Rgba{1, 1, 1, 1}, {}, texture.id());
    int edges = 0;
    expectPixels(got, [&](int x, int y) {
        const float a = texel(tip, 256, 6, x, y).a;
        const float left = texel(tip, 256, 6, x - 1, y).a;
        // 1/256 of the height is far less than a row: the same row.
        const float outline = blendref::tipOutlineAlpha(a, left, a);
        if (outline > 0) ++edges;
        return Rgba{0, 0, 0, outline};
    });
    EXPECT_GT(edges, 10);
}

TEST_F(GpuShaders, CheckerboardFollowsWindowPixels) {
    makeTarget(64, 48);
    auto got = render(checkerboardProgram, Rgba{1, 1, 1, 1}, {});
    expectPixels(got, [](int x, int y) {
        const float g = blendref::checkerboardGrey(x, y);
        return Rgba{g, g, g, 1};
    }, 0);
    EXPECT_EQ(got[0], 255);                        // (0, 0): both below 1
    EXPECT_EQ(got[(0 * 64 + 10) * 4], 204);        // (10, 0)
    EXPECT_EQ(got[(10 * 64 + 10) * 4], 255);       // (10, 10)

    // A quad drawn elsewhere shows the same squares: they belong to the window.
    target.bind();
    glClearColor(0, 0, 0, 0);
    glClear(GL_COLOR_BUFFER_BIT);
    glPushAttrib(GL_VIEWPORT_BIT | GL_ENABLE_BIT);
    glViewport(0, 0, 64, 48);
    glDisable(GL_BLEND);
    pushOrtho(64, 48);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
    glTranslatef(7, 3, 0);
    checkerboardProgram.use();
    drawQuad(0, 0, 40, 30);
    ShaderProgram::useNone();
    glPopMatrix();
    popOrtho();
    glPopAttrib();
    target.unbind();
    got = readFramebuffer(target);
    expectPixels(got, [](int x, int y) {
        if (x < 7 || x >= 47 || y < 3 || y >= 33) return Rgba{};
        const float g = blendref::checkerboardGrey(x, y);
        return Rgba{g, g, g, 1};
    }, 0);
}

TEST_F(GpuShaders, RectDimOutsideARotatedRectangle) {
    makeTarget(64, 48);
    const auto got = render(rectDimProgram, Rgba{1, 1, 1, 1}, [] {
        rectDimProgram.setVec2("center", 30.3f, 20.7f);
        rectDimProgram.setVec2("yAxis", 0.6f, 0.8f);
        rectDimProgram.setVec2("extent", 15.1f, 8.2f);
    });
    int inside = 0;
    expectPixels(got, [&](int x, int y) {
        const float a = blendref::rectDimAlpha(x + 0.5f, y + 0.5f, 30.3f, 20.7f, 0.6f, 0.8f, 15.1f, 8.2f);
        if (a == 0) ++inside;
        return Rgba{0, 0, 0, a};
    });
    EXPECT_GT(inside, 100);
}

TEST_F(GpuShaders, BoxShadowFallsOffOverDistance) {
    makeTarget(64, 48);
    const Rgba color{0.2f, 0.4f, 0.6f, 0.8f};
    const auto got = render(boxShadowProgram, color, [] {
        boxShadowProgram.setVec2("center", 32.0f, 24.0f);
        boxShadowProgram.setVec2("extent", 20.0f, 12.0f);
        boxShadowProgram.setFloat("distance", 10.0f);
    });
    expectPixels(got, [&](int x, int y) {
        const float a = blendref::boxShadowAlpha(x + 0.5f, y + 0.5f, 32, 24, 20, 12, 10);
        return Rgba{color.r, color.g, color.b, a * color.a};
    });
}

TEST_F(GpuShaders, ColorSquareCorners) {
    makeTarget(20, 20);
    const Rgba hue{1.0f, 0.5f, 0.0f, 1.0f};
    const auto got = render(colorSquareProgram, hue, {});
    expectPixels(got, [&](int x, int y) { return blendref::colorSquare((x + 0.5f) / 20, (y + 0.5f) / 20, hue); });
    // Bottom row near black (its centres lie half a pixel above y = 0), top
    // left near white, top right near the hue.
    EXPECT_LE(got[0], 8);
    EXPECT_LE(got[(0 * 20 + 19) * 4 + 1], 8);
    const uint8_t* topLeft = &got[(19 * 20 + 0) * 4];
    EXPECT_GE(topLeft[0], 240);
    EXPECT_GE(topLeft[2], 240);
    const uint8_t* topRight = &got[(19 * 20 + 19) * 4];
    EXPECT_GE(topRight[0], 240);
    EXPECT_LE(topRight[2], 15);
}
