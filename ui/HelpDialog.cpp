#include "ui/HelpDialog.h"

#include <algorithm>
#include <cstdio>

#include "canvas/Canvas.h"
#include "canvas/GlInfo.h"
#include "canvas/Painter.h"
#include "core/Command.h"
#include "core/Globals.h"
#include "core/KeyNames.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "platform/Paths.h"
#include "ui/InterfaceHooks.h"
#include "ui/OpenLink.h"
#include "widgets/ButtonWidget.h"
#include "widgets/EditControl.h"
#include "widgets/GlFont.h"
#include "widgets/GuiRoot.h"
#include "widgets/TextWidget.h"

namespace {
constexpr uint32_t kBindingIdBase = 0x6abab926u;
constexpr uint32_t kFirstControlOffset = 0x26027a69u;

int shortcutsWidth() { return gApp->getOptions().language == loc::kDefaultLanguage ? 400 : 420; }

// int(font size of the interface font x 1.5) in units.
int rowPitchUnits() {
    const float size = gFontGui ? gFontGui->height : 10.0f * GuiScale;
    return static_cast<int>(static_cast<int>(size * 1.5f) / GuiScale);
}

void addRow(TextArea& area, int32_t label, const std::string& keys) {
    area.addLine(false, 0, true, "%s", tr(label).c_str());
    area.addLine(true, 1, false, "%s", keys.c_str());
}

std::shared_ptr<TextArea> makeShortcuts() {
    auto area = std::make_shared<TextArea>(0, -50, shortcutsWidth(), 10);
    area->vAlign = VAlign::Top;
    area->marginX = static_cast<int32_t>(10 * GuiScale);
    area->marginY = static_cast<int32_t>(20 * GuiScale);
    for (float* c : {area->topColor, area->bottomColor}) c[3] = 0.0f;
    for (int i = 0; i < 3; ++i) area->textColor[i] = 0.0f;
    using namespace tk;
    area->addHeading("%s", tr(HELP_KEYBOARD_SHORTCUTS_STR).c_str());
    area->addHeading("%s", "");
    addRow(*area, HELP_PANNING_MODE_STR, "[SPACE] " + tr(OR_STR) + " [MOUSE CENTER]");
    addRow(*area, HELP_ROTATION_MODE_STR, "[CTRL]");
    addRow(*area, HELP_COLOR_PICKING_MODE_EYEDROPPER_STR, "[ALT]");
    addRow(*area, HELP_SHOW_HIDE_GUI_STR, "[TAB]");
    addRow(*area, HELP_ZOOM_STR, "[CTRL+SPACE+" + tr(HELP_VERTICAL_STR) + " MOUSE DRAG]");
    addRow(*area, HELP_CHANGE_BRUSH_SIZE_STR, "[CTRL+SPACE+" + tr(HELP_HORIZONTAL_STR) + " MOUSE DRAG]");
    addRow(*area, HELP_CUT_COPY_PASTE_STR, "[CTRL+X]/[CTRL+C]/[CTRL+V]");
    area->addLine(true, 0, true, "%s", tr(HELP_SHOW_COLOR_AND_SIZE_HUD_STR).c_str());
    area->addLine(false, 0, false, "%s", tr(HELP_AT_CURSOR_POSITION_STR).c_str());
    area->addLine(true, 1, false, "%s", "[MOUSE RIGHT]");
    addRow(*area, HELP_ZOOM_AT_CURSOR_POSITION_STR, "[WHEEL]");
    addRow(*area, HELP_CHANGE_BRUSH_SIZE_2_STR, "[CTRL+WHEEL]");
    addRow(*area, HELP_SELECT_PERSPECTIVE_MODE_STR, "[F4]");
    addRow(*area, HELP_SELECT_BRUSH_TOOL_STR, "[b]");
    addRow(*area, HELP_SELECT_ERASER_STR, "[e]");
    addRow(*area, HELP_SELECT_ROTATION_TOOL_STR, "[r]");
    addRow(*area, HELP_SELECT_SELECTION_TOOL_STR, "[d]");
    addRow(*area, HELP_DESELECT_STR, "[CTRL+D]");
    addRow(*area, HELP_UNDO_STR, "[CTRL+Z]");
    addRow(*area, HELP_REDO_STR, "[CTRL+Y]");
    addRow(*area, HELP_EXIT_STR, "[ESC]");
    addRow(*area, HELP_SAVE_AS_STR, "[s]");
    addRow(*area, HELP_QUICK_SAVE_INCREMENTAL_STR, "[F6]");
    addRow(*area, TB_OPEN_BRUSH_PROPERTIES_DIALOG_STR, "[F5]");
    area->addHeading("%s", "");
    area->addHeading("%s", tr(HELP_LAYERS_STR).c_str());
    addRow(*area, HELP_TOGGLE_LAYER_VISIBILITY_STR, "[h]");
    area->addHeading("%s", "");
    area->addHeading("%s", tr(HELP_REPLAY_STR).c_str());
    addRow(*area, HELP_REPLAY_DRAWING_PROCESS_STR, "[p]");
    addRow(*area, HELP_SAVE_DRAWING_PROCESS_TO_FILE_STR, "[F8]");
    addRow(*area, HELP_LOAD_DRAWING_PROCESS_FROM_FILE_STR, "[F9]");
    addRow(*area, HELP_EXPORT_VIDEO_TO_AVI_FILE_STR, "[v]");
    return area;
}

std::string dialogTitle() {
    char title[128];
    std::snprintf(title, sizeof title, "%s v%s", "Kestrelwing", KW_VERSION);
    return title;
}

Command* findCommand(int32_t id) {
    for (Command* c : HelpDialog::editableCommands())
        if (c->id == id) return c;
    return nullptr;
}

std::shared_ptr<ButtonWidget> addButton(Dialog& d, int x, int y, int w, int h, const std::string& label,
                                        std::function<void(Widget*)> onClick) {
    auto b = std::make_shared<ButtonWidget>(x, y, w, h, label, 0, std::move(onClick));
    d.add(b);
    return b;
}
} // namespace

