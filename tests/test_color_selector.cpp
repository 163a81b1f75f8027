// The colour selector's geometry and input on the CPU, against positions and
// colours worked out by hand for a selector 150 pixels wide (GuiScale 1):
// R = 75, the ring from 52.5 to 75, the square's corners at 0.63 R = 47.25
// from the centre, so its half side is 47.25 / sqrt(2) = 33.4108 and its side
// 66.8216; the hue marker runs at 0.85 R = 63.75. Also the colour numbers
// widget. The selector writes the colour through a real Canvas's HSV setter.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "brush/ColorSpace.h"
#include "canvas/Canvas.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "widgets/ColorSelector.h"
#include "widgets/ColorWidget.h"

namespace {

constexpr float kHalf = 33.4108f; // 75 x 0.7 x 0.9 x cos 45
constexpr float kSide = 2 * kHalf;
constexpr float kTol = 1e-3f;

using colorsel::Zone;
using math::Vec2;

class ScaleOne {
public:
    ScaleOne() : saved(GuiScale) { GuiScale = 1.0f; }
    ~ScaleOne() { GuiScale = saved; }

private:
    float saved;
};

// A selector centred at (200, 150) on a canvas's colour.
class ColorSelectorInput : public ::testing::Test {
protected:
    void SetUp() override {
        gInputState.reset();
        selector = std::make_unique<ColorSelector>(
            150, 150, ColorRecordRef{canvas.color, canvas.colorHsv, [this](brush::Hsv c) { canvas.setColorHsv(c); }});
        selector->relX = 200;
        selector->relY = 150;
        selector->update(0, 0, 0);
    }
    void TearDown() override { gInputState.reset(); }

    // Window pixels of a point given relative to the centre (rounded).
    static int wx(float dx) { return 200 + static_cast<int>(std::lround(dx)); }
    static int wy(float dy) { return 150 + static_cast<int>(std::lround(dy)); }
    int press(float dx, float dy, int button = 0) { return selector->onMouseButton(button, 0, wx(dx), wy(dy), false); }
    int release(float dx, float dy, int button = 0) {
        return selector->onMouseButton(button, 1, wx(dx), wy(dy), false);
    }
    int drag(float dx, float dy) { return selector->onMouseDrag(wx(dx), wy(dy), false); }
    brush::Hsv hsv() const { return {canvas.colorHsv[0], canvas.colorHsv[1], canvas.colorHsv[2]}; }
    void expectHsv(float h, float s, float v, const char* where) {
        EXPECT_NEAR(canvas.colorHsv[0], h, 0.01f) << where;
        EXPECT_NEAR(canvas.colorHsv[1], s, kTol) << where;
        EXPECT_NEAR(canvas.colorHsv[2], v, kTol) << where;
        // The RGB half follows through the conversion.
        const brush::Rgb rgb = brush::hsvToRgb(hsv());
        EXPECT_FLOAT_EQ(canvas.color[0], rgb.r) << where;
        EXPECT_FLOAT_EQ(canvas.color[1], rgb.g) << where;
        EXPECT_FLOAT_EQ(canvas.color[2], rgb.b) << where;
    }

    ScaleOne scale;
    Canvas canvas{4, 4};
    std::unique_ptr<ColorSelector> selector;
};

} // namespace

TEST(ColorSelectorGeometry, CornersAndRadiiOfA150PixelSelector) {
    const colorsel::Geometry g = colorsel::geometryFor(150);
    EXPECT_FLOAT_EQ(g.outer, 75);
    EXPECT_FLOAT_EQ(g.inner, 52.5f);
    EXPECT_FLOAT_EQ(g.markerRadius, 63.75f);
    EXPECT_NEAR(g.half, kHalf, kTol);
    const Vec2 expected[4] = {{kHalf, kHalf}, {-kHalf, kHalf}, {-kHalf, -kHalf}, {kHalf, -kHalf}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(g.corners[i].x, expected[i].x, kTol) << "corner " << i;
        EXPECT_NEAR(g.corners[i].y, expected[i].y, kTol) << "corner " << i;
    }
    EXPECT_NEAR(g.side(), kSide, kTol);
}

