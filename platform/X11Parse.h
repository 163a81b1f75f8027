#pragma once
// Text formats met at the X11 boundary, as pure functions (no display needed).
#include <string>
#include <vector>

namespace platform {

// Percent-decoding of a URI component; "%" not followed by two hex digits is
// kept literally. Returns false (out untouched) when the result would hold a
// NUL byte, which no file name can.
bool percentDecode(const std::string& in, std::string& out);

// The local file-system path of a "file:" URI ("file:///a%20b", "file:/a",
// "file://localhost/a", "file://<thisHost>/a"); "" for any other URI, another
// host, or a path that is not absolute. The path is returned as file-system
// bytes (UTF-8 stays UTF-8), so it can be opened as it is.
std::string fileUriToPath(const std::string& uri, const std::string& thisHost);

// The URIs of a text/uri-list body: CRLF or LF separated, '#' lines are
// comments, blank lines skipped, surrounding white space trimmed.
std::vector<std::string> parseUriList(const std::string& body);

// The first local file of a text/uri-list body, or "" when there is none.
std::string firstDroppedPath(const std::string& body, const std::string& thisHost);

// The GUI scale: envOverride (KESTRELWING_GUI_SCALE) when it is a number in
// [0.25, 8]; else Xft.dpi / 96 from an X resource-manager string when the dpi
// is in [24, 768]; else 1.0. Either argument may be null.
float guiScaleFromResources(const char* resources, const char* envOverride);
// Xft.dpi of a resource-manager string when it is in [24, 768], else 0.
float xftDpi(const char* resources);
// The scale a screen of this width in pixels and millimetres asks for:
// dpi / 96 rounded to a half step, at least 1; 1 when the size is unknown.
float guiScaleFromScreenSize(int pixels, int millimetres);
// The override, else Xft.dpi / 96, else the screen's physical size.
float guiScaleFor(const char* resources, const char* envOverride, int screenPixels, int screenMillimetres);

} // namespace platform
