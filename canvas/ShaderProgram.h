#pragma once
// One GLSL program of the fixed-pipeline era: a vertex and a fragment shader
// linked together. Uniform locations are not cached; callers look them up by
// name each time they use the program.
#include <GL/glew.h>

#include <string>

class ShaderProgram {
public:
    GLuint vertexShader = 0;
    GLuint fragmentShader = 0;
    GLuint program = 0;
    bool compiled = false; // false until built; false after a failed compile

    // `name` is used in diagnostics only.
    explicit ShaderProgram(const char* name_) : name(name_) {}
    // Detaches and deletes the shaders and deletes the program when all three
    // names are set.
    ~ShaderProgram();
    ShaderProgram(const ShaderProgram&) = delete;
    ShaderProgram& operator=(const ShaderProgram&) = delete;

    // Compiles both stages, attaches and links. A compile or link failure
    // writes the info log, naming the program, to standard error; the program
    // object is made and linked either way. Returns `compiled`.
    bool build(const char* vertexSource, const char* fragmentSource);
    // Frees the GL names (as the destructor) and clears `compiled`.
    void release();

    const std::string& programName() const { return name; }
    GLint uniform(const char* uniformName) const { return glGetUniformLocation(program, uniformName); }

    // Each sets a uniform on the program in use (call use() first).
    void setInt(const char* uniformName, GLint value) const;
    void setFloat(const char* uniformName, GLfloat value) const;
    void setVec2(const char* uniformName, GLfloat x, GLfloat y) const;

    void use() const { glUseProgram(program); }
    static void useNone() { glUseProgram(0); }

private:
    GLuint compileStage(GLenum type, const char* source, const char* stageName);

    std::string name;
};

// For programs reading two textures: the second goes on unit 1. Binds unit 1
// first, then unit 0, and leaves unit 0 active.
void bindTwoTextures(GLuint unit0Texture, GLuint unit1Texture);
// Clears the bindings of units 1 and 0 and leaves unit 0 active.
void unbindTwoTextures();
