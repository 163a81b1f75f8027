// The hidden demo screen: one of each basic widget on a panel, for looking
// at the toolkit and for the end-to-end test.
#include <GL/glew.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <memory>

#include "core/Globals.h"
#include "widgets/ButtonWidget.h"
#include "widgets/ComboWidget.h"
#include "widgets/CustomViewWidget.h"
#include "widgets/Dialog.h"
#include "widgets/DrawHelpers.h"
#include "widgets/EditControl.h"
#include "widgets/GUI.h"
#include "widgets/GlFont.h"
#include "widgets/GuiRoot.h"
#include "widgets/InterfaceImages.h"
#include "widgets/LayoutManager.h"
#include "widgets/ScrollWidgets.h"
#include "widgets/Slider.h"
#include "widgets/TabControl.h"
#include "widgets/TextWidget.h"

namespace {

// A tinted panel with a soft shadow.
class DemoPanel : public GroupWidget {
public:
    using GroupWidget::GroupWidget;
    void draw(float opacity_) override {
        const float a = effectiveAlpha(opacity_) * backgroundColor[3];
        drawShadow({absX, absY}, {width, height}, 5 * GuiScale, 40 * GuiScale, 0.45f * a * a);
        GroupWidget::draw(opacity_);
        glColor4f(1, 1, 1, 0.35f * effectiveAlpha(opacity_));
        drawFrame(static_cast<int>(absX), static_cast<int>(absY), static_cast<int>(width), static_cast<int>(height), 1);
    }
};

// A row of tool bar atlas cells, to show the icons.
class IconStrip : public Widget {
public:
    IconStrip(int x, int y, std::vector<std::pair<int, int>> cells_)
        : Widget(x, y, static_cast<int>(cells_.size()) * 36, 32), cells(std::move(cells_)) {}
    void draw(float opacity_) override {
        const GLuint texture = toolbarTexture();
        if (!texture) return;
        const float a = effectiveAlpha(opacity_);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glColor4f(1, 1, 1, a);
        const float side = 32 * GuiScale, step = 36 * GuiScale;
        for (size_t i = 0; i < cells.size(); ++i) {
            const AtlasRect cell = toolbarCell(cells[i].first, cells[i].second);
            const float u0 = cell.u0, v0 = cell.v0, u1 = cell.u1, v1 = cell.v1;
            const float x = absX + step * static_cast<float>(i), y = absY;
            glBegin(GL_QUADS);
            glTexCoord2f(u0, v0); glVertex2f(x, y);
            glTexCoord2f(u1, v0); glVertex2f(x + side, y);
            glTexCoord2f(u1, v1); glVertex2f(x + side, y + side);
            glTexCoord2f(u0, v1); glVertex2f(x, y + side);
            glEnd();
        }
        glBindTexture(GL_TEXTURE_2D, 0);
        glDisable(GL_TEXTURE_2D);
    }
    std::vector<std::pair<int, int>> cells;
};

// A numbered colour square: one cell of the demo grid.
class Swatch : public Widget {
public:
    Swatch(int number_, float r, float g, float b) : Widget(0, 0, 66, 56), number(number_), rgb{r, g, b} {}
    void draw(float opacity_) override {
        const float a = effectiveAlpha(opacity_);
        glColor4f(rgb[0], rgb[1], rgb[2], a);
        drawRect(absX + 4, absY + 4, width - 8, height - 8);
        if (!gFontGui) return;
        char text[8];
        std::snprintf(text, sizeof text, "%d", number);
        glColor4f(1, 1, 1, a);
        printRaw(*gFontGui, absX + 8, absY + 8, text);
    }
    int number;
    float rgb[3];
};

// Says what happened on the status line and on standard output (the
// end-to-end test reads it there).
void report(const std::weak_ptr<TextWidget>& status, const std::string& text) {
    if (auto s = status.lock()) s->text = text;
    std::printf("demo: %s\n", text.c_str());
    std::fflush(stdout);
}

const char* resultName(int result) {
    switch (result) {
    case kDialogOk: return "OK";
    case kDialogCancel: return "Cancel";
    case kDialogYes: return "Yes";
    case kDialogNo: return "No";
    default: return "refused";
    }
}

float gDemoOpacity = 0.75f;
int gDemoSize = 50;

} // namespace

