// Draws the program's icon for the desktop (menus, docks, file managers):
// a kestrel's raised wing in chestnut with dark flight feathers, fanned over a
// sky-blue tile, and the stroke of paint its longest feather leaves.
//
//   gen_program_icon OUT_DIR SIZE...   writes OUT_DIR/SIZExSIZE/apps/kestrelwing.png
//
// Every shape is a closed formula in a unit square (y down), so any size is
// drawn from the same description; each pixel averages a grid of samples. The
// outlines keep a width of about one pixel at the smallest sizes, so the
// silhouette stays readable at 16 px.
#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Rgba {
    double r = 0, g = 0, b = 0, a = 0; // straight colour, 0..1
};

Rgba hex(unsigned rgb, double a = 1.0) {
    return {((rgb >> 16) & 0xFF) / 255.0, ((rgb >> 8) & 0xFF) / 255.0, (rgb & 0xFF) / 255.0, a};
}

Rgba lerp(const Rgba& x, const Rgba& y, double t) {
    return {x.r + (y.r - x.r) * t, x.g + (y.g - x.g) * t, x.b + (y.b - x.b) * t, x.a + (y.a - x.a) * t};
}

struct Point {
    double x = 0, y = 0;
};

// ---- the drawing, in unit coordinates ------------------------------------------

// A rounded square tile: true inside, grown by `grow`.
bool inTile(Point p, double grow) {
    const double lo = 0.06 - grow, hi = 0.94 + grow, radius = 0.19 + grow;
    const double cx = std::clamp(p.x, lo + radius, hi - radius), cy = std::clamp(p.y, lo + radius, hi - radius);
    return p.x >= lo && p.x <= hi && p.y >= lo && p.y <= hi && std::hypot(p.x - cx, p.y - cy) <= radius;
}

// One flight feather: an ellipse along a bent axis from the shoulder.
struct Feather {
    double angleDeg; // direction from the shoulder (y down: -90 is straight up)
    double length;
    double halfWidth;
};

const Point kShoulder{0.22, 0.76};
constexpr double kFeatherBend = 0.10; // tips sweep back, as a wing's do in flight
// From the leading edge (top, longest) to the trailing edge.
const std::array<Feather, 5> kFeathers = {{
    {-63.0, 0.72, 0.082},
    {-48.0, 0.68, 0.086},
    {-34.0, 0.61, 0.086},
    {-20.0, 0.53, 0.086},
    {-7.0, 0.44, 0.084},
}};

// Position along the feather (0 at the shoulder, 1 at the tip) when p lies
// inside it grown by `grow`, else a negative number.
double featherPosition(const Feather& f, Point p, double grow) {
    const double a = f.angleDeg * kPi / 180.0;
    const double dx = std::cos(a), dy = std::sin(a);
    const double px = p.x - kShoulder.x, py = p.y - kShoulder.y;
    const double u = px * dx + py * dy;
    const double t = u / f.length;
    // The axis bends towards the normal (dx, dy) turned a quarter clockwise.
    const double v = (-px * dy + py * dx) - kFeatherBend * f.length * t * t;
    const double half = f.length / 2 + grow, w = f.halfWidth + grow;
    const double eu = (u - f.length / 2) / half, ev = v / w;
    return eu * eu + ev * ev <= 1.0 ? std::clamp(t, 0.0, 1.0) : -1.0;
}

// The covert feathers over the feather roots: a rotated ellipse.
bool inCoverts(Point p, double grow) {
    const double a = -40.0 * kPi / 180.0;
    const Point c{0.33, 0.62};
    const double px = p.x - c.x, py = p.y - c.y;
    const double u = px * std::cos(a) + py * std::sin(a), v = -px * std::sin(a) + py * std::cos(a);
    const double eu = u / (0.19 + grow), ev = v / (0.105 + grow);
    return eu * eu + ev * ev <= 1.0;
}

