#pragma once
// Pen, eraser and touch from XInput2, on an X connection of our own beside
// freeglut's. The conversion of raw device data (valuator ranges, device
// classes, eraser detection, coordinates, hierarchy changes) is plain
// functions on plain structs, testable without a device; XInputPen does the
// Xlib part and hands out InputEvents.
//
// Coordinates: root-window pixels, y down, as X gives them; tablet positions
// are 0..1 over the virtual screen with y counted from the BOTTOM.
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/Math.h"

namespace platform {

// XIDeviceInfo::use values.
inline constexpr int kXIMasterPointer = 1;
inline constexpr int kXISlavePointer = 3;
inline constexpr int kXIFloatingSlave = 5;
// XIHierarchyInfo::flags bits.
inline constexpr int kXISlaveAdded = 1 << 2;
inline constexpr int kXISlaveRemoved = 1 << 3;
inline constexpr int kXIDeviceEnabled = 1 << 6;
inline constexpr int kXIDeviceDisabled = 1 << 7;

struct ValuatorInfo {
    int number = 0;
    std::string label; // atom name, e.g. "Abs Pressure"; empty when unlabelled
    double min = 0, max = 0;
};

// What the server tells about one input device.
struct PenDeviceInfo {
    int id = 0;
    std::string name;
    int use = 0;
    bool enabled = true;
    std::vector<ValuatorInfo> valuators;
    std::string toolType; // atom name of "Wacom Tool Type" ("STYLUS", "ERASER", ...); empty if absent
};

enum class PenTool { Stylus = 1, Eraser = 2 }; // the tablet callback's cursor values

struct PenDevice {
    int id = 0;
    std::string name;
    PenTool tool = PenTool::Stylus;
    int pressureValuator = -1;
    double pressureMin = 0, pressureMax = 0;
    float lastPressure = 0; // kept for events that leave the pressure axis out
};

// Virtual screen: the bounding box of all monitors in root pixels.
struct VirtualScreen {
    float x = 0, y = 0, width = 1, height = 1;
};

// One XI_Motion of a slave device. valuators: (axis number, raw value) pairs
// of the axes the event carries. buttons: bit n-1 set for X button n held.
struct PenMotion {
    int deviceId = 0;
    double rootX = 0, rootY = 0;
    std::vector<std::pair<int, double>> valuators;
    unsigned buttons = 0;
};

// What the tablet callback receives. buttons: bit 0 tip in contact, bits 1
// and 2 the barrel buttons (X buttons 2 and 3).
struct TabletPacket {
    float x = 0, y = 0;  // 0..1 over the virtual screen, y from the bottom
    float pressure = 0;  // 0..1
    int cursor = 1;      // 1 tip, 2 eraser
    int buttons = 0;
    int deviceId = 0;
};

struct HierarchyChange {
    int deviceId = 0;
    int flags = 0;
};

// True when the device name or the Wacom tool type says eraser.
bool looksLikeEraser(const std::string& name, const std::string& toolType);
// A pen if it is a slave pointer with an "Abs Pressure" axis; nothing otherwise.
std::optional<PenDevice> classifyPenDevice(const PenDeviceInfo& info);
// Raw valuator value to 0..1 by the axis range; an empty range counts as full pressure.
float normalisePressure(double raw, double min, double max);
// Root pixels to the tablet callback's 0..1 form, y from the bottom.
math::Vec2 tabletPosition(double rootX, double rootY, const VirtualScreen& screen);

// The pens currently plugged in, by device id.
class PenRegistry {
public:
    using Describe = std::function<std::optional<PenDeviceInfo>(int deviceId)>;

    // Replaces everything with the pens among `devices`.
    void reset(const std::vector<PenDeviceInfo>& devices);
    // Applies added/removed/enabled/disabled devices; describe() looks a new one up.
    // True when the set of pens changed.
    bool apply(const std::vector<HierarchyChange>& changes, const Describe& describe);
    // A packet for a motion of a known pen; nothing for other devices.
    std::optional<TabletPacket> packet(const PenMotion& motion, const VirtualScreen& screen);

    const PenDevice* find(int id) const;
    std::size_t size() const { return pens.size(); }

private:
    std::map<int, PenDevice> pens;
};

// What the X connection delivers to the input code.
struct InputEvent {
    enum class Kind { Tablet, TouchBegin, TouchUpdate, TouchEnd, FocusGained, FocusLost };
    Kind kind = Kind::Tablet;
    TabletPacket tablet;           // Tablet
    int touchId = 0;               // Touch*
    float x = 0, y = 0;            // Touch*: window pixels, y down
    char keys[32] = {};            // FocusGained: the server's key bitmap
    unsigned pointerState = 0;     // FocusGained: X button mask of the pointer
};

// The second X connection. Without a display, XInput2 or a pen it stays
// quiet, and the mouse paints with pressure 1.
class XInputPen {
public:
    XInputPen();
    ~XInputPen();
    XInputPen(const XInputPen&) = delete;
    XInputPen& operator=(const XInputPen&) = delete;

    // Connects to displayName and listens on `window` (freeglut's). False when
    // no connection could be made; a connection without XInput2 still reports focus.
    bool open(const char* displayName, unsigned long window);
    void close();
    bool isOpen() const;
    bool hasXInput2() const;
    bool hasTouch() const;
    std::size_t penCount() const;
    VirtualScreen virtualScreen() const;

    // Reads everything pending without blocking.
    std::vector<InputEvent> drain();

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace platform
