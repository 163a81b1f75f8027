#include "core/InputDispatcher.h"

#include "core/InputListener.h"

InputDispatcher& InputDispatcher::instance() {
    // Made on first use and never freed: listeners may unregister during static destruction.
    static InputDispatcher* d = new InputDispatcher();
    return *d;
}

void InputDispatcher::add(std::shared_ptr<InputListener> listener) { listeners.push_back(std::move(listener)); }
