#pragma once
// Drawing kit of the interface image generators: shapes as signed distance
// functions in design units, painted into a straight-alpha RGBA image at any
// number of pixels per unit, and written as PNG through a temporary file.
//
// A shape is sampled at each pixel centre and its distance measured in
// pixels, so an edge gets the same one-pixel ramp at every scale: the same
// source drawn at 1 and at 2 pixels per unit gives a 32- and a 64-pixel image
// that agree when the larger one is halved. Design units have y down, like
// the rows of a PNG; the program turns rows bottom-up when it loads them.
//
// Header only, so that any generator source can include it.
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace kwdraw {

using Sdf = std::function<double(double, double)>; // distance in units, negative inside
using Point = std::pair<double, double>;

struct Rgb {
    double r, g, b;
};

// A square (or rectangular) region of an image that one picture is drawn
// into: `ox`, `oy` its top-left pixel, `w`, `h` its size in pixels, `scale`
// pixels per design unit.
struct Region {
    int ox, oy, w, h;
    double scale;
};

struct Image {
    int width, height;
    std::vector<double> r, g, b, a; // straight colour, 0..1

    Image(int w, int h) : width(w), height(h), r(w * h), g(w * h), b(w * h), a(w * h) {}

    Region whole(double scale) const { return {0, 0, width, height, scale}; }

    // Source-over of one pixel.
    void blend(int x, int y, Rgb c, double cover) {
        if (cover <= 0) return;
        const size_t i = static_cast<size_t>(y) * width + x;
        const double outA = cover + a[i] * (1 - cover);
        r[i] = (c.r * cover + r[i] * a[i] * (1 - cover)) / outA;
        g[i] = (c.g * cover + g[i] * a[i] * (1 - cover)) / outA;
        b[i] = (c.b * cover + b[i] * a[i] * (1 - cover)) / outA;
        a[i] = outA;
    }

    // The general paint: at each pixel centre of the region, `cover` gets the
    // shape's distance in pixels and the point in units and returns the
    // coverage, `colour` the colour at that point.
    void paintWith(const Sdf& shape, const Region& reg, const std::function<double(double, double, double)>& cover,
                   const std::function<Rgb(double, double)>& colour) {
        for (int y = reg.oy; y < reg.oy + reg.h; ++y)
            for (int x = reg.ox; x < reg.ox + reg.w; ++x) {
                const double u = (x + 0.5 - reg.ox) / reg.scale, v = (y + 0.5 - reg.oy) / reg.scale;
                const double c = cover(shape(u, v) * reg.scale, u, v);
                if (c > 0) blend(x, y, colour(u, v), std::min(c, 1.0));
            }
    }

    // A shape in one colour, anti-aliased over one pixel.
    void paint(const Sdf& shape, const Region& reg, Rgb c, double alpha = 1.0) {
        paintWith(shape, reg, [&](double d, double, double) { return std::clamp(0.5 - d, 0.0, 1.0) * alpha; },
                  [&](double, double) { return c; });
    }

    // A soft band outside the shape that fades to nothing `reach` units away:
    // halos and shadows. Its fall-off is in units, so it looks the same at
    // every scale.
    void glow(const Sdf& shape, const Region& reg, Rgb c, double alpha, double reach) {
        paintWith(
            shape, reg,
            [&](double dPixels, double, double) {
                const double t = std::clamp(1.0 - dPixels / reg.scale / reach, 0.0, 1.0);
                return t * t * (3 - 2 * t) * alpha;
            },
            [&](double, double) { return c; });
    }

    // RGBA bytes, rows top-down.
    std::vector<uint8_t> bytes() const {
        std::vector<uint8_t> out(static_cast<size_t>(width) * height * 4);
        for (size_t i = 0; i < r.size(); ++i) {
            out[i * 4 + 0] = static_cast<uint8_t>(std::lround(std::clamp(r[i], 0.0, 1.0) * 255));
            out[i * 4 + 1] = static_cast<uint8_t>(std::lround(std::clamp(g[i], 0.0, 1.0) * 255));
            out[i * 4 + 2] = static_cast<uint8_t>(std::lround(std::clamp(b[i], 0.0, 1.0) * 255));
            out[i * 4 + 3] = static_cast<uint8_t>(std::lround(std::clamp(a[i], 0.0, 1.0) * 255));
        }
        return out;
    }
};

// Writes RGBA bytes (rows top-down) as PNG: into "<path>.tmp", then renamed
// over `path`, so a failed run never leaves half a file under the real name.
inline bool writePng(const std::string& path, int width, int height, const std::vector<uint8_t>& rgba) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGBA;
    const std::string temp = path + ".tmp";
    if (!png_image_write_to_file(&image, temp.c_str(), 0, rgba.data(), 0, nullptr)) {
        std::remove(temp.c_str());
        return false;
    }
    if (std::rename(temp.c_str(), path.c_str()) != 0) {
        std::remove(temp.c_str());
        return false;
    }
    return true;
}
inline bool writePng(const std::string& path, const Image& img) {
    return writePng(path, img.width, img.height, img.bytes());
}

