#include "tools/ToolMessages.h"

#include "core/Globals.h"
#include "core/PaintingApplication.h"

void announce(const std::string& text) { gApp->showMessage("%s", text.c_str()); }
