#include "ui/BrushPropertiesDialog.h"

#include <cstdio>
#include <string>
#include <utility>

#include "brush/BrushPresets.h"
#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "core/Globals.h"
#include "core/Localisation.h"
#include "platform/Paths.h"
#include "ui/BrushPreview.h"
#include "ui/BrushStrokePreview.h"
#include "ui/Interface.h"
#include "ui/OpenLink.h"
#include "widgets/ButtonWidget.h"
#include "widgets/EditControl.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"
#include "widgets/ScrollWidgets.h"
#include "widgets/Slider.h"
#include "widgets/TabControl.h"
#include "widgets/TextWidget.h"

using namespace brushdlg;

namespace {

constexpr int kNameCapacity = 256;

std::shared_ptr<ButtonWidget> makeButton(int x, int y, const std::string& label, HAlign h, VAlign v,
                                         std::function<void(Widget*)> onClick) {
    auto b = std::make_shared<ButtonWidget>(x, y, 110, 30, label, 0, std::move(onClick));
    b->hAlign = h;
    b->vAlign = v;
    return b;
}

// A row of a tab page: the label on the left, top aligned.
void addLabel(TabControl& tabs, const std::string& tab, int y, const std::string& text) {
    auto label = std::make_shared<TextWidget>(0, y, text);
    label->vAlign = VAlign::Top;
    tabs.addToTab(tab, label);
}

} // namespace

