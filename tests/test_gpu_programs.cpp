// Building the shader programs: all of them compile and link on Mesa, the
// start-up uniforms hold their values, and failures name the program.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "canvas/GlInfo.h"
#include "canvas/ShaderProgram.h"
#include "canvas/Shaders.h"
#include "support/GlTestContext.h"

using GpuPrograms = GlTest;

namespace {

const std::set<std::string> kExpectedNames = {
    "hardDabProgram", "softDabProgram", "dabTextureProgram", "dabDryProgram",
    "strokeOverProgram", "strokeOverColorsProgram", "strokeSmoothProgram", "strokePreviewProgram",
    "strokePreviewColorsProgram", "strokeSmoothPreviewProgram", "eraseProgram", "selectionMaskProgram",
    "selectionEdgeProgram", "layerMergeProgram", "premultipliedOverProgram", "smoothOverProgram",
    "tipOutlineProgram", "checkerboardProgram", "rectDimProgram", "boxShadowProgram", "colorSquareProgram"};

GLint linkStatus(GLuint program) {
    GLint status = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    return status;
}

float uniformFloat(const ShaderProgram& p, const char* name, int index = 0) {
    GLfloat values[4] = {-1, -1, -1, -1};
    glGetUniformfv(p.program, p.uniform(name), values);
    return values[index];
}

GLint uniformInt(const ShaderProgram& p, const char* name) {
    GLint value = -1;
    glGetUniformiv(p.program, p.uniform(name), &value);
    return value;
}

} // namespace

TEST_F(GpuPrograms, AllTwentyOneCompileAndLink) {
    std::set<std::string> names;
    for (const ShaderProgramSource& source : shaderProgramSources()) {
        const ShaderProgram& p = *source.program;
        names.insert(p.programName());
        EXPECT_TRUE(p.compiled) << p.programName();
        ASSERT_NE(p.program, 0u) << p.programName();
        EXPECT_NE(p.vertexShader, 0u) << p.programName();
        EXPECT_NE(p.fragmentShader, 0u) << p.programName();
        EXPECT_EQ(linkStatus(p.program), GL_TRUE) << p.programName();
    }
    EXPECT_EQ(shaderProgramSources().size(), 21u);
    EXPECT_EQ(names, kExpectedNames);
}

TEST_F(GpuPrograms, UniformsHaveTheirFixedNames) {
    EXPECT_GE(hardDabProgram.uniform("center"), 0);
    EXPECT_GE(hardDabProgram.uniform("radius"), 0);
    EXPECT_GE(softDabProgram.uniform("hardness"), 0);
    EXPECT_GE(dabTextureProgram.uniform("tex"), 0);
    EXPECT_GE(dabDryProgram.uniform("tex"), 0);
    for (const ShaderProgram* p : {&strokeOverProgram, &eraseProgram, &layerMergeProgram, &premultipliedOverProgram,
                                   &smoothOverProgram, &strokeOverColorsProgram}) {
        EXPECT_GE(p->uniform("strokeTex"), 0) << p->programName();
        EXPECT_GE(p->uniform("canvasTex"), 0) << p->programName();
    }
    EXPECT_GE(selectionMaskProgram.uniform("maskTex"), 0);
    EXPECT_GE(selectionEdgeProgram.uniform("tex0"), 0);
    EXPECT_GE(tipOutlineProgram.uniform("tex"), 0);
    EXPECT_GE(rectDimProgram.uniform("yAxis"), 0);
    EXPECT_GE(rectDimProgram.uniform("extent"), 0);
    EXPECT_GE(boxShadowProgram.uniform("distance"), 0);
}

// Other tests change per-canvas uniforms; the start-up values are what
// setStartupUniforms() gives.
TEST_F(GpuPrograms, StartupUniformValues) {
    setStartupUniforms();
    for (const ShaderProgram* p : {&strokeSmoothProgram, &strokeSmoothPreviewProgram, &smoothOverProgram,
                                   &selectionEdgeProgram}) {
        EXPECT_FLOAT_EQ(uniformFloat(*p, "sampleOffset", 0), 0.0009765625f) << p->programName();
        EXPECT_FLOAT_EQ(uniformFloat(*p, "sampleOffset", 1), 0.0009765625f) << p->programName();
    }
    for (const ShaderProgram* p : {&strokePreviewProgram, &strokePreviewColorsProgram, &strokeSmoothPreviewProgram})
        EXPECT_FLOAT_EQ(uniformFloat(*p, "layerOpacity"), 1.0f) << p->programName();
    for (const ShaderProgram* p : {&strokeOverProgram, &strokeSmoothProgram, &eraseProgram, &layerMergeProgram,
                                   &premultipliedOverProgram, &smoothOverProgram}) {
        EXPECT_EQ(uniformInt(*p, "strokeTex"), 0) << p->programName();
        EXPECT_EQ(uniformInt(*p, "canvasTex"), 1) << p->programName();
    }
    EXPECT_EQ(uniformInt(selectionMaskProgram, "maskTex"), 1);
    EXPECT_EQ(uniformInt(selectionEdgeProgram, "tex0"), 0);
    EXPECT_FLOAT_EQ(uniformFloat(rectDimProgram, "center", 0), 400.0f);
    EXPECT_FLOAT_EQ(uniformFloat(rectDimProgram, "center", 1), 200.0f);
    EXPECT_FLOAT_EQ(uniformFloat(rectDimProgram, "yAxis", 1), 1.0f);
    EXPECT_FLOAT_EQ(uniformFloat(rectDimProgram, "extent", 0), 100.0f);
    EXPECT_FLOAT_EQ(uniformFloat(boxShadowProgram, "extent", 1), 200.0f);
    EXPECT_FLOAT_EQ(uniformFloat(boxShadowProgram, "distance"), 10.0f);
}

