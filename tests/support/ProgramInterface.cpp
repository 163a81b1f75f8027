#include "support/ProgramInterface.h"

#include <functional>

#include "canvas/Painter.h"
#include "core/Application.h"
#include "core/CommandList.h"
#include "core/Globals.h"
#include "core/InputCallbacks.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/InteractionMode.h"
#include "core/PaintingApplication.h"
#include "tools/ToolPanel.h"
#include "ui/Interface.h"
#include "ui/NotificationWidget.h"
#include "widgets/Animator.h"
#include "widgets/ColorSelector.h"
#include "widgets/Dialog.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"

ProgramInterface::ProgramInterface() : savedArea(gRenderArea), savedRoot(gGui) {
    gRenderArea = {0, 0, 1000, 700};
    gGui = std::make_shared<GUI>(&gRenderArea);
    InputDispatcher& d = InputDispatcher::instance();
    d.listeners.clear();
    d.exclusive = nullptr;
    d.add(gGui);
    d.add(gApp->painter);
    gInputState.reset();
    resetInputCallbacks();
    setInputHost(gApp);
    setModalWait([](const std::function<bool()>&) {});
    commands::createCommands(*gApp, gPainter);
    gPainter.selectTool(1);
}

void ProgramInterface::build() {
    buildInterface(false);
    gGui->update(0, 0, 0);
    gGui->update(0, 0, 0);
}

ProgramInterface::~ProgramInterface() {
    closeAllDialogs();
    closeColourHud();
    AnimatorRegistry::instance().clear();
    InputDispatcher& d = InputDispatcher::instance();
    d.listeners.clear();
    d.exclusive = nullptr;
    setInputHost(nullptr);
    setModalWait({});
    gGui->children.clear();
    gGui = savedRoot;
    gRenderArea = savedArea;
    gApp->notification.reset();
    gToolOptionsBar.reset();
    gColorSelector.reset();
    for (const auto& group : {gBottomGroup, gRightGroup, gHudGroup})
        if (group) group->children.clear();
    gInputState.reset();
    static_cast<Application*>(gApp)->interactionMode = kModeTool;
}
