#include "widgets/GuiRoot.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "core/InputDispatcher.h"
#include "core/InteractionMode.h"
#include "core/PaintingApplication.h"
#include "core/Globals.h"
#include "platform/ErrorBox.h"
#include "widgets/GUI.h"
#include "widgets/GlFont.h"
#include "core/Localisation.h"

std::shared_ptr<GUI> gGui;

void createGuiRoot(RenderArea* windowRect) {
    try {
        loadGlobalFonts();
    } catch (const std::runtime_error& e) {
        platform::showFatalError(tr(tk::ERROR_STR), e.what());
        std::exit(1);
    }
    gGui = std::make_shared<GUI>(windowRect);
    // An event taken by the interface moves the pointer zone to the interface.
    gGui->onPointerOverInterface = [] {
        if (gApp && gApp->interactionMode() != kModeInterface) gApp->setInteractionMode(kModeInterface);
    };
    InputDispatcher::instance().add(gGui);
}

bool widgetDemoRequested() {
    const char* v = std::getenv("KESTRELWING_WIDGET_DEMO");
    return v && std::strcmp(v, "1") == 0;
}
