#pragma once
// CPU versions of the shader programs' per-pixel formulas, in plain floats.
// They define what each program must compute and let tests check GL results;
// nothing here touches GL. Colours are premultiplied RGBA in 0..1 unless a
// function says otherwise.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

namespace blendref {

struct Rgba {
    float r = 0, g = 0, b = 0, a = 0;
};

inline Rgba fromBytes(const uint8_t* p) { return {p[0] / 255.0f, p[1] / 255.0f, p[2] / 255.0f, p[3] / 255.0f}; }

// How an 8-bit target stores a float: clamped to 0..1, nearest step.
inline uint8_t toByte(float v) { return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f)); }

inline Rgba scaled(Rgba c, float s) { return {c.r * s, c.g * s, c.b * s, c.a * s}; }

// Round dab. (px, py) is the pixel centre, all in framebuffer pixels. Empty
// where the fragment is discarded; the alpha before the vertex alpha otherwise.
inline std::optional<float> hardDabCoverage(float px, float py, float cx, float cy, float radius) {
    const float d = std::hypot(px - cx, py - cy);
    if (d > radius + 2.0f) return std::nullopt;
    if (radius < 1.0f) {
        if (!(d < 1.71f)) return std::nullopt;
        const float w = std::max(std::min(px + 0.5f, cx + radius) - std::max(px - 0.5f, cx - radius), 0.0f);
        const float h = std::max(std::min(py + 0.5f, cy + radius) - std::max(py - 0.5f, cy - radius), 0.0f);
        if (w * h <= 0.0f) return std::nullopt;
        return w * h;
    }
    if (d < radius - 2.0f) return 1.0f;
    float total = 0.0f, sum = 0.0f;
    for (float ox : {-0.5f, 0.5f})
        for (float oy : {-0.5f, 0.5f}) {
            const float e = std::hypot(px + ox - cx, py + oy - cy);
            total += std::fabs(radius - e);
            if (e < radius) sum += radius - e;
        }
    return sum / total;
}

inline std::optional<float> softDabCoverage(float px, float py, float cx, float cy, float radius, float hardness) {
    const float d = std::hypot(px - cx, py - cy);
    const float f = hardness * radius;
    if (d >= radius) return std::nullopt;
    return d < f ? 1.0f : (radius - d) / (radius - f);
}

// A dab's colour from its coverage and the (straight) vertex colour.
inline Rgba dabColor(float coverage, Rgba vertex) {
    const float a = coverage * vertex.a;
    return {vertex.r * a, vertex.g * a, vertex.b * a, a};
}

inline Rgba dabTexture(float textureAlpha, Rgba vertex) { return dabColor(textureAlpha, vertex); }

// Empty where the tip is transparent (discarded).
inline std::optional<Rgba> dabDry(float textureAlpha, Rgba vertex) {
    const float t = textureAlpha;
    if (t == 0.0f) return std::nullopt;
    const float angle = 1.57079632f * vertex.a;
    const float a = std::min(1.0f, (1.0f - t) * (1.0f - std::cos(angle)) + t * std::sin(angle));
    return Rgba{vertex.r * a, vertex.g * a, vertex.b * a, a};
}

// Stroke composites; vertex rgb is the brush colour, vertex alpha its opacity.
inline Rgba strokeOver(Rgba stroke, Rgba canvas, Rgba vertex) {
    const float a0 = stroke.a * vertex.a, a1 = canvas.a;
    return {vertex.r * a0 + canvas.r * (1 - a0), vertex.g * a0 + canvas.g * (1 - a0),
            vertex.b * a0 + canvas.b * (1 - a0), a0 + a1 * (1 - a0)};
}

inline Rgba strokeOverColors(Rgba stroke, Rgba canvas, Rgba vertex) {
    const float a0 = stroke.a * vertex.a, a1 = canvas.a;
    return {stroke.r * vertex.a + canvas.r * (1 - a0), stroke.g * vertex.a + canvas.g * (1 - a0),
            stroke.b * vertex.a + canvas.b * (1 - a0), a0 + a1 * (1 - a0)};
}

// The stroke's alpha already smoothed (see smoothedAlpha).
inline Rgba strokeSmooth(float smoothedStrokeAlpha, Rgba canvas, Rgba vertex) {
    const float a0 = smoothedStrokeAlpha * vertex.a, a1 = canvas.a;
    const float alpha = a0 + a1 * (1 - a0);
    if (alpha <= 0.0f) return {};
    return {(vertex.r * a0 + canvas.r * a1 * (1 - a0)) / alpha, (vertex.g * a0 + canvas.g * a1 * (1 - a0)) / alpha,
            (vertex.b * a0 + canvas.b * a1 * (1 - a0)) / alpha, alpha};
}

inline Rgba strokePreview(Rgba stroke, Rgba canvas, Rgba vertex, float layerOpacity) {
    return scaled(strokeOver(stroke, canvas, vertex), layerOpacity);
}

inline Rgba strokePreviewColors(Rgba stroke, Rgba canvas, Rgba vertex, float layerOpacity) {
    return scaled(strokeOverColors(stroke, canvas, vertex), layerOpacity);
}

