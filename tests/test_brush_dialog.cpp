// The brush properties dialog without a window: every control writes its
// field of the private copy (driven through the control's own input
// handlers), "OK" copies it over the active brush and "Cancel" does not, the
// preset list grows, shrinks and is written when the dialog goes, and F5 and
// Ctrl+click on the brush button open it.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <fstream>

#include "brush/Brush.h"
#include "brush/BrushPresets.h"
#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "core/RenderArea.h"
#include "ui/BrushPreview.h"
#include "ui/BrushPropertiesDialog.h"
#include "ui/BrushStrokePreview.h"
#include "ui/Interface.h"
#include "ui/ToolBar.h"
#include "widgets/Animator.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Dialog.h"
#include "widgets/EditControl.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"
#include "widgets/ImageButton.h"
#include "widgets/ScrollWidgets.h"
#include "widgets/Slider.h"
#include "widgets/TabControl.h"
#include "TestPaths.h"

namespace fs = std::filesystem;
using namespace brushdlg;

namespace {

// A button of a dialog by its label.
ButtonWidget* buttonLabelled(CompositeWidget& parent, const std::string& label) {
    for (const auto& [key, child] : parent.children)
        if (auto* b = dynamic_cast<ButtonWidget*>(child.get()); b && b->label == label) return b;
    return nullptr;
}

// A left click (press and release) at the centre of a widget, through its handler.
void click(Widget& w) {
    const int x = static_cast<int>(w.absX + w.width / 2), y = static_cast<int>(w.absY + w.height / 2);
    w.onMouseButton(0, 0, x, y, false);
    w.onMouseButton(0, 1, x, y, false);
}

// A press on the slider's track `pos` pixels from its start, and the release.
template <typename T> void pressSlider(Slider<T>& s, int pos) {
    const int x = static_cast<int>(s.absX) + 5 + pos, y = static_cast<int>(s.absY) + 2;
    s.onMouseButton(0, 0, x, y, false);
    s.onMouseButton(0, 1, x, y, false);
}

class BrushDialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        GuiScale = 1.0f;
        char tmpl[] = "/tmp/kw_brushdlg_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
        loc::loadDefaultStrings(loc::kDefaultLanguage, dir);
        tips.build(fs::path(KW_TEST_DATA_DIR) / "brushes", dir + "/no_user_tips");
        ASSERT_GE(tips.folderCount(), 3u) << "the factory tips";
        active = Brush{};
        active.size = 12;
        presetsFile = dir + "/brush_presets.xml";
        savedGui = gGui;
        gGui.reset();
        InputDispatcher::instance().exclusive = nullptr;
    }
    void TearDown() override {
        dialog.reset();
        closeAllDialogs();
        setModalWait({});
        AnimatorRegistry::instance().clear();
        InputDispatcher::instance().exclusive = nullptr;
        gGui = savedGui;
        gInputState.ctrl = false;
        fs::remove_all(dir);
    }
    BrushPropertiesDialog& open() {
        dialog = std::make_shared<BrushPropertiesDialog>(static_cast<int>(tips.folderCount()), active, presets, tips,
                                                         presetsFile);
        dialog->update(0, 0, 0);
        return *dialog;
    }
    template <typename T> Slider<T>& slider(int32_t id) {
        auto* s = dynamic_cast<Slider<T>*>(dialog->findChild(id));
        EXPECT_NE(s, nullptr) << std::hex << id;
        return *s;
    }
    CheckBoxWidget& checkBox(int32_t id) {
        auto* c = dynamic_cast<CheckBoxWidget*>(dialog->findChild(id));
        EXPECT_NE(c, nullptr) << std::hex << id;
        return *c;
    }
    // Runs the modal wait of nested boxes through `answer`, which gets the box on top.
    void answerBoxes(std::function<void(Dialog&)> answer) {
        setModalWait([answer](const std::function<bool()>& done) {
            auto* top = dynamic_cast<Dialog*>(topDialog());
            ASSERT_NE(top, nullptr);
            top->update(0, 0, 0);
            answer(*top);
            EXPECT_TRUE(done());
        });
    }

    std::string dir;
    BrushTipTable tips;
    BrushPresetManager presets;
    Brush active;
    std::string presetsFile;
    std::shared_ptr<BrushPropertiesDialog> dialog;
    std::shared_ptr<GUI> savedGui;
};

