#include "core/Command.h"

#include <algorithm>
#include <cstdlib>

#include "core/KeyNames.h"
#include "platform/Settings.h"

namespace {
int32_t normalisedKey(int32_t key) { return key < 0 ? (key & 0xFF) : key; }

// atoi without its undefined overflow: leading blanks, a sign, digits, and
// whatever follows ignored; values beyond int32 wrap.
int32_t atoiLike(const std::string& piece) {
    const long long v = std::strtoll(piece.c_str(), nullptr, 10);
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<unsigned long long>(v)));
}
} // namespace

Command::Command(int32_t id_, std::string name_, int32_t key1, int32_t key2, Action action_)
    : name(std::move(name_)), id(id_), action(std::move(action_)) {
    bindings.push_back(normalisedKey(key1));
    if (key2 != 0) bindings.push_back(normalisedKey(key2));
    defaultBindings = bindings;
}

Command& Command::alsoBound(int32_t code) {
    bindings.push_back(normalisedKey(code));
    defaultBindings.push_back(normalisedKey(code));
    return *this;
}

bool Command::matches(int32_t code) const {
    return std::find(bindings.begin(), bindings.end(), code) != bindings.end();
}

int Command::execute() { return action ? action() : 0; }

std::string Command::bindingsText() const {
    std::string text;
    for (size_t i = 0; i < bindings.size(); ++i) {
        if (i) text += "|";
        text += keys::keyText(bindings[i]);
    }
    return text;
}

std::string Command::settingName() const { return std::to_string(id); }

std::string Command::storedText() const {
    std::string text;
    for (size_t i = 0; i < bindings.size(); ++i) {
        if (i) text += "|";
        text += std::to_string(bindings[i]);
    }
    return text;
}

std::vector<int32_t> parseStoredBindings(const std::string& text) {
    // Empty pieces ("1||2", a trailing "|") are skipped, as a tokenizer would.
    std::vector<int32_t> codes;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('|', start);
        if (end == std::string::npos) end = text.size();
        if (end > start) codes.push_back(atoiLike(text.substr(start, end - start)));
        start = end + 1;
    }
    return codes;
}

void Command::load() {
    std::string text;
    if (!platform::readValue(settingName(), text)) return;
    bindings = parseStoredBindings(text);
}

void Command::setBindings(const std::vector<int32_t>& codes) {
    bindings.clear();
    for (int32_t c : codes)
        if (c != 0) bindings.push_back(c);
    platform::writeValue(settingName(), storedText());
}
