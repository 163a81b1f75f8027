// The factory presets, painted: every preset the program ships reads back
// with its tip, and each one's sample stroke has the character its name
// promises. The strokes also go into build/artefacts/factory_presets.png, a
// contact sheet for tuning the presets by eye.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "brush/BrushPresets.h"
#include "brush/BrushTips.h"
#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "core/InputState.h"
#include "history/History.h"
#include "io/Codecs.h"
#include "support/GlTestContext.h"
#include "TestPaths.h"

namespace {

constexpr int kW = 480, kH = 150;

// What a stroke left on the layer.
struct Marks {
    int covered = 0;  // alpha above 8
    int partial = 0;  // alpha between 8 and 247: soft edges, build-up, texture
    int solid = 0;    // alpha above 247
    std::vector<int> columnCover; // covered pixels per column
};

class FactoryPresetsGl : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        buildTips(tips, std::string(KW_TEST_DATA_DIR) + "/brushes");
        canvas.attach(&history, &tips);
        canvas.resize(kW, kH, layers);
        setDabSink(&canvas);
        resetPenState();
        gInputState.reset();
    }
    void TearDown() override {
        gWantedMode = kBrushModePaint;
        setDabSink(nullptr);
        canvas.freeSurfaces();
        GlTest::TearDown();
    }

    // A gentle S across the canvas, pressure rising to full in the middle
    // and falling again, as a hand draws it.
    void paintSample() {
        std::vector<math::Vec2> path;
        for (int i = 0; i <= 100; ++i) {
            const float t = i / 100.0f;
            path.push_back({40.0f + t * (kW - 80), kH / 2.0f + 30.0f * std::sin(t * 6.2831853f)});
        }
        auto pressure = [](std::size_t i) { return 0.15f + 0.85f * std::sin(static_cast<float>(i) / 100 * 3.14159f); };
        gCurrentPressure = pressure(0);
        canvas.beginStroke(path[0].x, path[0].y);
        for (std::size_t i = 1; i < path.size(); ++i) {
            gCurrentPressure = pressure(i);
            gInputState.updatePointer(static_cast<int>(path[i].x), static_cast<int>(path[i].y));
            canvas.continueStroke(path[i].x, path[i].y);
            if (i % 3 == 0) canvas.strokeFrame(false);
        }
        canvas.endStroke();
        canvas.strokeFrame(false);
        canvas.strokeFrame(false);
    }

    static Marks marksOf(const std::vector<uint8_t>& px, bool erased) {
        Marks m;
        m.columnCover.assign(kW, 0);
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) {
                const int a = px[(static_cast<std::size_t>(y) * kW + x) * 4 + 3];
                // On an erased layer the mark is what was taken away.
                const int mark = erased ? 255 - a : a;
                if (mark > 8) {
                    ++m.covered;
                    ++m.columnCover[x];
                }
                if (mark > 8 && mark < 247) ++m.partial;
                if (mark >= 247) ++m.solid;
            }
        return m;
    }

    Canvas canvas{kW, kH};
    MultiLayeredImage layers;
    History history{&canvas, layers};
    BrushTipTable tips;
};

} // namespace