// ---- shapes ------------------------------------------------------------------

inline Sdf roundedBox(double cx, double cy, double hw, double hh, double radius) {
    return [=](double x, double y) {
        const double qx = std::fabs(x - cx) - hw + radius, qy = std::fabs(y - cy) - hh + radius;
        return std::hypot(std::max(qx, 0.0), std::max(qy, 0.0)) + std::min(std::max(qx, qy), 0.0) - radius;
    };
}
inline Sdf segment(double x0, double y0, double x1, double y1, double halfWidth) {
    return [=](double x, double y) {
        const double dx = x1 - x0, dy = y1 - y0;
        const double len2 = dx * dx + dy * dy;
        const double t = len2 > 0 ? std::clamp(((x - x0) * dx + (y - y0) * dy) / len2, 0.0, 1.0) : 0.0;
        return std::hypot(x - x0 - t * dx, y - y0 - t * dy) - halfWidth;
    };
}
// A polyline of round-capped segments.
inline Sdf polyline(std::vector<Point> pts, double halfWidth) {
    return [=](double x, double y) {
        double d = 1e9;
        for (size_t i = 1; i < pts.size(); ++i)
            d = std::min(d, segment(pts[i - 1].first, pts[i - 1].second, pts[i].first, pts[i].second, halfWidth)(x, y));
        return d;
    };
}
inline Sdf disc(double cx, double cy, double radius) {
    return [=](double x, double y) { return std::hypot(x - cx, y - cy) - radius; };
}
inline Sdf ring(double cx, double cy, double radius, double halfWidth) {
    return [=](double x, double y) { return std::fabs(std::hypot(x - cx, y - cy) - radius) - halfWidth; };
}
// An ellipse's outline (distance approximated by the radial one, good for
// thin lines on moderate ellipses).
inline Sdf ellipseRing(double cx, double cy, double rx, double ry, double halfWidth) {
    return [=](double x, double y) {
        const double nx = (x - cx) / rx, ny = (y - cy) / ry;
        const double k = std::hypot(nx, ny);
        if (k < 1e-9) return std::min(rx, ry) - halfWidth;
        // Gradient length of k, so the value is in units near the curve.
        const double gx = nx / (k * rx), gy = ny / (k * ry);
        return std::fabs(k - 1) / std::hypot(gx, gy) - halfWidth;
    };
}
// Arc of a ring from angle a0 to a1 (radians, 0 = right; y is down, so
// growing angles turn clockwise on screen).
inline Sdf arc(double cx, double cy, double radius, double a0, double a1, double halfWidth) {
    return [=](double x, double y) {
        double ang = std::atan2(y - cy, x - cx);
        while (ang < a0) ang += 2 * M_PI;
        if (ang <= a1) return std::fabs(std::hypot(x - cx, y - cy) - radius) - halfWidth;
        const double ex0 = cx + radius * std::cos(a0), ey0 = cy + radius * std::sin(a0);
        const double ex1 = cx + radius * std::cos(a1), ey1 = cy + radius * std::sin(a1);
        return std::min(std::hypot(x - ex0, y - ey0), std::hypot(x - ex1, y - ey1)) - halfWidth;
    };
}
inline Sdf polygon(std::vector<Point> pts) {
    return [=](double x, double y) {
        double d = 1e9;
        bool inside = false;
        for (size_t i = 0, j = pts.size() - 1; i < pts.size(); j = i++) {
            const auto [xi, yi] = pts[i];
            const auto [xj, yj] = pts[j];
            d = std::min(d, segment(xj, yj, xi, yi, 0)(x, y));
            if ((yi > y) != (yj > y) && x < (xj - xi) * (y - yi) / (yj - yi) + xi) inside = !inside;
        }
        return inside ? -d : d;
    };
}
// A stroke that tapers from radius r0 at (x0, y0) to r1 at (x1, y1).
inline Sdf taper(double x0, double y0, double r0, double x1, double y1, double r1) {
    const double dx = x1 - x0, dy = y1 - y0, len = std::hypot(dx, dy);
    const double nx = -dy / len, ny = dx / len;
    const Sdf hull = polygon({{x0 + nx * r0, y0 + ny * r0},
                              {x1 + nx * r1, y1 + ny * r1},
                              {x1 - nx * r1, y1 - ny * r1},
                              {x0 - nx * r0, y0 - ny * r0}});
    const Sdf a = disc(x0, y0, r0), b = disc(x1, y1, r1);
    return [=](double x, double y) { return std::min({hull(x, y), a(x, y), b(x, y)}); };
}

