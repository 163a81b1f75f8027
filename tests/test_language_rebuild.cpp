// A change of language throws the whole interface away and builds it again
// from inside the settings dialog. Done many times over, that must not leave
// widgets behind: the count of live widgets returns to the same value after
// every rebuild. (Under the sanitizer build a leak also fails at exit.)
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "canvas/Painter.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputCallbacks.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "core/RenderArea.h"
#include "platform/Clock.h"
#include "support/ProgramInterface.h"
#include "test_command_support.h"
#include "tools/ToolPanel.h"
#include "ui/Interface.h"
#include "ui/InterfaceHooks.h"
#include "ui/SettingsDialog.h"
#include "widgets/Animator.h"
#include "widgets/ComboWidget.h"
#include "widgets/Dialog.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"
#include "widgets/TextWidget.h"

namespace {

class LanguageRebuild : public ::testing::Test {
protected:
    void SetUp() override {
        savedScale = GuiScale;
        GuiScale = 1.0f;
        // Time passes between the rounds as in the running program: the
        // notification's fades end and let go of the widgets they hold. Fades
        // that earlier tests left behind would end in the middle of the
        // rounds and free their widgets there: they go first.
        AnimatorRegistry::instance().clear();
        fakeNow = platform::nowMs();
        platform::setClockOverride([this] { return fakeNow; });
        program = std::make_unique<ProgramInterface>();
        if (!gApp->options) gApp->createOptions();
        gApp->getOptions().reset();
        // The languages folder beside the program: the build copies the shipped files there.
        loc::initLocalization(loc::kDefaultLanguage);
        commands::createCommands(*gApp, gPainter);
        ui::gRebuildInterface = [] { rebuildInterface(); };
        program->build();
        settle();
    }
    void TearDown() override {
        ui::gRebuildInterface = {};
        program.reset();
        gApp->getOptions().reset();
        loc::loadDefaultStrings(loc::kDefaultLanguage);
        commands::createCommands(*gApp, gPainter);
        GuiScale = savedScale;
        platform::setClockOverride({});
    }
    // The root takes new children in at one update and places them at the
    // next; then two seconds go by, in which every fade ends.
    void settle() {
        gGui->update(0, 0, 0);
        gGui->update(0, 0, 0);
        for (int t = 0; t < 100; ++t) {
            fakeNow += 20;
            AnimatorRegistry::instance().tick();
        }
    }
    static int indexOf(const SettingsDialog& d, const std::string& code) {
        for (std::size_t i = 0; i < d.languageCodes.size(); ++i)
            if (d.languageCodes[i] == code) return static_cast<int>(i);
        return -1;
    }
    static std::string commandName(int32_t id) {
        for (const auto& c : gApp->applicationCommands)
            if (c->id == id) return c->name;
        return "<none>";
    }

    TempSettingsFolder folder;
    int32_t fakeNow = 1000;
    float savedScale = 1.0f;
    std::unique_ptr<ProgramInterface> program;
};

} // namespace

TEST_F(LanguageRebuild, FiftyLanguageChangesLeaveNoWidgetBehind) {
    auto dialog = std::make_shared<SettingsDialog>();
    pushCentered(dialog);
    showTop();
    settle();
    const int deu = indexOf(*dialog, "DEU"), fra = indexOf(*dialog, "FRA"), eng = indexOf(*dialog, "ENG");
    ASSERT_GE(deu, 0) << "the German file is missing from the languages folder";
    ASSERT_GE(fra, 0) << "the French file is missing from the languages folder";
    ASSERT_EQ(eng, 0);

    // A first rebuild replaces whatever earlier tests left in the interface,
    // so the count to come back to is that of the interface the program builds.
    dialog->language->selected = eng;
    dialog->applySettings();
    settle();
    const int before = Widget::liveCount();
    const int codes[3] = {deu, fra, eng};
    const char* newImage[3] = {"Neues Bild", "nouvelle image", "new image"};
    std::vector<int> counts;
    for (int round = 0; round < 50; ++round) {
        dialog->language->selected = codes[round % 3];
        dialog->applySettings();
        settle();
        ASSERT_EQ(gGui->children.back(), dialog) << "round " << round << ": the dialog stays open";
        ASSERT_EQ(commandName(commands::kNewImage), newImage[round % 3]) << "round " << round;
        counts.push_back(Widget::liveCount());
    }
    // A rebuild makes exactly as many widgets as it frees: every round comes
    // back to the count after the first rebuild.
    for (std::size_t i = 0; i < counts.size(); ++i)
        EXPECT_EQ(counts[i], before) << "after rebuild " << i + 1 << " of 50";

    // Closing the dialog and throwing the interface away frees the lot.
    closeAllDialogs();
    dialog.reset();
    gGui->children.clear();
    gGui->pendingAdd.clear();
}

TEST_F(LanguageRebuild, TheCounterSeesWidgetsComeAndGo) {
    const int before = Widget::liveCount();
    {
        auto text = std::make_shared<TextWidget>(0, 0, "x");
        EXPECT_EQ(Widget::liveCount(), before + 1);
        TextWidget copy = *text;
        EXPECT_EQ(Widget::liveCount(), before + 2);
    }
    EXPECT_EQ(Widget::liveCount(), before);
}
