#include "brush/ColorSpace.h"

#include <algorithm>
#include <cmath>

namespace brush {

Rgb hsvToRgb(const Hsv& c) {
    const float v = c.v;
    if (c.s == 0.0f) return {v, v, v};
    const float h = c.h / 60.0f;
    const float sector = std::floor(h);
    const float f = h - sector;
    const float p = (1.0f - c.s) * v;
    const float q = (1.0f - f * c.s) * v;
    const float t = (1.0f - (1.0f - f) * c.s) * v;
    switch (static_cast<int>(sector)) {
    case 0: return {v, t, p};
    case 1: return {q, v, p};
    case 2: return {p, v, t};
    case 3: return {p, q, v};
    case 4: return {t, p, v};
    default: return {v, p, q};
    }
}

Hsv rgbToHsv(const Rgb& c) {
    const float maxC = std::max({c.r, c.g, c.b});
    const float minC = std::min({c.r, c.g, c.b});
    const float delta = maxC - minC;
    Hsv out{0.0f, 0.0f, maxC};
    if (delta == 0.0f) return out;
    out.s = delta / maxC;
    const float dR = ((maxC - c.r) / 6.0f + delta / 2.0f) / delta;
    const float dG = ((maxC - c.g) / 6.0f + delta / 2.0f) / delta;
    const float dB = ((maxC - c.b) / 6.0f + delta / 2.0f) / delta;
    float h = 0.0f;
    if (c.r == maxC)
        h = dB - dG;
    else if (c.g == maxC)
        h = 1.0f / 3.0f + dR - dB;
    else
        h = 2.0f / 3.0f + dG - dR;
    if (h < 0.0f) h += 1.0f;
    if (h > 1.0f) h -= 1.0f;
    out.h = h * 360.0f;
    return out;
}

} // namespace brush
