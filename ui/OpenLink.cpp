#include "ui/OpenLink.h"

#include "core/Globals.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "platform/OpenExternal.h"

void openLink(const std::string& target) {
    const bool started = platform::openExternal(target, [target](int) {
        // The opener ran but found no application: told from the tick.
        gApp->postMessage("%s", loc::fillText(tr(tk::OPENER_FAILED_STR), {target}).c_str());
    });
    if (!started)
        gApp->showMessage("%s", loc::fillText(tr(tk::OPENER_MISSING_STR), {target, platform::externalOpener()}).c_str());
}
