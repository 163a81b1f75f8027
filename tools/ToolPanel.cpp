#include "tools/ToolPanel.h"

#include "widgets/Animator.h"
#include "widgets/Widget.h"

std::shared_ptr<GroupWidget> gToolOptionsBar;

namespace {
constexpr int kShowMs = 250;
constexpr int kHideMs = 500;

void cancelFade() { AnimatorRegistry::instance().remove(kToolOptionsBarId); }

// A tool without options leaves the strip empty: it then neither shows its
// band nor takes the pointer, so the canvas under it stays usable.
class ToolOptionsStrip : public GroupWidget {
public:
    using GroupWidget::GroupWidget;
    int onMouseButton(int button, int state, int x, int y, bool fromPen) override {
        return children.empty() ? 0 : GroupWidget::onMouseButton(button, state, x, y, fromPen);
    }
    int onMouseMove(int x, int y, bool fromPen) override {
        return children.empty() ? 0 : GroupWidget::onMouseMove(x, y, fromPen);
    }
    int onMouseDrag(int x, int y, bool fromPen) override {
        return children.empty() ? 0 : GroupWidget::onMouseDrag(x, y, fromPen);
    }
    void draw(float opacity) override {
        if (!children.empty()) GroupWidget::draw(opacity);
    }
};
} // namespace

void createToolOptionsBar() {
    gToolOptionsBar = std::make_shared<ToolOptionsStrip>(0, 0, 0, kToolOptionsBarHeight, kToolOptionsBarId);
    gToolOptionsBar->drawBackground = true;
    gToolOptionsBar->setVisible(false);
}

void placeToolOptionsBar(int windowWidth, int windowHeight) {
    if (!gToolOptionsBar) return;
    gToolOptionsBar->width = static_cast<float>(windowWidth);
    gToolOptionsBar->relX = 0;
    gToolOptionsBar->relY = static_cast<float>(windowHeight) - gToolOptionsBar->height;
    gToolOptionsBar->onSizeChanged();
}

void showToolPanel() {
    if (!gToolOptionsBar) return;
    cancelFade();
    fadeIn(kShowMs, kToolOptionsBarId, gToolOptionsBar);
}

void hideToolPanel() {
    if (!gToolOptionsBar) return;
    cancelFade();
    fadeOut(kHideMs, kToolOptionsBarId, gToolOptionsBar);
    gToolOptionsBar->children.clear();
}
