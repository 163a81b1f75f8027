#include "test_input_fakes.h"

using platform::HierarchyChange;
using platform::PenDeviceInfo;
using platform::PenMotion;
using platform::PenRegistry;
using platform::PenTool;
using platform::VirtualScreen;

namespace {

PenDeviceInfo wacomStylus(int id) {
    PenDeviceInfo d;
    d.id = id;
    d.name = "Wacom Intuos S Pen stylus";
    d.use = platform::kXISlavePointer;
    d.valuators = {{0, "Abs X", 0, 15200}, {1, "Abs Y", 0, 9500}, {2, "Abs Pressure", 0, 4095}, {3, "Abs Tilt X", -64, 63}};
    d.toolType = "STYLUS";
    return d;
}

PenDeviceInfo mouse(int id) {
    PenDeviceInfo d;
    d.id = id;
    d.name = "Logitech USB Optical Mouse";
    d.use = platform::kXISlavePointer;
    d.valuators = {{0, "Rel X", -1, -1}, {1, "Rel Y", -1, -1}};
    return d;
}

PenMotion motion(int device, double x, double y, double pressureRaw) {
    PenMotion m;
    m.deviceId = device;
    m.rootX = x;
    m.rootY = y;
    m.valuators = {{0, 1000}, {1, 2000}, {2, pressureRaw}};
    return m;
}

} // namespace

TEST(InputXI2, PenIsASlavePointerWithAPressureAxis) {
    auto pen = platform::classifyPenDevice(wacomStylus(12));
    ASSERT_TRUE(pen);
    EXPECT_EQ(pen->id, 12);
    EXPECT_EQ(pen->pressureValuator, 2);
    EXPECT_EQ(pen->pressureMax, 4095);
    EXPECT_EQ(pen->tool, PenTool::Stylus);

    EXPECT_FALSE(platform::classifyPenDevice(mouse(9)));
    PenDeviceInfo master = wacomStylus(2);
    master.use = platform::kXIMasterPointer;
    EXPECT_FALSE(platform::classifyPenDevice(master)) << "master devices carry no valuators of their own";
    PenDeviceInfo touch = wacomStylus(13);
    touch.toolType = "TOUCH";
    EXPECT_FALSE(platform::classifyPenDevice(touch));
    PenDeviceInfo off = wacomStylus(14);
    off.enabled = false;
    EXPECT_FALSE(platform::classifyPenDevice(off));
}

TEST(InputXI2, EraserByNameOrByToolType) {
    PenDeviceInfo byName = wacomStylus(15);
    byName.name = "Wacom Intuos S Pen eraser";
    byName.toolType.clear();
    EXPECT_EQ(platform::classifyPenDevice(byName)->tool, PenTool::Eraser);

    PenDeviceInfo byType = wacomStylus(16);
    byType.name = "Tablet Pen (0x802)";
    byType.toolType = "ERASER";
    EXPECT_EQ(platform::classifyPenDevice(byType)->tool, PenTool::Eraser);

    EXPECT_TRUE(platform::looksLikeEraser("HUION Tablet ERASER", ""));
    EXPECT_FALSE(platform::looksLikeEraser("HUION Tablet Pen", "STYLUS"));
}

TEST(InputXI2, PressureIsNormalisedByTheAxisRange) {
    EXPECT_FLOAT_EQ(platform::normalisePressure(0, 0, 4095), 0.0f);
    EXPECT_FLOAT_EQ(platform::normalisePressure(4095, 0, 4095), 1.0f);
    EXPECT_NEAR(platform::normalisePressure(1024, 0, 2048), 0.5f, 1e-6);
    EXPECT_NEAR(platform::normalisePressure(0.25, -1, 1), 0.625f, 1e-6);
    EXPECT_FLOAT_EQ(platform::normalisePressure(5000, 0, 4095), 1.0f) << "out of range is clamped";
    EXPECT_FLOAT_EQ(platform::normalisePressure(-3, 0, 4095), 0.0f);
    EXPECT_FLOAT_EQ(platform::normalisePressure(7, 5, 5), 1.0f) << "an empty range means full pressure";
}

TEST(InputXI2, RootCoordinatesToTheVirtualScreenWithYFromTheBottom) {
    VirtualScreen s{0, 0, 2000, 1000};
    math::Vec2 p = platform::tabletPosition(500.5, 250.25, s);
    EXPECT_FLOAT_EQ(p.x, 500.5f / 2000);
    EXPECT_FLOAT_EQ(p.y, 1.0f - 250.25f / 1000);
    math::Vec2 corner = platform::tabletPosition(0, 1000, s);
    EXPECT_FLOAT_EQ(corner.x, 0);
    EXPECT_FLOAT_EQ(corner.y, 0);
}

TEST(InputXI2, HierarchyChangesAddAndRemovePens) {
    PenRegistry pens;
    pens.reset({mouse(9), wacomStylus(12)});
    EXPECT_EQ(pens.size(), 1u);

    PenDeviceInfo eraser = wacomStylus(17);
    eraser.toolType = "ERASER";
    std::vector<int> asked;
    auto describe = [&](int id) -> std::optional<PenDeviceInfo> {
        asked.push_back(id);
        if (id == 17) return eraser;
        if (id == 18) return mouse(18);
        return std::nullopt; // unplugged again before the query
    };
    EXPECT_TRUE(pens.apply({{17, platform::kXISlaveAdded}, {18, platform::kXISlaveAdded}, {19, platform::kXIDeviceEnabled}},
                           describe));
    EXPECT_EQ(asked, (std::vector<int>{17, 18, 19}));
    ASSERT_NE(pens.find(17), nullptr);
    EXPECT_EQ(pens.find(17)->tool, PenTool::Eraser);
    EXPECT_EQ(pens.find(18), nullptr);
    EXPECT_EQ(pens.size(), 2u);

    EXPECT_TRUE(pens.apply({{12, platform::kXISlaveRemoved}}, describe));
    EXPECT_EQ(pens.find(12), nullptr);
    EXPECT_TRUE(pens.apply({{17, platform::kXIDeviceDisabled}}, describe));
    EXPECT_EQ(pens.size(), 0u);
    EXPECT_FALSE(pens.apply({{9, platform::kXISlaveRemoved}}, describe)) << "not a pen: nothing changes";
}