struct FloatRow {
    int32_t id;
    float Brush::*field;
    float minValue, maxValue;
};

} // namespace

TEST_F(BrushDialogTest, EverySliderWritesItsFieldOfTheCopyOnly) {
    BrushPropertiesDialog& d = open();
    const Brush before = active;
    const FloatRow rows[] = {
        {kSizeJitterId, &Brush::size_jitter, 0, 100},     {kSpacingId, &Brush::spacing, 0.015625f, 5},
        {kScatteringId, &Brush::scattering, 0, 10},       {kOpacityId, &Brush::opacity, 0, 1},
        {kOpacityJitterId, &Brush::opacity_jitter, 0, 100}, {kHueJitterId, &Brush::colorJitterH, 0, 360},
        {kSaturationJitterId, &Brush::colorJitterS, 0, 1}, {kValueJitterId, &Brush::colorJitterV, 0, 1},
        {kAngleId, &Brush::angle, -180, 180},             {kAngleJitterId, &Brush::angle_randomness, 0, 360},
    };
    for (const FloatRow& row : rows) {
        Slider<float>& s = slider<float>(row.id);
        // The slider fills the page right of its 130-unit label column.
        EXPECT_EQ(static_cast<int>(s.width), 350 - 130) << std::hex << row.id;
        d.preview().rebuild = false;
        // A press within 10 pixels of the knob grabs it without a jump:
        // first the middle, so that both ends lie far from the knob.
        pressSlider(s, s.trackLength() / 2);
        pressSlider(s, 0);
        EXPECT_FLOAT_EQ(d.editedBrush().*row.field, row.minValue) << std::hex << row.id;
        pressSlider(s, s.trackLength());
        EXPECT_FLOAT_EQ(d.editedBrush().*row.field, row.maxValue) << std::hex << row.id;
        // Halfway along a linear track: halfway through the range.
        pressSlider(s, s.trackLength() / 2);
        EXPECT_NEAR(d.editedBrush().*row.field, (row.minValue + row.maxValue) / 2, (row.maxValue - row.minValue) / 200)
            << std::hex << row.id;
        EXPECT_TRUE(d.preview().rebuild) << "the preview is asked to redraw";
    }
    EXPECT_EQ(active, before) << "nothing reaches the active brush before OK";
}

TEST_F(BrushDialogTest, SizeSliderIsLogarithmicAndReachesTheLargestBrush) {
    BrushPropertiesDialog& d = open();
    Slider<int>& s = slider<int>(kSizeId);
    EXPECT_EQ(s.value, 12);
    pressSlider(s, s.trackLength());
    EXPECT_EQ(d.editedBrush().size, 500);
    pressSlider(s, 0);
    EXPECT_EQ(d.editedBrush().size, 1);
    // Halfway along: the geometric mean of 1 and 500, about 22.
    pressSlider(s, s.trackLength() / 2);
    EXPECT_NEAR(d.editedBrush().size, 22, 1);
    EXPECT_EQ(active.size, 12);
}

