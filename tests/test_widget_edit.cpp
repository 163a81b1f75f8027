#include <gtest/gtest.h>

#include <string>

#include "core/Globals.h"
#include "core/InputState.h"
#include "support/GlTestContext.h"
#include "widgets/EditControl.h"
#include "widgets/GlFont.h"
#include "TestPaths.h"

// The edit control measures through the font's advances table, so the
// expected widths are sums over that table, worked out here independently.
namespace {
const std::string kFont = std::string(KW_TEST_DATA_DIR) + "/fonts/test.TTF";
constexpr int kBackspace = 8, kDelete = 127, kLeft = 356, kRight = 358, kShift = 0x1000, kCtrl = 0x800;

class EditGl : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        GuiScale = 1.0f;
        font = std::make_unique<GlFont>(kFont, 9);
    }
    int sum(const std::string& s) const {
        int w = 0;
        for (unsigned char c : s) w += font->advances[c];
        return w;
    }
    // A focused control at (0, 0); `width` in pixels.
    std::unique_ptr<EditControl> make(int width, int capacity, const std::string& text = "", bool digits = false) {
        auto e = std::make_unique<EditControl>(0, 0, width, 20, capacity, 0, "", digits);
        e->font = font.get();
        e->setText(text, false);
        e->update(0, 0, 0);
        e->setFocused(true);
        return e;
    }
    void type(EditControl& e, const std::string& keys) {
        for (char c : keys) EXPECT_EQ(e.onKey(static_cast<unsigned char>(c), 0, 0), 1);
    }
    std::unique_ptr<GlFont> font;
};
} // namespace

TEST_F(EditGl, TypingCaretMovesAndDeletion) {
    auto e = make(300, 20);
    int changes = 0;
    e->onChange = [&] { ++changes; };
    type(*e, "brush-1_a");
    EXPECT_EQ(e->text(), "brush-1_a");
    EXPECT_EQ(e->caret, 9);
    EXPECT_EQ(e->caretX, sum("brush-1_a"));
    EXPECT_EQ(e->textWidth, sum("brush-1_a"));
    EXPECT_EQ(changes, 9);
    type(*e, " !");
    EXPECT_EQ(e->text(), "brush-1_a") << "space and punctuation are refused";
    EXPECT_EQ(changes, 11) << "yet every key reports a change";
    e->onKey(kLeft, 0, 0);
    e->onKey(kLeft, 0, 0);
    EXPECT_EQ(e->caret, 7);
    EXPECT_EQ(e->caretX, sum("brush-1"));
    type(*e, "X");
    EXPECT_EQ(e->text(), "brush-1X_a");
    e->onKey(kBackspace, 0, 0);
    e->onKey(kBackspace, 0, 0);
    EXPECT_EQ(e->text(), "brush-_a");
    EXPECT_EQ(e->caret, 6);
    e->onKey(kDelete, 0, 0);
    EXPECT_EQ(e->text(), "brush-_a") << "Delete without a selection does nothing";
    for (int i = 0; i < 10; ++i) e->onKey(kLeft, 0, 0);
    EXPECT_EQ(e->caret, 0);
    e->onKey(kBackspace, 0, 0);
    EXPECT_EQ(e->text(), "brush-_a") << "Backspace at the start only beeps";
    e->onKey(kRight + kShift, 0, 0); // the caret stood at the (empty) selection's end: the end follows
    EXPECT_EQ(e->caret, 1);
    e->onKey(kRight + kShift, 0, 0);
    e->onKey(kRight + kShift, 0, 0);
    EXPECT_EQ(e->selectionStart, 0);
    EXPECT_EQ(e->selectionEnd, 3);
    e->onKey(kLeft + kShift, 0, 0); // the caret isn't at the start: both ends move to it
    EXPECT_EQ(e->selectionStart, 2);
    EXPECT_EQ(e->selectionEnd, 2);
    e->onKey(kRight + kShift, 0, 0);
    e->onKey(kRight + kShift, 0, 0);
    EXPECT_EQ(e->selectionStart, 2);
    EXPECT_EQ(e->selectionEnd, 4);
    e->onKey(kDelete, 0, 0);
    EXPECT_EQ(e->text(), "brh-_a");
    EXPECT_EQ(e->caret, 2);
    EXPECT_EQ(e->textWidth, sum("brh-_a"));
    EXPECT_EQ(e->onKey(kCtrl + 'Z', 0, 0), 1) << "a focused control eats shortcuts";
    e->setFocused(false);
    EXPECT_EQ(e->onKey('q', 0, 0), 0);
    EXPECT_EQ(e->text(), "brh-_a");
}

