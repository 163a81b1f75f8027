#pragma once
// A Command couples a list of key codes to an action. Its id is the key hash
// of its name's identifier and also names the stored value of its bindings:
// the decimal text of the id ("%d", so often negative), holding the codes as
// decimal numbers joined by "|".
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class Command {
public:
    // The result counts as consumed if it isn't 0.
    using Action = std::function<int()>;

    // key1 and key2 fill both binding lists; a key2 of 0 is absent. A
    // negative key is masked to its low 8 bits (-0x20 gives 0xE0).
    Command(int32_t id, std::string name, int32_t key1, int32_t key2, Action action);
    virtual ~Command() = default;

    // Adds a further default binding (the state commands hold up to four).
    Command& alsoBound(int32_t code);

    virtual bool matches(int32_t code) const;
    // Runs the action; 0 when none is set.
    virtual int execute();

    // keyText of each binding, joined by "|"; empty for none.
    std::string bindingsText() const;
    // Name of the stored value: the id as signed decimal text.
    std::string settingName() const;
    // The stored form of the bindings: decimal codes joined by "|".
    std::string storedText() const;

    // Reads the stored bindings, if a value exists: each "|"-separated piece
    // is read as atoi would (a non-numeric piece gives 0, which no real key
    // matches). Without a value the bindings stay as they are.
    void load();
    // Takes the non-zero codes as the new bindings and stores them.
    void setBindings(const std::vector<int32_t>& codes);

    std::string name; // display text
    int32_t id;
    std::vector<int32_t> bindings;
    std::vector<int32_t> defaultBindings;
    Action action;
};

// Decimal codes joined by "|" -> codes, as Command::load reads them.
std::vector<int32_t> parseStoredBindings(const std::string& text);