void buildWidgetDemo(GUI& root) {
    auto panel = std::make_shared<DemoPanel>(24, -24, 330, 400);
    panel->drawBackground = true;
    for (int i = 0; i < 4; ++i) panel->backgroundColor[i] = gGuiColor[i];
    panel->vAlign = VAlign::Top;

    const float white[4] = {1, 1, 1, 1};
    panel->add(std::make_shared<TextWidget>(16, 372, "Widgets", 0, white));
    auto status = std::make_shared<TextWidget>(16, 14, "Ready", 0, white);

    auto clicks = std::make_shared<int>(0);
    std::weak_ptr<TextWidget> weakStatus = status;
    auto say = [weakStatus](const std::string& text) {
        if (auto s = weakStatus.lock()) s->text = text;
    };
    panel->add(std::make_shared<ButtonWidget>(16, 330, 96, 26, "Apply", 0, [clicks, say](Widget*) {
        char text[64];
        std::snprintf(text, sizeof text, "Apply clicked %d times", ++*clicks);
        say(text);
    }));
    auto disabled = std::make_shared<ButtonWidget>(124, 330, 96, 26, "Disabled", 0);
    disabled->enabled = false;
    panel->add(disabled);

    auto grid = std::make_shared<CheckBoxWidget>(16, 296, 16, false, [say] { say("Grid shown"); },
                                                 [say] { say("Grid hidden"); });
    grid->label = "Show grid";
    panel->add(grid);
    auto snap = std::make_shared<CheckBoxWidget>(170, 296, 16, true, [say] { say("Snapping on"); },
                                                 [say] { say("Snapping off"); });
    snap->label = "Snap";
    panel->add(snap);

    auto combo = std::make_shared<ComboWidget>(16, 250, 200, 0, [say](int) { say("Language changed"); });
    for (const char* item : {"English", "Français", "Español (ñ)", "Dansk (ø)", "Deutsch (ü)"})
        combo->addItem(utf8ToLatin1(item));
    combo->selected = 0;

    auto opacity = std::make_shared<Slider<float>>(16, 200, 220, 18, "Opacity", 0, true);
    opacity->minValue = 0.0f;
    opacity->maxValue = 1.0f;
    opacity->target = &gDemoOpacity;
    opacity->setValue(gDemoOpacity, false);
    panel->add(opacity);
    auto size = std::make_shared<Slider<int>>(16, 160, 220, 18, "Size", 0, false);
    size->minValue = 1;
    size->maxValue = 1000;
    size->target = &gDemoSize;
    size->setValue(gDemoSize, false);
    panel->add(size);
    panel->add(std::make_shared<TextWidget>(246, 204, "Opacity", 0, white));
    panel->add(std::make_shared<TextWidget>(246, 164, "Size", 0, white));

    panel->add(std::make_shared<HyperLinkWidget>(16, 128, "Open the project page", "https://example.org/"));
    panel->add(std::make_shared<TextWidget>(16, 100, utf8ToLatin1("Größe · café · niño · søster · Ærø"), 0));
    panel->add(std::make_shared<IconStrip>(
        16, 50, std::vector<std::pair<int, int>>{{0, 7}, {1, 7}, {2, 6}, {3, 5}, {4, 5}, {5, 6}, {6, 5}, {5, 7}}));
    panel->add(status);
    // Added last so that its open list is drawn over the widgets below it.
    panel->add(combo);
    root.add(panel);
}

