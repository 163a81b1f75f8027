#include "widgets/InterfaceImages.h"

#include <png.h>

#include <cstdio>
#include <cstring>
#include <map>

#include "canvas/GlPixels.h"
#include "platform/Paths.h"

namespace {
// Interface images are small; anything larger is a damaged or hostile file.
constexpr png_uint_32 kMaxSide = 4096;

struct CacheEntry {
    GlTexture texture;
    int32_t width = 0, height = 0;
    bool failed = false;
};
std::map<std::string, CacheEntry>& cache() {
    static std::map<std::string, CacheEntry> entries;
    return entries;
}
} // namespace

InterfaceImage loadInterfaceImage(const std::string& path) {
    InterfaceImage out;
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) {
        out.error = std::string("can't read ") + path + ": " + image.message;
        png_image_free(&image);
        return out;
    }
    if (image.width == 0 || image.height == 0 || image.width > kMaxSide || image.height > kMaxSide) {
        out.error = path + ": unexpected image size";
        png_image_free(&image);
        return out;
    }
    image.format = PNG_FORMAT_RGBA;
    std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(image));
    // A negative stride writes the last row first: rows come out bottom-up.
    const png_int_32 stride = -static_cast<png_int_32>(PNG_IMAGE_ROW_STRIDE(image));
    if (!png_image_finish_read(&image, nullptr, pixels.data(), stride, nullptr)) {
        out.error = std::string("can't decode ") + path + ": " + image.message;
        png_image_free(&image);
        return out;
    }
    out.width = static_cast<int32_t>(image.width);
    out.height = static_cast<int32_t>(image.height);
    out.rgba = std::move(pixels);
    return out;
}

GLuint interfaceTexture(const std::string& name) {
    CacheEntry& entry = cache()[name];
    if (entry.texture.id() || entry.failed) return entry.texture.id();
    const InterfaceImage image = loadInterfaceImage(platform::dataDir() + "/interface/" + name);
    if (image.width == 0) {
        std::fprintf(stderr, "%s\n", image.error.c_str());
        entry.failed = true;
        return 0;
    }
    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    entry.texture = GlTexture::createRgba(image.width, image.height, image.rgba.data());
    entry.width = image.width;
    entry.height = image.height;
    glBindTexture(GL_TEXTURE_2D, entry.texture.id());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    return entry.texture.id();
}

AtlasRect atlasCellRect(int column, int row, int atlasWidth, int atlasHeight, int cellPixels) {
    if (atlasWidth <= 0 || atlasHeight <= 0) return {};
    const float w = static_cast<float>(atlasWidth), h = static_cast<float>(atlasHeight);
    const float c = static_cast<float>(cellPixels);
    return {column * c / w, row * c / h, (column + 1) * c / w, (row + 1) * c / h};
}

GLuint toolbarTexture() { return interfaceTexture("toolbar.png"); }

AtlasRect toolbarCell(int column, int row) {
    if (!toolbarTexture()) return {};
    const CacheEntry& entry = cache()["toolbar.png"];
    return atlasCellRect(column, row, entry.width, entry.height);
}

void releaseInterfaceTextures() { cache().clear(); }
