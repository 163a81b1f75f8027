#include <gtest/gtest.h>

#include <stdexcept>

#include "core/Globals.h"
#include "support/GlTestContext.h"
#include "widgets/ButtonWidget.h"
#include "widgets/GlFont.h"
#include "TestPaths.h"

namespace {
const std::string kFont = std::string(KW_TEST_DATA_DIR) + "/fonts/test.TTF";
} // namespace

TEST(TextRaster, AdvancesAreSaneAndAccentedLettersHaveGlyphs) {
    const RasterFont f = rasterizeFont(kFont, 10);
    EXPECT_GT(f.advances['M'], f.advances['i']);
    EXPECT_GT(f.advances[' '], 0);
    for (int c = 32; c < 256; ++c) EXPECT_GE(f.advances[c], 0) << c;
    // é ü ñ ø Æ as Latin-1 bytes: real glyphs, taller than their base letters.
    for (unsigned char c : {0xE9, 0xFC, 0xF1, 0xF8, 0xC6}) {
        EXPECT_GT(f.glyphs[c].width, 0) << int(c);
        EXPECT_GT(f.glyphs[c].coverage.size(), 0u);
    }
    EXPECT_GT(f.glyphs[0xE9].top, f.glyphs['e'].top) << "the accent stands above the e";
    EXPECT_EQ(f.glyphs[' '].width, 0) << "the space has no bitmap but an advance";
}

TEST(TextRaster, MissingFileThrowsTheFreeTypeMessage) {
    try {
        rasterizeFont("/nonexistent/font.TTF", 10);
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "FT_New_Face failed (there is probably a problem with your font file)");
    }
}

TEST(TextLatin1, Utf8BecomesSingleBytes) {
    EXPECT_EQ(utf8ToLatin1("caf\xC3\xA9"), "caf\xE9");
    EXPECT_EQ(utf8ToLatin1("\xE2\x82\xAC"), "?") << "the euro sign isn't Latin-1";
    EXPECT_EQ(utf8ToLatin1("plain"), "plain");
}

class TextGl : public GlTest {};

TEST_F(TextGl, MeasuringByTheAdvancesTable) {
    GlFont font(kFont, 10);
    EXPECT_FALSE(font.usedFallback);
    EXPECT_EQ(font.height, 10.0f);
    int lines = 0;
    EXPECT_EQ(measureText(font, "", lines), 0);
    EXPECT_EQ(lines, 1);
    const int ab = font.advances['a'] + font.advances['b'];
    EXPECT_EQ(measureText(font, "ab", lines), ab);
    const int wide = measureText(font, "WWWW", lines);
    EXPECT_EQ(measureText(font, "ab\nWWWW", lines), wide);
    EXPECT_EQ(lines, 2);
    EXPECT_EQ(lineHeight(font), 15);
}

TEST_F(TextGl, MissingFontFileFallsBack) {
    GlFont font("/nonexistent/font.TTF", 9);
    EXPECT_TRUE(font.usedFallback);
    EXPECT_GT(font.advances['x'], 0);
    EXPECT_NE(font.listBase, 0u);
}

TEST_F(TextGl, PrintedAccentDrawsInkAboveTheLetter) {
    GlFont font(kFont, 20);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glViewport(0, 0, 64, 64);
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    pushOrtho(64, 64);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
    glColor4f(1, 1, 1, 1);
    auto inkRows = [&](const char* text) {
        glClear(GL_COLOR_BUFFER_BIT);
        printRaw(font, 10, 10, text);
        const auto px = readPixels(0, 0, 64, 64);
        int top = -1;
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x)
                if (px[(y * 64 + x) * 4] > 128) top = std::max(top, y);
        return top;
    };
    const int plain = inkRows("e"), accented = inkRows("\xE9");
    glPopMatrix();
    popOrtho();
    EXPECT_GT(plain, 10);
    EXPECT_GT(accented, plain + 2);
}

TEST_F(TextGl, ButtonWidensForItsLabelAndNeverNarrows) {
    GuiScale = 1.0f;
    gFontGui = std::make_unique<GlFont>(kFont, 10);
    ButtonWidget b(0, 0, 20, 20, "A much longer label");
    const int labelWidth = measureText(*gFontGui, "A much longer label");
    EXPECT_EQ(b.labelWidth, labelWidth);
    EXPECT_EQ(b.width, labelWidth + 10.0f);
    b.setLabel("x");
    EXPECT_EQ(b.width, labelWidth + 10.0f);
    gFontGui.reset();
}