TEST_F(BrushDialogTest, CheckBoxesWriteTheirFlags) {
    BrushPropertiesDialog& d = open();
    click(checkBox(kSizeFollowsPressureId));
    EXPECT_TRUE(d.editedBrush().SizeFollowsPressure);
    click(checkBox(kFlowFollowsPressureId));
    EXPECT_FALSE(d.editedBrush().FlowFollowsPressure);
    click(checkBox(kDryBrushId));
    EXPECT_TRUE(d.editedBrush().hasFlag(kBrushFlagDryBrush));
    // Colour dynamics also switches the three colour sliders.
    EXPECT_FALSE(slider<float>(kHueJitterId).enabled);
    click(checkBox(kColorDynamicsId));
    EXPECT_TRUE(d.editedBrush().hasFlag(kBrushFlagColorDynamics));
    EXPECT_TRUE(slider<float>(kHueJitterId).enabled);
    EXPECT_TRUE(slider<float>(kSaturationJitterId).enabled);
    EXPECT_TRUE(slider<float>(kValueJitterId).enabled);
    click(checkBox(kColorDynamicsId));
    EXPECT_FALSE(d.editedBrush().hasFlag(kBrushFlagColorDynamics));
    EXPECT_FALSE(slider<float>(kValueJitterId).enabled);
    EXPECT_FALSE(active.SizeFollowsPressure);
    EXPECT_TRUE(active.FlowFollowsPressure);
    EXPECT_EQ(active.flags, uint32_t(kBrushFlagNone));
}

TEST_F(BrushDialogTest, DisabledColourSlidersDoNotReact) {
    BrushPropertiesDialog& d = open();
    ASSERT_FALSE(d.editedBrush().hasFlag(kBrushFlagColorDynamics));
    TabControl& tabs = *d.tabs;
    tabs.selectTab("color");
    d.update(0, 0, 0);
    Slider<float>& hue = slider<float>(kHueJitterId);
    // Through the dialog, as the pointer would reach it.
    const int x = static_cast<int>(hue.absX) + 5, y = static_cast<int>(hue.absY) + 2;
    d.onMouseButton(0, 0, x, y, false);
    d.onMouseButton(0, 1, x, y, false);
    EXPECT_FLOAT_EQ(d.editedBrush().colorJitterH, 80.0f) << "kept while colour dynamics is off";
    click(checkBox(kColorDynamicsId));
    d.update(0, 0, 0);
    d.onMouseButton(0, 0, x, y, false);
    d.onMouseButton(0, 1, x, y, false);
    EXPECT_FLOAT_EQ(d.editedBrush().colorJitterH, 0.0f);
}

TEST_F(BrushDialogTest, TipCellsSelectTheTipAndShowItsName) {
    BrushPropertiesDialog& d = open();
    GridWidget& grid = *d.tipGrid;
    ASSERT_EQ(grid.items.size(), tips.folderCount());
    EXPECT_EQ(grid.selectedRow, 0);
    EXPECT_EQ(grid.selectedColumn, 0) << "the active brush's tip";
    EXPECT_EQ(d.tipName->text(), "no texture");
    // The cell of tip 2: row 0 (the top), column 2; cells are 87 x 40.
    const int x = static_cast<int>(grid.absX) + 2 * 87 + 40, y = static_cast<int>(grid.absY + grid.height) - 20;
    grid.onMouseButton(0, 0, x, y, false);
    grid.onMouseButton(0, 1, x, y, false);
    EXPECT_EQ(d.editedBrush().tipIndex, 2);
    EXPECT_EQ(d.tipName->text(), tips.find(2)->name);
    EXPECT_EQ(active.tipIndex, 0);
    // Each cell shows its tip at 36 units, white, without zoom or outline.
    auto* cell = dynamic_cast<BrushPreviewWidget*>(grid.items[2].get());
    ASSERT_NE(cell, nullptr);
    EXPECT_EQ(cell->brush->tipIndex, 2);
    EXPECT_EQ(cell->brush->size, 36);
    EXPECT_FALSE(cell->scaleByZoom);
    EXPECT_FALSE(cell->showOutline);
    EXPECT_EQ(cell->color[0], 1.0f);
}

TEST_F(BrushDialogTest, ATipOfAProcessIsLeftAsItIs) {
    active.tipIndex = static_cast<int32_t>(tips.folderCount()) + 3;
    BrushPropertiesDialog& d = open();
    EXPECT_EQ(d.editedBrush().tipIndex, active.tipIndex);
    EXPECT_EQ(d.tipGrid->selectedRow, -1);
}

