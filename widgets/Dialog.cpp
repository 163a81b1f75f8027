#include "widgets/Dialog.h"

#include <GL/glew.h>

#include <algorithm>

#include "core/PaintingApplication.h"
#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/MainLoop.h"
#include "widgets/Animator.h"
#include "widgets/ButtonWidget.h"
#include "widgets/DrawHelpers.h"
#include "widgets/GUI.h"
#include "widgets/GlFont.h"
#include "widgets/GuiRoot.h"
#include "widgets/LayoutManager.h"
#include "core/Localisation.h"

namespace {
constexpr int kTab = 9, kEsc = 27, kLeft = 356, kRight = 358;
constexpr int32_t kFadeMs = 250;
constexpr float kDimmed = 0.25f;

std::vector<std::shared_ptr<Widget>> gStack;
void programWait(const std::function<bool()>& done) { mainloop::pumpUntil(done); }
ModalWait gModalWait = programWait;
std::function<void()> gModalStartHook;

// Opacity from `from` to `to` over the fade time; the widget stays alive
// until the animator ends, then `onEnd` runs.
void animateOpacity(const std::shared_ptr<Widget>& widget, float from, float to, std::function<void()> onEnd = {}) {
    std::weak_ptr<Widget> weak = widget;
    auto a = std::make_shared<FieldLinearInterpolatorWithRamp<float>>(
        std::function<void(const float&)>([weak](const float& v) {
            if (auto w = weak.lock()) w->opacity = v;
        }));
    a->start(0, kFadeMs, from, to);
    a->onEnd = std::move(onEnd);
    AnimatorRegistry::instance().add(0, a);
}

bool shadowsOn() { return gApp && gApp->options && gApp->options->guiShadow; }

// A faint sheen over the upper half of a panel.
void drawPanelGloss(float x, float y, float w, float h, float alpha) {
    glBegin(GL_QUADS);
    glColor4f(1, 1, 1, 0);
    glVertex2f(x, y + h * 0.5f);
    glVertex2f(x + w, y + h * 0.5f);
    glColor4f(1, 1, 1, 0.12f * alpha);
    glVertex2f(x + w, y + h);
    glVertex2f(x, y + h);
    glEnd();
}

void giveUpExclusive(const Widget* widget) {
    InputDispatcher& d = InputDispatcher::instance();
    if (d.exclusive == widget) d.exclusive = nullptr;
}

void pushCommon(const std::shared_ptr<Widget>& dialog, bool dim) {
    if (!gStack.empty()) {
        const std::shared_ptr<Widget>& top = gStack.back();
        top->enabled = false;
        giveUpExclusive(top.get());
        if (dim) animateOpacity(top, 1.0f, kDimmed);
    }
    if (gGui) gGui->add(dialog);
}

// Takes `dialog` off the stack wherever it stands and fades it out.
void removeFromStack(const std::shared_ptr<Widget>& dialog) {
    auto it = std::find(gStack.begin(), gStack.end(), dialog);
    if (it == gStack.end()) return;
    gStack.erase(it);
    dialog->enabled = false;
    giveUpExclusive(dialog.get());
    // The closure holds the last reference: the dialog goes with the animator.
    std::shared_ptr<Widget> keep = dialog;
    animateOpacity(dialog, dialog->opacity, 0.0f, [keep] {
        keep->setVisible(false);
        if (gGui) gGui->remove(keep);
    });
    gLayoutManager.dropExpired();
}
} // namespace

// ---- Dialog -----------------------------------------------------------------------

Dialog::Dialog(int width_, int height_, const std::string& title_, int32_t id_, const float color_[4])
    : CompositeWidget(0, 0, width_, height_, id_), title(title_) {
    for (int i = 0; i < 4; ++i) color[i] = color_ ? color_[i] : gGuiColor[i];
    insetLeft = insetRight = static_cast<int32_t>(20 * GuiScale);
    insetTop = static_cast<int32_t>(80 * GuiScale);
    insetBottom = static_cast<int32_t>(15 * GuiScale);
    fitTitle();
    focused = true;
}

void Dialog::fitTitle() {
    const float s = GuiScale;
    int lines = 0;
    const int titleW = gFontTitle ? measureText(*gFontTitle, title.c_str(), lines) : 0;
    const int needed = static_cast<int>(static_cast<float>(titleW) + 10 * s + 150 * s);
    if (needed > static_cast<int>(width)) {
        if (static_cast<float>(needed) <= 800 * s) {
            width = static_cast<float>(needed);
        } else {
            // Wrapped, never cut: a line feed goes in before the byte that
            // takes a line past the room left beside the title's margins.
            const float room = 800 * s - 10 * s - 150 * s;
            std::string wrapped;
            int running = 0;
            for (char c : title) {
                if (c == '\n') {
                    running = 0;
                } else {
                    running += gFontTitle ? gFontTitle->advances[static_cast<unsigned char>(c)] : 0;
                    if (static_cast<float>(running) > room) {
                        wrapped.push_back('\n');
                        running = gFontTitle ? gFontTitle->advances[static_cast<unsigned char>(c)] : 0;
                    }
                }
                wrapped.push_back(c);
            }
            title = wrapped;
            width = 800 * s;
        }
    }
    corners = {math::Vec2{0, 0}, math::Vec2{width, 0}, math::Vec2{width, height}, math::Vec2{0, height}};
}

