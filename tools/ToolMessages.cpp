#include "tools/ToolMessages.h"

#include "core/Globals.h"
#include "core/PaintingApplication.h"

void announce(const char* text) { gApp->showMessage("%s", text); }