TEST(ColorSelectorGeometry, ZonesOfTheDisc) {
    const colorsel::Geometry g = colorsel::geometryFor(150);
    EXPECT_EQ(colorsel::zoneAt(g, {0, 0}), Zone::Square);
    EXPECT_EQ(colorsel::zoneAt(g, {33, -33}), Zone::Square);
    EXPECT_EQ(colorsel::zoneAt(g, {33.5f, 0}), Zone::Gap) << "just right of the square";
    EXPECT_EQ(colorsel::zoneAt(g, {0, -45}), Zone::Gap);
    EXPECT_EQ(colorsel::zoneAt(g, {36, 36}), Zone::Gap) << "beyond a corner, 50.9 from the centre";
    EXPECT_EQ(colorsel::zoneAt(g, {0, 52.5f}), Zone::Gap) << "the inner edge itself";
    EXPECT_EQ(colorsel::zoneAt(g, {0, 53}), Zone::Ring);
    EXPECT_EQ(colorsel::zoneAt(g, {40, 40}), Zone::Ring) << "56.6 from the centre";
    EXPECT_EQ(colorsel::zoneAt(g, {-75, 0}), Zone::Ring);
    EXPECT_EQ(colorsel::zoneAt(g, {-75.5f, 0}), Zone::Outside);
    EXPECT_EQ(colorsel::zoneAt(g, {60, 60}), Zone::Outside) << "84.9 from the centre";
}

TEST(ColorSelectorGeometry, HuesRunClockwiseFromTheRightAndWrapAt360) {
    EXPECT_FLOAT_EQ(colorsel::hueAt({1, 0}), 0.0f) << "360 wraps to 0";
    EXPECT_NEAR(colorsel::hueAt({0, -1}), 90.0f, 1e-3);
    EXPECT_NEAR(colorsel::hueAt({-1, 0}), 180.0f, 1e-3);
    EXPECT_NEAR(colorsel::hueAt({0, 1}), 270.0f, 1e-3);
    EXPECT_NEAR(colorsel::hueAt({1, -1}), 45.0f, 1e-3);
    EXPECT_NEAR(colorsel::hueAt({-1, -std::sqrt(3.0f)}), 120.0f, 1e-3);
    // Just above the right-hand direction: just short of a full turn.
    const float nearlyFull = colorsel::hueAt({1, 0.001f});
    EXPECT_LT(nearlyFull, 360.0f);
    EXPECT_GT(nearlyFull, 359.9f);
}

TEST(ColorSelectorGeometry, SaturationAndValueFromThePointAndTheMarkersBack) {
    const colorsel::Geometry g = colorsel::geometryFor(150);
    const colorsel::SatVal lowerLeft = colorsel::satValAt(g, {-kHalf, -kHalf});
    EXPECT_NEAR(lowerLeft.s, 0, kTol);
    EXPECT_NEAR(lowerLeft.v, 0, kTol);
    const colorsel::SatVal centre = colorsel::satValAt(g, {0, 0});
    EXPECT_NEAR(centre.s, 0.5f, kTol);
    EXPECT_NEAR(centre.v, 0.5f, kTol);
    // (10, -20): s = (10 + 33.4108) / 66.8216 = 0.64965, v = 13.4108 / 66.8216 = 0.20070.
    const colorsel::SatVal p = colorsel::satValAt(g, {10, -20});
    EXPECT_NEAR(p.s, 0.64965f, kTol);
    EXPECT_NEAR(p.v, 0.20070f, kTol);

    // s 0.25, v 0.75: -33.4108 + 0.25 x 66.8216 = -16.7054, and +16.7054.
    const Vec2 square = colorsel::squareMarkerFor(g, 0.25f, 0.75f);
    EXPECT_NEAR(square.x, -16.7054f, kTol);
    EXPECT_NEAR(square.y, 16.7054f, kTol);
    // Hue 90 is at the bottom, hue 120 at (63.75 cos -120, 63.75 sin -120).
    const Vec2 ring90 = colorsel::ringMarkerFor(g, 90);
    EXPECT_NEAR(ring90.x, 0, kTol);
    EXPECT_NEAR(ring90.y, -63.75f, kTol);
    const Vec2 ring120 = colorsel::ringMarkerFor(g, 120);
    EXPECT_NEAR(ring120.x, -31.875f, kTol);
    EXPECT_NEAR(ring120.y, -55.2091f, kTol);

    // Clamping: inside stays, beyond an edge goes to it, beyond a corner to the corner.
    EXPECT_EQ(colorsel::clampToSquare(g, {5, -7}), (Vec2{5, -7}));
    const Vec2 top = colorsel::clampToSquare(g, {5, 60});
    EXPECT_FLOAT_EQ(top.x, 5);
    EXPECT_NEAR(top.y, kHalf, kTol);
    const Vec2 corner = colorsel::clampToSquare(g, {70, -70});
    EXPECT_NEAR(corner.x, kHalf, kTol);
    EXPECT_NEAR(corner.y, -kHalf, kTol);
}