void Dialog::accept() { result = kDialogOk; close(); }
void Dialog::cancel() { result = kDialogCancel; close(); }
void Dialog::yes() { result = kDialogYes; close(); }
void Dialog::no() { result = kDialogNo; close(); }

void Dialog::close() {
    if (closeDone) return;
    closeDone = true;
    closed = true;
    giveUpExclusive(this);
}

int Dialog::runModal() {
    if (onDialogStack(this)) return -1;
    if (gModalStartHook) gModalStartHook();
    std::shared_ptr<Dialog> self = shared_from_this();
    pushCentered(self);
    showTop();
    setFocused(true);
    gModalWait([self] { return self->closed; });
    // A close request may already have taken it off, and put others on.
    const bool wasTop = !gStack.empty() && gStack.back() == self;
    removeFromStack(self);
    if (wasTop && !gStack.empty()) showTop();
    return result;
}

int Dialog::onKey(int key, int x, int y) {
    if (!focused) return 0;
    const int sum = CompositeWidget::onKey(key, x, y);
    if (sum != 0) return sum;
    // Shift picks the character of a typed key, so Tab may come without the mask.
    const int plain = key & ~(kMaskShift | kMaskLeftButton | kMaskRightButton | kMaskMiddleButton);
    switch (plain) {
    case kTab: return moveFocus((gInputState.shift || (key & kMaskShift)) ? -1 : 1);
    case kEsc: close(); return 1 + moveFocus(-1);
    case kLeft: return moveFocus(-1);
    case kRight: return moveFocus(1);
    default: return 0;
    }
}

int Dialog::moveFocus(int step) {
    const int n = static_cast<int>(tabOrder.size());
    if (n == 0) return 0;
    int from = -1;
    for (int i = 0; i < n && from < 0; ++i) {
        auto it = children.find(tabOrder[static_cast<std::size_t>(i)]);
        if (it != children.end() && it->second->visible && it->second->enabled && it->second->focused) from = i;
    }
    if (from < 0) return 0;
    children[tabOrder[static_cast<std::size_t>(from)]]->setFocused(false);
    int to = from;
    for (int tries = 0; tries < n; ++tries) {
        to = ((to + step) % n + n) % n;
        if (!tabSkip[static_cast<std::size_t>(to)]) break;
    }
    children[tabOrder[static_cast<std::size_t>(to)]]->setFocused(true);
    return 1;
}

bool Dialog::update(int elapsedMs, int originX, int originY) {
    CompositeWidget::update(elapsedMs, originX, originY);
    return focused;
}

void Dialog::draw(float opacity_) {
    // No halving for being disabled: the dimming animation shows it.
    const float a = this->opacity * opacity_;
    const float s = GuiScale;
    float first[4], second[4];
    if (focused) {
        for (int i = 0; i < 3; ++i) first[i] = color[i], second[i] = color[i] - 0.1f;
        first[3] = second[3] = color[3] * a;
    } else {
        for (int i = 0; i < 3; ++i) first[i] = color[i] - 0.1f, second[i] = color[i] - 0.2f;
        first[3] = second[3] = color[3] * a * 0.75f;
    }
    glDisable(GL_TEXTURE_2D);
    if (shadowsOn())
        drawShadow({absX, absY}, {width, height}, 5 * s, 40 * s, 0.45f * first[3] * first[3]);
    glBegin(GL_QUADS);
    glColor4fv(second);
    glVertex2f(absX + corners[0].x, absY + corners[0].y);
    glVertex2f(absX + corners[1].x, absY + corners[1].y);
    glColor4fv(first);
    glVertex2f(absX + corners[2].x, absY + corners[2].y);
    glVertex2f(absX + corners[3].x, absY + corners[3].y);
    glEnd();
    if (gFontTitle) {
        glColor4f(1, 1, 1, 0.5f * a);
        const float tx = static_cast<float>(static_cast<int>(10 * s + absX));
        const float ty = static_cast<float>(static_cast<int>(absY) + static_cast<int>(height) -
                                            static_cast<int>(gFontTitle->height) - 10);
        printRaw(*gFontTitle, tx, ty, title.c_str());
    }
    CompositeWidget::draw(opacity_);
    if (shadowsOn()) drawPanelGloss(absX, absY, width, height, 0.5f * a);
}

