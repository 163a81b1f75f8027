#include "widgets/GlFont.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_GLYPH_H

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "core/Globals.h"
#include "core/RenderArea.h"
#include "platform/Paths.h"

std::unique_ptr<GlFont> gFontNotification;
std::unique_ptr<GlFont> gFontTitle;
std::unique_ptr<GlFont> gFontGui;
std::unique_ptr<GlFont> gFontMono;

namespace {

// Frees the FreeType objects on every path out of rasterizeFont.
struct FtLibrary {
    FT_Library lib = nullptr;
    ~FtLibrary() { if (lib) FT_Done_FreeType(lib); }
};
struct FtFace {
    FT_Face face = nullptr;
    ~FtFace() { if (face) FT_Done_Face(face); }
};
struct FtGlyph {
    FT_Glyph glyph = nullptr;
    ~FtGlyph() { if (glyph) FT_Done_Glyph(glyph); }
};

GlyphBitmap renderGlyph(FT_Face face, int c, int32_t& advance) {
    const FT_UInt index = FT_Get_Char_Index(face, static_cast<FT_ULong>(c));
    if (FT_Load_Glyph(face, index, FT_LOAD_DEFAULT)) throw std::runtime_error("FT_Load_Glyph failed");
    FtGlyph g;
    if (FT_Get_Glyph(face->glyph, &g.glyph)) throw std::runtime_error("FT_Get_Glyph failed");
    FT_Glyph_To_Bitmap(&g.glyph, FT_RENDER_MODE_NORMAL, nullptr, 1);
    advance = static_cast<int32_t>(face->glyph->advance.x >> 6);
    GlyphBitmap out;
    if (g.glyph->format != FT_GLYPH_FORMAT_BITMAP) return out;
    const FT_Bitmap& bm = reinterpret_cast<FT_BitmapGlyph>(g.glyph)->bitmap;
    const auto* bg = reinterpret_cast<FT_BitmapGlyph>(g.glyph);
    out.width = static_cast<int32_t>(bm.width);
    out.rows = static_cast<int32_t>(bm.rows);
    out.left = bg->left;
    out.top = bg->top;
    out.coverage.resize(static_cast<size_t>(out.width) * out.rows);
    for (int y = 0; y < out.rows; ++y)
        for (int x = 0; x < out.width; ++x)
            out.coverage[static_cast<size_t>(y) * out.width + x] = bm.buffer[y * bm.pitch + x];
    return out;
}

int powerOfTwoAtLeast(int n) {
    int p = 1;
    while (p < n) p <<= 1;
    return p;
}

} // namespace

RasterFont rasterizeFont(const std::string& path, int size) {
    FtLibrary library;
    if (FT_Init_FreeType(&library.lib)) throw std::runtime_error("FT_Init_FreeType failed");
    FtFace face;
    if (FT_New_Face(library.lib, path.c_str(), 0, &face.face))
        throw std::runtime_error("FT_New_Face failed (there is probably a problem with your font file)");
    FT_Select_Charmap(face.face, FT_ENCODING_UNICODE);
    // Points at a fixed 96 dpi: size 10 gives an em of about 13 pixels.
    FT_Set_Char_Size(face.face, size * 64, size * 64, 96, 96);
    RasterFont raster;
    raster.size = size;
    for (int c = 0; c < 256; ++c) raster.glyphs[c] = renderGlyph(face.face, c, raster.advances[c]);
    return raster;
}

GlFont::GlFont(const std::string& path, int size) {
    RasterFont raster;
    try {
        raster = rasterizeFont(path, size);
    } catch (const std::runtime_error& e) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(), e.what());
        usedFallback = true;
        raster = rasterizeFont(fallbackFontPath(), size);
    }
    height = static_cast<float>(size);
    advances = raster.advances;
    upload(raster);
}

GlFont::~GlFont() {
    if (listBase) glDeleteLists(listBase, 256);
    glDeleteTextures(256, textures.data());
}

void GlFont::upload(const RasterFont& raster) {
    listBase = glGenLists(256);
    glGenTextures(256, textures.data());
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    std::vector<uint8_t> image;
    for (int c = 0; c < 256; ++c) {
        const GlyphBitmap& g = raster.glyphs[c];
        const int tw = powerOfTwoAtLeast(std::max(1, g.width)), th = powerOfTwoAtLeast(std::max(1, g.rows));
        // Luminance always 255, alpha the coverage: the current colour shows through.
        image.assign(static_cast<size_t>(tw) * th * 2, 0);
        for (int y = 0; y < th; ++y)
            for (int x = 0; x < tw; ++x) {
                uint8_t* px = &image[(static_cast<size_t>(y) * tw + x) * 2];
                px[0] = 255;
                if (x < g.width && y < g.rows) px[1] = g.coverage[static_cast<size_t>(y) * g.width + x];
            }
        glBindTexture(GL_TEXTURE_2D, textures[c]);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, tw, th, 0, GL_LUMINANCE_ALPHA, GL_UNSIGNED_BYTE, image.data());

        const float u = static_cast<float>(g.width) / tw, v = static_cast<float>(g.rows) / th;
        const float w = static_cast<float>(g.width), h = static_cast<float>(g.rows);
        glNewList(listBase + c, GL_COMPILE);
        glBindTexture(GL_TEXTURE_2D, textures[c]);
        glPushMatrix();
        glTranslatef(static_cast<float>(g.left), static_cast<float>(g.top - g.rows), 0);
        // Bitmap row 0 is the glyph's top: texture t 0 goes to the quad's top edge.
        glBegin(GL_QUADS);
        glTexCoord2f(0, 0); glVertex2f(0, h);
        glTexCoord2f(0, v); glVertex2f(0, 0);
        glTexCoord2f(u, v); glVertex2f(w, 0);
        glTexCoord2f(u, 0); glVertex2f(w, h);
        glEnd();
        glPopMatrix();
        glTranslatef(static_cast<float>(advances[c]), 0, 0);
        glEndList();
    }
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    glPopClientAttrib();
}

