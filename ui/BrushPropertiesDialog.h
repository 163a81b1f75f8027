#pragma once
// The brush properties dialog (F5, Ctrl+click on the brush button): every
// field of a brush on a private copy, which lives in the sample-stroke
// preview at the top left. Each control writes straight into that copy and
// asks the preview to redraw; only "OK" copies it over the active brush.
// Beside it: the grid of tips (one sample dab each), the preset list (one
// sample stroke per preset), and the buttons that add and remove presets and
// open the user's brush folder. The preset file is written when the dialog
// goes, whatever its result, so added and removed presets survive "Cancel".
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include "brush/Brush.h"
#include "widgets/Dialog.h"

class BrushPresetManager;
class BrushStrokePreviewWidget;
class BrushTipTable;
class CheckBoxWidget;
class EditControl;
class GridWidget;
class TabControl;
template <typename T> class Slider;

// Child ids: tests and the callbacks find the controls by these.
namespace brushdlg {
inline constexpr int32_t kPreviewId = static_cast<int32_t>(0x8d12e615);
inline constexpr int32_t kTipNameId = static_cast<int32_t>(0xf6d3df1f);
inline constexpr int32_t kPresetNameId = static_cast<int32_t>(0xca285282);
inline constexpr int32_t kPresetListId = static_cast<int32_t>(0x11334da2);
inline constexpr int32_t kTabsId = static_cast<int32_t>(0x70bdf7c6);
inline constexpr int32_t kTipGridId = static_cast<int32_t>(0x9491247e);
inline constexpr int32_t kSizeFollowsPressureId = static_cast<int32_t>(0xb6759572);
inline constexpr int32_t kSizeId = static_cast<int32_t>(0x4f622958);
inline constexpr int32_t kSizeJitterId = static_cast<int32_t>(0x5346f4d9);
inline constexpr int32_t kSpacingId = static_cast<int32_t>(0x823dca4e);
inline constexpr int32_t kScatteringId = static_cast<int32_t>(0x7170b2c1);
inline constexpr int32_t kFlowFollowsPressureId = static_cast<int32_t>(0xca7347cf);
inline constexpr int32_t kOpacityId = static_cast<int32_t>(0xf6bd52d6);
inline constexpr int32_t kOpacityJitterId = static_cast<int32_t>(0xe1eb7747);
inline constexpr int32_t kColorDynamicsId = static_cast<int32_t>(0xf0e73ba2);
inline constexpr int32_t kHueJitterId = static_cast<int32_t>(0x888cc179);
inline constexpr int32_t kSaturationJitterId = static_cast<int32_t>(0x7e7b689a);
inline constexpr int32_t kValueJitterId = static_cast<int32_t>(0x3c87cca7);
inline constexpr int32_t kAngleId = static_cast<int32_t>(0x4f24b87c);
inline constexpr int32_t kAngleJitterId = static_cast<int32_t>(0x7aa0d225);
inline constexpr int32_t kDryBrushId = static_cast<int32_t>(0x6e3f942e);
inline constexpr int32_t kPresetNameInputId = static_cast<int32_t>(0x289ee303);
} // namespace brushdlg

class BrushPropertiesDialog : public Dialog {
public:
    // tipCount: the tips offered (the folder tips of the table, entry 0 the
    // round brush). active: the brush that "OK" writes. presets: the list
    // edited here, written to presetsFile when the dialog goes.
    BrushPropertiesDialog(int tipCount, Brush& active, BrushPresetManager& presets, const BrushTipTable& tips,
                          std::filesystem::path presetsFile);
    ~BrushPropertiesDialog() override;

    // Rebuilds the preset list: nothing selected, scrolled to the top.
    void onApply() override;
    // Brings what the sliders do not poll (tip cell, check boxes, spacing,
    // the colour sliders' state) in line with the preview's brush.
    void refreshControls();

    // The buttons.
    void addPreset();
    void removePreset();
    void openBrushFolder();
    void resetBrush();
    void okPressed();

    // The private copy that every control edits.
    Brush& editedBrush();
    BrushStrokePreviewWidget& preview() { return *preview_; }

    // One per tip offered: tipIndex i, size int(36 x GuiScale), opacity 1.
    std::vector<Brush> tipBrushes;

    std::shared_ptr<GridWidget> tipGrid;
    std::shared_ptr<GridWidget> presetList;
    std::shared_ptr<EditControl> tipName;
    std::shared_ptr<EditControl> presetName;
    std::shared_ptr<TabControl> tabs;
    std::shared_ptr<CheckBoxWidget> sizeFollowsPressure, flowFollowsPressure, colorDynamics, dryBrush;
    std::shared_ptr<Slider<float>> spacingSlider;
    std::shared_ptr<Slider<float>> hueJitter, saturationJitter, valueJitter;

private:
    void onTipSelected();
    void onPresetSelected();
    // The grid's selection as an item index, -1 without one.
    static int selectedIndex(const GridWidget& grid);

    Brush& active_;
    BrushPresetManager& presets_;
    const BrushTipTable& tips_;
    std::filesystem::path presetsFile_;
    std::shared_ptr<BrushStrokePreviewWidget> preview_;
};

// Opens the dialog on the active brush and waits until it is closed. Does
// nothing while the interface does not exist.
void showBrushPropertiesDialog();