TEST(ColorSelectorGeometry, TheLockFollowsTheLongerLegOfTheFirstMove) {
    const colorsel::Geometry g = colorsel::geometryFor(150);
    const Vec2 marker{-10, 5};
    EXPECT_EQ(colorsel::axisFor(marker, {0, 8}), colorsel::kHorizontalGuide);
    EXPECT_EQ(colorsel::axisFor(marker, {-7, 20}), colorsel::kVerticalGuide);
    EXPECT_EQ(colorsel::axisFor(marker, {-5, 10}), colorsel::kHorizontalGuide) << "a diagonal counts as across";
    // Projections on the guides through the marker, clamped to the square.
    EXPECT_EQ(colorsel::projectOnGuide(g, colorsel::kHorizontalGuide, marker, {12, -30}), (Vec2{12, 5}));
    EXPECT_EQ(colorsel::projectOnGuide(g, colorsel::kVerticalGuide, marker, {12, -30}), (Vec2{-10, -30}));
    const Vec2 past = colorsel::projectOnGuide(g, colorsel::kHorizontalGuide, marker, {90, 0});
    EXPECT_NEAR(past.x, kHalf, kTol);
    EXPECT_FLOAT_EQ(past.y, 5);
}

TEST_F(ColorSelectorInput, HitTestIsTheRingAndTheSquare) {
    EXPECT_TRUE(selector->hitTest(200, 150));
    EXPECT_TRUE(selector->hitTest(wx(-60), wy(0)));
    EXPECT_FALSE(selector->hitTest(wx(0), wy(-45))) << "the gap";
    EXPECT_FALSE(selector->hitTest(wx(0), wy(80))) << "outside";
    // The widget's box corner is inside its rectangle but off the disc.
    EXPECT_FALSE(selector->hitTest(wx(70), wy(70)));
}

TEST_F(ColorSelectorInput, ADragOnTheRingChangesTheHueOnlyAndGoesOnInsideTheSquare) {
    canvas.setColorHsv({0, 0.5f, 0.25f});
    EXPECT_EQ(press(0, -60), 1);
    EXPECT_TRUE(selector->pressing);
    EXPECT_TRUE(selector->pressingRing);
    expectHsv(90, 0.5f, 0.25f, "press at the bottom of the ring");
    // h 90: sector 1, f 0.5, p = 0.125, q = (1 - 0.25) x 0.25 = 0.1875: (q, v, p).
    EXPECT_NEAR(canvas.color[0], 0.1875f, 1e-6);
    EXPECT_NEAR(canvas.color[1], 0.25f, 1e-6);
    EXPECT_NEAR(canvas.color[2], 0.125f, 1e-6);
    EXPECT_EQ(drag(-60, 0), 1);
    expectHsv(180, 0.5f, 0.25f, "dragged to the left of the ring");
    // On into the square: still the hue, by the angle from the centre.
    EXPECT_EQ(drag(-10, 10), 1);
    expectHsv(225, 0.5f, 0.25f, "dragged into the square");
    // And out beyond the disc.
    EXPECT_EQ(drag(0, 100), 1);
    expectHsv(270, 0.5f, 0.25f, "dragged outside");
    EXPECT_EQ(release(0, 100), 0) << "a release outside the disc is not taken, but ends the choice";
    EXPECT_FALSE(selector->pressing);
}

TEST_F(ColorSelectorInput, ADragInTheSquareChangesSaturationAndValueAndStaysOnItsEdge) {
    canvas.setColorHsv({200, 0.1f, 0.9f});
    EXPECT_EQ(press(0, 0), 1);
    EXPECT_TRUE(selector->pressingSquare);
    expectHsv(200, 0.5f, 0.5f, "press at the centre");
    // (17, -17): s = 50.4108 / 66.8216 = 0.75441, v = 16.4108 / 66.8216 = 0.24559.
    EXPECT_EQ(drag(17, -17), 1);
    expectHsv(200, 0.75441f, 0.24559f, "inside the square");
    // Out through the ring above: the top edge, the hue stays.
    EXPECT_EQ(drag(0, 60), 1);
    expectHsv(200, 0.5f, 1.0f, "through the ring above");
    // Far beyond the lower right corner: the corner.
    EXPECT_EQ(drag(90, -90), 1);
    expectHsv(200, 1.0f, 0.0f, "beyond the lower right corner");
    EXPECT_EQ(release(90, -90), 0) << "a release outside the disc is not taken";
    EXPECT_FALSE(selector->pressing);
    // Without a press the next drag is not taken and changes nothing.
    gInputState.leftButton = true;
    EXPECT_EQ(drag(0, 0), 0);
    expectHsv(200, 1.0f, 0.0f, "a drag without a press");
}

