#include "core/PerspectiveGrid.h"

#include <cmath>

namespace perspective {

namespace {
// No family needs more; a bound keeps a degenerate input from looping long.
constexpr int kMaxLinesPerRun = 4096;

float axisOf(math::Vec2 p, bool alongX) { return alongX ? p.x : p.y; }
void moveAlong(math::Vec2& p, bool alongX, float by) {
    if (alongX) p.x += by;
    else p.y += by;
}
} // namespace

int halfHeightPixels(const GridInput& in) { return static_cast<int>(in.height * in.zoom * 0.5f); }

int minimumStep(const GridInput& in) {
    const int step = halfHeightPixels(in) / 50;
    return step > 5 ? step : 5;
}

std::vector<GridLine> fanLines(const GridInput& in, int i) {
    std::vector<GridLine> out;
    if (i < 0 || i > 2 || !(in.vpFlags & (1u << i))) return out;
    const int hp = halfHeightPixels(in);
    if (hp <= 0 || in.steps <= 0) return out;
    const float W = in.width, H = in.height;
    const float minStep = static_cast<float>(minimumStep(in));
    const float inv = 1.0f / static_cast<float>(in.steps);
    const math::Vec2 v = in.vp[static_cast<size_t>(i)];
    const math::Vec2 e{W, 0};
    auto emit = [&](math::Vec2 end) { out.push_back({v, end, 0.0f, 1.0f}); };

    for (int edge = 0; edge < 2; ++edge) {
        const bool top = edge == 0;
        const float edgeY = top ? H / 2 : -H / 2;
        // Only an edge that has the point on the canvas side of it.
        if (top ? !(v.y < edgeY) : !(v.y > edgeY)) continue;
        const math::Vec2 start{-W / 2, edgeY};
        const float dist = std::fabs(v.y - edgeY);
        const float sgn = v.y > edgeY ? 1.0f : -1.0f;
        const float step = minStep * dist / static_cast<float>(hp);

        for (int side = 0; side < 2; ++side) {
            const bool left = side == 0;
            const float sideX = left ? -W / 2 : W / 2;
            if (left ? !(v.x > sideX) : !(v.x < sideX)) continue;
            float t = left ? -1.0f : static_cast<float>(in.steps + 1);
            const float dt = left ? -1.0f : 1.0f;
            float y = edgeY;
            if (step < dist) {
                // Rays through the extended edge, as long as they stay further
                // apart along the side than the minimum step.
                float previous = dist;
                for (int n = 0; n < kMaxLinesPerRun; ++n) {
                    const math::Vec2 p = start + e * (t * inv);
                    y = v.y + (p.y - v.y) * (sideX - v.x) / (p.x - v.x);
                    emit({sideX, y});
                    const float remaining = (v.y - y) * sgn;
                    t += dt;
                    const float gap = previous - remaining;
                    previous = remaining;
                    if (!(gap > step)) break;
                }
            }
            // Then evenly along the side up to the point's height.
            for (int n = 0; n < kMaxLinesPerRun; ++n) {
                y += step * sgn;
                if (!((v.y - y) * sgn > 0)) break;
                emit({sideX, y});
            }
        }
        for (int k = 0; k <= in.steps; ++k) emit(start + e * (static_cast<float>(k) * inv));
    }
    return out;
}

std::vector<GridLine> parallelLines(const GridInput& in, int k) {
    std::vector<GridLine> out;
    if (k < 0 || k > 3 || in.steps <= 0) return out;
    if ((in.vpFlags & 2u) && (in.vpFlags & 4u)) return out;
    if (!(in.parallelFlags & (1u << k))) return out;
    const bool alongX = sideMovesAlongX(k);
    // The point that gives these lines when shown: vertical for x, second horizontal for y.
    if (alongX ? (in.vpFlags & 4u) : (in.vpFlags & 2u)) return out;

    const float W = in.width, H = in.height;
    const std::array<math::Vec2, 4> c{math::Vec2{-W / 2, H / 2}, math::Vec2{W / 2, H / 2},
                                      math::Vec2{W / 2, -H / 2}, math::Vec2{-W / 2, -H / 2}};
    const math::Vec2 ck = c[static_cast<size_t>(k)];
    const math::Vec2 ck1 = c[static_cast<size_t>((k + 1) % 4)];
    const math::Vec2 v = in.vp[0];
    const float d = axisOf(v, alongX) - axisOf(ck, alongX);
    if (d == 0) return out;
    const float ext = alongX ? static_cast<float>(static_cast<int>(W * in.zoom / 2))
                             : static_cast<float>(halfHeightPixels(in));
    const float minStep = static_cast<float>(minimumStep(in));
    if (ext <= 0) return out;
    // The opposite side in the same axis bounds the family with side k.
    const float sideK = axisOf(ck, alongX);
    const float sideOpposite = -sideK;
    const float lo = std::fmin(sideK, sideOpposite), hi = std::fmax(sideK, sideOpposite);

    float depth = H / 2;
    float alpha = 1, offset = 0;
    int n = 0;
    math::Vec2 p = ck1, q = ck;
    auto emitIfInside = [&] {
        const float pa = axisOf(p, alongX);
        if (pa > lo && pa < hi) out.push_back({p, q, alpha, alpha});
    };
    auto advance = [&](float delta) {
        moveAlong(p, alongX, delta);
        moveAlong(q, alongX, delta);
        if (alongX) {
            // One end climbs towards the horizon as the line goes deeper.
            if (ck1.x <= v.x) q.y = ck.y + (v.y - ck.y) * offset / d;
            else p.y = ck1.y + (v.y - ck1.y) * offset / d;
        }
        n += 1;
        if (alpha > 0.1f) alpha = 1.0f - 0.001f * static_cast<float>(n * n);
    };

    // Equal steps in depth while they still part by more than the minimum step.
    if (100.0f * ext / std::fabs(d) > minStep) {
        for (int guard = 0; guard < kMaxLinesPerRun; ++guard) {
            emitIfInside();
            depth += W / static_cast<float>(in.steps);
            const float next = d - d * (H / 2) / depth;
            const float delta = next - offset;
            offset = next;
            advance(delta);
            if (!(ext * delta / d > minStep)) break;
        }
    }
    // Then evenly up to the point.
    const float delta = d * minStep / ext;
    auto reached = [&] { return (axisOf(v, alongX) - axisOf(p, alongX)) * d <= 0; };
    for (int guard = 0; guard < kMaxLinesPerRun && !reached(); ++guard) {
        emitIfInside();
        offset += delta;
        advance(delta);
    }
    return out;
}

} // namespace perspective
