#pragma once
// The brush: a plain record of everything that shapes a stroke, copied by
// value into every stroke action. Its fields, defaults, stored form, preset
// keys and dialog ranges all come from one table (kBrushFields) so that the
// reader, the writer, the defaults and the dialog cannot drift apart.
#include <cstdint>
#include <span>
#include <variant>

namespace io {
class BinaryReader;
class BinaryWriter;
}

// Bits of Brush::flags.
enum BrushFlag : uint32_t {
    kBrushFlagNone = 1,            // set by default, tested by nothing
    kBrushFlagAdditiveStroke = 2,  // stroke buffer accumulates additively
    kBrushFlagColorDynamics = 4,   // each dab gets a jittered colour of its own
    kBrushFlagDryBrush = 8,        // textured dabs use the dry program
};

enum BrushMode : int32_t { kBrushModePaint = 1, kBrushModeErase = 2 };

// Format index from which the writer's layout is complete; older files are
// read with the gates told in BrushField::sinceFormat.
inline constexpr int32_t kBrushCurrentFormat = 22;
// Below this index every brush read from a file strokes additively.
inline constexpr int32_t kBrushAdditiveBeforeFormat = 18;
// Below this index the tip is a single "textured" byte instead of tipIndex.
inline constexpr int32_t kBrushTipIndexSinceFormat = 6;
// The range of spacing the brush dialog offers, in brush sizes.
inline constexpr float kBrushMinSpacing = 0.015625f;
inline constexpr float kBrushMaxSpacing = 5.0f;

struct Brush {
    int32_t size = 5;                 // diameter in canvas pixels
    bool SizeFollowsPressure = false; // pressure scales dab size and step
    bool FlowFollowsPressure = true;  // pressure scales dab alpha
    int32_t tipIndex = 0;             // 0 round brush, else tip table index
    uint32_t flags = kBrushFlagNone;
    float opacity = 1.0f;             // alpha of the whole stroke at composite
    float hardness = 1.0f;            // solid share of the radius; round only
    float angle = 0.0f;               // degrees, added to each dab's angle
    float size_jitter = 0.0f;         // percent
    float opacity_jitter = 0.0f;      // percent
    float angle_randomness = 0.0f;    // width of the angle jitter, degrees
    float scattering = 0.0f;          // offset across the path, in dab sizes
    float colorJitterH = 80.0f;       // degrees
    float colorJitterS = 0.2f;
    float colorJitterV = 0.2f;
    int32_t mode = kBrushModePaint;
    float spacing = 0.0625f;          // distance between dabs, share of the size
    int32_t antialias = 0;            // 1 composites through the smooth program

    bool isTextured() const { return tipIndex >= 1; }
    bool hasFlag(BrushFlag f) const { return (flags & f) != 0; }
    void setFlag(BrushFlag f, bool on) { flags = on ? (flags | f) : (flags & ~uint32_t(f)); }

    // The stored settings record, always in the current layout.
    void write(io::BinaryWriter& out) const;
    // Reads the record in the layout of in.formatIndex. On a short or damaged
    // record (opacity, hardness or spacing not a number) returns false, marks
    // the reader failed and leaves *this as it was. Size, opacity, hardness and
    // spacing beyond the program's own ranges are clamped to them.
    bool read(io::BinaryReader& in);

    bool operator==(const Brush&) const = default;
};

// One row of the brush table.
struct BrushField {
    using Member = std::variant<int32_t Brush::*, bool Brush::*, uint32_t Brush::*, float Brush::*>;

    const char* name;        // field name, also the key in brush_presets.xml
    Member member;
    double defaultValue;
    bool stored;             // part of the settings record
    int32_t sinceFormat;     // first format index that stores it
    bool presetKey;          // saved under `name` in the presets file
    bool hasRange;           // the brush dialog offers minValue..maxValue
    double minValue;
    double maxValue;
};

// All fields in declaration order, which is also the stored order.
std::span<const BrushField> brushFields();
const BrushField* findBrushField(const char* name);

// A brush with every field at the table's default; equals Brush{}.
Brush defaultBrush();
// Numeric access through the table, e.g. for presets and the dialog.
double brushFieldValue(const Brush& brush, const BrushField& field);
void setBrushFieldValue(Brush& brush, const BrushField& field, double value);
