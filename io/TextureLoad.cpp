// Image files to GL textures: interface art, reference images, brush tips.
#include <GL/glew.h>

#include <algorithm>
#include <cstdio>

#include "canvas/GlPixels.h"
#include "io/Pixels.h"
#include "io/DdsFile.h"
#include "io/ImageCodec.h"
#include "io/ImageFormat.h"

namespace {

void setFilters(GLint filter) {
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
}

GLenum compressedFormat(const DdsFile& dds) {
    switch (dds.format) {
    case DdsFormat::Dxt1: return dds.hasAlpha ? GL_COMPRESSED_RGBA_S3TC_DXT1_EXT : GL_COMPRESSED_RGB_S3TC_DXT1_EXT;
    case DdsFormat::Dxt3: return GL_COMPRESSED_RGBA_S3TC_DXT3_EXT;
    case DdsFormat::Dxt5: return GL_COMPRESSED_RGBA_S3TC_DXT5_EXT;
    case DdsFormat::Uncompressed: break;
    }
    return 0;
}

// DXT blocks turn bottom-up exactly only when the rows fill whole blocks (or
// fewer than one block); other heights go to the card decoded.
bool keepsBlocks(const DdsFile& dds) {
    return dds.format != DdsFormat::Uncompressed && (dds.height % 4 == 0 || dds.height < 4);
}

// Uploads every level bottom-up; returns the last one uploaded.
int uploadDdsLevels(std::span<const uint8_t> bytes, const DdsFile& dds) {
    const bool blocks = keepsBlocks(dds);
    int last = -1;
    for (size_t i = 0; i < dds.levels.size(); ++i) {
        const DdsLevel& level = dds.levels[i];
        const GLint index = static_cast<GLint>(i);
        if (!blocks) {
            std::vector<uint8_t> rgba = ddsLevelToRgba(bytes, dds, i);
            flipRowsInPlace(rgba, level.width, level.height);
            glTexImage2D(GL_TEXTURE_2D, index, dds.hasAlpha ? GL_RGBA8 : GL_RGB8, level.width, level.height, 0,
                         GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
        } else {
            std::vector<uint8_t> copy(bytes.begin() + static_cast<std::ptrdiff_t>(level.offset),
                                      bytes.begin() + static_cast<std::ptrdiff_t>(level.offset + level.size));
            // A small level of an odd height (e.g. 3 rows of a 12-row picture)
            // cannot turn; the levels above it are enough for linear filters.
            if (!flipDxtLevel(copy.data(), level.width, level.height, dds.format)) break;
            glCompressedTexImage2D(GL_TEXTURE_2D, index, compressedFormat(dds), level.width, level.height, 0,
                                   static_cast<GLsizei>(level.size), copy.data());
        }
        last = index;
    }
    return last;
}

bool loadDdsTexture(const std::string& path, GlTexture& texture, int32_t& width, int32_t& height,
                    int32_t& channels) {
    std::vector<uint8_t> bytes;
    std::string detail;
    DdsFile dds;
    DecodeStatus status = readImageFile(path, bytes, detail);
    if (status == DecodeStatus::Ok) status = parseDds(bytes, DecodeLimits{}, dds, detail);
    if (status == DecodeStatus::Ok && keepsBlocks(dds) && !GLEW_EXT_texture_compression_s3tc) {
        status = DecodeStatus::Unsupported;
        detail = "the GL driver lacks S3TC";
    }
    if (status != DecodeStatus::Ok) {
        std::fprintf(stderr, "loadTexture: %s: %s (%s)\n", path.c_str(), decodeStatusText(status), detail.c_str());
        return false;
    }
    GLuint name = 0;
    glGenTextures(1, &name);
    GlTexture made(name);
    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    glBindTexture(GL_TEXTURE_2D, name);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    const int last = uploadDdsLevels(bytes, dds);
    glPopClientAttrib();
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_BASE_LEVEL, 0);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, last);
    setFilters(GL_LINEAR);
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    width = dds.width;
    height = dds.height;
    channels = dds.hasAlpha ? 4 : 3;
    texture = std::move(made);
    return true;
}

GLuint uploadRgba(const DecodedImage& image, GLint internalFormat, GLint filter) {
    GLuint name = 0;
    glGenTextures(1, &name);
    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    glBindTexture(GL_TEXTURE_2D, name);
    setFilters(filter);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glTexImage2D(GL_TEXTURE_2D, 0, internalFormat, image.width, image.height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 image.pixels.data());
    glPopClientAttrib();
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    return name;
}

DecodedImage decodeStraight(const std::string& path) {
    DecodedImage image;
    std::vector<uint8_t> bytes;
    image.status = readImageFile(path, bytes, image.detail);
    if (image.status == DecodeStatus::Ok) image = decodeImageBytes(bytes, path, DecodeLimits{}, false);
    if (!image.ok())
        std::fprintf(stderr, "image %s: %s (%s)\n", path.c_str(), decodeStatusText(image.status),
                     image.detail.c_str());
    return image;
}

} // namespace

bool loadTexture(const std::string& path, GlTexture& texture, int32_t& width, int32_t& height, int32_t& channels) {
    if (kindFromExtension(path) == ImageKind::Dds) return loadDdsTexture(path, texture, width, height, channels);
    const DecodedImage image = decodeStraight(path);
    if (!image.ok()) return false;
    texture = GlTexture(uploadRgba(image, image.channels == 4 ? GL_RGBA8 : GL_RGB8, GL_LINEAR));
    width = image.width;
    height = image.height;
    channels = image.channels;
    return true;
}

bool loadTipTexture(const std::string& path, GlTexture& texture, int32_t& width, int32_t& height) {
    DecodedImage image = decodeStraight(path);
    if (!image.ok()) return false;
    // Only the alpha shapes a dab; the colour is stored inverted.
    for (size_t i = 0; i + 3 < image.pixels.size(); i += 4)
        for (size_t c = 0; c < 3; ++c) image.pixels[i + c] = static_cast<uint8_t>(255 - image.pixels[i + c]);
    texture = GlTexture(uploadRgba(image, GL_RGBA8, GL_NEAREST));
    width = image.width;
    height = image.height;
    return true;
}
