// The system clipboard between the running program and another X client
// (xclip): copy offers PNG, BMP and the exact private block, large enough to
// go by INCR; an image put there by xclip pastes, floats with its handles
// and lands on a new layer; a clipboard holding only text changes nothing;
// the data stays served after another window takes the focus.
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "e2e/AppSession.h"
#include "io/Codecs.h"
#include "io/DibBlock.h"
#include "io/ImageTypes.h"

namespace {

// Standard output of a shell command, as bytes.
std::vector<uint8_t> commandOutput(const std::string& command) {
    std::vector<uint8_t> bytes;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return bytes;
    uint8_t buffer[65536];
    size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) bytes.insert(bytes.end(), buffer, buffer + n);
    pclose(pipe);
    return bytes;
}

std::vector<uint8_t> clipboardAs(const std::string& target) {
    return commandOutput("timeout 10 xclip -selection clipboard -t " + target + " -o 2>/dev/null");
}

// Opaque RGBA, rows top-down, different in every pixel.
std::vector<uint8_t> pattern(int w, int h, int seed) {
    std::vector<uint8_t> rgba(static_cast<size_t>(w) * h * 4);
    uint32_t s = static_cast<uint32_t>(seed) * 2654435761u + 1;
    for (size_t i = 0; i < rgba.size(); i += 4) {
        s = s * 1664525u + 1013904223u;
        rgba[i] = static_cast<uint8_t>(s >> 24);
        rgba[i + 1] = static_cast<uint8_t>(s >> 16);
        rgba[i + 2] = static_cast<uint8_t>(s >> 8);
        rgba[i + 3] = 255;
    }
    return rgba;
}

bool decodePngBytes(const std::vector<uint8_t>& png, RawPicture& out) {
    std::string detail;
    return codec::decodePng(png, DecodeLimits{}, out, detail) == DecodeStatus::Ok;
}

// The pointer rests above the compared area but below the options strip, so
// it stays over the canvas and the status line keeps showing its position.
constexpr int kRestX = 20, kRestY = 75;

Screenshot settled(AppSession& app, const std::string& name) {
    app.moveMouse(kRestX, kRestY);
    app.waitFrames(10);
    Screenshot s = app.screenshot();
    s.savePng(artefactPath("clipboard_" + name + ".png"));
    return s;
}

// Pixels of the pasted quarters (red, green or blue) on screen, left of the
// right column, whose colour ring is coloured all the time.
int colouredPixels(const Screenshot& s) {
    int n = 0;
    for (int y = 100; y < s.height; ++y)
        for (int x = 0; x < s.width - 170; ++x) {
            const uint8_t* p = s.at(x, y);
            n += (p[0] > 150 && p[1] < 100) || (p[1] > 150 && p[0] < 100) || (p[2] > 150 && p[0] < 100);
        }
    return n;
}

// The paste asks the clipboard's owner and waits for its answer: on a slow
// run (the sanitizer build) that takes more than a few frames. Waits until
// the image shows (or a generous time has passed), then settles.
Screenshot floated(AppSession& app, const std::string& name) {
    app.moveMouse(kRestX, kRestY);
    for (int i = 0; i < 40 && colouredPixels(app.screenshot()) < 1000; ++i) app.waitFrames(5);
    return settled(app, name);
}

} // namespace

