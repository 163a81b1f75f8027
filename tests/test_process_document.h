#pragma once
// A document on GL for the process tests: canvas, layers, history and a tip
// table, and a list that exercises every action type of the catalogue.
#include <filesystem>
#include <memory>

#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "history/BrushStrokeAction.h"
#include "history/CanvasFillAction.h"
#include "history/CanvasFlipAction.h"
#include "history/CanvasSizeActions.h"
#include "history/FillActions.h"
#include "history/History.h"
#include "history/ImageActions.h"
#include "history/LayerListAction.h"
#include "history/LayerPropertyAction.h"
#include "history/SelectionActions.h"
#include "io/DrawingProcess.h"
#include "support/TestFiles.h"

namespace processtest {

struct GlDocument {
    Canvas canvas;
    MultiLayeredImage layers;
    History history{&canvas, layers};
    BrushTipTable tips;

    GlDocument(int width, int height) : canvas(width, height) {
        tips.build(std::filesystem::path("/nonexistent-kw-tips"), {});
        canvas.attach(&history, &tips);
        history.reinitialize(width, height);
        history.runQueuedActions();
    }
    ~GlDocument() {
        canvas.freeSurfaces();
        for (const BrushTip& t : tips.tips())
            if (t.texture) {
                GLuint name = t.texture;
                glDeleteTextures(1, &name);
            }
    }
    DocumentTarget target() { return DocumentTarget{canvas, layers, history, nullptr, nullptr}; }