TEST_F(BrushDialogTest, OkCopiesTheCopyAndCancelLeavesTheActiveBrush) {
    {
        BrushPropertiesDialog& d = open();
        pressSlider(slider<float>(kScatteringId), 0);
        pressSlider(slider<int>(kSizeId), slider<int>(kSizeId).trackLength());
        click(checkBox(kDryBrushId));
        ButtonWidget* cancel = buttonLabelled(d, "Cancel");
        ASSERT_NE(cancel, nullptr);
        click(*cancel);
        EXPECT_TRUE(d.closed);
        EXPECT_EQ(d.result, kDialogCancel);
        EXPECT_EQ(active.size, 12);
        EXPECT_FALSE(active.hasFlag(kBrushFlagDryBrush));
    }
    {
        BrushPropertiesDialog& d = open();
        pressSlider(slider<int>(kSizeId), slider<int>(kSizeId).trackLength());
        pressSlider(slider<float>(kAngleId), 0);
        click(checkBox(kDryBrushId));
        const Brush edited = d.editedBrush();
        ButtonWidget* ok = buttonLabelled(d, "OK");
        ASSERT_NE(ok, nullptr);
        click(*ok);
        EXPECT_EQ(d.result, kDialogOk);
        EXPECT_EQ(active, edited);
        EXPECT_EQ(active.size, 500);
        EXPECT_FLOAT_EQ(active.angle, -180.0f);
        EXPECT_TRUE(active.hasFlag(kBrushFlagDryBrush));
    }
}

TEST_F(BrushDialogTest, ResetPutsTheDefaultBrushIntoTheCopy) {
    active.tipIndex = 2;
    active.spacing = 2.0f;
    active.setFlag(kBrushFlagColorDynamics, true);
    BrushPropertiesDialog& d = open();
    ButtonWidget* reset = buttonLabelled(d, "Reset");
    ASSERT_NE(reset, nullptr);
    click(*reset);
    EXPECT_EQ(d.editedBrush(), defaultBrush());
    EXPECT_EQ(d.tipGrid->selectedColumn, 0);
    EXPECT_FLOAT_EQ(d.spacingSlider->value, 0.0625f);
    EXPECT_FALSE(checkBox(kColorDynamicsId).checked);
    EXPECT_EQ(active.tipIndex, 2);
}

TEST_F(BrushDialogTest, APresetFillsTheCopyKeepsTheModeAndMovesTheSliders) {
    Brush preset;
    preset.size = 77;
    preset.spacing = 0.5f;
    preset.size_jitter = 33.0f;
    preset.tipIndex = 1;
    preset.setFlag(kBrushFlagDryBrush, true);
    presets.presets.push_back({"wide", preset});
    active.mode = kBrushModeErase;
    BrushPropertiesDialog& d = open();
    ASSERT_EQ(d.presetList->items.size(), 1u);
    d.update(0, 0, 0);
    // The row: a sample stroke of the preset, as wide as the list.
    auto* row = dynamic_cast<BrushStrokePreviewWidget*>(d.presetList->items[0].get());
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(static_cast<int>(row->width), 250);
    EXPECT_EQ(row->brush.size, static_cast<int>(row->height) / 4);
    // A click on the first row.
    GridWidget& list = *d.presetList;
    const int x = static_cast<int>(list.absX) + 100, y = static_cast<int>(list.absY + list.height) - 5;
    list.onMouseButton(0, 0, x, y, false);
    list.onMouseButton(0, 1, x, y, false);
    EXPECT_EQ(d.editedBrush().size, 77);
    EXPECT_EQ(d.editedBrush().tipIndex, 1);
    EXPECT_EQ(d.editedBrush().mode, kBrushModeErase) << "a preset doesn't switch to painting";
    EXPECT_EQ(d.presetName->text(), "wide");
    EXPECT_TRUE(checkBox(kDryBrushId).checked);
    EXPECT_EQ(d.tipGrid->selectedColumn, 1);
    // Spacing is set at once; the others follow on the next update by polling.
    EXPECT_FLOAT_EQ(d.spacingSlider->value, 0.5f);
    EXPECT_NE(slider<int>(kSizeId).value, 77);
    d.update(20, 0, 0);
    EXPECT_EQ(slider<int>(kSizeId).value, 77);
    EXPECT_FLOAT_EQ(slider<float>(kSizeJitterId).value, 33.0f);
    // Typing in the name box renames nothing.
    d.presetName->setText("other", true);
    EXPECT_EQ(presets.presets[0].name, "wide");
}

