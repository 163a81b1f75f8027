#include "ui/ReplayPrompt.h"

#include <string>

#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/RenderArea.h"
#include "ui/ReplaySession.h"
#include "widgets/ButtonWidget.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"
#include "widgets/TextWidget.h"
#include "widgets/Widget.h"

namespace {
constexpr int kEnter = 13;
constexpr int kEsc = 27;

// The panel takes every key while it is open.
class PromptPanel : public GroupWidget {
public:
    using GroupWidget::GroupWidget;
    int onKey(int key, int x, int y) override {
        if (key == kEnter) answerReplayPrompt(true);
        else if (key == kEsc) answerReplayPrompt(false);
        else GroupWidget::onKey(key, x, y);
        return 1;
    }
};

std::shared_ptr<PromptPanel> gPrompt;
std::shared_ptr<CheckBoxWidget> gAutopan;

void close() {
    if (!gPrompt) return;
    InputDispatcher& dispatcher = InputDispatcher::instance();
    if (dispatcher.exclusive == gPrompt.get()) dispatcher.exclusive = nullptr;
    // The root lets it go at its next update, never during a delivery.
    if (gGui) gGui->remove(gPrompt);
    gPrompt.reset();
    gAutopan.reset();
}
} // namespace

bool openReplayPrompt() {
    if (!gGui || gPrompt || activePlayer()) return false;
    auto panel = std::make_shared<PromptPanel>(0, 0, 300, 120);
    panel->drawBackground = true;
    for (int i = 0; i < 4; ++i) panel->backgroundColor[i] = gGuiColor[i];
    panel->hAlign = HAlign::Centre;
    panel->vAlign = VAlign::Centre;
    const float black[4] = {0, 0, 0, 1};
    panel->add(std::make_shared<TextWidget>(20, 95, "Start replay?", 0, black));
    auto autopan = std::make_shared<CheckBoxWidget>(20, 55, false);
    autopan->label = "Autopan & zoom";
    panel->add(autopan);
    panel->add(std::make_shared<ButtonWidget>(20, 10, 110, 30, "Cancel", 0,
                                              [](Widget*) { answerReplayPrompt(false); }));
    panel->add(std::make_shared<ButtonWidget>(170, 10, 110, 30, "OK", 0,
                                              [](Widget*) { answerReplayPrompt(true); }));
    gPrompt = panel;
    gAutopan = autopan;
    gGui->add(panel);
    // Placed now, so that input before the root's next update hits the right spots.
    const int x = static_cast<int>((gRenderArea.width - panel->width) * 0.5f);
    const int y = static_cast<int>((gRenderArea.height - panel->height) * 0.5f);
    panel->update(0, x, y);
    InputDispatcher::instance().exclusive = panel.get();
    return true;
}

bool replayPromptOpen() { return gPrompt != nullptr; }
GroupWidget* replayPromptPanel() { return gPrompt.get(); }
CheckBoxWidget* replayPromptAutopan() { return gAutopan.get(); }

void answerReplayPrompt(bool ok) {
    if (!gPrompt) return;
    const bool autopan = gAutopan && gAutopan->checked;
    // Keep the panel alive while its own button's handler runs.
    std::shared_ptr<PromptPanel> keep = gPrompt;
    close();
    if (ok) startReplay(autopan);
}
