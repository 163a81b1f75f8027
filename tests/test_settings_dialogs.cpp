// The settings dialog and the key bindings of the help dialog, without a
// window: controls, "Apply", "Reset" and what lands in the settings file.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "canvas/Painter.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "platform/Settings.h"
#include "ui/HelpDialog.h"
#include "ui/InterfaceHooks.h"
#include "ui/SettingsDialog.h"
#include "widgets/ButtonWidget.h"
#include "widgets/ComboWidget.h"
#include "widgets/EditControl.h"
#include "widgets/HueSelector.h"
#include "widgets/TextWidget.h"

namespace fs = std::filesystem;

namespace {

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

class SettingsDialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/kw_settingsdlg_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
        const char* old = std::getenv("XDG_CONFIG_HOME");
        hadConfig = old != nullptr;
        if (old) oldConfig = old;
        setenv("XDG_CONFIG_HOME", (dir + "/config").c_str(), 1);
        GuiScale = 1.0f;
        for (int i = 0; i < 4; ++i) savedColor[i] = gGuiColor[i];
        if (!gApp->options) gApp->createOptions();
        gApp->getOptions().reset();
        loc::gLanguages.clear();
        loc::loadDefaultStrings(loc::kDefaultLanguage, dir);
        commands::createCommands(*gApp, *gApp->painter);
        ui::gRebuildInterface = [this] { ++rebuilds; };
    }
    void TearDown() override {
        ui::gRebuildInterface = {};
        ui::gApplyInterfaceOptions = {};
        gApp->getOptions().reset();
        for (int i = 0; i < 4; ++i) gGuiColor[i] = savedColor[i];
        loc::gLanguages.clear();
        loc::loadDefaultStrings(loc::kDefaultLanguage, dir);
        if (hadConfig) setenv("XDG_CONFIG_HOME", oldConfig.c_str(), 1);
        else unsetenv("XDG_CONFIG_HOME");
        commands::createCommands(*gApp, *gApp->painter);
        fs::remove_all(dir);
    }
    std::string value(const std::string& name) {
        std::string v;
        return platform::readValue(name, v) ? v : "<missing>";
    }
    std::string dir, oldConfig;
    bool hadConfig = false;
    float savedColor[4];
    int rebuilds = 0;
};

} // namespace

TEST(SettingsColour, HueChangesOnlyTheHueOfTheFactoryColour) {
    // Factory colour (133, 147, 147) / 255: value 0.5764706, saturation
    // (0.5764706 - 0.52156866) / 0.5764706. At hue 0 red takes the value and
    // green and blue the minimum; at hue 120 green takes it.
    float rgb[3];
    guiColorForHue(0.0f, rgb);
    EXPECT_NEAR(rgb[0], 0.5764706f, 1e-5);
    EXPECT_NEAR(rgb[1], 0.52156866f, 1e-5);
    EXPECT_NEAR(rgb[2], 0.52156866f, 1e-5);
    guiColorForHue(120.0f, rgb);
    EXPECT_NEAR(rgb[0], 0.52156866f, 1e-5);
    EXPECT_NEAR(rgb[1], 0.5764706f, 1e-5);
    EXPECT_NEAR(rgb[2], 0.52156866f, 1e-5);
    // The factory hue gives the factory colour back (cyan: 180 degrees).
    const float factory[3] = {0.52156866f, 0.5764706f, 0.5764706f};
    EXPECT_NEAR(hueOf(factory), 180.0f, 1e-3);
    guiColorForHue(180.0f, rgb);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(rgb[i], factory[i], 1e-5);
}

TEST_F(SettingsDialogTest, ControlsShowTheOptions) {
    auto& o = gApp->getOptions();
    loc::gLanguages = {"DEU", "FRA"};
    o.language = "FRA";
    o.referenceViewOnLeft = false;
    o.showToggleGuiButton = false;
    o.showSecondView = true;
    o.guiShadow = false;
    guiColorForHue(90.0f, gGuiColor);
    SettingsDialog d;
    EXPECT_EQ(d.languageCodes, (std::vector<std::string>{"ENG", "DEU", "FRA"}));
    EXPECT_EQ(d.language->selected, 2);
    EXPECT_EQ(d.referenceSide->selected, 1);
    EXPECT_EQ(d.referenceSide->items, (std::vector<std::string>{"Left", "Right"}));
    EXPECT_FALSE(d.toggleGuiButton->checked);
    EXPECT_TRUE(d.secondView->checked);
    EXPECT_FALSE(d.shadow->checked);
    EXPECT_NEAR(d.hue->value, 0.25f, 1e-4);
    EXPECT_EQ(d.title, "Settings");
    EXPECT_EQ(d.toggleGuiButton->label, "Show \"toggle GUI\" button (in the upper left corner)");
}

