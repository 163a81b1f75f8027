#include "canvas/StrokeRenderer.h"

#include <GL/glew.h>

#include <algorithm>
#include <vector>

#include "brush/Brush.h"
#include "brush/BrushTips.h"
#include "canvas/GlPixels.h"
#include "canvas/ShaderProgram.h"
#include "canvas/Shaders.h"

namespace {

void setDabBlend(const Brush& brush) {
    switch (brush::chooseDabBlend(brush)) {
    case brush::DabBlend::AdditiveAlpha:
        glBlendFunc(GL_SRC_ALPHA, GL_ONE);
        glBlendEquation(GL_FUNC_ADD);
        break;
    case brush::DabBlend::PremultipliedOver:
        glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
        glBlendEquation(GL_FUNC_ADD);
        break;
    case brush::DabBlend::Maximum:
        // Overlapping dabs keep the highest value instead of building up.
        glBlendEquation(GL_MAX);
        break;
    }
}

// The program in use for a run of dabs, with its uniform locations asked for
// once per run rather than once per dab (small dabs are dominated by that).
struct DabProgramState {
    const ShaderProgram* program = nullptr;
    GLint center = -1, radius = -1, hardness = -1;

    void use(const ShaderProgram& p) {
        if (program == &p) return;
        program = &p;
        glUseProgram(p.program);
        center = glGetUniformLocation(p.program, "center");
        radius = glGetUniformLocation(p.program, "radius");
        hardness = glGetUniformLocation(p.program, "hardness");
        const GLint tex = glGetUniformLocation(p.program, "tex");
        if (tex >= 0) glUniform1i(tex, 0);
    }
};

// Round dabs: the disc comes from the fragment program, the quad only covers it.
void stampRound(const brush::Dab& d, DabProgramState& state) {
    state.use(d.kind == brush::DabKind::SoftRound ? softDabProgram : hardDabProgram);
    glUniform2f(state.center, d.center.x, d.center.y);
    glUniform1f(state.radius, d.radius);
    if (d.kind == brush::DabKind::SoftRound) glUniform1f(state.hardness, d.hardness);
    glColor4f(d.color[0], d.color[1], d.color[2], d.color[3]);
    glBegin(GL_QUADS);
    glVertex2i(d.quadLeft, d.quadBottom);
    glVertex2i(d.quadRight, d.quadBottom);
    glVertex2i(d.quadRight, d.quadTop);
    glVertex2i(d.quadLeft, d.quadTop);
    glEnd();
}

// Round dabs in one draw, in the order of the list, so blending sees them as
// one draw each would. Each dab carries its colour and its disc (centre,
// radius, hardness) for the batched programs. A dab whose centre lies on the
// surface goes as one square point covering exactly its quad's pixels (the
// rasteriser sets up one primitive instead of two triangles); others, and
// dabs larger than the largest point, as a quad of four vertices.
class RoundDabBatch {
public:
    RoundDabBatch(int surfaceWidth, int surfaceHeight) : width_(surfaceWidth), height_(surfaceHeight) {
        GLfloat range[2] = {1, 1};
        glGetFloatv(GL_ALIASED_POINT_SIZE_RANGE, range);
        maxPoint_ = static_cast<int32_t>(range[1]);
    }

    void draw(std::span<const brush::Dab> run, bool soft) {
        std::size_t first = 0;
        while (first < run.size()) {
            const bool points = asPoint(run[first]);
            std::size_t end = first + 1;
            // Bounded chunks keep the arrays small for very long strokes.
            while (end < run.size() && end - first < kChunk && asPoint(run[end]) == points) ++end;
            if (points) drawPoints(run.subspan(first, end - first), soft ? softDabPointProgram : hardDabPointProgram);
            else drawQuads(run.subspan(first, end - first), soft ? softDabBatchProgram : hardDabBatchProgram);
            first = end;
        }
    }

private:
    static constexpr std::size_t kChunk = 4096;

    bool asPoint(const brush::Dab& d) const {
        // Points are clipped by their centre, so only dabs centred on the
        // surface may go as points.
        const int32_t side = d.quadRight - d.quadLeft;
        const int32_t cx = d.quadLeft + side / 2, cy = d.quadBottom + side / 2;
        return side <= maxPoint_ && d.quadTop - d.quadBottom == side && side % 2 == 0 && cx >= 0 && cy >= 0 &&
               cx < width_ && cy < height_;
    }

