#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "canvas/Framebuffer.h"
#include "canvas/GlPixels.h"
#include "core/Globals.h"
#include "support/GlTestContext.h"
#include "widgets/InterfaceImages.h"
#include "TestPaths.h"

// The generated interface images as the build leaves them in the data
// folder: the tool bar atlas, the check boxes and the colour selector's ring,
// each at 1x and at 2x ("@2x").
namespace {

const std::string kInterfaceDir = std::string(KW_TEST_DATA_DIR) + "/interface";

// The cells the tool bar and the brush properties button use, (column, row)
// with rows from the bottom.
const std::vector<std::pair<int, int>> kUsedCells = {
    {0, 7}, {1, 7}, {2, 7}, {3, 7}, {4, 7}, {5, 7}, {6, 7}, {7, 7},  // new, brush, video, fit, rotate, undo, redo, info
    {0, 6}, {1, 6}, {2, 6}, {3, 6}, {4, 6}, {5, 6}, {6, 6}, {7, 6},  // save, load, eraser, replay, flip, lasso, crop, perspective
    {0, 5}, {1, 5}, {2, 5}, {3, 5}, {4, 5}, {5, 5}, {6, 5}};         // settings, reference, properties, bucket, gradient, mirror, picker

bool used(int col, int row) {
    return std::find(kUsedCells.begin(), kUsedCells.end(), std::pair{col, row}) != kUsedCells.end();
}

InterfaceImage load(const std::string& name) {
    InterfaceImage image = loadInterfaceImage(kInterfaceDir + "/" + name);
    EXPECT_GT(image.width, 0) << image.error;
    return image;
}

// Pixel (x, y) of a bottom-up image.
const uint8_t* px(const InterfaceImage& img, int x, int y) {
    return &img.rgba[(static_cast<size_t>(y) * img.width + x) * 4];
}

// The 2x image halved by averaging 2 x 2 blocks of premultiplied colour,
// then compared with the 1x image, premultiplied: the mean difference over
// all channels, and the largest mean difference of any 32-pixel block.
struct Likeness {
    double mean = 0, worstBlock = 0;
};
Likeness compareHalved(const InterfaceImage& one, const InterfaceImage& two) {
    Likeness out;
    if (two.width != 2 * one.width || two.height != 2 * one.height) {
        ADD_FAILURE() << "the 2x image is " << two.width << " x " << two.height << ", the 1x one " << one.width
                      << " x " << one.height;
        out.mean = out.worstBlock = 1e9;
        return out;
    }
    const int bw = (one.width + 31) / 32, bh = (one.height + 31) / 32;
    std::vector<double> blockSum(static_cast<size_t>(bw) * bh), blockCount(blockSum.size());
    double total = 0;
    for (int y = 0; y < one.height; ++y)
        for (int x = 0; x < one.width; ++x) {
            double diff = 0;
            for (int c = 0; c < 4; ++c) {
                double halved = 0;
                for (int k = 0; k < 4; ++k) {
                    const uint8_t* p = px(two, 2 * x + k % 2, 2 * y + k / 2);
                    halved += (c == 3 ? p[3] : p[c] * p[3] / 255.0) / 4;
                }
                const uint8_t* q = px(one, x, y);
                const double single = c == 3 ? q[3] : q[c] * q[3] / 255.0;
                diff += std::fabs(halved - single);
            }
            total += diff / 4;
            const size_t b = static_cast<size_t>(y / 32) * bw + x / 32;
            blockSum[b] += diff / 4;
            blockCount[b] += 1;
        }
    out.mean = total / (static_cast<double>(one.width) * one.height);
    for (size_t b = 0; b < blockSum.size(); ++b)
        out.worstBlock = std::max(out.worstBlock, blockSum[b] / blockCount[b]);
    return out;
}

// Hue in degrees of an RGB triple (the usual hexcone formula).
double hueOf(double r, double g, double b) {
    const double mx = std::max({r, g, b}), mn = std::min({r, g, b}), c = mx - mn;
    if (c <= 0) return 0;
    double h;
    if (mx == r) h = std::fmod((g - b) / c, 6.0);
    else if (mx == g) h = (b - r) / c + 2;
    else h = (r - g) / c + 4;
    h *= 60;
    return h < 0 ? h + 360 : h;
}

double angleBetween(double a, double b) {
    const double d = std::fmod(std::fabs(a - b), 360.0);
    return std::min(d, 360 - d);
}

} // namespace

