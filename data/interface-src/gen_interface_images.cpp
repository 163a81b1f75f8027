// Draws the interface images and writes them as PNG files:
//
//   gen_interface_images <output folder>
//       checkbox_{off,hover,on}.png, toolbar.png, color_selector.png at one
//       pixel per design unit, and each again as "<name>@2x.png" at two, for
//       screens the program runs at an interface scale of 1.5 or more.
//   gen_interface_images --sheet <file.png>
//       an enlarged contact sheet of the tool bar icons over the button
//       backgrounds, to look at them (not used by the program).
//
// Every picture is drawn from the same shape descriptions at both scales
// (InterfaceDrawing.h), so the 2x images are the 1x ones, sharper.
#include <cstdio>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "InterfaceDrawing.h"

namespace {

using namespace kwdraw;

constexpr Rgb kWhite{1, 1, 1};
constexpr Rgb kInk{0.06, 0.08, 0.09}; // halos and shadows

// ---- check boxes: a 32-unit square ---------------------------------------------

void drawCheckBox(Image& img, double scale, bool checked, bool hover) {
    const Region reg = img.whole(scale);
    const double c = 16;
    img.paint(roundedBox(c, c + 0.8, c - 2, c - 2, 6), reg, {0, 0, 0}, 0.35); // soft drop
    const double face = hover ? 1.0 : 0.93;
    img.paint(roundedBox(c, c, c - 2.5, c - 2.5, 5.5), reg, {0.25, 0.29, 0.30});
    img.paint(roundedBox(c, c, c - 4.0, c - 4.0, 4.2), reg, {face, face, face});
    if (hover) img.paint(outline(roundedBox(c, c, c - 5.2, c - 5.2, 3.4), 0.9), reg, {0.0, 0.8, 0.8});
    if (checked) {
        img.paint(roundedBox(c, c, c - 4.0, c - 4.0, 4.2), reg, {0.16, 0.56, 0.60});
        img.paint(polyline({{9, 16.5}, {14, 21.5}, {23, 10.5}}, 2.1), reg, kWhite);
    }
}

// ---- the colour selector's ring ------------------------------------------------
//
// The selector (150 units across) draws this image on a square 20 units
// larger, centred, so the picture is 170 units with the centre at 85. The
// ring of hues fills the selector's ring, 0.7 to 1.0 of its radius 75; the
// 10 units outside hold a soft shadow. A hue lies where the selector reads
// it: 0 at the right, growing clockwise on screen (with y down that is the
// plain angle).
constexpr double kSelectorSide = 170, kSelectorRadius = 75;

void drawColorSelector(Image& img, double scale) {
    const Region reg = img.whole(scale);
    const double c = kSelectorSide / 2, outer = kSelectorRadius, inner = 0.7 * kSelectorRadius;
    const Sdf band = ring(c, c, (outer + inner) / 2, (outer - inner) / 2);
    // A soft shadow outside the ring only: the inside stays clear for the
    // saturation-value square.
    img.paintWith(
        disc(c, c, outer), reg,
        [&](double d, double u, double v) {
            if (std::hypot(u - c, v - c) < outer - 2) return 0.0;
            const double t = std::clamp(1.0 - d / reg.scale / 8, 0.0, 1.0);
            return t * t * (3 - 2 * t) * 0.4;
        },
        [](double, double) { return kInk; });
    img.paintWith(
        band, reg, [](double d, double, double) { return std::clamp(0.5 - d, 0.0, 1.0); },
        [&](double u, double v) {
            double hue = std::atan2(v - c, u - c) * 180 / M_PI;
            if (hue < 0) hue += 360;
            return hsvToRgb(hue, 1, 1);
        });
    // A thin dark rim at both edges keeps the ring apart from any background.
    img.paint(ring(c, c, outer - 0.3, 0.35), reg, kInk, 0.35);
    img.paint(ring(c, c, inner + 0.3, 0.35), reg, kInk, 0.35);
}

// ---- tool bar icons: white on a dark halo, 32-unit cells ------------------------
//
// The atlas has 8 x 8 cells; a cell (column, row) counts rows from the bottom
// of the picture, as the program's texture holds it. Shapes are described in
// 32 units with y down; each keeps within 5..27 so that the halo fades out
// before the cell's edge and nothing bleeds into a neighbour when the texture
// is filtered.
constexpr int kAtlasCells = 8;
constexpr double kLine = 1.25; // half line width

struct Atlas {
    Image& img;
    double scale;
    Region cell(int col, int row) const {
        const int side = static_cast<int>(32 * scale);
        return {col * side, (kAtlasCells - 1 - row) * side, side, side, scale};
    }
    void icon(int col, int row, const Sdf& shape) const {
        const Region reg = cell(col, row);
        img.glow(shape, reg, kInk, 0.55, 2.0);
        img.paint(shape, reg, kWhite);
    }
};

// An arrow head: a triangle with its tip at (x, y) pointing along `angle`
// (radians, y down), `length` long and `width` wide.
Sdf arrowHead(double x, double y, double angle, double length, double width) {
    const double dx = std::cos(angle), dy = std::sin(angle), nx = -dy, ny = dx;
    const double bx = x - dx * length, by = y - dy * length;
    return polygon({{x, y}, {bx + nx * width / 2, by + ny * width / 2}, {bx - nx * width / 2, by - ny * width / 2}});
}

Sdf newImageIcon() {
    const double L = kLine;
    return unite({outline(polygon({{8, 5}, {19, 5}, {25, 11}, {25, 27}, {8, 27}}), L),
                  polyline({{19, 5}, {19, 11}, {25, 11}}, L), segment(16.5, 14, 16.5, 23, L + 0.2),
                  segment(12, 18.5, 21, 18.5, L + 0.2)});
}

Sdf infoIcon() {
    return unite({ring(16, 16, 10.5, kLine), disc(16, 10.5, 1.9), segment(16, 14.8, 16, 22, 1.6),
                  segment(14, 22, 18, 22, 1.0), segment(14.5, 14.8, 16, 14.8, 1.0)});
}

Sdf undoIcon() {
    const double L = kLine + 0.25;
    return unite({arrowHead(5.5, 12, M_PI, 7, 10), segment(11, 12, 18, 12, L), arc(18, 18.5, 6.5, -M_PI / 2, M_PI / 2, L),
                  segment(18, 25, 11, 25, L)});
}

Sdf fitIcon() {
    const double L = kLine;
    auto corner = [&](double x, double y, double sx, double sy) {
        return polyline({{x + sx * 5.5, y}, {x, y}, {x, y + sy * 5.5}}, L);
    };
    return unite({corner(6, 6, 1, 1), corner(26, 6, -1, 1), corner(6, 26, 1, -1), corner(26, 26, -1, -1),
                  ring(14.5, 14.5, 4.6, L), segment(18, 18, 21.5, 21.5, L + 0.5)});
}

Sdf flipIcon() {
    const double L = kLine;
    return unite({outline(polygon({{13, 11}, {13, 26}, {5, 26}}), L), polygon({{19, 11}, {19, 26}, {27, 26}}),
                  segment(16, 10, 16, 12.5, 0.8), segment(16, 15.5, 16, 18, 0.8), segment(16, 21, 16, 23.5, 0.8),
                  segment(16, 26.5, 16, 27, 0.8), segment(9, 6.5, 23, 6.5, 1.0), arrowHead(5.5, 6.5, M_PI, 4.5, 6),
                  arrowHead(26.5, 6.5, 0, 4.5, 6)});
}

Sdf settingsIcon() {
    std::vector<Sdf> teeth{disc(16, 16, 8)};
    for (int k = 0; k < 8; ++k) {
        const double ang = k * M_PI / 4;
        teeth.push_back(rotate(roundedBox(16, 16 - 9.2, 2.2, 2.6, 0.7), 16, 16, ang));
    }
    return subtract(unite(teeth), disc(16, 16, 3.6));
}

Sdf referenceIcon() {
    const double L = kLine;
    // The window split in two: the picture on the left, the reference with a
    // landscape on the right.
    return unite({outline(roundedBox(16, 16, 11, 8.5, 1.2), L), segment(16, 7.5, 16, 24.5, L * 0.8),
                  polygon({{17.5, 23.5}, {21, 17}, {23, 20}, {24.5, 18.5}, {26.2, 21.5}, {26.2, 23.5}}),
                  disc(22.6, 12, 1.7), segment(8, 20, 12.5, 13, 1.1)});
}

Sdf brushIcon() {
    // A thin handle to the upper right, the ferrule, and a full head of
    // bristles ending in a point at the lower left.
    const Sdf handle = taper(26.6, 5.4, 1.0, 19.6, 12.4, 1.9);
    const Sdf ferrule = rotate(roundedBox(17.2, 14.8, 3.3, 2.1, 0.5), 17.2, 14.8, -M_PI / 4);
    const Sdf bristles = unite({taper(14.2, 17.8, 3.7, 10.0, 22.0, 3.3), taper(10.0, 22.0, 3.3, 5.4, 26.6, 0.4)});
    return unite({handle, ferrule, subtract(bristles, grow(ferrule, 0.9))});
}

Sdf eraserIcon() {
    const double L = kLine;
    // A block lying at 45 degrees: the rubber end filled, the sleeve drawn.
    const Sdf block = rotate(roundedBox(16, 15, 11, 5.5, 1.4), 16, 15, -M_PI / 4);
    const Sdf rubber = intersect(block, [](double x, double y) { return (x - y) + 0.5; }); // lower-left of the cut
    const Sdf sleeve = intersect(outline(block, L), [](double x, double y) { return -(x - y) + 1.2; });
    return unite({rubber, sleeve, segment(14, 26.5, 26, 26.5, 0.9)});
}

Sdf bucketIcon() {
    // A pail with its handle, tipped to the right, paint pouring from its
    // lip into a drop. The pail is drawn upright (its open mouth an ellipse
    // cut into the solid), then turned.
    const double turn = M_PI * 0.3, cx = 12.5, cy = 16.5;
    const Sdf solid = unite({polygon({{5.5, 11}, {20.5, 11}, {18.3, 23.4}, {7.7, 23.4}}),
                             ellipseRing(13, 23.4, 5.3, 1.6, 0.1), roundedBox(13, 23, 5.3, 0.6, 0.3),
                             [](double x, double y) {
                                 const double nx = (x - 13) / 7.5, ny = (y - 11) / 2.8;
                                 return (std::hypot(nx, ny) - 1) * 2.8;
                             }});
    const Sdf mouth = [](double x, double y) {
        const double nx = (x - 13) / 5.6, ny = (y - 11) / 1.35;
        return (std::hypot(nx, ny) - 1) * 1.35;
    };
    const Sdf handle = arc(13, 11.5, 7.5, -M_PI, 0, 0.95);
    const Sdf body = rotate(unite({subtract(solid, mouth), handle}), cx, cy, turn);
    const Sdf paint = unite({taper(21.4, 17.2, 0.9, 24.8, 20.0, 1.3), disc(24.8, 24.2, 2.7),
                             polygon({{22.3, 23.4}, {24.8, 18.8}, {27.3, 23.4}})});
    return unite({body, paint});
}

Sdf gradientIconFrame() { return outline(roundedBox(16, 16, 11, 9, 1.5), kLine); }
Sdf gradientIconFill() { return roundedBox(16, 16, 8.6, 6.6, 0.5); }

Sdf rotationIcon() {
    const double L = kLine;
    // A turning arrow round a tilted canvas.
    const double a0 = -0.15 * M_PI, a1 = 1.2 * M_PI, r = 10;
    const double ex = 16 + r * std::cos(a1), ey = 16 + r * std::sin(a1);
    const double tx = -std::sin(a1), ty = std::cos(a1); // clockwise tangent at the end
    return unite({arc(16, 16, r, a0, a1, L), arrowHead(ex + tx * 4.5, ey + ty * 4.5, std::atan2(ty, tx), 7.5, 8.5),
                  rotate(roundedBox(16, 16, 4.6, 3.4, 0.6), 16, 16, -M_PI / 7)});
}

Sdf lassoIcon() {
    const double L = kLine;
    // A loop of rope and its tail with a knot.
    return unite({ellipseRing(17.5, 12, 9.5, 6.5, L), disc(11.2, 17.2, 2.1),
                  polyline({{11.2, 17.2}, {9.4, 21.2}, {11.6, 23.6}, {9.0, 26.6}}, L * 0.85)});
}

Sdf cropIcon() {
    const double L = kLine + 0.2;
    return unite({polyline({{10, 5}, {10, 22}, {27, 22}}, L), polyline({{5, 10}, {22, 10}, {22, 27}}, L)});
}

Sdf pickerIcon() {
    const double L = kLine;
    // An eyedropper: bulb at the upper right, collar, glass tube with paint.
    const Sdf bulb = taper(24.2, 7.8, 3.4, 21.6, 10.4, 2.8);
    const Sdf collar = rotate(roundedBox(19.4, 12.6, 4.3, 1.3, 0.5), 19.4, 12.6, M_PI / 4);
    const Sdf tube = taper(17.2, 14.8, 2.5, 8.4, 23.6, 1.6);
    const Sdf paint = intersect(tube, [](double x, double y) { return -(x - y) - 1.5 - 9.5; });
    return unite({bulb, collar, outline(tube, L * 0.75), paint, segment(8.4, 23.6, 5.8, 26.2, 0.9)});
}

Sdf perspectiveIcon() {
    const double l = kLine * 0.75;
    // A floor grid running to a vanishing point on the horizon.
    std::vector<Sdf> parts{segment(5, 8, 27, 8, l), disc(16, 8, 2.2)};
    for (double x : {5.0, 12.3, 19.7, 27.0}) parts.push_back(segment(16, 8, x, 27, l));
    auto across = [&](double y) {
        const double half = 11 * (y - 8) / 19;
        return segment(16 - half, y, 16 + half, y, l);
    };
    parts.push_back(across(16));
    parts.push_back(across(21.5));
    parts.push_back(across(27));
    return unite(parts);
}

// A brush stroke along an arc, tapering to points at both ends.
Sdf strokeArc(double cx, double cy, double r, double a0, double a1, double width) {
    std::vector<Sdf> parts;
    const int n = 10;
    for (int k = 0; k < n; ++k) {
        auto at = [&](int i) {
            const double t = static_cast<double>(i) / n, a = a0 + (a1 - a0) * t;
            return std::tuple{cx + r * std::cos(a), cy + r * std::sin(a), 0.35 + width * std::sin(M_PI * t)};
        };
        const auto [x0, y0, r0] = at(k);
        const auto [x1, y1, r1] = at(k + 1);
        parts.push_back(taper(x0, y0, r0, x1, y1, r1));
    }
    return unite(parts);
}

Sdf mirrorIcon() {
    // A stroke and its reflection about the dashed axis.
    const Sdf stroke = strokeArc(17, 16, 10, M_PI * 0.68, M_PI * 1.32, 2.4);
    return unite({stroke, mirrorX(stroke, 16), segment(16, 5, 16, 7.5, 0.8), segment(16, 10.5, 16, 13, 0.8),
                  segment(16, 16, 16, 18.5, 0.8), segment(16, 21.5, 16, 24, 0.8), segment(16, 27, 16, 27, 0.8)});
}

Sdf loadIcon() {
    const double L = kLine;
    const Sdf back = polygon({{5, 8}, {12, 8}, {14.5, 10.5}, {24, 10.5}, {24, 15}, {9, 15}, {5, 25}});
    const Sdf front = polygon({{9.6, 16.4}, {28, 16.4}, {23.6, 26}, {5, 26}});
    return overlay(outline(back, L), front, 1.2);
}

Sdf saveIcon() {
    const Sdf body = roundedBox(16, 16, 10.5, 10.5, 1.6);
    const Sdf corner = polygon({{22, 4}, {28, 4}, {28, 10}});
    const Sdf shutter = roundedBox(15.5, 9.5, 5.5, 4.2, 0.6);
    const Sdf label = roundedBox(16, 22, 7.5, 4.2, 0.8);
    const Sdf disk = subtract(subtract(subtract(body, corner), shutter), label);
    return unite({disk, roundedBox(17.6, 9.5, 1.4, 2.6, 0.3)});
}

Sdf replayIcon() {
    return unite({ring(16, 16, 10.5, kLine), polygon({{13, 10.5}, {22.5, 16}, {13, 21.5}})});
}

Sdf videoIcon() {
    // A film camera: two reels on a body with the lens cone in front.
    const Sdf body = roundedBox(13, 20, 8, 5.5, 1.2);
    const Sdf lens = polygon({{21.5, 20}, {27.5, 16}, {27.5, 24}});
    const Sdf reels = unite({disc(9, 10.2, 3.8), disc(17.6, 10.2, 3.8)});
    return unite({overlay(reels, body, 1.1), lens});
}

Sdf propertiesIcon() {
    const double l = kLine * 0.75;
    auto slider = [&](double y, double knob) {
        return overlay(segment(6, y, 26, y, l), roundedBox(knob, y, 2.0, 3.3, 0.8), 1.0);
    };
    return unite({slider(9, 11), slider(16, 21), slider(23, 14)});
}

void drawToolbar(Image& img, double scale) {
    const Atlas at{img, scale};
    at.icon(0, 7, newImageIcon());
    at.icon(1, 7, brushIcon());
    at.icon(2, 7, videoIcon());
    at.icon(3, 7, fitIcon());
    at.icon(4, 7, rotationIcon());
    at.icon(5, 7, undoIcon());
    at.icon(6, 7, mirrorX(undoIcon(), 16));
    at.icon(7, 7, infoIcon());

    at.icon(0, 6, saveIcon());
    at.icon(1, 6, loadIcon());
    at.icon(2, 6, eraserIcon());
    at.icon(3, 6, replayIcon());
    at.icon(4, 6, flipIcon());
    at.icon(5, 6, lassoIcon());
    at.icon(6, 6, cropIcon());
    at.icon(7, 6, perspectiveIcon());

    at.icon(0, 5, settingsIcon());
    at.icon(1, 5, referenceIcon());
    at.icon(2, 5, propertiesIcon());
    at.icon(3, 5, bucketIcon());
    {
        // The gradient's fill fades from white at the left to nothing.
        const Region reg = at.cell(4, 5);
        at.icon(4, 5, gradientIconFrame());
        img.paintWith(
            gradientIconFill(), reg,
            [](double d, double u, double) { return std::clamp(0.5 - d, 0.0, 1.0) * std::clamp((24 - u) / 16, 0.0, 1.0); },
            [](double, double) { return kWhite; });
    }
    at.icon(5, 5, mirrorIcon());
    at.icon(6, 5, pickerIcon());
}

// ---- contact sheet ------------------------------------------------------------

struct Byte3 {
    double r, g, b;
};
Byte3 over(Byte3 under, Rgb c, double a) {
    return {c.r * a + under.r * (1 - a), c.g * a + under.g * (1 - a), c.b * a + under.b * (1 - a)};
}

// The used rows (7, 6, 5) of one atlas, enlarged by `zoom` with nearest
// neighbour, over the backgrounds a button shows: idle, hovered, and active
// (the icon tinted cyan). Panels side by side, 8 pixels apart.
bool writeSheet(const std::string& path) {
    Image atlas1(256, 256), atlas2(512, 512);
    drawToolbar(atlas1, 1);
    drawToolbar(atlas2, 2);
    // The tool bar panel: the interface colour at 0.9 x 0.8 over a white canvas.
    const Byte3 canvas{1, 1, 1};
    const Byte3 panel = over(canvas, {133 / 255.0, 147 / 255.0, 147 / 255.0}, 0.72);
    const Byte3 idle = over(panel, {0, 0, 0}, 0.5);
    const Byte3 hover = over(panel, {0.55, 0.55, 0.55}, 0.5);
    struct Variant {
        const Image* atlas;
        int zoom;
        Byte3 back;
        Rgb tint;
    };
    const Variant variants[] = {{&atlas1, 4, idle, {1, 1, 1}},   {&atlas1, 4, hover, {1, 1, 1}},
                                {&atlas1, 4, idle, {0.5, 1, 1}}, {&atlas2, 2, idle, {1, 1, 1}},
                                {&atlas2, 2, hover, {1, 1, 1}},  {&atlas2, 2, panel, {1, 1, 1}}};
    const int panelW = 256 * 4, panelH = 96 * 4, gap = 8;
    const int cols = 2, rows = 3;
    const int width = cols * panelW + (cols + 1) * gap, height = rows * panelH + (rows + 1) * gap;
    std::vector<uint8_t> out(static_cast<size_t>(width) * height * 4, 40);
    for (size_t i = 3; i < out.size(); i += 4) out[i] = 255;
    for (int n = 0; n < 6; ++n) {
        const Variant& var = variants[n];
        // 1x in the left column, 2x in the right one.
        const int px = gap + (n / 3) * (panelW + gap), py = gap + (n % 3) * (panelH + gap);
        for (int y = 0; y < panelH; ++y)
            for (int x = 0; x < panelW; ++x) {
                const int sx = x / var.zoom, sy = y / var.zoom;
                const size_t i = static_cast<size_t>(sy) * var.atlas->width + sx;
                // Cells are 128 sheet pixels at both zooms; a line of panel
                // colour between them, as between the buttons.
                const bool gapLine = (x % 128) == 0 || (y % 128) == 0;
                Byte3 c = gapLine ? panel : var.back;
                const double a = var.atlas->a[i];
                c = over(c, {var.atlas->r[i] * var.tint.r, var.atlas->g[i] * var.tint.g, var.atlas->b[i] * var.tint.b}, a);
                uint8_t* o = &out[(static_cast<size_t>(py + y) * width + px + x) * 4];
                o[0] = static_cast<uint8_t>(std::lround(c.r * 255));
                o[1] = static_cast<uint8_t>(std::lround(c.g * 255));
                o[2] = static_cast<uint8_t>(std::lround(c.b * 255));
            }
    }
    return writePng(path, width, height, out);
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--sheet") == 0) {
        if (writeSheet(argv[2])) return 0;
        std::fprintf(stderr, "gen_interface_images: can't write %s\n", argv[2]);
        return 1;
    }
    if (argc != 2) {
        std::fprintf(stderr, "usage: gen_interface_images <output folder>\n"
                             "       gen_interface_images --sheet <file.png>\n");
        return 2;
    }
    const std::string dir = argv[1];
    bool ok = true;
    for (const int scale : {1, 2}) {
        const std::string suffix = scale == 1 ? ".png" : "@2x.png";
        struct {
            const char* name;
            bool checked, hover;
        } boxes[] = {{"checkbox_off", false, false}, {"checkbox_hover", false, true}, {"checkbox_on", true, false}};
        for (const auto& b : boxes) {
            Image img(32 * scale, 32 * scale);
            drawCheckBox(img, scale, b.checked, b.hover);
            ok = writePng(dir + "/" + b.name + suffix, img) && ok;
        }
        Image atlas(256 * scale, 256 * scale);
        drawToolbar(atlas, scale);
        ok = writePng(dir + "/toolbar" + suffix, atlas) && ok;
        const int side = static_cast<int>(kSelectorSide) * scale;
        Image selector(side, side);
        drawColorSelector(selector, scale);
        ok = writePng(dir + "/color_selector" + suffix, selector) && ok;
    }
    if (!ok) std::fprintf(stderr, "gen_interface_images: can't write into %s\n", dir.c_str());
    return ok ? 0 : 1;
}
