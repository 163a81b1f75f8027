#include "core/InputDispatcher.h"

#include <algorithm>

#include "core/InputListener.h"

InputDispatcher& InputDispatcher::instance() {
    // Made on first use and never freed: listeners may unregister during static destruction.
    static InputDispatcher* d = new InputDispatcher();
    return *d;
}

void InputDispatcher::add(std::shared_ptr<InputListener> listener) { listeners.push_back(std::move(listener)); }

void InputDispatcher::remove(const InputListener* listener) {
    if (exclusive == listener) exclusive = nullptr;
    std::erase_if(listeners, [&](const auto& l) { return l.get() == listener; });
}

// The exclusive listener alone, when enabled; otherwise each enabled listener
// in order until one returns non-zero. The list is copied first, so a listener
// may add or remove listeners (itself included) while it runs.
template <typename Call> DispatchResult InputDispatcher::dispatch(Call call) {
    DispatchResult r;
    if (exclusive) {
        r.exclusive = true;
        if (exclusive->enabled) call(*exclusive);
        return r;
    }
    const std::vector<std::shared_ptr<InputListener>> snapshot = listeners;
    for (const auto& l : snapshot) {
        if (!l || !l->enabled) continue;
        if (call(*l) != 0) {
            r.consumed = true;
            break;
        }
    }
    return r;
}

DispatchResult InputDispatcher::mouseButton(int button, int state, int x, int y, bool fromPen) {
    return dispatch([&](InputListener& l) { return l.onMouseButton(button, state, x, y, fromPen); });
}

DispatchResult InputDispatcher::mouseMove(int x, int y, bool fromPen) {
    return dispatch([&](InputListener& l) { return l.onMouseMove(x, y, fromPen); });
}

DispatchResult InputDispatcher::mouseDrag(int x, int y, bool fromPen) {
    return dispatch([&](InputListener& l) { return l.onMouseDrag(x, y, fromPen); });
}

DispatchResult InputDispatcher::key(int code, int x, int y) {
    return dispatch([&](InputListener& l) { return l.onKey(code, x, y); });
}

DispatchResult InputDispatcher::mouseWheel(int wheel, int direction, int x, int y) {
    return dispatch([&](InputListener& l) { return l.onMouseWheel(wheel, direction, x, y); });
}

DispatchResult InputDispatcher::doubleClick(int x, int y) {
    return dispatch([&](InputListener& l) { return l.onDoubleClick(x, y); });
}
