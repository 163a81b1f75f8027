// The hidden demo screen: one of each basic widget on a panel, for looking
// at the toolkit and for the end-to-end test.
#include <GL/glew.h>

#include <cstdio>
#include <memory>

#include "core/Globals.h"
#include "widgets/ButtonWidget.h"
#include "widgets/ComboWidget.h"
#include "widgets/DrawHelpers.h"
#include "widgets/GUI.h"
#include "widgets/GlFont.h"
#include "widgets/GuiRoot.h"
#include "widgets/InterfaceImages.h"
#include "widgets/Slider.h"
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
        const GLuint texture = interfaceTexture("toolbar.png");
        if (!texture) return;
        const float a = effectiveAlpha(opacity_);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glColor4f(1, 1, 1, a);
        const float side = 32 * GuiScale, step = 36 * GuiScale;
        for (size_t i = 0; i < cells.size(); ++i) {
            // Cell (column, row), rows counted from the bottom of the 256-pixel atlas.
            const float u0 = cells[i].first * 32 / 256.0f, v0 = cells[i].second * 32 / 256.0f;
            const float u1 = u0 + 0.125f, v1 = v0 + 0.125f;
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