TEST(ClipboardE2E, ImagesGoBothWaysWithAnotherClient) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / ("kw_clip_e2e_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    // 600 x 400 of noise: every target is larger than one X request, so INCR carries it.
    constexpr int kW = 600, kH = 400;
    const std::vector<uint8_t> picture = pattern(kW, kH, 1);
    ASSERT_TRUE(codec::encodePng((dir / "picture.png").string(), picture.data(), kW, kH));
    constexpr int kPw = 64, kPh = 48;
    const std::vector<uint8_t> pasted = pattern(kPw, kPh, 2);
    ASSERT_TRUE(codec::encodePng((dir / "pasted.png").string(), pasted.data(), kPw, kPh));

    AppSession app;
    ASSERT_TRUE(app.start({(dir / "picture.png").string()})) << app.output();
    app.waitFrames(60);

    // Text only on the clipboard: the paste key changes nothing.
    ASSERT_EQ(std::system("printf 'just words' | xclip -selection clipboard -i"), 0);
    const Screenshot before = settled(app, "0_before_text_paste");
    app.xdotool("key ctrl+v");
    const Screenshot afterText = settled(app, "1_after_text_paste");
    EXPECT_EQ(differingPixels(before, afterText, 0, 0, before.width, before.height), 0);

    // Copy the whole layer: another client reads it as PNG, BMP and the exact block.
    app.xdotool("key ctrl+c");
    app.waitFrames(5);
    const std::string targets = [] {
        const std::vector<uint8_t> t = clipboardAs("TARGETS");
        return std::string(t.begin(), t.end());
    }();
    EXPECT_NE(targets.find("image/png"), std::string::npos) << targets;
    EXPECT_NE(targets.find("image/bmp"), std::string::npos) << targets;
    EXPECT_NE(targets.find("application/x-kestrelwing-dib"), std::string::npos) << targets;
    RawPicture copied;
    ASSERT_TRUE(decodePngBytes(clipboardAs("image/png"), copied));
    ASSERT_EQ(copied.width, kW);
    ASSERT_EQ(copied.height, kH);
    EXPECT_EQ(copied.pixels, picture) << "the PNG on the clipboard is the layer";

    const std::vector<uint8_t> block = clipboardAs("application/x-kestrelwing-dib");
    dib::Image exact;
    std::string why;
    ASSERT_TRUE(dib::parseBlock(block, exact, why)) << why << " (" << block.size() << " bytes)";
    ASSERT_EQ(exact.width, kW);
    ASSERT_EQ(exact.height, kH);
    int wrong = 0;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const uint8_t* b = &exact.pixels[(static_cast<size_t>(y) * kW + x) * 4];       // bottom-up BGRA
            const uint8_t* p = &picture[(static_cast<size_t>(kH - 1 - y) * kW + x) * 4]; // top-down RGBA
            if (b[0] != p[2] || b[1] != p[1] || b[2] != p[0] || b[3] != p[3]) ++wrong;
        }
    EXPECT_EQ(wrong, 0) << "the private block is the layer, bottom-up BGRA";
    const std::vector<uint8_t> bmp = clipboardAs("image/bmp");
    ASSERT_GT(bmp.size(), 54u);
    EXPECT_EQ(bmp[0], 'B');
    EXPECT_EQ(std::vector<uint8_t>(bmp.begin() + 14, bmp.end()), block);

    // A PNG from xclip pastes. The last copy left the landing point at canvas
    // point (0, 0), so after Enter the image's upper-right quarter shows in
    // the canvas's lower-left corner of a new layer.
    ASSERT_EQ(std::system(("xclip -selection clipboard -t image/png -i " + (dir / "pasted.png").string()).c_str()), 0);
    app.waitFrames(5);
    app.xdotool("key ctrl+v");
    app.moveMouse(app.windowWidth() / 2, app.windowHeight() / 2);
    app.waitFrames(10);
    const Screenshot floating = app.screenshot();
    floating.savePng(artefactPath("clipboard_2_floating_paste.png"));
    EXPECT_GT(differingPixels(afterText, floating, 0, 0, floating.width, floating.height), 100);
    app.xdotool("key Return");
    settled(app, "3_applied_paste");
    app.xdotool("key ctrl+c");
    app.waitFrames(5);
    const std::vector<uint8_t> layerPng = clipboardAs("image/png");
    RawPicture layer;
    ASSERT_TRUE(decodePngBytes(layerPng, layer));
    ASSERT_EQ(layer.width, kW);
    ASSERT_EQ(layer.height, kH);
    wrong = 0;
    for (int r = 0; r < kH; ++r)
        for (int x = 0; x < kW; ++x) {
            const uint8_t* got = &layer.pixels[(static_cast<size_t>(r) * kW + x) * 4];
            const bool shown = x < kPw / 2 && r >= kH - kPh / 2;
            uint8_t want[4] = {0, 0, 0, 0};
            if (shown) {
                const uint8_t* p = &pasted[(static_cast<size_t>(r - (kH - kPh / 2)) * kPw + x + kPw / 2) * 4];
                std::copy(p, p + 4, want);
            }
            if (std::memcmp(got, want, 4) != 0) ++wrong;
        }
    EXPECT_EQ(wrong, 0) << "the pasted quarter on an otherwise clear new layer";

    // Another window takes the focus: the copy is still served.
    Display* d = XOpenDisplay(nullptr);
    ASSERT_NE(d, nullptr);
    Window other = XCreateSimpleWindow(d, DefaultRootWindow(d), 0, 0, 200, 200, 0, 0, 0);
    XMapRaised(d, other);
    XSync(d, False);
    app.waitFrames(5);
    XSetInputFocus(d, other, RevertToParent, CurrentTime);
    XSync(d, False);
    Window focus = 0;
    int revert = 0;
    XGetInputFocus(d, &focus, &revert);
    EXPECT_EQ(focus, other);
    app.waitFrames(5);
    EXPECT_EQ(clipboardAs("image/png"), layerPng);
    XDestroyWindow(d, other);
    XCloseDisplay(d);

    app.sendCloseRequest();
    app.waitForExit(5000);
    fs::remove_all(dir);
}

