#include <GL/glew.h>

#include "canvas/ShaderProgram.h"

#include <cstdio>
#include <vector>

namespace {

std::string shaderLog(GLuint shader) {
    GLint length = 0;
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    if (length <= 1) return {};
    std::vector<char> text(static_cast<size_t>(length));
    glGetShaderInfoLog(shader, length, nullptr, text.data());
    return std::string(text.data());
}

std::string programLog(GLuint program) {
    GLint length = 0;
    glGetProgramiv(program, GL_INFO_LOG_LENGTH, &length);
    if (length <= 1) return {};
    std::vector<char> text(static_cast<size_t>(length));
    glGetProgramInfoLog(program, length, nullptr, text.data());
    return std::string(text.data());
}

} // namespace

ShaderProgram::~ShaderProgram() { release(); }

void ShaderProgram::release() {
    if (vertexShader != 0 && fragmentShader != 0 && program != 0) {
        glDetachShader(program, vertexShader);
        glDetachShader(program, fragmentShader);
        glDeleteShader(vertexShader);
        glDeleteShader(fragmentShader);
        glDeleteProgram(program);
    }
    vertexShader = fragmentShader = program = 0;
    compiled = false;
}

GLuint ShaderProgram::compileStage(GLenum type, const char* source, const char* stageName) {
    GLuint shader = glCreateShader(type);
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    GLint status = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
    if (status == 0) {
        compiled = false;
        std::fprintf(stderr, "shader program %s: %s stage does not compile:\n%s\n", name.c_str(), stageName,
                     shaderLog(shader).c_str());
    }
    return shader;
}

bool ShaderProgram::build(const char* vertexSource, const char* fragmentSource) {
    release();
    compiled = true;
    vertexShader = compileStage(GL_VERTEX_SHADER, vertexSource, "vertex");
    fragmentShader = compileStage(GL_FRAGMENT_SHADER, fragmentSource, "fragment");
    program = glCreateProgram();
    glAttachShader(program, vertexShader);
    glAttachShader(program, fragmentShader);
    glLinkProgram(program);
    // Only for the diagnostic: a program that fails to link is used anyway.
    GLint linked = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (linked == 0)
        std::fprintf(stderr, "shader program %s: link failed:\n%s\n", name.c_str(), programLog(program).c_str());
    return compiled;
}

void ShaderProgram::setInt(const char* uniformName, GLint value) const {
    glUniform1i(uniform(uniformName), value);
}

void ShaderProgram::setFloat(const char* uniformName, GLfloat value) const {
    glUniform1f(uniform(uniformName), value);
}

void ShaderProgram::setVec2(const char* uniformName, GLfloat x, GLfloat y) const {
    glUniform2f(uniform(uniformName), x, y);
}

void bindTwoTextures(GLuint unit0Texture, GLuint unit1Texture) {
    glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_2D, unit1Texture);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, unit0Texture);
}

void unbindTwoTextures() {
    glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_2D, 0);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, 0);
}