// The kestrel's dark spots on the coverts.
bool inSpot(Point p) {
    static const std::array<Point, 3> spots = {{{0.27, 0.66}, {0.35, 0.59}, {0.43, 0.53}}};
    return std::any_of(spots.begin(), spots.end(),
                       [&](Point s) { return std::hypot(p.x - s.x, p.y - s.y) <= 0.021; });
}

// The paint stroke: a tapered band along a quadratic curve under the wing.
struct Stroke {
    std::vector<Point> polyline;
    std::vector<double> radius;
};
constexpr double kDryFrom = 0.62; // where the brush runs dry and splits into streaks

Stroke makeStroke() {
    const Point a{0.17, 0.87}, c{0.60, 0.97}, b{0.91, 0.62};
    Stroke s;
    constexpr int n = 48;
    for (int i = 0; i <= n; ++i) {
        const double t = static_cast<double>(i) / n;
        const double k0 = (1 - t) * (1 - t), k1 = 2 * (1 - t) * t, k2 = t * t;
        s.polyline.push_back({k0 * a.x + k1 * c.x + k2 * b.x, k0 * a.y + k1 * c.y + k2 * b.y});
        // Round where the brush lands, thinning towards the dry end.
        s.radius.push_back(0.05 * (1.0 - 0.55 * t * t));
    }
    return s;
}

bool inStroke(const Stroke& s, Point p, double grow) {
    const std::size_t segments = s.polyline.size() - 1;
    for (std::size_t i = 0; i < segments; ++i) {
        const Point a = s.polyline[i], b = s.polyline[i + 1];
        const double ex = b.x - a.x, ey = b.y - a.y, length = std::hypot(ex, ey);
        const double t = std::clamp(((p.x - a.x) * ex + (p.y - a.y) * ey) / (length * length), 0.0, 1.0);
        const double r = s.radius[i] + (s.radius[i + 1] - s.radius[i]) * t;
        // Signed distance across the stroke, left of its direction negative.
        const double across = ((p.x - a.x) * ey - (p.y - a.y) * ex) / length;
        if (std::hypot(p.x - (a.x + ex * t), p.y - (a.y + ey * t)) > r + grow) continue;
        const double along = (i + t) / segments;
        if (along < kDryFrom) return true;
        // Past the dry point three streaks remain, the outer ones ending first.
        const double k = std::clamp(across / r, -1.0, 1.0); // -1..1 across
        const double lane = (k + 1.0) * 1.5;                // 0..3
        const int index = std::min(2, static_cast<int>(lane));
        const double ends[3] = {0.84, 1.0, 0.90};
        if (along > ends[index] + grow) continue;
        const double inLane = lane - index;                 // 0..1 across one streak
        const double gap = 0.16 * std::clamp((along - kDryFrom) / 0.1, 0.0, 1.0) - grow * 3.0 / r;
        if (inLane >= gap && inLane <= 1.0 - gap) return true;
    }
    return false;
}

struct Palette {
    Rgba skyTop = hex(0x9fd0f0), skyBottom = hex(0x4b8cc4), tileEdge = hex(0x24507a);
    Rgba outline = hex(0x2e1c12);
    Rgba chestnut = hex(0xc9652c), chestnutLight = hex(0xe38d4a), flightDark = hex(0x35261d);
    Rgba paint = hex(0xffd23c), paintShade = hex(0xf0a020);
};

