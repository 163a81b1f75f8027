// The paste on GL: the placed image read back against the pixels it came
// from (unrotated and a quarter turn), the in-program copy and paste through
// the exact clipboard block, the shrink at apply, undo, the stored form, and
// a process with a live paste replayed by the batch binary.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/InteractionMode.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "history/ImageActions.h"
#include "history/SelectionActions.h"
#include "io/BinaryStream.h"
#include "io/DibBlock.h"
#include "io/DrawingProcess.h"
#include "io/ImageCodec.h"
#include "io/LayeredFile.h"
#include "support/GlTestContext.h"
#include "support/ProgramDocument.h"
#include "tools/ClipboardImage.h"
#include "tools/TransformTool.h"
#include "TestPaths.h"

namespace {
constexpr int kW = 64, kH = 48;

TransformTool& tool() { return static_cast<TransformTool&>(*gPainter.tools[7]); }

// BGRA pixels as RGBA (the readback's order).
std::vector<uint8_t> toRgba(std::vector<uint8_t> bgra) { return dib::swapRedBlue(std::move(bgra)); }

const uint8_t* px(const std::vector<uint8_t>& rgba, int width, int x, int y) {
    return &rgba[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 4];
}

class PasteGl : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        resetProgramDocument(kW, kH);
        tool().reset();
    }
    void TearDown() override {
        gPainter.selectTool(1);
        // The texture belongs to this test's context use: never let a later test free a stale name.
        if (tool().texture) glDeleteTextures(1, &tool().texture);
        tool().texture = 0;
        tool().pixels.clear();
        gHistory.freeSnapshots();
        gHistory.clear();
        gCanvas.freeSurfaces();
        gLayers.reset(1);
        GlTest::TearDown();
    }
    // The current surface as RGBA.
    static std::vector<uint8_t> current() { return readTexture(gCanvas.currentLayerSurface().textureId, kW, kH); }
    // Puts premultiplied RGBA into the current surface, as an image load does.
    static void load(const std::vector<uint8_t>& rgba) {
        ImageLoadAction load(gCanvas, kW, kH, rgba);
        ASSERT_TRUE(load.execute());
    }
    static void perform(std::unique_ptr<HistoryAction> action) {
        HistoryAction* raw = action.get();
        gHistory.add(std::move(action), false);
        raw->execute();
    }
};

} // namespace

// At a whole-pixel corner and scale 1 every texel lands on one pixel: the
// layer holds exactly the image, and nothing else.
TEST_F(PasteGl, UnrotatedPasteGivesTheExactPixels) {
    const std::vector<uint8_t> bgra = premultipliedPattern(6, 4, 7);
    auto paste = std::make_unique<ImagePasteAction>(gCanvas, gLayers);
    paste->imageWidth = 6;
    paste->imageHeight = 4;
    paste->bytesPerPixel = 4;
    paste->centreX = 13; // corner (10, 8)
    paste->centreY = 10;
    paste->targetWidth = 6;
    paste->targetHeight = 4;
    paste->pixels = bgra;
    perform(std::move(paste));
    ASSERT_EQ(gLayers.count(), 2);
    EXPECT_EQ(gLayers.current, 1);
    const std::vector<uint8_t> got = current(), image = toRgba(bgra);
    int differing = 0;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const bool inside = x >= 10 && x < 16 && y >= 8 && y < 12;
            const uint8_t zero[4] = {0, 0, 0, 0};
            const uint8_t* want = inside ? px(image, 6, x - 10, y - 8) : zero;
            if (std::memcmp(px(got, kW, x, y), want, 4) != 0) ++differing;
        }
    EXPECT_EQ(differing, 0);
}

