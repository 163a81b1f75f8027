// Draws the interface images (check box states and the tool bar atlas) and
// writes them as PNG files.
//
//   gen_interface_images <output folder>
//
// Shapes are signed distance functions sampled at each pixel centre, so every
// edge is anti-aliased the same way at any size. Rows are written top-down as
// PNG wants them; the program turns them bottom-up when it loads them.
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

using Sdf = std::function<double(double, double)>; // distance, negative inside

struct Image {
    int width, height;
    std::vector<double> r, g, b, a; // straight colour, 0..1
    Image(int w, int h) : width(w), height(h), r(w * h), g(w * h), b(w * h), a(w * h) {}

    // Source-over paint of a shape in one colour. y is down, in pixels.
    void paint(const Sdf& shape, double cr, double cg, double cb, double ca = 1.0, int ox = 0, int oy = 0,
               int cw = -1, int ch = -1) {
        if (cw < 0) cw = width, ch = height;
        for (int y = oy; y < oy + ch; ++y)
            for (int x = ox; x < ox + cw; ++x) {
                const double d = shape(x + 0.5 - ox, y + 0.5 - oy);
                const double cov = std::clamp(0.5 - d, 0.0, 1.0) * ca;
                if (cov <= 0) continue;
                const size_t i = static_cast<size_t>(y) * width + x;
                const double outA = cov + a[i] * (1 - cov);
                r[i] = (cr * cov + r[i] * a[i] * (1 - cov)) / outA;
                g[i] = (cg * cov + g[i] * a[i] * (1 - cov)) / outA;
                b[i] = (cb * cov + b[i] * a[i] * (1 - cov)) / outA;
                a[i] = outA;
            }
    }

    bool write(const std::string& path) const {
        std::vector<uint8_t> bytes(static_cast<size_t>(width) * height * 4);
        for (size_t i = 0; i < r.size(); ++i) {
            bytes[i * 4 + 0] = static_cast<uint8_t>(std::lround(r[i] * 255));
            bytes[i * 4 + 1] = static_cast<uint8_t>(std::lround(g[i] * 255));
            bytes[i * 4 + 2] = static_cast<uint8_t>(std::lround(b[i] * 255));
            bytes[i * 4 + 3] = static_cast<uint8_t>(std::lround(a[i] * 255));
        }
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        image.width = static_cast<png_uint_32>(width);
        image.height = static_cast<png_uint_32>(height);
        image.format = PNG_FORMAT_RGBA;
        return png_image_write_to_file(&image, path.c_str(), 0, bytes.data(), 0, nullptr) != 0;
    }
};

// ---- shapes --------------------------------------------------------------------

