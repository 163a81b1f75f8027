#include "widgets/InterfaceImages.h"

#include <png.h>

#include <cstdio>
#include <cstring>
#include <map>

#include "canvas/GlPixels.h"
#include "core/Globals.h"
#include "platform/Paths.h"

namespace {
// Interface images are small; anything larger is a damaged or hostile file.
constexpr png_uint_32 kMaxSide = 4096;

struct CacheEntry {
    GlTexture texture;
    int32_t width = 0, height = 0;
    int32_t pixelScale = 1; // 2 for a "@2x" image
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

std::string scaledImageName(const std::string& dir, const std::string& name, float scale) {
    if (scale < 1.5f) return name;
    const size_t dot = name.rfind('.');
    const std::string doubled =
        dot == std::string::npos ? name + "@2x" : name.substr(0, dot) + "@2x" + name.substr(dot);
    std::FILE* probe = std::fopen((dir + "/" + doubled).c_str(), "rb");
    if (!probe) return name;
    std::fclose(probe);
    return doubled;
}

namespace {
// The file that stands for a name at 1x and at 2x, looked up once: buttons
// ask for their cell on every frame.
std::map<std::pair<std::string, bool>, std::string>& resolvedNames() {
    static std::map<std::pair<std::string, bool>, std::string> names;
    return names;
}

// The cache entry of the image that stands for `name` at the current scale;
// keyed by the file read, so a change of scale loads the other one.
CacheEntry& loadedEntry(const std::string& name) {
    const std::string dir = platform::dataDir() + "/interface";
    const bool doubled = GuiScale >= 1.5f;
    auto [slot, added] = resolvedNames().try_emplace({name, doubled});
    if (added) slot->second = scaledImageName(dir, name, GuiScale);
    const std::string& file = slot->second;
    CacheEntry& entry = cache()[file];
    if (entry.texture.id() || entry.failed) return entry;
    const InterfaceImage image = loadInterfaceImage(dir + "/" + file);
    if (image.width == 0) {
        std::fprintf(stderr, "%s\n", image.error.c_str());
        entry.failed = true;
        // A damaged 2x image: the 1x one still serves.
        if (file != name) {
            slot->second = name;
            return loadedEntry(name);
        }
        return entry;
    }
    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    entry.texture = GlTexture::createRgba(image.width, image.height, image.rgba.data());
    entry.width = image.width;
    entry.height = image.height;
    entry.pixelScale = file == name ? 1 : 2;
    glBindTexture(GL_TEXTURE_2D, entry.texture.id());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    return entry;
}
} // namespace

GLuint interfaceTexture(const std::string& name) { return loadedEntry(name).texture.id(); }

AtlasRect atlasCellRect(int column, int row, int atlasWidth, int atlasHeight, int cellPixels) {
    if (atlasWidth <= 0 || atlasHeight <= 0) return {};
    const float w = static_cast<float>(atlasWidth), h = static_cast<float>(atlasHeight);
    const float c = static_cast<float>(cellPixels);
    return {column * c / w, row * c / h, (column + 1) * c / w, (row + 1) * c / h};
}

GLuint toolbarTexture() { return interfaceTexture("toolbar.png"); }

AtlasRect toolbarCell(int column, int row) {
    const CacheEntry& entry = loadedEntry("toolbar.png");
    if (!entry.texture.id()) return {};
    return atlasCellRect(column, row, entry.width, entry.height, 32 * entry.pixelScale);
}

void releaseInterfaceTextures() {
    cache().clear();
    resolvedNames().clear();
}
