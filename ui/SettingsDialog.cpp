#include "ui/SettingsDialog.h"

#include <algorithm>

#include "brush/ColorSpace.h"
#include "canvas/Painter.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "ui/InterfaceHooks.h"
#include "widgets/ButtonWidget.h"
#include "widgets/ComboWidget.h"
#include "widgets/GuiRoot.h"
#include "widgets/HueSelector.h"
#include "widgets/TextWidget.h"

namespace {
constexpr float kFactoryGuiColor[3] = {0.52156866f, 0.5764706f, 0.5764706f};

std::shared_ptr<CheckBoxWidget> addCheckBox(Dialog& d, int y, int32_t id, const std::string& text) {
    auto box = std::make_shared<CheckBoxWidget>(0, y, 15, false, std::function<void()>{}, std::function<void()>{}, id);
    box->label = text;
    d.add(box);
    return box;
}

void addButton(Dialog& d, int y, const std::string& label, std::function<void(Widget*)> onClick) {
    auto b = std::make_shared<ButtonWidget>(0, y, 110, 30, label, 0, std::move(onClick));
    b->hAlign = HAlign::Right;
    d.add(b);
}
} // namespace

float hueOf(const float rgb[3]) { return brush::rgbToHsv({rgb[0], rgb[1], rgb[2]}).h; }

void guiColorForHue(float hueDegrees, float rgbOut[3]) {
    brush::Hsv hsv = brush::rgbToHsv({kFactoryGuiColor[0], kFactoryGuiColor[1], kFactoryGuiColor[2]});
    hsv.h = hueDegrees;
    const brush::Rgb c = brush::hsvToRgb(hsv);
    rgbOut[0] = c.r;
    rgbOut[1] = c.g;
    rgbOut[2] = c.b;
}

SettingsDialog::SettingsDialog() : Dialog(590, 280, tr(tk::SETTINGS_TITLE_STR), 0x223e0c0a) {
    languageCodes.push_back(loc::kDefaultLanguage);
    for (const std::string& code : loc::gLanguages)
        if (std::find(languageCodes.begin(), languageCodes.end(), code) == languageCodes.end())
            languageCodes.push_back(code);

    add(std::make_shared<TextWidget>(20, 190, tr(tk::LANGUAGE_STR)), true);
    language = std::make_shared<ComboWidget>(220, 185, 100, 0x12a47418);
    for (const std::string& code : languageCodes) language->addItem(code);
    add(language);

    add(std::make_shared<TextWidget>(20, 150, tr(tk::REFERENCE_VIEW_POSITION_STR)), true);
    referenceSide = std::make_shared<ComboWidget>(220, 145, 100, 0x0e43a9d0);
    referenceSide->addItem(tr(tk::LEFT_STR));
    referenceSide->addItem(tr(tk::RIGHT_STR));
    add(referenceSide);

    toggleGuiButton = addCheckBox(*this, 60, static_cast<int32_t>(0x9725120d), tr(tk::SHOW_TOGGLE_GUI_BUTTON_STR));
    secondView = addCheckBox(*this, 35, 0x705e8ed4, tr(tk::SHOW_SECOND_VIEW_ON_IMAGE_STR));
    shadow = addCheckBox(*this, 10, 0x6f6ee6f0, tr(tk::SHOW_GUI_SHADOW_STR));

    add(std::make_shared<TextWidget>(400, 190, tr(tk::GUI_COLOR_STR)), true);
    hue = std::make_shared<HueSelector>(400, 170, 100, 15, static_cast<int32_t>(0xd87937fd));
    add(hue);

    addButton(*this, 0, tr(tk::CLOSE_BTN_STR), [this](Widget*) { cancel(); });
    addButton(*this, 40, tr(tk::RESET_BTN_STR), [this](Widget*) { resetSettings(); });
    addButton(*this, 80, tr(tk::APPLY_BTN_STR), [this](Widget*) { applySettings(); });

    showOptions(gApp->getOptions(), gGuiColor);
}

void SettingsDialog::showOptions(const PaintingApplicationOptions& o, const float guiColor[3]) {
    const auto at = std::find(languageCodes.begin(), languageCodes.end(), o.language);
    language->selected = at == languageCodes.end() ? 0 : static_cast<int32_t>(at - languageCodes.begin());
    referenceSide->selected = o.referenceViewOnLeft ? 0 : 1;
    toggleGuiButton->checked = o.showToggleGuiButton;
    secondView->checked = o.showSecondView;
    shadow->checked = o.guiShadow;
    hue->setValue(hueOf(guiColor) / 360.0f, false);
}

void SettingsDialog::applySettings() {
    PaintingApplicationOptions& o = gApp->getOptions();
    o.referenceViewOnLeft = referenceSide->selected == 0;
    o.guiShadow = shadow->checked;
    o.showToggleGuiButton = toggleGuiButton->checked;
    o.showSecondView = secondView->checked;
    guiColorForHue(hue->value * 360.0f, gGuiColor);
    if (language->selected >= 0 && language->selected < static_cast<int32_t>(languageCodes.size()))
        o.language = languageCodes[static_cast<size_t>(language->selected)];
    ui::applyInterfaceOptions(o);
    // Texts, then the commands (their names are texts), then the interface
    // that shows both. This dialog stays open through the rebuild.
    loc::loadDefaultStrings(o.language);
    commands::createCommands(*gApp, *gApp->painter);
    ui::rebuildInterface();
    gApp->saveOptions();
    gApp->showMessage("%s", tr(tk::NEW_SETTINGS_SAVED_STR).c_str());
}

void SettingsDialog::resetSettings() {
    PaintingApplicationOptions factory;
    // reset() would also put the live interface colour back: show the factory one instead.
    showOptions(factory, kFactoryGuiColor);
    hue->setValue(hueOf(kFactoryGuiColor) / 360.0f, true);
}

void showSettingsDialog() {
    if (!gGui) return;
    auto dialog = std::make_shared<SettingsDialog>();
    dialog->runModal();
}