// ---- combinations ------------------------------------------------------------

inline Sdf outline(const Sdf& s, double halfWidth) {
    return [=](double x, double y) { return std::fabs(s(x, y)) - halfWidth; };
}
inline Sdf unite(std::vector<Sdf> parts) {
    return [=](double x, double y) {
        double d = 1e9;
        for (const Sdf& p : parts) d = std::min(d, p(x, y));
        return d;
    };
}
// `a` with `b` cut away.
inline Sdf subtract(const Sdf& a, const Sdf& b) {
    return [=](double x, double y) { return std::max(a(x, y), -b(x, y)); };
}
inline Sdf intersect(const Sdf& a, const Sdf& b) {
    return [=](double x, double y) { return std::max(a(x, y), b(x, y)); };
}
// `front` laid over `back` with a gap of `gap` units cut round it, so the two
// read as separate pieces in one colour.
inline Sdf overlay(const Sdf& back, const Sdf& front, double gap) {
    return [=](double x, double y) {
        const double f = front(x, y);
        return std::min(std::max(back(x, y), -(f - gap)), f);
    };
}
inline Sdf grow(const Sdf& s, double by) {
    return [=](double x, double y) { return s(x, y) - by; };
}
// The shape turned by `angle` radians (clockwise on screen) about (cx, cy).
inline Sdf rotate(const Sdf& s, double cx, double cy, double angle) {
    const double c = std::cos(angle), sn = std::sin(angle);
    return [=](double x, double y) {
        const double dx = x - cx, dy = y - cy;
        return s(cx + dx * c + dy * sn, cy - dx * sn + dy * c);
    };
}
// The shape mirrored about the vertical line x = axis.
inline Sdf mirrorX(const Sdf& s, double axis) {
    return [=](double x, double y) { return s(2 * axis - x, y); };
}
inline Sdf translate(const Sdf& s, double dx, double dy) {
    return [=](double x, double y) { return s(x - dx, y - dy); };
}

// HSV (h in degrees, s and v 0..1) to RGB.
inline Rgb hsvToRgb(double h, double s, double v) {
    h = std::fmod(h, 360.0);
    if (h < 0) h += 360;
    const double c = v * s, hp = h / 60.0, x = c * (1 - std::fabs(std::fmod(hp, 2.0) - 1)), m = v - c;
    Rgb out{0, 0, 0};
    if (hp < 1) out = {c, x, 0};
    else if (hp < 2) out = {x, c, 0};
    else if (hp < 3) out = {0, c, x};
    else if (hp < 4) out = {0, x, c};
    else if (hp < 5) out = {x, 0, c};
    else out = {c, 0, x};
    return {out.r + m, out.g + m, out.b + m};
}

} // namespace kwdraw
