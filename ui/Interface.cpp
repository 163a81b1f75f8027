#include "ui/Interface.h"

#include <GL/glew.h>
#include <GL/freeglut.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/CommandActions.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/KeyNames.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "core/RenderArea.h"
#include "core/TextKeys.h"
#include "platform/X11Window.h"
#include "tools/Tool.h"
#include "tools/ToolPanel.h"
#include "ui/BrushPreview.h"
#include "ui/FileFlows.h"
#include "ui/LayersPanel.h"
#include "ui/NotificationWidget.h"
#include "ui/ReferenceView.h"
#include "ui/ReplayPrompt.h"
#include "ui/ToolBar.h"
#include "ui/VideoExportSession.h"
#include "widgets/Animator.h"
#include "widgets/ColorSelector.h"
#include "widgets/ColorWidget.h"
#include "widgets/CustomViewWidget.h"
#include "widgets/Dialog.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"
#include "widgets/ImageButton.h"
#include "widgets/LayoutManager.h"
#include "widgets/Slider.h"
#include "widgets/VisualMenu.h"

namespace {

// While the right button holds the HUD open, the pointer that opened it
// takes the size slider's knob as soon as it reaches it: no left press needed.
class HudGroup : public GroupWidget {
public:
    using GroupWidget::GroupWidget;
    int onMouseDrag(int x, int y, bool fromPen) override {
        if (gSizeSlider && gInputState.rightButton && !gSizeSlider->dragging && gSizeSlider->hitTest(x, y))
            gSizeSlider->dragging = true;
        return GroupWidget::onMouseDrag(x, y, fromPen);
    }
};

// Animator keys of the interface's own fades and slides.
constexpr int32_t kHudFadeKey = 0x4d1f0a01;
constexpr int32_t kToolBarSlideKey = 0x4d1f0a02;
constexpr int kHudFadeMs = 250;
constexpr int kToolBarSlideMs = 100; // slideIn takes five times as long

bool gWithReferenceView = false;

// The window as it was before the interface was hidden (it then fills the screen).
struct StoredWindow {
    bool stored = false;
    int x = 0, y = 0, width = 0, height = 0;
} gStoredWindow;

Command* findCommand(const std::vector<std::unique_ptr<Command>>& list, int32_t id) {
    for (const auto& c : list)
        if (c->id == id) return c.get();
    return nullptr;
}

std::string commandKeys(PaintingApplication& app, int32_t id) {
    const Command* c = findCommand(app.applicationCommands, id);
    return c ? c->bindingsText() : std::string();
}

void runCommand(PaintingApplication& app, int32_t id) {
    if (Command* c = findCommand(app.applicationCommands, id)) c->execute();
}

// Keys built into the program (not rebindable) and the painter's own keys.
std::string fixedKeys(std::initializer_list<int32_t> codes) {
    std::string text;
    for (int32_t code : codes) {
        if (!text.empty()) text += "|";
        text += keys::keyText(code);
    }
    return text;
}

// An option of the program, or its default before the options exist.
bool optionOn(bool PaintingApplicationOptions::*option, bool fallback) {
    if (!gApp || !gApp->options) return fallback;
    return gApp->getOptions().*option;
}

// freeglut ends the process when asked about windows before glutInit (tests).
bool windowExists() { return glutGet(GLUT_INIT_STATE) && glutGetWindow() != 0; }

void fillScreen() {
    if (!windowExists()) return;
    gStoredWindow = {true, glutGet(GLUT_WINDOW_X), glutGet(GLUT_WINDOW_Y), glutGet(GLUT_WINDOW_WIDTH),
                     glutGet(GLUT_WINDOW_HEIGHT)};
    // A window manager takes the full-screen state (no frame); without one the
    // window simply covers the screen.
    if (platform::windowManagerRunning()) {
        glutFullScreen();
    } else {
        glutPositionWindow(0, 0);
        glutReshapeWindow(glutGet(GLUT_SCREEN_WIDTH), glutGet(GLUT_SCREEN_HEIGHT));
    }
}

void restoreWindow() {
    if (!windowExists() || !gStoredWindow.stored) return;
    if (glutGet(GLUT_FULL_SCREEN)) glutLeaveFullScreen();
    glutPositionWindow(gStoredWindow.x, gStoredWindow.y);
    glutReshapeWindow(gStoredWindow.width, gStoredWindow.height);
    gStoredWindow.stored = false;
}

void hideInterface() {
    slideOut(kToolBarSlideMs * 2, kToolBarSlideKey, 3, gToolBar);
    for (const auto& group : {gToolOptionsBar, gBottomGroup, gRightGroup}) {
        if (!group) continue;
        group->enabled = false;
        group->setVisible(false);
    }
    fillScreen();
    if (gToggleGuiButton) gToggleGuiButton->setLabel(">");
}

void showInterface() {
    slideIn(kToolBarSlideMs, kToolBarSlideKey, 3, ToolBar::homePosition(), gToolBar);
    const int tool = gApp ? gApp->currentToolIndex() : 1;
    gBottomGroup->enabled = true;
    if (tool == 1 || tool == 2) gBottomGroup->setVisible(true);
    if (gToolOptionsBar) {
        gToolOptionsBar->enabled = true;
        if (!gToolOptionsBar->children.empty()) gToolOptionsBar->setVisible(true);
    }
    gRightGroup->setVisible(true);
    gRightGroup->enabled = true;
    restoreWindow();
    if (gToggleGuiButton) gToggleGuiButton->setLabel("<");
}

template <typename T>
std::shared_ptr<Slider<T>> makeSlider(int x, int width, const std::string& label, T minValue, T maxValue, T* target) {
    auto slider = std::make_shared<Slider<T>>(x, 20, width, 20, label);
    slider->minValue = minValue;
    slider->maxValue = maxValue;
    slider->target = target;
    slider->setValue(*target, false);
    return slider;
}

// The program's current colour as the colour widgets see it: the canvas's
// two halves, written through its HSV setter.
ColorRecordRef currentColorRecord() {
    return {gCanvas.color, gCanvas.colorHsv, [](brush::Hsv c) { gCanvas.setColorHsv(c); }};
}

} // namespace

