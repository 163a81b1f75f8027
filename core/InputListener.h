#pragma once
// Everything that takes input: painter, tools, widgets, player.
// Coordinates are window pixels, origin at the bottom left, y up.
// A non-zero result means the event was consumed.

class InputListener {
public:
    virtual ~InputListener();

    // button: 0 left, 1 middle, 2 right; state: 0 pressed, 1 released.
    virtual int onMouseButton(int button, int state, int x, int y, bool fromPen) {
        (void)button, (void)state, (void)x, (void)y, (void)fromPen;
        return 0;
    }
    virtual int onMouseMove(int x, int y, bool fromPen) { (void)x, (void)y, (void)fromPen; return 0; }
    virtual int onMouseDrag(int x, int y, bool fromPen) { (void)x, (void)y, (void)fromPen; return 0; }
    // key: code with the modifier mask added (0x85A is Ctrl+Z).
    virtual int onKey(int key, int x, int y) { (void)key, (void)x, (void)y; return 0; }
    // direction: freeglut's sign, above 0 is away from the user.
    virtual int onMouseWheel(int wheel, int direction, int x, int y) {
        (void)wheel, (void)direction, (void)x, (void)y;
        return 0;
    }
    virtual int onDoubleClick(int x, int y) { (void)x, (void)y; return 0; }
    // Once per 20 ms tick; false means the object has ended.
    virtual bool update(int elapsedMs, int originX, int originY) {
        (void)elapsedMs, (void)originX, (void)originY;
        return true;
    }

    bool enabled = true;
};