TEST_F(BrushDialogTest, AddPresetAsksForANameAndAppendsTheCopy) {
    BrushPropertiesDialog& d = open();
    pressSlider(slider<int>(kSizeId), slider<int>(kSizeId).trackLength());
    std::string offered;
    answerBoxes([&](Dialog& box) {
        EXPECT_EQ(box.title, "Preset name");
        auto* name = dynamic_cast<EditControl*>(box.findChild(kPresetNameInputId));
        ASSERT_NE(name, nullptr);
        offered = name->text();
        name->setText("big_one", false);
        ButtonWidget* ok = buttonLabelled(box, "OK");
        ASSERT_NE(ok, nullptr);
        click(*ok);
    });
    ButtonWidget* add = buttonLabelled(d, "Add preset");
    ASSERT_NE(add, nullptr);
    click(*add);
    EXPECT_EQ(offered, "preset_0");
    ASSERT_EQ(presets.presets.size(), 1u);
    EXPECT_EQ(presets.presets[0].name, "big_one");
    EXPECT_EQ(presets.presets[0].brush.size, 500);
    EXPECT_EQ(d.presetList->items.size(), 1u);
    EXPECT_EQ(d.presetList->selectedRow, -1);

    // A second one offers the next number; Cancel adds nothing.
    answerBoxes([&](Dialog& box) {
        offered = dynamic_cast<EditControl*>(box.findChild(kPresetNameInputId))->text();
        click(*buttonLabelled(box, "Cancel"));
    });
    click(*add);
    EXPECT_EQ(offered, "preset_1");
    EXPECT_EQ(presets.presets.size(), 1u);
    EXPECT_EQ(active.size, 12);
}

TEST_F(BrushDialogTest, RemovePresetAsksAndNeedsASelection) {
    presets.presets.push_back({"one", Brush{}});
    presets.presets.push_back({"two", Brush{}});
    presets.presets.push_back({"three", Brush{}});
    BrushPropertiesDialog& d = open();
    ButtonWidget* remove = buttonLabelled(d, "Remove Preset");
    ASSERT_NE(remove, nullptr);
    std::string asked;
    answerBoxes([&](Dialog& box) {
        asked = box.title;
        box.accept();
    });
    click(*remove);
    EXPECT_EQ(asked, "No preset is selected");
    EXPECT_EQ(presets.presets.size(), 3u);

    d.presetList->select(1, 0);
    ASSERT_EQ(d.presetName->text(), "two");
    // "Cancel" keeps it.
    answerBoxes([&](Dialog& box) {
        asked = box.title;
        box.cancel();
    });
    click(*remove);
    EXPECT_EQ(asked, "Confirm deletion of preset\n'two'?");
    EXPECT_EQ(presets.presets.size(), 3u);
    // "Yes" removes it; the later ones move up, nothing stays selected.
    answerBoxes([&](Dialog& box) {
        ButtonWidget* yes = buttonLabelled(box, "Yes");
        ASSERT_NE(yes, nullptr);
        click(*yes);
    });
    click(*remove);
    ASSERT_EQ(presets.presets.size(), 2u);
    EXPECT_EQ(presets.presets[0].name, "one");
    EXPECT_EQ(presets.presets[1].name, "three");
    EXPECT_EQ(d.presetList->items.size(), 2u);
    EXPECT_EQ(d.presetList->selectedRow, -1);
    EXPECT_EQ(d.presetList->scrollbar.firstVisible, 0);
}

