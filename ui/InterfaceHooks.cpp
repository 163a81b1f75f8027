#include "ui/InterfaceHooks.h"

namespace ui {

std::function<void()> gRebuildInterface;
std::function<void(const PaintingApplicationOptions&)> gApplyInterfaceOptions;

void rebuildInterface() {
    if (gRebuildInterface) gRebuildInterface();
}

void applyInterfaceOptions(const PaintingApplicationOptions& options) {
    if (gApplyInterfaceOptions) gApplyInterfaceOptions(options);
}

} // namespace ui
