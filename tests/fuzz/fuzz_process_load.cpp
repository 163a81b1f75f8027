// libFuzzer entry for the drawing-process and layered-file readers: the CPU
// part of a load (header, format and layer tables, tips, action bodies,
// layered body). Whatever parses must also write back without trouble.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "canvas/Canvas.h"
#include "canvas/MultiLayeredImage.h"
#include "io/BinaryStream.h"
#include "io/DrawingProcess.h"
#include "io/LayeredFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Never given GL resources: the actions are only read and written.
    static Canvas canvas(1, 1);
    static MultiLayeredImage layers;
    const std::span<const uint8_t> bytes(data, size);

    ProcessContent content;
    std::string reason;
    const LoadResult result = parseProcess(bytes, ActionContext{canvas, layers}, ProcessParseOptions{}, content, reason);
    if (result == LoadResult::Loaded) {
        io::BinaryWriter out;
        for (const auto& action : content.actions) {
            out.i32(action->type());
            action->write(out);
        }
        if (content.hasLayers) writeLayeredBody(out, content.picture);
    } else if (result == LoadResult::Failed && reason.empty()) {
        __builtin_trap(); // every refusal must say why
    }

    LayeredFileContent layered;
    const std::vector<uint8_t> copy(bytes.begin(), bytes.end());
    if (parseLayeredFile(copy, layered, reason) == LoadResult::Loaded) {
        const std::vector<uint8_t> again = encodeLayeredFile(layered.picture);
        if (again.size() < 48) __builtin_trap();
    }
    return 0;
}
