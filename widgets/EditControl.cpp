#include "widgets/EditControl.h"

#include <GL/glew.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "core/Globals.h"
#include "core/InputState.h"
#include "core/KeyNames.h"
#include "core/Localisation.h"
#include "platform/Clipboard.h"
#include "widgets/DrawHelpers.h"
#include "widgets/GlFont.h"

namespace {
constexpr int kBackspace = 8, kEnter = 13, kEsc = 27, kDelete = 127, kLeft = 356, kRight = 358;
// Held buttons and the pen's proximity ride on every key code; they change
// nothing for typing.
constexpr int32_t kIgnoredMask = kMaskLeftButton | kMaskRightButton | kMaskMiddleButton | kMaskPenProximity;

bool isCtrlLetter(int key, char upper) { return key == kMaskCtrl + upper || key == kMaskCtrl + (upper | 0x20); }
} // namespace

EditControl::EditControl(int x, int y, int width_, int height_, int capacity_, int32_t id_, const std::string& text_,
                         bool digitsOnly_, const char* placeholder_)
    : Widget(x, y, width_, height_, id_), digitsOnly(digitsOnly_), capacity(std::max(0, capacity_)),
      buffer(static_cast<std::size_t>(capacity) + 1, '\0'), font(gFontMono.get()) {
    if (placeholder_) {
        placeholder.assign(placeholder_, std::min<std::size_t>(std::char_traits<char>::length(placeholder_),
                                                               static_cast<std::size_t>(capacity)));
        hasPlaceholder = true;
    }
    setText(text_, false);
}

bool EditControl::acceptsChar(int key) const {
    return (key >= 'a' && key <= 'z') || (key >= 'A' && key <= 'Z') || (key >= '0' && key <= '9') || key == '_' ||
           key == '-';
}

int EditControl::widthOf(int from, int to) const {
    if (!font) return 0;
    int w = 0;
    for (int i = std::max(0, from); i < std::min(to, length); ++i)
        w += font->advances[static_cast<unsigned char>(buffer[static_cast<std::size_t>(i)])];
    return w;
}

int EditControl::usableWidth() const { return static_cast<int>(width) - static_cast<int>(20 * GuiScale); }

void EditControl::fit() {
    const int v = usableWidth();
    while (firstVisible < length && widthOf(firstVisible, length) >= v) ++firstVisible;
    recomputeVisible();
    recomputeCaretX();
}

void EditControl::recomputeVisible() {
    const int v = usableWidth();
    int w = 0, n = 0;
    while (firstVisible + n < length && font) {
        const int adv = font->advances[static_cast<unsigned char>(buffer[static_cast<std::size_t>(firstVisible + n)])];
        if (w + adv >= v) break;
        w += adv;
        ++n;
    }
    if (!font) n = length - firstVisible;
    visibleChars = n;
}

void EditControl::recomputeCaretX() { caretX = widthOf(firstVisible, caret); }

void EditControl::setText(const std::string& value, bool notify) {
    const std::string cut = value.substr(0, static_cast<std::size_t>(capacity));
    if (cut == text() && value.size() <= static_cast<std::size_t>(capacity)) return;
    std::fill(buffer.begin(), buffer.end(), '\0');
    std::copy(cut.begin(), cut.end(), buffer.begin());
    length = static_cast<int32_t>(cut.size());
    textWidth = widthOf(0, length);
    caret = length;
    selectionAnchor = -1;
    collapseSelection();
    firstVisible = 0;
    fit();
    if (notify) changed();
}

void EditControl::caretLeft() {
    if (caret == 0) {
        platform::beep();
        return;
    }
    --caret;
    if (caret < firstVisible) firstVisible = caret;
    recomputeVisible();
    recomputeCaretX();
}

void EditControl::caretRight() {
    if (caret == length) {
        platform::beep();
        return;
    }
    ++caret;
    recomputeVisible();
    if (caret > firstVisible + visibleChars) ++firstVisible;
    recomputeVisible();
    recomputeCaretX();
}