BrushPropertiesDialog::BrushPropertiesDialog(int tipCount, Brush& active, BrushPresetManager& presets,
                                             const BrushTipTable& tips, std::filesystem::path presetsFile)
    : Dialog(800, 600, tr(tk::BRUSH_PROPERTIES_STR), 0), active_(active), presets_(presets), tips_(tips),
      presetsFile_(std::move(presetsFile)) {
    const float s = GuiScale;
    // 1. The preview holds the copy; its size was made for this height.
    preview_ = std::make_shared<BrushStrokePreviewWidget>(0, 0, 350, 100, kPreviewId, active,
                                                          static_cast<int32_t>(100 * s));
    preview_->tips = &tips_;
    preview_->hAlign = HAlign::Left;
    preview_->vAlign = VAlign::Top;
    add(preview_, true);

    // 2. The other children, in order.
    tipName = std::make_shared<EditControl>(0, -317, 350, 20, kNameCapacity, kTipNameId);
    tipName->hAlign = HAlign::Left;
    tipName->vAlign = VAlign::Top;
    add(tipName, true);
    presetName = std::make_shared<EditControl>(370, 0, 250, 20, kNameCapacity, kPresetNameId);
    presetName->hAlign = HAlign::Left;
    presetName->vAlign = VAlign::Top;
    add(presetName, true);

    presetList = std::make_shared<GridWidget>(370, 0, 250, 0, 1, 7, kPresetListId);
    presetList->hAlign = HAlign::Left;
    presetList->vAlign = VAlign::Stretch;
    presetList->marginTop = static_cast<int32_t>(22 * s);
    presetList->onSelect = [this](Widget*) { onPresetSelected(); };
    add(presetList);

    tabs = std::make_shared<TabControl>(0, 0, 350, 150, kTabsId);
    tabs->hAlign = HAlign::Left;
    tabs->vAlign = VAlign::Bottom;
    add(tabs);
    const std::string sizeTab = tr(tk::BRUSHDLG_TAB_SIZE_STR), positionTab = tr(tk::BRUSHDLG_TAB_POSITION_STR),
                      opacityTab = tr(tk::BRUSHDLG_TAB_OPACITY_STR), colorTab = tr(tk::BRUSHDLG_TAB_COLOR_STR),
                      orientationTab = tr(tk::BRUSHDLG_TAB_ORIENTATION_STR), miscTab = tr(tk::BRUSHDLG_TAB_MISC_STR);
    for (const std::string* name : {&sizeTab, &positionTab, &opacityTab, &colorTab, &orientationTab, &miscTab})
        tabs->addTab(*name);

    Brush& b = preview_->brush;
    BrushStrokePreviewWidget* p = preview_.get();
    // Every control writes the preview's brush and asks for a new sample.
    auto changed = [this] {
        if (auto* w = dynamic_cast<BrushStrokePreviewWidget*>(findChild(kPreviewId))) w->rebuild = true;
    };
    auto checkBox = [&](const std::string& tab, int32_t id, const std::string& label, bool value,
                        std::function<void(bool)> write) {
        auto box = std::make_shared<CheckBoxWidget>(
            0, 0, 16, value, [write] { write(true); }, [write] { write(false); }, id);
        box->label = label;
        box->vAlign = VAlign::Top;
        tabs->addToTab(tab, box);
        return box;
    };
    // A slider row: label, then the slider filling the page to its right.
    // bound: the slider also polls the field (all but spacing do).
    auto slider = [&]<typename T>(const std::string& tab, int y, int32_t id, const std::string& label, T minValue,
                                  T maxValue, bool linear, T Brush::*field, bool bound) {
        addLabel(*tabs, tab, y, label);
        auto sl = std::make_shared<Slider<T>>(0, y, 130, 15, tr(tk::VALUE_STR), id, linear);
        sl->hAlign = HAlign::Stretch;
        sl->vAlign = VAlign::Top;
        sl->marginLeft = static_cast<int32_t>(130 * s);
        sl->minValue = minValue;
        sl->maxValue = maxValue;
        sl->onChange = [this, field](T v) {
            if (auto* w = dynamic_cast<BrushStrokePreviewWidget*>(findChild(kPreviewId))) {
                w->brush.*field = v;
                w->rebuild = true;
            }
        };
        sl->setValue(b.*field, true);
        if (bound) sl->target = &(b.*field);
        tabs->addToTab(tab, sl);
        return sl;
    };

    sizeFollowsPressure = checkBox(sizeTab, kSizeFollowsPressureId, tr(tk::VARY_SIZE_ACCORDING_TO_PRESSUR_STR),
                                   b.SizeFollowsPressure, [p, changed](bool on) {
                                       p->brush.SizeFollowsPressure = on;
                                       changed();
                                   });
    // Logarithmic, so small brushes get most of its length; up to the largest brush.
    slider(sizeTab, -30, kSizeId, tr(tk::BRUSH_SIZE_STR), 1, kSizeSliderMax, false, &Brush::size, true);
    slider(sizeTab, -50, kSizeJitterId, tr(tk::BRUSHDLG_SIZE_JITTER_STR), 0.0f, 100.0f, true, &Brush::size_jitter, true);
    // Spacing is the one slider without a bound field: refreshControls sets it.
    spacingSlider = slider(positionTab, 0, kSpacingId, tr(tk::BRUSH_SPACING_STR), kBrushMinSpacing, kBrushMaxSpacing,
                           true, &Brush::spacing, false);
    slider(positionTab, -20, kScatteringId, tr(tk::BRUSHDLG_SCATTERING_STR), 0.0f, 10.0f, true, &Brush::scattering, true);
    flowFollowsPressure = checkBox(opacityTab, kFlowFollowsPressureId, tr(tk::VARY_FLOW_ACCORDING_TO_PRESSUR_STR),
                                   b.FlowFollowsPressure, [p, changed](bool on) {
                                       p->brush.FlowFollowsPressure = on;
                                       changed();
                                   });
    slider(opacityTab, -30, kOpacityId, tr(tk::BRUSH_OPACITY_STR), 0.0f, 1.0f, true, &Brush::opacity, true);
    slider(opacityTab, -50, kOpacityJitterId, tr(tk::BRUSHDLG_OPACITY_JITTER_STR), 0.0f, 100.0f, true,
           &Brush::opacity_jitter, true);
    colorDynamics = checkBox(colorTab, kColorDynamicsId, tr(tk::BRUSHDLG_COLOR_DYNAMICS_STR),
                             b.hasFlag(kBrushFlagColorDynamics), [this, p](bool on) {
                                 p->brush.setFlag(kBrushFlagColorDynamics, on);
                                 refreshControls();
                             });
    hueJitter = slider(colorTab, -30, kHueJitterId, tr(tk::BRUSHDLG_HUE_JITTER_STR), 0.0f, 360.0f, true,
                       &Brush::colorJitterH, true);
    saturationJitter = slider(colorTab, -50, kSaturationJitterId, tr(tk::BRUSHDLG_SATURATION_JITTER_STR), 0.0f, 1.0f,
                              true, &Brush::colorJitterS, true);
    valueJitter = slider(colorTab, -70, kValueJitterId, tr(tk::BRUSHDLG_VALUE_JITTER_STR), 0.0f, 1.0f, true,
                         &Brush::colorJitterV, true);
    slider(orientationTab, 0, kAngleId, tr(tk::BRUSHDLG_ANGLE_STR), -180.0f, 180.0f, true, &Brush::angle, true);
    slider(orientationTab, -20, kAngleJitterId, tr(tk::BRUSHDLG_ANGLE_JITTER_STR), 0.0f, 360.0f, true,
           &Brush::angle_randomness, true);
    dryBrush = checkBox(miscTab, kDryBrushId, tr(tk::BRUSHDLG_DRY_BRUSH_STR), b.hasFlag(kBrushFlagDryBrush),
                        [p, changed](bool on) {
                            p->brush.setFlag(kBrushFlagDryBrush, on);
                            changed();
                        });

    // 3. The tip grid: one white sample dab per tip offered.
    tipGrid = std::make_shared<GridWidget>(0, -115, 350, 200, 4, 5, kTipGridId);
    tipGrid->hAlign = HAlign::Left;
    tipGrid->vAlign = VAlign::Top;
    const int count = std::max(0, tipCount);
    tipBrushes.assign(static_cast<std::size_t>(count), Brush{});
    for (int i = 0; i < count; ++i) {
        Brush& tb = tipBrushes[static_cast<std::size_t>(i)];
        tb.tipIndex = i;
        tb.size = static_cast<int32_t>(36 * s);
        tb.opacity = 1.0f;
        auto cell = std::make_shared<BrushPreviewWidget>(43, 40, &tb, nullptr, false, false);
        cell->tips = &tips_;
        tipGrid->addItem(cell);
    }
    tipGrid->onSelect = [this](Widget*) { onTipSelected(); };
    add(tipGrid);
    tipGrid->selectIndex(active.tipIndex);

    // The buttons.
    add(makeButton(0, -100, tr(tk::BRUSHDLG_BRUSH_FOLDER_STR), HAlign::Right, VAlign::Top,
                   [this](Widget*) { openBrushFolder(); }));
    add(makeButton(0, 0, tr(tk::BRUSHDLG_ADD_PRESET_STR), HAlign::Right, VAlign::Top,
                   [this](Widget*) { addPreset(); }));
    add(makeButton(0, -40, tr(tk::BRUSHDLG_REMOVE_PRESET_STR), HAlign::Right, VAlign::Top,
                   [this](Widget*) { removePreset(); }));
    add(makeButton(0, 0, tr(tk::CANCEL_BTN_STR), HAlign::Right, VAlign::Bottom, [this](Widget*) { cancel(); }));
    add(makeButton(0, 40, tr(tk::RESET_BTN_STR), HAlign::Right, VAlign::Bottom, [this](Widget*) { resetBrush(); }));
    add(makeButton(0, 80, tr(tk::OK_BTN_STR), HAlign::Right, VAlign::Bottom, [this](Widget*) { okPressed(); }));

    // 4.
    onApply();
    tipGrid->setFocused(true);
    refreshControls();
}