TEST_F(EditGl, CapacityLimitsTypingToOneLessThanSetText) {
    auto e = make(300, 5);
    int changes = 0;
    e->onChange = [&] { ++changes; };
    type(*e, "abcdef");
    EXPECT_EQ(e->text(), "abcd") << "length + 1 stays below the capacity";
    EXPECT_EQ(changes, 6);
    e->setText("123456789", false);
    EXPECT_EQ(e->text(), "12345");
    EXPECT_EQ(e->caret, 5);
    auto digits = make(300, 8, "", true);
    type(*digits, "1a2b3");
    EXPECT_EQ(digits->text(), "123");
}

TEST_F(EditGl, Latin1TextIsMeasuredByteForByte) {
    const std::string latin1 = utf8ToLatin1("Gr\xC3\xB6\xC3\x9F" "e caf\xC3\xA9");
    ASSERT_EQ(latin1.size(), 10u);
    auto e = make(400, 40, latin1);
    EXPECT_EQ(e->length, 10);
    EXPECT_EQ(e->textWidth, sum(latin1));
    EXPECT_GT(font->advances[0xF6], 0) << "the o with umlaut has a width of its own";
    e->onKey(kLeft, 0, 0);
    EXPECT_EQ(e->caretX, sum(latin1.substr(0, 9)));
}

TEST_F(EditGl, LongTextScrollsAndShowsItsMarks) {
    const std::string text(40, 'W');
    auto e = make(100, 60, text);
    const int usable = 100 - 20;
    // Fit: the first visible byte is the first from which the rest is narrower than the room.
    int first = 0;
    while (sum(text.substr(static_cast<std::size_t>(first))) >= usable) ++first;
    EXPECT_EQ(e->firstVisible, first);
    EXPECT_GT(e->firstVisible, 0);
    EXPECT_EQ(e->caretX, sum(text.substr(static_cast<std::size_t>(first))));
    // Home by arrows: the view follows the caret back to the start.
    for (int i = 0; i < 40; ++i) e->onKey(kLeft, 0, 0);
    EXPECT_EQ(e->firstVisible, 0);
    EXPECT_EQ(e->caretX, 0);
    EXPECT_LT(e->firstVisible + e->visibleChars, e->length) << "bytes cut off at the right";
    int fits = 0, w = 0;
    while (w + font->advances['W'] < usable) w += font->advances['W'], ++fits;
    EXPECT_EQ(e->visibleChars, fits);
}

TEST_F(EditGl, MouseSelectsByTheWidthOfTheUnderscore) {
    auto e = make(300, 40, "abcdefgh");
    const int unit = font->advances['_'];
    ASSERT_GT(unit, 0);
    // Press at byte 2, drag to byte 5.
    EXPECT_EQ(e->onMouseButton(0, 0, 10 + 2 * unit, 10, false), 1);
    EXPECT_EQ(e->caret, 2);
    gInputState.leftButton = true;
    EXPECT_EQ(e->onMouseDrag(10 + 5 * unit + unit / 3, 10, false), 1);
    gInputState.leftButton = false;
    EXPECT_EQ(e->selectionStart, 2);
    EXPECT_EQ(e->selectionEnd, 5);
    e->onMouseButton(0, 1, 10 + 5 * unit, 10, false);
    EXPECT_EQ(e->onMouseDrag(10, 10, false), 0) << "the release ended the selection drag";
    e->onKey(kBackspace, 0, 0);
    EXPECT_EQ(e->text(), "abfgh");
    EXPECT_EQ(e->onDoubleClick(0, 0), 1);
    EXPECT_EQ(e->selectionStart, 0);
    EXPECT_EQ(e->selectionEnd, 5);
    EXPECT_EQ(e->onMouseButton(0, 0, 400, 10, false), 0) << "outside";
}

TEST_F(EditGl, KeyCodeControlShowsTheCombination) {
    KeyCodeEditControl k(0, 0);
    k.font = font.get();
    k.setFocused(true);
    int changes = 0;
    k.onChange = [&] { ++changes; };
    EXPECT_EQ(k.onKey(kShift, 0, 0), 0) << "Shift alone changes nothing";
    EXPECT_EQ(k.keyCode, 0);
    EXPECT_EQ(k.onKey(kShift + 'A', 0, 0), 1);
    EXPECT_EQ(k.keyCode, kShift + 'A');
    EXPECT_EQ(k.text(), "SHIFT+A");
    EXPECT_EQ(changes, 1);
}