    // What a tool does: add, then execute.
    void perform(std::unique_ptr<HistoryAction> action) {
        HistoryAction* raw = action.get();
        history.add(std::move(action), false);
        raw->execute();
    }
    std::vector<uint8_t> save() {
        canvas.saveCurrentLayer(layers);
        const LayeredPicture picture = captureLayers(canvas, layers);
        ProcessSaveInput input{&history.actions(), history.actionCount(), &picture, history.initialWidth,
                               history.initialHeight, &tips, {}, 0, 0};
        return encodeProcess(input);
    }
    // Loads process bytes into this document the way the program opens a
    // file (through a file on disk).
    LoadResult load(const std::vector<uint8_t>& bytes) {
        const testfiles::TempFolder folder("kw_document");
        testfiles::writeFile(folder / "process.dpf", bytes);
        DocumentTarget into = target();
        DrawingProcess::LoadOptions options;
        options.tips = &tips;
        int32_t version[3] = {};
        return DrawingProcess::load(folder.file("process.dpf"), into, options, version);
    }
};

inline std::unique_ptr<BrushStrokeAction> stroke(Brush brush, brush::Rgb color, float x0, float y0, float dx,
                                                 float dy, int count, bool colorPoints = false) {
    if (colorPoints) brush.setFlag(kBrushFlagColorDynamics, true);
    auto s = std::make_unique<BrushStrokeAction>(brush, color);
    for (int i = 0; i < count; ++i) {
        BrushStrokePoint p({x0 + dx * i, y0 + dy * i}, 1.0f - 0.05f * i, 0.9f, false, 10.0f * i);
        if (colorPoints)
            s->appendPoint(std::make_unique<BrushStrokeColorPoint>(p, brush::Rgb{0.1f * i, 0.5f, 1.0f - 0.1f * i}));
        else
            s->appendPoint(std::make_unique<BrushStrokePoint>(p));
    }
    return s;
}

// Every type code of the catalogue, executed as the tools would.
inline void performEveryActionType(GlDocument& d) {
    Canvas& c = d.canvas;
    MultiLayeredImage& l = d.layers;
    // A tip from a process: an 8 x 4 soft bar.
    std::vector<uint8_t> tipPixels(8 * 4 * 4);
    for (std::size_t i = 0; i < tipPixels.size(); i += 4) tipPixels[i + 3] = static_cast<uint8_t>(40 + i);
    const int32_t tip = d.tips.appendProcessTip("bar", 8, 4, tipPixels);
    uploadProcessTipTextures(d.tips);

    Brush round;
    round.size = 5;
    Brush textured;
    textured.size = 6;
    textured.tipIndex = tip;
    d.perform(std::make_unique<NewLayerAction>(c, l));                                   // 4
    d.perform(stroke(round, {1, 0, 0}, 2, 3, 2, 1, 6));                                  // 16
    d.perform(std::make_unique<LayerChangeAction>(c, l, 0));                            // 5
    d.perform(stroke(textured, {0, 0, 1}, 3, 8, 1.5f, -0.5f, 7));
    d.perform(std::make_unique<LayerOpacityChangeAction>(c, l, 70));                     // 14
    d.perform(std::make_unique<LayerVisibilityToggleAction>(c, l));                      // 12
    d.perform(std::make_unique<LayerVisibilityToggleAction>(c, l));
    d.perform(std::make_unique<LayerFlipAction>(c, l));                                  // 10
    d.perform(std::make_unique<CanvasFlipAction>(c, l));                                 // 3
    d.perform(std::make_unique<LayerMoveAction>(c, l, 2));                               // 9
    d.perform(std::make_unique<NewLayerAction>(c, l));
    d.perform(stroke(round, {0, 1, 0}, 1, 1, 1, 1, 8, true));
    d.perform(std::make_unique<LayerMergeDownAction>(c, l));                             // 11
    d.perform(std::make_unique<NewLayerAction>(c, l));
    d.perform(std::make_unique<DeleteLayerAction>(c, l));                                // 8
    d.perform(std::make_unique<EnableSelectionAction>(c, std::vector<math::Vec2>{{1, 1}, {9, 1}, {5, 8}})); // 6
    d.perform(std::make_unique<DisableSelectionAction>(c));                              // 7
    auto paste = std::make_unique<ImagePasteAction>(c, l);                                // 18
    paste->imageWidth = 2;
    paste->imageHeight = 3;
    paste->bytesPerPixel = 3;
    paste->centreX = 4.5f;
    paste->centreY = 5.5f;
    paste->targetWidth = 4;
    paste->targetHeight = 6;
    paste->rotation = 12.5f;
    paste->pixels.assign(18, 77);
    d.perform(std::move(paste));
    auto gradient = std::make_unique<GradientFillAction>(c);                             // 20
    gradient->startX = 1;
    gradient->endX = 10;
    gradient->endY = 3;
    gradient->colors = {{1, 0, 0, 1}, {0, 0, 1, 0}, {0, 1, 0, 0.5f}};
    gradient->positions = {0, 1, 0.5f};
    d.perform(std::move(gradient));
    auto bucket = std::make_unique<BucketFillAction>(c, l);                              // 21
    bucket->seedX = 3;
    bucket->seedY = 4;
    bucket->color = {10, 20, 30, 40};
    bucket->tolerance = 0.3f;
    bucket->optimizeForLineart = true;
    bucket->sampleAllLayers = true;
    d.perform(std::move(bucket));
    d.perform(std::make_unique<ImageCutAction>(c));                                      // 23
    d.perform(std::make_unique<NewLayerAction>(c, l));
    d.perform(stroke(round, {1, 1, 0}, 12, 2, 0, 1.5f, 6));
    d.perform(std::make_unique<LayerOpacityChangeAction>(c, l, 35));
    // An image load and a layered picture in the middle of the list.       // 13, 17
    c.saveCurrentLayer(l);
    d.perform(std::make_unique<MultiLayeredImageLoadAction>(c, l, captureLayers(c, l)));
    std::vector<uint8_t> image(static_cast<std::size_t>(c.width) * c.height * 4);
    for (std::size_t i = 0; i < image.size(); i += 4) {
        image[i + 3] = static_cast<uint8_t>(i * 7);
        image[i] = static_cast<uint8_t>(image[i + 3] / 2);
    }
    d.perform(std::make_unique<ImageLoadAction>(c, c.width, c.height, image));
    // Size changes after the image load: its stored pixels have the initial size.
    auto crop = std::make_unique<ImageCropAction>(c, l);                                 // 15
    crop->centreX = 6;
    crop->centreY = 5;
    crop->width = 8;
    crop->height = 6;
    crop->rotation = -30;
    d.perform(std::move(crop));
    auto resize = std::make_unique<ImageResizeAction>(c, l);                             // 19
    resize->width = 20;
    resize->height = 10;
    d.perform(std::move(resize));
    d.perform(stroke(round, {0.2f, 0.4f, 0.6f}, 8, 9, -1, -0.5f, 9));
    d.perform(std::make_unique<CanvasFillAction>(c, 0.25f, 0.5f, 0.75f));            // 2
    d.perform(stroke(textured, {1, 0, 1}, 4, 4, 1, 0.25f, 5));
}

} // namespace processtest
