#pragma once
// The bucket: a left click on the canvas records a BucketFillAction and
// executes it. Opacity, tolerance and the two modes live here for the run
// and are set in the options strip.
#include "tools/Tool.h"

class BucketFillActionTool : public Tool {
public:
    using Tool::Tool;

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    bool isActive() const override;
    void drawCursor(int x, int y) override;
    void drawHints(int& line) override;
    void activate() override;

    float opacity = 1.0f;
    float tolerance = 0.1f;
    bool optimizeForLineart = false;
    bool sampleAllLayers = false;
};
