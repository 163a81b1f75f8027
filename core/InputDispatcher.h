#pragma once
// Orders the input listeners: an exclusive listener takes everything,
// otherwise the listeners in registration order (GUI, Painter, reference view).
#include <memory>
#include <vector>

class InputListener;

class InputDispatcher {
public:
    static InputDispatcher& instance();

    void add(std::shared_ptr<InputListener> listener);

    InputListener* exclusive = nullptr; // non-owning
    std::vector<std::shared_ptr<InputListener>> listeners;
};