TEST_F(SettingsDialogTest, ALanguageWithoutAFileShowsAsEnglish) {
    gApp->getOptions().language = "XYZ";
    SettingsDialog d;
    EXPECT_EQ(d.language->selected, 0);
    EXPECT_EQ(d.language->items[0], "ENG");
}

TEST_F(SettingsDialogTest, ApplyStoresEveryOptionAndRemakesCommandsAndInterface) {
    std::ofstream(dir + "/localization_DEU.txt") << "NEW_LAYER=neue Ebene\nNEW_SETTINGS_SAVED_STR=gespeichert\n";
    loc::scanLanguages(dir);
    SettingsDialog d;
    d.language->selected = 1; // DEU
    d.referenceSide->selected = 1;
    d.toggleGuiButton->checked = false;
    d.secondView->checked = true;
    d.shadow->checked = false;
    d.hue->setValue(1.0f / 3.0f, false); // 120 degrees
    const Command* before = gApp->applicationCommands.front().get();
    int applied = 0;
    ui::gApplyInterfaceOptions = [&](const PaintingApplicationOptions& o) {
        ++applied;
        EXPECT_FALSE(o.showToggleGuiButton);
    };
    // The file is read from the languages folder beside the program: point
    // the language at our folder through the same code path.
    d.applySettings();
    // The message is in the language just applied, from the program's own
    // languages folder (which ships a German file).
    const std::string savedText = tr(tk::NEW_SETTINGS_SAVED_STR);
    loc::loadDefaultStrings(gApp->getOptions().language, dir); // as the program's folder would give
    EXPECT_EQ(value("APP_LANGUAGE"), "DEU");
    EXPECT_EQ(value("REFERENCE_VIEW_SIDE"), "0");
    EXPECT_EQ(value("SHOW_TOGGLE_GUI_BTN"), "0");
    EXPECT_EQ(value("SHOW_SECOND_VIEW"), "1");
    EXPECT_EQ(value("GUI_SHADOW"), "0");
    // Hue 120 of the factory colour: (133, 147, 133) -> 859385.
    EXPECT_EQ(value("UI_COLOR"), "859385");
    EXPECT_EQ(rebuilds, 1);
    EXPECT_EQ(applied, 1);
    EXPECT_NE(gApp->applicationCommands.front().get(), before) << "commands are made anew";
    EXPECT_EQ(gApp->lastMessage, savedText);
    EXPECT_NE(gApp->lastMessage, "New settings saved");
    EXPECT_EQ(tr(tk::NEW_LAYER), "neue Ebene");
}

TEST_F(SettingsDialogTest, ApplyWithTheLanguageUnchangedStillRebuilds) {
    SettingsDialog d;
    d.applySettings();
    EXPECT_EQ(rebuilds, 1);
    EXPECT_EQ(value("APP_LANGUAGE"), "ENG");
    EXPECT_EQ(value("UI_COLOR"), "859393");
}

TEST_F(SettingsDialogTest, ResetShowsTheDefaultsAndStoresNothing) {
    auto& o = gApp->getOptions();
    o.referenceViewOnLeft = false;
    o.showToggleGuiButton = false;
    o.showSecondView = true;
    o.guiShadow = false;
    guiColorForHue(30.0f, gGuiColor);
    SettingsDialog d;
    d.resetSettings();
    EXPECT_EQ(d.language->selected, 0);
    EXPECT_EQ(d.referenceSide->selected, 0);
    EXPECT_TRUE(d.toggleGuiButton->checked);
    EXPECT_FALSE(d.secondView->checked);
    EXPECT_TRUE(d.shadow->checked);
    EXPECT_NEAR(d.hue->value, 0.5f, 1e-4);
    // Nothing changed until Apply.
    EXPECT_FALSE(o.referenceViewOnLeft);
    EXPECT_TRUE(o.showSecondView);
    EXPECT_EQ(value("REFERENCE_VIEW_SIDE"), "<missing>");
    EXPECT_EQ(rebuilds, 0);
}

