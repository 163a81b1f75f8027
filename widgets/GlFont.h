#pragma once
// Text on FreeType and OpenGL. Text is single bytes: byte b is Unicode code
// point b (Latin-1), so accented Western letters are one byte each. A font
// turns the 256 byte values of one typeface at one size into 256 textures and
// 256 display lists when it is built; drawing a line is one glCallLists and
// measuring is table addition.
#include <GL/glew.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// One byte value's rendering: coverage rows top-down, `width` bytes a row.
struct GlyphBitmap {
    int32_t width = 0, rows = 0;
    int32_t left = 0, top = 0; // bearing from the pen position, pixels, y up
    std::vector<uint8_t> coverage;
};

// What FreeType gives for the 256 byte values, without any GL.
struct RasterFont {
    int32_t size = 0;
    std::array<int32_t, 256> advances{};
    std::array<GlyphBitmap, 256> glyphs;
};

// Loads `path` at `size` points at 96 dpi. Throws std::runtime_error with
// FreeType's failing step on any error.
RasterFont rasterizeFont(const std::string& path, int size);

class GlFont {
public:
    // Builds from `path`; when that throws, from the fallback font file at the
    // same size. An error of the fallback leaves the constructor.
    GlFont(const std::string& path, int size);
    ~GlFont();
    GlFont(const GlFont&) = delete;
    GlFont& operator=(const GlFont&) = delete;

    float height = 0;                   // nominal size in points
    std::array<int32_t, 256> advances{}; // whole pixels per byte value
    std::array<GLuint, 256> textures{};
    GLuint listBase = 0;
    bool usedFallback = false; // the first path failed

private:
    void upload(const RasterFont& raster);
};

// "<data>/fonts/test.TTF": the font used when another one fails to build.
std::string fallbackFontPath();
// The system's interface font file (fontconfig's match for sans-serif), or
// the fallback when fontconfig finds nothing. KESTRELWING_GUI_FONT, when set,
// names the file instead (reproducible pixels in tests).
std::string systemInterfaceFontPath();

// Width in pixels of the widest line; lineCount gets the number of lines.
int measureText(const GlFont& font, const char* text, int& lineCount);
int measureText(const GlFont& font, const std::string& text);
// Width of a single line by the advances table; 0 without a font.
int textWidth(const GlFont* font, const std::string& text);
// Line pitch: int(height / 0.63).
int lineHeight(const GlFont& font);

// (x, y) is the left end of the first line's base line. Uses the current
// projection and colour.
void printRaw(const GlFont& font, float x, float y, const char* text);
// The same in an orthographic projection of rect (x 0..width, y 0..height).
void printInWindow(const GlFont& font, float x, float y, const float rect[4], const char* text);
// printf-style into 256 bytes (longer results are cut), in the application's window.
void print(const GlFont& font, float x, float y, const char* format, ...) __attribute__((format(printf, 4, 5)));

// The four fonts of the program; null until loadGlobalFonts.
extern std::unique_ptr<GlFont> gFontNotification; // system font, 40
extern std::unique_ptr<GlFont> gFontTitle;        // system font, 30
extern std::unique_ptr<GlFont> gFontGui;          // system font, 10
extern std::unique_ptr<GlFont> gFontMono;         // DroidSansMono.TTF, 9
// The interface font as gFontGui is built, for a context of its own (the
// batch film export). Throws when even the fallback font fails.
std::unique_ptr<GlFont> makeInterfaceFont();
// Builds them at size x GuiScale; needs a current GL context. Throws when
// even the fallback font fails.
void loadGlobalFonts();

// Latin-1 <-> UTF-8 at the program's boundaries. Code points above 255 become '?'.
std::string utf8ToLatin1(const std::string& utf8);
