#pragma once
// What a pointer does on the canvas. The painter owns thirteen tools; one is
// current, and any tool whose isActive() is true draws its passes each frame.
// A tool never paints directly: it builds a history action and executes it.
#include "core/InputListener.h"

class Painter;

class Tool : public InputListener {
public:
    explicit Tool(Painter* painter = nullptr) : painter(painter) {}

    // Drops whatever is in progress (the canvas was rebuilt from the history).
    virtual void reset() {}
    // The canvas surfaces were made anew at this size.
    virtual void onCanvasCreated(int width, int height) { (void)width, (void)height; }
    // Window resized in tool mode; true keeps the old render area.
    virtual bool onRenderAreaResized(int width, int height) {
        (void)width, (void)height;
        return false;
    }
    virtual bool isActive() const { return false; }
    // Inside the canvas composition, above the current layer.
    virtual void drawOnCanvas() {}
    // Over the finished canvas, in the render area's viewport.
    virtual void drawToolOverlay() {}
    // Replaces the system pointer; window pixels, y up.
    virtual void drawCursor(int x, int y);
    // Status lines; `line` counts the lines printed so far.
    virtual void drawHints(int& line) { (void)line; }
    virtual void activate() { showPanel(); }
    virtual bool deactivate() {
        hidePanel();
        return true;
    }

protected:
    // The options strip of the current tool fades in and out with it
    // (tools/ToolPanel); a tool adds its widgets after showPanel.
    void showPanel();
    void hidePanel();

    Painter* painter; // non-owning
};

// The default pointer: a filled white triangle with its tip at (x, y).
void drawDefaultCursor(int x, int y);
// Cursor lines drawn by inverting what lies under them, so they show on any
// colour; the GL state in force before comes back at the end of the scope.
class InvertedCursorLines {
public:
    explicit InvertedCursorLines(float lineWidth = 1.0f);
    ~InvertedCursorLines();
    InvertedCursorLines(const InvertedCursorLines&) = delete;
    InvertedCursorLines& operator=(const InvertedCursorLines&) = delete;
};

// A cross of `half` pixels each way, as two lines, in the current colour and blending.
void drawCross(int x, int y, int half);
