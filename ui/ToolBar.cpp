#include "ui/ToolBar.h"

#include <GL/glew.h>

#include "core/Globals.h"
#include "widgets/DrawHelpers.h"
#include "widgets/ImageButton.h"
#include "widgets/VisualMenu.h"

namespace {
void setCorners(ToolBarSection& s) {
    s.corners = {math::Vec2{0, 0}, math::Vec2{s.width, 0}, math::Vec2{s.width, s.height}, math::Vec2{0, s.height}};
}
} // namespace

ToolBar::ToolBar()
    : CompositeWidget(0, 0, kWidthUnits, 0),
      dragger([this]() -> math::Vec2& { return dragPosition = {relX, relY}; },
              [this](math::Vec2 p) {
                  relX = p.x;
                  relY = p.y;
              }) {
    relX = static_cast<float>(static_cast<int>(kX * GuiScale));
    relY = static_cast<float>(static_cast<int>(kY * GuiScale));
    clear();
}

math::Vec2 ToolBar::homePosition() {
    return {static_cast<float>(static_cast<int>(kX * GuiScale)), static_cast<float>(static_cast<int>(kY * GuiScale))};
}

void ToolBar::addSection() {
    ToolBarSection s;
    s.width = static_cast<float>(static_cast<int>(width));
    s.height = 20 * GuiScale;
    setCorners(s);
    sections.push_back(std::move(s));
    relayout();
}

std::shared_ptr<ImageButton> ToolBar::addButton(int iconColumn, int iconRow, const std::string& tooltip,
                                                std::function<void(Widget*)> onClick,
                                                std::function<bool(const Widget*)> isActive) {
    if (sections.empty()) addSection();
    ToolBarSection& s = sections.back();
    const float b = kButton * GuiScale, g = kGap * GuiScale;
    if (s.buttonCount % columnCount == 0) {
        // A new row begins.
        ++rowCount;
        s.height += b;
        if (s.buttonCount != 0) s.height += g;
        setCorners(s);
    }
    auto button = std::make_shared<ImageButton>(0, 0, iconColumn, iconRow, tooltip, std::move(onClick),
                                                std::move(isActive));
    add(button);
    s.buttons.push_back(button);
    ++s.buttonCount;
    relayout();
    return button;
}

void ToolBar::clear() {
    children.clear();
    tabOrder.clear();
    tabSkip.clear();
    nextAutoKey = 1;
    rowCount = 0;
    sections.clear();
    addSection();
}

void ToolBar::relayout() {
    const float s = GuiScale;
    const float b = kButton * s, g = kGap * s, m = kMargin * s;
    const float n = static_cast<float>(sections.size()), rows = static_cast<float>(rowCount);
    height = static_cast<float>(static_cast<int>(2 * m * n + b * rows + g * (rows - n) + m * (n - 1)));
    float top = height;
    for (ToolBarSection& section : sections) {
        section.x = 0;
        section.y = top - section.height;
        const float sectionTop = top;
        for (int i = 0; i < static_cast<int>(section.buttons.size()); ++i) {
            const int r = i / columnCount, c = i % columnCount;
            ImageButton& button = *section.buttons[static_cast<std::size_t>(i)];
            button.relX = m + (g + b) * static_cast<float>(c);
            button.relY = sectionTop - m - (g + b) * static_cast<float>(r) - b;
        }
        top -= section.height + m;
    }
}

int ToolBar::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    if (CompositeWidget::onMouseButton(button, state, x, y, fromPen) == 1) return 1;
    dragger.reset();
    pointerInside = Widget::hitTest(x, y);
    if (pointerInside && button == 0 && state == 0) dragger.begin(static_cast<float>(x), static_cast<float>(y));
    return pointerInside ? 1 : 0;
}

int ToolBar::onMouseDrag(int x, int y, bool fromPen) {
    if (CompositeWidget::onMouseDrag(x, y, fromPen) == 1 && dragger.activeHandle == -1) return 1;
    pointerInside = Widget::hitTest(x, y);
    const bool dragging = dragger.dragTo(static_cast<float>(x), static_cast<float>(y));
    return dragging || pointerInside ? 1 : 0;
}

void ToolBar::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    const float s = GuiScale;
    const bool shadows = interfaceShadowsOn();
    glDisable(GL_TEXTURE_2D);
    const float panelAlpha = gGuiColor[3] * a * 0.8f;
    if (shadows)
        for (const ToolBarSection& section : sections)
            drawShadow({absX + section.x, absY + section.y}, {section.width, section.height}, 4 * s, 15 * s,
                       a * 0.25f);
    glColor4f(gGuiColor[0], gGuiColor[1], gGuiColor[2], panelAlpha);
    for (const ToolBarSection& section : sections) {
        const math::Vec2 o{absX + section.x, absY + section.y};
        drawCorners(o + section.corners[0], o + section.corners[1], o + section.corners[2], o + section.corners[3]);
    }
    CompositeWidget::draw(1.0f);
    if (shadows)
        for (const ToolBarSection& section : sections)
            drawPanelGloss({absX + section.x, absY + section.y}, {section.width, section.height}, a * 0.4f);
}