TEST_F(ColorSelectorInput, APressInTheGapOrOutsideDoesNothing) {
    canvas.setColorHsv({30, 0.4f, 0.6f});
    EXPECT_EQ(press(0, -45), 0);
    EXPECT_EQ(press(36, 36), 0);
    EXPECT_EQ(press(0, 80), 0);
    EXPECT_FALSE(selector->pressing);
    EXPECT_FALSE(selector->pressingRing);
    EXPECT_FALSE(selector->pressingSquare);
    gInputState.leftButton = true;
    EXPECT_EQ(drag(0, 0), 0);
    expectHsv(30, 0.4f, 0.6f, "after presses in the gap");
}

TEST_F(ColorSelectorInput, OtherButtonsAreTakenButChooseNothing) {
    canvas.setColorHsv({30, 0.4f, 0.6f});
    EXPECT_EQ(press(-60, 0, 2), 1);
    EXPECT_TRUE(selector->pressingRing);
    EXPECT_FALSE(selector->pressing);
    EXPECT_EQ(press(0, 0, 1), 1);
    expectHsv(30, 0.4f, 0.6f, "right and middle presses");
    // With the right button held (the HUD), a drag only hovers.
    gInputState.rightButton = true;
    EXPECT_EQ(drag(-60, 0), 1);
    EXPECT_TRUE(selector->pointerInside);
    EXPECT_EQ(drag(0, -45), 0) << "the gap";
    EXPECT_FALSE(selector->pointerInside);
    expectHsv(30, 0.4f, 0.6f, "right-button drags");
}

TEST_F(ColorSelectorInput, ShiftLocksTheMarkerToAGuideUntilItIsLetGo) {
    canvas.setColorHsv({10, 0.5f, 0.5f}); // the marker at the centre
    selector->update(0, 0, 0);
    gInputState.shift = true;
    // The first move goes more across than up: the horizontal guide.
    EXPECT_EQ(selector->onMouseMove(wx(10), wy(3), false), 1);
    EXPECT_EQ(selector->axisLock, colorsel::kHorizontalGuide);
    EXPECT_NEAR(selector->lockOrigin.x, 0, kTol);
    EXPECT_NEAR(selector->lockOrigin.y, 0, kTol);
    EXPECT_NEAR(selector->lockedPosition.x, 10, kTol);
    EXPECT_NEAR(selector->lockedPosition.y, 0, kTol);
    // A later move steeper than the first keeps the guide.
    selector->onMouseMove(wx(12), wy(20), false);
    EXPECT_EQ(selector->axisLock, colorsel::kHorizontalGuide);
    // The press takes the place on the guide: s = (12 + 33.4108) / 66.8216 = 0.67958, v stays.
    EXPECT_EQ(press(12, 20), 1);
    expectHsv(10, 0.67958f, 0.5f, "press with the lock");
    gInputState.leftButton = true;
    // (-20, 25): the guide keeps v; s = 13.4108 / 66.8216 = 0.20070.
    EXPECT_EQ(drag(-20, 25), 1);
    expectHsv(10, 0.20070f, 0.5f, "drag along the guide");
    EXPECT_NEAR(selector->lockedPosition.x, -20, kTol);
    EXPECT_NEAR(selector->lockedPosition.y, 0, kTol);
    // Shift let go: the next update frees the marker and it follows the pointer.
    gInputState.shift = false;
    selector->update(0, 0, 0);
    EXPECT_EQ(selector->axisLock, colorsel::kNoLock);
    EXPECT_EQ(drag(-20, 25), 1);
    // v = 58.4108 / 66.8216 = 0.87413.
    expectHsv(10, 0.20070f, 0.87413f, "free again");
    release(-20, 25);

    // Steeper than across from the marker (now at (-20, 25)): the vertical guide.
    gInputState.leftButton = false;
    gInputState.shift = true;
    selector->onMouseMove(wx(-17), wy(15), false);
    EXPECT_EQ(selector->axisLock, colorsel::kVerticalGuide);
    EXPECT_NEAR(selector->lockedPosition.x, -20, 0.01f);
    EXPECT_NEAR(selector->lockedPosition.y, 15, 0.01f);
}