TEST_F(GpuPrograms, IntelVendorLeavesColorSquareUnbuilt) {
    GlInfo intel = GlInfo::fromStrings("Intel", "Some renderer", "2.1", "GL_ARB_fragment_program");
    buildAllShaderPrograms(intel);
    EXPECT_FALSE(colorSquareProgram.compiled);
    EXPECT_EQ(colorSquareProgram.program, 0u);
    EXPECT_TRUE(checkerboardProgram.compiled);

    // Only the exact vendor string counts.
    GlInfo almost = GlInfo::fromStrings("Intel Open Source Technology Center", "r", "2.1", "");
    buildAllShaderPrograms(almost);
    EXPECT_TRUE(colorSquareProgram.compiled);
    EXPECT_EQ(linkStatus(colorSquareProgram.program), GL_TRUE);

    buildAllShaderPrograms(gGlInfo);
    EXPECT_TRUE(colorSquareProgram.compiled);
}

TEST_F(GpuPrograms, CompileFailureNamesTheProgram) {
    ShaderProgram broken("brokenTestProgram");
    ::testing::internal::CaptureStderr();
    const bool ok = broken.build(plainVertexStage, "#version 120\nvoid main() { gl_FragColor = nonsense; }\n");
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_FALSE(ok);
    EXPECT_FALSE(broken.compiled);
    EXPECT_NE(err.find("shader program brokenTestProgram"), std::string::npos) << err;
    EXPECT_NE(err.find("fragment"), std::string::npos) << err;
    // The program object exists all the same, as the callers expect.
    EXPECT_NE(broken.program, 0u);
    broken.release();
    EXPECT_EQ(broken.program, 0u);
}

TEST_F(GpuPrograms, TwoTexturesBindUnitOneAndLeaveUnitZeroActive) {
    GlTexture first = GlTexture::createRgba(2, 2, nullptr);
    GlTexture second = GlTexture::createRgba(2, 2, nullptr);
    bindTwoTextures(first.id(), second.id());
    GLint active = 0, bound = 0;
    glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
    EXPECT_EQ(active, GL_TEXTURE0);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(static_cast<GLuint>(bound), first.id());
    glActiveTexture(GL_TEXTURE1);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(static_cast<GLuint>(bound), second.id());
    glActiveTexture(GL_TEXTURE0);

    unbindTwoTextures();
    glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
    EXPECT_EQ(active, GL_TEXTURE0);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(bound, 0);
    glActiveTexture(GL_TEXTURE1);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(bound, 0);
    glActiveTexture(GL_TEXTURE0);
}

// The GL information record, without a context.
TEST(GlInfoRecord, SplitsExtensionsAtBlanks) {
    GlInfo info = GlInfo::fromStrings("V", "R", "2.1", "  GL_A GL_ARB_framebuffer_object  GL_B_long ");
    ASSERT_EQ(info.extensions.size(), 3u);
    EXPECT_TRUE(info.hasExtension("GL_A"));
    EXPECT_TRUE(info.hasExtension("GL_ARB_framebuffer_object"));
    EXPECT_FALSE(info.hasExtension("GL_B")); // no prefix matches
    EXPECT_FALSE(info.hasExtension(""));
    EXPECT_FALSE(info.hasExtension(nullptr));
}

TEST_F(GpuPrograms, GlInfoOfTheHeadlessContext) {
    GlInfo info = GlInfo::readFromCurrentContext();
    EXPECT_FALSE(info.vendor.empty());
    EXPECT_FALSE(info.version.empty());
    EXPECT_GT(info.extensions.size(), 20u);
    EXPECT_TRUE(info.hasExtension("GL_ARB_fragment_program"));
}
