#pragma once
// Moves, scales and rotates floating pixels. For now the tool takes its place in the painter's
// table and announces itself; its behaviour comes with its own work.
#include "tools/Tool.h"
#include "tools/ToolMessages.h"

class TransformTool : public Tool {
public:
    using Tool::Tool;
};