int firstRepeatedCode(const std::vector<int32_t>& codes) {
    for (std::size_t i = 0; i < codes.size(); ++i) {
        if (codes[i] == 0) continue;
        if (std::find(codes.begin(), codes.begin() + static_cast<long>(i), codes[i]) != codes.begin() + static_cast<long>(i))
            return static_cast<int>(i);
    }
    return -1;
}

const AboutEntries& aboutEntries() {
    static const AboutEntries entries{"Kestrelwing developers", "", ""};
    return entries;
}

std::vector<Command*> HelpDialog::editableCommands() {
    std::vector<Command*> list;
    for (auto& c : gApp->applicationCommands) list.push_back(c.get());
    if (gApp->painter)
        for (auto& c : gApp->painter->commands) list.push_back(c.get());
    return list;
}

std::shared_ptr<HelpDialog> HelpDialog::make() {
    auto area = makeShortcuts();
    const int w = static_cast<int>(static_cast<int>(area->width) / GuiScale) + 570;
    const int h = static_cast<int>(static_cast<int>(area->height) / GuiScale) + 150;
    std::shared_ptr<HelpDialog> dialog(new HelpDialog(w, h, area));
    dialog->build();
    return dialog;
}

HelpDialog::HelpDialog(int width_, int height_, std::shared_ptr<TextArea> area)
    : Dialog(width_, height_, dialogTitle(), static_cast<int32_t>(0xf29b9991u)), shortcuts(std::move(area)) {
    color[3] = 1.0f;
    insetLeft = insetRight = static_cast<int32_t>(20 * GuiScale);
    insetTop = insetBottom = static_cast<int32_t>(15 * GuiScale);
}

