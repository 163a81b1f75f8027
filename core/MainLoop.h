#pragma once
// The heartbeat: the 20 ms tick, the 1 s slow tick, reshape, the frame, the
// nested event loop that replaces every blocking wait, and the exit routine.
#include <functional>

namespace mainloop {

void tick(int period);
void slowTick(int period);
void reshape(int width, int height);
void display();

// Keeps the window alive while waiting: pumps events and sleeps 20 ms until
// done() is true. Timers and frames go on inside it.
void pumpUntil(const std::function<bool()>& done);

// Frees the surfaces, stores the closing status and ends the process with 0.
// Runs at most once; also registered with atexit.
[[noreturn]] void exitProgram();
void exitHandler();

// The window was placed at start-up this way (outer corner, client size):
// from now on the exit routine stores the placement. A run that never made
// its window (no display) leaves the stored placement alone.
void trackWindowPlacement(int x, int y, int width, int height, bool maximised);

// Window origin on the screen, refreshed by the slow tick (pen input uses it).
extern int gWindowOriginX, gWindowOriginY;

} // namespace mainloop
