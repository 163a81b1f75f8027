#include "platform/X11Parse.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace platform {
namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool startsWithNoCase(const std::string& s, const char* prefix) {
    std::size_t n = std::strlen(prefix);
    if (s.size() < n) return false;
    for (std::size_t i = 0; i < n; ++i) {
        char c = s[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
        if (c != prefix[i]) return false;
    }
    return true;
}

std::string trimmed(const std::string& s) {
    const char* ws = " \t\r\n";
    std::size_t b = s.find_first_not_of(ws);
    if (b == std::string::npos) return {};
    return s.substr(b, s.find_last_not_of(ws) - b + 1);
}

// A decimal number (locale independent) filling the whole text; false if not.
bool parseFloat(const std::string& text, float& out) {
    std::string t = trimmed(text);
    if (t.empty()) return false;
    const char* end = t.data() + t.size();
    auto [ptr, ec] = std::from_chars(t.data(), end, out);
    return ec == std::errc() && ptr == end && std::isfinite(out);
}

} // namespace

bool percentDecode(const std::string& in, std::string& out) {
    std::string result;
    result.reserve(in.size());
    for (std::size_t i = 0; i < in.size(); ++i) {
        if (in[i] == '%' && i + 2 < in.size() && hexValue(in[i + 1]) >= 0 && hexValue(in[i + 2]) >= 0) {
            result += static_cast<char>(hexValue(in[i + 1]) * 16 + hexValue(in[i + 2]));
            i += 2;
        } else {
            result += in[i];
        }
    }
    if (result.find('\0') != std::string::npos) return false;
    out = std::move(result);
    return true;
}

std::string fileUriToPath(const std::string& uri, const std::string& thisHost) {
    if (!startsWithNoCase(uri, "file:")) return {};
    std::string rest = uri.substr(5);
    // A fragment or query is no part of a file name.
    rest = rest.substr(0, rest.find_first_of("?#"));
    if (rest.rfind("//", 0) == 0) {
        std::size_t slash = rest.find('/', 2);
        if (slash == std::string::npos) return {};
        std::string host = rest.substr(2, slash - 2);
        bool local = host.empty() || (host.size() == 9 && startsWithNoCase(host, "localhost")) ||
                     (!thisHost.empty() && host == thisHost);
        if (!local) return {};
        rest = rest.substr(slash);
    }
    std::string path;
    if (rest.empty() || rest[0] != '/' || !percentDecode(rest, path)) return {};
    return path;
}

std::vector<std::string> parseUriList(const std::string& body) {
    std::vector<std::string> uris;
    std::size_t start = 0;
    while (start < body.size()) {
        std::size_t end = body.find('\n', start);
        if (end == std::string::npos) end = body.size();
        std::string line = trimmed(body.substr(start, end - start));
        // Some sources end the body with a NUL byte.
        while (!line.empty() && line.back() == '\0') line.pop_back();
        if (!line.empty() && line[0] != '#') uris.push_back(line);
        start = end + 1;
    }
    return uris;
}

std::string firstDroppedPath(const std::string& body, const std::string& thisHost) {
    for (const std::string& uri : parseUriList(body)) {
        std::string path = fileUriToPath(uri, thisHost);
        if (!path.empty()) return path;
    }
    return {};
}

float guiScaleFromResources(const char* resources, const char* envOverride) {
    return guiScaleFor(resources, envOverride, 0, 0);
}

float guiScaleFromScreenSize(int pixels, int millimetres) {
    if (pixels <= 0 || millimetres < 50) return 1.0f;
    const float dpi = static_cast<float>(pixels) * 25.4f / static_cast<float>(millimetres);
    if (dpi < 24.0f || dpi > 768.0f) return 1.0f;
    // Reported sizes are rough: only whole and half steps, and never below 1.
    const float steps = std::round(dpi / 96.0f * 2.0f) / 2.0f;
    return std::max(1.0f, steps);
}

float guiScaleFor(const char* resources, const char* envOverride, int screenPixels, int screenMillimetres) {
    float v = 0.0f;
    if (envOverride && parseFloat(envOverride, v) && v >= 0.25f && v <= 8.0f) return v;
    const float dpi = xftDpi(resources);
    if (dpi > 0.0f) return dpi / 96.0f;
    return guiScaleFromScreenSize(screenPixels, screenMillimetres);
}

float xftDpi(const char* resources) {
    float v = 0.0f;
    if (!resources) return 0.0f;
    std::string text(resources);
    std::size_t start = 0;
    float dpi = 0.0f;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = trimmed(text.substr(start, end - start));
        start = end + 1;
        std::size_t colon = line.find(':');
        if (colon == std::string::npos || trimmed(line.substr(0, colon)) != "Xft.dpi") continue;
        // The last definition wins, as in the resource database.
        dpi = parseFloat(line.substr(colon + 1), v) ? v : 0.0f;
    }
    if (dpi < 24.0f || dpi > 768.0f) return 0.0f;
    return dpi;
}

} // namespace platform
