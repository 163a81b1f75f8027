#include "tools/ToolPanel.h"

#include "widgets/Animator.h"
#include "widgets/Widget.h"

std::shared_ptr<GroupWidget> gToolOptionsBar;

namespace {
constexpr int kShowMs = 250;
constexpr int kHideMs = 500;

void cancelFade() { AnimatorRegistry::instance().remove(kToolOptionsBarId); }
} // namespace

void createToolOptionsBar() {
    gToolOptionsBar = std::make_shared<GroupWidget>(0, 0, 0, kToolOptionsBarHeight, kToolOptionsBarId);
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
