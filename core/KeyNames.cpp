#include "core/KeyNames.h"

namespace keys {

const std::map<int32_t, std::string>& modifierNames() {
    // Ascending bits, which is also the order of output.
    static const std::map<int32_t, std::string> names = {
        {0x400, "SPACE"},
        {0x800, "CTRL"},
        {0x1000, "SHIFT"},
        {0x2000, "ALT"},
        {0x4000, "MOUSE LEFT PRESSED"},
        {0x8000, "MOUSE RIGHT PRESSED"},
        {0x10000, "MOUSE MIDDLE PRESSED"},
        {0x20000, "PEN PROXIMITY"},
    };
    return names;
}

const std::map<int32_t, std::string>& keyNames() {
    // The codes from 0x200 up have no input path; they exist for display only.
    static const std::map<int32_t, std::string> names = {
        {8, "BACKSPACE"},
        {9, "TAB"},
        {13, "ENTER"},
        {27, "ESC"},
        {32, "SPACE"},
        {0x164, "LEFT ARROW"},
        {0x165, "UP ARROW"},
        {0x166, "RIGHT ARROW"},
        {0x167, "DOWN ARROW"},
        {0x168, "PAGE UP"},
        {0x169, "PAGE DOWN"},
        {0x16A, "HOME"},
        {0x16B, "END"},
        {0x16C, "INSERT"},
        {0x200, "WHEEL UP"},
        {0x201, "WHEEL DOWN"},
        {0x202, "MOUSE LEFT UP"},
        {0x203, "MOUSE LEFT DOWN"},
        {0x204, "MOUSE RIGHT UP"},
        {0x205, "MOUSE RIGHT DOWN"},
        {0x206, "MOUSE MIDDLE UP"},
        {0x207, "MOUSE MIDDLE DOWN"},
    };
    return names;
}

std::string keyText(int32_t code) {
    std::string text;
    for (const auto& [bit, name] : modifierNames())
        if (code & bit) text += name + "+";
    const int32_t key = code & kKeyBits;
    const auto& names = keyNames();
    if (auto it = names.find(key); it != names.end()) {
        text += it->second;
    } else if (key > 0 && key < 0x100) {
        // Shown as the byte itself; codes above 0x7F come out as Latin-1.
        text += static_cast<char>(key);
    } else if (key >= 0x101 && key <= 0x10C) {
        text += "F" + std::to_string(key - 0x100);
    }
    return text;
}

} // namespace keys