std::shared_ptr<ToolBar> gToolBar;
std::shared_ptr<GroupWidget> gBottomGroup = std::make_shared<GroupWidget>(0, 0, 0, 0);
std::shared_ptr<GroupWidget> gHudGroup = std::make_shared<HudGroup>(0, 0, 0, 0);
std::shared_ptr<GroupWidget> gRightGroup = std::make_shared<GroupWidget>(0, 0, 0, 0);
std::shared_ptr<CustomViewWidget> gNavigator;
std::shared_ptr<BrushPreviewWidget> gBrushPreview;
std::shared_ptr<Slider<int>> gSizeSlider;
std::shared_ptr<ImageButton> gToggleGuiButton;
std::shared_ptr<ColorSelector> gColorSelector;

bool interfaceTraceOn() {
    static const bool on = [] {
        const char* v = std::getenv("KESTRELWING_TRACE_INTERFACE");
        return v && *v && *v != '0';
    }();
    return on;
}

std::string toolTipText(const std::string& text, const std::string& keys) {
    return keys.empty() ? text : text + " [" + keys + "]";
}

namespace {
// Two lines, each with its key: a press selects the brush, Ctrl+press opens
// its properties.
std::string brushButtonTip() {
    const std::string& text = tr(tk::BRUSH_BUTTON_TIP_STR);
    const std::size_t cut = text.find('\n');
    const std::string press = text.substr(0, cut);
    const std::string ctrlPress = cut == std::string::npos ? std::string() : text.substr(cut + 1);
    return toolTipText(press, fixedKeys({'b'})) + "\n" + toolTipText(ctrlPress, fixedKeys({0x105}));
}
} // namespace

void createToolBar() {
    if (!gToolBar) gToolBar = std::make_shared<ToolBar>();
}

void toggleToolButton(PaintingApplication& app, Painter& painter, int toolIndex) {
    if (app.currentToolIndex() == toolIndex) {
        painter.tools[static_cast<std::size_t>(toolIndex)]->enabled = false;
        painter.selectTool(app.previousToolIndex);
    } else {
        painter.selectTool(toolIndex);
    }
}

std::shared_ptr<VisualMenu> makeFileMenu(bool load) {
    auto menu = std::make_shared<VisualMenu>(200, 87);
    std::weak_ptr<VisualMenu> weak = menu;
    auto entry = [weak](void (*flow)()) {
        return [weak, flow](Widget*) {
            if (auto m = weak.lock()) m->close();
            flow();
        };
    };
    if (load) {
        menu->add(std::make_shared<ImageButton>(10, 10, 180, 32, tr(tk::TB_LOAD_DRAWING_PROCESS_STR),
                                                entry([] { fileflows::loadProcess(true); })));
        menu->add(std::make_shared<ImageButton>(10, 45, 180, 32, tr(tk::TB_LOAD_IMAGE_STR), entry(fileflows::loadImage)));
    } else {
        menu->add(std::make_shared<ImageButton>(10, 10, 180, 32, tr(tk::TB_SAVE_DRAWING_PROCESS_STR),
                                                entry(fileflows::saveProcess)));
        menu->add(std::make_shared<ImageButton>(10, 45, 180, 32, tr(tk::TB_SAVE_IMAGE_STR), entry(fileflows::saveImage)));
    }
    return menu;
}

