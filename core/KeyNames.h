#pragma once
// Names of key codes, for tool tips and the key bindings page, and the key
// hash that names every command (and every localised text).
//
// A key code is an int32: bits 0..9 the key (below 0x100 a character,
// 0x100 + GLUT special key code above), bits 10..17 the modifier mask.
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace keys {

inline constexpr int32_t kKeyBits = 0x3FF;

// FNV-1a over the name and its terminating zero, bytes sign-extended.
// Names of length 0 or over 40 hash to 0.
constexpr int32_t keyHash(std::string_view name) {
    if (name.empty() || name.size() > 40) return 0;
    uint32_t h = 2166136261u;
    for (char c : name) {
        const auto b = static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(c)));
        h = (h ^ b) * 16777619u;
    }
    h *= 16777619u; // the terminating zero: XOR with 0 changes nothing
    return static_cast<int32_t>(h);
}

// Modifier bit -> name, in the order in which keyText prints them.
const std::map<int32_t, std::string>& modifierNames();
// Low 10 bits -> name of a key that has one.
const std::map<int32_t, std::string>& keyNames();

// "CTRL+SHIFT+F1", "SPACE+MOUSE LEFT PRESSED+", "a"... Modifiers each end in
// "+"; a key with no name and no character adds nothing.
std::string keyText(int32_t code);

} // namespace keys