TEST(InputXI2, PacketsOnlyForPensAndPressureCarriedOver) {
    PenRegistry pens;
    pens.reset({wacomStylus(12), mouse(9)});
    VirtualScreen s{0, 0, 1920, 1080};
    EXPECT_FALSE(pens.packet(motion(9, 5, 5, 100), s));

    auto p = pens.packet(motion(12, 960, 270, 2047.5), s);
    ASSERT_TRUE(p);
    EXPECT_FLOAT_EQ(p->x, 0.5f);
    EXPECT_FLOAT_EQ(p->y, 0.75f);
    EXPECT_NEAR(p->pressure, 0.5f, 1e-6);
    EXPECT_EQ(p->cursor, 1);

    PenMotion noPressure = motion(12, 961, 270, 0);
    noPressure.valuators.pop_back(); // the event leaves the pressure axis out
    noPressure.buttons = 0b101;      // tip and upper barrel button
    auto q = pens.packet(noPressure, s);
    ASSERT_TRUE(q);
    EXPECT_NEAR(q->pressure, 0.5f, 1e-6);
    EXPECT_EQ(q->buttons, 0b101);
}

TEST(InputXI2, RisingRawPressureGivesRisingPressureInUse) {
    PenRegistry pens;
    pens.reset({wacomStylus(12)});
    VirtualScreen s{0, 0, 1920, 1080};
    float previous = -1;
    for (int raw = 0; raw <= 4095; raw += 273) {
        auto p = pens.packet(motion(12, 100, 100, raw), s);
        ASSERT_TRUE(p);
        float used = tabletPressureCurve(p->pressure);
        EXPECT_GT(used, previous) << "raw " << raw;
        EXPECT_GE(used, 0.0f);
        EXPECT_LE(used, 1.0f);
        previous = used;
    }
    EXPECT_EQ(previous, 1.0f) << "full pressure is exactly 1";
}

TEST(InputXI2, PressureCurves) {
    EXPECT_FLOAT_EQ(tabletPressureCurve(0.5f), 0.5f);
    EXPECT_FLOAT_EQ(tabletPressureCurve(0.25f), ((6 * 0.25f - 15) * 0.25f + 10) * 0.25f * 0.25f * 0.25f);
    EXPECT_GT(tabletPressureCurve(0.0f), 0.0f) << "never exactly 0 in the curve's argument";
    EXPECT_EQ(tabletPressureCurve(1.0f), 1.0f);
    EXPECT_EQ(tabletPressureCurve(3.0f), 1.0f);

    float previousRaw = 0;
    EXPECT_FLOAT_EQ(pointerPressureCurve(1.0f, previousRaw), (3 - 2 * 0.4f) * 0.4f * 0.4f);
    EXPECT_EQ(previousRaw, 1.0f);
    EXPECT_EQ(pointerPressureCurve(1.0f, previousRaw), 1.0f);
}

using InputTabletTest = InputTest;

TEST_F(InputTabletTest, TabletCallbackGivesWindowPixelsWithFractions) {
    // Window client area at (100, 50) from the top left of a 1920 x 1080 screen, 600 high.
    // The root point (612.25, 349.5) is window (512.25, 299.5) y down, so y up 600 - 299.5.
    platform::VirtualScreen s = host.screen;
    math::Vec2 t = platform::tabletPosition(612.25, 349.5, s);
    onTablet(t.x, t.y, 0.5f, 1, 0, 0, 0);
    EXPECT_NEAR(gPenX, 512.25f, 1e-3);
    EXPECT_NEAR(gPenY, 300.5f, 1e-3);
    EXPECT_TRUE(gPenActive);
    EXPECT_TRUE(gFirstPacket);
    EXPECT_FLOAT_EQ(gCurrentPressure, 0.5f);
}

TEST_F(InputTabletTest, EraserEndSwitchesTheBrushModeOnlyWithTheBrushTool) {
    host.tool = 1;
    onTablet(0.5f, 0.5f, 0.2f, 2, 0, 0, 0);
    EXPECT_EQ(gWantedMode, 2);
    onTablet(0.5f, 0.5f, 0.2f, 1, 0, 0, 0);
    EXPECT_EQ(gWantedMode, 1);
    host.tool = 9;
    onTablet(0.5f, 0.5f, 0.2f, 2, 7, 8, 9);
    EXPECT_EQ(gWantedMode, 1);
    EXPECT_EQ(lastTabletExtras(), (std::array<int, 3>{7, 8, 9}));
}

TEST_F(InputTabletTest, BarrelButtonHoldsTheRightButtonUntilThePenFallsSilent) {
    platform::InputEvent e;
    e.kind = platform::InputEvent::Kind::Tablet;
    e.tablet = {0.5f, 0.5f, 0.0f, 1, 0b010, 12};
    processInputEvents({e});
    refreshInputFlags();
    EXPECT_TRUE(gInputState.rightButton);
    EXPECT_TRUE(gTabletSeen);
    now += 501;
    expirePenFlags();
    refreshInputFlags();
    EXPECT_FALSE(gInputState.rightButton);
}