inline Rgba strokeSmoothPreview(float smoothedStrokeAlpha, Rgba canvas, Rgba vertex, float layerOpacity) {
    Rgba c = strokeSmooth(smoothedStrokeAlpha, canvas, vertex);
    c.a *= layerOpacity;
    return c;
}

// Unclamped: a stroke stronger than the pixel gives a negative alpha.
inline Rgba erase(Rgba stroke, Rgba canvas, float vertexAlpha) {
    const float a0 = stroke.a * vertexAlpha, a1 = canvas.a;
    if (a1 == 0.0f) return {};
    const float alpha = a1 - a0;
    return {canvas.r / a1 * alpha, canvas.g / a1 * alpha, canvas.b / a1 * alpha, alpha};
}

inline Rgba selectionMask(Rgba stroke, float maskAlpha) { return scaled(stroke, maskAlpha); }

// o0: opacity of the top layer, o1: of the bottom one.
inline Rgba layerMerge(Rgba top, Rgba bottom, float o0, float o1) {
    const float a0 = top.a * o0, a1 = bottom.a * o1;
    return {top.r * o0 + bottom.r * o1 * (1 - a0), top.g * o0 + bottom.g * o1 * (1 - a0),
            top.b * o0 + bottom.b * o1 * (1 - a0), a0 + a1 * (1 - a0)};
}

inline Rgba premultipliedOver(Rgba top, Rgba bottom) {
    const float k = 1 - top.a;
    return {top.r + bottom.r * k, top.g + bottom.g * k, top.b + bottom.b * k, top.a + bottom.a * k};
}

inline Rgba smoothOver(Rgba top, float smoothedTopAlpha, Rgba bottom) {
    const float a0 = smoothedTopAlpha, a1 = bottom.a;
    const float alpha = a0 + a1 * (1 - a0);
    if (alpha <= 0.0f) return {};
    return {(top.r * a0 + bottom.r * a1 * (1 - a0)) / alpha, (top.g * a0 + bottom.g * a1 * (1 - a0)) / alpha,
            (top.b * a0 + bottom.b * a1 * (1 - a0)) / alpha, alpha};
}

// alphaAt(dx, dy): alpha of the neighbour dx, dy samples away (-1..1).
template <typename AlphaAt> float smoothedAlpha(AlphaAt alphaAt) {
    static constexpr float weights[3][3] = {{0.25f, 0.5f, 0.25f}, {0.5f, 1.0f, 0.5f}, {0.25f, 0.5f, 0.25f}};
    float sum = 0.0f;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) sum += weights[dy + 1][dx + 1] * alphaAt(dx, dy);
    return sum / 4.0f;
}

// Black; the returned value is the alpha.
template <typename AlphaAt> float selectionEdgeAlpha(AlphaAt alphaAt) {
    float sum = 0.0f;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) sum += (dx == 0 && dy == 0 ? 1.0f : 0.5f) * alphaAt(dx, dy);
    return sum / 5.0f;
}

// Black; alpha 0.5 on an edge of the tip, else 0.
inline float tipOutlineAlpha(float a, float aLeft, float aBelow) {
    return std::fabs(a - aLeft) > 0.15f || std::fabs(a - aBelow) > 0.15f ? 0.5f : 0.0f;
}

// Grey level of window pixel (x, y); alpha is 1.
inline float checkerboardGrey(int x, int y) {
    const bool oddX = std::fmod((x + 0.5f) / 10.0f, 2.0f) < 1.0f;
    const bool oddY = std::fmod((y + 0.5f) / 10.0f, 2.0f) < 1.0f;
    return oddX != oddY ? 0.8f : 1.0f;
}

// Black; alpha 0 inside the rotated rectangle, 0.5 outside. p in window pixels.
inline float rectDimAlpha(float px, float py, float cx, float cy, float yAxisX, float yAxisY, float extentX,
                          float extentY) {
    const float qx = px - cx, qy = py - cy;
    const float alongX = qx * -yAxisY + qy * yAxisX;
    const float alongY = qx * yAxisX + qy * yAxisY;
    return std::fabs(alongX) < extentX && std::fabs(alongY) < extentY ? 0.0f : 0.5f;
}

inline float smoothstep(float e0, float e1, float x) {
    const float t = std::clamp((x - e0) / (e1 - e0), 0.0f, 1.0f);
    return t * t * (3.0f - 2.0f * t);
}

// Shadow alpha before the vertex alpha; the colour is the straight vertex rgb.
inline float boxShadowAlpha(float px, float py, float cx, float cy, float extentX, float extentY, float distance) {
    const float x = std::fabs(px - cx), y = std::fabs(py - cy);
    const float zx = extentX - distance / 2.0f, zy = extentY - distance / 2.0f;
    float d;
    if (x > zx)
        d = y > zy ? std::hypot(x - zx, y - zy) : x - zx;
    else
        d = y - zy;
    return smoothstep(0.0f, 1.0f, 1.0f - smoothstep(0.0f, distance, d));
}

// (x, y): texture coordinate in the square; vertex: the hue at full value.
inline Rgba colorSquare(float x, float y, Rgba vertex) {
    const float a2 = (1 - x) * y, a3 = x * y;
    return {a2 + vertex.r * a3, a2 + vertex.g * a3, a2 + vertex.b * a3, vertex.a};
}

} // namespace blendref
