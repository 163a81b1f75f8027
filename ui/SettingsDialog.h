#pragma once
// The settings dialog (F12): language, reference view side, "toggle GUI"
// button, second view, interface shadow and colour. No control acts on its
// own; "Apply" takes them all at once, "Reset" puts the factory values into
// the controls (stored only by a later "Apply"), "Close" drops what wasn't
// applied. Made at each opening.
#include <memory>
#include <string>
#include <vector>

#include "widgets/Dialog.h"

class CheckBoxWidget;
class ComboWidget;
class HueSelector;
class PaintingApplicationOptions;

class SettingsDialog : public Dialog {
public:
    SettingsDialog();

    // Sets the controls from these options (and the interface colour given).
    void showOptions(const PaintingApplicationOptions& options, const float guiColor[3]);
    // Takes the controls: options, interface colour, language texts, the
    // commands made anew, the interface rebuilt, the options stored.
    void applySettings();
    // The factory values into the controls; nothing is stored.
    void resetSettings();

    // The codes the language combo offers: the built-in "ENG" first, then
    // those with a file. The current language, if it has no file, shows as
    // "ENG", which is what the program shows then.
    std::vector<std::string> languageCodes;

    std::shared_ptr<ComboWidget> language;
    std::shared_ptr<ComboWidget> referenceSide;
    std::shared_ptr<CheckBoxWidget> toggleGuiButton;
    std::shared_ptr<CheckBoxWidget> secondView;
    std::shared_ptr<CheckBoxWidget> shadow;
    std::shared_ptr<HueSelector> hue;
};

// The interface colour with its hue replaced: the factory colour's saturation
// and value are kept, so only the hue of the interface can be chosen.
void guiColorForHue(float hueDegrees, float rgbOut[3]);
// Hue of an RGB colour in degrees (0 for greys).
float hueOf(const float rgb[3]);

// Opens the dialog and waits until it is closed. Does nothing while the
// interface does not exist.
void showSettingsDialog();
