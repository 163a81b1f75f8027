#pragma once
// Polygon selection that confines painting. For now the tool takes its place in the painter's
// table and announces itself; its behaviour comes with its own work.
#include "tools/Tool.h"
#include "tools/ToolMessages.h"

class SelectionTool : public Tool {
public:
    using Tool::Tool;
    void activate() override {
        Tool::activate();
        announce("selection mode");
    }
};
