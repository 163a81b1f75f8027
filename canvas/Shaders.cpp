#include <GL/glew.h>

#include "canvas/Shaders.h"

#include "canvas/GlInfo.h"

#include <array>
#include <string>

ShaderProgram hardDabProgram("hardDabProgram");
ShaderProgram softDabProgram("softDabProgram");
ShaderProgram dabTextureProgram("dabTextureProgram");
ShaderProgram dabDryProgram("dabDryProgram");
ShaderProgram strokeOverProgram("strokeOverProgram");
ShaderProgram strokeOverColorsProgram("strokeOverColorsProgram");
ShaderProgram strokeSmoothProgram("strokeSmoothProgram");
ShaderProgram strokePreviewProgram("strokePreviewProgram");
ShaderProgram strokePreviewColorsProgram("strokePreviewColorsProgram");
ShaderProgram strokeSmoothPreviewProgram("strokeSmoothPreviewProgram");
ShaderProgram eraseProgram("eraseProgram");
ShaderProgram selectionMaskProgram("selectionMaskProgram");
ShaderProgram selectionEdgeProgram("selectionEdgeProgram");
ShaderProgram layerMergeProgram("layerMergeProgram");
ShaderProgram premultipliedOverProgram("premultipliedOverProgram");
ShaderProgram smoothOverProgram("smoothOverProgram");
ShaderProgram tipOutlineProgram("tipOutlineProgram");
ShaderProgram checkerboardProgram("checkerboardProgram");
ShaderProgram rectDimProgram("rectDimProgram");
ShaderProgram boxShadowProgram("boxShadowProgram");
ShaderProgram colorSquareProgram("colorSquareProgram");
ShaderProgram hardDabBatchProgram("hardDabBatchProgram");
ShaderProgram softDabBatchProgram("softDabBatchProgram");
ShaderProgram hardDabPointProgram("hardDabPointProgram");
ShaderProgram softDabPointProgram("softDabPointProgram");

// GLSL 1.20 throughout: gl_Color, gl_TexCoord and ftransform() are used on
// purpose, since vertex colour is the parameter channel of most programs.

const char* const texturedVertexStage = R"(#version 120
void main() {
    gl_TexCoord[0] = gl_MultiTexCoord0;
    gl_FrontColor = gl_Color;
    gl_Position = ftransform();
}
)";

const char* const plainVertexStage = R"(#version 120
void main() {
    gl_FrontColor = gl_Color;
    gl_Position = ftransform();
}
)";

namespace {

const std::string kVersion = "#version 120\n";

// 3 x 3 tent filter of a texture's alpha, taps `offset` apart (texture units).
const std::string kSmoothedAlpha = R"(
float smoothedAlpha(sampler2D t, vec2 uv, vec2 offset) {
    float sum = 0.25 * texture2D(t, uv + vec2(-offset.x,  offset.y)).a
              + 0.5  * texture2D(t, uv + vec2(0.0,        offset.y)).a
              + 0.25 * texture2D(t, uv + vec2( offset.x,  offset.y)).a
              + 0.5  * texture2D(t, uv + vec2(-offset.x,  0.0)).a
              + 1.0  * texture2D(t, uv).a
              + 0.5  * texture2D(t, uv + vec2( offset.x,  0.0)).a
              + 0.25 * texture2D(t, uv + vec2(-offset.x, -offset.y)).a
              + 0.5  * texture2D(t, uv + vec2(0.0,       -offset.y)).a
              + 0.25 * texture2D(t, uv + vec2( offset.x, -offset.y)).a;
    return sum / 4.0;
}
)";

// Round dab with an anti-aliased rim; center and radius in framebuffer pixels.
// The dab programs read their disc from uniforms, one draw per dab; the
// batched forms read the same values from a per-dab attribute (texture
// coordinate 1: centre x, y, radius, hardness), many dabs per draw.
const std::string kDabUniforms = "uniform vec2 center;\nuniform float radius;\nuniform float hardness;\n";
const std::string kDabVaryings = "varying vec4 dabShape;\n#define center dabShape.xy\n#define radius dabShape.z\n"
                                 "#define hardness dabShape.w\n";

