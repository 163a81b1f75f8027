#pragma once
// The painting program: the application frame plus the document.
#include <memory>
#include <string>

#include "core/Application.h"

class Canvas;
class Painter;
class MultiLayeredImage;

class PaintingApplicationOptions : public ApplicationOptions {
public:
    void reset() override;

    bool referenceViewOnLeft = true;
    bool showToggleGuiButton = true;
    bool showSecondView = false;
    int defaultCanvasWidth = 1024;
    int defaultCanvasHeight = 768;
    int defaultBrushSize = 50;
};

class PaintingApplication : public Application {
public:
    PaintingApplication();
    ~PaintingApplication() override;

    void init() override;
    void leaveMode() override;
    void drawCursor() override;
    void createOptions() override;
    void loadOptions() override;
    void saveOptions() override;
    PaintingApplicationOptions& getOptions() { return static_cast<PaintingApplicationOptions&>(*options); }

    std::unique_ptr<Canvas> canvas;
    std::unique_ptr<MultiLayeredImage> layers;
    std::shared_ptr<Painter> painter; // shared: the input dispatcher holds it too
    int currentToolIndex = 1;
    int previousToolIndex = 1;
    std::string imageName;
};