// A quarter turn anticlockwise about (30, 24): canvas pixel (X, Y) shows
// image column Y - 20 of row 32 - X (texel centres on pixel centres).
TEST_F(PasteGl, QuarterTurnPlacesRowsAsColumns) {
    const std::vector<uint8_t> bgra = premultipliedPattern(8, 6, 11);
    auto paste = std::make_unique<ImagePasteAction>(gCanvas, gLayers);
    paste->imageWidth = 8;
    paste->imageHeight = 6;
    paste->centreX = 30;
    paste->centreY = 24;
    paste->targetWidth = 8;
    paste->targetHeight = 6;
    paste->rotation = 90;
    paste->pixels = bgra;
    perform(std::move(paste));
    const std::vector<uint8_t> got = current(), image = toRgba(bgra);
    int checked = 0;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const uint8_t* g = px(got, kW, x, y);
            if (x >= 28 && x <= 31 && y >= 21 && y <= 26) { // inside, away from the rim
                const uint8_t* want = px(image, 8, y - 20, 32 - x);
                for (int c = 0; c < 4; ++c) EXPECT_NEAR(g[c], want[c], 1) << x << "," << y << " channel " << c;
                ++checked;
            } else if (x < 26 || x > 33 || y < 19 || y > 28) { // clear of it
                EXPECT_EQ(g[3], 0) << x << "," << y;
            }
        }
    EXPECT_EQ(checked, 24);
}

// Copy without a selection, paste, Enter: the layer comes back on a new
// layer centred on canvas point (0, 0), so its upper-right quarter shows in
// the lower-left quarter of the canvas, bit for bit.
TEST_F(PasteGl, CopyThenPasteThroughTheExactBlock) {
    const std::vector<uint8_t> original = premultipliedPattern(kW, kH, 3);
    load(original);
    int32_t w = 0, h = 0;
    std::vector<uint8_t> bgra;
    ASSERT_TRUE(clipimage::grabImage(gPainter, w, h, bgra));
    EXPECT_EQ(w, kW);
    EXPECT_EQ(h, kH);
    EXPECT_EQ(toRgba(bgra), original);
    auto offers = clipimage::imageOffers(w, h, bgra);
    ASSERT_EQ(offers.front().target, clipimage::kPrivateTarget);
    dib::Image image;
    std::string why;
    ASSERT_TRUE(clipimage::imageFromTarget(clipimage::kPrivateTarget, offers.front().make(), image, why)) << why;
    clipimage::floatImage(gPainter, std::move(image));
    EXPECT_EQ(gApp->currentToolIndex(), 7);
    EXPECT_EQ(tool().centre, (math::Vec2{0, 0}));
    EXPECT_EQ(tool().size, (math::Vec2{kW, kH}));
    EXPECT_EQ(gPainter.onKey(13, 0, 0), 1); // Enter applies and leaves
    EXPECT_EQ(gApp->currentToolIndex(), 1);
    ASSERT_EQ(gLayers.count(), 2);
    const std::vector<uint8_t> got = current();
    int differing = 0;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const uint8_t zero[4] = {0, 0, 0, 0};
            const bool shown = x < kW / 2 && y < kH / 2;
            const uint8_t* want = shown ? px(original, kW, x + kW / 2, y + kH / 2) : zero;
            if (std::memcmp(px(got, kW, x, y), want, 4) != 0) ++differing;
        }
    EXPECT_EQ(differing, 0);
}

// A rectangle selected on whole pixels: its mask is 1 over every pixel of
// the box, so the copy is the box's pixels exactly, its centre the box's
// centre, and the paste applied lands on a new layer at the same place.
TEST_F(PasteGl, CopyOfASelectionPastesBackWhereItWas) {
    const std::vector<uint8_t> original = premultipliedPattern(kW, kH, 5);
    load(original);
    gCanvas.setSelection({{8, 8}, {40, 8}, {40, 32}, {8, 32}});
    ASSERT_TRUE(gCanvas.selectionActive);
    int32_t w = 0, h = 0;
    std::vector<uint8_t> bgra;
    ASSERT_TRUE(clipimage::grabImage(gPainter, w, h, bgra));
    ASSERT_EQ(w, 32);
    ASSERT_EQ(h, 24);
    EXPECT_EQ(tool().centre, (math::Vec2{24, 20}));
    const std::vector<uint8_t> copied = toRgba(bgra);
    int differing = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (std::memcmp(px(copied, w, x, y), px(original, kW, x + 8, y + 8), 4) != 0) ++differing;
    EXPECT_EQ(differing, 0) << "the copy is the box's pixels";

    dib::Image image;
    std::string why;
    ASSERT_TRUE(clipimage::imageFromTarget(clipimage::kPrivateTarget, clipimage::imageOffers(w, h, bgra).front().make(),
                                           image, why))
        << why;
    clipimage::floatImage(gPainter, std::move(image));
    EXPECT_EQ(gPainter.onKey(13, 0, 0), 1);
    ASSERT_EQ(gLayers.count(), 2);
    const std::vector<uint8_t> got = current();
    differing = 0;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const uint8_t zero[4] = {0, 0, 0, 0};
            const bool inside = x >= 8 && x < 40 && y >= 8 && y < 32;
            if (std::memcmp(px(got, kW, x, y), inside ? px(original, kW, x, y) : zero, 4) != 0) ++differing;
        }
    EXPECT_EQ(differing, 0) << "the pasted layer holds the box where it was";
}

