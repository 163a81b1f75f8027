// The reference view in the real window: F3 shows it in the left half and
// hides it again (the window then looks as before); a picture dropped on it
// becomes the reference and a new canvas of its size; and the picture moves
// with the canvas camera. A magenta mark in the reference picture is found
// in screenshots and compared with where the camera maths puts it, worked out
// here from the fit, the zoom factor, the pan and the angle of the drags.
#include <gtest/gtest.h>
#include <X11/Xlib.h>
#include <unistd.h>

#include <cmath>
#include <string>
#include <vector>

#include "e2e/AppSession.h"
#include "e2e/DragSource.h"
#include "io/ImageCodec.h"

namespace {
// The reference: 300 x 200, dark teal, with a 16-pixel magenta square whose
// centre is picture pixel (208, 138) counted from the bottom left.
constexpr int kPicW = 300, kPicH = 200;
constexpr int kMarkX0 = 200, kMarkY0 = 130, kMarkSide = 16;
constexpr double kMarkCx = kMarkX0 + kMarkSide / 2.0, kMarkCy = kMarkY0 + kMarkSide / 2.0;

void writeReference(const std::string& path) {
    std::vector<uint8_t> px(static_cast<size_t>(kPicW) * kPicH * 4);
    for (int y = 0; y < kPicH; ++y)
        for (int x = 0; x < kPicW; ++x) {
            uint8_t* p = &px[(static_cast<size_t>(y) * kPicW + x) * 4];
            const bool mark = x >= kMarkX0 && x < kMarkX0 + kMarkSide && y >= kMarkY0 && y < kMarkY0 + kMarkSide;
            p[0] = mark ? 255 : 20;
            p[1] = mark ? 0 : 90;
            p[2] = mark ? 255 : 90;
            p[3] = 255;
        }
    ASSERT_TRUE(saveImage(path, std::move(px), kPicW, kPicH));
}

bool isMagenta(const uint8_t* p) { return p[0] > 170 && p[1] < 90 && p[2] > 170; }

struct Spot {
    double x = 0, y = 0; // screenshot pixels, y down
    int count = 0;
};

Spot findMark(const Screenshot& s, int x0, int x1) {
    Spot c;
    for (int y = 0; y < s.height; ++y)
        for (int x = x0; x < x1; ++x)
            if (isMagenta(s.at(x, y))) {
                c.x += x + 0.5;
                c.y += y + 0.5;
                ++c.count;
            }
    if (c.count) c.x /= c.count, c.y /= c.count;
    return c;
}

// The camera as the test follows it: window pixels a canvas pixel, pan in
// canvas pixels, angle in degrees.
struct View {
    double scale = 1, panX = 0, panY = 0, degrees = 0;
};

// Where a canvas point lands in a window rectangle of width w and height h
// whose left edge is at x0, in screenshot pixels (y down): the point less the
// canvas centre, plus the pan, turned by the angle, scaled, plus the centre.
Spot predict(const View& v, double x0, double w, double h, double canvasX, double canvasY) {
    const double px = canvasX - kPicW / 2.0 + v.panX, py = canvasY - kPicH / 2.0 + v.panY;
    const double r = v.degrees * M_PI / 180.0;
    const double qx = std::cos(r) * px - std::sin(r) * py, qy = std::sin(r) * px + std::cos(r) * py;
    Spot s;
    s.x = x0 + w / 2 + qx * v.scale;
    s.y = h - (h / 2 + qy * v.scale);
    return s;
}

class ReferenceSession {
public:
    bool start() {
        if (!app.start()) return false;
        app.waitFrames(60); // the opening fit runs for a second
        return true;
    }
    void key(const std::string& name, int frames = 10) {
        app.xdotool("key " + name);
        app.waitFrames(frames);
    }
    Screenshot shot(const std::string& name) {
        Screenshot s = app.screenshot();
        s.savePng(artefactPath(name));
        return s;
    }
    void dropAt(const std::string& path, int x, int y) {
        Display* d = XOpenDisplay(nullptr);
        ASSERT_NE(d, nullptr);
        {
            DragSource source(d, app.windowId(), "text/uri-list", "file://" + path + "\r\n");
            source.enter();
            source.position(app.windowX() + x, app.windowY() + y);
            source.drop();
            XClientMessageEvent reply{};
            for (int i = 0; i < 200 && !source.poll("XdndFinished", reply); ++i) usleep(10 * 1000);
        }
        XCloseDisplay(d);
        app.waitFrames(20);
    }
    AppSession app;
};
} // namespace