void fillToolBar(ToolBar& bar, PaintingApplication& app, Painter& painter) {
    PaintingApplication* a = &app;
    Painter* p = &painter;
    using commands::kFitToWindow;
    auto command = [a](int32_t id) { return [a, id](Widget*) { runCommand(*a, id); }; };
    auto tool = [p](int index) { return [p, index](Widget*) { p->selectTool(index); }; };
    auto toolIsCurrent = [a](int index) { return [a, index](const Widget*) { return a->currentToolIndex() == index; }; };
    auto keysOf = [a](int32_t id) { return commandKeys(*a, id); };
    // Opens a file menu beside the bar, level with the top of the pressed button.
    auto menu = [](bool load) {
        return [load](Widget* button) {
            if (!gToolBar) return;
            makeFileMenu(load)->show(gToolBar->relX + gToolBar->width, button->absY + button->height);
        };
    };

    bar.addButton(0, 7, toolTipText(tr(tk::TB_NEW_IMAGE_STR), keysOf(commands::kNewImage)), command(commands::kNewImage));
    bar.addButton(7, 7, toolTipText(tr(tk::TB_INFO_STR), keysOf(commands::kShowHelp)), command(commands::kShowHelp));
    // Both rest while the transform tool holds a floating picture.
    bar.addButton(5, 7, toolTipText(tr(tk::TB_UNDO_STR), fixedKeys({0x85A})), [a](Widget*) {
        if (a->currentToolIndex() != 7) commands::undoLastStep(*a);
    });
    bar.addButton(6, 7, toolTipText(tr(tk::TB_REDO_STR), fixedKeys({0x859})), [a](Widget*) {
        if (a->currentToolIndex() != 7) commands::redoLastStep(*a);
    });
    bar.addButton(3, 7,
                  toolTipText(tr(tk::TB_PRESS_BUTTON_FIT_CANVAS_TO_WIN_STR), keysOf(kFitToWindow)) + "\n" +
                      toolTipText(tr(tk::TB_CTRL_PLUS_PRESS_BUTTON_ZOOM_10_STR), keysOf(commands::kZoom100)),
                  [a](Widget*) { runCommand(*a, gInputState.ctrl ? commands::kZoom100 : kFitToWindow); });
    bar.addButton(4, 6, toolTipText(tr(tk::TB_FLIP_CANVAS_STR), keysOf(commands::kFlipCanvas)), command(commands::kFlipCanvas));
    bar.addButton(0, 5, toolTipText(tr(tk::TB_SETTINGS_STR), keysOf(commands::kShowSettings)), command(commands::kShowSettings));
    // Lights up while the reference view shows.
    bar.addButton(1, 5, toolTipText(tr(tk::TB_TOGGLE_REFERENCE_VIEW_STR), keysOf(commands::kToggleReferenceView)),
                  command(commands::kToggleReferenceView), [](const Widget*) { return referenceViewVisible(); });

    bar.addSection();
    bar.addButton(1, 7,
                  brushButtonTip(),
                  [a, p](Widget*) {
                      if (gInputState.ctrl) commands::runBuiltInKey(*a, *p, 0x105);
                      else p->selectTool(1);
                  },
                  toolIsCurrent(1));
    bar.addButton(2, 6, toolTipText(tr(tk::TB_ERASER_STR), fixedKeys({'e'})), tool(2), toolIsCurrent(2));
    bar.addButton(3, 5, toolTipText(tr(tk::TB_BUCKET_FILL_STR), keysOf(commands::kBucketFill)), tool(9), toolIsCurrent(9));
    bar.addButton(4, 5, toolTipText(tr(tk::TB_GRADIENT_STR), keysOf(commands::kGradient)), tool(8), toolIsCurrent(8));
    bar.addButton(4, 7, toolTipText(tr(tk::TB_ENTER_ROTATION_MODE_STR), fixedKeys({'r'})), tool(3), toolIsCurrent(3));
    bar.addButton(5, 6, toolTipText(tr(tk::TB_ENTER_SELECTION_MODE_STR), fixedKeys({'d'})), tool(6), toolIsCurrent(6));
    bar.addButton(6, 6, tr(tk::TB_ENTER_CROP_MODE_STR), tool(5), toolIsCurrent(5));
    bar.addButton(6, 5, tr(tk::TB_ENTER_COLOR_PICKING_MODE_STR), tool(12), toolIsCurrent(12));
    bar.addButton(7, 6, toolTipText(tr(tk::TB_ENABLE_DISABLE_PERSPECTIVE_GRI_STR), fixedKeys({0x104})),
                  [a, p](Widget*) { toggleToolButton(*a, *p, 4); },
                  [p](const Widget*) { return p->tools[4]->isActive(); });
    bar.addButton(5, 5, toolTipText(tr(tk::TB_ENTER_EXIT_MIRROR_MODE_STR), keysOf(commands::kMirror)),
                  [a, p](Widget*) { toggleToolButton(*a, *p, 11); },
                  [p](const Widget*) { return p->tools[11]->isActive(); });

    bar.addSection();
    bar.addButton(1, 6, toolTipText(tr(tk::TB_LOAD_STR), fixedKeys({'l', 0x109})), menu(true));
    bar.addButton(0, 6, toolTipText(tr(tk::TB_SAVE_STR), fixedKeys({'s', 0x108})), menu(false));
    bar.addButton(3, 6, toolTipText(tr(tk::TB_REPLAY_STR), fixedKeys({'p'})), [](Widget*) { openReplayPrompt(); });
    bar.addButton(2, 7, toolTipText(tr(tk::TB_EXPORT_AVI_VIDEO_STR), fixedKeys({'v'})), [](Widget*) { openVideoExportDialog(); });
}

