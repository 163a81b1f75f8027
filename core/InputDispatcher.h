#pragma once
// Orders the input listeners: an exclusive listener takes everything,
// otherwise the listeners in registration order (GUI, Painter, reference view).
// Coordinates are window pixels, origin bottom left, y up.
#include <memory>
#include <vector>

class InputListener;

// How a dispatch went. With an exclusive listener the list is never tried,
// even when that listener is disabled and so got nothing.
struct DispatchResult {
    bool exclusive = false; // an exclusive listener was set
    bool consumed = false;  // a listener of the list returned non-zero
};

class InputDispatcher {
public:
    static InputDispatcher& instance();

    void add(std::shared_ptr<InputListener> listener);
    // Removes a listener from the list (and from the exclusive slot); safe during a dispatch.
    void remove(const InputListener* listener);

    DispatchResult mouseButton(int button, int state, int x, int y, bool fromPen);
    DispatchResult mouseMove(int x, int y, bool fromPen);
    DispatchResult mouseDrag(int x, int y, bool fromPen);
    DispatchResult key(int code, int x, int y);
    DispatchResult mouseWheel(int wheel, int direction, int x, int y);
    DispatchResult doubleClick(int x, int y);

    InputListener* exclusive = nullptr; // non-owning
    std::vector<std::shared_ptr<InputListener>> listeners;

private:
    template <typename Call> DispatchResult dispatch(Call call);
};