TEST(InterfaceAtlas, UsedCellsHoldAnIconInsideTheirSquare) {
    for (const int scale : {1, 2}) {
        SCOPED_TRACE("scale " + std::to_string(scale));
        const InterfaceImage atlas = load(scale == 1 ? "toolbar.png" : "toolbar@2x.png");
        if (atlas.width == 0) continue;
        const int cell = 32 * scale;
        ASSERT_EQ(atlas.width, 8 * cell);
        ASSERT_EQ(atlas.height, 8 * cell);
        for (int row = 0; row < 8; ++row)
            for (int col = 0; col < 8; ++col) {
                int halo = 0, white = 0, any = 0, border = 0;
                for (int y = 0; y < cell; ++y)
                    for (int x = 0; x < cell; ++x) {
                        const uint8_t* p = px(atlas, col * cell + x, row * cell + y);
                        const bool edge = x == 0 || y == 0 || x == cell - 1 || y == cell - 1;
                        if (p[3] > 0) ++any;
                        if (edge && p[3] > 0) ++border;
                        if (p[3] > 30 && std::max({p[0], p[1], p[2]}) < 80) ++halo;
                        if (p[3] > 200 && p[0] > 230 && p[1] > 230 && p[2] > 230) ++white;
                    }
                SCOPED_TRACE("cell " + std::to_string(col) + ", " + std::to_string(row));
                if (used(col, row)) {
                    // An icon: a good share of solid white, a dark halo around
                    // it, and nothing on the cell's edge, where a filtered
                    // neighbour would pick it up.
                    EXPECT_GT(white, cell * cell / 20);
                    EXPECT_GT(halo, white / 3) << "the dark halo is missing";
                    EXPECT_EQ(border, 0) << "the icon reaches the edge of its cell";
                } else {
                    EXPECT_EQ(any, 0) << "an unused cell holds pixels";
                }
            }
    }
}

TEST(InterfaceAtlas, TheDoubleSizeAtlasHalvedIsTheSingleSizeOne) {
    const InterfaceImage one = load("toolbar.png"), two = load("toolbar@2x.png");
    if (one.width == 0 || two.width == 0) return;
    const Likeness like = compareHalved(one, two);
    // Edges are anti-aliased over one pixel at each size, so halving the 2x
    // picture leaves small differences along them; a different or shifted
    // drawing differs by tens of levels over whole cells.
    EXPECT_LT(like.mean, 1.5);
    EXPECT_LT(like.worstBlock, 6.0);
}

TEST(InterfaceImagesFiles, CheckBoxesAtBothSizesAgree) {
    for (const char* name : {"checkbox_off", "checkbox_hover", "checkbox_on"}) {
        SCOPED_TRACE(name);
        const InterfaceImage one = load(std::string(name) + ".png"), two = load(std::string(name) + "@2x.png");
        if (one.width == 0 || two.width == 0) continue;
        EXPECT_EQ(one.width, 32);
        EXPECT_EQ(one.height, 32);
        EXPECT_LT(compareHalved(one, two).worstBlock, 6.0);
    }
}

// The selector draws the ring image on a square of its width + 20 units,
// centred; its radius R is half its width of 150 units, and its ring lies
// between 0.7 R and R. A hue h is read at the angle -h (window y up).
TEST(InterfaceImagesFiles, ColorSelectorRingHoldsTheHuesWhereTheSelectorReadsThem) {
    for (const int scale : {1, 2}) {
        SCOPED_TRACE("scale " + std::to_string(scale));
        const InterfaceImage ring = load(scale == 1 ? "color_selector.png" : "color_selector@2x.png");
        if (ring.width == 0) continue;
        ASSERT_EQ(ring.width, 170 * scale);
        ASSERT_EQ(ring.height, 170 * scale);
        const double c = 85.0 * scale, R = 75.0 * scale;
        for (int h = 0; h < 360; h += 15) {
            const double a = -h * M_PI / 180;
            // The ring marker's radius, the middle of the ring.
            const int x = static_cast<int>(c + 0.85 * R * std::cos(a)), y = static_cast<int>(c + 0.85 * R * std::sin(a));
            const uint8_t* p = px(ring, x, y);
            EXPECT_EQ(p[3], 255) << "hue " << h;
            EXPECT_LT(angleBetween(hueOf(p[0], p[1], p[2]), h), 3.0) << "hue " << h << " at " << x << ", " << y;
            EXPECT_GT(std::max({p[0], p[1], p[2]}), 250) << "pure hues are at full value";
            EXPECT_LT(std::min({p[0], p[1], p[2]}), 30) << "pure hues are fully saturated";
        }
        // Inside, where the saturation-value square is drawn, the image is clear.
        for (int y = 0; y < ring.height; ++y)
            for (int x = 0; x < ring.width; ++x) {
                const double d = std::hypot(x + 0.5 - c, y + 0.5 - c);
                if (d < 0.65 * R) {
                    ASSERT_EQ(px(ring, x, y)[3], 0) << x << ", " << y;
                }
                // Beyond the ring only a faint shadow.
                if (d > R + 1.5 * scale) {
                    ASSERT_LT(px(ring, x, y)[3], 110) << x << ", " << y;
                }
            }
    }
}