void EditControl::deleteSelection() {
    const int from = std::clamp(selectionStart, 0, length), to = std::clamp(selectionEnd, 0, length);
    const int removed = to - from;
    if (removed > 0) {
        std::copy(buffer.begin() + to, buffer.begin() + length, buffer.begin() + from);
        length -= removed;
        std::fill(buffer.begin() + length, buffer.end(), '\0');
    }
    // Measured afresh rather than by subtraction, so the width stays exact.
    textWidth = widthOf(0, length);
    firstVisible = std::max(0, firstVisible - removed);
    caret = from;
    collapseSelection();
    recomputeVisible();
    recomputeCaretX();
}

void EditControl::copyToClipboard() { platform::setClipboardText(text()); }

void EditControl::pasteFromClipboard() {
    std::string utf8;
    if (platform::clipboardText(utf8) != platform::ClipboardStatus::Ok) return;
    // Characters beyond Latin-1 become '?'; line breaks and tabs become spaces
    // in a one-line control.
    std::string latin1 = utf8ToLatin1(utf8);
    for (char& c : latin1)
        if (static_cast<unsigned char>(c) < 32) c = ' ';
    setText(latin1, false);
    changed();
}

int EditControl::onKey(int key, int x, int y) {
    (void)x, (void)y;
    if (!focused) return 0;
    invalid = false;
    const int k = key & ~kIgnoredMask;
    if (k == kEsc) {
        collapseSelection();
    } else if (k == kBackspace) {
        if (hasSelection()) {
            deleteSelection();
            changed();
        } else if (caret == 0) {
            platform::beep();
        } else {
            std::copy(buffer.begin() + caret, buffer.begin() + length, buffer.begin() + caret - 1);
            --length;
            buffer[static_cast<std::size_t>(length)] = '\0';
            textWidth = widthOf(0, length);
            if (length < visibleChars && firstVisible > 0) --firstVisible;
            caretLeft();
            collapseSelection();
            changed();
        }
    } else if (k == kDelete) {
        if (hasSelection()) {
            deleteSelection();
            changed();
        }
    } else if (k == kEnter) {
        if (onEnter) onEnter();
    } else if (k == kLeft || k == kRight) {
        if (k == kLeft) caretLeft();
        else caretRight();
        collapseSelection();
    } else if (k == kLeft + kMaskShift) {
        const bool atStart = caret == selectionStart;
        caretLeft();
        if (atStart) selectionStart = caret;
        else selectionStart = selectionEnd = caret;
    } else if (k == kRight + kMaskShift) {
        const bool atEnd = caret == selectionEnd;
        caretRight();
        if (atEnd) selectionEnd = caret;
        else selectionStart = caret;
    } else if (isCtrlLetter(k, 'C')) {
        copyToClipboard(); // the whole text, not the selection
    } else if (isCtrlLetter(k, 'X')) {
        copyToClipboard();
        if (length > 0) {
            setText("", false);
            changed();
        }
    } else if (isCtrlLetter(k, 'V')) {
        pasteFromClipboard();
    } else {
        if ((!digitsOnly || (k >= '0' && k <= '9')) && acceptsChar(k)) {
            if (hasSelection()) deleteSelection();
            if (length + 1 < capacity) {
                std::copy_backward(buffer.begin() + caret, buffer.begin() + length, buffer.begin() + length + 1);
                buffer[static_cast<std::size_t>(caret)] = static_cast<char>(k);
                ++length;
                textWidth = widthOf(0, length);
                caretRight();
            }
        }
        collapseSelection();
        changed();
    }
    return 1;
}

int EditControl::indexAt(int x) const {
    const int unit = font ? font->advances['_'] : 0;
    int index = firstVisible;
    if (unit > 0)
        index += static_cast<int>((static_cast<float>(x) - absX - 10 * GuiScale) / static_cast<float>(unit) + 0.5f);
    return std::clamp(index, 0, length);
}