TEST_F(BrushDialogTest, PresetsAreWrittenWhenTheDialogGoesEvenAfterCancel) {
    BrushPropertiesDialog& d = open();
    pressSlider(slider<int>(kSizeId), 0);
    answerBoxes([&](Dialog& box) {
        dynamic_cast<EditControl*>(box.findChild(kPresetNameInputId))->setText("kept", false);
        click(*buttonLabelled(box, "OK"));
    });
    click(*buttonLabelled(d, "Add preset"));
    click(*buttonLabelled(d, "Cancel"));
    EXPECT_FALSE(fs::exists(presetsFile)) << "not before the dialog goes";
    dialog.reset();
    ASSERT_TRUE(fs::exists(presetsFile));
    BrushPresetManager reread;
    reread.load(presetsFile, dir + "/no_factory.xml", tips);
    ASSERT_EQ(reread.presets.size(), 1u);
    EXPECT_EQ(reread.presets[0].name, "kept");
    EXPECT_EQ(reread.presets[0].brush.size, 1);
    EXPECT_EQ(active.size, 12);
}

TEST_F(BrushDialogTest, TheLayoutFollowsTheTable) {
    BrushPropertiesDialog& d = open();
    EXPECT_EQ(d.title, "Brush properties");
    EXPECT_EQ(static_cast<int>(d.width), 800);
    EXPECT_EQ(static_cast<int>(d.height), 600);
    // Inner area: 20 in from the sides, 80 below the top, 15 above the bottom.
    BrushStrokePreviewWidget& p = d.preview();
    EXPECT_EQ(static_cast<int>(p.absX), 20);
    EXPECT_EQ(static_cast<int>(p.absY + p.height), 600 - 80);
    EXPECT_EQ(static_cast<int>(d.tipGrid->absY + d.tipGrid->height), 600 - 80 - 115);
    EXPECT_EQ(static_cast<int>(d.tabs->absY), 15);
    EXPECT_EQ(static_cast<int>(d.presetList->absX), 20 + 370);
    EXPECT_EQ(static_cast<int>(d.presetList->height), 600 - 80 - 15 - 22);
    EXPECT_EQ(static_cast<int>(d.tipName->absY + d.tipName->height), 600 - 80 - 317);
    ButtonWidget* ok = buttonLabelled(d, "OK");
    EXPECT_EQ(static_cast<int>(ok->absX + ok->width), 800 - 20);
    EXPECT_EQ(static_cast<int>(ok->absY), 15 + 80);
    EXPECT_TRUE(d.tipGrid->focused);
    const std::vector<std::string> names = {"size", "position", "opacity", "color", "orientation", "misc."};
    for (const std::string& n : names) EXPECT_NE(d.tabs->page(n), nullptr) << n;
    EXPECT_EQ(d.tabs->currentTab, "size");
}

TEST_F(BrushDialogTest, F5AndCtrlClickOnTheBrushButtonOpenTheDialog) {
    RenderArea area{0, 0, 1024, 700};
    gGui = std::make_shared<GUI>(&area);
    const Brush before = gCanvas.brush;
    std::vector<std::string> titles;
    setModalWait([&](const std::function<bool()>& done) {
        auto* top = dynamic_cast<Dialog*>(topDialog());
        ASSERT_NE(top, nullptr);
        titles.push_back(top->title);
        top->cancel();
        EXPECT_TRUE(done());
    });
    EXPECT_TRUE(commands::runBuiltInKey(*gApp, gPainter, 0x105)); // F5
    ASSERT_EQ(titles.size(), 1u);
    EXPECT_EQ(titles[0], "Brush properties");

    ToolBar bar;
    fillToolBar(bar, *gApp, gPainter);
    ImageButton* brushButton = nullptr;
    for (const auto& [key, child] : bar.children)
        if (auto* b = dynamic_cast<ImageButton*>(child.get()); b && b->iconColumn == 1 && b->iconRow == 7)
            brushButton = b;
    ASSERT_NE(brushButton, nullptr);
    gInputState.ctrl = true;
    brushButton->onClick(brushButton);
    gInputState.ctrl = false;
    ASSERT_EQ(titles.size(), 2u);
    brushButton->onClick(brushButton); // without Ctrl: the brush tool, no dialog
    EXPECT_EQ(titles.size(), 2u);
    EXPECT_EQ(gCanvas.brush, before);
}

