#include "widgets/TabControl.h"

#include <GL/glew.h>

#include "core/Globals.h"
#include "widgets/DrawHelpers.h"

void TabButton::draw(float opacity_) {
    if (isActive && isActive()) {
        glColor4f(0.16f, 0.56f, 0.6f, 0.8f * effectiveAlpha(opacity_));
        drawRect(absX, absY, width, height);
    }
    ButtonWidget::draw(opacity_);
}

TabControl::TabControl(int x, int y, int width_, int height_, int32_t id_)
    : CompositeWidget(x, y, width_, height_, id_) {}

void TabControl::addTab(const std::string& name) {
    if (pages.count(name)) return;
    const float s = GuiScale;
    auto button = std::make_shared<TabButton>(static_cast<int>(static_cast<float>(nextTabX) / s), 0,
                                              static_cast<int>(static_cast<float>(static_cast<int>(50 * s)) / s), 30,
                                              name, 0, [this, name](Widget*) { selectTab(name); });
    button->hAlign = HAlign::Left;
    button->vAlign = VAlign::Top;
    button->isActive = [this, name] { return currentTab == name; };
    add(button, false);
    nextTabX = static_cast<int32_t>(static_cast<float>(nextTabX) + s + button->width);
    // The page fills the control below the row of buttons.
    auto page = std::make_shared<CompositeWidget>(0, -30, static_cast<int>(width / s),
                                                  static_cast<int>(static_cast<float>(static_cast<int>(height) - static_cast<int>(30 * s)) / s));
    page->vAlign = VAlign::Top;
    pages[name] = page;
    add(page);
    if (currentTab.empty()) selectTab(name);
    else page->visible = page->enabled = false;
}

void TabControl::addToTab(const std::string& name, std::shared_ptr<Widget> widget) {
    auto it = pages.find(name);
    if (it != pages.end()) it->second->add(std::move(widget), true);
}

void TabControl::selectTab(const std::string& name) {
    currentTab = name;
    for (auto& [pageName, page] : pages) {
        const bool on = pageName == name;
        page->enabled = on;
        page->setVisible(on);
    }
}

CompositeWidget* TabControl::page(const std::string& name) {
    auto it = pages.find(name);
    return it == pages.end() ? nullptr : it->second.get();
}

void TabControl::draw(float opacity_) {
    glColor4f(1, 1, 1, 0.2f * opacity * opacity_);
    drawRect(absX, absY, width, height);
    CompositeWidget::draw(opacity_);
}