TEST(ReferenceViewE2E, F3TwiceRestoresTheWindow) {
    ReferenceSession s;
    ASSERT_TRUE(s.start()) << s.app.output();
    const int w = s.app.windowWidth(), h = s.app.windowHeight();
    s.app.moveMouse(w - 40, h / 2);
    s.app.waitFrames(10);
    const Screenshot before = s.shot("reference_before.png");
    s.key("F3", 70); // the slide takes a second
    const Screenshot shown = s.shot("reference_shown.png");
    EXPECT_GT(differingPixels(before, shown, 0, 0, w / 2, h), 1000) << "the left half shows the view";
    s.key("F3", 40); // the hide takes 300 ms
    const Screenshot after = s.shot("reference_hidden_again.png");
    EXPECT_EQ(differingPixels(before, after, 0, 0, w, h), 0) << "the window is as it was";
}

TEST(ReferenceViewE2E, TheReferenceMovesWithTheCanvasCamera) {
    ReferenceSession s;
    const std::string picture = s.app.workFolder() + "/reference.png";
    writeReference(picture);
    ASSERT_TRUE(s.start()) << s.app.output();
    const int w = s.app.windowWidth(), h = s.app.windowHeight();
    // The view takes the left half; the canvas the right one.
    const int half = w / 2;
    const double areaW = half;
    s.key("F3", 70);
    s.app.moveMouse(half + half / 2, h / 2);
    s.dropAt(picture, w / 4, h / 2);
    s.key("Return", 20); // "Current work will be lost!": Continue
    s.app.waitFrames(70); // the fit to the new canvas runs for a second
    const Screenshot fitted = s.shot("reference_fitted.png");

    // The fit: the canvas height H fills the area unless the width decides,
    // then z = int(h / w * W); the eye at z / 2 gives h / z pixels a canvas pixel.
    double z = kPicH;
    if (static_cast<double>(kPicH) / h < static_cast<double>(kPicW) / areaW)
        z = static_cast<int>(static_cast<double>(h) / areaW * kPicW);
    View view;
    view.scale = h / z;

    auto check = [&](const Screenshot& shot, const char* what) {
        const Spot got = findMark(shot, 0, half);
        ASSERT_GT(got.count, 50) << what << ": no mark in the reference view";
        const Spot want = predict(view, 0, areaW, h, kMarkCx, kMarkCy);
        EXPECT_NEAR(got.x, want.x, 2.0) << what;
        EXPECT_NEAR(got.y, want.y, 2.0) << what;
        // The same spot on the canvas side is empty (the new canvas is grey);
        // the right column's colour ring, whose magenta would count, is left out.
        EXPECT_EQ(findMark(shot, half, w - 170).count, 0) << what;
    };
    check(fitted, "fitted");

    // One wheel notch in at the centre of the canvas area: 1.3 times the scale.
    s.app.moveMouse(half + half / 2, h / 2);
    s.app.waitFrames(3);
    s.app.xdotool("click 4");
    s.app.waitFrames(8);
    view.scale *= 1.3;
    check(s.shot("reference_zoomed.png"), "zoomed");

    // Space held: a drag of (-90, +50) screen pixels pans by that much.
    const int px0 = half + half / 2 + 60, py0 = h / 2 - 40;
    s.app.moveMouse(px0, py0);
    s.app.waitFrames(2);
    s.app.xdotool("keydown space");
    s.app.waitFrames(4);
    s.app.drag({{px0, py0}, {px0 - 30, py0 + 20}, {px0 - 60, py0 + 35}, {px0 - 90, py0 + 50}});
    s.app.waitFrames(3);
    s.app.xdotool("keyup space");
    s.app.waitFrames(8);
    view.panX += -90 / view.scale;
    view.panY += -50 / view.scale; // down on the screen is down on the canvas
    check(s.shot("reference_panned.png"), "panned");

    // Ctrl held: a drag round the canvas area's centre from its right to its
    // top turns the view by 90 degrees (counter-clockwise).
    const int cx = half + half / 2, cy = h / 2, radius = 150;
    s.app.moveMouse(cx + radius, cy);
    s.app.waitFrames(2);
    s.app.xdotool("keydown ctrl");
    s.app.waitFrames(4);
    std::vector<std::pair<int, int>> arc;
    for (int a = 0; a <= 90; a += 10)
        arc.push_back({cx + static_cast<int>(std::lround(radius * std::cos(a / 57.29578))),
                       cy - static_cast<int>(std::lround(radius * std::sin(a / 57.29578)))});
    s.app.drag(arc);
    s.app.waitFrames(3);
    s.app.xdotool("keyup ctrl");
    s.app.waitFrames(8);
    view.degrees = 90;
    check(s.shot("reference_rotated.png"), "rotated");
    EXPECT_TRUE(s.app.running());
}
