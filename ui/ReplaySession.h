#pragma once
// The application's current replay on the program's globals (history,
// camera, painter, interface): at most one Player at a time, started by the
// replay prompt or directly, stepped by the tick and deleted when it is over.
class Player;

// Starts a replay of the whole history. False, with nothing changed, when a
// replay is already running or the history holds no action.
bool startReplay(bool autopan);
// The running replay, or null.
Player* activePlayer();
// The tick's step: updates the player and deletes it once it is over.
void updateActivePlayer(int elapsedMs);
// Ends the running replay at once (the end picture comes back).
void stopActivePlayer();
// The window got a new size (pixels): the strip is placed again.
void reshapeActivePlayer(int width, int height);
// The frame's step: the player's strip over the canvas, when visible.
void drawActivePlayerControls();
