#include <gtest/gtest.h>

#include <memory>

#include "canvas/Framebuffer.h"
#include "core/Globals.h"
#include "core/RenderArea.h"
#include "support/GlTestContext.h"
#include "widgets/ButtonWidget.h"
#include "widgets/GUI.h"
#include "widgets/GlFont.h"
#include "widgets/InterfaceImages.h"
#include "TestPaths.h"

// Widgets drawn through the GUI root into a 128 x 64 framebuffer over opaque
// black, then read back. Pixel rows are bottom-up like the window.
namespace {
constexpr int kW = 128, kH = 64;

class WidgetPixels : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        GuiScale = 1.0f;
        gFontGui = std::make_unique<GlFont>(std::string(KW_TEST_DATA_DIR) + "/fonts/test.TTF", 10);
    }
    void TearDown() override {
        gFontGui.reset();
        releaseInterfaceTextures();
        GlTest::TearDown();
    }
    std::vector<uint8_t> render(GUI& root) {
        Framebuffer fb(kW, kH);
        EXPECT_TRUE(fb.create(false, false));
        fb.bind();
        glViewport(0, 0, kW, kH);
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        root.update(20, 0, 0);
        root.update(20, 0, 0);
        root.draw(1.0f);
        fb.unbind();
        auto px = readFramebuffer(fb);
        fb.destroy();
        return px;
    }
    static const uint8_t* at(const std::vector<uint8_t>& px, int x, int y) { return &px[(y * kW + x) * 4]; }
};
} // namespace

TEST_F(WidgetPixels, ButtonFrameHoverFillAndLabel) {
    RenderArea area{0, 0, kW, kH};
    GUI root(&area);
    auto button = std::make_shared<ButtonWidget>(10, 10, 100, 30, "Save");
    root.add(button);
    root.update(0, 0, 0);
    auto idle = render(root);
    // Frame: (0.3, 0.3, 0.3) on the rectangle's edge, black just outside it.
    EXPECT_NEAR(at(idle, 50, 10)[0], 77, 2);
    EXPECT_EQ(at(idle, 50, 9)[0], 0);
    EXPECT_EQ(at(idle, 50, 25)[0], 0) << "no fill while the pointer is away";

    EXPECT_EQ(root.onMouseMove(50, 25, false), 1);
    auto hover = render(root);
    // Frame turns cyan; the inside gets white at 0.25.
    EXPECT_EQ(at(hover, 50, 10)[0], 0);
    EXPECT_GT(at(hover, 50, 10)[1], 250);
    EXPECT_GT(at(hover, 50, 10)[2], 250);
    EXPECT_NEAR(at(hover, 12, 12)[0], 64, 2);
    // The black label leaves dark ink on the light fill, centred in the button.
    int ink = 0;
    for (int y = 12; y < 38; ++y)
        for (int x = 40; x < 80; ++x)
            if (at(hover, x, y)[0] < 40) ++ink;
    EXPECT_GT(ink, 20);
}

TEST_F(WidgetPixels, CheckBoxShowsItsStateImage) {
    RenderArea area{0, 0, kW, kH};
    GUI root(&area);
    auto box = std::make_shared<CheckBoxWidget>(20, 20, 32, false, nullptr, nullptr);
    root.add(box);
    root.update(0, 0, 0);
    auto off = render(root);
    // Unchecked: a light face, tinted by 0.9.
    const uint8_t* face = at(off, 36, 36);
    EXPECT_GT(face[0], 190);
    EXPECT_NEAR(face[0], face[2], 3);
    root.onMouseButton(0, 0, 36, 36, false);
    EXPECT_TRUE(box->checked);
    auto on = render(root);
    // Checked: the teal face (blue above red) beside the white tick.
    const uint8_t* teal = at(on, 26, 44);
    EXPECT_GT(teal[2], teal[0] + 60);
    int white = 0;
    for (int y = 24; y < 48; ++y)
        for (int x = 24; x < 48; ++x)
            if (at(on, x, y)[0] > 230 && at(on, x, y)[2] > 230) ++white;
    EXPECT_GT(white, 15);
}

TEST(IconAtlas, CellRectanglesCountRowsFromTheBottom) {
    // 256 x 256 atlas, 32-pixel cells: column 3 spans 96..128, row 7 spans 224..256.
    const AtlasRect r = atlasCellRect(3, 7, 256, 256);
    EXPECT_FLOAT_EQ(r.u0, 0.375f);
    EXPECT_FLOAT_EQ(r.u1, 0.5f);
    EXPECT_FLOAT_EQ(r.v0, 0.875f);
    EXPECT_FLOAT_EQ(r.v1, 1.0f);
    // A wide atlas of 512 x 128: column 1 row 0 is 32..64 of 512 across, 0..32 of 128 up.
    const AtlasRect w = atlasCellRect(1, 0, 512, 128);
    EXPECT_FLOAT_EQ(w.u0, 0.0625f);
    EXPECT_FLOAT_EQ(w.u1, 0.125f);
    EXPECT_FLOAT_EQ(w.v0, 0.0f);
    EXPECT_FLOAT_EQ(w.v1, 0.25f);
    const AtlasRect none = atlasCellRect(0, 0, 0, 0);
    EXPECT_EQ(none.u1, 0.0f) << "a missing atlas gives an empty rectangle";
}
