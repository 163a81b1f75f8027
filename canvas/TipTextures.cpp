#include "canvas/TipTextures.h"

#include <GL/glew.h>

#include <cstdio>

#include "brush/BrushTips.h"
#include "io/AbrFile.h"
#include "platform/Paths.h"

uint32_t makeTipTexture(int32_t width, int32_t height, const uint8_t* pixels, bool linear) {
    GLuint name = 0;
    glGenTextures(1, &name);
    glBindTexture(GL_TEXTURE_2D, name);
    const GLint filter = linear ? GL_LINEAR : GL_NEAREST;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
    const GLint wrap = linear ? GL_REPEAT : GL_CLAMP_TO_EDGE;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, wrap);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, wrap);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    glBindTexture(GL_TEXTURE_2D, 0);
    return name;
}

void uploadTipTextures(BrushTipTable& tips) {
    for (const BrushTip& t : tips.tips()) {
        if (!t.hasPixels() || t.texture) continue;
        BrushTip* tip = tips.find(t.id);
        tip->texture = makeTipTexture(tip->width, tip->height, tip->pixels.data(), tip->linearFilter);
    }
}

void loadBrushTips(BrushTipTable& tips) {
    tips.textureDeleter = [](uint32_t texture) {
        GLuint name = texture;
        glDeleteTextures(1, &name);
    };
    abr::installSetImporter(tips);
    const size_t count = tips.build(platform::dataDir() + "/brushes", platform::userDataDir() + "/brushes");
    if (count <= 1) std::fprintf(stderr, "no brush tips found in %s/brushes\n", platform::dataDir().c_str());
    uploadTipTextures(tips);
}