TEST_F(FactoryPresetsGl, EveryPresetPaintsWhatItsNameSays) {
    const presets::FileContent factory =
        presets::readFile(std::string(KW_TEST_DATA_DIR) + "/brushes/brush_presets.xml", tips);
    ASSERT_TRUE(factory.intact) << factory.problem;
    // Every preset of the file is there: none lost its tip.
    const std::vector<std::string> names = {"Pencil",  "Inking pen", "Marker", "Soft airbrush", "Textured chalk",
                                            "Dry brush", "Flat brush", "Rake",   "Sponge",        "Splatter",
                                            "Grass",   "Leaves",     "Plaster", "Soft eraser",   "Hard eraser"};
    ASSERT_EQ(factory.presets.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(factory.presets[i].name, names[i]);

    std::vector<uint8_t> sheet;
    std::vector<Marks> marks;
    for (const BrushPreset& preset : factory.presets) {
        SCOPED_TRACE(preset.name);
        const bool eraser = preset.name.find("eraser") != std::string::npos;
        // As the tools do: the stroke takes the brush of the wanted mode.
        gWantedMode = eraser ? kBrushModeErase : kBrushModePaint;
        canvas.selectBrushSlot(gWantedMode);
        canvas.brush = preset.brush;
        canvas.brush.mode = gWantedMode;
        // Erasers work on an opaque layer; the others paint on a clear one.
        canvas.clearCurrentSurface(0, 0, 0, eraser ? 1.0f : 0.0f);
        if (preset.brush.hasFlag(kBrushFlagColorDynamics))
            canvas.setColor({0.25f, 0.5f, 0.15f});
        else
            canvas.setColor({0.08f, 0.08f, 0.12f});
        paintSample();
        const std::vector<uint8_t> px = readFramebuffer(canvas.currentLayerSurface());
        marks.push_back(marksOf(px, eraser));
        // Over white, top row first, for the contact sheet and a file of its own.
        std::vector<uint8_t> tile;
        for (int y = kH - 1; y >= 0; --y)
            for (int x = 0; x < kW; ++x) {
                const uint8_t* p = &px[(static_cast<std::size_t>(y) * kW + x) * 4];
                for (int c = 0; c < 3; ++c) tile.push_back(static_cast<uint8_t>(p[c] + (255 - p[3])));
                tile.push_back(255);
            }
        sheet.insert(sheet.end(), tile.begin(), tile.end());
        std::filesystem::create_directories(std::string(KW_ARTEFACT_DIR) + "/factory_presets");
        codec::encodePng(std::string(KW_ARTEFACT_DIR) + "/factory_presets/" + std::to_string(marks.size()) + ".png",
                         tile.data(), kW, kH);
        // A grey line between the samples.
        for (int x = 0; x < kW; ++x) sheet.insert(sheet.end(), {160, 160, 160, 255});
    }
    std::filesystem::create_directories(KW_ARTEFACT_DIR);
    EXPECT_TRUE(codec::encodePng(std::string(KW_ARTEFACT_DIR) + "/factory_presets.png", sheet.data(), kW,
                          static_cast<int32_t>(names.size()) * (kH + 1)));

    auto at = [&](const char* name) -> const Marks& {
        const auto it = std::find(names.begin(), names.end(), name);
        return marks[static_cast<std::size_t>(it - names.begin())];
    };
    // Every preset leaves a mark along the whole path and stays near it.
    for (std::size_t i = 0; i < names.size(); ++i) {
        SCOPED_TRACE(names[i]);
        EXPECT_GT(marks[i].covered, 400);
        EXPECT_LT(marks[i].covered, kW * kH * 3 / 4);
    }
    // A pencil draws a thin line; an inking pen a line whose width follows
    // the pressure, with a crisp edge; a marker a broad even band.
    EXPECT_LT(at("Pencil").covered, at("Inking pen").covered);
    const std::vector<int>& pen = at("Inking pen").columnCover;
    EXPECT_LT(pen[50] * 2, pen[kW / 2]) << "the pen's line swells with pressure";
    // A crisp edge is a pixel or two wide on either side of the line.
    auto edgePixelsPerColumn = [](const Marks& m) {
        const auto columns = std::count_if(m.columnCover.begin(), m.columnCover.end(), [](int n) { return n > 0; });
        return static_cast<double>(m.partial) / static_cast<double>(std::max<std::ptrdiff_t>(columns, 1));
    };
    EXPECT_LT(edgePixelsPerColumn(at("Inking pen")), 10.0);
    EXPECT_GT(edgePixelsPerColumn(at("Soft airbrush")), 40.0);
    EXPECT_GT(at("Marker").covered, 2 * at("Inking pen").covered);
    // The airbrush is soft all over: far more partial than solid coverage.
    EXPECT_GT(at("Soft airbrush").partial, 4 * at("Soft airbrush").solid);
    // Textured tips leave broken, grainy marks.
    for (const char* textured : {"Textured chalk", "Dry brush", "Sponge", "Plaster"})
        EXPECT_GT(at(textured).partial, at(textured).solid / 4) << textured;
    // Erasers: the soft one fades out, the hard one cuts clean.
    EXPECT_GT(edgePixelsPerColumn(at("Soft eraser")), 20.0);
    EXPECT_LT(edgePixelsPerColumn(at("Hard eraser")), 10.0);
    EXPECT_GT(at("Hard eraser").solid, 2 * at("Hard eraser").partial);
}