    void appendAttributes(const brush::Dab& d, int copies) {
        for (int k = 0; k < copies; ++k) {
            colors_.insert(colors_.end(), d.color.begin(), d.color.end());
            shapes_.insert(shapes_.end(), {d.center.x, d.center.y, d.radius, d.hardness});
        }
    }

    void drawPoints(std::span<const brush::Dab> dabs, const ShaderProgram& program) {
        clear();
        for (const brush::Dab& d : dabs) {
            const int32_t side = d.quadRight - d.quadLeft;
            vertices_.insert(vertices_.end(), {static_cast<float>(d.quadLeft + side / 2),
                                               static_cast<float>(d.quadBottom + side / 2)});
            sizes_.push_back(static_cast<float>(side));
            appendAttributes(d, 1);
        }
        glEnable(GL_VERTEX_PROGRAM_POINT_SIZE);
        submit(program, GL_POINTS, static_cast<GLsizei>(dabs.size()), true);
        glDisable(GL_VERTEX_PROGRAM_POINT_SIZE);
    }

    void drawQuads(std::span<const brush::Dab> dabs, const ShaderProgram& program) {
        clear();
        for (const brush::Dab& d : dabs) {
            const float l = static_cast<float>(d.quadLeft), r = static_cast<float>(d.quadRight);
            const float b = static_cast<float>(d.quadBottom), t = static_cast<float>(d.quadTop);
            vertices_.insert(vertices_.end(), {l, b, r, b, r, t, l, t});
            appendAttributes(d, 4);
        }
        submit(program, GL_QUADS, static_cast<GLsizei>(dabs.size() * 4), false);
    }

    void clear() {
        vertices_.clear();
        colors_.clear();
        shapes_.clear();
        sizes_.clear();
    }

    void submit(const ShaderProgram& program, GLenum mode, GLsizei count, bool withSizes) {
        glUseProgram(program.program);
        glPushClientAttrib(GL_CLIENT_VERTEX_ARRAY_BIT);
        glEnableClientState(GL_VERTEX_ARRAY);
        glVertexPointer(2, GL_FLOAT, 0, vertices_.data());
        glEnableClientState(GL_COLOR_ARRAY);
        glColorPointer(4, GL_FLOAT, 0, colors_.data());
        glClientActiveTexture(GL_TEXTURE1);
        glEnableClientState(GL_TEXTURE_COORD_ARRAY);
        glTexCoordPointer(4, GL_FLOAT, 0, shapes_.data());
        if (withSizes) {
            glClientActiveTexture(GL_TEXTURE2);
            glEnableClientState(GL_TEXTURE_COORD_ARRAY);
            glTexCoordPointer(1, GL_FLOAT, 0, sizes_.data());
        }
        glDrawArrays(mode, 0, count);
        if (withSizes) glDisableClientState(GL_TEXTURE_COORD_ARRAY);
        glClientActiveTexture(GL_TEXTURE1);
        glDisableClientState(GL_TEXTURE_COORD_ARRAY);
        glClientActiveTexture(GL_TEXTURE0);
        glPopClientAttrib();
    }

    int width_, height_;
    int32_t maxPoint_ = 1;
    std::vector<float> vertices_, colors_, shapes_, sizes_;
};

bool isRound(const brush::Dab& d) {
    return d.kind == brush::DabKind::HardRound || d.kind == brush::DabKind::SoftRound;
}

void stampTextured(const brush::Dab& d) {
    glColor4f(d.color[0], d.color[1], d.color[2], d.color[3]);
    glPushMatrix();
    glTranslatef(d.center.x, d.center.y, 0);
    glRotatef(d.angle, 0, 0, 1);
    if (d.mirrored) {
        // A reflected copy: the quad runs right to left, so its back faces us.
        glDisable(GL_CULL_FACE);
        drawQuad(d.halfWidth, -d.halfHeight, -2 * d.halfWidth, 2 * d.halfHeight);
        glEnable(GL_CULL_FACE);
    } else {
        drawQuad(-d.halfWidth, -d.halfHeight, 2 * d.halfWidth, 2 * d.halfHeight);
    }
    glPopMatrix();
}

} // namespace