std::string fallbackFontPath() { return platform::dataDir() + "/fonts/test.TTF"; }

std::string systemInterfaceFontPath() {
    if (const char* forced = std::getenv("KESTRELWING_GUI_FONT"); forced && *forced) return forced;
    std::string path = fallbackFontPath();
    if (!FcInit()) return path;
    FcPattern* pattern = FcNameParse(reinterpret_cast<const FcChar8*>("sans-serif:style=Regular"));
    if (!pattern) {
        FcFini();
        return path;
    }
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    if (FcPattern* match = FcFontMatch(nullptr, pattern, &result)) {
        FcChar8* file = nullptr;
        if (FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch && file)
            path = reinterpret_cast<const char*>(file);
        FcPatternDestroy(match);
    }
    FcPatternDestroy(pattern);
    // Only the file's path is kept: fontconfig's configuration goes with it
    // (nothing else here uses fontconfig), so none of it is left at exit.
    FcFini();
    return path;
}

int measureText(const GlFont& font, const char* text, int& lineCount) {
    lineCount = 1;
    int widest = 0, running = 0;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); p && *p; ++p) {
        if (*p == '\n') {
            ++lineCount;
            running = 0;
            continue;
        }
        running += font.advances[*p];
        widest = std::max(widest, running);
    }
    return widest;
}

int measureText(const GlFont& font, const std::string& text) {
    int lines = 0;
    return measureText(font, text.c_str(), lines);
}

int textWidth(const GlFont* font, const std::string& text) {
    if (!font) return 0;
    int w = 0;
    for (unsigned char c : text) w += font->advances[c];
    return w;
}

int lineHeight(const GlFont& font) { return static_cast<int>(font.height / 0.63f); }

void printRaw(const GlFont& font, float x, float y, const char* text) {
    if (!text || !font.listBase) return;
    glPushAttrib(GL_LIST_BIT | GL_CURRENT_BIT | GL_ENABLE_BIT | GL_TRANSFORM_BIT | GL_TEXTURE_BIT);
    glMatrixMode(GL_MODELVIEW);
    glDisable(GL_LIGHTING);
    glDisable(GL_DEPTH_TEST);
    glEnable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glListBase(font.listBase);
    const int pitch = lineHeight(font);
    const char* line = text;
    while (true) {
        const char* end = line;
        while (*end && *end != '\n') ++end;
        glPushMatrix();
        glTranslatef(x, y, 0);
        glCallLists(static_cast<GLsizei>(end - line), GL_UNSIGNED_BYTE, line);
        glPopMatrix();
        y -= static_cast<float>(pitch);
        if (!*end) break;
        line = end + 1;
    }
    glPopAttrib();
}

void printInWindow(const GlFont& font, float x, float y, const float rect[4], const char* text) {
    glPushAttrib(GL_TRANSFORM_BIT);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(0, rect[2], 0, rect[3], -1, 1);
    glMatrixMode(GL_MODELVIEW);
    printRaw(font, x, y, text);
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glPopAttrib();
}

void print(const GlFont& font, float x, float y, const char* format, ...) {
    char buffer[256] = "";
    if (format) {
        va_list args;
        va_start(args, format);
        std::vsnprintf(buffer, sizeof buffer, format, args);
        va_end(args);
    }
    const float rect[4] = {gRenderArea.x, gRenderArea.y, gRenderArea.width, gRenderArea.height};
    printInWindow(font, x, y, rect, buffer);
}

namespace {
int scaledFontSize(int size) { return static_cast<int>(static_cast<float>(size) * GuiScale); }
} // namespace

std::unique_ptr<GlFont> makeInterfaceFont() {
    return std::make_unique<GlFont>(systemInterfaceFontPath(), scaledFontSize(10));
}

void loadGlobalFonts() {
    const std::string system = systemInterfaceFontPath();
    auto scaled = scaledFontSize;
    gFontNotification = std::make_unique<GlFont>(system, scaled(40));
    gFontTitle = std::make_unique<GlFont>(system, scaled(30));
    gFontGui = makeInterfaceFont();
    gFontMono = std::make_unique<GlFont>(platform::dataDir() + "/fonts/DroidSansMono.TTF", scaled(9));
}

std::string utf8ToLatin1(const std::string& utf8) {
    std::string out;
    out.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size();) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        int len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (len == 0 || i + len > utf8.size()) { // stray byte: keep it as Latin-1
            out += static_cast<char>(c);
            ++i;
            continue;
        }
        uint32_t cp = len == 1 ? c : c & (0x7F >> len);
        bool ok = true;
        for (int k = 1; k < len; ++k) {
            const auto cc = static_cast<unsigned char>(utf8[i + k]);
            if ((cc & 0xC0) != 0x80) ok = false;
            cp = (cp << 6) | (cc & 0x3F);
        }
        if (!ok) {
            out += static_cast<char>(c);
            ++i;
            continue;
        }
        out += cp < 256 ? static_cast<char>(cp) : '?';
        i += len;
    }
    return out;
}