const std::string hardDabBody = R"(
void main() {
    vec2 p = gl_FragCoord.xy;
    float d = distance(p, center);
    if (d > radius + 2.0) discard;
    float alpha;
    if (radius < 1.0) {
        // Tiny dab: the area the dab's square covers of this pixel.
        if (!(d < 1.71)) discard;
        vec2 lo = max(p - 0.5, center - radius);
        vec2 hi = min(p + 0.5, center + radius);
        vec2 size = max(hi - lo, vec2(0.0));
        alpha = size.x * size.y;
        if (alpha <= 0.0) discard;
    } else if (d < radius - 2.0) {
        alpha = 1.0;
    } else {
        float total = 0.0;
        float sum = 0.0;
        for (int i = 0; i < 4; ++i) {
            vec2 corner = p + vec2(i == 0 || i == 2 ? -0.5 : 0.5, i < 2 ? -0.5 : 0.5);
            float e = distance(corner, center);
            total += abs(radius - e);
            if (e < radius) sum += radius - e;
        }
        alpha = sum / total;
    }
    alpha *= gl_Color.a;
    gl_FragColor = vec4(gl_Color.rgb * alpha, alpha);
}
)";

const std::string hardDabFragment = kVersion + kDabUniforms + hardDabBody;
const std::string hardDabBatchFragment = kVersion + kDabVaryings + hardDabBody;

const std::string softDabBody = R"(
void main() {
    float d = distance(gl_FragCoord.xy, center);
    float f = hardness * radius;
    if (d >= radius) discard;
    float alpha = d < f ? 1.0 : (radius - d) / (radius - f);
    alpha *= gl_Color.a;
    gl_FragColor = vec4(gl_Color.rgb * alpha, alpha);
}
)";
const std::string softDabFragment = kVersion + kDabUniforms + softDabBody;
const std::string softDabBatchFragment = kVersion + kDabVaryings + softDabBody;

const char* const dabBatchVertexStage = R"(#version 120
varying vec4 dabShape;
void main() {
    dabShape = gl_MultiTexCoord1;
    gl_FrontColor = gl_Color;
    gl_Position = ftransform();
}
)";

// The same as a square point: one vertex at the centre of the dab's quad, the
// quad's side as point size (texture coordinate 2).
const char* const dabPointVertexStage = R"(#version 120
varying vec4 dabShape;
void main() {
    dabShape = gl_MultiTexCoord1;
    gl_FrontColor = gl_Color;
    gl_PointSize = gl_MultiTexCoord2.x;
    gl_Position = ftransform();
}
)";

const std::string dabTextureFragment = kVersion + R"(
uniform sampler2D tex;
void main() {
    float alpha = gl_Color.a * texture2D(tex, gl_TexCoord[0].st).a;
    gl_FragColor = vec4(gl_Color.rgb * alpha, alpha);
}
)";

// Dry brush: vertex alpha (the pressure) turns from tip-hole fill to tip shape.
const std::string dabDryFragment = kVersion + R"(
uniform sampler2D tex;
void main() {
    float t = texture2D(tex, gl_TexCoord[0].st).a;
    if (t == 0.0) discard;
    float angle = 1.57079632 * gl_Color.a;
    float alpha = min(1.0, (1.0 - t) * (1.0 - cos(angle)) + t * sin(angle));
    gl_FragColor = vec4(gl_Color.rgb * alpha, alpha);
}
)";

// Composites: stroke (unit 0) over canvas (unit 1); vertex rgb is the brush
// colour, vertex alpha the brush opacity. Blending is off when these run.
const std::string kTwoTextures = R"(
uniform sampler2D strokeTex;
uniform sampler2D canvasTex;
)";

const std::string strokeOverFragment = kVersion + kTwoTextures + R"(
void main() {
    vec4 s = texture2D(strokeTex, gl_TexCoord[0].st);
    vec4 c = texture2D(canvasTex, gl_TexCoord[0].st);
    float a0 = s.a * gl_Color.a;
    float a1 = c.a;
    gl_FragColor = vec4(gl_Color.rgb * a0 + c.rgb * (1.0 - a0), a0 + a1 * (1.0 - a0));
}
)";

const std::string strokeOverColorsFragment = kVersion + kTwoTextures + R"(
void main() {
    vec4 s = texture2D(strokeTex, gl_TexCoord[0].st);
    vec4 c = texture2D(canvasTex, gl_TexCoord[0].st);
    float a0 = s.a * gl_Color.a;
    float a1 = c.a;
    gl_FragColor = vec4(s.rgb * gl_Color.a + c.rgb * (1.0 - a0), a0 + a1 * (1.0 - a0));
}
)";

// Where both alphas are 0 the colour is 0 rather than 0 / 0.
const std::string kStrokeSmoothBody = R"(
    vec2 uv = gl_TexCoord[0].st;
    vec4 c = texture2D(canvasTex, uv);
    float a0 = smoothedAlpha(strokeTex, uv, sampleOffset) * gl_Color.a;
    float a1 = c.a;
    float alpha = a0 + a1 * (1.0 - a0);
    vec3 rgb = alpha > 0.0 ? (gl_Color.rgb * a0 + c.rgb * a1 * (1.0 - a0)) / alpha : vec3(0.0);
)";