// Cut with a selection records its action, clears the selected pixels of the
// layer (alpha to 0 inside the box, nothing changed outside) and keeps the
// selection in force; without a selection it does nothing at all.
TEST_F(PasteGl, CutClearsTheSelectedPixelsAndKeepsTheSelection) {
    const std::vector<uint8_t> original = premultipliedPattern(kW, kH, 9);
    load(original);
    const std::size_t before = gHistory.actionCount();
    clipimage::cut(gPainter);
    EXPECT_EQ(gHistory.actionCount(), before) << "no selection: no cut";
    EXPECT_EQ(current(), original);

    gCanvas.setSelection({{8, 8}, {40, 8}, {40, 32}, {8, 32}});
    clipimage::cut(gPainter);
    ASSERT_EQ(gHistory.actionCount(), before + 1);
    EXPECT_EQ(gHistory.lastAction()->type(), ImageCutAction::kTypeCode);
    EXPECT_TRUE(gCanvas.selectionActive);
    const std::vector<uint8_t> got = current();
    int wrong = 0;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const bool inside = x >= 8 && x < 40 && y >= 8 && y < 32;
            const uint8_t zero[4] = {0, 0, 0, 0};
            if (std::memcmp(px(got, kW, x, y), inside ? zero : px(original, kW, x, y), 4) != 0) ++wrong;
        }
    EXPECT_EQ(wrong, 0);
}

// An image larger than it will appear is stored at the size it appears; a
// smaller one is stored as it came.
TEST_F(PasteGl, ApplyStoresNoMorePixelsThanItCovers) {
    std::vector<uint8_t> uniform(20 * 10 * 4);
    for (size_t i = 0; i < uniform.size(); i += 4) {
        uniform[i] = 40; // B
        uniform[i + 1] = 80;
        uniform[i + 2] = 120;
        uniform[i + 3] = 200;
    }
    clipimage::floatImage(gPainter, dib::Image{20, 10, 4, uniform});
    tool().centre = {32, 24};
    tool().size = {10, 5};
    tool().apply();
    auto* stored = dynamic_cast<ImagePasteAction*>(gHistory.actions().back().get());
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->imageWidth, 10);
    EXPECT_EQ(stored->imageHeight, 5);
    ASSERT_EQ(stored->pixels.size(), 10u * 5 * 4);
    for (size_t i = 0; i < stored->pixels.size(); i += 4) {
        EXPECT_EQ(stored->pixels[i], 40);
        EXPECT_EQ(stored->pixels[i + 1], 80);
        EXPECT_EQ(stored->pixels[i + 2], 120);
        EXPECT_EQ(stored->pixels[i + 3], 200);
    }
    EXPECT_TRUE(tool().pixels.empty()) << "the action keeps its own copy";

    const std::vector<uint8_t> small = premultipliedPattern(4, 2, 5);
    clipimage::floatImage(gPainter, dib::Image{4, 2, 4, small});
    tool().size = {10, 5};
    tool().apply();
    stored = dynamic_cast<ImagePasteAction*>(gHistory.actions().back().get());
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->imageWidth, 4);
    EXPECT_EQ(stored->pixels, small);
}

// Undo rebuilds the canvas from the action list: the paste's layer goes with it.
TEST_F(PasteGl, UndoOfAPasteRemovesItsLayer) {
    const std::vector<uint8_t> original = premultipliedPattern(kW, kH, 9);
    load(original);
    gHistory.takeSnapshot(true);
    clipimage::floatImage(gPainter, dib::Image{2, 2, 4, std::vector<uint8_t>(16, 255)});
    tool().centre = {20, 20};
    EXPECT_EQ(gPainter.onKey(13, 0, 0), 1);
    ASSERT_EQ(gLayers.count(), 2);
    ASSERT_TRUE(gHistory.undo());
    gHistory.replayIfPending();
    EXPECT_EQ(gLayers.count(), 1);
    EXPECT_EQ(current(), original);
}

