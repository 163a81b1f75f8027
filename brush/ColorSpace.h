#pragma once
// The colour conversions the whole program uses: red, green, blue and
// saturation, value in 0..1, hue in degrees. Single precision throughout.

namespace brush {

struct Rgb {
    float r = 0.0f, g = 0.0f, b = 0.0f;
    constexpr bool operator==(const Rgb&) const = default;
};

struct Hsv {
    float h = 0.0f, s = 0.0f, v = 0.0f;
    constexpr bool operator==(const Hsv&) const = default;
};

// A hue of exactly 360 falls in the last sector, as stored colours expect.
Rgb hsvToRgb(const Hsv& c);
// Grey gives hue 0 and saturation 0.
Hsv rgbToHsv(const Rgb& c);

} // namespace brush