// The colour of one sample; `line` is the outline width in unit coordinates.
Rgba sample(Point p, double line, double darkFrom, const Stroke& stroke, const Palette& c) {
    // Nothing reaches past the tile: the corners stay clear at every size.
    if (!inTile(p, 0.0)) return {};
    Rgba out = lerp(c.skyTop, c.skyBottom, std::clamp((p.y - 0.06) / 0.88, 0.0, 1.0));
    if (!inTile(p, -line)) out = c.tileEdge;
    // The stroke lies under the wing, as if just painted by it.
    if (inStroke(stroke, p, line)) out = c.outline;
    if (inStroke(stroke, p, 0.0)) out = lerp(c.paint, c.paintShade, std::clamp((p.x - 0.2) / 0.7, 0.0, 1.0));
    // Trailing feathers first: each one above lies over the one below.
    for (auto it = kFeathers.rbegin(); it != kFeathers.rend(); ++it) {
        if (featherPosition(*it, p, line) < 0.0) continue;
        const double t = featherPosition(*it, p, 0.0);
        if (t < 0.0) out = c.outline;
        else out = t > darkFrom ? c.flightDark : lerp(c.chestnut, c.chestnutLight, 0.35 * (1.0 - t));
    }
    if (inCoverts(p, line)) out = inCoverts(p, 0.0) ? (inSpot(p) ? c.outline : c.chestnutLight) : c.outline;
    return out;
}

std::vector<unsigned char> drawIcon(int size) {
    const Stroke stroke = makeStroke();
    const Palette palette;
    // About one pixel at 16 px, growing slowly with the size.
    const double line = std::max(0.75 / size, 0.018);
    // Small icons keep less of the dark flight feathers, which would merge
    // into one dark patch there.
    const double darkFrom = size <= 24 ? 0.8 : 0.7;
    const int grid = size <= 64 ? 8 : 4;
    std::vector<unsigned char> rgba(static_cast<std::size_t>(size) * size * 4);
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            double r = 0, g = 0, b = 0, a = 0; // premultiplied sums
            for (int sy = 0; sy < grid; ++sy) {
                for (int sx = 0; sx < grid; ++sx) {
                    const Point p{(x + (sx + 0.5) / grid) / size, (y + (sy + 0.5) / grid) / size};
                    const Rgba s = sample(p, line, darkFrom, stroke, palette);
                    r += s.r * s.a;
                    g += s.g * s.a;
                    b += s.b * s.a;
                    a += s.a;
                }
            }
            unsigned char* px = &rgba[(static_cast<std::size_t>(y) * size + x) * 4];
            const double n = grid * grid;
            auto byte = [](double v) { return static_cast<unsigned char>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0)); };
            px[0] = byte(a > 0 ? r / a : 0);
            px[1] = byte(a > 0 ? g / a : 0);
            px[2] = byte(a > 0 ? b / a : 0);
            px[3] = byte(a / n);
        }
    }
    return rgba;
}

// Written beside the target and renamed over it, so a failed run leaves no half file.
bool writePng(const std::filesystem::path& file, int size, const std::vector<unsigned char>& rgba) {
    const std::filesystem::path temp = file.string() + ".tmp";
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(size);
    image.height = static_cast<png_uint_32>(size);
    image.format = PNG_FORMAT_RGBA;
    if (!png_image_write_to_file(&image, temp.c_str(), 0, rgba.data(), size * 4, nullptr)) {
        std::fprintf(stderr, "gen_program_icon: %s: %s\n", temp.c_str(), image.message);
        return false;
    }
    std::error_code ec;
    std::filesystem::rename(temp, file, ec);
    if (ec) {
        std::fprintf(stderr, "gen_program_icon: %s: %s\n", file.c_str(), ec.message().c_str());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: gen_program_icon OUT_DIR SIZE...\n");
        return 2;
    }
    const std::filesystem::path root = argv[1];
    for (int i = 2; i < argc; ++i) {
        const int size = std::atoi(argv[i]);
        if (size < 8 || size > 1024) {
            std::fprintf(stderr, "gen_program_icon: bad size %s\n", argv[i]);
            return 2;
        }
        const std::string name = std::to_string(size) + "x" + std::to_string(size);
        const std::filesystem::path dir = root / name / "apps";
        std::error_code ec;
        std::filesystem::create_directories(dir, ec);
        if (ec) {
            std::fprintf(stderr, "gen_program_icon: %s: %s\n", dir.c_str(), ec.message().c_str());
            return 1;
        }
        if (!writePng(dir / "kestrelwing.png", size, drawIcon(size))) return 1;
    }
    return 0;
}
