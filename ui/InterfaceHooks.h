#pragma once
// What the settings and help dialogs ask of the assembled interface, which
// lives elsewhere: the application connects these at start-up. Until then
// they do nothing, so the dialogs work (and are tested) without it.
#include <functional>

class PaintingApplicationOptions;

namespace ui {

// Throws the interface away and builds it again (texts of a new language,
// tool tips with new bindings). Open dialogs survive it.
extern std::function<void()> gRebuildInterface;
// Shows the applied options on the interface: the "toggle GUI" button, the
// second view, the reference view's side.
extern std::function<void(const PaintingApplicationOptions&)> gApplyInterfaceOptions;

void rebuildInterface();
void applyInterfaceOptions(const PaintingApplicationOptions& options);

} // namespace ui