const std::string strokeSmoothFragment = kVersion + kTwoTextures + kSmoothedAlpha + R"(
uniform vec2 sampleOffset;
void main() {)" + kStrokeSmoothBody + R"(
    gl_FragColor = vec4(rgb, alpha);
}
)";

const std::string strokePreviewFragment = kVersion + kTwoTextures + R"(
uniform float layerOpacity;
void main() {
    vec4 s = texture2D(strokeTex, gl_TexCoord[0].st);
    vec4 c = texture2D(canvasTex, gl_TexCoord[0].st);
    float a0 = s.a * gl_Color.a;
    float a1 = c.a;
    gl_FragColor = vec4(gl_Color.rgb * a0 + c.rgb * (1.0 - a0), a0 + a1 * (1.0 - a0)) * layerOpacity;
}
)";

const std::string strokePreviewColorsFragment = kVersion + kTwoTextures + R"(
uniform float layerOpacity;
void main() {
    vec4 s = texture2D(strokeTex, gl_TexCoord[0].st);
    vec4 c = texture2D(canvasTex, gl_TexCoord[0].st);
    float a0 = s.a * gl_Color.a;
    float a1 = c.a;
    gl_FragColor = vec4(s.rgb * gl_Color.a + c.rgb * (1.0 - a0), a0 + a1 * (1.0 - a0)) * layerOpacity;
}
)";

const std::string strokeSmoothPreviewFragment = kVersion + kTwoTextures + kSmoothedAlpha + R"(
uniform vec2 sampleOffset;
uniform float layerOpacity;
void main() {)" + kStrokeSmoothBody + R"(
    gl_FragColor = vec4(rgb, alpha * layerOpacity);
}
)";

// A negative alpha (stroke stronger than the pixel) is clamped by the target.
const std::string eraseFragment = kVersion + kTwoTextures + R"(
void main() {
    vec4 s = texture2D(strokeTex, gl_TexCoord[0].st);
    vec4 c = texture2D(canvasTex, gl_TexCoord[0].st);
    float a0 = s.a * gl_Color.a;
    float a1 = c.a;
    if (a1 == 0.0) {
        gl_FragColor = vec4(0.0);
    } else {
        float alpha = a1 - a0;
        gl_FragColor = vec4(c.rgb / a1 * alpha, alpha);
    }
}
)";

const std::string selectionMaskFragment = kVersion + R"(
uniform sampler2D strokeTex;
uniform sampler2D maskTex;
void main() {
    vec4 s = texture2D(strokeTex, gl_TexCoord[0].st);
    float m = texture2D(maskTex, gl_TexCoord[0].st).a;
    gl_FragColor = vec4(s.rgb * m, s.a * m);
}
)";

const std::string selectionEdgeFragment = kVersion + R"(
uniform sampler2D tex0;
uniform vec2 sampleOffset;
void main() {
    vec2 uv = gl_TexCoord[0].st;
    vec2 o = sampleOffset;
    float sum = texture2D(tex0, uv).a
        + 0.5 * (texture2D(tex0, uv + vec2(-o.x, o.y)).a + texture2D(tex0, uv + vec2(0.0, o.y)).a
               + texture2D(tex0, uv + vec2(o.x, o.y)).a + texture2D(tex0, uv + vec2(-o.x, 0.0)).a
               + texture2D(tex0, uv + vec2(o.x, 0.0)).a + texture2D(tex0, uv + vec2(-o.x, -o.y)).a
               + texture2D(tex0, uv + vec2(0.0, -o.y)).a + texture2D(tex0, uv + vec2(o.x, -o.y)).a);
    gl_FragColor = vec4(0.0, 0.0, 0.0, sum / 5.0);
}
)";

// Merge down: red carries the top layer's opacity, green the bottom's.
const std::string layerMergeFragment = kVersion + kTwoTextures + R"(
void main() {
    vec4 top = texture2D(strokeTex, gl_TexCoord[0].st);
    vec4 bottom = texture2D(canvasTex, gl_TexCoord[0].st);
    float o0 = gl_Color.r;
    float o1 = gl_Color.g;
    float a0 = top.a * o0;
    float a1 = bottom.a * o1;
    gl_FragColor = vec4(top.rgb * o0 + bottom.rgb * o1 * (1.0 - a0), a0 + a1 * (1.0 - a0));
}
)";