BrushPropertiesDialog::~BrushPropertiesDialog() {
    // Whatever the result: presets added or removed stay. An unwritable file
    // is passed over; the presets are still in memory for the next opening.
    presets_.save(presetsFile_, tips_);
}

Brush& BrushPropertiesDialog::editedBrush() { return preview_->brush; }

int BrushPropertiesDialog::selectedIndex(const GridWidget& grid) {
    const int index = grid.selectedRow * grid.columns + grid.selectedColumn;
    return index < 0 ? -1 : index;
}

void BrushPropertiesDialog::onTipSelected() {
    const int index = selectedIndex(*tipGrid);
    if (index < 0 || index >= static_cast<int>(tipGrid->items.size())) return;
    const int32_t tip = tipBrushes[static_cast<std::size_t>(index)].tipIndex;
    preview_->brush.tipIndex = tip;
    preview_->rebuild = true;
    const BrushTip* entry = tips_.find(tip);
    tipName->setText(entry ? entry->name : std::string(), false);
}

void BrushPropertiesDialog::onPresetSelected() {
    const int index = selectedIndex(*presetList);
    if (index < 0 || index >= static_cast<int>(presets_.presets.size())) return;
    const BrushPreset& preset = presets_.presets[static_cast<std::size_t>(index)];
    const int32_t mode = active_.mode;
    preview_->brush = preset.brush;
    // A preset doesn't switch between painting and erasing.
    preview_->brush.mode = mode;
    presetName->setText(preset.name, false);
    refreshControls();
}

