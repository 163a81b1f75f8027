// The colour conversions against values worked out by hand from their
// formulas (sector = floor(h / 60), f = h / 60 - sector, p = (1 - s) v,
// q = (1 - f s) v, t = (1 - (1 - f) s) v), and every 8-bit colour there and
// back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "brush/ColorSpace.h"

using brush::Hsv;
using brush::Rgb;

TEST(ColorSpaceSectors, NoSaturationIsTheGreyOfTheValueWhateverTheHue) {
    EXPECT_EQ(brush::hsvToRgb({123, 0, 0.4f}), (Rgb{0.4f, 0.4f, 0.4f}));
    EXPECT_EQ(brush::hsvToRgb({359, 0, 1}), (Rgb{1, 1, 1}));
    EXPECT_EQ(brush::hsvToRgb({0, 0, 0}), (Rgb{0, 0, 0}));
    // Back: a grey has hue 0 and saturation 0.
    EXPECT_EQ(brush::rgbToHsv({0.4f, 0.4f, 0.4f}), (Hsv{0, 0, 0.4f}));
}

// s 0.5, v 0.8: p = 0.4. At a sector's top f is 0 in the next sector, so
// q = v and t = p: 60 gives (q, v, p) = (0.8, 0.8, 0.4), 120 (p, v, t) =
// (0.4, 0.8, 0.4), 180 (p, q, v) = (0.4, 0.8, 0.8), 240 (t, p, v) =
// (0.4, 0.4, 0.8), 300 (v, p, q) = (0.8, 0.4, 0.8).
TEST(ColorSpaceSectors, AHueAtASectorsTopStartsTheNextSector) {
    EXPECT_EQ(brush::hsvToRgb({60, 0.5f, 0.8f}), (Rgb{0.8f, 0.8f, 0.4f}));
    EXPECT_EQ(brush::hsvToRgb({120, 0.5f, 0.8f}), (Rgb{0.4f, 0.8f, 0.4f}));
    EXPECT_EQ(brush::hsvToRgb({180, 0.5f, 0.8f}), (Rgb{0.4f, 0.8f, 0.8f}));
    EXPECT_EQ(brush::hsvToRgb({240, 0.5f, 0.8f}), (Rgb{0.4f, 0.4f, 0.8f}));
    EXPECT_EQ(brush::hsvToRgb({300, 0.5f, 0.8f}), (Rgb{0.8f, 0.4f, 0.8f}));
    // Mid-sector, h 90: sector 1, f 0.5, q = 0.75 x 0.8 = 0.6: (q, v, p).
    const Rgb mid = brush::hsvToRgb({90, 0.5f, 0.8f});
    EXPECT_FLOAT_EQ(mid.r, 0.6f);
    EXPECT_FLOAT_EQ(mid.g, 0.8f);
    EXPECT_FLOAT_EQ(mid.b, 0.4f);
    // h 330: sector 5, f 0.5: (v, p, q) = (0.8, 0.4, 0.6).
    const Rgb last = brush::hsvToRgb({330, 0.5f, 0.8f});
    EXPECT_FLOAT_EQ(last.r, 0.8f);
    EXPECT_FLOAT_EQ(last.g, 0.4f);
    EXPECT_FLOAT_EQ(last.b, 0.6f);
}

// RGB to HSV wraps a negative hue by one turn: (1, 0, 0.5) has red largest,
// dB = (0.5 / 6 + 0.5) / 1 = 0.58333, dG = (1 / 6 + 0.5) = 0.66667, so
// h = -0.08333 + 1 = 0.91667 of a turn, 330 degrees.
TEST(ColorSpaceSectors, HuesBelowRedWrapIntoTheLastSector) {
    const Hsv pinkish = brush::rgbToHsv({1, 0, 0.5f});
    EXPECT_NEAR(pinkish.h, 330.0f, 1e-3);
    EXPECT_FLOAT_EQ(pinkish.s, 1.0f);
    EXPECT_FLOAT_EQ(pinkish.v, 1.0f);
    // One step of blue over pure red: just short of a full turn, never 360.
    const Hsv nearlyRed = brush::rgbToHsv({1, 0, 1 / 255.0f});
    EXPECT_LT(nearlyRed.h, 360.0f);
    EXPECT_GT(nearlyRed.h, 359.0f);
    const Rgb back = brush::hsvToRgb(nearlyRed);
    EXPECT_NEAR(back.r, 1.0f, 1e-6);
    EXPECT_NEAR(back.g, 0.0f, 1e-6);
    EXPECT_NEAR(back.b, 1 / 255.0f, 1e-6);
}

TEST(ColorSpaceRoundTrip, Every8BitColourComesBackWithinOneStep) {
    float worst = 0;
    int outside = 0;
    for (int r = 0; r < 256; ++r)
        for (int g = 0; g < 256; ++g)
            for (int b = 0; b < 256; ++b) {
                const Rgb c{r / 255.0f, g / 255.0f, b / 255.0f};
                const Hsv h = brush::rgbToHsv(c);
                if (!(h.h >= 0.0f && h.h < 360.0f && h.s >= 0.0f && h.s <= 1.0f)) ++outside;
                const Rgb back = brush::hsvToRgb(h);
                worst = std::max({worst, std::fabs(back.r - c.r), std::fabs(back.g - c.g), std::fabs(back.b - c.b)});
            }
    EXPECT_EQ(outside, 0) << "hue in 0..360, saturation in 0..1";
    EXPECT_LE(worst, 1 / 255.0f);
    // In fact far closer: the error stays a rounding matter.
    EXPECT_LT(worst, 1e-5f);
}
