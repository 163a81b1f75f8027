#pragma once
// Lines and arcs drawn directly. For now the tool takes its place in the painter's
// table and announces itself; its behaviour comes with its own work.
#include "tools/Tool.h"
#include "tools/ToolMessages.h"

class ShapeTool : public Tool {
public:
    using Tool::Tool;
};