void BrushPropertiesDialog::refreshControls() {
    Brush& b = preview_->brush;
    if (b.tipIndex >= 0 && b.tipIndex < static_cast<int32_t>(tipGrid->items.size())) tipGrid->selectIndex(b.tipIndex);
    sizeFollowsPressure->checked = b.SizeFollowsPressure;
    flowFollowsPressure->checked = b.FlowFollowsPressure;
    colorDynamics->checked = b.hasFlag(kBrushFlagColorDynamics);
    dryBrush->checked = b.hasFlag(kBrushFlagDryBrush);
    spacingSlider->setValue(b.spacing, true);
    const bool dynamics = b.hasFlag(kBrushFlagColorDynamics);
    for (const auto& sl : {hueJitter, saturationJitter, valueJitter}) sl->enabled = dynamics;
    preview_->rebuild = true;
}

void BrushPropertiesDialog::onApply() {
    presetList->selectedRow = -1;
    presetList->selectedColumn = -1;
    presetList->scrollbar.firstVisible = 0;
    presetList->items.clear();
    const float s = GuiScale;
    const int rowWidth = static_cast<int>(static_cast<float>(static_cast<int>(presetList->width) / presetList->columns) / s);
    for (const BrushPreset& preset : presets_.presets) {
        // One unit high until the list's stretch gives it the row height; the
        // size of its sample then follows that height.
        auto row = std::make_shared<BrushStrokePreviewWidget>(0, 0, rowWidth, 1, 0, preset.brush,
                                                              static_cast<int32_t>(s));
        row->tips = &tips_;
        presetList->addItem(row);
    }
    presetList->scrollbar.updateThumb();
}

void BrushPropertiesDialog::addPreset() {
    auto ask = std::make_shared<Dialog>(250, 150, tr(tk::BRUSHDLG_PRESET_NAME_STR), 0);
    Dialog* d = ask.get(); // the controls live inside it
    auto input = std::make_shared<EditControl>(0, -10, 130, 25, kNameCapacity, kPresetNameInputId,
                                               "preset_" + std::to_string(presets_.presets.size()));
    input->hAlign = HAlign::Left;
    input->vAlign = VAlign::Top;
    ask->add(input);
    auto name = std::make_shared<std::string>();
    EditControl* in = input.get();
    ask->add(makeButton(0, 40, tr(tk::OK_BTN_STR), HAlign::Right, VAlign::Bottom, [d, in, name](Widget*) {
        *name = in->text();
        d->accept();
    }));
    ask->add(makeButton(0, 0, tr(tk::CANCEL_BTN_STR), HAlign::Right, VAlign::Bottom, [d](Widget*) { d->close(); }));
    input->setFocused(true);
    if (ask->runModal() != kDialogOk) return;
    presets_.presets.push_back(BrushPreset{*name, preview_->brush});
    onApply();
}

void BrushPropertiesDialog::removePreset() {
    const int index = selectedIndex(*presetList);
    if (index < 0 || index >= static_cast<int>(presets_.presets.size())) {
        messageBox(tr(tk::BRUSHDLG_NO_PRESET_SELECTED_STR));
        return;
    }
    const std::string name = presets_.presets[static_cast<std::size_t>(index)].name;
    const std::string& format = tr(tk::BRUSHDLG_CONFIRM_PRESET_DELETION_STR);
    std::string text;
    const std::size_t at = format.find("%s");
    if (at == std::string::npos) text = format;
    else text = format.substr(0, at) + name + format.substr(at + 2);
    if (confirmBox(text, tr(tk::YES_STR)) != kDialogOk) return;
    // The list may have changed while the question was open.
    if (index >= static_cast<int>(presets_.presets.size())) return;
    presets_.presets.erase(presets_.presets.begin() + index);
    onApply();
}

void BrushPropertiesDialog::openBrushFolder() { openLink(platform::userDataDir() + "/brushes/"); }

void BrushPropertiesDialog::resetBrush() {
    preview_->brush = defaultBrush();
    refreshControls();
}

void BrushPropertiesDialog::okPressed() {
    active_ = preview_->brush;
    accept();
}

void showBrushPropertiesDialog() {
    if (!gGui) return;
    auto dialog = std::make_shared<BrushPropertiesDialog>(static_cast<int>(gBrushTips.folderCount()), gCanvas.brush,
                                                          gBrushPresets, gBrushTips, userPresetsFile());
    dialog->runModal();
}