void buildDialogDemo(GUI& root) {
    auto panel = std::make_shared<DemoPanel>(0, 0, 360, 600);
    panel->drawBackground = true;
    for (int i = 0; i < 4; ++i) panel->backgroundColor[i] = gGuiColor[i];
    const float white[4] = {1, 1, 1, 1};
    panel->add(std::make_shared<TextWidget>(16, 572, "Edit, grid, dialogs, tabs", 0, white));
    auto status = std::make_shared<TextWidget>(16, 14, "Ready", 0, white);
    std::weak_ptr<TextWidget> weakStatus = status;

    panel->add(std::make_shared<TextWidget>(16, 536, "Name:", 0, white));
    auto edit = std::make_shared<EditControl>(70, 528, 270, 26, 40, 0, "", false, "(your name)");
    edit->onEnter = [weakStatus, e = std::weak_ptr<EditControl>(edit)] {
        if (auto control = e.lock()) report(weakStatus, "name entered: " + control->text());
    };
    panel->add(edit);

    // Each button opens a box and reads its answer on the next line.
    auto boxButton = [&](int x, const char* label, std::function<int()> open) {
        panel->add(std::make_shared<ButtonWidget>(x, 486, 100, 28, label, 0, [weakStatus, label, open](Widget*) {
            const int result = open();
            report(weakStatus, std::string(label) + " answered " + resultName(result));
        }));
    };
    boxButton(16, "Message", [] { return messageBox("Saved."); });
    boxButton(126, "Confirm", [] { return confirmBox("Sure?", "Continue"); });
    boxButton(236, "Nested", [weakStatus] {
        // A box over a box: the lower one dims while the upper one asks.
        auto outer = std::make_shared<Dialog>(440, 300, "Outer");
        Dialog* d = outer.get();
        auto close = std::make_shared<ButtonWidget>(0, 0, 110, 30, "Close", 0, [d](Widget*) { d->accept(); });
        auto inner = std::make_shared<ButtonWidget>(-120, 0, 110, 30, "Inner...", 0, [weakStatus](Widget*) {
            report(weakStatus, std::string("inner answered ") + resultName(yesNoCancelBox("Inner?")));
        });
        for (const auto& b : {close, inner}) {
            b->hAlign = HAlign::Right;
            outer->add(b);
        }
        inner->setFocused(true);
        return outer->runModal();
    });
    auto grid = std::make_shared<GridWidget>(16, 250, 300, 180, 4, 3);
    for (int i = 0; i < 24; ++i) {
        // Hue steps round the wheel so that each row looks different.
        const float h = static_cast<float>(i) / 24.0f * 6.0f;
        const float x = 1.0f - std::fabs(std::fmod(h, 2.0f) - 1.0f);
        float r = 0, g = 0, b = 0;
        switch (static_cast<int>(h)) {
        case 0: r = 1, g = x; break;
        case 1: r = x, g = 1; break;
        case 2: g = 1, b = x; break;
        case 3: g = x, b = 1; break;
        case 4: r = x, b = 1; break;
        default: r = 1, b = x; break;
        }
        grid->addItem(std::make_shared<Swatch>(i + 1, 0.2f + 0.7f * r, 0.2f + 0.7f * g, 0.2f + 0.7f * b));
    }
    grid->onSelect = [weakStatus](Widget* w) {
        if (auto* sw = dynamic_cast<Swatch*>(w)) report(weakStatus, "swatch " + std::to_string(sw->number));
    };
    panel->add(grid);
    panel->add(std::make_shared<TextWidget>(16, 440, "Swatches (wheel or drag to scroll):", 0, white));

    auto tabs = std::make_shared<TabControl>(16, 50, 328, 180);
    tabs->addTab("Brush");
    tabs->addTab("Paper");
    tabs->addToTab("Brush", std::make_shared<TextWidget>(10, 110, "Soft round, 40 px", 0, white));
    auto jitter = std::make_shared<CheckBoxWidget>(10, 80, 16, false, [weakStatus] { report(weakStatus, "jitter on"); },
                                                   [weakStatus] { report(weakStatus, "jitter off"); });
    jitter->label = "Jitter";
    tabs->addToTab("Brush", jitter);
    auto notes = std::make_shared<TextArea>(8, 8, 300, 120);
    notes->addHeading("Paper");
    notes->addLine(false, 0, true, "Grain");
    notes->addLine(true, 1, false, "fine");
    notes->addLine(false, 0, true, "Tint");
    notes->addLine(true, 1, false, "warm white");
    tabs->addToTab("Paper", notes);
    panel->add(tabs);
    panel->add(status);
    // Pinned to the top right corner of the window; it follows resizes.
    gLayoutManager.place(4, 4, 2, 3, 24, 24, panel);
    root.add(panel);

    // The second view of the canvas, bottom centre: drag its body to move it,
    // a corner to resize it.
    auto view = std::make_shared<CustomViewWidget>(0, 0, 240, 180, &gPainter);
    gLayoutManager.place(0, 2, 1, 5, 0, 24, view);
    root.add(view);
}
