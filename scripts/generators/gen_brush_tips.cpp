// Draws the factory brush tips procedurally and writes them as PNG files.
//
//   gen_brush_tips <output folder> [tip name ...]
//
// Without names every tip is written. Only alpha shapes a dab; the colour is
// stored as 255 - alpha (dark ink where the tip covers), which the tip loader
// inverts back into premultiplied white. Tips are drawn in texture space with
// x along the direction of travel and y across it; rows are written top-down
// as PNG wants them. Everything is deterministic: the noise has fixed seeds.
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr double kPi = 3.14159265358979323846;

// A grey-scale coverage image, values 0..1, row 0 at the top.
struct Tip {
    int width = 0, height = 0;
    std::vector<double> alpha;
    Tip(int w, int h) : width(w), height(h), alpha(static_cast<size_t>(w) * h, 0.0) {}
    double& at(int x, int y) { return alpha[static_cast<size_t>(y) * width + x]; }
};

// Small deterministic generator (xorshift), independent of any C library.
struct Noise {
    uint32_t state;
    explicit Noise(uint32_t seed) : state(seed ? seed : 1u) {}
    uint32_t next() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    }
    double uniform() { return (next() & 0xFFFFFF) / double(0x1000000); }
    double range(double a, double b) { return a + (b - a) * uniform(); }
};

// Smooth value noise on a lattice of the given cell size, values 0..1.
class ValueNoise {
public:
    ValueNoise(uint32_t seed, int cells) : cells_(cells), values_(static_cast<size_t>(cells) * cells) {
        Noise n(seed);
        for (double& v : values_) v = n.uniform();
    }
    double at(double u, double v) const {  // u, v in 0..1, tiles seamlessly
        const double x = u * cells_, y = v * cells_;
        const int x0 = static_cast<int>(std::floor(x)), y0 = static_cast<int>(std::floor(y));
        const double fx = smooth(x - x0), fy = smooth(y - y0);
        const double a = lattice(x0, y0), b = lattice(x0 + 1, y0);
        const double c = lattice(x0, y0 + 1), d = lattice(x0 + 1, y0 + 1);
        return (a + (b - a) * fx) * (1 - fy) + (c + (d - c) * fx) * fy;
    }

private:
    static double smooth(double t) { return t * t * (3 - 2 * t); }
    double lattice(int x, int y) const {
        x = ((x % cells_) + cells_) % cells_;
        y = ((y % cells_) + cells_) % cells_;
        return values_[static_cast<size_t>(y) * cells_ + x];
    }
    int cells_;
    std::vector<double> values_;
};

// Several octaves of value noise, 0..1.
double fractal(const std::vector<ValueNoise>& octaves, double u, double v) {
    double sum = 0, weight = 0, w = 1;
    for (const ValueNoise& o : octaves) {
        sum += o.at(u, v) * w;
        weight += w;
        w *= 0.5;
    }
    return sum / weight;
}

double clamp01(double v) { return std::clamp(v, 0.0, 1.0); }
double smoothstep(double e0, double e1, double x) {
    const double t = clamp01((x - e0) / (e1 - e0));
    return t * t * (3 - 2 * t);
}

// Coverage of an inside test, 4 x 4 samples per pixel; (u, v) centred, in
// pixels from the middle of the image, v up.
void fillShape(Tip& tip, const std::function<double(double u, double v)>& shape) {
    for (int y = 0; y < tip.height; ++y)
        for (int x = 0; x < tip.width; ++x) {
            double sum = 0;
            for (int sy = 0; sy < 4; ++sy)
                for (int sx = 0; sx < 4; ++sx) {
                    const double u = x + (sx + 0.5) / 4 - tip.width * 0.5;
                    const double v = tip.height * 0.5 - (y + (sy + 0.5) / 4);
                    sum += shape(u, v);
                }
            tip.at(x, y) = std::max(tip.at(x, y), clamp01(sum / 16));
        }
}

// A hard round: a solid disc with a clean edge.
Tip drawRound() {
    Tip t(128, 128);
    fillShape(t, [](double u, double v) { return u * u + v * v <= 60.0 * 60.0 ? 1.0 : 0.0; });
    return t;
}

// A soft round: full in the middle, falling off smoothly to the rim.
Tip drawSoft() {
    Tip t(128, 128);
    fillShape(t, [](double u, double v) {
        const double r = std::sqrt(u * u + v * v) / 62.0;
        return 1.0 - smoothstep(0.15, 1.0, r);
    });
    return t;
}

// A flat chisel: a narrow slab across the path, with bristle streaks and
// slightly frayed ends. Taller than wide, so it is a broad stroke.
Tip drawFlat() {
    Tip t(48, 128);
    Noise n(7);
    std::vector<double> streak(128);
    for (double& s : streak) s = 0.75 + 0.25 * n.uniform();
    fillShape(t, [&](double u, double v) {
        const double halfW = 14.0, halfH = 58.0;
        const int row = std::clamp(static_cast<int>(v + 64.0), 0, 127);
        const double fray = 3.0 * streak[row];
        if (std::fabs(u) > halfW || std::fabs(v) > halfH - fray + 3.0) return 0.0;
        // Round the corners a little, like a worn brush.
        const double cu = std::max(0.0, std::fabs(u) - (halfW - 4.0));
        const double cv = std::max(0.0, std::fabs(v) - (halfH - 4.0));
        if (cu * cu + cv * cv > 16.0) return 0.0;
        return streak[row];
    });
    return t;
}