TEST_F(ColorSelectorInput, ShiftPressedWhileThePointerRestsStartsTheLock) {
    canvas.setColorHsv({10, 0.5f, 0.5f});
    gInputState.mouseX = wx(0);
    gInputState.mouseY = wy(-8);
    selector->update(0, 0, 0);
    EXPECT_EQ(selector->axisLock, colorsel::kNoLock) << "not without Shift";
    gInputState.shift = true;
    selector->update(0, 0, 0);
    EXPECT_EQ(selector->axisLock, colorsel::kVerticalGuide);
    // Over the ring it does not start.
    gInputState.shift = false;
    selector->update(0, 0, 0);
    gInputState.mouseX = wx(-60);
    gInputState.mouseY = wy(0);
    gInputState.shift = true;
    selector->update(0, 0, 0);
    EXPECT_EQ(selector->axisLock, colorsel::kNoLock);
}

TEST_F(ColorSelectorInput, MarkersFollowTheRecord) {
    canvas.setColorHsv({90, 0.25f, 0.75f});
    selector->update(0, 0, 0);
    EXPECT_NEAR(selector->ringMarker.x, 0, kTol);
    EXPECT_NEAR(selector->ringMarker.y, -63.75f, kTol);
    EXPECT_NEAR(selector->squareMarker.x, -16.7054f, kTol);
    EXPECT_NEAR(selector->squareMarker.y, 16.7054f, kTol);
    canvas.setColorHsv({180, 1, 0});
    selector->update(0, 0, 0);
    EXPECT_NEAR(selector->ringMarker.x, -63.75f, kTol);
    EXPECT_NEAR(selector->ringMarker.y, 0, kTol);
    EXPECT_NEAR(selector->squareMarker.x, kHalf, kTol);
    EXPECT_NEAR(selector->squareMarker.y, -kHalf, kTol);
}

TEST_F(ColorSelectorInput, AGreyKeepsItsHueWhileTheSelectorDragsIt) {
    canvas.setColorHsv({120, 1, 1});
    press(0, 0);
    // To the left edge: saturation 0, a grey of value 0.5 that keeps hue 120.
    drag(-60, 0);
    EXPECT_FLOAT_EQ(canvas.colorHsv[0], 120);
    EXPECT_FLOAT_EQ(canvas.colorHsv[1], 0);
    EXPECT_NEAR(canvas.color[0], 0.5f, kTol);
    EXPECT_EQ(canvas.color[0], canvas.color[1]);
    EXPECT_EQ(canvas.color[1], canvas.color[2]);
    selector->update(0, 0, 0);
    EXPECT_NEAR(selector->ringMarker.x, -31.875f, kTol) << "the ring marker stays at 120";
    release(-60, 0);
    // The same grey set as RGB (as the picker does) gets hue 0.
    canvas.setColor({0.5f, 0.5f, 0.5f});
    EXPECT_FLOAT_EQ(canvas.colorHsv[0], 0);
}

// ---- the colour numbers --------------------------------------------------------------

TEST(ColorNumbers, ChannelsAreCutToWholeStepsAndAClickSwitchesToHsv) {
    ScaleOne scale;
    float rgb[3] = {0.999f, 1.0f, 0.0f};
    float hsv[3] = {359.9f, 0.5f, 0.3f};
    ColorWidget widget(5, 5, 35, 20, ColorRecordRef{rgb, hsv, {}});
    widget.update(0, 0, 0);
    auto lines = widget.lines();
    EXPECT_EQ(lines[0], "R 254");
    EXPECT_EQ(lines[1], "G 255");
    EXPECT_EQ(lines[2], "B   0");
    EXPECT_EQ(widget.onMouseButton(0, 0, 50, 10, false), 0) << "outside";
    EXPECT_EQ(widget.onMouseButton(0, 1, 10, 10, false), 0) << "a release";
    EXPECT_EQ(widget.onMouseButton(2, 0, 10, 10, false), 0) << "the right button";
    EXPECT_TRUE(widget.showRGB);
    EXPECT_EQ(widget.onMouseButton(0, 0, 10, 10, false), 1);
    EXPECT_FALSE(widget.showRGB);
    lines = widget.lines();
    EXPECT_EQ(lines[0], "H  359");
    EXPECT_EQ(lines[1], "S 0.50");
    EXPECT_EQ(lines[2], "V 0.30");
    EXPECT_EQ(widget.onMouseButton(0, 0, 39, 24, false), 1);
    EXPECT_TRUE(widget.showRGB);
}
