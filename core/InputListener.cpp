#include "core/InputListener.h"

#include "core/InputDispatcher.h"

InputListener::~InputListener() {
    // A listener that dies while it holds the exclusive slot must not leave a dangling pointer.
    InputDispatcher& d = InputDispatcher::instance();
    if (d.exclusive == this) d.exclusive = nullptr;
}