void buildInterface(bool withReferenceView) {
    gWithReferenceView = withReferenceView;
    GUI& root = *gGui;
    const int w = static_cast<int>(gRenderArea.width), h = static_cast<int>(gRenderArea.height);
    // 1. The window grid.
    gLayoutManager = GridLayoutManager(5, 5);
    gLayoutManager.width = w;
    gLayoutManager.height = h;
    // 2. The reference view, listening after the painter; a rebuild keeps the one there is.
    if (withReferenceView && !gReferenceView) createReferenceView(w, h);

    // 3. The navigator, shortened to the canvas's aspect.
    gNavigator = std::make_shared<CustomViewWidget>(20, -20, 200, 200, &gPainter);
    if (gCanvas.width > 0 && gCanvas.height > 0) {
        const float aspect = static_cast<float>(gCanvas.width) / static_cast<float>(gCanvas.height);
        if (aspect >= 1.0f) gNavigator->height = gNavigator->width / aspect;
        else gNavigator->width = gNavigator->height * aspect;
    }
    root.add(gNavigator);
    gNavigator->setVisible(optionOn(&PaintingApplicationOptions::showSecondView, false));
    gNavigator->hAlign = HAlign::Left;
    gNavigator->vAlign = VAlign::Top;

    // 4. The three groups; the HUD waits for the right button.
    root.add(gBottomGroup);
    root.add(gRightGroup);
    root.add(gHudGroup);
    gHudGroup->setVisible(false);
    gHudGroup->enabled = false;

    // 5. The HUD's dab.
    gBrushPreview = std::make_shared<BrushPreviewWidget>(0, 0, &gCanvas.brush, gCanvas.color, true, true);
    gHudGroup->add(gBrushPreview);

    // 6.-8. The brush sliders: size (also in the HUD), opacity, hardness.
    gSizeSlider = makeSlider<int>(50, 200, tr(tk::SIZE_STR), 1, kSizeSliderMax, &gCanvas.brush.size);
    gSizeSlider->onChange = [](int value) {
        if (interfaceTraceOn()) std::printf("size slider: %d\n", value), std::fflush(stdout);
    };
    gBottomGroup->add(gSizeSlider);
    gHudGroup->add(gSizeSlider);
    gLayoutManager.place(0, 0, 0, 5, 50, 20, gSizeSlider);
    gBottomGroup->add(makeSlider<float>(300, 100, tr(tk::OPACITY_STR), 0.1f, 1.0f, &gCanvas.brush.opacity));
    gBottomGroup->add(makeSlider<float>(450, 100, tr(tk::HARDNESS_STR), 0.0f, 1.0f, &gCanvas.brush.hardness));

    // 9. The colour selector: one object in the right column and in the HUD,
    // so both show and edit the same colour. Placed by its centre.
    gColorSelector = std::make_shared<ColorSelector>(150, 150, currentColorRecord());
    gRightGroup->add(gColorSelector);
    gHudGroup->add(gColorSelector);
    gLayoutManager.place(4, 4, 2, 3, -73, -10, gColorSelector);

    // 10. The colour and its numbers.
    auto colorNumbers = std::make_shared<ColorWidget>(5, 5, 35, 20, currentColorRecord());
    gRightGroup->add(colorNumbers);
    gLayoutManager.place(3, 4, 2, 3, 10, 80, colorNumbers);

    // 11. The layers panel at the foot of the right column.
    auto layersPanel = std::make_shared<LayersWidget>(&gLayers, &gCanvas);
    gRightGroup->add(layersPanel);
    gLayoutManager.place(0, 4, 2, 5, 10, 55, layersPanel);

    // 12.-13. The tool bar.
    createToolBar();
    gToolBar->clear();
    if (gApp) fillToolBar(*gToolBar, *gApp, gPainter);
    root.add(gToolBar);

    // 14. Notifications.
    if (gApp) gApp->notification = createNotificationWidget(root);

    // 15. The interface toggle.
    gToggleGuiButton = std::make_shared<ImageButton>(0, 0, 15, 15, "<", [](Widget*) { toggleInterface(); });
    root.add(gToggleGuiButton);
    gLayoutManager.place(4, 0, 0, 3, 0, 0, gToggleGuiButton);
    gToggleGuiButton->setVisible(optionOn(&PaintingApplicationOptions::showToggleGuiButton, true));

    // 16. The brush properties button.
    const std::string propertiesTip = toolTipText(tr(tk::TB_OPEN_BRUSH_PROPERTIES_DIALOG_STR), "F5");
    auto properties = std::make_shared<ImageButton>(propertiesTip, [](Widget*) {
        if (gApp) commands::runBuiltInKey(*gApp, gPainter, 0x105);
    });
    gRightGroup->add(properties);
    gLayoutManager.place(4, 4, 2, 3, 3, 3, properties);

    // 17. The tool options strip, above all but dialogs.
    if (!gToolOptionsBar) createToolOptionsBar();
    placeToolOptionsBar(w, h);
    gToolOptionsBar->setVisible(false);
    root.add(gToolOptionsBar);
}

