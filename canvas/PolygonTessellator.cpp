#include "canvas/PolygonTessellator.h"

#include <GL/glu.h>

#include "core/OutlineCrossings.h"

#include <cmath>
#include <cstdio>
#include <deque>

namespace {
// What the callbacks collect: one primitive at a time, unfolded into triangles
// as it ends. Vertices made by the combine callback live in `made`, whose
// addresses stay put while more are added.
struct TessState {
    GLenum kind = GL_TRIANGLES;
    std::vector<math::Vec2> primitive;
    std::vector<math::Vec2> triangles;
    std::deque<GLdouble> made;
};

#ifndef CALLBACK
#define CALLBACK
#endif

void CALLBACK onBegin(GLenum kind, void* data) {
    auto* s = static_cast<TessState*>(data);
    s->kind = kind;
    s->primitive.clear();
}

void CALLBACK onVertex(void* vertex, void* data) {
    auto* s = static_cast<TessState*>(data);
    const auto* v = static_cast<const GLdouble*>(vertex);
    s->primitive.push_back({static_cast<float>(v[0]), static_cast<float>(v[1])});
}

void CALLBACK onEnd(void* data) {
    auto* s = static_cast<TessState*>(data);
    const std::vector<math::Vec2>& p = s->primitive;
    std::vector<math::Vec2>& out = s->triangles;
    const std::size_t n = p.size();
    if (s->kind == GL_TRIANGLES) {
        for (std::size_t i = 0; i + 2 < n; i += 3) out.insert(out.end(), {p[i], p[i + 1], p[i + 2]});
    } else if (s->kind == GL_TRIANGLE_STRIP) {
        // Every second triangle of a strip runs the other way round; the order
        // is kept as a strip would draw it.
        for (std::size_t i = 0; i + 2 < n; ++i) {
            if (i % 2 == 0) out.insert(out.end(), {p[i], p[i + 1], p[i + 2]});
            else out.insert(out.end(), {p[i + 1], p[i], p[i + 2]});
        }
    } else if (s->kind == GL_TRIANGLE_FAN) {
        for (std::size_t i = 1; i + 1 < n; ++i) out.insert(out.end(), {p[0], p[i], p[i + 1]});
    }
    s->primitive.clear();
}

// A new vertex where edges cross: its position only, nothing to interpolate.
void CALLBACK onCombine(GLdouble coords[3], void* neighbours[4], GLfloat weights[4], void** result, void* data) {
    (void)neighbours, (void)weights;
    auto* s = static_cast<TessState*>(data);
    for (int i = 0; i < 3; ++i) s->made.push_back(coords[i]);
    *result = &s->made[s->made.size() - 3];
}

// Nothing is reported: whatever triangles came out are used.
void CALLBACK onError(GLenum error, void* data) { (void)error, (void)data; }

using Callback = void(CALLBACK*)();
} // namespace

std::vector<math::Vec2> tessellatePolygon(const std::vector<math::Vec2>& outline) {
    TessState state;
    if (outline.empty()) return {};
    if (outline::tooTangled(outline)) {
        std::fprintf(stderr, "Selection: the outline crosses itself too often (%zu points); it selects nothing.\n",
                     outline.size());
        return {};
    }
    GLUtesselator* tess = gluNewTess();
    if (!tess) return {};
    gluTessCallback(tess, GLU_TESS_BEGIN_DATA, reinterpret_cast<Callback>(onBegin));
    gluTessCallback(tess, GLU_TESS_VERTEX_DATA, reinterpret_cast<Callback>(onVertex));
    gluTessCallback(tess, GLU_TESS_END_DATA, reinterpret_cast<Callback>(onEnd));
    gluTessCallback(tess, GLU_TESS_COMBINE_DATA, reinterpret_cast<Callback>(onCombine));
    gluTessCallback(tess, GLU_TESS_ERROR_DATA, reinterpret_cast<Callback>(onError));
    gluTessProperty(tess, GLU_TESS_WINDING_RULE, GLU_TESS_WINDING_ODD);
    gluTessNormal(tess, 0.0, 0.0, 1.0);
    // GLU keeps pointers to the coordinates until the polygon ends.
    std::vector<GLdouble> coords;
    coords.reserve(outline.size() * 3);
    for (const math::Vec2& p : outline)
        if (std::isfinite(p.x) && std::isfinite(p.y)) coords.insert(coords.end(), {p.x, p.y, 0.0});
    gluTessBeginPolygon(tess, &state);
    gluTessBeginContour(tess);
    for (std::size_t i = 0; i < coords.size() / 3; ++i) gluTessVertex(tess, &coords[i * 3], &coords[i * 3]);
    gluTessEndContour(tess);
    gluTessEndPolygon(tess);
    gluDeleteTess(tess);
    return std::move(state.triangles);
}