TEST_F(BrushDialogTest, BrushFolderButtonHandsTheUsersTipFolderToTheOpener) {
    // The opener is a script that writes down what it was given.
    const std::string script = dir + "/opener.sh", record = dir + "/opened.txt";
    {
        std::ofstream out(script);
        out << "#!/bin/sh\nprintf '%s' \"$1\" > '" << record << ".tmp' && mv '" << record << ".tmp' '" << record
            << "'\n";
    }
    fs::permissions(script, fs::perms::owner_all);
    const char* oldOpener = std::getenv("KESTRELWING_OPEN_CMD");
    const char* oldData = std::getenv("XDG_DATA_HOME");
    const std::string savedOpener = oldOpener ? oldOpener : "", savedData = oldData ? oldData : "";
    setenv("KESTRELWING_OPEN_CMD", script.c_str(), 1);
    setenv("XDG_DATA_HOME", (dir + "/data").c_str(), 1);
    BrushPropertiesDialog& d = open();
    const Brush before = d.editedBrush();
    ButtonWidget* folder = buttonLabelled(d, "brush folder..");
    ASSERT_NE(folder, nullptr);
    click(*folder);
    for (int i = 0; i < 250 && !fs::exists(record); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (oldOpener) setenv("KESTRELWING_OPEN_CMD", savedOpener.c_str(), 1);
    else unsetenv("KESTRELWING_OPEN_CMD");
    if (oldData) setenv("XDG_DATA_HOME", savedData.c_str(), 1);
    else unsetenv("XDG_DATA_HOME");
    std::ifstream in(record);
    std::string opened;
    std::getline(in, opened);
    EXPECT_EQ(opened, dir + "/data/Kestrelwing/brushes/");
    EXPECT_EQ(d.editedBrush(), before);
    EXPECT_FALSE(d.closed);
}

TEST_F(BrushDialogTest, TabNamesAndLabelsComeFromTheTextTable) {
    {
        std::ofstream out(dir + "/localization_DEU.txt");
        out << "BRUSHDLG_TAB_SIZE_STR=Groesse\nBRUSHDLG_TAB_MISC_STR=Sonstiges\nBRUSH_PROPERTIES_STR=Pinsel\n"
               "BRUSHDLG_ADD_PRESET_STR=Neu\n";
    }
    loc::loadDefaultStrings("DEU", dir);
    BrushPropertiesDialog& d = open();
    loc::loadDefaultStrings(loc::kDefaultLanguage, dir);
    EXPECT_EQ(d.title, "Pinsel");
    ASSERT_NE(d.tabs->page("Groesse"), nullptr);
    ASSERT_NE(d.tabs->page("Sonstiges"), nullptr);
    EXPECT_EQ(d.tabs->page("size"), nullptr);
    EXPECT_NE(d.tabs->page("position"), nullptr) << "untranslated texts stay English";
    EXPECT_EQ(d.tabs->currentTab, "Groesse");
    EXPECT_NE(buttonLabelled(d, "Neu"), nullptr);
    // The size page holds its controls under the translated name.
    EXPECT_NE(d.tabs->page("Groesse")->findChild(kSizeId), nullptr);
    EXPECT_NE(d.tabs->page("Sonstiges")->findChild(kDryBrushId), nullptr);
}