const std::string premultipliedOverFragment = kVersion + kTwoTextures + R"(
void main() {
    vec4 top = texture2D(strokeTex, gl_TexCoord[0].st);
    vec4 bottom = texture2D(canvasTex, gl_TexCoord[0].st);
    gl_FragColor = vec4(top.rgb + bottom.rgb * (1.0 - top.a), top.a + bottom.a * (1.0 - top.a));
}
)";

const std::string smoothOverFragment = kVersion + kTwoTextures + kSmoothedAlpha + R"(
uniform vec2 sampleOffset;
void main() {
    vec2 uv = gl_TexCoord[0].st;
    vec4 top = texture2D(strokeTex, uv);
    vec4 bottom = texture2D(canvasTex, uv);
    float a0 = smoothedAlpha(strokeTex, uv, sampleOffset);
    float a1 = bottom.a;
    float alpha = a0 + a1 * (1.0 - a0);
    vec3 rgb = alpha > 0.0 ? (top.rgb * a0 + bottom.rgb * a1 * (1.0 - a0)) / alpha : vec3(0.0);
    gl_FragColor = vec4(rgb, alpha);
}
)";

const std::string tipOutlineFragment = kVersion + R"(
uniform sampler2D tex;
void main() {
    vec2 uv = gl_TexCoord[0].st;
    float a = texture2D(tex, uv).a;
    float aL = texture2D(tex, uv - vec2(1.0 / 256.0, 0.0)).a;
    float aB = texture2D(tex, uv - vec2(0.0, 1.0 / 256.0)).a;
    bool edge = abs(a - aL) > 0.15 || abs(a - aB) > 0.15;
    gl_FragColor = vec4(0.0, 0.0, 0.0, edge ? 0.5 : 0.0);
}
)";

// Squares of 10 window pixels, fixed to the window, not to the canvas.
const std::string checkerboardFragment = kVersion + R"(
void main() {
    bool oddX = mod(gl_FragCoord.x / 10.0, 2.0) < 1.0;
    bool oddY = mod(gl_FragCoord.y / 10.0, 2.0) < 1.0;
    float grey = oddX != oddY ? 0.8 : 1.0;
    gl_FragColor = vec4(grey, grey, grey, 1.0);
}
)";

// Clear inside the rotated rectangle (center, half sizes extent, axis yAxis),
// half-dark outside; window pixels.
const std::string rectDimFragment = kVersion + R"(
uniform vec2 center;
uniform vec2 yAxis;
uniform vec2 extent;
void main() {
    vec2 xAxis = vec2(-yAxis.y, yAxis.x);
    vec2 q = gl_FragCoord.xy - center;
    bool inside = abs(dot(q, xAxis)) < extent.x && abs(dot(q, yAxis)) < extent.y;
    gl_FragColor = vec4(0.0, 0.0, 0.0, inside ? 0.0 : 0.5);
}
)";

// Soft shadow of a box; colour not premultiplied (drawn with alpha blending).
const std::string boxShadowFragment = kVersion + R"(
uniform vec2 center;
uniform vec2 extent;
uniform float distance;
void main() {
    vec2 p = abs(gl_FragCoord.xy - center);
    vec2 z = extent - vec2(distance / 2.0);
    float d;
    if (p.x > z.x)
        d = p.y > z.y ? length(p - z) : p.x - z.x;
    else
        d = p.y - z.y;
    float alpha = smoothstep(0.0, 1.0, 1.0 - smoothstep(0.0, distance, d)) * gl_Color.a;
    gl_FragColor = vec4(gl_Color.rgb, alpha);
}
)";

// Saturation-value square: black along the bottom, white top left, the
// vertex colour (the pure hue) top right.
const std::string colorSquareFragment = kVersion + R"(
void main() {
    float x = gl_TexCoord[0].s;
    float y = gl_TexCoord[0].t;
    float a2 = (1.0 - x) * y;
    float a3 = x * y;
    gl_FragColor = vec4(vec3(a2) + gl_Color.rgb * a3, gl_Color.a);
}
)";

