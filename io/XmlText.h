#pragma once
// Checks made on XML text before TinyXML parses it. Its parser recurses once
// per nested element and, in UTF-8 mode, steps over a multi-byte character
// by its first byte alone: deep nesting or broken UTF-8 would take it off the
// stack or past the end of the text.
#include <cstddef>
#include <string>

namespace io {

// The length of the well-formed UTF-8 sequence at text[i] (1 for ASCII), 0
// when none starts there.
std::size_t utf8Length(const std::string& text, std::size_t i);
bool wellFormedUtf8(const std::string& text);
// How deep elements nest, never below what the parser would reach.
int nestingDepth(const std::string& xml);
// Text as an attribute can hold it: well-formed UTF-8 (a byte that starts no
// valid sequence becomes '?'), control characters as spaces.
std::string xmlSafeText(const std::string& text);

} // namespace io