int EditControl::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    if (Widget::onMouseButton(button, state, x, y, fromPen) == 0) return 0;
    if (button == 0) {
        caret = indexAt(x);
        recomputeCaretX();
        selectionAnchor = -1;
        if (state == 0) selectionAnchor = selectionStart = selectionEnd = caret;
    }
    return 1;
}

int EditControl::onMouseDrag(int x, int y, bool fromPen) {
    (void)y, (void)fromPen;
    if (!focused || selectionAnchor == -1) return 0;
    caret = indexAt(x);
    recomputeCaretX();
    selectionStart = std::min(selectionAnchor, caret);
    selectionEnd = std::max(selectionAnchor, caret);
    return 1;
}

int EditControl::onDoubleClick(int x, int y) {
    (void)x, (void)y;
    if (!focused) return 0;
    caret = selectionEnd = length;
    selectionStart = 0;
    fit();
    return 1;
}

bool EditControl::update(int elapsedMs, int originX, int originY) {
    Widget::update(elapsedMs, originX, originY);
    if (enabled) {
        hoverMs += elapsedMs;
        if (static_cast<float>(hoverMs) > 400 * GuiScale) {
            hoverMs = 0;
            caretShown = !caretShown;
        }
    }
    return true;
}

void EditControl::draw(float opacity_) {
    Widget::draw(opacity_);
    const float a = effectiveAlpha(opacity_);
    const int bx = static_cast<int>(absX), by = static_cast<int>(absY);
    const int bw = static_cast<int>(width), bh = static_cast<int>(height);
    if (invalid) glColor4f(1, 0.5f, 0.4f, 0.4f * a);
    else glColor4f(1, 1, 1, 0.2f * a);
    drawRect(bx, by, bw, bh);
    const int x0 = bx + static_cast<int>(10 * GuiScale);
    const int lastShown = firstVisible + visibleChars;
    if (enabled && focused && hasSelection() && selectionEnd > firstVisible && selectionStart < lastShown) {
        const int from = x0 + widthOf(firstVisible, std::max(selectionStart, firstVisible));
        const int to = x0 + widthOf(firstVisible, std::min(selectionEnd, lastShown));
        glColor4f(0.4f, 0.5f, 0.5f, a / 2);
        drawRect(from, by + 2, to - from, bh - 4);
    }
    if (!font) return;
    const float ty = static_cast<float>(by + 1 + (bh - static_cast<int>(font->height)) / 2);
    if (firstVisible > 0) {
        glColor4f(0, 0.5f, 0.5f, a);
        printRaw(*font, static_cast<float>(x0 - 9), ty, "<");
    }
    if (length == 0 && hasPlaceholder) {
        glColor4f(0.4f, 0.4f, 0.4f, a);
        printRaw(*font, static_cast<float>(x0), ty, placeholder.c_str());
    }
    glColor4f(0.1f, 0.1f, 0.1f, a);
    const std::string shown(buffer.data() + firstVisible, static_cast<std::size_t>(std::min(visibleChars, length - firstVisible)));
    printRaw(*font, static_cast<float>(x0), ty, shown.c_str());
    if (lastShown < length) {
        glColor4f(0, 0.5f, 0.5f, a);
        printRaw(*font, static_cast<float>(bx + bw - font->advances['>'] - 2), ty, ">");
    }
    if (caretShown && focused) {
        glColor4f(0, 0, 0, a);
        drawRect(x0 + caretX, by + 2, 1, bh - 4);
    }
}

// ---- KeyCodeEditControl -------------------------------------------------------------

KeyCodeEditControl::KeyCodeEditControl(int x, int y, int32_t id_, int32_t keyCode_)
    : EditControl(x, y, 120, 20, 40, id_, "", false, tr(tk::UNDEFINED_STR).c_str()) {
    if (keyCode_ != 0) setKeyCode(keyCode_);
}

void KeyCodeEditControl::setKeyCode(int32_t code) {
    keyCode = code;
    setText(keys::keyText(code), false);
}

