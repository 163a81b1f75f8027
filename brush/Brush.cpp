#include "brush/Brush.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <string_view>
#include <type_traits>

#include "io/BinaryStream.h"
#include "io/ProcessFormat.h"

namespace {

// name, member, default, stored, since format, preset key, range?, min, max
constexpr BrushField kBrushFields[] = {
    {"size", &Brush::size, 5, true, 0, true, true, 1, 500},
    {"SizeFollowsPressure", &Brush::SizeFollowsPressure, 0, true, 0, true, false, 0, 1},
    {"FlowFollowsPressure", &Brush::FlowFollowsPressure, 1, true, 0, true, false, 0, 1},
    // Presets name the tip by "brush_name", not by number.
    {"tipIndex", &Brush::tipIndex, 0, true, kBrushTipIndexSinceFormat, false, false, 0, 0},
    {"flags", &Brush::flags, kBrushFlagNone, true, 14, true, false, 0, 0},
    {"opacity", &Brush::opacity, 1.0, true, 0, true, true, 0, 1},
    {"hardness", &Brush::hardness, 1.0, true, 0, true, false, 0, 1},
    {"angle", &Brush::angle, 0, false, 0, true, true, -180, 180},
    {"size_jitter", &Brush::size_jitter, 0, false, 0, true, true, 0, 100},
    {"opacity_jitter", &Brush::opacity_jitter, 0, false, 0, true, true, 0, 100},
    {"angle_randomness", &Brush::angle_randomness, 0, false, 0, true, true, 0, 360},
    {"scattering", &Brush::scattering, 0, false, 0, true, true, 0, 10},
    {"colorJitterH", &Brush::colorJitterH, 80.0, false, 0, true, true, 0, 360},
    {"colorJitterS", &Brush::colorJitterS, 0.2, false, 0, true, true, 0, 1},
    {"colorJitterV", &Brush::colorJitterV, 0.2, false, 0, true, true, 0, 1},
    {"mode", &Brush::mode, kBrushModePaint, true, 0, false, false, 0, 0},
    {"spacing", &Brush::spacing, 0.0625, true, 8, true, true, kBrushMinSpacing, kBrushMaxSpacing},
    {"antialias", &Brush::antialias, 0, true, 8, false, false, 0, 0},
};

void writeField(const Brush& b, const BrushField& f, io::BinaryWriter& out) {
    std::visit(
        [&](auto member) {
            using T = std::remove_cvref_t<decltype(b.*member)>;
            if constexpr (std::is_same_v<T, bool>) out.boolean(b.*member);
            else if constexpr (std::is_same_v<T, float>) out.f32(b.*member);
            else if constexpr (std::is_same_v<T, uint32_t>) out.u32(b.*member);
            else out.i32(b.*member);
        },
        f.member);
}

void readField(Brush& b, const BrushField& f, io::BinaryReader& in) {
    std::visit(
        [&](auto member) {
            using T = std::remove_cvref_t<decltype(b.*member)>;
            if constexpr (std::is_same_v<T, bool>) in.boolean(b.*member);
            else if constexpr (std::is_same_v<T, float>) in.f32(b.*member);
            else if constexpr (std::is_same_v<T, uint32_t>) in.u32(b.*member);
            else in.i32(b.*member);
        },
        f.member);
}

} // namespace

std::span<const BrushField> brushFields() { return kBrushFields; }

const BrushField* findBrushField(const char* name) {
    for (const BrushField& f : kBrushFields)
        if (std::strcmp(f.name, name) == 0) return &f;
    return nullptr;
}

double brushFieldValue(const Brush& brush, const BrushField& field) {
    return std::visit([&](auto member) { return static_cast<double>(brush.*member); }, field.member);
}

void setBrushFieldValue(Brush& brush, const BrushField& field, double value) {
    std::visit(
        [&](auto member) {
            using T = std::remove_cvref_t<decltype(brush.*member)>;
            if constexpr (std::is_same_v<T, bool>) brush.*member = value != 0.0;
            else brush.*member = static_cast<T>(value);
        },
        field.member);
}

Brush defaultBrush() {
    Brush b;
    for (const BrushField& f : kBrushFields) setBrushFieldValue(b, f, f.defaultValue);
    return b;
}

void Brush::write(io::BinaryWriter& out) const {
    for (const BrushField& f : kBrushFields)
        if (f.stored) writeField(*this, f, out);
}

bool Brush::read(io::BinaryReader& in) {
    Brush b = *this;
    for (const BrushField& f : kBrushFields) {
        if (!f.stored) continue;
        if (in.formatIndex >= f.sinceFormat) {
            readField(b, f, in);
        } else if (f.name == std::string_view("tipIndex")) {
            // Older records only said whether the brush was textured.
            uint8_t textured = 0;
            in.u8(textured);
            b.tipIndex = textured != 0 ? 1 : 0;
        } else {
            setBrushFieldValue(b, f, f.defaultValue);
        }
    }
    if (in.formatIndex < kBrushAdditiveBeforeFormat) b.flags |= kBrushFlagAdditiveStroke;
    if (in.failed()) return false;
    // A value that is not a number has no sensible meaning: the file is
    // damaged. Values beyond what the program ever stores are clamped to
    // its own limits, so that a hostile record cannot ask a replay for dabs
    // of absurd size or a stroke of billions of dabs.
    for (const auto& [name, value] : {std::pair{"opacity", b.opacity}, std::pair{"hardness", b.hardness},
                                      std::pair{"spacing", b.spacing}}) {
        if (!std::isfinite(value)) {
            in.fail(std::string("brush ") + name + " is not a number");
            return false;
        }
    }
    b.size = std::clamp(b.size, 1, kwformat::kMaxBrushSize);
    b.opacity = std::clamp(b.opacity, 0.0f, 1.0f);
    b.hardness = std::clamp(b.hardness, 0.0f, 1.0f);
    b.spacing = std::clamp(b.spacing, kBrushMinSpacing, kBrushMaxSpacing);
    *this = b;
    return true;
}