void rebuildInterface() {
    gPainter.selectTool(1);
    GUI& root = *gGui;
    // An open dialog (the one that asked for the rebuild) survives.
    std::shared_ptr<Widget> keep;
    InputListener* exclusive = InputDispatcher::instance().exclusive;
    for (const auto& child : root.children)
        if (child.get() == exclusive) keep = child;
    for (const auto& child : root.pendingAdd)
        if (child.get() == exclusive) keep = child;
    root.children.clear();
    root.pendingAdd.clear();
    ++root.revision;

    gNavigator.reset();
    gBrushPreview.reset();
    gSizeSlider.reset();
    gColorSelector.reset();
    gToggleGuiButton.reset();
    for (const auto& group : {gBottomGroup, gRightGroup, gHudGroup}) group->children.clear();
    if (gToolOptionsBar) gToolOptionsBar->children.clear();
    if (gToolBar) gToolBar->clear();

    buildInterface(gWithReferenceView);
    if (keep) {
        root.add(keep);
        gLayoutManager.place(2, 2, 1, 4, 0, 0, keep);
    }
}

bool interfaceShown() { return !gToolBar || gToolBar->enabled; }

void toggleInterface() {
    if (!gToolBar) return;
    if (interfaceShown()) hideInterface();
    else showInterface();
}

void openColourHud(int x, int y) {
    if (!gSizeSlider || !gBrushPreview) return;
    const float s = GuiScale;
    gBrushPreview->relX = static_cast<float>(x);
    gBrushPreview->relY = static_cast<float>(y) - 120 * s;
    if (gColorSelector) {
        gColorSelector->relX = static_cast<float>(x);
        gColorSelector->relY = static_cast<float>(y);
    }
    gSizeSlider->relX = static_cast<float>(x) - gSizeSlider->width / 2;
    gSizeSlider->relY = static_cast<float>(y) - 110 * s;
    InputDispatcher::instance().exclusive = gHudGroup.get();
    gHudGroup->enabled = true;
    AnimatorRegistry::instance().remove(kHudFadeKey);
    fadeIn(kHudFadeMs, kHudFadeKey, gHudGroup);
    gHudGroup->update(0, 0, 0);
}

void closeColourHud() {
    InputDispatcher& d = InputDispatcher::instance();
    if (d.exclusive == gHudGroup.get()) d.exclusive = nullptr;
    AnimatorRegistry::instance().remove(kHudFadeKey);
    gHudGroup->enabled = false;
    gHudGroup->setVisible(false);
    gLayoutManager.resetPositions();
    if (gSizeSlider) gSizeSlider->dragging = false;
    if (gColorSelector) gColorSelector->pressing = false;
}