int KeyCodeEditControl::onKey(int key, int x, int y) {
    (void)x, (void)y;
    if (!focused) return 0;
    invalid = false;
    if ((key & 0x3FF) == 0) return 0; // a modifier alone
    keyCode = key & ~kIgnoredMask;
    setText(keys::keyText(keyCode), false);
    changed();
    return 1;
}

// ---- TextArea ---------------------------------------------------------------------------

TextArea::TextArea(int x, int y, int width_, int height_, int32_t id_) : Widget(x, y, width_, height_, id_) {
    marginX = static_cast<int32_t>(10 * GuiScale);
    marginY = static_cast<int32_t>(10 * GuiScale);
    rebuildCorners();
}

int TextArea::rowPitch() const { return gFontGui ? static_cast<int>(gFontGui->height * 1.5f) : 0; }

void TextArea::rebuildCorners() {
    const float c[4][2] = {{0, 0}, {width, 0}, {width, height}, {0, height}};
    std::copy(&c[0][0], &c[0][0] + 8, &corners[0][0]);
}

void TextArea::appendLine(TextLine line) {
    line.rows = 1 + static_cast<int32_t>(std::count(line.text.begin(), line.text.end(), '\n'));
    if (line.align != 0 && gFontGui) line.width = measureText(*gFontGui, line.text);
    if (line.endsRow) rowCount += line.rows;
    lines.push_back(std::move(line));
    const int fontH = gFontGui ? static_cast<int>(gFontGui->height) : 0;
    const float needed = static_cast<float>(marginY * 2 + rowPitch() * (rowCount - 1) + fontH);
    if (height < needed) {
        height = needed;
        onSizeChanged();
        rebuildCorners();
    }
}

void TextArea::addLine(bool endsRow, int align, bool toggleStripe, const char* format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    appendLine({endsRow, static_cast<uint8_t>(align), text, 0, 1, toggleStripe});
}

void TextArea::addHeading(const char* format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    appendLine({true, 0, text, 0, 1, false});
}

void TextArea::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    glBegin(GL_QUADS);
    glColor4f(bottomColor[0], bottomColor[1], bottomColor[2], bottomColor[3] * a);
    glVertex2f(absX + corners[0][0], absY + corners[0][1]);
    glVertex2f(absX + corners[1][0], absY + corners[1][1]);
    glColor4f(topColor[0], topColor[1], topColor[2], topColor[3] * a);
    glVertex2f(absX + corners[2][0], absY + corners[2][1]);
    glVertex2f(absX + corners[3][0], absY + corners[3][1]);
    glEnd();
    if (!gFontGui) return;
    const int pitch = rowPitch();
    // Stripes, then text; rows run down from the top margin.
    int stripe = 0;
    float rowTop = absY + height - static_cast<float>(marginY);
    for (const TextLine& line : lines) {
        if (line.toggleStripe) stripe ^= 1;
        if (stripe == 0) {
            glColor4f(1, 1, 1, 0.05f * a);
            drawRect(absX, rowTop - static_cast<float>(line.rows * pitch), width, static_cast<float>(line.rows * pitch));
        }
        if (line.endsRow) rowTop -= static_cast<float>(line.rows * pitch);
    }
    glColor4f(textColor[0], textColor[1], textColor[2], textColor[3] * a);
    float baseline = absY + height - static_cast<float>(marginY) - gFontGui->height;
    for (const TextLine& line : lines) {
        float x = absX + static_cast<float>(marginX);
        if (line.align == 1) x = absX + width - static_cast<float>(marginX + line.width);
        else if (line.align == 2) x = absX + (width - static_cast<float>(line.width)) * 0.5f;
        // printRaw steps by the font's own line pitch; the rows here are wider.
        float y = baseline;
        std::size_t start = 0;
        while (true) {
            const std::size_t end = line.text.find('\n', start);
            printRaw(*gFontGui, x, y, line.text.substr(start, end - start).c_str());
            if (end == std::string::npos) break;
            start = end + 1;
            y -= static_cast<float>(pitch);
        }
        if (line.endsRow) baseline -= static_cast<float>(line.rows * pitch);
    }
}
