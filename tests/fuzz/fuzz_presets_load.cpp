// libFuzzer entry for the brush presets reader: any bytes as the text of
// brush_presets.xml. A refusal must say why; what is read must lie in the
// brush ranges and, written again, read back intact to the same presets.
// The tips are the factory ones of a build's data folder, when given:
//   KW_FUZZ_TIPS=build/data/brushes build-fuzz/bin/fuzz_presets_load tests/fuzz/corpus/presets
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "brush/BrushPresets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const BrushTipTable tips = [] {
        BrushTipTable t;
        const char* folder = std::getenv("KW_FUZZ_TIPS");
        t.build(folder ? folder : "", {});
        return t;
    }();
    const presets::FileContent c = presets::parseText(std::string(reinterpret_cast<const char*>(data), size), tips);
    if (!c.intact && c.problem.empty()) __builtin_trap();
    for (const BrushPreset& p : c.presets) {
        const Brush& b = p.brush;
        if (b.size < 1 || b.size > 500 || !(b.opacity >= 0 && b.opacity <= 1) || !(b.hardness >= 0 && b.hardness <= 1) ||
            !(b.spacing >= kBrushMinSpacing && b.spacing <= kBrushMaxSpacing))
            __builtin_trap();
    }
    if (c.intact) {
        const presets::FileContent again = presets::parseText(presets::formatText(c.presets, tips), tips);
        if (!again.intact || again.presets.size() != c.presets.size()) __builtin_trap();
    }
    return 0;
}