void stampDabs(const Brush& brush, std::span<const brush::Dab> dabs, const BrushTipTable& tips, DabDrawing drawing) {
    if (dabs.empty()) return;
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT | GL_POLYGON_BIT);
    glDisable(GL_DEPTH_TEST);
    glEnable(GL_BLEND);
    setDabBlend(brush);
    GLuint boundTip = 0;
    DabProgramState state;
    GLint viewport[4] = {0, 0, 0, 0};
    glGetIntegerv(GL_VIEWPORT, viewport);
    RoundDabBatch batch(viewport[2], viewport[3]);
    for (std::size_t i = 0; i < dabs.size(); ++i) {
        const brush::Dab& d = dabs[i];
        if (isRound(d) && drawing == DabDrawing::Batched) {
            // The run of round dabs of one kind from here on: one draw.
            std::size_t end = i + 1;
            while (end < dabs.size() && dabs[end].kind == d.kind) ++end;
            glDisable(GL_TEXTURE_2D);
            batch.draw(dabs.subspan(i, end - i), d.kind == brush::DabKind::SoftRound);
            state.program = nullptr;  // the batch changed the program in use
            i = end - 1;
            continue;
        }
        if (isRound(d)) {
            glDisable(GL_TEXTURE_2D);
            stampRound(d, state);
            continue;
        }
        const BrushTip* tip = tips.find(d.tipIndex);
        if (!tip || !tip->texture) continue; // a tip whose file did not load stamps nothing
        if (tip->texture != boundTip) {
            glEnable(GL_TEXTURE_2D);
            glActiveTexture(GL_TEXTURE0);
            glBindTexture(GL_TEXTURE_2D, tip->texture);
            boundTip = tip->texture;
        }
        state.use(d.kind == brush::DabKind::TexturedDry ? dabDryProgram : dabTextureProgram);
        stampTextured(d);
    }
    glUseProgram(0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glBlendEquation(GL_FUNC_ADD);
    glPopAttrib();
}

namespace {
const ShaderProgram& compositeProgram(const Brush& brush) {
    switch (brush::chooseCompositeProgram(brush)) {
    case brush::CompositeProgram::Erase: return eraseProgram;
    case brush::CompositeProgram::StrokeSmooth: return strokeSmoothProgram;
    case brush::CompositeProgram::StrokeOverColors: return strokeOverColorsProgram;
    case brush::CompositeProgram::StrokeOver: break;
    }
    return strokeOverProgram;
}

const ShaderProgram& previewProgram(const Brush& brush) {
    if (brush.antialias == 1) return strokeSmoothPreviewProgram;
    if (brush.hasFlag(kBrushFlagColorDynamics)) return strokePreviewColorsProgram;
    return strokePreviewProgram;
}
} // namespace

void drawStrokeComposite(const Brush& brush, brush::Rgb color, unsigned strokeTexture, unsigned canvasTexture,
                         const PixelRegion& region) {
    const ShaderProgram& p = compositeProgram(brush);
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_BLEND);
    glUseProgram(p.program);
    glUniform1i(glGetUniformLocation(p.program, "strokeTex"), 0);
    glUniform1i(glGetUniformLocation(p.program, "canvasTex"), 1);
    bindTwoTextures(strokeTexture, canvasTexture);
    // Texel for pixel: the live preview may have left linear filters on them.
    for (GLenum unit : {GL_TEXTURE1, GL_TEXTURE0}) {
        glActiveTexture(unit);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    }
    glColor4f(color.r, color.g, color.b, brush.opacity);
    drawRegion(region);
    unbindTwoTextures();
    glUseProgram(0);
    glPopAttrib();
}

void drawStrokePreview(const Brush& brush, brush::Rgb color, unsigned strokeTexture, unsigned layerTexture,
                       float layerOpacity, float zoom, float x, float y, float width, float height) {
    const ShaderProgram& p = previewProgram(brush);
    glUseProgram(p.program);
    glUniform1i(glGetUniformLocation(p.program, "strokeTex"), 0);
    glUniform1i(glGetUniformLocation(p.program, "canvasTex"), 1);
    glUniform1f(glGetUniformLocation(p.program, "layerOpacity"), layerOpacity);
    bindTwoTextures(strokeTexture, layerTexture);
    // Unit 0 is active after the bind: the stroke follows the zoom filters.
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magnificationFilterForZoom(zoom));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glColor4f(color.r, color.g, color.b, brush.opacity);
    drawQuad(x, y, width, height);
    unbindTwoTextures();
    glUseProgram(0);
}
