#pragma once
// Tabs: a row of tab buttons along the top and one page per tab below them.
// Only the selected page is visible and enabled.
#include <map>
#include <memory>
#include <string>

#include "widgets/ButtonWidget.h"
#include "widgets/Widget.h"

// A button that shows whether its tab is the current one.
class TabButton : public ButtonWidget {
public:
    using ButtonWidget::ButtonWidget;
    void draw(float opacity) override;
    std::function<bool()> isActive;
};

class TabControl : public CompositeWidget {
public:
    // x, y, width, height in 96-dpi units, as for any composite.
    TabControl(int x, int y, int width, int height, int32_t id = 0);

    // A tab button and an empty page; nothing when the name exists.
    void addTab(const std::string& name);
    // Added to the page, skipped in the tab order; nothing for an unknown tab.
    void addToTab(const std::string& name, std::shared_ptr<Widget> widget);
    // Shows that page alone; an unknown name hides them all.
    void selectTab(const std::string& name);
    CompositeWidget* page(const std::string& name);

    void draw(float opacity) override;

    std::string currentTab;
    int32_t nextTabX = 0; // pixels
    std::map<std::string, std::shared_ptr<CompositeWidget>> pages;
};