TEST(KeyBindingConflicts, FirstRepeatedNonZeroCode) {
    EXPECT_EQ(firstRepeatedCode({}), -1);
    EXPECT_EQ(firstRepeatedCode({1, 0, 2, 0, 3}), -1);
    EXPECT_EQ(firstRepeatedCode({1, 2, 3, 2, 1}), 3);
    EXPECT_EQ(firstRepeatedCode({0, 0, 5, 5}), 3);
}

namespace {
HelpDialog::BindingRow rowOf(HelpDialog& d, int32_t id) {
    for (auto& r : d.rows)
        if (r.commandId == id) return r;
    return {};
}
} // namespace

TEST_F(SettingsDialogTest, HelpRowsHoldEveryRebindableCommandWithItsBindings) {
    auto d = HelpDialog::make();
    ASSERT_EQ(d->rows.size(), 17u);
    EXPECT_EQ(d->rows[0].commandId, commands::kNewImage);
    EXPECT_EQ(d->rows[13].commandId, commands::kZoomIn);
    // Control ids: the second control of row k is 0x6abab926 + k, the first that plus 0x26027a69.
    EXPECT_EQ(static_cast<uint32_t>(d->rows[0].second->id), 0x6abab926u);
    EXPECT_EQ(static_cast<uint32_t>(d->rows[2].first->id), 0x6abab926u + 2 + 0x26027a69u);
    const auto flip = rowOf(*d, commands::kFlipCanvas);
    EXPECT_EQ(flip.first->keyCode, 0x60);
    EXPECT_EQ(flip.second->keyCode, 0x3C);
    const auto layer = rowOf(*d, commands::kNewLayer);
    EXPECT_EQ(layer.first->keyCode, 0x6E);
    EXPECT_EQ(layer.second->keyCode, 0);
    EXPECT_EQ(layer.second->placeholder, "undefined");
}

TEST_F(SettingsDialogTest, RebindingStoresTheNewKeyAndDropsTheOld) {
    auto d = HelpDialog::make();
    rowOf(*d, commands::kNewLayer).first->setKeyCode('m');
    rowOf(*d, commands::kZoom100).second->setKeyCode(0x832); // CTRL+2
    ASSERT_TRUE(d->applyKeyBindings());
    EXPECT_EQ(d->feedback->text, "The new keyboard bindings were successfully updated.");
    EXPECT_EQ(rebuilds, 1);
    Command* layer = nullptr;
    for (auto& c : gApp->applicationCommands)
        if (c->id == commands::kNewLayer) layer = c.get();
    ASSERT_NE(layer, nullptr);
    EXPECT_TRUE(layer->matches('m'));
    EXPECT_FALSE(layer->matches('n'));
    // Stored under the decimal id: "%d" of 0x96375C25 is negative.
    EXPECT_EQ(value(std::to_string(static_cast<int64_t>(0x96375C25) - 4294967296LL)), "109");
    EXPECT_EQ(value(std::to_string(commands::kZoom100)), "2097|2098");
    // Read back as the next start does.
    commands::createCommands(*gApp, *gApp->painter);
    for (auto& c : gApp->applicationCommands) {
        if (c->id == commands::kNewLayer) {
            EXPECT_EQ(c->bindings, (std::vector<int32_t>{'m'}));
        }
    }
}

