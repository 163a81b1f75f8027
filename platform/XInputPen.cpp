// Pure conversion of XInput2 device data; the Xlib side is in XInputPenX11.cpp.
#include "platform/XInputPen.h"

#include <algorithm>
#include <cctype>

namespace platform {

namespace {

std::string lowered(const std::string& s) {
    std::string out = s;
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

} // namespace

bool looksLikeEraser(const std::string& name, const std::string& toolType) {
    return lowered(toolType) == "eraser" || lowered(name).find("eraser") != std::string::npos;
}

std::optional<PenDevice> classifyPenDevice(const PenDeviceInfo& info) {
    if (!info.enabled) return std::nullopt;
    if (info.use != kXISlavePointer && info.use != kXIFloatingSlave) return std::nullopt;
    // Touch surfaces and pad buttons of a tablet are not pens, even with a pressure axis.
    std::string type = lowered(info.toolType);
    if (type == "touch" || type == "pad" || type == "cursor") return std::nullopt;
    for (const ValuatorInfo& v : info.valuators) {
        if (v.label != "Abs Pressure") continue;
        PenDevice pen;
        pen.id = info.id;
        pen.name = info.name;
        pen.tool = looksLikeEraser(info.name, info.toolType) ? PenTool::Eraser : PenTool::Stylus;
        pen.pressureValuator = v.number;
        pen.pressureMin = v.min;
        pen.pressureMax = v.max;
        return pen;
    }
    return std::nullopt;
}

float normalisePressure(double raw, double min, double max) {
    if (!(max > min)) return 1.0f;
    double p = (raw - min) / (max - min);
    return static_cast<float>(std::clamp(p, 0.0, 1.0));
}

math::Vec2 tabletPosition(double rootX, double rootY, const VirtualScreen& s) {
    double w = s.width > 0 ? s.width : 1.0;
    double h = s.height > 0 ? s.height : 1.0;
    return {static_cast<float>((rootX - s.x) / w), static_cast<float>(1.0 - (rootY - s.y) / h)};
}

void PenRegistry::reset(const std::vector<PenDeviceInfo>& devices) {
    pens.clear();
    for (const PenDeviceInfo& d : devices)
        if (auto pen = classifyPenDevice(d)) pens[pen->id] = *pen;
}

bool PenRegistry::apply(const std::vector<HierarchyChange>& changes, const Describe& describe) {
    bool changed = false;
    for (const HierarchyChange& c : changes) {
        if (c.flags & (kXISlaveRemoved | kXIDeviceDisabled)) {
            changed |= pens.erase(c.deviceId) > 0;
            continue;
        }
        if (!(c.flags & (kXISlaveAdded | kXIDeviceEnabled)) || !describe) continue;
        std::optional<PenDeviceInfo> info = describe(c.deviceId);
        if (!info) continue; // gone again before we asked
        if (auto pen = classifyPenDevice(*info)) {
            pens[pen->id] = *pen;
            changed = true;
        }
    }
    return changed;
}

std::optional<TabletPacket> PenRegistry::packet(const PenMotion& motion, const VirtualScreen& screen) {
    auto it = pens.find(motion.deviceId);
    if (it == pens.end()) return std::nullopt;
    PenDevice& pen = it->second;
    for (const auto& [axis, value] : motion.valuators)
        if (axis == pen.pressureValuator) pen.lastPressure = normalisePressure(value, pen.pressureMin, pen.pressureMax);
    TabletPacket p;
    math::Vec2 pos = tabletPosition(motion.rootX, motion.rootY, screen);
    p.x = pos.x;
    p.y = pos.y;
    p.pressure = pen.lastPressure;
    p.cursor = static_cast<int>(pen.tool);
    p.buttons = static_cast<int>(motion.buttons & 7u);
    p.deviceId = pen.id;
    return p;
}

const PenDevice* PenRegistry::find(int id) const {
    auto it = pens.find(id);
    return it == pens.end() ? nullptr : &it->second;
}

} // namespace platform
