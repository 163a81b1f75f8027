#include "io/XmlText.h"

#include <algorithm>
#include <cstdint>

namespace io {

// The length of the well-formed UTF-8 sequence at text[i] (1 for ASCII), 0
// when none starts there: no overlong forms, surrogates or non-characters
// U+FFFE and U+FFFF, nothing above U+10FFFF, nothing cut short by the end.
std::size_t utf8Length(const std::string& text, std::size_t i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c < 0x80) return 1;
    const std::size_t length = c >= 0xC2 && c <= 0xDF   ? 2
                               : c >= 0xE0 && c <= 0xEF ? 3
                               : c >= 0xF0 && c <= 0xF4 ? 4
                                                        : 0;
    if (length == 0 || i + length > text.size()) return 0;
    uint32_t code = length == 2 ? c & 0x1F : length == 3 ? c & 0x0F : c & 0x07;
    for (std::size_t k = 1; k < length; ++k) {
        const unsigned char next = static_cast<unsigned char>(text[i + k]);
        if ((next & 0xC0) != 0x80) return 0;
        code = (code << 6) | (next & 0x3F);
    }
    if ((length == 3 && code < 0x800) || (length == 4 && (code < 0x10000 || code > 0x10FFFF)) ||
        (code >= 0xD800 && code <= 0xDFFF) || code == 0xFFFE || code == 0xFFFF)
        return 0;
    return length;
}

bool wellFormedUtf8(const std::string& text) {
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = utf8Length(text, i);
        if (length == 0) return false;
        i += length;
    }
    return true;
}


// How deep elements nest, counted on the text before the recursive parser
// sees it. Comments, CDATA and quoted attribute values are skipped as the
// parser skips them; anything that could open an element counts as one, so
// the count is never below the parser's depth.
int nestingDepth(const std::string& xml) {
    int depth = 0, deepest = 0;
    std::size_t i = 0;
    const std::size_t n = xml.size();
    while ((i = xml.find('<', i)) != std::string::npos) {
        if (xml.compare(i, 4, "<!--") == 0 || xml.compare(i, 9, "<![CDATA[") == 0) {
            const bool comment = xml[i + 2] == '-';
            i = xml.find(comment ? "-->" : "]]>", i + 4);
            if (i == std::string::npos) break;
            i += 3;
            continue;
        }
        const bool closing = i + 1 < n && xml[i + 1] == '/';
        const bool declaration = i + 1 < n && (xml[i + 1] == '?' || xml[i + 1] == '!');
        char quote = 0;
        std::size_t end = i + 1;
        for (; end < n; ++end) {
            const char c = xml[end];
            if (quote) {
                if (c == quote) quote = 0;
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '>') {
                break;
            }
        }
        if (end >= n) break;
        if (!declaration) {
            if (closing)
                --depth;
            else if (xml[end - 1] != '/')
                deepest = std::max(deepest, ++depth);
        }
        i = end + 1;
    }
    return deepest;
}

// Text as an XML attribute can hold it: well-formed UTF-8 (a byte that starts no
// valid sequence becomes '?'), control characters as spaces.
std::string xmlSafeText(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const std::size_t length = utf8Length(text, i);
        if (length == 0) {
            out += '?';
            ++i;
        } else if (c < 0x20 || c == 0x7F) {
            out += ' ';
            ++i;
        } else {
            out.append(text, i, length);
            i += length;
        }
    }
    return out;
}

} // namespace io
