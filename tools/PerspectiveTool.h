#pragma once
// The perspective grid with its vanishing points. For now the tool takes its place in the painter's
// table and announces itself; its behaviour comes with its own work.
#include "tools/Tool.h"
#include "tools/ToolMessages.h"

class PerspectiveTool : public Tool {
public:
    using Tool::Tool;
    void activate() override {
        Tool::activate();
        announce("perspective mode");
    }
};