Sdf roundedBox(double cx, double cy, double hw, double hh, double radius) {
    return [=](double x, double y) {
        const double qx = std::fabs(x - cx) - hw + radius, qy = std::fabs(y - cy) - hh + radius;
        return std::hypot(std::max(qx, 0.0), std::max(qy, 0.0)) + std::min(std::max(qx, qy), 0.0) - radius;
    };
}
Sdf segment(double x0, double y0, double x1, double y1, double halfWidth) {
    return [=](double x, double y) {
        const double dx = x1 - x0, dy = y1 - y0;
        const double t = std::clamp(((x - x0) * dx + (y - y0) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
        return std::hypot(x - x0 - t * dx, y - y0 - t * dy) - halfWidth;
    };
}
Sdf disc(double cx, double cy, double radius) {
    return [=](double x, double y) { return std::hypot(x - cx, y - cy) - radius; };
}
Sdf ring(double cx, double cy, double radius, double halfWidth) {
    return [=](double x, double y) { return std::fabs(std::hypot(x - cx, y - cy) - radius) - halfWidth; };
}
// Arc of a ring from angle a0 to a1 (radians, 0 = right, y down so positive is clockwise).
Sdf arc(double cx, double cy, double radius, double a0, double a1, double halfWidth) {
    return [=](double x, double y) {
        double ang = std::atan2(y - cy, x - cx);
        while (ang < a0) ang += 2 * M_PI;
        if (ang <= a1) return std::fabs(std::hypot(x - cx, y - cy) - radius) - halfWidth;
        const double ex0 = cx + radius * std::cos(a0), ey0 = cy + radius * std::sin(a0);
        const double ex1 = cx + radius * std::cos(a1), ey1 = cy + radius * std::sin(a1);
        return std::min(std::hypot(x - ex0, y - ey0), std::hypot(x - ex1, y - ey1)) - halfWidth;
    };
}
Sdf outline(const Sdf& s, double halfWidth) {
    return [=](double x, double y) { return std::fabs(s(x, y)) - halfWidth; };
}
Sdf unite(std::vector<Sdf> parts) {
    return [=](double x, double y) {
        double d = 1e9;
        for (const Sdf& p : parts) d = std::min(d, p(x, y));
        return d;
    };
}
Sdf polygon(std::vector<std::pair<double, double>> pts) {
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

// ---- check boxes ---------------------------------------------------------------

void drawCheckBox(Image& img, bool checked, bool hover) {
    const double c = img.width / 2.0;
    img.paint(roundedBox(c, c + 0.8, c - 2, c - 2, 6), 0, 0, 0, 0.35); // soft drop
    const double face = hover ? 1.0 : 0.93;
    img.paint(roundedBox(c, c, c - 2.5, c - 2.5, 5.5), 0.25, 0.29, 0.30);
    img.paint(roundedBox(c, c, c - 4.0, c - 4.0, 4.2), face, face, face);
    if (hover) img.paint(outline(roundedBox(c, c, c - 5.2, c - 5.2, 3.4), 0.9), 0.0, 0.8, 0.8);
    if (checked) {
        img.paint(roundedBox(c, c, c - 4.0, c - 4.0, 4.2), 0.16, 0.56, 0.60);
        const double s = img.width / 32.0;
        img.paint(unite({segment(9 * s, 16.5 * s, 14 * s, 21.5 * s, 2.1 * s),
                         segment(14 * s, 21.5 * s, 23 * s, 10.5 * s, 2.1 * s)}),
                  1, 1, 1);
    }
}

// ---- tool bar icons: white line art with a dark halo ----------------------------

constexpr double kLine = 1.3; // half line width

struct Cell {
    Image& img;
    int col, row; // row counts from the bottom of the atlas
    void stroke(const Sdf& s) const {
        const int ox = col * 32, oy = (7 - row) * 32;
        // Halo first, so the icon reads on light and dark panels alike.
        img.paint([&](double x, double y) { return s(x, y) - 1.2; }, 0.1, 0.12, 0.13, 0.55, ox, oy, 32, 32);
        img.paint(s, 1, 1, 1, 1, ox, oy, 32, 32);
    }
};

void drawToolbar(Image& img) {
    auto cell = [&](int col, int row) { return Cell{img, col, row}; };
    const double L = kLine;
    // new image: a page with a folded corner
    cell(0, 7).stroke(unite({outline(polygon({{9, 5}, {19, 5}, {24, 10}, {24, 27}, {9, 27}}), L),
                             segment(19, 5, 19, 10, L), segment(19, 10, 24, 10, L)}));
    // brush
    cell(1, 7).stroke(unite({segment(25, 6, 14, 17, L + 0.4),
                             polygon({{14, 15}, {17, 18}, {12, 24}, {7, 26}, {9, 21}})}));
    // export video: a film strip
    cell(2, 7).stroke(unite({outline(roundedBox(16, 16, 11, 8, 1.5), L), segment(11, 8, 11, 24, L * 0.8),
                             segment(21, 8, 21, 24, L * 0.8), disc(7.5, 11, 1.2), disc(7.5, 16, 1.2),
                             disc(7.5, 21, 1.2), disc(24.5, 11, 1.2), disc(24.5, 16, 1.2), disc(24.5, 21, 1.2)}));
    // fit to window / actual pixels: a magnifier
    cell(3, 7).stroke(unite({ring(13.5, 13.5, 7, L), segment(18.5, 18.5, 25, 25, L + 0.6)}));
    // rotation: an open circle with an arrow head
    cell(4, 7).stroke(unite({arc(16, 16, 9, -M_PI * 0.3, M_PI * 1.45, L),
                             polygon({{21.5, 4.5}, {27.5, 9.5}, {20, 12}})}));
    // undo and redo: a hooked arrow
    auto undoArrow = [&](bool mirror) {
        auto mx = [&](double x) { return mirror ? 32 - x : x; };
        const double a0 = mirror ? M_PI * 0.5 : -M_PI * 0.5;
        (void)a0;
        return unite({segment(mx(8), 13, mx(19), 13, L),
                      [=](double x, double y) { return arc(19, 18.5, 5.5, -M_PI * 0.5, M_PI * 0.5, L)(mirror ? 32 - x : x, y); },
                      segment(mx(19), 24, mx(12), 24, L), polygon({{mx(4), 13}, {mx(10), 8}, {mx(10), 18}})});
    };
    cell(5, 7).stroke(undoArrow(false));
    cell(6, 7).stroke(undoArrow(true));
    // help: a ring with an "i"
    cell(7, 7).stroke(unite({ring(16, 16, 11, L), disc(16, 10.5, 1.8), segment(16, 15, 16, 22.5, L + 0.3)}));

    // save: a floppy disk
    cell(0, 6).stroke(unite({outline(polygon({{6, 6}, {22, 6}, {26, 10}, {26, 26}, {6, 26}}), L),
                             outline(roundedBox(15, 9.5, 5, 3.5, 0.5), L * 0.8),
                             outline(roundedBox(16, 20.5, 7, 4.5, 0.5), L * 0.8)}));
    // load: an open folder
    cell(1, 6).stroke(unite({outline(polygon({{5, 9}, {12, 9}, {14, 11}, {24, 11}, {24, 25}, {5, 25}}), L),
                             outline(polygon({{9, 16}, {28, 16}, {24, 25}, {5, 25}}), L)}));
    // eraser: a tilted block
    cell(2, 6).stroke(unite({outline(polygon({{18, 5}, {27, 14}, {16, 25}, {7, 16}}), L),
                             segment(12.5, 10.5, 21.5, 19.5, L), segment(10, 26.5, 26, 26.5, L * 0.8)}));
    // replay: a play triangle in a ring
    cell(3, 6).stroke(unite({ring(16, 16, 11, L), polygon({{13, 10}, {22, 16}, {13, 22}})}));
    // flip canvas: two mirrored triangles about a dashed axis
    cell(4, 6).stroke(unite({outline(polygon({{13, 8}, {13, 24}, {4, 24}}), L),
                             polygon({{19, 8}, {19, 24}, {28, 24}}), segment(16, 4, 16, 8, L * 0.7),
                             segment(16, 12, 16, 16, L * 0.7), segment(16, 20, 16, 24, L * 0.7),
                             segment(16, 27, 16, 29, L * 0.7)}));
    // selection: a dashed rectangle
    {
        std::vector<Sdf> dashes;
        for (double t = 6; t < 26; t += 6) {
            dashes.push_back(segment(t, 7, std::min(t + 3, 26.0), 7, L));
            dashes.push_back(segment(t, 25, std::min(t + 3, 26.0), 25, L));
            dashes.push_back(segment(6, t + 1, 6, std::min(t + 4, 25.0), L));
            dashes.push_back(segment(26, t + 1, 26, std::min(t + 4, 25.0), L));
        }
        cell(5, 6).stroke(unite(dashes));
    }
    // crop: two interlocking corners
    cell(6, 6).stroke(unite({segment(10, 4, 10, 22, L), segment(10, 22, 28, 22, L), segment(4, 10, 22, 10, L),
                             segment(22, 10, 22, 28, L)}));
    // perspective grid: lines converging on a horizon point
    cell(7, 6).stroke(unite({segment(4, 9, 28, 9, L * 0.8), segment(16, 9, 4, 27, L * 0.8),
                             segment(16, 9, 12, 27, L * 0.8), segment(16, 9, 20, 27, L * 0.8),
                             segment(16, 9, 28, 27, L * 0.8), segment(8, 21, 24, 21, L * 0.8)}));

    // settings: a gear
    {
        std::vector<Sdf> parts{ring(16, 16, 7, L + 0.7), ring(16, 16, 2.5, L * 0.8)};
        for (int k = 0; k < 8; ++k) {
            const double ang = k * M_PI / 4;
            parts.push_back(segment(16 + 8 * std::cos(ang), 16 + 8 * std::sin(ang), 16 + 11 * std::cos(ang),
                                    16 + 11 * std::sin(ang), 1.8));
        }
        cell(0, 5).stroke(unite(parts));
    }
    // reference view: a small picture beside a big one
    cell(1, 5).stroke(unite({outline(roundedBox(19, 17, 9, 8, 1), L), outline(roundedBox(8, 11, 5, 5, 1), L),
                             segment(13, 22, 17, 18, L * 0.8), segment(17, 18, 21, 21, L * 0.8),
                             segment(21, 21, 26, 16, L * 0.8)}));
    // brush properties: three slider lines with knobs
    cell(2, 5).stroke(unite({segment(5, 9, 27, 9, L * 0.8), segment(5, 16, 27, 16, L * 0.8),
                             segment(5, 23, 27, 23, L * 0.8), roundedBox(11, 9, 2, 3.5, 1),
                             roundedBox(21, 16, 2, 3.5, 1), roundedBox(14, 23, 2, 3.5, 1)}));
    // bucket fill: a tipped bucket with a drop
    cell(3, 5).stroke(unite({outline(polygon({{13, 5}, {24, 14}, {16, 25}, {5, 16}}), L),
                             segment(5, 16, 24, 14, L), disc(26, 22, 2.6), segment(26, 17, 26, 22, 1.2)}));
    // gradient: a box whose stripes fade out to the right
    {
        std::vector<Sdf> parts{outline(roundedBox(16, 16, 11, 9, 1.5), L)};
        for (int k = 0; k < 5; ++k) parts.push_back(segment(8 + 3.2 * k, 10, 8 + 3.2 * k, 22, 1.3 - 0.22 * k));
        cell(4, 5).stroke(unite(parts));
    }
    // mirror: two strokes reflected about a dashed axis
    cell(5, 5).stroke(unite({segment(16, 4, 16, 7, L * 0.7), segment(16, 11, 16, 14, L * 0.7),
                             segment(16, 18, 16, 21, L * 0.7), segment(16, 25, 16, 28, L * 0.7),
                             arc(8, 16, 5, -M_PI * 0.5, M_PI * 0.5, L),
                             [](double x, double y) { return arc(8, 16, 5, -M_PI * 0.5, M_PI * 0.5, kLine)(32 - x, y); }}));
    // colour picker: a pipette
    cell(6, 5).stroke(unite({segment(8, 24, 20, 12, L + 0.4), disc(23, 9, 4), segment(6, 26, 8, 24, L)}));
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: gen_interface_images <output folder>\n");
        return 2;
    }
    const std::string dir = argv[1];
    bool ok = true;
    struct { const char* name; bool checked, hover; } boxes[] = {
        {"checkbox_off.png", false, false}, {"checkbox_hover.png", false, true}, {"checkbox_on.png", true, false}};
    for (const auto& b : boxes) {
        Image img(32, 32);
        drawCheckBox(img, b.checked, b.hover);
        ok = img.write(dir + "/" + b.name) && ok;
    }
    Image atlas(256, 256);
    drawToolbar(atlas);
    ok = atlas.write(dir + "/toolbar.png") && ok;
    if (!ok) std::fprintf(stderr, "gen_interface_images: can't write into %s\n", dir.c_str());
    return ok ? 0 : 1;
}