// A rake: a row of separate bristle tufts across the path.
Tip drawRake() {
    Tip t(128, 128);
    Noise n(11);
    struct Tuft { double v, r, strength; };
    std::vector<Tuft> tufts;
    const int count = 7;
    for (int i = 0; i < count; ++i) {
        const double v = -54.0 + 108.0 * i / (count - 1) + n.range(-2.0, 2.0);
        tufts.push_back({v, n.range(6.0, 8.5), n.range(0.8, 1.0)});
    }
    fillShape(t, [&](double u, double v) {
        double a = 0;
        for (const Tuft& tf : tufts) {
            // Slightly longer along the path than across it.
            const double du = u / 1.6, dv = v - tf.v;
            if (du * du + dv * dv <= tf.r * tf.r) a = std::max(a, tf.strength);
        }
        return a;
    });
    return t;
}

// A coarse plaster texture: a rough blob with pits and grain.
Tip drawPlaster() {
    Tip t(128, 128);
    const std::vector<ValueNoise> octaves = {ValueNoise(21, 6), ValueNoise(22, 12), ValueNoise(23, 24),
                                             ValueNoise(24, 48)};
    for (int y = 0; y < t.height; ++y)
        for (int x = 0; x < t.width; ++x) {
            const double u = (x + 0.5) / t.width, v = (y + 0.5) / t.height;
            const double du = u - 0.5, dv = v - 0.5;
            const double r = std::sqrt(du * du + dv * dv) / 0.5;
            const double grain = fractal(octaves, u, v);
            // The edge wanders with the noise; inside, the grain leaves pits.
            const double edge = 1.0 - smoothstep(0.6, 0.95, r + (grain - 0.5) * 0.5);
            const double body = smoothstep(0.28, 0.55, grain);
            t.at(x, y) = clamp01(edge * (0.4 + 0.6 * body));
        }
    return t;
}

// A tuft of grass: tapered blades rising from the bottom, bending to the sides.
Tip drawGrass() {
    Tip t(128, 128);
    Noise n(31);
    struct Blade { double base, lean, height, width; };
    std::vector<Blade> blades;
    for (int i = 0; i < 9; ++i)
        blades.push_back({n.range(-22.0, 22.0), n.range(-38.0, 38.0), n.range(70.0, 118.0),
                          n.range(3.0, 5.5)});
    fillShape(t, [&](double u, double v) {
        const double h = v + 60.0;  // height above the bottom edge
        if (h < 0) return 0.0;
        double a = 0;
        for (const Blade& b : blades) {
            if (h > b.height) continue;
            const double s = h / b.height;                    // 0 at the root, 1 at the tip
            const double centre = b.base + b.lean * s * s;    // bends more towards the tip
            const double half = b.width * (1.0 - s);          // tapers to a point
            if (std::fabs(u - centre) <= half) a = 1.0;
        }
        return a;
    });
    return t;
}

// A leaf: a pointed oval with a midrib and side veins left lighter.
Tip drawLeaf() {
    Tip t(128, 128);
    fillShape(t, [](double u, double v) {
        // Leaf along the path, tip at +u, stalk at -u, tilted a little.
        const double c = std::cos(0.35), s = std::sin(0.35);
        const double x = u * c + v * s, y = -u * s + v * c;
        const double len = 58.0;
        if (x < -len || x > len) {
            // The stalk.
            return (x < -len && x > -len - 6.0 && std::fabs(y) < 1.5) ? 1.0 : 0.0;
        }
        const double p = (x + len) / (2 * len);                         // 0..1 along the leaf
        const double halfWidth = 30.0 * std::pow(std::sin(kPi * p), 0.8) * (1.0 - 0.35 * p);
        if (std::fabs(y) > halfWidth) return 0.0;
        if (std::fabs(y) < 1.0) return 0.55;                             // midrib
        const double vein = std::fmod(x - std::fabs(y) * 0.9 + 200.0, 14.0);
        if (vein < 1.2 && std::fabs(y) < halfWidth - 3.0) return 0.65;   // side veins
        return 1.0;
    });
    return t;
}

// Chalk: a disc broken up by fine grain, denser in the middle.
Tip drawChalk() {
    Tip t(128, 128);
    Noise n(41);
    const std::vector<ValueNoise> octaves = {ValueNoise(42, 32), ValueNoise(43, 64)};
    for (int y = 0; y < t.height; ++y)
        for (int x = 0; x < t.width; ++x) {
            const double u = (x + 0.5) / t.width, v = (y + 0.5) / t.height;
            const double r = std::hypot(u - 0.5, v - 0.5) / 0.48;
            const double grain = fractal(octaves, u, v) * 0.7 + n.uniform() * 0.3;
            const double keep = smoothstep(0.22 + 0.35 * r, 0.4 + 0.35 * r, grain);
            t.at(x, y) = r < 1.0 ? keep : 0.0;
        }
    return t;
}