TEST_F(SettingsDialogTest, AConflictNamesTheKeyMarksTheRepeatAndStoresNothing) {
    auto d = HelpDialog::make();
    const std::string before = readFile(platform::settingsFilePath());
    rowOf(*d, commands::kNewLayer).first->setKeyCode('m');         // no conflict, still not stored
    rowOf(*d, commands::kMirror).second->setKeyCode(0x84E);        // CTRL+N, as "new image"
    EXPECT_FALSE(d->applyKeyBindings());
    EXPECT_EQ(d->feedback->text,
              "Unable to save changes!\nmultiple commands share the same key combination: [CTRL+N]");
    EXPECT_TRUE(rowOf(*d, commands::kMirror).second->invalid);
    EXPECT_FALSE(rowOf(*d, commands::kNewImage).first->invalid);
    EXPECT_EQ(readFile(platform::settingsFilePath()), before);
    EXPECT_EQ(rebuilds, 0);
    for (auto& c : gApp->applicationCommands) {
        if (c->id == commands::kNewLayer) {
            EXPECT_EQ(c->bindings, (std::vector<int32_t>{'n'}));
        }
    }
    // Clearing the repeat lets the next Apply through and unmarks the control.
    rowOf(*d, commands::kMirror).second->setKeyCode(0);
    EXPECT_TRUE(d->applyKeyBindings());
    EXPECT_FALSE(rowOf(*d, commands::kMirror).second->invalid);
}

TEST_F(SettingsDialogTest, ResetPutsTheDefaultBindingsIntoTheControls) {
    auto d = HelpDialog::make();
    rowOf(*d, commands::kFlipCanvas).first->setKeyCode('q');
    rowOf(*d, commands::kFlipCanvas).second->setKeyCode(0);
    rowOf(*d, commands::kNewLayer).second->setKeyCode('w');
    d->resetKeyBindings();
    EXPECT_EQ(rowOf(*d, commands::kFlipCanvas).first->keyCode, 0x60);
    EXPECT_EQ(rowOf(*d, commands::kFlipCanvas).second->keyCode, 0x3C);
    EXPECT_EQ(rowOf(*d, commands::kNewLayer).second->keyCode, 0);
    EXPECT_EQ(value(std::to_string(commands::kFlipCanvas)), "<missing>");
}

TEST_F(SettingsDialogTest, ARemakeInsideARunningCommandStopsTheRunSafely) {
    // A command that remakes every list (as "Apply" of the settings does from
    // inside the command that opened the dialog), then uses its own captures.
    int laterRuns = 0;
    std::string captured = "still alive";
    std::string seen;
    commands::CommandList list;
    list.push_back(std::make_unique<Command>(1, "remakes", 'q', 0, [&seen, text = captured] {
        commands::createCommands(*gApp, *gApp->painter);
        seen = text; // the lambda's own copy must outlive the remake
        return 1;
    }));
    list.push_back(std::make_unique<Command>(2, "later", 'q', 0, [&laterRuns] {
        ++laterRuns;
        return 1;
    }));
    gApp->applicationCommands = std::move(list);
    EXPECT_EQ(commands::runMatching(gApp->applicationCommands, 'q'), 1);
    EXPECT_EQ(seen, "still alive");
    EXPECT_EQ(laterRuns, 0) << "a run stops when the lists were made anew";
    EXPECT_EQ(gApp->applicationCommands.size(), 13u);
}

TEST_F(SettingsDialogTest, CommandNamesFollowTheLanguage) {
    std::ofstream(dir + "/localization_DEU.txt") << "NEW_LAYER=neue Ebene\nZOOM_IN=vergr\xf6\xdf" "ern\n";
    loc::loadDefaultStrings("DEU", dir);
    commands::createCommands(*gApp, *gApp->painter);
    EXPECT_EQ(gApp->applicationCommands[4]->name, "neue Ebene");
    EXPECT_EQ(gApp->painter->commands[0]->name, "vergr\xf6\xdf" "ern");
    EXPECT_EQ(gApp->applicationCommands[5]->name, "layer merge"); // not translated: English
    auto d = HelpDialog::make();
    ASSERT_EQ(d->rows.size(), 17u);
    EXPECT_EQ(d->rows[4].commandId, commands::kNewLayer);
}

TEST_F(SettingsDialogTest, TabOrderHoldsTheControlsAndSkipsTheLabels) {
    SettingsDialog d;
    std::vector<Widget*> stops;
    for (std::size_t i = 0; i < d.tabOrder.size(); ++i)
        if (!d.tabSkip[i]) stops.push_back(d.children.at(d.tabOrder[i]).get());
    // Two combos, three check boxes, the hue, three buttons.
    EXPECT_EQ(stops.size(), 9u);
    for (Widget* w : stops) EXPECT_EQ(dynamic_cast<TextWidget*>(w), nullptr);
    EXPECT_EQ(stops.front(), d.language.get());
}