void HelpDialog::build() {
    const int W = shortcutsWidth();
    const int p = rowPitchUnits();
    add(shortcuts, true);

    auto close = addButton(*this, 20, 15, 20, 20, "x", [this](Widget*) { cancel(); });
    close->hAlign = HAlign::Right;
    close->vAlign = VAlign::Top;

    const AboutEntries& about = aboutEntries();
    auto aboutArea = std::make_shared<TextArea>(0, 0, 350, 10);
    aboutArea->hAlign = HAlign::Right;
    aboutArea->vAlign = VAlign::Top;
    aboutArea->addLine(true, 0, false, "%s%s", tr(tk::DEVELOPED_BY_STR).c_str(), about.developer);
    if (*about.homePage) aboutArea->addLine(true, 0, false, "%s%s", tr(tk::OFFICIAL_HOME_PAGE_STR).c_str(), about.homePage);
    if (*about.mail) aboutArea->addLine(true, 0, false, "%s%s", tr(tk::E_MAIL_STR).c_str(), about.mail);
    add(aboutArea, true);

    auto status = std::make_shared<TextArea>(W + 50, 40, W, 50);
    status->marginX = status->marginY = 0;
    for (float* c : {status->topColor, status->bottomColor}) c[3] = 0.0f;
    for (int i = 0; i < 3; ++i) status->textColor[i] = 0.0f;
    const std::string size = loc::fillText(tr(tk::CURRENT_CANVAS_SIZE_STR),
                                           {std::to_string(gCanvas.width), std::to_string(gCanvas.height)});
    std::string statusText = size;
    if (gFramebufferCapability.framebufferTested && !gFramebufferCapability.framebufferSupported)
        statusText += tr(tk::NO_OPENGL3_WARNING_STR);
    status->addLine(true, 0, false, "%s", statusText.c_str());
    add(status, true);

    auto title = std::make_shared<TextWidget>(W + 50, -70, tr(tk::CUSTOMIZABLE_KEY_BINDINGS_STR));
    title->vAlign = VAlign::Top;
    add(title, true);
    const int headY = -70 - 2 * p;
    const std::pair<int, std::string> heads[] = {{W + 50, tr(tk::COMMAND_STR)},
                                                 {W + 230, tr(tk::COMBO_STR) + " 1"},
                                                 {W + 370, tr(tk::COMBO_STR) + " 2"}};
    for (const auto& [x, text] : heads) {
        auto head = std::make_shared<TextWidget>(x, headY, text);
        head->vAlign = VAlign::Top;
        add(head, true);
    }

    feedback = std::make_shared<TextWidget>(W + 50, 40, "", static_cast<int32_t>(0xa7214505u));
    add(feedback, true);

    int y = -70 - 4 * p;
    const std::size_t applicationCount = gApp->applicationCommands.size();
    std::vector<Command*> commands = editableCommands();
    for (std::size_t k = 0; k < commands.size(); ++k) {
        Command* c = commands[k];
        auto name = std::make_shared<TextWidget>(W + 50, y - 5, c->name);
        name->vAlign = VAlign::Top;
        add(name, true);
        const auto secondId = static_cast<int32_t>(kBindingIdBase + static_cast<uint32_t>(k));
        const auto firstId = static_cast<int32_t>(kBindingIdBase + static_cast<uint32_t>(k) + kFirstControlOffset);
        BindingRow row;
        row.commandId = c->id;
        row.first = std::make_shared<KeyCodeEditControl>(W + 230, y, firstId, c->bindings.size() > 0 ? c->bindings[0] : 0);
        row.second = std::make_shared<KeyCodeEditControl>(W + 370, y, secondId, c->bindings.size() > 1 ? c->bindings[1] : 0);
        row.first->vAlign = row.second->vAlign = VAlign::Top;
        add(row.first);
        add(row.second);
        // Clears the second control only: the first one is replaced by typing.
        std::weak_ptr<KeyCodeEditControl> second = row.second;
        auto clear = addButton(*this, W + 490, y, 12, 12, "X", [second](Widget*) {
            if (auto s = second.lock()) s->setKeyCode(0);
        });
        clear->vAlign = VAlign::Top;
        rows.push_back(row);
        y -= 22;
        if (k + 1 == applicationCount) y -= 10;
    }

    auto licences = std::make_shared<HyperLinkWidget>(0, 45, tr(tk::USED_LIBRARIES_LICENSES_STR),
                                                      platform::resourceDir() + "/Licenses.txt");
    licences->relX = static_cast<float>(static_cast<int>(licences->width / GuiScale + 10) * GuiScale);
    licences->onOpen = [](const std::string& target) { openLink(target); };
    add(licences, true);

    for (auto [yy, key, action] : {std::tuple{80, tk::APPLY_BTN_STR, 0}, std::tuple{40, tk::RESET_BTN_STR, 1},
                                   std::tuple{0, tk::CLOSE_BTN_STR, 2}}) {
        auto b = addButton(*this, 0, yy, 110, 30, tr(key), [this, action](Widget*) {
            if (action == 0) applyKeyBindings();
            else if (action == 1) resetKeyBindings();
            else cancel();
        });
        b->hAlign = HAlign::Right;
    }
}

bool HelpDialog::applyKeyBindings() {
    std::vector<KeyCodeEditControl*> controls;
    for (BindingRow& r : rows) {
        r.first->invalid = r.second->invalid = false;
        controls.push_back(r.first.get());
        controls.push_back(r.second.get());
    }
    std::vector<int32_t> codes;
    for (KeyCodeEditControl* c : controls) codes.push_back(c->keyCode);
    const int repeated = firstRepeatedCode(codes);
    if (repeated >= 0) {
        KeyCodeEditControl* c = controls[static_cast<std::size_t>(repeated)];
        feedback->text = tr(tk::KEY_BINDINGS_CONFLICT_STR) + " [" + keys::keyText(c->keyCode) + "]";
        c->invalid = true;
        return false;
    }
    feedback->text = tr(tk::KEY_BINDINGS_UPDATED_STR);
    for (BindingRow& r : rows) {
        if (Command* c = findCommand(r.commandId)) c->setBindings({r.first->keyCode, r.second->keyCode});
    }
    // Tool tips show the bindings.
    ui::rebuildInterface();
    return true;
}

void HelpDialog::resetKeyBindings() {
    for (BindingRow& r : rows) {
        Command* c = findCommand(r.commandId);
        if (!c) continue;
        r.first->setKeyCode(c->defaultBindings.size() > 0 ? c->defaultBindings[0] : 0);
        r.second->setKeyCode(c->defaultBindings.size() > 1 ? c->defaultBindings[1] : 0);
    }
}

void showHelpDialog() {
    if (!gGui || dialogStackSize() != 0) return;
    auto dialog = HelpDialog::make();
    dialog->runModal();
}