TEST(InterfaceImagesFiles, ScaledNameTakesTheDoubleSizeFileWhenThereIsOne) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / ("kw_scaled_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    std::ofstream(dir / "a.png") << "x";
    std::ofstream(dir / "a@2x.png") << "x";
    std::ofstream(dir / "b.png") << "x";
    EXPECT_EQ(scaledImageName(dir.string(), "a.png", 1.0f), "a.png");
    EXPECT_EQ(scaledImageName(dir.string(), "a.png", 1.49f), "a.png");
    EXPECT_EQ(scaledImageName(dir.string(), "a.png", 1.5f), "a@2x.png");
    EXPECT_EQ(scaledImageName(dir.string(), "a.png", 2.0f), "a@2x.png");
    EXPECT_EQ(scaledImageName(dir.string(), "b.png", 2.0f), "b.png") << "no 2x file: the 1x one";
    fs::remove_all(dir);
}

// toolbarCell's rectangle drawn as one quad of the button's size lands the
// atlas cell's pixels one to one, the right way up, at either scale.
class InterfaceAtlasGl : public GlTest {
protected:
    void TearDown() override {
        releaseInterfaceTextures();
        GuiScale = 1.0f;
        GlTest::TearDown();
    }
    std::vector<uint8_t> drawCell(int col, int row, int side) {
        const GLuint texture = toolbarTexture();
        EXPECT_NE(texture, 0u);
        const AtlasRect r = toolbarCell(col, row);
        Framebuffer fb(side, side);
        EXPECT_TRUE(fb.create(false, false));
        fb.bind();
        glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_VIEWPORT_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT);
        glViewport(0, 0, side, side);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        glDisable(GL_BLEND);
        pushOrtho(static_cast<float>(side), static_cast<float>(side));
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
        const float s = static_cast<float>(side);
        glBegin(GL_QUADS);
        glTexCoord2f(r.u0, r.v0); glVertex2f(0, 0);
        glTexCoord2f(r.u1, r.v0); glVertex2f(s, 0);
        glTexCoord2f(r.u1, r.v1); glVertex2f(s, s);
        glTexCoord2f(r.u0, r.v1); glVertex2f(0, s);
        glEnd();
        glBindTexture(GL_TEXTURE_2D, 0);
        popOrtho();
        glPopAttrib();
        fb.unbind();
        auto out = readFramebuffer(fb);
        fb.destroy();
        return out;
    }
};

TEST_F(InterfaceAtlasGl, ToolbarCellLandsTheIconOneToOne) {
    // The brush (column 1, row 7): a diagonal, so a flip either way shows.
    for (const int scale : {1, 2}) {
        SCOPED_TRACE("scale " + std::to_string(scale));
        releaseInterfaceTextures();
        GuiScale = static_cast<float>(scale);
        const int side = 32 * scale;
        const InterfaceImage atlas = load(scale == 1 ? "toolbar.png" : "toolbar@2x.png");
        if (atlas.width == 0) continue;
        const std::vector<uint8_t> drawn = drawCell(1, 7, side);
        int worst = 0, ink = 0;
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x) {
                const uint8_t* want = px(atlas, side + x, 7 * side + y);
                const uint8_t* got = &drawn[(static_cast<size_t>(y) * side + x) * 4];
                if (want[3] > 200) ++ink;
                for (int c = 0; c < 4; ++c) worst = std::max(worst, std::abs(want[c] - got[c]));
            }
        EXPECT_GT(ink, side * side / 20) << "the reference cell is empty";
        EXPECT_LE(worst, 1);
        // The same rectangle names the cell in both atlases.
        const AtlasRect r = toolbarCell(1, 7);
        EXPECT_FLOAT_EQ(r.u0, 32.0f / 256);
        EXPECT_FLOAT_EQ(r.v0, 224.0f / 256);
        EXPECT_FLOAT_EQ(r.u1, 64.0f / 256);
        EXPECT_FLOAT_EQ(r.v1, 1.0f);
    }
}
