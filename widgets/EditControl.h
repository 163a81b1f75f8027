#pragma once
// One-line text entry: a fixed-capacity byte buffer (Latin-1), caret,
// horizontal scrolling, a selection by mouse and Shift+arrows, and the text
// clipboard (Ctrl+C copies the whole text, Ctrl+V replaces it). Drawn in the
// mono font but measured through its advances table, so nothing depends on
// a fixed pitch except the mouse, which takes the width of "_" per byte.
//
// A focused control eats every key, so application shortcuts stay quiet
// while typing. `capacity` limits length + 1 when typing, length when the
// text is set or pasted.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "widgets/Widget.h"

class GlFont;

class EditControl : public Widget {
public:
    // placeholder: grey text while empty, at most `capacity` bytes kept; null for none.
    EditControl(int x, int y, int width, int height, int capacity, int32_t id = 0, const std::string& text = "",
                bool digitsOnly = false, const char* placeholder = nullptr);

    // Which typed keys become bytes: a-z, A-Z, 0-9, '_' and '-'.
    virtual bool acceptsChar(int key) const;

    // No effect when equal. Cut to `capacity`; caret to the end, selection
    // cleared, scrolled so that the end shows.
    void setText(const std::string& text, bool notify);
    std::string text() const { return std::string(buffer.data(), static_cast<std::size_t>(length)); }

    int onKey(int key, int x, int y) override;
    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onDoubleClick(int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;

    // Width in pixels of bytes [from, to) by the advances table.
    int widthOf(int from, int to) const;
    // Byte index under window x (monospaced by "_"), clamped to 0..length.
    int indexAt(int x) const;
    bool hasSelection() const { return selectionStart != selectionEnd; }

    bool digitsOnly = false;
    int32_t capacity = 0;
    int32_t caret = 0;
    int32_t caretX = 0;
    std::vector<char> buffer; // capacity + 1 bytes, zero-terminated
    int32_t length = 0;
    bool caretShown = false;
    int32_t firstVisible = 0;
    int32_t textWidth = 0;
    int32_t visibleChars = 0;
    std::string placeholder;
    bool hasPlaceholder = false;
    int32_t selectionAnchor = -1;
    int32_t selectionStart = 0, selectionEnd = 0;
    bool invalid = false;
    std::function<void()> onEnter;
    std::function<void()> onChange;
    const GlFont* font = nullptr; // gFontMono at construction; not owning

protected:
    int usableWidth() const;
    // Scrolls until the text from firstVisible on fits.
    void fit();
    void recomputeVisible();
    void recomputeCaretX();
    void caretLeft();
    void caretRight();
    void deleteSelection();
    void collapseSelection() { selectionStart = selectionEnd = caret; }
    void changed() {
        if (onChange) onChange();
    }
    void copyToClipboard();
    void pasteFromClipboard();
};

// Captures a key combination for the bindings page: the key pressed while
// focused becomes `keyCode` and its name is shown; no key is typed.
class KeyCodeEditControl : public EditControl {
public:
    KeyCodeEditControl(int x, int y, int32_t id = 0, int32_t keyCode = 0);

    void setKeyCode(int32_t code);
    int onKey(int key, int x, int y) override;

    int32_t keyCode = 0;
};

// A read-only block of formatted lines (help pages). Rows run downward from
// the top; a line with endsRow false shares its row with the next one.
struct TextLine {
    bool endsRow = true;
    uint8_t align = 0; // 0 left, 1 right, 2 centre
    std::string text;
    int32_t width = 0; // pixels, for right and centre
    int32_t rows = 1;  // line feeds + 1
    bool toggleStripe = false;
};

class TextArea : public Widget {
public:
    TextArea(int x, int y, int width, int height, int32_t id = 0);

    bool acceptsFocus() const override { return false; }
    // printf-style into 256 bytes; grows the panel to fit the rows.
    void addLine(bool endsRow, int align, bool toggleStripe, const char* format, ...)
        __attribute__((format(printf, 5, 6)));
    void addHeading(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void draw(float opacity) override;
    // Row pitch: int(interface font height x 1.5).
    int rowPitch() const;

    std::vector<TextLine> lines;
    int32_t marginX = 0, marginY = 0;
    int32_t rowCount = 0;
    float corners[4][2] = {};
    float topColor[4] = {0.35f, 0.45f, 0.47f, 0.9f};
    float bottomColor[4] = {0.25f, 0.33f, 0.35f, 0.9f};
    float textColor[4] = {1, 1, 1, 1};

private:
    void appendLine(TextLine line);
    void rebuildCorners();
};