const std::array<ShaderProgramSource, 21> kSources = {{
    {&hardDabProgram, plainVertexStage, hardDabFragment.c_str()},
    {&softDabProgram, plainVertexStage, softDabFragment.c_str()},
    {&dabTextureProgram, texturedVertexStage, dabTextureFragment.c_str()},
    {&dabDryProgram, texturedVertexStage, dabDryFragment.c_str()},
    {&strokeOverProgram, texturedVertexStage, strokeOverFragment.c_str()},
    {&strokeOverColorsProgram, texturedVertexStage, strokeOverColorsFragment.c_str()},
    {&strokeSmoothProgram, texturedVertexStage, strokeSmoothFragment.c_str()},
    {&strokePreviewProgram, texturedVertexStage, strokePreviewFragment.c_str()},
    {&strokePreviewColorsProgram, texturedVertexStage, strokePreviewColorsFragment.c_str()},
    {&strokeSmoothPreviewProgram, texturedVertexStage, strokeSmoothPreviewFragment.c_str()},
    {&eraseProgram, texturedVertexStage, eraseFragment.c_str()},
    {&selectionMaskProgram, texturedVertexStage, selectionMaskFragment.c_str()},
    {&selectionEdgeProgram, texturedVertexStage, selectionEdgeFragment.c_str()},
    {&layerMergeProgram, texturedVertexStage, layerMergeFragment.c_str()},
    {&premultipliedOverProgram, texturedVertexStage, premultipliedOverFragment.c_str()},
    {&smoothOverProgram, texturedVertexStage, smoothOverFragment.c_str()},
    {&tipOutlineProgram, texturedVertexStage, tipOutlineFragment.c_str()},
    {&checkerboardProgram, plainVertexStage, checkerboardFragment.c_str()},
    {&rectDimProgram, plainVertexStage, rectDimFragment.c_str()},
    {&boxShadowProgram, plainVertexStage, boxShadowFragment.c_str()},
    {&colorSquareProgram, texturedVertexStage, colorSquareFragment.c_str()},
}};

void setSamplers(const ShaderProgram& program, const char* unit0, const char* unit1) {
    program.use();
    program.setInt(unit0, 0);
    if (unit1 != nullptr) program.setInt(unit1, 1);
}

} // namespace

std::span<const ShaderProgramSource> shaderProgramSources() { return kSources; }

void buildAllShaderPrograms(const GlInfo& info) {
    // Some Intel drivers mis-render the square; the colour selector then
    // draws it as vertex-coloured strips instead.
    const bool skipColorSquare = info.vendor == "Intel";
    for (const ShaderProgramSource& source : kSources) {
        if (source.program == &colorSquareProgram && skipColorSquare) {
            colorSquareProgram.release();
            continue;
        }
        source.program->build(source.vertexSource, source.fragmentSource);
    }
    hardDabBatchProgram.build(dabBatchVertexStage, hardDabBatchFragment.c_str());
    softDabBatchProgram.build(dabBatchVertexStage, softDabBatchFragment.c_str());
    hardDabPointProgram.build(dabPointVertexStage, hardDabBatchFragment.c_str());
    softDabPointProgram.build(dabPointVertexStage, softDabBatchFragment.c_str());
    setStartupUniforms();
}

void setStartupUniforms() {
    for (ShaderProgram* p : {&strokeOverProgram, &strokeOverColorsProgram, &strokeSmoothProgram,
                             &strokePreviewProgram, &strokePreviewColorsProgram, &strokeSmoothPreviewProgram,
                             &eraseProgram, &layerMergeProgram, &premultipliedOverProgram, &smoothOverProgram})
        if (p->program != 0) setSamplers(*p, "strokeTex", "canvasTex");
    if (selectionMaskProgram.program != 0) setSamplers(selectionMaskProgram, "strokeTex", "maskTex");
    if (selectionEdgeProgram.program != 0) setSamplers(selectionEdgeProgram, "tex0", nullptr);

    const float offset = 1.0f / 1024.0f;
    for (ShaderProgram* p : {&strokeSmoothProgram, &strokeSmoothPreviewProgram, &smoothOverProgram,
                             &selectionEdgeProgram}) {
        if (p->program == 0) continue;
        p->use();
        p->setVec2("sampleOffset", offset, offset);
    }
    for (ShaderProgram* p : {&strokePreviewProgram, &strokePreviewColorsProgram, &strokeSmoothPreviewProgram}) {
        if (p->program == 0) continue;
        p->use();
        p->setFloat("layerOpacity", 1.0f);
    }
    if (rectDimProgram.program != 0) {
        rectDimProgram.use();
        rectDimProgram.setVec2("center", 400.0f, 200.0f);
        rectDimProgram.setVec2("yAxis", 0.0f, 1.0f);
        rectDimProgram.setVec2("extent", 100.0f, 100.0f);
    }
    if (boxShadowProgram.program != 0) {
        boxShadowProgram.use();
        boxShadowProgram.setVec2("center", 400.0f, 200.0f);
        boxShadowProgram.setVec2("extent", 100.0f, 200.0f);
        boxShadowProgram.setFloat("distance", 10.0f);
    }
    ShaderProgram::useNone();
}
