#pragma once
// The painting program: the application frame plus the document.
#include <memory>
#include <string>
#include <vector>

#include "core/Application.h"
#include "core/Command.h"
#include "core/InputCallbacks.h"

class BrushTipTable;
class BrushPresetManager;
class Canvas;
class History;
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

class PaintingApplication : public Application, public InputHost {
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

    // What the input layer asks of the application.
    float renderAreaHeight() const override { return renderArea.height; }
    int interactionMode() const override { return Application::interactionMode; }
    void setInteractionMode(int mode) override { Application::setInteractionMode(mode); }
    bool busy() const override { return Application::busy; }
    int currentToolIndex() const override { return currentToolIndex_; }
    math::Vec2 windowOrigin() const override;
    platform::VirtualScreen virtualScreen() const override;
    void resetToolTip() override;
    void openColourHud(int x, int y) override;
    void closeColourHud() override;
    void engageAxisLock(int x, int y) override;
    void unconsumedKey(int code) override;
    void zoomAt(bool zoomIn, int x, int y, float factor) override;
    float viewScale() const override;
    std::array<float, 4> viewRotation() const override;
    void panView(float dx, float dy) override;

    std::unique_ptr<Canvas> canvas;
    std::unique_ptr<MultiLayeredImage> layers;
    std::unique_ptr<History> history; // owns every action of the picture
    std::unique_ptr<BrushTipTable> brushTips; // the tip table of the brush preset manager
    std::unique_ptr<BrushPresetManager> brushPresets; // read after the tip table is built
    std::shared_ptr<Painter> painter; // shared: the input dispatcher holds it too
    int currentToolIndex_ = 1; // index into the painter's tools
    int previousToolIndex = 1;
    std::string imageName;
    // The "Author:" field of the last video export; for this run only.
    std::string authorName;
    std::string autosavePath; // where the autosave writes this run
    // Commands: the four that hold a mode while their keys are down (offered
    // the modifier mask at every tick), and those run for unconsumed keys.
    std::vector<std::unique_ptr<Command>> stateCommands;
    std::vector<std::unique_ptr<Command>> applicationCommands;
};