// ---- the stack --------------------------------------------------------------------

void pushCentered(const std::shared_ptr<Widget>& dialog) {
    pushCommon(dialog, true);
    gLayoutManager.place(2, 2, 1, 4, 0, 0, dialog);
    dialog->update(0, 0, 0); // placed now: input may come before the root's next update
    dialog->setVisible(false);
    gStack.push_back(dialog);
}

void pushAt(const std::shared_ptr<Widget>& dialog, int x, int y) {
    pushCommon(dialog, false);
    gLayoutManager.place(0, 0, 0, 5, x, y, dialog);
    dialog->update(0, 0, 0);
    dialog->setVisible(false);
    gStack.push_back(dialog);
}

void showTop() {
    if (gStack.empty()) return;
    std::shared_ptr<Widget> top = gStack.back();
    top->enabled = true;
    if (!top->visible) fadeIn(kFadeMs, 0, top);
    else animateOpacity(top, kDimmed, 1.0f);
    InputDispatcher::instance().exclusive = top.get();
}

void popTop() {
    if (gStack.empty()) return;
    removeFromStack(gStack.back());
}

std::size_t dialogStackSize() { return gStack.size(); }
Widget* topDialog() { return gStack.empty() ? nullptr : gStack.back().get(); }

bool onDialogStack(const Widget* widget) {
    return std::any_of(gStack.begin(), gStack.end(), [&](const auto& w) { return w.get() == widget; });
}

void closeAllDialogs() {
    while (!gStack.empty()) {
        std::shared_ptr<Widget> top = gStack.back();
        if (auto* d = dynamic_cast<Dialog*>(top.get())) d->close();
        removeFromStack(top);
    }
}

void setModalWait(ModalWait wait) { gModalWait = wait ? std::move(wait) : ModalWait(programWait); }
void setModalStartHook(std::function<void()> hook) { gModalStartHook = std::move(hook); }

// ---- standard boxes -----------------------------------------------------------------

namespace {
struct ButtonSpec {
    int32_t label; // text key
    int offsetX;
    void (Dialog::*slot)();
};

int runBox(int w, int h, const std::string& text, std::initializer_list<ButtonSpec> buttons) {
    auto dialog = std::make_shared<Dialog>(w, h, text);
    Dialog* d = dialog.get(); // the buttons live inside the dialog
    std::shared_ptr<ButtonWidget> last;
    for (const ButtonSpec& b : buttons) {
        auto slot = b.slot;
        last = std::make_shared<ButtonWidget>(b.offsetX, 0, 110, 30, tr(b.label), 0, [d, slot](Widget*) { (d->*slot)(); });
        last->hAlign = HAlign::Right;
        last->vAlign = VAlign::Bottom;
        dialog->add(last);
    }
    if (last) last->setFocused(true);
    return dialog->runModal();
}
} // namespace

int messageBox(const std::string& text) { return runBox(300, 200, text, {{tk::OK_BTN_STR, 0, &Dialog::accept}}); }

int EnterAcceptsDialog::onKey(int key, int x, int y) {
    if (focused && key == 13) {
        accept();
        return 1;
    }
    return Dialog::onKey(key, x, y);
}

std::shared_ptr<ButtonWidget> addCancelAndAccept(Dialog& dialog, const std::string& acceptLabel,
                                                 std::function<void()> onAccept) {
    Dialog* d = &dialog; // the buttons live inside the dialog
    if (!onAccept) onAccept = [d] { d->accept(); };
    auto cancel = std::make_shared<ButtonWidget>(0, 0, 110, 30, tr(tk::CANCEL_BTN_STR), 0, [d](Widget*) { d->cancel(); });
    auto accept = std::make_shared<ButtonWidget>(-120, 0, 110, 30, acceptLabel.empty() ? tr(tk::OK_BTN_STR) : acceptLabel, 0,
                                                 [onAccept = std::move(onAccept)](Widget*) { onAccept(); });
    for (const auto& b : {cancel, accept}) {
        b->hAlign = HAlign::Right;
        b->vAlign = VAlign::Bottom;
        dialog.add(b);
    }
    return accept;
}

int confirmBox(const std::string& text, const std::string& acceptLabel) {
    auto dialog = std::make_shared<Dialog>(300, 200, text);
    addCancelAndAccept(*dialog, acceptLabel)->setFocused(true);
    return dialog->runModal();
}

int yesNoCancelBox(const std::string& text) {
    return runBox(400, 150, text,
                  {{tk::CANCEL_BTN_STR, 0, &Dialog::cancel}, {tk::NO_STR, -120, &Dialog::no}, {tk::YES_STR, -240, &Dialog::yes}});
}