// On a blank canvas the first paste lands at the canvas centre and floats
// with its handles; a corner drag scales it, a drag outside turns it, Escape
// drops it and Enter applies it.
TEST(ClipboardE2E, FloatingImageScalesTurnsAndApplies) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / ("kw_clip_float_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    // Four solid quarters: red, green, blue, yellow.
    constexpr int kW = 160, kH = 120;
    std::vector<uint8_t> quarters(static_cast<size_t>(kW) * kH * 4);
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            uint8_t* p = &quarters[(static_cast<size_t>(y) * kW + x) * 4];
            const int q = (y < kH / 2 ? 0 : 2) + (x < kW / 2 ? 0 : 1);
            const uint8_t colours[4][3] = {{220, 30, 30}, {30, 200, 40}, {40, 60, 220}, {230, 210, 20}};
            p[0] = colours[q][0], p[1] = colours[q][1], p[2] = colours[q][2], p[3] = 255;
        }
    ASSERT_TRUE(codec::encodePng((dir / "quarters.png").string(), quarters.data(), kW, kH));

    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    app.waitFrames(60);
    const Screenshot blank = settled(app, "4_blank");
    ASSERT_EQ(std::system(("xclip -selection clipboard -t image/png -i " + (dir / "quarters.png").string()).c_str()), 0);
    app.waitFrames(5);

    app.xdotool("key ctrl+v");
    const Screenshot floating = floated(app, "5_floating_at_centre");
    ASSERT_GT(differingPixels(blank, floating, 0, 100, blank.width, blank.height), 5000) << app.output();
    app.xdotool("key Escape"); // dropped: the picture is as it was
    const Screenshot dropped = settled(app, "6_dropped");
    EXPECT_EQ(differingPixels(blank, dropped, 0, 100, blank.width, blank.height), 0);

    app.xdotool("key ctrl+v");
    const Screenshot again = floated(app, "7_floating_again");
    EXPECT_EQ(differingPixels(floating, again, 0, 100, blank.width, blank.height), 0);
    // Find the image on screen: the red quarter is its upper left. The
    // layers panel at the right edge (cyan marks, the thumbnails) stays out.
    int minX = again.width, minY = again.height, maxX = -1, maxY = -1;
    for (int y = 100; y < again.height; ++y)
        for (int x = 0; x < again.width - 100; ++x) {
            const uint8_t* p = again.at(x, y);
            const bool coloured = (p[0] > 150 && p[1] < 100) || (p[1] > 150 && p[0] < 100) || (p[2] > 150 && p[0] < 100);
            if (!coloured) continue;
            minX = std::min(minX, x), maxX = std::max(maxX, x), minY = std::min(minY, y), maxY = std::max(maxY, y);
        }
    ASSERT_GT(maxX, minX);
    // Drag the lower-right corner (y down on screen) outwards, then turn it from outside.
    app.drag({{maxX - 3, maxY - 3}, {maxX + 20, maxY + 10}, {maxX + 60, maxY + 40}});
    const Screenshot scaled = settled(app, "8_scaled");
    EXPECT_GT(differingPixels(again, scaled, 0, 100, blank.width, blank.height), 1000);
    const int cx = (minX + maxX) / 2 + 30, cy = (minY + maxY) / 2 + 20;
    app.drag({{cx + 250, cy}, {cx + 240, cy + 60}, {cx + 220, cy + 120}, {cx + 200, cy + 160}});
    app.moveMouse(cx + 200, cy + 160);
    app.waitFrames(10);
    const Screenshot turned = app.screenshot();
    turned.savePng(artefactPath("clipboard_9_turned_with_ring.png"));
    EXPECT_GT(differingPixels(scaled, turned, 0, 100, blank.width, blank.height), 1000);
    app.xdotool("key Return");
    const Screenshot applied = settled(app, "10_applied");
    // The applied picture shows what floated, without handles or ring.
    EXPECT_GT(differingPixels(blank, applied, 0, 100, blank.width, blank.height), 5000);
    app.xdotool("key ctrl+z"); // the paste goes with its layer
    const Screenshot undone = settled(app, "11_undone");
    EXPECT_EQ(differingPixels(blank, undone, 0, 100, blank.width, blank.height), 0);
    fs::remove_all(dir);
}