// Splatter: droplets of many sizes thrown around a centre.
Tip drawSplatter() {
    Tip t(128, 128);
    Noise n(51);
    struct Drop { double u, v, r; };
    std::vector<Drop> drops;
    for (int i = 0; i < 40; ++i) {
        const double angle = n.range(0, 2 * kPi);
        const double dist = 55.0 * std::pow(n.uniform(), 0.7);
        const double r = std::max(1.2, 9.0 * (1.0 - dist / 60.0) * n.range(0.3, 1.0));
        drops.push_back({dist * std::cos(angle), dist * std::sin(angle), r});
    }
    fillShape(t, [&](double u, double v) {
        for (const Drop& d : drops)
            if ((u - d.u) * (u - d.u) + (v - d.v) * (v - d.v) <= d.r * d.r) return 1.0;
        return 0.0;
    });
    return t;
}

// A sponge: a soft-edged patch full of round holes.
Tip drawSponge() {
    Tip t(128, 128);
    Noise n(61);
    struct Hole { double u, v, r; };
    std::vector<Hole> holes;
    for (int i = 0; i < 90; ++i) holes.push_back({n.range(-60, 60), n.range(-60, 60), n.range(1.5, 4.5)});
    fillShape(t, [&](double u, double v) {
        const double r = std::sqrt(u * u + v * v);
        if (r > 58.0) return 0.0;
        for (const Hole& h : holes)
            if ((u - h.u) * (u - h.u) + (v - h.v) * (v - h.v) <= h.r * h.r) return 0.0;
        return 1.0 - smoothstep(40.0, 58.0, r) * 0.6;
    });
    return t;
}

// Bristles: many fine hairs packed in a disc, each a short dash along the path.
Tip drawBristles() {
    Tip t(128, 128);
    Noise n(71);
    struct Hair { double u, v, len, strength; };
    std::vector<Hair> hairs;
    while (hairs.size() < 160) {
        const double u = n.range(-56, 56), v = n.range(-56, 56);
        if (u * u + v * v > 56.0 * 56.0) continue;
        hairs.push_back({u, v, n.range(4.0, 10.0), n.range(0.5, 1.0)});
    }
    fillShape(t, [&](double u, double v) {
        double a = 0;
        for (const Hair& h : hairs)
            if (std::fabs(v - h.v) <= 1.3 && std::fabs(u - h.u) <= h.len) a = std::max(a, h.strength);
        return a;
    });
    return t;
}

struct TipRecipe {
    const char* name;
    Tip (*draw)();
};

const TipRecipe kRecipes[] = {
    {"round", drawRound},     {"flat", drawFlat},         {"rake", drawRake},
    {"plaster", drawPlaster}, {"grass", drawGrass},       {"leaf", drawLeaf},
    {"soft", drawSoft},       {"chalk", drawChalk},       {"splatter", drawSplatter},
    {"sponge", drawSponge},   {"bristles", drawBristles},
};

bool writeTip(const Tip& tip, const std::filesystem::path& file) {
    std::vector<uint8_t> rgba(static_cast<size_t>(tip.width) * tip.height * 4);
    for (size_t i = 0; i < tip.alpha.size(); ++i) {
        const auto a = static_cast<uint8_t>(std::lround(clamp01(tip.alpha[i]) * 255.0));
        rgba[i * 4 + 0] = rgba[i * 4 + 1] = rgba[i * 4 + 2] = static_cast<uint8_t>(255 - a);
        rgba[i * 4 + 3] = a;
    }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(tip.width);
    image.height = static_cast<png_uint_32>(tip.height);
    image.format = PNG_FORMAT_RGBA;
    if (!png_image_write_to_file(&image, file.c_str(), 0, rgba.data(), tip.width * 4, nullptr)) {
        std::fprintf(stderr, "gen_brush_tips: cannot write %s: %s\n", file.c_str(), image.message);
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: gen_brush_tips <output folder> [tip name ...]\n");
        return 2;
    }
    const std::filesystem::path outDir = argv[1];
    std::error_code ec;
    std::filesystem::create_directories(outDir, ec);
    if (ec) {
        std::fprintf(stderr, "gen_brush_tips: cannot create %s: %s\n", outDir.c_str(), ec.message().c_str());
        return 1;
    }
    std::vector<std::string> wanted(argv + 2, argv + argc);
    if (wanted.empty())
        for (const TipRecipe& r : kRecipes) wanted.push_back(r.name);
    for (const std::string& name : wanted) {
        const TipRecipe* recipe = nullptr;
        for (const TipRecipe& r : kRecipes)
            if (name == r.name) recipe = &r;
        if (!recipe) {
            std::fprintf(stderr, "gen_brush_tips: unknown tip \"%s\"\n", name.c_str());
            return 1;
        }
        if (!writeTip(recipe->draw(), outDir / (name + ".png"))) return 1;
    }
    return 0;
}
