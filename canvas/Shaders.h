#pragma once
// The program's GLSL programs, one global per program, built in one pass at
// start-up on the main context. Sampler units and default uniforms are set by
// buildAllShaderPrograms; everything else is set by the user of a program at
// each use. Colours in and out are premultiplied unless a program says not.
#include "canvas/ShaderProgram.h"

#include <span>

struct GlInfo;

// Dabs, drawn into a stroke buffer.
extern ShaderProgram hardDabProgram;
extern ShaderProgram softDabProgram;
extern ShaderProgram dabTextureProgram;
extern ShaderProgram dabDryProgram;
// hardDabProgram and softDabProgram for many dabs in one draw: the disc comes
// from texture coordinate 1 (centre x, y, radius, hardness) of each vertex.
extern ShaderProgram hardDabBatchProgram;
extern ShaderProgram softDabBatchProgram;
// The same drawn as square points, one vertex a dab (point size in texture
// coordinate 2): a point covers exactly the pixels of the dab's quad.
extern ShaderProgram hardDabPointProgram;
extern ShaderProgram softDabPointProgram;
// Stroke composites (strokeTex unit 0, canvasTex unit 1).
extern ShaderProgram strokeOverProgram;
extern ShaderProgram strokeOverColorsProgram;
extern ShaderProgram strokeSmoothProgram;
extern ShaderProgram strokePreviewProgram;
extern ShaderProgram strokePreviewColorsProgram;
extern ShaderProgram strokeSmoothPreviewProgram;
// Other programs on textures.
extern ShaderProgram eraseProgram;
extern ShaderProgram selectionMaskProgram;
extern ShaderProgram selectionEdgeProgram;
extern ShaderProgram layerMergeProgram;
extern ShaderProgram premultipliedOverProgram;
extern ShaderProgram smoothOverProgram;
extern ShaderProgram tipOutlineProgram;
// Programs without texture (colorSquareProgram uses texture coordinates only).
extern ShaderProgram checkerboardProgram;
extern ShaderProgram rectDimProgram;
extern ShaderProgram boxShadowProgram;
extern ShaderProgram colorSquareProgram;

// Vertex stages: both pass the vertex colour on and place the vertex with
// ftransform(); the textured one passes texture coordinate 0 as well.
extern const char* const texturedVertexStage;
extern const char* const plainVertexStage;

struct ShaderProgramSource {
    ShaderProgram* program;
    const char* vertexSource;
    const char* fragmentSource;
};

// All programs, in build order.
std::span<const ShaderProgramSource> shaderProgramSources();

// Builds every program (colorSquareProgram is skipped, `compiled` false, when
// the vendor is exactly "Intel") and sets the start-up uniforms. Needs a
// current context with GLEW initialised.
void buildAllShaderPrograms(const GlInfo& info);

// The start-up uniform values: sampler units, sampleOffset (1/1024, 1/1024),
// layerOpacity 1.0, the rectDim and boxShadow defaults. Leaves no program in use.
void setStartupUniforms();