TEST(ImagePasteStoredForm, RoundTripAndTheOlderCorner) {
    Canvas canvas(8, 8);
    MultiLayeredImage layers;
    ImagePasteAction a(canvas, layers);
    a.imageWidth = 2;
    a.imageHeight = 1;
    a.bytesPerPixel = 3;
    a.centreX = 5.5f;
    a.centreY = -2;
    a.targetWidth = 4;
    a.targetHeight = 6;
    a.rotation = 33;
    a.pixels = {1, 2, 3, 4, 5, 6};
    io::BinaryWriter out;
    a.write(out);
    EXPECT_EQ(out.bytes().size(), 32u + 6u);
    ImagePasteAction b(canvas, layers);
    io::BinaryReader in(out.bytes());
    in.formatIndex = ImagePasteAction::kRotationSinceFormat;
    b.read(in);
    ASSERT_FALSE(in.failed());
    EXPECT_EQ(b.imageWidth, 2);
    EXPECT_EQ(b.bytesPerPixel, 3);
    EXPECT_FLOAT_EQ(b.centreX, 5.5f);
    EXPECT_FLOAT_EQ(b.rotation, 33);
    EXPECT_EQ(b.pixels, a.pixels);

    // Before rotation existed the position was the lower corner and no angle followed.
    io::BinaryWriter old;
    old.i32(1);
    old.i32(1);
    old.i32(4);
    old.f32(10);
    old.f32(20);
    old.f32(4);
    old.f32(6);
    for (int i = 0; i < 4; ++i) old.u8(static_cast<uint8_t>(i));
    ImagePasteAction c(canvas, layers);
    io::BinaryReader oldIn(old.bytes());
    oldIn.formatIndex = ImagePasteAction::kRotationSinceFormat - 1;
    c.read(oldIn);
    ASSERT_FALSE(oldIn.failed());
    EXPECT_FLOAT_EQ(c.centreX, 12);
    EXPECT_FLOAT_EQ(c.centreY, 23);
    EXPECT_FLOAT_EQ(c.rotation, 0);
}

// A paste applied live, saved in a process with its picture: the batch
// binary's replay from a blank canvas gives the picture that was saved.
TEST_F(PasteGl, ProcessWithALivePasteReplaysToTheSavedPicture) {
    load(premultipliedPattern(kW, kH, 21));
    gHistory.add(std::make_unique<ImageLoadAction>(gCanvas, kW, kH, current()), false);
    clipimage::floatImage(gPainter, dib::Image{5, 3, 4, premultipliedPattern(5, 3, 4)});
    tool().centre = {40.7f, 17.2f}; // fractional: apply keeps whole pixels, as replay does
    tool().size = {15.4f, 9};
    tool().rotation = 27;
    EXPECT_EQ(gPainter.onKey(13, 0, 0), 1);
    ASSERT_EQ(gLayers.count(), 2);

    gCanvas.saveCurrentLayer(gLayers);
    const LayeredPicture picture = captureLayers(gCanvas, gLayers);
    ProcessSaveInput input{&gHistory.actions(), gHistory.actionCount(), &picture, kW, kH, nullptr, {}, 0, 0};
    const std::vector<uint8_t> bytes = encodeProcess(input);
    const auto dir = std::filesystem::temp_directory_path() / ("kw_paste_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "paste.dpf", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    auto run = [&](const std::string& args) {
        const std::string cmd = "env -u DISPLAY " + std::string(KW_BINARY) + " " + args + " >/dev/null 2>" +
                                (dir / "err.txt").string();
        const int status = std::system(cmd.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    const std::string dpf = (dir / "paste.dpf").string();
    ASSERT_EQ(run("--render " + dpf + " " + (dir / "saved.png").string()), 0);
    ASSERT_EQ(run("--render --replay " + dpf + " " + (dir / "replayed.png").string()), 0);
    const DecodedImage saved = decodeImage((dir / "saved.png").string(), DecodeLimits{});
    const DecodedImage replayed = decodeImage((dir / "replayed.png").string(), DecodeLimits{});
    ASSERT_TRUE(saved.ok());
    ASSERT_TRUE(replayed.ok());
    EXPECT_EQ(saved.pixels, replayed.pixels);
    std::filesystem::remove_all(dir);
}
